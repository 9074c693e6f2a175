#ifndef TESTS_SUPPORT_PRIVATE_HOME_START_H_
#define TESTS_SUPPORT_PRIVATE_HOME_START_H_

/// Between the part that makes the private home directory and the part that removes it. Who refers
/// to these names has the first part linked in.

namespace bix_test {

/// The variable that names the directory.
extern const char kPrivateHomeVariable[];

/// In its path, "/" included, what stands before "<process id>-<random number>".
extern const char kPrivateHomeStem[];

}  // namespace bix_test

#endif  // TESTS_SUPPORT_PRIVATE_HOME_START_H_
