// Any bytes at all as a style file: they are loaded, applied, based on each other, changed, saved over
// themselves and loaded again. Styles and values come back; what nobody declares stays; a load that
// fails leaves no style, and a save that fails leaves the old bytes.
//
// The input begins with two bytes that choose the change. The rest is the file.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "bix/stylefile.h"
#include "bix/styles.h"

// Nothing here has to outlive the machine, and the sync would be all that the time is spent on.
extern "C" int fsync(int) { return 0; }

namespace {

const bix::COption kClassOptions[] = {{"x", 1, "1"}, {"y", 1, "a"}, {"n", 2, "1"}};
const bix::COption kArrowOptions[] = {{"x", 1, "7"}, {"e", 3, "true"}};
const char* const kOptions[] = {"x", "y", "n", "e", "BasedOn", "unknown"};
const char* const kTexts[] = {"1", "2", "", "-5", "a b", "true", "it's", "[A]", "line\nfeed"};

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

std::string GetFileName() {
  static const std::string name =
      (std::filesystem::temp_directory_path() / ("bix-style-file-" + std::to_string(getpid())))
          .string();
  return name;
}

void Write(const std::string& bytes) {
  std::ofstream(GetFileName(), std::ios::binary)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string Read() {
  std::ifstream file(GetFileName(), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// The kinds, each with a style by which it is found.
struct Kinds {
  bix::CStyleKind classes{"Class", kClassOptions, 3};
  bix::CStyleKind arrows{"Arrow", kArrowOptions, 2};
  bix::CStyle ofClasses{"Plain", &classes, "Suite", 0, nullptr};
  bix::CStyle ofArrows{"Plain", &arrows, "Suite", 0, nullptr};
};

/// A style file and what it holds.
class Loaded {
 public:
  Loaded() {
    bix::CStyleList list;
    result = file.Load(GetFileName().c_str(), &list);
    for (void* position = list.GetHeadPosition(); position != nullptr;)
      styles.emplace_back(list.GetNext(position));
    Expect(result == 0 || styles.empty(), "a load that failed left styles");
    for (const auto& style : styles) {
      Expect(style->GetKey() != nullptr, "a loaded style has no key");
      Expect(style->GetKey()->GetStyle() == style.get(), "the key of a style has another one");
      Expect((style->GetStyleKind() == nullptr) == (style->GetMgrCategory() == nullptr),
             "half a style");
    }
  }

  void Apply() {
    for (const auto& style : styles) style->SetInitialValues();
    for (const auto& style : styles)
      if (bix::CStyleKind* kind = style->GetStyleKind())
        style->SetParent(kind->GetStyleList()->FindStyle(
            style->GetValue(style->GetCategoryPath(), bix::CStyle::InheritString)));
  }

  int Save() {
    bix::CStyleList list;
    for (const auto& style : styles) list.AddTail(style.get());
    return file.Save(nullptr, &list);
  }

  bool HaveNamesOfTheirOwn() const {
    std::set<std::pair<const bix::CStyleKind*, std::string>> names;
    return std::all_of(styles.begin(), styles.end(), [&](const auto& style) {
      return style->GetStyleKind() == nullptr ||
             names.emplace(style->GetStyleKind(), style->GetName()).second;
    });
  }

  /// Every value of every style that is not inert, by path and option.
  std::multimap<std::string, std::string> Describe() const {
    std::multimap<std::string, std::string> all;
    for (const auto& style : styles) {
      if (style->GetStyleKind() == nullptr) continue;
      const std::string path = style->GetCategoryPath();
      all.emplace(path + " parent",
                  style->GetParent() != nullptr ? style->GetParent()->GetCategoryPath() : "");
      for (const char* option : kOptions) {
        const char* text = style->GetValue(style->GetCategoryPath(), option);
        const bix::CStyleExplanation explanation = style->Explain(option);
        Expect(explanation.isKnown == (text != nullptr), "the explanation knows another option");
        Expect(text == nullptr || explanation.value == text, "another value is explained");
        all.emplace(path + " " + option, text != nullptr ? text : "null");
      }
    }
    return all;
  }

  bix::CStyleFile file;
  std::vector<std::unique_ptr<bix::CStyle>> styles;
  int result;
};

using Section = std::vector<std::string>;

/// What a file holds besides styles of known kinds, as the default layer reads it; by path.
std::map<std::string, Section> GetForeign(const std::map<std::string, std::string>& ours) {
  std::map<std::string, Section> foreign;
  bix::CRgFile file(nullptr);
  Expect(file.Load(GetFileName().c_str()) == 0, "the file cannot be read any more");
  struct Waiting {
    bix::CRgKey* key;
    std::string path;
  };
  std::vector<Waiting> waiting{{file.GetKeyRoot(), ""}};
  while (!waiting.empty()) {
    const Waiting next = waiting.back();
    waiting.pop_back();
    const auto kind = ours.find(next.path);
    Section section;
    const auto addAttributes = [&section](const bix::MList<bix::CRgAttribute*>& attributes) {
      for (void* position = attributes.GetHeadPosition(); position != nullptr;) {
        const bix::CRgAttribute* attribute = attributes.GetNext(position);
        section.push_back(attribute->GetName());
        section.push_back(attribute->GetValue());
      }
    };
    if (kind == ours.end()) addAttributes(*next.key->GetAttributeList());
    for (void* position = next.key->GetFirstValuePosition(); position != nullptr;) {
      bix::CRgValue* value = next.key->GetNextValue(position);
      const std::string name = value->GetName();
      // What a style of this kind declares may change.
      if (kind != ours.end() && (name == "BasedOn" || name == "x" ||
                                 (kind->second == "Class" && (name == "y" || name == "n")) ||
                                 (kind->second == "Arrow" && name == "e")))
        continue;
      section.push_back(name);
      section.push_back(value->GetValue());
      addAttributes(*value->GetAttributeList());
    }
    if (!section.empty()) foreign[next.path] = section;
    for (void* position = next.key->GetFirstKeyPosition(); position != nullptr;) {
      bix::CRgKey* below = next.key->GetNextKey(position);
      waiting.push_back(
          {below, next.path.empty() ? below->GetName() : next.path + "/" + below->GetName()});
    }
  }
  return foreign;
}

std::string PathOf(const bix::CRgKey& key) {
  std::string path = key.GetName();
  for (const bix::CRgKey* above = key.GetParent(); above->GetParent() != nullptr;
       above = above->GetParent())
    path = std::string(above->GetName()) + "/" + path;
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string old(reinterpret_cast<const char*>(data) + 2, size - 2);
  // The oracle, not the library, takes a square of this.
  if (std::count(old.begin(), old.end(), '/') > 300) return 0;
  Write(old);
  const Kinds kinds;
  std::multimap<std::string, std::string> want;
  {
    Loaded loaded;
    loaded.Apply();
    if (loaded.result != 0) {
      Expect(Read() == old, "loading has changed the file");
      Expect(kinds.classes.GetStyleList()->GetCount() == 1, "a style of a failed load is listed");
      Expect(loaded.Save() == 1, "a file that cannot be read was saved over");
      Expect(Read() == old, "a failed save has changed the file");
      return 0;
    }
    std::map<std::string, std::string> ours;
    for (const auto& style : loaded.styles)
      if (style->GetStyleKind() != nullptr)
        ours[PathOf(*style->GetKey())] = style->GetStyleKind()->GetName();
    const auto foreign = GetForeign(ours);
    if (!loaded.styles.empty()) {
      bix::CStyle& style = *loaded.styles[data[0] % loaded.styles.size()];
      const std::string option = kOptions[data[1] % std::size(kOptions)];
      // The name of a style there would make that one the parent in the next run only.
      if (option != bix::CStyle::InheritString)
        style.SetValue(style.GetCategoryPath(), option.c_str(),
                       kTexts[data[1] / std::size(kOptions) % std::size(kTexts)]);
    }
    want = loaded.Describe();
    const int result = loaded.Save();
    Expect(result == 0 || result == 1, "a save fails with an error of the system");
    const bool isSetAside = std::filesystem::remove(GetFileName() + ".bad-1");
    Expect(isSetAside == (result == 0 && old.find('\0') != old.npos),
           "bytes behind a zero byte are not kept");
    if (result != 0) {
      Expect(Read() == old, "a failed save has changed the file");
      return 0;
    }
    Expect(GetForeign(ours) == foreign, "what is not declared has changed");
    Expect(loaded.Describe() == want, "saving has changed the styles");
  }
  Loaded again;
  Expect(again.result == 0, "the new file cannot be read");
  again.Apply();
  // Of two styles of one name the first is the parent, and which that is depends on the sections.
  if (again.HaveNamesOfTheirOwn())
    Expect(again.Describe() == want, "the styles read back as others");
  return 0;
}
