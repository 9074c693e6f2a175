#include "bix/registry.h"

#include <cstring>
#include <memory>

namespace bix {

namespace {

const char* TextOf(const char* text) { return text != nullptr ? text : ""; }

bool SameText(const char* left, const char* right) { return std::strcmp(left, right) == 0; }

/// Keys below this nesting of Empty calls are set aside and deleted one after the other, so that a
/// tree of any depth is taken apart with a bounded stack.
constexpr int kMaxNestedEmpty = 64;

// Static storage, one per thread: the nesting of CRgKey::Empty, and the keys set aside by the calls
// that are nested too deeply, chained through their parent links. Both are zero between calls.
constinit thread_local int s_emptyNesting = 0;
constinit thread_local CRgKey* s_keysSetAside = nullptr;

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
  name = TextOf(name);
  for (void* position = list.GetHeadPosition(); position != nullptr;) {
    T* element = list.GetNext(position);
    if (SameText(element->GetName(), name)) return element;
  }
  return nullptr;
}

/// Takes `element` out of a name index under its own name, whatever that entry points at.
template <class T>
void RemoveIndexEntry(MMap<SString, T*>& index, T* element, bool mayHaveBeenRenamed) {
  const char* name = element->GetName();
  T* indexed = nullptr;
  if (index.Lookup(name, indexed)) index.RemoveKey(name);
  if (indexed == element || !mayHaveBeenRenamed) return;
  // An entry under an earlier name would point at an object that the caller may delete next.
  SVector<SString> staleNames;
  for (void* position = index.GetStartPosition(); position != nullptr;) {
    SString indexName;
    index.GetNextAssoc(position, indexName, indexed);
    if (indexed == element) staleNames.push_back(indexName);
  }
  for (const SString& staleName : staleNames) index.RemoveKey(staleName);
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

CDefRgValue::~CDefRgValue() = default;

const char* CDefRgValue::GetName() const { return m_name.c_str(); }

const char* CDefRgValue::GetValue() const { return m_value.c_str(); }

CRgValue::RvType CDefRgValue::GetType() const { return m_type; }

void CDefRgValue::SetName(const char* name) {
  // COMPAT(value-rename-keeps-index): the key that lists this value is not told, so it is still
  // found under its first name and not under the new one. Hosts rename values they walk.
  // Test: RegistryIndexCompat.RenamedValueIsFoundUnderItsFirstName
  m_name = name;
  m_renamed = true;
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
  if (attributes == &m_attributes) return;  // they are this key's already
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

CRgKey* CDefRgKey::FindKey(const char* name) const {
  CRgKey* key = nullptr;
  return m_keyIndex.Lookup(TextOf(name), key) ? key : nullptr;
}

bool CDefRgKey::AddKey(CRgKey* key) {
  // The entry first, so that memory exhaustion leaves nothing half added.
  CRgKey*& entry = m_keyIndex[key->GetName()];
  const bool added = CRgKey::AddKey(key);
  entry = key;
  return added;
}

bool CDefRgKey::RemoveKey(CRgKey* key) {
  RemoveIndexEntry(m_keyIndex, key, dynamic_cast<CDefRgKey*>(key) == nullptr);
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

CRgValue* CDefRgKey::FindValue(const char* name) const {
  CRgValue* value = nullptr;
  return m_valueIndex.Lookup(TextOf(name), value) ? value : nullptr;
}

bool CDefRgKey::AddValue(CRgValue* value) {
  CRgValue*& entry = m_valueIndex[value->GetName()];
  const bool added = CRgKey::AddValue(value);
  entry = value;
  return added;
}

bool CDefRgKey::RemoveValue(CRgValue* value) {
  // COMPAT(remove-clears-name): the entry of the name goes even when it points at another element
  // of that name, which then is listed but no longer found.
  // Test: RegistryIndexCompat.RemovingEitherDuplicateUnindexesTheName
  const auto* known = dynamic_cast<CDefRgValue*>(value);
  RemoveIndexEntry(m_valueIndex, value, known == nullptr || known->m_renamed);
  return CRgKey::RemoveValue(value);
}

void CDefRgKey::Empty() {
  m_keyIndex.RemoveAll();
  m_valueIndex.RemoveAll();
  CRgKey::Empty();
}

}  // namespace bix
