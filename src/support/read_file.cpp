#include "support/read_file.h"

#include <cerrno>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "support/scoped_fd.h"

namespace bix::impl {
namespace {

constexpr std::size_t kBlock = 64 * 1024;
constexpr int kWaitSeconds = 10;
constexpr int kSliceMilliseconds = 1000;

time_t Now() {
  timespec now{};
  (void)::clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

/// Waits until there is something to read, or the end, but not beyond `end`; 0, or an error number.
int WaitForBytes(int fd, time_t end) {
  while (Now() < end) {
    pollfd wait{fd, POLLIN, 0};
    const int ready = ::poll(&wait, 1, kSliceMilliseconds);
    if (ready > 0) return 0;
    if (ready < 0 && errno != EINTR) return errno;
  }
  return ETIMEDOUT;
}

}  // namespace

int ReadFileWithin(const char* name, std::size_t limit, std::string& content) {
  // Without waiting: opening a fifo would last until somebody writes to it.
  const ScopedFd fd(::open(name, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!fd.IsOpen()) return errno;
  const time_t end = Now() + kWaitSeconds;
  std::string bytes;
  for (;;) {
    const std::size_t size = bytes.size();
    bytes.resize(size + kBlock);
    const ssize_t count = ::read(fd.Get(), bytes.data() + size, kBlock);
    const int error = errno;
    bytes.resize(size + (count > 0 ? static_cast<std::size_t>(count) : 0));
    if (bytes.size() > limit) return EFBIG;
    if (count > 0 || (count < 0 && error == EINTR)) continue;
    if (count == 0) break;
    if (error != EAGAIN) return error;
    if (const int waitError = WaitForBytes(fd.Get(), end)) return waitError;
  }
  content = std::move(bytes);
  return 0;
}

}  // namespace bix::impl
