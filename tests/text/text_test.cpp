#include "bix/text.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>
#include <utility>

#include <gtest/gtest.h>

#include "support/scoped_locale.h"

namespace {

using bix::ANSIString;
using bix::SString;
using bix::UTF8String;
using bix::WString;

constexpr const char* kNoBytes = nullptr;
constexpr const wchar_t* kNoUnits = nullptr;

int Sign(int value) { return (value > 0) - (value < 0); }

TEST(StringClasses, DeriveFromEachOtherAsHostsExpect) {
  static_assert(std::is_base_of_v<std::string, UTF8String>);
  static_assert(std::is_base_of_v<UTF8String, SString>);
  static_assert(std::is_base_of_v<std::wstring, WString>);
  static_assert(std::is_base_of_v<std::string, ANSIString>);
  static_assert(!std::is_base_of_v<UTF8String, ANSIString>);
  static_assert(std::has_virtual_destructor_v<UTF8String>);
  static_assert(std::has_virtual_destructor_v<WString>);
  static_assert(std::has_virtual_destructor_v<ANSIString>);
  EXPECT_EQ(sizeof(UTF8String), sizeof(SString));
}

TEST(StringClasses, ResultsHaveTheTypesThatHostsKnow) {
  SString text("ab");
  static_assert(std::is_same_v<int, decltype(text.Compare("x"))>);
  static_assert(std::is_same_v<int, decltype(text.CompareNoCase("x"))>);
  static_assert(std::is_same_v<std::string::size_type, decltype(text.Find("x"))>);
  static_assert(std::is_same_v<int, decltype(text.Insert(0, "x"))>);
  static_assert(std::is_same_v<int, decltype(text.GetLength())>);
  static_assert(std::is_same_v<bool, decltype(text.IsEmpty())>);
  static_assert(std::is_same_v<char*, decltype(text.GetBuffer())>);
  static_assert(std::is_same_v<int, decltype(text.LoadStringA(1U))>);
  static_assert(std::is_same_v<int, decltype(text.Format("x"))>);
  static_assert(std::is_same_v<unsigned, decltype(bix::StringHashKey(text, 31))>);
  static_assert(std::is_same_v<int, decltype(bix::BixGetCurrentDirectory(text))>);
  // What is not found is out of reach of every index, on every platform.
  EXPECT_EQ(static_cast<std::size_t>(-1), text.Find("x"));
}

TEST(StringClasses, MoveWithoutCopying) {
  static_assert(std::is_nothrow_move_constructible_v<SString>);
  static_assert(std::is_nothrow_move_assignable_v<SString>);
  static_assert(std::is_nothrow_move_constructible_v<UTF8String>);
  static_assert(std::is_nothrow_move_constructible_v<WString>);
  static_assert(std::is_nothrow_move_constructible_v<ANSIString>);
  SString from(std::string(1000, 'x'));
  const char* bytes = from.c_str();
  SString to(std::move(from));
  EXPECT_EQ(bytes, to.c_str());
}

TEST(StringConstruction, NullIsTheEmptyText) {
  EXPECT_EQ("", UTF8String(kNoBytes));
  EXPECT_EQ("", UTF8String(kNoUnits));
  EXPECT_EQ("", SString(kNoBytes));
  EXPECT_EQ("", SString(kNoUnits));
  EXPECT_EQ(L"", WString(kNoUnits));
  EXPECT_EQ(L"", WString(kNoBytes));
  EXPECT_EQ("", ANSIString(kNoBytes));
}

TEST(StringAssignment, NullIsTheEmptyText) {
  UTF8String utf8("x");
  utf8 = kNoBytes;
  EXPECT_EQ("", utf8);
  utf8 = "x";
  utf8 = kNoUnits;
  EXPECT_EQ("", utf8);

  SString text("x");
  text = kNoBytes;
  EXPECT_EQ("", text);
  text = "x";
  text = kNoUnits;
  EXPECT_EQ("", text);

  WString wide(L"x");
  wide = kNoUnits;
  EXPECT_EQ(L"", wide);
  wide = L"x";
  wide = kNoBytes;
  EXPECT_EQ(L"", wide);

  ANSIString ansi("x");
  ansi = kNoBytes;
  EXPECT_EQ("", ansi);
}

TEST(StringConstruction, TakesEachSource) {
  EXPECT_TRUE(UTF8String().empty());
  EXPECT_TRUE(SString().empty());
  EXPECT_TRUE(WString().empty());
  EXPECT_TRUE(ANSIString().empty());
  EXPECT_EQ("ab", SString("ab"));
  EXPECT_EQ("ab", UTF8String(std::string("ab")));
  EXPECT_EQ("ab", SString(std::string("ab")));
  EXPECT_EQ("ab", SString(L"ab"));
  EXPECT_EQ("ab", SString(UTF8String("ab")));
  EXPECT_EQ(L"ab", WString(std::wstring(L"ab")));
  EXPECT_EQ(L"ab", WString(L"ab"));
  EXPECT_EQ(L"ab", WString("ab"));
  EXPECT_EQ(L"ab", WString(UTF8String("ab")));
  EXPECT_EQ(L"ab", WString(SString("ab")));
  EXPECT_EQ(L"ab", WString(ANSIString("ab")));
  EXPECT_EQ("ab", ANSIString("ab"));
  EXPECT_EQ("ab", ANSIString(std::string("ab")));
  EXPECT_EQ("ab", ANSIString(WString(L"ab")));
  EXPECT_EQ("ab", ANSIString(UTF8String("ab")));
  EXPECT_EQ("ab", ANSIString(SString("ab")));
}

TEST(StringAssignment, TakesEachSourceAndReturnsTheObject) {
  UTF8String utf8;
  EXPECT_EQ(&utf8, &(utf8 = "a"));
  EXPECT_EQ(&utf8, &(utf8 = std::string("b")));
  EXPECT_EQ(&utf8, &(utf8 = L"c"));
  EXPECT_EQ("c", utf8);
  EXPECT_EQ(&utf8, &(utf8 = 'd'));
  EXPECT_EQ("d", utf8);

  SString text;
  EXPECT_EQ(&text, &(text = "abc"));
  EXPECT_EQ("abc", text);
  EXPECT_EQ(&text, &(text = std::string("de")));
  EXPECT_EQ("de", text);
  EXPECT_EQ(&text, &(text = L"fg"));
  EXPECT_EQ("fg", text);
  EXPECT_EQ(&text, &(text = 'h'));
  EXPECT_EQ("h", text);
  const std::string kept("ij");
  EXPECT_EQ(&text, &(text = kept));
  EXPECT_EQ("ij", text);

  WString wide;
  EXPECT_EQ(&wide, &(wide = std::wstring(L"a")));
  EXPECT_EQ(&wide, &(wide = L"bc"));
  EXPECT_EQ(L"bc", wide);
  EXPECT_EQ(&wide, &(wide = "de"));
  EXPECT_EQ(L"de", wide);
  EXPECT_EQ(&wide, &(wide = UTF8String("fg")));
  EXPECT_EQ(L"fg", wide);
  EXPECT_EQ(&wide, &(wide = ANSIString("hi")));
  EXPECT_EQ(L"hi", wide);
  EXPECT_EQ(&wide, &(wide = L'j'));
  EXPECT_EQ(L"j", wide);

  ANSIString ansi;
  EXPECT_EQ(&ansi, &(ansi = "a"));
  EXPECT_EQ(&ansi, &(ansi = std::string("bc")));
  EXPECT_EQ("bc", ansi);
  EXPECT_EQ(&ansi, &(ansi = WString(L"de")));
  EXPECT_EQ("de", ansi);
  EXPECT_EQ(&ansi, &(ansi = UTF8String("fg")));
  EXPECT_EQ("fg", ansi);
}

TEST(StringAssignment, KeepsZeroBytesOfStandardStrings) {
  const std::string bytes("a\0b", 3);
  SString text(bytes);
  EXPECT_EQ(3, text.GetLength());
  text = bytes;
  EXPECT_EQ(3, text.GetLength());
}

TEST(StringAssignment, SourceMayLieInsideTheString) {
  SString text("abcdef");
  text = text.c_str() + 2;
  EXPECT_EQ("cdef", text);
  UTF8String utf8(std::string(100, 'x') + "yz");
  utf8 = utf8.c_str() + 100;
  EXPECT_EQ("yz", utf8);
  WString wide(L"abcdef");
  wide = wide.c_str() + 4;
  EXPECT_EQ(L"ef", wide);
  ANSIString ansi("abc");
  ansi = ansi.c_str() + 1;
  EXPECT_EQ("bc", ansi);
}

TEST(StringCompare, OrdersByBytes) {
  const struct {
    const char* left;
    const char* right;
    int want;
  } cases[] = {{"", "", 0},       {"a", "a", 0},       {"a", "b", -1},   {"b", "a", 1},
               {"a", "ab", -1},   {"ab", "a", 1},      {"B", "a", -1},   {"\xC3", "a", 1},
               {"a", "\xC3", -1}, {"\xFF", "\x80", 1}, {"abc", "abC", 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.left) + " with " + c.right);
    EXPECT_EQ(c.want, Sign(SString(c.left).Compare(c.right)));
    EXPECT_EQ(c.want, Sign(SString(c.left).Compare(SString(c.right))));
  }
}

TEST(StringCompare, FoldsAsciiLetters) {
  const struct {
    const char* left;
    const char* right;
    int want;
  } cases[] = {{"", "", 0},   {"abc", "ABC", 0}, {"aBc", "AbD", -1},
               {"z", "A", 1}, {"a", "B", -1},    {"a1", "A1", 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.left) + " with " + c.right);
    EXPECT_EQ(c.want, Sign(SString(c.left).CompareNoCase(c.right)));
    EXPECT_EQ(c.want, Sign(SString(c.left).CompareNoCase(SString(c.right))));
  }
}

TEST(StringCompare, FoldsByTheLocale) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer puts a strcasecmp() of its own in place that folds ASCII only";
#endif
  const SString lower("\xE4"), upper("\xC4");
  {
    bix_test::ScopedLocale locale(bix_test::kLatin1Locale);
    EXPECT_EQ(0, lower.CompareNoCase(upper));
  }
  bix_test::ScopedLocale locale(bix_test::kUtf8Locale);
  EXPECT_NE(0, lower.CompareNoCase(upper));
}

TEST(StringCompareCompat, EndsAtTheFirstZeroByte) {
  const SString left(std::string("ab\0x", 4)), right(std::string("ab\0yz", 5));
  EXPECT_EQ(0, left.Compare(right));
  EXPECT_EQ(0, left.Compare("ab"));
  EXPECT_EQ(0, left.CompareNoCase(right));
  EXPECT_EQ(0, left.CompareNoCase("AB"));
  EXPECT_FALSE(left == right);
}

TEST(StringSearch, FindsTheFirstOccurrence) {
  const struct {
    const char* text;
    const char* part;
    SString::size_type want;
  } cases[] = {{"abcabc", "c", 2},
               {"abcabc", "abc", 0},
               {"abcabc", "bca", 1},
               {"abc", "x", SString::npos},
               {"", "x", SString::npos},
               {"abc", "", 0},
               {"", "", 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " for " + c.part);
    EXPECT_EQ(c.want, SString(c.text).Find(c.part));
  }
  static_assert(static_cast<SString::size_type>(-1) == SString::npos);
}

TEST(StringSearchCompat, NullIsTheEmptyText) {
  EXPECT_EQ(0U, SString("abc").Find(nullptr));
  EXPECT_EQ(0, SString("").Compare(kNoBytes));
  EXPECT_EQ(1, Sign(SString("a").Compare(kNoBytes)));
  EXPECT_EQ(0, SString("").CompareNoCase(kNoBytes));
  SString text("ab");
  EXPECT_EQ(2, text.Insert(1, kNoBytes));
  EXPECT_EQ("ab", text);
}

TEST(StringInsert, ReturnsTheNewLength) {
  SString text;
  EXPECT_EQ(2, text.Insert(0, "bd"));
  EXPECT_EQ(3, text.Insert(0, 'a'));
  EXPECT_EQ(4, text.Insert(2, SString("c")));
  EXPECT_EQ("abcd", text);
  EXPECT_EQ(5, text.Insert(text.GetLength(), "x"));
  EXPECT_EQ(6, text.Insert(text.GetLength(), 'y'));
  EXPECT_EQ(8, text.Insert(text.GetLength(), SString("z!")));
  EXPECT_EQ("abcdxyz!", text);
  EXPECT_EQ(16, text.Insert(4, text));
  EXPECT_EQ("abcdabcdxyz!xyz!", text);
}

template <class Source>
void ExpectOutOfRange(int position, Source source) {
  SString text("abc");
  try {
    text.Insert(position, source);
    FAIL() << "inserted at " << position;
  } catch (const std::out_of_range& error) {
    EXPECT_EQ(0, std::strncmp(error.what(), "basic_string::insert", 20)) << error.what();
  }
  EXPECT_EQ("abc", text);
}

TEST(StringInsert, OutsideTheTextThrows) {
  for (const int position : {4, 5, INT_MAX, -1, INT_MIN}) {
    ExpectOutOfRange(position, "x");
    ExpectOutOfRange(position, 'x');
    ExpectOutOfRange(position, SString("x"));
    ExpectOutOfRange(position, kNoBytes);
  }
}

TEST(StringBuffer, IsReadAndWrittenInPlace) {
  SString text("abc");
  EXPECT_EQ(3, text.GetLength());
  EXPECT_FALSE(text.IsEmpty());
  text.GetBuffer()[1] = 'X';
  EXPECT_EQ("aXc", text);
  const SString& fixed = text;
  EXPECT_STREQ("aXc", fixed.GetBuffer());
  EXPECT_TRUE(SString().IsEmpty());
  EXPECT_EQ(0, SString().GetLength());
}

TEST(StringCase, ChangesAsciiLettersAndLeavesUtf8Alone) {
  bix_test::ScopedLocale locale(bix_test::kUtf8Locale);
  SString text("aB1-\xC3\x84\xC3\xA4z");
  text.MakeLower();
  EXPECT_EQ("ab1-\xC3\x84\xC3\xA4z", text);
  text.MakeUpper();
  EXPECT_EQ("AB1-\xC3\x84\xC3\xA4Z", text);
}

TEST(StringCase, ChangesBytesByTheLocale) {
  bix_test::ScopedLocale locale(bix_test::kLatin1Locale);
  SString text("A\xC4");
  text.MakeLower();
  EXPECT_EQ("a\xE4", text);
  text.MakeUpper();
  EXPECT_EQ("A\xC4", text);
}

TEST(StringHashCompat, MultipliesBy33AndAddsSignedBytes) {
  const struct {
    const char* key;
    int size;
    unsigned want;
  } cases[] = {
      {"", 1, 0},
      {"", 31, 0},
      {"", INT_MAX, 0},
      {"a", 1000, 97},
      {"ab", 10000, 3299},
      {"ab", 31, 13},
      {"abc", INT_MAX, 108966},
      {"abcd", INT_MAX, 3595978},
      {"abcde", INT_MAX, 118667375},
      {"abcdefgh", 31, 27},
      {"abcdefgh", INT_MAX, 1794528677},
      {"abcdefghi", INT_MAX, 1237387917},
      {"The quick brown fox", INT_MAX, 1681006611},
      {"\xE9", 31, 12},
      {"\xE9", INT_MAX, 2147483626},
      {"a\xE9", INT_MAX, 3178},
      {"\x80\x81\x82\x83\x84", 31, 30},
      {"\x80\x81\x82\x83\x84", INT_MAX, 1990980299},
      {"Gr\xC3\xB6\xC3\x9F"
       "e",
       INT_MAX, 1591310041},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.key);
    EXPECT_EQ(c.want, bix::StringHashKey(c.key, c.size));
  }
}

TEST(StringHash, EndsAtTheFirstZeroByte) {
  for (const std::string front : {"", "a", "ab", "abc", "abcd", "abcde", "abcdefg"}) {
    SCOPED_TRACE(front);
    const std::string whole = front + '\0' + "tail and more";
    EXPECT_EQ(bix::StringHashKey(front, INT_MAX), bix::StringHashKey(whole, INT_MAX));
  }
}

TEST(StringHash, TakesTheSizeAsUnsigned) {
  // 0xFFFFFFFF leaves the hash of this key whole.
  EXPECT_EQ(3942012324U, bix::StringHashKey("abcdefgh", -1));
}

struct XmlCase {
  char byte;
  const char* want;
  unsigned needed;
};

constexpr XmlCase kXmlCases[] = {
    {'\t', "&#x09;", 7}, {'\n', "&#x0A;", 7}, {'\r', "&#x0D;", 7}, {'"', "&quot;", 7},
    {'&', "&amp;", 6},   {'\'', "&apos;", 7}, {'<', "&lt;", 5},    {'>', "&gt;", 5},
};

std::string XmlForm(char byte, unsigned outSize) {
  char out[16] = "###############";
  bix::XMLMapSingleDataCharacter(&byte, out, outSize);
  return out;
}

TEST(XmlData, EscapesWhatXmlReserves) {
  for (const auto& c : kXmlCases) {
    SCOPED_TRACE(static_cast<int>(c.byte));
    errno = 0;
    EXPECT_EQ(c.want, XmlForm(c.byte, c.needed));
    EXPECT_EQ(0, errno);
  }
}

TEST(XmlData, TooSmallASizeIsARangeError) {
  for (const auto& c : kXmlCases) {
    for (unsigned size = 0; size < c.needed; ++size) {
      SCOPED_TRACE(static_cast<int>(c.byte));
      errno = 0;
      EXPECT_EQ("", XmlForm(c.byte, size));
      EXPECT_EQ(ERANGE, errno);
    }
  }
}

TEST(XmlData, SuccessLeavesTheErrorNumber) {
  errno = EBADF;
  EXPECT_EQ("&lt;", XmlForm('<', 16));
  EXPECT_EQ("a", XmlForm('a', 16));
  EXPECT_EQ(EBADF, errno);
}

TEST(XmlDataCompat, PrintableBytesAreNotChecked) {
  for (int byte = 0x20; byte <= 0x7F; ++byte) {
    if (std::strchr("\"&'<>", byte) != nullptr) continue;
    for (const unsigned size : {0U, 1U, 2U}) {
      SCOPED_TRACE(byte);
      errno = 0;
      EXPECT_EQ(std::string(1, static_cast<char>(byte)), XmlForm(static_cast<char>(byte), size));
      EXPECT_EQ(0, errno);
    }
  }
}

TEST(XmlDataCompat, BytesOutsideSevenBitsAreBlanks) {
  for (int byte = 0; byte <= 0xFF; ++byte) {
    if (byte >= 0x20 && byte < 0x80) continue;
    if (byte == '\t' || byte == '\n' || byte == '\r') continue;
    SCOPED_TRACE(byte);
    errno = 0;
    EXPECT_EQ(" ", XmlForm(static_cast<char>(byte), 2));
    EXPECT_EQ(0, errno);
    EXPECT_EQ("", XmlForm(static_cast<char>(byte), 1));
    EXPECT_EQ(ERANGE, errno);
  }
}

class ScopedNormalizedLineEndings {
 public:
  ScopedNormalizedLineEndings() { bix::SetNormalizeLineEndings(true); }
  ~ScopedNormalizedLineEndings() { bix::SetNormalizeLineEndings(false); }
};

TEST(XmlDataCompat, NormalisedCarriageReturnIsNothing) {
  EXPECT_EQ("&#x0D;", XmlForm('\r', 7));
  {
    const ScopedNormalizedLineEndings normalized;
    errno = 0;
    for (const unsigned size : {0U, 1U, 6U, 7U}) EXPECT_EQ("", XmlForm('\r', size));
    EXPECT_EQ(0, errno);
    EXPECT_EQ("&#x09;", XmlForm('\t', 7));
    EXPECT_EQ("&#x0A;", XmlForm('\n', 7));
  }
  EXPECT_EQ("&#x0D;", XmlForm('\r', 7));
}

/// Another current directory for the length of a scope, in a fresh directory of its own.
class ScopedDirectory {
 public:
  ScopedDirectory() : m_saved(std::filesystem::current_path()) {
    std::string name = (std::filesystem::temp_directory_path() / "bix-text-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
    m_path = std::filesystem::canonical(name);
    std::filesystem::current_path(m_path);
  }
  ~ScopedDirectory() {
    std::filesystem::current_path(m_saved);
    std::filesystem::remove_all(m_path);
  }
  const std::filesystem::path& Path() const { return m_path; }

 private:
  const std::filesystem::path m_saved;
  std::filesystem::path m_path;
};

TEST(CurrentDirectory, IsRead) {
  const ScopedDirectory directory;
  SString out("x");
  EXPECT_EQ(1, bix::BixGetCurrentDirectory(out));
  EXPECT_EQ(directory.Path().string(), out);
}

TEST(CurrentDirectory, FailureLeavesTheEmptyText) {
  const ScopedDirectory directory;
  std::filesystem::create_directory("gone");
  std::filesystem::current_path("gone");
  std::filesystem::remove(directory.Path() / "gone");
  SString out("x");
  EXPECT_EQ(0, bix::BixGetCurrentDirectory(out));
  EXPECT_EQ("", out);
}

TEST(CurrentDirectoryCompat, OfMoreThan4095BytesFails) {
  const ScopedDirectory directory;
  const std::string step(250, 'd');
  for (int depth = 0; depth < 17; ++depth) {
    ASSERT_EQ(0, mkdir(step.c_str(), 0700));
    ASSERT_EQ(0, chdir(step.c_str()));
  }
  SString out("x");
  EXPECT_EQ(0, bix::BixGetCurrentDirectory(out));
  EXPECT_EQ("", out);
}

}  // namespace
