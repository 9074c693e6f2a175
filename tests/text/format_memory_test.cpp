// What becomes of a format when there is no memory left.

#include "bix/text.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "support/failing_allocations.h"

namespace {

TEST(FormatWithoutMemory, FailsLikeAnyFormatThatCannotBeHad) {
  const std::string longText(5000, 'x');
  // The room to format in is refused, then that of the text itself.
  for (int successes = 0; successes < 2; ++successes) {
    SCOPED_TRACE(successes);
    bix::SString text("before");
    int bound = 0;
    int error = 0;
    bix_test::FailAllocation(successes, [&] {
      errno = 0;
      bound = text.Format("%s %d", longText.c_str(), 5);
      error = errno;
    });
    EXPECT_EQ(5000 + 1 + 32, bound);
    EXPECT_EQ(EINVAL, error);
    EXPECT_EQ("", text);
  }
  bix::SString text;
  EXPECT_EQ(5000 + 1 + 32, text.Format("%s %d", longText.c_str(), 5));
  EXPECT_EQ(longText + " 5", text);
}

}  // namespace
