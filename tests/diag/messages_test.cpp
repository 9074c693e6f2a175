#include "bix/messages.h"

#include <cstdlib>
#include <iostream>
#include <locale>
#include <string>
#include <type_traits>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/cancelled_thread.h"
#include "support/captured_output.h"
#include "support/recording_handler.h"
#include "support/scoped_environment.h"
#include "support/temp_directory.h"

namespace {

using bix::bixerr;
using bix::CMsgOut;
using bix::SFmt;
using bix::SString;
using bix_test::RecordingHandler;
using bix_test::ScopedRecorder;
using bix_test::ScopedVariable;
using Strings = std::vector<std::string>;

// ---- formats ----

TEST(Format, FillsParametersInNumericOrder) {
  const struct {
    const char* format;
    Strings values;
    const char* want;
  } cases[] = {
      {"", {}, ""},
      {"nothing to fill", {}, "nothing to fill"},
      {"%1", {"x"}, "x"},
      {"A %2 B %1", {"x", "y"}, "A y B x"},
      {"%1%2%3", {"a", "b", "c"}, "abc"},
      {"%3 %1 %2", {"a", "b", "c"}, "c a b"},
      {"%1", {""}, ""},
      {"100% of %1", {"it"}, "100% of it"},
      {"%1 %2 %3 %4 %5 %6 %7 %8 %9 %10 %11",
       {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"},
       "a b c d e f g h i j k"},
  };
  ScopedRecorder reports;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    SFmt format(c.format);
    for (const std::string& value : c.values) format << SString(value);
    EXPECT_EQ(c.want, format.str());
  }
  EXPECT_EQ("", reports.Text());
}

TEST(Format, TakesTextsAndNumbers) {
  EXPECT_EQ("size 5", (SFmt("size %1") << 5L).str());
  EXPECT_EQ("size -2147483648", (SFmt("size %1") << -2147483647L - 1).str());
  EXPECT_EQ("0 2147483647", (SFmt("%1 %2") << 0L << 2147483647L).str());
  EXPECT_EQ("file a.txt", (SFmt("file %1") << "a.txt").str());
  EXPECT_EQ("file a.txt", (SFmt("file %1") << SString("a.txt")).str());
  EXPECT_EQ("", SFmt(static_cast<const char*>(nullptr)).str());
}

TEST(Format, TakesLongTextsOfAnyBytes) {
  const std::string longText(100000, 'x');
  EXPECT_EQ("<" + longText + ">", (SFmt("<%1>") << SString(longText)).str());
  const std::string zeros("a\0b", 3);
  EXPECT_EQ("<" + zeros + ">", (SFmt("<%1>") << SString(zeros)).str());
}

TEST(Format, NumbersDoNotDependOnTheGlobalLocale) {
  struct Grouped : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouped));
  const SString text = (SFmt("%1") << 1234567L).str();
  CMsgOut channel(CMsgOut::Normal);
  RecordingHandler handler;
  channel.SetOutput(&handler);
  channel << 7654321L << bix::flush;
  channel.SetOutput(nullptr);
  std::locale::global(before);
  EXPECT_EQ("1234567", text);
  EXPECT_EQ("7654321", handler.Text());
}

TEST(Format, AParameterWithoutPlaceholderIsReportedAndAppended) {
  ScopedRecorder reports;
  SFmt format("none");
  format << "x";
  EXPECT_EQ((Strings{"Internal error: SFmt: parameter %1 not found in none\n"}), reports.messages);
  EXPECT_EQ("none x", format.str());
  format << 12L;
  EXPECT_EQ("Internal error: SFmt: parameter %2 not found in none x\n", reports.messages.back());
  EXPECT_EQ("none x 12", format.str());
  EXPECT_EQ(2u, reports.messages.size());
}

TEST(Format, TheCountAdvancesWhenAPlaceholderIsMissing) {
  ScopedRecorder reports;
  EXPECT_EQ("b x", (SFmt("%2") << "x"
                               << "b")
                       .str());
  EXPECT_EQ((Strings{"Internal error: SFmt: parameter %1 not found in %2\n"}), reports.messages);
}

TEST(Format, AValueMayLieInTheTextItself) {
  const std::string start(40, 'a');  // not stored within the object
  ScopedRecorder reports;
  SFmt missing(start.c_str());
  missing << missing.str();
  EXPECT_EQ(start + " " + start, missing.str());
  SFmt missingPart(start.c_str());
  missingPart << missingPart.str().c_str() + 38;
  EXPECT_EQ(start + " aa", missingPart.str());
  reports.messages.clear();

  SFmt found((start + "%1").c_str());
  found << found.str();
  reports.messages.clear();
  EXPECT_EQ(start + start + "%1", found.str());
  EXPECT_EQ(1u, reports.messages.size());
}

TEST(Format, ANullTextIsReportedAndNotCounted) {
  ScopedRecorder reports;
  SFmt format("a %1");
  format << static_cast<const char*>(nullptr);
  EXPECT_EQ((Strings{"Internal error: SFmt: NULL TCHAR* parameter a %1\n"}), reports.messages);
  format << "x";
  EXPECT_EQ("a x", format.str());
  EXPECT_EQ(1u, reports.messages.size());
}

TEST(FormatCompat, PlaceholdersAreFoundAsPlainText) {
  ScopedRecorder reports;  // the leftovers are reported by str()
  EXPECT_EQ("x0 and %1", (SFmt("%10 and %1") << "x").str());
  EXPECT_EQ((Strings{"Internal error: SFmt: actual parameter missing x0 and %1\n"}),
            reports.messages);
  EXPECT_EQ("b %2", (SFmt("%1 %2") << "%2"
                                   << "b")
                        .str())
      << "found in a value filled in before";
  EXPECT_EQ("%x", (SFmt("%%1") << "x").str());
  EXPECT_EQ("b", (SFmt("%%1") << "2"
                              << "b")
                     .str())
      << "made of a '%' and a value";
  EXPECT_EQ("c %3 b", (SFmt("%1 %3 %2") << "%3"
                                        << "b"
                                        << "c")
                          .str());
  EXPECT_EQ("%% %d %s x", (SFmt("%% %d %s %1") << "x").str());
}

TEST(FormatCompat, OnlyTheFirstOccurrenceIsFilled) {
  ScopedRecorder reports;
  EXPECT_EQ("a x b %1", (SFmt("a %1 b %1") << "x").str());
  EXPECT_EQ((Strings{"Internal error: SFmt: actual parameter missing a x b %1\n"}),
            reports.messages);
}

TEST(FormatCompat, EveryUnfilledPlaceholderIsReported) {
  const struct {
    const char* format;
    std::size_t reports;
  } cases[] = {{"", 0},         {"%", 0},   {"%%", 0},      {"100%", 0}, {"%d", 0},
               {"%1", 1},       {"%0", 1},  {"%%1", 1},     {"%1%2", 2}, {"%12", 1},
               {"%9 %1 %1", 3}, {"% 1", 0}, {"%a %5 %b", 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    ScopedRecorder reports;
    EXPECT_EQ(c.format, SFmt(c.format).str());
    EXPECT_EQ(Strings(c.reports, std::string("Internal error: SFmt: actual parameter missing ") +
                                     c.format + "\n"),
              reports.messages);
  }
}

TEST(Format, IsReportedAgainAtEachLook) {
  ScopedRecorder reports;
  SFmt format("%1");
  format.str();
  format.str();
  EXPECT_EQ(2u, reports.messages.size());
}

TEST(Format, IsAValue) {
  SFmt first("%1 %2");
  first << "a";
  SFmt second(first);
  first << "b";
  second << "c";
  EXPECT_EQ("a b", first.str());
  EXPECT_EQ("a c", second.str());
  second = first;
  EXPECT_EQ("a b", second.str());
  EXPECT_FALSE(std::is_polymorphic_v<SFmt>);
}

// ---- channels ----

TEST(MessageChannel, GathersOneMessageUntilItIsFlushed) {
  RecordingHandler handler;
  CMsgOut channel(CMsgOut::Normal);
  channel.SetOutput(&handler);
  channel << "a" << SString("b") << -3L << bix::endl << "c";
  EXPECT_TRUE(handler.messages.empty()) << "a new line delivers nothing";
  channel << bix::flush;
  EXPECT_EQ((Strings{"ab-3\nc"}), handler.messages);
  channel << bix::IntErr << "d" << bix::flush;
  EXPECT_EQ((Strings{"ab-3\nc", "Internal error: d"}), handler.messages);
}

TEST(MessageChannel, PassesAllBytesOn) {
  RecordingHandler handler;
  CMsgOut channel(CMsgOut::Normal);
  channel.SetOutput(&handler);
  const std::string bytes("\0\xff\r\n\x80", 5);
  channel << SString(bytes) << bix::flush;
  EXPECT_EQ((Strings{bytes}), handler.messages);
}

TEST(MessageChannel, WritesToTheStreamOfItsKind) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  {
    CMsgOut normal(CMsgOut::Normal);
    CMsgOut error(CMsgOut::Error);
    normal << "to out" << bix::endl << bix::flush;
    error << "to err" << bix::endl << bix::flush;
  }
  EXPECT_EQ("to err\n", testing::internal::GetCapturedStderr());
  EXPECT_EQ("to out\n", testing::internal::GetCapturedStdout());
}

TEST(MessageChannel, TheProcessChannelsHaveTheirKinds) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  bix::bixout << "to out" << bix::flush;
  bix::bixerr << "to err" << bix::flush;
  EXPECT_EQ("to err", testing::internal::GetCapturedStderr());
  EXPECT_EQ("to out", testing::internal::GetCapturedStdout());
}

TEST(MessageChannel, FollowsAHostThatRedirectsTheStandardStreams) {
  std::ostringstream window;
  std::streambuf* const before = std::cerr.rdbuf(window.rdbuf());
  CMsgOut(CMsgOut::Error) << "in the window" << bix::flush;
  std::cerr.rdbuf(before);
  EXPECT_EQ("in the window", window.str());
}

TEST(MessageChannel, IsNotStoppedByAFailedStandardStream) {
  testing::internal::CaptureStderr();
  std::cerr.setstate(std::ios_base::badbit);
  CMsgOut(CMsgOut::Error) << "still shown" << bix::flush;
  const bool stillBad = std::cerr.bad();
  std::cerr.clear();
  EXPECT_EQ("still shown", testing::internal::GetCapturedStderr());
  EXPECT_TRUE(stillBad) << "the host's own state of the stream is not touched";
}

TEST(MessageChannel, FlushesWhatIsLeftWhenItEnds) {
  RecordingHandler handler;
  {
    CMsgOut channel(CMsgOut::Normal);
    channel.SetOutput(&handler);
    channel << "left";
  }
  EXPECT_EQ((Strings{"HandleOutput:left", "OutputDone"}), handler.calls);
  {
    CMsgOut channel(CMsgOut::Normal);
    channel.SetOutput(&handler);
    channel << "gone" << bix::flush;
    handler.calls.clear();
  }
  EXPECT_TRUE(handler.calls.empty()) << "nothing was left";
}

TEST(MessageChannel, ANullTextIsReportedBehindWhatIsThere) {
  ScopedRecorder processErrors;
  RecordingHandler handler;
  CMsgOut channel(CMsgOut::Normal);
  channel.SetOutput(&handler);
  CMsgOut& same = channel << "so far" << static_cast<const char*>(nullptr);
  EXPECT_EQ(&channel, &same);
  EXPECT_EQ((Strings{"so far\nInternal error: CMsgOut: NULL TCHAR* argument\n"}), handler.messages);
  EXPECT_TRUE(processErrors.messages.empty()) << "reported on the channel itself";
  channel << bix::flush;
  EXPECT_EQ("", handler.messages.back()) << "the report was delivered";
}

TEST(MessageChannel, AnEmptyMessageIsDeliveredToo) {
  testing::internal::CaptureStdout();
  RecordingHandler handler(false);
  CMsgOut channel(CMsgOut::Normal);
  channel.SetOutput(&handler);
  channel << bix::flush;
  EXPECT_EQ((Strings{"HandleOutput:", "OutputDone"}), handler.calls);
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TEST(MessageChannel, AHandlerDecidesWhetherTheConsoleShowsTheMessage) {
  for (const bool consumes : {true, false}) {
    SCOPED_TRACE(consumes);
    testing::internal::CaptureStdout();
    RecordingHandler handler(consumes);
    CMsgOut channel(CMsgOut::Normal);
    channel.SetOutput(&handler);
    channel << "text" << bix::flush;
    EXPECT_EQ(consumes ? "" : "text", testing::internal::GetCapturedStdout());
    EXPECT_EQ((Strings{"HandleOutput:text", "OutputDone"}), handler.calls);
  }
}

/// A console that remembers what has been shown, and what of it has been flushed.
class WatchedConsole : public std::stringbuf {
 public:
  explicit WatchedConsole(std::ostream& stream) : m_stream(stream), m_before(stream.rdbuf(this)) {}
  ~WatchedConsole() override { m_stream.rdbuf(m_before); }
  std::string flushed;

 protected:
  int sync() override {
    flushed = str();
    return 0;
  }

 private:
  std::ostream& m_stream;
  std::streambuf* const m_before;
};

TEST(MessageChannel, DeliversToHandlerConsoleAndLogInThisOrder) {
  const bix_test::TempDirectory directory;
  const ScopedVariable variable("BIX_ERR_OUT", ("-o " + (directory / "log")).c_str());
  const std::string log = (directory / "log") + "." + std::to_string(getpid());

  struct Watching : RecordingHandler {
    Watching(const WatchedConsole& console, const std::string& log)
        : RecordingHandler(false), m_console(console), m_log(log) {}
    bool HandleOutput(const std::string& text) override {
      seen.push_back("handler: console <" + m_console.str() + "> log " + Log());
      return RecordingHandler::HandleOutput(text);
    }
    void OutputDone() override {
      seen.push_back("done: console <" + m_console.str() + "> log " + Log());
    }
    std::string Log() const {
      return bix_test::Exists(m_log) ? "<" + bix_test::ReadWholeFile(m_log) + ">" : "none";
    }
    Strings seen;
    const WatchedConsole& m_console;
    const std::string m_log;
  };
  WatchedConsole console(std::cerr);
  Watching handler(console, log);
  CMsgOut channel(CMsgOut::Error);
  channel.SetOutput(&handler);
  channel << "one" << bix::flush;
  channel << "two" << bix::flush;
  channel.SetOutput(nullptr);
  EXPECT_EQ((Strings{"handler: console <> log none", "done: console <one> log <one>",
                     "handler: console <one> log <one>", "done: console <onetwo> log <onetwo>"}),
            handler.seen);
}

TEST(MessageChannel, AThreadThatIsCancelledWhileItPrintsEndsAlone) {
  for (const CMsgOut::MessageKind kind : {CMsgOut::Normal, CMsgOut::Error}) {
    SCOPED_TRACE(kind);
    CMsgOut channel(kind);
    bool isCancelled = false;
    std::string shown;
    {
      bix_test::CapturedDescriptor console(kind == CMsgOut::Normal ? 1 : 2);
      isCancelled = bix_test::IsCancelledIn([&channel] {
        bix_test::CancelThisThread();
        channel << "in the thread" << bix::endl << bix::flush;
      });
      channel << "after it" << bix::endl << bix::flush;
      shown = console.Text();
    }
    EXPECT_TRUE(isCancelled);
    EXPECT_NE(std::string::npos, shown.find("after it\n")) << shown;
  }
}

TEST(MessageChannel, EndsWholeInAThreadThatIsToBeCancelled) {
  bool isCancelled = true;
  std::string shown;
  {
    bix_test::CapturedDescriptor console(2);
    isCancelled = bix_test::IsCancelledIn([] {
      CMsgOut channel(CMsgOut::Error);
      channel << "left";
      bix_test::CancelThisThread();
    });
    shown = console.Text();
  }
  EXPECT_FALSE(isCancelled);
  EXPECT_EQ("left", shown);
}

TEST(MessageChannel, TheConsoleIsFlushedWithEachMessage) {
  WatchedConsole errors(std::cerr);
  WatchedConsole output(std::cout);
  CMsgOut error(CMsgOut::Error);
  CMsgOut normal(CMsgOut::Normal);
  error << "e" << bix::endl << bix::flush;
  EXPECT_EQ("e\n", errors.flushed);
  normal << "n" << bix::endl << bix::flush;
  EXPECT_EQ("n\n", output.flushed);
  EXPECT_EQ("e\n", errors.str());
}

TEST(MessageChannel, WhatTheHostHasWrittenBeforeIsShownBefore) {
  WatchedConsole errors(std::cerr);
  WatchedConsole output(std::cout);
  std::cout << "of the host";
  EXPECT_EQ("", output.flushed);
  CMsgOut(CMsgOut::Error) << "e" << bix::flush;
  EXPECT_EQ("of the host", output.flushed) << "standard error is tied to standard output";
}

TEST(MessageChannel, TheBufferIsEmptyBeforeTheEndOfTheFlush) {
  struct Writing : RecordingHandler {
    explicit Writing(CMsgOut& channel) : m_channel(channel) {}
    void OutputDone() override { m_channel << "next "; }
    CMsgOut& m_channel;
  };
  CMsgOut channel(CMsgOut::Normal);
  Writing handler(channel);
  channel.SetOutput(&handler);
  channel << "first" << bix::flush;
  channel << "second" << bix::flush;
  EXPECT_EQ((Strings{"first", "next second"}), handler.messages);
  RecordingHandler last;
  channel.SetOutput(&last);
  channel << bix::flush;
}

TEST(MessageChannel, EveryNumberIsADecimalNumber) {
  RecordingHandler handler;
  CMsgOut channel(CMsgOut::Normal);
  channel.SetOutput(&handler);
  const unsigned number = 7;
  const std::size_t size = 8;
  channel << 'A' << " " << true << " " << number << " " << size << " " << -9 << bix::flush;
  EXPECT_EQ((Strings{"65 1 7 8 -9"}), handler.messages);
}

TEST(MessageChannel, HandlersAreStacked) {
  RecordingHandler first, second, third;
  CMsgOut channel(CMsgOut::Normal);
  EXPECT_EQ(nullptr, channel.GetOutput());
  channel.PopOutput();
  EXPECT_EQ(nullptr, channel.GetOutput());
  channel.SetOutput(&first);
  channel.PopOutput();
  EXPECT_EQ(&first, channel.GetOutput()) << "an empty stack leaves the handler in place";
  channel.PushOutput(&second);
  channel.PushOutput(&third);
  EXPECT_EQ(&third, channel.GetOutput());
  channel.PopOutput();
  EXPECT_EQ(&second, channel.GetOutput());
  channel.PopOutput();
  EXPECT_EQ(&first, channel.GetOutput());
  channel.SetOutput(nullptr);
  channel.PushOutput(&second);
  channel.PopOutput();
  EXPECT_EQ(nullptr, channel.GetOutput()) << "no handler is stacked like a handler";
  channel.PushOutput(nullptr);
  channel.PopOutput();
}

TEST(MessageChannel, SettingAHandlerLeavesTheStackAlone) {
  RecordingHandler first, second, third;
  CMsgOut channel(CMsgOut::Normal);
  channel.SetOutput(&first);
  channel.PushOutput(&second);
  channel.SetOutput(&third);
  EXPECT_EQ(&third, channel.GetOutput());
  channel.PopOutput();
  EXPECT_EQ(&first, channel.GetOutput());
  channel.SetOutput(nullptr);
}

/// Does something to the channel while it delivers.
class ActingHandler : public RecordingHandler {
 public:
  ActingHandler(CMsgOut& channel, void (*action)(CMsgOut&, ActingHandler&))
      : m_channel(channel), m_action(action) {}
  bool HandleOutput(const std::string& text) override {
    RecordingHandler::HandleOutput(text);
    m_action(m_channel, *this);
    return true;
  }
  RecordingHandler* other = nullptr;

 private:
  CMsgOut& m_channel;
  void (*m_action)(CMsgOut&, ActingHandler&);
};

TEST(MessageChannel, AHandlerThatPushesAnotherHandsTheEndOfTheFlushToIt) {
  CMsgOut channel(CMsgOut::Normal);
  RecordingHandler other;
  ActingHandler handler(channel, [](CMsgOut& c, ActingHandler& self) { c.PushOutput(self.other); });
  handler.other = &other;
  channel.SetOutput(&handler);
  channel << "x" << bix::flush;
  EXPECT_EQ((Strings{"HandleOutput:x"}), handler.calls);
  EXPECT_EQ((Strings{"OutputDone"}), other.calls);
  channel.PopOutput();
  EXPECT_EQ(&handler, channel.GetOutput());
}

TEST(MessageChannel, AHandlerThatPopsItselfIsNotCalledAgain) {
  CMsgOut channel(CMsgOut::Normal);
  ActingHandler handler(channel, [](CMsgOut& c, ActingHandler&) { c.PopOutput(); });
  channel.PushOutput(&handler);
  channel << "x" << bix::flush;
  EXPECT_EQ((Strings{"HandleOutput:x"}), handler.calls);
  EXPECT_EQ(nullptr, channel.GetOutput());
}

TEST(MessageChannel, AHandlerMayUseAnotherChannel) {
  ScopedRecorder errors;
  CMsgOut channel(CMsgOut::Normal);
  ActingHandler handler(channel, [](CMsgOut&, ActingHandler&) {
    bixerr << bix::IntErr << "within" << bix::endl << bix::flush;
  });
  channel.SetOutput(&handler);
  channel << "x" << bix::flush;
  EXPECT_EQ((Strings{"Internal error: within\n"}), errors.messages);
  EXPECT_EQ((Strings{"HandleOutput:x", "OutputDone"}), handler.calls);
}

TEST(MessageChannel, AHandlerThatWritesToTheSameChannelDoesNotChangeTheMessage) {
  testing::internal::CaptureStdout();
  struct Writing : RecordingHandler {
    explicit Writing(CMsgOut& channel) : RecordingHandler(false), m_channel(channel) {}
    bool HandleOutput(const std::string& text) override {
      m_channel << "more";
      return RecordingHandler::HandleOutput(text);
    }
    CMsgOut& m_channel;
  };
  CMsgOut channel(CMsgOut::Normal);
  Writing handler(channel);
  channel.SetOutput(&handler);
  channel << "x" << bix::flush;
  channel << "y" << bix::flush;
  channel.SetOutput(nullptr);
  EXPECT_EQ("xy", testing::internal::GetCapturedStdout());
  EXPECT_EQ((Strings{"HandleOutput:x", "OutputDone", "HandleOutput:y", "OutputDone"}),
            handler.calls);
}

TEST(MessageChannelCompat, ReportOfAFormatGoesOutWithThePartialMessage) {
  ScopedRecorder errors;
  SFmt format("%1 left");
  bixerr << "partial " << format << bix::flush;
  EXPECT_EQ(
      (Strings{"partial Internal error: SFmt: actual parameter missing %1 left\n", "%1 left"}),
      errors.messages);
}

TEST(MessageChannel, AppendsAFormat) {
  ScopedRecorder errors;
  RecordingHandler handler;
  CMsgOut channel(CMsgOut::Normal);
  channel.SetOutput(&handler);
  channel << "<" << (SFmt("%2-%1") << "a" << 7L) << ">" << bix::flush;
  SFmt incomplete("%1");
  channel << "<" << incomplete << ">" << bix::flush;
  EXPECT_EQ((Strings{"<7-a>", "<%1>"}), handler.messages);
  EXPECT_EQ((Strings{"Internal error: SFmt: actual parameter missing %1\n"}), errors.messages);
}

TEST(MessageChannel, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<CMsgOut>);
  EXPECT_FALSE(std::is_copy_assignable_v<CMsgOut>);
  EXPECT_TRUE(std::has_virtual_destructor_v<CMsgOut>);
}

TEST(MessageChannel, KindsHaveTheirNumbers) {
  EXPECT_EQ(0, static_cast<int>(CMsgOut::Error));
  EXPECT_EQ(1, static_cast<int>(CMsgOut::Normal));
  EXPECT_EQ(4u, sizeof(CMsgOut::MessageKind));
}

TEST(MessageHandlerCompat, HasExactlyTwoSlots) {
  // Calls through the table of slots itself, as a host's compiled code does.
  RecordingHandler handler;
  using Slot = void*;
  Slot* const slots = *reinterpret_cast<Slot**>(static_cast<qv::IMessageOutputHandler*>(&handler));
  const std::string text = "through the slot";
  auto handleOutput =
      reinterpret_cast<bool (*)(qv::IMessageOutputHandler*, const std::string&)>(slots[0]);
  auto outputDone = reinterpret_cast<void (*)(qv::IMessageOutputHandler*)>(slots[1]);
  EXPECT_TRUE(handleOutput(&handler, text));
  outputDone(&handler);
  EXPECT_EQ((Strings{"HandleOutput:through the slot", "OutputDone"}), handler.calls);
  EXPECT_FALSE(std::has_virtual_destructor_v<qv::IMessageOutputHandler>);
  EXPECT_EQ(sizeof(void*), sizeof(qv::IMessageOutputHandler));
}

}  // namespace
