#ifndef BIX_TEXT_H_
#define BIX_TEXT_H_

/// The library's text types.
///
/// Four thin extensions of the standard strings. Every standard operation stays available on them.
///
///   UTF8String   bytes in the process's multibyte encoding; UTF-8 in a UTF-8 locale
///   SString      the same bytes and the everyday operations; the text type of every interface
///   WString      wide text, 32-bit units
///   ANSIString   bytes in the encoding of the current locale
///
///   bix::SString title = L"Gr\u00fc\u00dfe";          // wide to bytes, by the locale
///   title.Insert(title.GetLength(), "!");
///   bix::SString line;
///   line.Format("%s: %d", title.c_str(), 7);
///
/// Encoding: every conversion between bytes and wide text goes through the current LC_CTYPE locale.
///   All other operations work on single bytes and know nothing of multibyte sequences.
/// Owner: every object owns its text; a null character pointer counts as the empty text everywhere.
/// Errors: no conversion reports invalid input. What a conversion leaves of it stands beside it.
/// Threads: re-entrant; one object is not changed from two threads at once. Conversions read the
///   process's locale, so they do not run beside setlocale().

#include "bix/hostmacros_off.h"

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "bix/export.h"

/// Whether wide text is declared. Its units have 32 bits, in the library as in the standard library
/// of the system. A host whose wide characters have 16, as the compilers of Windows-compatibility
/// layers give them, must not exchange wide text with either: it gets no declaration of it, unless
/// it is compiled with -fno-short-wchar.
#if __SIZEOF_WCHAR_T__ == 4
#define BIX_WIDE_TEXT 1
#else
#define BIX_WIDE_TEXT 0
#endif

namespace bix {

class ANSIString;
class WString;

namespace impl {
/// Chooses the constructor that takes bytes as they stand; nothing else can be meant by it.
struct ExactBytes {
  explicit ExactBytes() = default;
};
}  // namespace impl

/// Bytes in the process's multibyte encoding, UTF-8 in a UTF-8 locale.
class BIX_EXPORT UTF8String : public std::string {
 public:
  UTF8String() = default;
  /// Takes the bytes up to the terminator as they stand; null gives "".
  UTF8String(const char* text) : std::string(text != nullptr ? text : "") {}
  UTF8String(const std::string& text) : std::string(text) {}
  UTF8String(std::string&& text) noexcept : std::string(std::move(text)) {}
  /// For the library: the bytes, without a text in between that is made and moved.
  UTF8String(impl::ExactBytes, std::string_view bytes) : std::string(bytes) {}
#if BIX_WIDE_TEXT
  /// Converts wide text up to its terminator by the current locale.
  ///
  ///   L"a\u20ac" => "a\xE2\x82\xAC"   in a UTF-8 locale
  ///   L"a\u20ac" => ""                in a Latin-1 locale: one unit without a form there, no text
  ///   null       => ""
  UTF8String(const wchar_t* text);
#endif
  UTF8String(const UTF8String&) = default;
  UTF8String(UTF8String&&) noexcept = default;
  virtual ~UTF8String();

  /// Each assignment gives what the constructor of the same source gives. `text` may lie inside the
  /// string itself.
  UTF8String& operator=(const char* text);
  UTF8String& operator=(const std::string& text);
  UTF8String& operator=(std::string&& text) noexcept;
#if BIX_WIDE_TEXT
  UTF8String& operator=(const wchar_t* text);
#endif
  /// The text becomes this one byte.
  UTF8String& operator=(char byte);
  UTF8String& operator=(const UTF8String&) = default;
  UTF8String& operator=(UTF8String&&) noexcept = default;
};

/// The text type of every interface of the library.
class BIX_EXPORT SString : public UTF8String {
 public:
  SString() = default;
  SString(const char* text) : UTF8String(text) {}
  SString(const std::string& text) : UTF8String(text) {}
  SString(std::string&& text) noexcept : UTF8String(std::move(text)) {}
  SString(impl::ExactBytes exact, std::string_view bytes) : UTF8String(exact, bytes) {}
#if BIX_WIDE_TEXT
  /// As UTF8String from wide text.
  SString(const wchar_t* text) : UTF8String(text) {}
#endif
  SString(const SString&) = default;
  SString(SString&&) noexcept = default;
  ~SString() override;

  /// Each assignment gives what the constructor of the same source gives. `text` may lie inside the
  /// string itself.
  SString& operator=(const char* text);
  SString& operator=(const std::string& text);
  SString& operator=(std::string&& text) noexcept;
#if BIX_WIDE_TEXT
  SString& operator=(const wchar_t* text);
#endif
  /// The text becomes this one byte.
  SString& operator=(char byte);
  SString& operator=(const SString&) = default;
  SString& operator=(SString&&) noexcept = default;

  /// Compares as strcmp() does: negative, zero or positive, by unsigned bytes. Both texts end at
  /// their first zero byte, unlike with operator==, which compares all bytes.
  int Compare(const SString& other) const;
  int Compare(const char* other) const;
  /// Compares as strcasecmp() does, by the current locale.
  int CompareNoCase(const SString& other) const;
  int CompareNoCase(const char* other) const;
  /// The index of the first occurrence of `text`, or npos.
  ///
  ///   "abcabc" with "c"  => 2
  ///   "abc"    with "x"  => npos
  ///   "abc"    with ""   => 0      null likewise
  size_type Find(const char* text) const;
  /// The number of bytes.
  int GetLength() const { return static_cast<int>(length()); }
  /// Whether there are no bytes.
  bool IsEmpty() const { return empty(); }
  /// The bytes, to be read and, up to GetLength(), to be written.
  ///
  /// Owner: owned by the string, valid until its next change.
  char* GetBuffer() { return data(); }
  const char* GetBuffer() const { return data(); }

  /// Inserts before byte `pos` and returns the new length.
  ///
  ///   "ac", 1, "b" => "abc", 3
  ///   "ab", 2, "c" => "abc", 3
  ///
  /// Errors: throws std::out_of_range ("basic_string::insert...") when `pos` is negative or behind
  ///   the end; the text is then unchanged.
  int Insert(int pos, const SString& text);
  int Insert(int pos, const char* text);
  int Insert(int pos, char byte);
  /// Replaces each byte by its tolower() or toupper() in the current locale.
  void MakeLower();
  void MakeUpper();

  /// Replaces the text by numbered text `id` of the current resource handle.
  ///
  /// Returns its length in bytes, so an empty numbered text reads as a failure.
  /// Errors: 0 when there is none, reported on bixerr; the text is then unchanged.
  int LoadStringA(unsigned id);

  /// Formats as printf() does and returns an upper bound of the length, not the length.
  ///
  ///   "%d", 5             => "5", 32
  ///   "%s", "abc"         => "abc", 3
  ///   "%5.2f", 3.14159    => " 3.14", 10
  ///   "100%%"             => "100%", 4
  ///   "%10.3s", "abcdef"  => "", 3, EINVAL: the bound falls short
  ///
  /// The bound knows d i u o x X p, e g G f, c C, s S, n and the prefixes h and l. Anything else
  /// counts nothing and takes no argument: %zu, %E, %a, %F are not for this operation. docs/text.md
  /// has the rules of the bound. A zero byte that %c writes ends the text. The arguments and the
  /// format may lie in the string itself.
  ///
  /// Errors: the text is "" and errno EINVAL when the result is longer than the bound or the format
  ///   is invalid; the bound is returned all the same.
  int Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Formats with numbered text `id` of the current resource handle as the format.
  ///
  /// Errors: -1 when there is no such text; the string is then unchanged.
  int Format(unsigned id, ...);
  /// The same as Format.
  int FormatMessage(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int FormatMessage(unsigned id, ...);
  /// The same as Format, under the name that a host's FormatMessage macro turns the call into.
  int FormatMessageA(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int FormatMessageA(unsigned id, ...);
  /// Format with the arguments as a list. `arguments` is left as it was.
  int FormatV(const char* format, va_list arguments) __attribute__((format(printf, 2, 0)));
  /// Formats with numbered text `id`, which may take the arguments in another order: "%$2s" is the
  /// second argument; a conversion without a number takes the one behind that of the conversion
  /// before it.
  ///
  ///   "%$2s is %$1d", 7, "x" => "x is 7"
  ///
  /// Every argument is one machine word: an integer up to long, or a pointer; no floating value. A
  /// conversion behind the last argument reads a zero word. The string is cleared first, so its own
  /// text cannot be an argument.
  ///
  /// Errors: -1 when there is no such text, when a number is 0 or beyond the number of conversions,
  ///   and when the text takes more than 64 words; the string is then "". Otherwise as Format.
  int FormatI18n(unsigned id, ...);
};

#if BIX_WIDE_TEXT
/// Wide text, 32-bit units.
class BIX_EXPORT WString : public std::wstring {
 public:
  WString() = default;
  WString(const std::wstring& text) : std::wstring(text) {}
  WString(std::wstring&& text) noexcept : std::wstring(std::move(text)) {}
  /// Takes the units up to the terminator; null gives the empty text.
  WString(const wchar_t* text) : std::wstring(text != nullptr ? text : L"") {}
  /// Converts bytes up to the first zero byte by the current locale. Bytes that form no character
  /// are dropped, one at a time.
  ///
  ///   "A\xFF" "B" => L"AB"    in a UTF-8 locale
  ///   null        => L""
  WString(const char* text);
  WString(const UTF8String& text);
  /// Converts bytes up to the first zero byte by the current locale. One byte that forms no
  /// character makes the whole text empty.
  WString(const ANSIString& text);
  WString(const WString&) = default;
  WString(WString&&) noexcept = default;
  virtual ~WString();

  /// Each assignment gives what the constructor of the same source gives.
  WString& operator=(const std::wstring& text);
  WString& operator=(std::wstring&& text) noexcept;
  WString& operator=(const wchar_t* text);
  WString& operator=(const char* text);
  WString& operator=(const UTF8String& text);
  WString& operator=(const ANSIString& text);
  /// The text becomes this one unit.
  WString& operator=(wchar_t unit);
  WString& operator=(const WString&) = default;
  WString& operator=(WString&&) noexcept = default;
};
#endif

/// Bytes in the encoding of the current locale. Not related to UTF8String: the two convert into
/// each other only through wide text.
class BIX_EXPORT ANSIString : public std::string {
 public:
  ANSIString() = default;
  /// Takes the bytes up to the terminator as they stand; null gives "".
  ANSIString(const char* text) : std::string(text != nullptr ? text : "") {}
  ANSIString(const std::string& text) : std::string(text) {}
  /// Converts by the current locale; one unit that has no form there makes the whole text empty.
  ANSIString(const WString& text);
  /// Converts to wide text and from there: bytes that form no character are dropped.
  ANSIString(const UTF8String& text);
  ANSIString(const ANSIString&) = default;
  ANSIString(ANSIString&&) noexcept = default;
  virtual ~ANSIString();

  /// Each assignment gives what the constructor of the same source gives.
  ANSIString& operator=(const char* text);
  ANSIString& operator=(const std::string& text);
  ANSIString& operator=(const WString& text);
  ANSIString& operator=(const UTF8String& text);
  ANSIString& operator=(const ANSIString&) = default;
  ANSIString& operator=(ANSIString&&) noexcept = default;
};

/// The bucket of `key` in a hash table of `size` buckets: from 0 to `size` - 1, the same on every
/// platform. h = h * 33 + byte in 32 bits, for each signed byte up to the first zero byte.
///
///   "", any  => 0
///   "a", 1000    => 97
///   "ab", 10000  => 3299
///
/// `size` is not 0.
BIX_EXPORT unsigned StringHashKey(const SString& key, int size);

#if BIX_WIDE_TEXT
/// Converts the terminated bytes `in` to wide text and returns the number of units, without the
/// terminator. Bytes that form no character are dropped, one at a time.
///
/// `out` has room for the result and a terminator; null only counts. Null as `in` is the empty
/// text. `locale` is the LC_CTYPE locale to convert by, or null for the current one, which is also
/// used when the system does not know that name.
///
/// Threads: re-entrant without a locale. With one it changes that of the process for the length of
///   the call, so no other thread may convert text meanwhile.
BIX_EXPORT int UnixMultiByteToWideChar(const char* locale, wchar_t* out, const char* in);
#endif

/// Writes the XML data form of the byte `*in` into `out` as a terminated text.
///
///   tab, line feed    => "&#x09;", "&#x0A;"                           needs outSize 7
///   carriage return   => "&#x0D;", or "" while line ends are normalised       7, none for ""
///   "  '              => "&quot;", "&apos;"                                   7
///   &                 => "&amp;"                                              6
///   <  >              => "&lt;", "&gt;"                                       5
///   other, 0x20-0x7F  => the byte itself                                      2, not checked
///   any other         => one blank, also for 0 and every byte from 0x80 on    2
///
/// For 7-bit data: it does not pass multibyte sequences. `out` has room for one byte at least.
/// Errors: "" and errno ERANGE when `outSize`, in bytes, is below what is needed.
BIX_EXPORT void XMLMapSingleDataCharacter(const char* in, char* out, unsigned outSize);

/// Whether XMLMapSingleDataCharacter drops carriage returns; initially not.
/// Threads: a plain process-wide flag.
BIX_EXPORT void SetNormalizeLineEndings(bool normalize);

/// Sets `out` to the current directory and returns 1.
///
/// Errors: 0 and "" when it cannot be read, or its path is longer than 4095 bytes.
BIX_EXPORT int BixGetCurrentDirectory(SString& out);

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_TEXT_H_
