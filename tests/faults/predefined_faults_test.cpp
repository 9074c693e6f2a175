// The predefined option files while system calls fail.

#include <algorithm>
#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "bix/options.h"
#include "faults/surroundings.h"
#include "support/scoped_environment.h"
#include "support/system_faults.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

using Files = std::map<std::string, std::string>;

/// A home and an all-users area with a broken file of the user.
struct Area {
  Area() {
    for (const char* name : {"tools", "tools/Shared"}) mkdir((directory / name).c_str(), 0777);
    WriteWholeFile(shared + "/init.tot", "");
    WriteWholeFile(shared + "/user.tot", "broken");
    WriteWholeFile(shared + "/company.tot", "");
  }

  /// What there is of the user's file and its copies.
  Files OfTheUser() const {
    Files files = Listing(shared);
    files.erase("init.tot");
    files.erase("company.tot");
    return files;
  }

  TempDirectory directory;
  std::string shared = directory / "tools/Shared";
  ScopedVariable home{"HOME", directory.Path().c_str()};
  ScopedVariable zroot{"ZROOT", directory.Path().c_str()};
};

const Files kBefore = {{"user.tot", "broken"}};
const Files kAfter = {{"user.tot", ""}, {"user.tot.bad-1", "broken"}};

TEST(PredefinedFilesFaults, EveryFailingCallLeavesABrokenFileAloneOrEmptyBesideOneCopy) {
  for (const int error : {EACCES, ENOSPC}) {
    bool isOver = false;
    std::size_t kept = 0;
    for (std::size_t number = 1; !isOver; ++number) {
      const Area area;
      std::string call;
      {
        bix::COptionManager manager;
        SystemFaults faults;
        faults.FailCall(number, error);
        manager.LoadPredefinedOptionFiles();
        isOver = !faults.IsOver();
        call = faults.Calls().back();
      }
      SCOPED_TRACE(call);
      const Files files = area.OfTheUser();
      EXPECT_TRUE(files == kBefore || files == kAfter) << testing::PrintToString(files);
      kept += files == kBefore ? 1 : 0;
      bix::COptionManager manager;
      manager.LoadPredefinedOptionFiles();
      EXPECT_EQ(kAfter, area.OfTheUser());
      EXPECT_EQ(2, manager.GetFileCount());
    }
    EXPECT_GT(kept, 5u);
  }
}

TEST(PredefinedFilesFaults, NoFailingCallCostsAFileThatCanBeParsed) {
  const std::string whole = "[Theirs]\n\"a\"=\"b\"\n";
  bool isOver = false;
  std::size_t listed = 0;
  for (std::size_t number = 1; !isOver; ++number) {
    const Area area;
    WriteWholeFile(area.shared + "/user.tot", whole);
    bix::COptionManager manager;
    std::string call;
    {
      SystemFaults faults;
      faults.FailCall(number, EIO);
      manager.LoadPredefinedOptionFiles();
      isOver = !faults.IsOver();
      call = faults.Calls().back();
    }
    SCOPED_TRACE(call);
    EXPECT_EQ((Files{{"user.tot", whole}}), area.OfTheUser());
    listed += static_cast<std::size_t>(manager.GetFileCount());
  }
  EXPECT_GT(listed, 10u);
}

TEST(PredefinedFilesFaults, AFileIsSetAsideUnderTheLockOfThoseWhoSave) {
  const Area area;
  bix::COptionManager manager;
  SystemFaults faults;
  manager.LoadPredefinedOptionFiles();
  const std::vector<std::string>& calls = faults.Calls();
  const auto lock = std::find(calls.begin(), calls.end(), "flock Shared");
  const auto copy = std::find(calls.begin(), calls.end(), "open user.tot.bad-1");
  ASSERT_TRUE(lock != calls.end()) << testing::PrintToString(calls);
  ASSERT_TRUE(copy != calls.end()) << testing::PrintToString(calls);
  EXPECT_LT(lock, copy);
  EXPECT_NE(copy, std::find(lock, copy, "fopen user.tot")) << "and read once more before";
}

TEST(PredefinedFilesFaults, AFileThatAnotherProcessMakesMeanwhileIsNotEmptied) {
  const Area area;
  WriteWholeFile(area.shared + "/user.tot", "[Theirs]\n\"a\"=\"b\"\n");
  bix::COptionManager manager;
  {
    SystemFaults faults;
    faults.FailAll("access user.tot", ENOENT);  // it was not there when it was asked for
    manager.LoadPredefinedOptionFiles();
    EXPECT_EQ(1, std::count(faults.Calls().begin(), faults.Calls().end(), "open user.tot"));
  }
  EXPECT_EQ((Files{{"user.tot", "[Theirs]\n\"a\"=\"b\"\n"}}), area.OfTheUser());
  EXPECT_EQ(2, manager.GetFileCount());
}

TEST(PredefinedFilesFaults, ABrokenFileThatMayNotBeWrittenIsNotCopiedAtEveryStart) {
  const Area area;
  ASSERT_EQ(0, chmod((area.shared + "/user.tot").c_str(), 0444));
  for (const char* name : {"", "tools", "tools/Shared", "Kestrane"}) {
    mkdir((area.directory / name).c_str(), 0777);
    ASSERT_EQ(0, chmod((area.directory / name).c_str(), 0777));
  }
  RunInChild(User::kOrdinary, [] {
    for (int i = 0; i < 3; ++i) {
      bix::COptionManager manager;
      manager.LoadPredefinedOptionFiles();
      EXPECT_EQ(1, manager.GetFileCount());
    }
  });
  EXPECT_EQ(kBefore, area.OfTheUser());
}

}  // namespace
}  // namespace bix_test
