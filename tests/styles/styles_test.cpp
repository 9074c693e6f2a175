#include "bix/styles.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <pthread.h>

#include "bix/optionfile.h"
#include "styles/style_test_support.h"

namespace bix_test {
namespace {

int CountEntries(const bix::CStyleKind* kind) {
  int count = 0;
  const bix::MList<bix::CStyleKind*>& all = bix::CStyle::m_listStyleKind;
  for (void* position = all.GetHeadPosition(); position != nullptr;)
    count += all.GetNext(position) == kind ? 1 : 0;
  return count;
}

// Kinds.

TEST(StyleKind, HoldsItsNameAndTheNumberOfItsOptions) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  EXPECT_STREQ("Class", kind.GetName());
  EXPECT_EQ(4, kind.GetOptionsCount());
  EXPECT_EQ(&kind, kind.GetStyleList()->GetStyleKind());
  EXPECT_TRUE(kind.GetStyleList()->IsEmpty());
  bix::CStyleKind empty;
  EXPECT_STREQ("", empty.GetName());
  EXPECT_EQ(0, empty.GetOptionsCount());
}

TEST(StyleKind, ListsItsStylesInTheOrderOfTheirMaking) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle first("A", &kind, "R", 0, nullptr);
  {
    bix::CStyle second("B", &kind, "R", 0, nullptr);
    bix::CStyle third("C", "Class", "R", nullptr);
    EXPECT_EQ("A B C ", Names(*kind.GetStyleList()));
  }
  EXPECT_EQ("A ", Names(*kind.GetStyleList()));
}

TEST(StyleKind, RemoveStyleUnlinksTheFirstEntryOfTheStyle) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, nullptr);
  kind.AddStyle(&a);
  EXPECT_EQ("A B A ", Names(*kind.GetStyleList()));
  kind.RemoveStyle(&a);
  EXPECT_EQ("B A ", Names(*kind.GetStyleList()));
  kind.RemoveStyle(&a);
  kind.RemoveStyle(&a);
  EXPECT_EQ("B ", Names(*kind.GetStyleList()));
}

TEST(StyleKindCompat, AnAddedOptionSetHasNoEffect) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  kind.AddOptionSet("More", kArrowOptions, 2);
  EXPECT_EQ(4, kind.GetOptionsCount());
  const bix::CStyle style("A", &kind, "R", 0, nullptr);
  EXPECT_EQ("(null)", Get(style, "Head"));
}

TEST(StyleKind, TheModeOfAKindHasNoEffectOnItsStyles) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  kind.SetMode(3);
  EXPECT_EQ(3u, kind.GetMode());
  const bix::CStyle style("A", &kind, "R", 0, nullptr);
  EXPECT_FALSE(style.IsUser());
  EXPECT_FALSE(style.IsContextual());
}

TEST(StyleKindCompat, AKindIsFoundWhileAStyleOfItExists) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  const bix::CStyle tooEarly("A", "Class", "R", nullptr);
  EXPECT_EQ(nullptr, tooEarly.GetStyleKind());
  auto first = std::make_unique<bix::CStyle>("First", &kind, "R", 0, nullptr);
  auto second = std::make_unique<bix::CStyle>("Second", "Class", "R", nullptr);
  EXPECT_EQ(&kind, second->GetStyleKind());
  first.reset();
  auto third = std::make_unique<bix::CStyle>("Third", "Class", "R", nullptr);
  EXPECT_EQ(&kind, third->GetStyleKind());
  second.reset();
  third.reset();
  const bix::CStyle tooLate("A", "Class", "R", nullptr);
  EXPECT_EQ(nullptr, tooLate.GetStyleKind());
}

TEST(StyleKind, IsListedOnceForEachLiveStyle) {
  const int before = bix::CStyle::m_listStyleKind.GetCount();
  bix::CStyleKind kind("Class", kClassOptions, 4);
  EXPECT_EQ(0, CountEntries(&kind));
  {
    const bix::CStyle a("A", &kind, "R", 0, nullptr);
    EXPECT_EQ(1, CountEntries(&kind));
    const bix::CStyle b("B", "Class", "R", nullptr);
    EXPECT_EQ(2, CountEntries(&kind));
    const bix::CStyle inert("C", "Clas", "R", nullptr);
    EXPECT_EQ(before + 2, bix::CStyle::m_listStyleKind.GetCount());
  }
  EXPECT_EQ(before, bix::CStyle::m_listStyleKind.GetCount());
}

TEST(StyleKind, OfTwoKindsOfOneNameTheFirstListedIsFound) {
  bix::CStyleKind first("Class", kClassOptions, 4);
  bix::CStyleKind second("Class", kArrowOptions, 2);
  auto ofFirst = std::make_unique<bix::CStyle>("A", &first, "R", 0, nullptr);
  const bix::CStyle ofSecond("B", &second, "R", 0, nullptr);
  EXPECT_EQ(&first, bix::CStyle("C", "Class", "R", nullptr).GetStyleKind());
  EXPECT_EQ(nullptr, bix::CStyle("C", "class", "R", nullptr).GetStyleKind());
  ofFirst.reset();
  EXPECT_EQ(&second, bix::CStyle("C", "Class", "R", nullptr).GetStyleKind());
}

TEST(StyleKind, StylesOutliveTheirKindWithoutOne) {
  const int before = bix::CStyle::m_listStyleKind.GetCount();
  auto kind = std::make_unique<bix::CStyleKind>("Class", kClassOptions, 4);
  bix::CStyle base("Base", kind.get(), "R", 0, nullptr);
  bix::CStyle style("A", "Class", "R", nullptr);
  style.SetParent(&base);
  Set(base, "x", "5");
  Set(style, "y", "b");
  kind.reset();
  EXPECT_EQ(before, bix::CStyle::m_listStyleKind.GetCount());
  EXPECT_EQ(nullptr, style.GetStyleKind());
  EXPECT_EQ("5", Get(style, "x"));
  EXPECT_EQ("b", Get(style, "y"));
  EXPECT_EQ("1", Get(style, "Width"));
  EXPECT_TRUE(Set(style, "x", "6"));
  EXPECT_EQ("6", Get(style, "x"));
  // A section that it begins now still tells its kind.
  bix::CStyle& late = base;
  EXPECT_TRUE(Set(late, "y", "c"));
  void* position = base.GetFirstFilePosition();
  bix::CRgKey* key = base.GetNextFile(position)->FindKey("R/Styles/Class/Base");
  ASSERT_NE(nullptr, key);
  const bix::CRgAttribute* attribute =
      key->GetAttributeList()->GetAt(key->GetAttributeList()->GetHeadPosition());
  EXPECT_STREQ("Class", attribute->GetName());
  EXPECT_STREQ("Base", attribute->GetValue());
}

TEST(StyleKind, AStyleTakenFromTheListLosesItsKindAllTheSame) {
  auto kind = std::make_unique<bix::CStyleKind>("Class", kClassOptions, 4);
  const auto style = std::make_unique<bix::CStyle>("A", kind.get(), "R", 0, nullptr);
  kind->RemoveStyle(style.get());
  kind.reset();
  EXPECT_EQ(nullptr, style->GetStyleKind());
}

TEST(StyleList, FindStyleComparesBytesAndTakesTheFirst) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle lower("bold", &kind, "R", 0, nullptr);
  bix::CStyle first("Bold", &kind, "R", 0, nullptr);
  bix::CStyle second("Bold", &kind, "S", 0, nullptr);
  bix::CStyle nameless("", &kind, "R", 0, nullptr);
  bix::CStyleList& list = *kind.GetStyleList();
  EXPECT_EQ(&first, list.FindStyle("Bold"));
  EXPECT_EQ(&lower, list.FindStyle("bold"));
  EXPECT_EQ(nullptr, list.FindStyle("BOLD"));
  EXPECT_EQ(nullptr, list.FindStyle("Bol"));
  EXPECT_EQ(&nameless, list.FindStyle(""));
  EXPECT_EQ(&nameless, list.FindStyle(nullptr));
  const bix::CStyleList empty;
  EXPECT_EQ(nullptr, empty.FindStyle("Bold"));
  EXPECT_EQ(nullptr, empty.GetStyleKind());
}

// Making.

TEST(StyleChoice, TheCategoryPathIsRootStylesKindAndName) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  const bix::CStyle style("Default", &kind, "Diagrams", 0, nullptr);
  ASSERT_NE(nullptr, style.GetMgrCategory());
  EXPECT_STREQ("Diagrams/Styles/Class/Default", style.GetMgrCategory()->GetPath().c_str());
  EXPECT_STREQ("Diagrams/Styles/Class/Default", style.GetCategoryPath());
  EXPECT_EQ(style.GetMgrCategory(), style.FindCategory("Diagrams/Styles/Class/Default"));
  for (const char* path : {"Diagrams", "Diagrams/Styles", "Diagrams/Styles/Class"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(1, style.FindCategory(path)->GetCategoryCount());
    EXPECT_EQ(0, style.FindCategory(path)->GetOptionSet()->GetOptionCount());
  }
  EXPECT_EQ(0, style.GetMgrCategory()->GetCategoryCount());
}

TEST(StyleCompat, TheManagerIsNamedAfterStyleAndKind) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  const bix::CStyle style("Default", &kind, "R", 0, nullptr);
  EXPECT_STREQ("DefaultClass", static_cast<const bix::COptionManager&>(style).GetName());
  EXPECT_STREQ("Default", style.GetName());
  EXPECT_STREQ("R", style.GetRootName());
}

TEST(Style, HasTheOptionsOfItsKindAndBasedOn) {
  bix::CStyleKind two("Class", kClassOptions, 2);  // counted: the array is longer
  const bix::CStyle style("A", &two, "R", 0, nullptr);
  const bix::CMgrOptionSet& options = *style.GetMgrCategory()->GetOptionSet();
  EXPECT_EQ(3, options.GetOptionCount());
  EXPECT_NE(nullptr, options.FindOption("x"));
  EXPECT_NE(nullptr, options.FindOption("y"));
  EXPECT_EQ(nullptr, options.FindOption("Width"));
  const bix::COption* basedOn = options.FindOption("BasedOn");
  ASSERT_NE(nullptr, basedOn);
  EXPECT_EQ(1, basedOn->kind);
  EXPECT_STREQ("none", basedOn->defaultValue);
  EXPECT_STREQ("BasedOn", bix::CStyle::InheritString);
  bix::CStyleKind none("None", nullptr, 5);
  EXPECT_EQ("none", Get(bix::CStyle("A", &none, "R", 0, nullptr), "BasedOn"));
}

TEST(StyleCompat, TheOwnBasedOnTakesThePlaceOfOneThatTheKindDeclares) {
  const bix::COption options[] = {{"BasedOn", 3, "something"}};
  bix::CStyleKind kind("Class", options, 1);
  const bix::CStyle style("A", &kind, "R", 0, nullptr);
  EXPECT_EQ("none", Get(style, "BasedOn"));
  EXPECT_EQ(1, style.GetMgrCategory()->GetOptionSet()->FindOption("BasedOn")->kind);
}

TEST(Style, BeginsWithoutParentAndCountAndWithItsMode) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  const struct {
    unsigned long mode;
    bool isUser;
    bool isContextual;
  } cases[] = {
      {0, false, false}, {1, true, false}, {2, false, true}, {7, true, true}, {4, false, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mode);
    const bix::CStyle style("A", &kind, "R", c.mode, nullptr);
    EXPECT_EQ(c.mode, style.GetMode());
    EXPECT_EQ(c.isUser, style.IsUser());
    EXPECT_EQ(c.isContextual, style.IsContextual());
    EXPECT_EQ(nullptr, style.GetParent());
    EXPECT_EQ(nullptr, style.GetKey());
    EXPECT_EQ(0, style.GetFileCount());
    EXPECT_TRUE(style.GetChildren()->IsEmpty());
    EXPECT_EQ("none", Get(style, "BasedOn"));
  }
  const bix::CStyle first("A", &kind, "R", 5, nullptr);
  EXPECT_EQ(0u, bix::CStyle("B", "Class", "R", nullptr).GetMode());
}

TEST(Style, CountsItsUsersAndDeletesNothing) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  EXPECT_EQ(0, style.GetRef());
  EXPECT_EQ(1, style.AddRef());
  EXPECT_EQ(2, style.AddRef());
  EXPECT_EQ(1, style.Release());
  EXPECT_EQ(0, style.Release());
  EXPECT_EQ("A ", Names(*kind.GetStyleList()));
  EXPECT_EQ(-1, style.Release());
  EXPECT_EQ(-1, style.GetRef());
}

TEST(StyleCompat, AStyleOfAnUnknownKindIsInert) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle other("Other", &kind, "R", 0, nullptr);
  Set(other, "x", "5");
  const int entries = bix::CStyle::m_listStyleKind.GetCount();
  const auto make = [](bool byName) {
    return byName ? std::make_unique<bix::CStyle>("A", "Unknown", "R", nullptr)
                  : std::make_unique<bix::CStyle>("A", static_cast<bix::CStyleKind*>(nullptr), "R",
                                                  3, nullptr);
  };
  for (const bool byName : {true, false}) {
    SCOPED_TRACE(byName);
    const auto style = make(byName);
    EXPECT_STREQ("", style->GetName());
    EXPECT_STREQ("", style->GetRootName());
    EXPECT_STREQ("", style->GetCategoryPath());
    EXPECT_EQ(nullptr, style->GetStyleKind());
    EXPECT_EQ(nullptr, style->GetMgrCategory());
    EXPECT_EQ(nullptr, style->GetChildren());
    EXPECT_EQ(0, style->GetCategoryCount());
    EXPECT_EQ(0u, style->GetMode());
    EXPECT_EQ(entries, bix::CStyle::m_listStyleKind.GetCount());
    EXPECT_EQ(nullptr, style->GetValue("", "x"));
    EXPECT_EQ(nullptr, style->GetValue("R/Styles/Unknown/A", "BasedOn"));
    EXPECT_EQ(nullptr, style->GetHeritedValue("", "BasedOn"));
    EXPECT_FALSE(style->SetValue("", "x", "1"));
    EXPECT_FALSE(style->SetValue("R/Styles/Class/A", "x", "1"));
    EXPECT_EQ(0, style->GetFileCount());
    style->Copy(&other);
    other.Copy(style.get());
    EXPECT_EQ("5", Get(other, "x"));
    style->SetInitialValues();
    style->SetMgrCategory();
    EXPECT_EQ(nullptr, style->GetMgrCategory());
    style->NotifyAllChildren(style.get(), 2);
    style->RemoveChild(&other);
    EXPECT_FALSE(style->Explain("x").isKnown);
    EXPECT_EQ(1, style->AddRef());
    style->SetParent(&other);
    EXPECT_EQ(&other, style->GetParent());
    EXPECT_EQ(nullptr, style->GetValue("", "x"));
    EXPECT_EQ("5", Text(style->GetHeritedValue("", "x")));
    style->SetParent(nullptr);
  }
  EXPECT_EQ("5", Get(other, "x"));
}

TEST(StyleCompat, AnInertStyleAsParentGivesNothing) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  auto inert = std::make_unique<bix::CStyle>("Inert", "Unknown", "R", nullptr);
  style.SetParent(inert.get());
  EXPECT_EQ("(null)", Get(style, "x"));
  EXPECT_TRUE(Set(style, "x", "1"));
  EXPECT_EQ("1", Get(style, "x"));
  inert.reset();
  EXPECT_EQ(nullptr, style.GetParent());
  EXPECT_EQ("a", Get(style, "y"));
}

TEST(Style, TheCategoryIsFoundAnewFromTheFirstOneDown) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  const bix::CCategory deeper = {"Deeper", nullptr, 0, nullptr};
  style.GetMgrCategory()->MergeCategory(&deeper);
  EXPECT_STREQ("R/Styles/Class/A", style.GetCategoryPath());
  style.SetMgrCategory();
  EXPECT_STREQ("R/Styles/Class/A/Deeper", style.GetCategoryPath());
  EXPECT_STREQ("Deeper", style.GetMgrCategory()->GetName());
}

// Values.

TEST(StyleValue, IsTheDefaultUntilItIsRedefined) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  EXPECT_EQ("1", Get(style, "x"));
  EXPECT_EQ("", Get(style, "Font"));  // declared without a text
  EXPECT_TRUE(Set(style, "x", "2"));
  EXPECT_EQ("2", Get(style, "x"));
  EXPECT_EQ("a", Get(style, "y"));
  EXPECT_TRUE(style.IsRedefined("R/Styles/Class/A", "x"));
  EXPECT_FALSE(style.IsRedefined("R/Styles/Class/A", "y"));
  EXPECT_EQ(2, style.GetIntValue("R/Styles/Class/A", "x", 9));
  EXPECT_EQ(9, style.GetIntValue("R/Styles/Class/A", "unknown", 9));
}

TEST(StyleValueCompat, AnUndeclaredOptionIsNull) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &base);
  const bix::CStyle* const both[] = {&base, &style};
  for (const bix::CStyle* each : both) {
    SCOPED_TRACE(each->GetName());
    EXPECT_EQ(nullptr, each->GetValue(each->GetCategoryPath(), "unknown"));
    EXPECT_EQ(nullptr, each->GetValue(each->GetCategoryPath(), "X"));
    EXPECT_EQ(nullptr, each->GetValue(each->GetCategoryPath(), nullptr));
    EXPECT_EQ(nullptr, each->GetValue(each->GetCategoryPath(), "A/x"));
    EXPECT_EQ(nullptr, each->GetValue("R/Styles/Class/None", "x"));
    EXPECT_EQ(nullptr, each->GetValue("", "x"));
    EXPECT_EQ(nullptr, each->GetValue(nullptr, nullptr));
  }
  EXPECT_FALSE(Set(base, "unknown", "1"));
  EXPECT_FALSE(Set(style, "unknown", "1"));
  EXPECT_EQ("-", Held(style, "unknown"));
}

TEST(StyleValueCompat, InAnotherCategoryOnlyTheDefaultShows) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &base);
  const bix::COption extra[] = {{"x", 1, "extra"}, {"Text", 1, nullptr}, {}};
  const bix::COptionSet set = {"Extra", extra, 2};
  const bix::CCategory category = {"Extra", nullptr, 0, &set};
  const bix::CCategory onBase = {"Extra", nullptr, 0, &set};
  style.AddCategory(&category);
  base.AddCategory(&onBase);
  EXPECT_TRUE(base.SetValue("Extra", "x", "of the parent"));
  EXPECT_TRUE(style.SetValue("Extra", "x", "own"));
  EXPECT_STREQ("extra", style.GetValue("Extra", "x"));
  EXPECT_STREQ("", style.GetValue("Extra", "Text"));
  EXPECT_EQ(nullptr, style.GetValue("Extra", "y"));
  // The parent's path is another category, too.
  EXPECT_EQ(nullptr, style.GetValue(base.GetCategoryPath(), "x"));
}

TEST(StyleValue, IsInheritedUntilItIsRedefined) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, &a);
  bix::CStyle c("C", &kind, "R", 0, &b);
  EXPECT_EQ("1", Get(b, "x"));
  EXPECT_TRUE(Set(b, "x", "1"));
  EXPECT_EQ("-", Held(b, "x"));
  EXPECT_TRUE(Set(b, "x", "2"));
  EXPECT_EQ("2", Held(b, "x"));
  EXPECT_TRUE(Set(a, "x", "3"));
  EXPECT_EQ("3", Get(a, "x"));
  EXPECT_EQ("2", Get(b, "x"));
  EXPECT_EQ("2", Get(c, "x"));
  EXPECT_STREQ("2", c.GetHeritedValue(c.GetCategoryPath(), "x"));
  EXPECT_STREQ("3", b.GetHeritedValue(b.GetCategoryPath(), "x"));
  EXPECT_STREQ("3", a.GetHeritedValue(a.GetCategoryPath(), "x"));
}

TEST(StyleValueCompat, TheParentIsAskedUnderItsOwnCategory) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "Elsewhere", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &base);
  Set(base, "x", "5");
  EXPECT_EQ("5", Get(style, "x"));
  EXPECT_STREQ("5", style.GetHeritedValue("no such category", "x"));
  EXPECT_EQ(nullptr, base.GetHeritedValue("no such category", "x"));
}

TEST(StyleValue, OfAParentOfAnotherKindAreInheritedByName) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyleKind other("Arrow", kArrowOptions, 2);
  bix::CStyle base("Base", &other, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &base);
  EXPECT_EQ("7", Get(style, "x"));
  EXPECT_EQ("(null)", Get(style, "y"));
  EXPECT_EQ("open", Get(style, "Head"));
  EXPECT_TRUE(Set(style, "y", ""));
  EXPECT_EQ("", Get(style, "y"));
}

TEST(StyleValueCompat, TheDefaultIsStoredOnlyInASectionThatExists) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  EXPECT_TRUE(Set(style, "x", "1"));
  EXPECT_EQ("-", Held(style, "x"));
  EXPECT_TRUE(Set(style, "y", "b"));
  EXPECT_TRUE(Set(style, "x", "1"));
  EXPECT_EQ("1", Held(style, "x"));
  EXPECT_TRUE(Set(style, "y", "a"));
  EXPECT_EQ("a", Held(style, "y"));
}

TEST(StyleValueCompat, WithoutASectionATextMustDifferFromDefaultAndInherited) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  const struct {
    const char* inherited;
    const char* text;
    const char* held;
  } cases[] = {{"2", "1", "-"}, {"2", "2", "-"}, {"2", "3", "3"}, {"1", "1", "-"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.inherited) + " " + c.text);
    bix::CStyle base("Base", &kind, "R", 0, nullptr);
    bix::CStyle style("A", &kind, "R", 0, &base);
    Set(base, "x", c.inherited);
    // A style whose section is gone.
    void* position = style.GetFirstFilePosition();
    style.GetNextFile(position)->GetKeyRoot()->Empty();
    EXPECT_TRUE(Set(style, "x", c.text));
    EXPECT_EQ(c.held, Held(style, "x"));
    EXPECT_EQ("Base", Held(style, "BasedOn"));
  }
}

TEST(StyleValue, InASectionThatExistsOnlyTheInheritedTextCounts) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &base);
  Set(base, "x", "2");
  EXPECT_TRUE(Set(style, "x", "1"));  // the default
  EXPECT_EQ("1", Held(style, "x"));
  EXPECT_EQ("1", Get(style, "x"));
  EXPECT_TRUE(Set(style, "x", "2"));
  EXPECT_EQ("-", Held(style, "x"));
  EXPECT_TRUE(Set(style, "x", "2"));
  EXPECT_EQ("-", Held(style, "x"));
}

TEST(StyleValueCompat, BasedOnOfAStyleWithAParentStaysTheParentsName) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &base);
  EXPECT_EQ("Base", Get(style, "BasedOn"));
  for (const char* text : {"Other", "none", "Base", ""}) {
    SCOPED_TRACE(text);
    Set(style, "BasedOn", text);
    EXPECT_EQ("Base", Get(style, "BasedOn"));
    EXPECT_EQ("Base", Held(style, "BasedOn"));
  }
  // Also when the section is gone and another option is set.
  void* position = style.GetFirstFilePosition();
  style.GetNextFile(position)->GetKeyRoot()->Empty();
  EXPECT_TRUE(Set(style, "x", "1"));
  EXPECT_EQ("Base", Held(style, "BasedOn"));
  EXPECT_EQ("-", Held(style, "x"));
  EXPECT_EQ(&base, style.GetParent());
}

TEST(StyleValue, BasedOnOfAnotherCategoryIsTakenBack) {
  const bix::COption extra[] = {{"BasedOn", 1, "none"}, {"Text", 1, "t"}, {}};
  const bix::COptionSet set = {"Extra", extra, 2};
  const bix::CCategory category = {"Extra", nullptr, 0, &set};
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &base);
  style.AddCategory(&category);
  void* position = style.GetFirstFilePosition();
  bix::COptionFile& file = *style.GetNextFile(position);
  ASSERT_TRUE(file.SetValue("Extra", "BasedOn", "Somebody"));
  ASSERT_TRUE(file.SetValue("Extra", "Text", "u"));
  EXPECT_TRUE(style.SetValue("Extra", "BasedOn", "Other"));
  EXPECT_EQ(nullptr, file.GetValue("Extra", "BasedOn"));
  EXPECT_STREQ("u", file.GetValue("Extra", "Text"));
  EXPECT_EQ("Base", Held(style, "BasedOn"));
}

TEST(StyleValue, BasedOnOfAStyleWithoutAParentIsAnOptionLikeOthers) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  EXPECT_TRUE(Set(style, "BasedOn", "Somebody"));
  EXPECT_EQ("Somebody", Get(style, "BasedOn"));
  EXPECT_EQ(nullptr, style.GetParent());
}

TEST(StyleValue, TheSectionNamesKindAndStyle) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("none", &kind, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  // Neither differs from what shows, so only the last step makes the section.
  style.SetParent(&base);
  EXPECT_EQ("none", Held(style, "BasedOn"));
  void* position = style.GetFirstFilePosition();
  bix::CRgKey* key = style.GetNextFile(position)->FindKey("R/Styles/Class/A");
  ASSERT_NE(nullptr, key);
  ASSERT_EQ(1, key->GetAttributeList()->GetCount());
  const bix::CRgAttribute* attribute =
      key->GetAttributeList()->GetAt(key->GetAttributeList()->GetHeadPosition());
  EXPECT_STREQ("Class", attribute->GetName());
  EXPECT_STREQ("A", attribute->GetValue());
  EXPECT_TRUE(style.GetNextFile(position = style.GetFirstFilePosition())->IsModified());
}

TEST(StyleValue, GoesToTheFirstFile) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  auto* const first = new bix::COptionFile(&style);
  auto* const second = new bix::COptionFile(&style);
  second->SetPathName("second.tot");
  ASSERT_TRUE(style.AddFile(first));
  ASSERT_TRUE(style.AddFile(second));
  second->SetValue(style.GetCategoryPath(), "x", "4");
  EXPECT_EQ("4", Get(style, "x"));
  EXPECT_TRUE(Set(style, "x", "4"));
  EXPECT_EQ("-", Held(style, "x"));  // it shows without the first file
  EXPECT_TRUE(Set(style, "x", "5"));
  EXPECT_EQ("5", Held(style, "x"));
  EXPECT_EQ("5", Get(style, "x"));
  EXPECT_STREQ("4", second->GetValue(style.GetCategoryPath(), "x"));
  EXPECT_EQ(2, style.GetFileCount());
}

TEST(StyleValueCompat, ALaterFileThatFixesTheOptionGivesTheValue) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &base);
  const char* const path = style.GetCategoryPath();
  const char* const names[] = {"second.tot", "third.tot", "fourth.tot"};
  bix::COptionFile* files[3];
  for (int i = 0; i < 3; ++i) {
    files[i] = new bix::COptionFile(&style);
    files[i]->SetPathName(names[i]);
    ASSERT_TRUE(style.AddFile(files[i]));
    files[i]->SetValue(path, "x", names[i]);
  }
  EXPECT_EQ("second.tot", Get(style, "x"));
  files[1]->SetAttributeValue(path, "x", "", "fixed", "True");
  EXPECT_EQ("second.tot", Get(style, "x"));
  files[1]->SetAttributeValue(path, "x", "", "fixed", "true");
  EXPECT_EQ("third.tot", Get(style, "x"));
  files[2]->SetAttributeValue(path, "x", "", "fixed", "true");
  EXPECT_EQ("fourth.tot", Get(style, "x"));
  // And nothing is stored, nobody told, and "BasedOn" not written where it cannot be changed.
  bix::CStyle child("C", &kind, "R", 0, &style);
  void* position = style.GetFirstFilePosition();
  style.GetNextFile(position)->GetKeyRoot()->Empty();
  EXPECT_FALSE(Set(style, "x", "9"));
  EXPECT_EQ(0u, child.GetUpdateCount());
  EXPECT_EQ("-", Held(style, "BasedOn"));
}

TEST(StyleValue, StaysWhenTheFirstFileCannotBeWritten) {
  const TempDirectory directory;
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  bix::CStyle child("C", &kind, "R", 0, &style);
  auto* const file = new bix::COptionFile(&style);
  ASSERT_TRUE(style.AddFile(file));
  file->SetPathName((directory / "missing.tot").c_str());
  EXPECT_FALSE(Set(style, "x", "2"));
  EXPECT_EQ("1", Get(style, "x"));
  EXPECT_EQ(0u, child.GetUpdateCount());
  style.SetParent(&base);
  EXPECT_EQ(&base, style.GetParent());
  EXPECT_EQ("-", Held(style, "BasedOn"));
}

TEST(StyleValue, OfAnUndeclaredOptionMakesNoSection) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  EXPECT_FALSE(Set(style, "unknown", "1"));
  void* position = style.GetFirstFilePosition();
  ASSERT_NE(nullptr, position);
  EXPECT_EQ(nullptr, style.GetNextFile(position)->FindKey(style.GetCategoryPath()));
  // So a text that is the default is not stored either.
  EXPECT_TRUE(Set(style, "x", "1"));
  EXPECT_EQ("-", Held(style, "x"));
}

TEST(StyleValue, MayBeATextOfTheStyleItself) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &base);
  const std::string longText(100, 't');
  Set(style, "x", longText.c_str());
  Set(style, "y", style.GetValue(style.GetCategoryPath(), "x"));
  EXPECT_EQ(longText, Get(style, "y"));
  Set(base, "x", longText.c_str());
  Set(style, "x", style.GetValue(style.GetCategoryPath(), "x"));  // equals the inherited one
  EXPECT_EQ("-", Held(style, "x"));
  EXPECT_EQ(longText, Get(style, "x"));
}

TEST(StyleChoice, AStyleWhoseNameIsNoComponentHasItsOptionsAndStoresNothing) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  Set(base, "x", "5");
  for (const char* name : {"A/B", "", "/"}) {
    SCOPED_TRACE(name);
    bix::CStyle style(name, &kind, "R", 0, nullptr);
    EXPECT_EQ("none", Get(style, "BasedOn"));
    EXPECT_FALSE(Set(style, "x", "2"));
    EXPECT_EQ("1", Get(style, "x"));
    style.SetParent(&base);
    EXPECT_EQ("5", Get(style, "x"));
    EXPECT_FALSE(Set(style, "x", "2"));
    EXPECT_EQ("5", Get(style, "x"));
  }
}

// Parents and children.

TEST(StyleParent, IsStoredUnderBasedOnAndListsTheChild) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, nullptr);
  b.SetParent(&a);
  EXPECT_EQ(&a, b.GetParent());
  EXPECT_EQ("A", Get(b, "BasedOn"));
  EXPECT_EQ("B ", Names(*a.GetChildren()));
  EXPECT_EQ("none", Get(a, "BasedOn"));
}

TEST(StyleParentCompat, AStyleBasedOnItselfIsBasedOnNone) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  a.SetParent(&a);
  EXPECT_EQ(nullptr, a.GetParent());
  EXPECT_EQ("none", Get(a, "BasedOn"));
  bix::CStyle b("B", &kind, "R", 0, &a);
  bix::CStyle c("C", &kind, "R", 0, &b);
  b.SetParent(&b);
  EXPECT_EQ(nullptr, b.GetParent());
  EXPECT_EQ(nullptr, c.GetParent());
  EXPECT_TRUE(a.GetChildren()->IsEmpty());
  EXPECT_TRUE(b.GetChildren()->IsEmpty());
}

TEST(StyleParentCompat, AStyleThatLosesItsParentLosesItsChildren) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, &a);
  bix::CStyle c("C", &kind, "R", 0, &b);
  bix::CStyle d("D", &kind, "R", 0, &c);
  b.SetParent(nullptr);
  EXPECT_EQ(nullptr, b.GetParent());
  EXPECT_EQ(nullptr, c.GetParent());
  EXPECT_EQ(&c, d.GetParent());
  EXPECT_TRUE(a.GetChildren()->IsEmpty());
  EXPECT_TRUE(b.GetChildren()->IsEmpty());
  EXPECT_EQ("D ", Names(*c.GetChildren()));
}

TEST(StyleParent, NoneKeepsTheChildrenOfAStyleThatHadNone) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, &a);
  a.SetParent(nullptr);
  EXPECT_EQ(&a, b.GetParent());
  EXPECT_EQ("B ", Names(*a.GetChildren()));
}

TEST(StyleParentCompat, WithoutAParentTheStoredNameStays) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, &a);
  b.SetParent(nullptr);
  EXPECT_EQ("A", Get(b, "BasedOn"));
  auto c = std::make_unique<bix::CStyle>("C", &kind, "R", 0, nullptr);
  b.SetParent(c.get());
  c.reset();
  EXPECT_EQ(nullptr, b.GetParent());
  EXPECT_EQ("C", Get(b, "BasedOn"));
}

TEST(StyleParentChoice, AFormerParentListsTheStyleNoMore) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, nullptr);
  auto child = std::make_unique<bix::CStyle>("C", &kind, "R", 0, &a);
  bix::CStyle grandchild("D", &kind, "R", 0, child.get());
  child->SetParent(&b);
  EXPECT_TRUE(a.GetChildren()->IsEmpty());
  EXPECT_EQ("C ", Names(*b.GetChildren()));
  EXPECT_EQ(child.get(), grandchild.GetParent());  // a change of parent keeps the children
  EXPECT_EQ("B", Get(*child, "BasedOn"));
  child.reset();
  EXPECT_TRUE(Set(a, "x", "2"));
  EXPECT_TRUE(Set(b, "x", "2"));
}

TEST(StyleParentChoice, AChildIsListedOnce) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, &a);
  b.SetParent(&a);
  a.AddChild(&b);
  a.AddChild(nullptr);
  EXPECT_EQ("B ", Names(*a.GetChildren()));
  Set(a, "x", "2");
  EXPECT_EQ(1u, b.GetUpdateCount());
}

TEST(StyleParent, AChildListedByHandIsForgottenWhenItGoes) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  auto b = std::make_unique<bix::CStyle>("B", &kind, "R", 0, nullptr);
  a.AddChild(b.get());
  EXPECT_EQ(nullptr, b->GetParent());
  b.reset();
  EXPECT_TRUE(a.GetChildren()->IsEmpty());
  auto c = std::make_unique<bix::CStyle>("C", &kind, "R", 0, nullptr);
  c->AddChild(&a);
  c.reset();
  Set(a, "x", "2");
  a.RemoveChild(nullptr);
}

// Notices.

TEST(StyleNotice, AChangeReachesAllDescendants) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, &a);
  bix::CStyle c("C", &kind, "R", 0, &b);
  bix::CStyle other("O", &kind, "R", 0, nullptr);
  Set(a, "x", "2");
  EXPECT_EQ(0u, a.GetUpdateCount());
  EXPECT_EQ(1u, b.GetUpdateCount());
  EXPECT_EQ(1u, c.GetUpdateCount());
  EXPECT_EQ(0u, other.GetUpdateCount());
  Set(b, "x", "3");
  EXPECT_EQ(1u, b.GetUpdateCount());
  EXPECT_EQ(2u, c.GetUpdateCount());
}

TEST(StyleNoticeCompat, TheChildrenAreToldAlsoWhenNothingWasStored) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, &a);
  Set(a, "x", "1");
  EXPECT_EQ("-", Held(a, "x"));
  EXPECT_EQ(1u, b.GetUpdateCount());
}

TEST(StyleNotice, IsOfNoEffectUnlessItComesFromTheParent) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, &a);
  bix::CStyle c("C", &kind, "R", 0, &b);
  for (const int code : {1, 2}) {
    SCOPED_TRACE(code);
    b.OnUpdate(&c, code);
    b.OnUpdate(nullptr, code);
    a.OnUpdate(nullptr, code);
    a.NotifyAllChildren(&c, code);
    EXPECT_EQ(&a, b.GetParent());
    EXPECT_EQ(0u, b.GetUpdateCount());
    EXPECT_EQ(0u, a.GetUpdateCount());
  }
  b.OnUpdate(&a, 3);
  EXPECT_EQ(0u, b.GetUpdateCount());
  b.OnUpdate(&a, 2);
  EXPECT_EQ(1u, c.GetUpdateCount());
  b.OnUpdate(&a, 1);
  EXPECT_EQ(nullptr, b.GetParent());
  EXPECT_EQ(1u, c.GetUpdateCount());
}

TEST(StyleNoticeCompat, TheChildrenOfAnOrphanKeepIt) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  auto a = std::make_unique<bix::CStyle>("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, a.get());
  bix::CStyle c("C", &kind, "R", 0, &b);
  Set(*a, "x", "2");
  a.reset();
  EXPECT_EQ(nullptr, b.GetParent());
  EXPECT_EQ(&b, c.GetParent());
  EXPECT_EQ("1", Get(c, "x"));
  EXPECT_EQ("B C ", Names(*kind.GetStyleList()));
}

TEST(StyleNotice, SetParentTellsTheChildrenAndNotTheNewParent) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, nullptr);
  bix::CStyle c("C", &kind, "R", 0, &b);
  b.SetParent(&a);
  EXPECT_EQ(1u, c.GetUpdateCount());
  EXPECT_EQ(0u, b.GetUpdateCount());
  EXPECT_EQ(0u, a.GetUpdateCount());
}

/// Tells what its parent listed while "BasedOn" was set.
class WatchingStyle : public bix::CStyle {
 public:
  using CStyle::CStyle;
  bool SetValue(const char* category, const char* option, const char* value) override {
    seen += Text(option) + "=" + Text(value) + " parent " +
            (GetParent() != nullptr ? GetParent()->GetName() : "none") + " children " +
            (GetParent() != nullptr ? Names(*GetParent()->GetChildren()) : "") + ";";
    return CStyle::SetValue(category, option, value);
  }
  std::string seen;
};

TEST(StyleParent, IsThereBeforeBasedOnIsSetAndListsTheChildAfterwards) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  WatchingStyle style("W", &kind, "R", 0, nullptr);
  style.SetParent(&a);
  EXPECT_EQ("BasedOn=A parent A children ;", style.seen);
  EXPECT_EQ("W ", Names(*a.GetChildren()));
}

// Copying.

TEST(StyleCopy, TakesOverWhatDiffers) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "S", 0, nullptr);
  bix::CStyle from("From", &kind, "S", 0, &base);
  bix::CStyle to("To", &kind, "R", 0, nullptr);
  Set(base, "x", "5");
  Set(from, "y", "b");
  Set(to, "Width", "3");
  to.Copy(&from);
  EXPECT_EQ("5", Held(to, "x"));  // inherited there, redefined here
  EXPECT_EQ("b", Held(to, "y"));
  EXPECT_EQ("1", Get(to, "Width"));
  EXPECT_EQ("", Get(to, "Font"));
  EXPECT_EQ("-", Held(to, "Font"));
  EXPECT_EQ("Base", Get(to, "BasedOn"));
  EXPECT_EQ(nullptr, to.GetParent());
}

TEST(StyleCopy, ToAStyleWithAParentKeepsTheParentsName) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle base("Base", &kind, "R", 0, nullptr);
  bix::CStyle from("From", &kind, "R", 0, nullptr);
  bix::CStyle to("To", &kind, "R", 0, &base);
  Set(from, "x", "5");
  to.Copy(&from);
  EXPECT_EQ("5", Get(to, "x"));
  EXPECT_EQ("Base", Get(to, "BasedOn"));
}

TEST(StyleCopy, OfNothingChangesNothing) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  bix::CStyle child("B", &kind, "R", 0, &style);
  bix::CStyle inert("I", "Unknown", "R", nullptr);
  Set(style, "x", "5");
  const auto told = child.GetUpdateCount();
  style.Copy(nullptr);
  style.Copy(&inert);
  style.Copy(&style);
  EXPECT_EQ("5", Get(style, "x"));
  EXPECT_EQ(told, child.GetUpdateCount());
}

TEST(StyleCopyChoice, OptionsThatTheOtherStyleLacksStay) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyleKind other("Arrow", kArrowOptions, 2);
  bix::CStyle from("From", &other, "R", 0, nullptr);
  bix::CStyle to("To", &kind, "R", 0, nullptr);
  Set(to, "y", "b");
  to.Copy(&from);
  EXPECT_EQ("7", Get(to, "x"));
  EXPECT_EQ("b", Get(to, "y"));
  EXPECT_EQ("(null)", Get(to, "Head"));
}

// Explaining.

TEST(StyleExplain, NamesTheStyleThatGivesTheValue) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle a("A", &kind, "R", 0, nullptr);
  bix::CStyle b("B", &kind, "R", 0, &a);
  bix::CStyle c("C", &kind, "R", 0, &b);
  Set(a, "x", "2");
  Set(b, "x", "3");
  const bix::CStyleExplanation explanation = c.Explain("x");
  EXPECT_TRUE(explanation.isKnown);
  EXPECT_FALSE(explanation.isCycle);
  EXPECT_EQ(&b, explanation.style);
  EXPECT_STREQ("3", explanation.value.c_str());
  ASSERT_EQ(3u, explanation.chain.size());
  const struct {
    const bix::CStyle* style;
    const char* name;
    bool isRedefined;
    const char* text;
    bix::CStyleExplanation::Verdict verdict;
  } want[] = {{&c, "C", false, "", bix::CStyleExplanation::NotRedefined},
              {&b, "B", true, "3", bix::CStyleExplanation::Gives},
              {&a, "A", true, "2", bix::CStyleExplanation::Hidden}};
  for (std::size_t i = 0; i < 3; ++i) {
    SCOPED_TRACE(want[i].name);
    EXPECT_EQ(want[i].style, explanation.chain[i].style);
    EXPECT_STREQ(want[i].name, explanation.chain[i].name.c_str());
    EXPECT_EQ(want[i].isRedefined, explanation.chain[i].isRedefined);
    EXPECT_STREQ(want[i].text, explanation.chain[i].text.c_str());
    EXPECT_EQ(want[i].verdict, explanation.chain[i].verdict);
  }
  EXPECT_STREQ("redefines the option and gives the value",
               bix::CStyleExplanation::GetText(explanation.chain[1].verdict));
}

TEST(StyleExplain, NamesTheStyleWhoseDefaultShows) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyleKind other("Arrow", kArrowOptions, 2);
  bix::CStyle top("Top", &other, "R", 0, nullptr);
  bix::CStyle style("A", &kind, "R", 0, &top);
  const bix::CStyleExplanation explanation = style.Explain("x");
  EXPECT_EQ(&top, explanation.style);
  EXPECT_STREQ("7", explanation.value.c_str());
  EXPECT_EQ(bix::CStyleExplanation::GivesDefault, explanation.chain[1].verdict);
  const bix::CStyleExplanation unknown = style.Explain("y");
  EXPECT_FALSE(unknown.isKnown);
  EXPECT_EQ(nullptr, unknown.style);
  EXPECT_EQ(2u, unknown.chain.size());
}

TEST(StyleExplain, AgreesWithGetValue) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyleKind other("Arrow", kArrowOptions, 2);
  bix::CStyle top("Top", &other, "R", 0, nullptr);
  bix::CStyle a("A", &kind, "R", 0, &top);
  bix::CStyle b("B", &kind, "R", 0, &a);
  bix::CStyle inert("I", "Unknown", "R", nullptr);
  bix::CStyle c("C", &kind, "R", 0, &inert);
  inert.SetParent(&a);  // through which nothing is inherited
  Set(a, "y", "b");
  Set(b, "Width", "3");
  for (const bix::CStyle* style : {&top, &a, &b, &inert, &c})
    for (const char* option : {"x", "y", "Width", "Font", "Head", "BasedOn", "unknown", "a/b"}) {
      SCOPED_TRACE(std::string(style->GetName()) + " " + option);
      const char* value = style->GetValue(style->GetCategoryPath(), option);
      const bix::CStyleExplanation explanation = style->Explain(option);
      EXPECT_EQ(value != nullptr, explanation.isKnown);
      EXPECT_EQ(value != nullptr ? value : "", std::string(explanation.value));
      EXPECT_EQ(value != nullptr, explanation.style != nullptr);
    }
}

TEST(StyleExplain, OfTheManagerIsThereToo) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  bix::CStyle style("A", &kind, "R", 0, nullptr);
  Set(style, "x", "2");
  const bix::COptionExplanation explanation = style.Explain(style.GetCategoryPath(), "x");
  EXPECT_STREQ("2", explanation.value.c_str());
  EXPECT_STREQ("1", explanation.defaultValue.c_str());
}

// Long chains and circles.

constexpr int kLongChain = 10000;

/// Runs `body` with a stack that any recursion along a long chain would leave.
void RunWithSmallStack(void (*body)()) {
  pthread_attr_t attributes;
  ASSERT_EQ(0, pthread_attr_init(&attributes));
  ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, 256 * 1024));
  pthread_t thread;
  ASSERT_EQ(0, pthread_create(
                   &thread, &attributes,
                   [](void* run) -> void* {
                     reinterpret_cast<void (*)()>(run)();
                     return nullptr;
                   },
                   reinterpret_cast<void*>(body)));
  EXPECT_EQ(0, pthread_join(thread, nullptr));
  pthread_attr_destroy(&attributes);
}

template <class Style>
std::vector<std::unique_ptr<bix::CStyle>> MakeChain(bix::CStyleKind& kind, int length) {
  std::vector<std::unique_ptr<bix::CStyle>> chain;
  for (int i = 0; i < length; ++i)
    chain.push_back(std::make_unique<Style>(("S" + std::to_string(i)).c_str(), &kind, "R", 0,
                                            i > 0 ? chain.back().get() : nullptr));
  return chain;
}

TEST(StyleChain, OfTenThousandStylesNeedsNoStack) {
  RunWithSmallStack([] {
    bix::CStyleKind kind("Class", kClassOptions, 4);
    auto chain = MakeChain<bix::CStyle>(kind, kLongChain);
    bix::CStyle& first = *chain.front();
    bix::CStyle& last = *chain.back();
    Set(first, "x", "2");
    EXPECT_EQ("2", Get(last, "x"));
    EXPECT_EQ("a", Get(last, "y"));
    EXPECT_STREQ("2", last.GetHeritedValue(last.GetCategoryPath(), "x"));
    const auto told = last.GetUpdateCount();
    Set(first, "x", "3");
    EXPECT_EQ(told + 1, last.GetUpdateCount());
    EXPECT_EQ(std::size_t{kLongChain}, last.Explain("x").chain.size());
    EXPECT_EQ(&first, last.Explain("x").style);
    chain[kLongChain / 2].reset();
    EXPECT_EQ("1", Get(last, "x"));
    EXPECT_EQ("3", Get(*chain[kLongChain / 2 - 1], "x"));
    kind.GetStyleList()->FindStyle("S1")->SetParent(nullptr);
    EXPECT_EQ(nullptr, chain[2]->GetParent());
  });
}

TEST(StyleChain, OfOneParentWithTenThousandChildrenIsQuick) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  auto base = std::make_unique<bix::CStyle>("Base", &kind, "R", 0, nullptr);
  std::vector<std::unique_ptr<bix::CStyle>> children;
  for (int i = 0; i < kLongChain; ++i)
    children.push_back(std::make_unique<bix::CStyle>(("S" + std::to_string(i)).c_str(), &kind, "R",
                                                     0, base.get()));
  Set(*base, "x", "2");
  for (const auto& child : children) ASSERT_EQ(1u, child->GetUpdateCount());
  base.reset();
  for (const auto& child : children) ASSERT_EQ(nullptr, child->GetParent());
}

/// Overrides what it gives, as hosts do.
class OverridingStyle : public bix::CStyle {
 public:
  using CStyle::CStyle;
  const char* GetValue(const char* category, const char* option) const override {
    if (isOverriding && std::string(option) == "x") return "overridden";
    return CStyle::GetValue(category, option);
  }
  bool isOverriding = false;
};

TEST(StyleChain, AsksStylesOfDerivedClassesThroughTheirOwnOperation) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  OverridingStyle top("Top", &kind, "R", 0, nullptr);
  bix::CStyle a("A", &kind, "R", 0, &top);
  bix::CStyle b("B", &kind, "R", 0, &a);
  top.isOverriding = true;
  EXPECT_EQ("overridden", Get(b, "x"));
  EXPECT_EQ("a", Get(b, "y"));
  Set(a, "x", "2");
  EXPECT_EQ("2", Get(b, "x"));
}

TEST(StyleChainChoice, OverridesCountUpToTheBoundAndTheClimbGoesOnBehindIt) {
  RunWithSmallStack([] {
    bix::CStyleKind kind("Class", kClassOptions, 4);
    auto chain = MakeChain<OverridingStyle>(kind, kLongChain);
    Set(*chain.front(), "y", "b");
    EXPECT_EQ("b", Get(*chain.back(), "y"));
    static_cast<OverridingStyle&>(*chain.front()).isOverriding = true;
    EXPECT_EQ("overridden", Get(*chain[256], "x"));
    EXPECT_EQ("1", Get(*chain.back(), "x"));
  });
}

TEST(StyleChainChoice, OnACircleTheDeclaredDefaultShows) {
  for (const int length : {2, 3, 7, 1000}) {
    SCOPED_TRACE(length);
    bix::CStyleKind kind("Class", kClassOptions, 4);
    auto chain = MakeChain<bix::CStyle>(kind, length);
    bix::CStyle outside("Outside", &kind, "R", 0, chain.back().get());
    chain.front()->SetParent(chain.back().get());
    EXPECT_EQ("1", Get(*chain.front(), "x"));
    EXPECT_EQ("a", Get(outside, "y"));
    EXPECT_EQ(nullptr, outside.GetValue(outside.GetCategoryPath(), "unknown"));
    // What is redefined on the circle is found from everywhere.
    Set(*chain[1], "x", "2");
    for (const auto& style : chain) ASSERT_EQ("2", Get(*style, "x"));
    EXPECT_EQ("2", Get(outside, "x"));
    // A notice goes round once.
    std::vector<unsigned> told;
    for (const auto& style : chain) told.push_back(style->GetUpdateCount());
    Set(*chain[0], "y", "b");
    for (std::size_t i = 0; i < chain.size(); ++i)
      ASSERT_EQ(told[i] + 1, chain[i]->GetUpdateCount()) << i;
    const bix::CStyleExplanation explanation = outside.Explain("Width");
    EXPECT_TRUE(explanation.isCycle);
    EXPECT_EQ(std::size_t(length) + 1, explanation.chain.size());
    EXPECT_EQ(&outside, explanation.style);
    EXPECT_STREQ("1", explanation.value.c_str());
    chain.erase(chain.begin() + length / 2);
    EXPECT_EQ("1", Get(*chain.front(), "Width"));
  }
}

TEST(StyleChainChoice, OfDerivedStylesOnACircleEndsToo) {
  bix::CStyleKind kind("Class", kClassOptions, 4);
  auto chain = MakeChain<OverridingStyle>(kind, 3);
  chain.front()->SetParent(chain.back().get());
  EXPECT_EQ("1", Get(*chain.front(), "x"));
}

}  // namespace
}  // namespace bix_test
