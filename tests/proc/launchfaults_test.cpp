// Launches while the system fails: each call of a launch in turn, in the host and in the child.

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "bix/subproc.h"
#include "proc/children.h"
#include "support/captured_output.h"
#include "support/scoped_environment.h"

namespace bix_test {
namespace {

/// Counts the calls of the thread that made it, and of the child that borrows its memory, which is
/// why nothing here allocates while they are made.
struct CallFaults {
  static constexpr int kMost = 64;

  int failing = 0;  // the number of the call that fails, counted from 1; 0 for none
  int error = EIO;
  int count = 0;
  const char* names[kMost] = {};

  CallFaults();
  ~CallFaults();

  /// Whether the call has to fail.
  bool Note(const char* name) {
    if (count < kMost) names[count] = name;
    return ++count == failing;
  }
};
thread_local CallFaults* t_faults = nullptr;

CallFaults::CallFaults() { t_faults = this; }
CallFaults::~CallFaults() { t_faults = nullptr; }

bool Fails(const char* name) {
  if (t_faults == nullptr || !t_faults->Note(name)) return false;
  errno = t_faults->error;
  return true;
}

/// The name of a call that is made by its number; null for those that are not let fail, because
/// they cannot.
const char* NameOf(long number) {
  switch (number) {
    case SYS_dup2:
      return "child: dup2";
    case SYS_chdir:
      return "child: chdir";
    case SYS_close:
      return "child: close";
    case SYS_close_range:
      return "child: close_range";
    case SYS_openat:
      return "child: openat";
    case SYS_getdents64:
      return "child: getdents64";
    default:
      return nullptr;
  }
}

template <class Function>
Function* Real(const char* symbol) {
  void* const address = dlsym(RTLD_NEXT, symbol);
  if (address == nullptr) std::abort();
  return reinterpret_cast<Function*>(address);
}

// Looked up with the first call of the program, so before any child needs it.
long (*s_realSyscall)(long, ...) = nullptr;

}  // namespace
}  // namespace bix_test

// They take the place of the C library's own for this program and the libraries in it.
#define BIX_TEST_REPLACE(type, symbol, parameters, arguments, failure)  \
  extern "C" type bix_test_##symbol parameters __asm__(#symbol);        \
  extern "C" type bix_test_##symbol parameters {                        \
    static auto* const real = bix_test::Real<type parameters>(#symbol); \
    return bix_test::Fails(#symbol) ? failure : real arguments;         \
  }
BIX_TEST_REPLACE(char*, getcwd, (char* buffer, std::size_t size), (buffer, size), nullptr)
BIX_TEST_REPLACE(int, pipe2, (int* ends, int flags), (ends, flags), -1)

#define BIX_TEST_REPLACE_FCNTL(symbol)                                                    \
  extern "C" int bix_test_##symbol(int fd, int command, void* argument) __asm__(#symbol); \
  extern "C" int bix_test_##symbol(int fd, int command, void* argument) {                 \
    static auto* const real = bix_test::Real<int(int, int, ...)>(#symbol);                \
    return bix_test::Fails("fcntl F_DUPFD") ? -1 : real(fd, command, argument);           \
  }
BIX_TEST_REPLACE_FCNTL(fcntl)
BIX_TEST_REPLACE_FCNTL(fcntl64)
#if !defined(__LP64__)
BIX_TEST_REPLACE_FCNTL(__fcntl_time64)
#endif

extern "C" void* bix_test_mmap64(void* address, std::size_t size, int protection, int flags, int fd,
                                 off64_t offset) __asm__("mmap64");
extern "C" void* bix_test_mmap64(void* address, std::size_t size, int protection, int flags, int fd,
                                 off64_t offset) {
  static auto* const real =
      bix_test::Real<void*(void*, std::size_t, int, int, int, off64_t)>("mmap64");
  return bix_test::Fails("mmap") ? MAP_FAILED : real(address, size, protection, flags, fd, offset);
}

extern "C" int bix_test_clone(int (*function)(void*), void* stack, int flags, void* argument,
                              ...) __asm__("clone");
extern "C" int bix_test_clone(int (*function)(void*), void* stack, int flags, void* argument, ...) {
  static auto* const real = bix_test::Real<int(int (*)(void*), void*, int, void*, ...)>("clone");
  return bix_test::Fails("clone") ? -1 : real(function, stack, flags, argument);
}

extern "C" long bix_test_syscall(long number, long a, long b, long c, long d, long e,
                                 long f) __asm__("syscall");
extern "C" long bix_test_syscall(long number, long a, long b, long c, long d, long e, long f) {
  if (bix_test::s_realSyscall == nullptr)
    bix_test::s_realSyscall = bix_test::Real<long(long, ...)>("syscall");
  const char* const name = bix_test::NameOf(number);
  return name != nullptr && bix_test::Fails(name)
             ? -1
             : bix_test::s_realSyscall(number, a, b, c, d, e, f);
}

namespace bix_test {
namespace {

using bix::CSubProc;

std::vector<long long> StreamsOfTheHost() {
  std::vector<long long> state;
  for (int fd = 0; fd < 3; ++fd) {
    struct stat status = {};
    EXPECT_EQ(0, fstat(fd, &status));
    state.push_back(static_cast<long long>(status.st_ino));
    state.push_back(lseek(fd, 0, SEEK_CUR));
  }
  return state;
}

/// What comes of launching a child in "/" when one call fails.
struct Outcome {
  std::string call;
  int result;
  std::string printed;

  friend bool operator==(const Outcome& a, const Outcome& b) {
    return a.call == b.call && a.result == b.result && a.printed == b.printed;
  }
  friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.call << ": " << outcome.result << " '" << outcome.printed << "'";
  }
};

Outcome LaunchWithFault(CSubProc& child, int failing, int error = EIO) {
  Outcome outcome;
  const CapturedDescriptor errors(2);
  const char* arguments[] = {BIX_CHILD, "descriptors", nullptr};
  {
    CallFaults faults;
    faults.failing = failing;
    faults.error = error;
    outcome.result = child.launch(BIX_CHILD, arguments, "/", false);
    t_faults = nullptr;
    outcome.call = faults.count >= failing ? faults.names[failing - 1] : "";
  }
  outcome.printed = errors.Text();
  return outcome;
}

TEST(SubProcFaults, EachCallOfALaunchFailsInTurn) {
  const ScopedVariable variable("MORVEL_NO_CLOSE", nullptr);
  const std::string fork = "fork: Input/output error\n";
  const std::vector<Outcome> want = {
      {"getcwd", -1, ""},        {"fcntl F_DUPFD", -1, ""}, {"fcntl F_DUPFD", -1, ""},
      {"fcntl F_DUPFD", -1, ""}, {"pipe2", -1, ""},         {"pipe2", -1, ""},
      {"mmap", -1, fork},        {"clone", -1, fork},       {"child: dup2", -1, ""},
      {"child: dup2", -1, ""},   {"child: close", 0, ""},   {"child: dup2", -1, ""},
      {"child: close", 0, ""},   {"child: chdir", -1, ""},  {"child: close_range", 0, ""},
  };
  const std::vector<long long> streams = StreamsOfTheHost();
  const std::size_t descriptors = OpenDescriptors();
  std::vector<Outcome> got;
  for (int failing = 1;; ++failing) {
    CSubProc child;
    const Outcome outcome = LaunchWithFault(child, failing);
    if (outcome.call.empty()) break;
    SCOPED_TRACE(outcome.call);
    got.push_back(outcome);
    EXPECT_TRUE(streams == StreamsOfTheHost());
    if (outcome.result == 0) {
      EXPECT_EQ("0 1 2\n", ReadAll(child));
      EXPECT_EQ(0, child.get_exit_status());
      child.reset();
    }
    EXPECT_EQ(outcome.result == 0 ? 0 : EIO, child.launch_error());
    EXPECT_EQ(0, child.state());
    EXPECT_EQ(-1, child.rfd());
    EXPECT_EQ(-1, child.wfd());
    EXPECT_EQ(descriptors, OpenDescriptors());
    EXPECT_FALSE(HasChildren());
  }
  EXPECT_EQ(want, got);
}

TEST(SubProcFaults, ARedirectionThatIsInterruptedIsRepeated) {
  const ScopedVariable variable("MORVEL_NO_CLOSE", nullptr);
  int redirections = 0;
  for (int failing = 1;; ++failing) {
    CSubProc child;
    const Outcome outcome = LaunchWithFault(child, failing, EINTR);
    if (outcome.call.empty()) break;
    if (outcome.call == "child: dup2") {
      ++redirections;
      EXPECT_EQ(0, outcome.result);
      EXPECT_EQ("0 1 2\n", ReadAll(child));
    }
    if (outcome.result == 0) {
      EXPECT_EQ(0, child.get_exit_status());
    }
    child.reset();
  }
  EXPECT_EQ(3, redirections);
}

TEST(SubProcFaults, AFailedForkOfASpawnIsPrinted) {
  const char* arguments[] = {BIX_CHILD, nullptr};
  std::string printed;
  int result = 0, error = 0;
  {
    const CapturedDescriptor errors(2);
    CallFaults faults;
    faults.failing = 2;  // behind mmap
    faults.error = EAGAIN;
    errno = 0;
    result = bix::local_spawn(BIX_CHILD, arguments, false);
    error = errno;
    t_faults = nullptr;
    EXPECT_STREQ("clone", faults.names[1]);
    printed = errors.Text();
  }
  EXPECT_EQ(-1, result);
  EXPECT_EQ(EAGAIN, error);
  EXPECT_EQ("fork: Resource temporarily unavailable\n", printed);
}

TEST(SubProcFaultsCompat, AFailedForkUsesTheRequestUp) {
  const ScopedVariable own("LD_LIBRARY_PATH", "/own");
  const ScopedVariable saved("R5_SAVED_LD_LIBRARY_PATH", "/saved");
  CSubProc child;
  child.restore_ld_library_path();
  EXPECT_EQ("clone", LaunchWithFault(child, 8).call);
  const char* arguments[] = {BIX_CHILD, "variables", "LD_LIBRARY_PATH", nullptr};
  ASSERT_EQ(0, child.launch(BIX_CHILD, arguments, nullptr, false));
  EXPECT_EQ("LD_LIBRARY_PATH=/own\n", ReadAll(child));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

}  // namespace
}  // namespace bix_test
