// Children that nobody will wait for any more, to be reaped when they have ended.
//
// Threads: any.
#ifndef BIX_SRC_PROC_ABANDONED_H_
#define BIX_SRC_PROC_ABANDONED_H_

#include <sys/types.h>

namespace bix::impl {

/// Takes over a child of this process that has not been waited for.
void Abandon(pid_t pid);

/// Reaps those that have ended; waits for none. Children of the host are never waited for.
void ReapAbandoned();

}  // namespace bix::impl

#endif  // BIX_SRC_PROC_ABANDONED_H_
