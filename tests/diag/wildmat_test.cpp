#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "bix/diagnostics.h"

namespace {

/// Matches in blocks of exactly the bytes, so that a read past them is seen.
int Match(const std::string& text, const std::string& pattern) {
  const auto copy = [](const std::string& bytes) {
    std::unique_ptr<char[]> block(new char[bytes.size() + 1]);
    std::copy_n(bytes.c_str(), bytes.size() + 1, block.get());
    return block;
  };
  return zq_wildmat(copy(text).get(), copy(pattern).get());
}

struct Case {
  const char* text;
  const char* pattern;
  int want;
};

template <std::size_t kCount>
void Expect(const Case (&cases)[kCount]) {
  for (const Case& c : cases)
    EXPECT_EQ(c.want, Match(c.text, c.pattern)) << '"' << c.text << "\", \"" << c.pattern << '"';
}

TEST(Wildcard, MatchesTheWholeText) {
  Expect({{"abc", "abc", 1},
          {"abc", "ab", 0},
          {"ab", "abc", 0},
          {"abc", "bc", 0},
          {"abc", "ABC", 0},
          {"", "", 1},
          {"a", "", 0},
          {"", "a", 0}});
}

TEST(Wildcard, AStarTakesAnyNumber) {
  Expect({{"abc", "a*c", 1},
          {"abc", "*", 1},
          {"", "*", 1},
          {"", "**", 1},
          {"a", "a*b", 0},
          {"ac", "a*c", 1},
          {"abcb", "a*b", 1},
          {"abcbd", "a*b", 0},
          {"abc", "*c", 1},
          {"abc", "a*", 1},
          {"abc", "*b", 0},
          {"", "*a", 0},
          {"abc", "***", 1},
          {"abc", "a***c", 1},
          {"a", "a*", 1},
          {"a", "a**", 1},
          {"aab", "*ab", 1},
          {"abab", "*ab", 1},
          {"ababx", "*ab", 0},
          {"abxabyab", "*ab*ab*ab", 1},
          {"abxab", "*ab*ab*ab", 0},
          {"mississippi", "m*iss*ip*", 1},
          {"mississippi", "*issip*ss*", 0}});
}

TEST(Wildcard, AQuestionMarkTakesOne) {
  Expect({{"abc", "a?c", 1},
          {"", "?", 0},
          {"a", "?", 1},
          {"ab", "?", 0},
          {"a", "??", 0},
          {"abc", "*?", 1},
          {"", "*?", 0},
          {"a", "?*?", 0},
          {"ab", "?*?", 1}});
}

TEST(Wildcard, ABackslashTakesTheNextLiterally) {
  Expect({{"a*", "a\\*", 1},
          {"ab", "a\\*", 0},
          {"?", "\\?", 1},
          {"a", "\\?", 0},
          {"[", "\\[", 1},
          {"\\", "\\\\", 1},
          {"a", "\\a", 1},
          {"xa*y", "*\\**", 1},
          {"xay", "*\\**", 0}});
}

TEST(Wildcard, AClassTakesOneOfItsMembers) {
  Expect({{"abc", "a[a-c]c", 1}, {"abc", "a[^b]c", 0},   {"axc", "a[^b]c", 1}, {"b", "[abc]", 1},
          {"d", "[abc]", 0},     {"d", "[^abc]", 1},     {"b", "[^a-c]", 0},   {"", "[abc]", 0},
          {"", "[^abc]", 0},     {"B", "[a-c]", 0},      {"b", "[c-a]", 0},    {"a", "[a-a]", 1},
          {"ab", "[ab]", 0},     {"ab", "[ab][ab]", 1},  {"*", "[*]", 1},      {"a", "[*]", 0},
          {"?", "[?]", 1},       {"[", "[[]", 1},        {"xb", "*[ab]", 1},   {"xc", "*[ab]", 0},
          {"a9z", "a[0-9]z", 1}, {"a5", "[a-f][0-9]", 1}});
}

TEST(Wildcard, InAClassOtherSignsAreMembers) {
  Expect({{"!", "[!a]", 1},
          {"a", "[!a]", 1},
          {"b", "[!a]", 0},
          {"\\", "[\\]", 1},
          {"]", "[\\]", 0},
          {"\\]", "[\\]]", 1},
          {"^", "[a^]", 1},
          {"^", "[^^]", 0},
          {"a", "[^^]", 1}});
}

TEST(WildcardCompat, AClassMayBeEmpty) {
  Expect({{"a", "[]", 0},
          {"", "[]", 0},
          {"]", "[]", 0},
          {"a", "[^]", 1},
          {"]", "[^]", 1},
          {"", "[^]", 0},
          {"ab", "[^][^]", 1},
          {"a]", "[^]]", 1},
          {"]", "[]]", 0},
          {"a", "[]a]", 0},
          {"xy", "x*[]", 0}});
}

TEST(WildcardCompat, RangesAreOfSignedBytes) {
  Expect({{"d", "[a-c-e]", 1},  // from the end of the range before
          {"b", "[a-c-e]", 1},
          {"f", "[a-c-e]", 0},
          {"\xC3", "[\x80-\xFF]", 1},
          {"\xC3", "[a-\xFF]", 0},
          {"b", "[a-\xFF]", 0},
          {"z", "[\x80-a]", 0},
          {"A", "[\x80-a]", 1},
          {"\xFF", "[\x80-a]", 1}});
}

TEST(Wildcard, ADashWithoutAMemberOnBothSides) {
  Expect({{"-", "[a-]", 1},
          {"a", "[a-]", 1},
          {"b", "[a-]", 0},
          {"-", "[-]", 0},
          {"a", "[-]", 0},
          {"-", "[^-]", 1},
          {"-", "[-a]", 0},
          {"a", "[-a]", 0},
          {"b", "[-ab]", 1},
          {"a", "[^-a]", 1},
          {"b", "[-a-c]", 1},  // the end of the first range begins the next
          {"c", "[a-c-]", 1},
          {"-", "[a-c-]", 1},
          {"-", "[+--]", 1},
          {",", "[+--]", 1}});
}

TEST(WildcardCompat, AnInvalidPatternMatchesNothing) {
  Expect({{"a", "[", 0},       {"a", "[a", 0},    {"a", "[^", 0},    {"a", "[^b", 0},
          {"a", "[a-", 0},     {"a", "[a-z", 0},  {"", "[", 0},      {"a", "\\", 0},
          {"", "\\", 0},       {"a", "a\\", 0},   {"a\\", "a\\", 0}, {"\\", "\\", 0},
          {"abc", "*[", 0},    {"abc", "*[c", 0}, {"abc", "*\\", 0}, {"abc", "abc[", 0},
          {"abc", "a*c[a", 0}, {"abc", "*[^", 0}, {"[", "[", 0},     {"a[", "a[", 0},
          {"", "*[", 0},       {"", "*\\", 0}});
}

TEST(Wildcard, NullIsEmpty) {
  EXPECT_EQ(1, zq_wildmat(nullptr, nullptr));
  EXPECT_EQ(1, zq_wildmat(nullptr, "*"));
  EXPECT_EQ(0, zq_wildmat(nullptr, "a"));
  EXPECT_EQ(1, zq_wildmat("", nullptr));
  EXPECT_EQ(0, zq_wildmat("a", nullptr));
}

TEST(Wildcard, EndsSoonWhateverThePattern) {
  // Each would take for ever, or all of the stack, if every star were tried at every place.
  const std::string text(20000, 'a');
  std::string stars;
  for (int i = 0; i < 5000; ++i) stars += "*a";
  EXPECT_EQ(1, Match(text, stars));
  EXPECT_EQ(0, Match(text, stars + "b"));
  EXPECT_EQ(1, Match(text, std::string(20000, '*')));
  EXPECT_EQ(0, Match(text, std::string(20000, '*') + "b"));
  EXPECT_EQ(1, Match(text, std::string(20000, '?')));
  EXPECT_EQ(0, Match(text, "*" + std::string(20001, '?')));
  std::string classes;
  for (int i = 0; i < 100; ++i) classes += "*[b-z^a]";
  EXPECT_EQ(1, Match(text, classes));
  EXPECT_EQ(0, Match(text, classes + "[^a]"));
}

}  // namespace
