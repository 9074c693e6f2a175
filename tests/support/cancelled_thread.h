#ifndef TESTS_SUPPORT_CANCELLED_THREAD_H_
#define TESTS_SUPPORT_CANCELLED_THREAD_H_

/// What becomes of a thread that is told to end in the middle of an operation.

#include <gtest/gtest.h>
#include <pthread.h>

namespace bix_test {

/// Runs `function`, which calls CancelThisThread or has SystemFaults do so, in a thread of its own.
/// Whether it was cancelled: it is, at the first call behind that at which threads are. Within a
/// destructor that would end the process.
template <class Function>
bool IsCancelledIn(Function function) {
  const auto run = [](void* body) -> void* {
    (*static_cast<Function*>(body))();
    return nullptr;
  };
  pthread_t thread;
  EXPECT_EQ(0, pthread_create(&thread, nullptr, run, &function));
  void* result = nullptr;
  EXPECT_EQ(0, pthread_join(thread, &result));
  return result == PTHREAD_CANCELED;
}

/// Tells this thread to end.
inline void CancelThisThread() { EXPECT_EQ(0, pthread_cancel(pthread_self())); }

}  // namespace bix_test

#endif  // TESTS_SUPPORT_CANCELLED_THREAD_H_
