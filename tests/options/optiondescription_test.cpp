#include "bix/optiondescription.h"

#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "bix/options.h"
#include "options/option_test_support.h"

namespace {

using bix::COptionDescription;
using bix::COptionDescriptionList;
using bix::COptionManager;

/// Tells when it goes.
class Witness : public COptionDescription {
 public:
  Witness(const char* category, const char* name, std::vector<std::string>& gone)
      : COptionDescription(category, name), m_gone(gone) {}
  ~Witness() override { m_gone.push_back(GetPath()); }

 private:
  std::vector<std::string>& m_gone;
};

std::vector<std::string> PathsOf(const COptionDescriptionList& list) {
  std::vector<std::string> paths;
  for (void* position = list.GetHeadPosition(); position != nullptr;)
    paths.push_back(list.GetNext(position)->GetPath());
  return paths;
}

TEST(OptionDescription, CopiesItsTexts) {
  bix::SString category = "Editor/Display";
  bix::SString name = "Font";
  const COptionDescription description(category, name);
  category = "other";
  name = "other";
  EXPECT_EQ("Font", description.GetOptionName());
  EXPECT_EQ("Editor/Display", description.GetCategoryPath());
  EXPECT_EQ("Editor/Display/Font", description.GetPath());
  static_assert(std::is_polymorphic_v<COptionDescription>);
  static_assert(std::has_virtual_destructor_v<COptionDescription>);
}

TEST(OptionDescriptionCompat, ThePathAlwaysHasASlash) {
  EXPECT_EQ("/Font", COptionDescription("", "Font").GetPath());
  EXPECT_EQ("Editor/", COptionDescription("Editor", "").GetPath());
  EXPECT_EQ("/", COptionDescription("", "").GetPath());
  EXPECT_EQ("Editor//Font", COptionDescription("Editor/", "Font").GetPath());
}

TEST(OptionDescriptionList, KeepsTheOrderOfAdding) {
  COptionDescriptionList list;
  EXPECT_EQ(0, list.GetCount());
  EXPECT_EQ(nullptr, list.GetHeadPosition());
  list.AddTail(new COptionDescription("A", "x"));
  list.AddTail(new COptionDescription("B", "y"));
  list.AddTail(new COptionDescription("A", "x"));
  EXPECT_EQ(3, list.GetCount());
  EXPECT_EQ((std::vector<std::string>{"A/x", "B/y", "A/x"}), PathsOf(list));
}

TEST(OptionDescriptionList, FindsAPathInTheSameLetters) {
  COptionDescriptionList list;
  EXPECT_FALSE(list.FindOption("A/x"));
  EXPECT_FALSE(list.FindOption(""));
  EXPECT_FALSE(list.FindOption("/"));
  EXPECT_FALSE(list.FindOption(nullptr));
  list.AddTail(new COptionDescription("A/B", "x"));
  list.AddTail(new COptionDescription("", "y"));
  list.AddTail(new COptionDescription("C", "z"));
  const struct {
    const char* path;
    bool want;
  } cases[] = {{"A/B/x", true},    {"/y", true},    {"C/z", true},   {"a/B/x", false},
               {"A/B/X", false},   {"A/B", false},  {"A/B/", false}, {"A/B/xx", false},
               {"A/Bx", false},    {"y", false},    {"x", false},    {"/A/B/x", false},
               {"A\\B\\x", false}, {"C/z/", false}, {"C//z", false}, {"", false},
               {nullptr, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path == nullptr ? "null" : c.path);
    EXPECT_EQ(c.want, list.FindOption(c.path));
  }
}

TEST(OptionDescriptionList, APathMayBeFoundWhereverItIsSplit) {
  COptionDescriptionList list;
  list.AddTail(new COptionDescription("A", "B/x"));
  EXPECT_TRUE(list.FindOption("A/B/x"));
}

TEST(OptionDescriptionCompat, AnEmptyListIsCompatibleWithEveryManager) {
  COptionDescriptionList list;
  COptionManager manager;
  EXPECT_TRUE(list.IsCompatibleWith(&manager));
  EXPECT_TRUE(list.IsCompatibleWith(nullptr));
  list.AddTail(new COptionDescription("No", "such"));
  EXPECT_FALSE(list.IsCompatibleWith(&manager));
  list.Empty();
  EXPECT_TRUE(list.IsCompatibleWith(&manager));
}

TEST(OptionDescriptionList, NothingIsKnownWithoutAManager) {
  COptionDescriptionList list;
  list.AddTail(new COptionDescription("Editor", "Theme"));
  EXPECT_FALSE(list.IsCompatibleWith(nullptr));
}

TEST(OptionDescriptionCompat, OneKnownOptionIsEnough) {
  const bix::COption options[] = {{"y", 1, "1"}, {}};
  const bix::COptionSet set = {"B", options, 1};
  const bix::CCategory category = {"B", nullptr, 0, &set};
  COptionManager manager;
  manager.AddCategory(&category);
  // The known option last, first, and alone.
  {
    COptionDescriptionList list;
    list.AddTail(new COptionDescription("A", "x"));
    list.AddTail(new COptionDescription("B", "y"));
    EXPECT_TRUE(list.IsCompatibleWith(&manager));
  }
  {
    COptionDescriptionList list;
    COptionDescription known("B", "y");
    list.AddTail(&known);
    list.AddTail(new COptionDescription("A", "x"));
    EXPECT_TRUE(list.IsCompatibleWith(&manager)) << "what is not found takes nothing back";
    EXPECT_TRUE(list.Remove(&known));
    EXPECT_FALSE(list.IsCompatibleWith(&manager));
  }
}

TEST(OptionDescriptionList, ComparesWithTheDeclaredOptions) {
  COptionManager manager;
  manager.AddCategory(&bix_test::kEditor);
  const struct {
    const char* category;
    const char* name;
    bool want;
  } cases[] = {{"Editor", "Theme", true},
               {"Editor/Display", "Font", true},
               {"Editor", "Display/Font", true},
               {"Editor/Display", "font", false},
               {"editor", "Theme", false},
               {"Editor/Backup", "Font", false},
               {"Editor", "Display", false},
               {"Display", "Font", false},
               {"", "Editor/Theme", false},
               {"Editor/", "Theme", false},
               {"No", "such", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.category);
    SCOPED_TRACE(c.name);
    COptionDescriptionList list;
    list.AddTail(new COptionDescription(c.category, c.name));
    EXPECT_EQ(c.want, list.IsCompatibleWith(&manager));
  }
}

TEST(OptionDescriptionList, AskingChangesNothing) {
  COptionManager manager;
  manager.AddCategory(&bix_test::kEditor);
  COptionDescriptionList list;
  list.AddTail(new COptionDescription("No/such", "option"));
  EXPECT_FALSE(list.IsCompatibleWith(&manager));
  EXPECT_EQ(nullptr, manager.FindCategory("No"));
  EXPECT_EQ(1, list.GetCount());
}

TEST(OptionDescriptionList, DeletesItsDescriptionsThroughTheirDestructor) {
  std::vector<std::string> gone;
  {
    COptionDescriptionList list;
    list.AddTail(new Witness("A", "x", gone));
    list.AddTail(new Witness("B", "y", gone));
    list.Empty();
    EXPECT_EQ((std::vector<std::string>{"A/x", "B/y"}), gone);
    EXPECT_EQ(0, list.GetCount());
    EXPECT_EQ(nullptr, list.GetHeadPosition());
    list.Empty();
    EXPECT_EQ(2u, gone.size());
    list.AddTail(new Witness("C", "z", gone));
    EXPECT_EQ((std::vector<std::string>{"C/z"}), PathsOf(list)) << "the list can be used again";
  }
  EXPECT_EQ((std::vector<std::string>{"A/x", "B/y", "C/z"}), gone) << "its end deletes the rest";
}

TEST(OptionDescriptionList, WhatIsTakenOutBelongsToTheCaller) {
  std::vector<std::string> gone;
  COptionDescription* const mine = new Witness("A", "x", gone);
  {
    COptionDescriptionList list;
    list.AddTail(mine);
    list.AddTail(new Witness("B", "y", gone));
    EXPECT_TRUE(list.Remove(mine));
  }
  EXPECT_EQ((std::vector<std::string>{"B/y"}), gone);
  delete mine;
}

TEST(OptionDescriptionList, ADescriptionThatIsListedTwiceIsDeletedOnce) {
  std::vector<std::string> gone;
  COptionDescriptionList list;
  COptionDescription* const twice = new Witness("A", "x", gone);
  list.AddTail(twice);
  list.AddTail(new Witness("B", "y", gone));
  list.AddTail(twice);
  list.Empty();
  EXPECT_EQ((std::vector<std::string>{"A/x", "B/y"}), gone);
  EXPECT_TRUE(list.IsEmpty());
}

TEST(OptionDescriptionList, HoldsManyDescriptions) {
  std::vector<std::string> gone;
  COptionDescriptionList list;
  for (int i = 0; i < 20000; ++i) list.AddTail(new Witness("A", std::to_string(i).c_str(), gone));
  EXPECT_TRUE(list.FindOption("A/19999"));
  EXPECT_FALSE(list.FindOption("A/20000"));
  list.Empty();
  EXPECT_EQ(20000u, gone.size());
  EXPECT_EQ("A/19999", gone.back());
}

}  // namespace
