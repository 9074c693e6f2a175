// Streams on files in a host that has closed its standard streams.

#include <functional>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bix/contexts.h"
#include "bix/filestreams.h"
#include "faults/surroundings.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

/// The numbers of standard streams that are in use in the middle of `use`, which calls what it is
/// given there; in a child that has closed all of them.
void ExpectNoneInUse(const std::function<void(const std::function<void()>& middle)>& use) {
  RunInChild(User::kSame, [&] {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) ASSERT_EQ(0, close(fd));
    bool isReached = false;
    use([&] {
      isReached = true;
      for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        EXPECT_EQ(-1, fcntl(fd, F_GETFD)) << fd;
    });
    EXPECT_TRUE(isReached);
  });
}

TEST(WithoutStandardStreams, AStreamBufferTakesNoneOfTheirNumbers) {
  const TempDirectory directory;
  const std::string path = directory / "file";
  ExpectNoneInUse([&](const auto& middle) {
    bix::SFileStreamBuffer buffer;
    buffer.OpenWrite(path.c_str());
    EXPECT_TRUE(buffer.IsGood());
    EXPECT_EQ('x', buffer.sputc('x'));
    buffer.WritePending();
    middle();
  });
  EXPECT_EQ("x", ReadWholeFile(path));
}

TEST(WithoutStandardStreams, AnErrorContextTakesNoneOfTheirNumbers) {
  const TempDirectory directory;
  const std::string path = directory / "file";
  ExpectNoneInUse([&](const auto& middle) {
    bix::CFileErrorContext context(path.c_str());
    context << "text";
    middle();
  });
  EXPECT_EQ("text", ReadWholeFile(path));
}

TEST(WithoutStandardStreams, ADumpContextTakesNoneOfTheirNumbers) {
  const TempDirectory directory;
  const std::string path = directory / "file";
  ExpectNoneInUse([&](const auto& middle) {
    bix::CFileDumpContext context(path.c_str());
    context << "text";
    middle();
  });
  EXPECT_EQ("text", ReadWholeFile(path));
}

}  // namespace
}  // namespace bix_test
