#include "bix/fileitem.h"

#include <cerrno>
#include <filesystem>
#include <future>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bix/directories.h"
#include "bix/messages.h"
#include "support/recording_handler.h"
#include "support/scoped_environment.h"
#include "support/scoped_locale.h"
#include "support/temp_directory.h"
#include "support/working_directory.h"

namespace bix_test {
namespace {

using bix::BixCopyFile;
using bix::BixFileItem;
using bix::SPathName;
using Items = std::vector<BixFileItem>;
using Texts = std::vector<std::string>;

Texts Paths(const Items& items) {
  Texts paths;
  for (const BixFileItem& item : items) paths.push_back(item.GetFullPath());
  return paths;
}

Texts Names(const Items& items) {
  Texts names;
  for (const BixFileItem& item : items) names.push_back(item.GetName());
  return names;
}

Texts NamesMatching(const std::string& pattern) {
  Items items;
  BixFileItem::GetFiles(pattern.c_str(), items);
  return Names(items);
}

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
  return status;
}

TEST(FileItem, IsKnownByItsPath) {
  BixFileItem item("/a\\b/../c.tot");
  EXPECT_EQ("/a/c.tot", item.GetFullPath());
  EXPECT_EQ("c.tot", item.GetName());
  EXPECT_EQ("", BixFileItem("/a/").GetName());
  EXPECT_EQ("b", BixFileItem("b").GetName());
  EXPECT_EQ("", BixFileItem("").GetFullPath());
  SPathName path = item.GetFullPath();
  path = "/other";
  EXPECT_EQ("/a/c.tot", item.GetFullPath()) << "a copy is handed out";
}

TEST(FileItem, ItemsOfTheSamePathAreEqual) {
  const BixFileItem item("/a/b");
  BixFileItem copy = item;
  EXPECT_TRUE(item == copy);
  EXPECT_FALSE(item != copy);
  EXPECT_TRUE(item == BixFileItem("/a/x/../b"));
  EXPECT_FALSE(item == BixFileItem("/A/b"));
  EXPECT_FALSE(item == BixFileItem("/a//b"));
  EXPECT_FALSE(item == BixFileItem("/a/b/"));
  EXPECT_TRUE(item != BixFileItem("/a"));
  copy = BixFileItem("/c");
  EXPECT_TRUE(item != copy);
  EXPECT_EQ("/c", copy.GetFullPath());
}

TEST(FileItem, HasTheTypeOfWhatThePathLeadsTo) {
  TempDirectory directory;
  WriteWholeFile(directory / "file", "x");
  ASSERT_EQ(0, mkdir((directory / "directory").c_str(), 0755));
  ASSERT_EQ(0, mkfifo((directory / "fifo").c_str(), 0600));
  ASSERT_EQ(0, symlink("file", (directory / "to-file").c_str()));
  ASSERT_EQ(0, symlink("directory", (directory / "to-directory").c_str()));
  ASSERT_EQ(0, symlink("nothing", (directory / "dangling").c_str()));
  const struct {
    const char* name;
    int type;
  } cases[] = {{"file", 0},         {"directory", 1}, {"fifo", 3},      {"to-file", 0},
               {"to-directory", 1}, {"dangling", 3},  {"directory/", 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.type, BixFileItem((directory / c.name).c_str()).GetFileType());
  }
  EXPECT_EQ(3, BixFileItem("/dev/null").GetFileType());
  ScopedWorkingDirectory inside(directory.Path());
  EXPECT_EQ(0, BixFileItem("file").GetFileType());
}

TEST(FileItemCompat, WhatDoesNotExistIsSomethingElse) {
  TempDirectory directory;
  EXPECT_EQ(3, BixFileItem((directory / "nothing").c_str()).GetFileType());
  EXPECT_EQ(3, BixFileItem("").GetFileType());
  EXPECT_EQ(3, BixFileItem("urn:qvuser:").GetFileType());
}

class FileListing : public testing::Test {
 protected:
  void Make(const Texts& names) {
    for (const std::string& name : names) WriteWholeFile(m_directory / name, name);
  }

  TempDirectory m_directory;
  ScopedRecorder m_errors;
};
class FileListingCompat : public FileListing {};

TEST_F(FileListing, AppendsWhatMatchesInTheOrderOfTheSystem) {
  Make({"b.tot", "a.tot", "c.txt", "d.tot", "B.tot", "a.tot.bak"});
  Items items{BixFileItem("/first")};
  BixFileItem::GetFiles((m_directory / "*.tot").c_str(), items);
  EXPECT_EQ((Texts{"/first", m_directory / "B.tot", m_directory / "a.tot", m_directory / "b.tot",
                   m_directory / "d.tot"}),
            Paths(items));
  EXPECT_EQ("", m_errors.Text());
}

TEST_F(FileListing, TakesTheWildcardsOfTheShell) {
  Make({"a1", "a2", "b1", "x"});
  EXPECT_EQ((Texts{"a1", "a2"}), NamesMatching(m_directory / "a?"));
  EXPECT_EQ((Texts{"a1", "b1"}), NamesMatching(m_directory / "[ab]1"));
  EXPECT_EQ((Texts{"b1", "x"}), NamesMatching(m_directory / "[!a]*"));
  EXPECT_EQ((Texts{"x"}), NamesMatching(m_directory / "x"));
  EXPECT_EQ((Texts{"a1", "a2", "b1", "x"}), NamesMatching(m_directory.Path() + "\\*"));
  EXPECT_EQ((Texts{"x"}), NamesMatching(m_directory / "none/../x"));
}

TEST_F(FileListing, ListsDirectoriesToo) {
  Make({"file"});
  ASSERT_EQ(0, mkdir((m_directory / "folder").c_str(), 0755));
  WriteWholeFile(m_directory / "folder/inside", "");
  EXPECT_EQ((Texts{"file", "folder"}), NamesMatching(m_directory / "*"));
  EXPECT_EQ((Texts{"inside"}), NamesMatching(m_directory / "*/*"));
}

TEST_F(FileListing, HiddenEntriesAreNotListedByAStar) {
  Make({".hidden", "shown"});
  EXPECT_EQ((Texts{"shown"}), NamesMatching(m_directory / "*"));
}

TEST_F(FileListing, TheDirectoryItselfAndTheOneAboveAreLeftOut) {
  Make({".hidden", "..odd"});
  EXPECT_EQ((Texts{"..odd", ".hidden"}), NamesMatching(m_directory / ".*"));
  EXPECT_EQ(Texts{}, NamesMatching(m_directory / "."));
  EXPECT_EQ((Texts{"..odd"}), NamesMatching(m_directory / "..*"));
  // In the root both are the root.
  for (const std::string& name : NamesMatching("/.*")) {
    EXPECT_NE(".", name);
    EXPECT_NE("..", name);
    EXPECT_NE("", name);
  }
}

TEST_F(FileListing, OneLevelBelowARootBothAreLeftOut) {
  // "/tmp/.." is an empty path, as is the path that it is compared with.
  for (const std::string& name : NamesMatching("/dev/.*")) {
    EXPECT_NE(".", name);
    EXPECT_NE("", name);
  }
}

TEST_F(FileListing, NothingIsListedTwice) {
  Make({"a.tot", "b.tot"});
  Items items;
  const SPathName pattern((m_directory / "*.tot").c_str());
  BixFileItem::GetFiles(pattern, items);
  BixFileItem::GetFiles(pattern, items);
  EXPECT_EQ((Texts{m_directory / "a.tot", m_directory / "b.tot"}), Paths(items));
  Make({"0.tot"});
  BixFileItem::GetFiles(pattern, items);
  EXPECT_EQ((Texts{m_directory / "a.tot", m_directory / "b.tot", m_directory / "0.tot"}),
            Paths(items));
}

TEST_F(FileListing, WhatTheListHasTwiceStays) {
  Make({"a", "b"});
  const BixFileItem a((m_directory / "a").c_str());
  Items items{a, a};
  BixFileItem::GetFiles((m_directory / "*").c_str(), items);
  EXPECT_EQ((Texts{m_directory / "a", m_directory / "a", m_directory / "b"}), Paths(items));
}

TEST_F(FileListing, NamesThatAreTheSamePathAreListedOnce) {
  Make({"x\\.\\y", "x\\y", "z"});
  EXPECT_EQ((Texts{"y", "z"}), NamesMatching(m_directory / "*"));
  Items items;
  BixFileItem::GetFiles((m_directory / "*").c_str(), items);
  EXPECT_EQ((Texts{m_directory / "x/y", m_directory / "z"}), Paths(items));
}

TEST_F(FileListing, ManyCallsOnOneListKeepEveryItem) {
  Texts want;
  Items items;
  for (int i = 0; i < 300; ++i) {
    const std::string name = "f" + std::to_string(i);
    Make({name});
    want.push_back(m_directory / name);
    BixFileItem::GetFiles(want.back().c_str(), items);
  }
  EXPECT_EQ(want, Paths(items));
  BixFileItem::GetFiles((m_directory / "*").c_str(), items);
  EXPECT_EQ(want, Paths(items));
}

TEST_F(FileListing, IsSortedByTheRulesOfTheLocale) {
  Make({"a.tot", "B.tot", "c.tot", "D.tot"});
  EXPECT_EQ((Texts{"B.tot", "D.tot", "a.tot", "c.tot"}), NamesMatching(m_directory / "*"));
  ScopedLocale locale(kLatin1Locale);
  Items items;
  for (int round = 0; round < 2; ++round) {
    BixFileItem::GetFiles((m_directory / "*").c_str(), items);
    EXPECT_EQ((Texts{"a.tot", "B.tot", "c.tot", "D.tot"}), Names(items));
  }
}

TEST_F(FileListing, NoMatchIsSilent) {
  EXPECT_EQ(Texts{}, NamesMatching(m_directory / "*"));
  EXPECT_EQ(Texts{}, NamesMatching(m_directory / "*.tot"));
  EXPECT_EQ(Texts{}, NamesMatching(m_directory / "missing"));
  EXPECT_EQ(Texts{}, NamesMatching(""));
  EXPECT_TRUE(m_errors.messages.empty());
}

TEST_F(FileListing, AMissingDirectoryIsReported) {
  const std::string pattern = m_directory / "missing/*.tot";
  Items items{BixFileItem("/first")};
  BixFileItem::GetFiles(pattern.c_str(), items);
  EXPECT_EQ(Texts{"/first"}, Paths(items));
  EXPECT_EQ(Texts{"No such file or directory: " + pattern + "\n"}, m_errors.messages);
  EXPECT_EQ((Texts{"HandleOutput:No such file or directory: " + pattern + "\n", "OutputDone"}),
            m_errors.calls);
}

TEST_F(FileListing, TheReportNamesTheAbsolutePattern) {
  ScopedWorkingDirectory inside(m_directory.Path());
  EXPECT_EQ(Texts{}, NamesMatching("missing/*"));
  EXPECT_EQ("No such file or directory: " + m_directory.Path() + "/missing/*\n", m_errors.Text());
}

TEST_F(FileListing, AFileInPlaceOfADirectoryIsNoMatch) {
  Make({"file"});
  EXPECT_EQ(Texts{}, NamesMatching(m_directory / "file/*"));
  EXPECT_TRUE(m_errors.messages.empty());
}

TEST_F(FileListing, ARelativePatternBeginsInTheWorkingDirectory) {
  Make({"a.tot", "b.tot"});
  ScopedWorkingDirectory inside(m_directory.Path());
  Items items;
  BixFileItem::GetFiles("*.tot", items);
  EXPECT_EQ((Texts{m_directory / "a.tot", m_directory / "b.tot"}), Paths(items));
}

TEST_F(FileListing, VariablesAreExpanded) {
  Make({"a.tot"});
  ScopedVariable variable("LISTED_DIRECTORY", m_directory.Path().c_str());
  EXPECT_EQ(Texts{"a.tot"}, NamesMatching("$(LISTED_DIRECTORY)/*"));
}

TEST_F(FileListing, AUrnIsResolvedFirst) {
  const std::string user = bix::BixGetUserDir();
  WriteWholeFile(user + "/listed-2.text", "");
  WriteWholeFile(user + "/listed-1.text", "");
  WriteWholeFile(user + "/listed.other", "");
  Items items;
  BixFileItem::GetFiles("urn:qvuser:*.text", items);
  EXPECT_EQ((Texts{user + "/listed-1.text", user + "/listed-2.text"}), Paths(items));
  EXPECT_EQ("", m_errors.Text());
}

TEST_F(FileListing, AnUnknownUrnIsARelativePath) {
  ScopedWorkingDirectory inside(m_directory.Path());
  EXPECT_EQ(Texts{}, NamesMatching("urn:nobody-knows:*.text"));
  EXPECT_EQ(
      "The URN Name 'nobody-knows' was not found. Please define it in "
      "VORN->Options->General->URNMap.\n",
      m_errors.Text());
  Make({"urn:nobody-knows:a.text"});
  EXPECT_EQ(Texts{"urn:nobody-knows:a.text"}, NamesMatching("urn:nobody-knows:*.text"));
}

TEST_F(FileListing, OfADirectoryHoldsItsEntries) {
  Make({"b", "a", ".hidden"});
  Items items{BixFileItem("/old")};
  BixFileItem(m_directory.Path().c_str()).GetFilesList(items);
  EXPECT_EQ((Texts{m_directory / "a", m_directory / "b"}), Paths(items));
  BixFileItem((m_directory.Path() + "/").c_str()).GetFilesList(items);
  EXPECT_EQ((Texts{m_directory / "a", m_directory / "b"}), Paths(items));
  ScopedWorkingDirectory inside(std::filesystem::path(m_directory.Path()).parent_path());
  BixFileItem(std::filesystem::path(m_directory.Path()).filename().c_str()).GetFilesList(items);
  EXPECT_EQ((Texts{m_directory / "a", m_directory / "b"}), Paths(items));
  EXPECT_EQ("", m_errors.Text());
}

TEST_F(FileListing, OfTheRootBeginsWithOneSlash) {
  Items items;
  BixFileItem("/").GetFilesList(items);
  bool hasDev = false;
  for (const std::string& path : Paths(items)) hasDev |= path == "/dev";
  EXPECT_TRUE(hasDev);
}

TEST_F(FileListing, OfWhatIsNoDirectoryIsEmpty) {
  Make({"file"});
  for (const char* name : {"file", "missing"}) {
    Items items{BixFileItem("/old")};
    BixFileItem((m_directory / name).c_str()).GetFilesList(items);
    EXPECT_EQ(Texts{}, Paths(items)) << name;
  }
  EXPECT_TRUE(m_errors.messages.empty());
}

TEST_F(FileListing, TheDirectoryMayBeAnItemOfTheListItself) {
  Make({"a", "b"});
  Items items{BixFileItem("/old"), BixFileItem(m_directory.Path().c_str())};
  items[1].GetFilesList(items);
  EXPECT_EQ((Texts{m_directory / "a", m_directory / "b"}), Paths(items));
  items[0].GetFilesList(items);
  EXPECT_EQ(Texts{}, Paths(items)) << "a file";
}

TEST_F(FileListing, OfAnEmptyDirectoryIsEmptyAndSilent) {
  Items items{BixFileItem("/old")};
  BixFileItem(m_directory.Path().c_str()).GetFilesList(items);
  EXPECT_EQ(Texts{}, Paths(items));
  EXPECT_TRUE(m_errors.messages.empty());
}

TEST_F(FileListingCompat, WildcardsInTheDirectoryAreWildcards) {
  ASSERT_EQ(0, mkdir((m_directory / "d[12]").c_str(), 0755));
  ASSERT_EQ(0, mkdir((m_directory / "d1").c_str(), 0755));
  Make({"d[12]/own", "d1/other"});
  Items items;
  BixFileItem((m_directory / "d[12]").c_str()).GetFilesList(items);
  EXPECT_EQ(Texts{m_directory / "d1/other"}, Paths(items));
}

TEST(FileCopy, CopiesEveryByte) {
  TempDirectory directory;
  for (const std::size_t size : {0u, 1u, 8191u, 8192u, 8193u, 65536u, 65537u, 3'000'001u}) {
    SCOPED_TRACE(size);
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 7 + i / 251);
    WriteWholeFile(directory / "from", content);
    std::filesystem::remove(directory / "to");
    EXPECT_TRUE(BixCopyFile((directory / "from").c_str(), (directory / "to").c_str()));
    EXPECT_TRUE(content == ReadWholeFile(directory / "to"));
    EXPECT_TRUE(content == ReadWholeFile(directory / "from"));
  }
}

TEST(FileCopy, OverwritesALongerTarget) {
  TempDirectory directory;
  WriteWholeFile(directory / "from", "new");
  WriteWholeFile(directory / "to", "an old and longer text");
  EXPECT_TRUE(BixCopyFile((directory / "from").c_str(), (directory / "to").c_str()));
  EXPECT_EQ("new", ReadWholeFile(directory / "to"));
}

TEST(FileCopy, OfAMissingSourceCreatesNothing) {
  TempDirectory directory;
  EXPECT_FALSE(BixCopyFile((directory / "from").c_str(), (directory / "to").c_str()));
  EXPECT_EQ(ENOENT, errno);
  EXPECT_FALSE(Exists(directory / "to"));
  WriteWholeFile(directory / "to", "old");
  EXPECT_FALSE(BixCopyFile((directory / "from").c_str(), (directory / "to").c_str()));
  EXPECT_EQ("old", ReadWholeFile(directory / "to"));
  EXPECT_FALSE(BixCopyFile("", (directory / "to").c_str()));
}

TEST(FileCopy, ToWhatCannotBeOpenedFails) {
  TempDirectory directory;
  WriteWholeFile(directory / "from", "x");
  ASSERT_EQ(0, mkdir((directory / "folder").c_str(), 0755));
  const bix::SString from = (directory / "from").c_str();
  EXPECT_FALSE(BixCopyFile(from, (directory / "missing/to").c_str()));
  EXPECT_EQ(ENOENT, errno);
  EXPECT_FALSE(BixCopyFile(from, (directory / "folder").c_str()));
  EXPECT_EQ(EISDIR, errno);
  EXPECT_FALSE(BixCopyFile(from, ""));
}

TEST(FileCopy, DoesNotCopyTheMode) {
  TempDirectory directory;
  WriteWholeFile(directory / "from", "x");
  WriteWholeFile(directory / "old", "");
  ASSERT_EQ(0, chmod((directory / "from").c_str(), 0700));
  ASSERT_EQ(0, chmod((directory / "old").c_str(), 0640));
  const mode_t mask = umask(022);
  EXPECT_TRUE(BixCopyFile((directory / "from").c_str(), (directory / "new").c_str()));
  EXPECT_TRUE(BixCopyFile((directory / "from").c_str(), (directory / "old").c_str()));
  umask(mask);
  EXPECT_EQ(0644u, StatusOf(directory / "new").st_mode & 07777u);
  EXPECT_EQ(0640u, StatusOf(directory / "old").st_mode & 07777u);
}

TEST(FileCopy, AFileOntoItselfIsLeftAlone) {
  TempDirectory directory;
  const std::string file = directory / "file";
  WriteWholeFile(file, "content");
  ASSERT_EQ(0, symlink("file", (directory / "link").c_str()));
  ASSERT_EQ(0, link(file.c_str(), (directory / "hard").c_str()));
  const struct timespec past[2] = {{1000, 0}, {1000, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, file.c_str(), past, 0));
  for (const char* other : {"file", "./file", "link", "hard"}) {
    SCOPED_TRACE(other);
    EXPECT_TRUE(BixCopyFile(file.c_str(), (directory / other).c_str()));
    EXPECT_TRUE(BixCopyFile((directory / other).c_str(), file.c_str()));
    EXPECT_EQ(1000, StatusOf(file).st_mtime) << "not written to";
    EXPECT_EQ("content", ReadWholeFile(file));
  }
}

TEST(FileCopy, FollowsALinkToTheTarget) {
  TempDirectory directory;
  WriteWholeFile(directory / "from", "new");
  WriteWholeFile(directory / "real", "old");
  ASSERT_EQ(0, symlink("real", (directory / "to").c_str()));
  EXPECT_TRUE(BixCopyFile((directory / "from").c_str(), (directory / "to").c_str()));
  EXPECT_EQ("new", ReadWholeFile(directory / "real"));
  EXPECT_TRUE(std::filesystem::is_symlink(directory / "to"));
}

TEST(FileCopy, TakesSourcesWithoutASize) {
  TempDirectory directory;
  const std::string fifo = directory / "fifo";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  const std::string content(200'000, 'x');
  auto writer = std::async(std::launch::async, [&] { WriteWholeFile(fifo, content); });
  EXPECT_TRUE(BixCopyFile(fifo.c_str(), (directory / "to").c_str()));
  writer.get();
  EXPECT_TRUE(content == ReadWholeFile(directory / "to"));
  EXPECT_TRUE(BixCopyFile("/proc/self/stat", (directory / "to").c_str()));
  EXPECT_FALSE(ReadWholeFile(directory / "to").empty());
}

TEST(FileCopy, ToADeviceWritesTheBytes) {
  TempDirectory directory;
  WriteWholeFile(directory / "from", "x");
  WriteWholeFile(directory / "empty", "");
  EXPECT_TRUE(BixCopyFile((directory / "from").c_str(), "/dev/null"));
  EXPECT_FALSE(BixCopyFile((directory / "from").c_str(), "/dev/full"));
  EXPECT_EQ(ENOSPC, errno);
  EXPECT_TRUE(BixCopyFile((directory / "empty").c_str(), "/dev/full"));
}

TEST(FileCopy, ReadsFilesBeyondTwoGigabytes) {
  TempDirectory directory;
  WriteWholeFile(directory / "from", "");
  ASSERT_EQ(0, truncate((directory / "from").c_str(), (off_t{1} << 31) + 12345));
  EXPECT_TRUE(BixCopyFile((directory / "from").c_str(), "/dev/null"));
}

TEST(FileCopyCompat, ADirectoryEmptiesTheTarget) {
  TempDirectory directory;
  ASSERT_EQ(0, mkdir((directory / "from").c_str(), 0755));
  EXPECT_FALSE(BixCopyFile((directory / "from").c_str(), (directory / "new").c_str()));
  EXPECT_EQ(EISDIR, errno);
  EXPECT_EQ("", ReadWholeFile(directory / "new"));
  WriteWholeFile(directory / "old", "old");
  EXPECT_FALSE(BixCopyFile((directory / "from").c_str(), (directory / "old").c_str()));
  EXPECT_EQ("", ReadWholeFile(directory / "old"));
}

}  // namespace
}  // namespace bix_test
