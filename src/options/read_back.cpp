#include "options/read_back.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "bix/optionfile.h"
#include "bix/settingsfile.h"
#include "support/runtime_type.h"
#include "support/text_view.h"

namespace bix::impl {

namespace {

/// Takes the sections that the reader finds, and keeps nothing but the sum of them.
class DigestSection : public CRgKey {
 public:
  explicit DigestSection(SettingsDigest& digest) : m_digest(digest) {}

  void Begin(const char* name) {
    m_path.assign(name);
    m_isAdded = false;
  }

  const char* GetName() const override { return ""; }
  CRgKey* CreateKey(const char* name, MList<CRgAttribute*>*) override {
    m_path.append("/").append(name);
    return this;
  }
  CRgValue* CreateValue(const char* name, CRgValue::RvType, const char* text,
                        MList<CRgAttribute*>* attributes) override {
    AddSectionOnce();
    m_digest.AddValue(View(name), View(text), attributes);
    return nullptr;  // the reader deletes the attributes
  }
  void SetAttributes(MList<CRgAttribute*>* attributes) override {
    AddSectionOnce();
    for (void* position = attributes->GetHeadPosition(); position != nullptr;) {
      const CRgAttribute* attribute = attributes->GetNext(position);
      m_digest.AddSectionAttribute(attribute->GetName(), attribute->GetValue());
      delete attribute;
    }
  }

 private:
  /// A section counts from its first contents on: one without any is not written either.
  void AddSectionOnce() {
    if (!m_isAdded) m_digest.AddSection(m_path);
    m_isAdded = true;
  }

  SettingsDigest& m_digest;
  std::string m_path;
  bool m_isAdded = false;
};

class DigestRoot : public CRgKey {
 public:
  explicit DigestRoot(SettingsDigest& digest) : m_section(digest) {}

  const char* GetName() const override { return ""; }
  CRgKey* CreateKey(const char* name, MList<CRgAttribute*>*) override {
    m_section.Begin(name);
    return &m_section;
  }
  CRgValue* CreateValue(const char*, CRgValue::RvType, const char*,
                        MList<CRgAttribute*>*) override {
    return nullptr;
  }

 private:
  DigestSection m_section;
};

/// Whether a key has the Dump that every key inherits.
bool HasPlainDump(const CRgKey& key) {
  return impl::IsExactly<COptRgKey>(key) || impl::IsExactly<COptRootRgKey>(key);
}

/// Adds a tree to the sum and, unless `file` is null, writes it: each value while it is at hand.
void WalkTree(std::FILE* file, SettingsDigest& digest, const CRgKey& root) {
  struct Waiting {
    const CRgKey* key;
    std::string parentPath;
    std::FILE* file;
  };
  if (root.GetValueCount() != 0) digest.SpoilWith("values of the root");
  std::vector<Waiting> waiting{{&root, "", file}};
  while (!waiting.empty()) {
    Waiting next = std::move(waiting.back());
    waiting.pop_back();
    const CRgKey& key = *next.key;
    std::string path;
    if (&key != &root) {
      const std::string_view name = View(key.GetName());
      if (name.find('/') != name.npos) digest.SpoilWith(name);
      if (!next.parentPath.empty()) path.append(next.parentPath).append("/");
      path.append(name);
    }
    if (next.file != nullptr && !HasPlainDump(key)) {
      // A host's own class of keys writes itself and all below it.
      key.Dump(next.file, &key != &root ? next.parentPath.c_str() : nullptr);
      next.file = nullptr;
    }
    if (&key != &root && key.GetValueCount() != 0) {
      digest.AddSection(path);
      const std::string header = "\n[" + path + "]\n\n";
      // A failure stays in the stream, where who opened it asks for it.
      if (next.file != nullptr) (void)std::fwrite(header.data(), 1, header.size(), next.file);
    }
    for (void* position = key.GetFirstValuePosition(); position != nullptr;) {
      CRgValue* value = key.GetNextValue(position);
      if (next.file != nullptr) value->Dump(next.file);
      digest.AddValue(View(value->GetName()), View(value->GetValue()), value->GetAttributeList());
    }
    const std::size_t first = waiting.size();
    for (void* position = key.GetFirstKeyPosition(); position != nullptr;)
      waiting.push_back({key.GetNextKey(position), path, next.file});
    std::reverse(waiting.begin() + static_cast<std::ptrdiff_t>(first), waiting.end());
  }
}

}  // namespace

void SettingsDigest::AddValue(std::string_view name, std::string_view text,
                              const MList<CRgAttribute*>* attributes) {
  Add(4, name);
  Add(5, text);
  if (attributes == nullptr) return;
  for (void* position = attributes->GetHeadPosition(); position != nullptr;) {
    const CRgAttribute* attribute = attributes->GetNext(position);
    Add(6, attribute->GetName());
    Add(7, attribute->GetValue());
  }
}

void AddTree(SettingsDigest& digest, const CRgKey& root) { WalkTree(nullptr, digest, root); }

void WriteTree(std::FILE* file, SettingsDigest& digest, const CRgKey& root) {
  WalkTree(file, digest, root);
}

bool ReadsBackAs(const char* fileName, std::uint64_t sum) {
  SettingsDigest digest;
  DigestRoot root(digest);
  CRgLoader loader(root);
  return loader.Load(fileName) == 0 && digest.GetSum() == sum;
}

}  // namespace bix::impl
