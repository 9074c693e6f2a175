// A stretch of code in which a thread cannot be cancelled.
#ifndef BIX_SRC_SUPPORT_UNCANCELLED_H_
#define BIX_SRC_SUPPORT_UNCANCELLED_H_

#include <pthread.h>

namespace bix::impl {

/// Puts off the cancellation of this thread to the end of the scope and beyond, up to its next
/// cancellation point.
class Uncancelled {
 public:
  Uncancelled() { (void)::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
  Uncancelled(const Uncancelled&) = delete;
  Uncancelled& operator=(const Uncancelled&) = delete;
  ~Uncancelled() { (void)::pthread_setcancelstate(m_before, nullptr); }

 private:
  int m_before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace bix::impl

#endif  // BIX_SRC_SUPPORT_UNCANCELLED_H_
