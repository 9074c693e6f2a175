#include "bix/subproc.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "proc/abandoned.h"
#include "proc/start_program.h"
#include "support/scoped_fd.h"
#include "support/uncancelled.h"
#include "support/without_sigpipe.h"

namespace bix {
namespace {

using impl::ScopedFd;

constexpr const char* kNoClose = "MORVEL_NO_CLOSE";
constexpr const char* kSavedLibraryPath = "R5_SAVED_LD_LIBRARY_PATH";
constexpr const char* kLibraryPathIs = "LD_LIBRARY_PATH=";

// What a pipe holds by itself, and what both of a child hold once more than that has gone through
// them: with the system's own size the two sides of a child that answers while it is still being
// written to wait for each other far more often. It is the most that a user may ask for. Few children
// need it, and all are not given it, because the system grants a user only so much for the pipes of
// all programs: where that is used up, the next pipes of everybody are tiny.
constexpr unsigned kPlainPipeSize = 64 * 1024;
constexpr int kLargePipeSize = 1024 * 1024;

// A killed child ends at once, unless the system holds it inside a device.
constexpr unsigned kReapPatience = 1000;

/// perror for an error that is known, whatever has happened to `errno` since.
void Report(const char* call, int error) {
  errno = error;
  std::perror(call);
}

/// What perror would print in a child whose program cannot be run, into its pipe.
void WriteExecFailure(int pipe, int error) {
  char text[256];
  const int length = std::snprintf(text, sizeof text, "execvp: %s\n", std::strerror(error));
  const auto size = std::min<std::size_t>(static_cast<std::size_t>(length), sizeof text - 1);
  (void)!::write(pipe, text, size);  // an empty pipe takes it
}

/// What the saved library path makes of an environment.
class RestoredEnvironment {
 public:
  /// Null when there is no saved path: the environment is to stay what it is.
  const char* const* Make() {
    const char* const saved = std::getenv(kSavedLibraryPath);
    if (saved == nullptr) return nullptr;
    m_libraryPath = std::string(kLibraryPathIs) + saved;
    const std::size_t nameSize = std::strlen(kLibraryPathIs);
    bool isPlaced = false;
    for (char* const* variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
      if (std::strncmp(*variable, kLibraryPathIs, nameSize) != 0) {
        m_variables.push_back(*variable);
      } else if (!isPlaced) {
        m_variables.push_back(m_libraryPath.c_str());
        isPlaced = true;
      }
    }
    if (!isPlaced) m_variables.push_back(m_libraryPath.c_str());
    m_variables.push_back(nullptr);
    return m_variables.data();
  }

 private:
  std::string m_libraryPath;
  std::vector<const char*> m_variables;
};

/// Starts a program with what the environment of the host says about descriptors and library path.
impl::StartedProgram Start(impl::ProgramStart& start, bool restore) try {
  RestoredEnvironment environment;
  if (restore) start.environment = environment.Make();
  return impl::StartProgram(start);
} catch (const std::bad_alloc&) {
  impl::StartedProgram failed;
  failed.error = ENOMEM;
  failed.isFork = true;
  return failed;
}

bool InheritsAll() { return std::getenv(kNoClose) != nullptr; }

/// The two ends of a pipe. Nobody else's child gets them, unless children are to inherit all.
struct Pipe {
  ScopedFd readEnd;
  ScopedFd writeEnd;

  /// 0, or an error number.
  int Open(bool inheritsAll) {
    int ends[2];
    if (::pipe2(ends, inheritsAll ? 0 : O_CLOEXEC) != 0) return errno;
    readEnd.Reset(ends[0]);
    writeEnd.Reset(ends[1]);
    return 0;
  }
};

/// Copies of the host's descriptors 0, 1 and 2.
struct StandardCopies {
  ScopedFd copies[3];

  /// 0, or an error number, EBADF for a closed one.
  int Open(bool inheritsAll) {
    for (int fd = 0; fd < 3; ++fd) {
      // The free numbers below 3 are passed over, so that a closed descriptor is found.
      copies[fd].Reset(::fcntl(fd, inheritsAll ? F_DUPFD : F_DUPFD_CLOEXEC, 3));
      // A limit of 3 descriptors or less makes the 3 invalid.
      if (!copies[fd].IsOpen()) return errno == EINVAL ? EMFILE : errno;
    }
    return 0;
  }
};

/// 0, or why the working directory of the host cannot be told.
int CheckWorkingDirectory() {
  constexpr std::size_t kLimit = 4096;
  char directory[kLimit + 1];
  return ::getcwd(directory, kLimit) != nullptr ? 0 : errno;
}

/// Waits until a child has ended, and leaves it to be reaped. 0, or an error number.
int AwaitEnd(pid_t pid) {
  siginfo_t information;
  while (::waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

/// Whether a child has ended; it is left to be reaped. So has one that somebody else has reaped, such
/// as the system for a host that ignores its children.
bool HasEnded(pid_t pid) {
  siginfo_t information = {};
  if (::waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT | WNOHANG) != 0)
    return errno == ECHILD;
  return information.si_pid == pid;
}

/// The milliseconds until then, rounded up, as poll takes them.
int Remaining(std::chrono::steady_clock::time_point end) {
  using std::chrono::milliseconds;
  const auto rest = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now()).count();
  return static_cast<int>(std::clamp<decltype(rest)>(rest, 0, INT_MAX));
}

/// HasEnded, within so many milliseconds.
bool EndsWithin(pid_t pid, unsigned wait) {
  if (HasEnded(pid)) return true;
  if (wait == 0) return false;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(wait);
  const ScopedFd process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0U)));
  pollfd event = {process.Get(), POLLIN, 0};
  constexpr int kPause = 5;  // where the system cannot tell us
  while (const int rest = Remaining(end)) {
    (void)::poll(&event, 1, process.IsOpen() ? rest : std::min(rest, kPause));
    if (HasEnded(pid)) return true;
  }
  return false;
}

}  // namespace

/// Uses one end of a pipe, which another thread may close meanwhile: its number then stays taken
/// until the use is over.
class CSubProc::PipeUse {
 public:
  PipeUse(std::mutex& lock, const std::atomic<int>& descriptor, int& users, int& closing)
      : m_lock(lock), m_users(users), m_closing(closing) {
    const std::lock_guard<std::mutex> locked(m_lock);
    m_fd = descriptor;
    ++m_users;
  }
  PipeUse(const PipeUse&) = delete;
  PipeUse& operator=(const PipeUse&) = delete;
  ~PipeUse() {
    const impl::Uncancelled uncancelled;
    const std::lock_guard<std::mutex> locked(m_lock);
    if (--m_users == 0) {
      const ScopedFd closed(m_closing);
      m_closing = -1;
    }
  }

  int Get() const { return m_fd; }

 private:
  std::mutex& m_lock;
  int& m_users;
  int& m_closing;
  int m_fd = -1;
};

CSubProc::CSubProc() = default;

CSubProc::~CSubProc() {
  if (m_state == 0) return;
  // COMPAT(destructor-kills-the-reaped): state 1 is also that of a child which has been waited for,
  // so "kill" is printed unless reset() came before. Test:
  // SubProcStateCompat.DestroyingAfterTheWaitPrintsKill
  if (m_state == 1) (void)CSubProc::kill();
  (void)CSubProc::get_exit_status();
  CSubProc::reset();
}

int CSubProc::launchw(const char* file, const char** argv, const char* dir, bool flag) {
  return launch(file, argv, dir, flag);
}

int CSubProc::launch(const char* file, const char** argv, const char* dir, bool /*flag*/) {
  const impl::Uncancelled uncancelled;
  // COMPAT(launch-needs-idle): a child that has ended keeps its object busy until reset().
  // Test: SubProcStateCompat.ASecondLaunchNeedsReset
  if (file == nullptr || argv == nullptr) return FailLaunch(EINVAL);
  if (m_state != 0) return FailLaunch(EBUSY);
  impl::ReapAbandoned();

  const bool hasDirectory = dir != nullptr && *dir != '\0';
  // COMPAT(launch-needs-own-directory): nobody goes anywhere and comes back in the host, but a host
  // whose own directory is gone or too deep cannot launch into another one, as ever.
  // Test: SubProcDirectoryCompat.AHostWithoutADirectoryCannotLaunchIntoAnother
  if (hasDirectory) {
    if (const int error = CheckWorkingDirectory()) return FailLaunch(error);
  }

  const bool inheritsAll = InheritsAll();
  // COMPAT(launch-needs-standard-descriptors): the copies are only made because hosts rely on the
  // failure when one of the three is closed, and, with "MORVEL_NO_CLOSE", hand the copies on.
  // Test: SubProcDescriptorsCompat.AClosedStandardDescriptorFailsTheLaunch
  StandardCopies copies;
  Pipe output, input;
  int error = copies.Open(inheritsAll);
  if (error == 0) error = output.Open(inheritsAll);
  if (error == 0) error = input.Open(inheritsAll);
  if (error != 0) return FailLaunch(error);

  impl::ProgramStart start;
  start.file = file;
  start.arguments = argv;
  start.directory = hasDirectory ? dir : nullptr;
  start.input = input.readEnd.Get();
  start.output = output.writeEnd.Get();
  start.closesOthers = !inheritsAll;
  const impl::StartedProgram child = Start(start, m_restoresLibraryPath);
  // COMPAT(restore-request-used-up): by an attempt to start a process, whatever comes of it, but not
  // by a failure before, such as a missing directory. Tests:
  // SubProcLibraryPathCompat.AnEarlierFailureKeepsTheRequest,
  // SubProcFaultsCompat.AFailedForkUsesTheRequestUp
  if (child.pid >= 0 || child.isFork) m_restoresLibraryPath = false;
  if (child.pid < 0) {
    if (child.isFork) Report("fork", child.error);
    return FailLaunch(child.error);
  }
  // COMPAT(exec-failure-in-the-pipe): it is the child's own end, not a failed launch. It has ended,
  // and its text is in its pipe before anybody reads. Test:
  // SubProcLaunchCompat.AProgramThatCannotBeRunSaysSoInThePipeAndExitsWithOne
  if (child.execError != 0) WriteExecFailure(output.writeEnd.Get(), child.execError);

  const std::lock_guard<std::mutex> locked(m_lock);
  m_pid = child.pid;
  m_isReaped = false;
  m_traffic = 0;
  m_rfd = output.readEnd.Release();
  m_wfd = input.writeEnd.Release();
  m_launchError = 0;
  m_state = 1;
  return 0;
}

int CSubProc::FailLaunch(int error) {
  m_launchError = error;
  errno = error;
  return -1;
}

int CSubProc::write(const char* buf, unsigned len) {
  const PipeUse use(m_lock, m_wfd, m_writers, m_closingWrite);
  if (use.Get() < 0) return 0;
  CountTraffic(len);
  impl::WithoutSigpipe noSignal;
  const ssize_t count = ::write(use.Get(), buf, std::min<unsigned>(len, INT_MAX));
  if (count == static_cast<ssize_t>(len)) noSignal.NothingRaised();
  // COMPAT(any-failure-ends): an interrupted call and one that would have to wait end it as well.
  // Test: SubProcStateCompat.AFailedReadOrWriteEndsInStateTwo
  if (count < 0) m_state = 2;
  return static_cast<int>(count);
}

int CSubProc::read(char* buf, unsigned len) {
  const PipeUse use(m_lock, m_rfd, m_readers, m_closingRead);
  if (use.Get() < 0) return 0;
  const ssize_t count = ::read(use.Get(), buf, std::min<unsigned>(len, INT_MAX));
  if (count < 0)
    m_state = 2;
  else
    CountTraffic(static_cast<unsigned>(count));
  return static_cast<int>(count);
}

/// Makes the pipes large when it is more than they hold.
void CSubProc::CountTraffic(unsigned bytes) {
  if (m_traffic > kPlainPipeSize) return;  // they are
  if ((m_traffic += std::min(bytes, kPlainPipeSize + 1)) <= kPlainPipeSize) return;
  const std::lock_guard<std::mutex> locked(m_lock);
  for (const int fd : {m_rfd.load(), m_wfd.load()}) {
    if (fd >= 0) (void)::fcntl(fd, F_SETPIPE_SZ, kLargePipeSize);  // refused, it is only slower
  }
}

int CSubProc::close_write() {
  const impl::Uncancelled uncancelled;
  const std::lock_guard<std::mutex> locked(m_lock);
  CloseWhenUnused(m_wfd, m_writers, m_closingWrite);
  return 0;
}

int CSubProc::close_read() {
  const impl::Uncancelled uncancelled;
  const std::lock_guard<std::mutex> locked(m_lock);
  CloseWhenUnused(m_rfd, m_readers, m_closingRead);
  return 0;
}

void CSubProc::CloseWhenUnused(std::atomic<int>& descriptor, int& users, int& closing) {
  const int fd = descriptor.exchange(-1);
  if (fd < 0) return;
  if (users > 0)
    closing = fd;
  else
    (void)::close(fd);
}

void CSubProc::CloseBoth() {
  CloseWhenUnused(m_rfd, m_readers, m_closingRead);
  CloseWhenUnused(m_wfd, m_writers, m_closingWrite);
}

int CSubProc::wfd() const { return m_wfd; }

int CSubProc::rfd() const { return m_rfd; }

int CSubProc::kill() {
  const impl::Uncancelled uncancelled;
  int error = 0;
  {
    const std::lock_guard<std::mutex> locked(m_lock);
    if (m_state != 1) return -1;
    m_exitStatus = -1;
    // CHOICE(reaped-number): the number of a child that has been waited for may be somebody else's
    // by now. What the system would have said is said without asking it. Tests:
    // SubProcStateCompat.KillAfterTheWaitPrintsKill, SubProcStateCompat.ASecondWaitPrintsWaitpid
    if (m_isReaped)
      error = ESRCH;
    else if (::kill(m_pid, SIGKILL) != 0)
      error = errno;
    if (error == 0)
      m_killedPid = m_pid;
    else if (error != ESRCH)  // still a child of this process
      impl::Abandon(m_pid);
    CloseBoth();
    m_state = 2;
    m_pid = -1;
  }
  // COMPAT(kill-result): a signal that could not be sent is printed, but the child counts as killed.
  // Test: SubProcStateCompat.KillAfterTheWaitPrintsKill
  if (error != 0) Report("kill", error);
  return 0;
}

void CSubProc::reset() {
  const impl::Uncancelled uncancelled;
  ReapKilled();
  const std::lock_guard<std::mutex> locked(m_lock);
  CloseBoth();
  // CHOICE(left-children): a child that nobody waits for any more runs on; it is reaped when it has
  // ended and another child is launched or let go of. Test: SubProcZombies.ChildrenThatWereLeftAreReapedLater
  if (m_pid > 0 && !m_isReaped) impl::Abandon(m_pid);
  impl::ReapAbandoned();
  m_pid = -1;
  m_isReaped = false;
  m_state = 0;
}

void CSubProc::ReapKilled() {
  int killed = -1;
  {
    const std::lock_guard<std::mutex> locked(m_lock);
    std::swap(killed, m_killedPid);
  }
  if (killed < 0) return;
  (void)EndsWithin(killed, kReapPatience);
  impl::Abandon(killed);  // reset() reaps it
}

int CSubProc::get_exit_status() {
  pid_t pid = -1;
  int error = 0;
  {
    const std::lock_guard<std::mutex> locked(m_lock);
    // CHOICE(status-before-the-first): -1, which nobody takes for a success.
    // Test: SubProcStateCompat.AFreshObjectIsIdle
    if (m_state == 0) return m_exitStatus;
    if (m_state == 2) return m_exitStatus = -1;
    pid = m_pid;
    if (m_isReaped) error = ECHILD;
  }
  // Another thread may kill the child while this waits, so its number has to stay its own until the
  // lock is held again.
  if (error == 0) error = AwaitEnd(pid);
  int status = 0;
  {
    const std::lock_guard<std::mutex> locked(m_lock);
    if (m_state != 1) return m_exitStatus = -1;
    if (error == 0 && m_isReaped) return m_exitStatus;  // by another thread
    while (error == 0 && ::waitpid(pid, &status, 0) < 0) {
      if (errno != EINTR) error = errno;
    }
    m_isReaped = true;
    // COMPAT(status-raw): as waitpid stores it: hosts decode it themselves.
    // Test: SubProcStateCompat.TheStatusIsTheRawOne
    if (error == 0) m_exitStatus = status;
    status = m_exitStatus;
  }
  if (error != 0) Report("waitpid", error);
  return status;
}

bool CSubProc::wait_for(unsigned milliseconds) const {
  pid_t pid = -1;
  {
    const std::lock_guard<std::mutex> locked(m_lock);
    if (m_state != 1) return false;
    if (m_isReaped) return true;
    pid = m_pid;
  }
  return EndsWithin(pid, milliseconds);
}

void CSubProc::do_restore_ld_library_path() {
  const char* const saved = std::getenv(kSavedLibraryPath);
  if (saved == nullptr) return;
  const std::size_t size = std::strlen(kLibraryPathIs) + std::strlen(saved) + 1;
  auto* const variable = static_cast<char*>(std::malloc(size));
  if (variable == nullptr) return;
  (void)std::snprintf(variable, size, "%s%s", kLibraryPathIs, saved);
  (void)::putenv(variable);  // the environment keeps the text itself, for good
}

int local_spawn(const char* file, const char** argv, bool restore) {
  if (file == nullptr || argv == nullptr) {
    errno = EINVAL;
    return -1;
  }
  impl::ProgramStart start;
  start.file = file;
  start.arguments = argv;
  start.closesOthers = !InheritsAll();
  const impl::Uncancelled uncancelled;  // also while printing: the caller is to get the child
  const impl::StartedProgram child = Start(start, restore);
  if (child.pid < 0) Report("fork", child.error);
  // The child has the same standard error, but must not use the memory it borrows for printing.
  if (child.execError != 0) Report("execvp", child.execError);
  return child.pid;
}

}  // namespace bix
