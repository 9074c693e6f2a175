#include "bix/registry.h"

#include <cstring>
#include <memory>
#include <mutex>

#include "registry/load_memory.h"
#include "support/runtime_type.h"
#include "support/text_view.h"

namespace bix {

using impl::OrEmpty;

namespace {

bool SameText(const char* left, const char* right) { return std::strcmp(left, right) == 0; }

// CHOICE(deep-tree-order): keys below this nesting of Empty calls are set aside and deleted one
// after the other, when their parents are gone, so that a tree of any depth is taken apart with a
// bounded stack. The order in which destructors begin stays. Test:
// RegistryKey.WideKeysAtAnyDepthAreDeletedInListOrder,
// SettingsWriter.DumpKeepsOrderAndPathsAtAnyDepth
constexpr int kMaxNestedEmpty = 64;

// Static storage, one per thread: the nesting of CRgKey::Empty, and the keys set aside by the calls
// that are nested too deeply, chained through their parent links. Both are zero between calls.
constinit thread_local int s_emptyNesting = 0;
constinit thread_local CRgKey* s_keysSetAside = nullptr;

// Static storage: held while the values of a key are indexed for the first search.
constinit std::mutex s_indexing;

template <class T>
void DeleteElements(MList<T*>& list) {
  // Unlinked before it is deleted: a destructor that walks the list finds only live elements.
  while (void* position = list.GetHeadPosition()) {
    T* element = list.GetAt(position);
    list.RemoveAt(position);
    delete element;
  }
}

template <class T>
bool Unlink(MList<T*>& list, T* element) {
  void* position = list.Find(element);
  if (position == nullptr) return false;
  list.RemoveAt(position);
  return true;
}

template <class T>
T* FindByName(const MList<T*>& list, const char* name) {
  name = OrEmpty(name);
  for (void* position = list.GetHeadPosition(); position != nullptr;) {
    T* element = list.GetNext(position);
    if (SameText(OrEmpty(element->GetName()), name)) return element;
  }
  return nullptr;
}

/// Takes every entry out of `index` that points at `element`, whatever its name.
template <class T>
void RemovePointer(MMap<SString, T*>& index, const T* element) {
  SVector<SString> names;
  for (void* position = index.GetStartPosition(); position != nullptr;) {
    SString name;
    T* indexed;
    index.GetNextAssoc(position, name, indexed);
    if (indexed == element) names.push_back(name);
  }
  for (const SString& name : names) index.RemoveKey(name);
}

/// Removes the entry of `name`, which stands in one of two indexes at most, and returns what it
/// pointed at, or null.
template <class T, class Plain>
T* RemoveName(MMap<SString, T*>& index, impl::NameIndex<Plain>& plainIndex, const char* name) {
  if (Plain* plain = plainIndex.Remove(name)) return plain;
  T* indexed = nullptr;
  if (index.Lookup(name, indexed)) index.RemoveKey(name);
  return indexed;
}

}  // namespace

// Attributes and values.

CRgAttribute::~CRgAttribute() = default;

CRgValue::~CRgValue() { DeleteElements(m_attributes); }

void CRgValue::AddAttribute(CRgAttribute* attribute) { m_attributes.AddTail(attribute); }

const char* CRgValue::GetAttributeValue(const char* name) const {
  const CRgAttribute* attribute = FindByName(m_attributes, name);
  return attribute != nullptr ? attribute->GetValue() : nullptr;
}

void CRgValue::SetAttributeValue(const char* name, const char* value) {
  if (CRgAttribute* attribute = FindByName(m_attributes, name)) return attribute->SetValue(value);
  auto attribute = std::make_unique<CRgAttribute>(name, value);
  AddAttribute(attribute.get());
  (void)attribute.release();  // owned by this value
}

CDefRgValue::CDefRgValue(const char* name, RvType type, const char* value)
    : m_name(name), m_value(value), m_type(type) {}

CDefRgValue::CDefRgValue(std::string_view name, std::string_view value)
    : m_name(impl::ExactBytes(), name), m_value(impl::ExactBytes(), value), m_type(0) {}

CDefRgValue::~CDefRgValue() = default;

static_assert(sizeof(impl::InBlock<CDefRgValue>) == sizeof(CDefRgValue));

const char* CDefRgValue::GetName() const { return m_name.c_str(); }

const char* CDefRgValue::GetValue() const { return m_value.c_str(); }

CRgValue::RvType CDefRgValue::GetType() const { return m_type; }

void CDefRgValue::SetName(const char* name) {
  // COMPAT(value-rename-keeps-index): the key that lists this value is not told, so it is still
  // found under its first name and not under the new one. Hosts rename values they walk.
  // Test: RegistryIndexCompat.RenamedValueIsFoundUnderItsFirstName
  SString names(name);
  names.push_back(0);
  names.append(GetIndexName());
  m_name.swap(names);
  m_isRenamed = true;
}

void CDefRgValue::SetType(RvType type) { m_type = type; }

void CDefRgValue::SetValue(const char* value) { m_value = value; }

// Keys.

CRgKey::~CRgKey() {
  // The derived part is gone: this is the base form, which knows only the lists.
  CRgKey::Empty();
}

CRgKey* CRgKey::FindKey(const char* name) const { return FindByName(m_keys, name); }

bool CRgKey::AddKey(CRgKey* key) {
  // COMPAT(add-key-sets-no-parent): the added key keeps the parent link it had. Layers that want
  // links set them in their own AddKey; keys of the default layer have none, so the removing
  // operations of CRgFile leave them alone. Test: RegistryTreeCompat.AddKeySetsNoParent
  m_keys.AddTail(key);
  return true;
}

bool CRgKey::RemoveKey(CRgKey* key) {
  if (!Unlink(m_keys, key)) return false;
  key->m_parent = nullptr;
  return true;
}

CRgValue* CRgKey::FindValue(const char* name) const { return FindByName(m_values, name); }

bool CRgKey::AddValue(CRgValue* value) {
  m_values.AddTail(value);
  return true;
}

bool CRgKey::RemoveValue(CRgValue* value) { return Unlink(m_values, value); }

void CRgKey::SetAttributes(MList<CRgAttribute*>* attributes) {
  // CHOICE(set-own-attributes): the key's own list would be deleted and then listed again; they are
  // this key's already. Test: RegistryKey.SetAttributesWithItsOwnListKeepsThem
  if (attributes == &m_attributes) return;
  DeleteElements(m_attributes);
  if (attributes == nullptr) return;
  try {
    for (void* position = attributes->GetHeadPosition(); position != nullptr;)
      m_attributes.AddTail(attributes->GetNext(position));
  } catch (...) {
    m_attributes.RemoveAll();  // they stay the caller's
    throw;
  }
}

CRgKey* CRgKey::UseAttributes(MList<CRgAttribute*>*, const char*) { return nullptr; }

void CRgKey::Empty() {
  if (s_emptyNesting > kMaxNestedEmpty) {
    // Set aside for the call that reached the bound; the first sub-key is the next to go.
    CRgKey* first = nullptr;
    CRgKey** link = &first;
    for (void* position = m_keys.GetHeadPosition(); position != nullptr;) {
      *link = m_keys.GetNext(position);
      link = &(*link)->m_parent;
    }
    *link = s_keysSetAside;
    s_keysSetAside = first;
    m_keys.RemoveAll();
  } else {
    ++s_emptyNesting;
    const bool deletesKeysSetAside = s_emptyNesting > kMaxNestedEmpty;
    while (void* position = m_keys.GetHeadPosition()) {
      CRgKey* key = m_keys.GetAt(position);
      m_keys.RemoveAt(position);
      delete key;
      while (deletesKeysSetAside && s_keysSetAside != nullptr) {
        CRgKey* next = s_keysSetAside;
        s_keysSetAside = next->m_parent;
        next->m_parent = nullptr;  // its parent is gone
        delete next;
      }
    }
    --s_emptyNesting;
  }
  DeleteElements(m_values);
  DeleteElements(m_attributes);
}

// The default layer.

CDefRgKey::CDefRgKey(const char* name) : m_name(name) {}

CDefRgKey::~CDefRgKey() = default;

const char* CDefRgKey::GetName() const { return m_name.c_str(); }

CRgKey* CDefRgKey::CreateKey(const char* name, MList<CRgAttribute*>*) {
  // COMPAT(default-layer-ignores-attributes): the list is not looked at, here and in CreateValue;
  // what is not taken stays with the caller. Test: RegistryTreeCompat.DefaultLayerTakesNoAttributes
  if (CRgKey* key = FindKey(name)) return key;
  auto key = std::make_unique<CDefRgKey>(name);
  AddKey(key.get());
  return key.release();  // owned by this key
}

CRgKey* CDefRgKey::FindKey(const char* name) const { return FindKeyByName(OrEmpty(name)); }

CRgKey* CDefRgKey::FindKeyByName(std::string_view name) const {
  if (CDefRgKey* plain = m_plainKeys.Find(name)) return plain;
  CRgKey* key = nullptr;
  return !m_keyIndex.IsEmpty() && m_keyIndex.Lookup(name, key) ? key : nullptr;
}

bool CDefRgKey::AddKey(CRgKey* key) {
  // Room in the index first, so that memory exhaustion leaves nothing half added.
  if (impl::IsExactly<CDefRgKey>(*key)) {
    auto* plain = static_cast<CDefRgKey*>(key);
    m_plainKeys.Reserve();
    const bool added = CRgKey::AddKey(key);
    m_plainKeys.Set(plain);
    if (!m_keyIndex.IsEmpty()) m_keyIndex.RemoveKey(plain->GetIndexName());
    return added;
  }
  const char* name = OrEmpty(key->GetName());
  CRgKey*& entry = m_keyIndex[name];
  const bool added = CRgKey::AddKey(key);
  entry = key;
  m_plainKeys.Remove(name);
  return added;
}

bool CDefRgKey::RemoveKey(CRgKey* key) {
  if (RemoveName(m_keyIndex, m_plainKeys, OrEmpty(key->GetName())) != key && !m_keyIndex.IsEmpty())
    RemovePointer(m_keyIndex, key);
  return CRgKey::RemoveKey(key);
}

CRgValue* CDefRgKey::CreateValue(const char* name, CRgValue::RvType type, const char* value,
                                 MList<CRgAttribute*>*) {
  // COMPAT(create-value-keeps-duplicates): a value of this name may exist; both stay in the list
  // and are written, and the newer one is found. Test:
  // RegistryIndexCompat.SecondValueOfANameIsAdded
  auto made = std::make_unique<CDefRgValue>(name, type, value);
  AddValue(made.get());
  return made.release();  // owned by this key
}

CRgValue* CDefRgKey::CreateTextValue(std::string_view name, std::string_view text,
                                     impl::LoadMemory& memory) {
  std::unique_ptr<CDefRgValue> made(impl::InBlock<CDefRgValue>::Make(memory, name, text));
  AddPlainValue(made.get());
  return made.release();  // owned by this key
}

CRgValue* CDefRgKey::FindValue(const char* name) const { return FindValueByName(OrEmpty(name)); }

CRgValue* CDefRgKey::FindValueByName(std::string_view name) const {
  if (m_areValuesUnindexed.load(std::memory_order_acquire)) IndexValues();
  if (CDefRgValue* plain = m_plainValues.Find(name)) return plain;
  CRgValue* value = nullptr;
  return !m_valueIndex.IsEmpty() && m_valueIndex.Lookup(name, value) ? value : nullptr;
}

/// Adds a value that is exactly a CDefRgValue and was not renamed.
bool CDefRgKey::AddPlainValue(CDefRgValue* value) {
  if (MayLeaveUnindexed()) {
    CRgKey::AddValue(value);
    m_areValuesUnindexed.store(true, std::memory_order_relaxed);
    return true;
  }
  m_plainValues.Reserve();
  const bool added = CRgKey::AddValue(value);
  m_plainValues.Set(value);
  if (!m_valueIndex.IsEmpty()) m_valueIndex.RemoveKey(value->GetIndexName());
  return added;
}

bool CDefRgKey::AddValue(CRgValue* value) {
  if (impl::IsExactlyValue<CDefRgValue>(*value))
    if (auto* plain = static_cast<CDefRgValue*>(value); !plain->m_isRenamed)
      return AddPlainValue(plain);
  if (m_areValuesUnindexed.load(std::memory_order_relaxed)) IndexValues();
  const char* name = OrEmpty(value->GetName());
  CRgValue*& entry = m_valueIndex[name];
  const bool added = CRgKey::AddValue(value);
  entry = value;
  m_plainValues.Remove(name);
  return added;
}

bool CDefRgKey::RemoveValue(CRgValue* value) {
  // COMPAT(remove-clears-name): the entry of the name goes even when it points at another element
  // of that name, which then is listed but no longer found.
  // Tests: RegistryIndexCompat.RemovingEitherDuplicateUnindexesTheName,
  // RegistryIndexCompat.RemovingAForeignObjectUnindexesItsName
  if (m_areValuesUnindexed.load(std::memory_order_relaxed)) IndexValues();
  const bool hasFoundIt =
      RemoveName(m_valueIndex, m_plainValues, OrEmpty(value->GetName())) == value;
  if (!hasFoundIt) {
    // CHOICE(purge-renamed): an entry under an earlier name would point at an object that the
    // caller may delete next. Test: RegistryIndex.RemovedValueIsFoundUnderNoneOfItsNames
    if (const auto* plain = impl::CastTo<CDefRgValue>(value);
        plain != nullptr && plain->m_isRenamed)
      if (m_plainValues.Find(plain->GetIndexName()) == plain)
        m_plainValues.Remove(plain->GetIndexName());
    if (!m_valueIndex.IsEmpty()) RemovePointer(m_valueIndex, value);
  }
  return CRgKey::RemoveValue(value);
}

/// Whether a plain value that is about to be added can wait for the first search: then the list
/// tells all that the index would tell.
bool CDefRgKey::MayLeaveUnindexed() const {
  return m_areValuesUnindexed.load(std::memory_order_relaxed) ||
         (m_values.IsEmpty() && m_plainValues.IsEmpty() && m_valueIndex.IsEmpty());
}

/// Indexes all values at once. Several threads may be the first to search a tree that none changes.
void CDefRgKey::IndexValues() const {
  const std::lock_guard<std::mutex> lock(s_indexing);
  if (!m_areValuesUnindexed.load(std::memory_order_relaxed)) return;
  m_plainValues.Reserve(static_cast<std::uint32_t>(m_values.GetCount()));
  for (void* position = m_values.GetHeadPosition(); position != nullptr;) {
    CRgValue* const value = m_values.GetNext(position);
    if (impl::IsExactlyValue<CDefRgValue>(*value))
      m_plainValues.Set(static_cast<CDefRgValue*>(value));
  }
  m_areValuesUnindexed.store(false, std::memory_order_release);
}

void CDefRgKey::Empty() {
  m_areValuesUnindexed.store(false, std::memory_order_relaxed);
  m_plainKeys.RemoveAll();
  m_plainValues.RemoveAll();
  m_keyIndex.RemoveAll();
  m_valueIndex.RemoveAll();
  CRgKey::Empty();
}

}  // namespace bix
