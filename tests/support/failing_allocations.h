#ifndef TESTS_SUPPORT_FAILING_ALLOCATIONS_H_
#define TESTS_SUPPORT_FAILING_ALLOCATIONS_H_

/// What happens when there is no memory left: each allocation of an operation fails in turn.
///
/// failing_allocations.cpp, listed among the sources of a test program, replaces the global operator
/// new of the program and of every shared library in it.
///
///   const long before = LiveAllocations();
///   const int failures = FailEachAllocation([&] { file.Load(path); });
///   EXPECT_EQ(before, LiveAllocations());

#include <functional>

namespace bix_test {

/// How many allocations have not been released.
long LiveAllocations();

/// Runs `operation` with its first, second, ... allocation failing until it succeeds, and returns
/// how often it failed. `afterFailure` runs after each failure.
int FailEachAllocation(
    const std::function<void()>& operation, const std::function<void()>& afterFailure = [] {});

/// Runs an operation that does not throw; behind the first `successes` of its allocations all fail.
void FailAllocation(int successes, const std::function<void()>& operation);

}  // namespace bix_test

#endif  // TESTS_SUPPORT_FAILING_ALLOCATIONS_H_
