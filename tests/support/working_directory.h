#ifndef TESTS_SUPPORT_WORKING_DIRECTORY_H_
#define TESTS_SUPPORT_WORKING_DIRECTORY_H_

/// A change of the working directory that ends with the test.

#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace bix_test {

/// Makes a directory the working directory and goes back at the end, even when the old one has been
/// renamed or removed meanwhile.
class ScopedWorkingDirectory {
 public:
  explicit ScopedWorkingDirectory(const std::string& path)
      : m_old(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    EXPECT_GE(m_old, 0) << "cannot keep the working directory";
    EXPECT_EQ(0, chdir(path.c_str())) << "cannot go to " << path;
  }
  ScopedWorkingDirectory(const ScopedWorkingDirectory&) = delete;
  ScopedWorkingDirectory& operator=(const ScopedWorkingDirectory&) = delete;
  ~ScopedWorkingDirectory() {
    EXPECT_EQ(0, fchdir(m_old)) << "cannot go back";
    close(m_old);
  }

 private:
  int m_old;
};

}  // namespace bix_test

#endif  // TESTS_SUPPORT_WORKING_DIRECTORY_H_
