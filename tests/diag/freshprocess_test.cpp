// What is settled when the library is loaded, or at the first call: each in a process of its own.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/program.h"
#include "support/temp_directory.h"

namespace {

using bix_test::Program;
using bix_test::ProgramResult;
using bix_test::TempDirectory;

Program Speaker(const std::vector<std::string>& commands) { return Program(BIX_SPEAK, commands); }

const char kUsage[] =
    "Internal error: CErrOut: usage BIX_ERR_OUT=[-a] [-h] [-q] [-o file]\n"
    "Internal error: CErrOut: -a assert dialog (only Windows debug)\n"
    "Internal error: CErrOut: -h print this message\n"
    "Internal error: CErrOut: -q turn off normal output\n"
    "Internal error: CErrOut: -o <file> write output to file.pid \n";

TEST(ErrorSettingAtLoad, ShapesTheProcessErrorChannelOnly) {
  const struct {
    const char* setting;
    std::string errors;
  } cases[] = {
      {"", "m\n"},
      {"-q", ""},
      {"-h", std::string(kUsage) + "m\n"},
      {"-q -h", ""},
      {"-x -q", "Internal error: CErrOut: unknown option\nm\n"},
      {"-q -x", ""},
      {"-o", "Internal error: CErrOut: file required\nm\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.setting);
    const ProgramResult result =
        Speaker({"err", "m", "out", "n"}).Set("BIX_ERR_OUT", c.setting).Run();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(c.errors, result.errors);
    EXPECT_EQ("n\n", result.output) << "normal output is never affected";
  }
}

TEST(ErrorSettingAtLoad, WritesToTheLogOfTheProcess) {
  const TempDirectory directory;
  const ProgramResult result =
      Speaker({"err", "one", "err", "two"}).Set("BIX_ERR_OUT", "-q -o " + (directory / "e")).Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ("one\ntwo\n", bix_test::ReadWholeFile(directory / ("e." + std::to_string(result.pid))));
}

TEST(ErrorSettingAtLoad, LogsTheUsageNamedAfterTheFile) {
  const TempDirectory directory;
  const ProgramResult result =
      Speaker({"err", "m"}).Set("BIX_ERR_OUT", "-o " + (directory / "e") + " -h").Run();
  EXPECT_EQ(std::string(kUsage) + "m\n", result.errors);
  EXPECT_EQ(std::string(kUsage) + "m\n",
            bix_test::ReadWholeFile(directory / ("e." + std::to_string(result.pid))));
}

TEST(ErrorSettingAtLoad, WithoutAFlushNoLogIsOpened) {
  const TempDirectory directory;
  const ProgramResult result =
      Speaker({"out", "n"}).Set("BIX_ERR_OUT", "-o " + (directory / "e")).Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
}

TEST(ErrorSettingAtLoad, ReportsALogThatCannotBeOpenedOnce) {
  const TempDirectory directory;
  const ProgramResult result =
      Speaker({"err", "one", "err", "two"}).Set("BIX_ERR_OUT", "-o " + (directory / "no/e")).Run();
  EXPECT_EQ("one\nInternal error: CErrOut: open failed: " + (directory / "no/e") + "." +
                std::to_string(result.pid) + "\ntwo\n",
            result.errors);
}

TEST(ErrorSettingAtLoad, WhatIsLeftIsFlushedAtTheEndOfTheProcess) {
  const TempDirectory directory;
  const ProgramResult result = Speaker({"err-unflushed", "left", "out-unflushed", "behind"})
                                   .Set("BIX_ERR_OUT", "-o " + (directory / "e"))
                                   .Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("left", result.errors);
  EXPECT_EQ("behind", result.output);
  EXPECT_EQ("left", bix_test::ReadWholeFile(directory / ("e." + std::to_string(result.pid))));
}

TEST(ErrorSettingCompat, AssertReportRepeatsTheMessage) {
  const ProgramResult result = Speaker({"err", "m"}).Set("BIX_ERR_OUT", "-a").Run();
  EXPECT_EQ(0, result.exitCode);
  // The message, then the report with the message still in front of it.
  EXPECT_EQ("m\nm\nInternal error: assert dialog not available\n", result.errors);
}

TEST(ErrorSettingCompat, AssertReportDoesNotNest) {
  const TempDirectory directory;
  const ProgramResult result = Speaker({"err", "one", "err", "two", "out", "n"})
                                   .Set("BIX_ERR_OUT", "-a -o " + (directory / "e"))
                                   .Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ(0, result.signal);
  const std::string report = "Internal error: assert dialog not available\n";
  EXPECT_EQ("one\none\n" + report + "two\ntwo\n" + report, result.errors);
  EXPECT_EQ("n\n", result.output);
  EXPECT_EQ(result.errors,
            bix_test::ReadWholeFile(directory / ("e." + std::to_string(result.pid))));
}

TEST(ErrorSettingAtLoad, TheAssertOptionHoldsForTheUsageAfterIt) {
  const ProgramResult after = Speaker({}).Set("BIX_ERR_OUT", "-h -a").Run();
  EXPECT_EQ(kUsage, after.errors);
  const ProgramResult unknown = Speaker({}).Set("BIX_ERR_OUT", "-a -x").Run();
  EXPECT_EQ(
      "Internal error: CErrOut: unknown option\n"
      "Internal error: CErrOut: unknown option\n"
      "Internal error: assert dialog not available\n",
      unknown.errors);
}

TEST(Assert, IsSilentByDefault) {
  const ProgramResult result = Speaker({"assert", "err", "goes on"}).Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("goes on\n", result.errors);
}

TEST(AssertCompat, ReportHasNoPrefix) {
  for (const char* value : {"1", "0", ""}) {
    SCOPED_TRACE(value);
    const ProgramResult result = Speaker({"assert", "assert"}).Set("QRD_ASSERT", value).Run();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(
        "Assertion failed: a == b, file some/file.cpp, line 42\n"
        "Assertion failed: a == b, file some/file.cpp, line 42\n",
        result.errors);
    EXPECT_EQ("", result.output);
  }
}

TEST(AssertCompat, SettingIsReadAtTheFirstCallOnly) {
  const std::string report = "Assertion failed: a == b, file some/file.cpp, line 42\n";
  EXPECT_EQ("", Speaker({"assert", "setenv", "QRD_ASSERT=1", "assert"}).Run().errors);
  EXPECT_EQ(report, Speaker({"setenv", "QRD_ASSERT=1", "assert"}).Run().errors)
      << "not read before the first call";
  EXPECT_EQ(
      report + report,
      Speaker({"assert", "unsetenv", "QRD_ASSERT", "assert"}).Set("QRD_ASSERT", "1").Run().errors);
}

TEST(Assert, TheMacroReportsOnlyWhatFails) {
  const ProgramResult result =
      Speaker({"assert-macro", "1", "assert-macro", "0"}).Set("QRD_ASSERT", "1").Run();
  EXPECT_EQ(1, std::count(result.errors.begin(), result.errors.end(), '\n'));
  EXPECT_EQ(0u, result.errors.find("Assertion failed: std::atoi(argument) != 0, file "));
  EXPECT_NE(std::string::npos, result.errors.find("speak.cpp, line "));
}

TEST(Assert, ANullTextIsReported) {
  const ProgramResult result = Speaker({"assert-null"}).Set("QRD_ASSERT", "1").Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ(
      "Assertion failed: \nInternal error: CMsgOut: NULL TCHAR* argument\n"
      ", file f, line 1\n",
      result.errors);
}

}  // namespace
