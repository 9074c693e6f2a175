#ifndef TESTS_SUPPORT_PRIVATE_HOME_H_
#define TESTS_SUPPORT_PRIVATE_HOME_H_

/// The home directory of a test program: a fresh one that only it knows.
///
/// Already its loading looks for files of the user, so a test program that was started without
/// "BIX_TEST_HOME" makes a directory and starts itself again, before the constructor of any shared
/// library runs: with "HOME" and "BIX_TEST_HOME" naming that directory, and without the variables
/// that the library reads. Nothing needs to be called for this; every program with the main
/// function of this folder does it.

#include <string>

namespace bix_test {

/// The private home directory of this process or of the test program that started it.
std::string PrivateHome();

/// Removes it with all its content when it was made for this very process.
void RemovePrivateHome();

}  // namespace bix_test

#endif  // TESTS_SUPPORT_PRIVATE_HOME_H_
