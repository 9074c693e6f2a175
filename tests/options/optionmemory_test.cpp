// What happens when there is no memory left: every allocation of an operation fails in turn, and
// each time everything made so far is released, and the file and its tree can still be used.
//
// This program replaces the global operator new of the library too.

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "options/option_test_support.h"

namespace {

long s_liveAllocations = 0;
long s_allocationsUntilFailure = -1;  // negative: none fails

}  // namespace

void* operator new(std::size_t size) {
  if (s_allocationsUntilFailure == 0) throw std::bad_alloc();
  if (s_allocationsUntilFailure > 0) --s_allocationsUntilFailure;
  void* room = std::malloc(size != 0 ? size : 1);
  if (room == nullptr) throw std::bad_alloc();
  ++s_liveAllocations;
  return room;
}
void operator delete(void* room) noexcept {
  if (room == nullptr) return;
  --s_liveAllocations;
  std::free(room);
}
void operator delete(void* room, std::size_t) noexcept { operator delete(room); }

namespace bix_test {
namespace {

/// Runs `operation` with its first, second, ... allocation failing until it succeeds, and returns
/// how often it failed. `check` runs after each failure.
int FailEachAllocation(const std::function<void()>& operation, const std::function<void()>& check) {
  for (int failures = 0;; ++failures) {
    s_allocationsUntilFailure = failures;
    try {
      operation();
      s_allocationsUntilFailure = -1;
      return failures;
    } catch (const std::bad_alloc&) {
      s_allocationsUntilFailure = -1;
    }
    check();
  }
}

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
  const long before = s_liveAllocations;
  {
    bix::COptionFile file(&manager);
    const int failures =
        FailEachAllocation([&] { EXPECT_EQ(0, file.Load(path.c_str())); },
                           [] { EXPECT_EQ(nullptr, bix::CIncrSaveContext::GetCurrent()); });
    EXPECT_GT(failures, 10);
    EXPECT_EQ(kLong, file.GetValue("Editor", "Theme"));
    EXPECT_TRUE(file.IsFixed("Editor", "Theme"));
  }
  EXPECT_EQ(before, s_liveAllocations);
}

TEST_F(OptionMemory, SaveLeavesTheOldFileOrTheNewOneAndNothingElse) {
  const std::string path = Write("user.tot", content);
  const long before = s_liveAllocations;
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
  EXPECT_EQ(before, s_liveAllocations);
}

TEST_F(OptionMemory, ChangesReleaseWhatTheyMade) {
  const long before = s_liveAllocations;
  {
    auto own = std::make_unique<bix::COptionManager>("Own");
    const int declared = FailEachAllocation([&] { own->AddCategory(&kEditor); }, [] {});
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
        [&] { EXPECT_TRUE(own->SetValue("Editor/Display", "Font", kLong.c_str())); }, [] {});
    EXPECT_GT(changed, 1);
    EXPECT_EQ(kLong, own->GetValue("Editor/Display", "Font"));
  }
  EXPECT_EQ(before, s_liveAllocations);
}

}  // namespace
}  // namespace bix_test
