#include "support/failing_allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

long s_liveAllocations = 0;
long s_allocationsUntilFailure = -1;  // negative: none fails

}  // namespace

void* operator new(std::size_t size) {
  if (s_allocationsUntilFailure == 0) throw std::bad_alloc();
  if (s_allocationsUntilFailure > 0) --s_allocationsUntilFailure;
  void* room = std::malloc(size != 0 ? size : 1);
  if (room == nullptr) throw std::bad_alloc();
  ++s_liveAllocations;
  return room;
}
void operator delete(void* room) noexcept {
  if (room == nullptr) return;
  --s_liveAllocations;
  std::free(room);
}
void operator delete(void* room, std::size_t) noexcept { operator delete(room); }
// The sanitizers bring forms of their own for arrays.
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete[](void* room) noexcept { operator delete(room); }
void operator delete[](void* room, std::size_t) noexcept { operator delete(room); }

namespace bix_test {

long LiveAllocations() { return s_liveAllocations; }

int FailEachAllocation(const std::function<void()>& operation,
                       const std::function<void()>& afterFailure) {
  for (int failures = 0;; ++failures) {
    s_allocationsUntilFailure = failures;
    try {
      operation();
      s_allocationsUntilFailure = -1;
      return failures;
    } catch (const std::bad_alloc&) {
      s_allocationsUntilFailure = -1;
    }
    afterFailure();
  }
}

void FailAllocation(int successes, const std::function<void()>& operation) {
  s_allocationsUntilFailure = successes;
  operation();
  s_allocationsUntilFailure = -1;
}

}  // namespace bix_test
