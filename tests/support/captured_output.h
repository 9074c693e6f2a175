#ifndef TESTS_SUPPORT_CAPTURED_OUTPUT_H_
#define TESTS_SUPPORT_CAPTURED_OUTPUT_H_

/// What this process writes to descriptors 1 and 2, as text.

#include <cstdio>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

namespace bix_test {

/// Catches all that is written to one descriptor, by whatever means, for as long as it exists.
class CapturedDescriptor {
 public:
  explicit CapturedDescriptor(int descriptor)
      : m_descriptor(descriptor), m_content(memfd_create("captured", MFD_CLOEXEC)) {
    std::fflush(nullptr);
    m_old = fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
    EXPECT_GE(m_old, 0);
    EXPECT_EQ(descriptor, dup2(m_content, descriptor));
  }
  CapturedDescriptor(const CapturedDescriptor&) = delete;
  CapturedDescriptor& operator=(const CapturedDescriptor&) = delete;
  ~CapturedDescriptor() {
    std::fflush(nullptr);
    dup2(m_old, m_descriptor);
    close(m_old);
    close(m_content);
  }

  /// All that has been written so far.
  std::string Text() const {
    std::fflush(nullptr);
    std::string text;
    char block[4096];
    for (;;) {
      const ssize_t count = pread(m_content, block, sizeof block, static_cast<off_t>(text.size()));
      if (count <= 0) return text;
      text.append(block, static_cast<std::size_t>(count));
    }
  }

 private:
  int m_descriptor;
  int m_content;
  int m_old = -1;
};

/// Catches descriptors 1 and 2. Ask for the texts inside its scope and compare them outside, where
/// a failure can be seen.
class CapturedOutput {
 public:
  std::string Output() const { return m_output.Text(); }
  std::string Errors() const { return m_errors.Text(); }

 private:
  CapturedDescriptor m_output{1};
  CapturedDescriptor m_errors{2};
};

}  // namespace bix_test

#endif  // TESTS_SUPPORT_CAPTURED_OUTPUT_H_
