#ifndef BIX_MESSAGES_H_
#define BIX_MESSAGES_H_

/// Message channels, and formats with numbered parameters.
///
///   bix::SFmt format("%1 of %2 files read");
///   format << 3L << 7L;
///   bix::bixout << format << bix::endl << bix::flush;      // 3 of 7 files read
///
///   bix::bixerr << bix::IntErr << "no model" << bix::endl << bix::flush;
///
/// A channel gathers the text of one message; only `flush` delivers it: to the handler that the
/// host has installed, to the console, and to the log file that the user asked for. `endl` alone
/// delivers nothing: text that is not flushed is glued to the front of the next message.
///
/// Errors: nothing here throws or returns a failure; what goes wrong is itself reported on a
/// channel. Encoding: bytes, passed on unchanged. Threads: the channels have no lock. Callers that
/// print from several threads serialise their use.

#include "bix/hostmacros_off.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <fstream>
#include <sstream>
#include <string_view>

#include "bix/export.h"
#include "bix/hosttypes.h"
#include "bix/text.h"
#include "qv/messageoutputhandler.h"

namespace bix {

namespace impl {
class LateChannels;
}

/// A format text whose placeholders "%1", "%2", ... are filled one after the other.
///
///   format         given        text         reports
///   "A %2 B %1"    "x" "y"      "A y B x"
///   "size %1"      5            "size 5"
///   "a %1 b %1"    "x"          "a x b %1"   "actual parameter missing", once, by str()
///   "%10 and %1"   "x"          "x0 and %1"  the same
///   "none"         "x"          "none x"     "parameter %1 not found in none"
///
/// A placeholder is found as plain text: "%" cannot be escaped, "%1" is found at the start of
/// "%10", and also inside a value that was filled in before. A text with ten or more parameters
/// therefore has "%1" in front of "%10".
class BIX_EXPORT SFmt {
 public:
  /// Starts with the given format. Null counts as the empty text.
  SFmt(const char* format);

  /// Starts with text `id` of `module`, see BixLoadString.
  ///
  /// Errors: a text that is missing or empty is reported on `bixerr` as
  /// "Internal error: Bix::SFmt::LoadString(<id>): resource id not found"; the format is then
  /// empty.
  SFmt(HINSTANCE module, unsigned int id);

  /// Fills the next parameter.
  ///
  /// Errors: when the text has no such placeholder, reports "Internal error: SFmt: parameter %<n>
  /// not found in <text>" on `bixerr` and appends a blank and the value, so that it is not lost.
  SFmt& operator<<(const SString& value);

  /// Fills the next parameter with the number in decimal.
  SFmt& operator<<(long number);

  /// Fills the next parameter.
  ///
  /// Errors: null fills nothing and does not count; "Internal error: SFmt: NULL TCHAR* parameter
  /// <text>" is reported on `bixerr`.
  SFmt& operator<<(const char* text);

  /// The text as it stands.
  ///
  /// Owner: owned by the format, valid until its next change.
  /// Errors: for every "%" that a decimal digit follows, reports "Internal error: SFmt: actual
  /// parameter missing <text>" on `bixerr`. The text is not changed.
  const SString& str();

 private:
  void Substitute(std::string_view value);

  // Hosts are compiled against the order of these members; new ones go to the end.
  SString m_text;
  std::int32_t m_count = 0;
  std::size_t m_plain = 0;  // no placeholder begins before this position
};

/// A message channel.
class BIX_EXPORT CMsgOut {
 public:
  /// What a channel is for. Hosts are compiled against the numbers.
  enum MessageKind : std::int32_t { Error = 0, Normal = 1 };

  /// Makes a channel. One of kind `Error` writes to standard error and reads the environment
  /// variable "BIX_ERR_OUT"; one of kind `Normal` writes to standard output and reads nothing.
  ///
  ///   -a         every message is followed by a report that there is no assert dialog
  ///   -h         prints the usage, a line each
  ///   -q         quiet: neither the console nor the handler gets a message
  ///   -o <file>  messages are also written to <file>.<process id>, opened at the first flush
  ///
  /// Options are separated by blanks; they hold for what is printed from then on, the lines that
  /// this very reading prints included.
  ///
  /// Errors: "CErrOut: file required" when the file after "-o" is missing; "CErrOut: unknown
  /// option" for anything else, which ends the reading. Both are printed on the channel itself.
  explicit CMsgOut(MessageKind kind);
  CMsgOut(const CMsgOut&) = delete;
  CMsgOut& operator=(const CMsgOut&) = delete;

  /// Flushes what is still in the buffer and closes the log file. A handler must be alive until
  /// then, or have been taken off: a host pops its handlers from `bixerr` and `bixout` before it
  /// exits.
  ///
  /// Only `bixerr` and `bixout` can be used beyond their end, while the process exits: what is
  /// flushed then goes to the console alone, or nowhere if the channel was quiet.
  virtual ~CMsgOut();

  /// Appends the text.
  ///
  /// Errors: null is reported on this channel, behind what is in the buffer, and delivered at once:
  /// "\nInternal error: CMsgOut: NULL TCHAR* argument\n".
  CMsgOut& operator<<(const char* text);

  /// Appends the number in decimal, whatever the locale says about grouping.
  CMsgOut& operator<<(long number);

  /// Appends all bytes of the text.
  CMsgOut& operator<<(const SString& text);

  /// Appends the text of the format. What `SFmt::str()` reports on `bixerr` comes first.
  CMsgOut& operator<<(SFmt& format);

  /// Applies a manipulator: `endl`, `flush`, `IntErr`.
  CMsgOut& operator<<(CMsgOut& (*manipulator)(CMsgOut&));

  /// Replaces the handler; null takes it off. The stack of handlers stays as it is.
  ///
  /// Owner: the handler is borrowed until it is replaced or the channel ends.
  void SetOutput(qv::IMessageOutputHandler* handler);

  /// The current handler, or null.
  ///
  /// Owner: owned by the host.
  qv::IMessageOutputHandler* GetOutput() const;

  /// Puts the current handler, even a null one, on the stack and makes `handler` the current one.
  /// May be called from within a handler.
  ///
  /// Owner: the handler is borrowed until it is replaced or the channel ends.
  void PushOutput(qv::IMessageOutputHandler* handler);

  /// Makes the handler on top of the stack the current one again. Does nothing when there is none.
  /// May be called from within a handler.
  void PopOutput();

 private:
  friend BIX_EXPORT CMsgOut& flush(CMsgOut& channel);
  friend BIX_EXPORT CMsgOut& endl(CMsgOut& channel);

  friend class impl::LateChannels;
  CMsgOut(MessageKind kind, bool quiet);
  static void Revive(CMsgOut& channel);

  void ReadSetting(const char* setting);
  void PrintUsage();
  void Deliver();
  void OpenLog();
  void ReportAssertDialog();

  // Hosts are compiled against the order of these members; new ones go to the end.
  const MessageKind m_kind;
  std::ostringstream m_buffer;
  qv::IMessageOutputHandler* m_handler = nullptr;
  std::deque<qv::IMessageOutputHandler*> m_handlers;
  bool m_assertDialog = false;
  bool m_quiet = false;
  std::ofstream m_log;
  UTF8String m_logName;
  bool m_reportsAssertDialog = false;  // guards the report of -a against nesting
};

/// Appends a newline. Delivers nothing.
BIX_EXPORT CMsgOut& endl(CMsgOut& channel);

/// Delivers the message, also an empty one, in this order:
///
///   1. unless quiet: the handler's HandleOutput; unless that returned true: the console
///   2. the log file is opened when a name was set and it is not open yet
///   3. the log file, when it is open
///   4. with "-a": the report "assert dialog not available" on `bixerr`
///   5. the buffer becomes empty
///   6. the handler's OutputDone
///
/// Errors: a log file that cannot be opened is reported once, as "Internal error: CErrOut: open
/// failed: <file>" on the channel itself; nothing is written to a log file from then on.
BIX_EXPORT CMsgOut& flush(CMsgOut& channel);

/// Appends "Internal error: ".
BIX_EXPORT CMsgOut& IntErr(CMsgOut& channel);

/// The process's error channel, shown on standard error. Process lifetime; see ~CMsgOut.
extern BIX_EXPORT CMsgOut bixerr;

/// The process's channel for normal output, shown on standard output. Process lifetime; see
/// ~CMsgOut.
extern BIX_EXPORT CMsgOut bixout;

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_MESSAGES_H_
