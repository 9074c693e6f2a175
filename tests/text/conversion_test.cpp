#include "bix/text.h"

#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/scoped_locale.h"

namespace {

using bix::ANSIString;
using bix::SString;
using bix::UTF8String;
using bix::WString;
using bix_test::kBig5HkscsLocale;
using bix_test::kEucJpLocale;
using bix_test::kLatin1Locale;
using bix_test::kUtf8Locale;
using bix_test::ScopedLocale;

struct ConversionCase {
  const char* bytes;
  const wchar_t* units;
};

// Texts that are valid in both forms.
constexpr ConversionCase kUtf8Cases[] = {
    {"", L""},
    {"A", L"A"},
    {"\x7F", L"\x7F"},
    {"\xC2\x80", L"\u0080"},
    {"Gr\xC3\xB6\xC3\x9F"
     "e",
     L"Gr\u00F6\u00DFe"},
    {"\xE2\x82\xAC", L"\u20AC"},
    {"1\xE2\x82\xAC", L"1\u20AC"},
    {"\xE2\x82\xAC"
     "1",
     L"\u20AC1"},
    {"\xF0\x9F\x98\x80", L"\U0001F600"},
    {"a\xF0\x9F\x98\x80"
     "b",
     L"a\U0001F600b"},
};

TEST(WideFromBytes, FollowsTheUtf8Locale) {
  ScopedLocale locale(kUtf8Locale);
  for (const auto& c : kUtf8Cases) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(c.units, WString(c.bytes));
    EXPECT_EQ(c.units, WString(UTF8String(c.bytes)));
    EXPECT_EQ(c.units, WString(SString(c.bytes)));
    EXPECT_EQ(c.units, WString(ANSIString(c.bytes)));
  }
}

TEST(BytesFromWide, FollowsTheUtf8Locale) {
  ScopedLocale locale(kUtf8Locale);
  for (const auto& c : kUtf8Cases) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(c.bytes, UTF8String(c.units));
    EXPECT_EQ(c.bytes, SString(c.units));
    EXPECT_EQ(c.bytes, ANSIString(WString(c.units)));
    EXPECT_EQ(c.bytes, ANSIString(UTF8String(c.bytes)));
  }
}

TEST(WideFromBytes, FollowsTheLatin1Locale) {
  ScopedLocale locale(kLatin1Locale);
  EXPECT_EQ(L"Gr\u00F6\u00DFe", WString("Gr\xF6\xDF"
                                        "e"));
  EXPECT_EQ(L"Gr\u00F6\u00DFe", WString(ANSIString("Gr\xF6\xDF"
                                                   "e")));
  EXPECT_EQ(L"\u00C3\u00B6", WString("\xC3\xB6"));
  EXPECT_EQ(
      "Gr\xF6\xDF"
      "e",
      SString(L"Gr\u00F6\u00DFe"));
  EXPECT_EQ(
      "Gr\xF6\xDF"
      "e",
      ANSIString(WString(L"Gr\u00F6\u00DFe")));
}

TEST(WideFromBytes, FollowsTheEucJpLocale) {
  ScopedLocale locale(kEucJpLocale);
  EXPECT_EQ(L"a\u65E5\u672Cb", WString("a\xC6\xFC\xCB\xDC"
                                       "b"));
  EXPECT_EQ(L"a\u65E5\u672Cb", WString(ANSIString("a\xC6\xFC\xCB\xDC"
                                                  "b")));
  EXPECT_EQ(
      "a\xC6\xFC\xCB\xDC"
      "b",
      SString(L"a\u65E5\u672Cb"));
  EXPECT_EQ(
      "a\xC6\xFC\xCB\xDC"
      "b",
      ANSIString(WString(L"a\u65E5\u672Cb")));
}

TEST(WideFromBytes, OneSequenceMayStandForTwoUnits) {
  ScopedLocale locale(kBig5HkscsLocale);
  EXPECT_EQ(L"A\u00CA\u0304B", WString("A\x88\x62"
                                       "B"));
  EXPECT_EQ(L"A\u00CA\u0304B", WString(ANSIString("A\x88\x62"
                                                  "B")));
  EXPECT_EQ(L"\u00CA\u0304\u00CA\u0304x", WString("\x88\x62\x88\x62x"));
  EXPECT_EQ(L"\u00CA\u0304x", WString("\x88\x62\xFFx"));  // also in front of an invalid byte
  EXPECT_EQ(
      "A\x88\x62"
      "B",
      SString(L"A\u00CA\u0304B"));
}

// The reading ends with the bytes, whatever the system has still at hand.
TEST(WideFromBytesCompat, TheSecondUnitOfTheLastSequenceIsDropped) {
  ScopedLocale locale(kBig5HkscsLocale);
  EXPECT_EQ(L"A\u00CA", WString("A\x88\x62"));
  EXPECT_EQ(2, bix::UnixMultiByteToWideChar(nullptr, nullptr, "A\x88\x62"));
}

TEST(WideFromBytes, FollowsTheCLocale) {
  ScopedLocale locale("C");
  EXPECT_EQ(L"abc", WString("abc"));
  EXPECT_EQ("abc", SString(L"abc"));
  EXPECT_EQ(L"ab", WString("a\xE9"
                           "b"));
}

TEST(WideFromBytesCompat, DropsInvalidBytesOneByOne) {
  ScopedLocale locale(kUtf8Locale);
  const ConversionCase cases[] = {
      {"A\xFF"
       "B",
       L"AB"},
      {"\xFF", L""},
      {"\xFF\xFE\xFD", L""},
      {"A\xE2\x82", L"A"},  // incomplete at the end
      {"A\xE2\x82"
       "B",
       L"AB"},  // incomplete in front of a byte
      {"A\xE2\x82\xE2\x82\xAC"
       "B",
       L"A\u20ACB"},      // and of a whole sequence
      {"\x82\xAC", L""},  // continuation bytes alone
      {"\xC0\x80"
       "A",
       L"A"},  // overlong
      {"\xED\xA0\x80"
       "A",
       L"A"},  // half of a surrogate pair
      {"\xE2", L""},
      {"A\xC3", L"A"},
      {"\xC3\xC3\xB6", L"\u00F6"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(c.units, WString(c.bytes));
    EXPECT_EQ(c.units, WString(UTF8String(c.bytes)));
    EXPECT_EQ(std::wcslen(c.units),
              static_cast<std::size_t>(bix::UnixMultiByteToWideChar(nullptr, nullptr, c.bytes)));
  }
}

TEST(WideFromBytesCompat, DropsInvalidBytesOfOtherEncodings) {
  ScopedLocale locale(kEucJpLocale);
  EXPECT_EQ(L"ab", WString("a\xFF"
                           "b"));
  EXPECT_EQ(L"a", WString("a\xC6"));  // half of a character
  EXPECT_EQ(L"\u65E5", WString("\xFF\xC6\xFC"));
}

TEST(WideFromBytes, EndsAtTheFirstZeroByte) {
  ScopedLocale locale(kUtf8Locale);
  const std::string bytes("ab\0cd", 5);
  EXPECT_EQ(L"ab", WString(UTF8String(bytes)));
  EXPECT_EQ(L"ab", WString(ANSIString(bytes)));
}

TEST(BytesFromWide, EndsAtTheFirstZeroUnit) {
  ScopedLocale locale(kUtf8Locale);
  EXPECT_EQ("ab", ANSIString(WString(std::wstring(L"ab\0cd", 5))));
  EXPECT_EQ("ab", SString(L"ab\0cd"));
}

TEST(WideFromAnsiCompat, OneInvalidByteEmptiesTheText) {
  ScopedLocale locale(kUtf8Locale);
  for (const char* bytes : {"A\xFF"
                            "B",
                            "\xFF", "A\xE2\x82", "\xE2\x82\xAC\xFF"}) {
    SCOPED_TRACE(bytes);
    EXPECT_EQ(L"", WString(ANSIString(bytes)));
    WString assigned(L"before");
    assigned = ANSIString(bytes);
    EXPECT_EQ(L"", assigned);
  }
}

TEST(BytesFromWideCompat, OneUnitWithoutAFormEmptiesTheText) {
  {
    ScopedLocale locale(kLatin1Locale);
    EXPECT_EQ("", SString(L"abc\u20AC"));
    EXPECT_EQ("", UTF8String(L"\u20AC"
                             L"abc"));
    EXPECT_EQ("", ANSIString(WString(L"abc\u20AC")));
    SString assigned("before");
    assigned = L"abc\u20AC";
    EXPECT_EQ("", assigned);
  }
  {
    ScopedLocale locale("C");
    EXPECT_EQ("", SString(L"abc\u00E9"));
  }
  ScopedLocale locale(kUtf8Locale);
  const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xD800), L'b', 0};
  EXPECT_EQ("", SString(surrogate));
  const wchar_t negative[] = {L'a', static_cast<wchar_t>(-5), 0};
  EXPECT_EQ("", SString(negative));
  // Also what has been converted long before.
  for (const std::size_t length : {100U, 5000U, 20000U, 100000U}) {
    std::wstring units(length, L'a');
    EXPECT_EQ(length, SString(units.c_str()).size());
    units.back() = static_cast<wchar_t>(0xD800);
    EXPECT_EQ("", SString(units.c_str())) << length;
  }
}

TEST(AnsiFromUtf8, DropsInvalidBytesOnTheWay) {
  ScopedLocale locale(kUtf8Locale);
  EXPECT_EQ("AB", ANSIString(UTF8String("A\xFF"
                                        "B")));
  ANSIString assigned;
  assigned = UTF8String(
      "\xE2\x82"
      "C");
  EXPECT_EQ("C", assigned);
}

/// The conversion as it is defined: one character after the other.
std::wstring OneByOne(const std::string& bytes) {
  std::wstring result;
  std::mbstate_t state{};
  for (std::size_t at = 0; at < bytes.size() && bytes[at] != 0;) {
    wchar_t unit;
    const std::size_t used = std::mbrtowc(&unit, bytes.data() + at, bytes.size() - at, &state);
    if (used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2)) {
      state = {};
      ++at;
    } else {
      result += unit;
      at += used;
    }
  }
  return result;
}

/// Long texts with characters, and invalid bytes, in every position that a piece may end at.
std::vector<std::string> LongTexts(const std::vector<std::string>& parts) {
  std::vector<std::string> texts;
  for (const std::size_t front :
       {0, 1, 1000, 1015, 1020, 1021, 1022, 1023, 1024, 1025, 2047, 2048}) {
    for (const std::string& part : parts) {
      std::string text(front, 'x');
      for (int i = 0; i < 1500; ++i) text += part;
      texts.push_back(text + "end");
      texts.push_back(std::string(front, 'x') + part);
      texts.push_back(std::string(front, 'x') + part + std::string(3000, 'y') + part);
    }
  }
  return texts;
}

TEST(WideFromBytes, LongTextsAreReadCharacterByCharacter) {
  const std::vector<std::string> parts = {"a",
                                          "\xC3\xA9",
                                          "\xE2\x82\xAC",
                                          "\xF0\x9F\x98\x80",
                                          "\xFF",
                                          "\x80",
                                          "\xE2\x82",
                                          "a\xC3\xA9",
                                          "ab\xE2\x82\xAC"
                                          "c",
                                          "\xC3\xA9\xFF",
                                          "\xE2\x82\xAC\xE2",
                                          "\xF0\x9F",
                                          "\xC6\xFC",
                                          "\x88\x62",
                                          "\x8F\xB0\xA1"};
  for (const char* name : {kUtf8Locale, kLatin1Locale, kEucJpLocale, kBig5HkscsLocale, "C"}) {
    ScopedLocale locale(name);
    for (const std::string& text : LongTexts(parts)) {
      const std::wstring want = OneByOne(text);
      ASSERT_EQ(want, WString(UTF8String(text))) << name << " " << text.size();
      ASSERT_EQ(static_cast<int>(want.size()),
                bix::UnixMultiByteToWideChar(nullptr, nullptr, text.c_str()));
      std::vector<wchar_t> out(want.size() + 2, L'#');
      ASSERT_EQ(static_cast<int>(want.size()),
                bix::UnixMultiByteToWideChar(nullptr, out.data(), text.c_str()));
      ASSERT_EQ(want, out.data());
      ASSERT_EQ(L'#', out.back()) << "nothing is written behind the terminator";
    }
  }
}

TEST(BytesFromWide, LongTextsComeBackAsTheyWere) {
  ScopedLocale locale(kUtf8Locale);
  for (const std::string& text : LongTexts(
           {"a", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "a\xC3\xA9", "ab\xE2\x82\xAC"})) {
    const WString wide = UTF8String(text);
    ASSERT_EQ(text, SString(wide.c_str()));
    ASSERT_EQ(text, ANSIString(wide));
    ASSERT_EQ(wide, WString(ANSIString(text)));
  }
}

TEST(MultiByteToWide, CountsWithoutABuffer) {
  ScopedLocale locale(kUtf8Locale);
  EXPECT_EQ(0, bix::UnixMultiByteToWideChar(nullptr, nullptr, ""));
  EXPECT_EQ(5, bix::UnixMultiByteToWideChar(nullptr, nullptr,
                                            "Gr\xC3\xB6\xC3\x9F"
                                            "e"));
  EXPECT_EQ(0, bix::UnixMultiByteToWideChar(nullptr, nullptr, nullptr));
  wchar_t out[4] = L"###";
  EXPECT_EQ(0, bix::UnixMultiByteToWideChar(nullptr, out, ""));
  EXPECT_EQ(L'\0', out[0]);
  EXPECT_EQ(L'#', out[1]);
}

TEST(MultiByteToWide, ConvertsByTheNamedLocaleAndRestoresTheCurrent) {
  ScopedLocale locale(kUtf8Locale);
  wchar_t out[8];
  EXPECT_EQ(2, bix::UnixMultiByteToWideChar(kLatin1Locale, out, "\xC3\xB6"));
  EXPECT_STREQ(L"\u00C3\u00B6", out);
  EXPECT_STREQ(kUtf8Locale, std::setlocale(LC_CTYPE, nullptr));
  EXPECT_EQ(1, bix::UnixMultiByteToWideChar(kEucJpLocale, out, "\xC6\xFC"));
  EXPECT_STREQ(L"\u65E5", out);
  EXPECT_STREQ(kUtf8Locale, std::setlocale(LC_CTYPE, nullptr));
}

TEST(MultiByteToWide, ChangesOnlyTheCharacterTypes) {
  ScopedLocale locale(kUtf8Locale);
  ASSERT_NE(nullptr, std::setlocale(LC_NUMERIC, kLatin1Locale));
  EXPECT_EQ(1, bix::UnixMultiByteToWideChar("C", nullptr, "a"));
  EXPECT_STREQ(kLatin1Locale, std::setlocale(LC_NUMERIC, nullptr));
}

TEST(MultiByteToWide, AnUnknownLocaleLeavesTheCurrent) {
  ScopedLocale locale(kUtf8Locale);
  wchar_t out[8];
  EXPECT_EQ(1, bix::UnixMultiByteToWideChar("xx_XX.NONE", out, "\xC3\xB6"));
  EXPECT_STREQ(L"\u00F6", out);
  EXPECT_STREQ(kUtf8Locale, std::setlocale(LC_CTYPE, nullptr));
}

TEST(MultiByteToWide, AnEarlierUnfinishedCharacterHasNoEffect) {
  ScopedLocale locale(kUtf8Locale);
  // Leaves half a character in the system's own conversion state.
  EXPECT_EQ(-1, std::mbtowc(nullptr, "\xE2\x82", 2));
  EXPECT_EQ(L"A", WString("\xAC"
                          "A"));
  EXPECT_EQ(L"A", WString("A\xE2\x82"));
  EXPECT_EQ(L"B", WString("\xAC"
                          "B"));
  (void)std::mbtowc(nullptr, nullptr, 0);
}

}  // namespace
