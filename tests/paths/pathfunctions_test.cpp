// The plain path functions of bix/pathname.h.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bix/pathname.h"
#include "support/captured_output.h"
#include "support/scoped_environment.h"
#include "support/temp_directory.h"
#include "support/working_directory.h"

namespace {

// The effective user of the process as the library sees it.
const unsigned long s_realEffectiveUser = getauxval(AT_EUID);
unsigned long s_effectiveUser = s_realEffectiveUser;

}  // namespace

// Found instead of the system's, so that a test can be another user without the right to.
extern "C" uid_t geteuid() noexcept { return static_cast<uid_t>(s_effectiveUser); }

// The user "bix-t-long" has a record of more than 4000 bytes, that of "bix-t-endless" fits nowhere.
extern "C" int getpwnam_r(const char* name, passwd* entry, char* room, std::size_t size,
                          passwd** result) {
  const std::string_view user = name;
  if (user != "bix-t-long" && user != "bix-t-endless") {
    static const auto system =
        reinterpret_cast<decltype(&getpwnam_r)>(dlsym(RTLD_NEXT, "getpwnam_r"));
    return system(name, entry, room, size, result);
  }
  *result = nullptr;
  if (user == "bix-t-endless" || size < 4000) return ERANGE;
  std::strcpy(room, "/home/long");
  entry->pw_dir = room;
  *result = entry;
  return 0;
}

namespace {

using bix_test::CapturedOutput;
using bix_test::ScopedVariable;
using bix_test::ScopedWorkingDirectory;
using bix_test::TempDirectory;

/// The text of a result that is released here.
std::string Take(char* text) {
  if (text == nullptr) return "<null>";
  const std::string copy = text;
  std::free(text);
  return copy;
}

std::string Repeat(const std::string& piece, std::size_t count) {
  std::string text;
  for (; count > 0; --count) text += piece;
  return text;
}

struct Case {
  const char* in;
  const char* want;
};

// BixIsAUri

TEST(BixIsAUri, LettersAndDigitsAndAColon) {
  const struct {
    const char* text;
    bool want;
  } cases[] = {{"http:", true},   {"http://h/x", true}, {"urn:x", true},      {"urn:a:b", true},
               {"halder:", true}, {"a1:", true},        {"a1b2:x", true},     {"a.b:c", false},
               {"1a:", false},    {":x", false},        {":", false},         {"x", false},
               {"-a:", false},    {"", false},          {"ab", false},        {"a b:", false},
               {"a/b:", false},   {"a-b:", false},      {"\xC3\xA4:", false}, {"a\xC3\xA4:", false},
               {"[a:", false},    {"@a:", false},       {"a[:", false},       {"Z9:", true},
               {"`:", false},     {"{:", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.want, bix::BixIsAUri(c.text));
  }
}

TEST(BixIsAUri, NullIsNone) { EXPECT_FALSE(bix::BixIsAUri(nullptr)); }

TEST(BixIsAUriCompat, ADriveLetterIsAUri) {
  for (const char* drive : {"c:", "C:", "C:x", "C:/x", "C:\\x", "z:"}) {
    SCOPED_TRACE(drive);
    EXPECT_TRUE(bix::BixIsAUri(drive));
  }
}

// filename_expand

TEST(FilenameExpand, ReplacesReferences) {
  const ScopedVariable value("BIX_T_VALUE", "value");
  const ScopedVariable empty("BIX_T_EMPTY", "");
  const ScopedVariable unset("BIX_T_UNSET", nullptr);
  const Case cases[] = {
      {"", ""},
      {"a/b\\c", "a/b\\c"},
      {"$(BIX_T_VALUE)", "value"},
      {"$(BIX_T_VALUE)/x", "value/x"},
      {"a/$(BIX_T_VALUE)b", "a/valueb"},
      {"$(BIX_T_VALUE)$(BIX_T_VALUE)", "valuevalue"},
      {"x$(BIX_T_EMPTY)y", "xy"},
      {"$(BIX_T_UNSET)/x", "$(BIX_T_UNSET)/x"},
      {"$(BIX_T_VALUE", "value"},
      {"$()", "$()"},
      {"a)b", "a)b"},
      {"$BIX_T_VALUE", "$BIX_T_VALUE"},
      {"${BIX_T_VALUE}", "${BIX_T_VALUE}"},
      {"$(bix_t_value)", "$(bix_t_value)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in);
    EXPECT_STREQ(c.want, filename_expand(c.in));
  }
}

TEST(FilenameExpand, NullIsEmpty) { EXPECT_STREQ("", filename_expand(nullptr)); }

TEST(FilenameExpandCompat, ADoubleDollarBeginsNoReference) {
  const ScopedVariable value("BIX_T_VALUE", "value");
  EXPECT_STREQ("$$(BIX_T_VALUE)", filename_expand("$$(BIX_T_VALUE)"));
  EXPECT_STREQ("$$value", filename_expand("$$$(BIX_T_VALUE)"));
}

TEST(FilenameExpandCompat, AValueIsNotExpandedAgain) {
  const ScopedVariable inner("BIX_T_INNER", "inner");
  const ScopedVariable outer("BIX_T_OUTER", "$(BIX_T_INNER)");
  EXPECT_STREQ("$(BIX_T_INNER)", filename_expand("$(BIX_T_OUTER)"));
}

TEST(FilenameExpandCompat, AnUnsetReferenceStaysAndIsClosed) {
  const ScopedVariable unset("BIX_T_UNSET", nullptr);
  EXPECT_STREQ("a$(BIX_T_UNSET)b", filename_expand("a$(BIX_T_UNSET)b"));
  EXPECT_STREQ("a$(BIX_T_UNSET)", filename_expand("a$(BIX_T_UNSET"));
  EXPECT_STREQ("$()", filename_expand("$("));
}

TEST(FilenameExpand, ALoneDollarAtTheEndStays) {
  EXPECT_STREQ("$", filename_expand("$"));
  EXPECT_STREQ("a$", filename_expand("a$"));
  EXPECT_STREQ("a$$", filename_expand("a$$"));
  EXPECT_STREQ("a$$$", filename_expand("a$$$"));
}

TEST(FilenameExpand, TakesTextUpTo1023Bytes) {
  const std::string longest(1023, 'x');
  errno = 0;
  EXPECT_EQ(longest, filename_expand(longest.c_str()));
  EXPECT_EQ(0, errno);
}

TEST(FilenameExpand, CutsOffWhatDoesNotFit) {
  const std::string plain(1024, 'x');
  errno = 0;
  EXPECT_EQ(std::string(1023, 'x'), filename_expand(plain.c_str()));
  EXPECT_EQ(ERANGE, errno);

  const ScopedVariable unset("BIX_T_UNSET", nullptr);
  const std::string reference = std::string(1020, 'x') + "$(BIX_T_UNSET)";
  errno = 0;
  EXPECT_EQ(std::string(1020, 'x') + "$(B", filename_expand(reference.c_str()));
  EXPECT_EQ(ERANGE, errno);
}

TEST(FilenameExpandCompat, AValueThatDoesNotFitIsLeftOut) {
  const ScopedVariable value("BIX_T_VALUE", "value");
  errno = 0;
  const std::string fits = std::string(1018, 'x') + "$(BIX_T_VALUE)";
  EXPECT_EQ(std::string(1018, 'x') + "value", filename_expand(fits.c_str()));
  EXPECT_EQ(0, errno);
  const std::string tooLong = std::string(1019, 'x') + "$(BIX_T_VALUE)/yz";
  EXPECT_EQ(std::string(1019, 'x') + "/yz", filename_expand(tooLong.c_str()));
  EXPECT_EQ(ERANGE, errno);

  const ScopedVariable huge("BIX_T_HUGE", std::string(5000, 'h').c_str());
  errno = 0;
  EXPECT_STREQ("a/b", filename_expand("a$(BIX_T_HUGE)/b"));
  EXPECT_EQ(ERANGE, errno);
}

TEST(FilenameExpand, TheNextResultTakesThePlaceOfTheLast) {
  char* const first = filename_expand("first");
  char* const second = filename_expand("2nd");
  EXPECT_EQ(first, second);
  EXPECT_STREQ("2nd", first);
}

TEST(FilenameExpand, TakesItsOwnResult) {
  const ScopedVariable value("BIX_T_VALUE", "a value longer than its name, $(BIX_T_SECOND)");
  const ScopedVariable second("BIX_T_SECOND", "second");
  EXPECT_STREQ("a value longer than its name, second/$",
               filename_expand(filename_expand("$(BIX_T_VALUE)/$")));
}

TEST(FilenameExpand, AnotherThreadHasAnotherResult) {
  char* const mine = filename_expand("mine");
  std::thread([] { EXPECT_STREQ("theirs", filename_expand("theirs")); }).join();
  EXPECT_STREQ("mine", mine);
}

class FilenameExpandHome : public testing::Test {
 protected:
  FilenameExpandHome() {
    if (const passwd* entry = getpwuid(geteuid())) {
      m_home = entry->pw_dir;
      m_name = entry->pw_name;
    }
  }
  std::string m_home;
  std::string m_name;
};

// The entry of root is there on every machine.
TEST_F(FilenameExpandHome, ATildeIsTheHomeDirectory) {
  const passwd* const root = getpwnam("root");
  ASSERT_NE(nullptr, root);
  const std::string rootHome = root->pw_dir;
  EXPECT_EQ(rootHome, filename_expand("~root"));
  EXPECT_EQ(rootHome + "/", filename_expand("~root/"));
  EXPECT_EQ(rootHome + "/x/~y", filename_expand("~root/x/~y"));
  if (!m_name.empty()) {
    EXPECT_EQ(m_home, filename_expand("~"));
    EXPECT_EQ(m_home + "/x", filename_expand("~/x"));
    EXPECT_EQ(m_home + "/x", filename_expand(("~" + m_name + "/x").c_str()));
  } else {
    EXPECT_STREQ("~/x", filename_expand("~/x"));
  }
}

TEST_F(FilenameExpandHome, ATildeAloneIsOfTheEffectiveUser) {
  // Some user of another home directory than the one who runs the test.
  std::string home;
  setpwent();
  while (const passwd* entry = getpwent()) {
    if (entry->pw_uid == getuid() || m_home == entry->pw_dir) continue;
    s_effectiveUser = entry->pw_uid;
    break;
  }
  endpwent();
  const passwd* const entry = getpwuid(static_cast<uid_t>(s_effectiveUser));
  if (entry != nullptr) home = entry->pw_dir;
  const std::string expanded = filename_expand("~/x");
  s_effectiveUser = s_realEffectiveUser;
  ASSERT_NE(m_home, home) << "no such user";
  EXPECT_EQ(home + "/x", expanded);
}

TEST_F(FilenameExpandHome, ARecordMayBeLong) {
  EXPECT_STREQ("/home/long/x", filename_expand("~bix-t-long/x"));
  EXPECT_STREQ("~bix-t-endless/x", filename_expand("~bix-t-endless/x"));
}

TEST_F(FilenameExpandHome, OnlyALeadingTildeCounts) {
  for (const char* text : {"x~", "/~/x", "./~", " ~", "$~"})
    EXPECT_STREQ(text, filename_expand(text));
}

TEST_F(FilenameExpandHome, AnUnknownUserStays) {
  for (const char* text : {"~no.such.user", "~no.such.user/x", "~root\\x"}) {
    EXPECT_STREQ(text, filename_expand(text));
  }
}

TEST_F(FilenameExpandHome, TheLookUpOfAUserKeepsErrno) {
  const ScopedVariable huge("BIX_T_HUGE", std::string(5000, 'h').c_str());
  for (const char* path : {"~$(BIX_T_HUGE)", "~/$(BIX_T_HUGE)", "~no-such-user/$(BIX_T_HUGE)"}) {
    SCOPED_TRACE(path);
    errno = 0;
    (void)filename_expand(path);
    EXPECT_EQ(ERANGE, errno);
  }
  errno = 0;
  EXPECT_STREQ("~no-such-user", filename_expand("~no-such-user"));
  EXPECT_EQ(0, errno);
}

TEST_F(FilenameExpandHome, AHomeDirectoryWithoutRoomIsNotPutIn) {
  // Some user whose home directory is longer than "~name"; "nobody" is one on most systems.
  std::string tilde;
  std::string home;
  setpwent();
  while (const passwd* entry = getpwent()) {
    if (entry->pw_name[0] == '\0' || std::strlen(entry->pw_dir) <= std::strlen(entry->pw_name) + 1)
      continue;
    tilde = std::string("~") + entry->pw_name;
    home = entry->pw_dir;
    break;
  }
  endpwent();
  ASSERT_NE("", home) << "no such user";

  const std::string fits = "/" + std::string(1022 - home.size(), 'x');
  errno = 0;
  EXPECT_EQ(home + fits, filename_expand((tilde + fits).c_str()));
  EXPECT_EQ(0, errno);
  const std::string tooLong = tilde + fits + "x";
  EXPECT_EQ(tooLong, filename_expand(tooLong.c_str()));
  EXPECT_EQ(ERANGE, errno);
}

TEST(FilenameExpandCompat, ATildeOfAValueIsExpanded) {
  const ScopedVariable value("BIX_T_VALUE", "~root");
  const ScopedVariable empty("BIX_T_EMPTY", "");
  const std::string rootHome = getpwnam("root")->pw_dir;
  EXPECT_EQ(rootHome + "/x", filename_expand("$(BIX_T_VALUE)/x"));
  EXPECT_EQ(rootHome + "/x", filename_expand("$(BIX_T_EMPTY)~root/x"));
}

TEST(FilenameExpandCompat, TheRecordCountsAndNotTheVariable) {
  const passwd* const entry = getpwuid(geteuid());
  const std::string want = entry != nullptr ? entry->pw_dir : "~";
  const ScopedVariable home("HOME", "/not/the/record");
  EXPECT_EQ(want + "/x", filename_expand("~/x"));
  EXPECT_STREQ("/not/the/record/x", filename_expand("$(HOME)/x"));
  EXPECT_STREQ("/not/the/record", filename_expand("$(HOME"));
}

// full_path_name

TEST(FullPathName, PutsTheWorkingDirectoryInFront) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  EXPECT_EQ("/x", Take(full_path_name("/x")));
  EXPECT_EQ("/", Take(full_path_name("/")));
  EXPECT_EQ("/a/../b/./c", Take(full_path_name("/a/../b/./c")));
  EXPECT_EQ(directory / "x", Take(full_path_name("x")));
  EXPECT_EQ(directory / "C:/x", Take(full_path_name("C:/x")));
  EXPECT_EQ(directory / "\\x", Take(full_path_name("\\x")));
  EXPECT_EQ(directory.Path() + "/", Take(full_path_name("")));
}

TEST(FullPathName, NullIsEmpty) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  EXPECT_EQ(directory.Path() + "/", Take(full_path_name(nullptr)));
}

TEST(FullPathNameCompat, NothingIsFolded) {
  TempDirectory directory;
  {
    const ScopedWorkingDirectory there(directory.Path());
    EXPECT_EQ(directory / "./x", Take(full_path_name("./x")));
    EXPECT_EQ(directory / "../x", Take(full_path_name("../x")));
  }
  const ScopedWorkingDirectory root("/");
  EXPECT_EQ("//x", Take(full_path_name("x")));
}

TEST(FullPathName, ReportsAWorkingDirectoryThatIsGone) {
  TempDirectory directory;
  const std::string gone = directory / "gone";
  ASSERT_EQ(0, mkdir(gone.c_str(), 0700));
  const ScopedWorkingDirectory there(gone);
  ASSERT_EQ(0, rmdir(gone.c_str()));
  std::string result;
  std::string output;
  std::string errors;
  {
    const CapturedOutput captured;
    result = Take(full_path_name("x"));
    output = captured.Output();
    errors = captured.Errors();
  }
  EXPECT_EQ("./x", result);
  EXPECT_EQ("", output);
  EXPECT_EQ("getcwd: No such file or directory\n", errors);
}

TEST(FullPathNameCompat, AWorkingDirectoryThatIsTooDeepIsReported) {
  TempDirectory directory;
  const ScopedWorkingDirectory there(directory.Path());
  const std::string name(250, 'd');
  for (std::size_t depth = 0; depth < 17; ++depth) {
    ASSERT_EQ(0, mkdir(name.c_str(), 0700));
    ASSERT_EQ(0, chdir(name.c_str()));
  }
  std::string result;
  std::string errors;
  {
    const CapturedOutput captured;
    result = Take(full_path_name("x"));
    errors = captured.Errors();
  }
  EXPECT_EQ("./x", result);
  EXPECT_EQ(0U, errors.find("getcwd: ")) << errors;
  // Too deep for remove_all as well.
  while (chdir("..") == 0 && rmdir(name.c_str()) == 0) {
  }
}

// get_rel_path

TEST(GetRelPath, IsRelativeToTheDirectoryOfTheBase) {
  const struct {
    const char* target;
    const char* base;
    const char* want;
  } cases[] = {
      {"/a/c/x", "/a/b/f", "../c/x"},
      {"/a/b/x", "/a/b/f", "x"},
      {"/a/b/x", "/a/b/", "x"},
      {"/a/b/f", "/a/b/f", "f"},
      {"/a/b/", "/a/b/f", ""},
      {"/a/b", "/a/b/f", "../b"},
      {"/a/b", "/a/b/", "../b"},
      {"/", "/a/b/f", "../../"},
      {"/x", "/a/b/f", "../../x"},
      {"/x", "/f", "x"},
      {"/a/b/c/d", "/a/f", "b/c/d"},
      {"/abc/x", "/abd/f", "../abc/x"},
      {"/ab/x", "/abc/f", "../ab/x"},
      {"/abc/x", "/ab/f", "../abc/x"},
      {"/A/x", "/a/f", "../A/x"},
      {"/a/../b", "/a/c/f", "../../b"},
      {"a/x", "a/f", "x"},
      {"a/x", "ab/f", "../a/x"},
      {"b/x", "a/f", "b/x"},
      {"/a/x", "a/f", "/a/x"},
      {"C:/x", "/a/f", "C:/x"},
      {"C:/x", "C:/a/f", "../x"},
      {"", "/a/f", ""},
      {"/a//x", "/a/f", "/x"},
      {"/0123456789abcdef/0123456789abcdef/x", "/0123456789abcdef/0123456789abcdeg/f",
       "../0123456789abcdef/x"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.target) + " from " + c.base);
    EXPECT_EQ(c.want, Take(get_rel_path(c.target, c.base)));
  }
}

TEST(GetRelPath, NullGivesNull) {
  EXPECT_EQ(nullptr, get_rel_path(nullptr, "/a/b"));
  EXPECT_EQ(nullptr, get_rel_path("/a/b", nullptr));
  EXPECT_EQ(nullptr, get_rel_path(nullptr, nullptr));
}

TEST(GetRelPath, BackslashesCountAsSlashes) {
  EXPECT_EQ("../c/x", Take(get_rel_path("\\a\\c\\x", "/a/b/f")));
  EXPECT_EQ("../c/x", Take(get_rel_path("/a/c/x", "\\a\\b\\f")));
  EXPECT_EQ("b/x", Take(get_rel_path("b\\x", "a\\f")));
}

TEST(GetRelPathCompat, ABaseWithoutADirectoryGivesTheTargetAsPassed) {
  EXPECT_EQ("b\\x/y", Take(get_rel_path("b\\x/y", "f")));
  EXPECT_EQ("/b\\x", Take(get_rel_path("/b\\x", "")));
  EXPECT_EQ("", Take(get_rel_path("", "")));
}

TEST(GetRelPath, AnotherServerHasNothingInCommon) {
  const struct {
    const char* target;
    const char* base;
    const char* want;
  } cases[] = {
      {"//s/x/y", "//s/a/f", "../x/y"}, {"//s/x", "//t/a/f", "//s/x"},
      {"//s/x", "//st/a/f", "//s/x"},   {"//st/x", "//s/a/f", "//st/x"},
      {"//s/x", "/a/f", "//s/x"},       {"\\\\s\\x", "//t/f", "//s/x"},
      {"\\\\s\\x", "\\\\s\\f", "x"},    {"/a/x", "//s/f", "../../a/x"},
      {"//S/x", "//s/f", "//S/x"},      {"///x", "//s/f", "///x"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.target) + " from " + c.base);
    EXPECT_EQ(c.want, Take(get_rel_path(c.target, c.base)));
  }
}

TEST(GetRelPath, ALoneServerNameIsComparedWhole) {
  EXPECT_EQ("//s", Take(get_rel_path("//s", "//st/a/f")));
  EXPECT_EQ("../../s", Take(get_rel_path("//s", "//s/a/f")));
  EXPECT_EQ("//", Take(get_rel_path("//", "//s/f")));
}

TEST(GetRelPathCompat, WhatIsBeyondTheLimitIsLeftOut) {
  // 4096 bytes: 1365 steps and one byte.
  errno = 0;
  EXPECT_EQ(Repeat("../", 1365) + "x",
            Take(get_rel_path("/x", ("/" + Repeat("a/", 1365) + "f").c_str())));
  EXPECT_EQ(0, errno);
  EXPECT_EQ(Repeat("../", 1365), Take(get_rel_path("/xy", ("/" + Repeat("a/", 1365)).c_str())));
  EXPECT_EQ(ERANGE, errno);
  errno = 0;
  EXPECT_EQ(Repeat("../", 1365) + "x",
            Take(get_rel_path("/x", ("/" + Repeat("a/", 1400)).c_str())));
  EXPECT_EQ(ERANGE, errno);

  const std::string name(4096, 'n');
  errno = 0;
  EXPECT_EQ(name, Take(get_rel_path(("/a/" + name).c_str(), "/a/f")));
  EXPECT_EQ(0, errno);
  EXPECT_EQ("", Take(get_rel_path(("/a/" + name + "n").c_str(), "/a/f")));
  EXPECT_EQ(ERANGE, errno);
  errno = 0;
  EXPECT_EQ("../", Take(get_rel_path(("/a/" + name).c_str(), "/a/b/f")));
  EXPECT_EQ(ERANGE, errno);
}

TEST(GetRelPath, AWholeTargetIsNotLimited) {
  const std::string target = "/" + std::string(5000, 't');
  errno = 0;
  EXPECT_EQ(target, Take(get_rel_path(target.c_str(), "C:/f")));
  EXPECT_EQ(target, Take(get_rel_path(target.c_str(), "f")));
  EXPECT_EQ(0, errno);
}

// name_unsuffix, name_base, name_suffix

TEST(NameFunctions, SuffixOfTheLastComponent) {
  const struct {
    const char* name;
    const char* suffix;  // null: none
    const char* unsuffixed;
    const char* base;
  } cases[] = {
      {"", nullptr, "", ""},
      {"x", nullptr, "x", "x"},
      {"x.c", ".c", "x", "x"},
      {"x.tar.gz", ".gz", "x.tar", "x.tar"},
      {"a.b/c", nullptr, "a.b/c", "c"},
      {"a.b/c.d", ".d", "a.b/c", "c"},
      {"dir/", nullptr, "dir/", ""},
      {"dir.x/", nullptr, "dir.x/", ""},
      {"x.", ".", "x", "x"},
      {"..", ".", ".", "."},
      {"/a/..", ".", "/a/.", "."},
      {"/a/b.c", ".c", "/a/b", "b"},
      {"a\\b.c", ".c", "a\\b", "a\\b"},
      {"a.b\\c", ".b\\c", "a", "a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const char* const suffix = name_suffix(c.name);
    if (c.suffix == nullptr) {
      EXPECT_EQ(nullptr, suffix);
    } else {
      ASSERT_NE(nullptr, suffix);
      EXPECT_STREQ(c.suffix, suffix);
      EXPECT_EQ(c.name + std::strlen(c.name) - std::strlen(c.suffix), suffix);
    }
    std::string name = c.name;
    EXPECT_EQ(name.data(), name_unsuffix(name.data()));
    EXPECT_STREQ(c.unsuffixed, name.c_str());
    name = c.name;
    EXPECT_STREQ(c.base, name_base(name.data()));
  }
}

TEST(NameFunctions, NullGivesNull) {
  EXPECT_EQ(nullptr, name_suffix(nullptr));
  EXPECT_EQ(nullptr, name_unsuffix(nullptr));
  EXPECT_EQ(nullptr, name_base(nullptr));
}

TEST(NameFunctionsCompat, ANameThatBeginsWithADotIsAllSuffix) {
  EXPECT_STREQ(".profile", name_suffix("/a/.profile"));
  char name[] = "/a/.profile";
  EXPECT_STREQ("/a/", name_unsuffix(name));
  char again[] = "/a/.profile";
  EXPECT_STREQ("", name_base(again));
}

TEST(NameFunctionsCompat, NameBaseCutsItsArgument) {
  char name[] = "/a/b.c";
  EXPECT_EQ(name + 3, name_base(name));
  EXPECT_STREQ("/a/b", name);
}

}  // namespace
