// %n is part of the interface; a fortified vsnprintf() ends the process at a %n in a format that
// can be written to, as every loaded text can.
#undef _FORTIFY_SOURCE

#include "bix/text.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <exception>
#include <langinfo.h>
#include <memory>

// The bound of a formatted text is the sum over its format of
//
//   a byte, "%%"                          1
//   # flag                                2
//   c C                                   2
//   s hs hS, S ls lS                      the text's length in bytes or units, 6 for null, at least
//   1
//     of these, then                      at least the width, then at most the precision
//   d i u o x X p                         at least 32 and width + precision
//   e g G                                 at least 128 and width + precision
//   f                                     the length with six more digits than asked for
//   anything else                         0
//
// Hosts see this sum: it is what the format operations return.

namespace bix {
namespace {

int Saturated(std::int64_t value) {
  return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}

/// Walks a format with its arguments and sums up the bound.
class LengthEstimate {
 public:
  LengthEstimate(const char* format, va_list arguments) : m_cursor(format) {
    va_copy(m_arguments, arguments);
    Walk();
  }
  LengthEstimate(const LengthEstimate&) = delete;
  LengthEstimate& operator=(const LengthEstimate&) = delete;
  ~LengthEstimate() { va_end(m_arguments); }

  std::int64_t Total() const { return m_total; }

  /// Whether the format is plain text.
  bool IsPlain() const { return !m_hasPercent; }

  /// Whether a character is printed, which may be a zero byte.
  bool MayHoldZero() const { return m_mayHoldZero; }

 private:
  void Walk() {
    while (*m_cursor != '\0') {
      const char* const percent = FindPercent(m_cursor);
      m_total += percent - m_cursor;
      m_cursor = percent;
      if (*m_cursor == '\0') break;
      m_hasPercent = true;
      ++m_cursor;
      if (*m_cursor == '%') {
        ++m_total;
        ++m_cursor;
      } else {
        AddConversion();
      }
    }
  }

  /// The next '%' or the end: most of them are near.
  static const char* FindPercent(const char* text) {
    for (const char* const near = text + 8; text != near; ++text)
      if (*text == '%' || *text == '\0') return text;
    return strchrnul(text, '%');
  }

  void AddConversion() {
    ReadFlagsAndWidth();
    ReadPrecision();
    ReadPrefixes();
    if (*m_cursor == '\0') return;  // "%" without a conversion letter
    AddItem(*m_cursor++);
  }

  void ReadFlagsAndWidth() {
    m_width = 0;
    bool isWidthFromArgument = false;
    for (;; ++m_cursor) {
      if (*m_cursor == '#') {
        m_total += 2;
      } else if (*m_cursor == '*') {
        m_width = va_arg(m_arguments, int);
        isWidthFromArgument = true;
      } else if (*m_cursor != '-' && *m_cursor != '+' && *m_cursor != '0' && *m_cursor != ' ') {
        break;
      }
    }
    if (!isWidthFromArgument) m_width = ReadNumber();
  }

  void ReadPrecision() {
    m_precision = 0;
    m_hasPrecision = *m_cursor == '.';
    if (!m_hasPrecision) return;
    ++m_cursor;
    if (*m_cursor == '*') {
      ++m_cursor;
      m_precision = va_arg(m_arguments, int);
    } else {
      m_precision = ReadNumber();
    }
  }

  // CHOICE(format-prefixes): prefixes may be repeated, so "%lld" is read as it prints; of h and l
  // the last one holds for texts.
  // Test: FormatBoundCompat.PrefixesMayBeRepeated
  void ReadPrefixes() {
    m_isShort = m_isWide = m_hasCapitalL = m_hasCapitalF = false;
    m_longCount = 0;
    for (;; ++m_cursor) {
      switch (*m_cursor) {
        case 'h':
          m_isShort = true;
          m_isWide = false;
          break;
        case 'l':
          m_isShort = false;
          m_isWide = true;
          ++m_longCount;
          break;
        case 'L':
          m_hasCapitalL = true;
          break;
        // COMPAT(format-prefix-f): F and N are prefixes here, not conversions: the byte behind "%F"
        // is taken as its conversion letter, and "%F" alone counts nothing.
        // Required by existing hosts. Test: FormatBoundCompat.CapitalFAndNArePrefixes
        case 'F':
          m_hasCapitalF = true;
          break;
        case 'N':
          break;
        default:
          return;
      }
    }
  }

  int ReadNumber() {
    std::int64_t number = 0;
    for (; *m_cursor >= '0' && *m_cursor <= '9'; ++m_cursor)
      number = std::min<std::int64_t>(number * 10 + (*m_cursor - '0'), INT_MAX);
    return static_cast<int>(number);
  }

  /// What the letter counts, behind an F.
  void AddItemOfNumber(char letter) {
    // CHOICE(format-prefix-f-number): behind an F the system prints a number, as in "%Fs" for
    // seconds. So a number is taken and no text is looked at; a text counts the least.
    // Test: FormatBoundCompat.NoTextIsReadBehindACapitalF
    if (letter == 'f') return AddFixed();
    if (letter == '\0' || std::strchr("cCsSdiuoxXpegGn", letter) == nullptr) {
      // The letter may be the "%" of what the system takes for the next conversion.
      m_mayHoldZero = true;
      return;
    }
    (void)va_arg(m_arguments, double);
    if (letter == 'c' || letter == 'C') return AddText(2);
    if (letter == 's' || letter == 'S') return AddText(1);
    if (letter == 'e' || letter == 'g' || letter == 'G') return AddNumber(128);
    if (letter != 'n') AddNumber(32);
  }

  void AddItem(char letter) {
    if (m_hasCapitalF) return AddItemOfNumber(letter);
    switch (letter) {
      case 'c':
      case 'C':
        (void)va_arg(m_arguments, int);
        m_mayHoldZero = true;
        return AddText(2);
      case 's':
        return m_isWide ? AddWideText() : AddByteText();
      case 'S':
        return m_isShort ? AddByteText() : AddWideText();
      case 'd':
      case 'i':
      case 'u':
      case 'o':
      case 'x':
      case 'X':
        SkipInteger();
        return AddNumber(32);
      case 'p':
        (void)va_arg(m_arguments, void*);
        return AddNumber(32);
      case 'e':
      case 'g':
      case 'G':
        IsLongDouble() ? (void)va_arg(m_arguments, long double) : (void)va_arg(m_arguments, double);
        return AddNumber(128);
      case 'f':
        return AddFixed();
      case 'n':
        (void)va_arg(m_arguments, void*);
        return;
      default:
        // COMPAT(format-unknown-letter): a letter that is not known here counts nothing and takes
        // no argument, also where vsnprintf() knows it (E, a, z, j, t). The bound then falls short
        // and the operation fails. Required by existing hosts.
        // Test: FormatBoundCompat.UnknownLettersCountNothing
        m_mayHoldZero = true;
        return;
    }
  }

  void AddByteText() {
    const char* text = va_arg(m_arguments, const char*);
    AddText(text == nullptr ? 6 : std::max<std::int64_t>(ByteLength(text), 1));
  }
  void AddWideText() {
    const wchar_t* text = va_arg(m_arguments, const wchar_t*);
    // COMPAT(format-wide-units): wide text counts its units, though each may take several bytes.
    // Required by existing hosts. Test: FormatBoundCompat.WideTextCountsUnits
    AddText(text == nullptr ? 6 : std::max<std::int64_t>(WideLength(text), 1));
  }
  /// With a precision the text need not be terminated, but no more of it counts than that.
  std::int64_t ByteLength(const char* text) const {
    const std::size_t length = m_hasPrecision && m_precision >= 0
                                   ? strnlen(text, static_cast<std::size_t>(m_precision))
                                   : std::strlen(text);
    return static_cast<std::int64_t>(length);
  }
  std::int64_t WideLength(const wchar_t* text) const {
    const std::size_t length = m_hasPrecision && m_precision >= 0
                                   ? wcsnlen(text, static_cast<std::size_t>(m_precision))
                                   : std::wcslen(text);
    return static_cast<std::int64_t>(length);
  }
  void AddText(std::int64_t length) {
    // COMPAT(format-negative-sizes): widths and precisions from arguments count as they stand,
    // though a negative width means its amount, and a negative precision none.
    // Required by existing hosts.
    // Test: FormatBoundCompat.NegativeWidthsAndPrecisionsCountAsTheyStand
    length = std::max<std::int64_t>(length, m_width);
    // COMPAT(format-cut-after-width): the precision cuts the width as well, so "%10.3s" counts 3
    // and fails. Required by existing hosts. Test: FormatBoundCompat.PrecisionCutsTheWidthOfTexts
    if (m_hasPrecision) length = std::min<std::int64_t>(length, m_precision);
    m_total += length;
  }

  void SkipInteger() {
    // An argument is read as wide as it was passed: on 32-bit platforms each longer one lies in two
    // words, and what follows it must be found.
    if (m_longCount > 1 || m_hasCapitalL)
      (void)va_arg(m_arguments, long long);
    else if (m_longCount == 1)
      (void)va_arg(m_arguments, long);
    else
      (void)va_arg(m_arguments, int);
  }
  void AddNumber(std::int64_t least) {
    m_total += std::max(least, static_cast<std::int64_t>(m_width) + m_precision);
  }

  // CHOICE(format-long-double): with L the argument is read as it is printed, a long double.
  // Test: FormatBoundCompat.CapitalLReadsALongDouble
  bool IsLongDouble() const { return m_hasCapitalL || m_longCount > 1; }

  void AddFixed() {
    // COMPAT(format-six-digits): six digits are counted besides those of the precision, though a
    // precision stands in for the six digits that are usual. Required by existing hosts.
    // Test: FormatBoundCompat.FixedNumbersCountSixMoreDigits
    const int precision = Saturated(static_cast<std::int64_t>(m_precision) + 6);
    if (IsLongDouble()) {
      m_total += PrintedLength("%*.*Lf", m_width, precision, va_arg(m_arguments, long double));
      return;
    }
    const double value = va_arg(m_arguments, double);
    const std::int64_t length = FixedLength(value, precision);
    m_total += length > 0 ? std::max(length, std::abs(static_cast<std::int64_t>(m_width)))
                          : PrintedLength("%*.*f", m_width, precision, value);
  }

  /// The length of a number printed by "%.*f" where that is plain to see, else 0.
  static std::int64_t FixedLength(double value, int precision) {
    constexpr double kLargest = 1e15;  // every whole number up to here is exact
    const double magnitude = std::fabs(value);
    if (precision < 1 || !(magnitude < kLargest)) return 0;
    std::int64_t digits = 1;
    double power = 10;
    for (; magnitude >= power; power *= 10) ++digits;
    // Rounding may add a digit in front.
    if (magnitude >= power - 1) return 0;
    const std::int64_t point = static_cast<std::int64_t>(std::strlen(nl_langinfo(RADIXCHAR)));
    return (std::signbit(value) ? 1 : 0) + digits + point + precision;
  }

  template <class Number>
  static std::int64_t PrintedLength(const char* format, int width, int precision, Number number) {
    const int error = errno;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int length = std::snprintf(nullptr, 0, format, width, precision, number);
#pragma GCC diagnostic pop
    errno = error;
    return std::max(length, 0);
  }

  const char* m_cursor;
  va_list m_arguments;
  std::int64_t m_total = 0;
  int m_width = 0;
  int m_precision = 0;
  bool m_hasPercent = false;
  bool m_mayHoldZero = false;
  bool m_hasPrecision = false;
  bool m_isShort = false;
  bool m_isWide = false;
  bool m_hasCapitalL = false;
  bool m_hasCapitalF = false;
  int m_longCount = 0;
};

/// Formats into `text` when the result keeps to the bound.
bool FormatWithin(const LengthEstimate& estimate, const char* format, va_list arguments,
                  SString& text) {
  const std::int64_t bound = estimate.Total();
  if (estimate.IsPlain() && bound <= INT_MAX) {
    text.assign(format, static_cast<std::size_t>(bound));
    return true;
  }
  constexpr std::int64_t kOnStack = 1024;
  constexpr std::int64_t kAskFirst = 1024 * 1024;
  char piece[kOnStack];
  std::unique_ptr<char[]> block;
  char* buffer = piece;
  std::size_t size = kOnStack;
  if (bound >= kAskFirst) {
    // A large width alone gives a large bound: ask what is really needed.
    va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length < 0 || length > bound) return false;
    size = static_cast<std::size_t>(length) + 1;
  } else if (bound >= kOnStack) {
    size = static_cast<std::size_t>(bound) + 1;
  }
  if (size > kOnStack) {
    block.reset(new char[size]);
    buffer = block.get();
  }
  va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(buffer, size, format, copy);
  va_end(copy);
  if (length < 0 || length > bound) return false;
  // COMPAT(format-cut-at-nul): the result is taken as a terminated text, so a zero byte written by
  // %c ends it. Required by existing hosts. Test: FormatCompat.ZeroByteEndsTheText
  const std::size_t whole = static_cast<std::size_t>(length);
  text.assign(buffer, estimate.MayHoldZero() ? strnlen(buffer, whole) : whole);
  return true;
}

}  // namespace

int SString::FormatV(const char* format, va_list arguments) {
  if (format == nullptr) format = "";
  const LengthEstimate estimate(format, arguments);
  bool isFormatted = false;
  try {
    isFormatted = FormatWithin(estimate, format, arguments, *this);
  } catch (const std::exception&) {
    // Out of memory: the text fails like any other that cannot be formatted.
  }
  if (!isFormatted) {
    // CHOICE(format-failure): a text that cannot be formatted is "" rather than left as it was.
    // Test: FormatCompat.FailureLeavesTheEmptyText
    clear();
    errno = EINVAL;
  }
  // COMPAT(format-returns-bound): the bound is returned, not the length, and also after a failure.
  // Required by existing hosts. Test: FormatCompat.ReturnsTheBoundNotTheLength
  return Saturated(estimate.Total());
}

#define BIX_FORMAT_ARGUMENTS(result, format)     \
  va_list arguments;                             \
  va_start(arguments, format);                   \
  const int result = FormatV(format, arguments); \
  va_end(arguments)

int SString::Format(const char* format, ...) {
  BIX_FORMAT_ARGUMENTS(bound, format);
  return bound;
}
int SString::FormatMessage(const char* format, ...) {
  BIX_FORMAT_ARGUMENTS(bound, format);
  return bound;
}
int SString::FormatMessageA(const char* format, ...) {
  BIX_FORMAT_ARGUMENTS(bound, format);
  return bound;
}

#undef BIX_FORMAT_ARGUMENTS

}  // namespace bix
