#include "paths/star_pattern.h"

#include <string>

#include <gtest/gtest.h>

namespace bix_test {
namespace {

using bix::impl::IsValidUtf8;
using bix::impl::StarPattern;

TEST(StarPattern, TakesEveryFilterWithoutARepetition) {
  for (const char* filter : {"", "*", "a]", "[a]", "{", "}", "{a}", "a{2", "a{1-2}", "\\{2", "a\nb",
                             "{9A1B-22}*", "a{1,2"}) {
    EXPECT_TRUE(StarPattern::Parse(filter).has_value()) << filter;
  }
}

TEST(StarPattern, LeavesWhatMayBeARepetitionToTheEngine) {
  for (const char* filter :
       {"a{2}", "a{2,}", "a{1,2}", "x{2,1}", "{2}", "{{3}", "a{,2}", "a{ 1, 2 }", "{a}{2}", "{}"}) {
    EXPECT_FALSE(StarPattern::Parse(filter).has_value()) << filter;
  }
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
