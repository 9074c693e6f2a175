#include "bix/stylefile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "bix/messages.h"
#include "bix/optionfile.h"
#include "styles/style_test_support.h"
#include "support/captured_output.h"
#include "support/recording_handler.h"

namespace bix_test {
namespace {

class StyleFileFixture : public testing::Test, protected StyleKinds {
 protected:
  std::string Write(const std::string& name, std::string_view content) {
    WriteWholeFile(directory / name, content);
    return directory / name;
  }
  std::string Read(const std::string& name) const { return ReadWholeFile(directory / name); }

  TempDirectory directory;
};

using StyleFile = StyleFileFixture;
using StyleFileCompat = StyleFileFixture;
using StyleFileChoice = StyleFileFixture;
using StyleKey = StyleFileFixture;
using StyleKeyCompat = StyleFileFixture;
using StyleRoundTrip = StyleFileFixture;

constexpr const char* kFile =
    "\n[Diagrams/Styles/Class/Base] (Class=Base)\n\n"
    "\"x\"=\"5\" \n"
    "\"Font\"=\"Sans\" \n"
    "\n[Diagrams/Styles/Class/Bold] (Class=Bold)\n\n"
    "\"BasedOn\"=\"Base\" \n"
    "\"Width\"=3 \n"
    "\n[Diagrams/Styles/Arrow/Base] (Arrow=Base)\n\n"
    "\"Head\"=\"full\" \n";

bix::CRgKey* Find(const bix::CRgFile& file, const char* path) { return file.FindKey(path); }

std::string AttributesOf(bix::CRgKey& key) {
  std::string text;
  for (void* position = key.GetAttributeList()->GetHeadPosition(); position != nullptr;) {
    const bix::CRgAttribute* attribute = key.GetAttributeList()->GetNext(position);
    text += std::string(attribute->GetName()) + "=" + attribute->GetValue() + ";";
  }
  return text;
}

bix::CStyRgKey& StyleKeyAt(const bix::CRgFile& file, const char* path) {
  auto* key = dynamic_cast<bix::CStyRgKey*>(file.FindKey(path));
  if (key == nullptr) throw std::runtime_error(path);
  return *key;
}

/// A list of attributes that a caller hands over; what is not taken is deleted with it.
class Attributes {
 public:
  Attributes(std::initializer_list<std::pair<const char*, const char*>> pairs) {
    for (const auto& [name, value] : pairs) list.AddTail(new bix::CRgAttribute(name, value));
  }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  ~Attributes() {
    for (void* position = list.GetHeadPosition(); position != nullptr;) {
      const bix::CRgAttribute* attribute = list.GetNext(position);
      if (!isTaken) delete attribute;
    }
  }
  bix::MList<bix::CRgAttribute*> list;
  bool isTaken = false;
};

// Loading.

TEST_F(StyleFile, LoadingMakesTheStyles) {
  LoadedStyles loaded(Write("a.sty", kFile));
  EXPECT_EQ(0, loaded.result);
  EXPECT_EQ("Base Bold Base ", Names(loaded.styles));
  EXPECT_EQ("BuiltIn Base Bold ", Names(*classKind.GetStyleList()));
  EXPECT_EQ("BuiltIn Base ", Names(*arrowKind.GetStyleList()));
  const bix::CStyle& bold = loaded["Bold"];
  EXPECT_EQ(&classKind, bold.GetStyleKind());
  EXPECT_STREQ("Diagrams", bold.GetRootName());
  EXPECT_STREQ("Diagrams/Styles/Class/Bold", bold.GetCategoryPath());
  EXPECT_EQ(0u, bold.GetMode());
  const bix::CStyRgKey& key = StyleKeyAt(loaded.file, "Diagrams/Styles/Class/Bold");
  EXPECT_EQ(&key, bold.GetKey());
  EXPECT_EQ(&bold, key.GetStyle());
  EXPECT_EQ(2, key.GetValueCount());
  EXPECT_STREQ("3", loaded.file.GetValue("Diagrams/Styles/Class/Bold", "Width"));
  EXPECT_EQ(nullptr, loaded.file.GetValue("Diagrams/Styles/Class/Bold", "Font"));
  EXPECT_EQ(nullptr, loaded.file.GetValue("Diagrams/Styles/Class/None", "Width"));
}

TEST_F(StyleFile, WhatWasLoadedShowsOnceItIsApplied) {
  LoadedStyles loaded(Write("a.sty", kFile));
  bix::CStyle& bold = loaded["Bold"];
  EXPECT_EQ("1", Get(bold, "Width"));
  EXPECT_EQ(nullptr, bold.GetParent());
  Restore(loaded.styles);
  EXPECT_EQ(&loaded["Base"], bold.GetParent());
  EXPECT_EQ("3", Get(bold, "Width"));
  EXPECT_EQ("5", Get(bold, "x"));
  EXPECT_EQ("Sans", Get(bold, "Font"));
  EXPECT_EQ("Base", Get(bold, "BasedOn"));
  EXPECT_EQ("a", Get(bold, "y"));
  EXPECT_EQ("full", Get(*arrowKind.GetStyleList()->FindStyle("Base"), "Head"));
  // Applying again changes nothing.
  bold.SetInitialValues();
  EXPECT_EQ("3", Get(bold, "Width"));
  EXPECT_EQ("Base", Get(bold, "BasedOn"));
}

TEST_F(StyleFile, AppliesValuesInTheOrderOfTheFile) {
  LoadedStyles loaded(
      Write("a.sty", "[R/Styles/Class/A] (Class=A)\n\"x\"=\"2\"\n\"y\"=\"b\"\n\"x\"=\"3\"\n"));
  loaded["A"].SetInitialValues();
  EXPECT_EQ("3", Get(loaded["A"], "x"));
  EXPECT_EQ("b", Get(loaded["A"], "y"));
}

TEST_F(StyleFile, ListsAKeysStyleBeforeThoseOfItsSubKeysAndAppends) {
  LoadedStyles loaded(Write("a.sty",
                            "[R/B/C] (Class=third)\n[R/A] (Class=fourth)\n[R] (Class=first)\n"
                            "[R/B] (Class=second)\n[S] (Class=fifth)\n"));
  EXPECT_EQ("first second third fourth fifth ", Names(loaded.styles));
  bix::CStyleList list;
  list.AddTail(&builtInClass);
  bix::CStyleFile::FillStyleList(&StyleKeyAt(loaded.file, "R/B"), &list);
  EXPECT_EQ("BuiltIn second third ", Names(list));
  bix::CStyleFile::FillStyleList(nullptr, &list);
  bix::CStyleFile::FillStyleList(&StyleKeyAt(loaded.file, "R"), nullptr);
  EXPECT_EQ(3, list.GetCount());
}

TEST_F(StyleFile, OtherSectionsAreKeptAsKeysWithoutValues) {
  LoadedStyles loaded(Write("a.sty", "[Editor/Display]\n\"Font\"=\"Mono\"\n[R/S] (Class=A)\n"));
  EXPECT_EQ(0, loaded.result);
  EXPECT_EQ("A ", Names(loaded.styles));
  ASSERT_NE(nullptr, Find(loaded.file, "Editor/Display"));
  EXPECT_EQ(0, Find(loaded.file, "Editor/Display")->GetValueCount());
  EXPECT_EQ(nullptr, StyleKeyAt(loaded.file, "Editor/Display").GetStyle());
}

TEST_F(StyleFile, AnUnknownKindGivesAnInertStyle) {
  LoadedStyles loaded(
      Write("a.sty", "[R/Styles/Table/A] (Table=A)\n\"x\"=\"2\"\n[R/Styles/Class/B] (Class=B)\n"));
  EXPECT_EQ(0, loaded.result);
  ASSERT_EQ(2, loaded.styles.GetCount());
  bix::CStyle* inert = loaded.styles.GetAt(loaded.styles.GetHeadPosition());
  EXPECT_STREQ("", inert->GetName());
  EXPECT_EQ(nullptr, inert->GetStyleKind());
  EXPECT_EQ(inert, StyleKeyAt(loaded.file, "R/Styles/Table/A").GetStyle());
  EXPECT_EQ(0, StyleKeyAt(loaded.file, "R/Styles/Table/A").GetValueCount());
  Restore(loaded.styles);
  EXPECT_EQ(0, inert->GetFileCount());
}

TEST_F(StyleFile, ValuesThatTheKindDoesNotDeclareAreNotKept) {
  LoadedStyles loaded(Write("a.sty",
                            "[R/Styles/Class/A] (Class=A)\n\"x\"=\"2\" (\"p\"=\"1\")\n"
                            "\"Head\"=\"full\" (\"p\"=\"1\")\n\"y\"=\"b\"\n"));
  EXPECT_EQ(0, loaded.result);
  bix::CStyRgKey& key = StyleKeyAt(loaded.file, "R/Styles/Class/A");
  EXPECT_EQ(2, key.GetValueCount());
  EXPECT_STREQ("1", key.FindValue("x")->GetAttributeValue("p"));
  EXPECT_EQ(nullptr, key.FindValue("Head"));
}

TEST_F(StyleFile, ASectionMetAgainAddsToItsStyle) {
  LoadedStyles loaded(Write("a.sty",
                            "[R/Styles/Class/A] (Class=A)\n\"x\"=\"2\"\n[R/Styles/Class/B] "
                            "(Class=B)\n\"x\"=\"4\"\n[R/Styles/Class/A] (Class=A)\n\"y\"=\"b\"\n"
                            "[R/Styles/Class/A]\n\"Width\"=2\n"));
  EXPECT_EQ("A B ", Names(loaded.styles));
  Restore(loaded.styles);
  EXPECT_EQ("2", Get(loaded["A"], "x"));
  EXPECT_EQ("b", Get(loaded["A"], "y"));
  EXPECT_EQ("2", Get(loaded["A"], "Width"));
  EXPECT_EQ("4", Get(loaded["B"], "x"));
}

TEST_F(StyleFile, ASectionMetAgainWithOtherAttributesStaysTheSameStyle) {
  const std::string path = Write("a.sty",
                                 "[R/Styles/Class/A] (Class=A, c=d)\n\"x\"=\"2\"\n"
                                 "[R/Styles/Class/A] (Arrow=B)\n\"y\"=\"b\"\n");
  {
    LoadedStyles loaded(path);
    EXPECT_EQ("A ", Names(loaded.styles));
    Restore(loaded.styles);
    EXPECT_EQ(0, loaded.file.Save(nullptr, &loaded.styles));
  }
  LoadedStyles again(path);
  EXPECT_EQ("A ", Names(again.styles));
  Restore(again.styles);
  EXPECT_EQ(&classKind, again["A"].GetStyleKind());
  EXPECT_EQ("2", Get(again["A"], "x"));
  EXPECT_EQ("b", Get(again["A"], "y"));
}

TEST_F(StyleFile, AnOwnerMayBeNamedLikeAKind) {
  LoadedStyles loaded(Write("a.sty",
                            "[Class/Styles/Class/A] (Class=A)\n\"x\"=\"2\"\n"
                            "[Class/Styles/Class/Styles] (Class=Styles)\n\"x\"=\"3\"\n"));
  Restore(loaded.styles);
  EXPECT_EQ("2", Get(loaded["A"], "x"));
  EXPECT_EQ("3", Get(loaded["Styles"], "x"));
  EXPECT_STREQ("Class", loaded["A"].GetRootName());
}

TEST_F(StyleFile, TheModifiedFlagGoesWithASuccessfulLoad) {
  bix::CStyleFile file;
  EXPECT_FALSE(file.IsModified());
  file.SetModifiedFlag();
  EXPECT_TRUE(file.IsModified());
  EXPECT_EQ(1, file.Load((directory / "missing.sty").c_str(), nullptr));
  EXPECT_TRUE(file.IsModified());
  EXPECT_EQ(1, file.Load(Write("bad.sty", "[R/]").c_str(), nullptr));
  EXPECT_TRUE(file.IsModified());
  EXPECT_EQ(0, file.Load(Write("a.sty", "").c_str(), nullptr));
  EXPECT_FALSE(file.IsModified());
}

TEST_F(StyleFile, AFailedLoadLeavesNoStyle) {
  const struct {
    const char* name;
    const char* content;
  } cases[] = {
      {"at the end", "[R/Styles/Class/A] (Class=A)\n\"x\"=\"2\"\nrubbish"},
      {"in a header", "[R/Styles/Class/A] (Class=A)\n[R//A]"},
      {"in the value", "[R/Styles/Class/A] (Class=A)\n\"x\"=-5\n\"y\"=\"b\""},
      {"two styles", "[R/S/C/A] (Class=A)\n[R/S/C/B] (Class=B)\n[R/S/T/B] (Table=B)\n]"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = Write("bad.sty", c.content);
    bix::CStyleFile file;
    bix::CStyleList list;
    list.AddTail(&builtInClass);
    EXPECT_EQ(1, file.Load(path.c_str(), &list));
    EXPECT_EQ("BuiltIn ", Names(list));
    EXPECT_EQ("BuiltIn ", Names(*classKind.GetStyleList()));
    EXPECT_EQ(0, file.GetKeyRoot()->GetKeyCount());
    EXPECT_EQ(c.content, Read("bad.sty"));
    EXPECT_STRNE("", file.GetLoadError().expected);
  }
}

TEST_F(StyleFile, StylesAndFileMayGoInEitherOrder) {
  const std::string path = Write("a.sty", kFile);
  bix::CStyleList styles;
  {
    bix::CStyleFile file;
    EXPECT_EQ(0, file.Load(path.c_str(), &styles));
  }
  bix::CStyle* bold = styles.FindStyle("Bold");
  EXPECT_EQ(nullptr, bold->GetKey());
  bold->SetInitialValues();
  EXPECT_EQ("1", Get(*bold, "Width"));
  DeleteAll(styles);
  bix::CStyleFile file;
  EXPECT_EQ(0, file.Load(path.c_str(), &styles));
  DeleteAll(styles);
  EXPECT_EQ(nullptr, StyleKeyAt(file, "Diagrams/Styles/Class/Bold").GetStyle());
  EXPECT_EQ(nullptr, StyleKeyAt(file, "Diagrams/Styles/Class/Bold").GetCategory());
  bix::CStyleFile::FillStyleList(static_cast<bix::CStyRgKey*>(file.GetKeyRoot()), &styles);
  EXPECT_TRUE(styles.IsEmpty());
}

TEST_F(StyleFile, LoadingAgainLetsTheOldStylesGo) {
  const std::string path = Write("a.sty", "[R/Styles/Class/A] (Class=A)\n\"x\"=\"2\"\n");
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  bix::CStyleList again;
  EXPECT_EQ(0, loaded.file.Load(path.c_str(), &again));
  EXPECT_EQ("A ", Names(again));
  EXPECT_NE(&loaded["A"], again.FindStyle("A"));
  EXPECT_EQ(nullptr, loaded["A"].GetKey());
  EXPECT_EQ("2", Get(loaded["A"], "x"));
  DeleteAll(again);
}

TEST_F(StyleFile, KeepsWhatTheManagerOfItsOptionFileDeclares) {
  const bix::COption options[] = {{"Font", 1, "Sans"}, {}};
  const bix::COptionSet set = {"Display", options, 1};
  const bix::CCategory display = {"Display", nullptr, 0, &set};
  const bix::CCategory* const parts[] = {&display, nullptr};
  const bix::CCategory editor = {"Editor", parts, 1, nullptr};
  auto manager = std::make_unique<bix::COptionManager>();
  manager->AddCategory(&editor);
  bix::COptionFile optionFile(manager.get());
  bix::CStyleFile file(&optionFile);
  EXPECT_EQ(&optionFile, file.GetOptionFile());
  EXPECT_EQ(manager.get(), static_cast<bix::CStyRgKey*>(file.GetKeyRoot())->GetCategory());
  const std::string path =
      Write("a.sty", "[Editor/Display]\n\"Font\"=\"Mono\"\n\"Unknown\"=\"1\"\n");
  EXPECT_EQ(0, file.Load(path.c_str(), nullptr));
  EXPECT_STREQ("Mono", file.GetValue("Editor/Display", "Font"));
  EXPECT_EQ(1, Find(file, "Editor/Display")->GetValueCount());
  manager.reset();
  EXPECT_EQ(nullptr, StyleKeyAt(file, "Editor/Display").GetCategory());
  EXPECT_STREQ("Mono", file.GetValue("Editor/Display", "Font"));
}

// Keys.

TEST_F(StyleKey, CreateKeySetsTheParentAndFindsWhatIsThere) {
  bix::CStyRootRgKey root(nullptr);
  EXPECT_STREQ("", root.GetName());
  EXPECT_EQ(nullptr, root.GetParent());
  bix::CRgKey* a = root.CreateKey("A", nullptr);
  EXPECT_EQ(a, root.CreateKey("A", nullptr));
  EXPECT_EQ(&root, a->GetParent());
  EXPECT_EQ(a, root.FindKey("A"));
  EXPECT_EQ(nullptr, root.FindKey("a"));
  EXPECT_EQ(nullptr, root.FindKey(nullptr));
  bix::CRgKey* b = a->CreateKey("B", nullptr);
  EXPECT_EQ(a, b->GetParent());
  EXPECT_EQ(1, root.GetKeyCount());
  root.Empty();
  EXPECT_EQ(nullptr, root.FindKey("A"));
}

TEST_F(StyleKeyCompat, AddKeySetsNoParentAndOfTwoOfOneNameTheFirstIsFound) {
  bix::CStyRgKey key("K");
  auto* const first = new bix::CStyRgKey("A");
  auto* const second = new bix::CStyRgKey("A");
  EXPECT_TRUE(key.AddKey(first));
  EXPECT_TRUE(key.AddKey(second));
  EXPECT_EQ(nullptr, first->GetParent());
  EXPECT_EQ(first, key.FindKey("A"));
  EXPECT_TRUE(key.RemoveKey(first));
  EXPECT_FALSE(key.RemoveKey(first));
  EXPECT_EQ(second, key.FindKey("A"));
  EXPECT_EQ(second, key.CreateKey("A", nullptr));
  EXPECT_TRUE(key.RemoveKey(second));
  EXPECT_EQ(nullptr, key.FindKey("A"));
  delete first;
  delete second;
}

TEST_F(StyleKey, FindsKeysAndValuesOfOtherLayersByThePresentName) {
  bix::CStyRgKey key("K");
  auto* const other = new bix::CDefRgKey("Other");
  EXPECT_TRUE(key.AddKey(other));
  EXPECT_EQ(other, key.FindKey("Other"));
  EXPECT_EQ(other, key.CreateKey("Other", nullptr));
  auto* const value = new bix::CDefRgValue("old", 0, "1");
  EXPECT_TRUE(key.AddValue(value));
  value->SetName("new");
  EXPECT_EQ(value, key.FindValue("new"));
  EXPECT_EQ(nullptr, key.FindValue("old"));
  EXPECT_TRUE(key.RemoveValue(value));
  EXPECT_FALSE(key.RemoveValue(value));
  delete value;
}

TEST_F(StyleKey, AttributesGivenToCreateKeyMakeNoStyle) {
  bix::CStyleFile file;
  bix::CRgKey* key = file.CreateKey("R/Styles/Class/A", "Class", "A");
  ASSERT_NE(nullptr, key);
  EXPECT_EQ("Class=A;", AttributesOf(*key));
  EXPECT_EQ(nullptr, StyleKeyAt(file, "R/Styles/Class/A").GetStyle());
  EXPECT_EQ("BuiltIn ", Names(*classKind.GetStyleList()));
}

TEST_F(StyleKey, KeysShowTheSubCategoriesOfTheirNames) {
  bix::CStyleFile file;
  auto& root = static_cast<bix::CStyRgKey&>(*file.GetKeyRoot());
  root.SetCategory(&builtInClass);
  file.CreateKey("Suite/Styles/Class/BuiltIn", nullptr, nullptr);
  bix::CStyRgKey& key = StyleKeyAt(file, "Suite/Styles/Class/BuiltIn");
  EXPECT_EQ(builtInClass.GetMgrCategory(), key.GetCategory());
  EXPECT_EQ(builtInClass.FindCategory("Suite/Styles"),
            StyleKeyAt(file, "Suite/Styles").GetCategory());
  file.CreateKey("Suite/Styles/Class/Other", nullptr, nullptr);
  EXPECT_EQ(nullptr, StyleKeyAt(file, "Suite/Styles/Class/Other").GetCategory());
  key.SetCategory(nullptr);
  EXPECT_EQ(nullptr, key.GetCategory());
}

TEST_F(StyleKey, CreateValueTakesDeclaredOptionsOnly) {
  bix::CStyRgKey key("K");
  Attributes none{{"p", "1"}};
  EXPECT_EQ(nullptr, key.CreateValue("x", 0, "2", &none.list));  // shows no category
  key.SetCategory(builtInClass.GetMgrCategory());
  EXPECT_EQ(nullptr, key.CreateValue("Head", 0, "2", &none.list));
  EXPECT_EQ(nullptr, key.CreateValue(nullptr, 0, "2", nullptr));
  Attributes marks{{"fixed", "true"}, {"p", "1"}};
  bix::CRgValue* value = key.CreateValue("Width", 0, "2", &marks.list);
  marks.isTaken = true;
  ASSERT_NE(nullptr, value);
  EXPECT_NE(nullptr, dynamic_cast<bix::COptRgValue*>(value));
  EXPECT_EQ(1, value->GetType());  // of the option's kind
  EXPECT_STREQ("2", value->GetValue());
  EXPECT_EQ(2, value->GetAttributeCount());
  EXPECT_EQ(value, key.FindValue("Width"));
}

TEST_F(StyleKeyCompat, OfTwoValuesOfOneNameTheFirstIsFound) {
  bix::CStyRgKey key("K");
  key.SetCategory(builtInClass.GetMgrCategory());
  bix::CRgValue* first = key.CreateValue("x", 0, "2", nullptr);
  bix::CRgValue* second = key.CreateValue("x", 0, "3", nullptr);
  EXPECT_EQ(2, key.GetValueCount());
  EXPECT_EQ(first, key.FindValue("x"));
  EXPECT_TRUE(key.RemoveValue(first));
  EXPECT_EQ(second, key.FindValue("x"));
  EXPECT_TRUE(key.RemoveValue(second));
  EXPECT_EQ(nullptr, key.FindValue("x"));
  delete first;
  delete second;
}

TEST_F(StyleKey, SetAttributesReplacesTheOldOnes) {
  bix::CStyRgKey key("K");
  Attributes first{{"a", "1"}, {"b", "2"}};
  key.SetAttributes(&first.list);
  first.isTaken = true;
  EXPECT_EQ("a=1;b=2;", AttributesOf(key));
  std::unique_ptr<bix::CStyle> made(key.GetStyle());
  ASSERT_NE(nullptr, made);
  EXPECT_EQ(&key, made->GetKey());
  Attributes second{{"c", "3"}};
  key.SetAttributes(&second.list);
  second.isTaken = true;
  EXPECT_EQ("c=3;", AttributesOf(key));
  EXPECT_EQ(made.get(), key.GetStyle());
  key.SetAttributes(nullptr);
  EXPECT_EQ("", AttributesOf(key));
}

TEST_F(StyleKeyCompat, OnlyTheFirstAttributeMakesAStyle) {
  LoadedStyles loaded(
      Write("a.sty", "[R/Styles/Class/A] (Class=A, Arrow=B)\n\"x\"=\"2\"\n\"Head\"=\"full\"\n"));
  EXPECT_EQ("A ", Names(loaded.styles));
  EXPECT_EQ("BuiltIn ", Names(*arrowKind.GetStyleList()));
  bix::CStyRgKey& key = StyleKeyAt(loaded.file, "R/Styles/Class/A");
  EXPECT_EQ("Class=A;Arrow=B;", AttributesOf(key));
  EXPECT_EQ(&key, key.UseAttributes(key.GetAttributeList(), nullptr));
  EXPECT_EQ(&loaded["A"], key.GetStyle());
  EXPECT_EQ("BuiltIn A ", Names(*classKind.GetStyleList()));
}

TEST_F(StyleKey, UseAttributesWithoutAttributesMakesNothing) {
  bix::CStyRgKey key("K");
  bix::MList<bix::CRgAttribute*> empty;
  EXPECT_EQ(nullptr, key.UseAttributes(&empty, nullptr));
  EXPECT_EQ(nullptr, key.UseAttributes(nullptr, nullptr));
  EXPECT_EQ(nullptr, key.UseAttributes(&empty, "A"));
  EXPECT_EQ(nullptr, key.GetStyle());
}

TEST_F(StyleKey, UseAttributesWithANameMakesTheStyleOfThatName) {
  bix::CStyleFile file;
  file.CreateKey("Top/Owner/A/Arrow", nullptr, nullptr);
  file.CreateKey("Top/Owner/B", nullptr, nullptr);
  bix::CStyRgKey& owner = StyleKeyAt(file, "Top/Owner");
  Attributes attributes{{"Class", "B"}, {"Arrow", "A"}};
  bix::CRgKey* key = owner.UseAttributes(&attributes.list, "A");
  EXPECT_EQ(Find(file, "Top/Owner/A/Arrow"), key);
  std::unique_ptr<bix::CStyle> a(StyleKeyAt(file, "Top/Owner/A/Arrow").GetStyle());
  ASSERT_NE(nullptr, a);
  EXPECT_STREQ("A", a->GetName());
  EXPECT_STREQ("Top", a->GetRootName());
  EXPECT_EQ(&arrowKind, a->GetStyleKind());
  EXPECT_EQ(key, a->GetKey());
  EXPECT_NE(nullptr, key->CreateValue("Head", 0, "full", nullptr));
  // The key of the kind is made with the attributes when it is missing.
  key = owner.UseAttributes(&attributes.list, "B");
  EXPECT_EQ(Find(file, "Top/Owner/B/Class"), key);
  ASSERT_NE(nullptr, key);
  attributes.isTaken = true;
  EXPECT_EQ("Class=B;Arrow=A;", AttributesOf(*key));
  std::unique_ptr<bix::CStyle> b(StyleKeyAt(file, "Top/Owner/B/Class").GetStyle());
  ASSERT_NE(nullptr, b);
  EXPECT_EQ("BuiltIn B ", Names(*classKind.GetStyleList()));
  EXPECT_EQ(nullptr, owner.UseAttributes(key->GetAttributeList(), "C"));
}

TEST_F(StyleKey, AStyleMadeByNameHasTheNameOfTheKeyAboveAsItsOwner) {
  bix::CStyleFile file;
  file.CreateKey("Top/Owner/Part/A/Class", nullptr, nullptr);
  Attributes attributes{{"Class", "A"}};
  bix::CRgKey* key = StyleKeyAt(file, "Top/Owner/Part").UseAttributes(&attributes.list, "A");
  ASSERT_NE(nullptr, key);
  const std::unique_ptr<bix::CStyle> style(StyleKeyAt(file, "Top/Owner/Part/A/Class").GetStyle());
  ASSERT_NE(nullptr, style);
  EXPECT_STREQ("Owner", style->GetRootName());
}

TEST_F(StyleKey, ShowsTheCategoriesOfItsOwnerAlsoWhenAKindHasHisName) {
  bix::CStyRgKey owner("Class");
  auto* key = dynamic_cast<bix::CStyRgKey*>(owner.CreateKey("Styles", nullptr));
  ASSERT_NE(nullptr, key);
  const bix::CStyle style("A", "Class", "Class", key);
  EXPECT_EQ(style.FindCategory("Class"), owner.GetCategory());
  EXPECT_EQ(style.FindCategory("Class/Styles"), key->GetCategory());
  EXPECT_NE(nullptr, key->GetCategory());
}

TEST_F(StyleKeyCompat, AStyleWithoutAKeyOfItsNameStandsInTheListOfItsKindOnly) {
  bix::CStyleFile file;
  file.CreateKey("Top/Owner", nullptr, nullptr);
  Attributes attributes{{"Class", "A"}};
  EXPECT_EQ(nullptr, StyleKeyAt(file, "Top/Owner").UseAttributes(&attributes.list, "A"));
  EXPECT_EQ("BuiltIn A ", Names(*classKind.GetStyleList()));
  delete classKind.GetStyleList()->FindStyle("A");
}

TEST_F(StyleKey, AKeyFollowsItsStyle) {
  auto key = std::make_unique<bix::CStyRgKey>("K");
  bix::CStyRgKey other("L");
  Attributes attributes{{"Class", "A"}};
  key->SetAttributes(&attributes.list);
  attributes.isTaken = true;
  std::unique_ptr<bix::CStyle> style(key->GetStyle());
  builtInClass.SetKey(key.get());
  style->SetKey(&other);
  EXPECT_EQ(nullptr, key->GetStyle());
  EXPECT_EQ(&other, style->GetKey());
  key.reset();
  EXPECT_EQ(nullptr, builtInClass.GetKey());
}

// A save under way, as option files do it.

TEST_F(StyleFile, LoadedWhileASaveIsUnderWayIsWrittenOutAtOnce) {
  const std::string path = Write("a.sty", kFile);
  const std::string out = directory / "out.sty";
  LoadedStyles loaded(Write("empty.sty", ""));
  {
    std::FILE* stream = std::fopen(out.c_str(), "w");
    ASSERT_NE(nullptr, stream);
    bix::COptRootRgKey optionRoot(nullptr);
    bix::CIncrSaveContext context(stream, &optionRoot);
    {
      const bix::CIncrSaveContext::Scope scope(context);
      EXPECT_EQ(0, loaded.file.Load(path.c_str(), &loaded.styles));
    }
    context.FlushUnsavedKeys();
    std::fclose(stream);
  }
  EXPECT_EQ(kFile, ReadWholeFile(out));
  EXPECT_EQ("Base Bold Base ", Names(loaded.styles));
}

TEST_F(StyleFileChoice, ValuesOfOthersArePassedOnToASaveUnderWay) {
  const std::string content =
      "\n[Editor/Display]\n\n\"Font\"=\"Mono\" (\"a\"=\"1\", \"b\"=\"2\" )\n"
      "\n[R/Styles/Class/A] (Class=A)\n\n\"x\"=\"2\" \n\"Later\"=\"3\" \n";
  const std::string path = Write("a.sty", content);
  const std::string out = directory / "out.sty";
  LoadedStyles loaded(Write("empty.sty", ""));
  {
    std::FILE* stream = std::fopen(out.c_str(), "w");
    ASSERT_NE(nullptr, stream);
    bix::COptRootRgKey optionRoot(nullptr);
    bix::CIncrSaveContext context(stream, &optionRoot);
    {
      const bix::CIncrSaveContext::Scope scope(context);
      EXPECT_EQ(0, loaded.file.Load(path.c_str(), &loaded.styles));
    }
    std::fclose(stream);
  }
  EXPECT_EQ(content, ReadWholeFile(out));
}

// Saving.

TEST_F(StyleRoundTrip, OfAWholeFileGivesTheSameBytes) {
  const std::string path = Write("a.sty", kFile);
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  EXPECT_EQ(0, loaded.file.Save(path.c_str(), &loaded.styles));
  EXPECT_EQ(kFile, Read("a.sty"));
  EXPECT_EQ(0, loaded.file.Save((directory / "b.sty").c_str()));
  EXPECT_EQ(kFile, Read("b.sty"));
  EXPECT_FALSE(Exists(directory / "a.sty~"));
}

TEST_F(StyleRoundTrip, OfStylesThatAHostHasMadeGivesTheSameValues) {
  const std::string path = directory / "new.sty";
  const char* const options[] = {"x", "y", "Width", "Font", "BasedOn"};
  std::vector<std::string> want;
  {
    bix::CStyle base("Base", &classKind, "My diagrams", 1, nullptr);
    bix::CStyle middle("Middle one", &classKind, "My diagrams", 1, &base);
    bix::CStyle leaf("Leaf", &classKind, "My diagrams", 1, &middle);
    bix::CStyle alone("Alone", &classKind, "Other", 1, nullptr);
    bix::CStyle arrow("Base", &arrowKind, "My diagrams", 1, nullptr);
    Set(base, "x", "a text, with ()[]=/ and\na line break");
    Set(base, "Width", "-5");
    Set(middle, "Font", "");
    Set(middle, "x", "1");  // the default, redefined
    Set(leaf, "y", "gr\xC3\xBC\xC3\x9F dich");
    Set(leaf, "Width", "true");
    Set(arrow, "Head", "full");
    bix::CStyleList list;
    for (bix::CStyle* style : {&base, &middle, &leaf, &alone, &arrow}) {
      list.AddTail(style);
      for (const char* option : options) want.push_back(Get(*style, option));
    }
    bix::CStyleFile file;
    ASSERT_EQ(0, file.Save(path.c_str(), &list));
    EXPECT_FALSE(file.IsModified());
  }
  LoadedStyles loaded(path);
  ASSERT_EQ(0, loaded.result);
  EXPECT_EQ("Base Middle one Leaf Base Alone ", Names(loaded.styles));
  Restore(loaded.styles);
  std::vector<std::string> got;
  for (const char* name : {"Base", "Middle one", "Leaf", "Alone"})
    for (const char* option : options) got.push_back(Get(loaded[name], option));
  for (const char* option : options)
    got.push_back(Get(*arrowKind.GetStyleList()->FindStyle("Base"), option));
  EXPECT_EQ(want, got);
  EXPECT_EQ(&loaded["Middle one"], loaded["Leaf"].GetParent());
  EXPECT_EQ("1", Held(loaded["Middle one"], "x"));
}

TEST_F(StyleFileChoice, ARedefinitionThatEqualsTheDefaultComesBackAsOne) {
  const std::string path = directory / "new.sty";
  {
    bix::CStyle base("Base", &classKind, "R", 0, nullptr);
    bix::CStyle style("A", &classKind, "R", 0, nullptr);
    Set(style, "y", "b");
    Set(style, "x", "1");  // stands before "BasedOn" in the file
    style.SetParent(&base);
    Set(base, "x", "2");
    bix::CStyleList list;
    list.AddTail(&base);
    list.AddTail(&style);
    bix::CStyleFile file;
    ASSERT_EQ(0, file.Save(path.c_str(), &list));
  }
  WriteWholeFile(path,
                 "[R/Styles/Class/A] (Class=A)\n\"x\"=\"1\"\n\"BasedOn\"=\"Base\"\n"
                 "[R/Styles/Class/Base] (Class=Base)\n\"x\"=\"2\"\n");
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  EXPECT_EQ("1", Get(loaded["A"], "x"));
  EXPECT_EQ("1", Held(loaded["A"], "x"));
}

TEST_F(StyleFileChoice, AttributesOfValuesComeBack) {
  const std::string content =
      "\n[R/Styles/Class/A] (Class=A, Color=red)\n\n"
      "\"x\"=\"2\" (\"fixed\"=\"true\", \"since\"=\"3.1\" )\n\"y\"=\"b\" \n";
  const std::string path = Write("a.sty", content);
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  EXPECT_EQ(0, loaded.file.Save(path.c_str(), &loaded.styles));
  EXPECT_EQ(content, Read("a.sty"));
  Set(loaded["A"], "x", "3");
  EXPECT_EQ(0, loaded.file.Save(path.c_str(), &loaded.styles));
  LoadedStyles again(path);
  bix::CRgValue* value = StyleKeyAt(again.file, "R/Styles/Class/A").FindValue("x");
  EXPECT_STREQ("3", value->GetValue());
  EXPECT_STREQ("true", value->GetAttributeValue("fixed"));
  EXPECT_STREQ("3.1", value->GetAttributeValue("since"));
}

TEST_F(StyleFileChoice, AStyleThatRedefinesNothingComesBack) {
  const std::string path = directory / "new.sty";
  {
    bix::CStyle style("A", &classKind, "R", 0, nullptr);
    bix::CStyleList list;
    list.AddTail(&style);
    bix::CStyleFile file;
    ASSERT_EQ(0, file.Save(path.c_str(), &list));
  }
  EXPECT_EQ("\n[R/Styles/Class/A] (Class=A)\n\n\"BasedOn\"=\"none\" \n", Read("new.sty"));
  LoadedStyles loaded(path);
  EXPECT_EQ("A ", Names(loaded.styles));
  Restore(loaded.styles);
  EXPECT_EQ("none", Get(loaded["A"], "BasedOn"));
}

TEST_F(StyleFileChoice, ASectionOfAnotherPathKeepsItsValuesAndItsPlace) {
  const struct {
    const char* header;
    const char* root;
  } cases[] = {{"Foo/Bold", "Foo"},
               {"Foo/Class/Other", "Foo"},
               {"Foo/a/b/c/d/e", "Foo"},
               {"Styles/Class", "Styles"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.header);
    const std::string content = "\n[" + std::string(c.header) + "] (Class=Bold)\n\n\"x\"=\"2\" \n";
    const std::string path = Write("a.sty", content);
    LoadedStyles loaded(path);
    Restore(loaded.styles);
    EXPECT_STREQ(c.root, loaded["Bold"].GetRootName());
    EXPECT_EQ("2", Get(loaded["Bold"], "x"));
    EXPECT_EQ(0, loaded.file.Save(path.c_str(), &loaded.styles));
    EXPECT_EQ(content, Read("a.sty"));
    Set(loaded["Bold"], "x", "3");
    EXPECT_EQ(0, loaded.file.Save(path.c_str(), &loaded.styles));
    LoadedStyles again(path);
    Restore(again.styles);
    EXPECT_EQ("Bold ", Names(again.styles));
    EXPECT_EQ("3", Get(again["Bold"], "x"));
  }
}

TEST_F(StyleFileChoice, ASectionAtTheTopIsAStyleOfItsOwnName) {
  LoadedStyles loaded(Write("a.sty", "[Bold] (Class=A)\n\"x\"=\"2\"\n"));
  EXPECT_STREQ("Bold", loaded["A"].GetRootName());
  EXPECT_STREQ("Bold/Styles/Class/A", loaded["A"].GetCategoryPath());
  Restore(loaded.styles);
  EXPECT_EQ("2", Get(loaded["A"], "x"));
}

TEST_F(StyleFileChoice, ValuesThatWereNotAppliedAreSavedAsLoaded) {
  const std::string path = Write("a.sty", kFile);
  {
    LoadedStyles loaded(path);
    EXPECT_EQ(0, loaded.file.Save(path.c_str(), &loaded.styles));
    EXPECT_EQ(kFile, Read("a.sty"));
    Set(loaded["Bold"], "y", "changed");
    EXPECT_EQ(0, loaded.file.Save((directory / "b.sty").c_str(), &loaded.styles));
  }
  LoadedStyles again(directory / "b.sty");
  Restore(again.styles);
  EXPECT_EQ("3", Get(again["Bold"], "Width"));
  EXPECT_EQ("changed", Get(again["Bold"], "y"));
  EXPECT_EQ("5", Get(again["Bold"], "x"));
}

TEST_F(StyleFile, WhatWasRedefinedWithoutApplyingIsSavedInPlaceOfWhatWasLoaded) {
  LoadedStyles loaded(Write("a.sty", kFile));
  Set(loaded["Bold"], "Width", "9");
  EXPECT_EQ(0, loaded.file.Save(nullptr, &loaded.styles));
  std::string want = kFile;
  want.replace(want.find("=3"), 2, "=9");
  EXPECT_EQ(want, Read("a.sty"));
}

TEST_F(StyleFile, WhatIsFixedElsewhereIsNotAppliedAndKeepsNothingElseFromIt) {
  LoadedStyles loaded(Write("a.sty", kFile));
  bix::CStyle& bold = loaded["Bold"];
  const char* path = bold.GetCategoryPath();
  auto* const own = new bix::COptionFile(&bold);
  auto* const fixed = new bix::COptionFile(&bold);
  fixed->SetPathName("fixed.tot");
  ASSERT_TRUE(bold.AddFile(own));
  ASSERT_TRUE(bold.AddFile(fixed));
  ASSERT_TRUE(fixed->SetValue(path, "BasedOn", "Fixed"));
  ASSERT_TRUE(fixed->SetAttributeValue(path, "BasedOn", "", "fixed", "true"));
  bold.SetInitialValues();
  EXPECT_EQ("3", Held(bold, "Width"));
  EXPECT_EQ("-", Held(bold, "BasedOn"));
  EXPECT_EQ("Fixed", Get(bold, "BasedOn"));
  // The file keeps what it had.
  EXPECT_EQ(0, loaded.file.Save(nullptr));
  EXPECT_EQ(kFile, Read("a.sty"));
}

TEST_F(StyleFile, NothingIsAppliedToAFileThatCannotBeWritten) {
  LoadedStyles loaded(Write("a.sty", kFile));
  bix::CStyle& bold = loaded["Bold"];
  auto* const own = new bix::COptionFile(&bold);
  ASSERT_TRUE(bold.AddFile(own));
  own->SetPathName((directory / "missing.tot").c_str());
  bold.SetInitialValues();
  EXPECT_EQ(nullptr, own->FindKey(bold.GetCategoryPath()));
  EXPECT_EQ(0, loaded.file.Save(nullptr));
  EXPECT_EQ(kFile, Read("a.sty"));
}

TEST_F(StyleFile, SavingKeepsWhatOthersHaveInTheFile) {
  const std::string content =
      "\n[Editor/Display] (Kind=Base, Color=red)\n\n\"Font\"=\"Mono\" (\"a\"=\"1\", \"b\"=\"2\" )\n"
      "\n[R/Styles]\n\n\"Version\"=\"3\" \n"
      "\n[R/Styles/Class/A] (Class=A)\n\n\"x\"=\"2\" \n\"Later\"=\"option\" (\"p\"=\"1\" )\n"
      "\n[R/Styles/Class/A/Below]\n\n\"x\"=\"9\" \n"
      "\n[R/Styles/Table/T] (Table=T)\n\n\"Rows\"=\"4\" \n"
      "\n[Only/Attributes] (a=b)\n\n";
  const std::string path = Write("a.sty", content);
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  EXPECT_EQ(0, loaded.file.Save(path.c_str(), &loaded.styles));
  EXPECT_EQ(content, Read("a.sty"));
  Set(loaded["A"], "y", "b");
  EXPECT_EQ(0, loaded.file.Save(nullptr, &loaded.styles));
  std::string want = content;
  want.insert(want.find("\n[R/Styles/Class/A/Below]"), "\"y\"=\"b\" \n");
  EXPECT_EQ(want, Read("a.sty"));
}

TEST_F(StyleFile, ARedefinitionTakenBackLeavesTheFile) {
  const std::string path = Write("a.sty", kFile);
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  Set(loaded["Bold"], "Width", "1");
  EXPECT_EQ(0, loaded.file.Save(path.c_str()));
  std::string want = kFile;
  want.erase(want.find("\"Width\"=3 \n"), sizeof "\"Width\"=3 \n" - 1);
  EXPECT_EQ(want, Read("a.sty"));
}

TEST_F(StyleFile, SeveralProcessesOfOneFileKeepEachOthersStyles) {
  const std::string path = Write("a.sty", "");
  LoadedStyles first(path);
  LoadedStyles second(path);
  bix::CStyle a("A", &classKind, "R", 0, nullptr);
  bix::CStyle b("B", &classKind, "R", 0, nullptr);
  Set(a, "x", "2");
  Set(b, "x", "3");
  first.styles.AddTail(&a);
  second.styles.AddTail(&b);
  EXPECT_EQ(0, first.file.Save(path.c_str(), &first.styles));
  EXPECT_EQ(0, second.file.Save(path.c_str(), &second.styles));
  first.styles.RemoveAll();
  second.styles.RemoveAll();
  LoadedStyles both(path);
  EXPECT_EQ("A B ", Names(both.styles));
}

TEST_F(StyleFile, ARemovedStyleLeavesTheFileAtTheNextSave) {
  const std::string content =
      std::string(kFile) + "\n[Diagrams/Styles/Class/Bold/Below]\n\n\"z\"=\"1\" \n";
  const std::string path = Write("a.sty", content);
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  bix::CStyle& bold = loaded["Bold"];
  loaded.file.RemoveStyle(nullptr);
  EXPECT_FALSE(loaded.file.IsModified());
  loaded.file.RemoveStyle(&bold);
  EXPECT_TRUE(loaded.file.IsModified());
  EXPECT_EQ(nullptr, bold.GetKey());
  EXPECT_EQ(content, Read("a.sty"));
  EXPECT_EQ(0, loaded.file.Save(nullptr));
  EXPECT_FALSE(loaded.file.IsModified());
  std::string want = content;
  const std::size_t begin = want.find("\n[Diagrams/Styles/Class/Bold] ");
  want.erase(begin, want.find("\n[Diagrams/Styles/Arrow") - begin);
  EXPECT_EQ(want, Read("a.sty"));
  // The style is as it was, and a save that lists it brings it back.
  EXPECT_EQ("3", Get(bold, "Width"));
  EXPECT_EQ(0, loaded.file.Save(nullptr, &loaded.styles));
  LoadedStyles again(path);
  EXPECT_NE(nullptr, again.styles.FindStyle("Bold"));
}

TEST_F(StyleFile, AStyleIsRemovedOnce) {
  const std::string path = Write("a.sty", kFile);
  LoadedStyles loaded(path);
  loaded.file.RemoveStyle(&loaded["Bold"]);
  EXPECT_EQ(0, loaded.file.Save(nullptr));
  // Another process brings it back.
  Write("a.sty", kFile);
  EXPECT_EQ(0, loaded.file.Save(nullptr));
  LoadedStyles again(path);
  EXPECT_EQ("Base Bold Base ", Names(again.styles));
}

TEST_F(StyleFile, AStyleRemovedAndListedIsSaved) {
  const std::string path = Write("a.sty", kFile);
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  loaded.file.RemoveStyle(&loaded["Bold"]);
  EXPECT_EQ(0, loaded.file.Save(nullptr, &loaded.styles));
  EXPECT_EQ(kFile, Read("a.sty"));
}

TEST_F(StyleFile, RemovingAStyleAndThoseBelowItsSection) {
  const std::string path = Write("a.sty",
                                 "[R/A/B] (Class=B)\n\"x\"=\"2\"\n[R/A] (Class=A)\n\"x\"=\"3\"\n"
                                 "[R/A/C] (Class=C)\n\"x\"=\"4\"\n");
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  loaded.file.RemoveStyle(&loaded["B"]);
  loaded.file.RemoveStyle(&loaded["A"]);
  EXPECT_EQ(0, loaded.file.Save(nullptr));
  EXPECT_EQ("\n[R/A/C] (Class=C)\n\n\"x\"=\"4\" \n", Read("a.sty"));
}

TEST_F(StyleFileChoice, TwoStylesOfOnePlaceAreNotSaved) {
  const std::string path = Write("a.sty", kFile);
  bix::CStyle first("A", &classKind, "R", 0, nullptr);
  bix::CStyle second("A", &classKind, "R", 0, nullptr);
  bix::CStyleList list;
  list.AddTail(&first);
  list.AddTail(&first);
  bix::CStyleFile file;
  EXPECT_EQ(0, file.Save((directory / "b.sty").c_str(), &list));
  list.AddTail(&second);
  EXPECT_EQ(1, file.Save(path.c_str(), &list));
  EXPECT_EQ(kFile, Read("a.sty"));
}

TEST_F(StyleFile, WhatCannotBeWrittenReadablyKeepsTheOldFile) {
  const struct {
    const char* root;
    const char* name;
    const char* text;
  } cases[] = {{"R", "a)b", "2"}, {"R", "a,b", "2"}, {"R", "a=b", "2"}, {"R", "a]b", "2"},
               {"R", " a", "2"},  {"", "a", "2"},    {"R", "", "2"},    {"R]", "a", "2"},
               {"R", "a", "\""},  {"R", "a/", "2"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.root) + " " + c.name + " " + c.text);
    bix::CStyle style(c.name, &classKind, c.root, 0, nullptr);
    Set(style, "x", c.text);
    bix::CStyleList list;
    list.AddTail(&style);
    bix::CStyleFile file;
    file.SetModifiedFlag();
    const std::string path = Write("a.sty", kFile);
    EXPECT_EQ(1, file.Save(path.c_str(), &list));
    EXPECT_EQ(kFile, Read("a.sty"));
    EXPECT_EQ(1, file.Save((directory / "b.sty").c_str(), &list));
    EXPECT_FALSE(Exists(directory / "b.sty"));
    EXPECT_FALSE(Exists(directory / "a.sty~"));
    EXPECT_TRUE(file.IsModified());
  }
}

TEST_F(StyleFile, SavingFailsWithTheErrorNumberAndKeepsTheStyles) {
  const std::string path = Write("a.sty", kFile);
  LoadedStyles loaded(path);
  Restore(loaded.styles);
  Set(loaded["Bold"], "y", "b");
  bix::CStyleFile nameless;
  EXPECT_EQ(1, nameless.Save(nullptr, &loaded.styles));
  EXPECT_EQ(1, nameless.Save("", &loaded.styles));
  EXPECT_EQ(ENOENT, loaded.file.Save((directory / "no/a.sty").c_str()));
  Write("a.sty", "[R//] rubbish");
  EXPECT_EQ(1, loaded.file.Save(path.c_str(), &loaded.styles));
  EXPECT_EQ("[R//] rubbish", Read("a.sty"));
  EXPECT_EQ(EISDIR, loaded.file.Save(directory.Path().c_str(), &loaded.styles));
  EXPECT_EQ("b", Get(loaded["Bold"], "y"));
  EXPECT_EQ("3", Get(loaded["Bold"], "Width"));
  EXPECT_EQ(0, loaded.file.Save((directory / "b.sty").c_str()));
}

TEST_F(StyleFile, AnEmptyListOverAFileChangesNothing) {
  const std::string content = "\n[R/Styles/Class/A] (Class=A)\n\n\"x\"=\"2\" \n";
  const std::string path = Write("a.sty", content);
  bix::CStyleFile file;
  const bix::CStyleList empty;
  EXPECT_EQ(0, file.Save(path.c_str(), &empty));
  EXPECT_EQ(content, Read("a.sty"));
  EXPECT_EQ(0, file.Save((directory / "b.sty").c_str()));
  EXPECT_EQ("", Read("b.sty"));
}

TEST_F(StyleFile, TheOptionFileOfAStyleCanBeSavedOverTheStyleFile) {
  const std::string path = Write("a.sty", kFile);
  bix::CStyle style("Own", &classKind, "R", 0, &builtInClass);
  Set(style, "x", "2");
  void* position = style.GetFirstFilePosition();
  EXPECT_EQ(0, style.GetNextFile(position)->Save(path.c_str()));
  LoadedStyles loaded(path);
  EXPECT_EQ("Base Bold Base Own ", Names(loaded.styles));
  Restore(loaded.styles);
  EXPECT_EQ("2", Get(loaded["Own"], "x"));
  EXPECT_EQ("3", Get(loaded["Bold"], "Width"));
  EXPECT_EQ(&builtInClass, loaded["Own"].GetParent());
}

TEST_F(StyleFile, IsReadAlikeWhateverTheOrderOfTheKinds) {
  const std::string path = Write("a.sty", kFile);
  for (const bool isReversed : {false, true}) {
    SCOPED_TRACE(isReversed);
    bix::CStyleKind one(isReversed ? "Two" : "One", kClassOptions, 4);
    bix::CStyleKind two(isReversed ? "One" : "Two", kClassOptions, 4);
    bix::CStyle first("F", &one, "R", 0, nullptr);
    bix::CStyle second("F", &two, "R", 0, nullptr);
    LoadedStyles loaded(Write("b.sty",
                              "[R/Styles/One/A] (One=A)\n\"x\"=\"2\"\n"
                              "[R/Styles/Two/A] (Two=A)\n\"x\"=\"3\"\n"));
    Restore(loaded.styles);
    bix::CStyleKind& ofOne = isReversed ? two : one;
    bix::CStyleKind& ofTwo = isReversed ? one : two;
    EXPECT_EQ("2", Get(*ofOne.GetStyleList()->FindStyle("A"), "x"));
    EXPECT_EQ("3", Get(*ofTwo.GetStyleList()->FindStyle("A"), "x"));
  }
}

// Hostile files.

TEST_F(StyleFile, NoFailureWritesAnything) {
  const std::vector<std::string> contents = {"[R/Styles/Class/A] (Class=A)\n\"x\"=-5",
                                             "[R/Styles/Class/A] (Class",
                                             "[R/Styles/Class/A] (=,=,=)\n\"x\"=\"1\"",
                                             "[R/Styles/Class/A] (Class=)\n\"x\"=\"1\"",
                                             "[]",
                                             "(",
                                             "\"",
                                             "[A] (a=b) (c=d)",
                                             std::string("[A]\0(a=b)", 9),
                                             "\xFF\xFE[\0A"};
  std::string output;
  std::string errors;
  ScopedRecorder messages;
  ScopedRecorder normal(bix::bixout);
  {
    const CapturedOutput captured;
    for (const std::string& content : contents) {
      const std::string path = Write("bad.sty", content);
      LoadedStyles loaded(path);
      Restore(loaded.styles);
      bix::CStyle style("a)b", &classKind, "R", 0, nullptr);
      Set(style, "x", "2");
      Set(style, "unknown", "2");
      loaded.styles.AddTail(&style);
      (void)loaded.file.Save(path.c_str(), &loaded.styles);
      (void)loaded.file.Save("/nonexistent/a.sty");
      loaded.styles.Remove(&style);
      EXPECT_EQ(content, Read("bad.sty"));
    }
    bix::CStyleFile missing;
    EXPECT_EQ(1, missing.Load("/nonexistent/a.sty", nullptr));
    EXPECT_EQ(1, missing.Load("", nullptr));
    EXPECT_EQ(1, missing.Load(nullptr, nullptr));
    output = captured.Output();
    errors = captured.Errors();
  }
  EXPECT_EQ("", output);
  EXPECT_EQ("", errors);
  EXPECT_EQ("", messages.Text());
  EXPECT_EQ("", normal.Text());
}

TEST_F(StyleFile, DeepAndWideFilesAreLoadedAndSaved) {
  std::string deep = "[R";
  for (int i = 0; i < 100000; ++i) deep += "/k";
  deep += "] (Class=Deep)\n\"x\"=\"2\"\n";
  LoadedStyles loaded(Write("deep.sty", deep));
  EXPECT_EQ(0, loaded.result);
  Restore(loaded.styles);
  EXPECT_EQ("2", Get(loaded["Deep"], "x"));
  EXPECT_EQ(0, loaded.file.Save(nullptr, &loaded.styles));
  LoadedStyles again(directory / "deep.sty");
  EXPECT_EQ("Deep ", Names(again.styles));
  std::string wide;
  for (int i = 0; i < 10000; ++i) {
    const std::string name = std::to_string(i);
    wide += "[R/Styles/Class/" + name + "] (Class=" + name + ")\n\"x\"=\"" + name + "\"\n";
  }
  LoadedStyles many(Write("wide.sty", wide));
  EXPECT_EQ(10000, many.styles.GetCount());
  Restore(many.styles);
  EXPECT_EQ("9999", Get(many["9999"], "x"));
  EXPECT_EQ(0, many.file.Save(nullptr, &many.styles));
}

TEST_F(StyleFile, StylesThatAreBasedOnEachOtherEnd) {
  LoadedStyles loaded(Write("a.sty",
                            "[R/Styles/Class/A] (Class=A)\n\"BasedOn\"=\"B\"\n"
                            "[R/Styles/Class/B] (Class=B)\n\"BasedOn\"=\"A\"\n\"x\"=\"2\"\n"
                            "[R/Styles/Class/C] (Class=C)\n\"BasedOn\"=\"C\"\n"
                            "[R/Styles/Class/D] (Class=D)\n\"BasedOn\"=\"Nobody\"\n"));
  Restore(loaded.styles);
  EXPECT_EQ("2", Get(loaded["A"], "x"));
  EXPECT_EQ("a", Get(loaded["A"], "y"));
  EXPECT_EQ(nullptr, loaded["C"].GetParent());
  EXPECT_EQ(nullptr, loaded["D"].GetParent());
  EXPECT_EQ("Nobody", Get(loaded["D"], "BasedOn"));
  EXPECT_EQ(0, loaded.file.Save(nullptr, &loaded.styles));
  LoadedStyles again(directory / "a.sty");
  EXPECT_EQ("A B C D ", Names(again.styles));
  Restore(again.styles);
  EXPECT_EQ("Nobody", Get(again["D"], "BasedOn"));
}

TEST_F(StyleFile, ASecondLoadOfTheSameStylesFileReplacesTheKeys) {
  LoadedStyles loaded(Write("a.sty", kFile));
  loaded.file.RemoveStyle(&loaded["Bold"]);
  bix::CStyleList again;
  EXPECT_EQ(0, loaded.file.Load((directory / "a.sty").c_str(), &again));
  // Loading brings back what was to be removed.
  EXPECT_EQ(0, loaded.file.Save(nullptr));
  EXPECT_EQ(kFile, Read("a.sty"));
  DeleteAll(again);
}

TEST_F(StyleFile, LoadingAnotherFileForgetsWhatWasToBeRemoved) {
  LoadedStyles loaded(Write("a.sty", kFile));
  loaded.file.RemoveStyle(&loaded["Bold"]);
  const std::string other = Write("b.sty", "");
  bix::CStyleList none;
  EXPECT_EQ(0, loaded.file.Load(other.c_str(), &none));
  EXPECT_EQ(0, loaded.file.Save((directory / "a.sty").c_str(), &none));
  LoadedStyles again(directory / "a.sty");
  EXPECT_EQ("Base Bold Base ", Names(again.styles));
}

}  // namespace
}  // namespace bix_test
