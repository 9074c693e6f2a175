#include "bix/messages.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <string>
#include <utility>

#include <cxxabi.h>
#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <unistd.h>

#include "diag/report.h"
#include "support/above_standard.h"
#include "support/uncancelled.h"

namespace bix {
namespace {

// Static storage
// Whether `bixerr` was quiet when it ended.
bool s_errorWasQuiet = false;

/// A number in plain decimal. No stream and no locale has a say in it.
class Decimal {
 public:
  explicit Decimal(long number)
      : m_end(std::to_chars(m_digits, m_digits + sizeof m_digits, number).ptr) {}
  std::string_view View() const { return {m_digits, static_cast<std::size_t>(m_end - m_digits)}; }

 private:
  char m_digits[24];
  char* m_end;
};

/// Sets a mark for the length of a scope, also of one that is left because a handler throws.
class ScopedMark {
 public:
  explicit ScopedMark(bool& mark) : m_mark(mark) { m_mark = true; }
  ScopedMark(const ScopedMark&) = delete;
  ScopedMark& operator=(const ScopedMark&) = delete;
  ~ScopedMark() { m_mark = false; }

 private:
  bool& m_mark;
};

bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

/// The first "%" at or behind `from` that a digit follows, or npos.
std::size_t FindPlaceholder(const std::string& text, std::size_t from) {
  std::size_t at = text.find('%', from);
  while (at != std::string::npos && (at + 1 == text.size() || !IsDigit(text[at + 1])))
    at = text.find('%', at + 1);
  return at;
}

// CHOICE(console-state): messages go to the buffer beneath the standard stream: the host's own state
// of that stream (an earlier failure, exceptions that it asked for, a width) neither stops a message
// nor is changed by it, and what the host has redirected or still holds in the stream stays in
// order. Test: MessageChannel.IsNotStoppedByAFailedStandardStream
//
// No sanitizer looks for an object behind the reference to __forced_unwind: there is none.
__attribute__((noinline, no_sanitize("null"))) void WriteToConsole(CMsgOut::MessageKind kind,
                                                                   std::string_view text) {
  std::ostream& stream = kind == CMsgOut::Normal ? std::cout : std::cerr;
  try {
    if (stream.tie() != nullptr && stream.tie()->rdbuf() != nullptr)
      stream.tie()->rdbuf()->pubsync();
    if (stream.rdbuf() == nullptr) return;
    stream.rdbuf()->sputn(text.data(), static_cast<std::streamsize>(text.size()));
    stream.rdbuf()->pubsync();
  } catch (abi::__forced_unwind&) {
    throw;  // the thread is being cancelled; the system ends a process that holds that up
  } catch (...) {
    // There is no further place to report to.
  }
}

/// Takes the next word off the front of the setting. Only blanks separate words. False at the end.
bool TakeWord(std::string_view& rest, std::string_view& word) {
  const std::size_t begin = rest.find_first_not_of(' ');
  if (begin == std::string_view::npos) return false;
  const std::size_t end = std::min(rest.find(' ', begin), rest.size());
  word = rest.substr(begin, end - begin);
  rest.remove_prefix(end);
  return true;
}

}  // namespace

SFmt::SFmt(const char* format) : m_text(format) {}

SFmt& SFmt::operator<<(const SString& value) {
  Substitute(value);
  return *this;
}

SFmt& SFmt::operator<<(long number) {
  Substitute(Decimal(number).View());
  return *this;
}

SFmt& SFmt::operator<<(const char* text) {
  if (text == nullptr) {
    impl::ReportInternalError(bixerr, "SFmt: NULL TCHAR* parameter ", m_text);
    return *this;
  }
  Substitute(text);
  return *this;
}

const SString& SFmt::str() {
  // COMPAT(format-missing-each): one report for every "%" before a digit, "%0" included; the scan
  // does not stop at the first. Test: FormatCompat.EveryUnfilledPlaceholderIsReported
  for (std::size_t at = FindPlaceholder(m_text, m_plain); at != SString::npos;
       at = FindPlaceholder(m_text, at + 1))
    impl::ReportInternalError(bixerr, "SFmt: actual parameter missing ", m_text);
  return m_text;
}

// The search begins where the first placeholder of any number can be, so that filling a text costs
// the same for each of its bytes.
void SFmt::Substitute(std::string_view value) {
  ++m_count;
  const Decimal number(m_count);
  const std::string_view digits = number.View();
  const std::size_t first = FindPlaceholder(m_text, m_plain);
  std::size_t at = first;
  // COMPAT(format-first-match): plain search from the start, without a delimiter behind the digits
  // and without regard to what was filled in before: "%1" is found in "%10" and in earlier values.
  // Only the first match is replaced. Tests: FormatCompat.PlaceholdersAreFoundAsPlainText,
  // FormatCompat.OnlyTheFirstOccurrenceIsFilled
  while (at != SString::npos && m_text.compare(at + 1, digits.size(), digits) != 0)
    at = FindPlaceholder(m_text, at + 1);
  if (at == SString::npos) {
    m_plain = std::min(first, m_text.size());
    impl::ReportInternalError(bixerr, "SFmt: parameter %", static_cast<long>(m_count),
                              " not found in ", m_text);
    // Put together aside: the value may lie in the text itself.
    std::string longer;
    longer.reserve(m_text.size() + 1 + value.size());
    longer.append(m_text).append(1, ' ').append(value);
    m_text = std::move(longer);
    return;
  }
  // A "%" just before may become a placeholder together with the value.
  m_plain = at == first && at != 0 ? at - 1 : first;
  m_text.replace(at, 1 + digits.size(), value);
}

CMsgOut::CMsgOut(MessageKind kind) : m_kind(kind) {
  m_buffer.imbue(std::locale::classic());
  if (kind != Error) return;
  if (const char* setting = std::getenv("BIX_ERR_OUT")) ReadSetting(setting);
}

CMsgOut::CMsgOut(MessageKind kind, bool quiet) : m_kind(kind), m_quiet(quiet) {
  m_buffer.imbue(std::locale::classic());
}

CMsgOut::~CMsgOut() {
  // To be cancelled within a destructor would end the process.
  const impl::Uncancelled uncancelled;
  try {
    if (m_buffer.tellp() > 0) Deliver();
  } catch (...) {
    // A handler of the host threw; a destructor has nobody to pass that on to.
  }
  if (m_log.is_open()) m_log.close();
  if (this == &bixerr) s_errorWasQuiet = m_quiet;
}

void CMsgOut::Revive(CMsgOut& channel) {
  const bool isError = &channel == &bixerr;
  new (&channel) CMsgOut(isError ? Error : Normal, isError && s_errorWasQuiet);
}

CMsgOut& CMsgOut::operator<<(const char* text) {
  if (text == nullptr)
    return *this << endl << IntErr << "CMsgOut: NULL TCHAR* argument" << endl << bix::flush;
  m_buffer.write(text, static_cast<std::streamsize>(std::strlen(text)));
  return *this;
}

CMsgOut& CMsgOut::operator<<(long number) {
  const Decimal decimal(number);
  m_buffer.write(decimal.View().data(), static_cast<std::streamsize>(decimal.View().size()));
  return *this;
}

CMsgOut& CMsgOut::operator<<(const SString& text) {
  m_buffer.write(text.data(), static_cast<std::streamsize>(text.size()));
  return *this;
}

// COMPAT(format-report-in-message): what the format reports about itself on `bixerr` is glued to,
// and delivered with, what that channel already holds; only then the text is appended. Test:
// MessageChannelCompat.ReportOfAFormatGoesOutWithThePartialMessage
CMsgOut& CMsgOut::operator<<(SFmt& format) { return *this << format.str(); }

CMsgOut& CMsgOut::operator<<(CMsgOut& (*manipulator)(CMsgOut&)) { return manipulator(*this); }

void CMsgOut::SetOutput(qv::IMessageOutputHandler* handler) { m_handler = handler; }

qv::IMessageOutputHandler* CMsgOut::GetOutput() const { return m_handler; }

void CMsgOut::PushOutput(qv::IMessageOutputHandler* handler) {
  m_handlers.push_back(m_handler);
  m_handler = handler;
}

void CMsgOut::PopOutput() {
  if (m_handlers.empty()) return;
  SetOutput(m_handlers.back());
  m_handlers.pop_back();
}

// Everything printed here goes to the channel being set up, with the options read so far in force.
void CMsgOut::ReadSetting(const char* setting) {
  m_assertDialog = false;
  std::string_view rest = setting;
  std::string_view word;
  while (TakeWord(rest, word)) {
    if (word == "-a") {
      m_assertDialog = true;
    } else if (word == "-h") {
      PrintUsage();
    } else if (word == "-q") {
      m_quiet = true;
    } else if (word == "-o") {
      // COMPAT(setting-log-word): whatever word comes next is the file, "-q" as well.
      // Test: ErrorSettingCompat.TheWordAfterTheLogOptionIsTheFile
      if (!TakeWord(rest, word)) {
        impl::ReportInternalError(*this, "CErrOut: file required");
        return;
      }
      m_logName.assign(word).append(1, '.').append(Decimal(::getpid()).View());
    } else {
      // COMPAT(setting-unknown-ends): an unknown option ends the reading, is not named, and leaves
      // what was read before in force. Test: ErrorSettingCompat.AnUnknownOptionEndsTheReading
      impl::ReportInternalError(*this, "CErrOut: unknown option");
      return;
    }
  }
}

void CMsgOut::PrintUsage() {
  static constexpr const char* kLines[] = {
      "CErrOut: usage BIX_ERR_OUT=[-a] [-h] [-q] [-o file]",
      "CErrOut: -a assert dialog (only Windows debug)",
      "CErrOut: -h print this message",
      "CErrOut: -q turn off normal output",
      // COMPAT(setting-usage-blank): the last line ends in a blank.
      // Test: ErrorSettingCompat.TheLastUsageLineEndsInABlank
      "CErrOut: -o <file> write output to file.pid ",
  };
  for (const char* line : kLines) impl::ReportInternalError(*this, line);
}

void CMsgOut::Deliver() {
  // CHOICE(message-taken-once): handler, console and log file get the same text whatever a handler
  // does to the channel meanwhile. What it writes there is lost with the message.
  // Test: MessageChannel.AHandlerThatWritesToTheSameChannelDoesNotChangeTheMessage
  std::string copy;
  bool hasCopy = true;
  try {
    copy = m_buffer.str();
  } catch (const std::bad_alloc&) {
    hasCopy = false;
  }
  // CHOICE(message-as-it-lies): a handler takes a text of its own. Where there is no memory for one
  // the message goes from the buffer to the console and the log, past the handler; it is neither
  // lost nor thrown at whoever reports. Test: MessagesWithoutMemory.GoPastTheHandlerToTheConsole
  const std::string_view text = hasCopy ? copy : m_buffer.view();
  // COMPAT(quiet-output-done): a quiet channel passes its handler no message, but tells it of the
  // end of each flush all the same. Test: ErrorSettingCompat.QuietStillTellsTheHandlerOfTheEnd
  if (!m_quiet) {
    const bool consumed = hasCopy && m_handler != nullptr && m_handler->HandleOutput(copy);
    if (!consumed) WriteToConsole(m_kind, text);
  }
  OpenLog();
  if (m_log.is_open()) {
    // CHOICE(log-after-failure): a message that could not be written, on a full disk, say, does not
    // end the log: the next one gets its own chance.
    // Test: ErrorSetting.AMessageThatTheLogCouldNotTakeDoesNotEndTheLog
    m_log.clear();
    m_log.write(text.data(), static_cast<std::streamsize>(text.size()));
    m_log.flush();
  }
  // COMPAT(assert-before-clear): the report comes while the buffer still holds the message, which
  // is therefore shown once more in front of it. Test:
  // ErrorSettingCompat.AssertReportRepeatsTheMessage
  ReportAssertDialog();
  m_buffer.str(std::string());
  // CHOICE(message-without-memory): a message that there was no memory for is cut off; the next one
  // is whole again. Test: MessagesWithoutMemory.ThatAreCutOffLeaveTheNextOneWhole
  m_buffer.clear();
  // CHOICE(output-done-to-current): a handler may have pushed or popped one: whoever is installed
  // now is told. Test: MessageChannel.AHandlerThatPushesAnotherHandsTheEndOfTheFlushToIt
  if (m_handler != nullptr) m_handler->OutputDone();
}

// Opens the log file the first time it is needed. The descriptor is close-on-exec, so that children
// of the host do not inherit it; a stream cannot open a file that way by itself.
void CMsgOut::OpenLog() {
  if (m_log.is_open() || m_logName.empty()) return;
  const int fd = impl::AboveStandard(
      ::open(m_logName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (fd >= 0) {
    try {
      __gnu_cxx::stdio_filebuf<char> opened(fd, std::ios_base::out);
      if (opened.is_open())
        *m_log.rdbuf() = std::move(static_cast<std::filebuf&>(opened));  // which closes it
      else
        ::close(fd);
    } catch (const std::bad_alloc&) {
      // It has been closed; without a buffer there is no log.
    }
  }
  if (m_log.is_open()) return;
  // COMPAT(log-failure-nested): reported by a flush within the flush, so that a handler sees
  // OutputDone twice; the message itself has been shown already. Test:
  // ErrorSettingCompat.AFailedLogFileIsReportedWithinTheFlush
  const UTF8String name = std::move(m_logName);
  m_logName.clear();
  m_buffer.str(std::string());
  impl::ReportInternalError(*this, "CErrOut: open failed: ", name.c_str());
}

// CHOICE(assert-dialog-once): every flush of `bixerr` would report, and so flush, without end. The
// report of a report is left out: one for each message of the host.
// Test: ErrorSettingCompat.AssertReportDoesNotNest
void CMsgOut::ReportAssertDialog() {
  if (!m_assertDialog || m_reportsAssertDialog) return;
  const ScopedMark mark(m_reportsAssertDialog);
  impl::ReportInternalError(bixerr, "assert dialog not available");
}

CMsgOut& endl(CMsgOut& channel) {
  channel.m_buffer.put('\n');
  channel.m_buffer.flush();
  return channel;
}

CMsgOut& flush(CMsgOut& channel) {
  channel.Deliver();
  return channel;
}

CMsgOut& IntErr(CMsgOut& channel) { return channel << "Internal error: "; }

}  // namespace bix
