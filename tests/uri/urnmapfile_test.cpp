// The file that keeps the URN map: building the map from it, and writing it.

#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "uri/urn_test_support.h"

namespace {

using bix::SString;
using bix::SUrnResolver;
using bix_test::AlreadyDefined;
using bix_test::ReadWholeFile;
using bix_test::ScopedRecorder;
using bix_test::ScopedVariable;
using bix_test::TempDirectory;
using bix_test::WriteWholeFile;
using Messages = std::vector<std::string>;

std::string CannotRead(const std::string& file) {
  return "Failed to open '" + file + "' for read.\n";
}

std::string Encoded() {
  SString text;
  SUrnResolver::EncodeUrnMap(text);
  return text;
}

// ---- reading ----

using UrnMapFile = bix_test::UrnFixture;
using UrnMapFileCompat = bix_test::UrnFixture;

TEST_F(UrnMapFile, FillsTheMap) {
  EXPECT_EQ("", BuildFrom("Mine:/mine\n  theirs:relative\nurl:http://h/p;last:/z"));
  EXPECT_EQ("/mine/", DirectoryOf("mine"));
  EXPECT_EQ("relative/", DirectoryOf("theirs"));
  EXPECT_EQ("http://h/p/", DirectoryOf("url"));
  EXPECT_EQ("/z/", DirectoryOf("last"));
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/", DirectoryOf("qvuser"));
}

TEST_F(UrnMapFile, TheMapIsBuiltAnewEachTime) {
  BuildFrom("a:/a\nb:/b\n");
  ASSERT_TRUE(SUrnResolver::RegisterUrn("memory", "/"));
  BuildFrom("b:/other\n");
  EXPECT_EQ("<none>", DirectoryOf("a"));
  EXPECT_EQ("<none>", DirectoryOf("memory"));
  EXPECT_EQ("/other/", DirectoryOf("b"));
}

TEST_F(UrnMapFile, APredefinedNameIsNotRedefined) {
  EXPECT_EQ(AlreadyDefined("qvuser", "/tmp"), BuildFrom("qvuser:/tmp\nmine:/mine\n"));
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/", DirectoryOf("qvuser"));
  EXPECT_EQ("/mine/", DirectoryOf("mine")) << "reading goes on";
}

TEST_F(UrnMapFile, TheFirstOfANameWins) {
  EXPECT_EQ(AlreadyDefined("foo", "/b") + AlreadyDefined("foo", "/c"),
            BuildFrom("foo:/a\nfoo:/b\nfoo:/c"));
  EXPECT_EQ("/a/", DirectoryOf("foo"));
}

TEST_F(UrnMapFileCompat, ANameWithCapitalsReplacesWhatIsThere) {
  EXPECT_EQ("", BuildFrom("QvUser:/x\nFoo:/a\nFoo:/b\nbar:/a\nBar:/b\n"));
  EXPECT_EQ("/x/", DirectoryOf("qvuser"));
  EXPECT_EQ("/b/", DirectoryOf("foo"));
  EXPECT_EQ("/b/", DirectoryOf("bar"));
  EXPECT_EQ(AlreadyDefined("foo", "/c"), BuildFrom("Foo:/a\nFOO:/b\nfoo:/c\n"));
  EXPECT_EQ("/b/", DirectoryOf("foo"));
}

TEST_F(UrnMapFileCompat, TheMessageNamesTheRefusedTarget) {
  const ScopedRecorder recorder;
  WriteMapFile("foo:/kept\nfoo:\\a\\..\\b \nqv\n");
  SUrnResolver::RegisterURNsWithoutOptions();
  EXPECT_EQ((Messages{AlreadyDefined("foo", "\\a\\..\\b "), AlreadyDefined("qv", "")}),
            recorder.messages);
}

TEST_F(UrnMapFileCompat, TargetsAreNotChecked) {
  EXPECT_EQ("", BuildFrom("missing:/no/such/place\nrelative:a/b\nnone\nempty:\n"));
  EXPECT_EQ("/no/such/place/", DirectoryOf("missing"));
  EXPECT_EQ("a/b/", DirectoryOf("relative"));
  EXPECT_EQ("", DirectoryOf("none"));
  EXPECT_EQ("", DirectoryOf("empty"));
}

TEST_F(UrnMapFileCompat, CarriageReturnsGoFromTheFileOnly) {
  EXPECT_EQ("", BuildFrom("a:/a\r\nb\r\r:/b\r;\rc:/c"));
  EXPECT_EQ("/a/", DirectoryOf("a"));
  EXPECT_EQ("/b/", DirectoryOf("b"));
  EXPECT_EQ("/c/", DirectoryOf("c"));
  // An empty line of a file with such line ends is an empty line.
  BuildFrom("a:/a\r\n\r\nb:/b\r\n");
  EXPECT_EQ("<none>", DirectoryOf("b"));
  SUrnResolver::RegisterURNsFromOptionString("a:/a\r\nb:/b");
  EXPECT_EQ("a:/a\r\nb:/b\n", ReadWholeFile(MapFile()));
}

TEST_F(UrnMapFile, TheRestBehindAnEmptyLineMatchesNoUrn) {
  EXPECT_EQ("", BuildFrom("a:/a\n\nb:/b\nc:/c\n"));
  EXPECT_EQ("/a/", DirectoryOf("a"));
  EXPECT_EQ("<none>", DirectoryOf("b"));
  EXPECT_EQ("<none>", DirectoryOf("c"));
  EXPECT_EQ("/b\nc:/c\n/", DirectoryOf("\nb"));
}

TEST_F(UrnMapFile, AnEmptyFileIsNoFailure) { EXPECT_EQ("", BuildFrom("")); }

TEST_F(UrnMapFile, AFileWithoutAnEndCannotBeRead) {
  ASSERT_EQ(0, unlink(MapFile().c_str()));
  ASSERT_EQ(0, symlink("/dev/zero", MapFile().c_str()));
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsWithoutOptions();
  EXPECT_EQ((Messages{CannotRead(MapFile())}), recorder.messages);
  EXPECT_NE("<none>", DirectoryOf("qv"));
}

TEST_F(UrnMapFile, ALargeFileIsReadWhole) {
  std::string text;
  for (int i = 0; i < 40000; ++i)
    text += "name" + std::to_string(i) + ":/some/where/" + std::to_string(i) + "\n";
  EXPECT_EQ("", BuildFrom(text));
  EXPECT_EQ("/some/where/0/", DirectoryOf("name0"));
  EXPECT_EQ("/some/where/39999/", DirectoryOf("name39999"));
}

TEST_F(UrnMapFile, AFifoWithoutAWriterIsEmpty) {
  ASSERT_EQ(0, unlink(MapFile().c_str()));
  ASSERT_EQ(0, mkfifo(MapFile().c_str(), 0666));
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsWithoutOptions();
  EXPECT_TRUE(recorder.calls.empty());
  EXPECT_NE("<none>", DirectoryOf("qv"));
}

TEST_F(UrnMapFile, BytesOfAnyKindAreNames) {
  EXPECT_EQ("", BuildFrom("\xFF\xFE:/a\n\x01\t:/b\n" + std::string("z\0z:/c\0d\n", 9) +
                          std::string(3000, 'n') + ":/d\n" + "%s%n:/%s\n"));
  EXPECT_EQ("/a/", DirectoryOf("\xFF\xFE"));
  EXPECT_EQ("/b/", DirectoryOf("\x01\t"));
  EXPECT_EQ("/c/", DirectoryOf(std::string("z\0z", 3))) << "a zero byte ends the path";
  EXPECT_EQ("/d/", DirectoryOf(std::string(3000, 'n')));
  EXPECT_EQ("/%s/", DirectoryOf("%s%n"));
}

// ---- building without options ----

using UrnRegisterCompat = bix_test::UrnFixture;
using UrnWithoutHome = bix_test::UrnFixture;

TEST_F(UrnRegisterCompat, AMissingFileIsReported) {
  ASSERT_EQ(0, unlink(MapFile().c_str()));
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsWithoutOptions();
  EXPECT_EQ((Messages{CannotRead(MapFile())}), recorder.messages);
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/", DirectoryOf("qvuser"));
  EXPECT_FALSE(bix_test::Exists(MapFile()));
}

TEST_F(UrnRegisterCompat, TheUsersVariableIsReplaced) {
  const TempDirectory place;
  WriteWholeFile(place / "mine.txt", "users:/u\n");
  ScopedVariable variable("VORN_URN_MAP_FILE", (place / "mine.txt").c_str());
  EXPECT_EQ("", BuildFrom("default:/d\n"));
  EXPECT_EQ(MapFile(), std::getenv("VORN_URN_MAP_FILE"));
  EXPECT_EQ("<none>", DirectoryOf("users"));
  EXPECT_EQ("/d/", DirectoryOf("default"));

  variable.Set((place / "mine.txt").c_str());
  SUrnResolver::RegisterURNsFromOptionString("option:/o");
  EXPECT_EQ(MapFile(), std::getenv("VORN_URN_MAP_FILE"));
  EXPECT_EQ("/o/", DirectoryOf("option"));
  EXPECT_EQ("users:/u\n", ReadWholeFile(place / "mine.txt"));

  variable.Set(nullptr);
  SUrnResolver::RegisterURNAndSaveURNMapFile("appended", "/a");
  EXPECT_EQ(MapFile(), std::getenv("VORN_URN_MAP_FILE"));
}

TEST_F(UrnRegisterCompat, TheVariableFollowsTheHomeDirectory) {
  const TempDirectory other;
  homeVariable.Set(other.Path().c_str());
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsWithoutOptions();
  const std::string file = other / "Kestrane/Shared/urnmap.txt";
  EXPECT_EQ(file, std::getenv("VORN_URN_MAP_FILE"));
  EXPECT_EQ(CannotRead(file), recorder.Text());
  EXPECT_EQ(other / "Kestrane/Vorn 4.2/", DirectoryOf("qvuser"));
}

TEST_F(UrnWithoutHome, NothingHappensAtAll) {
  BuildFrom("mine:/mine\n");
  const std::string before = Encoded();
  const ScopedVariable variable("VORN_URN_MAP_FILE", "/as/it/was");
  homeVariable.Set(nullptr);
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsWithoutOptions();
  SUrnResolver::RegisterURNsFromOptionString("other:/other");
  SUrnResolver::RegisterURNAndSaveURNMapFile("third", "/third");
  EXPECT_EQ(before, Encoded());
  EXPECT_STREQ("/as/it/was", std::getenv("VORN_URN_MAP_FILE"));
  EXPECT_EQ("mine:/mine\n", ReadWholeFile(MapFile()));
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnWithoutHome, RegisteringInMemoryGoesOn) {
  homeVariable.Set(nullptr);
  EXPECT_TRUE(SUrnResolver::RegisterUrn("mine", "/"));
  EXPECT_EQ("/a", Resolved("urn:mine:a"));
}

// ---- the user's option ----

using UrnOption = bix_test::UrnFixture;
using UrnOptionCompat = bix_test::UrnFixture;

TEST_F(UrnOption, ReplacesTheFileAndTheMap) {
  BuildFrom("old:/old\n");
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsFromOptionString("a:/x\n  b:/y;c:/z");
  EXPECT_EQ("a:/x\nb:/y\nc:/z\n", ReadWholeFile(MapFile()));
  EXPECT_EQ("<none>", DirectoryOf("old"));
  EXPECT_EQ("/x/", DirectoryOf("a"));
  EXPECT_EQ("/y/", DirectoryOf("b"));
  EXPECT_EQ("/z/", DirectoryOf("c"));
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnOption, MakesTheFileAndItsDirectory) {
  const TempDirectory fresh;
  homeVariable.Set(fresh.Path().c_str());
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsFromOptionString("a:/x");
  EXPECT_EQ("a:/x\n", ReadWholeFile(fresh / "Kestrane/Shared/urnmap.txt"));
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnOption, ADirectoryThatCannotBeMadeIsReported) {
  const TempDirectory fresh;
  WriteWholeFile(fresh / "Kestrane", "a file in the way");
  homeVariable.Set(fresh.Path().c_str());
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsFromOptionString("a:/x");
  SUrnResolver::RegisterURNAndSaveURNMapFile("a", "/x");
  const std::string file = fresh / "Kestrane/Shared/urnmap.txt";
  EXPECT_EQ((Messages{"Can not open the file: " + file + "\n", CannotRead(file),
                      "Can not open the file: " + file + "\n"}),
            recorder.messages);
  EXPECT_EQ("a file in the way", ReadWholeFile(fresh / "Kestrane"));
}

TEST_F(UrnOption, AnEmptyTextEmptiesTheFile) {
  BuildFrom("old:/old\n");
  for (const char* text : {"", "  ", " ;  "}) {
    SCOPED_TRACE(text);
    SUrnResolver::RegisterURNsFromOptionString(text);
    EXPECT_EQ("", ReadWholeFile(MapFile()));
    EXPECT_EQ("<none>", DirectoryOf("old"));
  }
}

TEST_F(UrnOptionCompat, TheFileGetsTheEntriesAsTheyAreWritten) {
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsFromOptionString("Mine:C:\\a\\..\\b \n\n;x:/y;qvuser:/z");
  EXPECT_EQ("Mine:C:\\a\\..\\b \n\n;x:/y;qvuser:/z\n", ReadWholeFile(MapFile()));
  SUrnResolver::RegisterURNsFromOptionString(
      "qvuser:/z;Gr\xC3\xBC\xC3\x9F"
      "e:/g;\tb:/y\t;QvUser:/q");
  EXPECT_EQ(
      "qvuser:/z\nGr\xC3\xBC\xC3\x9F"
      "e:/g\n\tb:/y\t\nQvUser:/q\n",
      ReadWholeFile(MapFile()));
  EXPECT_EQ((Messages{AlreadyDefined("qvuser", "/z")}), recorder.messages);
  EXPECT_EQ("/g/", DirectoryOf("gr\xC3\xBC\xC3\x9F"
                               "e"));
  EXPECT_EQ("/q/", DirectoryOf("qvuser"));
}

TEST_F(UrnOption, BytesAreWrittenAsTheyAreInAnyLocale) {
  for (const std::string text : {"gr\xC3\xBC:/\xC3\xBC", "gr\xFC:/\xFC"}) {
    SUrnResolver::RegisterURNsFromOptionString(text);
    EXPECT_EQ(text + "\n", ReadWholeFile(MapFile()));
  }
}

// ---- appending ----

using UrnAppend = bix_test::UrnFixture;

TEST_F(UrnAppend, AddsALineAndBuildsTheMapAnew) {
  BuildFrom("a:/a\n");
  ASSERT_TRUE(SUrnResolver::RegisterUrn("memory", "/"));
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNAndSaveURNMapFile("Mine", "/m\\n/..");
  EXPECT_EQ("a:/a\nMine:/m\\n/..\n", ReadWholeFile(MapFile()));
  EXPECT_EQ("/a/", DirectoryOf("a"));
  EXPECT_EQ("/m/", DirectoryOf("mine"));
  EXPECT_EQ("<none>", DirectoryOf("memory"));
  EXPECT_TRUE(recorder.calls.empty()) << "a missing target is not reported";
}

TEST_F(UrnAppend, MakesTheFile) {
  ASSERT_EQ(0, unlink(MapFile().c_str()));
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNAndSaveURNMapFile("mine", "/m");
  EXPECT_EQ("mine:/m\n", ReadWholeFile(MapFile()));
  EXPECT_EQ("/m/", DirectoryOf("mine"));
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnAppend, AnUnfinishedLineIsEndedFirst) {
  WriteMapFile("a:/a");
  SUrnResolver::RegisterURNAndSaveURNMapFile("mine", "/m");
  EXPECT_EQ("a:/a\nmine:/m\n", ReadWholeFile(MapFile()));
  EXPECT_EQ("/a/", DirectoryOf("a"));
  EXPECT_EQ("/m/", DirectoryOf("mine"));
}

TEST_F(UrnAppend, WhatIsThereAlreadyIsReportedAndStays) {
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNAndSaveURNMapFile("mine", "/first");
  SUrnResolver::RegisterURNAndSaveURNMapFile("mine", "/second");
  SUrnResolver::RegisterURNAndSaveURNMapFile("other", "/third");
  EXPECT_EQ("mine:/first\nmine:/second\nother:/third\n", ReadWholeFile(MapFile()));
  EXPECT_EQ("/first/", DirectoryOf("mine"));
  EXPECT_EQ((Messages{AlreadyDefined("mine", "/second"), AlreadyDefined("mine", "/second")}),
            recorder.messages)
      << "each time the file is read";
}

TEST_F(UrnAppend, KeepsTheModeOfTheFile) {
  WriteMapFile("a:/a\n");
  ASSERT_EQ(0, chmod(MapFile().c_str(), 0640));
  SUrnResolver::RegisterURNAndSaveURNMapFile("b", "/b");
  SUrnResolver::RegisterURNsFromOptionString("a:/a;b:/b");
  struct stat status = {};
  ASSERT_EQ(0, stat(MapFile().c_str(), &status));
  EXPECT_EQ(0640u, status.st_mode & 07777u);
}

TEST_F(UrnAppend, ALinkStaysALink) {
  const TempDirectory place;
  WriteWholeFile(place / "real", "a:/a\n");
  ASSERT_EQ(0, unlink(MapFile().c_str()));
  ASSERT_EQ(0, symlink((place / "real").c_str(), MapFile().c_str()));
  SUrnResolver::RegisterURNAndSaveURNMapFile("b", "/b");
  EXPECT_EQ("a:/a\nb:/b\n", ReadWholeFile(place / "real"));
  SUrnResolver::RegisterURNsFromOptionString("c:/c");
  EXPECT_EQ("c:/c\n", ReadWholeFile(place / "real"));
  EXPECT_TRUE(std::filesystem::is_symlink(MapFile()));
}

}  // namespace
