// Who owns what, in which order things may go, and what is found afterwards.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "options/option_test_support.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

std::vector<std::string> ListedNames(const bix::COptionManager& manager) {
  std::vector<std::string> names;
  for (void* position = manager.GetFirstFilePosition(); position != nullptr;)
    names.push_back(manager.GetNextFile(position)->GetPathName());
  return names;
}

bix::COptionFile* NewFile(bix::COptionManager* manager, const char* name) {
  auto* file = new bix::COptionFile(manager);
  file->SetPathName(name);
  return file;
}

TEST(OptionLifetime, FileOutlivesItsManager) {
  auto manager = std::make_unique<bix::COptionManager>();
  manager->AddCategory(&kEditor);
  bix::COptionFile file(manager.get());
  EXPECT_TRUE(file.SetValue("Editor", "Theme", "dark"));
  EXPECT_EQ(manager.get(), file.GetManager());
  manager.reset();
  EXPECT_EQ(nullptr, file.GetManager());
  EXPECT_STREQ("dark", file.GetValue("Editor", "Theme"));
  EXPECT_FALSE(file.SetValue("Editor/Display", "Font", "Mono")) << "nothing is declared any more";
}

TEST(OptionLifetime, FileWithoutAManagerDeclaresNothing) {
  bix::COptionFile file(nullptr);
  EXPECT_EQ(nullptr, file.GetManager());
  EXPECT_FALSE(file.SetValue("Editor", "Theme", "dark"));
  EXPECT_EQ(nullptr, file.CreateKey("Editor", nullptr, nullptr));
}

TEST(OptionLifetime, FileMadeForAnotherManagerGoesWithTheOneThatListsIt) {
  bix::COptionManager declaring;
  declaring.AddCategory(&kEditor);
  {
    bix::COptionManager listing;
    listing.AddCategory(&kEditor);
    bix::COptionFile* file = NewFile(&declaring, "");
    file->SetValue("Editor", "Theme", "dark");
    EXPECT_TRUE(listing.AddFile(file));
    bix::COptionFile* orphan = NewFile(nullptr, "other");
    EXPECT_TRUE(listing.AddFile(orphan));
    EXPECT_STREQ("dark", listing.GetValue("Editor", "Theme"));
  }
  EXPECT_STREQ("light", declaring.GetValue("Editor", "Theme"));
}

TEST(OptionLifetime, FileOfTwoManagersBelongsToTheFirst) {
  auto first = std::make_unique<bix::COptionManager>();
  bix::COptionManager second;
  bix::COptionFile* file = NewFile(first.get(), "user.tot");
  EXPECT_TRUE(first->AddFile(file));
  EXPECT_TRUE(second.AddFile(file));
  first.reset();
  EXPECT_EQ(std::vector<std::string>(), ListedNames(second));
  EXPECT_EQ(nullptr, second.GetFile(bix::SPathName("user.tot")));
}

TEST(OptionLifetime, FileOfTwoManagersStaysWhenTheSecondGoes) {
  bix::COptionManager first;
  {
    bix::COptionManager second;
    bix::COptionFile* file = NewFile(&first, "user.tot");
    EXPECT_TRUE(first.AddFile(file));
    EXPECT_TRUE(second.AddFile(file));
  }
  EXPECT_EQ(std::vector<std::string>{"user.tot"}, ListedNames(first));
}

TEST(OptionLifetime, FileThatIsDeletedByHandLeavesEveryManager) {
  bix::COptionManager first;
  bix::COptionManager second;
  bix::COptionFile* file = NewFile(&first, "user.tot");
  EXPECT_TRUE(first.AddFile(file));
  EXPECT_TRUE(second.AddFile(file));
  delete file;
  EXPECT_EQ(0, first.GetFileCount());
  EXPECT_EQ(0, second.GetFileCount());
  EXPECT_EQ(nullptr, first.AddOptionFile(bix::SPathName("user.tot")));
}

using OptionLifetimeFiles = OptionFixture;

TEST_F(OptionLifetimeFiles, RenamedFileIsFoundUnderItsNewName) {
  bix::COptionFile* file = Add("old.tot", "[Editor]\n\"Theme\"=\"dark\"\n");
  Write("new.tot", "[Editor]\n\"Theme\"=\"another\"\n");
  file->SetPathName((directory / "new.tot").c_str());
  manager.RemoveAllFiles();
  EXPECT_EQ(file, manager.AddOptionFile(bix::SPathName((directory / "new.tot").c_str())))
      << "the manager has had it";
  bix::COptionFile* old = manager.AddOptionFile(bix::SPathName((directory / "old.tot").c_str()));
  ASSERT_NE(nullptr, old);
  EXPECT_NE(file, old) << "the old name stands for the file on the disk again";
  EXPECT_EQ(2, manager.GetFileCount());
}

TEST_F(OptionLifetimeFiles, CategoryOfAnotherManagerMayLeaveBeforeItsKeys) {
  static const bix::COption options[] = {{"Size", 2, "1"}, {}};
  static const bix::COptionSet set = {"Extra", options, 1};
  static const bix::CCategory extra = {"Extra", nullptr, 0, &set};
  bix::COptionManager other;
  other.AddCategory(&extra);
  manager.MergeManager(other);
  bix::COptionFile* file = Add("user.tot", "[Extra]\n\"Size\"=\"7\"\n\"Other\"=\"x\"\n");
  EXPECT_TRUE(file->SetValue("Extra", "Size", "8"));
  manager.RemoveManager(other);
  EXPECT_EQ(nullptr, manager.FindCategory("Extra"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Extra]\n\n\"Size\"=8 \n\"Other\"=\"x\" \n", Read("user.tot"))
      << "what is in the tree is saved, and in its place";
}

TEST(OptionDeclarations, AllZeroRecordEndsTheOptionsOfASetThatCountsMore) {
  const bix::COption options[] = {{"first", 1, "1"}, {}, {"behind", 1, "2"}};
  const bix::COptionSet set = {"Set", options, 3};
  bix::CMgrOptionSet merged("Set");
  merged.MergeOptions(&set);
  EXPECT_EQ(1, merged.GetOptionCount());
  EXPECT_EQ(&options[0], merged.FindOption("first"));
  merged.UnMergeOptions(&set);
  EXPECT_EQ(0, merged.GetOptionCount());
}

TEST(OptionKey, RemovingAHiddenValueLeavesTheNewerOneFound) {
  bix::COptionManager manager;
  manager.AddCategory(&kEditor);
  bix::COptionFile file(&manager);
  bix::CRgKey* key = file.CreateKey("Editor", nullptr, nullptr);
  bix::CRgValue* older = key->CreateValue("Theme", 0, "older", nullptr);
  bix::CRgValue* newer = key->CreateValue("Theme", 0, "newer", nullptr);
  EXPECT_TRUE(key->RemoveValue(older));
  delete older;
  EXPECT_EQ(newer, key->FindValue("Theme"));
  EXPECT_TRUE(key->RemoveValue(newer));
  delete newer;
  EXPECT_EQ(nullptr, key->FindValue("Theme"));
}

TEST(OptionKey, RemovingAForeignKeyOfTheSameNameLeavesTheOwnOneFound) {
  bix::COptionManager manager;
  manager.AddCategory(&kEditor);
  bix::COptionFile file(&manager);
  bix::CRgKey* key = file.CreateKey("Editor", nullptr, nullptr);
  bix::COptRgKey foreign("Editor");
  EXPECT_FALSE(file.GetKeyRoot()->RemoveKey(&foreign));
  EXPECT_EQ(key, file.FindKey("Editor"));
}

using OptionDuplicates = OptionFixture;

TEST_F(OptionDuplicates, HiddenValuesDoNotComeToLightWhenTheFoundOneIsRemoved) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\n\"Theme\"=\"first\"\n\"Theme\"=\"second\"\n");
  EXPECT_STREQ("second", manager.GetValue("Editor", "Theme"));
  manager.SetValue("Editor", "Theme", "light");
  EXPECT_EQ(nullptr, file->FindKey("Editor")) << "no value is left";
  EXPECT_EQ(0, file->Save((directory / "new.tot").c_str()));
  EXPECT_EQ("", Read("new.tot"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("", Read("user.tot"));
}

TEST_F(OptionDuplicates, TheFoundValueIsTheFoundOneAfterEverySaveAndLoad) {
  const std::string lines = "[Editor]\n\"Theme\"=\"first\"\n\"Theme\"=\"second\"\n";
  bix::COptionFile* file = Add("user.tot", lines + lines + "[Editor/Display]\n" + lines);
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(0, file->Save(nullptr));
    EXPECT_EQ(0, manager.ReloadAllFiles());
    EXPECT_STREQ("second", manager.GetValue("Editor", "Theme"));
  }
}

/// A key of a host's own class.
class HostKey : public bix::COptRgKey {
 public:
  using COptRgKey::COptRgKey;
  bix::CRgKey* FindKey(const char* name) const override {
    return bix::COptRgKey::FindKey(std::string(name) == "Alias" ? "Display" : name);
  }
};

using OptionHostKeys = OptionFixture;

TEST_F(OptionHostKeys, KeysOfAHostsOwnClassAreAskedByTheirOwnLookUps) {
  bix::COptionFile* file = Add("user.tot", "");
  auto* key = new HostKey("Editor");
  key->SetCategory(manager.FindCategory("Editor"));
  EXPECT_TRUE(file->GetKeyRoot()->AddKey(key));
  EXPECT_TRUE(file->SetValue("Editor/Display", "Font", "Mono"));
  EXPECT_TRUE(file->SetValue("Editor", "Theme", "dark"));
  EXPECT_STREQ("Mono", manager.GetValue("Editor/Display", "Font"));
  EXPECT_STREQ("Mono", manager.GetValue("Editor/Alias", "Font"));
  EXPECT_STREQ("dark", manager.GetValue("Editor", "Theme"));
  EXPECT_TRUE(manager.IsRedefined("Editor", "Theme"));

  const char* const saved =
      "\n[Editor]\n\n\"Theme\"=\"dark\" \n\n[Editor/Display]\n\n\"Font\"=\"Mono\" \n";
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ(saved, Read("user.tot"));
  EXPECT_EQ(0, file->Save((directory / "new.tot").c_str()));
  EXPECT_EQ(saved, Read("new.tot"));

  // The key of that name that was added last is the one that is found.
  auto* plain = new bix::COptRgKey("Editor");
  plain->SetCategory(manager.FindCategory("Editor"));
  EXPECT_TRUE(file->GetKeyRoot()->AddKey(plain));
  EXPECT_STREQ("light", manager.GetValue("Editor", "Theme"));
  EXPECT_TRUE(file->GetKeyRoot()->RemoveKey(plain));
  delete plain;
  EXPECT_EQ(nullptr, file->FindKey("Editor"))
      << "as in every key, the other one is not found again";
}

TEST_F(OptionHostKeys, KeysOfAnotherLayerAreSavedOverAnOldFileToo) {
  bix::COptionFile* file = Add("user.tot", "[Other]\"x\"=\"1\"");
  auto* editor = new bix::CDefRgKey("Editor");
  ASSERT_TRUE(file->GetKeyRoot()->AddKey(editor));
  editor->CreateValue("Theme", 0, "dark", nullptr);
  bix::CRgValue* mine = editor->CreateValue("Mine", 0, "a", nullptr);
  auto* display = new bix::CDefRgKey("Display");
  ASSERT_TRUE(editor->AddKey(display));
  bix::CRgValue* font = display->CreateValue("Font", 0, "Mono", nullptr);
  auto* backup = new bix::COptRgKey("Backup");
  backup->SetCategory(manager.FindCategory("Editor/Backup"));
  ASSERT_TRUE(editor->AddKey(backup));
  ASSERT_NE(nullptr, backup->CreateValue("Keep", 0, "7", nullptr));

  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ(
      "\n[Other]\n\n\"x\"=\"1\" \n"
      "\n[Editor]\n\n\"Theme\"=\"dark\" \n\"Mine\"=\"a\" \n"
      "\n[Editor/Display]\n\n\"Font\"=\"Mono\" \n"
      "\n[Editor/Backup]\n\n\"Keep\"=7 \n",
      Read("user.tot"));

  Write("user.tot",
        "[Editor/Display]\"Font\"=\"old\"\"TabWidth\"=1\"u\"=\"2\"[Editor/Backup]\"Keep\"=1"
        "[Editor/Display/Deep]\"Font\"=\"3\"[Editor](K=v)\"Mine\"=\"old\"\"u\"=\"4\"");
  font->SetValue("Serif");
  mine->SetValue("b");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(0, file->Save(nullptr));
    EXPECT_EQ(
        "\n[Editor/Display]\n\n\"Font\"=\"Serif\" \n\"u\"=\"2\" \n"
        "\n[Editor/Backup]\n\n\"Keep\"=7 \n"
        "\n[Editor/Display/Deep]\n\n\"Font\"=\"3\" \n"
        "\n[Editor] (K=v)\n\n\"Mine\"=\"b\" \n\"u\"=\"4\" \n\"Theme\"=\"dark\" \n",
        Read("user.tot"));
    if (i == 0) {
      EXPECT_EQ(2, editor->GetValueCount()) << "a save adds nothing to the tree";
    }
  }
}

TEST_F(OptionHostKeys, LatestOfANameIsFoundWhateverItsClass) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\"Theme\"=\"dark\"");
  bix::CRgKey* editor = file->FindKey("Editor");
  bix::CRgValue* theme = editor->FindValue("Theme");
  auto* otherTheme = new bix::CDefRgValue("Theme", 0, "other");
  ASSERT_TRUE(editor->AddValue(otherTheme));
  EXPECT_EQ(otherTheme, editor->FindValue("Theme"));
  EXPECT_STREQ("other", manager.GetValue("Editor", "Theme"));
  EXPECT_TRUE(editor->RemoveValue(theme));
  delete theme;
  EXPECT_EQ(otherTheme, editor->FindValue("Theme"));
  EXPECT_TRUE(editor->RemoveValue(otherTheme));
  delete otherTheme;
  EXPECT_EQ(nullptr, editor->FindValue("Theme"));

  auto* otherEditor = new bix::CDefRgKey("Editor");
  ASSERT_TRUE(file->GetKeyRoot()->AddKey(otherEditor));
  EXPECT_EQ(otherEditor, file->FindKey("Editor"));
  otherEditor->CreateValue("Theme", 0, "latest", nullptr);
  EXPECT_STREQ("latest", manager.GetValue("Editor", "Theme"));
  EXPECT_TRUE(file->GetKeyRoot()->RemoveKey(otherEditor));
  delete otherEditor;
  EXPECT_EQ(nullptr, file->FindKey("Editor"));
  EXPECT_STREQ("light", manager.GetValue("Editor", "Theme"));
}

TEST_F(OptionHostKeys, KeyWithoutAParentLinkStaysWhenItsLastValueGoes) {
  bix::COptionFile* file = Add("user.tot", "");
  auto* editor = new bix::CDefRgKey("Editor");
  ASSERT_TRUE(file->GetKeyRoot()->AddKey(editor));
  bix::CRgKey* display = editor->CreateKey("Display", nullptr);
  display->CreateValue("Font", 0, "Mono", nullptr);
  EXPECT_STREQ("Mono", manager.GetValue("Editor/Display", "Font"));
  EXPECT_TRUE(manager.SetValue("Editor/Display", "Font", "Sans 10"));  // the default
  EXPECT_EQ(display, file->FindKey("Editor/Display"));
  EXPECT_EQ(0, display->GetValueCount());
}

TEST_F(OptionHostKeys, DeepCategoriesAreFoundInFilesAndDeclarations) {
  constexpr int kDepth = 12;
  static const bix::COption options[] = {{"Option", 1, "default"}, {}};
  static const bix::COptionSet set = {"Set", options, 1};
  std::vector<std::string> names;
  for (int i = 0; i < kDepth; ++i) names.push_back("Level" + std::to_string(i));
  std::vector<bix::CCategory> categories(kDepth);
  std::vector<std::vector<const bix::CCategory*>> below(kDepth);
  for (std::size_t i = kDepth; i-- > 0;) {
    if (i + 1 < kDepth) below[i] = {&categories[i + 1], nullptr};
    categories[i] = {names[i].c_str(), below[i].empty() ? nullptr : below[i].data(),
                     below[i].empty() ? 0 : 1, &set};
  }
  manager.AddCategory(&categories[0]);
  std::string path;
  std::string content;
  for (int i = 0; i < kDepth; ++i) {
    path += (i == 0 ? "" : "/") + names[static_cast<std::size_t>(i)];
    content += "[" + path + "]\"Option\"=\"" + std::to_string(i) + "\"";
  }
  EXPECT_STREQ("default", manager.GetValue(path.c_str(), "Option"));
  Add("user.tot", content);
  path.clear();
  for (int i = 0; i < kDepth; ++i) {
    path += (i == 0 ? "" : "/") + names[static_cast<std::size_t>(i)];
    EXPECT_EQ(std::to_string(i), manager.GetValue(path.c_str(), "Option"));
  }
}

/// A value of a host's own class: while it is written, another thread loads another file.
class InterruptingValue : public bix::COptRgValue {
 public:
  InterruptingValue(const bix::COption* option, const char* text, std::string otherFile)
      : COptRgValue(option, text), m_otherFile(std::move(otherFile)) {}

  bool Dump(std::FILE* stream) override {
    std::thread([this] {
      bix::COptionManager manager;
      manager.AddCategory(&kEditor);
      if (manager.Load(m_otherFile.c_str()) != nullptr)
        loaded = manager.GetValue("Editor", "Theme");
    }).join();
    return COptRgValue::Dump(stream);
  }

  std::string loaded;

 private:
  std::string m_otherFile;
};

using OptionThreads = OptionFixture;

TEST_F(OptionThreads, LoadingInOneThreadDoesNotDisturbASaveInAnother) {
  const std::string other = Write("other.tot", "[Editor]\n\"Theme\"=\"other\"\n");
  bix::COptionFile* file = Add("user.tot", "[Editor]\n\"Theme\"=\"\"\n[Others]\n\"o\"=\"1\"\n");
  bix::CRgKey* key = file->FindKey("Editor");
  auto* value = new InterruptingValue(&kEditorOptions[0], "mine", other);
  EXPECT_TRUE(key->AddValue(value));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("other", value->loaded);
  EXPECT_EQ("\n[Editor]\n\n\"Theme\"=\"mine\" \n\n[Others]\n\n\"o\"=\"1\" \n", Read("user.tot"));
}

TEST_F(OptionThreads, ManagersOfTheirOwnLoadAndSaveAtTheSameTime) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 50;
  std::vector<std::string> errors(kThreads);
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      const std::string path = directory / ("user" + std::to_string(number) + ".tot");
      WriteWholeFile(path, "[Other]\n\"Own\"=\"" + std::to_string(number) + "\"\n");
      bix::COptionManager manager;
      manager.AddCategory(&kEditor);
      bix::COptionFile* file = manager.Load(path.c_str());
      for (int round = 0; round < kRounds && errors[static_cast<std::size_t>(number)].empty();
           ++round) {
        const std::string text = std::to_string(number) + "." + std::to_string(round);
        manager.SetValue("Editor", "Theme", text.c_str());
        if (file->Save(nullptr) != 0 || file->Load(path.c_str()) != 0 ||
            manager.GetValue("Editor", "Theme") != text)
          errors[static_cast<std::size_t>(number)] = text;
      }
      const std::string want = "\n[Other]\n\n\"Own\"=\"" + std::to_string(number) +
                               "\" \n\n[Editor]\n\n\"Theme\"=\"" + std::to_string(number) + "." +
                               std::to_string(kRounds - 1) + "\" \n";
      if (ReadWholeFile(path) != want) errors[static_cast<std::size_t>(number)] = "the file";
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::vector<std::string>(kThreads), errors);
}

}  // namespace
}  // namespace bix_test
