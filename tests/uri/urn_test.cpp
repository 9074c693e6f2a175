#include "bix/urn.h"

#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bix/directories.h"
#include "bix/library.h"
#include "bix/pathname.h"
#include "bix/stringtable.h"
#include "support/captured_output.h"
#include "support/scoped_locale.h"
#include "support/working_directory.h"
#include "uri/urn_test_support.h"

namespace {

using bix::SString;
using bix::SUrnResolver;
using bix_test::AlreadyDefined;
using bix_test::ScopedRecorder;
using bix_test::ScopedVariable;
using bix_test::ScopedWorkingDirectory;
using bix_test::TempDirectory;
using Status = SUrnResolver::SURNStatus;
using Texts = std::vector<SString>;

// ---- prefixes ----

TEST(UrnPrefix, IsTheLettersAndTheColon) {
  const struct {
    const char* text;
    bool urn, halder, ox;
  } cases[] = {{"urn:a:b", true, false, false},  {"urn:", true, false, false},
               {"urn", false, false, false},     {"URN:a:b", false, false, false},
               {"Urn:a:b", false, false, false}, {" urn:a:b", false, false, false},
               {"halder:x", false, true, false}, {"halder:", false, true, false},
               {"halder", false, false, false},  {"Halder:x", false, false, false},
               {"ox:x", false, false, true},     {"ox:", false, false, true},
               {"ox", false, false, false},      {"OX:x", false, false, false},
               {"", false, false, false},        {"/urn:a", false, false, false},
               {nullptr, false, false, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text == nullptr ? "null" : c.text);
    EXPECT_EQ(c.urn, bix::BixIsAUrn(c.text));
    EXPECT_EQ(c.halder, bix::BixIsAHalderUri(c.text));
    EXPECT_EQ(c.ox, bix::BixIsAOXUri(c.text));
  }
}

TEST(UrnStatus, HasTheNumbersHostsAreCompiledAgainst) {
  EXPECT_EQ(0, SUrnResolver::URN_OK);
  EXPECT_EQ(1, SUrnResolver::URN_NOT_A_URN);
  EXPECT_EQ(2, SUrnResolver::URN_MALFORMED);
  EXPECT_EQ(3, SUrnResolver::URN_NOT_REGISTERED);
}

// ---- splitting a URN ----

struct Decoded {
  std::string name, rest;
  Status status;
};

Decoded Decode(const SString& urn) {
  SString name = "old name";
  SString rest = "old rest";
  Status status = SUrnResolver::URN_NOT_REGISTERED;
  SUrnResolver::DecodeURN(urn, name, rest, status);
  return {name, rest, status};
}

void ExpectDecoded(const SString& urn, const std::string& name, const std::string& rest,
                   Status status) {
  SCOPED_TRACE(urn);
  const Decoded decoded = Decode(urn);
  EXPECT_EQ(name, decoded.name);
  EXPECT_EQ(rest, decoded.rest);
  EXPECT_EQ(status, decoded.status);
}

TEST(UrnDecode, SplitsAtTheSecondColon) {
  ExpectDecoded("urn:qvuser:a/b", "qvuser", "a/b", SUrnResolver::URN_OK);
  ExpectDecoded("urn:a:", "a", "", SUrnResolver::URN_OK);
  ExpectDecoded("urn:a:b:c:d", "a", "b:c:d", SUrnResolver::URN_OK);
  ExpectDecoded("urn:a:../b\\c//", "a", "../b\\c//", SUrnResolver::URN_OK);
  ExpectDecoded("urn: a b :c", " a b ", "c", SUrnResolver::URN_OK);
  ExpectDecoded("urn:Q\xC3\x84:x", "q\xC3\x84", "x", SUrnResolver::URN_OK);
}

TEST(UrnDecode, WithoutASecondColonIsMalformed) {
  for (const char* urn : {"urn:", "urn:qvuser", "urn:a/b"})
    ExpectDecoded(urn, "", "", SUrnResolver::URN_MALFORMED);
}

TEST(UrnDecode, ClearsItsResultsForWhatIsNoUrn) {
  for (const char* text : {"", "urn", "/a:b", "a/b", "C:/x", "http://h/p", "halder:a:b", "ox:a:b",
                           " urn:a:b", "uRn:a:b"})
    ExpectDecoded(text, "", "", SUrnResolver::URN_NOT_A_URN);
}

TEST(UrnDecodeCompat, OnlyTheNameMayHaveCapitals) {
  ExpectDecoded("urn:QvUSER:A/b", "qvuser", "A/b", SUrnResolver::URN_OK);
  ExpectDecoded("URN:qvuser:a", "", "", SUrnResolver::URN_NOT_A_URN);
}

TEST(UrnDecodeCompat, ANameMayBeEmpty) {
  ExpectDecoded("urn::x", "", "x", SUrnResolver::URN_OK);
  ExpectDecoded("urn::", "", "", SUrnResolver::URN_OK);
  ExpectDecoded("urn:::", "", ":", SUrnResolver::URN_OK);
}

TEST(UrnDecode, SmallLettersAreThoseOfTheLocale) {
  ExpectDecoded("urn:\xC4X:r", "\xC4x", "r", SUrnResolver::URN_OK);
  {
    const bix_test::ScopedLocale locale(bix_test::kUtf8Locale);
    ExpectDecoded("urn:\xC3\x84X:r", "\xC3\x84x", "r", SUrnResolver::URN_OK);
  }
  const bix_test::ScopedLocale locale(bix_test::kLatin1Locale);
  ExpectDecoded("urn:\xC4X:r", "\xE4x", "r", SUrnResolver::URN_OK);
}

TEST(UrnDecode, TheArgumentsMayBeTheUrnItself) {
  Status status = SUrnResolver::URN_MALFORMED;
  SString rest;
  SString text = "urn:A:b/c";
  SUrnResolver::DecodeURN(text, text, rest, status);
  EXPECT_EQ("a", text);
  EXPECT_EQ("b/c", rest);
  SString name;
  text = "urn:A:b/c";
  SUrnResolver::DecodeURN(text, name, text, status);
  EXPECT_EQ("a", name);
  EXPECT_EQ("b/c", text);
}

// ---- the text of a map ----

TEST(UrnMapText, SplitsAtNewlinesAndSemicolons) {
  const struct {
    const char* text;
    Texts want;
  } cases[] = {
      {"a:/x\n  b:/y;c:/z", {"a:/x", "b:/y", "c:/z"}},
      {"", {}},
      {"a:/x", {"a:/x"}},
      {"a:/x\n", {"a:/x"}},
      {"a:/x;", {"a:/x"}},
      {"   ", {}},
      {"   a", {"a"}},
      {"  ;a:/x", {"a:/x"}},
      {"a;b\nc", {"a", "b", "c"}},
      {"data:C:/x;m:http://h/p", {"data:C:/x", "m:http://h/p"}},
      {"a:/x\n   \nb:/y", {"a:/x", "b:/y"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    Texts entries;
    SUrnResolver::DecodeUrnMap(c.text, entries);
    EXPECT_EQ(c.want, entries);
  }
}

TEST(UrnMapTextCompat, ASeparatorAtTheStartTakesInTheRest) {
  const struct {
    const char* text;
    Texts want;
  } cases[] = {
      {"a:/x\n\nb:/y", {"a:/x", "\nb:/y"}},
      {"a:/x\n\nb:/y;c:/z\n", {"a:/x", "\nb:/y;c:/z\n"}},
      {"a:/x;\nb:/y", {"a:/x", "\nb:/y"}},
      {"a:/x;;b:/y", {"a:/x", ";b:/y"}},
      {";a:/x", {";a:/x"}},
      {"\n", {"\n"}},
      {";", {";"}},
      {"a:/x\n;", {"a:/x", ";"}},
      // The rest is looked at before its blanks go.
      {"a:/x\n ;b:/y", {"a:/x", "b:/y"}},
      {"a:/x; \n\n", {"a:/x", "\n"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    Texts entries;
    SUrnResolver::DecodeUrnMap(c.text, entries);
    EXPECT_EQ(c.want, entries);
  }
}

TEST(UrnMapTextCompat, OnlyBlanksAndOnlyAtTheStartGo) {
  Texts entries;
  SUrnResolver::DecodeUrnMap("  a:/x  \n\tb:/y\t;   c : /z \r\n \r", entries);
  EXPECT_EQ((Texts{"a:/x  ", "\tb:/y\t", "c : /z \r", "\r"}), entries);
}

TEST(UrnMapTextCompat, EntriesAreAppended) {
  Texts entries = {"kept"};
  SUrnResolver::DecodeUrnMap("a:/x;b:/y", entries);
  SUrnResolver::DecodeUrnMap("", entries);
  EXPECT_EQ((Texts{"kept", "a:/x", "b:/y"}), entries);
}

TEST(UrnMapText, AZeroByteIsAByteLikeOthers) {
  Texts entries;
  SUrnResolver::DecodeUrnMap(std::string("a\0:/x;b", 7), entries);
  EXPECT_EQ((Texts{std::string("a\0:/x", 5), "b"}), entries);
}

void ExpectEntry(const SString& entry, const std::string& name, const std::string& target) {
  SCOPED_TRACE(entry);
  SString gotName = "old";
  SString gotTarget = "old";
  SUrnResolver::DecodeUrnMapped(entry, gotName, gotTarget);
  EXPECT_EQ(name, gotName);
  EXPECT_EQ(target, gotTarget);
}

TEST(UrnMapText, AnEntryIsSplitAtItsFirstColon) {
  ExpectEntry("a:/x", "a", "/x");
  ExpectEntry("data:C:/x", "data", "C:/x");
  ExpectEntry("A b : /x ", "A b ", " /x ");
  ExpectEntry("a:", "a", "");
  ExpectEntry("a", "a", "");
  ExpectEntry("", "", "");
  ExpectEntry(" a:b", " a", "b");
}

TEST(UrnMapTextCompat, AnEntryThatBeginsWithAColonIsAllName) {
  ExpectEntry(":x", ":x", "");
  ExpectEntry(":", ":", "");
  ExpectEntry("::a:b", "::a:b", "");
}

TEST(UrnMapText, TheArgumentsMayBeTheEntryItself) {
  SString text = "a:/x";
  SString other;
  SUrnResolver::DecodeUrnMapped(text, text, other);
  EXPECT_EQ("a", text);
  EXPECT_EQ("/x", other);
  text = "a:/x";
  SUrnResolver::DecodeUrnMapped(text, other, text);
  EXPECT_EQ("a", other);
  EXPECT_EQ("/x", text);
}

// ---- the predefined names ----

using UrnPredefinedNames = bix_test::UrnFixture;

TEST_F(UrnPredefinedNames, AreTheSixOfTheDirectories) {
  const std::string root = bix::BixGetInstallationRoot();
  ASSERT_NE("", root);
  EXPECT_EQ(root + "/", DirectoryOf("qv"));
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/", DirectoryOf("qvuser"));
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/addins/", DirectoryOf("qvuseraddins"));
  EXPECT_EQ(home / "Kestrane/Shared/TeamAddins/", DirectoryOf("qvteamaddins"));
  EXPECT_EQ(home / "Kestrane/Shared/CompanyAddins/", DirectoryOf("qvcompanyaddins"));
  EXPECT_EQ(home / "My Projects/", DirectoryOf("qvvornprojects"));
}

TEST_F(UrnPredefinedNames, FollowTheAddinVariables) {
  const ScopedVariable user("VORN_USER_ADDINS_DIR", "/u");
  const ScopedVariable team("VORN_TEAM_ADDINS_DIR", "/t/");
  const ScopedVariable company("VORN_COMPANY_ADDINS_DIR", "");
  SUrnResolver::RegisterURNsWithoutOptions();
  EXPECT_EQ("/u/addins/", DirectoryOf("qvuseraddins"));
  EXPECT_EQ("/t/", DirectoryOf("qvteamaddins"));
  EXPECT_EQ("", DirectoryOf("qvcompanyaddins")) << "an empty directory stays empty";
}

TEST_F(UrnPredefinedNames, AreEncodedInTheOrderOfTheirBytes) {
  SString text = "old";
  SUrnResolver::EncodeUrnMap(text);
  EXPECT_EQ("qv:" + std::string(bix::BixGetInstallationRoot()) +
                "/;qvcompanyaddins:" + (home / "Kestrane/Shared/CompanyAddins/") +
                ";qvteamaddins:" + (home / "Kestrane/Shared/TeamAddins/") +
                ";qvuser:" + (home / "Kestrane/Vorn 4.2/") + ";qvuseraddins:" +
                (home / "Kestrane/Vorn 4.2/addins/") + ";qvvornprojects:" + (home / "My Projects/"),
            text);
}

TEST_F(UrnPredefinedNames, AreNotForTheUserToDefine) {
  const struct {
    const char* entry;
    bool want;
  } cases[] = {{"qv", false},
               {"qvuser", false},
               {"qvuseraddins", false},
               {"qvteamaddins", false},
               {"qvcompanyaddins", false},
               {"qvvornprojects", false},
               {"QV", false},
               {"QvUserAddins", false},
               {"qvuser:/x", false},
               {"QVUSER:/x:/y", false},
               {"qv:", false},
               {"qvx", true},
               {"q", true},
               {"", true},
               {":qv", true},
               {" qv", true},
               {"qv ", true},
               {"mine:qv", true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.entry);
    EXPECT_EQ(c.want, SUrnResolver::CanUrnBeOverridden(c.entry));
  }
  EXPECT_TRUE(SUrnResolver::RegisterUrn("Qv", "/")) << "the map itself does not ask";
  EXPECT_EQ("/", DirectoryOf("qv"));
}

// ---- resolving ----

class UrnResolve : public bix_test::UrnFixture {
 protected:
  UrnResolve() { BuildFrom("dir:/base\nempty:\nrelative:some/../place\ndrive:C:\\x\\..\\y\n"); }
};
using UrnResolveCompat = UrnResolve;

TEST_F(UrnResolve, JoinsTheDirectoryAndTheRest) {
  const struct {
    const char* urn;
    const char* want;
  } cases[] = {
      {"urn:dir:a/b", "/base/a/b"}, {"urn:DIR:a/b", "/base/a/b"},
      {"urn:dir:", "/base/"},       {"urn:dir:a\\b", "/base/a/b"},
      {"urn:dir:a:b", "/base/a:b"}, {"urn:empty:a", "a"},
      {"urn:empty:", ""},           {"urn:relative:a", "some/../place/a"},
      {"urn:drive:a", "C:/y/a"},    {"urn:dir:a/./b/../c", "/base/a/./b/../c"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.urn);
    const ScopedRecorder recorder;
    SString path = "old";
    Status status = SUrnResolver::URN_MALFORMED;
    EXPECT_TRUE(SUrnResolver::ResolveUrn(c.urn, path, status));
    EXPECT_EQ(c.want, path);
    EXPECT_EQ(SUrnResolver::URN_OK, status);
    SString again = "old";
    EXPECT_TRUE(SUrnResolver::ResolveUrn(c.urn, again));
    EXPECT_EQ(c.want, again);
    EXPECT_EQ("", recorder.Text());
  }
}

TEST_F(UrnResolve, FindsThePredefinedNamesInAnyLetters) {
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/a/b", Resolved("urn:QVUSER:a/b"));
}

TEST_F(UrnResolve, WhatIsNoUrnIsAPathAlready) {
  for (const char* text : {"", "a\\b", "/a/../b", "C:\\x", "URN:qvuser:a", "http://h/../p",
                           "halder:x:y", " urn:dir:a"}) {
    SCOPED_TRACE(text);
    const ScopedRecorder recorder;
    SString path = "old";
    Status status = SUrnResolver::URN_OK;
    EXPECT_TRUE(SUrnResolver::ResolveUrn(text, path, status));
    EXPECT_EQ(text, path) << "byte for byte";
    EXPECT_EQ(SUrnResolver::URN_NOT_A_URN, status);
    path = "old";
    EXPECT_TRUE(SUrnResolver::ResolveUrn(text, path));
    EXPECT_EQ(text, path);
    EXPECT_EQ("", recorder.Text());
  }
}

TEST_F(UrnResolve, AMalformedOneIsNoFailureToReport) {
  const ScopedRecorder recorder;
  SString path = "old";
  Status status = SUrnResolver::URN_OK;
  EXPECT_FALSE(SUrnResolver::ResolveUrn("urn:qvuser", path, status));
  EXPECT_EQ("urn:qvuser", path);
  EXPECT_EQ(SUrnResolver::URN_MALFORMED, status);
  path = "old";
  EXPECT_FALSE(SUrnResolver::ResolveUrn("urn:", path));
  EXPECT_EQ("urn:", path);
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnResolve, AnUnknownNameIsReportedInSmallLetters) {
  const ScopedRecorder recorder;
  SString path = "old";
  Status status = SUrnResolver::URN_OK;
  EXPECT_FALSE(SUrnResolver::ResolveUrn("urn:NoSuch:A\\b", path, status));
  EXPECT_EQ("urn:NoSuch:A\\b", path);
  EXPECT_EQ(SUrnResolver::URN_NOT_REGISTERED, status);
  path = "old";
  EXPECT_FALSE(SUrnResolver::ResolveUrn("urn::x", path));
  EXPECT_EQ("urn::x", path);
  const std::string text = "' was not found. Please define it in VORN->Options->General->URNMap.\n";
  EXPECT_EQ((std::vector<std::string>{"The URN Name 'nosuch" + text, "The URN Name '" + text}),
            recorder.messages)
      << "each is delivered";
}

TEST_F(UrnResolveCompat, TheJoinedTextIsNotFolded) {
  EXPECT_EQ("/base/../x", Resolved("urn:dir:../x"));
  EXPECT_EQ("/base//etc", Resolved("urn:dir:/etc"));
  EXPECT_EQ("/base//etc", Resolved("urn:dir:/a/../etc")) << "an absolute REST alone is";
  EXPECT_EQ("/base/C:/y", Resolved("urn:dir:C:/x/../y"));
  EXPECT_EQ("/base//x", Resolved("urn:dir:\\x"));
}

TEST_F(UrnResolveCompat, APathArgumentIsNotNormalised) {
  bix::SPathName path("/old");
  EXPECT_TRUE(SUrnResolver::ResolveUrn("urn:dir:../x", path));
  EXPECT_EQ("/base/../x", std::string(path));
  EXPECT_TRUE(SUrnResolver::ResolveUrn("/a\\..\\b", path));
  EXPECT_EQ("/a\\..\\b", std::string(path));
}

TEST_F(UrnResolve, TheArgumentsMayBeTheSameText) {
  SString text = "urn:dir:a";
  EXPECT_TRUE(SUrnResolver::ResolveUrn(text, text));
  EXPECT_EQ("/base/a", text);
  EXPECT_TRUE(SUrnResolver::ResolveUrn(text, text));
  EXPECT_EQ("/base/a", text);
  SUrnResolver::CreateUrn(text, text);
  EXPECT_EQ("urn:dir:a", text);
}

TEST_F(UrnResolve, AnOverlongRestLeavesTheDirectory) {
  EXPECT_EQ("/base/" + std::string(1023, 'x'), Resolved("urn:dir:" + std::string(1023, 'x')));
  const ScopedRecorder recorder;
  errno = 0;
  SString path;
  Status status = SUrnResolver::URN_MALFORMED;
  EXPECT_TRUE(SUrnResolver::ResolveUrn("urn:dir:" + std::string(1024, 'x'), path, status));
  EXPECT_EQ(EINVAL, errno);
  EXPECT_EQ("/base/", path);
  EXPECT_EQ(SUrnResolver::URN_OK, status);
  EXPECT_EQ("", recorder.Text());
}

TEST_F(UrnResolve, AZeroByteEndsTheRest) {
  EXPECT_EQ("/base/a", Resolved(std::string("urn:dir:a\0b", 11)));
  EXPECT_EQ("urn:dir", Resolved("urn:dir"));
}

// ---- registering in memory ----

using UrnRegister = bix_test::UrnFixture;
using UrnRegisterCompat = bix_test::UrnFixture;

TEST_F(UrnRegister, AddsANameToTheMapAlone) {
  const TempDirectory target;
  const ScopedRecorder recorder;
  EXPECT_TRUE(SUrnResolver::RegisterUrn("Mine", target.Path()));
  EXPECT_EQ("", recorder.Text());
  EXPECT_EQ(target.Path() + "/a", Resolved("urn:mINE:a"));
  EXPECT_EQ("", bix_test::ReadWholeFile(MapFile()));
  SString text;
  SUrnResolver::EncodeUrnMap(text);
  EXPECT_EQ(0u, text.find("mine:" + target.Path() + "/;qv:"));
}

TEST_F(UrnRegister, ANameOfTheMapIsRefused) {
  const TempDirectory target;
  const ScopedRecorder recorder;
  EXPECT_FALSE(SUrnResolver::RegisterUrn("qvuser", target.Path()));
  EXPECT_TRUE(SUrnResolver::RegisterUrn("mine", target.Path()));
  EXPECT_FALSE(SUrnResolver::RegisterUrn("mine", "/no/such/target"));
  EXPECT_EQ(target.Path() + "/", DirectoryOf("mine"));
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/", DirectoryOf("qvuser"));
  EXPECT_EQ((std::vector<std::string>{AlreadyDefined("qvuser", home / "Kestrane/Vorn 4.2/"),
                                      AlreadyDefined("mine", target.Path() + "/")}),
            recorder.messages)
      << "with the directory of the map";
}

TEST_F(UrnRegisterCompat, ANameWithCapitalsReplacesWhatIsThere) {
  const ScopedRecorder recorder;
  EXPECT_TRUE(SUrnResolver::RegisterUrn("QvUser", "/tmp"));
  EXPECT_EQ("/tmp/", DirectoryOf("qvuser"));
  EXPECT_EQ("", recorder.Text());
}

TEST_F(UrnRegisterCompat, IsRegisteredAsksForTheNameAsItIs) {
  EXPECT_TRUE(SUrnResolver::IsUrnRegistered("qv"));
  EXPECT_FALSE(SUrnResolver::IsUrnRegistered("QV"));
  EXPECT_FALSE(SUrnResolver::IsUrnRegistered("Qv"));
  EXPECT_FALSE(SUrnResolver::IsUrnRegistered(""));
  EXPECT_FALSE(SUrnResolver::IsUrnRegistered("qv:"));
  EXPECT_TRUE(SUrnResolver::RegisterUrn("Foo", "/"));
  EXPECT_FALSE(SUrnResolver::IsUrnRegistered("Foo"));
  EXPECT_TRUE(SUrnResolver::IsUrnRegistered("foo"));
}

TEST_F(UrnRegisterCompat, AMissingOrRelativeTargetIsRegistered) {
  const TempDirectory target;
  const ScopedWorkingDirectory here(target.Path());
  ASSERT_EQ(0, mkdir("below", 0777));
  const struct {
    const char* name;
    const char* target;
    const char* directory;
    bool isReported;
  } cases[] = {{"missing", "/no/such/target", "/no/such/target/", true},
               {"drive", "C:/no/such", "C:/no/such/", false},
               {"url", "http://h/p", "http://h/p/", false},
               {"none", "", "", true},
               {"slash", "/", "/", false},
               {"step", "/tmp/./..", "", false},
               {"win", "\\no\\such", "/no/such/", true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ScopedRecorder recorder;
    EXPECT_TRUE(SUrnResolver::RegisterUrn(c.name, c.target));
    EXPECT_EQ(c.directory, DirectoryOf(c.name));
    EXPECT_EQ(c.isReported ? "URN '" + std::string(c.name) + "', target location not found: '" +
                                 c.target + "'. Error :'No such file or directory'.\n"
                           : "",
              recorder.Text());
  }
}

TEST_F(UrnRegisterCompat, ARelativeTargetIsNotReported) {
  const TempDirectory target;
  const ScopedWorkingDirectory here(target.Path());
  ASSERT_EQ(0, mkdir("below", 0777));
  const ScopedRecorder recorder;
  EXPECT_TRUE(SUrnResolver::RegisterUrn("below", "below"));
  EXPECT_EQ("below/", DirectoryOf("below"));
  EXPECT_TRUE(SUrnResolver::RegisterUrn("here", "."));
  EXPECT_EQ("./", DirectoryOf("here"));
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnRegister, DirectoriesAreNormalisedAndEndInASlash) {
  const struct {
    const char* target;
    const char* want;
  } cases[] = {{"/a", "/a/"},
               {"/a/", "/a/"},
               {"/a//", "/a//"},
               {"\\a\\b", "/a/b/"},
               {"/a/./b/../c", "/a/c/"},
               {"/a/..", ""},
               {"/a/.", "/a/"},
               {"a/../b", "a/../b/"},
               {"C:", "C:/"},
               {"/a b ", "/a b /"},
               {"", ""}};
  std::string name = "n";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.target);
    const ScopedRecorder recorder;
    name += 'n';
    EXPECT_TRUE(SUrnResolver::RegisterUrn(name, c.target));
    EXPECT_EQ(c.want, DirectoryOf(name));
  }
}

TEST_F(UrnRegister, AnOverlongTargetIsEmpty) {
  const ScopedRecorder recorder;
  EXPECT_TRUE(SUrnResolver::RegisterUrn("long", "/" + std::string(1023, 'x')));
  EXPECT_EQ("", DirectoryOf("long"));
}

TEST_F(UrnRegister, NamesAreWalkedInTheOrderOfTheirBytes) {
  BuildFrom("b:/\nab:/\na:/\n\xC3\xA4:/\n-:/\n1:/\na-:/\n");
  SString text;
  SUrnResolver::EncodeUrnMap(text);
  EXPECT_EQ(0u, text.find("-:/;1:/;a:/;a-:/;ab:/;b:/;qv:"));
  EXPECT_EQ(text.size() - 5, text.find(";\xC3\xA4:/")) << "bytes count as unsigned";
}

// ---- creating ----

class UrnCreate : public bix_test::UrnFixture {
 protected:
  UrnCreate() { BuildFrom("n:/base/dir\n"); }
};
using UrnCreateCompat = UrnCreate;

TEST_F(UrnCreate, APathInsideAMappedDirectoryBecomesAUrn) {
  const struct {
    const char* path;
    const char* want;
  } cases[] = {
      {"/base/dir/a/b", "urn:n:a/b"},
      {"/base/dir/", "urn:n:"},
      {"/base/dir", "/base/dir"},
      {"/base/dirx/a", "/base/dirx/a"},
      {"/base/Dir/a", "/base/Dir/a"},
      {"/base/other", "/base/other"},
      {"/elsewhere", "/elsewhere"},
      {"\\base\\dir\\a", "urn:n:a"},
      {"/base/x/../dir/a", "urn:n:a"},
      {"/base/dir/../a", "/base/dir/../a"},
      {"/base/dir/a\\b", "urn:n:a/b"},
      {"/base//dir/a", "/base//dir/a"},
      {"", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(c.want, UrnOf(c.path));
  }
}

TEST_F(UrnCreate, UrnsAndUrisOfTheSuiteStay) {
  BuildFrom("root:/\n");
  for (const char* text : {"urn:n:a", "urn:bad", "urn:", "halder:/base", "ox:base/dir"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(text, UrnOf(text));
  }
}

TEST_F(UrnCreate, OtherUrisAreTakenAgainstTheWorkingDirectory) {
  const TempDirectory here;
  const ScopedWorkingDirectory working(here.Path());
  const std::string below = here.Path().substr(1);
  BuildFrom("root:/\n");
  EXPECT_EQ("urn:root:" + below + "/http://h/p", UrnOf("http://h/p"));
  EXPECT_EQ("urn:root:" + below + "/C:/x", UrnOf("C:/x"));
  EXPECT_EQ("urn:root:" + below + "/a/b", UrnOf("a\\b"));
  BuildFrom("here:" + here.Path() + "\n");
  EXPECT_EQ("urn:here:a/b", UrnOf("a/b"));
  EXPECT_EQ("C:/x", UrnOf("C:/x")) << "what is left is absolute again";
}

TEST_F(UrnCreate, ADirectoryThatIsAUriIsTakenAgainstTheWorkingDirectory) {
  const TempDirectory here;
  const ScopedWorkingDirectory working(here.Path());
  BuildFrom("drive:C:/dir\nfar:http://h/p\nrelative:some/place\n");
  EXPECT_EQ("urn:drive:a/b", UrnOf("C:/dir/a/b"));
  EXPECT_EQ("urn:drive:", UrnOf("C:/dir/"));
  EXPECT_EQ("urn:drive:a", UrnOf(here / "C:/dir/a"));
  EXPECT_EQ("urn:far:q", UrnOf("http://h/p/q"));
  EXPECT_EQ("D:/dir/a", UrnOf("D:/dir/a"));
  EXPECT_EQ("some/place/a", UrnOf("some/place/a")) << "a relative directory has no URNs";
  EXPECT_EQ("/C:/dir/a", UrnOf("/C:/dir/a"));
}

TEST_F(UrnCreateCompat, TheFirstNameWinsAndNotTheDeepestDirectory) {
  BuildFrom("a:/p/\nz:/p/u/v\n");
  const ScopedRecorder recorder;
  ASSERT_TRUE(SUrnResolver::RegisterUrn("QvUser", "/p/u/"));
  EXPECT_EQ("urn:a:u/f", UrnOf("/p/u/f"));
  EXPECT_EQ("urn:a:u/v/f", UrnOf("/p/u/v/f"));
  BuildFrom("b:/p/u\na:/p/u/v\n");
  EXPECT_EQ("urn:a:f", UrnOf("/p/u/v/f"));
  EXPECT_EQ("urn:b:f", UrnOf("/p/u/f"));
}

TEST_F(UrnCreateCompat, WhatLooksLikeAWayOutDoesNotFit) {
  EXPECT_EQ("/base/dir/..f", UrnOf("/base/dir/..f"));
  EXPECT_EQ("/base/dir/...", UrnOf("/base/dir/..."));
  EXPECT_EQ("urn:n:.f", UrnOf("/base/dir/.f"));
  EXPECT_EQ("urn:n:a/..f", UrnOf("/base/dir/a/..f"));
  EXPECT_EQ("/base/dir/ab:c", UrnOf("/base/dir/ab:c"));
  EXPECT_EQ("urn:n:a.b:c", UrnOf("/base/dir/a.b:c"));
  EXPECT_EQ("/base/dir//a", UrnOf("/base/dir//a")) << "what is left is absolute";
}

TEST_F(UrnCreate, AnotherNameIsTriedWhenOneDoesNotFit) {
  BuildFrom("a:/base/dir\nb:/base\n");
  EXPECT_EQ("urn:b:dir/..f", UrnOf("/base/dir/..f"));
}

TEST_F(UrnCreate, AnOverlongPathStays) {
  BuildFrom("root:/\n");
  const std::string longest = "/" + std::string(1022, 'x');
  EXPECT_EQ("urn:root:" + longest.substr(1), UrnOf(longest));
  EXPECT_EQ(longest + "x", UrnOf(longest + "x"));
  const TempDirectory here;
  const ScopedWorkingDirectory working(here.Path());
  EXPECT_EQ("/base/..", UrnOf("/base/..")) << "this is all folded away";
  const std::string relative(1023, 'x');
  EXPECT_EQ(relative, UrnOf(relative)) << "too long with the working directory in front";
}

TEST_F(UrnCreate, WhatIsCreatedResolvesToThePath) {
  for (const char* path : {"/base/dir/a/b", "/base/dir/", "/base/dir/a b/c;d", "/base/dir/a.b:c"}) {
    SCOPED_TRACE(path);
    const std::string urn = UrnOf(path);
    EXPECT_TRUE(bix::BixIsAUrn(urn.c_str()));
    EXPECT_EQ(path, Resolved(urn));
  }
}

// ---- absolute and relative ----

std::string Absolute(const SString& base, const SString& text) {
  SString out = "old";
  SUrnResolver::CreateAbsolutePath(base, text, out);
  return out;
}

std::string Relative(const SString& base, const SString& path) {
  SString out = "old";
  SUrnResolver::CreateRelativePath(base, path, out);
  return out;
}

TEST(UrnAbsolutePath, IsTakenFromTheDirectoryOfTheBase) {
  const struct {
    const char* base;
    const char* text;
    const char* want;
  } cases[] = {{"/m/model", "a.x", "/m/a.x"},
               {"/m/dir/", "a.x", "/m/dir/a.x"},
               {"/m/model", "../a.x", "/a.x"},
               {"/m/model", "/b/../a.x", "/a.x"},
               {"/m/model", "C:/x", "C:/x"},
               {"/m/model", "", "/m/"},
               {"m/model", "a\\..\\x", "a\\..\\x"},
               {"", "a.x", "a.x"},
               {"/m/model", "urn:n:a\\b", "urn:n:a\\b"},
               {"m", "urn:n:a", "urn:n:a"},
               {"C:/m/model", "a.x", nullptr},
               {"\\m\\model", "a\\x", "/m/a/x"},
               {"/m/model", "halder:a/../b", "/b"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.base);
    SCOPED_TRACE(c.text);
    if (c.want != nullptr) {
      EXPECT_EQ(c.want, Absolute(c.base, c.text));
      continue;
    }
    bix::SPathName want(c.text);
    want.MakeAbsolutePath(bix::SPathName(c.base));
    EXPECT_EQ(std::string(want), Absolute(c.base, c.text));
  }
}

TEST(UrnAbsolutePath, TheArgumentsMayBeTheSameText) {
  SString text = "a.x";
  SUrnResolver::CreateAbsolutePath("/m/model", text, text);
  EXPECT_EQ("/m/a.x", text);
  SString base = "/m/model";
  SUrnResolver::CreateAbsolutePath(base, "a.x", base);
  EXPECT_EQ("/m/a.x", base);
}

class UrnRelativePath : public bix_test::UrnFixture {
 protected:
  UrnRelativePath() { BuildFrom("n:/mapped\n"); }
};

TEST_F(UrnRelativePath, IsAUrnOrSeenFromTheDirectoryOfTheBase) {
  const struct {
    const char* base;
    const char* path;
    const char* want;
  } cases[] = {{"/m/model", "/mapped/a", "urn:n:a"},
               {"/mapped/model", "/mapped/a", "urn:n:a"},
               {"m/model", "/mapped/a", "urn:n:a"},
               {"/m/model", "/m/a", "a"},
               {"/m/model", "/x/a", "../x/a"},
               {"/m/dir/", "/m/a", "../a"},
               {"/m/model", "/m/", ""},
               {"m/model", "/m/a", "/m/a"},
               {"", "/m/a", "/m/a"},
               {"/m/model", "urn:x:y", "urn:x:y"},
               {"/m/model", "urn:broken", "urn:broken"},
               {"/m/model", "halder:x", "halder:x"},
               {"/m/model", "ox:x", "ox:x"},
               {"/m/model", "\\m\\a", "a"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.base);
    SCOPED_TRACE(c.path);
    EXPECT_EQ(c.want, Relative(c.base, c.path));
  }
}

TEST_F(UrnRelativePath, TheArgumentsMayBeTheSameText) {
  SString text = "/m/a";
  SUrnResolver::CreateRelativePath("/m/model", text, text);
  EXPECT_EQ("a", text);
  SString base = "/m/model";
  SUrnResolver::CreateRelativePath(base, "/m/a", base);
  EXPECT_EQ("a", base);
}

// ---- targets ----

using UrnTarget = bix_test::UrnFixture;
using UrnTargetCompat = bix_test::UrnFixture;

TEST_F(UrnTarget, IsADirectoryOrALinkToOne) {
  const TempDirectory place;
  ASSERT_EQ(0, symlink(place.Path().c_str(), (place / "link").c_str()));
  const ScopedRecorder recorder;
  for (const std::string& target :
       {place.Path(), place.Path() + "/", place / "link", std::string("/"), std::string("/tmp/")}) {
    SCOPED_TRACE(target);
    EXPECT_TRUE(SUrnResolver::DoesUrnTargetExist("n", target, true));
    EXPECT_TRUE(SUrnResolver::DoesUrnMappedExist("n:" + target, true));
  }
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnTarget, AMissingOneIsReportedAsItWasGiven) {
  const ScopedRecorder recorder;
  EXPECT_FALSE(SUrnResolver::DoesUrnTargetExist("Name", "/no/such/", true));
  EXPECT_FALSE(SUrnResolver::DoesUrnMappedExist("Other:/no:such", true));
  EXPECT_FALSE(SUrnResolver::DoesUrnMappedExist("bare", true));
  EXPECT_EQ(
      (std::vector<std::string>{
          "URN 'Name', target location not found: '/no/such/'. Error :'No such file or "
          "directory'.\n",
          "URN 'Other', target location not found: '/no:such'. Error :'No such file or "
          "directory'.\n",
          "URN 'bare', target location not found: ''. Error :'No such file or directory'.\n"}),
      recorder.messages);
}

TEST_F(UrnTarget, NothingIsReportedUnlessAskedFor) {
  const ScopedRecorder recorder;
  EXPECT_FALSE(SUrnResolver::DoesUrnTargetExist("n", "/no/such", false));
  EXPECT_FALSE(SUrnResolver::DoesUrnMappedExist("n:/no/such", false));
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnTarget, TheReasonIsTheSystemsOwn) {
  const TempDirectory place;
  bix_test::WriteWholeFile(place / "file", "");
  const ScopedRecorder recorder;
  EXPECT_FALSE(SUrnResolver::DoesUrnTargetExist("n", place / "file/below", true));
  EXPECT_EQ("URN 'n', target location not found: '" + (place / "file/below") +
                "'. Error :'Not a directory'.\n",
            recorder.Text());
}

TEST_F(UrnTargetCompat, AFileIsNoTargetAndNotReported) {
  const TempDirectory place;
  bix_test::WriteWholeFile(place / "file", "");
  const ScopedRecorder recorder;
  EXPECT_FALSE(SUrnResolver::DoesUrnTargetExist("n", place / "file", true));
  EXPECT_FALSE(SUrnResolver::DoesUrnTargetExist("n", place / "file/", true))
      << "without its slash it is there";
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnTargetCompat, OneSlashGoesFromMoreThanThreeCharacters) {
  const TempDirectory place;
  const ScopedWorkingDirectory here(place.Path());
  bix_test::WriteWholeFile(place / "ab", "");
  bix_test::WriteWholeFile(place / "abc", "");
  const struct {
    const char* target;
    const char* message;
  } cases[] = {
      {"ab/", "URN 'n', target location not found: 'ab/'. Error :'Not a directory'.\n"},
      {"abc/", ""},
      {"abc//", "URN 'n', target location not found: 'abc//'. Error :'Not a directory'.\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.target);
    const ScopedRecorder recorder;
    EXPECT_FALSE(SUrnResolver::DoesUrnTargetExist("n", c.target, true));
    EXPECT_EQ(c.message, recorder.Text());
  }
}

// ---- messages ----

using UrnMessage = bix_test::UrnFixture;
using UrnMessageCompat = bix_test::UrnFixture;

TEST_F(UrnMessageCompat, TheHostsModuleIsPutBack) {
  int anchor = 0;
  HINSTANCE const module = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&anchor));
  bix::SStringTable table(module);
  for (unsigned id : {10u, 12u, 13u, 14u, 15u}) table.Add(id, "a text of another module");
  HINSTANCE const before = bix::BixGetResourceHandle();
  bix::BixSetResourceHandle(module);
  const ScopedRecorder recorder;
  SString path;
  (void)SUrnResolver::ResolveUrn("urn:nosuch:x", path);
  EXPECT_EQ(module, bix::BixGetResourceHandle());
  (void)SUrnResolver::RegisterUrn("qv", "/");
  EXPECT_EQ(module, bix::BixGetResourceHandle());
  (void)SUrnResolver::DoesUrnTargetExist("n", "/no/such", true);
  EXPECT_EQ(module, bix::BixGetResourceHandle());
  EXPECT_EQ(std::string::npos, recorder.Text().find("another module")) << recorder.Text();

  // Also when the library has no texts.
  HINSTANCE const own = bix::BixhDllInstance;
  int without = 0;
  bix::BixhDllInstance = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&without));
  (void)SUrnResolver::ResolveUrn("urn:nosuch:x", path);
  EXPECT_EQ(module, bix::BixGetResourceHandle());
  (void)SUrnResolver::DoesUrnTargetExist("n", "/no/such", true);
  EXPECT_EQ(module, bix::BixGetResourceHandle());
  bix::BixhDllInstance = own;
  bix::BixSetResourceHandle(before);
}

/// Notes which module is the current one when each message arrives.
class ModuleRecorder : public qv::IMessageOutputHandler {
 public:
  ModuleRecorder() { bix::bixerr.PushOutput(this); }
  ModuleRecorder(const ModuleRecorder&) = delete;
  ModuleRecorder& operator=(const ModuleRecorder&) = delete;
  ~ModuleRecorder() { bix::bixerr.PopOutput(); }
  bool HandleOutput(const std::string&) override {
    modules.push_back(bix::BixGetResourceHandle());
    return true;
  }
  void OutputDone() override {}

  std::vector<HINSTANCE> modules;
};

TEST_F(UrnMessageCompat, TheHostsModuleIsBackWhenAMessageIsWritten) {
  int anchor = 0;
  int without = 0;
  HINSTANCE const host = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&anchor));
  HINSTANCE const empty = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&without));
  HINSTANCE const before = bix::BixGetResourceHandle();
  HINSTANCE const own = bix::BixhDllInstance;
  ASSERT_NE(host, empty);
  const auto report = [] {
    SString path;
    (void)SUrnResolver::ResolveUrn("urn:nosuch:x", path);           // 13
    (void)SUrnResolver::RegisterUrn("qv", "/");                     // 14
    (void)SUrnResolver::DoesUrnTargetExist("n", "/no/such", true);  // 15
  };
  bix::BixSetResourceHandle(host);
  {
    const ModuleRecorder recorder;
    report();
    EXPECT_EQ(std::vector<HINSTANCE>(3, host), recorder.modules);
  }
  {
    // The look-up that fails reports so itself, while it is under way.
    const ModuleRecorder recorder;
    bix::BixhDllInstance = empty;
    report();
    bix::BixhDllInstance = own;
    ASSERT_LE(6u, recorder.modules.size());
    EXPECT_EQ(empty, recorder.modules.front());
    EXPECT_EQ(empty, recorder.modules[4]);
    EXPECT_EQ(host, recorder.modules.back());
  }
  bix::BixSetResourceHandle(before);
}

TEST_F(UrnMessage, IsAnEmptyLineWithoutTheLibrarysTexts) {
  HINSTANCE const own = bix::BixhDllInstance;
  int without = 0;
  bix::BixhDllInstance = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&without));
  const ScopedRecorder recorder;
  SString path = "old";
  const bool isResolved = SUrnResolver::ResolveUrn("urn:nosuch:x", path);
  bix::BixhDllInstance = own;
  EXPECT_FALSE(isResolved);
  EXPECT_EQ("urn:nosuch:x", path);
  ASSERT_EQ(2u, recorder.messages.size());
  EXPECT_NE(std::string::npos, recorder.messages[0].find(", 13): handle not found\n"));
  EXPECT_EQ("\n", recorder.messages[1]);
}

TEST_F(UrnMessage, ValuesMayHoldPercentSigns) {
  const ScopedRecorder recorder;
  SString path;
  (void)SUrnResolver::ResolveUrn("urn:%s%n%d:x", path);
  EXPECT_EQ(
      "The URN Name '%s%n%d' was not found. Please define it in VORN->Options->General->URNMap.\n",
      recorder.Text());
}

TEST_F(UrnMessage, GoToStandardErrorInOnePiece) {
  std::string output;
  std::string errors;
  {
    const bix_test::CapturedOutput captured;
    SString path;
    (void)SUrnResolver::ResolveUrn("urn:nosuch:x", path);
    output = captured.Output();
    errors = captured.Errors();
  }
  EXPECT_EQ("", output);
  EXPECT_EQ(
      "The URN Name 'nosuch' was not found. Please define it in VORN->Options->General->URNMap.\n",
      errors);
}

}  // namespace
