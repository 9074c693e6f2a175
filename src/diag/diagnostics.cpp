// %n is part of the printf routines; with fortification the process ends at one in a format that
// can be written to. And the unbounded routines are not to be bounded.
#undef _FORTIFY_SOURCE

#include "bix/diagnostics.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bix/messages.h"
#include "bix/text.h"

// Static storage
char bix::MsgBuf[1024];

namespace bix {
namespace {

/// What the first call found out about "QRD_ASSERT".
enum class AssertSetting { kUnread, kSilent, kReported };

// Static storage
AssertSetting s_assertSetting = AssertSetting::kUnread;

/// Null counts as the empty text.
const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

void bix_assert(const char* expression, const char* file, int line) {
  // COMPAT(assert-read-once): looked up at the first failed assertion and never again; a change of
  // the variable after that has no effect. Test: AssertCompat.SettingIsReadAtTheFirstCallOnly
  if (s_assertSetting == AssertSetting::kUnread) {
    s_assertSetting =
        std::getenv("QRD_ASSERT") != nullptr ? AssertSetting::kReported : AssertSetting::kSilent;
  }
  if (s_assertSetting == AssertSetting::kSilent) return;
  // COMPAT(assert-no-prefix): without "Internal error: ": an assertion may be the host's own.
  // Test: AssertCompat.ReportHasNoPrefix
  bixerr << "Assertion failed: " << expression << ", file " << file << ", line "
         << static_cast<long>(line) << endl
         << flush;
}

int zq_trace(const char* format, ...) {
  // COMPAT(trace-formats-always): also while nothing is printed, for hosts that take the result.
  // Test: TraceCompat.FormatsAlsoWhileSilent
  va_list arguments;
  va_start(arguments, format);
  SString text;
  const int bound = text.FormatV(format, arguments);
  va_end(arguments);
  if (qrd_trace) std::puts(text.c_str());
  return bound;
}

const char* bix_strerror(int errnum) {
  const char* const text = std::strerror(errnum);
  // CHOICE(strerror-empty): an empty text says as little as none.
  // Test: ErrorText.IsMadeWhereTheSystemHasNone
  if (text != nullptr && *text != 0) return text;
  std::snprintf(MsgBuf, sizeof MsgBuf, "Error %d", errnum);
  return MsgBuf;
}

}  // namespace bix

void zq_assert(const char* expression, const char* file, int line) {
  // COMPAT(assert-plain-looks-each-time): unlike those of bix_assert, these switches can be thrown
  // in a running process. The report comes before the end.
  // Test: PlainAssertCompat.SettingsAreReadAtEachCall
  if (std::getenv("QRD_LOG_ASSERT") != nullptr) {
    std::fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", bix::OrEmpty(expression),
                 bix::OrEmpty(file), line);
  }
  if (std::getenv("QRD_ABORT_ASSERT") != nullptr) std::abort();
}

#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

// COMPAT(sprintf-unbounded): size and count are there for the interface only. Hosts pass sizes that
// are not those of their buffers. Test: PlainFormatCompat.SizesAreNotLookedAt
int zq_sprintf_s(char* buffer, std::size_t /*size*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsprintf(buffer, format, arguments);
  va_end(arguments);
  return length;
}

int zq_snprintf_s(char* buffer, std::size_t /*size*/, std::size_t /*count*/, const char* format,
                  ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsprintf(buffer, format, arguments);
  va_end(arguments);
  return length;
}

int zq_getenv_s(std::size_t* required, char* buffer, std::size_t size, const char* name) {
  // What the hosts compare with, whatever the system's number is called.
  constexpr int kInvalidArgument = 22;
  if (required == nullptr || name == nullptr || (buffer == nullptr && size != 0))
    return kInvalidArgument;
  const char* const value = std::getenv(name);
  if (value == nullptr) {
    *required = 0;
    return 0;
  }
  *required = std::strlen(value) + 1;
  // COMPAT(getenv-asks-for-size): without a buffer the size is only asked for.
  // Test: PlainGetenvCompat.WithoutABufferTheSizeIsTheResult
  if (buffer == nullptr) return 0;
  std::strncpy(buffer, value, size);
  if (*required <= size) return 0;
  // CHOICE(getenv-no-room): a buffer of no bytes has no last one.
  // Test: PlainGetenv.ABufferOfNoBytesIsTooSmallAndStaysUntouched
  if (size != 0) buffer[size - 1] = 0;
  return kInvalidArgument;
}
