#include "bix/subproc.h"

#include <cerrno>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kx/os.h"
#include "proc/children.h"
#include "proc/thread_calls.h"
#include "support/captured_output.h"

namespace bix_test {
namespace {

using bix::CSubProc;
using bix::CSubProcTimeOut;

constexpr unsigned kLong = 100000;  // seconds: longer than any test

std::size_t Threads() { return NumbersIn("/proc/self/task").size(); }

TEST(SubProcTimeOut, ATimeOutOfZeroKillsTheChild) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  CSubProcTimeOut watch(child);
  ASSERT_TRUE(watch.Start(0));
  EXPECT_EQ("", ReadAll(child));
  EXPECT_EQ(-1, child.get_exit_status());
  EXPECT_EQ(2, child.state());
  watch.Abort();
  child.reset();
  EXPECT_FALSE(HasChildren());
}

TEST(SubProcTimeOut, AbortInTimeLeavesTheChildAlone) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  CSubProcTimeOut watch(child);
  ASSERT_TRUE(watch.Start(kLong));
  EXPECT_EQ(2, child.write("ok", 2));
  watch.Abort();
  EXPECT_EQ(1, child.state());
  child.close_write();
  EXPECT_EQ("ok", ReadAll(child));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcTimeOut, ALargeCountIsNoPast) {
  for (const unsigned count : {0x7fffffffU, 0x80000000U, 0xffffffffU}) {
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {"cat"}));
    CSubProcTimeOut watch(child);
    ASSERT_TRUE(watch.Start(count));
    EXPECT_FALSE(child.wait_for(10));
    watch.Abort();
    EXPECT_EQ(1, child.state());
    child.close_write();
    EXPECT_EQ(0, child.get_exit_status());
    child.reset();
  }
}

TEST(SubProcTimeOut, AbortReturnsWhenTheKillIsOver) {
  for (int i = 0; i < 200; ++i) {
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
    CSubProcTimeOut watch(child);
    ASSERT_TRUE(watch.Start(0));
    watch.Abort();
    // Killed or not, nobody uses the child any more.
    const int state = child.state();
    EXPECT_TRUE(state == 1 || state == 2) << state;
    EXPECT_EQ(state == 1 ? 0 : -1, child.kill());
    EXPECT_EQ(-1, child.rfd());
    child.reset();
  }
  EXPECT_FALSE(HasChildren());
}

TEST(SubProcTimeOut, AThreadThatCannotBeStartedIsReported) {
  CSubProc child;
  bool isStarted = true;
  std::string errors;
  {
    const CapturedOutput output;
    ThreadCalls threads;
    threads.Fail("pthread_create", EAGAIN);
    CSubProcTimeOut watch(child);
    isStarted = watch.Start(kLong);
    watch.Abort();  // returns at once
    errors = output.Errors();
  }
  EXPECT_FALSE(isStarted);
  EXPECT_EQ("pthread_create: Resource temporarily unavailable\n", errors);
}

TEST(SubProcTimeOut, TheThreadCallsAnOverriddenFunction) {
  class Counting : public CSubProcTimeOut {
   public:
    using CSubProcTimeOut::CSubProcTimeOut;
    void LaunchFunction() override {
      m_thread = std::this_thread::get_id();
      CSubProcTimeOut::LaunchFunction();
    }
    std::thread::id m_thread;
  };
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  {
    Counting watch(child);
    ASSERT_TRUE(watch.Start(0));
    EXPECT_EQ("", ReadAll(child));
    watch.Abort();
    EXPECT_NE(std::thread::id(), watch.m_thread);
    EXPECT_NE(std::this_thread::get_id(), watch.m_thread);
  }
  EXPECT_EQ(2, child.state());
  child.reset();
}

TEST(SubProcTimeOut, TheFunctionCanBeRunByTheHostsOwnThread) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
  CSubProcTimeOut watch(child);
  watch.LaunchFunction();  // the count is 0
  EXPECT_EQ(2, child.state());
  child.reset();
}

TEST(SubProcTimeOut, AnOverriddenKillIsCalled) {
  class Recording : public CSubProc {
   public:
    int kill() override {
      ++m_kills;
      m_killed.put(1);
      return CSubProc::kill();
    }
    int m_kills = 0;
    kx::os::Semaphore m_killed;
  } child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
  {
    CSubProcTimeOut watch(child);
    ASSERT_TRUE(watch.Start(0));
    child.m_killed.get();
    watch.Abort();
  }
  EXPECT_EQ(1, child.m_kills);
  EXPECT_EQ(2, child.state());
  child.reset();
}

TEST(SubProcTimeOutCompat, DestroyingTheWatchLeavesTheChildAlone) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  std::thread([] {}).join();  // a sanitizer starts a thread of its own with the first one
  const std::size_t before = Threads();
  {
    CSubProcTimeOut watch(child);
    ASSERT_TRUE(watch.Start(kLong));
    EXPECT_EQ(before + 1, Threads());
  }
  EXPECT_EQ(before, Threads());
  EXPECT_EQ(1, child.state());
  child.close_write();
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcTimeOutCompat, DestroyingTheWatchWaitsForAKillThatHasBegun) {
  class Slow : public CSubProc {
   public:
    int kill() override {
      m_begun.put(1);
      m_mayGoOn.get();  // where a thread that is cancelled would end
      return CSubProc::kill();
    }
    kx::os::Semaphore m_begun, m_mayGoOn;
  } child;
  ASSERT_EQ(0, Launch(child, {BIX_CHILD, "wait"}));
  auto watch = std::make_unique<CSubProcTimeOut>(child);
  ASSERT_TRUE(watch->Start(0));
  child.m_begun.get();
  std::thread helper([&] { child.m_mayGoOn.put(1); });
  watch.reset();
  EXPECT_EQ(2, child.state());
  helper.join();
  child.reset();
}

TEST(SubProcTimeOutCompat, AbortWithoutAWatchReturnsAtOnce) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  CSubProcTimeOut watch(child);
  watch.Abort();
  ASSERT_TRUE(watch.Start(kLong));
  watch.Abort();
  watch.Abort();
  EXPECT_EQ(1, child.state());
  child.close_write();
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcTimeOutCompat, AWatchThatIsOverCanBeStartedAgain) {
  const std::size_t before = Threads();
  CSubProc child;
  CSubProcTimeOut watch(child);
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(0, Launch(child, {"cat"}));
    ASSERT_TRUE(watch.Start(kLong));
    EXPECT_FALSE(watch.Start(0)) << "one is under way";
    watch.Abort();
    EXPECT_EQ(1, child.state());
    ASSERT_TRUE(watch.Start(0));
    EXPECT_EQ("", ReadAll(child));  // killed, although the last one was aborted
    EXPECT_EQ(-1, child.get_exit_status());
    watch.Abort();
    child.reset();
  }
  EXPECT_GE(before + 1, Threads());
}

TEST(SubProcTimeOutCompat, TheCountIsInSeconds) {
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  CSubProcTimeOut watch(child);
  const auto before = std::chrono::steady_clock::now();
  ASSERT_TRUE(watch.Start(1));
  EXPECT_EQ("", ReadAll(child));
  EXPECT_LE(std::chrono::seconds(1), std::chrono::steady_clock::now() - before);
  watch.Abort();
  EXPECT_EQ(2, child.state());
  child.reset();
}

// The child ends, the time-out kills it, the owner waits for it and the watch is aborted, all at the
// same moment.
TEST(SubProcTimeOutRace, TheChildEndsWhenItIsKilled) {
  const std::size_t before = OpenDescriptors();
  std::atomic<int> ended{0}, killed{0};
  std::string errors;
  {
    const CapturedOutput output;
    std::vector<std::thread> owners;
    for (int owner = 0; owner < 4; ++owner) {
      owners.emplace_back([&] {
        for (int i = 0; i < 2500; ++i) {
          CSubProc child;
          ASSERT_EQ(0, Launch(child, {BIX_CHILD}));
          CSubProcTimeOut watch(child);
          ASSERT_TRUE(watch.Start(0));
          const int status = child.get_exit_status();
          if (i % 2 == 0) watch.Abort();
          ended += status == 0 ? 1 : 0;
          killed += status == -1 ? 1 : 0;
        }
      });
    }
    for (std::thread& owner : owners) owner.join();
    errors = output.Errors();
  }
  EXPECT_EQ(10000, ended + killed);
  // A kill that comes after the wait says so; nothing else is printed.
  for (std::size_t at = errors.find('\n'); at != std::string::npos; at = errors.find('\n')) {
    ASSERT_EQ("kill: No such process", errors.substr(0, at));
    errors.erase(0, at + 1);
  }
  EXPECT_EQ(before, OpenDescriptors());
  EXPECT_FALSE(HasChildren());
}

}  // namespace
}  // namespace bix_test
