#ifndef BIX_DIAGNOSTICS_H_
#define BIX_DIAGNOSTICS_H_

/// Assertions and traces, and small routines that work without the message channels.
///
///   BIX_ASSERT(count >= 0);
///   bix::zq_trace("%d files", count);
///   if (zq_wildmat(name, "*.tot")) Load(name);
///
/// Assertions and traces are silent until the user asks for them in the environment, and never stop
/// the program unless he asks for that, too. A variable counts as set whatever its value is:
///
///   "QRD_ASSERT"        bix_assert reports on `bixerr`        looked up at the first call
///   "QRD_TRACE"         zq_trace prints                       when the library is loaded
///   "QRD_LOG_ASSERT"    zq_assert prints on standard error    at each call
///   "QRD_ABORT_ASSERT"  zq_assert ends the process            at each call
///
/// Errors: nothing throws. Encoding: bytes. Threads: re-entrant, unless a function says otherwise.

#include "bix/hostmacros_off.h"

#include <cstddef>

#include "bix/export.h"

/// Calls bix::bix_assert when the condition is false. The condition is always evaluated.
#define BIX_ASSERT(condition) \
  ((condition) ? static_cast<void>(0) : ::bix::bix_assert(#condition, __FILE__, __LINE__))

namespace bix {

/// Reports a failed assertion on `bixerr` when "QRD_ASSERT" is set:
/// "Assertion failed: <expression>, file <file>, line <line>". Whether it is set is looked up at
/// the first call only.
///
/// Owner: both texts are borrowed for the call.
/// Threads: not from two threads at once, since the channel has no lock.
BIX_EXPORT void bix_assert(const char* expression, const char* file, int line);

/// Whether zq_trace prints: whether "QRD_TRACE" was set when the library was loaded. Hosts may
/// change it.
extern BIX_EXPORT bool qrd_trace;

/// Formats as SString::Format does and, while `qrd_trace` is true, prints the text and a newline on
/// standard output. Returns what SString::Format returns: an upper bound of the length.
///
///   "%d files", 3  => 38    prints "3 files"
///
/// Owner: the format and its arguments are borrowed for the call.
/// Errors: a text that cannot be formatted is "", with errno EINVAL; see SString::Format.
BIX_EXPORT int zq_trace(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Where bix_strerror puts a text of its own.
extern BIX_EXPORT char MsgBuf[1024];

/// The system's text for an error number; "Error <number>" when it has none.
///
/// Owner: the system's text is valid until the thread's next call; the other is in `MsgBuf`, valid
///   until the next call of any thread.
/// Threads: one buffer for all.
BIX_EXPORT const char* bix_strerror(int errnum);

}  // namespace bix

/// Reports a failed assertion where the message channels may not exist. With "QRD_LOG_ASSERT" set,
/// prints "Assertion failed: <expression>, file <file>, line <line>" and a newline on standard
/// error; then, with "QRD_ABORT_ASSERT" set, aborts the process. Both are looked up at each call.
///
/// Owner: both texts are borrowed for the call; null is "".
BIX_EXPORT void zq_assert(const char* expression, const char* file, int line);

/// Whether the whole text matches the whole pattern: 1, or 0.
///
///   *        any characters, also none
///   ?        one character
///   [a-cx]   one of these characters; [^...] one that is none of these
///   \c       the character c itself, outside of brackets
///   other    the character itself; case matters
///
/// In brackets "\" and "!" are characters like any other. The first "]" closes, also right behind
/// "[" or "[^": "[]" matches nothing, "[^]" any one character. A "-" makes a range of signed bytes
/// from the member before it to the one behind it; behind a range it makes another from the end of
/// that one ("[a-c-e]" matches d). As the first member it has none before it and matches nothing,
/// and neither does the end of such a range; as the last one, behind another, it is the character.
///
///   "abc", "a[a-c]c"  => 1        "",   "*"    => 1
///   "abc", "a[^b]c"   => 0        "",   "?"    => 0
///   "a*",  "a\\*"     => 1        "aX", "a\\"  => 0    an invalid pattern matches nothing
///
/// A pattern with brackets that are not closed, or with "\" at its end, is invalid. The cost grows
/// with the product of both lengths at most.
///
/// Owner: both texts are borrowed for the call; null is "".
BIX_EXPORT int zq_wildmat(const char* text, const char* pattern);

/// Formats as sprintf() does. The size is not looked at: the buffer has room for whatever the
/// format gives, and the terminator.
///
///   buffer of 8, size 4, "%s", "abcdef"  => "abcdef", 6
///
/// Returns the length, or a negative number when the system cannot format it.
BIX_EXPORT int zq_sprintf_s(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// The same; neither the size nor the count is looked at.
BIX_EXPORT int zq_snprintf_s(char* buffer, std::size_t size, std::size_t count, const char* format,
                             ...) __attribute__((format(printf, 4, 5)));

/// Copies the value of an environment variable. `*required` becomes the bytes that it needs with its
/// terminator, or 0 when it is not set; the buffer is then left as it was.
///
///   "abcdef", buffer of 8    => 0, "abcdef" and zero bytes to the end, required 7
///   "abcdef", buffer of 4    => 22, "abc", required 7
///   "abcdef", null, 0        => 0, required 7
///   unset                    => 0, required 0
///
/// Owner: all are borrowed for the call.
/// Errors: 22 when the buffer is too small: it then ends in a zero byte, unless its size is 0. 22
///   with nothing written when `required` or `name` is null, or `buffer` is while `size` is not 0.
/// Threads: not while the environment is changed.
BIX_EXPORT int zq_getenv_s(std::size_t* required, char* buffer, std::size_t size, const char* name);

#include "bix/hostmacros_on.h"

#endif  // BIX_DIAGNOSTICS_H_
