#ifndef TESTS_HOST_GUEST_H_
#define TESTS_HOST_GUEST_H_

/// What the host of these tests calls in the add-in that uses the library.

namespace bix_test {

#define BIX_GUEST_EXPORT extern "C" __attribute__((visibility("default")))

/// Uses every subsystem of the library, with files below `work` and a resource library `texts`.
/// Returns what did not do what it should, "" when all went well.
BIX_GUEST_EXPORT const char* UseEverything(const char* work, const char* texts);

/// Uses what the library keeps for each thread.
BIX_GUEST_EXPORT void UseOnAThread();

}  // namespace bix_test

#endif  // TESTS_HOST_GUEST_H_
