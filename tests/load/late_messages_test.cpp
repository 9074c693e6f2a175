// Messages of a host while the process exits, when the library has ended already.

#include <string>

#include <gtest/gtest.h>

#include "support/program.h"
#include "support/temp_directory.h"

namespace {

using bix_test::Program;
using bix_test::ProgramResult;
using bix_test::TempDirectory;

Program LateSpeaker() { return Program(BIX_LOADING_HOST, {BIX_LIBRARY, "local", "late"}); }

constexpr char kErrors[] =
    "an error\n"
    "an error after the end of the channel\n"
    "another error of the same kind\n";
// The library has put back what was the current module before it was loaded: none.
constexpr char kOutput[] =
    "My Projects\n"
    "an output\n"
    "no current module\n"
    "an output after the end of the channel\n"
    "another output of the same kind\n";

TEST(ChannelAfterItsEnd, IsShownOnTheConsole) {
  const ProgramResult result = LateSpeaker().Run();
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ(kErrors, result.errors);
  EXPECT_EQ(kOutput, result.output);
}

TEST(ChannelAfterItsEnd, DoesNotReadTheSettingAgain) {
  const ProgramResult result = LateSpeaker().Set("BIX_ERR_OUT", "-x").Run();
  EXPECT_EQ(std::string("Internal error: CErrOut: unknown option\n") + kErrors, result.errors);
}

TEST(ChannelAfterItsEnd, StaysQuiet) {
  const ProgramResult result = LateSpeaker().Set("BIX_ERR_OUT", "-q").Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(kOutput, result.output);
}

TEST(ChannelAfterItsEnd, LeavesTheLogAlone) {
  const TempDirectory directory;
  const ProgramResult result = LateSpeaker().Set("BIX_ERR_OUT", "-o " + (directory / "e")).Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ(kErrors, result.errors);
  EXPECT_EQ("an error\n", bix_test::ReadWholeFile(directory / ("e." + std::to_string(result.pid))));
}

}  // namespace
