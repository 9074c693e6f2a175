#include "bix/subproc.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "proc/children.h"
#include "support/captured_output.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

using bix::CSubProc;

/// What `action` prints on the standard error.
template <class Action>
std::string PrintedBy(Action action) {
  const CapturedOutput output;
  action();
  return output.Errors();
}

/// Reaches the number of the child, which hosts see only in the record.
int PidOf(const CSubProc& child) {
  int pid = 0;
  std::memcpy(&pid, reinterpret_cast<const char*>(&child) + sizeof(void*) + 2 * sizeof(int),
              sizeof pid);
  return pid;
}

TEST(SubProcState, AFreshObjectHasNoChild) {
  CSubProc child;
  char byte = 'x';
  EXPECT_EQ(0, child.state());
  EXPECT_EQ(-1, child.rfd());
  EXPECT_EQ(-1, child.wfd());
  EXPECT_EQ(-1, PidOf(child));
  EXPECT_EQ(0, child.launch_error());
  EXPECT_EQ(-1, child.kill());
  EXPECT_EQ(0, child.read(&byte, 1));
  EXPECT_EQ(0, child.write(&byte, 1));
  EXPECT_EQ(0, child.close_read());
  EXPECT_EQ(0, child.close_write());
  EXPECT_FALSE(child.wait_for(0));
  child.reset();
  EXPECT_EQ(0, child.state());
}

TEST(SubProcState, FollowsTheChild) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "exit", "3"}));
  EXPECT_EQ(1, child.state());
  EXPECT_LE(3, child.rfd());
  EXPECT_LE(3, child.wfd());
  EXPECT_LT(0, PidOf(child));
  EXPECT_EQ(0x300, child.get_exit_status());
  EXPECT_EQ(1, child.state());  // only reset and kill leave it
  child.reset();
  EXPECT_EQ(0, child.state());
  EXPECT_EQ(-1, child.rfd());
  EXPECT_EQ(-1, child.wfd());
  EXPECT_EQ(-1, PidOf(child));
  EXPECT_EQ(0x300, child.get_exit_status());  // unchanged
  EXPECT_EQ("0 1 2\n", OutputOf({BIX_CHILD, "descriptors"}));
}

TEST(SubProcStateCompat, TheStatusIsTheRawOne) {
  const struct {
    const char* script;
    int status;
  } cases[] = {{"exit 0", 0},
               {"exit 1", 0x100},
               {"exit 255", 0xff00},
               {"kill -9 $$", 9},
               {"kill -15 $$", 15}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {"sh", "-c", c.script}));
    EXPECT_EQ(c.status, child.get_exit_status());
    child.reset();
  }
}

TEST(SubProcState, KillEndsInStateTwo) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
  const int pid = PidOf(child);
  char byte;
  EXPECT_EQ("", PrintedBy([&] {
              EXPECT_EQ(0, child.kill());
              EXPECT_EQ(2, child.state());
              EXPECT_EQ(-1, child.rfd());
              EXPECT_EQ(-1, child.wfd());
              EXPECT_EQ(-1, PidOf(child));
              EXPECT_EQ(-1, child.get_exit_status());
              EXPECT_EQ(2, child.state());
              EXPECT_EQ(-1, child.kill());
              EXPECT_EQ(0, child.read(&byte, 1));
              EXPECT_EQ(0, child.write("x", 1));
              EXPECT_FALSE(child.wait_for(0));
            }));
  // It is not reaped by kill: there is one to wait for.
  siginfo_t information = {};
  ASSERT_EQ(0, waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT));
  EXPECT_EQ(CLD_KILLED, information.si_code);
  EXPECT_EQ(SIGKILL, information.si_status);
  child.reset();
  EXPECT_EQ(0, child.state());
  EXPECT_EQ(-1, child.get_exit_status());  // as stored
  EXPECT_FALSE(HasChildren());
}

TEST(SubProcState, AnObjectIsUsedAgainAfterReset) {
  CSubProc child;
  for (const char* code : {"0", "5", "7"}) {
    ASSERT_EQ(0, Launch(child, {BIX_CHILD, "exit", code}));
    EXPECT_EQ(std::atoi(code) * 0x100, child.get_exit_status());
    child.reset();
    ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
    EXPECT_EQ(0, child.kill());
    child.reset();
    EXPECT_EQ(-1, child.get_exit_status()) << "stored by kill";
  }
}

TEST(SubProcStateCompat, AFreshObjectIsIdle) {
  CSubProc child;
  EXPECT_EQ(-1, child.get_exit_status());
  EXPECT_EQ(0, child.state());
}

TEST(SubProcStateCompat, ASecondLaunchNeedsReset) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
  const int pid = PidOf(child), rfd = child.rfd(), wfd = child.wfd();
  EXPECT_EQ(-1, Launch(child, {BIX_CHILD}));
  EXPECT_EQ(EBUSY, child.launch_error());
  EXPECT_EQ(1, child.state());
  EXPECT_EQ(pid, PidOf(child));
  EXPECT_EQ(rfd, child.rfd());
  EXPECT_EQ(wfd, child.wfd());
  ASSERT_EQ(0, child.kill());
  EXPECT_EQ(-1, Launch(child, {BIX_CHILD}));
  EXPECT_EQ(2, child.state());
  child.reset();
  EXPECT_EQ(0, Launch(child, {BIX_CHILD}));
  EXPECT_EQ(0, child.launch_error());
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcState, StateTwoForgetsTheStatus) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "exit", "3"}));
  EXPECT_EQ(0x300, child.get_exit_status());
  EXPECT_EQ(-1, child.write("x", 1));  // nobody reads any more
  EXPECT_EQ(2, child.state());
  EXPECT_EQ(-1, child.get_exit_status());
  child.reset();
  EXPECT_EQ(-1, child.get_exit_status()) << "as stored";
}

TEST(SubProcStateCompat, KillAfterTheWaitPrintsKill) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD}));
  EXPECT_EQ(0, child.get_exit_status());
  int result = -1;
  EXPECT_EQ("kill: No such process\n", PrintedBy([&] { result = child.kill(); }));
  EXPECT_EQ(0, result);
  EXPECT_EQ(2, child.state());
  EXPECT_EQ(-1, child.get_exit_status());
  EXPECT_EQ("", PrintedBy([&] { child.reset(); }));
}

TEST(SubProcStateCompat, DestroyingAfterTheWaitPrintsKill) {
  auto child = std::make_unique<CSubProc>();
  ASSERT_EQ(0, Launch(*child, {BIX_CHILD}));
  EXPECT_EQ(0, child->get_exit_status());
  EXPECT_EQ("kill: No such process\n", PrintedBy([&] { child.reset(); }));
}

TEST(SubProcStateCompat, ASecondWaitPrintsWaitpid) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "exit", "3"}));
  EXPECT_EQ(0x300, child.get_exit_status());
  int status = 0;
  EXPECT_EQ("waitpid: No child processes\n", PrintedBy([&] { status = child.get_exit_status(); }));
  EXPECT_EQ(0x300, status);
  EXPECT_EQ(1, child.state());
  child.reset();
}

TEST(SubProcStateCompat, AFailedReadOrWriteEndsInStateTwo) {
  for (const bool writes : {false, true}) {
    SCOPED_TRACE(writes);
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
    std::vector<char> block(1 << 20);
    int result = 0;
    if (writes) {
      ASSERT_EQ(0, fcntl(child.wfd(), F_SETFL, O_NONBLOCK));
      while ((result = child.write(block.data(), 1 << 20)) > 0) EXPECT_EQ(1, child.state());
    } else {
      ASSERT_EQ(0, fcntl(child.rfd(), F_SETFL, O_NONBLOCK));
      result = child.read(block.data(), 1);
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(2, child.state());
    EXPECT_LE(0, child.rfd());  // stay open
    EXPECT_LE(0, child.wfd());
    EXPECT_EQ(-1, child.kill());
    EXPECT_EQ(-1, child.get_exit_status());
    ASSERT_EQ(0, ::kill(PidOf(child), SIGKILL));
    siginfo_t information;
    ASSERT_EQ(0, waitid(P_PID, static_cast<id_t>(PidOf(child)), &information, WEXITED | WNOWAIT));
    child.reset();
    EXPECT_FALSE(HasChildren());
  }
}

TEST(SubProcWaitStatus, AHostThatIgnoresItsChildrenGetsTheWord) {
  struct sigaction ignored = {}, before;
  ignored.sa_handler = SIG_IGN;
  ASSERT_EQ(0, sigaction(SIGCHLD, &ignored, &before));
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "exit", "3"}));
  EXPECT_TRUE(child.wait_for(60000));
  int status = 0;
  EXPECT_EQ("waitpid: No child processes\n", PrintedBy([&] { status = child.get_exit_status(); }));
  EXPECT_EQ(-1, status);
  EXPECT_EQ(1, child.state());
  // The number is not the child's any more.
  EXPECT_EQ("kill: No such process\n", PrintedBy([&] { EXPECT_EQ(0, child.kill()); }));
  child.reset();
  ASSERT_EQ(0, sigaction(SIGCHLD, &before, nullptr));
}

TEST(SubProcDestructor, KillsARunningChild) {
  int reader;
  {
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
    reader = dup(child.rfd());
    EXPECT_EQ("", PrintedBy([&] {
                child.~CSubProc();
                new (&child) CSubProc;
              }));
    EXPECT_FALSE(HasChildren());
  }
  char byte;
  EXPECT_EQ(0, ::read(reader, &byte, 1));  // its end of the pipe is gone
  close(reader);
}

TEST(SubProcDestructor, DoesNothingInStateZero) {
  EXPECT_EQ("", PrintedBy([] { CSubProc(); }));
  const std::size_t before = OpenDescriptors();
  {
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {BIX_CHILD}));
    EXPECT_EQ(0, child.get_exit_status());
    child.reset();
  }
  EXPECT_EQ(before, OpenDescriptors());
}

TEST(SubProcPipes, OutputAndErrorsComeInOneStream) {
  EXPECT_EQ("out\nerr\nout again\n",
            OutputOf({"sh", "-c", "echo out; echo err >&2; echo out again"}));
}

TEST(SubProcPipes, CatGivesBackWhatItGets) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  EXPECT_EQ(3, child.write("a\0b", 3));
  EXPECT_EQ(0, child.close_write());
  EXPECT_EQ(-1, child.wfd());
  EXPECT_EQ(0, child.write("x", 1));
  EXPECT_EQ(1, child.state());
  EXPECT_EQ(std::string("a\0b", 3), ReadAll(child));
  EXPECT_EQ(1, child.state());  // the end of the output is no failure
  EXPECT_EQ(0, child.close_read());
  EXPECT_EQ(-1, child.rfd());
  char byte;
  EXPECT_EQ(0, child.read(&byte, 1));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcPipes, SortSeesTheEndOfItsInput) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"sort", "-r"}));
  EXPECT_EQ(6, child.write("a\nc\nb\n", 6));
  child.close_write();
  EXPECT_EQ("c\nb\na\n", ReadAll(child));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcPipes, TalkingLineByLine) {
  const struct {
    const char* program;
    const char* option;
    const char* script;
  } talkers[] = {
      {"python3", "-uc", "import sys\nfor line in sys.stdin: print(line.strip()[::-1])"},
      {"perl", "-e", "$| = 1; while (<STDIN>) { chomp; print scalar(reverse), \"\\n\" }"},
      {"sh", "-c", "while read -r line; do echo \"$line\" | rev; done"},
  };
  for (const auto& talker : talkers) {
    SCOPED_TRACE(talker.program);
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {talker.program, talker.option, talker.script}));
    for (int i = 100; i < 120; ++i) {
      std::string line = std::to_string(i);
      EXPECT_EQ(4, child.write((line + "\n").data(), 4));
      EXPECT_EQ((std::string{line[2], line[1], line[0]} + "\n"), ReadLine(child));
    }
    child.close_write();
    EXPECT_EQ("", ReadAll(child));
    EXPECT_EQ(0, child.get_exit_status());
    child.reset();
  }
}

TEST(SubProcPipes, SixtyFourMebibytesGoBothWays) {
  constexpr std::size_t kSize = std::size_t{64} << 20;
  std::string sent(kSize, '\0');
  std::uint32_t value = 1;
  for (std::size_t i = 0; i < kSize; i += 4) {
    value = value * 1664525 + 1013904223;
    std::memcpy(&sent[i], &value, 4);
  }
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  std::thread writer([&] {
    for (std::size_t at = 0; at < kSize;) {
      const int count = child.write(sent.data() + at, static_cast<unsigned>(kSize - at));
      ASSERT_LT(0, count);
      at += static_cast<std::size_t>(count);
    }
    child.close_write();
  });
  std::string received(kSize + 1, '\0');
  std::size_t size = 0;
  for (int count;
       (count = child.read(&received[size], static_cast<unsigned>(kSize + 1 - size))) > 0;)
    size += static_cast<std::size_t>(count);
  writer.join();
  received.resize(size);
  EXPECT_TRUE(sent == received);
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

// What a user may have in pipes is shared by all that he runs.
TEST(SubProcPipes, AreLargeOnlyForChildrenWithMuchToSay) {
  int plain[2];
  ASSERT_EQ(0, pipe2(plain, O_CLOEXEC));
  const int plainSize = fcntl(plain[0], F_GETPIPE_SZ);
  const int largeSize = fcntl(plain[0], F_SETPIPE_SZ, 1 << 20);
  EXPECT_LT(plainSize, largeSize);
  CSubProc child;
  const auto sizes = [&] {
    return std::vector<int>{fcntl(child.rfd(), F_GETPIPE_SZ), fcntl(child.wfd(), F_GETPIPE_SZ)};
  };
  const std::vector<int> plainSizes(2, plainSize), largeSizes(2, largeSize);
  const std::vector<char> block(1 << 15, 'x');
  ASSERT_EQ(0, Launch(child, {"cat"}));
  EXPECT_EQ(plainSizes, sizes());
  EXPECT_EQ(1 << 15, child.write(block.data(), 1 << 15));
  std::vector<char> received(1 << 15);
  int size = 0;
  while (size < 1 << 15) {
    const int count = child.read(&received[0], static_cast<unsigned>((1 << 15) - size));
    ASSERT_LT(0, count);
    size += count;
  }
  EXPECT_EQ(plainSizes, sizes());
  EXPECT_EQ(1, child.write("y", 1));
  EXPECT_EQ(largeSizes, sizes());
  child.close_write();
  EXPECT_EQ("y", ReadAll(child));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
  ASSERT_EQ(0, Launch(child, {"cat"}));  // the next one begins anew
  EXPECT_EQ(plainSizes, sizes());
  child.close_write();
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
  for (const int fd : plain) close(fd);
}

TEST(SubProcPipes, WritingToADeadChildIsAResultAndNoSignal) {
  struct sigaction before;
  ASSERT_EQ(0, sigaction(SIGPIPE, nullptr, &before));
  ASSERT_EQ(SIG_DFL, before.sa_handler);  // a signal would end this process
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD}));
  ASSERT_TRUE(child.wait_for(60000));
  errno = 0;
  EXPECT_EQ(-1, child.write("x", 1));
  EXPECT_EQ(EPIPE, errno);
  EXPECT_EQ(2, child.state());
  EXPECT_EQ(-1, child.get_exit_status());
  sigset_t pending;
  ASSERT_EQ(0, sigpending(&pending));
  EXPECT_EQ(0, sigismember(&pending, SIGPIPE));
  child.reset();
  EXPECT_FALSE(HasChildren());
}

TEST(SubProcPipes, AChildThatGoesInTheMiddleOfAWriteIsAResultAndNoSignal) {
  struct sigaction before;
  ASSERT_EQ(0, sigaction(SIGPIPE, nullptr, &before));
  ASSERT_EQ(SIG_DFL, before.sa_handler);  // a signal would end this process
  const std::string sent = "a line\n" + std::string(std::size_t{8} << 20, 'x');
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"sh", "-c", "read line"}));
  // More than the pipe holds, so it is under way when the child ends.
  const int count = child.write(sent.data(), static_cast<unsigned>(sent.size()));
  EXPECT_LT(0, count);
  EXPECT_GT(static_cast<int>(sent.size()), count);
  EXPECT_EQ(1, child.state());
  sigset_t pending;
  ASSERT_EQ(0, sigpending(&pending));
  EXPECT_EQ(0, sigismember(&pending, SIGPIPE));
  EXPECT_EQ(-1, child.write("x", 1));
  EXPECT_EQ(EPIPE, errno);
  EXPECT_EQ(2, child.state());
  ASSERT_EQ(0, sigpending(&pending));
  EXPECT_EQ(0, sigismember(&pending, SIGPIPE));
  child.reset();
}

TEST(SubProcPipes, ASignalThatTheHostHasPendingStaysPending) {
  sigset_t sigpipe, before, pending;
  sigemptyset(&sigpipe);
  sigaddset(&sigpipe, SIGPIPE);
  ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, &sigpipe, &before));
  ASSERT_EQ(0, raise(SIGPIPE));
  for (const int expected : {1, 0}) {
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {BIX_CHILD}));
    ASSERT_TRUE(child.wait_for(60000));
    EXPECT_EQ(-1, child.write("x", 1));
    ASSERT_EQ(0, sigpending(&pending));
    EXPECT_EQ(expected, sigismember(&pending, SIGPIPE));
    sigset_t mask;
    ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, nullptr, &mask));
    EXPECT_EQ(1, sigismember(&mask, SIGPIPE));
    const timespec none = {};
    EXPECT_EQ(expected == 1 ? SIGPIPE : -1, sigtimedwait(&sigpipe, nullptr, &none));
    child.reset();
  }
  ASSERT_EQ(0, pthread_sigmask(SIG_SETMASK, &before, nullptr));
}

TEST(SubProcKill, AChildThatIgnoresSignalsIsKilled) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"perl", "-e",
                              "$| = 1; $SIG{$_} = 'IGNORE' for qw(HUP INT TERM PIPE);"
                              "print \"ready\\n\"; sleep 1000 while 1"}));
  EXPECT_EQ("ready\n", ReadLine(child));
  EXPECT_EQ(0, child.kill());
  child.reset();
  EXPECT_FALSE(HasChildren());
}

TEST(SubProcKill, AnotherThreadsKillEndsTheWaitWithMinusOne) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
  std::thread killer([&] { EXPECT_EQ(0, child.kill()); });
  EXPECT_EQ(-1, child.get_exit_status());
  killer.join();
  EXPECT_EQ(2, child.state());
  child.reset();
  EXPECT_FALSE(HasChildren());
}

TEST(SubProcKill, AnotherThreadsKillEndsReadingAndWriting) {
  for (int i = 0; i < 20; ++i) {
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
    std::vector<char> block(1 << 16);
    std::thread writer([&] {
      while (child.write(block.data(), 1 << 16) > 0) {
      }
    });
    std::thread killer([&] { EXPECT_EQ(0, child.kill()); });
    char byte;
    EXPECT_EQ(0, child.read(&byte, 1));
    killer.join();
    writer.join();
    EXPECT_EQ(2, child.state());
    EXPECT_EQ(-1, child.rfd());
    EXPECT_EQ(-1, child.wfd());
    child.reset();
  }
  EXPECT_FALSE(HasChildren());
}

TEST(SubProcWaitFor, TellsWhetherTheChildHasEndedAndLeavesItToBeWaitedFor) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"sh", "-c", "read line; exit 4"}));
  EXPECT_FALSE(child.wait_for(0));
  EXPECT_FALSE(child.wait_for(20));
  EXPECT_EQ(1, child.state());
  child.close_write();
  EXPECT_TRUE(child.wait_for(60000));
  EXPECT_TRUE(child.wait_for(0));
  EXPECT_EQ(1, child.state());
  EXPECT_EQ(0x400, child.get_exit_status());
  EXPECT_TRUE(child.wait_for(0));
  child.reset();
  EXPECT_FALSE(child.wait_for(0));
}

/// Sends signals to this thread while it waits for a `cat`, and then ends the input of the child.
void WaitAmongSignals(CSubProc& child, const std::function<void()>& wait) {
  struct sigaction counting = {}, before;
  counting.sa_handler = [](int) {};
  ASSERT_EQ(0, sigaction(SIGUSR1, &counting, &before));
  ASSERT_EQ(0, Launch(child, {"cat"}));
  const pthread_t waiter = pthread_self();
  std::thread disturber([&] {
    for (int i = 0; i < 100; ++i) {
      pthread_kill(waiter, SIGUSR1);
      std::this_thread::yield();
    }
    child.close_write();
  });
  wait();
  disturber.join();
  child.reset();
  ASSERT_EQ(0, sigaction(SIGUSR1, &before, nullptr));
}

TEST(SubProcWaitFor, IsNotEndedBySignalsOfTheHost) {
  CSubProc child;
  WaitAmongSignals(child, [&] {
    EXPECT_TRUE(child.wait_for(60000));
    EXPECT_EQ(0, child.get_exit_status());
  });
}

TEST(SubProcWaitStatus, IsNotEndedBySignalsOfTheHost) {
  CSubProc child;
  WaitAmongSignals(child, [&] { EXPECT_EQ(0, child.get_exit_status()); });
}

TEST(SubProcZombies, ThousandsOfLaunchesLeaveNoChildAndNoDescriptor) {
  const std::size_t before = OpenDescriptors();
  for (int i = 0; i < 1000; ++i) {
    CSubProc waited, killed, failed;
    ASSERT_EQ(0, Launch(waited, {BIX_CHILD}));
    ASSERT_EQ(0, Launch(killed, {BIX_CHILD, "wait"}));
    ASSERT_EQ(0, Launch(failed, {"/nonexistent/program"}));
    EXPECT_EQ(0, waited.get_exit_status());
    EXPECT_EQ(0x100, failed.get_exit_status());
    waited.reset();
    failed.reset();
    ASSERT_EQ(-1, Launch(failed, {BIX_CHILD}, "/nonexistent/directory"));
  }
  EXPECT_EQ(before, OpenDescriptors());
  EXPECT_FALSE(HasChildren());
}

TEST(SubProcZombies, ChildrenThatWereLeftAreReapedLater) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
  const int pid = PidOf(child);
  child.reset();
  ASSERT_EQ(0, kill(pid, SIGKILL));
  siginfo_t information;
  ASSERT_EQ(0, waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT));
  ASSERT_EQ(0, Launch(child, {BIX_CHILD}));
  EXPECT_EQ(-1, waitpid(pid, nullptr, WNOHANG));
  EXPECT_EQ(ECHILD, errno);
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcZombies, ChildrenOfTheHostAreLeftToTheHost) {
  const pid_t own = fork();
  if (own == 0) _exit(9);
  for (int i = 0; i < 10; ++i) {
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
  }
  int status = 0;
  EXPECT_EQ(own, waitpid(own, &status, 0));
  EXPECT_EQ(0x900, status);
}

TEST(SubProcVirtual, LaunchwCallsAnOverriddenLaunch) {
  class Recording : public CSubProc {
   public:
    int launch(const char* file, const char** argv, const char* dir, bool flag) override {
      m_seen = std::string(file) + " " + argv[1] + " " + dir + (flag ? " true" : " false");
      return 42;
    }
    std::string m_seen;
  } child;
  const char* arguments[] = {"a", "b", nullptr};
  EXPECT_EQ(42, child.launchw("f", arguments, "/d", true));
  EXPECT_EQ("f b /d true", child.m_seen);
}

}  // namespace
}  // namespace bix_test
