// What happens when there is no memory left: every allocation of an operation fails in turn, and
// each time everything made so far is released, and the file and its tree can still be used.

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "options/option_test_support.h"
#include "support/failing_allocations.h"
#include "support/scoped_environment.h"

namespace bix_test {
namespace {

const std::string kLong(100, 'x');

class OptionMemory : public OptionFixture {
 protected:
  const std::string content = "\n[Editor] (Kind=" + kLong + ", K=V)\n\n\"Theme\"=\"" + kLong +
                              "\" (\"fixed\"=\"true\", \"" + kLong + "\"=\"" + kLong +
                              "\" )\n\n[Editor/Display]\n\n\"TabWidth\"=4 \n\n[" + kLong +
                              "] (A=" + kLong + ")\n\n\"" + kLong + "\"=\"" + kLong +
                              "\" (\"p\"=\"" + kLong + "\" )\n";
};

TEST_F(OptionMemory, LoadReleasesWhatItMadeAndTheFileStaysUsable) {
  const std::string path = Write("user.tot", content);
  const long before = LiveAllocations();
  {
    bix::COptionFile file(&manager);
    const int failures =
        FailEachAllocation([&] { EXPECT_EQ(0, file.Load(path.c_str())); },
                           [] { EXPECT_EQ(nullptr, bix::CIncrSaveContext::GetCurrent()); });
    EXPECT_GT(failures, 10);
    EXPECT_EQ(kLong, file.GetValue("Editor", "Theme"));
    EXPECT_TRUE(file.IsFixed("Editor", "Theme"));
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST_F(OptionMemory, SaveLeavesTheOldFileOrTheNewOneAndNothingElse) {
  const std::string path = Write("user.tot", content);
  const long before = LiveAllocations();
  {
    bix::COptionFile file(&manager);
    ASSERT_EQ(0, file.Load(path.c_str()));
    file.SetValue("Editor/Display", "Font", kLong.c_str());
    file.SetValue("Editor/Backup", "Keep", "9");
    const int failures =
        FailEachAllocation([&] { EXPECT_EQ(0, file.Save(nullptr)); },
                           [&] {
                             EXPECT_EQ(nullptr, bix::CIncrSaveContext::GetCurrent());
                             EXPECT_EQ(content, ReadWholeFile(path));
                             EXPECT_FALSE(Exists(path + "~"));
                             EXPECT_STREQ("9", file.GetValue("Editor/Backup", "Keep"));
                           });
    EXPECT_GT(failures, 10);
    EXPECT_NE(std::string::npos, ReadWholeFile(path).find("[Editor/Backup]\n\n\"Keep\"=9 \n"));
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST_F(OptionMemory, ChangesReleaseWhatTheyMade) {
  const long before = LiveAllocations();
  {
    auto own = std::make_unique<bix::COptionManager>("Own");
    const int declared = FailEachAllocation([&] { own->AddCategory(&kEditor); });
    EXPECT_GT(declared, 3);
    const int listed = FailEachAllocation(
        [&] {
          if (own->GetFileCount() != 0) return;
          auto file = std::make_unique<bix::COptionFile>(own.get());
          if (own->AddFile(file.get())) (void)file.release();
        },
        [] {});
    EXPECT_GT(listed, 1);
    const int changed = FailEachAllocation(
        [&] { EXPECT_TRUE(own->SetValue("Editor/Display", "Font", kLong.c_str())); });
    EXPECT_GT(changed, 1);
    EXPECT_EQ(kLong, own->GetValue("Editor/Display", "Font"));
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST_F(OptionMemory, PredefinedFileIsSetAsideOnceAndWhole) {
  const ScopedVariable home("HOME", directory.Path().c_str());
  const ScopedVariable zroot("ZROOT", (directory / "z").c_str());
  std::filesystem::create_directories(directory / "z/tools/Shared");
  const std::string user = Write("z/tools/Shared/user.tot", "not a settings file");
  const int failures =
      FailEachAllocation([&] { manager.LoadPredefinedOptionFiles(); },
                         [&] {
                           if (Exists(user + ".bad-1")) {
                             EXPECT_EQ("not a settings file", ReadWholeFile(user + ".bad-1"));
                           }
                           EXPECT_FALSE(Exists(user + ".bad-2"));
                         });
  EXPECT_GT(failures, 10);
  EXPECT_EQ("", ReadWholeFile(user));
  EXPECT_EQ("not a settings file", ReadWholeFile(user + ".bad-1"));
  EXPECT_EQ(2, manager.GetFileCount());
  EXPECT_EQ(2, manager.GetPredefinedFileCount());
}

}  // namespace
}  // namespace bix_test
