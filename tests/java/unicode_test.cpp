// The forms of Unicode text.

#include "java/unicode.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using bix::impl::UTF16FromUTF8;
using bix::impl::UTF16FromWide;
using bix::impl::UTF8FromUTF16;
using bix::impl::WideFromUTF16;

TEST(JavaUnicode, EveryCharacterSurvives) {
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    if (character >= 0xD800 && character <= 0xDFFF) continue;
    const std::wstring wide(1, static_cast<wchar_t>(character));
    const std::u16string units = UTF16FromWide(wide);
    ASSERT_EQ(character < 0x10000 ? 1u : 2u, units.size()) << static_cast<unsigned>(character);
    ASSERT_EQ(wide, WideFromUTF16(units)) << static_cast<unsigned>(character);
    const std::string bytes = UTF8FromUTF16(units);
    const std::size_t length = character < 0x80      ? 1
                               : character < 0x800   ? 2
                               : character < 0x10000 ? 3
                                                     : 4;
    ASSERT_EQ(length, bytes.size()) << static_cast<unsigned>(character);
    ASSERT_EQ(units, UTF16FromUTF8(bytes)) << static_cast<unsigned>(character);
  }
}

TEST(JavaUnicode, KnownCharactersHaveTheirForms) {
  const struct {
    std::string utf8;
    std::u16string utf16;
    std::wstring wide;
  } cases[] = {
      {"A", u"A", L"A"},
      {"\x7F", u"\x7F", L"\x7F"},
      {"\xC2\x80", u"\x80", L"\x80"},
      {"\xDF\xBF", u"\x7FF", L"\x7FF"},
      {"\xE0\xA0\x80", u"\x800", L"\x800"},
      {"\xED\x9F\xBF", u"\xD7FF", L"\xD7FF"},
      {"\xEE\x80\x80", u"\xE000", L"\xE000"},
      {"\xEF\xBF\xBF", u"\xFFFF", L"\xFFFF"},
      {"\xF0\x90\x80\x80", u"\xD800\xDC00", L"\x10000"},
      {"\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF", L"\x10FFFF"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.utf8);
    EXPECT_EQ(c.utf16, UTF16FromUTF8(c.utf8));
    EXPECT_EQ(c.utf16, UTF16FromWide(c.wide));
    EXPECT_EQ(c.utf8, UTF8FromUTF16(c.utf16));
    EXPECT_EQ(c.wide, WideFromUTF16(c.utf16));
  }
}

TEST(JavaUnicode, BytesThatAreNoUtf8BecomeReplacementCharacters) {
  const struct {
    std::string bytes;
    std::u16string want;
  } cases[] = {
      {"\x80", u"\xFFFD"},
      {"\xBF\xBF", u"\xFFFD\xFFFD"},
      {"\xC0\x80", u"\xFFFD\xFFFD"},  // too long a form
      {"\xC1\xBF", u"\xFFFD\xFFFD"},
      {"\xE0\x80\x80", u"\xFFFD\xFFFD\xFFFD"},
      {"\xF0\x80\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD"},
      {"\xED\xA0\x80", u"\xFFFD\xFFFD\xFFFD"},  // a surrogate
      {"\xF4\x90\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD"},
      {"\xF5\x80\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD"},
      {"\xFE\xFF", u"\xFFFD\xFFFD"},
      {"\xE2\x82", u"\xFFFD"},  // cut short, one each
      {"\xE2\x82z", u"\xFFFDz"},
      {"\xE2z", u"\xFFFDz"},
      {"\xF0\x9F\x98", u"\xFFFD"},
      {"\xF0\x9F\x98\xE2\x82\xAC", u"\xFFFD\x20AC"},
      {"\xC3", u"\xFFFD"},
      {"\xC3\xC3\xA9", u"\xFFFD\xE9"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes));
    EXPECT_EQ(c.want, UTF16FromUTF8(c.bytes));
  }
}

TEST(JavaUnicode, UnitsThatAreNoCharacterBecomeReplacementCharacters) {
  const struct {
    std::u16string units;
    std::wstring want;
  } cases[] = {
      {u"\xD800", L"\xFFFD"},
      {u"\xDC00", L"\xFFFD"},
      {u"\xDC00\xD800", L"\xFFFD\xFFFD"},
      {u"\xDC00\xDC00", L"\xFFFD\xFFFD"},
      {u"\xDBFF\xDFFF", L"\x10FFFF"},
      {u"\xD800\xD800\xDC00", L"\xFFFD\x10000"},
      {u"\xD800z", L"\xFFFDz"},
      {u"\xDBFF\xE000", L"\xFFFD\xE000"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.want, WideFromUTF16(c.units));
    EXPECT_EQ(UTF8FromUTF16(UTF16FromWide(c.want)), UTF8FromUTF16(c.units));
  }
  EXPECT_EQ(u"\xFFFD\xFFFD\xFFFD\xFFFD",
            UTF16FromWide(std::wstring{wchar_t{0xD800}, wchar_t{0xDFFF}, wchar_t{0x110000},
                                       static_cast<wchar_t>(-1)}));
}

// Also where it is taken by blocks.
TEST(JavaUnicode, AsciiStaysAroundEveryOtherCharacter) {
  for (std::size_t length = 0; length <= 24; ++length) {
    std::string plain;
    std::u16string units;
    for (std::size_t i = 0; i < length; ++i) {
      plain += static_cast<char>(0x7F - i);
      units += static_cast<char16_t>(0x7F - i);
    }
    EXPECT_EQ(units, UTF16FromUTF8(plain));
    for (std::size_t at = 0; at <= length; ++at) {
      const auto with = [&](const char* bytes) { return std::string(plain).insert(at, bytes); };
      EXPECT_EQ(std::u16string(units).insert(at, u"\xE9"), UTF16FromUTF8(with("\xC3\xA9")));
      EXPECT_EQ(std::u16string(units).insert(at, u"\xFFFD"), UTF16FromUTF8(with("\x80")));
      EXPECT_EQ(std::u16string(units).insert(at, u"\xFFFD"), UTF16FromUTF8(with("\xE2\x82")));
    }
  }
}

TEST(JavaUnicode, ZeroIsACharacter) {
  const std::string bytes("a\0z", 3);
  EXPECT_EQ(std::u16string(u"a\0z", 3), UTF16FromUTF8(bytes));
  EXPECT_EQ(bytes, UTF8FromUTF16(UTF16FromUTF8(bytes)));
}

}  // namespace
