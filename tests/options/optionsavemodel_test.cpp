// Saves over files of every shape, compared with a plain model of what a save writes.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

using Pair = std::pair<std::string, std::string>;

struct Value {
  std::string name;
  std::string text;
  std::vector<Pair> attributes;
};

struct Section {
  std::string path;
  std::vector<Pair> attributes;
  std::vector<Value> values;
};

const bix::COption kThree[] = {{"x", 1, "default"}, {"y", 1, "default"}, {"z", 1, "default"}, {}};
const bix::COptionSet kThreeSet = {"Three", kThree, 3};
const bix::COptionSet kTwoSet = {"Two", kThree, 2};
const bix::CCategory kB = {"B", nullptr, 0, &kTwoSet};
const bix::CCategory* const kBelowA[] = {&kB, nullptr};
const bix::CCategory kA = {"A", kBelowA, 1, &kThreeSet};
const bix::CCategory kC = {"C", nullptr, 0, &kTwoSet};

/// The declared options of a category by its path; none for what nobody declares.
const std::map<std::string, std::set<std::string>> kDeclared = {
    {"A", {"x", "y", "z"}}, {"A/B", {"x", "y"}}, {"C", {"x", "y"}}};

bool IsDeclared(const std::string& path, const std::string& name) {
  const auto found = kDeclared.find(path);
  return found != kDeclared.end() && found->second.count(name) != 0;
}

std::string Parent(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

void AppendValue(std::string& text, const Value& value) {
  text += "\"" + value.name + "\"=\"" + value.text + "\" ";
  for (std::size_t i = 0; i < value.attributes.size(); ++i)
    text += (i == 0 ? "(\"" : ", \"") + value.attributes[i].first + "\"=\"" +
            value.attributes[i].second + "\"";
  text += value.attributes.empty() ? "\n" : " )\n";
}

void AppendHeader(std::string& text, const std::string& path, const std::vector<Pair>& attributes) {
  text += "\n[" + path + "]";
  for (std::size_t i = 0; i < attributes.size(); ++i)
    text += (i == 0 ? " (" : ", ") + attributes[i].first + "=" + attributes[i].second;
  text += attributes.empty() ? "\n\n" : ")\n\n";
}

std::string AsText(const std::vector<Section>& sections) {
  std::string text;
  for (const Section& section : sections) {
    AppendHeader(text, section.path, section.attributes);
    for (const Value& value : section.values) AppendValue(text, value);
  }
  return text;
}

/// What the tree of a file holds: keys in the order in which they were made, each with its values.
class Model {
 public:
  struct Key {
    std::string path;
    std::vector<Pair> attributes;
    std::vector<Value> values;  // the last one of a name is the one that is found
  };

  void Load(const std::vector<Section>& sections) {
    for (const Section& section : sections) {
      const bool isDeclared = kDeclared.count(section.path) != 0;
      if (!isDeclared && kDeclared.count(Parent(section.path)) != 0) Make(Parent(section.path));
      if (!isDeclared) continue;
      Key& key = Make(section.path);
      if (!section.attributes.empty()) key.attributes = section.attributes;
      for (const Value& value : section.values)
        if (IsDeclared(section.path, value.name)) key.values.push_back(value);
    }
  }

  void Set(const std::string& path, const std::string& name, const std::string& text) {
    Key& key = Make(path);
    if (Value* value = Found(key, name))
      value->text = text;
    else
      key.values.push_back({name, text, {}});
  }

  /// Back to the default.
  void Remove(const std::string& path, const std::string& name) {
    const auto key = std::find_if(m_keys.begin(), m_keys.end(),
                                  [&](const Key& other) { return other.path == path; });
    if (key == m_keys.end()) return;
    const auto isNamed = [&](const Value& value) { return value.name == name; };
    key->values.erase(std::remove_if(key->values.begin(), key->values.end(), isNamed),
                      key->values.end());
    const bool hasKeys = std::any_of(m_keys.begin(), m_keys.end(),
                                     [&](const Key& other) { return Parent(other.path) == path; });
    if (key->values.empty() && !hasKeys) m_keys.erase(key);
  }

  std::string SaveOver(const std::vector<Section>& old) {
    std::string text;
    std::set<const Value*> saved;
    for (const Section& section : old) {
      Key* key = Find(section.path);
      const bool isDeclared = kDeclared.count(section.path) != 0;
      const std::vector<Pair>& attributes =
          key != nullptr && !key->attributes.empty() ? key->attributes : section.attributes;
      std::string values;
      for (const Value& value : section.values) {
        Value* own = key != nullptr ? Found(*key, value.name) : nullptr;
        if (own != nullptr && saved.insert(own).second)
          AppendValue(values, *own);
        else if (own == nullptr && !IsDeclared(section.path, value.name))
          AppendValue(values, value);
      }
      if (key != nullptr) values += Unsaved(*key, saved);
      if (!values.empty() || (!isDeclared && !section.attributes.empty()))
        AppendHeader(text, section.path, attributes);
      text += values;
    }
    AppendUnsavedKeys(text, "", saved);
    return text;
  }

 private:
  Key* Find(const std::string& path) {
    for (Key& key : m_keys)
      if (key.path == path) return &key;
    return nullptr;
  }
  Key& Make(const std::string& path) {
    if (!Parent(path).empty()) Make(Parent(path));
    if (Key* key = Find(path)) return *key;
    m_keys.push_back({path, {}, {}});
    return m_keys.back();
  }
  static Value* Found(Key& key, const std::string& name) {
    for (auto value = key.values.rbegin(); value != key.values.rend(); ++value)
      if (value->name == name) return &*value;
    return nullptr;
  }
  static std::string Unsaved(Key& key, std::set<const Value*>& saved) {
    std::string text;
    for (const Value& value : key.values)
      if (Found(key, value.name) == &value && saved.insert(&value).second) AppendValue(text, value);
    return text;
  }
  void AppendUnsavedKeys(std::string& text, const std::string& parent,
                         std::set<const Value*>& saved) {
    for (Key& key : m_keys) {
      if (Parent(key.path) != parent || key.path == parent) continue;
      const std::string values = Unsaved(key, saved);
      if (!values.empty()) AppendHeader(text, key.path, key.attributes);
      text += values;
      AppendUnsavedKeys(text, key.path, saved);
    }
  }

  std::vector<Key> m_keys;
};

class Chance {
 public:
  explicit Chance(unsigned seed) : m_numbers(seed) {}

  std::size_t Below(std::size_t bound) { return m_numbers() % bound; }
  const char* Of(std::initializer_list<const char*> choices) {
    return *(choices.begin() + Below(choices.size()));
  }
  std::string Number() { return std::to_string(Below(1000)); }
  std::vector<Pair> Attributes() {
    std::vector<Pair> attributes;
    for (std::size_t i = Below(6); i >= 4; --i) attributes.push_back({"k" + Number(), Number()});
    return attributes;
  }
  std::vector<Section> Sections() {
    std::vector<Section> sections(Below(6));
    for (Section& section : sections) {
      section.path = Of({"A", "A", "A/B", "C", "U", "A/U", "U/B"});
      section.attributes = Attributes();
      section.values.resize(Below(6));
      for (Value& value : section.values)
        value = {Of({"x", "y", "z", "w"}), "v" + Number(), Attributes()};
    }
    return sections;
  }

 private:
  std::mt19937 m_numbers;
};

TEST(OptionSaveModel, SavesOfEveryShapeAreThoseOfTheModel) {
  constexpr unsigned kRounds = 400;
  const TempDirectory directory;
  const std::string path = directory / "user.tot";
  for (unsigned seed = 1; seed <= kRounds && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Chance chance(seed);
    const std::vector<Section> old = chance.Sections();
    WriteWholeFile(path, AsText(old));
    bix::COptionManager manager;
    manager.AddCategory(&kA);
    manager.AddCategory(&kC);
    bix::COptionFile* file = manager.Load(path.c_str());
    ASSERT_NE(nullptr, file);
    Model model;
    model.Load(old);
    for (std::size_t i = chance.Below(6); i > 0; --i) {
      const std::string category = chance.Of({"A", "A/B", "C"});
      const std::string name = chance.Of({"x", "y"});
      const std::string text = chance.Below(3) == 0 ? "default" : "new" + chance.Number();
      manager.SetValue(category.c_str(), name.c_str(), text.c_str());
      if (text == "default")
        model.Remove(category, name);
      else
        model.Set(category, name, text);
    }
    // Now and then somebody else has written the file meanwhile.
    const std::vector<Section> present = chance.Below(4) == 0 ? chance.Sections() : old;
    WriteWholeFile(path, AsText(present));
    ASSERT_EQ(0, file->Save(nullptr)) << AsText(present);
    EXPECT_EQ(model.SaveOver(present), ReadWholeFile(path)) << AsText(present);

    const std::string saved = ReadWholeFile(path);
    ASSERT_EQ(0, file->Save(nullptr));
    EXPECT_EQ(saved, ReadWholeFile(path)) << "a second save changes nothing";
  }
}

}  // namespace
}  // namespace bix_test
