// What a save over an existing file makes of it, section by section.

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "options/option_test_support.h"

namespace bix_test {
namespace {

class IncrementalSave : public OptionFixture {
 protected:
  /// A file that holds what `tree` says, saved over one with the content `old`.
  std::string SavedOver(const char* tree, std::string_view old) {
    bix::COptionFile file(&manager);
    EXPECT_EQ(0, file.Load(Write("tree.tot", tree).c_str()));
    const std::string target = Write("old.tot", old);
    EXPECT_EQ(0, file.Save(target.c_str()));
    return Read("old.tot");
  }
};

TEST_F(IncrementalSave, SectionsKeepTheirOrderAndWhatIsMissingFollows) {
  const struct {
    const char* what;
    const char* tree;
    const char* old;
    const char* want;
  } cases[] = {
      {"no old sections", "[Editor]\"Theme\"=\"dark\"[Editor/Display]\"Font\"=\"Mono\"", " \n",
       "\n[Editor]\n\n\"Theme\"=\"dark\" \n\n[Editor/Display]\n\n\"Font\"=\"Mono\" \n"},
      {"siblings keep the order of the tree",
       "[Editor/Display]\"Font\"=\"Mono\"[Editor/Backup]\"Keep\"=1[Editor]\"Theme\"=\"dark\"",
       " \n",
       "\n[Editor]\n\n\"Theme\"=\"dark\" \n\n[Editor/Display]\n\n\"Font\"=\"Mono\" \n"
       "\n[Editor/Backup]\n\n\"Keep\"=1 \n"},
      {"below first in the old file", "[Editor]\"Theme\"=\"dark\"[Editor/Display]\"Font\"=\"Mono\"",
       "[Editor/Display]\"Font\"=\"Sans\"[Editor]\"Theme\"=\"light\"",
       "\n[Editor/Display]\n\n\"Font\"=\"Mono\" \n\n[Editor]\n\n\"Theme\"=\"dark\" \n"},
      {"the same section twice", "[Editor/Display]\"Font\"=\"Mono\"\"TabWidth\"=4",
       "[Editor/Display]\"Font\"=\"a\"[Other]\"x\"=\"1\"[Editor/Display]\"TabWidth\"=2\"y\"=\"2\"",
       "\n[Editor/Display]\n\n\"Font\"=\"Mono\" \n\"TabWidth\"=4 \n\n[Other]\n\n\"x\"=\"1\" \n"
       "\n[Editor/Display]\n\n\"y\"=\"2\" \n"},
      {"undeclared below declared", "[Editor]\"Theme\"=\"dark\"",
       "[Editor/Theme]\"Theme\"=\"1\"[Editor]\"Theme\"=\"2\"",
       "\n[Editor/Theme]\n\n\"Theme\"=\"1\" \n\n[Editor]\n\n\"Theme\"=\"dark\" \n"},
      {"a declared name below undeclared", "[Editor]\"Theme\"=\"dark\"",
       "[Other/Editor]\"Theme\"=\"1\"",
       "\n[Other/Editor]\n\n\"Theme\"=\"1\" \n\n[Editor]\n\n\"Theme\"=\"dark\" \n"},
      {"a declared section that the tree lacks", "", "[Editor]\"Theme\"=\"1\"\"other\"=\"2\"",
       "\n[Editor]\n\n\"other\"=\"2\" \n"},
      {"texts of others", "", "[Other]\"a\"=007\"b\"=TRUE\"c\"=\"\"\"d\"=x(k=1,\"l\"=m)",
       "\n[Other]\n\n\"a\"=\"7\" \n\"b\"=\"TRUE\" \n\"c\"=\"\" \n"
       "\"d\"=\"x\" (\"k\"=\"1\", \"l\"=\"m\" )\n"},
      {"an old file that ends in a header", "[Editor]\"Theme\"=\"dark\"", "[Other]\"x\"=\"1\"[Edi",
       "\n[Other]\n\n\"x\"=\"1\" \n\n[Editor]\n\n\"Theme\"=\"dark\" \n"},
      {"an old file that ends in the header of a section of the tree", "[Editor]\"Theme\"=\"dark\"",
       "[Editor/", "\n[Editor]\n\n\"Theme\"=\"dark\" \n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.want, SavedOver(c.tree, c.old));
  }
}

TEST_F(IncrementalSave, SecondSaveWritesTheSame) {
  bix::COptionFile* file =
      Add("user.tot", "[Editor]\"Theme\"=\"dark\"[Other]\"x\"=\"1\"[Editor/Display]\"Font\"=\"m\"");
  EXPECT_EQ(0, file->Save(nullptr));
  const std::string first = Read("user.tot");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ(first, Read("user.tot"));
}

TEST_F(IncrementalSave, SaveThatFailedIsFollowedByOneThatSavesAll) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\"Theme\"=\"dark\"");
  file->SetValue("Editor/Display", "Font", "a \" b");
  EXPECT_EQ(1, file->Save(nullptr)) << "a quote cannot be written";
  EXPECT_EQ("[Editor]\"Theme\"=\"dark\"", Read("user.tot"));
  file->SetValue("Editor/Display", "Font", "a b");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor]\n\n\"Theme\"=\"dark\" \n\n[Editor/Display]\n\n\"Font\"=\"a b\" \n",
            Read("user.tot"));
}

TEST_F(IncrementalSave, LinesOfOptionsThatWereDeclaredAfterTheLoadGo) {
  bix::COptionManager early("Early");
  bix::COptionFile* file =
      early.Load(Write("user.tot", "[Editor]\"Theme\"=\"dark\"\"other\"=\"1\"").c_str());
  ASSERT_NE(nullptr, file);
  early.AddCategory(&kEditor);
  EXPECT_STREQ("light", early.GetValue("Editor", "Theme")) << "it was passed over";
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor]\n\n\"other\"=\"1\" \n", Read("user.tot"));

  bix::COptionManager reloading("Reloading");
  file = reloading.Load(Write("user.tot", "[Editor]\"Theme\"=\"dark\"").c_str());
  ASSERT_NE(nullptr, file);
  reloading.AddCategory(&kEditor);
  EXPECT_EQ(0, reloading.ReloadAllFiles());
  EXPECT_STREQ("dark", reloading.GetValue("Editor", "Theme"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor]\n\n\"Theme\"=\"dark\" \n", Read("user.tot"));
}

TEST_F(IncrementalSave, ValuesOfAnotherClassAreSavedOnceAndInTheirPlace) {
  bix::COptionFile* file = Add("user.tot", "[Editor]\"Theme\"=\"dark\"");
  file->FindKey("Editor")->AddValue(new bix::CDefRgValue("Extra", 0, "one"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor]\n\n\"Theme\"=\"dark\" \n\"Extra\"=\"one\" \n", Read("user.tot"));
  Write("user.tot", "[Editor]\"Extra\"=\"old\"\"Theme\"=\"old\"\"Extra\"=\"old\"");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ("\n[Editor]\n\n\"Extra\"=\"one\" \n\"Theme\"=\"dark\" \n", Read("user.tot"));
}

TEST_F(IncrementalSave, BytesBehindAZeroByteAreSetAsideByASaveThatReplacesThemOnly) {
  const std::string old("[Editor]\"Theme\"=\"dark\"\0 lost", 28);
  bix::COptionFile* file = Add("user.tot", old);
  file->SetValue("Editor", "Theme", "a \" b");
  for (int i = 0; i < 2; ++i) EXPECT_EQ(1, file->Save(nullptr));
  EXPECT_FALSE(Exists(directory / "user.tot.bad-1"));
  EXPECT_EQ(old, Read("user.tot"));
  file->SetValue("Editor", "Theme", "a b");
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_EQ(old, Read("user.tot.bad-1"));
  EXPECT_EQ(0, file->Save(nullptr));
  EXPECT_FALSE(Exists(directory / "user.tot.bad-2"));
}

// Look-ups by path.

class OptionPaths : public OptionFixture {};

TEST_F(OptionPaths, NothingIsCollapsedOrTrimmed) {
  Add("user.tot", "[Editor/Display]\"Font\"=\"Mono\"");
  const struct {
    const char* category;
    const char* want;
  } cases[] = {{"Editor/Display", "Mono"},
               {"/Editor/Display", ""},
               {"Editor//Display", ""},
               {"Editor/Display/", ""},
               {"editor/Display", ""},
               {" Editor/Display", ""},
               {"Editor", ""},
               {"Editor/Display/x", ""},
               {"", ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.category);
    EXPECT_STREQ(c.want, manager.GetValue(c.category, "Font"));
    EXPECT_EQ(*c.want != 0, manager.IsRedefined(c.category, "Font"));
  }
  EXPECT_STREQ("", manager.GetValue(nullptr, nullptr));
}

TEST_F(OptionPaths, LongComponentBeforeTheLastIsTheEmptyNameInFilesOnly) {
  const std::string fits(255, 'a');
  const std::string tooLong(256, 'a');
  const bix::COption options[] = {{"o", 1, "default"}, {}};
  const bix::COptionSet set = {"", options, 1};
  const bix::CCategory leaf = {"leaf", nullptr, 0, &set};
  const bix::CCategory longLeaf = {tooLong.c_str(), nullptr, 0, &set};
  const bix::CCategory* const leaves[] = {&leaf, &longLeaf, nullptr};
  const bix::CCategory first = {fits.c_str(), leaves, 2, nullptr};
  const bix::CCategory second = {tooLong.c_str(), leaves, 2, nullptr};
  manager.AddCategory(&first);
  manager.AddCategory(&second);

  errno = 0;
  EXPECT_STREQ("default", manager.GetValue((tooLong + "/leaf").c_str(), "o"));
  EXPECT_EQ(0, errno) << "no file was asked";
  for (const char* name : {"user.tot", "company.tot"})
    Add(name, "[" + fits + "/leaf]\"o\"=\"1\"[" + tooLong + "/leaf]\"o\"=\"2\"[" + fits + "/" +
                  tooLong + "]\"o\"=\"3\"");
  const struct {
    std::string category;
    const char* want;
    int error;
  } cases[] = {{fits + "/leaf", "1", 0},
               {tooLong + "/leaf", "default", EINVAL},
               {fits + "/" + tooLong, "3", 0},
               {"missing/" + tooLong + "/leaf", "", 0}};
  for (const auto& c : cases) {
    errno = 0;
    EXPECT_STREQ(c.want, manager.GetValue(c.category.c_str(), "o"));
    EXPECT_EQ(c.error, errno) << c.category.substr(0, 10) << c.category.size();
  }
}

TEST_F(OptionPaths, FileThatTookThePathMeanwhileIsTheOneThatComesBack) {
  const std::string path = directory / "user.tot";
  bix::COptionFile* first = Add("user.tot", "");
  manager.RemoveAllFiles();
  auto* second = new bix::COptionFile(&manager);
  second->SetPathName(path.c_str());
  ASSERT_TRUE(manager.AddFile(second));
  first->SetPathName("");
  first->SetPathName(path.c_str());
  EXPECT_EQ(second, manager.AddOptionFile(bix::SPathName(path.c_str())));
  EXPECT_EQ(1, manager.GetFileCount());
}

}  // namespace
}  // namespace bix_test
