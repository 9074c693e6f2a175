#include "kx/os.h"

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

namespace bix_test {
namespace {

/// A moment `seconds` from now.
kx::os::TimeRep FromNow(double seconds) {
  kx::os::TimeRep moment, span;
  moment.setNow();
  span.set(seconds);
  moment.add(span);
  return moment;
}

TEST(OsSemaphore, BeginsAtZeroAndCountsWhatIsPut) {
  kx::os::SemaphoreRep semaphore;
  const kx::os::TimeRep past;
  EXPECT_EQ(2, semaphore.get(past));
  semaphore.put(2);
  EXPECT_EQ(0, semaphore.get());
  EXPECT_EQ(0, semaphore.get(past));
  EXPECT_EQ(2, semaphore.get(past));
}

TEST(OsSemaphore, TheDeadlineEndsTheWait) {
  kx::os::Semaphore semaphore;
  EXPECT_EQ(2, semaphore.get(FromNow(0.001)));
  EXPECT_EQ(2, semaphore.get(FromNow(-1e300)));
}

TEST(OsSemaphore, AFarDeadlineIsNoPast) {
  kx::os::Semaphore semaphore;
  for (const double seconds : {4294967295.0, 1e300}) {
    std::thread other([&] { semaphore.put(1); });
    EXPECT_EQ(0, semaphore.get(FromNow(seconds))) << seconds;
    other.join();
  }
  kx::os::TimeRep moment, span;
  moment.setNow();
  span.set(std::numeric_limits<long>::max(), std::numeric_limits<long>::max());
  moment.add(span);
  std::thread other([&] { semaphore.put(1); });
  EXPECT_EQ(0, semaphore.get(moment));
  other.join();
}

TEST(OsSemaphore, EverySignalWakesOneThread) {
  kx::os::Semaphore start, end;
  std::atomic<int> woken{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 1000; ++turn) {
        start.get();
        ++woken;
        end.put(1);
      }
    });
  }
  for (int turn = 0; turn < 1000; ++turn) {
    start.put(4);
    for (int i = 0; i < 4; ++i) end.get(FromNow(600));
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(4000, woken);
}

TEST(OsSemaphore, AWaitThatIsCancelledLeavesItUsable) {
  kx::os::Semaphore semaphore;
  struct Waiter {
    kx::os::Semaphore* semaphore;
    kx::os::Semaphore started;
  } waiter{&semaphore, kx::os::Semaphore()};
  const auto wait = [](void* argument) -> void* {
    auto* const self = static_cast<Waiter*>(argument);
    self->started.put(1);
    self->semaphore->get();
    return nullptr;
  };
  pthread_t thread;
  ASSERT_EQ(0, pthread_create(&thread, nullptr, wait, &waiter));
  waiter.started.get();
  ASSERT_EQ(0, pthread_cancel(thread));
  void* result = nullptr;
  ASSERT_EQ(0, pthread_join(thread, &result));
  EXPECT_EQ(PTHREAD_CANCELED, result);
  semaphore.put(1);
  EXPECT_EQ(0, semaphore.get());
}

TEST(OsTime, SpansAddUp) {
  const struct {
    long seconds;
    long nanoseconds;
  } spans[] = {{0, 0}, {-5, 0}, {0, -1}, {-1, 999999999}};
  kx::os::Semaphore semaphore;
  for (const auto& span : spans) {
    SCOPED_TRACE(span.seconds);
    kx::os::TimeRep moment, added;
    moment.setNow();
    added.set(span.seconds, span.nanoseconds);
    moment.add(added);
    EXPECT_EQ(2, semaphore.get(moment));
  }
}

TEST(OsMutex, KeepsOthersOut) {
  kx::os::MutexRep mutex;
  mutex.init(false);
  int count = 0;
  const auto raise = [&] {
    for (int i = 0; i < 10000; ++i) {
      mutex.lock();
      ++count;
      mutex.unlock();
    }
  };
  std::thread first(raise), second(raise);
  first.join();
  second.join();
  EXPECT_EQ(20000, count);
}

TEST(OsMutex, ARecursiveOneIsLockedAgainByItsThread) {
  kx::os::MutexRep mutex;
  mutex.init(true);
  mutex.lock();
  mutex.lock();
  mutex.unlock();
  std::atomic<bool> entered{false};
  std::thread other([&] {
    mutex.lock();
    entered = true;
    mutex.unlock();
  });
  EXPECT_FALSE(entered);  // still held once
  mutex.unlock();
  other.join();
  EXPECT_TRUE(entered);
}

}  // namespace
}  // namespace bix_test
