#include "paths/compiled_filter.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace bix_test {
namespace {

using bix::SString;
using bix::UTF8String;
using bix::impl::CompiledFilter;
using bix::impl::FilterCache;
using bix::impl::NormalizeGlobPatternAndCheckValidity;
using bix::impl::Regex;
using bix::impl::ReplaceSubString;

TEST(GlobTranslation, ReplacesInTheOrderOfTheSteps) {
  const struct {
    const char* filter;
    const char* expression;
  } cases[] = {
      {"", "^$"},
      {"*.tot", "^.*\\.tot$"},
      {"a?c", "^a\\?c$"},
      {"\\", "^\\\\$"},
      {"^", "^\\^$"},
      {"$", "^\\$$"},
      {".", "^\\.$"},
      {"*", "^.*$"},
      {"|", "^\\|$"},
      {"(", "^\\($"},
      {")", "^\\)$"},
      {"[", "^\\[$"},
      {"]", "^\\\\]$"},
      {"+", "^\\+$"},
      {"{} \t", "^{} \t$"},
      {".*", "^\\..*$"},
      {"\\.", "^\\\\\\.$"},
      {"\\]", "^\\\\\\\\]$"},
      {"(x|y)+[ab]?", "^\\(x\\|y\\)\\+\\[ab\\\\]\\?$"},
      {"a{2}", "^a{2}$"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.filter);
    SString pattern = c.filter;
    SString error = "old";
    EXPECT_TRUE(NormalizeGlobPatternAndCheckValidity(pattern, error));
    EXPECT_EQ(c.expression, pattern);
    EXPECT_EQ("", error);
  }
}

TEST(GlobTranslation, AnInvalidFilterIsTranslatedAllTheSame) {
  SString pattern = "x{2,1}.a";
  SString error;
  EXPECT_FALSE(NormalizeGlobPatternAndCheckValidity(pattern, error));
  EXPECT_EQ("^x{2,1}\\.a$", pattern);
  EXPECT_EQ(0u, error.find("The filter 'x{2,1}.a' is invalid.\n"));
}

TEST(ReplaceSubString, ReplacesEveryOccurrenceButNotInWhatItInserts) {
  const struct {
    const char *text, *from, *to, *want;
  } cases[] = {
      {"a.b.", ".", "\\.", "a\\.b\\."},
      {"\\\\", "\\", "\\\\", "\\\\\\\\"},
      {"aaa", "aa", "b", "ba"},
      {"abab", "ab", "aab", "aabaab"},
      {"x", "y", "z", "x"},
      {"", "y", "z", ""},
      {"yy", "y", "", ""},
      {"abc", "", "z", "abc"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    UTF8String text(c.text);
    SString error = "old";
    EXPECT_TRUE(ReplaceSubString(text, c.from, c.to, error));
    EXPECT_EQ(c.want, text);
    EXPECT_EQ("", error);
  }
}

TEST(Regex, MatchesTheWholeTextOnly) {
  EXPECT_TRUE(Regex("^a$").MatchesWhole("a"));
  EXPECT_FALSE(Regex("^a$").MatchesWhole("a\n"));
  EXPECT_FALSE(Regex("a").MatchesWhole("ab"));
  EXPECT_FALSE(Regex("b").MatchesWhole("ab"));
  EXPECT_TRUE(Regex("a|ab").MatchesWhole("ab"));
  EXPECT_FALSE(Regex("(").MatchesWhole("("));
  EXPECT_NE("", Regex("(").Error());
  EXPECT_EQ("", Regex("()").Error());
}

TEST(FilterCache, GivesAFilterToOneAtATime) {
  FilterCache cache;
  SString error;
  EXPECT_EQ(nullptr, cache.Take("a*"));
  std::unique_ptr<CompiledFilter> made = CompiledFilter::Compile("a*", error);
  const CompiledFilter* const filter = made.get();
  cache.Put(std::move(made));
  std::unique_ptr<CompiledFilter> taken = cache.Take("a*");
  EXPECT_EQ(filter, taken.get());
  EXPECT_EQ(nullptr, cache.Take("a*"));
  cache.Put(CompiledFilter::Compile("a*", error));
  cache.Put(std::move(taken));
  EXPECT_EQ(filter, cache.Take("a*").get());
}

TEST(FilterCache, KeepsSeveralFilters) {
  FilterCache cache;
  SString error;
  for (const char* filter : {"*.tot", "*.x"}) cache.Put(CompiledFilter::Compile(filter, error));
  for (const char* filter : {"*.tot", "*.x"}) EXPECT_NE(nullptr, cache.Take(filter)) << filter;
}

}  // namespace
}  // namespace bix_test
