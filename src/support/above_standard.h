// Descriptors that a host has closed stay closed.
#ifndef BIX_SRC_SUPPORT_ABOVE_STANDARD_H_
#define BIX_SRC_SUPPORT_ABOVE_STANDARD_H_

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace bix::impl {

/// `fd` itself, or, when it has the number of a standard stream, a copy of it with another number in
/// its place. -1 stays -1.
///
/// Errors: -1, `errno` says why; nothing is left open.
// CHOICE(above-standard): in a host that runs without standard streams the system gives their numbers
// to whatever is opened next, and everything that is printed would go into that file or to that peer.
// So no file that is written to, and no socket, keeps such a number.
// Test: HostProcess.WithoutStandardStreams
inline int AboveStandard(int fd) {
  if (fd < 0 || fd > STDERR_FILENO) return fd;
  const int copy = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  (void)::close(fd);  // nothing has been written to it
  errno = error;
  return copy;
}

/// The same for a stream that has just been opened. Null stays null.
inline std::FILE* AboveStandard(std::FILE* file, const char* mode) {
  if (file == nullptr || ::fileno(file) > STDERR_FILENO) return file;
  const int copy = ::fcntl(::fileno(file), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  std::FILE* const moved = copy >= 0 ? ::fdopen(copy, mode) : nullptr;
  const int error = errno;
  if (moved == nullptr && copy >= 0) (void)::close(copy);
  (void)std::fclose(file);  // nothing has been written to it
  errno = error;
  return moved;
}

}  // namespace bix::impl

#endif  // BIX_SRC_SUPPORT_ABOVE_STANDARD_H_
