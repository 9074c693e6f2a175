#ifndef BIX_DIAGNOSTICS_H_
#define BIX_DIAGNOSTICS_H_

/// Assertions.
///
///   BIX_ASSERT(count >= 0);
///
/// Assertions are silent and never stop the program. With the environment variable "QRD_ASSERT"
/// set, to any value, those that fail are reported on `bixerr`.
///
/// Threads: not to be called from two threads at once, since the channel has no lock.

#include "bix/export.h"

/// Calls bix::bix_assert when the condition is false. The condition is always evaluated.
#define BIX_ASSERT(condition) \
  ((condition) ? static_cast<void>(0) : ::bix::bix_assert(#condition, __FILE__, __LINE__))

namespace bix {

/// Reports a failed assertion on `bixerr` when "QRD_ASSERT" is set:
/// "Assertion failed: <expression>, file <file>, line <line>". Whether it is set is looked up at
/// the first call only.
///
/// Owner: both texts are borrowed for the call.
BIX_EXPORT void bix_assert(const char* expression, const char* file, int line);

}  // namespace bix

#endif  // BIX_DIAGNOSTICS_H_
