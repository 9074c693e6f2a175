#include "bix/registry.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "registry/registry_test_support.h"

namespace {

using bix::CDefRgKey;
using bix::CDefRgValue;
using bix::CRgAttribute;
using bix::CRgFile;
using bix::CRgKey;
using bix::CRgValue;
using bix::MList;
using bix_test::Describe;

using Attributes = MList<CRgAttribute*>;

/// Writes its name into a log when it is destroyed.
class LoggedAttribute : public CRgAttribute {
 public:
  LoggedAttribute(const char* name, std::string& log) : CRgAttribute(name, "v"), m_log(log) {}
  ~LoggedAttribute() override { m_log += std::string("a:") + GetName() + " "; }

 private:
  std::string& m_log;
};

class LoggedValue : public CDefRgValue {
 public:
  LoggedValue(const char* name, std::string& log) : CDefRgValue(name, 0, ""), m_log(log) {}
  ~LoggedValue() override { m_log += std::string("v:") + GetName() + " "; }

 private:
  std::string& m_log;
};

class LoggedKey : public CDefRgKey {
 public:
  LoggedKey(const char* name, std::string& log) : CDefRgKey(name), m_log(log) {}
  ~LoggedKey() override { m_log += std::string("k:") + GetName() + " "; }

 private:
  std::string& m_log;
};

/// A key layer without indexes, with parent links, that makes what it is asked for.
class LinkedKey : public CRgKey {
 public:
  explicit LinkedKey(const char* name) : m_name(name) {}
  const char* GetName() const override { return m_name.c_str(); }
  CRgKey* CreateKey(const char* name, Attributes*) override {
    auto* key = new LinkedKey(name);
    AddKey(key);
    return key;
  }
  bool AddKey(CRgKey* key) override {
    static_cast<LinkedKey*>(key)->m_parent = this;
    return CRgKey::AddKey(key);
  }
  CRgValue* CreateValue(const char* name, CRgValue::RvType type, const char* value,
                        Attributes*) override {
    auto* made = new CDefRgValue(name, type, value);
    AddValue(made);
    return made;
  }

 private:
  std::string m_name;
};

Attributes& Fill(Attributes& list, std::initializer_list<CRgAttribute*> attributes) {
  for (CRgAttribute* attribute : attributes) list.AddTail(attribute);
  return list;
}

TEST(RegistryAttribute, KeepsCopiesOfItsTexts) {
  std::string name = "n", value = "v";
  CRgAttribute attribute(name.c_str(), value.c_str());
  name[0] = value[0] = 'x';
  EXPECT_STREQ("n", attribute.GetName());
  EXPECT_STREQ("v", attribute.GetValue());
  attribute.SetValue("w");
  EXPECT_STREQ("n", attribute.GetName());
  EXPECT_STREQ("w", attribute.GetValue());
  attribute.SetValue(nullptr);
  EXPECT_STREQ("", attribute.GetValue());
}

TEST(RegistryValue, AccessorsReadAndWriteItsFields) {
  CDefRgValue value("n", 2, "t");
  EXPECT_STREQ("n", value.GetName());
  EXPECT_STREQ("t", value.GetValue());
  EXPECT_EQ(2, value.GetType());
  value.SetName("m");
  value.SetValue("u");
  value.SetType(1);
  EXPECT_STREQ("m", value.GetName());
  EXPECT_STREQ("u", value.GetValue());
  EXPECT_EQ(1, value.GetType());
  value.SetValue(nullptr);
  EXPECT_STREQ("", value.GetValue());
}

TEST(RegistryValue, AttributesKeepTheirOrder) {
  CDefRgValue value("n", 0, "");
  EXPECT_EQ(0, value.GetAttributeCount());
  EXPECT_EQ(nullptr, value.GetFirstAttributePosition());
  auto* a = new CRgAttribute("a", "1");
  auto* b = new CRgAttribute("b", "2");
  value.AddAttribute(a);
  value.AddAttribute(b);
  EXPECT_EQ(2, value.GetAttributeCount());
  void* position = value.GetFirstAttributePosition();
  EXPECT_EQ(a, value.GetNextAttribute(position));
  ASSERT_NE(nullptr, position);
  EXPECT_EQ(b, value.GetNextAttribute(position));
  EXPECT_EQ(nullptr, position);
  EXPECT_EQ(2, value.GetAttributeList()->GetCount());
}

TEST(RegistryValue, FirstAttributeOfANameIsReadAndReplaced) {
  CDefRgValue value("n", 0, "");
  value.AddAttribute(new CRgAttribute("a", "1"));
  value.AddAttribute(new CRgAttribute("a", "2"));
  value.AddAttribute(new CRgAttribute("A", "3"));
  EXPECT_STREQ("1", value.GetAttributeValue("a"));
  EXPECT_STREQ("3", value.GetAttributeValue("A"));
  EXPECT_EQ(nullptr, value.GetAttributeValue("b"));
  EXPECT_EQ(nullptr, value.GetAttributeValue(""));
  value.SetAttributeValue("a", "9");
  EXPECT_EQ("(a=9,a=2,A=3)", bix_test::DescribeAttributes(*value.GetAttributeList()));
  value.SetAttributeValue("b", "8");
  EXPECT_EQ("(a=9,a=2,A=3,b=8)", bix_test::DescribeAttributes(*value.GetAttributeList()));
}

TEST(RegistryValue, OwnsItsAttributes) {
  std::string log;
  {
    CDefRgValue value("n", 0, "");
    value.AddAttribute(new LoggedAttribute("1", log));
    value.AddAttribute(new LoggedAttribute("2", log));
    EXPECT_EQ("", log);
  }
  EXPECT_EQ("a:1 a:2 ", log);
}

TEST(RegistryKey, BaseLooksInTheListAndTakesTheFirst) {
  LinkedKey key("");
  CRgKey* first = key.CreateKey("k", nullptr);
  CRgKey* second = key.CreateKey("k", nullptr);
  CRgValue* one = key.CreateValue("v", 0, "1", nullptr);
  CRgValue* two = key.CreateValue("v", 0, "2", nullptr);
  EXPECT_EQ(first, key.FindKey("k"));
  EXPECT_EQ(one, key.FindValue("v"));
  EXPECT_TRUE(key.RemoveKey(first));
  EXPECT_TRUE(key.RemoveValue(one));
  EXPECT_EQ(second, key.FindKey("k"));
  EXPECT_EQ(two, key.FindValue("v"));
  EXPECT_EQ(nullptr, key.FindKey("K"));
  EXPECT_EQ(nullptr, key.FindValue("V"));
  EXPECT_EQ(nullptr, key.FindKey(nullptr));
  delete first;
  delete one;
}

TEST(RegistryKey, BaseTakesTheFirstOfTwoValuesOnDefaultKeysToo) {
  CDefRgKey key("");
  CRgValue* older = key.CreateValue("v", 0, "1", nullptr);
  CRgValue* newer = key.CreateValue("v", 0, "2", nullptr);
  EXPECT_EQ(older, key.CRgKey::FindValue("v"));
  EXPECT_EQ(newer, key.FindValue("v"));
}

TEST(RegistryKey, RemovingUnlinksAndNeverDeletes) {
  std::string log;
  LinkedKey parent("p");
  auto* key = new LinkedKey("k");
  parent.AddKey(key);
  auto* value = new LoggedValue("v", log);
  EXPECT_TRUE(parent.AddValue(value));
  EXPECT_EQ(&parent, key->GetParent());
  EXPECT_EQ(1, parent.GetKeyCount());
  EXPECT_EQ(1, parent.GetValueCount());

  EXPECT_TRUE(parent.RemoveKey(key));
  EXPECT_EQ(nullptr, key->GetParent());
  EXPECT_EQ(0, parent.GetKeyCount());
  EXPECT_EQ(nullptr, parent.GetFirstKeyPosition());
  EXPECT_FALSE(parent.RemoveKey(key));

  EXPECT_TRUE(parent.RemoveValue(value));
  EXPECT_EQ(0, parent.GetValueCount());
  EXPECT_EQ(nullptr, parent.GetFirstValuePosition());
  EXPECT_FALSE(parent.RemoveValue(value));
  EXPECT_EQ("", log);
  delete value;
  delete key;
}

TEST(RegistryKey, RemovingAKeyThatIsNotListedKeepsItsParent) {
  LinkedKey parent("p"), other("o");
  CRgKey* key = parent.CreateKey("k", nullptr);
  EXPECT_FALSE(other.RemoveKey(key));
  EXPECT_EQ(&parent, key->GetParent());
}

TEST(RegistryKey, ElementsAreWalkedInInsertionOrder) {
  CDefRgKey key("");
  for (const char* name : {"z", "a", "m"}) {
    key.CreateKey(name, nullptr);
    key.CreateValue(name, 0, name, nullptr);
  }
  EXPECT_EQ("z=z:0\na=a:0\nm=m:0\nz\na\nm\n", Describe(&key));
  EXPECT_EQ(3, key.GetKeyCount());
  EXPECT_EQ(3, key.GetValueCount());
}

TEST(RegistryKey, SetAttributesDeletesTheOldAndTakesTheNew) {
  std::string log;
  CDefRgKey key("k");
  Attributes list;
  key.SetAttributes(&Fill(list, {new LoggedAttribute("1", log), new LoggedAttribute("2", log)}));
  EXPECT_EQ(2, list.GetCount());
  list.RemoveAll();
  EXPECT_EQ("", log);
  EXPECT_EQ("(1=v,2=v)", bix_test::DescribeAttributes(*key.GetAttributeList()));

  key.SetAttributes(&Fill(list, {new LoggedAttribute("3", log)}));
  EXPECT_EQ("a:1 a:2 ", log);
  EXPECT_EQ("(3=v)", bix_test::DescribeAttributes(*key.GetAttributeList()));
  list.RemoveAll();

  key.SetAttributes(&list);
  EXPECT_EQ("a:1 a:2 a:3 ", log);
  EXPECT_EQ(0, key.GetAttributeList()->GetCount());
}

TEST(RegistryKey, SetAttributesWithItsOwnListKeepsThem) {
  std::string log;
  CDefRgKey key("k");
  key.GetAttributeList()->AddTail(new LoggedAttribute("1", log));
  key.SetAttributes(key.GetAttributeList());
  EXPECT_EQ("", log);
  EXPECT_EQ("(1=v)", bix_test::DescribeAttributes(*key.GetAttributeList()));
}

TEST(RegistryKey, UseAttributesIsNullInTheBase) {
  CDefRgKey key("k");
  CRgAttribute attribute("a", "b");
  Attributes list;
  EXPECT_EQ(nullptr, key.UseAttributes(&Fill(list, {&attribute}), "x"));
  EXPECT_EQ(0, key.GetAttributeList()->GetCount());
}

TEST(RegistryKey, EmptyDeletesAllContentsAndTheKeyStaysUsable) {
  std::string log;
  CDefRgKey root("");
  auto* key = new LoggedKey("k", log);
  key->AddKey(new LoggedKey("kk", log));
  key->AddValue(new LoggedValue("kv", log));
  root.AddKey(key);
  root.AddKey(new LoggedKey("l", log));
  root.AddValue(new LoggedValue("v", log));
  root.GetAttributeList()->AddTail(new LoggedAttribute("a", log));
  root.Empty();
  EXPECT_EQ("k:k k:kk v:kv k:l v:v a:a ", log);
  EXPECT_EQ("", Describe(&root));
  EXPECT_EQ(0, root.GetAttributeList()->GetCount());
  EXPECT_EQ(nullptr, root.FindKey("k"));
  EXPECT_EQ(nullptr, root.FindValue("v"));
  root.CreateValue("v", 0, "1", nullptr);
  EXPECT_STREQ("1", root.FindValue("v")->GetValue());
}

TEST(RegistryKey, DestructorDeletesAllContents) {
  std::string log;
  {
    LoggedKey root("r", log);
    root.AddKey(new LoggedKey("k", log));
    root.AddValue(new LoggedValue("v", log));
    root.GetAttributeList()->AddTail(new LoggedAttribute("a", log));
  }
  EXPECT_EQ("k:r k:k v:v a:a ", log);
}

/// A chain of keys 0/1/2/..., each with one value; returns its root.
std::unique_ptr<CDefRgKey> MakeChain(int depth, std::string& log) {
  auto root = std::make_unique<CDefRgKey>("");
  CRgKey* key = root.get();
  for (int i = 0; i < depth; ++i) {
    auto* next = new LoggedKey(std::to_string(i).c_str(), log);
    key->AddKey(next);
    key = next;
  }
  return root;
}

TEST(RegistryKey, ChainOfAHundredThousandKeysIsDeletedFromTheTop) {
  constexpr int kDepth = 100000;
  std::string want;
  for (int i = 0; i < kDepth; ++i) want += "k:" + std::to_string(i) + " ";
  std::string log;
  auto root = MakeChain(kDepth, log);
  root->Empty();
  EXPECT_EQ(0, root->GetKeyCount());
  EXPECT_TRUE(want == log) << "Empty deletes in another order";
  log.clear();
  MakeChain(kDepth, log).reset();
  EXPECT_TRUE(want == log) << "the destructor deletes in another order";
}

TEST(RegistryKey, WideKeysAtAnyDepthAreDeletedInListOrder) {
  for (const int depth : {1, 10, 62, 63, 64, 65, 66, 70, 200}) {
    SCOPED_TRACE(depth);
    std::string want, log;
    auto root = std::make_unique<CDefRgKey>("");
    CRgKey* key = root.get();
    std::vector<std::string> after;
    for (int i = 0; i < depth; ++i) {
      const std::string name = std::to_string(i);
      auto* first = new LoggedKey((name + "a").c_str(), log);
      auto* second = new LoggedKey((name + "b").c_str(), log);
      key->AddKey(first);
      key->AddKey(second);
      second->AddKey(new LoggedKey((name + "c").c_str(), log));
      want += "k:" + name + "a ";
      after.push_back("k:" + name + "b k:" + name + "c ");
      key = first;
    }
    while (!after.empty()) {
      want += after.back();
      after.pop_back();
    }
    root.reset();
    EXPECT_EQ(want, log);
  }
}

/// Notes when it is destroyed while it has a parent link, which in the default layer it never has.
class KeyWithoutParent : public CDefRgKey {
 public:
  KeyWithoutParent(int& withParent) : CDefRgKey("k"), m_withParent(withParent) {}
  ~KeyWithoutParent() override {
    if (GetParent() != nullptr) ++m_withParent;
  }

 private:
  int& m_withParent;
};

TEST(RegistryKey, KeysFarDownHaveNoParentLinkWhenTheyAreDeleted) {
  int withParent = 0;
  {
    CDefRgKey root("");
    CRgKey* key = &root;
    for (int depth = 0; depth < 80; ++depth) {
      auto* first = new KeyWithoutParent(withParent);
      key->AddKey(first);
      key->AddKey(new KeyWithoutParent(withParent));
      key = first;
    }
  }
  EXPECT_EQ(0, withParent);
}

/// Empties a chain of its own while it is destroyed, far down in another one.
class KeyWithATreeOfItsOwn : public CDefRgKey {
 public:
  KeyWithATreeOfItsOwn(std::string& log) : CDefRgKey("own"), m_tree(MakeChain(300, log)) {}

 private:
  std::unique_ptr<CDefRgKey> m_tree;
};

TEST(RegistryKey, DestructorsMayDeleteFurtherTreesAtAnyDepth) {
  for (const int depth : {1, 64, 65, 66, 500}) {
    SCOPED_TRACE(depth);
    std::string log, want;
    {
      auto root = MakeChain(depth, log);
      CRgKey* key = root.get();
      for (void* position; (position = key->GetFirstKeyPosition()) != nullptr;)
        key = key->GetNextKey(position);
      key->AddKey(new KeyWithATreeOfItsOwn(log));
    }
    std::size_t count = 0;
    for (std::size_t at = 0; (at = log.find("k:", at)) != std::string::npos; ++at) ++count;
    EXPECT_EQ(static_cast<std::size_t>(depth) + 300, count);
  }
}

TEST(RegistryKey, NamesDifferByCaseAndByEveryByte) {
  CDefRgKey key("");
  CRgKey* upper = key.CreateKey("A", nullptr);
  CRgKey* lower = key.CreateKey("a", nullptr);
  CRgKey* blank = key.CreateKey("a ", nullptr);
  CRgKey* latin = key.CreateKey("\xe4", nullptr);
  CRgKey* utf = key.CreateKey("\xc3\xa4", nullptr);
  CRgKey* none = key.CreateKey("", nullptr);
  EXPECT_EQ(6, key.GetKeyCount());
  EXPECT_EQ(upper, key.FindKey("A"));
  EXPECT_EQ(lower, key.FindKey("a"));
  EXPECT_EQ(blank, key.FindKey("a "));
  EXPECT_EQ(latin, key.FindKey("\xe4"));
  EXPECT_EQ(utf, key.FindKey("\xc3\xa4"));
  EXPECT_EQ(none, key.FindKey(""));
  EXPECT_EQ(none, key.FindKey(nullptr));
}

TEST(RegistryKey, CreateKeyFindsWhatIsThere) {
  CDefRgKey key("");
  CRgKey* made = key.CreateKey("k", nullptr);
  EXPECT_STREQ("k", made->GetName());
  EXPECT_EQ(made, key.CreateKey("k", nullptr));
  EXPECT_EQ(1, key.GetKeyCount());
}

TEST(RegistryKey, CreateValueKeepsNameTypeAndText) {
  CDefRgKey key("");
  CRgValue* value = key.CreateValue("n", 2, "t", nullptr);
  EXPECT_STREQ("n", value->GetName());
  EXPECT_STREQ("t", value->GetValue());
  EXPECT_EQ(2, value->GetType());
  EXPECT_EQ(value, key.FindValue("n"));
  EXPECT_EQ("=:0\n", [] {
    CDefRgKey empty("");
    empty.CreateValue(nullptr, 0, nullptr, nullptr);
    return Describe(&empty);
  }());
}

TEST(RegistryTreeCompat, AddKeySetsNoParent) {
  CDefRgKey root("");
  auto* key = new CDefRgKey("k");
  EXPECT_TRUE(root.AddKey(key));
  EXPECT_EQ(nullptr, key->GetParent());
  EXPECT_EQ(nullptr, root.CreateKey("l", nullptr)->GetParent());
}

TEST(RegistryTreeCompat, DefaultLayerTakesNoAttributes) {
  CDefRgKey root("");
  CRgAttribute attribute("a", "b");
  Attributes list;
  Fill(list, {&attribute});
  EXPECT_EQ(0, root.CreateKey("k", &list)->GetAttributeList()->GetCount());
  EXPECT_EQ(0, root.CreateKey("k", &list)->GetAttributeList()->GetCount());
  EXPECT_EQ(0, root.CreateValue("v", 0, "", &list)->GetAttributeCount());
  EXPECT_EQ(1, list.GetCount());
}

TEST(RegistryIndexCompat, SecondValueOfANameIsAdded) {
  CDefRgKey key("k");
  key.CreateValue("v", 0, "1", nullptr);
  CRgValue* newer = key.CreateValue("v", 0, "2", nullptr);
  EXPECT_EQ(newer, key.FindValue("v"));
  EXPECT_EQ("v=1:0\nv=2:0\n", Describe(&key));
  EXPECT_EQ("\n[k]\n\n\"v\"=\"1\" \n\"v\"=\"2\" \n", bix_test::Dumped(key, ""));
}

TEST(RegistryIndexCompat, RemovingEitherDuplicateUnindexesTheName) {
  for (const bool removesNewer : {true, false}) {
    SCOPED_TRACE(removesNewer);
    CDefRgKey key("k");
    CRgValue* older = key.CreateValue("v", 0, "1", nullptr);
    CRgValue* newer = key.CreateValue("v", 0, "2", nullptr);
    CRgValue* removed = removesNewer ? newer : older;
    EXPECT_TRUE(key.RemoveValue(removed));
    delete removed;
    EXPECT_EQ(nullptr, key.FindValue("v"));
    EXPECT_EQ(removesNewer ? "v=1:0\n" : "v=2:0\n", Describe(&key));
  }
}

TEST(RegistryIndexCompat, RemovingAForeignObjectUnindexesItsName) {
  CDefRgKey key("");
  CRgKey* listedKey = key.CreateKey("n", nullptr);
  key.CreateValue("n", 0, "1", nullptr);
  CDefRgKey foreignKey("n");
  CDefRgValue foreignValue("n", 0, "");
  EXPECT_FALSE(key.RemoveKey(&foreignKey));
  EXPECT_FALSE(key.RemoveValue(&foreignValue));
  EXPECT_EQ(nullptr, key.FindKey("n"));
  EXPECT_EQ(nullptr, key.FindValue("n"));
  EXPECT_EQ("n=1:0\nn\n", Describe(&key));
  EXPECT_NE(listedKey, key.CreateKey("n", nullptr)) << "what is not indexed is made again";
}

TEST(RegistryIndexCompat, RenamedValueIsFoundUnderItsFirstName) {
  CDefRgKey key("");
  CRgValue* value = key.CreateValue("old", 0, "1", nullptr);
  value->SetName("new");
  EXPECT_EQ(value, key.FindValue("old"));
  EXPECT_EQ(nullptr, key.FindValue("new"));
  EXPECT_EQ("new=1:0\n", Describe(&key));
}

TEST(RegistryIndex, RemovedValueIsFoundUnderNoneOfItsNames) {
  CDefRgKey key("");
  CRgValue* value = key.CreateValue("old", 0, "1", nullptr);
  CRgValue* other = key.CreateValue("new", 0, "2", nullptr);
  value->SetName("new");
  EXPECT_TRUE(key.RemoveValue(value));
  delete value;
  EXPECT_EQ(nullptr, key.FindValue("old"));
  EXPECT_EQ(nullptr, key.FindValue("new")) << "the entry of its name goes whatever it points at";
  EXPECT_EQ("new=2:0\n", Describe(&key));
  EXPECT_TRUE(key.RemoveValue(other));
  delete other;
}

/// A key of a foreign layer whose name changes.
class RenamedKey : public LinkedKey {
 public:
  RenamedKey() : LinkedKey("") {}
  const char* GetName() const override { return name.c_str(); }
  std::string name = "old";
};

TEST(RegistryIndex, RemovedKeyIsFoundUnderNoneOfItsNames) {
  CDefRgKey root("");
  RenamedKey key;
  root.AddKey(&key);
  key.name = "new";
  EXPECT_EQ(&key, root.FindKey("old"));
  EXPECT_TRUE(root.RemoveKey(&key));
  EXPECT_EQ(nullptr, root.FindKey("old"));
}

TEST(RegistryIndex, LaterKeyOfANameIsFound) {
  CDefRgKey root("");
  root.CreateKey("k", nullptr);
  auto* later = new CDefRgKey("k");
  root.AddKey(later);
  EXPECT_EQ(later, root.FindKey("k"));
  EXPECT_EQ(2, root.GetKeyCount());
  EXPECT_TRUE(root.RemoveKey(later));
  EXPECT_EQ(nullptr, root.FindKey("k"));
  EXPECT_EQ(1, root.GetKeyCount());
  delete later;
}

TEST(RegistryIndex, ValueRenamedBeforeTheFirstSearchIsFoundUnderItsFirstName) {
  CDefRgKey key("");
  CRgValue* value = key.CreateValue("first", 0, "1", nullptr);
  value->SetName("second");
  value->SetName("third");
  value->SetName(value->GetName());
  EXPECT_STREQ("third", value->GetName());
  EXPECT_EQ(value, key.FindValue("first"));
  EXPECT_EQ(nullptr, key.FindValue("second"));
  EXPECT_EQ(nullptr, key.FindValue("third"));
  EXPECT_TRUE(key.RemoveValue(value));
  EXPECT_EQ(nullptr, key.FindValue("first"));
  delete value;
}

TEST(RegistryIndex, ValueRenamedBeforeItIsAddedIsFoundUnderItsNewName) {
  CDefRgKey key("");
  auto* value = new CDefRgValue("first", 0, "1");
  value->SetName("second");
  CRgValue* before = key.CreateValue("before", 0, "0", nullptr);
  key.AddValue(value);
  EXPECT_EQ(nullptr, key.FindValue("first"));
  EXPECT_EQ(value, key.FindValue("second"));
  EXPECT_EQ(before, key.FindValue("before"));
  value->SetName("third");
  EXPECT_EQ(value, key.FindValue("second"));
  EXPECT_TRUE(key.RemoveValue(value));
  EXPECT_EQ(nullptr, key.FindValue("second"));
  delete value;
}

/// A class of a host, which keeps its name elsewhere.
class HostValue : public CDefRgValue {
 public:
  explicit HostValue(const char* name) : CDefRgValue("", 0, ""), m_hostName(name) {}
  const char* GetName() const override { return m_hostName.c_str(); }

 private:
  std::string m_hostName;
};

/// A layer of a host that says null where there is no text.
class NullKey : public CRgKey {
 public:
  const char* GetName() const override { return nullptr; }
  CRgKey* CreateKey(const char*, Attributes*) override {
    auto* key = new NullKey;
    AddKey(key);
    return key;
  }
  CRgValue* CreateValue(const char*, CRgValue::RvType, const char*, Attributes*) override;
};
class NullValue : public CRgValue {
 public:
  const char* GetName() const override { return nullptr; }
  const char* GetValue() const override { return nullptr; }
  RvType GetType() const override { return 0; }
  void SetName(const char*) override {}
  void SetType(RvType) override {}
  void SetValue(const char*) override {}
};
CRgValue* NullKey::CreateValue(const char*, CRgValue::RvType, const char*, Attributes*) {
  auto* value = new NullValue;
  AddValue(value);
  return value;
}

TEST(RegistryKey, ANullTextOfALayerIsTheEmptyText) {
  NullKey root;
  CRgKey* const key = root.CreateKey("", nullptr);
  CRgValue* const value = key->CreateValue("", 0, "", nullptr);
  EXPECT_EQ(key, root.FindKey(""));
  EXPECT_EQ(nullptr, root.FindKey("x"));
  EXPECT_EQ(value, key->FindValue(""));
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const file = open_memstream(&text, &size);
  root.Dump(file, nullptr);
  std::fclose(file);
  EXPECT_STREQ("\n[]\n\n\"\"=\"\" \n", text);
  std::free(text);

  CDefRgKey plain("");
  auto* const hostKey = new NullKey;
  auto* const hostValue = new NullValue;
  plain.AddKey(hostKey);
  plain.AddValue(hostValue);
  EXPECT_EQ(hostKey, plain.FindKey(""));
  EXPECT_EQ(hostValue, plain.FindValue(""));
  EXPECT_TRUE(plain.RemoveKey(hostKey));
  EXPECT_TRUE(plain.RemoveValue(hostValue));
  EXPECT_EQ(nullptr, plain.FindKey(""));
  EXPECT_EQ(nullptr, plain.FindValue(""));
  delete hostKey;
  delete hostValue;
}

TEST(RegistryIndex, LatestOfANameIsFoundWhateverItsClass) {
  for (const bool searchesBetween : {false, true}) {
    SCOPED_TRACE(searchesBetween);
    CDefRgKey key("");
    const auto search = [&](CRgValue* want) {
      if (searchesBetween) {
        EXPECT_EQ(want, key.FindValue("n"));
      }
    };
    CRgValue* plain = key.CreateValue("n", 0, "1", nullptr);
    search(plain);
    auto* host = new HostValue("n");
    key.AddValue(host);
    search(host);
    EXPECT_EQ(host, key.FindValue("n"));
    EXPECT_EQ(nullptr, key.FindValue(""));
    CRgValue* later = key.CreateValue("n", 0, "2", nullptr);
    EXPECT_EQ(later, key.FindValue("n"));
    auto* last = new HostValue("n");
    key.AddValue(last);
    EXPECT_EQ(last, key.FindValue("n"));
    EXPECT_TRUE(key.RemoveValue(plain));
    EXPECT_EQ(nullptr, key.FindValue("n"));
    EXPECT_EQ(3, key.GetValueCount());
    delete plain;
  }
}

TEST(RegistryIndex, RemovedValueLeavesNoneOfItsNameFoundWhateverTheClasses) {
  CDefRgKey key("");
  key.AddValue(new HostValue("n"));
  CRgValue* plain = key.CreateValue("n", 0, "1", nullptr);
  EXPECT_EQ(plain, key.FindValue("n"));
  EXPECT_TRUE(key.RemoveValue(plain));
  EXPECT_EQ(nullptr, key.FindValue("n"));
  EXPECT_EQ(1, key.GetValueCount());
  delete plain;
}

TEST(RegistryIndex, LatestKeyOfANameIsFoundWhateverItsClass) {
  CDefRgKey root("");
  CRgKey* plain = root.CreateKey("k", nullptr);
  auto* host = new LinkedKey("k");
  root.AddKey(host);
  EXPECT_EQ(host, root.FindKey("k"));
  EXPECT_EQ(host, root.CreateKey("k", nullptr));
  auto* later = new CDefRgKey("k");
  root.AddKey(later);
  EXPECT_EQ(later, root.FindKey("k"));
  EXPECT_TRUE(root.RemoveKey(plain));
  EXPECT_EQ(nullptr, root.FindKey("k"));
  EXPECT_EQ(2, root.GetKeyCount());
  delete plain;
}

TEST(RegistryIndex, SeveralThreadsMayBeTheFirstToSearch) {
  constexpr int kCount = 2000;
  CDefRgKey key("");
  for (int i = 0; i < kCount; ++i) key.CreateValue(std::to_string(i).c_str(), 0, "", nullptr);
  std::vector<std::thread> threads;
  std::atomic<int> found{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&key, &found] {
      for (int i = 0; i < kCount; ++i) {
        const std::string name = std::to_string(i);
        const CRgValue* value = key.FindValue(name.c_str());
        if (value != nullptr && value->GetName() == name) ++found;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(4 * kCount, found);
}

TEST(RegistryIndex, ValueListedTwiceIsFoundUntilItIsRemovedTwice) {
  CDefRgKey key("");
  CRgValue* value = key.CreateValue("old", 0, "1", nullptr);
  EXPECT_EQ(value, key.FindValue("old"));
  value->SetName("new");
  key.AddValue(value);
  EXPECT_EQ(value, key.FindValue("old"));
  EXPECT_EQ(value, key.FindValue("new"));
  EXPECT_TRUE(key.RemoveValue(value));
  EXPECT_TRUE(key.RemoveValue(value));
  EXPECT_EQ(nullptr, key.FindValue("old"));
  EXPECT_EQ(nullptr, key.FindValue("new"));
  EXPECT_FALSE(key.RemoveValue(value));
  delete value;
}

TEST(RegistryIndex, ManyNamesAreAllFoundAndRemoved) {
  constexpr int kCount = 5000;
  CDefRgKey key("");
  std::vector<CRgValue*> values;
  for (int i = 0; i < kCount; ++i)
    values.push_back(key.CreateValue(("n" + std::to_string(i)).c_str(), 0, "", nullptr));
  for (int i = kCount - 1; i >= 0; i -= 2) {
    ASSERT_TRUE(key.RemoveValue(values[static_cast<std::size_t>(i)]));
    delete values[static_cast<std::size_t>(i)];
  }
  for (int i = 0; i < kCount; ++i)
    ASSERT_EQ(i % 2 == 0 ? values[static_cast<std::size_t>(i)] : nullptr,
              key.FindValue(("n" + std::to_string(i)).c_str()))
        << i;
  EXPECT_EQ(kCount / 2, key.GetValueCount());
}

TEST(RegistryFile, MakesItsOwnRootOrOwnsTheGivenOne) {
  CRgFile own(nullptr);
  ASSERT_NE(nullptr, own.GetKeyRoot());
  EXPECT_STREQ("", own.GetKeyRoot()->GetName());
  EXPECT_NE(nullptr, dynamic_cast<CDefRgKey*>(own.GetKeyRoot()));
  std::string log;
  {
    auto* root = new LoggedKey("r", log);
    CRgFile given(root);
    EXPECT_EQ(root, given.GetKeyRoot());
  }
  EXPECT_EQ("k:r ", log);
}

TEST(RegistryFile, SettingAValueMakesItsWay) {
  CRgFile file(nullptr);
  EXPECT_EQ(nullptr, file.GetValue("a/b", "x"));
  EXPECT_EQ("", Describe(file.GetKeyRoot())) << "reading makes nothing";
  EXPECT_TRUE(file.SetValue("a/b", "x", "1"));
  EXPECT_STREQ("1", file.GetValue("a/b", "x"));
  EXPECT_EQ("a\n b\n  x=1:0\n", Describe(file.GetKeyRoot()));
  EXPECT_EQ(file.GetKeyRoot()->FindKey("a")->FindKey("b"), file.FindKey("a/b"));
  EXPECT_EQ(nullptr, file.GetValue("a/b", "y"));
  EXPECT_EQ(nullptr, file.GetValue("a", "x"));
  EXPECT_EQ(nullptr, file.GetValue("A/b", "x"));
  EXPECT_EQ(nullptr, file.FindKey("a/c"));
}

TEST(RegistryFile, SettingAnExistingValueChangesOnlyItsText) {
  CRgFile file(nullptr);
  CRgValue* value = file.CreateKey("a", nullptr, nullptr)->CreateValue("x", 2, "1", nullptr);
  value->SetAttributeValue("p", "q");
  EXPECT_TRUE(file.SetValue("a", "x", "7"));
  EXPECT_EQ("a\n x=7:2(p=q)\n", Describe(file.GetKeyRoot()));
}

TEST(RegistryFile, SettingAnAttributeUsesTheTextOnlyForANewValue) {
  CRgFile file(nullptr);
  EXPECT_EQ(nullptr, file.GetAttributeValue("a", "x", "p"));
  EXPECT_TRUE(file.SetAttributeValue("a", "x", "1", "p", "q"));
  EXPECT_EQ("a\n x=1:0(p=q)\n", Describe(file.GetKeyRoot()));
  EXPECT_TRUE(file.SetAttributeValue("a", "x", "2", "p", "r"));
  EXPECT_TRUE(file.SetAttributeValue("a", "x", "3", "s", "t"));
  EXPECT_EQ("a\n x=1:0(p=r,s=t)\n", Describe(file.GetKeyRoot()));
  EXPECT_STREQ("r", file.GetAttributeValue("a", "x", "p"));
  EXPECT_EQ(nullptr, file.GetAttributeValue("a", "x", "u"));
  EXPECT_EQ(nullptr, file.GetAttributeValue("a", "y", "p"));
  EXPECT_EQ(nullptr, file.GetAttributeValue("b", "x", "p"));
}

TEST(RegistryFile, EverySlashSeparatesTwoComponents) {
  const struct {
    const char* path;
    const char* want;
  } cases[] = {{"", "\n v=1:0\n"},        {"a", "a\n v=1:0\n"},
               {"a b", "a b\n v=1:0\n"},  {"/a", "\n a\n  v=1:0\n"},
               {"a/", "a\n \n  v=1:0\n"}, {"a//b", "a\n \n  b\n   v=1:0\n"},
               {"/", "\n \n  v=1:0\n"},   {"a.b\\c]d", "a.b\\c]d\n v=1:0\n"},
               {nullptr, "\n v=1:0\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path != nullptr ? c.path : "null");
    CRgFile file(nullptr);
    EXPECT_TRUE(file.SetValue(c.path, "v", "1"));
    EXPECT_EQ(c.want, Describe(file.GetKeyRoot()));
    EXPECT_STREQ("1", file.GetValue(c.path, "v"));
    CRgFile made(nullptr);
    CRgKey* key = made.CreateKey(c.path, nullptr, nullptr);
    key->CreateValue("v", 0, "1", nullptr);
    EXPECT_EQ(c.want, Describe(made.GetKeyRoot()));
    EXPECT_EQ(key, made.FindKey(c.path));
  }
}

TEST(RegistryPathCompat, LongComponentBeforeTheLastIsTheEmptyName) {
  const std::string fits(255, 'f'), tooLong(256, 'l');
  CRgFile file(nullptr);
  errno = 0;
  EXPECT_TRUE(file.SetValue((fits + "/x").c_str(), "v", "1"));
  EXPECT_EQ(0, errno);
  EXPECT_TRUE(file.SetValue(tooLong.c_str(), "v", "2"));
  EXPECT_EQ(0, errno) << "the last component has no bound";
  EXPECT_EQ(fits + "\n x\n  v=1:0\n" + tooLong + "\n v=2:0\n", Describe(file.GetKeyRoot()));

  EXPECT_TRUE(file.SetValue((tooLong + "/x").c_str(), "v", "3"));
  EXPECT_EQ(EINVAL, errno);
  EXPECT_STREQ("3", file.GetValue("/x", "v"));
  errno = 0;
  EXPECT_STREQ("3", file.GetValue((std::string(100000, 'm') + "/x").c_str(), "v"));
  EXPECT_EQ(EINVAL, errno);
  errno = 0;
  EXPECT_NE(nullptr, file.FindKey((tooLong + "/x").c_str()));
  EXPECT_EQ(EINVAL, errno);
  errno = 0;
  EXPECT_EQ(file.FindKey("/x"), file.CreateKey((tooLong + "/x").c_str(), nullptr, nullptr));
  EXPECT_EQ(EINVAL, errno);
}

TEST(RegistryFile, CreateKeyOnTheDefaultLayerAttachesNoAttribute) {
  CRgFile file(nullptr);
  CRgKey* key = file.CreateKey("a/b", "p", "q");
  ASSERT_NE(nullptr, key);
  EXPECT_EQ("a\n b\n", Describe(file.GetKeyRoot()));
  EXPECT_EQ(key, file.CreateKey("a/b", "p", "q"));
}

/// Records how its CreateKey is called; takes, leaves or refuses what it is given.
class RecordingKey : public CDefRgKey {
 public:
  enum Manner { kTakes, kLeaves, kRefuses };
  RecordingKey(const char* name, Manner manner, std::string& log)
      : CDefRgKey(name), m_manner(manner), m_log(log) {}
  CRgKey* CreateKey(const char* name, Attributes* attributes) override {
    m_log += std::string(name) + (attributes != nullptr ? "+" : "") + " ";
    if (m_manner == kRefuses && attributes != nullptr) {
      // A layer that refuses the key deletes the attributes.
      for (void* position = attributes->GetHeadPosition(); position != nullptr;)
        delete attributes->GetNext(position);
      return nullptr;
    }
    auto* key = new RecordingKey(name, m_manner, m_log);
    if (m_manner == kTakes && attributes != nullptr) key->SetAttributes(attributes);
    AddKey(key);
    return key;
  }

 private:
  Manner m_manner;
  std::string& m_log;
};

TEST(RegistryFile, CreateKeyAsksEveryKeyAndGivesTheListToTheLast) {
  const struct {
    RecordingKey::Manner manner;
    const char* name;
    const char* value;
    const char* wantCalls;
    const char* wantTree;
  } cases[] = {
      {RecordingKey::kTakes, "p", "q", "a b c+ ", "a\n b\n  c(p=q)\n"},
      {RecordingKey::kLeaves, "p", "q", "a b c+ ", "a\n b\n  c\n"},
      {RecordingKey::kRefuses, "p", "q", "a b c+ ", "a\n b\n"},
      {RecordingKey::kTakes, "p", nullptr, "a b c ", "a\n b\n  c\n"},
      {RecordingKey::kTakes, nullptr, "q", "a b c ", "a\n b\n  c\n"},
      {RecordingKey::kTakes, "", "", "a b c+ ", "a\n b\n  c(=)\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.wantTree);
    std::string log;
    CRgFile file(new RecordingKey("", c.manner, log));
    CRgKey* key = file.CreateKey("a/b/c", c.name, c.value);
    EXPECT_EQ(c.wantCalls, log);
    EXPECT_EQ(c.wantTree, Describe(file.GetKeyRoot()));
    EXPECT_EQ(c.manner == RecordingKey::kRefuses, key == nullptr);
  }
}

/// Knows no keys and no values beyond those that were added from outside.
class ClosedKey : public CDefRgKey {
 public:
  using CDefRgKey::CDefRgKey;
  CRgKey* CreateKey(const char*, Attributes*) override { return nullptr; }
  CRgValue* CreateValue(const char*, CRgValue::RvType, const char*, Attributes*) override {
    return nullptr;
  }
};

TEST(RegistryFile, WhatTheLayerRefusesChangesNothing) {
  auto* root = new ClosedKey("");
  auto* known = new ClosedKey("known");
  known->AddValue(new CDefRgValue("v", 1, "1"));
  root->AddKey(known);
  CRgFile file(root);
  EXPECT_FALSE(file.SetValue("other/x", "v", "2"));
  EXPECT_FALSE(file.SetValue("known", "w", "2"));
  EXPECT_FALSE(file.SetAttributeValue("other", "v", "2", "p", "q"));
  EXPECT_FALSE(file.SetAttributeValue("known", "w", "2", "p", "q"));
  EXPECT_EQ(nullptr, file.CreateKey("other/x/y", "p", "q"));
  EXPECT_EQ(nullptr, file.CreateKey("other", nullptr, nullptr));
  EXPECT_EQ("known\n v=1:1\n", Describe(root));
  EXPECT_TRUE(file.SetValue("known", "v", "2"));
  EXPECT_TRUE(file.SetAttributeValue("known", "v", "3", "p", "q"));
  EXPECT_EQ("known\n v=2:1(p=q)\n", Describe(root));
}

/// Hides its keys from searches, and returns them when they are to be made.
class SecretiveKey : public ClosedKey {
 public:
  using ClosedKey::ClosedKey;
  CRgKey* FindKey(const char*) const override { return nullptr; }
  CRgKey* CreateKey(const char* name, Attributes*) override { return CDefRgKey::FindKey(name); }
};

TEST(RegistryFile, RefusedValueLeavesAKeyThatTheLayerHadAlready) {
  auto* root = new SecretiveKey("");
  auto* known = new ClosedKey("known");
  known->AddValue(new CDefRgValue("v", 1, "1"));
  root->AddKey(known);
  CRgFile file(root);
  EXPECT_FALSE(file.SetValue("known", "w", "2"));
  EXPECT_FALSE(file.SetAttributeValue("known", "w", "2", "p", "q"));
  EXPECT_EQ("known\n v=1:1\n", Describe(root));
}

TEST(RegistryFileCompat, RemoveKeyDetachesOnlyAnEmptyKey) {
  CRgFile file(new LinkedKey(""));
  CRgKey* parent = file.CreateKey("p", nullptr, nullptr);
  CRgKey* key = file.CreateKey("p", nullptr, nullptr);  // this layer makes another one
  CRgKey* leaf = key->CreateKey("leaf", nullptr);
  leaf->CreateValue("v", 0, "1", nullptr);

  file.RemoveKey(key);
  file.RemoveKey(leaf);
  EXPECT_EQ("p\np\n leaf\n  v=1:0\n", Describe(file.GetKeyRoot()));

  CRgValue* value = leaf->FindValue("v");
  leaf->RemoveValue(value);
  delete value;
  file.RemoveKey(leaf);
  EXPECT_EQ("p\np\n", Describe(file.GetKeyRoot())) << "its parent stays though it is empty now";
  EXPECT_EQ(nullptr, leaf->GetParent());
  delete leaf;

  file.RemoveKey(parent);
  EXPECT_EQ("p\n", Describe(file.GetKeyRoot()));
  delete parent;
  file.RemoveKey(file.GetKeyRoot());
  file.RemoveKey(nullptr);
  EXPECT_EQ("p\n", Describe(file.GetKeyRoot()));
}

TEST(RegistryFileCompat, DestroyKeyLeavesTheObjectAlive) {
  CRgFile file(new LinkedKey(""));
  CRgKey* key = file.CreateKey("k", nullptr, nullptr);
  CRgKey* leaf = key->CreateKey("leaf", nullptr);
  key->CreateValue("v", 0, "1", nullptr);
  leaf->CreateValue("v", 0, "2", nullptr);
  leaf->GetAttributeList()->AddTail(new CRgAttribute("a", "b"));

  file.DestroyKey(key);
  EXPECT_EQ("k\n v=1:0\n leaf(a=b)\n  v=2:0\n", Describe(file.GetKeyRoot()));

  file.DestroyKey(leaf);
  EXPECT_EQ("k\n v=1:0\n", Describe(file.GetKeyRoot()));
  EXPECT_EQ(nullptr, leaf->GetParent());
  EXPECT_STREQ("leaf", leaf->GetName());
  EXPECT_EQ("", Describe(leaf));
  EXPECT_EQ(0, leaf->GetAttributeList()->GetCount());
  delete leaf;

  file.DestroyKey(file.GetKeyRoot());
  file.DestroyKey(nullptr);
  EXPECT_EQ("k\n v=1:0\n", Describe(file.GetKeyRoot()));
}

TEST(RegistryFileCompat, DefaultKeysAreNeitherRemovedNorDestroyed) {
  CRgFile file(nullptr);
  file.SetValue("a/b", "x", "1");
  file.CreateKey("c", nullptr, nullptr);
  file.RemoveKey(file.FindKey("c"));
  file.DestroyKey(file.FindKey("c"));
  file.DestroyKey(file.FindKey("a/b"));
  EXPECT_EQ("a\n b\n  x=1:0\nc\n", Describe(file.GetKeyRoot()));
}

}  // namespace
