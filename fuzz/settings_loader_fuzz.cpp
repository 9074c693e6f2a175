// Any bytes as a settings file: the loader must make the same tree with the same result as a plain
// transcription of the grammar, which reads a text byte by byte and keeps one character ahead.
//
// The first byte chooses how the key layer answers, so that refused sections and left attributes
// are met too. Every file is also loaded a second time behind a block of blanks, with its tokens
// across the edge of the reader's block.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "bix/registry.h"
#include "bix/settingsfile.h"

namespace {

using Attributes = bix::MList<bix::CRgAttribute*>;

/// How the key layer answers, told by bits of the first byte.
struct Manner {
  bool refusesKeys;       // whose names have an odd length
  bool refusesValues;     // the same
  bool takesAttributes;   // of values, in CreateValue
  bool makesRefusedKeys;  // in UseAttributes
};

bool IsRefused(bool refuses, const std::string& name) { return refuses && name.size() % 2 == 1; }

// The transcription.

struct Attribute {
  std::string name;
  std::string value;
};
struct Value {
  std::string name;
  std::string text;
  std::vector<Attribute> attributes;
};
struct Key {
  std::string name;
  std::vector<Attribute> attributes;
  std::vector<Value> values;
  std::vector<Key> keys;
};

class Transcription {
 public:
  Transcription(const std::string& text, Manner manner) : m_text(text), m_manner(manner) {}

  int Load() {
    do NextToken();
    while (m_kind == 0);
    bool isReading = true;
    while (isReading && m_kind == 9) isReading = LoadSection();
    return m_kind == 14 ? 0 : 1;
  }
  const Key& GetRoot() const { return m_root; }

 private:
  void NextChar() {
    if (m_at >= m_text.size() || m_text[m_at] == 0)
      m_current = 0;  // and stays so
    else
      m_current = static_cast<unsigned char>(m_text[m_at++]);
  }
  void SkipBlanks() {
    while (std::isspace(m_current)) NextChar();
  }
  void NextToken() {
    SkipBlanks();
    static const struct {
      int character;
      int kind;
    } kSingle[] = {{',', 12}, {'(', 7},  {')', 8},  {'=', 11},
                   {'[', 9},  {']', 10}, {'/', 13}, {0, 14}};
    for (const auto& single : kSingle) {
      if (m_current != single.character) continue;
      m_kind = single.kind;
      NextChar();
      return;
    }
    if (m_current == '"') {
      m_token.clear();
      for (NextChar(); m_current != '"' && m_current != 0; NextChar())
        m_token += static_cast<char>(m_current);
      if (m_current == '"') NextChar();
      m_kind = 3;
    } else if (std::isdigit(m_current)) {
      std::uint32_t number = 0;
      for (; std::isdigit(m_current); NextChar())
        number = number * 10u + static_cast<std::uint32_t>(m_current - '0');
      char text[16];
      std::snprintf(text, sizeof text, "%d", static_cast<std::int32_t>(number));
      m_token = text;
      m_kind = 4;
    } else if (std::isalpha(m_current)) {
      m_token.clear();
      for (; std::isalnum(m_current) || m_current == '_'; NextChar())
        m_token += static_cast<char>(m_current);
      m_kind = 2;
      if (strcasecmp(m_token.c_str(), "true") == 0) m_kind = 5;
      if (strcasecmp(m_token.c_str(), "false") == 0) m_kind = 6;
    } else {
      NextChar();
      m_kind = 0;
    }
  }
  void NextRaw(const char* ends, const char* singles, const int* kinds) {
    SkipBlanks();
    if (m_current == 0) {
      m_kind = 14;
      return;
    }
    if (const char* single = std::strchr(singles, m_current)) {
      m_kind = kinds[single - singles];
      NextChar();
      return;
    }
    m_token.clear();
    for (; m_current != 0 && std::strchr(ends, m_current) == nullptr; NextChar())
      m_token += static_cast<char>(m_current);
    m_kind = 1;
  }
  void NextKey() {
    static const int kKinds[] = {13, 9};
    NextRaw("]/", "/]", kKinds);
  }
  void NextAttribute() {
    static const int kKinds[] = {13, 8, 11};
    NextRaw(")=,", ",)=", kKinds);
  }

  bool LoadSection() {
    // A key is a way of indexes: the tree moves while it grows.
    std::vector<std::size_t> key, last;
    bool hasKey = true, hasLast = false;
    std::string component;
    do {
      NextKey();
      if (m_kind != 1) break;
      if (hasKey) {
        component = m_token;
        if (IsRefused(m_manner.refusesKeys, component)) {
          hasKey = false;
        } else {
          key.push_back(FindOrMake(At(key), component));
          last = key;
          hasLast = true;
        }
      }
      NextToken();
    } while (m_kind == 13);
    if (m_kind != 10) return false;
    NextToken();

    std::vector<Attribute> attributes;
    if (m_kind == 7) {
      do {
        NextAttribute();
        const std::string name = m_token;
        NextToken();
        if (m_kind != 11) break;
        NextAttribute();
        attributes.push_back({name, m_token});
        NextToken();
      } while (m_kind != 8);
      NextToken();
    }
    if (!attributes.empty()) {
      if (!hasKey && hasLast && m_manner.makesRefusedKeys) {
        Key& parent = At(last);
        parent.keys.push_back({component, attributes, {}, {}});
        key = last;
        key.push_back(parent.keys.size() - 1);
        hasKey = true;
      } else if (hasKey) {
        At(key).attributes = attributes;
      }
    }
    while (m_kind == 3) {
      Value value{m_token, "", {}};
      NextToken();
      if (m_kind != 11) break;
      NextToken();
      value.text = m_token;
      NextToken();
      if (m_kind == 7) {
        do {
          NextToken();
          const std::string name = m_token;
          NextToken();
          if (m_kind != 11) break;
          NextToken();
          value.attributes.push_back({name, m_token});
          NextToken();
        } while (m_kind != 8);
        NextToken();
      }
      if (hasKey && !IsRefused(m_manner.refusesValues, value.name)) At(key).values.push_back(value);
    }
    return true;
  }

  Key& At(const std::vector<std::size_t>& way) {
    Key* key = &m_root;
    for (const std::size_t index : way) key = &key->keys[index];
    return *key;
  }
  /// The latest key of a name is the one that is found.
  static std::size_t FindOrMake(Key& parent, const std::string& name) {
    for (std::size_t i = parent.keys.size(); i > 0; --i)
      if (parent.keys[i - 1].name == name) return i - 1;
    parent.keys.push_back({name, {}, {}, {}});
    return parent.keys.size() - 1;
  }

  const std::string& m_text;
  Manner m_manner;
  std::size_t m_at = 0;
  int m_current = ' ';
  std::string m_token;
  int m_kind = 0;
  Key m_root;
};

// The key layer through which the loader works.

class LayerKey : public bix::CDefRgKey {
 public:
  LayerKey(const char* name, Manner manner) : CDefRgKey(name), m_manner(manner) {}
  bix::CRgKey* CreateKey(const char* name, Attributes* attributes) override {
    if (attributes != nullptr) std::abort();
    if (IsRefused(m_manner.refusesKeys, name)) return nullptr;
    if (bix::CRgKey* key = FindKey(name)) return key;
    auto* key = new LayerKey(name, m_manner);
    AddKey(key);
    return key;
  }
  bix::CRgValue* CreateValue(const char* name, bix::CRgValue::RvType type, const char* text,
                             Attributes* attributes) override {
    if (type != 0) std::abort();
    if (IsRefused(m_manner.refusesValues, name)) return nullptr;
    auto* value = new bix::CDefRgValue(name, type, text);
    if (m_manner.takesAttributes)
      for (void* position = attributes->GetHeadPosition(); position != nullptr;)
        value->AddAttribute(attributes->GetNext(position));
    AddValue(value);
    return value;
  }
  bix::CRgKey* UseAttributes(Attributes* attributes, const char* name) override {
    if (!m_manner.makesRefusedKeys) return nullptr;
    auto* key = new LayerKey(name, m_manner);
    if (m_manner.takesAttributes) key->SetAttributes(attributes);
    AddKey(key);
    return key;
  }

 private:
  Manner m_manner;
};

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "the loader differs in %s\n", what);
  std::abort();
}

void CompareAttributes(const std::vector<Attribute>& want, const Attributes& got) {
  Expect(static_cast<int>(want.size()) == got.GetCount(), "the number of attributes");
  void* position = got.GetHeadPosition();
  for (const Attribute& attribute : want) {
    const bix::CRgAttribute* other = got.GetNext(position);
    Expect(attribute.name == other->GetName(), "the name of an attribute");
    Expect(attribute.value == other->GetValue(), "the value of an attribute");
  }
}

void Compare(const Key& want, bix::CRgKey& got) {
  Expect(want.name == got.GetName(), "the name of a key");
  CompareAttributes(want.attributes, *got.GetAttributeList());
  Expect(static_cast<int>(want.values.size()) == got.GetValueCount(), "the number of values");
  void* position = got.GetFirstValuePosition();
  for (const Value& value : want.values) {
    bix::CRgValue* other = got.GetNextValue(position);
    Expect(value.name == other->GetName(), "the name of a value");
    Expect(value.text == other->GetValue(), "the text of a value");
    Expect(other->GetType() == 0, "the type of a value");
    CompareAttributes(value.attributes, *other->GetAttributeList());
  }
  for (std::size_t i = 0; i < want.values.size(); ++i) {
    const std::string& name = want.values[i].name;
    const bix::CRgValue* found = got.FindValue(name.c_str());
    const auto latest = std::find_if(want.values.rbegin(), want.values.rend(),
                                     [&](const Value& value) { return value.name == name; });
    Expect(found != nullptr && latest->text == found->GetValue(), "a value found by its name");
    if (i == 100) break;
  }
  Expect(static_cast<int>(want.keys.size()) == got.GetKeyCount(), "the number of keys");
  position = got.GetFirstKeyPosition();
  for (const Key& key : want.keys) Compare(key, *got.GetNextKey(position));
}

/// A file in memory with a name.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& text) : m_fd(memfd_create("settings", MFD_CLOEXEC)) {
    if (m_fd < 0 || write(m_fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
      std::abort();
  }
  ~MemoryFile() { close(m_fd); }
  std::string GetName() const { return "/proc/self/fd/" + std::to_string(m_fd); }

 private:
  int m_fd;
};

void LoadAndCompare(const std::string& text, Manner manner) {
  Transcription wanted(text, manner);
  const int want = wanted.Load();
  const MemoryFile file(text);

  LayerKey root("", manner);
  bix::CRgLoader loader(root);
  Expect(loader.Load(file.GetName().c_str()) == want, "the result");
  Compare(wanted.GetRoot(), root);
  Expect((want == 0) == (loader.GetErrorLine() == 0), "the line of the failure");
  Expect((want == 0) == (*loader.GetErrorExpected() == 0), "the text of the failure");

  if (manner.refusesKeys || manner.refusesValues) return;
  bix::CRgFile plain(nullptr);
  Expect(plain.Load(file.GetName().c_str()) == want, "the result of the default layer");
  if (want == 0)
    Compare(wanted.GetRoot(), *plain.GetKeyRoot());
  else
    Expect(plain.GetKeyRoot()->GetKeyCount() == 0, "the tree after a failure");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const Manner manner{(data[0] & 1) != 0, (data[0] & 2) != 0, (data[0] & 4) != 0,
                      (data[0] & 8) != 0};
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  // The comparison walks the tree by recursion.
  if (std::count(text.begin(), text.end(), '/') > 2000) return 0;
  LoadAndCompare(text, manner);
  constexpr std::size_t kBlock = 64 * 1024;
  if (text.size() < 256 && data[0] >= 16)
    LoadAndCompare(std::string(kBlock - text.size() * (data[0] >> 4) / 16, ' ') + text +
                       std::string(kBlock, ' '),
                   manner);
  return 0;
}
