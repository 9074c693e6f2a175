#include "support/system_faults.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <type_traits>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace bix_test {

namespace {

thread_local SystemFaults* t_faults = nullptr;

std::string LastComponent(const std::string& name) {
  const std::size_t slash = name.rfind('/');
  return slash == std::string::npos ? name : name.substr(slash + 1);
}

/// What a descriptor was opened by, asked from the kernel itself.
std::string NameOf(int fd) {
  char link[64];
  char name[4096];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const long size = ::syscall(SYS_readlink, link, name, sizeof name);
  return size > 0 ? LastComponent(std::string(name, static_cast<std::size_t>(size))) : "?";
}

std::string NameOf(const char* path) { return LastComponent(path); }

bool IsInheritable(int fd) {
  const int flags = ::fcntl(fd, F_GETFD);
  return flags >= 0 && (flags & FD_CLOEXEC) == 0;
}

/// The C library's own function behind a replaced one.
template <class Function>
Function* Real(Function*, const char* symbol) {
  void* address = ::dlsym(RTLD_NEXT, symbol);
  if (address == nullptr) std::abort();
  return reinterpret_cast<Function*>(address);
}

/// 0, or the error number with which a call has to fail.
template <class Name>
int Note(const char* function, Name name) {
  SystemFaults* faults = t_faults;
  if (faults == nullptr || faults->IsOver()) return 0;
  t_faults = nullptr;  // what the bookkeeping itself calls does not count
  const int kept = errno;
  const int error = faults->Note(function, NameOf(name));
  errno = kept;
  t_faults = faults;
  return error;
}

}  // namespace

SystemFaults::SystemFaults() {
  if (t_faults != nullptr) std::abort();
  t_faults = this;
}

SystemFaults::~SystemFaults() { t_faults = nullptr; }

void SystemFaults::FailCall(std::size_t number, int error) {
  m_failingCall = number;
  m_error = error;
}

void SystemFaults::FailAll(const std::string& beginning, int error) {
  m_failingBeginnings.emplace_back(beginning, error);
}

void SystemFaults::KillAtCall(std::size_t number) { m_killingCall = number; }

void SystemFaults::CancelAtCall(std::size_t number) { m_cancellingCall = number; }

void SystemFaults::WatchDescriptors() {
  t_faults = nullptr;  // the look around is no call of the test
  for (int fd = 3; fd < 256; ++fd) {
    if (IsInheritable(fd)) m_inheritableBefore.push_back(fd);
  }
  m_isWatching = true;
  t_faults = this;
}

void SystemFaults::Shorten(std::size_t bytes) { m_readLimit = m_writeLimit = bytes; }

void SystemFaults::ShortenWrites(std::size_t bytes) { m_writeLimit = bytes; }

int SystemFaults::Note(const char* function, const std::string& name) {
  m_calls.push_back(std::string(function) + " " + name);
  if (m_isWatching) NoteInheritable();
  if (m_calls.size() == m_killingCall) ::kill(::getpid(), SIGKILL);
  if (m_calls.size() == m_cancellingCall) ::pthread_cancel(::pthread_self());
  if (m_calls.size() == m_failingCall) return m_error;
  for (const auto& [beginning, error] : m_failingBeginnings) {
    if (m_calls.back().rfind(beginning, 0) == 0) return error;
  }
  return 0;
}

void SystemFaults::NoteInheritable() {
  for (int fd = 3; fd < 256; ++fd) {
    if (IsInheritable(fd) && std::find(m_inheritableBefore.begin(), m_inheritableBefore.end(),
                                       fd) == m_inheritableBefore.end())
      m_inheritable.push_back(m_calls.back() + ": " + NameOf(fd));
  }
}

}  // namespace bix_test

// A replaced function has a name of its own here and the C library's one for the linker, so that
// the headers' declarations, which rename functions by the width of offsets and times, play no
// part. The result of a failing call is -1 or a null pointer.
#define BIX_REPLACE(symbol, function, result, parameters, arguments, name)                         \
  extern "C" result bix_replaced_##symbol parameters __asm__(#symbol);                             \
  extern "C" result bix_replaced_##symbol parameters {                                             \
    static auto* const real = bix_test::Real(static_cast<result(*) parameters>(nullptr), #symbol); \
    if (const int error = bix_test::Note(function, name)) {                                        \
      errno = error;                                                                               \
      return static_cast<result>(-1);                                                              \
    }                                                                                              \
    return real arguments;                                                                         \
  }

BIX_REPLACE(fsync, "fsync", int, (int fd), (fd), fd)
BIX_REPLACE(fdatasync, "fdatasync", int, (int fd), (fd), fd)
BIX_REPLACE(rename, "rename", int, (const char* from, const char* to), (from, to), from)
BIX_REPLACE(unlink, "unlink", int, (const char* path), (path), path)
BIX_REPLACE(remove, "remove", int, (const char* path), (path), path)
BIX_REPLACE(access, "access", int, (const char* path, int mode), (path, mode), path)
BIX_REPLACE(euidaccess, "access", int, (const char* path, int mode), (path, mode), path)
BIX_REPLACE(eaccess, "access", int, (const char* path, int mode), (path, mode), path)
BIX_REPLACE(flock, "flock", int, (int fd, int operation), (fd, operation), fd)
BIX_REPLACE(fchmod, "fchmod", int, (int fd, mode_t mode), (fd, mode), fd)
BIX_REPLACE(fchown, "fchown", int, (int fd, uid_t user, gid_t group), (fd, user, group), fd)
BIX_REPLACE(readlink, "readlink", ssize_t, (const char* path, char* text, std::size_t size),
            (path, text, size), path)
BIX_REPLACE(memfd_create, "memfd_create", int, (const char* name, unsigned flags), (name, flags),
            name)
BIX_REPLACE(getxattr, "getxattr", ssize_t,
            (const char* path, const char* name, void* value, std::size_t size),
            (path, name, value, size), path)
BIX_REPLACE(fsetxattr, "fsetxattr", int,
            (int fd, const char* name, const void* value, std::size_t size, int flags),
            (fd, name, value, size, flags), fd)

BIX_REPLACE(stat, "stat", int, (const char* path, void* status), (path, status), path)
BIX_REPLACE(stat64, "stat", int, (const char* path, void* status), (path, status), path)
BIX_REPLACE(lstat, "lstat", int, (const char* path, void* status), (path, status), path)
BIX_REPLACE(lstat64, "lstat", int, (const char* path, void* status), (path, status), path)
BIX_REPLACE(fstat, "fstat", int, (int fd, void* status), (fd, status), fd)
BIX_REPLACE(fstat64, "fstat", int, (int fd, void* status), (fd, status), fd)
BIX_REPLACE(lseek64, "lseek", off64_t, (int fd, off64_t offset, int whence), (fd, offset, whence),
            fd)
BIX_REPLACE(ftruncate64, "ftruncate", int, (int fd, off64_t size), (fd, size), fd)
#if !defined(__LP64__)
BIX_REPLACE(__stat64_time64, "stat", int, (const char* path, void* status), (path, status), path)
BIX_REPLACE(__lstat64_time64, "lstat", int, (const char* path, void* status), (path, status), path)
BIX_REPLACE(__fstat64_time64, "fstat", int, (int fd, void* status), (fd, status), fd)
#endif

// Returns its error number instead of setting it.
extern "C" int bix_replaced_fallocate(int fd, off64_t offset,
                                      off64_t size) __asm__("posix_fallocate64");
extern "C" int bix_replaced_fallocate(int fd, off64_t offset, off64_t size) {
  static auto* const real =
      bix_test::Real(static_cast<int (*)(int, off64_t, off64_t)>(nullptr), "posix_fallocate64");
  if (const int error = bix_test::Note("posix_fallocate", fd)) return error;
  return real(fd, offset, size);
}

// The third argument is only there when a file may be created.
#define BIX_REPLACE_OPEN(symbol)                                                           \
  extern "C" int bix_replaced_##symbol(const char* path, int flags, ...) __asm__(#symbol); \
  extern "C" int bix_replaced_##symbol(const char* path, int flags, ...) {                 \
    static auto* const real =                                                              \
        bix_test::Real(static_cast<int (*)(const char*, int, ...)>(nullptr), #symbol);     \
    mode_t mode = 0;                                                                       \
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {                      \
      va_list arguments;                                                                   \
      va_start(arguments, flags);                                                          \
      mode = static_cast<mode_t>(va_arg(arguments, unsigned));                             \
      va_end(arguments);                                                                   \
    }                                                                                      \
    if (const int error = bix_test::Note("open", path)) {                                  \
      errno = error;                                                                       \
      return -1;                                                                           \
    }                                                                                      \
    return real(path, flags, mode);                                                        \
  }
BIX_REPLACE_OPEN(open)
BIX_REPLACE_OPEN(open64)

// Whatever the third argument is, it is as wide as a pointer.
#define BIX_REPLACE_FCNTL(symbol)                                                             \
  extern "C" int bix_replaced_##symbol(int fd, int command, void* argument) __asm__(#symbol); \
  extern "C" int bix_replaced_##symbol(int fd, int command, void* argument) {                 \
    static auto* const real =                                                                 \
        bix_test::Real(static_cast<int (*)(int, int, ...)>(nullptr), #symbol);                \
    if (const int error = bix_test::Note("fcntl", fd)) {                                      \
      errno = error;                                                                          \
      return -1;                                                                              \
    }                                                                                         \
    return real(fd, command, argument);                                                       \
  }
BIX_REPLACE_FCNTL(fcntl)
BIX_REPLACE_FCNTL(fcntl64)

#define BIX_REPLACE_FOPEN(symbol)                                                                \
  extern "C" std::FILE* bix_replaced_##symbol(const char* path,                                  \
                                              const char* mode) __asm__(#symbol);                \
  extern "C" std::FILE* bix_replaced_##symbol(const char* path, const char* mode) {              \
    static auto* const real =                                                                    \
        bix_test::Real(static_cast<std::FILE* (*)(const char*, const char*)>(nullptr), #symbol); \
    if (const int error = bix_test::Note("fopen", path)) {                                       \
      errno = error;                                                                             \
      return nullptr;                                                                            \
    }                                                                                            \
    return real(path, mode);                                                                     \
  }
BIX_REPLACE_FOPEN(fopen)
BIX_REPLACE_FOPEN(fopen64)

extern "C" ssize_t bix_replaced_write(int fd, const void* bytes, std::size_t size) __asm__("write");
extern "C" ssize_t bix_replaced_write(int fd, const void* bytes, std::size_t size) {
  static auto* const real =
      bix_test::Real(static_cast<ssize_t (*)(int, const void*, std::size_t)>(nullptr), "write");
  if (const int error = bix_test::Note("write", fd)) {
    errno = error;
    return -1;
  }
  return real(fd, bytes,
              bix_test::t_faults != nullptr ? bix_test::t_faults->WriteLimit(size) : size);
}

extern "C" ssize_t bix_replaced_read(int fd, void* bytes, std::size_t size) __asm__("read");
extern "C" ssize_t bix_replaced_read(int fd, void* bytes, std::size_t size) {
  static auto* const real =
      bix_test::Real(static_cast<ssize_t (*)(int, void*, std::size_t)>(nullptr), "read");
  if (const int error = bix_test::Note("read", fd)) {
    errno = error;
    return -1;
  }
  return real(fd, bytes,
              bix_test::t_faults != nullptr ? bix_test::t_faults->ReadLimit(size) : size);
}

extern "C" int bix_replaced_close(int fd) __asm__("close");
extern "C" int bix_replaced_close(int fd) {
  static auto* const real = bix_test::Real(static_cast<int (*)(int)>(nullptr), "close");
  const int error = bix_test::Note("close", fd);
  const int result = real(fd);
  if (error == 0) return result;
  errno = error;
  return -1;
}

// Both widths of a time begin with the seconds, and those as wide as the function's time is.
#define BIX_REPLACE_CLOCK(symbol, seconds)                                                        \
  extern "C" int bix_replaced_##symbol(int clock, void* time) __asm__(#symbol);                   \
  extern "C" int bix_replaced_##symbol(int clock, void* time) {                                   \
    static auto* const real = bix_test::Real(static_cast<int (*)(int, void*)>(nullptr), #symbol); \
    const int result = real(clock, time);                                                         \
    if (bix_test::t_faults != nullptr)                                                            \
      *static_cast<seconds*>(time) += bix_test::t_faults->SkippedSeconds();                       \
    return result;                                                                                \
  }

#define BIX_REPLACE_PAUSE(symbol)                                                      \
  extern "C" int bix_replaced_##symbol(const void* time, void* rest) __asm__(#symbol); \
  extern "C" int bix_replaced_##symbol(const void* time, void* rest) {                 \
    static auto* const real =                                                          \
        bix_test::Real(static_cast<int (*)(const void*, void*)>(nullptr), #symbol);    \
    if (bix_test::t_faults != nullptr && bix_test::t_faults->SkipsPause()) return 0;   \
    return real(time, rest);                                                           \
  }

extern "C" int bix_replaced_poll(void* fds, unsigned long count, int timeout) __asm__("poll");
extern "C" int bix_replaced_poll(void* fds, unsigned long count, int timeout) {
  static auto* const real =
      bix_test::Real(static_cast<int (*)(void*, unsigned long, int)>(nullptr), "poll");
  if (bix_test::t_faults != nullptr && bix_test::t_faults->SkipsPause()) return 0;
  return real(fds, count, timeout);
}

BIX_REPLACE_CLOCK(clock_gettime, long)
BIX_REPLACE_PAUSE(nanosleep)
#if !defined(__LP64__)
BIX_REPLACE_CLOCK(__clock_gettime64, std::int64_t)
BIX_REPLACE_PAUSE(__nanosleep64)
#endif
