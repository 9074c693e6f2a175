// The functions marked CHILD run in the child before the program does: in the memory of the host,
// whose other threads run on and may hold any lock, and on a stack of their own. They take no lock,
// allocate nothing, call no handler of the host, and end with exec or exit. Their writes are seen by
// the host, which is how it learns what went wrong.
//
// They are not instrumented: the sanitizers would take the child for the thread that started it.

#include "proc/start_program.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/uncancelled.h"

#define BIX_IN_CHILD [[gnu::noinline, gnu::no_sanitize_address, gnu::no_sanitize_thread]]

#if defined(__SANITIZE_THREAD__)
// The thread sanitizer takes every clone for a fork, and would lose its view of this process. It does
// not know the C library's own name of the function.
extern "C" int __clone(int (*function)(void*), void* stack, int flags, void* argument, ...);
#define BIX_CLONE ::__clone
#else
#define BIX_CLONE ::clone
#endif

namespace bix::impl {
namespace {

constexpr int kExitSetUpFailed = 127;  // seen by nobody
constexpr int kExitCannotRun = 1;

/// Every signal, as the system keeps them; those that the C library uses for itself too.
struct SignalSet {
  std::uint32_t words[2];
};
constexpr SignalSet kAllSignals = {{0xffffffff, 0xffffffff}};
constexpr int kSignals = 64;

/// The system's own record of an action.
struct SignalAction {
  std::uintptr_t handler;
  unsigned long flags;
  std::uintptr_t restorer;
  SignalSet mask;
};

/// What the child is told, and what it tells.
struct Child {
  const ProgramStart* start;
  char* const* environment;
  int descriptorLimit;
  SignalSet signals;  // blocked signals of the program
  int setUpError;
  int execError;
};

/// An entry of a directory, as the system returns it.
struct DirectoryEntry {
  std::uint64_t inode;
  std::int64_t offset;
  std::uint16_t size;
  std::uint8_t type;
  char name[1];
};

// CHILD. The handlers of the host would run in its memory.
BIX_IN_CHILD void ResetHandlers() {
  const SignalAction byDefault = {};
  for (int signal = 1; signal <= kSignals; ++signal) {
    SignalAction action;
    if (::syscall(SYS_rt_sigaction, signal, nullptr, &action, sizeof(SignalSet)) != 0) continue;
    if (action.handler > 1)  // neither the default nor ignored
      (void)::syscall(SYS_rt_sigaction, signal, &byDefault, nullptr, sizeof(SignalSet));
  }
}

// CHILD. The number that a name spells, or -1.
BIX_IN_CHILD int NumberOf(const char* name) {
  if (*name == '\0') return -1;
  int number = 0;
  for (; *name != '\0'; ++name) {
    if (*name < '0' || *name > '9' || number > 100000000) return -1;
    number = number * 10 + (*name - '0');
  }
  return number;
}

// CHILD. Closes what the system lists as open. False when it lists nothing.
BIX_IN_CHILD bool CloseListed(int limit) {
  const int list = static_cast<int>(
      ::syscall(SYS_openat, AT_FDCWD, "/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
  if (list < 0) return false;
  alignas(DirectoryEntry) char block[2048];
  bool isComplete = false;
  for (;;) {
    const long size = ::syscall(SYS_getdents64, list, block, sizeof block);
    isComplete = size == 0;
    if (size <= 0) break;
    for (long at = 0; at < size;) {
      const auto* const entry = reinterpret_cast<const DirectoryEntry*>(block + at);
      const int fd = NumberOf(entry->name);
      if (fd > 2 && fd < limit && fd != list) (void)::syscall(SYS_close, fd);
      at += entry->size;
    }
  }
  (void)::syscall(SYS_close, list);
  return isComplete;
}

// CHILD. Closes the descriptors from 3 up to one below the limit.
//
// COMPAT(close-below-limit): a descriptor at or above the limit, from a time when the limit was
// higher, stays open: hosts hand it on that way. Test:
// SubProcDescriptorsCompat.ADescriptorAboveTheLimitIsHandedOn
BIX_IN_CHILD void CloseOthers(int limit) {
  if (limit <= 3) return;
  if (::syscall(SYS_close_range, 3U, static_cast<unsigned>(limit) - 1, 0U) == 0) return;
  if (CloseListed(limit)) return;
  for (int fd = 3; fd < limit; ++fd) (void)::syscall(SYS_close, fd);
}

// CHILD.
BIX_IN_CHILD bool Redirect(int from, int to) {
  while (::syscall(SYS_dup2, from, to) < 0) {
    if (errno != EINTR && errno != EBUSY) return false;
  }
  return true;
}

// CHILD. False, with `errno`, when the child cannot be made what it is to be.
BIX_IN_CHILD bool SetUp(const Child& child) {
  const ProgramStart& start = *child.start;
  ResetHandlers();
  if (start.output >= 0) {
    if (!Redirect(start.output, 1) || !Redirect(start.output, 2)) return false;
    (void)::syscall(SYS_close, start.output);
  }
  if (start.input >= 0) {
    if (!Redirect(start.input, 0)) return false;
    (void)::syscall(SYS_close, start.input);
  }
  if (start.directory != nullptr && ::syscall(SYS_chdir, start.directory) != 0) return false;
  if (start.closesOthers) CloseOthers(child.descriptorLimit);
  return true;
}

[[noreturn]] BIX_IN_CHILD void Exit(int code) {
  for (;;) (void)::syscall(SYS_exit_group, code);
}

// CHILD.
BIX_IN_CHILD int RunChild(void* record) {
  auto* const child = static_cast<Child*>(record);
  if (!SetUp(*child)) {
    child->setUpError = errno;
    Exit(kExitSetUpFailed);
  }
  (void)::syscall(SYS_rt_sigprocmask, SIG_SETMASK, &child->signals, nullptr, sizeof(SignalSet));
  // Allocates nothing: it tries the directories of "PATH" one after the other, on the stack.
  ::execvpe(child->start->file, const_cast<char* const*>(child->start->arguments),
            child->environment);
  child->execError = errno;
  Exit(kExitCannotRun);
}

/// The child's stack, with room for a path, and for the arguments once more when the file turns out
/// to be a script without a first line.
class ChildStack {
 public:
  explicit ChildStack(const char* const* arguments) {
    std::size_t count = 0;
    while (arguments[count] != nullptr) ++count;
    m_size = (kRoom + count * sizeof *arguments + kPage - 1) / kPage * kPage;
    m_base = ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  }
  ChildStack(const ChildStack&) = delete;
  ChildStack& operator=(const ChildStack&) = delete;
  ~ChildStack() {
    if (IsMapped()) (void)::munmap(m_base, m_size);
  }

  bool IsMapped() const { return m_base != MAP_FAILED; }
  void* Top() const { return static_cast<char*>(m_base) + m_size; }

 private:
  static constexpr std::size_t kPage = 4096;
  static constexpr std::size_t kRoom = 16 * kPage;

  std::size_t m_size;
  void* m_base;
};

/// Keeps every signal from this thread for the length of a scope.
class WithoutSignals {
 public:
  explicit WithoutSignals(SignalSet& before) : m_before(before) {
    (void)::syscall(SYS_rt_sigprocmask, SIG_SETMASK, &kAllSignals, &m_before, sizeof(SignalSet));
  }
  WithoutSignals(const WithoutSignals&) = delete;
  WithoutSignals& operator=(const WithoutSignals&) = delete;
  ~WithoutSignals() {
    (void)::syscall(SYS_rt_sigprocmask, SIG_SETMASK, &m_before, nullptr, sizeof(SignalSet));
  }

 private:
  SignalSet& m_before;
};

/// A child that was never the host's: its end is nobody's business.
void Forget(pid_t pid) {
  while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

StartedProgram StartProgram(const ProgramStart& start) {
  const Uncancelled uncancelled;
  StartedProgram result;
  const ChildStack stack(start.arguments);
  if (!stack.IsMapped()) {
    result.error = errno;
    result.isFork = true;
    return result;
  }
  Child child = {};
  child.start = &start;
  child.environment =
      start.environment != nullptr ? const_cast<char* const*>(start.environment) : environ;
  child.descriptorLimit = ::getdtablesize();
  const WithoutSignals withoutSignals(child.signals);
  // CHOICE(child-without-copy): the child borrows the host's memory instead of copying it, and this
  // thread goes on when the program runs. Handlers registered with pthread_atfork are not called.
  // Tests: SubProcLaunch.ManyThreadsLaunchAtOnce, SubProcSignals.TheChildHasTheDefaultActions
  const int pid = BIX_CLONE(RunChild, stack.Top(), CLONE_VM | CLONE_VFORK | SIGCHLD, &child);
  if (pid < 0) {
    result.error = errno;
    result.isFork = true;
  } else if (child.setUpError != 0) {
    result.error = child.setUpError;
    Forget(pid);
  } else {
    result.pid = pid;
    result.execError = child.execError;
  }
  return result;
}

}  // namespace bix::impl
