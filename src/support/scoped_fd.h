// A file descriptor with an owner.
#ifndef BIX_SRC_SUPPORT_SCOPED_FD_H_
#define BIX_SRC_SUPPORT_SCOPED_FD_H_

#include <cerrno>

#include <unistd.h>

#include "support/uncancelled.h"

namespace bix::impl {

/// Closes its descriptor at the end of the scope and leaves `errno` as it was. No thread is cancelled
/// in the closing: it would leave the descriptor open, and the process could not go on.
class ScopedFd {
 public:
  explicit ScopedFd(int fd = -1) : m_fd(fd) {}
  ~ScopedFd() { Reset(); }
  ScopedFd(ScopedFd&& other) noexcept : m_fd(other.Release()) {}
  ScopedFd& operator=(ScopedFd&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  ScopedFd(const ScopedFd&) = delete;
  ScopedFd& operator=(const ScopedFd&) = delete;

  int Get() const { return m_fd; }
  bool IsOpen() const { return m_fd >= 0; }

  /// Hands the descriptor to the caller, who closes it.
  int Release() {
    const int fd = m_fd;
    m_fd = -1;
    return fd;
  }

  /// Closes what is held and holds `fd` instead.
  void Reset(int fd = -1) {
    if (m_fd >= 0) {
      const int error = errno;
      const Uncancelled uncancelled;
      // Nothing is lost with the result: who has written asks Close() for it.
      (void)::close(m_fd);
      errno = error;
    }
    m_fd = fd;
  }

  /// Closes at once; 0, or the error number of `close`. The descriptor is gone either way.
  int Close() {
    const int fd = Release();
    const Uncancelled uncancelled;
    // An interrupted close has released the descriptor all the same, it must not be repeated.
    return fd < 0 || ::close(fd) == 0 || errno == EINTR ? 0 : errno;
  }

 private:
  int m_fd;
};

}  // namespace bix::impl

#endif  // BIX_SRC_SUPPORT_SCOPED_FD_H_
