#include "bix/options.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bix/optionfile.h"
#include "options/option_test_support.h"

namespace {

using bix_test::OptionFixture;

class OptionManager : public OptionFixture {};
class OptionManagerCompat : public OptionFixture {};
class OptionManagerChoice : public OptionFixture {};
class OptionExplanation : public OptionFixture {};
class OptionSetValue : public OptionFixture {};

constexpr const char* kDisplay = "Editor/Display";

TEST(OptionDeclaration, BooleanDefaultIsTrueForALowerCaseT) {
  const struct {
    const char* text;
    bool want;
  } cases[] = {{"true", true}, {"t", true}, {"tomorrow", true}, {"True", false},
               {"T", false},   {"", false}, {"1", false},       {nullptr, false}};
  for (const auto& c : cases) {
    const bix::COption option = {"o", 3, c.text};
    EXPECT_EQ(c.want, option.GetBoolValue()) << (c.text != nullptr ? c.text : "null");
  }
}

TEST(OptionDeclaration, IntegerDefaultIsDecimalAndClampedTo32Bits) {
  const struct {
    const char* text;
    int want;
  } cases[] = {{"12", 12},
               {"-5", -5},
               {" 7", 7},
               {"12ab", 12},
               {"0x10", 0},
               {"010", 10},
               {"x", 0},
               {"", 0},
               {"2147483647", 2147483647},
               {"99999999999", 2147483647},
               {"-99999999999", -2147483647 - 1},
               {"99999999999999999999999", 2147483647}};
  for (const auto& c : cases) {
    const bix::COption option = {"o", 2, c.text};
    EXPECT_EQ(c.want, option.GetIntValue()) << c.text;
  }
}

TEST(OptionDeclaration, DefaultComparesExactlyAndConvertsToItsText) {
  const bix::COption option = {"o", 1, "Sans"};
  EXPECT_TRUE(option.IsDefaultValue("Sans"));
  EXPECT_FALSE(option.IsDefaultValue("sans"));
  EXPECT_FALSE(option.IsDefaultValue("Sans "));
  EXPECT_FALSE(option.IsDefaultValue(nullptr));
  EXPECT_STREQ("Sans", static_cast<const char*>(option));
}

TEST(OptionDeclaration, TheLibraryDeclaresWherePredefinedFilesAreNamed) {
  bix::COptionManager manager;
  manager.AddCategory(&bix::catSettings);
  manager.AddCategory(&bix::catInitial);
  ASSERT_NE(nullptr, manager.FindCategory("Settings"));
  EXPECT_EQ(0, manager.FindCategory("Settings")->GetOptionSet()->GetOptionCount());
  ASSERT_NE(nullptr, manager.FindCategory("Initial"));
  EXPECT_EQ(0, manager.FindCategory("Initial")->GetOptionSet()->GetOptionCount());
  bix::CMgrCategory* predefined = manager.FindCategory("Initial/Predefined");
  ASSERT_NE(nullptr, predefined);
  EXPECT_STREQ("Predefined", predefined->GetOptionSet()->GetName());
  EXPECT_STREQ("Settings", manager.FindCategory("Settings")->GetOptionSet()->GetName());
  EXPECT_STREQ("Initial", manager.FindCategory("Initial")->GetOptionSet()->GetName());
  const bix::COption* option = manager.FindOption("Initial/Predefined/OptionFiles");
  ASSERT_EQ(&bix::optPredefined[0], option);
  EXPECT_EQ(nullptr, bix::optPredefined[1].name) << "the record that ends the options";
  EXPECT_STREQ("OptionFiles", option->name);
  EXPECT_EQ(1, option->kind);
  EXPECT_STREQ("user.tot;company.tot", option->defaultValue);
}

TEST_F(OptionManager, IsTheRootCategory) {
  EXPECT_STREQ("Test", manager.GetName());
  EXPECT_EQ("", manager.GetPath());
  EXPECT_EQ(nullptr, manager.GetOwner());
  EXPECT_EQ(&manager, manager.GetManager());
  EXPECT_EQ(&manager, manager.FindCategory(""));
  bix::CMgrCategory* editor = manager.FindCategory("Editor");
  ASSERT_NE(nullptr, editor);
  EXPECT_EQ("Editor", editor->GetPath());
  EXPECT_EQ(&manager, editor->GetOwner());
  bix::CMgrCategory* display = manager.FindCategory(kDisplay);
  ASSERT_NE(nullptr, display);
  EXPECT_EQ("Editor/Display", display->GetPath());
  EXPECT_EQ(editor, display->GetOwner());
  EXPECT_EQ(&manager, display->GetManager());
  EXPECT_EQ(display, editor->FindCategory("Display"));
  EXPECT_EQ(editor, manager.FindCategory("Editor/Display", 6));
}

TEST_F(OptionManager, FindsNoCategoryOrOptionThatIsNotDeclared) {
  for (const char* path : {"editor", "Editor/", "/Editor", "Editor//Display", "Display",
                           "Editor/Display/Font", "Editor/Displa"}) {
    EXPECT_EQ(nullptr, manager.FindCategory(path)) << path;
  }
  for (const char* path :
       {"Font", "Editor/Font", "Editor/Display/font", "Editor/Display/", "", "/"})
    EXPECT_EQ(nullptr, manager.FindOption(path)) << path;
  EXPECT_EQ(&bix_test::kDisplayOptions[0], manager.FindOption("Editor/Display/Font"));
  EXPECT_EQ(&bix_test::kEditorOptions[0], manager.FindOption("Editor/Theme"));
  EXPECT_EQ(&bix_test::kEditorOptions[0], manager.FindCategory("Editor")->FindOption("Theme"));
}

TEST_F(OptionManager, WalksSubCategoriesAndOptions) {
  bix::CMgrCategory* editor = manager.FindCategory("Editor");
  std::vector<std::string> names;
  for (void* position = editor->GetFirstCategoryPosition(); position != nullptr;)
    names.push_back(editor->GetNextCategory(position)->GetName());
  EXPECT_EQ(2, editor->GetCategoryCount());
  ASSERT_EQ(2u, names.size());
  EXPECT_NE(names[0], names[1]);
  const bix::CMgrOptionSet* set = manager.FindCategory(kDisplay)->GetOptionSet();
  EXPECT_EQ(3, set->GetOptionCount());
  int count = 0;
  for (void* position = set->GetFirstOptionPosition(); position != nullptr; ++count)
    EXPECT_EQ(set->FindOption(set->GetNextOption(position)->name) != nullptr, true);
  EXPECT_EQ(3, count);
}

TEST_F(OptionManager, LaterDeclarationOfANameTakesItsPlace) {
  const bix::COption options[] = {{"Font", 1, "Serif 9"}, {"Zoom", 2, "100"}, {}};
  const bix::COptionSet set = {"Display", options, 2};
  const bix::CCategory display = {"Display", nullptr, 0, &set};
  const bix::CCategory* const parts[] = {&display, nullptr};
  const bix::COptionSet none = {"Editor", nullptr, 0};
  const bix::CCategory editor = {"Editor", parts, 1, &none};
  manager.AddCategory(&editor);
  EXPECT_STREQ("Serif 9", manager.GetValue(kDisplay, "Font"));
  EXPECT_STREQ("100", manager.GetValue(kDisplay, "Zoom"));
  EXPECT_STREQ("8", manager.GetValue(kDisplay, "TabWidth"));
  bix::CMgrOptionSet* merged = manager.FindCategory(kDisplay)->GetOptionSet();
  merged->UnMergeOptions(&bix_test::kDisplaySet);  // only the names that still stand for it
  EXPECT_STREQ("Serif 9", manager.GetValue(kDisplay, "Font"));
  EXPECT_STREQ("", manager.GetValue(kDisplay, "TabWidth"));
  merged->UnMergeOptions(&set);
  EXPECT_EQ(0, merged->GetOptionCount());
}

TEST(OptionCategoryChoice, OptionSetHasTheNameOfTheFirstDeclaredOne) {
  const bix::COptionSet first = {"Fonts and colours", nullptr, 0};
  const bix::COptionSet second = {"Of an add-in", bix_test::kDisplayOptions, 3};
  const bix::CCategory without = {"Display", nullptr, 0, nullptr};
  const bix::CCategory named = {"Display", nullptr, 0, &first};
  const bix::CCategory joining = {"Display", nullptr, 0, &second};
  bix::COptionManager manager;
  const bix::CMgrOptionSet* set = manager.AddCategory(&without)->GetOptionSet();
  EXPECT_STREQ("", set->GetName());
  manager.AddCategory(&named);
  EXPECT_STREQ("Fonts and colours", set->GetName());
  manager.AddCategory(&joining);
  EXPECT_STREQ("Fonts and colours", set->GetName());
  EXPECT_EQ(3, set->GetOptionCount());
  bix::COptionManager other;
  other.MergeManager(manager);
  EXPECT_STREQ("Fonts and colours", other.FindCategory("Display")->GetOptionSet()->GetName());
}

TEST(OptionDeclaration, SubCategoriesEndAtTheirNumberOrAtANullPointer) {
  const bix::CCategory a = {"a", nullptr, 0, nullptr};
  const bix::CCategory b = {"b", nullptr, 0, nullptr};
  const bix::CCategory* const withoutEnd[] = {&a, &b};
  const bix::CCategory* const ended[] = {&a, nullptr, &b};
  for (const bix::CCategory& category :
       {bix::CCategory{"top", withoutEnd, 1, nullptr}, bix::CCategory{"top", ended, 3, nullptr}}) {
    bix::COptionManager manager;
    manager.AddCategory(&category);
    EXPECT_NE(nullptr, manager.FindCategory("top/a"));
    EXPECT_EQ(nullptr, manager.FindCategory("top/b"));
  }
}

TEST(OptionDeclaration, MissingDefaultIsTheEmptyText) {
  const bix::COption options[] = {{"o", 1, nullptr}, {}};
  const bix::COptionSet set = {"s", options, 1};
  const bix::CCategory category = {"c", nullptr, 0, &set};
  bix::COptionManager manager;
  manager.AddCategory(&category);
  EXPECT_STREQ("", manager.GetValue("c", "o"));
  EXPECT_STREQ("", manager.GetUnderneathValue(nullptr, "c", "o"));
  const bix::COptionExplanation explanation = manager.Explain("c", "o");
  EXPECT_TRUE(explanation.isDeclared);
  EXPECT_EQ("", explanation.defaultValue);
  EXPECT_TRUE(options[0].IsDefaultValue(""));
  EXPECT_EQ(0, options[0].GetIntValue());
}

TEST_F(OptionManager, DeclarationsOfAnotherManagerJoinAndLeave) {
  bix::COptionManager other;
  const bix::COption options[] = {{"Grid", 2, "12"}, {}};
  const bix::COptionSet set = {"Modeller", options, 1};
  const bix::CCategory modeller = {"Modeller", nullptr, 0, &set};
  other.AddCategory(&modeller);
  other.AddCategory(&bix_test::kEditor);
  manager.MergeManager(other);
  EXPECT_STREQ("12", manager.GetValue("Modeller", "Grid"));
  manager.RemoveManager(other);
  EXPECT_EQ(nullptr, manager.FindCategory("Modeller"));
  EXPECT_EQ(nullptr, manager.FindOption("Editor/Display/Font"));
  EXPECT_STREQ("12", other.GetValue("Modeller", "Grid"));
}

TEST_F(OptionManager, LeavingDeclarationsTakeOnlyTheirOwnWithThem) {
  const bix::COption options[] = {{"Theme", 1, "other"}, {"Grid", 2, "12"}, {}};
  const bix::COptionSet set = {"Editor", options, 2};
  const bix::CCategory editor = {"Editor", nullptr, 0, &set};
  bix::COptionManager other;
  other.AddCategory(&editor);
  manager.RemoveManager(other);  // never joined: its records are not here
  EXPECT_STREQ("light", manager.GetValue("Editor", "Theme"));
  EXPECT_STREQ("Sans 10", manager.GetValue(kDisplay, "Font"));

  manager.MergeManager(other);
  EXPECT_STREQ("other", manager.GetValue("Editor", "Theme"));
  manager.RemoveManager(other);
  EXPECT_EQ(0, manager.FindCategory("Editor")->GetOptionSet()->GetOptionCount());
  EXPECT_STREQ("Sans 10", manager.GetValue(kDisplay, "Font")) << "what lies below stays";
}

TEST_F(OptionManager, WithoutFilesTheDefaultShowsAndEverythingIsEditable) {
  EXPECT_STREQ("Sans 10", manager.GetValue(kDisplay, "Font"));
  EXPECT_STREQ("light", manager.GetValue("Editor", "Theme"));
  EXPECT_TRUE(manager.IsEditable(kDisplay, "Font"));
  EXPECT_FALSE(manager.SetValue(kDisplay, "Font", "x"));
  EXPECT_STREQ("Sans 10", manager.GetValue(kDisplay, "Font"));
}

TEST_F(OptionManager, FirstFileThatHoldsTheOptionGivesIt) {
  Add("user.tot", "[Editor/Display]\n\"TabWidth\"=4\n");
  Add("team.tot", "[Editor/Display]\n\"TabWidth\"=3\n\"Font\"=\"Team\"\n");
  Add("company.tot", "[Editor/Display]\n\"Font\"=\"Company\"\n\"ShowRuler\"=true\n");
  EXPECT_STREQ("4", manager.GetValue(kDisplay, "TabWidth"));
  EXPECT_STREQ("Team", manager.GetValue(kDisplay, "Font"));
  EXPECT_STREQ("true", manager.GetValue(kDisplay, "ShowRuler"));
  EXPECT_TRUE(manager.IsRedefined(kDisplay, "Font"));
  EXPECT_FALSE(manager.IsRedefined("Editor/Backup", "Keep"));
}

TEST_F(OptionManagerCompat, TheLastFixedTextWins) {
  Add("user.tot", "[Editor/Display]\n\"Font\"=\"User\" (\"fixed\"=\"true\")\n");
  Add("team.tot", "[Editor/Display]\n\"Font\"=\"Team\" (\"fixed\"=\"true\")\n");
  EXPECT_STREQ("Team", manager.GetValue(kDisplay, "Font"));
  Add("company.tot", "[Editor/Display]\n\"Font\"=\"Company\" (\"fixed\"=\"true\")\n");
  EXPECT_STREQ("Company", manager.GetValue(kDisplay, "Font"));
  Add("rest.tot", "[Editor/Display]\n\"Font\"=\"Rest\"\n");
  EXPECT_STREQ("Company", manager.GetValue(kDisplay, "Font"));
}

TEST_F(OptionManagerCompat, OnlyTheExactTextTrueFixes) {
  Add("user.tot", "[Editor/Display]\n\"Font\"=\"User\"\n");
  bix::COptionFile* company = Add("company.tot", "[Editor/Display]\n\"Font\"=\"Company\"\n");
  const struct {
    const char* mark;
    bool isFixed;
  } cases[] = {{"true", true}, {"True", false}, {"1", false}, {"true ", false}, {"", false}};
  for (const auto& c : cases) {
    company->SetAttributeValue(kDisplay, "Font", "", "fixed", c.mark);
    EXPECT_STREQ(c.isFixed ? "Company" : "User", manager.GetValue(kDisplay, "Font")) << c.mark;
    EXPECT_EQ(c.isFixed, company->IsFixed(kDisplay, "Font")) << c.mark;
    EXPECT_EQ(!c.isFixed, manager.IsEditable(kDisplay, "Font")) << c.mark;
  }
  company->SetAttributeValue(kDisplay, "Font", "", "Fixed", "true");
  EXPECT_FALSE(company->IsFixed(kDisplay, "Font"));
  EXPECT_FALSE(company->IsFixed(kDisplay, "TabWidth"));
}

TEST_F(OptionManagerCompat, UndeclaredOptionIsTheEmptyText) {
  EXPECT_STREQ("", manager.GetValue(kDisplay, "Nothing"));
  EXPECT_STREQ("", manager.GetValue("Nowhere", "Nothing"));
  EXPECT_STREQ("", manager.GetValue("", "Nothing"));
  EXPECT_STREQ("", manager.GetStrValue(kDisplay, "Nothing", "default"));
  EXPECT_FALSE(manager.GetBoolValue(kDisplay, "Nothing", true));
  EXPECT_EQ(0, manager.GetIntValue(kDisplay, "Nothing", 7));
}

class SilentManager : public bix::COptionManager {
 public:
  const char* GetValue(const char*, const char*) const override { return nullptr; }
};

TEST(OptionTypedAccess, UsesItsDefaultWhenAManagerGivesNull) {
  const SilentManager manager;
  EXPECT_STREQ("default", manager.GetStrValue("a", "b", "default"));
  EXPECT_TRUE(manager.GetBoolValue("a", "b", true));
  EXPECT_EQ(7, manager.GetIntValue("a", "b", 7));
}

TEST_F(OptionManager, TypedAccessReadsAndWritesTexts) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"x\"\n");
  EXPECT_TRUE(manager.SetBoolValue(kDisplay, "ShowRuler", true));
  EXPECT_STREQ("true", user->GetValue(kDisplay, "ShowRuler"));
  EXPECT_TRUE(manager.GetBoolValue(kDisplay, "ShowRuler", false));
  EXPECT_TRUE(manager.SetIntValue(kDisplay, "TabWidth", -2147483647 - 1));
  EXPECT_STREQ("-2147483648", user->GetValue(kDisplay, "TabWidth"));
  EXPECT_EQ(-2147483647 - 1, manager.GetIntValue(kDisplay, "TabWidth", 0));
  EXPECT_TRUE(manager.SetStrValue(kDisplay, "Font", "True type"));
  EXPECT_STREQ("True type", manager.GetStrValue(kDisplay, "Font", ""));
  EXPECT_FALSE(manager.GetBoolValue(kDisplay, "Font", true));
  EXPECT_TRUE(manager.SetBoolValue(kDisplay, "Font", false));
  EXPECT_STREQ("false", manager.GetValue(kDisplay, "Font"));
}

TEST_F(OptionManager, UnderneathIsTheFirstTextBehindTheFileFixedOrNot) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"User\"\n");
  bix::COptionFile* team = Add("team.tot", "[Editor/Display]\n\"Font\"=\"Team\"\n");
  bix::COptionFile* company =
      Add("company.tot",
          "[Editor/Display]\n\"Font\"=\"Company\" (\"fixed\"=\"true\")\n\"TabWidth\"=3\n");
  EXPECT_STREQ("Team", manager.GetUnderneathValue(user, kDisplay, "Font"));
  EXPECT_STREQ("Company", manager.GetUnderneathValue(team, kDisplay, "Font"));
  EXPECT_STREQ("Sans 10", manager.GetUnderneathValue(company, kDisplay, "Font"));
  EXPECT_STREQ("3", manager.GetUnderneathValue(user, kDisplay, "TabWidth")) << "further behind";
  EXPECT_STREQ("8", manager.GetUnderneathValue(company, kDisplay, "TabWidth"));
  EXPECT_EQ(nullptr, manager.GetUnderneathValue(user, kDisplay, "Nothing"));
  bix::COptionFile stranger(&manager);
  EXPECT_STREQ("User", manager.GetUnderneathValue(&stranger, kDisplay, "Font"));
}

TEST_F(OptionManager, IsEditableUnlessALaterFileFixes) {
  Add("user.tot", "[Editor/Display]\n\"Font\"=\"User\" (\"fixed\"=\"true\")\n\"TabWidth\"=1\n");
  Add("company.tot",
      "[Editor/Display]\n\"Font\"=\"C\" (\"fixed\"=\"true\")\n\"TabWidth\"=2 (\"fixed\"=true)\n");
  EXPECT_TRUE(manager.IsEditable(kDisplay, "Font"));  // the first file fixes it itself
  EXPECT_FALSE(manager.IsEditable(kDisplay, "TabWidth"));
  EXPECT_TRUE(manager.IsEditable(kDisplay, "ShowRuler"));
}

TEST_F(OptionManagerCompat, MissingFirstFileIsNotEditable) {
  auto* user = new bix::COptionFile(&manager);  // the manager deletes it
  user->SetPathName((directory / "missing.tot").c_str());
  ASSERT_TRUE(manager.AddFile(user));
  EXPECT_FALSE(manager.IsEditable(kDisplay, "Font"));
  EXPECT_FALSE(manager.SetValue(kDisplay, "Font", "x"));
  EXPECT_STREQ("Sans 10", manager.GetValue(kDisplay, "Font"));
  user->SetPathName("");
  EXPECT_TRUE(manager.IsEditable(kDisplay, "Font"));
  EXPECT_TRUE(manager.SetValue(kDisplay, "Font", "x"));
  EXPECT_STREQ("x", manager.GetValue(kDisplay, "Font"));
}

TEST_F(OptionManager, ReadOnlyFirstFileMakesEveryOptionNonEditable) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"User\"\n");
  ASSERT_EQ(0, chmod(user->GetPathName(), 0444));
  ASSERT_EQ(0, chmod(directory.Path().c_str(), 0755));
  // The question is asked for the real user, and root may write everything.
  const pid_t child = fork();
  ASSERT_NE(-1, child);
  if (child == 0) {
    if (getuid() == 0 && setuid(65534) != 0) _exit(9);
    const bool isRefused = !manager.IsEditable(kDisplay, "TabWidth") &&
                           !manager.SetValue(kDisplay, "Font", "x") &&
                           std::strcmp("User", manager.GetValue(kDisplay, "Font")) == 0;
    _exit(isRefused ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST_F(OptionSetValue, StoresOnlyWhatDiffersFromBeneath) {
  bix::COptionFile* user = Add("user.tot", "");
  bix::COptionFile* company = Add("company.tot", "[Editor/Display]\n\"Font\"=\"Company\"\n");
  EXPECT_TRUE(manager.SetValue(kDisplay, "Font", "Company"));  // no key, equal: nothing stored
  EXPECT_EQ(nullptr, user->FindKey(kDisplay));
  EXPECT_FALSE(user->IsModified());
  EXPECT_TRUE(manager.SetValue(kDisplay, "Font", "Mine"));  // no key, different
  EXPECT_STREQ("Mine", user->GetValue(kDisplay, "Font"));
  EXPECT_TRUE(user->IsModified());
  EXPECT_STREQ("Company", company->GetValue(kDisplay, "Font"));
  EXPECT_TRUE(manager.SetValue(kDisplay, "TabWidth", "2"));  // key there, value not
  EXPECT_TRUE(manager.SetValue(kDisplay, "TabWidth", "3"));  // key and value there
  EXPECT_EQ(2, user->FindKey(kDisplay)->GetValueCount());
  EXPECT_TRUE(manager.SetValue(kDisplay, "Font", "Company"));  // equal: removed
  EXPECT_EQ(nullptr, user->GetValue(kDisplay, "Font"));
  EXPECT_STREQ("Company", manager.GetValue(kDisplay, "Font"));
  EXPECT_NE(nullptr, user->FindKey(kDisplay));
  EXPECT_TRUE(manager.SetValue(kDisplay, "TabWidth", "8"));  // the last one takes the key with it
  EXPECT_EQ(nullptr, user->FindKey(kDisplay));
  EXPECT_NE(nullptr, user->FindKey("Editor"));
  EXPECT_STREQ("8", manager.GetValue(kDisplay, "TabWidth"));
}

TEST_F(OptionSetValue, KeyThatHasSubKeysStaysWithoutItsValues) {
  bix::COptionFile* user =
      Add("user.tot", "[Editor]\n\"Theme\"=\"dark\"\n[Editor/Display]\n\"Font\"=\"x\"\n");
  EXPECT_TRUE(manager.SetValue("Editor", "Theme", "light"));  // the default
  ASSERT_NE(nullptr, user->FindKey("Editor"));
  EXPECT_EQ(0, user->FindKey("Editor")->GetValueCount());
  EXPECT_STREQ("x", manager.GetValue(kDisplay, "Font"));
  EXPECT_EQ(0, user->Save(nullptr));
  EXPECT_EQ("\n[Editor/Display]\n\n\"Font\"=\"x\" \n", Read("user.tot"));
}

TEST_F(OptionSetValue, RemovingAValueMarksTheFileAsModified) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"x\"\n\"TabWidth\"=2\n");
  EXPECT_TRUE(manager.SetValue(kDisplay, "Font", "Sans 10"));  // the key stays
  EXPECT_TRUE(user->IsModified());
  user->SetModifiedFlag(0);
  EXPECT_TRUE(manager.SetValue(kDisplay, "Font", "Sans 10"));  // not held any more
  EXPECT_FALSE(user->IsModified());
  EXPECT_TRUE(manager.SetValue(kDisplay, "TabWidth", "8"));  // the key goes
  EXPECT_TRUE(user->IsModified());
}

TEST_F(OptionSetValue, KeepsAttributesOfAnExistingValue) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"a\" (\"since\"=\"3\")\n");
  EXPECT_TRUE(manager.SetValue(kDisplay, "Font", "b"));
  EXPECT_STREQ("b", user->GetValue(kDisplay, "Font"));
  EXPECT_STREQ("3", user->GetAttributeValue(kDisplay, "Font", "since"));
}

TEST_F(OptionSetValue, ChangesNothingForAnUndeclaredOption) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"a\"\n");
  EXPECT_FALSE(manager.SetValue(kDisplay, "Nothing", "x"));
  EXPECT_FALSE(manager.SetValue("Editor/Backup", "Nothing", "x"));
  EXPECT_FALSE(manager.SetValue("Nowhere", "Nothing", "x"));
  EXPECT_EQ(nullptr, user->FindKey("Editor/Backup"));
  EXPECT_FALSE(user->IsModified());
  EXPECT_STREQ("", manager.GetValue(kDisplay, "Nothing"));
}

TEST_F(OptionSetValue, IsRefusedForAnUndeclaredOptionWhateverTheText) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"a\"\n");
  ASSERT_NE(nullptr, user->CreateKey("Editor/Backup", nullptr, nullptr));
  user->SetModifiedFlag(0);
  for (const char* text : {"x", "", static_cast<const char*>(nullptr)}) {
    SCOPED_TRACE(text != nullptr ? text : "null");
    for (const char* category : {kDisplay, "Editor/Backup", "Editor", "Nowhere", ""})
      EXPECT_FALSE(manager.SetValue(category, "Nothing", text)) << category;
    EXPECT_FALSE(manager.SetValue(nullptr, nullptr, text));
  }
  EXPECT_NE(nullptr, user->FindKey("Editor/Backup"));
  EXPECT_FALSE(user->IsModified());
}

TEST_F(OptionSetValue, TakesANameWithASlashWithAndWithoutItsKey) {
  const bix::COption options[] = {{"a/b", 1, ""}, {}};
  const bix::COptionSet set = {"Odd", options, 1};
  const bix::CCategory odd = {"Odd", nullptr, 0, &set};
  manager.AddCategory(&odd);
  bix::COptionFile* user = Add("user.tot", "");
  for (const char* text : {"x", "y"}) {  // the key is there the second time
    EXPECT_TRUE(manager.SetValue("Odd", "a/b", text));
    EXPECT_STREQ(text, manager.GetValue("Odd", "a/b"));
  }
  EXPECT_EQ(0, user->Save(nullptr));
  EXPECT_EQ("\n[Odd]\n\n\"a/b\"=\"y\" \n", Read("user.tot"));
}

TEST_F(OptionSetValue, IsRefusedForAnOptionThatALaterFileFixes) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"User\"\n");
  Add("company.tot", "[Editor/Display]\n\"Font\"=\"Company\" (\"fixed\"=\"true\")\n");
  EXPECT_FALSE(manager.SetValue(kDisplay, "Font", "Mine"));
  EXPECT_STREQ("User", user->GetValue(kDisplay, "Font"));
  EXPECT_FALSE(manager.SetValue(kDisplay, "Font", "Company"));
  EXPECT_STREQ("User", user->GetValue(kDisplay, "Font"));
}

TEST_F(OptionManagerCompat, FixedTextOfTheFirstFileStays) {
  bix::COptionFile* user =
      Add("user.tot", "[Editor/Display]\n\"Font\"=\"User\" (\"fixed\"=\"true\")\n");
  EXPECT_TRUE(manager.SetValue(kDisplay, "Font", "Sans 10"));  // the text beneath
  EXPECT_STREQ("User", user->GetValue(kDisplay, "Font"));
  EXPECT_FALSE(user->IsModified());
  EXPECT_TRUE(manager.SetValue(kDisplay, "Font", "Other"));
  EXPECT_STREQ("Other", user->GetValue(kDisplay, "Font"));
}

TEST_F(OptionManager, RefusesAFileTwiceAndASecondFileOfAPath) {
  bix::COptionFile* user = Add("user.tot", "");
  EXPECT_FALSE(manager.AddFile(user));
  bix::COptionFile same(&manager);
  same.SetPathName((directory / "./user.tot").c_str());  // one path under the normalised name
  EXPECT_FALSE(manager.AddFile(&same));
  EXPECT_EQ(1, manager.GetFileCount());
  auto* nameless = new bix::COptionFile(&manager);
  EXPECT_TRUE(manager.AddFile(nameless));
  bix::COptionFile secondNameless(&manager);
  EXPECT_FALSE(manager.AddFile(&secondNameless));
  EXPECT_EQ(user, manager.GetFile((directory / "user.tot").c_str()));
  EXPECT_EQ(nameless, manager.GetFile(""));
  EXPECT_EQ(nullptr, manager.GetFile((directory / "other.tot").c_str()));
}

TEST_F(OptionManagerChoice, LoadingAListedPathReturnsTheListedFile) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"a\"\n");
  user->SetValue(kDisplay, "Font", "changed");
  EXPECT_EQ(user, manager.Load((directory / "user.tot").c_str()));
  EXPECT_EQ(1, manager.GetFileCount());
  EXPECT_STREQ("changed", manager.GetValue(kDisplay, "Font"));
}

TEST_F(OptionManager, FileThatFailsToLoadIsNotAdded) {
  EXPECT_EQ(nullptr, manager.Load((directory / "missing.tot").c_str()));
  EXPECT_EQ(nullptr, manager.Load(directory.Path().c_str()));
  EXPECT_EQ(nullptr, manager.Load(Write("broken.tot", "[Editor]\n\"Theme\"\"dark\"").c_str()));
  EXPECT_EQ(nullptr, manager.AddOptionFile((directory / "missing.tot").c_str()));
  EXPECT_EQ(nullptr, manager.Load(""));
  EXPECT_EQ(0, manager.GetFileCount());
}

TEST_F(OptionManager, RemovedFileComesBackAsItWas) {
  const bix::SPathName path((directory / "user.tot").c_str());
  Write("user.tot", "[Editor/Display]\n\"Font\"=\"a\"\n");
  bix::COptionFile* user = manager.AddOptionFile(path);
  ASSERT_NE(nullptr, user);
  EXPECT_EQ(user, manager.AddOptionFile(path));
  EXPECT_EQ(1, manager.GetFileCount());
  user->SetValue(kDisplay, "Font", "changed");
  EXPECT_TRUE(manager.RemoveOptionFile(path));
  EXPECT_FALSE(manager.RemoveOptionFile(path));
  EXPECT_EQ(0, manager.GetFileCount());
  EXPECT_STREQ("Sans 10", manager.GetValue(kDisplay, "Font"));
  EXPECT_EQ(user, manager.AddOptionFile(path));
  EXPECT_STREQ("changed", manager.GetValue(kDisplay, "Font"));
  EXPECT_TRUE(manager.RemoveFile(user));
  EXPECT_FALSE(manager.RemoveFile(user));
}

TEST_F(OptionManager, FileThatGetsItsNameByALoadComesBackByThatName) {
  const bix::SPathName path(Write("user.tot", "[Editor/Display]\n\"Font\"=\"a\"\n").c_str());
  auto* file = new bix::COptionFile(&manager);
  ASSERT_TRUE(manager.AddFile(file));
  ASSERT_EQ(0, file->Load(path.c_str()));
  ASSERT_TRUE(file->SetValue(kDisplay, "Font", "changed"));
  EXPECT_TRUE(manager.RemoveOptionFile(path));
  EXPECT_EQ(file, manager.AddOptionFile(path));
  EXPECT_STREQ("changed", manager.GetValue(kDisplay, "Font"));
}

TEST_F(OptionManager, FileThatItsOwnerDeletesIsForgotten) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"a\"\n");
  delete user;
  EXPECT_EQ(0, manager.GetFileCount());
  EXPECT_STREQ("Sans 10", manager.GetValue(kDisplay, "Font"));
  bix::COptionFile* again = manager.AddOptionFile((directory / "user.tot").c_str());
  ASSERT_NE(nullptr, again);
  EXPECT_STREQ("a", again->GetValue(kDisplay, "Font"));
}

TEST_F(OptionManager, ReloadsListedFiles) {
  Add("user.tot", "[Editor/Display]\n\"Font\"=\"a\"\n");
  Add("company.tot", "[Editor/Display]\n\"TabWidth\"=1\n");
  Write("user.tot", "[Editor/Display]\n\"Font\"=\"b\"\n");
  EXPECT_STREQ("a", manager.GetValue(kDisplay, "Font"));
  EXPECT_EQ(0, manager.Reload((directory / "user.tot").c_str()));
  EXPECT_STREQ("b", manager.GetValue(kDisplay, "Font"));
  EXPECT_EQ(1, manager.Reload((directory / "other.tot").c_str()));
  Write("user.tot", "broken");
  Write("company.tot", "[Editor/Display]\n\"TabWidth\"=2\n");
  EXPECT_EQ(1, manager.ReloadAllFiles());  // the second file all the same
  EXPECT_STREQ("2", manager.GetValue(kDisplay, "TabWidth"));
  EXPECT_STREQ("Sans 10", manager.GetValue(kDisplay, "Font"));
}

TEST_F(OptionManager, ReloadReadsTheListedFileHoweverItsPathIsSpelled) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"a\"\n");
  const std::string backslashes = directory.Path() + "\\user.tot";
  for (const std::string& path : {directory / "user.tot", directory / "missing/../user.tot",
                                  directory / "./user.tot", backslashes}) {
    SCOPED_TRACE(path);
    ASSERT_TRUE(user->SetValue(kDisplay, "Font", "changed"));
    EXPECT_EQ(0, manager.Reload(path.c_str()));
    EXPECT_STREQ("a", manager.GetValue(kDisplay, "Font"));
  }
}

TEST_F(OptionManager, ResetEmptiesTheFirstFileAndResetAllEveryFile) {
  EXPECT_EQ(1, manager.Reset());
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"a\"\n");
  bix::COptionFile* company = Add("company.tot", "[Editor/Display]\n\"Font\"=\"b\"\n");
  EXPECT_EQ(0, manager.Reset());
  EXPECT_TRUE(user->IsModified());
  EXPECT_FALSE(company->IsModified());
  EXPECT_STREQ("b", manager.GetValue(kDisplay, "Font"));
  EXPECT_EQ(0, manager.ResetAll());
  EXPECT_TRUE(company->IsModified());
  EXPECT_STREQ("Sans 10", manager.GetValue(kDisplay, "Font"));
  EXPECT_EQ(0, manager.SaveAllFiles());
  EXPECT_EQ("", Read("user.tot"));
  EXPECT_FALSE(user->IsModified());
}

TEST_F(OptionManager, SaveAllFilesTriesEveryFileAndReturnsTheFirstFailure) {
  bix::COptionFile* user = Add("user.tot", "");
  bix::COptionFile* company = Add("company.tot", "");
  user->SetPathName((directory / "gone/user.tot").c_str());
  company->SetValue(kDisplay, "Font", "b");
  EXPECT_EQ(ENOENT, manager.SaveAllFiles());
  EXPECT_EQ("\n[Editor/Display]\n\n\"Font\"=\"b\" \n", Read("company.tot"));
}

TEST_F(OptionManager, CarriesANameAndAModeWord) {
  EXPECT_EQ(0u, manager.GetMode());
  manager.SetMode(0x80000001u);
  EXPECT_EQ(0x80000001u, manager.GetMode());
  manager.SetName("DefaultClass");
  EXPECT_STREQ("DefaultClass", manager.GetName());
  EXPECT_EQ("", manager.GetPath());
}

TEST_F(OptionExplanation, TellsWhichFileGivesTheValueAndWhy) {
  bix::COptionFile* user = Add("user.tot", "[Editor/Display]\n\"Font\"=\"User\"\n");
  Add("empty.tot", "");
  bix::COptionFile* team =
      Add("team.tot", "[Editor/Display]\n\"Font\"=\"Team\" (\"fixed\"=\"true\")\n");
  bix::COptionFile* rest = Add("rest.tot", "[Editor/Display]\n\"Font\"=\"Rest\"\n");
  const bix::COptionExplanation explanation = manager.Explain(kDisplay, "Font");
  EXPECT_EQ("Team", explanation.value);
  EXPECT_EQ(team, explanation.file);
  EXPECT_TRUE(explanation.isDeclared);
  EXPECT_EQ("Sans 10", explanation.defaultValue);
  ASSERT_EQ(4u, explanation.files.size());
  const struct {
    const bix::COptionFile* file;
    bool isHeld;
    const char* text;
    bool isFixed;
    bix::COptionExplanation::Verdict verdict;
    const char* words;
  } want[] = {
      {user, true, "User", false, bix::COptionExplanation::Overruled,
       "overruled: a file behind it fixes the option"},
      {nullptr, false, "", false, bix::COptionExplanation::NotHeld, "does not hold the option"},
      {team, true, "Team", true, bix::COptionExplanation::WinsFixed,
       "fixed: wins over the files before it"},
      {rest, true, "Rest", false, bix::COptionExplanation::Hidden,
       "hidden: a file before it holds the option"}};
  for (std::size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    const bix::COptionExplanation::FileEntry& entry = explanation.files[i];
    if (want[i].file != nullptr) {
      EXPECT_EQ(want[i].file, entry.file);
    }
    EXPECT_EQ(entry.file->GetPathName(), entry.pathName);
    EXPECT_EQ(want[i].isHeld, entry.isHeld);
    EXPECT_EQ(want[i].text, entry.text);
    EXPECT_EQ(want[i].isFixed, entry.isFixed);
    EXPECT_EQ(want[i].verdict, entry.verdict);
    EXPECT_STREQ(want[i].words, bix::COptionExplanation::GetText(entry.verdict));
  }
}

TEST_F(OptionExplanation, FirstHolderWinsWithoutAFixedOne) {
  Add("user.tot", "");
  bix::COptionFile* team = Add("team.tot", "[Editor/Display]\n\"Font\"=\"Team\"\n");
  Add("company.tot", "[Editor/Display]\n\"Font\"=\"Company\"\n");
  const bix::COptionExplanation explanation = manager.Explain(kDisplay, "Font");
  EXPECT_EQ("Team", explanation.value);
  EXPECT_EQ(team, explanation.file);
  EXPECT_EQ(bix::COptionExplanation::NotHeld, explanation.files[0].verdict);
  EXPECT_EQ(bix::COptionExplanation::WinsFirst, explanation.files[1].verdict);
  EXPECT_EQ(bix::COptionExplanation::Hidden, explanation.files[2].verdict);
  EXPECT_STREQ("the first file that holds it gives the value",
               bix::COptionExplanation::GetText(explanation.files[1].verdict));
}

TEST_F(OptionExplanation, FixedTextThatNoFileBeforeItHoldsWinsAsTheFirst) {
  bix::COptionFile* user =
      Add("user.tot", "[Editor/Display]\n\"Font\"=\"User\" (\"fixed\"=\"true\")\n");
  Add("company.tot", "[Editor/Display]\n\"Font\"=\"Company\"\n");
  const bix::COptionExplanation explanation = manager.Explain(kDisplay, "Font");
  EXPECT_EQ(user, explanation.file);
  EXPECT_TRUE(explanation.files[0].isFixed);
  EXPECT_EQ(bix::COptionExplanation::WinsFirst, explanation.files[0].verdict);
  EXPECT_EQ(bix::COptionExplanation::Hidden, explanation.files[1].verdict);
}

TEST_F(OptionExplanation, DefaultAndUndeclaredHaveNoFile) {
  Add("user.tot", "");
  const bix::COptionExplanation byDefault = manager.Explain(kDisplay, "TabWidth");
  EXPECT_EQ("8", byDefault.value);
  EXPECT_EQ(nullptr, byDefault.file);
  EXPECT_TRUE(byDefault.isDeclared);
  const bix::COptionExplanation undeclared = manager.Explain("Nowhere", "Nothing");
  EXPECT_EQ("", undeclared.value);
  EXPECT_EQ(nullptr, undeclared.file);
  EXPECT_FALSE(undeclared.isDeclared);
  EXPECT_EQ("", undeclared.defaultValue);
  ASSERT_EQ(1u, undeclared.files.size());
  EXPECT_FALSE(undeclared.files[0].isHeld);
}

TEST(OptionCategory, KeysLetGoOfACategoryThatDies) {
  auto manager = std::make_unique<bix::COptionManager>();
  manager->AddCategory(&bix_test::kEditor);
  bix::COptRgKey key("Editor");
  key.SetCategory(manager->FindCategory("Editor"));
  EXPECT_NE(nullptr, key.GetCategory());
  key.SetCategory(manager->FindCategory("Editor/Display"));  // unregisters from the first
  manager.reset();
  EXPECT_EQ(nullptr, key.GetCategory());
  EXPECT_EQ(nullptr, key.CreateKey("Display", nullptr));
  EXPECT_EQ(nullptr, key.CreateValue("Font", 0, "x", nullptr));
}

TEST(OptionCategory, InformedKeysAreDetached) {
  bix::COptionManager manager;
  manager.AddCategory(&bix_test::kEditor);
  bix::CMgrCategory* editor = manager.FindCategory("Editor");
  bix::COptRgKey first("a");
  bix::COptRgKey second("b");
  first.SetCategory(editor);
  second.SetCategory(editor);
  second.Detach();
  EXPECT_EQ(nullptr, second.GetCategory());
  EXPECT_EQ(editor, first.GetCategory());
  editor->InformAllOptRgKeys();
  EXPECT_EQ(nullptr, first.GetCategory());
}

}  // namespace
