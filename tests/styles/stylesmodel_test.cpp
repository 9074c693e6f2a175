// Styles that are made, based on each other, changed, copied and destroyed in any order, compared with
// a plain model that follows the rules one by one.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "styles/style_test_support.h"

namespace bix_test {
namespace {

const char* const kNames[] = {"x", "y", "Width", "Font", "BasedOn"};
const std::map<std::string, std::string> kDefaults = {
    {"x", "1"}, {"y", "a"}, {"Width", "1"}, {"Font", ""}, {"BasedOn", "none"}};
// Defaults, names of styles, and others.
const char* const kTexts[] = {"1", "a", "", "none", "S1", "2", "b"};

struct ModelFile {
  bool hasSection = false;
  std::map<std::string, std::string> texts;
  std::string fixedOption;
};

struct ModelStyle {
  std::string name;
  ModelStyle* parent = nullptr;
  std::vector<ModelStyle*> children;
  std::vector<ModelFile> files;
  unsigned updates = 0;

  bool IsRedefined(const std::string& option) const {
    return std::any_of(files.begin(), files.end(),
                       [&](const ModelFile& file) { return file.texts.count(option) != 0; });
  }

  std::string Inherited(const std::string& option) const {
    return parent != nullptr ? parent->Value(option) : Value(option);
  }

  std::string Value(const std::string& option) const {
    if (!IsRedefined(option) && parent != nullptr) return Inherited(option);
    const std::string* found = nullptr;
    for (const ModelFile& file : files) {
      const auto held = file.texts.find(option);
      if (held == file.texts.end()) continue;
      if (found == nullptr || file.fixedOption == option) found = &held->second;
    }
    return found != nullptr ? *found : kDefaults.at(option);
  }

  std::string Underneath(const std::string& option) const {
    for (std::size_t i = 1; i < files.size(); ++i)
      if (files[i].texts.count(option) != 0) return files[i].texts.at(option);
    return kDefaults.at(option);
  }

  bool IsEditable(const std::string& option) const {
    for (std::size_t i = 0; i < files.size(); ++i)
      if (files[i].texts.count(option) != 0 && files[i].fixedOption == option) return i == 0;
    return true;
  }

  void Set(const std::string& option, const std::string& text) {
    if (!IsEditable(option)) return;
    if (files.empty()) files.emplace_back();
    ModelFile& own = files.front();
    const std::string inherited = Inherited(option);
    if (!own.hasSection) {
      if (text != Underneath(option) && text != inherited) {
        own.hasSection = true;
        own.texts[option] = text;
      }
    } else if (parent == nullptr) {
      own.texts[option] = text;
    } else if (option != "BasedOn" && text != inherited) {
      own.texts[option] = text;
    } else {
      own.texts.erase(option);
    }
    if (parent != nullptr) {
      own.hasSection = true;
      own.texts["BasedOn"] = parent->name;
    }
    Notify(2);
  }

  void Notify(int code) {
    for (ModelStyle* child : children) child->Update(this, code);
  }

  void Update(const ModelStyle* source, int code) {
    if (parent != source) return;
    ++updates;
    if (code == 1) parent = nullptr;
    if (code == 2) Notify(2);
  }

  void SetParent(ModelStyle* wanted) {
    if (wanted == this) wanted = nullptr;
    if (parent != nullptr && parent != wanted) parent->Unlist(this);
    if (wanted == nullptr && parent != nullptr) {
      Notify(1);
      children.clear();
    }
    parent = wanted;
    if (wanted == nullptr) return;
    Set("BasedOn", wanted->name);
    if (std::find(wanted->children.begin(), wanted->children.end(), this) == wanted->children.end())
      wanted->children.push_back(this);
  }

  void Unlist(const ModelStyle* child) {
    children.erase(std::remove(children.begin(), children.end(), child), children.end());
  }

  void Copy(const ModelStyle& from, const std::vector<std::string>& order) {
    for (const std::string& option : order)
      if (Value(option) != from.Value(option)) Set(option, from.Value(option));
  }
};

/// A style and what it should be.
struct Pair {
  std::unique_ptr<bix::CStyle> style;
  std::unique_ptr<ModelStyle> model;
};

class StyleModel : public testing::TestWithParam<unsigned>, protected StyleKinds {
 protected:
  std::size_t Any(std::size_t count) { return m_random() % count; }

  std::string AnyText() { return kTexts[Any(std::size(kTexts))]; }

  void Make() {
    const std::string name = "S" + std::to_string(m_made++);
    Pair* const parent = m_pairs.empty() || Any(3) == 0 ? nullptr : &m_pairs[Any(m_pairs.size())];
    Pair made{std::make_unique<bix::CStyle>(name.c_str(), &classKind, "R", 0,
                                            parent != nullptr ? parent->style.get() : nullptr),
              std::make_unique<ModelStyle>()};
    made.model->name = name;
    made.model->SetParent(parent != nullptr ? parent->model.get() : nullptr);
    m_pairs.push_back(std::move(made));
  }

  void Destroy(std::size_t index) {
    ModelStyle& model = *m_pairs[index].model;
    model.Notify(1);
    for (Pair& pair : m_pairs) pair.model->Unlist(&model);
    m_pairs.erase(m_pairs.begin() + static_cast<std::ptrdiff_t>(index));
  }

  /// A chain must not come back to where it began: that is the caller's mistake.
  static bool IsBelow(const ModelStyle* style, const ModelStyle* above) {
    for (; style != nullptr; style = style->parent)
      if (style == above) return true;
    return false;
  }

  void AddFile(Pair& pair) {
    if (pair.model->files.empty() || pair.model->files.size() > 3) return;
    const char* const option = kNames[Any(std::size(kNames))];
    const std::string text = AnyText();
    const bool isFixed = Any(2) == 0;
    auto* const file = new bix::COptionFile(pair.style.get());
    file->SetPathName(std::to_string(pair.model->files.size()).c_str());
    ASSERT_TRUE(pair.style->AddFile(file));
    const char* const path = pair.style->GetCategoryPath();
    ASSERT_TRUE(file->SetValue(path, option, text.c_str()));
    if (isFixed) file->SetAttributeValue(path, option, "", "fixed", "true");
    pair.model->files.push_back({true, {{option, text}}, isFixed ? option : ""});
  }

  void ChangeSomething() {
    if (m_pairs.empty()) return Make();
    Pair& one = m_pairs[Any(m_pairs.size())];
    Pair& other = m_pairs[Any(m_pairs.size())];
    switch (Any(12)) {
      case 0:
        return m_pairs.size() < 12 ? Make() : Destroy(Any(m_pairs.size()));
      case 1:
        return Any(4) == 0 ? Destroy(Any(m_pairs.size())) : AddFile(one);
      case 2:
      case 3:
        if (&one != &other && IsBelow(other.model.get(), one.model.get())) return;
        one.style->SetParent(other.style.get());
        return one.model->SetParent(other.model.get());
      case 4:
        if (Any(3) != 0) return;
        one.style->SetParent(nullptr);
        return one.model->SetParent(nullptr);
      case 5: {
        std::vector<std::string> order;
        const bix::CMgrOptionSet& options = *one.style->GetMgrCategory()->GetOptionSet();
        for (void* position = options.GetFirstOptionPosition(); position != nullptr;)
          order.emplace_back(options.GetNextOption(position)->name);
        one.style->Copy(other.style.get());
        return one.model->Copy(*other.model, order);
      }
      default: {
        const char* const option = kNames[Any(std::size(kNames))];
        const std::string text = AnyText();
        Set(*one.style, option, text.c_str());
        return one.model->Set(option, text);
      }
    }
  }

  void Compare() const {
    for (const Pair& pair : m_pairs) {
      const ModelStyle& model = *pair.model;
      SCOPED_TRACE(model.name);
      EXPECT_EQ(model.updates, pair.style->GetUpdateCount());
      EXPECT_EQ(model.parent != nullptr ? model.parent->name : "-",
                pair.style->GetParent() != nullptr ? pair.style->GetParent()->GetName() : "-");
      std::string children;
      for (const ModelStyle* child : model.children) children += child->name + " ";
      EXPECT_EQ(children, Names(*pair.style->GetChildren()));
      for (const char* option : kNames) {
        SCOPED_TRACE(option);
        EXPECT_EQ(model.Value(option), Get(*pair.style, option));
        EXPECT_EQ(model.Inherited(option),
                  Text(pair.style->GetHeritedValue(pair.style->GetCategoryPath(), option)));
        EXPECT_EQ(model.IsRedefined(option),
                  pair.style->IsRedefined(pair.style->GetCategoryPath(), option));
        const bool isOwn = !model.files.empty() && model.files[0].texts.count(option) != 0;
        EXPECT_EQ(isOwn ? model.files[0].texts.at(option) : "-", Held(*pair.style, option));
        EXPECT_EQ(model.Value(option), pair.style->Explain(option).value);
      }
    }
  }

  std::mt19937 m_random{GetParam()};
  std::vector<Pair> m_pairs;
  unsigned m_made = 0;
};

TEST_P(StyleModel, AgreesWithTheRules) {
  for (int i = 0; i < 300 && !HasFailure(); ++i) {
    ChangeSomething();
    Compare();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, StyleModel, testing::Range(0u, 8u));

}  // namespace
}  // namespace bix_test
