// The predefined option files while system calls fail.

#include <cerrno>
#include <map>
#include <string>

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
  for (const int error : {EACCES, EIO, ENOSPC, EMFILE}) {
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
