// What happens when there is no memory left: every allocation of an operation fails in turn, and
// each time everything made so far is released, and styles, kinds and files can still be used.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "styles/style_test_support.h"
#include "support/failing_allocations.h"

namespace bix_test {
namespace {

const std::string kLong(100, 'x');

class StyleMemory : public testing::Test, protected StyleKinds {
 protected:
  StyleMemory() {
    // The lists of kinds and styles keep the room that they once needed.
    bix::CStyleKind another("Another", kClassOptions, 4);
    bix::CStyle ofAnother("A", &another, "R", 0, nullptr);
    std::vector<std::unique_ptr<bix::CStyle>> styles;
    for (int i = 0; i < 50; ++i)
      styles.push_back(std::make_unique<bix::CStyle>("A", &classKind, "R", 0, &builtInClass));
  }

  const std::string content =
      "\n[House/Styles/Class/" + kLong + "] (Class=" + kLong + ", K=V)\n\n\"Font\"=\"" + kLong +
      "\" (\"p\"=\"" + kLong + "\" )\n\n[House/Styles/Class/B] (Class=B)\n\n\"BasedOn\"=\"" +
      kLong + "\" \n\n[Other] (" + kLong + "=" + kLong + ")\n\n\"a\"=\"" + kLong + "\" \n";
  TempDirectory directory;
};

TEST_F(StyleMemory, LoadReleasesWhatItMadeAndTheFileStaysUsable) {
  const std::string path = directory / "a.sty";
  WriteWholeFile(path, content);
  const long before = LiveAllocations();
  {
    bix::CStyleFile file;
    bix::CStyleList list;
    const int failures =
        FailEachAllocation([&] { EXPECT_EQ(0, file.Load(path.c_str(), nullptr)); },
                           [&] { EXPECT_EQ("BuiltIn ", Names(*classKind.GetStyleList())); });
    EXPECT_GT(failures, 50);
    bix::CStyleFile::FillStyleList(static_cast<bix::CStyRgKey*>(file.GetKeyRoot()), &list);
    EXPECT_EQ(3, list.GetCount());
    Restore(list);
    EXPECT_EQ(kLong, Get(*list.FindStyle("B"), "Font"));
    DeleteAll(list);
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST_F(StyleMemory, SaveLeavesTheOldFileOrTheNewOneAndNothingElse) {
  const std::string path = directory / "a.sty";
  WriteWholeFile(path, content);
  const long before = LiveAllocations();
  {
    LoadedStyles loaded(path);
    Restore(loaded.styles);
    Set(loaded["B"], "y", kLong.c_str());
    loaded.file.RemoveStyle(&loaded[kLong.c_str()]);
    const int failures = FailEachAllocation([&] { EXPECT_EQ(0, loaded.file.Save(nullptr)); },
                                            [&] {
                                              EXPECT_EQ(content, ReadWholeFile(path));
                                              EXPECT_FALSE(Exists(path + "~"));
                                              EXPECT_EQ(kLong, Get(loaded["B"], "y"));
                                            });
    EXPECT_GT(failures, 20);
    EXPECT_EQ("\n[House/Styles/Class/B] (Class=B)\n\n\"BasedOn\"=\"" + kLong + "\" \n\"y\"=\"" +
                  kLong + "\" \n\n[Other] (" + kLong + "=" + kLong + ")\n\n\"a\"=\"" + kLong +
                  "\" \n",
              ReadWholeFile(path));
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST_F(StyleMemory, AStyleThatCannotBeMadeLeavesNothing) {
  const int entries = bix::CStyle::m_listStyleKind.GetCount();
  const long before = LiveAllocations();
  {
    bix::CStyleKind kind("Kind", kClassOptions, 4);
    std::unique_ptr<bix::CStyle> base;
    std::unique_ptr<bix::CStyle> style;
    const auto check = [&] {
      EXPECT_TRUE(kind.GetStyleList()->IsEmpty() || base != nullptr);
      EXPECT_EQ(entries + (base != nullptr ? 1 : 0), bix::CStyle::m_listStyleKind.GetCount());
      EXPECT_TRUE(base == nullptr || base->GetChildren()->IsEmpty());
    };
    EXPECT_GT(
        FailEachAllocation(
            [&] { base = std::make_unique<bix::CStyle>(kLong.c_str(), &kind, "R", 0, nullptr); },
            check),
        10);
    EXPECT_GT(FailEachAllocation(
                  [&] {
                    style = std::make_unique<bix::CStyle>("A", &kind, kLong.c_str(), 0, base.get());
                  },
                  check),
              10);
    EXPECT_EQ(kLong, Get(*style, "BasedOn"));
    EXPECT_GT(FailEachAllocation([&] { EXPECT_TRUE(Set(*style, "Font", kLong.c_str())); }), 1);
    EXPECT_EQ(kLong, Get(*style, "Font"));
    bix::CStyle other("Other", &kind, "R", 0, nullptr);
    FailEachAllocation([&] { other.Copy(style.get()); });
    EXPECT_EQ(kLong, Get(other, "Font"));
    EXPECT_GT(FailEachAllocation([&] { EXPECT_EQ(2u, style->Explain("x").chain.size()); }), 1);
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST_F(StyleMemory, AParentThatCannotBeSetListsTheStyleOrIsNone) {
  const long before = LiveAllocations();
  {
    auto first = std::make_unique<bix::CStyle>("First", &classKind, "R", 0, nullptr);
    auto second = std::make_unique<bix::CStyle>(kLong.c_str(), &classKind, "R", 0, nullptr);
    bix::CStyle style("A", &classKind, "R", 0, first.get());
    const int failures = FailEachAllocation([&] { style.SetParent(second.get()); },
                                            [&] {
                                              EXPECT_EQ(nullptr, style.GetParent());
                                              EXPECT_TRUE(first->GetChildren()->IsEmpty());
                                              EXPECT_TRUE(second->GetChildren()->IsEmpty());
                                            });
    EXPECT_GT(failures, 2);
    EXPECT_EQ(second.get(), style.GetParent());
    EXPECT_EQ("A ", Names(*second->GetChildren()));
    EXPECT_EQ(kLong, Get(style, "BasedOn"));
    second.reset();
    EXPECT_EQ(nullptr, style.GetParent());
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST_F(StyleMemory, ReadingAValueNeedsNone) {
  Set(builtInClass, "Font", kLong.c_str());
  const bix::CStyle style("A", &classKind, "R", 0, &builtInClass);
  EXPECT_EQ(0, FailEachAllocation([&] {
              (void)style.GetValue(style.GetCategoryPath(), "Font");
              (void)style.GetValue(style.GetCategoryPath(), "x");
            }));
}

}  // namespace
}  // namespace bix_test
