// The URN map while the system fails: what the user is told, and what is left of the file.

#include <cerrno>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/system_faults.h"
#include "uri/urn_test_support.h"

namespace {

using bix::SUrnResolver;
using bix_test::ReadWholeFile;
using bix_test::ScopedRecorder;
using bix_test::SystemFaults;
using Messages = std::vector<std::string>;

class UrnMapFaults : public bix_test::UrnFixture {
 protected:
  UrnMapFaults() { BuildFrom(kOld); }

  std::string CannotOpen() const { return "Can not open the file: " + MapFile() + "\n"; }
  std::string CannotWrite() const {
    return "Error occured while writing to file :" + MapFile() + "\n";
  }
  std::string CannotRead() const { return "Failed to open '" + MapFile() + "' for read.\n"; }
  /// Whether nothing but the map file lies in its directory.
  bool IsAlone() const {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(home / "Kestrane/Shared"))
      count += entry.path() == MapFile() ? 1 : 100;
    return count == 1;
  }
  void ReplaceFileByDirectory() const {
    ASSERT_EQ(0, unlink(MapFile().c_str()));
    ASSERT_EQ(0, mkdir(MapFile().c_str(), 0777));
  }
  void ReplaceFileByLink(const char* target) const {
    ASSERT_EQ(0, unlink(MapFile().c_str()));
    ASSERT_EQ(0, symlink(target, MapFile().c_str()));
  }

  static constexpr char kOld[] = "old:/old\n";
  static constexpr char kOption[] = "new:/new;more:/more";
  static constexpr char kNew[] = "new:/new\nmore:/more\n";
};
using UrnMapFileCompat = UrnMapFaults;
using UrnOptionCompat = UrnMapFaults;
using UrnAppendCompat = UrnMapFaults;

/// The system calls of an operation, as far as they concern the map file.
template <class Operation>
std::vector<std::string> CallsOf(const Operation& operation) {
  SystemFaults faults;
  operation();
  return faults.Calls();
}

TEST_F(UrnMapFaults, AFailedWriteKeepsTheOldFile) {
  const auto calls = CallsOf([] { SUrnResolver::RegisterURNsFromOptionString(kOption); });
  int failed = 0;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const bool isWrite = calls[i] == "write urnmap.txt~" || calls[i] == "fsync urnmap.txt~" ||
                         calls[i] == "close urnmap.txt~" || calls[i] == "rename urnmap.txt~" ||
                         calls[i] == "fchmod urnmap.txt~";
    if (!isWrite) continue;
    SCOPED_TRACE(calls[i]);
    ++failed;
    BuildFrom(kOld);
    const ScopedRecorder recorder;
    {
      SystemFaults faults;
      faults.FailCall(i + 1, ENOSPC);
      SUrnResolver::RegisterURNsFromOptionString(kOption);
    }
    EXPECT_EQ((Messages{CannotWrite()}), recorder.messages);
    EXPECT_EQ(kOld, ReadWholeFile(MapFile()));
    EXPECT_TRUE(IsAlone());
    EXPECT_EQ("/old/", DirectoryOf("old")) << "the map is that of the old file";
    EXPECT_EQ("<none>", DirectoryOf("new"));
  }
  EXPECT_EQ(5, failed) << testing::PrintToString(calls);
}

TEST_F(UrnMapFaults, AFailedOpenKeepsTheOldFile) {
  const auto calls = CallsOf([] { SUrnResolver::RegisterURNsFromOptionString(kOption); });
  int failed = 0;
  for (std::size_t i = 0; i < calls.size() && failed < 2; ++i) {
    if (calls[i] != "open urnmap.txt" && calls[i] != "open urnmap.txt~") continue;
    SCOPED_TRACE(calls[i]);
    ++failed;
    BuildFrom(kOld);
    const ScopedRecorder recorder;
    {
      SystemFaults faults;
      faults.FailCall(i + 1, EMFILE);
      SUrnResolver::RegisterURNsFromOptionString(kOption);
    }
    EXPECT_EQ((Messages{CannotOpen()}), recorder.messages);
    EXPECT_EQ(kOld, ReadWholeFile(MapFile()));
    EXPECT_TRUE(IsAlone());
    EXPECT_EQ("/old/", DirectoryOf("old"));
  }
  EXPECT_EQ(2, failed) << testing::PrintToString(calls);
}

TEST_F(UrnMapFaults, WritesThatAreCutShortAreContinued) {
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.Shorten(1);
    SUrnResolver::RegisterURNsFromOptionString(kOption);
    SUrnResolver::RegisterURNAndSaveURNMapFile("last", "/last");
  }
  EXPECT_EQ(std::string(kNew) + "last:/last\n", ReadWholeFile(MapFile()));
  EXPECT_EQ("/last/", DirectoryOf("last"));
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnMapFileCompat, FailuresAreReportedInFixedTexts) {
  ReplaceFileByDirectory();
  {
    const ScopedRecorder recorder;
    SUrnResolver::RegisterURNsFromOptionString(kOption);
    EXPECT_EQ((Messages{CannotOpen(), CannotRead()}), recorder.messages);
  }
  {
    const ScopedRecorder recorder;
    SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
    EXPECT_EQ((Messages{CannotOpen()}), recorder.messages);
  }
  ASSERT_EQ(0, rmdir(MapFile().c_str()));
  ASSERT_EQ(0, symlink("/dev/full", MapFile().c_str()));
  {
    const ScopedRecorder recorder;
    SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
    EXPECT_EQ((Messages{CannotWrite()}), recorder.messages);
  }
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsFromOptionString(kOption);
  EXPECT_EQ((Messages{CannotWrite(), CannotRead()}), recorder.messages)
      << "it cannot be read to its end either";
}

TEST_F(UrnMapFaults, ALinkThatLeadsNowhereCannotBeOpened) {
  ReplaceFileByLink("/no/such/place");
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsFromOptionString(kOption);
  SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
  EXPECT_EQ((Messages{CannotOpen(), CannotRead(), CannotOpen()}), recorder.messages);
}

TEST_F(UrnOptionCompat, TheMapIsBuiltAnewAlsoAfterAFailure) {
  ASSERT_TRUE(SUrnResolver::RegisterUrn("memory", "/"));
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.FailAll("write urnmap.txt~", EIO);
    SUrnResolver::RegisterURNsFromOptionString(kOption);
  }
  EXPECT_EQ("<none>", DirectoryOf("memory"));
  EXPECT_EQ("/old/", DirectoryOf("old"));
  EXPECT_EQ(MapFile(), std::getenv("VORN_URN_MAP_FILE"));
}

TEST_F(UrnAppendCompat, AFailureLeavesTheMap) {
  const auto calls = CallsOf([] { SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new"); });
  int failed = 0;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const bool isOpen = failed == 0 && calls[i] == "open urnmap.txt";
    const bool isWrite = calls[i] == "write urnmap.txt" || calls[i] == "fsync urnmap.txt";
    if (!isOpen && !isWrite) continue;
    SCOPED_TRACE(calls[i]);
    ++failed;
    BuildFrom(kOld);
    const bix_test::ScopedVariable variable("VORN_URN_MAP_FILE", "/as/it/was");
    const ScopedRecorder memory;
    ASSERT_TRUE(SUrnResolver::RegisterUrn("memory", "/"));
    const ScopedRecorder recorder;
    {
      SystemFaults faults;
      faults.FailCall(i + 1, ENOSPC);
      SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
    }
    EXPECT_EQ((Messages{isOpen ? CannotOpen() : CannotWrite()}), recorder.messages);
    EXPECT_EQ(kOld, ReadWholeFile(MapFile()));
    EXPECT_EQ("/", DirectoryOf("memory"));
    EXPECT_EQ("<none>", DirectoryOf("new"));
    EXPECT_STREQ("/as/it/was", std::getenv("VORN_URN_MAP_FILE"));
  }
  EXPECT_EQ(3, failed) << testing::PrintToString(calls);
}

TEST_F(UrnMapFaults, HalfALineIsTakenBack) {
  BuildFrom("old:/old");
  std::vector<std::string> calls;
  {
    SystemFaults faults;
    faults.Shorten(3);
    SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
    calls = faults.Calls();
  }
  std::vector<std::size_t> writes;
  for (std::size_t i = 0; i < calls.size(); ++i)
    if (calls[i] == "write urnmap.txt") writes.push_back(i + 1);
  ASSERT_LT(2u, writes.size());
  BuildFrom("old:/old");
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.Shorten(3);
    faults.FailCall(writes[2], ENOSPC);
    SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
  }
  EXPECT_EQ((Messages{CannotWrite()}), recorder.messages);
  EXPECT_EQ("old:/old", ReadWholeFile(MapFile()));
}

using UrnMapFile = UrnMapFaults;

TEST_F(UrnMapFile, WhatFailsWhileItIsReadIsReported) {
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.FailAll("read urnmap.txt", EIO);
    SUrnResolver::RegisterURNsWithoutOptions();
  }
  EXPECT_EQ("<none>", DirectoryOf("old"));
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/", DirectoryOf("qvuser"));
  ReplaceFileByDirectory();
  SUrnResolver::RegisterURNsWithoutOptions();
  EXPECT_EQ((Messages{CannotRead(), CannotRead()}), recorder.messages);
}

TEST_F(UrnMapFaults, TheFileIsNotInheritedByOtherPrograms) {
  SystemFaults faults;
  faults.WatchDescriptors();
  SUrnResolver::RegisterURNsFromOptionString(kOption);
  SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/other");
  EXPECT_EQ(std::vector<std::string>(), faults.Inheritable());
}

}  // namespace
