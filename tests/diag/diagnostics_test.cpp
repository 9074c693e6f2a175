#include "bix/diagnostics.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "support/captured_output.h"
#include "support/program.h"
#include "support/scoped_environment.h"

namespace {

// What the system's strerror() is replaced by in this program.
enum class SystemText { kItsOwn, kNull, kEmpty };
SystemText s_systemText = SystemText::kItsOwn;

}  // namespace

extern "C" char* strerror(int number) noexcept {
  static thread_local char text[256];
  if (s_systemText == SystemText::kNull) return nullptr;
  text[0] = 0;
  return s_systemText == SystemText::kEmpty ? text : strerror_r(number, text, sizeof text);
}

namespace {

using bix_test::CapturedOutput;
using bix_test::Program;
using bix_test::ProgramResult;
using bix_test::ScopedVariable;

const char kReport[] = "Assertion failed: a == b, file some/file.cpp, line 42\n";

TEST(PlainAssert, IsSilentByDefaultAndGoesOn) {
  const ProgramResult result = Program(BIX_SPEAK, {"plain-assert", "err", "goes on"}).Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("goes on\n", result.errors);
  EXPECT_EQ("", result.output);
}

TEST(PlainAssert, ReportsOnStandardErrorPastTheChannel) {
  for (const char* value : {"1", "0", ""}) {
    SCOPED_TRACE(value);
    const ProgramResult result = Program(BIX_SPEAK, {"plain-assert"})
                                     .Set("QRD_LOG_ASSERT", value)
                                     .Set("BIX_ERR_OUT", "-q")
                                     .Run();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(kReport, result.errors);
    EXPECT_EQ("", result.output);
  }
  EXPECT_EQ("", Program(BIX_SPEAK, {"plain-assert"}).Set("QRD_ASSERT", "1").Run().errors)
      << "the switch of the other assertion";
  EXPECT_EQ("", Program(BIX_SPEAK, {"assert"}).Set("QRD_LOG_ASSERT", "1").Run().errors);
}

TEST(PlainAssert, AbortsBehindTheReport) {
  for (const char* value : {"1", ""}) {
    SCOPED_TRACE(value);
    const ProgramResult silent = Program(BIX_SPEAK, {"plain-assert", "err", "not reached"})
                                     .Set("QRD_ABORT_ASSERT", value)
                                     .Run();
    EXPECT_EQ(SIGABRT, silent.signal);
    EXPECT_EQ("", silent.errors);
    const ProgramResult reported = Program(BIX_SPEAK, {"plain-assert", "err", "not reached"})
                                       .Set("QRD_ABORT_ASSERT", value)
                                       .Set("QRD_LOG_ASSERT", "1")
                                       .Run();
    EXPECT_EQ(SIGABRT, reported.signal);
    EXPECT_EQ(kReport, reported.errors);
  }
}

TEST(PlainAssertCompat, SettingsAreReadAtEachCall) {
  const ProgramResult result =
      Program(BIX_SPEAK,
              {"plain-assert", "setenv", "QRD_LOG_ASSERT=1", "plain-assert", "unsetenv",
               "QRD_LOG_ASSERT", "plain-assert", "setenv", "QRD_ABORT_ASSERT=1", "plain-assert"})
          .Run();
  EXPECT_EQ(kReport, result.errors);
  EXPECT_EQ(SIGABRT, result.signal);
}

TEST(PlainAssert, NullIsTheEmptyText) {
  const ScopedVariable log("QRD_LOG_ASSERT", "1");
  std::string errors;
  {
    const CapturedOutput captured;
    zq_assert(nullptr, nullptr, -1);
    errors = captured.Errors();
  }
  EXPECT_EQ("Assertion failed: , file , line -1\n", errors);
}

/// Traces in a fresh process print this.
std::string Traced(const Program& program) {
  const ProgramResult result = program.Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("", result.errors);
  return result.output;
}

TEST(Trace, IsPrintedWithANewlineOnStandardOutput) {
  EXPECT_EQ("", Traced(Program(BIX_SPEAK, {"trace", "x"})));
  for (const char* value : {"1", "0", ""}) {
    SCOPED_TRACE(value);
    EXPECT_EQ("7 x\n7 y\n",
              Traced(Program(BIX_SPEAK, {"trace", "x", "trace", "y"}).Set("QRD_TRACE", value)));
  }
}

TEST(TraceCompat, SettingIsReadWhenTheLibraryIsLoaded) {
  EXPECT_EQ("", Traced(Program(BIX_SPEAK, {"setenv", "QRD_TRACE=1", "trace", "x"})));
  EXPECT_EQ(
      "7 x\n",
      Traced(Program(BIX_SPEAK, {"unsetenv", "QRD_TRACE", "trace", "x"}).Set("QRD_TRACE", "1")));
  EXPECT_EQ("7 y\n", Traced(Program(BIX_SPEAK, {"trace", "x", "trace-on", "trace", "y"})))
      << "the flag can be set by the host";
}

/// Sets the flag of the traces in its scope.
class ScopedTrace {
 public:
  explicit ScopedTrace(bool isOn) : m_old(bix::qrd_trace) { bix::qrd_trace = isOn; }
  ~ScopedTrace() { bix::qrd_trace = m_old; }

 private:
  const bool m_old;
};

TEST(Trace, ReturnsTheBoundOfTheText) {
  const ScopedTrace trace(true);
  int results[3];
  std::string output;
  {
    const CapturedOutput captured;
    results[0] = bix::zq_trace("%d files", 3);
    results[1] = bix::zq_trace("%s", "abc");
    results[2] = bix::zq_trace("100%%");
    output = captured.Output();
  }
  EXPECT_EQ(38, results[0]);
  EXPECT_EQ(3, results[1]);
  EXPECT_EQ(4, results[2]);
  EXPECT_EQ("3 files\nabc\n100%\n", output);
}

TEST(Trace, OfATextThatCannotBeFormattedIsAnEmptyLine) {
  const ScopedTrace trace(true);
  int result = 0;
  int error = 0;
  std::string output;
  {
    const CapturedOutput captured;
    errno = 0;
    result = bix::zq_trace("%10.3s", "abcdef");
    error = errno;
    output = captured.Output();
  }
  EXPECT_EQ(3, result);
  EXPECT_EQ(EINVAL, error);
  EXPECT_EQ("\n", output);
}

TEST(TraceCompat, FormatsAlsoWhileSilent) {
  const ScopedTrace trace(false);
  std::string output = "?";
  int result = 0;
  int written = 0;
  {
    const CapturedOutput captured;
    result = bix::zq_trace("%s%n", "abc", &written);
    output = captured.Output();
  }
  EXPECT_EQ(3, result);
  EXPECT_EQ(3, written);
  EXPECT_EQ("", output);
}

TEST(ErrorText, IsTheSystems) {
  EXPECT_STREQ("No such file or directory", bix::bix_strerror(ENOENT));
  EXPECT_STREQ("Invalid argument", bix::bix_strerror(EINVAL));
  EXPECT_STREQ("Unknown error 99999", bix::bix_strerror(99999));
}

TEST(ErrorText, IsMadeWhereTheSystemHasNone) {
  for (const SystemText text : {SystemText::kNull, SystemText::kEmpty}) {
    s_systemText = text;
    const char* const made = bix::bix_strerror(99999);
    const std::string first = made;
    const std::string second = bix::bix_strerror(-7);
    s_systemText = SystemText::kItsOwn;
    EXPECT_EQ("Error 99999", first);
    EXPECT_EQ("Error -7", second);
    EXPECT_EQ(bix::MsgBuf, made);
    EXPECT_STREQ("Error -7", bix::MsgBuf);
  }
  static_assert(sizeof bix::MsgBuf == 1024);
}

TEST(PlainFormat, FormatsAsTheSystemDoes) {
  char buffer[64] = "before";
  EXPECT_EQ(9, zq_sprintf_s(buffer, sizeof buffer, "%s=%05d", "abc", 42));
  EXPECT_STREQ("abc=00042", buffer);
  EXPECT_EQ(0, zq_sprintf_s(buffer, sizeof buffer, "%s", ""));
  EXPECT_STREQ("", buffer);
  EXPECT_EQ(4, zq_snprintf_s(buffer, sizeof buffer, 63, "%.2f", 1.5));
  EXPECT_STREQ("1.50", buffer);
  int written = 0;
  char format[] = "abc%n";  // one that can be written to
  EXPECT_EQ(3, zq_sprintf_s(buffer, sizeof buffer, format, &written));
  EXPECT_EQ(3, written);
}

TEST(PlainFormatCompat, SizesAreNotLookedAt) {
  char buffer[64] = "before";
  EXPECT_EQ(6, zq_sprintf_s(buffer, 4, "%s", "abcdef"));
  EXPECT_STREQ("abcdef", buffer);
  EXPECT_EQ(6, zq_sprintf_s(buffer, 0, "%s", "ghijkl"));
  EXPECT_STREQ("ghijkl", buffer);
  EXPECT_EQ(6, zq_snprintf_s(buffer, 4, 2, "%s", "mnopqr"));
  EXPECT_STREQ("mnopqr", buffer);
  EXPECT_EQ(6, zq_snprintf_s(buffer, 0, 0, "%s", "stuvwx"));
  EXPECT_STREQ("stuvwx", buffer);
}

TEST(PlainGetenv, CopiesTheValue) {
  const ScopedVariable variable("BIX_TEST_VALUE", "abcdef");
  std::size_t required = 0;
  char buffer[10];
  std::memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(0, zq_getenv_s(&required, buffer, 9, "BIX_TEST_VALUE"));
  EXPECT_EQ(7u, required);
  EXPECT_EQ(0, std::memcmp(buffer, "abcdef\0\0\0#", 10)) << "zero bytes fill the buffer";
  std::memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(0, zq_getenv_s(&required, buffer, 7, "BIX_TEST_VALUE"));
  EXPECT_EQ(0, std::memcmp(buffer, "abcdef\0###", 10)) << "a buffer that just fits";
}

TEST(PlainGetenv, CutsWhatDoesNotFit) {
  const ScopedVariable variable("BIX_TEST_VALUE", "abcdef");
  const struct {
    std::size_t size;
    const char* want;
  } cases[] = {{6, "abcde"}, {4, "abc"}, {2, "a"}, {1, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    const std::unique_ptr<char[]> buffer(new char[c.size]);
    std::size_t required = 0;
    EXPECT_EQ(22, zq_getenv_s(&required, buffer.get(), c.size, "BIX_TEST_VALUE"));
    EXPECT_EQ(7u, required);
    EXPECT_STREQ(c.want, buffer.get());
  }
}

TEST(PlainGetenv, OfAnUnsetVariableNeedsNothing) {
  const ScopedVariable variable("BIX_TEST_VALUE", nullptr);
  std::size_t required = 99;
  char buffer[4] = {'#', '#', '#', '#'};
  EXPECT_EQ(0, zq_getenv_s(&required, buffer, sizeof buffer, "BIX_TEST_VALUE"));
  EXPECT_EQ(0u, required);
  EXPECT_EQ(0, std::memcmp(buffer, "####", 4)) << "the buffer stays as it was";
  required = 99;
  EXPECT_EQ(0, zq_getenv_s(&required, nullptr, 0, "BIX_TEST_VALUE"));
  EXPECT_EQ(0u, required);
  required = 99;
  EXPECT_EQ(0, zq_getenv_s(&required, buffer, sizeof buffer, ""));
  EXPECT_EQ(0u, required);
}

TEST(PlainGetenv, OfAnEmptyVariableNeedsTheTerminator) {
  const ScopedVariable variable("BIX_TEST_VALUE", "");
  std::size_t required = 99;
  char buffer[2] = {'#', '#'};
  EXPECT_EQ(0, zq_getenv_s(&required, buffer, 1, "BIX_TEST_VALUE"));
  EXPECT_EQ(1u, required);
  EXPECT_EQ(0, buffer[0]);
  EXPECT_EQ('#', buffer[1]);
}

TEST(PlainGetenv, RefusesNullWhereItNeedsSomething) {
  const ScopedVariable variable("BIX_TEST_VALUE", "abc");
  std::size_t required = 99;
  char buffer[4] = {'#', '#', '#', '#'};
  EXPECT_EQ(22, zq_getenv_s(nullptr, buffer, sizeof buffer, "BIX_TEST_VALUE"));
  EXPECT_EQ(22, zq_getenv_s(&required, buffer, sizeof buffer, nullptr));
  EXPECT_EQ(22, zq_getenv_s(&required, nullptr, 1, "BIX_TEST_VALUE"));
  EXPECT_EQ(99u, required);
  EXPECT_EQ(0, std::memcmp(buffer, "####", 4));
}

TEST(PlainGetenvCompat, WithoutABufferTheSizeIsTheResult) {
  const ScopedVariable variable("BIX_TEST_VALUE", "abcdef");
  std::size_t required = 0;
  EXPECT_EQ(0, zq_getenv_s(&required, nullptr, 0, "BIX_TEST_VALUE"));
  EXPECT_EQ(7u, required);
}

TEST(PlainGetenv, ABufferOfNoBytesIsTooSmallAndStaysUntouched) {
  const ScopedVariable variable("BIX_TEST_VALUE", "abcdef");
  std::size_t required = 0;
  char bytes[3] = {'#', '#', '#'};
  EXPECT_EQ(22, zq_getenv_s(&required, bytes + 1, 0, "BIX_TEST_VALUE"));
  EXPECT_EQ(7u, required);
  EXPECT_EQ(0, std::memcmp(bytes, "###", 3));
}

}  // namespace
