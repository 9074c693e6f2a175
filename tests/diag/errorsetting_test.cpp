// The setting "BIX_ERR_OUT", on channels of the test's own. What it does to the process's own
// channel is settled when the library is loaded: see the tests of fresh processes.

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bix/messages.h"
#include "support/recording_handler.h"
#include "support/scoped_environment.h"
#include "support/temp_directory.h"

namespace {

using bix::CMsgOut;
using bix_test::ReadWholeFile;
using bix_test::RecordingHandler;
using bix_test::ScopedRecorder;
using bix_test::ScopedVariable;
using bix_test::TempDirectory;
using Strings = std::vector<std::string>;

const char kUsage[] =
    "Internal error: CErrOut: usage BIX_ERR_OUT=[-a] [-h] [-q] [-o file]\n"
    "Internal error: CErrOut: -a assert dialog (only Windows debug)\n"
    "Internal error: CErrOut: -h print this message\n"
    "Internal error: CErrOut: -q turn off normal output\n"
    "Internal error: CErrOut: -o <file> write output to file.pid \n";
const char kUnknown[] = "Internal error: CErrOut: unknown option\n";
const char kFileRequired[] = "Internal error: CErrOut: file required\n";

std::string WithProcessId(const std::string& name) { return name + "." + std::to_string(getpid()); }

/// What an error channel prints while it is made and for the message "m".
struct Shown {
  std::string onMaking;
  std::string onMessage;
};
Shown ShownWith(const char* setting) {
  const ScopedVariable variable("BIX_ERR_OUT", setting);
  Shown shown;
  testing::internal::CaptureStderr();
  CMsgOut channel(CMsgOut::Error);
  shown.onMaking = testing::internal::GetCapturedStderr();
  testing::internal::CaptureStderr();
  channel << "m" << bix::flush;
  shown.onMessage = testing::internal::GetCapturedStderr();
  return shown;
}

TEST(ErrorSetting, OptionsAreReadInOrder) {
  const std::string usage = kUsage;
  const struct {
    const char* setting;
    std::string onMaking;
    const char* onMessage;
  } cases[] = {
      {nullptr, "", "m"},
      {"", "", "m"},
      {"   ", "", "m"},
      {"-q", "", ""},
      {"  -q  ", "", ""},
      {"-h", usage, "m"},
      {"-h -h", usage + usage, "m"},
      {"-h   -q", usage, ""},
      {"-q -h", "", ""},
      {"-x", kUnknown, "m"},
      {"-x -q", kUnknown, "m"},
      {"-q -x", "", ""},
      {"-h -x -h", usage + kUnknown, "m"},
      {"-", kUnknown, "m"},
      {"-qa", kUnknown, "m"},
      {"-o/tmp/e", kUnknown, "m"},
      {"q", kUnknown, "m"},
      {"-Q", kUnknown, "m"},
      {"--", kUnknown, "m"},
      {"\t-q", kUnknown, "m"},
      {"-q\t-h", kUnknown, "m"},
      {"-o", kFileRequired, "m"},
      {"-o  ", kFileRequired, "m"},
      {"-h -o", usage + kFileRequired, "m"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.setting != nullptr ? c.setting : "unset");
    const Shown shown = ShownWith(c.setting);
    EXPECT_EQ(c.onMaking, shown.onMaking);
    EXPECT_EQ(c.onMessage, shown.onMessage);
  }
}

TEST(ErrorSetting, WhatTheReadingPrintsGoesToTheChannelItself) {
  ScopedRecorder processErrors;
  EXPECT_EQ(kUsage, ShownWith("-h").onMaking);
  EXPECT_EQ(kUnknown, ShownWith("-x").onMaking);
  EXPECT_EQ(kFileRequired, ShownWith("-o").onMaking);
  EXPECT_TRUE(processErrors.messages.empty());
}

TEST(ErrorSetting, IsReadByErrorChannelsOnly) {
  const ScopedVariable variable("BIX_ERR_OUT", "-q -h -x");
  testing::internal::CaptureStdout();
  CMsgOut channel(CMsgOut::Normal);
  channel << "m" << bix::flush;
  EXPECT_EQ("m", testing::internal::GetCapturedStdout());
}

TEST(ErrorSetting, IsReadOnceWhenTheChannelIsMade) {
  const ScopedVariable variable("BIX_ERR_OUT", nullptr);
  CMsgOut channel(CMsgOut::Error);
  const ScopedVariable later("BIX_ERR_OUT", "-q");
  testing::internal::CaptureStderr();
  channel << "m" << bix::flush;
  EXPECT_EQ("m", testing::internal::GetCapturedStderr());
}

TEST(ErrorSettingCompat, AnUnknownOptionEndsTheReading) {
  EXPECT_EQ("m", ShownWith("-x -q").onMessage) << "what comes later is not read";
  EXPECT_EQ("", ShownWith("-q -x").onMessage) << "what came before stays";
}

TEST(ErrorSettingCompat, TheLastUsageLineEndsInABlank) {
  const std::string shown = ShownWith("-h").onMaking;
  const std::string last = "CErrOut: -o <file> write output to file.pid \n";
  ASSERT_GE(shown.size(), last.size());
  EXPECT_EQ(last, shown.substr(shown.size() - last.size()));
}

TEST(ErrorSettingCompat, TheWordAfterTheLogOptionIsTheFile) {
  const TempDirectory directory;
  const std::string before = std::string("-o ") + (directory / "first") + " -o ";
  const ScopedVariable variable("BIX_ERR_OUT", (before + (directory / "-q")).c_str());
  testing::internal::CaptureStderr();
  {
    CMsgOut channel(CMsgOut::Error);
    channel << "m" << bix::flush;
  }
  EXPECT_EQ("m", testing::internal::GetCapturedStderr()) << "not quiet";
  EXPECT_EQ("m", ReadWholeFile(WithProcessId(directory / "-q")));
  EXPECT_FALSE(bix_test::Exists(WithProcessId(directory / "first"))) << "the later file counts";
}

TEST(ErrorSetting, ABareOptionNameAfterTheLogOptionIsTheFileToo) {
  const TempDirectory directory;
  const std::string here = std::filesystem::current_path().string();
  std::filesystem::current_path(directory.Path());
  const Shown shown = ShownWith("-o -q");
  std::filesystem::current_path(here);
  EXPECT_EQ("m", shown.onMessage);
  EXPECT_EQ("m", ReadWholeFile(WithProcessId(directory / "-q")));
}

TEST(ErrorSetting, TheLogIsOpenedAtTheFirstFlushAndTruncated) {
  const TempDirectory directory;
  const std::string log = WithProcessId(directory / "log");
  bix_test::WriteWholeFile(log, "from an earlier process");
  const ScopedVariable variable("BIX_ERR_OUT", ("-q -o " + (directory / "log")).c_str());
  CMsgOut channel(CMsgOut::Error);
  channel << "not yet";
  EXPECT_EQ("from an earlier process", ReadWholeFile(log));
  channel << " now" << bix::endl << bix::flush;
  EXPECT_EQ("not yet now\n", ReadWholeFile(log)) << "in the file after each flush";
  channel << "second" << bix::flush;
  EXPECT_EQ("not yet now\nsecond", ReadWholeFile(log));
}

/// A file may not grow for the length of a scope, as on a full disk.
class ScopedFullDisk {
 public:
  ScopedFullDisk() : m_action(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &m_limit);
    rlimit none = m_limit;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_FSIZE, &none);
  }
  ScopedFullDisk(const ScopedFullDisk&) = delete;
  ScopedFullDisk& operator=(const ScopedFullDisk&) = delete;
  ~ScopedFullDisk() {
    setrlimit(RLIMIT_FSIZE, &m_limit);
    std::signal(SIGXFSZ, m_action);
  }

 private:
  rlimit m_limit = {};
  void (*const m_action)(int);
};

TEST(ErrorSetting, AMessageThatTheLogCouldNotTakeDoesNotEndTheLog) {
  const TempDirectory directory;
  const std::string log = WithProcessId(directory / "log");
  const ScopedVariable variable("BIX_ERR_OUT", ("-o " + (directory / "log")).c_str());
  RecordingHandler handler;
  CMsgOut channel(CMsgOut::Error);
  channel.SetOutput(&handler);
  {
    const ScopedFullDisk full;
    channel << "lost" << bix::flush;
  }
  EXPECT_EQ("", ReadWholeFile(log));
  channel << "taken" << bix::flush;
  channel.SetOutput(nullptr);
  const std::string content = ReadWholeFile(log);
  EXPECT_NE(std::string::npos, content.find("taken")) << content;
  EXPECT_EQ((Strings{"HandleOutput:lost", "OutputDone", "HandleOutput:taken", "OutputDone"}),
            handler.calls);
}

TEST(ErrorSetting, AnEmptyMessageOpensTheLogToo) {
  const TempDirectory directory;
  const ScopedVariable variable("BIX_ERR_OUT", ("-o " + (directory / "log")).c_str());
  CMsgOut channel(CMsgOut::Error);
  EXPECT_FALSE(bix_test::Exists(WithProcessId(directory / "log")));
  channel << bix::flush;
  EXPECT_EQ("", ReadWholeFile(WithProcessId(directory / "log")));
}

TEST(ErrorSetting, TheLogIsNotInheritedByChildren) {
  const TempDirectory directory;
  const std::string log = WithProcessId(directory / "log");
  const ScopedVariable variable("BIX_ERR_OUT", ("-q -o " + (directory / "log")).c_str());
  CMsgOut channel(CMsgOut::Error);
  channel << bix::flush;
  int found = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry.path(), ignored) != log) continue;
    ++found;
    EXPECT_NE(0, fcntl(std::stoi(entry.path().filename().string()), F_GETFD) & FD_CLOEXEC);
  }
  EXPECT_EQ(1, found);
}

TEST(ErrorSettingCompat, QuietStillTellsTheHandlerOfTheEnd) {
  const TempDirectory directory;
  const ScopedVariable variable("BIX_ERR_OUT", ("-q -o " + (directory / "log")).c_str());
  RecordingHandler handler(false);
  testing::internal::CaptureStderr();
  {
    CMsgOut channel(CMsgOut::Error);
    channel.SetOutput(&handler);
    channel << "m" << bix::flush;
    channel.SetOutput(nullptr);
  }
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ((Strings{"OutputDone"}), handler.calls);
  EXPECT_EQ("m", ReadWholeFile(WithProcessId(directory / "log")));
}

TEST(ErrorSetting, AConsumedMessageIsLoggedAllTheSame) {
  const TempDirectory directory;
  const ScopedVariable variable("BIX_ERR_OUT", ("-o " + (directory / "log")).c_str());
  RecordingHandler handler(true);
  CMsgOut channel(CMsgOut::Error);
  channel.SetOutput(&handler);
  channel << "m" << bix::flush;
  channel.SetOutput(nullptr);
  EXPECT_EQ("m", ReadWholeFile(WithProcessId(directory / "log")));
}

TEST(ErrorSetting, UsageGoesToTheLogWhenThatWasNamedBefore) {
  const TempDirectory directory;
  const std::string setting = "-q -o " + (directory / "log") + " -h -x";
  const Shown shown = ShownWith(setting.c_str());
  EXPECT_EQ("", shown.onMaking);
  EXPECT_EQ(std::string(kUsage) + kUnknown + "m", ReadWholeFile(WithProcessId(directory / "log")));
}

TEST(ErrorSettingCompat, AFailedLogFileIsReportedWithinTheFlush) {
  const TempDirectory directory;
  const std::string log = WithProcessId(directory / "missing/log");
  const ScopedVariable variable("BIX_ERR_OUT", ("-o " + (directory / "missing/log")).c_str());
  ScopedRecorder processErrors;
  RecordingHandler handler;
  CMsgOut channel(CMsgOut::Error);
  channel.SetOutput(&handler);
  channel << "first" << bix::flush;
  EXPECT_EQ((Strings{"HandleOutput:first",
                     "HandleOutput:Internal error: CErrOut: open failed: " + log + "\n",
                     "OutputDone", "OutputDone"}),
            handler.calls);
  EXPECT_TRUE(processErrors.messages.empty()) << "reported on the channel itself";

  handler.calls.clear();
  std::filesystem::create_directory(directory / "missing");
  channel << "second" << bix::flush;
  EXPECT_EQ((Strings{"HandleOutput:second", "OutputDone"}), handler.calls) << "no further attempt";
  EXPECT_FALSE(bix_test::Exists(log));
  channel.SetOutput(nullptr);
}

TEST(ErrorSetting, AFailedLogFileUnderQuietIsReportedNowhere) {
  const TempDirectory directory;
  const std::string setting = "-q -o " + (directory / "missing/log");
  const ScopedVariable variable("BIX_ERR_OUT", setting.c_str());
  RecordingHandler handler;
  CMsgOut channel(CMsgOut::Error);
  channel.SetOutput(&handler);
  channel << "m" << bix::flush;
  channel.SetOutput(nullptr);
  EXPECT_EQ((Strings{"OutputDone", "OutputDone"}), handler.calls);
}

// A channel of the test's own reports on the process's error channel, which has not the option.
TEST(ErrorSetting, TheAssertOptionReportsBetweenTheMessageAndItsEnd) {
  const ScopedVariable variable("BIX_ERR_OUT", "-a");
  ScopedRecorder processErrors;
  struct Watching : RecordingHandler {
    explicit Watching(const RecordingHandler& other) : m_other(other) {}
    void OutputDone() override {
      reportsBeforeTheEnd = m_other.messages.size();
      RecordingHandler::OutputDone();
    }
    std::size_t reportsBeforeTheEnd = 99;
    const RecordingHandler& m_other;
  };
  Watching handler(processErrors);
  CMsgOut channel(CMsgOut::Error);
  channel.SetOutput(&handler);
  channel << "m" << bix::flush;
  channel.SetOutput(nullptr);
  EXPECT_EQ((Strings{"Internal error: assert dialog not available\n"}), processErrors.messages);
  EXPECT_EQ((Strings{"HandleOutput:m", "OutputDone"}), handler.calls);
  EXPECT_EQ(1u, handler.reportsBeforeTheEnd);
}

TEST(ErrorSetting, TheLogHasTheModeThatTheMaskLeaves) {
  const TempDirectory directory;
  for (const mode_t mask : {0u, 027u}) {
    SCOPED_TRACE(mask);
    const std::string name = directory / "log" + std::to_string(mask);
    const ScopedVariable variable("BIX_ERR_OUT", ("-q -o " + name).c_str());
    CMsgOut channel(CMsgOut::Error);
    const mode_t before = umask(mask);
    channel << "m" << bix::flush;
    umask(before);
    struct stat status {};
    ASSERT_EQ(0, stat(WithProcessId(name).c_str(), &status));
    EXPECT_EQ(0666u & ~mask, status.st_mode & 07777u);
  }
}

TEST(ErrorSetting, TheAssertOptionReportsAlsoAfterAHandlerHasThrown) {
  const ScopedVariable variable("BIX_ERR_OUT", "-a");
  struct Throwing : RecordingHandler {
    bool HandleOutput(const std::string&) override { throw 1; }
  };
  Throwing handler;
  CMsgOut channel(CMsgOut::Error);
  RecordingHandler console;
  channel.SetOutput(&console);
  bix::bixerr.PushOutput(&handler);
  EXPECT_THROW(channel << "m" << bix::flush, int);
  bix::bixerr.PopOutput();

  ScopedRecorder processErrors;
  bix::bixerr << bix::flush;  // what the handler left
  processErrors.messages.clear();
  channel << "n" << bix::flush;
  channel.SetOutput(nullptr);
  EXPECT_EQ((Strings{"Internal error: assert dialog not available\n"}), processErrors.messages);
}

}  // namespace
