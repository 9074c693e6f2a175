#include "bix/optionfile.h"

#include <cerrno>
#include <string>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "options/option_test_support.h"

namespace {

using bix_test::Exists;
using bix_test::OptionFixture;

constexpr const char* kDisplay = "Editor/Display";

class OptionFile : public OptionFixture {};
class OptionFileCompat : public OptionFixture {};
class OptionFileChoice : public OptionFixture {};
class OptionFileSave : public OptionFixture {};

bix::MList<bix::CRgAttribute*>* MakeList(bix::MList<bix::CRgAttribute*>& list, const char* name,
                                         const char* value) {
  list.AddTail(new bix::CRgAttribute(name, value));
  return &list;
}

// Values.

TEST(OptionValueCompat, KindsTwoAndThreeAreTypesOneAndTwo) {
  const struct {
    int kind;
    bix::CRgValue::RvType want;
  } cases[] = {{0, 0}, {1, 0}, {2, 1}, {3, 2}, {4, 0}, {-1, 0}};
  for (const auto& c : cases) {
    const bix::COption option = {"o", c.kind, ""};
    EXPECT_EQ(c.want, bix::COptRgValue(&option, "").GetType()) << c.kind;
  }
}

TEST(OptionValue, IsNamedAndTypedByItsOption) {
  const bix::COption option = {"Width", 2, "8"};
  bix::COptRgValue value(&option, "4");
  EXPECT_STREQ("Width", value.GetName());
  EXPECT_STREQ("4", value.GetValue());
  value.SetName("Other");
  value.SetType(0);
  value.SetValue("5");
  EXPECT_STREQ("Width", value.GetName());
  EXPECT_EQ(1, value.GetType());
  EXPECT_STREQ("5", value.GetValue());
  EXPECT_EQ(&option, value.GetOption());
  EXPECT_FALSE(value.IsFixed());
  value.SetAttributeValue("fixed", "true");
  EXPECT_TRUE(value.IsFixed());
  bix::COptRgValue empty(&option, nullptr);
  EXPECT_STREQ("", empty.GetValue());
}

// Keys.

TEST_F(OptionFile, KeysExistForDeclaredCategoriesOnly) {
  bix::COptionFile file(&manager);
  bix::CRgKey* root = file.GetKeyRoot();
  bix::CRgKey* editor = root->CreateKey("Editor", nullptr);
  ASSERT_NE(nullptr, editor);
  EXPECT_STREQ("Editor", editor->GetName());
  EXPECT_EQ(root, editor->GetParent());
  EXPECT_EQ(editor, root->CreateKey("Editor", nullptr));
  EXPECT_EQ(1, root->GetKeyCount());
  EXPECT_EQ(nullptr, root->CreateKey("Modeller", nullptr));
  EXPECT_EQ(nullptr, root->CreateKey("Editor/Display", nullptr));
  EXPECT_EQ(nullptr, root->CreateKey("", nullptr));
  EXPECT_EQ(nullptr, editor->CreateKey("Editor", nullptr));
  EXPECT_EQ(manager.FindCategory("Editor"), static_cast<bix::COptRgKey*>(editor)->GetCategory());
}

TEST_F(OptionFile, ValuesExistForDeclaredOptionsOnly) {
  bix::COptionFile file(&manager);
  bix::CRgKey* display = file.CreateKey(kDisplay, nullptr, nullptr);
  ASSERT_NE(nullptr, display);
  EXPECT_EQ(nullptr, display->CreateValue("Theme", 0, "x", nullptr));
  bix::CRgValue* value = display->CreateValue("TabWidth", 0, "3", nullptr);
  ASSERT_NE(nullptr, value);
  EXPECT_EQ(1, value->GetType());  // the kind decides, not the given type
  EXPECT_EQ(value, display->FindValue("TabWidth"));
  EXPECT_EQ(nullptr, display->FindValue("tabwidth"));
  EXPECT_TRUE(display->RemoveValue(value));
  EXPECT_FALSE(display->RemoveValue(value));
  EXPECT_EQ(nullptr, display->FindValue("TabWidth"));
  delete value;
}

/// Tells of its end.
class MortalAttribute : public bix::CRgAttribute {
 public:
  explicit MortalAttribute(bool& isGone) : CRgAttribute("k", "v"), m_isGone(isGone) {}
  ~MortalAttribute() override { m_isGone = true; }

 private:
  bool& m_isGone;
};

TEST_F(OptionFile, RefusedKeyDeletesItsAttributesAndRefusedValueLeavesThem) {
  bix::COptionFile file(&manager);
  bool isGone = false;
  bix::MList<bix::CRgAttribute*> gone;
  gone.AddTail(new MortalAttribute(isGone));
  EXPECT_EQ(nullptr, file.GetKeyRoot()->CreateKey("Modeller", &gone));
  EXPECT_TRUE(isGone);
  bix::CRgKey* display = file.CreateKey(kDisplay, nullptr, nullptr);
  bix::MList<bix::CRgAttribute*> kept;
  EXPECT_EQ(nullptr, display->CreateValue("Nothing", 0, "x", MakeList(kept, "k", "v")));
  EXPECT_STREQ("v", kept.GetAt(kept.GetHeadPosition())->GetValue());
  delete kept.GetAt(kept.GetHeadPosition());
  EXPECT_EQ(nullptr, file.CreateKey("Modeller", "k", "v"));
  EXPECT_NE(nullptr, file.CreateKey("Editor/Backup", "k", "v"));
}

TEST(OptionKey, AttributesReplaceThoseOfAnExistingKey) {
  bix::COptionManager manager;
  manager.AddCategory(&bix_test::kEditor);
  bix::COptionFile file(&manager);
  bix::CRgKey* key = file.CreateKey("Editor", "Kind", "Base");
  ASSERT_NE(nullptr, key);
  ASSERT_EQ(1, key->GetAttributeList()->GetCount());
  EXPECT_EQ(key, file.CreateKey("Editor", "Kind", "Style"));
  ASSERT_EQ(1, key->GetAttributeList()->GetCount());
  EXPECT_STREQ(
      "Style",
      key->GetAttributeList()->GetAt(key->GetAttributeList()->GetHeadPosition())->GetValue());
  EXPECT_EQ(key, file.CreateKey("Editor", nullptr, nullptr));
  EXPECT_EQ(1, key->GetAttributeList()->GetCount());
  bix::MList<bix::CRgAttribute*> none;
  EXPECT_EQ(key, file.GetKeyRoot()->CreateKey("Editor", &none));
  EXPECT_EQ(1, key->GetAttributeList()->GetCount());
}

TEST_F(OptionFile, RemovedAndDestroyedKeysAreDetachedAndTheCallers) {
  bix::COptionFile file(&manager);
  file.SetValue(kDisplay, "Font", "x");
  bix::CRgKey* display = file.FindKey(kDisplay);
  bix::CRgKey* editor = file.FindKey("Editor");
  file.SetModifiedFlag(0);
  file.RemoveKey(display);  // has a value, and so has everything above it contents
  EXPECT_EQ(editor, display->GetParent());
  file.DestroyKey(editor);  // has a sub-key
  EXPECT_EQ(1, editor->GetKeyCount());
  EXPECT_FALSE(file.IsModified());
  file.DestroyKey(display);
  EXPECT_TRUE(file.IsModified());
  EXPECT_EQ(nullptr, display->GetParent());
  EXPECT_EQ(0, display->GetValueCount());
  EXPECT_EQ(nullptr, file.FindKey(kDisplay));
  delete display;
  file.SetModifiedFlag(0);
  file.RemoveKey(editor);
  EXPECT_TRUE(file.IsModified());
  EXPECT_EQ(nullptr, editor->GetParent());
  EXPECT_EQ(0, file.GetKeyRoot()->GetKeyCount());
  delete editor;
}

// Loading.

TEST_F(OptionFile, LoadingKeepsWhatIsDeclared) {
  bix::COptionFile* file =
      Add("user.tot",
          "[Modeller/Grid] (K=v)\n\"Width\"=\"1\"\n"
          "[Editor/Display] (Kind=Base)\n\"Font\"=\"Mono\" (\"p\"=\"q\",\"r\"=\"s\")\n"
          "\"Unknown\"=\"x\"\n\"TabWidth\"=4\n"
          "[Editor/Spelling]\n\"Font\"=\"x\"\n"
          "[Editor]\n\"Theme\"=dark\n");
  EXPECT_EQ(1, file->GetKeyRoot()->GetKeyCount());
  EXPECT_EQ(nullptr, file->FindKey("Modeller"));
  EXPECT_EQ(nullptr, file->FindKey("Editor/Spelling"));
  bix::CRgKey* display = file->FindKey(kDisplay);
  ASSERT_NE(nullptr, display);
  EXPECT_EQ(2, display->GetValueCount());
  EXPECT_EQ(1, display->GetAttributeList()->GetCount());
  EXPECT_STREQ("Mono", file->GetValue(kDisplay, "Font"));
  EXPECT_STREQ("s", file->GetAttributeValue(kDisplay, "Font", "r"));
  EXPECT_STREQ("4", file->GetValue(kDisplay, "TabWidth"));
  EXPECT_STREQ("dark", file->GetValue("Editor", "Theme"));
}

TEST_F(OptionFileCompat, OnlyAFailedLoadClearsTheModifiedFlag) {
  bix::COptionFile file(&manager);
  EXPECT_FALSE(file.IsModified());
  file.SetModifiedFlag();
  EXPECT_EQ(0, file.Load(Write("good.tot", "[Editor]\n\"Theme\"=\"dark\"\n").c_str()));
  EXPECT_TRUE(file.IsModified());
  EXPECT_EQ(1, file.Load((directory / "missing.tot").c_str()));
  EXPECT_FALSE(file.IsModified());
  EXPECT_EQ(0, file.GetKeyRoot()->GetKeyCount());
}

TEST_F(OptionFile, ChangesMarkTheFileAsModified) {
  bix::COptionFile file(&manager);
  const auto isModifiedBy = [&file](auto change) {
    file.SetModifiedFlag(0);
    change();
    return file.IsModified();
  };
  EXPECT_TRUE(isModifiedBy([&] { EXPECT_TRUE(file.SetValue(kDisplay, "Font", "a")); }));
  EXPECT_FALSE(isModifiedBy([&] { EXPECT_TRUE(file.SetValue(kDisplay, "Font", "a")); }));
  EXPECT_FALSE(isModifiedBy([&] { EXPECT_FALSE(file.SetValue(kDisplay, "Nothing", "a")); }));
  EXPECT_TRUE(isModifiedBy(
      [&] { EXPECT_TRUE(file.SetAttributeValue(kDisplay, "Font", "", "fixed", "true")); }));
  EXPECT_FALSE(isModifiedBy(
      [&] { EXPECT_TRUE(file.SetAttributeValue(kDisplay, "Font", "", "fixed", "true")); }));
  EXPECT_FALSE(
      isModifiedBy([&] { EXPECT_FALSE(file.SetAttributeValue("Modeller", "a", "b", "c", "d")); }));
  EXPECT_FALSE(isModifiedBy([&] { file.CreateKey(kDisplay, nullptr, nullptr); }));
  EXPECT_TRUE(isModifiedBy([&] { file.CreateKey("Editor/Backup", nullptr, nullptr); }));
  EXPECT_TRUE(isModifiedBy([&] { file.CreateKey("Editor/Backup", "K", "v"); }));
  EXPECT_FALSE(isModifiedBy([&] { (void)file.GetValue(kDisplay, "Font"); }));
}

TEST_F(OptionFile, RefusedValueLeavesNoKeysOnTheWayToIt) {
  bix::COptionFile file(&manager);
  const auto countKeys = [&file] { return file.GetKeyRoot()->GetKeyCount(); };
  for (const char* path :
       {kDisplay, "Editor/Display/Missing", "Editor/Missing", "Missing/Editor"}) {
    SCOPED_TRACE(path);
    EXPECT_FALSE(file.SetValue(path, "Nothing", "x"));
    EXPECT_FALSE(file.SetAttributeValue(path, "Nothing", "x", "a", "b"));
    EXPECT_EQ(0, countKeys());
  }
  EXPECT_FALSE(file.IsModified());
  bix::CRgKey* editor = file.CreateKey("Editor", nullptr, nullptr);
  EXPECT_FALSE(file.SetValue(kDisplay, "Nothing", "x"));
  EXPECT_EQ(editor, file.FindKey("Editor")) << "it was there before";
  EXPECT_EQ(0, editor->GetKeyCount());
  EXPECT_TRUE(file.SetValue(kDisplay, "Font", "x"));
  EXPECT_FALSE(file.SetValue(kDisplay, "Nothing", "x"));
  EXPECT_STREQ("x", file.GetValue(kDisplay, "Font"));
}

TEST_F(OptionFile, StartsEmptyWithoutNameAndFlags) {
  bix::COptionFile file(&manager);
  EXPECT_STREQ("", file.GetPathName());
  EXPECT_EQ(&manager, file.GetManager());
  EXPECT_FALSE(file.IsPredefined());
  EXPECT_EQ(0, file.GetKeyRoot()->GetKeyCount());
  EXPECT_EQ(&manager, static_cast<bix::COptRgKey*>(file.GetKeyRoot())->GetCategory());
  file.SetPredefined(1);
  EXPECT_TRUE(file.IsPredefined());
  EXPECT_EQ(1, file.Save(nullptr));  // no name
  EXPECT_EQ(1, file.Save(""));
}

// Saving.

TEST_F(OptionFileSave, NewFileGetsTheWholeTree) {
  bix::COptionFile file(&manager);
  file.SetValue("Editor", "Theme", "dark");
  file.SetValue(kDisplay, "Font", "Mono");
  file.SetValue(kDisplay, "TabWidth", "4");
  file.SetAttributeValue(kDisplay, "ShowRuler", "true", "fixed", "true");
  file.CreateKey("Editor/Backup", "Kind", "Base");  // without values: no header, no attributes
  EXPECT_EQ(0, file.Save((directory / "new.tot").c_str()));
  EXPECT_FALSE(file.IsModified());
  EXPECT_STREQ("", file.GetPathName());  // a given name is not stored
  EXPECT_EQ(
      "\n[Editor]\n\n\"Theme\"=\"dark\" \n"
      "\n[Editor/Display]\n\n\"Font\"=\"Mono\" \n\"TabWidth\"=4 \n"
      "\"ShowRuler\"=true (\"fixed\"=true )\n",
      Read("new.tot"));
  EXPECT_FALSE(Exists(directory / "new.tot~"));
}

TEST_F(OptionFileSave, UndeclaredContentIsCopiedFromTheOldFile) {
  bix::COptionFile* file = Add("user.tot",
                               "\xEF\xBB\xBF# [Modeller/Grid] (Kind=Base,Color = red )\n"
                               "\"Width\"=25\n\"Snap\"=True (\"fixed\"=\"true\", \"n\"=007)\n"
                               "\"Line\"=\"two\nlines\"\n"
                               "[Editor/Display]\n\"Font\"=\"Mono\"\n\"Palette\"=\"solar\"\n"
                               "[ Add Ins /x y]\n\"Names with blanks\"=\"are, [kept]\"\n"
                               "[Editor/Spelling/Words]\n\"a\"=\"b\"\n");
  ASSERT_TRUE(manager.SetValue(kDisplay, "Font", "Serif"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ(
      "\n[Modeller/Grid] (Kind=Base, Color =red )\n\n"
      "\"Width\"=\"25\" \n\"Snap\"=\"True\" (\"fixed\"=\"true\", \"n\"=\"7\" )\n"
      "\"Line\"=\"two\nlines\" \n"
      "\n[Editor/Display]\n\n\"Font\"=\"Serif\" \n\"Palette\"=\"solar\" \n"
      "\n[Add Ins /x y]\n\n\"Names with blanks\"=\"are, [kept]\" \n"
      "\n[Editor/Spelling/Words]\n\n\"a\"=\"b\" \n",
      Read("user.tot"));
  const std::string once = Read("user.tot");
  EXPECT_EQ(0, file->Save(nullptr));  // and from then on it stays as it is
  EXPECT_EQ(once, Read("user.tot"));
  EXPECT_FALSE(Exists(directory / "user.tot~"));
}

TEST_F(OptionFileSave, OptionOfTheTreeIsWrittenInPlaceAndARemovedOneDisappears) {
  bix::COptionFile* file =
      Add("user.tot", "[Editor/Display]\n\"TabWidth\"=4\n\"Mine\"=\"x\"\n\"Font\"=\"Mono\"\n");
  ASSERT_TRUE(manager.SetValue(kDisplay, "TabWidth", "8"));  // the default: removed
  ASSERT_TRUE(manager.SetValue(kDisplay, "Font", "Serif"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor/Display]\n\n\"Mine\"=\"x\" \n\"Font\"=\"Serif\" \n", Read("user.tot"));
  ASSERT_TRUE(manager.SetValue(kDisplay, "Font", "Sans 10"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor/Display]\n\n\"Mine\"=\"x\" \n", Read("user.tot"));
}

TEST_F(OptionFileSave, NewValuesFollowAtTheEndOfTheirSectionAndNewSectionsAtTheEnd) {
  bix::COptionFile* file =
      Add("user.tot", "[Editor/Display]\n\"Mine\"=\"x\"\n[Other]\n\"y\"=\"z\"\n");
  ASSERT_TRUE(manager.SetValue("Editor/Backup", "Keep", "9"));
  ASSERT_TRUE(manager.SetValue(kDisplay, "Font", "Serif"));
  ASSERT_TRUE(manager.SetValue("Editor", "Theme", "dark"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ(
      "\n[Editor/Display]\n\n\"Mine\"=\"x\" \n\"Font\"=\"Serif\" \n"
      "\n[Other]\n\n\"y\"=\"z\" \n"
      "\n[Editor]\n\n\"Theme\"=\"dark\" \n"
      "\n[Editor/Backup]\n\n\"Keep\"=9 \n",
      Read("user.tot"));
  EXPECT_EQ(0, file->Save(nullptr));  // marks of the first save do not count in the second
  EXPECT_NE(std::string::npos, Read("user.tot").find("\"Keep\"=9 \n"));
  EXPECT_NE(std::string::npos, Read("user.tot").find("\"Font\"=\"Serif\" \n"));
}

TEST_F(OptionFileSave, DeclaredSectionWithoutValuesGetsNoHeader) {
  bix::COptionFile* file = Add("user.tot", "[Editor/Display] (K=v)\n[Editor/Backup]\n[Other]\n");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("", Read("user.tot"));
}

TEST_F(OptionFileSave, KeyAttributesAreWrittenInTheHeader) {
  bix::COptionFile* file =
      Add("user.tot", "[Editor/Display] (Kind=Base,Color=red)\n\"Font\"=\"x\"\n");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor/Display] (Kind=Base, Color=red)\n\n\"Font\"=\"x\" \n", Read("user.tot"));
  file->CreateKey("Editor/Backup", "Kind", "New");
  file->SetValue("Editor/Backup", "Keep", "1");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ(
      "\n[Editor/Display] (Kind=Base, Color=red)\n\n\"Font\"=\"x\" \n"
      "\n[Editor/Backup] (Kind=New)\n\n\"Keep\"=1 \n",
      Read("user.tot"));
}

TEST_F(OptionFileSave, AttributesAddedToASectionMeanwhileAreKept) {
  bix::COptionFile* file = Add("user.tot", "[Editor/Display]\n\"Font\"=\"x\"\n");
  Write("user.tot", "[Editor/Display] (K=v)\n\"Font\"=\"x\"\n");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor/Display] (K=v)\n\n\"Font\"=\"x\" \n", Read("user.tot"));
}

TEST_F(OptionFileSave, EmptyOldFileIsFilled) {
  bix::COptionFile* file = Add("user.tot", " \n");
  file->SetValue("Editor", "Theme", "dark");
  EXPECT_EQ(0, file->SaveAs(nullptr));
  EXPECT_EQ("\n[Editor]\n\n\"Theme\"=\"dark\" \n", Read("user.tot"));
}

TEST_F(OptionFileSave, SaveAsAnotherExistingFileKeepsWhatThatOneHolds) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\n\"Theme\"=\"dark\"\n[A]\n\"a\"=\"1\"\n");
  Write("other.tot", "[B]\n\"b\"=\"2\"\n[Editor]\n\"Theme\"=\"blue\"\n");
  EXPECT_EQ(0, file->SaveAs((directory / "other.tot").c_str()));
  EXPECT_EQ("\n[B]\n\n\"b\"=\"2\" \n\n[Editor]\n\n\"Theme\"=\"dark\" \n", Read("other.tot"));
  EXPECT_EQ(directory / "user.tot", file->GetPathName());
}

TEST_F(OptionFileCompat, SaveOverAnUnparsableTargetEmptiesTheTree) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\n\"Theme\"=\"dark\"\n");
  file->SetModifiedFlag();
  Write("user.tot", "[Editor]\n\"Theme\"=\"dark\"\n[A\"\n]x");
  EXPECT_EQ(1, file->Save(nullptr));
  EXPECT_EQ("[Editor]\n\"Theme\"=\"dark\"\n[A\"\n]x", Read("user.tot"));
  EXPECT_FALSE(Exists(directory / "user.tot~"));
  EXPECT_EQ(0, file->GetKeyRoot()->GetKeyCount());
  EXPECT_EQ(nullptr, bix::CIncrSaveContext::GetCurrent());
  EXPECT_EQ(0, file->Load(Write("user.tot", "[Editor]\n\"Theme\"=\"blue\"\n").c_str()));
  EXPECT_STREQ("blue", file->GetValue("Editor", "Theme"));  // keys build again
}

TEST_F(OptionFileCompat, SaveOverAnUnreadableTargetEmptiesTheTree) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\n\"Theme\"=\"dark\"\n");
  file->SetModifiedFlag();
  ASSERT_EQ(0, chmod(directory.Path().c_str(), 0777));
  // It may be written, and read only by root.
  ASSERT_EQ(0, chmod(file->GetPathName(), 0222));
  const pid_t child = fork();
  ASSERT_NE(-1, child);
  if (child == 0) {
    if (getuid() == 0 && setuid(65534) != 0) _exit(9);
    const bool isRefused = file->Save(nullptr) == 1 && file->IsModified() &&
                           file->GetKeyRoot()->GetKeyCount() == 0 &&
                           file->GetLoadError().errorNumber == EACCES;
    _exit(isRefused ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(0, WEXITSTATUS(status));
  ASSERT_EQ(0, chmod(file->GetPathName(), 0644));
  EXPECT_EQ("[Editor]\n\"Theme\"=\"dark\"\n", Read("user.tot"));
  EXPECT_FALSE(Exists(directory / "user.tot~"));
}

TEST_F(OptionFileSave, DirectoryInPlaceOfTheFileFailsAndStays) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\n\"Theme\"=\"dark\"\n");
  ASSERT_EQ(0, unlink(file->GetPathName()));
  ASSERT_EQ(0, mkdir(file->GetPathName(), 0777));
  EXPECT_NE(0, file->Save(nullptr));
  EXPECT_TRUE(bix_test::IsDirectory(directory / "user.tot"));
  EXPECT_FALSE(Exists(directory / "user.tot~"));
}

TEST_F(OptionFileSave, TargetThatMayNotBeWrittenIsLeftAlone) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\n\"Theme\"=\"dark\"\n");
  file->SetValue("Editor", "Theme", "blue");
  ASSERT_EQ(0, chmod(directory.Path().c_str(), 0777));
  for (const mode_t mode : {0444, 0000}) {
    SCOPED_TRACE(mode);
    ASSERT_EQ(0, chmod(file->GetPathName(), mode));
    const pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
      if (getuid() == 0 && setuid(65534) != 0) _exit(9);
      const bool isRefused = file->Save(nullptr) == EACCES && file->IsModified() &&
                             std::string("blue") == file->GetValue("Editor", "Theme");
      _exit(isRefused ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    ASSERT_EQ(0, chmod(file->GetPathName(), 0644));
    EXPECT_EQ("[Editor]\n\"Theme\"=\"dark\"\n", Read("user.tot"));
    EXPECT_FALSE(Exists(directory / "user.tot~"));
  }
}

TEST_F(OptionFileSave, VanishedDirectoryGivesItsErrorAndKeepsTheTree) {
  bix::COptionFile file(&manager);
  file.SetValue("Editor", "Theme", "dark");
  EXPECT_EQ(ENOENT, file.Save((directory / "gone/user.tot").c_str()));
  EXPECT_TRUE(file.IsModified());
  EXPECT_STREQ("dark", file.GetValue("Editor", "Theme"));
}

// What is saved can be read back.

TEST_F(OptionFileChoice, BareTextThatWouldNotReadBackIsQuoted) {
  const struct {
    const char* text;
    const char* want;
  } cases[] = {{"-5", "\"-5\""},   {"", "\"\""},       {"1.5", "\"1.5\""},
               {"a b", "\"a b\""}, {"007", "\"007\""}, {"4294967295", "\"4294967295\""},
               {"12", "12"},       {"false", "false"}, {"word", "word"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    Write("user.tot", "[Editor]\n\"Theme\"=\"x\"\n");
    bix::COptionFile file(&manager);
    file.SetValue(kDisplay, "TabWidth", c.text);
    ASSERT_EQ(0, file.Save((directory / "user.tot").c_str()));
    EXPECT_EQ("\n[Editor/Display]\n\n\"TabWidth\"=" + std::string(c.want) + " \n",
              Read("user.tot"));
    bix::COptionFile again(&manager);
    ASSERT_EQ(0, again.Load((directory / "user.tot").c_str()));
    EXPECT_STREQ(c.text, again.GetValue(kDisplay, "TabWidth"));
    ASSERT_EQ(0, unlink((directory / "user.tot").c_str()));
    ASSERT_EQ(0, file.Save((directory / "user.tot").c_str()));  // the whole tree alike
    EXPECT_EQ("\n[Editor/Display]\n\n\"TabWidth\"=" + std::string(c.want) + " \n",
              Read("user.tot"));
  }
}

TEST_F(OptionFileChoice, ValueAttributesAreSeparatedByCommas) {
  bix::COptionFile* file = Add(
      "user.tot", "[Editor/Display]\n\"Font\"=\"x\" (\"fixed\"=\"true\",\"by\"=\"me\",\"n\"=1)\n");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ(
      "\n[Editor/Display]\n\n\"Font\"=\"x\" (\"fixed\"=\"true\", \"by\"=\"me\", \"n\"=\"1\" )\n",
      Read("user.tot"));
  file->SetAttributeValue(kDisplay, "TabWidth", "4", "a", "-1");
  file->SetAttributeValue(kDisplay, "TabWidth", "4", "b", "word");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_NE(std::string::npos,
            Read("user.tot").find("\"TabWidth\"=4 (\"a\"=\"-1\", \"b\"=word )\n"));
  bix::COptionFile again(&manager);
  ASSERT_EQ(0, again.Load(file->GetPathName()));
  EXPECT_STREQ("me", again.GetAttributeValue(kDisplay, "Font", "by"));
  EXPECT_STREQ("-1", again.GetAttributeValue(kDisplay, "TabWidth", "a"));
}

TEST_F(OptionFileChoice, TreeThatCannotBeWrittenReadablyKeepsTheOldFile) {
  const char* const texts[] = {"a\"b", "a\" (\"x\"=\"y", "\"", "a\"\n[B]\n\"c\"=\"d"};
  for (const char* text : texts) {
    SCOPED_TRACE(text);
    bix::COptionFile file(&manager);
    file.SetPathName(Write("user.tot", "[Other]\n\"a\"=\"b\"\n").c_str());
    file.SetValue("Editor", "Theme", text);
    EXPECT_EQ(1, file.Save(nullptr));
    EXPECT_EQ("[Other]\n\"a\"=\"b\"\n", Read("user.tot"));
    EXPECT_FALSE(Exists(directory / "user.tot~"));
    EXPECT_TRUE(file.IsModified());
    EXPECT_STREQ(text, file.GetValue("Editor", "Theme"));
    EXPECT_EQ(1, file.Save((directory / "new.tot").c_str()));
    EXPECT_FALSE(Exists(directory / "new.tot"));
    EXPECT_FALSE(Exists(directory / "new.tot~"));
  }
}

TEST_F(OptionFileChoice, CategoryNameThatCannotBeWrittenReadablyKeepsTheOldFile) {
  const bix::COption options[] = {{"o", 1, ""}, {}};
  const bix::COptionSet set = {"s", options, 1};
  for (const char* name : {"a]b", " a", "a]"}) {
    SCOPED_TRACE(name);
    const bix::CCategory category = {name, nullptr, 0, &set};
    bix::COptionManager own;
    own.AddCategory(&category);
    bix::COptionFile file(&own);
    ASSERT_TRUE(file.SetValue(name, "o", "x"));
    Write("user.tot", "[Other]\n\"a\"=\"b\"\n");
    EXPECT_EQ(1, file.Save((directory / "user.tot").c_str()));
    EXPECT_EQ("[Other]\n\"a\"=\"b\"\n", Read("user.tot"));
  }
}

TEST_F(OptionFileChoice, SectionAttributeThatCannotBeWrittenReadablyKeepsTheOldFile) {
  const struct {
    const char* name;
    const char* value;
    int want;
  } cases[] = {{"K", "a,b", 1}, {"K", "a)b", 1}, {"K", "a=b", 1},  {"K", " a", 1},
               {"K", "", 1},    {"", "v", 1},    {"K,L", "v", 1},  {"K=", "v", 1},
               {"K", "a ", 0},  {"K", "a b", 0}, {"K", "a\nb", 0}, {"K", "\"a\"", 0},
               {"K]", "v", 0},  {"K(", "v]", 0}, {"K ", "[v", 0},  {"\"", "/", 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.name) + "=" + c.value);
    bix::COptionFile file(&manager);
    ASSERT_NE(nullptr, file.CreateKey("Editor", c.name, c.value));
    ASSERT_TRUE(file.SetValue("Editor", "Theme", "x"));
    Write("user.tot", "[Other]\n\"a\"=\"b\"\n");
    EXPECT_EQ(c.want, file.Save((directory / "user.tot").c_str()));
    bix::COptionFile again(&manager);
    ASSERT_EQ(0, again.Load((directory / "user.tot").c_str()));
    if (c.want != 0) {
      EXPECT_EQ("[Other]\n\"a\"=\"b\"\n", Read("user.tot"));
      continue;
    }
    const bix::MList<bix::CRgAttribute*>& read = *again.FindKey("Editor")->GetAttributeList();
    ASSERT_EQ(1, read.GetCount());
    EXPECT_STREQ(c.name, read.GetAt(read.GetHeadPosition())->GetName());
    EXPECT_STREQ(c.value, read.GetAt(read.GetHeadPosition())->GetValue());
  }
}

TEST_F(OptionFileChoice, KeyWithASlashInItsNameKeepsTheOldFile) {
  bix::COptionFile file(&manager);
  auto* key = new bix::COptRgKey("Editor/Display");
  key->SetCategory(manager.FindCategory(kDisplay));
  ASSERT_TRUE(file.GetKeyRoot()->AddKey(key));
  ASSERT_NE(nullptr, key->CreateValue("Font", 0, "x", nullptr));
  Write("user.tot", "[Other]\n\"a\"=\"b\"\n");
  EXPECT_EQ(1, file.Save((directory / "user.tot").c_str()));
  EXPECT_EQ("[Other]\n\"a\"=\"b\"\n", Read("user.tot"));
  EXPECT_EQ(1, file.Save((directory / "new.tot").c_str())) << "it would be read as two keys";
  EXPECT_FALSE(Exists(directory / "new.tot"));
}

TEST_F(OptionFileChoice, UndeclaredSectionWithAttributesKeepsItsHeader) {
  bix::COptionFile* file = Add("user.tot", "[Other] (K=v, L=w)\n[Empty]\n[Editor]\n\"Mine\"=1\n");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Other] (K=v, L=w)\n\n\n[Editor]\n\n\"Mine\"=\"1\" \n", Read("user.tot"));
}

TEST_F(OptionFileChoice, DuplicateLinesOfAnOptionBecomeOne) {
  bix::COptionFile* file =
      Add("user.tot",
          "[Editor]\n\"Theme\"=\"one\"\n\"x\"=\"1\"\n\"Theme\"=\"two\"\n"
          "[Other]\n\"y\"=\"2\"\n[Editor]\n\"Theme\"=\"three\"\n\"x\"=\"3\"\n");
  EXPECT_STREQ("three", file->GetValue("Editor", "Theme"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ(
      "\n[Editor]\n\n\"Theme\"=\"three\" \n\"x\"=\"1\" \n"
      "\n[Other]\n\n\"y\"=\"2\" \n\n[Editor]\n\n\"x\"=\"3\" \n",
      Read("user.tot"));
  bix::COptionFile again(&manager);
  ASSERT_EQ(0, again.Load(file->GetPathName()));
  EXPECT_STREQ("three", again.GetValue("Editor", "Theme"));
}

TEST_F(OptionFileChoice, BytesBehindAZeroByteAreSetAside) {
  const std::string old("[Editor]\n\"Theme\"=\"dark\"\n\0[Other]\n\"a\"=\"b\"\n", 41);
  bix::COptionFile* file = Add("user.tot", old);
  file->SetValue("Editor", "Theme", "blue");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor]\n\n\"Theme\"=\"blue\" \n", Read("user.tot"));
  EXPECT_EQ(old, Read("user.tot.bad-1"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_FALSE(Exists(directory / "user.tot.bad-2"));
}

TEST_F(OptionFileChoice, OptionAddedByAnotherProcessSinceTheLoadDisappears) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\n\"Theme\"=\"dark\"\n");
  Write("user.tot",
        "[Editor]\n\"Theme\"=\"dark\"\n[Editor/Display]\n\"Font\"=\"x\"\n\"u\"=\"v\"\n");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor]\n\n\"Theme\"=\"dark\" \n\n[Editor/Display]\n\n\"u\"=\"v\" \n",
            Read("user.tot"));
}

TEST_F(OptionFileSave, SymbolicLinkAndModeAreKept) {
  Write("real.tot", "[Other]\n\"a\"=\"b\"\n");
  ASSERT_EQ(0, chmod((directory / "real.tot").c_str(), 0640));
  ASSERT_EQ(0, symlink("real.tot", (directory / "user.tot").c_str()));
  bix::COptionFile* file = manager.Load((directory / "user.tot").c_str());
  ASSERT_NE(nullptr, file);
  file->SetValue("Editor", "Theme", "dark");
  EXPECT_EQ(0, file->Save(nullptr));
  struct stat status = {};
  ASSERT_EQ(0, lstat((directory / "user.tot").c_str(), &status));
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  ASSERT_EQ(0, stat((directory / "real.tot").c_str(), &status));
  EXPECT_EQ(0640u, status.st_mode & 07777u);
  EXPECT_EQ("\n[Other]\n\n\"a\"=\"b\" \n\n[Editor]\n\n\"Theme\"=\"dark\" \n", Read("real.tot"));
}

}  // namespace
