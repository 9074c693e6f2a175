#include "paths/star_pattern.h"

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "paths/compiled_filter.h"
#include "paths/regex.h"

namespace bix_test {
namespace {

using bix::impl::IsValidUtf8;
using bix::impl::StarPattern;

TEST(StarPattern, TakesEveryFilterWithoutARepetition) {
  for (const char* filter : {"", "*", "a]", "[a]", "{", "}", "{a}", "a{2", "a{1-2}", "\\{2", "a\nb",
                             "{9A1B-22}*", "a{1,2"}) {
    const auto pattern = StarPattern::Parse(filter);
    ASSERT_TRUE(pattern.has_value()) << filter;
    EXPECT_FALSE(pattern->HasRepetition()) << filter;
  }
}

TEST(StarPattern, TakesRepetitionsOfCharacters) {
  for (const char* filter : {"a{2}", "a{2,}", "a{1,2}", "{{3}", "{a}{2}", "*]{0}*", "\xC3\xA4{007}",
                             "a{2}}", "a{2}\nb{3}"}) {
    const auto pattern = StarPattern::Parse(filter);
    ASSERT_TRUE(pattern.has_value()) << filter;
    EXPECT_TRUE(pattern->HasRepetition()) << filter;
  }
}

TEST(StarPattern, LeavesWhatMayBeARepetitionToTheEngine) {
  for (const char* filter : {"x{2,1}", "{2}", "a{,2}", "a{ 1, 2 }", "a{1 }", "a{1,2,3}", "{}",
                             "a{1}{2}", "a*{2}", "a\n{2}", "a{,}"}) {
    EXPECT_FALSE(StarPattern::Parse(filter).has_value()) << filter;
  }
}

/// All texts of these characters up to that length.
std::vector<std::string> AllTexts(const std::string& characters, std::size_t length) {
  std::vector<std::string> texts{""};
  for (std::size_t first = 0; length > 0; --length) {
    const std::size_t end = texts.size();
    for (; first < end; ++first)
      for (const char c : characters) texts.push_back(texts[first] + c);
  }
  return texts;
}

TEST(StarPattern, SaysWhatTheEngineSays) {
  const struct {
    const char* ofFilters;
    std::size_t filterLength;
    const char* ofNames;
    std::size_t nameLength;
  } cases[] = {{"ab*", 6, "ab", 4}, {"a*\n", 5, "a\n", 4}, {"a*]\\", 4, "a]\\", 4}};
  for (const auto& c : cases) {
    const std::vector<std::string> names = AllTexts(c.ofNames, c.nameLength);
    for (const std::string& filter : AllTexts(c.ofFilters, c.filterLength)) {
      const auto stars = StarPattern::Parse(filter);
      ASSERT_TRUE(stars.has_value()) << filter;
      bix::SString pattern = filter;
      bix::SString error;
      ASSERT_TRUE(bix::impl::NormalizeGlobPatternAndCheckValidity(pattern, error)) << filter;
      const bix::impl::Regex expression(pattern);
      for (const std::string& name : names) {
        ASSERT_EQ(expression.MatchesWhole(name), stars->Matches(name))
            << '"' << filter << "\" and \"" << name << '"';
      }
    }
  }
}

TEST(StarPattern, SaysWhatTheEngineSaysOfRepetitions) {
  const std::string umlaut = "\xC3\xA4";
  const std::vector<std::string> pieces = {
      "a",     "b",     "*",      "\n",     umlaut,           "a{0}", "a{2}",
      "a{0,}", "a{1,}", "b{1,2}", "b{0,1}", umlaut + "{1,2}", "]{2}"};
  std::vector<std::string> names = AllTexts("ab\n", 4);
  for (const char* name :
       {"\xC3\xA4", "\xC3\xA4\xC3\xA4", "a\xC3\xA4\xC3\xA4\xC3\xA4", "\\]]", "\\]", "a\\]]b",
        "aaaaaaaa", "abbabb", "aaabbb", "bababab", "\xC3", "\xA4"})
    names.push_back(name);
  const auto compare = [&names](const std::string& filter) {
    bix::SString pattern = filter;
    bix::SString error;
    ASSERT_TRUE(bix::impl::NormalizeGlobPatternAndCheckValidity(pattern, error)) << filter;
    const auto own = StarPattern::Parse(filter);
    ASSERT_TRUE(own.has_value()) << filter;
    const bix::impl::Regex expression(pattern);
    for (const std::string& name : names)
      ASSERT_EQ(expression.MatchesWhole(name), own->Matches(name))
          << '"' << filter << "\" and \"" << name << '"';
  };
  for (const std::string& one : pieces)
    for (const std::string& two : pieces)
      for (const std::string& three : pieces)
        for (const std::string& four : {std::string("*"), std::string("a{1,}"), std::string()})
          compare(one + two + three + four);
}

TEST(StarPattern, KnowsValidUtf8AtEveryOffset) {
  for (std::size_t offset = 0; offset < 20; ++offset) {
    const std::string before(offset, 'x');
    EXPECT_TRUE(IsValidUtf8(before));
    EXPECT_TRUE(IsValidUtf8(before + "\xC3\xA4" + before));
    EXPECT_TRUE(IsValidUtf8(before + "\xF0\x9F\x8F\xA0"));
    EXPECT_FALSE(IsValidUtf8(before + "\xC3" + before));
    EXPECT_FALSE(IsValidUtf8(before + "\x80" + before));
    EXPECT_FALSE(IsValidUtf8(before + "\xF0\x9F\x8F"));
  }
}

}  // namespace
}  // namespace bix_test
