#ifndef TESTS_HELPERS_HOME_WITNESS_H_
#define TESTS_HELPERS_HOME_WITNESS_H_

/// A shared library that looks at the environment while it is loaded.

namespace bix_test {

/// The value of "HOME" when the library was constructed, "" when it was not set.
const char* HomeSeenByConstructor();

}  // namespace bix_test

#endif  // TESTS_HELPERS_HOME_WITNESS_H_
