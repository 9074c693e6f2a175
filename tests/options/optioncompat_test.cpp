// What looks odd in the look-up, the stack and the saving of options, and stays.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "options/option_test_support.h"

namespace bix_test {
namespace {

TEST(OptionTypesCompat, OnlyALowerCaseTIsTrue) {
  const struct {
    const char* text;
    bool want;
  } cases[] = {{"true", true}, {"t", true},    {"tomato", true}, {"True", false}, {"TRUE", false},
               {"1", false},   {"yes", false}, {" true", false}, {"", false},     {"false", false}};
  bix::COptionManager manager;
  manager.AddCategory(&kEditor);
  auto* file = new bix::COptionFile(&manager);
  ASSERT_TRUE(manager.AddFile(file));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.want, (bix::COption{"o", 1, c.text}).GetBoolValue());
    ASSERT_TRUE(file->SetValue("Editor", "Theme", c.text));
    EXPECT_EQ(c.want, manager.GetBoolValue("Editor", "Theme", !c.want));
  }
}

class NullManager : public bix::COptionManager {
 public:
  const char* GetValue(const char*, const char*) const override { return nullptr; }
};

TEST(OptionTypesChoice, WithoutADefaultNullIsTheEmptyValue) {
  const NullManager manager;
  EXPECT_STREQ("", manager.GetStrValue("a", "b"));
  EXPECT_FALSE(manager.GetBoolValue("a", "b"));
  EXPECT_EQ(0, manager.GetIntValue("a", "b"));
}

TEST(OptionLookUpCompat, ASlashInTheNameBelongsToThePathOfTheDeclaration) {
  bix::COptionManager manager;
  manager.AddCategory(&kEditor);
  EXPECT_STREQ("Sans 10", manager.GetValue("Editor", "Display/Font"));
  EXPECT_STREQ("Sans 10", manager.GetUnderneathValue(nullptr, "Editor", "Display/Font"));
  EXPECT_STREQ("", manager.GetValue("", "Editor/Theme")) << "the path begins with an empty name";
  EXPECT_STREQ("light", manager.GetValue("Editor", "Theme"));
  auto* file = new bix::COptionFile(&manager);
  ASSERT_TRUE(manager.AddFile(file));
  EXPECT_TRUE(file->SetValue("Editor/Display", "Font", "Mono"));
  EXPECT_STREQ("Sans 10", manager.GetValue("Editor", "Display/Font"))
      << "no value of the file has this name";
}

constexpr char kFixedA[] = "[Editor]\"Theme\"=\"a\" (\"fixed\"=\"true\")";
constexpr char kB[] = "[Editor]\"Theme\"=\"b\"";
constexpr char kFixedC[] = "[Editor]\"Theme\"=\"c\" (\"fixed\"=\"true\")";

class OptionLookUpChoice : public OptionFixture {};
class OptionStackCompat : public OptionFixture {};
class OptionStackChoice : public OptionFixture {};
class OptionSaveCompat : public OptionFixture {};

TEST(OptionLookUpCompat, TheUnderneathTextIgnoresWhatIsFixed) {
  const TempDirectory directory;
  WriteWholeFile(directory / "a", kFixedA);
  WriteWholeFile(directory / "b", kB);
  WriteWholeFile(directory / "c", kFixedC);
  bix::COptionManager manager;
  manager.AddCategory(&kEditor);
  const bix::COptionFile* a = manager.Load((directory / "a").c_str());
  const bix::COptionFile* b = manager.Load((directory / "b").c_str());
  const bix::COptionFile* c = manager.Load((directory / "c").c_str());
  EXPECT_STREQ("b", manager.GetUnderneathValue(a, "Editor", "Theme"));
  EXPECT_STREQ("c", manager.GetUnderneathValue(b, "Editor", "Theme"));
  EXPECT_STREQ("light", manager.GetUnderneathValue(c, "Editor", "Theme"));
  EXPECT_EQ(nullptr, manager.GetUnderneathValue(c, "Editor", "Nothing"));
}

TEST(OptionLookUpCompat, FixedInTheFirstFileIsEditable) {
  const TempDirectory directory;
  WriteWholeFile(directory / "a", kFixedA);
  WriteWholeFile(directory / "c", kFixedC);
  bix::COptionManager manager;
  manager.AddCategory(&kEditor);
  const bix::COptionFile* a = manager.Load((directory / "a").c_str());
  manager.Load((directory / "c").c_str());
  EXPECT_TRUE(manager.IsEditable("Editor", "Theme"));
  manager.SetValue("Editor", "Theme", "new");
  EXPECT_STREQ("new", a->GetValue("Editor", "Theme"));
  EXPECT_STREQ("c", manager.GetValue("Editor", "Theme")) << "the change does not show";
}

TEST_F(OptionLookUpChoice, AllFilesLieBeneathOneThatIsNotListed) {
  Add("a", kFixedA);
  Add("b", kB);
  const bix::COptionFile other(&manager);
  EXPECT_STREQ("a", manager.GetUnderneathValue(&other, "Editor", "Theme"));
  EXPECT_STREQ("a", manager.GetUnderneathValue(nullptr, "Editor", "Theme"));
}

TEST_F(OptionStackCompat, ASecondFileWithoutANameIsRefused) {
  EXPECT_TRUE(manager.AddFile(new bix::COptionFile(&manager)));
  bix::COptionFile second(&manager);
  EXPECT_FALSE(manager.AddFile(&second));
  EXPECT_FALSE(manager.AddFile(nullptr));
  EXPECT_EQ(1, manager.GetFileCount());
}

TEST_F(OptionStackChoice, ReloadingKeepsAFileWithoutAName) {
  auto* nameless = new bix::COptionFile(&manager);
  ASSERT_TRUE(manager.AddFile(nameless));
  ASSERT_TRUE(nameless->SetValue("Editor", "Theme", "kept"));
  bix::COptionFile* named = Add("b", kB);
  ASSERT_TRUE(named->SetValue("Editor", "Theme", "changed"));
  EXPECT_EQ(0, manager.ReloadAllFiles());
  EXPECT_STREQ("kept", nameless->GetValue("Editor", "Theme"));
  EXPECT_STREQ("b", named->GetValue("Editor", "Theme"));
  EXPECT_EQ(1, manager.Reload(""));
  EXPECT_EQ(1, manager.Reload(nullptr));
  EXPECT_STREQ("kept", nameless->GetValue("Editor", "Theme"));
  EXPECT_TRUE(nameless->IsModified());
}

TEST_F(OptionStackChoice, ResetChangesNothingOnTheDisk) {
  bix::COptionFile* file = Add("b", kB);
  EXPECT_EQ(0, manager.Reset());
  EXPECT_STREQ("light", manager.GetValue("Editor", "Theme"));
  EXPECT_EQ(kB, Read("b"));
  EXPECT_TRUE(file->IsModified());
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("", Read("b"));
}

TEST_F(OptionSaveCompat, FirstSaveWritesNoKeyAttributesAndTheNextOneDoes) {
  bix::COptionFile file(&manager);
  ASSERT_NE(nullptr, file.CreateKey("Editor", "Kind", "Base"));
  ASSERT_TRUE(file.SetValue("Editor", "Theme", "dark"));
  file.SetPathName((directory / "new.tot").c_str());
  EXPECT_EQ(0, file.Save(nullptr));
  EXPECT_EQ("\n[Editor]\n\n\"Theme\"=\"dark\" \n", Read("new.tot"));
  EXPECT_EQ(0, file.Save(nullptr));
  EXPECT_EQ("\n[Editor] (Kind=Base)\n\n\"Theme\"=\"dark\" \n", Read("new.tot"));
}

TEST_F(OptionSaveCompat, AGivenNameDoesNotBecomeTheFilesName) {
  bix::COptionFile file(&manager);
  ASSERT_TRUE(file.SetValue("Editor", "Theme", "dark"));
  EXPECT_EQ(1, file.Save(nullptr));
  EXPECT_EQ(1, file.Save(""));
  EXPECT_EQ(0, file.Save((directory / "given.tot").c_str()));
  EXPECT_STREQ("", file.GetPathName());
  EXPECT_EQ(1, file.Save(nullptr)) << "there is no name still";
  EXPECT_EQ(0, file.SaveAs((directory / "given.tot").c_str()));
  EXPECT_STREQ("", file.GetPathName());
}

}  // namespace
}  // namespace bix_test
