#include "bix/text.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "support/scoped_locale.h"

namespace {

using bix::SString;

struct Formatted {
  std::string text;
  int bound;
  int error;

  bool operator==(const Formatted& other) const = default;
};

std::ostream& operator<<(std::ostream& out, const Formatted& result) {
  return out << '"' << result.text << "\", " << result.bound << ", errno " << result.error;
}

int FormatInto(SString& text, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int bound = text.FormatV(format, arguments);
  va_end(arguments);
  return bound;
}

/// FormatV on a string that holds something, without the compiler's check of the format: many of
/// these formats are meant to be wrong.
Formatted Format(const char* format, ...) {
  SString text("before");
  va_list arguments;
  va_start(arguments, format);
  errno = 0;
  const int bound = text.FormatV(format, arguments);
  const int error = errno;
  va_end(arguments);
  return {text, bound, error};
}

Formatted Good(const char* text, int bound) { return {text, bound, 0}; }
Formatted TooShort(int bound) { return {"", bound, EINVAL}; }

const char* const kNoText = nullptr;
const wchar_t* const kNoUnits = nullptr;

TEST(Format, CopiesPlainText) {
  EXPECT_EQ(Good("", 0), Format(""));
  EXPECT_EQ(Good("abc", 3), Format("abc"));
  EXPECT_EQ(Good("100%", 4), Format("100%%"));
  EXPECT_EQ(Good("%", 1), Format("%%"));
  EXPECT_EQ(Good("%d", 2), Format("%%d"));
  EXPECT_EQ(Good("", 0), Format(nullptr));
}

TEST(Format, CountsTextsByTheirLength) {
  EXPECT_EQ(Good("abc", 3), Format("%s", "abc"));
  EXPECT_EQ(Good("", 1), Format("%s", ""));
  EXPECT_EQ(Good("(null)", 6), Format("%s", kNoText));
  EXPECT_EQ(Good("<abc>", 5), Format("<%s>", "abc"));
  EXPECT_EQ(Good("abc-de", 6), Format("%s-%s", "abc", "de"));
  EXPECT_EQ(Good("   abc", 6), Format("%6s", "abc"));
  EXPECT_EQ(Good("abc   ", 6), Format("%-6s", "abc"));
  EXPECT_EQ(Good("abc", 3), Format("%2s", "abc"));
  EXPECT_EQ(Good("ab", 2), Format("%.2s", "abc"));
  EXPECT_EQ(Good("abc", 3), Format("%.5s", "abc"));
  EXPECT_EQ(Good("", 0), Format("%.0s", "abc"));
  EXPECT_EQ(Good("", 0), Format("%.s", "abc"));
  EXPECT_EQ(Good("    x", 5), Format("%*s", 5, "x"));
  EXPECT_EQ(1, Format("%*5d", 1, 2).bound) << "a width from an argument leaves no digits to read";
  EXPECT_EQ(Good("ab", 2), Format("%.*s", 2, "abc"));
  EXPECT_EQ(Good("abc", 3), Format("%hs", "abc"));
}

TEST(Format, CountsWideTextsByTheirUnits) {
  EXPECT_EQ(Good("abc", 3), Format("%ls", L"abc"));
  EXPECT_EQ(Good("abc", 3), Format("%S", L"abc"));
  EXPECT_EQ(Good("abc", 3), Format("%lS", L"abc"));
  EXPECT_EQ(Good("", 1), Format("%ls", L""));
  EXPECT_EQ(Good("(null)", 6), Format("%ls", kNoUnits));
  EXPECT_EQ(Good("  abc", 5), Format("%5ls", L"abc"));
  EXPECT_EQ(Good("ab", 2), Format("%.2ls", L"abc"));
  // With h the bytes are counted, though units are printed.
  EXPECT_EQ(Good("a", 1), Format("%hS", L"a"));
  EXPECT_EQ(TooShort(1), Format("%hS", L"abc"));
}

TEST(Format, PrecisionAllowsUnterminatedTexts) {
  const char bytes[2] = {'a', 'b'};
  EXPECT_EQ(Good("ab", 2), Format("%.2s", bytes));
  const wchar_t units[2] = {L'a', L'b'};
  EXPECT_EQ(Good("ab", 2), Format("%.2ls", units));
}

TEST(Format, CountsTwoForACharacter) {
  EXPECT_EQ(Good("x", 2), Format("%c", 'x'));
  EXPECT_EQ(Good("    x", 5), Format("%5c", 'x'));
  EXPECT_EQ(Good("x", 2), Format("%lc", static_cast<wint_t>(L'x')));
  EXPECT_EQ(Good("x", 2), Format("%C", static_cast<wint_t>(L'x')));
  EXPECT_EQ(Good("x", 2), Format("%hc", 'x'));
  EXPECT_EQ(Good("x", 1), Format("%.1c", 'x'));
}

TEST(Format, CountsAtLeast32ForAnInteger) {
  EXPECT_EQ(Good("5", 32), Format("%d", 5));
  EXPECT_EQ(Good("-5", 32), Format("%i", -5));
  EXPECT_EQ(Good("5", 32), Format("%u", 5U));
  EXPECT_EQ(Good("17", 32), Format("%o", 15U));
  EXPECT_EQ(Good("ff", 32), Format("%x", 255U));
  EXPECT_EQ(Good("FF", 32), Format("%X", 255U));
  EXPECT_EQ(Good("0xff", 34), Format("%#x", 255U));
  EXPECT_EQ(Good("0xff", 36), Format("%##x", 255U));
  EXPECT_EQ(Good("00005", 32), Format("%05d", 5));
  EXPECT_EQ(Good("+5", 32), Format("%+d", 5));
  EXPECT_EQ(Good(" 5", 32), Format("% d", 5));
  EXPECT_EQ(Good("5    ", 32), Format("%-5d", 5));
  EXPECT_EQ(Good("  005", 32), Format("%5.3d", 5));
  EXPECT_EQ(Good("0x10", 32), Format("%p", reinterpret_cast<void*>(0x10)));
  EXPECT_EQ(Good(std::string(39, ' ').append("5").c_str(), 40), Format("%40d", 5));
  EXPECT_EQ(Good(std::string(39, '0').append("5").c_str(), 40), Format("%.40d", 5));
  EXPECT_EQ(Good((std::string(10, ' ') + std::string(29, '0') + "5").c_str(), 70),
            Format("%40.30d", 5));
  EXPECT_EQ(Good("1-2-3", 98), Format("%d-%d-%d", 1, 2, 3));
}

TEST(Format, ReadsIntegersAsWideAsTheyArePassed) {
  EXPECT_EQ(Good("1099511627776 x", 34), Format("%lld %s", 1099511627776LL, "x"));
  EXPECT_EQ(Good("-7 x", 34), Format("%ld %s", -7L, "x"));
  EXPECT_EQ(Good("-7 x", 34), Format("%hd %s", -7, "x"));
  EXPECT_EQ(Good("-7 x", 34), Format("%hhd %s", -7, "x"));
  EXPECT_EQ(Good("1099511627776 x", 34), Format("%Ld %s", 1099511627776LL, "x"));
  EXPECT_EQ(Good("ffffffffffffffff x", 34), Format("%llx %s", 0xFFFFFFFFFFFFFFFFULL, "x"));
}

TEST(Format, CountsAtLeast128ForAnExponent) {
  EXPECT_EQ(Good("1.000000e+00", 128), Format("%e", 1.0));
  EXPECT_EQ(Good("0.5", 128), Format("%g", 0.5));
  EXPECT_EQ(Good("1E-10", 128), Format("%G", 1e-10));
  EXPECT_EQ(Good("0.5 x", 130), Format("%lg %s", 0.5, "x"));
  EXPECT_EQ(Good(("1." + std::string(100, '0') + "e+00").c_str(), 130), Format("%30.100e", 1.0));
}

TEST(FormatBoundCompat, FixedNumbersCountSixMoreDigits) {
  EXPECT_EQ(10, Format("%5.2f", 3.14159).bound);
  EXPECT_EQ(8, Format("%f", 1.0).bound);
  EXPECT_EQ(8, Format("%.0f", 1.0).bound);
}

TEST(Format, PrintsFixedNumbers) {
  EXPECT_EQ(Good(" 3.14", 10), Format("%5.2f", 3.14159));
  EXPECT_EQ(Good("1.000000", 8), Format("%f", 1.0));
  EXPECT_EQ(Good("-1.500000", 9), Format("%f", -1.5));
  EXPECT_EQ(Good("2", 8), Format("%.0f", 2.0));
  EXPECT_EQ(Good("      3.14", 10), Format("%10.2f", 3.14));
  EXPECT_EQ(Good("           3.14", 15), Format("%15.2f", 3.14));
  EXPECT_EQ(Good("3.14           ", 15), Format("%-15.2f", 3.14));
  EXPECT_EQ(Good("3.14      ", 10), Format("%*.*f", -10, 2, 3.14));
  EXPECT_EQ(Good("3.14           ", 15), Format("%*.*f", -15, 2, 3.14));
  EXPECT_EQ(Good("inf", 3), Format("%f", std::numeric_limits<double>::infinity()));
  EXPECT_EQ(Good("0.5 x", 11), Format("%.1lf %s", 0.5, "x"));
  // 309 digits, the point and 6 or 7 digits behind it.
  const Formatted largest = Format("%.1f", std::numeric_limits<double>::max());
  EXPECT_EQ(309 + 1 + 7, largest.bound);
  EXPECT_EQ(309U + 1 + 1, largest.text.size());
  EXPECT_EQ(0, largest.error);
}

TEST(Format, CountsFixedNumbersAtEveryPowerOfTen) {
  const struct {
    double value;
    int want;
  } cases[] = {{0.0, 8},
               {-0.0, 9},
               {9.0, 8},
               {9.4999994, 8},
               {9.9999994, 8},
               {9.9999996, 9},
               {99.9999996, 10},
               {-99.9999996, 11},
               {999.5, 10},
               {1e15, 23},
               {999999999999999.0, 22},
               {1e22, 30},
               {4294967296.5, 17},
               {0.9999996, 8},
               {0.1, 8},
               {123456.0, 13}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    EXPECT_EQ(c.want, Format("%f", c.value).bound);
  }
}

TEST(Format, CountsFixedNumbersInOtherLocales) {
  bix_test::ScopedLocale locale(bix_test::kLatin1Locale);
  EXPECT_EQ(Good("3,14", 10), Format("%.2f", 3.14159));
}

TEST(Format, ReadsWidthAndPrecisionFromArguments) {
  EXPECT_EQ(Good("    5 x", 34), Format("%*d %s", 5, 5, "x"));
  EXPECT_EQ(Good("005 x", 34), Format("%.*d %s", 3, 5, "x"));
  EXPECT_EQ(Good("  005 x", 34), Format("%*.*d %s", 5, 3, 5, "x"));
  EXPECT_EQ(Good("5     x", 34), Format("%*d %s", -5, 5, "x"));
}

TEST(Format, StoresTheNumberOfBytesSoFar) {
  int count = -1;
  EXPECT_EQ(Good("abcd", 4), Format("abc%nd", &count));
  EXPECT_EQ(3, count);
  // A format that can be written to, as loaded texts are.
  char format[] = "ab%nc %s";
  count = -1;
  EXPECT_EQ(Good("abc x", 5), Format(format, &count, "x"));
  EXPECT_EQ(2, count);
}

TEST(Format, OverloadsAreTheSame) {
  SString text;
  EXPECT_EQ(34, text.Format("%d %s", 1, "a"));
  EXPECT_EQ("1 a", text);
  EXPECT_EQ(34, text.FormatMessage("%d %s", 2, "b"));
  EXPECT_EQ("2 b", text);
  EXPECT_EQ(34, text.FormatMessageA("%d %s", 3, "c"));
  EXPECT_EQ("3 c", text);
}

TEST(Format, LeavesTheArgumentListAsItWas) {
  struct Twice {
    static void Run(SString& first, SString& second, const char* format, ...) {
      va_list arguments;
      va_start(arguments, format);
      first.FormatV(format, arguments);
      second.FormatV(format, arguments);
      va_end(arguments);
    }
  };
  SString first, second;
  Twice::Run(first, second, "%d %s %f", 1, "x", 0.5);
  EXPECT_EQ("1 x 0.500000", first);
  EXPECT_EQ("1 x 0.500000", second);
}

TEST(Format, TextMayBeItsOwnArgumentAndFormat) {
  SString text("abc");
  EXPECT_EQ(4, text.Format("%s!", text.GetBuffer()));
  EXPECT_EQ("abc!", text);
  text = "<%s>";
  EXPECT_EQ(3, FormatInto(text, text.GetBuffer(), "x"));
  EXPECT_EQ("<x>", text);
  // Long enough not to fit on the stack, and failing: then the text is empty all the same.
  text = std::string(3000, 'y');
  EXPECT_EQ(3000, FormatInto(text, "%.3000s", text.GetBuffer()));
  EXPECT_EQ(std::string(3000, 'y'), text);
  EXPECT_EQ(2, FormatInto(text, "%4.2s", text.GetBuffer()));
  EXPECT_EQ("", text);
}

TEST(Format, LongTextsAreWhole) {
  for (const std::size_t length : {1022, 1023, 1024, 1025, 5000, 1 << 20, (1 << 20) + 1, 3 << 20}) {
    const std::string text(length, 'x');
    const Formatted result = Format("%s", text.c_str());
    EXPECT_EQ(static_cast<int>(length), result.bound);
    EXPECT_TRUE(result.text == text);
    EXPECT_EQ(0, result.error);
  }
}

TEST(Format, SuccessLeavesTheErrorNumber) {
  SString text;
  errno = EBADF;
  text.Format("%s %f %d", "x", 1.0, 5);
  EXPECT_EQ(EBADF, errno);
}

TEST(FormatCompat, ReturnsTheBoundNotTheLength) {
  EXPECT_EQ(32, Format("%d", 5).bound);
  EXPECT_EQ(1U, Format("%d", 5).text.size());
  EXPECT_EQ(3, Format("%10.3s", "abcdef").bound);
}

TEST(FormatCompat, FailureLeavesTheEmptyText) {
  EXPECT_EQ(TooShort(3), Format("%10.3s", "abcdef"));
  EXPECT_EQ(TooShort(0), Format("%"));
  EXPECT_EQ(TooShort(3), Format("abc%"));
  EXPECT_EQ(TooShort(3), Format("abc%-5.3l"));
}

TEST(FormatCompat, ZeroByteEndsTheText) {
  EXPECT_EQ(Good("ab", 6), Format("ab%ccd", 0));
  EXPECT_EQ(Good("", 2), Format("%c", 0));
  EXPECT_EQ(Good("a", 4), Format("a%'cde", 0));
}

TEST(FormatBoundCompat, PrecisionCutsTheWidthOfTexts) {
  EXPECT_EQ(TooShort(3), Format("%10.3s", "abcdef"));
  EXPECT_EQ(TooShort(3), Format("%10.3s", "ab"));
  EXPECT_EQ(TooShort(0), Format("%5.0s", "ab"));
  EXPECT_EQ(Good("ab", 2), Format("%2.2s", "ab"));
}

TEST(FormatBoundCompat, WideTextCountsUnits) {
  bix_test::ScopedLocale locale(bix_test::kUtf8Locale);
  EXPECT_EQ(TooShort(1), Format("%ls", L"\u20AC"));
  EXPECT_EQ(TooShort(1), Format("%S", L"\u20AC"));
  EXPECT_EQ(TooShort(2), Format("%lc", static_cast<wint_t>(0x20AC)));
  EXPECT_EQ(Good("\xC3\xA9", 2), Format("%lc", static_cast<wint_t>(0xE9)));
  EXPECT_EQ(Good("\xE2\x82\xAC", 33), Format("%ls%.0d", L"\u20AC", 0));
}

TEST(FormatBoundCompat, UnknownLettersCountNothing) {
  EXPECT_EQ(TooShort(0), Format("%E", 1.0));
  EXPECT_EQ(TooShort(0), Format("%a", 1.0));
  EXPECT_EQ(TooShort(1), Format("%jd", INTMAX_C(1000)));
  EXPECT_EQ(TooShort(1), Format("%zu", static_cast<std::size_t>(100)));
  EXPECT_EQ(Good("5", 1), Format("%zu", static_cast<std::size_t>(5)));
  EXPECT_EQ(TooShort(1), Format("%'d", 12345));
}

TEST(FormatBoundCompat, CapitalFAndNArePrefixes) {
  EXPECT_EQ(TooShort(0), Format("%F", 1.0));
  EXPECT_EQ(TooShort(1), Format("%F!!", 1.0));
  // The "d" is counted as the letter of a conversion, but printed as it stands.
  EXPECT_EQ(Good("1.000000d", 32), Format("%Fd", 1.0));
}

TEST(FormatBoundCompat, NoTextIsReadBehindACapitalF) {
  EXPECT_EQ(TooShort(1), Format("%Fs", 1.5));
  EXPECT_EQ(TooShort(1), Format("%FS", 1.5));
  EXPECT_EQ(Good("5 1.500000s x", 36), Format("%d %Fs %s", 5, 1.5, "x"));
  EXPECT_EQ(Good("1.500000d x", 34), Format("%Fd %s", 1.5, "x"));
  EXPECT_EQ(Good("2f x", 10), Format("%.0Ff %s", 1.5, "x"));
  for (const char* format : {"%Fe", "%Fg", "%FG"})
    EXPECT_EQ(Good((std::string("1.500000") + format[2]).c_str(), 128), Format(format, 1.5));
  EXPECT_EQ(TooShort(7), Format("%.1Fn|%s", 1.5, "abcdef"));
}

TEST(FormatBoundCompat, AZeroByteEndsTheTextAlsoBehindACapitalF) {
  EXPECT_EQ(Good("1.500000g2.500000F", 129), Format("%Fg%FF%c", 1.5, 2.5, 0));
}

TEST(FormatBoundCompat, PrefixesMayBeRepeated) {
  EXPECT_EQ(Good("5", 32), Format("%lld", 5LL));
  EXPECT_EQ(Good("5", 32), Format("%hhd", 5));
  EXPECT_EQ(Good("abc", 3), Format("%hhs", "abc"));
  // Of h and l the last one holds.
  EXPECT_EQ(6, Format("%lhs", "abcdef").bound);
  EXPECT_EQ(3, Format("%hls", L"abc").bound);
  EXPECT_EQ(3, Format("%hlS", L"abc").bound);
}

TEST(FormatBoundCompat, CapitalLReadsALongDouble) {
  EXPECT_EQ(Good("1.500000 x", 10), Format("%Lf %s", 1.5L, "x"));
  EXPECT_EQ(Good("1.5 x", 130), Format("%Lg %s", 1.5L, "x"));
  EXPECT_EQ(Good("1.500000e+00 x", 130), Format("%Le %s", 1.5L, "x"));
  EXPECT_EQ(Good("1.5 1000000.500000", 143), Format("%Lg %Lf", 1.5L, 1000000.5L));
  // To printf() "ll" says the same.
  EXPECT_EQ(Good("1.500000 1.5 x", 139), Format("%llf %llg %s", 1.5L, 1.5L, "x"));
}

TEST(FormatBoundCompat, SignsBeyondTheBoundFail) {
  EXPECT_EQ(TooShort(40), Format("%.40d", -5));
  EXPECT_EQ(TooShort(130), Format("%.130e", 1.0));
}

TEST(FormatBoundCompat, NegativeWidthsAndPrecisionsCountAsTheyStand) {
  EXPECT_EQ(TooShort(3), Format("%*s", -10, "abc"));
  EXPECT_EQ(Good("abc", 3), Format("%*s", -2, "abc"));
  EXPECT_EQ(TooShort(32), Format("%*d", -40, 5));
  EXPECT_EQ(TooShort(-1), Format("%.*s", -1, "abc"));
  EXPECT_EQ(TooShort(4), Format("<%.*s>d %s", -1, "abc", "d"));
}

TEST(FormatBound, HugeNumbersSaturate) {
  EXPECT_EQ(TooShort(INT_MAX), Format("%99999999999999999999s", "x"));
  EXPECT_EQ(TooShort(INT_MAX), Format("%99999999999s%99999999999d%99999999999s", "x", 1, "x"));
}

}  // namespace
