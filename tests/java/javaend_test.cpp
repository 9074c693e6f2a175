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
  // The wrapper that was registered when the library ended is still known.
  EXPECT_EQ(
      "before the end: made, one, 0 weak\n"
      "after the end: known, one, 0 weak\n",
      result.output);
}

// Java's machine stops its threads when it ends, also those that hold the bridge's mutex.
TEST(JavaAfterTheEnd, AThreadThatWasStoppedInTheBridgeDoesNotKeepTheProcess) {
  const bix_test::ProgramResult result =
      bix_test::Program(BIX_JAVA_LATE_CALLER, {BIX_LIBRARY, "stopped"}).Run();
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ("stopped while it unregisters\n", result.output);
}

}  // namespace
