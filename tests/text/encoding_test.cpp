#include "bix/encoding.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using bix::DetectEncoding;
using bix::EncodingInfo;
using bix::IsUTF8;
using namespace std::string_literals;

/// A block of exactly the text's bytes and a terminator, so that a read past it is seen.
class ExactText {
 public:
  explicit ExactText(const std::string& text) : m_bytes(new char[text.size() + 1]) {
    std::copy_n(text.c_str(), text.size() + 1, m_bytes.get());
  }
  const char* Get() const { return m_bytes.get(); }

 private:
  std::unique_ptr<char[]> m_bytes;
};

EncodingInfo Detect(const std::string& bytes) {
  return DetectEncoding(ExactText(bytes).Get(), static_cast<unsigned>(bytes.size()));
}
bool Utf8(const std::string& text) { return IsUTF8(ExactText(text).Get()); }

const char kAcute[] = "\xC3\xA9";     // its second byte counts as an other
const char kEuro[] = "\xE2\x82\xAC";  // its second byte ends the test
const char kHighest[] = "\xEF\xBF\xBF";

TEST(EncodingInfo, IsUnknownAtFirst) {
  const EncodingInfo info;
  EXPECT_EQ(0, info.encoding);
  EXPECT_EQ(0, info.byteOrderMark);
  EXPECT_EQ("Unknown", info.GetEncodingName());
}

TEST(EncodingInfo, NamesEachEncoding) {
  const struct {
    int encoding;
    const char* name;
  } cases[] = {{0, "Unknown"},  {1, "UTF-16LE"}, {2, "UTF-16BE"}, {3, "UTF-8"},
               {4, "US-ASCII"}, {5, "Unknown"},  {-1, "Unknown"}};
  for (const auto& c : cases) {
    EncodingInfo info;
    info.encoding = c.encoding;
    EXPECT_EQ(c.name, info.GetEncodingName()) << c.encoding;
  }
}

TEST(DetectEncoding, TakesTheMarkThenTheZerosThenTheScore) {
  const struct {
    std::string bytes;
    int encoding;
    int mark;
  } cases[] = {
      {"\xFF\xFE"
       "A\0"s,
       1, 1},
      {"\xFE\xFF\0A"s, 2, 1},
      {"\xEF\xBB\xBF"
       "A"s,
       3, 1},
      {"\xFF\xFE"s, 1, 1},
      {"\xFE\xFF"s, 2, 1},
      {"\xEF\xBB\xBF"s, 3, 1},
      {"\xFF\xFE\0A"s, 1, 1},  // the mark, whatever the zeros say
      {"\xFE\xFF"
       "A\0B\0"s,
       2, 1},
      {"\xEF\xBB\xBF\0\0"s, 3, 1},
      {"\xFF"s, 0, 0},
      {"\xEF\xBB"s, 0, 0},  // BB is no ender, and the lead is incomplete
      {"A\0B\0"s, 1, 0},
      {"\0A\0B"s, 2, 0},
      {"\0"s, 2, 0},  // one zero at an even position
      {"A\0"s, 1, 0},
      {"\0\0"s, 1, 0},  // a tie
      {"A\0\0A"s, 1, 0},
      {"\0\0\0"s, 2, 0},  // two at even, one at odd positions
      {"AB\0"s, 2, 0},
      {"\xE2\x82\xAC\0"s, 1, 0},  // zeros go before the score
      {kEuro, 3, 0},
      {kAcute, 0, 0},
      {kHighest, 0, 0},
      {"", 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes));
    const EncodingInfo info = Detect(c.bytes);
    EXPECT_EQ(c.encoding, info.encoding);
    EXPECT_EQ(c.mark, info.byteOrderMark);
  }
}

TEST(DetectEncoding, CountsZerosInBlocksOfAnyLength) {
  // Around the widths in which zeros are counted, up to columns of more than 255.
  for (const std::size_t length :
       {1, 2, 15, 16, 17, 31, 32, 33, 63, 64, 65, 4079, 4080, 4081, 4096, 5000, 100000}) {
    SCOPED_TRACE(length);
    std::string even(length, 'x');
    for (std::size_t i = 0; i < length; i += 2) even[i] = 0;
    EXPECT_EQ(2, Detect(even).encoding);
    if (length < 2) continue;
    std::string odd(length, 'x');
    for (std::size_t i = 1; i < length; i += 2) odd[i] = 0;
    EXPECT_EQ(1, Detect(odd).encoding);
    // One zero more at an even position, at the very end or the one before.
    std::string tie(length, 0);
    EXPECT_EQ(length % 2 == 0 ? 1 : 2, Detect(tie).encoding);
    tie[1] = 'x';
    EXPECT_EQ(2, Detect(tie).encoding);
    tie[0] = 'x';
    EXPECT_EQ(length == 2 ? 0 : length % 2 == 0 ? 1 : 2, Detect(tie).encoding);
  }
}

TEST(DetectEncoding, NullIsTheEmptyText) {
  EXPECT_EQ(0, DetectEncoding(nullptr, 0).encoding);
  EXPECT_EQ(0, DetectEncoding(nullptr, 4).encoding);
  EXPECT_FALSE(IsUTF8(nullptr));
}

TEST(DetectEncodingCompat, ReadsToTheTerminator) {
  const ExactText text("plain, then "s + kEuro);
  EXPECT_EQ(3, DetectEncoding(text.Get(), 5).encoding);
  EXPECT_EQ(3, DetectEncoding(ExactText(kEuro).Get(), 0).encoding);
  EXPECT_EQ(0, DetectEncoding(ExactText("\xFF\xFE").Get(), 1).encoding)
      << "the mark is looked for in the bytes given";
  const ExactText marked("\xEF\xBB\xBF");
  EXPECT_EQ(0, DetectEncoding(marked.Get(), 2).encoding);
  EXPECT_EQ(0, DetectEncoding(marked.Get(), 2).byteOrderMark);
}

TEST(DetectEncodingCompat, PlainAsciiIsUnknown) {
  const EncodingInfo info = Detect("Plain text, without zeros.\r\n\t~\x7F");
  EXPECT_EQ(0, info.encoding);
  EXPECT_EQ(0, info.byteOrderMark);
  EXPECT_EQ("Unknown", info.GetEncodingName());
}

struct ScoredText {
  std::string text;
  bool isUtf8;
};

// Without a byte that ends the test at once, so that they can stand in the middle of others.
const ScoredText kScored[] = {
    {kAcute, false},      // 1 sequence, 1 other
    {kHighest, false},    // 1 sequence, 2 others
    {"\xC3\x8E", false},  // 8E and 8F are others
    {"\xC3\x8F", false},
    {"\xC3", false},  // incomplete
    {"\xC3"
     "A",
     false},
    {"\xC3\xA9\xA9", false},  // one continuation byte too many
    {"\xA9", false},          // stray
    {"\xFE", false},
    {"\xFF", false},
};

const ScoredText kEnded[] = {
    {kEuro, true},
    {"\xC3\x80", true},
    {"\xC3\x8D", true},
    {"\xC3\x90", true},
    {"\xC3\x9F", true},
    {"\xF0\x9F\x98\x80", true},
    {"\xC3\x80$B", true},  // without the escape byte
    {"\x80", false},       // no sequence before it
    {"\x9F", false},
    {"\xC3"
     "A\x80",
     false},
    {"\xC3\xA9\xC3"
     "A\x80",
     true},  // invalid since then, but a sequence was seen
    {"\xC3\xA9\xFF\x80", true},
    {"\xFF\xC3\x80", false},      // nothing counts behind an invalid byte
    {"\xC3\xA9\xA9\x80", false},  // no sequence, as there is one byte too many
    {"\x1B\x24\x42", false},
    {"\x1B\x24\x40", false},
    {"\xC3\xA9\xC3\xA9\x1B\x24\x42", false},
    {"\x1B\x24\x42\xE2\x82\xAC", false},  // whatever comes behind
    {"\xE2\x82\xAC\x1B\x24\x42", true},   // the test has ended before
};

TEST(Utf8Score, OfShortTexts) {
  for (const auto& c : kScored) EXPECT_EQ(c.isUtf8, Utf8(c.text)) << testing::PrintToString(c.text);
  for (const auto& c : kEnded) EXPECT_EQ(c.isUtf8, Utf8(c.text)) << testing::PrintToString(c.text);
  EXPECT_FALSE(Utf8(""));
  EXPECT_FALSE(Utf8("plain"));
  EXPECT_FALSE(Utf8("\x01\x1F \x7F~"));
}

TEST(Utf8Score, DoesNotDependOnWhereInTheTextItIs) {
  for (std::size_t before = 0; before <= 200; ++before) {
    const std::string front(before, 'x');
    for (const std::size_t after : {0, 1, 7, 64, 150}) {
      const std::string back(after, '.');
      for (const auto& c : kScored)
        ASSERT_EQ(c.isUtf8, Utf8(front + c.text + back))
            << before << " " << after << " " << testing::PrintToString(c.text);
      for (const auto& c : kEnded)
        ASSERT_EQ(c.isUtf8, Utf8(front + c.text + back))
            << before << " " << after << " " << testing::PrintToString(c.text);
    }
  }
}

TEST(Utf8ScoreCompat, NeedsMoreSequencesThanOthers) {
  // A sequence brings continuation bytes, which count as others: as many are the most it gets to.
  for (const std::size_t count : {1, 2, 31, 32, 33, 64, 100, 1000}) {
    SCOPED_TRACE(count);
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += kAcute;
    EXPECT_FALSE(Utf8(text));
    EXPECT_TRUE(Utf8(text + kEuro));
    EXPECT_FALSE(Utf8("\xFF" + text + kEuro));
    EXPECT_TRUE(Utf8(text + "\xFF" + kEuro));
    EXPECT_FALSE(Utf8(text + "\x1B$B" + kEuro));
  }
}

TEST(Utf8ScoreCompat, ContinuationBytesCountAsOthers) {
  EXPECT_FALSE(Utf8("caf\xC3\xA9"));
  EXPECT_FALSE(Utf8("\xC3\xA9t\xC3\xA9 \xC3\xA0 la plage"));
}

TEST(Utf8ScoreCompat, SomeContinuationBytesEndTheTest) {
  EXPECT_TRUE(
      Utf8("Stra\xC3\x9F"
           "e"));
  EXPECT_TRUE(
      Utf8("Stra\xC3\x9F"
           "e \xA9\xA9\xA9\xA9 \xFF"))
      << "whatever comes behind";
  EXPECT_TRUE(Utf8("\xC3\xA9\xC3\xA9\xC3\xA9\xA9\xA9 \xC3\x80"))
      << "sequences are not compared with others then";
}

TEST(Utf8Score, OnlyASwitchToJapaneseCharactersEndsTheTest) {
  EXPECT_FALSE(Utf8("\x1B(J"));
  EXPECT_FALSE(Utf8("\x1B(B text"));
  EXPECT_TRUE(Utf8("\x1B(J\x1B(B\x1B(J \xE2\x82\xAC"));
  EXPECT_FALSE(Utf8("\x1B(J\x1B$B \xE2\x82\xAC"));
  EXPECT_FALSE(Utf8("\x1B(J\x1B$@ \xE2\x82\xAC"));
  EXPECT_TRUE(Utf8("\x1B(I \xE2\x82\xAC")) << "another escape";
  EXPECT_TRUE(Utf8("\x1B$A \xE2\x82\xAC"));
  EXPECT_FALSE(Utf8("\x1B")) << "the text ends behind the escape byte";
  EXPECT_FALSE(Utf8("\x1B$"));
  EXPECT_FALSE(Utf8("\x1B("));
}

}  // namespace
