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

TEST(FilterCache, KeepsAFilterForTheNextUse) {
  FilterCache cache;
  SString error;
  const CompiledFilter* kept = nullptr;
  {
    FilterCache::Use use(cache, "a*");
    EXPECT_EQ(nullptr, use.Find());
    kept = use.Keep(CompiledFilter::Compile("a*", error));
    EXPECT_EQ("a*", kept->Filter());
    EXPECT_EQ(kept, use.Find());
  }
  FilterCache::Use use(cache, "a*");
  EXPECT_EQ(kept, use.Find());
}

TEST(FilterCache, GivesAFilterToOneAtATime) {
  FilterCache cache;
  SString error;
  const CompiledFilter* kept = nullptr;
  {
    FilterCache::Use first(cache, "a*");
    kept = first.Keep(CompiledFilter::Compile("a*", error));
    FilterCache::Use second(cache, "a*");
    EXPECT_EQ(nullptr, second.Find());
    const CompiledFilter* const own = second.Keep(CompiledFilter::Compile("a*", error));
    EXPECT_NE(kept, own);
    EXPECT_TRUE(own->Matches("ab"));
  }
  FilterCache::Use use(cache, "a*");
  EXPECT_EQ(kept, use.Find());
}

TEST(FilterCache, KeepsSeveralFilters) {
  FilterCache cache;
  SString error;
  for (const char* filter : {"*.tot", "*.x"})
    FilterCache::Use(cache, filter).Keep(CompiledFilter::Compile(filter, error));
  for (const char* filter : {"*.tot", "*.x"})
    EXPECT_NE(nullptr, FilterCache::Use(cache, filter).Find()) << filter;
}

}  // namespace
}  // namespace bix_test
