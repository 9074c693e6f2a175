// The incremental save. The old file is read once more, and for everything that the reader finds
// the keys of the tree call here:
//
//   a section begins       the section before it ends: what the tree has and it lacked is written
//   a header component     the tree's key, or the dummy key, which follows sections of others
//   a value                declared and in the tree: the tree's; declared and not in the tree: left
//                          out; not declared: copied as it is
//   the end of the file    sections of the tree that the old file lacked are written
//
// A header is written with the first thing below it. Every value carries the number of the save
// that wrote it last, so nothing has to be reset and the whole save stays linear.

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "bix/optionfile.h"
#include "options/option_text.h"
#include "options/read_back.h"
#include "registry/load_memory.h"
#include "support/runtime_type.h"
#include "support/text_view.h"

namespace bix {

using impl::View;

namespace {

// Static storage: the save under way in each thread, and the number of the last one. A thread that
// reads a file of its own must not write into another's save, nor take its marks for its own.
constinit thread_local CIncrSaveContext* s_current = nullptr;
constinit std::atomic<std::uint32_t> s_generation = 0;

std::uint32_t NextGeneration() {
  std::uint32_t next;
  do next = ++s_generation;
  while (next == 0);  // the mark of what was never saved
  return next;
}

/// `value` when it is one of the option layer, which is nearly always exactly that; or null.
COptRgValue* AsOptionValue(CRgValue* value) {
  if (impl::IsExactlyValue<COptRgValue>(*value)) return static_cast<COptRgValue*>(value);
  return impl::CastTo<COptRgValue>(value);
}

}  // namespace

/// What was written so far, and the attributes of the section as name and value in turn.
class CIncrSaveContext::Writing {
 public:
  impl::SettingsDigest digest;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::unordered_set<const CRgValue*> otherValues;  // saved ones that carry no mark of their own

  void TakeAttributes(const MList<CRgAttribute*>& list) {
    attributes.clear();
    for (void* position = list.GetHeadPosition(); position != nullptr;) {
      const CRgAttribute* attribute = list.GetNext(position);
      attributes.emplace_back(attribute->GetName(), attribute->GetValue());
    }
  }
};

CIncrSaveContext::CIncrSaveContext(std::FILE* stream, COptRgKey* root)
    : m_stream(stream),
      m_dummy(this),
      m_root(root),
      m_generation(NextGeneration()),
      m_writing(new Writing) {}

CIncrSaveContext::~CIncrSaveContext() {
  m_dummy.m_category = nullptr;  // followed, never registered
  delete m_writing;
}

CIncrSaveContext* CIncrSaveContext::GetCurrent() { return s_current; }

CIncrSaveContext::Scope::Scope(CIncrSaveContext& context) { s_current = &context; }

CIncrSaveContext::Scope::~Scope() { s_current = nullptr; }

void CIncrSaveContext::BeginSection() {
  if (m_current != nullptr) SaveUnsavedValues(*m_current);
  m_current = nullptr;
  StartPath("");
}

void CIncrSaveContext::StartPath(std::string_view path) {
  m_pendingPath.assign(path);
  m_isPathWritten = false;
  m_writing->attributes.clear();
}

/// The tree's key that `key` was met for. The dummy key stands for one of a host's own class, which
/// would build where it is to be saved; or for none, and then finds nothing itself.
CRgKey& CIncrSaveContext::TreeKeyOf(COptRgKey& key) const {
  return &key == &m_dummy && m_current != nullptr ? *m_current : key;
}

void CIncrSaveContext::AddStep(const char* name) {
  if (!m_pendingPath.empty()) m_pendingPath.append("/");
  m_pendingPath.append(View(name));
  m_current = nullptr;
  m_next = nullptr;
}

void CIncrSaveContext::SaveSectionAttributes(const MList<CRgAttribute*>& attributes) {
  m_writing->TakeAttributes(attributes);
  WriteHeaderOnce();
}

void CIncrSaveContext::SaveOwnValue(CRgValue& value) {
  WriteHeaderOnce();
  value.Dump(m_stream);
  m_writing->digest.AddValue(View(value.GetName()), View(value.GetValue()),
                             value.GetAttributeList());
}

void CIncrSaveContext::SaveOwnValue(const char* name, CRgValue::RvType type, const char* text,
                                    const MList<CRgAttribute*>* attributes) {
  WriteHeaderOnce();
  impl::WriteOptionValue(m_stream, View(name), type, View(text), attributes);
  m_writing->digest.AddValue(View(name), View(text), attributes);
}

CRgKey* CIncrSaveContext::AddSubPath(COptRgKey& parent, const char* name) {
  CRgKey& treeKey = TreeKeyOf(parent);
  AddStep(name);
  m_current = treeKey.FindKey(name);
  if (auto* key = impl::CastTo<COptRgKey>(m_current)) {
    // Two values of one name are told apart by the index only.
    if (!key->m_hasHiddenValues) m_next = key->GetFirstValuePosition();
    return key;
  }
  const CMgrCategory* category = parent.GetCategory();
  m_dummy.m_category = category != nullptr ? category->FindCategory(name) : nullptr;
  return &m_dummy;
}

void CIncrSaveContext::SetSectionAttributes(COptRgKey& key, MList<CRgAttribute*>* attributes) {
  m_writing->TakeAttributes(*attributes);
  for (void* position = attributes->GetHeadPosition(); position != nullptr;)
    delete attributes->GetNext(position);
  attributes->RemoveAll();  // writing may fail, and the reader then deletes what it still has
  // CHOICE(undeclared-section-attributes): the attributes of a section of others would get lost
  // with its header, so the header stays even when nothing stands below it. Test:
  // OptionFileChoice.UndeclaredSectionWithAttributesKeepsItsHeader
  if (key.GetCategory() == nullptr) WriteHeaderOnce();
}

void CIncrSaveContext::SaveValue(COptRgKey& key, const char* name, CRgValue::RvType type,
                                 const char* text, MList<CRgAttribute*>* attributes) {
  if (COptRgValue* next = FindNext(key, View(name))) return WriteTreeValueOnce(*next);
  // The tree comes first: it may hold a value whose declaration has been taken back since.
  if (CRgValue* value = TreeKeyOf(key).FindValue(name)) {
    // CHOICE(duplicate-option-lines): of two lines for one option the first takes the tree's text
    // and the second goes; otherwise the shadowed text would come back at the end of the section.
    // Test: OptionFileChoice.DuplicateLinesOfAnOptionBecomeOne
    WriteTreeValueOnce(*value);
    return;
  }
  CMgrCategory* category = key.GetCategory();
  // CHOICE(save-drops-what-the-tree-lacks): also an option that another process has added to the
  // file since it was loaded. This is the place where both sides could be told apart and merged.
  // Test: OptionFileChoice.OptionAddedByAnotherProcessSinceTheLoadDisappears
  if (category != nullptr && category->GetOptionSet()->FindOption(name) != nullptr) return;
  SaveOwnValue(name, type, text, attributes);
}

/// The value of the tree that stands behind the one written last, when the old file goes on with
/// it too, as it does where nobody else has changed it: no index needs to be searched.
COptRgValue* CIncrSaveContext::FindNext(COptRgKey& key, std::string_view name) {
  if (m_next == nullptr || &key != m_current) return nullptr;
  void* behind = m_next;
  CRgValue* const value = key.GetNextValue(behind);
  if (!impl::IsExactlyValue<COptRgValue>(*value)) return nullptr;
  auto* const found = static_cast<COptRgValue*>(value);
  if (found->GetIndexName() != name || found->m_savedIn == m_generation) return nullptr;
  m_next = behind;
  return found;
}

void CIncrSaveContext::SaveUnsavedValues(CRgKey& key) {
  if (auto* own = impl::CastTo<COptRgKey>(&key)) {
    if (own->m_savedIn == m_generation) return;
    own->m_savedIn = m_generation;
  }
  for (void* position = key.GetFirstValuePosition(); position != nullptr;) {
    CRgValue* value = key.GetNextValue(position);
    const COptRgValue* option = AsOptionValue(value);
    if (option != nullptr && option->m_savedIn == m_generation) continue;
    if (key.FindValue(value->GetName()) == value) WriteTreeValueOnce(*value);
  }
}

void CIncrSaveContext::SaveUnsavedKeys(CRgKey& root) {
  struct Open {
    CRgKey* key;
    void* position;
    std::size_t pathSize;
  };
  // One path that grows and shrinks: a tree may be as deep as a file has bytes.
  std::string path(m_pendingPath);
  std::vector<Open> open;
  const auto enter = [&](CRgKey& key) {
    if (key.GetValueCount() != 0) {
      StartPath(path);
      m_current = &key;
      SaveUnsavedValues(key);
    }
    open.push_back({&key, key.GetFirstKeyPosition(), path.size()});
  };
  enter(root);
  while (!open.empty()) {
    Open& last = open.back();
    if (last.position == nullptr) {
      open.pop_back();
      continue;
    }
    CRgKey& key = *last.key->GetNextKey(last.position);
    const std::string_view name = View(key.GetName());
    if (name.find('/') != name.npos) m_writing->digest.SpoilWith(name);
    path.resize(last.pathSize);
    if (!path.empty()) path.append("/");
    path.append(name);
    enter(key);
  }
  m_current = nullptr;
  StartPath("");
}

void CIncrSaveContext::FlushUnsavedKeys() {
  BeginSection();
  SaveUnsavedKeys(*m_root);
}

std::uint64_t CIncrSaveContext::GetDigest() const { return m_writing->digest.GetSum(); }

void CIncrSaveContext::WriteHeaderOnce() {
  if (m_isPathWritten) return;
  m_isPathWritten = true;
  if (m_current != nullptr && !m_current->GetAttributeList()->IsEmpty())
    m_writing->TakeAttributes(*m_current->GetAttributeList());
  m_writing->digest.AddSection(m_pendingPath.c_str());
  std::string header = "\n[" + m_pendingPath + "]";
  const char* separator = " (";
  for (const auto& [name, value] : m_writing->attributes) {
    m_writing->digest.AddSectionAttribute(name, value);
    header.append(separator).append(name).append("=").append(value);
    separator = ", ";
  }
  header.append(m_writing->attributes.empty() ? "\n\n" : ")\n\n");
  // A failure stays in the stream, where who opened it asks for it.
  (void)std::fwrite(header.data(), 1, header.size(), m_stream);
}

void CIncrSaveContext::WriteTreeValueOnce(CRgValue& value) {
  if (COptRgValue* option = AsOptionValue(&value)) {
    if (option->m_savedIn == m_generation) return;
    option->m_savedIn = m_generation;
  } else if (!m_writing->otherValues.insert(&value).second) {
    return;
  }
  SaveOwnValue(value);
}

}  // namespace bix
