#include "paths/canonicalize.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Case {
  const char* in;
  const char* want;
};

// Both into a buffer of its own, which nothing is written behind, and onto the text itself.
void ExpectCanonical(const Case& c) {
  SCOPED_TRACE(c.in);
  const std::string in = c.in;
  std::vector<char> out(in.size() + 2, '#');
  EXPECT_EQ(in != c.want, bix::impl::VlgPathCanonicalize(out.data(), c.in));
  EXPECT_STREQ(c.want, out.data());
  EXPECT_EQ('#', out.back());

  std::string same = in;
  EXPECT_EQ(in != c.want, bix::impl::VlgPathCanonicalize(same.data(), same.data()));
  EXPECT_STREQ(c.want, same.c_str());
}

TEST(Canonicalize, RemovesSteps) {
  const Case cases[] = {
      {"", ""},
      {"/", "/"},
      {"/a", "/a"},
      {"/a/b/../c", "/a/c"},
      {"/a/./b", "/a/b"},
      {"/a/././b", "/a/b"},
      {"/a/./../b", "/b"},
      {"/a/.././b", "/b"},
      {"/a/b/..", "/a"},
      {"/a/b/../..", ""},
      {"/a/b/../../c", "/c"},
      {"/./a", "/a"},
      {"/a/b/c/../../d/../e/./f", "/a/e/f"},
      {"/a/./", "/a/"},
      {"/./", "/"},
      {"/../", "/"},
      {"/a/../", "/"},
  };
  for (const Case& c : cases) ExpectCanonical(c);
}

TEST(Canonicalize, DropsStepsBeyondTheRoot) {
  const Case cases[] = {
      {"/..", ""}, {"/a/..", ""}, {"/../a", "/a"}, {"/../../a", "/a"}, {"/a/../../../b", "/b"}};
  for (const Case& c : cases) ExpectCanonical(c);
}

TEST(Canonicalize, LeavesWhatOnlyLooksLikeAStep) {
  const Case cases[] = {
      {"/a/...", "/a/..."},
      {"/a/.../b", "/a/.../b"},
      {"/a/..b/c", "/a/..b/c"},
      {"/a/.b/c", "/a/.b/c"},
      {"/a/b./c", "/a/b./c"},
      {"/a/b../c", "/a/b../c"},
      {"/....../x", "/....../x"},
      {"/a..", "/a.."},
      {"/a.", "/a."},
      {"/.a", "/.a"},
      {"/..a", "/..a"},
      {"/a/.\\b", "/a/.\\b"},
  };
  for (const Case& c : cases) ExpectCanonical(c);
}

TEST(Canonicalize, LeavesAStepAtTheVeryStart) {
  const Case cases[] = {{"./x", "./x"}, {"../x", "../x"}, {".", "."}, {"..", ".."}, {"...", "..."}};
  for (const Case& c : cases) ExpectCanonical(c);
}

TEST(CanonicalizeCompat, ATrailingDotStepStays) {
  const Case cases[] = {{"/a/.", "/a/."}, {"/.", "/."}, {"/a/../.", "/."}, {"/a/./.", "/a/."}};
  for (const Case& c : cases) ExpectCanonical(c);
}

TEST(CanonicalizeCompat, AStepBackEatsDriveSchemeAndHost) {
  const Case cases[] = {
      {"C:/..", ""},
      {"C:/../x", "/x"},
      {"C:x/../y", "/y"},
      {"urn:a:b/../c", "/c"},
      {"http://h/../x", "http://x"},
      {"http://h/../../x", "http:/x"},
      {"http://h/../../../x", "/x"},
  };
  for (const Case& c : cases) ExpectCanonical(c);
}

TEST(CanonicalizeCompat, AnEmptyComponentIsAComponent) {
  const Case cases[] = {
      {"//", "//"}, {"//a", "//a"}, {"/a//b", "/a//b"}, {"/a//../b", "/a/b"},
      {"//..", ""}, {"///..", "/"}, {"//./a", "//a"},   {"/a/.//b", "/a//b"},
  };
  for (const Case& c : cases) ExpectCanonical(c);
}

TEST(Canonicalize, TakesTextOfAnyLength) {
  std::string in;
  for (int i = 0; i < 5000; ++i) in += "/abc/./x/..";
  std::string want;
  for (int i = 0; i < 5000; ++i) want += "/abc";
  ExpectCanonical({in.c_str(), want.c_str()});
}

TEST(FindLastDirSep, PrefersTheSlash) {
  const struct {
    const char* path;
    int want;  // -1: null
  } cases[] = {{"", -1},    {"a", -1},      {"/", 0},      {"a/b", 1},   {"a/b/", 3},
               {"a\\b", 1}, {"a\\b\\c", 3}, {"a/b\\c", 1}, {"a\\b/c", 3}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    const char* const found = bix::impl::FindLastDirSep(c.path);
    EXPECT_EQ(c.want, found != nullptr ? found - c.path : -1);
  }
}

}  // namespace
