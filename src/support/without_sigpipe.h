// Writing to where nobody reads any more, as a failed call and not as a signal that ends the host.
#ifndef BIX_SRC_SUPPORT_WITHOUT_SIGPIPE_H_
#define BIX_SRC_SUPPORT_WITHOUT_SIGPIPE_H_

#include <cerrno>
#include <csignal>
#include <ctime>

#include <pthread.h>

#include "support/uncancelled.h"

namespace bix::impl {

/// Keeps SIGPIPE from this thread for the length of a scope, and takes back the one that the call in
/// the scope has raised: also a call that has written a part before the reader went raises one. The
/// action of the host for the signal stays untouched. Keeps `errno`.
class WithoutSigpipe {
 public:
  WithoutSigpipe() {
    sigemptyset(&m_sigpipe);
    sigaddset(&m_sigpipe, SIGPIPE);
    (void)::pthread_sigmask(SIG_BLOCK, &m_sigpipe, &m_before);
    // One from before belongs to the host. It can only be there when the host had blocked it.
    sigset_t pending;
    m_wasPending = sigismember(&m_before, SIGPIPE) == 1 && ::sigpending(&pending) == 0 &&
                   sigismember(&pending, SIGPIPE) == 1;
  }
  WithoutSigpipe(const WithoutSigpipe&) = delete;
  WithoutSigpipe& operator=(const WithoutSigpipe&) = delete;
  ~WithoutSigpipe() {
    const int error = errno;
    if (m_mayBeRaised && !m_wasPending) {
      const Uncancelled uncancelled;  // to be cancelled within a destructor would end the process
      const timespec none = {};
      while (::sigtimedwait(&m_sigpipe, nullptr, &none) < 0 && errno == EINTR) {
      }
    }
    (void)::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    errno = error;
  }

  /// Spares the look for the signal, after a call that has written everything.
  void NothingRaised() { m_mayBeRaised = false; }

 private:
  sigset_t m_sigpipe;
  sigset_t m_before;
  bool m_wasPending;
  bool m_mayBeRaised = true;
};

}  // namespace bix::impl

#endif  // BIX_SRC_SUPPORT_WITHOUT_SIGPIPE_H_
