// A save of an option file over any bytes at all: what other components keep in the file stays, the
// declared options are those of the tree, and a save that fails leaves the old bytes.
//
// The input begins with three bytes: which options the tree holds, which texts they have, and how
// many of the bytes that follow are the text of one of them. The rest is the old file.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "bix/registry.h"
#include "bix/settingsfile.h"

// Nothing here has to outlive the machine, and the sync would be all that the time is spent on.
extern "C" int fsync(int) { return 0; }

namespace {

const bix::COption kInnerOptions[] = {{"x", 1, ""}, {"e", 3, ""}, {}};
const bix::COptionSet kInnerSet = {"B", kInnerOptions, 2};
const bix::CCategory kInner = {"B", nullptr, 0, &kInnerSet};
const bix::CCategory* const kBelow[] = {&kInner, nullptr};
const bix::COption kOuterOptions[] = {{"x", 1, ""}, {"n", 2, ""}, {"long name", 1, ""}, {}};
const bix::COptionSet kOuterSet = {"A", kOuterOptions, 3};
const bix::CCategory kOuter = {"A", kBelow, 1, &kOuterSet};

struct Held {
  const char* category;
  const char* name;
};
const Held kHeld[] = {{"A", "x"}, {"A", "n"}, {"A", "long name"}, {"A/B", "x"}, {"A/B", "e"}};
const char* const kTexts[] = {"1",    "-5", "",           "1.5", "a b", "true",
                              "it's", "(",  "line\nfeed", "007", "[A]", "\"=\""};

// Stands for the name of a value where a section itself has attributes.
const char* const kOfSection = "attributes of the section";

using Texts = std::vector<std::string>;  // name, text, then names and values of attributes
using Section = std::vector<Texts>;
using Content = std::map<std::string, Section>;  // by path

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

bool IsCategory(const std::string& path) { return path.empty() || path == "A" || path == "A/B"; }

bool IsDeclared(const std::string& path, const std::string& name) {
  return std::any_of(std::begin(kHeld), std::end(kHeld),
                     [&](const Held& held) { return path == held.category && name == held.name; });
}

void AddAttributes(Texts& texts, const bix::MList<bix::CRgAttribute*>& attributes) {
  for (void* position = attributes.GetHeadPosition(); position != nullptr;) {
    const bix::CRgAttribute* attribute = attributes.GetNext(position);
    texts.emplace_back(attribute->GetName());
    texts.emplace_back(attribute->GetValue());
  }
}

/// What a file holds that is not declared, and the declared values beside it.
struct Seen {
  Content foreign;
  std::map<std::string, Section> declared;  // by path and name
};

Seen Look(bix::CRgKey& root) {
  Seen seen;
  std::vector<std::pair<bix::CRgKey*, std::string>> waiting{{&root, ""}};
  while (!waiting.empty()) {
    const auto [key, path] = waiting.back();
    waiting.pop_back();
    Section section;
    if (!IsCategory(path) && !key->GetAttributeList()->IsEmpty()) {
      section.push_back({kOfSection});
      AddAttributes(section.back(), *key->GetAttributeList());
    }
    for (void* position = key->GetFirstValuePosition(); position != nullptr;) {
      bix::CRgValue* value = key->GetNextValue(position);
      Texts texts{value->GetName(), value->GetValue()};
      AddAttributes(texts, *value->GetAttributeList());
      if (IsDeclared(path, texts[0]))
        seen.declared[path + "/" + texts[0]].push_back(texts);
      else
        section.push_back(texts);
    }
    if (!section.empty()) seen.foreign[path] = section;
    for (void* position = key->GetFirstKeyPosition(); position != nullptr;) {
      bix::CRgKey* subKey = key->GetNextKey(position);
      waiting.emplace_back(subKey,
                           path.empty() ? subKey->GetName() : path + "/" + subKey->GetName());
    }
  }
  return seen;
}

/// Whether a header can say the attributes: their names and values stand there without quotes.
bool CanHeaderSay(const bix::MList<bix::CRgAttribute*>& attributes) {
  Texts texts;
  AddAttributes(texts, attributes);
  return std::all_of(texts.begin(), texts.end(), [](const std::string& text) {
    return !text.empty() && std::isspace(static_cast<unsigned char>(text[0])) == 0 &&
           text.find_first_of(",=)") == text.npos;
  });
}

/// Whether the headers of a file can be written again: what a file with stray punctuation in a
/// header reads as may be no header at all.
bool CanHeadersSay(bix::CRgKey& root) {
  std::vector<bix::CRgKey*> waiting{&root};
  while (!waiting.empty()) {
    bix::CRgKey* const key = waiting.back();
    waiting.pop_back();
    if (!CanHeaderSay(*key->GetAttributeList())) return false;
    for (void* position = key->GetFirstKeyPosition(); position != nullptr;)
      waiting.push_back(key->GetNextKey(position));
  }
  return true;
}

/// A directory of its own for the life of the process.
class Place {
 public:
  Place() {
    std::string name = (std::filesystem::temp_directory_path() / "bix-option-save-XXXXXX").string();
    Expect(mkdtemp(name.data()) != nullptr, "mkdtemp");
    m_path = name;
  }
  ~Place() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  std::string GetTarget() const { return m_path + "/user.tot"; }

  void Start(const std::string& bytes) const {
    for (const auto& entry : std::filesystem::directory_iterator(m_path))
      std::filesystem::remove(entry.path());
    std::ofstream(GetTarget(), std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }

  std::map<std::string, std::string> GetFiles() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
      std::ifstream file(entry.path(), std::ios::binary);
      files[entry.path().filename().string()] =
          std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return files;
  }

 private:
  std::string m_path;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Place place;
  if (size < 3) return 0;
  const unsigned mask = data[0];
  const unsigned choice = data[1];
  const std::size_t length = std::min<std::size_t>(data[2], size - 3);
  const std::string given(reinterpret_cast<const char*>(data) + 3, length);
  const std::string old(reinterpret_cast<const char*>(data) + 3 + length, size - 3 - length);
  if (std::count(old.begin(), old.end(), '/') > 2000) return 0;  // trees are deleted by recursion

  place.Start(old);
  bix::COptionManager manager;
  manager.AddCategory(&kOuter);
  std::map<std::string, std::string> held;
  bool isWritable = true;
  int result;
  bool isEmpty;
  {
    bix::COptionFile file(&manager);
    for (std::size_t i = 0; i < std::size(kHeld); ++i) {
      if ((mask >> i & 1) == 0) continue;
      const std::string text = i == 0 && length != 0 ? std::string(given.c_str())
                                                     : kTexts[(choice + i) % std::size(kTexts)];
      Expect(file.SetValue(kHeld[i].category, kHeld[i].name, text.c_str()), "SetValue");
      held[std::string(kHeld[i].category) + "/" + kHeld[i].name] = text;
      isWritable = isWritable && text.find('"') == text.npos;
    }
    result = file.Save(place.GetTarget().c_str());
    isEmpty = file.GetKeyRoot()->GetKeyCount() == 0;
  }

  auto files = place.GetFiles();
  const std::string now = files["user.tot"];
  files.erase("user.tot");
  // Only a save that replaces the file sets its bytes aside: otherwise they are still in place.
  const bool isSetAside = result == 0 && old.find('\0') != old.npos;
  if (isSetAside) Expect(files["user.tot.bad-1"] == old, "bytes behind a zero byte are not kept");
  Expect(files.size() == (isSetAside ? 1u : 0u), "something was left behind");

  // What the old file held, as the default layer reads it.
  place.Start(old);
  bix::CRgFile before(nullptr);
  const bool wasReadable = before.Load(place.GetTarget().c_str()) == 0;
  if (result != 0) {
    Expect(result == 1, "a save fails with an error of the system");
    Expect(now == old, "a failed save has changed the file");
    Expect(wasReadable ? !isWritable || !CanHeadersSay(*before.GetKeyRoot()) : isEmpty,
           "a save failed without need, or kept the tree");
    return 0;
  }
  Expect(wasReadable, "a file that could not be read was replaced");
  Expect(isWritable, "a text with a quote was written");
  place.Start(now);
  bix::CRgFile after(nullptr);
  Expect(after.Load(place.GetTarget().c_str()) == 0, "the new file cannot be read");
  const Seen was = Look(*before.GetKeyRoot());
  const Seen is = Look(*after.GetKeyRoot());
  Expect(was.foreign == is.foreign, "what is not declared has changed");
  Expect(is.declared.size() == held.size(), "the declared values are not those of the tree");
  for (const auto& [name, text] : held) {
    const auto found = is.declared.find(name);
    Expect(found != is.declared.end(), "a value of the tree is missing");
    Expect(found->second.size() == 1, "a value of the tree was written twice");
    Expect(found->second[0].size() == 2, "a value of the tree has got attributes");
    Expect(found->second[0][1] == text, "a value of the tree reads back as another text");
  }
  return 0;
}
