#include "bix/pathname.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/captured_output.h"
#include "support/scoped_environment.h"
#include "support/temp_directory.h"
#include "support/working_directory.h"

namespace {

using bix::SPathName;
using bix::SString;
using bix_test::IsDirectory;
using bix_test::ScopedVariable;
using bix_test::ScopedWorkingDirectory;
using bix_test::TempDirectory;

std::string Take(char* text) {
  if (text == nullptr) return "<null>";
  const std::string copy = text;
  std::free(text);
  return copy;
}

/// A path whose text has not been normalised.
SPathName Raw(const char* text) {
  SPathName path;
  path.append(text);
  return path;
}

struct Case {
  const char* in;
  const char* want;
};

/// `text` becomes `want` on every way into a path.
void ExpectNormal(const char* text, const std::string& want) {
  SCOPED_TRACE(text);
  EXPECT_EQ(want, SPathName(text).c_str());
  EXPECT_EQ(want, SPathName(SString(text)).c_str());
  SPathName path("/something/else/of/some/length");
  EXPECT_EQ(&path, &(path = text));
  EXPECT_EQ(want, path.c_str());
  EXPECT_EQ(want.size(), path.size());
  path = "x";
  EXPECT_EQ(&path, &(path = SString(text)));
  EXPECT_EQ(want, path.c_str());
}

TEST(PathName, IsASString) {
  const SPathName path("a\\b");
  const SString& text = path;
  EXPECT_STREQ("a/b", text.c_str());
  EXPECT_EQ(sizeof(SString), sizeof(SPathName));
  EXPECT_TRUE(SPathName().empty());
}

TEST(PathName, AbsoluteTextIsCanonical) {
  const Case cases[] = {
      {"", ""},
      {"/", "/"},
      {"/a/b", "/a/b"},
      {"\\a\\b", "/a/b"},
      {"C:\\x\\..\\y", "C:/y"},
      {"C:\\x", "C:/x"},
      {"/a/b/../c", "/a/c"},
      {"/a/./b", "/a/b"},
      {"/a/b/..", "/a"},
      {"/a/..", ""},
      {"/..", ""},
      {"/../x", "/x"},
      {"\\a\\.\\b\\..\\c", "/a/c"},
      {"/a/.", "/a/."},
      {"\\a\\.", "/a/."},
      {"/a//b", "/a//b"},
      {"/a//../b", "/a/b"},
      {"\\\\server\\share\\..\\x", "//server/x"},
      {"http://h/../x", "http://x"},
      {"urn:a:b/../c", "/c"},
      {"C:/..", ""},
      {"/A/b", "/A/b"},
      {"/a b/\xC3\xA4/../c", "/a b/c"},
      {"/a/\x80\xFF/../b", "/a/b"},
  };
  for (const Case& c : cases) ExpectNormal(c.in, c.want);
}

TEST(PathNameCompat, RelativeTextKeepsItsSteps) {
  const Case cases[] = {
      {"a\\..\\b", "a/../b"},
      {"a/./b", "a/./b"},
      {"./x", "./x"},
      {"../x", "../x"},
      {".", "."},
      {"..", ".."},
      {"a.b:c/../d", "a.b:c/../d"},
      {"1a:/../d", "1a:/../d"},
      {"a\\\\b\\", "a//b/"},
      {"~/../x", "~/../x"},
  };
  for (const Case& c : cases) ExpectNormal(c.in, c.want);
}

TEST(PathName, NullIsEmpty) {
  const char* const null = nullptr;
  EXPECT_STREQ("", SPathName(null).c_str());
  SPathName path("x");
  path = null;
  EXPECT_STREQ("", path.c_str());
}

TEST(PathName, TakesTextUpTo1023Bytes) {
  const std::string longest = "/" + std::string(1022, 'x');
  errno = 0;
  ExpectNormal(longest.c_str(), longest);
  EXPECT_EQ(0, errno);
}

TEST(PathNameLimitCompat, TextOf1024BytesGivesAnEmptyPath) {
  for (const std::size_t length : {1024U, 1025U, 100000U}) {
    // Also when the canonical form is short.
    std::string text = "/a";
    while (text.size() + 5 <= length) text += "/x/..";
    text.append(length - text.size(), 'y');
    errno = 0;
    EXPECT_STREQ("", SPathName(text.c_str()).c_str());
    EXPECT_EQ(EINVAL, errno);
    errno = 0;
    EXPECT_STREQ("", SPathName(SString(text)).c_str());
    EXPECT_EQ(EINVAL, errno);
    SPathName path("x");
    errno = 0;
    path = text.c_str();
    EXPECT_STREQ("", path.c_str());
    EXPECT_EQ(EINVAL, errno);
    path = "x";
    errno = 0;
    path = SString(text);
    EXPECT_STREQ("", path.c_str());
    EXPECT_EQ(EINVAL, errno);
  }
}

TEST(PathName, TextEndsAtItsFirstZeroByte) {
  EXPECT_EQ(std::string("/a"), SPathName(SString(std::string("/a\0/../b", 8))));
  EXPECT_EQ(2U, SPathName(SString(std::string("/a\0/../b", 8))).size());
}

TEST(PathName, CopiesAreNotNormalised) {
  const SPathName raw = Raw("/a/../b\\c");
  const SPathName copy(raw);
  EXPECT_STREQ("/a/../b\\c", copy.c_str());
  SPathName assigned("x");
  assigned = raw;
  EXPECT_STREQ("/a/../b\\c", assigned.c_str());
  SPathName moved(std::move(assigned));
  EXPECT_STREQ("/a/../b\\c", moved.c_str());
  const std::string longText(3000, 'x');
  const SPathName overlong = Raw(longText.c_str());
  EXPECT_EQ(longText, SPathName(overlong).c_str());
}

TEST(PathName, TakesPartsOfItself) {
  SPathName path("/some/directory/with/a/long/name/and/a/tail");
  path = path.GetTail();
  EXPECT_STREQ("tail", path.c_str());
  path = Raw("/x/C:\\a\\..\\b");
  path = path.c_str() + 3;
  EXPECT_STREQ("C:/b", path.c_str());
  const SString& self = path;
  path = self;
  EXPECT_STREQ("C:/b", path.c_str());
}

// Queries

TEST(PathNameTail, IsBehindTheLastSeparator) {
  const Case cases[] = {{"/a/b", "b"}, {"/a/", ""},   {"b", "b"},        {"", ""},
                        {"/", ""},     {"a\\b", "b"}, {"C:/x.y", "x.y"}, {"C:x", "C:x"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in);
    const SPathName path(c.in);
    EXPECT_STREQ(c.want, path.GetTail());
    EXPECT_EQ(path.c_str() + path.size() - std::string(c.want).size(), path.GetTail());
  }
}

TEST(PathNameTailCompat, ABackslashCountsOnlyWithoutASlash) {
  EXPECT_STREQ("c", Raw("a\\b\\c").GetTail());
  EXPECT_STREQ("b\\c", Raw("a/b\\c").GetTail());
  EXPECT_STREQ("a", Raw("a\\b\\c").GetDirectory().substr(0, 1).c_str());
  EXPECT_STREQ("a\\b", Raw("a\\b\\c").GetDirectory().c_str());
  EXPECT_STREQ("a", Raw("a/b\\c").GetDirectory().c_str());
}

TEST(PathNameSuffix, IsOfTheLastComponent) {
  const Case cases[] = {{"x.c", ".c"},      {"x.tar.gz", ".gz"}, {"/a/.profile", ".profile"},
                        {"a.b/c", nullptr}, {"dir/", nullptr},   {"x", nullptr},
                        {"", nullptr},      {"x.", "."},         {"/a.b/c.d", ".d"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in);
    const SPathName path(c.in);
    if (c.want == nullptr)
      EXPECT_EQ(nullptr, path.GetSuffix());
    else
      EXPECT_STREQ(c.want, path.GetSuffix());
  }
}

TEST(PathNameBaseName, IsTheLastComponentWithoutItsSuffix) {
  const Case cases[] = {{"/a/b.c", "b"}, {"b", "b"},      {"x.tar.gz", "x.tar"},
                        {"a.b/c", "c"},  {"dir/", ""},    {"/a/.profile", ""},
                        {"", ""},        {"C:x.y", "C:x"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in);
    const SPathName path(c.in);
    EXPECT_EQ(c.want, Take(path.GetBaseName()));
    EXPECT_STREQ(c.in, path.c_str());
  }
  EXPECT_EQ("b\\c", Take(Raw("a/b\\c.d").GetBaseName()));
  EXPECT_EQ("a\\b", Take(Raw("a\\b.c").GetBaseName()));
}

TEST(PathNameDirectory, IsNeverEmptyAndKeepsTheDriveSlash) {
  const Case cases[] = {{"/foo", "/"},  {"/a/b", "/a"},     {"C:/x", "C:/"}, {"/a/b/", "/a/b"},
                        {"a/b", "a"},   {"/", "/"},         {"C:/", "C:/"},  {"CD:/x", "CD:"},
                        {"1:/x", "1:"}, {"C:/a/x", "C:/a"}, {"//x", "/"},    {"ab/x", "ab"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in);
    EXPECT_STREQ(c.want, SPathName(c.in).GetDirectory().c_str());
  }
}

TEST(PathNameDirectoryCompat, ABareNameIsInTheRoot) {
  for (const char* name : {"foo", "", "C:", "C:x", "..", "foo.bar"}) {
    SCOPED_TRACE(name);
    EXPECT_STREQ("/", SPathName(name).GetDirectory().c_str());
  }
}

TEST(PathNameSeparators, OfBothStyles) {
  EXPECT_EQ("\\a\\b c\\", Take(SPathName("/a/b c/").GetWinPath()));
  EXPECT_EQ("a\\b\\c", Take(Raw("a/b\\c").GetWinPath()));
  EXPECT_EQ("a/b/c", Take(Raw("a/b\\c").GetUnixPath()));
  EXPECT_EQ("", Take(SPathName().GetWinPath()));
  EXPECT_EQ("", Take(SPathName().GetUnixPath()));
}

TEST(PathNameAbsolute, ASlashOrAUri) {
  for (const char* text : {"/", "/x", "\\x", "C:/x", "C:x", "http://h/x", "urn:a:b"})
    EXPECT_TRUE(SPathName(text).IsAbsolutePath()) << text;
  for (const char* text : {"", "x", "./x", "../x", "a.b:c", "~/x", "$(X)/y"})
    EXPECT_FALSE(SPathName(text).IsAbsolutePath()) << text;
}

// Changes

TEST(PathNameElement, IsAppendedBehindASeparator) {
  const struct {
    const char* path;
    const char* element;
    const char* want;
  } cases[] = {
      {"/a", "b", "/a/b"},       {"/a", "/b", "/a/b"},
      {"/a/", "b", "/a/b"},      {"", "b", "b"},
      {"", "/b", "/b"},          {"", "", ""},
      {"/a", "", "/a/"},         {"/a/", "", "/a/"},
      {"a", "b", "a/b"},         {"/a/b", "../c", "/a/c"},
      {"/a/b", "/../c", "/a/c"}, {"a/b", "../c", "a/b/../c"},
      {"/a/b", "..", "/a"},      {"/a", "..", ""},
      {"/a", "./b/.", "/a/b/."}, {"", "/a/../b", "/b"},
      {"", "a/../b", "a/../b"},  {"C:", "x/../y", "C:/y"},
      {"C:/x", "../y", "C:/y"},  {"/a", "b/c.d", "/a/b/c.d"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.path) + " and " + c.element);
    SPathName path(c.path);
    path.AddPathElement(c.element);
    EXPECT_STREQ(c.want, path.c_str());
    path = c.path;
    path.AddPathElement(SString(c.element));
    EXPECT_STREQ(c.want, path.c_str());
  }
}

TEST(PathNameElementCompat, OneLeadingSlashGoes) {
  const struct {
    const char* path;
    const char* element;
    const char* want;
  } cases[] = {
      {"/a", "//b", "/a//b"},       {"/a/", "/b", "/a/b"},
      {"", "//b", "//b"},           {"/a", "b\\c", "/a/b\\c"},
      {"/a", "\\b", "/a/\\b"},      {"a\\", "b", "a\\b"},
      {"", "a\\..\\b", "a\\..\\b"}, {"/a", "b\\..\\c", "/a/b\\..\\c"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.path) + " and " + c.element);
    SPathName path = Raw(c.path);
    path.AddPathElement(c.element);
    EXPECT_STREQ(c.want, path.c_str());
  }
}

TEST(PathNameElement, TheResultIsNotLimited) {
  SPathName path("/start");
  std::string want = "/start";
  for (int i = 0; i < 40; ++i) {
    const std::string element(100, static_cast<char>('a' + i % 26));
    path.AddPathElement(element.c_str());
    want += "/" + element;
  }
  EXPECT_EQ(want, path.c_str());
  path.AddPathElement("..");
  EXPECT_EQ(want.substr(0, want.size() - 101), path.c_str());
  path.AddSuffix(".suffix");
  EXPECT_EQ(want.substr(0, want.size() - 101) + ".suffix", path.c_str());
}

TEST(PathNameElement, MayBePartOfThePathItself) {
  SPathName path("/some/directory/with/a/long/name");
  path.AddPathElement(path.GetTail());
  EXPECT_STREQ("/some/directory/with/a/long/name/name", path.c_str());
  path.AddPathElement(path);
  EXPECT_STREQ("/some/directory/with/a/long/name/name/some/directory/with/a/long/name/name",
               path.c_str());
  SPathName name("x.c");
  name.AddPathElement(name.GetSuffix());
  EXPECT_STREQ("x.c/.c", name.c_str());
  name = "abc";
  name.AddSuffix(name.c_str() + 1);
  EXPECT_STREQ("abcbc", name.c_str());
}

TEST(PathNameElement, NullIsEmpty) {
  const char* const null = nullptr;
  SPathName path("/a");
  path.AddPathElement(null);
  EXPECT_STREQ("/a/", path.c_str());
  path = "a";
  path.AddSuffix(null);
  EXPECT_STREQ("a", path.c_str());
}

TEST(PathNameSuffix, IsAddedWhereThereIsNone) {
  const Case cases[] = {{"x", "x.tot"},
                        {"", ".tot"},
                        {"/a.b/x", "/a.b/x.tot"},
                        {"/a.b/", "/a.b/.tot"},
                        {"x.cfg", "x.cfg"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in);
    SPathName path(c.in);
    path.AddSuffix(".tot");
    EXPECT_STREQ(c.want, path.c_str());
    path = c.in;
    path.AddSuffix(SString(".tot"));
    EXPECT_STREQ(c.want, path.c_str());
  }
  SPathName path("x");
  path.AddSuffix("tot");
  EXPECT_STREQ("xtot", path.c_str());
  path.AddSuffix("\\a");
  EXPECT_STREQ("xtot\\a", path.c_str());
  path = "/a/b";
  path.AddSuffix("/../c");
  EXPECT_STREQ("/a/b/../c", path.c_str()) << "appended as it stands";
}

TEST(PathNameSuffixCompat, AnyDotKeepsTheSuffixOut) {
  for (const char* text : {"x.cfg", "dir.", ".profile", "..", "/a/.", "x.tot"}) {
    SCOPED_TRACE(text);
    SPathName path(text);
    path.AddSuffix(".tot");
    EXPECT_STREQ(text, path.c_str());
  }
}

TEST(PathNameSuffix, IsCutOff) {
  const Case cases[] = {{"x.tar.gz", "x.tar"}, {"a.b/c", "a.b/c"}, {"/a/.profile", "/a/"},
                        {"dir/", "dir/"},      {"x", "x"},         {"", ""},
                        {"/a/x.c", "/a/x"},    {".x", ""}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in);
    SPathName path(c.in);
    path.SubSuffix();
    EXPECT_STREQ(c.want, path.c_str());
  }
}

TEST(PathNameSuffixCompat, WhatIsLeftIsNormalised) {
  SPathName path("/a/b/...");
  path.SubSuffix();
  EXPECT_STREQ("/a", path.c_str());
  path = Raw("/a/../b\\c.d");
  path.SubSuffix();
  EXPECT_STREQ("/b/c", path.c_str());
  path = Raw(("/" + std::string(1100, 'x')).c_str());
  errno = 0;
  path.SubSuffix();
  EXPECT_STREQ("", path.c_str());
  EXPECT_EQ(EINVAL, errno);
}

TEST(PathNameExpand, ExpandsAndNormalises) {
  const ScopedVariable value("BIX_T_VALUE", "/a\\b\\..\\c");
  SPathName path("$(BIX_T_VALUE)/../x");
  EXPECT_STREQ("$(BIX_T_VALUE)/../x", path.c_str());
  path.MakeExpandPath();
  EXPECT_STREQ("/a/x", path.c_str());
  path = "";
  path.MakeExpandPath();
  EXPECT_STREQ("", path.c_str());
  path = "~root/../x";
  path.MakeExpandPath();
  EXPECT_EQ(SPathName((std::string(getpwnam("root")->pw_dir) + "/../x").c_str()), path);
}

TEST(PathNameAbsolute, AgainstTheWorkingDirectory) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  const ScopedVariable value("BIX_T_VALUE", "/v");
  const ScopedVariable empty("BIX_T_EMPTY", "");
  const struct {
    const char* path;
    std::string want;
  } cases[] = {
      {"x", directory / "x"},       {"./x", directory / "x"},
      {"a/../x", directory / "x"},  {"/x", "/x"},
      {"$(BIX_T_VALUE)/x", "/v/x"}, {"$(BIX_T_EMPTY)", directory.Path() + "/"},
      {"x/..", directory.Path()},   {"", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    SPathName path(c.path);
    path.MakeAbsolutePath();
    EXPECT_EQ(c.want, path.c_str());
    path = c.path;
    path.MakeAbsolutePath(SPathName());
    EXPECT_EQ(c.want, path.c_str());
  }
}

TEST(PathNameAbsoluteCompat, OnlyALeadingSlashCountsWithoutABase) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  for (const std::string text : {"C:/x", "urn:a:b"}) {
    SCOPED_TRACE(text);
    SPathName path(text.c_str());
    path.MakeAbsolutePath();
    EXPECT_EQ(directory / text, path.c_str());
    path = text.c_str();
    path.MakeAbsolutePath(SPathName("/m/f"));
    EXPECT_EQ(text, path.c_str());
  }
}

TEST(PathNameAbsolute, AgainstABase) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  const ScopedVariable value("BIX_T_VALUE", "/v/w");
  const struct {
    const char* path;
    const char* base;
    std::string want;
  } cases[] = {
      {"sub/a.tot", "/m/model.x", "/m/sub/a.tot"},
      {"../x", "/m/dir/f", "/m/x"},
      {"./x", "/m/f", "/m/x"},
      {"/x", "/m/f", "/x"},
      {"$(BIX_T_VALUE)/x", "/m/f", "/v/w/x"},
      {"x", "$(BIX_T_VALUE)/f", "/v/w/x"},
      {"x", "$(BIX_T_VALUE)", "/v/x"},
      {"x", "b/f", directory / "b/x"},
      {"x", "f", directory / "x"},
      {"x", "C:/b/f", directory / "C:/b/x"},
      {"", "/m/f", "/m/"},
      {"..", "/m/f", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.path) + " against " + c.base);
    SPathName path(c.path);
    path.MakeAbsolutePath(SPathName(c.base));
    EXPECT_EQ(c.want, path.c_str());
  }
}

TEST(PathNameAbsoluteCompat, TheBaseIsAFile) {
  SPathName path("a.tot");
  path.MakeAbsolutePath(SPathName("/m/dir"));
  EXPECT_STREQ("/m/a.tot", path.c_str());
  path = "a.tot";
  path.MakeAbsolutePath(SPathName("/m/dir/"));
  EXPECT_STREQ("/m/dir/a.tot", path.c_str());
}

TEST(PathNameAbsolute, TheLaterSeparatorOfTheBaseCounts) {
  const ScopedVariable value("BIX_T_VALUE", "/m\\dir\\f");
  SPathName path("x");
  path.MakeAbsolutePath(SPathName("$(BIX_T_VALUE)"));
  EXPECT_STREQ("/m/dir/x", path.c_str());
}

TEST(PathNameAbsolute, AgainstItself) {
  SPathName path("/m/f");
  path.MakeAbsolutePath(path);
  EXPECT_STREQ("/m/f", path.c_str());
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  path = "a/f";
  path.MakeAbsolutePath(path);
  EXPECT_EQ(directory / "a/a/f", path.c_str());
}

TEST(PathNameAbsoluteCompat, APathThatDoesNotFitIsLeftOut) {
  const std::string name(1000, 'n');
  SPathName path(name.c_str());
  errno = 0;
  path.MakeAbsolutePath(SPathName(("/" + std::string(21, 'b') + "/f").c_str()));
  EXPECT_EQ("/" + std::string(21, 'b') + "/" + name, path.c_str());
  EXPECT_EQ(0, errno);
  path = name.c_str();
  path.MakeAbsolutePath(SPathName(("/" + std::string(22, 'b') + "/f").c_str()));
  EXPECT_EQ("/" + std::string(22, 'b') + "/", path.c_str());
  EXPECT_EQ(ERANGE, errno);
}

TEST(PathNameAbsolute, AnOverlongResultIsEmpty) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  SPathName path(std::string(1020, 'x').c_str());
  errno = 0;
  path.MakeAbsolutePath();
  EXPECT_STREQ("", path.c_str());
  EXPECT_EQ(EINVAL, errno);
}

TEST(PathNameRelative, ToTheDirectoryOfTheBase) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  const struct {
    std::string path;
    std::string base;
    const char* want;
  } cases[] = {
      {"/a/c/x", "/a/b/f", "../c/x"},
      {"/a/b/x", "/a/b/f", "x"},
      {"/a/b/", "/a/b/f", ""},
      {"x", "f", "x"},
      {"a/x", "b/f", "../a/x"},
      {directory / "a/x", "b/f", "../a/x"},
      {"a/x", directory / "b/f", "../a/x"},
      {"", "b/f", "../"},
      {"C:/x", "C:/a/f", "../x"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path + " from " + c.base);
    SPathName path(c.path.c_str());
    path.MakeRelativePath(SPathName(c.base.c_str()));
    EXPECT_STREQ(c.want, path.c_str());
  }
}

TEST(PathNameRelativeCompat, NeitherSideIsExpandedOrCanonicalised) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  const ScopedVariable value("BIX_T_VALUE", "/v");
  SPathName path("$(BIX_T_VALUE)/x");
  path.MakeRelativePath(SPathName("b/f"));
  EXPECT_STREQ("../$(BIX_T_VALUE)/x", path.c_str());
  path = "a/../b/x";
  path.MakeRelativePath(SPathName("b/f"));
  EXPECT_STREQ("../a/../b/x", path.c_str());
  path = "./x";
  path.MakeRelativePath(SPathName("f"));
  EXPECT_STREQ("./x", path.c_str());
}

// Comparison

TEST(PathNameComparison, TextIsNormalisedFirst) {
  const struct {
    const char* path;
    const char* text;
    bool equal;
  } cases[] = {
      {"a/b", "a\\b", true},    {"a/b", "a/b", true},   {"/a/./b", "/a/b", true},
      {"/a/b", "/a/./b", true}, {"A/b", "a/b", false},  {"a/b", "a/../a/b", false},
      {"", "", true},           {"", "/a/..", true},    {"a", "", false},
      {"a", "ab", false},       {"a/b/", "a/b", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.path) + " and " + c.text);
    const SPathName path(c.path);
    EXPECT_EQ(c.equal, path == c.text);
    EXPECT_EQ(!c.equal, path != c.text);
    EXPECT_EQ(c.equal, c.text == path);
    EXPECT_EQ(!c.equal, c.text != path);
    const SString text(c.text);
    EXPECT_EQ(c.equal, path == text);
    EXPECT_EQ(!c.equal, path != text);
    EXPECT_EQ(c.equal, text == path);
    EXPECT_EQ(!c.equal, text != path);
    const std::string standard(c.text);
    EXPECT_EQ(c.equal, path == standard);
    EXPECT_EQ(!c.equal, path != standard);
    EXPECT_EQ(c.equal, standard == path);
    EXPECT_EQ(!c.equal, standard != path);
    const SPathName other(c.text);
    EXPECT_EQ(c.equal, path == other);
    EXPECT_EQ(!c.equal, path != other);
  }
}

TEST(PathNameComparison, PathsAreComparedAsTheyStand) {
  EXPECT_FALSE(Raw("a\\b") == SPathName("a/b"));
  EXPECT_TRUE(Raw("a\\b") != SPathName("a/b"));
  EXPECT_FALSE(Raw("a\\b") == "a\\b");
}

TEST(PathNameComparison, NullAndOverlongTextAreEmpty) {
  const char* const null = nullptr;
  EXPECT_TRUE(SPathName() == null);
  EXPECT_TRUE(SPathName("x") != null);
  errno = 0;
  EXPECT_TRUE(SPathName() == std::string(1024, 'x').c_str());
  EXPECT_EQ(EINVAL, errno);
}

// Directories

TEST(PathNameCreateDirectory, IsThereAfterwards) {
  TempDirectory directory;
  SPathName path((directory / "new").c_str());
  EXPECT_TRUE(path.CreateDirectoryA());
  EXPECT_TRUE(IsDirectory(directory / "new"));
  EXPECT_TRUE(path.CreateDirectoryA()) << "there already";
  path.AddPathElement("sub/");
  EXPECT_TRUE(path.CreateDirectoryA());
  EXPECT_TRUE(IsDirectory(directory / "new/sub"));
  EXPECT_EQ(directory / "new/sub/", path.c_str());

  const ScopedWorkingDirectory there(directory.Path());
  EXPECT_TRUE(SPathName("relative").CreateDirectoryA());
  EXPECT_TRUE(IsDirectory(directory / "relative"));
}

TEST(PathNameCreateDirectory, FollowsTheUmask) {
  const struct {
    mode_t mask;
    unsigned want;
  } cases[] = {{0, 0777}, {027, 0750}, {022, 0755}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mask);
    TempDirectory directory;
    const mode_t old = umask(c.mask);
    EXPECT_TRUE(SPathName((directory / "a/b").c_str()).CreateDirectoryA());
    umask(old);
    for (const char* name : {"a", "a/b"}) {
      struct stat status = {};
      ASSERT_EQ(0, stat((directory / name).c_str(), &status));
      EXPECT_EQ(c.want, status.st_mode & 0777U) << name;
    }
  }
}

TEST(PathNameCreateDirectoryCompat, OneMissingParentIsCreated) {
  TempDirectory directory;
  EXPECT_TRUE(SPathName((directory / "a/b").c_str()).CreateDirectoryA());
  EXPECT_TRUE(IsDirectory(directory / "a/b"));
  EXPECT_TRUE(SPathName((directory / "c/d/").c_str()).CreateDirectoryA());
  EXPECT_TRUE(IsDirectory(directory / "c/d"));

  SPathName deep((directory / "x/y/z/").c_str());
  EXPECT_FALSE(deep.CreateDirectoryA());
  EXPECT_EQ(directory / "x/y/z/", deep.c_str());
  EXPECT_FALSE(bix_test::Exists(directory / "x"));
}

TEST(PathNameCreateDirectory, OneSlashAtTheEndDoesNotCount) {
  TempDirectory directory;
  SPathName path((directory / "a//").c_str());
  EXPECT_TRUE(path.CreateDirectoryA());
  EXPECT_EQ(directory / "a//", path.c_str());
  EXPECT_TRUE(IsDirectory(directory / "a"));
  // The second one ends a level, the one above which is the directory itself.
  EXPECT_FALSE(SPathName((directory / "b/c//").c_str()).CreateDirectoryA());
  EXPECT_FALSE(bix_test::Exists(directory / "b"));
}

TEST(PathNameCreateDirectory, AFileIsInTheWay) {
  TempDirectory directory;
  bix_test::WriteWholeFile(directory / "file", "content");
  SPathName file((directory / "file").c_str());
  EXPECT_FALSE(file.CreateDirectoryA());
  EXPECT_FALSE(SPathName((directory / "file/").c_str()).CreateDirectoryA());
  EXPECT_FALSE(SPathName((directory / "file/sub").c_str()).CreateDirectoryA());
  EXPECT_EQ("content", bix_test::ReadWholeFile(directory / "file"));
}

TEST(PathNameCreateDirectory, ALinkToADirectoryIsOne) {
  TempDirectory directory;
  ASSERT_EQ(0, mkdir((directory / "there").c_str(), 0700));
  ASSERT_EQ(0, symlink("there", (directory / "link").c_str()));
  ASSERT_EQ(0, symlink("nowhere", (directory / "broken").c_str()));
  EXPECT_TRUE(SPathName((directory / "link").c_str()).CreateDirectoryA());
  EXPECT_FALSE(SPathName((directory / "broken").c_str()).CreateDirectoryA());
}

TEST(PathNameCreateDirectory, ADriveIsOnlyAskedFor) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  EXPECT_FALSE(SPathName("C:").CreateDirectoryA());
  EXPECT_FALSE(SPathName("C:/").CreateDirectoryA());
  EXPECT_FALSE(bix_test::Exists(directory / "C:"));
  bix_test::WriteWholeFile(directory / "F:", "");
  EXPECT_FALSE(SPathName("F:").CreateDirectoryA());
  ASSERT_EQ(0, mkdir("D:", 0700));
  SPathName drive("D:/");
  EXPECT_TRUE(drive.CreateDirectoryA());
  EXPECT_STREQ("D:/", drive.c_str());
  EXPECT_TRUE(SPathName("D:").CreateDirectoryA());
}

TEST(PathNameCreateDirectory, TheRootExists) {
  SPathName root("/");
  EXPECT_TRUE(root.CreateDirectoryA());
  EXPECT_STREQ("/", root.c_str());
}

TEST(PathNameCreateDirectory, AnEmptyPathIsNone) { EXPECT_FALSE(SPathName().CreateDirectoryA()); }

TEST(PathNameComparison, OtherTextsStillCompareAsTexts) {
  const bix::SString text("a\\b");
  const std::string plain("a\\b");
  const SPathName path("a/b");
  EXPECT_TRUE(text == bix::SString("a\\b"));
  EXPECT_TRUE("a\\b" == text);
  EXPECT_TRUE(text != "a/b");
  EXPECT_TRUE(text == plain);
  EXPECT_TRUE(plain == text);
  EXPECT_TRUE(path == text);  // a path on one side: the other one is normalised
  EXPECT_TRUE(text == path);
  EXPECT_TRUE(path == plain);
  EXPECT_TRUE(plain == path);
  EXPECT_FALSE(path != text);
  EXPECT_FALSE(plain != path);
}

}  // namespace
