#include "bix/subproc.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kx/os.h"
#include "proc/children.h"
#include "support/captured_output.h"
#include "support/scoped_environment.h"
#include "support/temp_directory.h"
#include "support/working_directory.h"

namespace bix_test {
namespace {

using bix::CSubProc;

void MakeScript(const std::string& path, const std::string& text) {
  WriteWholeFile(path, text);
  ASSERT_EQ(0, chmod(path.c_str(), 0755));
}

/// What descriptors 0 to 2 lead to, where in it they stand, and the working directory.
class HostState {
 public:
  HostState() {
    for (int fd = 0; fd < 3; ++fd) {
      struct stat status = {};
      EXPECT_EQ(0, fstat(fd, &status)) << fd;
      m_state.push_back(static_cast<long long>(status.st_dev));
      m_state.push_back(static_cast<long long>(status.st_ino));
      m_state.push_back(fcntl(fd, F_GETFL));
      m_state.push_back(lseek(fd, 0, SEEK_CUR));
    }
    char directory[PATH_MAX];
    m_directory = getcwd(directory, sizeof directory) != nullptr ? directory : "none";
  }

  friend bool operator==(const HostState& a, const HostState& b) {
    return a.m_state == b.m_state && a.m_directory == b.m_directory;
  }

 private:
  std::vector<long long> m_state;
  std::string m_directory;
};

TEST(SubProcLaunch, PassesTheArgumentsOn) {
  EXPECT_EQ("<a><b c><><d*><$HOME>",
            OutputOf({"sh", "-c", "printf '<%s>' \"$@\"", "name", "a", "b c", "", "d*", "$HOME"}));
}

TEST(SubProcLaunch, TheNameOfTheProgramIsItsFirstArgument) {
  const char* arguments[] = {"another name", "-c", "echo \"$0\"", nullptr};
  CSubProc child;
  ASSERT_EQ(0, child.launch("sh", arguments, nullptr, false));
  EXPECT_EQ("another name\n", ReadAll(child));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcLaunch, ManyArguments) {
  std::vector<std::string> texts = {"sh", "-c", "echo $#", "name"};
  texts.resize(20004, "x");
  EXPECT_EQ("20000\n", OutputOf(Arguments(texts)));
}

TEST(SubProcLaunch, LaunchwAndTheFlagMakeNoDifference) {
  const char* arguments[] = {"echo", "text", nullptr};
  for (const bool flag : {false, true}) {
    CSubProc child;
    ASSERT_EQ(0, child.launchw("echo", arguments, "/", flag));
    EXPECT_EQ("text\n", ReadAll(child));
    EXPECT_EQ(0, child.get_exit_status());
    child.reset();
    ASSERT_EQ(0, child.launch("echo", arguments, "/", flag));
    EXPECT_EQ("text\n", ReadAll(child));
    EXPECT_EQ(0, child.get_exit_status());
    child.reset();
  }
}

TEST(SubProcLaunch, LooksTheProgramUpOnThePath) {
  const TempDirectory directory;
  MakeScript(directory / "program-of-the-test", "#!/bin/sh\necho found\n");
  const std::string path = "/nonexistent:" + directory.Path() + ":/bin:/usr/bin";
  const ScopedVariable variable("PATH", path.c_str());
  EXPECT_EQ("found\n", OutputOf({"program-of-the-test"}));
}

TEST(SubProcLaunch, AFileWithoutAFirstLineIsRunByTheShell) {
  const TempDirectory directory;
  MakeScript(directory / "program", "echo \"$1\" and $#\n");
  std::vector<std::string> texts = {directory / "program"};
  texts.resize(10001, "x");
  EXPECT_EQ("x and 10000\n", OutputOf(Arguments(texts)));
}

TEST(SubProcLaunch, TheDirectoryIsTheChildsAlone) {
  const TempDirectory directory;
  const HostState before;
  EXPECT_EQ(directory.Path() + "\n", OutputOf({"pwd"}, directory.Path().c_str()));
  EXPECT_TRUE(before == HostState());
}

TEST(SubProcLaunch, AnEmptyDirectoryIsNone) {
  const TempDirectory directory;
  const ScopedWorkingDirectory inside(directory.Path());
  EXPECT_EQ(directory.Path() + "\n", OutputOf({"pwd"}, ""));
  EXPECT_EQ(directory.Path() + "\n", OutputOf({"pwd"}, nullptr));
}

TEST(SubProcLaunch, RelativeNamesCountFromTheDirectoryOfTheChild) {
  const TempDirectory directory;
  ASSERT_EQ(0, mkdir((directory / "sub").c_str(), 0755));
  MakeScript(directory / "sub/program", "#!/bin/sh\necho here\n");
  const ScopedWorkingDirectory elsewhere("/");
  EXPECT_EQ("here\n", OutputOf({"./program"}, (directory / "sub").c_str()));
  EXPECT_EQ("here\n", OutputOf({"sub/program"}, directory.Path().c_str()));
  const ScopedVariable variable("PATH", "nowhere:sub:/bin:/usr/bin");
  EXPECT_EQ("here\n", OutputOf({"program"}, directory.Path().c_str()));
}

TEST(SubProcLaunch, TheStreamsOfTheHostStayWhatTheyAre) {
  const HostState before;
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  EXPECT_TRUE(before == HostState());
  child.close_write();
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
  EXPECT_TRUE(before == HostState());
  EXPECT_EQ(-1, Launch(child, {"cat"}, "/nonexistent"));
  EXPECT_TRUE(before == HostState());
}

TEST(SubProcLaunch, ManyThreadsLaunchAtOnce) {
  const HostState before;
  std::vector<TempDirectory> directories(4);
  std::atomic<bool> isOver{false};
  std::atomic<int> wrong{0};
  std::thread witness([&] {
    while (!isOver) {
      if (!(before == HostState())) ++wrong;
    }
  });
  std::vector<std::thread> threads;
  for (const TempDirectory& directory : directories) {
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) {
        CSubProc child;
        if (Launch(child, {"sh", "-c", "pwd; cat"}, directory.Path().c_str()) != 0) ++wrong;
        child.write("text\n", 5);
        child.close_write();
        // The ends of the others' pipes do not get here: everybody sees the end of the input.
        if (ReadAll(child) != directory.Path() + "\ntext\n") ++wrong;
        if (child.get_exit_status() != 0) ++wrong;
        child.reset();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  isOver = true;
  witness.join();
  EXPECT_EQ(0, wrong);
  EXPECT_FALSE(HasChildren());
}

TEST(SubProcLaunchCompat, AProgramThatCannotBeRunSaysSoInThePipeAndExitsWithOne) {
  const TempDirectory directory;
  WriteWholeFile(directory / "plain", "text");
  const ScopedVariable language("LC_ALL", "C");
  // A directory that may not be searched would be the reason why nothing is found.
  const ScopedVariable path("PATH", "/usr/bin:/bin");
  const struct {
    std::string file;
    const char* text;
  } cases[] = {
      {"/nonexistent/program", "execvp: No such file or directory\n"},
      {"no-such-program-anywhere", "execvp: No such file or directory\n"},
      {"", "execvp: No such file or directory\n"},
      {directory / "plain", "execvp: Permission denied\n"},
      {directory.Path(), "execvp: Permission denied\n"},
      {directory / "plain/x", "execvp: Not a directory\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    std::string text, errors;
    int result = -1, status = -1;
    CSubProc child;
    {
      const CapturedOutput output;
      result = Launch(child, {c.file, "argument"});
      text = ReadAll(child);
      status = child.get_exit_status();
      errors = output.Errors();
    }
    EXPECT_EQ(0, result);
    EXPECT_EQ(0, child.launch_error());
    EXPECT_EQ(1, child.state());
    EXPECT_EQ(c.text, text);
    EXPECT_EQ(0x100, status);
    EXPECT_EQ("", errors);
    child.reset();
  }
}

TEST(SubProcLaunchFailures, ReturnMinusOneAndLeaveNothingBehind) {
  const TempDirectory directory;
  WriteWholeFile(directory / "plain", "text");
  const char* arguments[] = {"cat", nullptr};
  const std::string plain = directory / "plain";
  const struct {
    const char* file;
    const char** arguments;
    const char* directory;
    int error;
  } cases[] = {{nullptr, arguments, nullptr, EINVAL},
               {"cat", nullptr, nullptr, EINVAL},
               {nullptr, nullptr, "/", EINVAL},
               {"cat", arguments, "/nonexistent", ENOENT},
               {"cat", arguments, plain.c_str(), ENOTDIR}};
  const HostState before;
  const std::size_t descriptors = OpenDescriptors();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    CSubProc child;
    std::string errors;
    int result = 0, error = 0;
    {
      const CapturedOutput output;
      errno = 0;
      result = child.launch(c.file, c.arguments, c.directory, false);
      error = errno;
      errors = output.Errors();
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ(c.error, error);
    EXPECT_EQ(c.error, child.launch_error());
    EXPECT_EQ(0, child.state());
    EXPECT_EQ(-1, child.rfd());
    EXPECT_EQ(-1, child.wfd());
    EXPECT_EQ("", errors);
    EXPECT_TRUE(before == HostState());
    EXPECT_EQ(descriptors, OpenDescriptors());
    EXPECT_FALSE(HasChildren());
    EXPECT_EQ(0, Launch(child, {BIX_CHILD}));  // nothing stands in the way of the next
    EXPECT_EQ(0, child.launch_error());
    EXPECT_EQ(0, child.get_exit_status());
    child.reset();
  }
}

TEST(SubProcDirectoryCompat, AHostWithoutADirectoryCannotLaunchIntoAnother) {
  const TempDirectory directory;
  const std::string gone = directory / "gone";
  ASSERT_EQ(0, mkdir(gone.c_str(), 0755));
  const ScopedWorkingDirectory inside(gone);
  ASSERT_EQ(0, rmdir(gone.c_str()));
  CSubProc child;
  EXPECT_EQ(-1, Launch(child, {BIX_CHILD}, "/"));
  EXPECT_EQ(ENOENT, child.launch_error());
  EXPECT_EQ(0, Launch(child, {BIX_CHILD}));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcDirectoryCompat, AHostInTooDeepADirectoryCannotLaunchIntoAnother) {
  const TempDirectory directory;
  const ScopedWorkingDirectory inside(directory.Path());
  const std::string name(250, 'd');
  for (int i = 0; i < 17; ++i) {
    ASSERT_EQ(0, mkdir(name.c_str(), 0755));
    ASSERT_EQ(0, chdir(name.c_str()));
  }
  CSubProc child;
  EXPECT_EQ(-1, Launch(child, {BIX_CHILD}, "/"));
  EXPECT_EQ(ERANGE, child.launch_error());
  EXPECT_EQ(0, Launch(child, {BIX_CHILD}));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
  for (int i = 0; i < 17; ++i) {
    ASSERT_EQ(0, chdir(".."));
    ASSERT_EQ(0, rmdir(name.c_str()));
  }
}

TEST(SubProcLibraryPath, TheSavedOneIsTheNextChildsAlone) {
  const struct {
    const char* own;
    const char* saved;
    const char* inChild;
  } cases[] = {{"/own", "/saved", "LD_LIBRARY_PATH=/saved\n"},
               {nullptr, "/saved:/other", "LD_LIBRARY_PATH=/saved:/other\n"},
               {"/own", "", "LD_LIBRARY_PATH=\n"},
               {"/own", nullptr, "LD_LIBRARY_PATH=/own\n"},
               {nullptr, nullptr, "LD_LIBRARY_PATH\n"}};
  for (const auto& c : cases) {
    const ScopedVariable own("LD_LIBRARY_PATH", c.own);
    const ScopedVariable saved("R5_SAVED_LD_LIBRARY_PATH", c.saved);
    const std::string unchanged =
        c.own != nullptr ? std::string("LD_LIBRARY_PATH=") + c.own + "\n" : "LD_LIBRARY_PATH\n";
    CSubProc child;
    child.restore_ld_library_path();
    for (const std::string& want : {std::string(c.inChild), unchanged}) {
      ASSERT_EQ(0, Launch(child, {BIX_CHILD, "variables", "LD_LIBRARY_PATH"}));
      EXPECT_EQ(want, ReadAll(child));
      EXPECT_EQ(0, child.get_exit_status());
      child.reset();
    }
    EXPECT_STREQ(c.own, getenv("LD_LIBRARY_PATH"));
  }
}

TEST(SubProcLibraryPath, TheRestOfTheEnvironmentIsThatOfTheHost) {
  const ScopedVariable own("LD_LIBRARY_PATH", "/own");
  const ScopedVariable saved("R5_SAVED_LD_LIBRARY_PATH", "/saved");
  const ScopedVariable first("BIX_TEST_FIRST", "1");
  const ScopedVariable empty("BIX_TEST_EMPTY", "");
  const ScopedVariable similar("LD_LIBRARY_PATH_2", "similar");
  CSubProc child;
  child.restore_ld_library_path();
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "variables", "BIX_TEST_FIRST", "BIX_TEST_EMPTY",
                              "LD_LIBRARY_PATH_2", "R5_SAVED_LD_LIBRARY_PATH", "BIX_TEST_NONE"}));
  EXPECT_EQ(
      "BIX_TEST_FIRST=1\nBIX_TEST_EMPTY=\nLD_LIBRARY_PATH_2=similar\n"
      "R5_SAVED_LD_LIBRARY_PATH=/saved\nBIX_TEST_NONE\n",
      ReadAll(child));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcLibraryPath, OfThisProcessIsSetToTheSavedOne) {
  const auto isThen = [](const std::string& want) {
    CSubProc::do_restore_ld_library_path();
    const char* const now = getenv("LD_LIBRARY_PATH");
    return now != nullptr && now == want;
  };
  const ScopedVariable own("LD_LIBRARY_PATH", "/own");
  {
    const ScopedVariable saved("R5_SAVED_LD_LIBRARY_PATH", nullptr);
    EXPECT_TRUE(isThen("/own"));
  }
  // The text lasts as long as the process.
  const ScopedVariable saved("R5_SAVED_LD_LIBRARY_PATH", "/saved");
  EXPECT_TRUE(InAnotherProcess([&] { return isThen("/saved"); }));
  const ScopedVariable none("LD_LIBRARY_PATH", nullptr);
  EXPECT_TRUE(InAnotherProcess([&] { return isThen("/saved"); }));
}

TEST(SubProcLibraryPathCompat, AnEarlierFailureKeepsTheRequest) {
  const ScopedVariable own("LD_LIBRARY_PATH", "/own");
  const ScopedVariable saved("R5_SAVED_LD_LIBRARY_PATH", "/saved");
  CSubProc child;
  child.restore_ld_library_path();
  EXPECT_EQ(-1, child.launch("cat", nullptr, nullptr, false));
  EXPECT_EQ(-1, Launch(child, {"cat"}, "/nonexistent"));
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "variables", "LD_LIBRARY_PATH"}));
  EXPECT_EQ("LD_LIBRARY_PATH=/saved\n", ReadAll(child));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
  child.restore_ld_library_path();
  ASSERT_EQ(0, Launch(child, {"/nonexistent/program"}));  // a process, though no program
  child.get_exit_status();
  child.reset();
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "variables", "LD_LIBRARY_PATH"}));
  EXPECT_EQ("LD_LIBRARY_PATH=/own\n", ReadAll(child));
  child.get_exit_status();
  child.reset();
}

TEST(SubProcSignals, TheChildHasTheDefaultActions) {
  struct sigaction handled = {}, ignored = {}, oldUsr1, oldHup;
  handled.sa_handler = [](int) {};
  ignored.sa_handler = SIG_IGN;
  ASSERT_EQ(0, sigaction(SIGUSR1, &handled, &oldUsr1));
  ASSERT_EQ(0, sigaction(SIGHUP, &ignored, &oldHup));
  sigset_t blocked, before, after;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  ASSERT_EQ(0, pthread_sigmask(SIG_SETMASK, &blocked, &before));
  EXPECT_EQ(
      "HUP ignored\nINT default\nPIPE default\nTERM default blocked\nUSR1 default\n"
      "CHLD default\n",
      OutputOf({BIX_CHILD, "signals"}));
  // The host keeps its own.
  struct sigaction now;
  ASSERT_EQ(0, sigaction(SIGUSR1, &oldUsr1, &now));
  EXPECT_TRUE(handled.sa_handler == now.sa_handler);
  ASSERT_EQ(0, sigaction(SIGHUP, &oldHup, &now));
  EXPECT_TRUE(ignored.sa_handler == now.sa_handler);
  ASSERT_EQ(0, pthread_sigmask(SIG_SETMASK, &before, &after));
  EXPECT_EQ(1, sigismember(&after, SIGTERM));
  EXPECT_EQ(0, sigismember(&after, SIGINT));
}

pid_t s_host = 0;
std::atomic<bool> s_ranInChild{false};  // the child would set it in the memory of the host

TEST(SubProcSignals, NoHandlerOfTheHostRunsInTheChild) {
  EXPECT_TRUE(InAnotherProcess([] {
    struct sigaction handled = {};
    handled.sa_handler = [](int) {
      if (getpid() != s_host) s_ranInChild = true;
    };
    s_host = getpid();
    // The signals go to a group of their own, which the children belong to from the beginning.
    if (setpgid(0, 0) != 0 || sigaction(SIGUSR1, &handled, nullptr) != 0) return false;
    std::atomic<bool> isOver{false};
    std::thread sender([&] {
      while (!isOver) kill(0, SIGUSR1);
    });
    int ended = 0;
    for (int i = 0; i < 200; ++i) {
      CSubProc child;
      if (Launch(child, {BIX_CHILD}) != 0) continue;
      const int status = child.get_exit_status();
      ended += status == 0 || status == SIGUSR1 ? 1 : 0;
      child.reset();
    }
    isOver = true;
    sender.join();
    return ended == 200 && !s_ranInChild;
  }));
}

TEST(SubProcCancellation, AThreadIsNotCancelledInTheMiddleOfThings) {
  const std::size_t descriptors = OpenDescriptors();
  struct Seen {
    CSubProc child;
    int steps = 0;
  } seen;
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    auto* const self = static_cast<Seen*>(argument);
    pthread_cancel(pthread_self());
    self->steps += Launch(self->child, {"/nonexistent/program"}, "/") == 0 ? 1 : 100;
    self->child.close_read();
    self->child.close_write();
    ++self->steps;
    self->child.reset();
    ++self->steps;
    self->steps += Launch(self->child, {BIX_CHILD, "wait"}) == 0 ? 1 : 100;
    self->child.kill();
    self->child.reset();
    ++self->steps;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return nullptr;
  };
  ASSERT_EQ(0, pthread_create(&thread, nullptr, run, &seen));
  void* result = &seen;
  ASSERT_EQ(0, pthread_join(thread, &result));
  EXPECT_EQ(nullptr, result);  // PTHREAD_CANCELED otherwise
  EXPECT_EQ(5, seen.steps);
  EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST(SubProcSpawn, TheChildSharesTheStandardStreams) {
  const char* arguments[] = {"sh", "-c", "echo out; echo err >&2; exit 6", nullptr};
  std::string text, errors;
  int status = 0;
  pid_t pid = -1;
  {
    const CapturedOutput output;
    pid = bix::local_spawn("sh", arguments, false);
    EXPECT_EQ(pid, waitpid(pid, &status, 0));
    text = output.Output();
    errors = output.Errors();
  }
  EXPECT_LT(0, pid);
  EXPECT_EQ(0x600, status);
  EXPECT_EQ("out\n", text);
  EXPECT_EQ("err\n", errors);
}

TEST(SubProcSpawn, AProgramThatCannotBeRunIsPrintedAndExitsWithOne) {
  const char* arguments[] = {"program", nullptr};
  std::string errors;
  int status = 0;
  pid_t pid = -1;
  {
    const CapturedOutput output;
    pid = bix::local_spawn("/nonexistent/program", arguments, false);
    EXPECT_EQ(pid, waitpid(pid, &status, 0));
    errors = output.Errors();
  }
  EXPECT_LT(0, pid);
  EXPECT_EQ(0x100, status);
  EXPECT_EQ("execvp: No such file or directory\n", errors);
}

TEST(SubProcSpawn, RestoresTheLibraryPathWhenAskedTo) {
  const ScopedVariable own("LD_LIBRARY_PATH", "/own");
  const ScopedVariable saved("R5_SAVED_LD_LIBRARY_PATH", "/saved");
  const char* arguments[] = {BIX_CHILD, "variables", "LD_LIBRARY_PATH", nullptr};
  for (const bool restore : {false, true}) {
    std::string text;
    {
      const CapturedOutput output;
      const pid_t pid = bix::local_spawn(BIX_CHILD, arguments, restore);
      EXPECT_EQ(pid, waitpid(pid, nullptr, 0));
      text = output.Output();
    }
    EXPECT_EQ(restore ? "LD_LIBRARY_PATH=/saved\n" : "LD_LIBRARY_PATH=/own\n", text);
  }
}

TEST(SubProcSpawn, WithoutAFileOrArgumentsThereIsNoProcess) {
  const char* arguments[] = {"program", nullptr};
  errno = 0;
  EXPECT_EQ(-1, bix::local_spawn(nullptr, arguments, false));
  EXPECT_EQ(EINVAL, errno);
  EXPECT_EQ(-1, bix::local_spawn("program", nullptr, false));
  EXPECT_FALSE(HasChildren());
}

}  // namespace
}  // namespace bix_test
