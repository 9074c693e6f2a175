// The bridge when the library has ended.

#include <gtest/gtest.h>

#include "support/program.h"

namespace {

TEST(JavaAfterTheEnd, TheBridgeStillWorks) {
  const bix_test::ProgramResult result =
      bix_test::Program(BIX_JAVA_LATE_CALLER, {BIX_LIBRARY}).Run();
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("", result.errors);
  // The reference that was registered when the library ended is not deleted: Java may be gone.
  EXPECT_EQ(
      "before the end: made, one, 0 weak\n"
      "after the end: made, one, 1 weak\n",
      result.output);
}

}  // namespace
