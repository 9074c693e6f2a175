#include "bix/sthread.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include "proc/thread_calls.h"
#include "support/captured_output.h"

namespace bix_test {
namespace {

using Calls = std::vector<std::string>;

unsigned long SignalTwice(void* call) {
  static_cast<bix::ThreadCall*>(call)->called();
  static_cast<bix::ThreadCall*>(call)->called();
  return 7;
}

/// Says that it runs, and then waits until it is cancelled.
struct Sleeper {
  kx::os::Semaphore started;
  kx::os::Semaphore ended;
  kx::os::Semaphore never;

  static unsigned long Run(void* self) {
    auto* const sleeper = static_cast<Sleeper*>(self);
    struct AtEnd {
      kx::os::Semaphore& ended;
      ~AtEnd() { ended.put(1); }
    } const atEnd{sleeper->ended};
    sleeper->started.put(1);
    sleeper->never.get();
    return 0;
  }
};

/// What the one field of a handle points to, read as a host reads it.
pthread_t* IdentifierIn(const bix::SThread& thread) {
  pthread_t* identifier;
  static_assert(sizeof identifier == sizeof thread);
  std::memcpy(&identifier, &thread, sizeof identifier);
  return identifier;
}

void PutIdentifier(bix::SThread& thread, pthread_t* identifier) {
  static_assert(sizeof identifier == sizeof thread);
  std::memcpy(static_cast<void*>(&thread), &identifier, sizeof identifier);
}

unsigned long ReturnValue(void* value) { return *static_cast<unsigned long*>(value); }

TEST(ThreadHandle, RunsTheFunctionWithItsArgument) {
  kx::os::Semaphore semaphore;
  bix::ThreadCall call;
  call.setSemaphore(&semaphore);
  bix::SThread thread;
  ASSERT_TRUE(thread.Launch(SignalTwice, &call));
  EXPECT_EQ(0, semaphore.get());
  EXPECT_EQ(0, semaphore.get());
  thread.KillWait();
}

TEST(ThreadHandle, TheResultIsTheExitValueOfTheThread) {
  ThreadCalls threads;
  std::size_t count = 0;
  for (unsigned long value : {0UL, 7UL, 0x80000000UL, ULONG_MAX}) {
    bix::SThread thread;
    ASSERT_TRUE(thread.Launch(ReturnValue, &value));
    thread.Wait();
    thread.Kill();
    EXPECT_EQ(value, threads.ExitValue(++count));
  }
}

TEST(ThreadHandle, WithoutAThreadNothingHappensAndNothingIsPrinted) {
  std::string errors;
  Calls calls;
  {
    const CapturedOutput output;
    ThreadCalls threads;
    bix::SThread thread;
    thread.Kill();
    thread.Wait();
    thread.KillWait();
    calls = threads.Calls();
    errors = output.Errors();
  }
  EXPECT_EQ(Calls{}, calls);
  EXPECT_EQ("", errors);
}

TEST(ThreadHandle, KillAsksTheThreadToEndAndLetsGoOfIt) {
  Sleeper sleeper;
  Calls calls;
  {
    ThreadCalls threads;
    bix::SThread thread;
    ASSERT_TRUE(thread.Launch(Sleeper::Run, &sleeper));
    sleeper.started.get();
    thread.Kill();
    thread.Kill();
    thread.Wait();
    thread.KillWait();
    calls = threads.Calls();
    sleeper.ended.get();
  }
  EXPECT_EQ((Calls{"pthread_create", "pthread_cancel", "pthread_detach"}), calls);
}

TEST(ThreadHandle, KillWaitReturnsWhenTheThreadIsGone) {
  Sleeper sleeper;
  ThreadCalls threads;
  bix::SThread thread;
  ASSERT_TRUE(thread.Launch(Sleeper::Run, &sleeper));
  sleeper.started.get();
  thread.KillWait();
  EXPECT_EQ(0, sleeper.ended.get(kx::os::TimeRep()));  // without waiting
  EXPECT_EQ((Calls{"pthread_create", "pthread_cancel", "pthread_join"}), threads.Calls());
  thread.KillWait();
  thread.Wait();
  EXPECT_EQ(3U, threads.Calls().size());
}

TEST(ThreadHandle, CanBeLaunchedAgainAfterItHasLetGo) {
  kx::os::Semaphore semaphore;
  bix::ThreadCall call;
  call.setSemaphore(&semaphore);
  bix::SThread thread;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(thread.Launch(SignalTwice, &call));
    thread.Wait();
    EXPECT_EQ(0, semaphore.get(kx::os::TimeRep()));
    EXPECT_EQ(0, semaphore.get(kx::os::TimeRep()));
    thread.KillWait();
  }
}

TEST(ThreadHandle, TheDestructorLeavesTheThreadRunning) {
  Sleeper sleeper;
  Calls calls;
  pthread_t* identifier = nullptr;
  {
    ThreadCalls threads;
    {
      bix::SThread thread;
      ASSERT_TRUE(thread.Launch(Sleeper::Run, &sleeper));
      identifier = IdentifierIn(thread);
    }
    calls = threads.Calls();
    sleeper.started.get();
    EXPECT_EQ(Calls{"pthread_create"}, calls);
    // What the destructor has left behind is ended here.
    bix::SThread again;
    PutIdentifier(again, identifier);
    again.KillWait();
  }
  EXPECT_EQ(0, sleeper.ended.get(kx::os::TimeRep()));
}

TEST(ThreadHandle, TheFieldPointsToTheIdentifierOfTheThread) {
  Sleeper sleeper;
  bix::SThread thread;
  EXPECT_EQ(sizeof(void*), sizeof thread);
  EXPECT_EQ(nullptr, IdentifierIn(thread));
  ASSERT_TRUE(thread.Launch(Sleeper::Run, &sleeper));
  ASSERT_NE(nullptr, IdentifierIn(thread));
  EXPECT_EQ(0, pthread_setname_np(*IdentifierIn(thread), "sleeper"));
  thread.KillWait();
  EXPECT_EQ(nullptr, IdentifierIn(thread));
}

TEST(ThreadHandleErrors, AFailedLaunchIsPrintedAndLeavesTheHandleEmpty) {
  std::string errors;
  Calls calls;
  bool isLaunched = true;
  int error = 0;
  {
    const CapturedOutput output;
    ThreadCalls threads;
    threads.Fail("pthread_create", EAGAIN);
    bix::SThread thread;
    errno = 0;
    isLaunched = thread.Launch(SignalTwice, nullptr);
    error = errno;
    thread.Kill();
    thread.Wait();
    thread.KillWait();
    calls = threads.Calls();
    errors = output.Errors();
  }
  EXPECT_FALSE(isLaunched);
  EXPECT_EQ(EAGAIN, error);
  EXPECT_EQ("pthread_create: Resource temporarily unavailable\n", errors);
  EXPECT_EQ(Calls{"pthread_create"}, calls);
}

TEST(ThreadHandleErrors, AFailedCancellationIsPrinted) {
  for (const bool waits : {false, true}) {
    SCOPED_TRACE(waits);
    std::string errors;
    int error = 0;
    pthread_t other = 0;
    pthread_t* held = &other;
    kx::os::Semaphore semaphore;
    bix::ThreadCall call;
    call.setSemaphore(&semaphore);
    {
      const CapturedOutput output;
      ThreadCalls threads;
      threads.Fail("pthread_cancel", ESRCH);
      bix::SThread thread;
      ASSERT_TRUE(thread.Launch(SignalTwice, &call));
      errno = 0;
      waits ? thread.KillWait() : thread.Kill();
      error = errno;
      held = IdentifierIn(thread);
      errors = output.Errors();
      semaphore.get();
      semaphore.get();
      threads.ExitValue(1);
    }
    EXPECT_EQ(ESRCH, error);
    EXPECT_EQ("pthread_cancel: No such process\n", errors);
    EXPECT_EQ(nullptr, held);
  }
}

TEST(ThreadHandleErrors, AFailedWaitIsPrintedAndTheThreadStaysHeld) {
  std::string errors;
  Calls calls;
  int error = 0;
  {
    const CapturedOutput output;
    ThreadCalls threads;
    unsigned long value = 0;
    bix::SThread thread;
    ASSERT_TRUE(thread.Launch(ReturnValue, &value));
    threads.Fail("pthread_join", EDEADLK);
    errno = 0;
    thread.Wait();
    error = errno;
    threads.Fail("", 0);
    thread.Wait();
    thread.KillWait();
    calls = threads.Calls();
    errors = output.Errors();
  }
  EXPECT_EQ(EDEADLK, error);
  EXPECT_EQ("pthread_join: Resource deadlock avoided\n", errors);
  EXPECT_EQ((Calls{"pthread_create", "pthread_join", "pthread_join"}), calls);
}

TEST(ThreadHandleErrors, KillWaitPrintsBothWords) {
  std::string errors;
  {
    const CapturedOutput output;
    ThreadCalls threads;
    unsigned long value = 0;
    bix::SThread thread;
    ASSERT_TRUE(thread.Launch(ReturnValue, &value));
    const auto identifier = *IdentifierIn(thread);
    threads.Fail("pthread_cancel", ESRCH);
    // Waiting for itself is refused by the system itself.
    *IdentifierIn(thread) = pthread_self();
    thread.KillWait();
    errors = output.Errors();
    EXPECT_EQ(nullptr, IdentifierIn(thread));
    pthread_join(identifier, nullptr);
  }
  EXPECT_EQ("pthread_cancel: No such process\npthread_join: Resource deadlock avoided\n", errors);
}

TEST(ThreadHandleCompat, AThreadThatWasWaitedForIsNotTouchedAgain) {
  ThreadCalls threads;
  unsigned long value = 3;
  bix::SThread thread;
  ASSERT_TRUE(thread.Launch(ReturnValue, &value));
  thread.Wait();
  EXPECT_NE(nullptr, IdentifierIn(thread));  // still held
  thread.Wait();
  thread.KillWait();
  EXPECT_EQ(nullptr, IdentifierIn(thread));
  ASSERT_TRUE(thread.Launch(ReturnValue, &value));
  thread.Wait();
  thread.Kill();
  EXPECT_EQ(nullptr, IdentifierIn(thread));
  EXPECT_EQ((Calls{"pthread_create", "pthread_join", "pthread_create", "pthread_join"}),
            threads.Calls());
}

TEST(ThreadHandleCompat, ASecondLaunchForgetsTheFirstThread) {
  Sleeper first, second;
  ThreadCalls threads;
  bix::SThread thread;
  ASSERT_TRUE(thread.Launch(Sleeper::Run, &first));
  pthread_t* const identifier = IdentifierIn(thread);
  ASSERT_TRUE(thread.Launch(Sleeper::Run, &second));
  EXPECT_EQ((Calls{"pthread_create", "pthread_create"}), threads.Calls());
  first.started.get();
  second.started.get();
  thread.KillWait();
  EXPECT_EQ(0, second.ended.get(kx::os::TimeRep()));
  EXPECT_EQ(2, first.ended.get(kx::os::TimeRep()));  // runs on
  bix::SThread again;
  PutIdentifier(again, identifier);
  again.KillWait();
  EXPECT_EQ(0, first.ended.get(kx::os::TimeRep()));
}

TEST(ThreadCall, WithoutASemaphoreNothingHappens) {
  bix::ThreadCall call;
  call.called();
  kx::os::Semaphore semaphore;
  call.setSemaphore(&semaphore);
  call.setSemaphore(nullptr);
  call.called();
  EXPECT_EQ(2, semaphore.get(kx::os::TimeRep()));
}

TEST(ThreadCall, SignalsOnceForEachCallFromAnyThread) {
  kx::os::Semaphore semaphore;
  bix::ThreadCall call;
  call.setSemaphore(&semaphore);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 1000; ++j) call.called();
    });
  }
  for (std::thread& thread : threads) thread.join();
  int count = 0;
  while (semaphore.get(kx::os::TimeRep()) == 0) ++count;
  EXPECT_EQ(4000, count);
}

}  // namespace
}  // namespace bix_test
