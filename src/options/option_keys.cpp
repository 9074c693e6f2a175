// Keys and values of option files. While a file is saved, the keys hand what the reader finds in
// the old file to the save under way instead of building on it; see incremental_save.cpp.

#include <memory>
#include <string_view>

#include "bix/optionfile.h"
#include "options/option_text.h"
#include "options/split_path.h"
#include "registry/load_memory.h"
#include "support/runtime_type.h"
#include "support/text_view.h"

namespace bix {

using impl::View;

namespace {

void DeleteAttributes(MList<CRgAttribute*>* attributes) {
  if (attributes == nullptr) return;
  for (void* position = attributes->GetHeadPosition(); position != nullptr;)
    delete attributes->GetNext(position);
}

}  // namespace

COptRgValue::COptRgValue(const COption* option, const char* text)
    : m_option(option), m_text(text) {}

COptRgValue::~COptRgValue() = default;

const char* COptRgValue::GetName() const { return m_option->name; }

const char* COptRgValue::GetValue() const { return m_text.c_str(); }

CRgValue::RvType COptRgValue::GetType() const {
  // COMPAT(option-kinds-to-types): only kinds 2 and 3 are written bare; all others are texts.
  // Test: OptionValueCompat.KindsTwoAndThreeAreTypesOneAndTwo
  switch (m_option->kind) {
    case 2:
      return 1;
    case 3:
      return 2;
    default:
      return 0;
  }
}

void COptRgValue::SetName(const char*) {}

void COptRgValue::SetType(RvType) {}

void COptRgValue::SetValue(const char* value) { m_text = value; }

bool COptRgValue::Dump(std::FILE* file) {
  impl::WriteOptionValue(file, View(GetName()), GetType(), m_text.c_str(), GetAttributeList());
  return true;
}

bool COptRgValue::IsFixed() const {
  const char* mark = GetAttributeValue("fixed");
  return mark != nullptr && View(mark) == "true";
}

COptRgKey::COptRgKey(const char* name) : m_name(name) {}

COptRgKey::~COptRgKey() { Detach(); }

void COptRgKey::SetCategory(CMgrCategory* category) {
  if (m_category != nullptr) m_category->UnregisterOptRgKey(this);
  m_category = nullptr;
  if (category == nullptr) return;
  // First: a key that the category does not know of is not told when that goes.
  category->RegisterOptRgKey(this);
  m_category = category;
}

const char* COptRgKey::GetName() const { return m_name.c_str(); }

CRgKey* COptRgKey::CreateKey(const char* name, MList<CRgAttribute*>* attributes) {
  if (CIncrSaveContext* save = CIncrSaveContext::GetCurrent()) return save->AddSubPath(*this, name);
  const std::string_view subName = View(name);
  CMgrCategory* category =
      m_category != nullptr && !subName.empty() && subName.find('/') == subName.npos
          ? m_category->FindCategory(name)
          : nullptr;
  if (category == nullptr) {
    DeleteAttributes(attributes);
    return nullptr;
  }
  CRgKey* key = FindKey(name);
  if (key == nullptr) {
    auto made = std::make_unique<COptRgKey>(name);
    made->SetCategory(category);
    AddKey(made.get());
    key = made.release();  // owned by this key
  }
  if (attributes != nullptr && !attributes->IsEmpty()) key->SetAttributes(attributes);
  return key;
}

CRgKey* COptRgKey::FindKey(const char* name) const {
  if (COptRgKey* plain = m_plainKeys.Find(View(name))) return plain;
  CRgKey* const* found = m_keyIndex.PLookup(View(name));
  return found != nullptr ? *found : nullptr;
}

const COptRgKey* COptRgKey::WalkTo(const impl::SplitPath& path, bool& isKnown) const {
  const COptRgKey* key = this;
  for (std::size_t i = 0; i < path.GetCount(); ++i) {
    const COptRgKey* below = key->m_plainKeys.Find(path.GetComponent(i));
    if (below == nullptr) {
      isKnown = key->m_keyIndex.IsEmpty();
      return nullptr;
    }
    key = below;
  }
  isKnown = true;
  return key;
}

bool COptRgKey::AddKey(CRgKey* key) {
  const std::string_view name = View(key->GetName());
  bool isAdded;
  if (impl::IsExactly<COptRgKey>(*key)) {
    m_plainKeys.Reserve();
    isAdded = CRgKey::AddKey(key);
    m_plainKeys.Set(static_cast<COptRgKey*>(key));
    m_keyIndex.RemoveKey(name);
  } else {
    CRgKey*& entry = m_keyIndex[name];
    isAdded = CRgKey::AddKey(key);
    entry = key;
    m_plainKeys.Remove(name);
  }
  SetParent(*key, this);
  return isAdded;
}

bool COptRgKey::RemoveKey(CRgKey* key) {
  if (FindKey(key->GetName()) == key) {
    m_plainKeys.Remove(View(key->GetName()));
    m_keyIndex.RemoveKey(View(key->GetName()));
  }
  return CRgKey::RemoveKey(key);
}

CRgValue* COptRgKey::CreateValue(const char* name, CRgValue::RvType type, const char* value,
                                 MList<CRgAttribute*>* attributes) {
  if (CIncrSaveContext* save = CIncrSaveContext::GetCurrent()) {
    save->SaveValue(*this, name, type, value, attributes);
    return nullptr;  // the caller deletes the attributes
  }
  const COption* option =
      m_category != nullptr ? m_category->GetOptionSet()->FindOption(name) : nullptr;
  if (option == nullptr) return nullptr;
  std::unique_ptr<COptRgValue> made(impl::NewValue<COptRgValue>(option, value));
  try {
    if (attributes != nullptr)
      for (void* position = attributes->GetHeadPosition(); position != nullptr;)
        made->AddAttribute(attributes->GetNext(position));
    AddValue(made.get());
  } catch (...) {
    made->GetAttributeList()->RemoveAll();  // they stay the caller's
    throw;
  }
  return made.release();  // owned by this key
}

CRgValue* COptRgKey::FindValue(const char* name) const {
  return const_cast<CRgValue*>(FindValueOf(View(name)));
}

const CRgValue* COptRgKey::FindValueOf(std::string_view name) const {
  if (const COptRgValue* plain = m_plainValues.Find(name)) return plain;
  CRgValue* const* found = m_valueIndex.PLookup(name);
  return found != nullptr ? *found : nullptr;
}

bool COptRgKey::AddValue(CRgValue* value) {
  const std::string_view name = View(value->GetName());
  const bool hidesAnother = FindValueOf(name) != nullptr;
  bool isAdded;
  if (impl::IsExactlyValue<COptRgValue>(*value)) {
    m_plainValues.Reserve();
    isAdded = CRgKey::AddValue(value);
    m_plainValues.Set(static_cast<COptRgValue*>(value));
    m_valueIndex.RemoveKey(name);
  } else {
    CRgValue*& entry = m_valueIndex[name];
    isAdded = CRgKey::AddValue(value);
    entry = value;
    m_plainValues.Remove(name);
  }
  m_hasHiddenValues = m_hasHiddenValues || hidesAnother;
  return isAdded;
}

bool COptRgKey::RemoveValue(CRgValue* value) {
  // CHOICE(hidden-value-removal): removing a value that a newer one of its name hides leaves the
  // newer one found; a save writes only what is found.
  // Test: OptionKey.RemovingAHiddenValueLeavesTheNewerOneFound
  if (FindValue(value->GetName()) == value) {
    m_plainValues.Remove(View(value->GetName()));
    m_valueIndex.RemoveKey(View(value->GetName()));
  }
  return CRgKey::RemoveValue(value);
}

void COptRgKey::DeleteHiddenValues(const char* name) {
  if (!m_hasHiddenValues) return;
  for (void* position = m_values.GetHeadPosition(); position != nullptr;) {
    void* const place = position;
    CRgValue* value = m_values.GetNext(position);
    if (View(value->GetName()) != View(name)) continue;
    m_values.RemoveAt(place);
    delete value;
  }
}

void COptRgKey::SetAttributes(MList<CRgAttribute*>* attributes) {
  if (CIncrSaveContext* save = CIncrSaveContext::GetCurrent())
    return save->SetSectionAttributes(*this, attributes);
  CRgKey::SetAttributes(attributes);
}

void COptRgKey::Empty() {
  m_plainKeys.RemoveAll();
  m_plainValues.RemoveAll();
  m_keyIndex.RemoveAll();
  m_valueIndex.RemoveAll();
  m_hasHiddenValues = false;
  CRgKey::Empty();
}

COptRootRgKey::COptRootRgKey(COptionManager* manager) : COptRgKey("") { SetCategory(manager); }

COptRootRgKey::~COptRootRgKey() = default;

CRgKey* COptRootRgKey::CreateKey(const char* name, MList<CRgAttribute*>* attributes) {
  if (CIncrSaveContext* save = CIncrSaveContext::GetCurrent()) save->BeginSection();
  return COptRgKey::CreateKey(name, attributes);
}

COptDummyRgKey::COptDummyRgKey(CIncrSaveContext* context) : COptRgKey(""), m_context(context) {}

COptDummyRgKey::~COptDummyRgKey() = default;

CRgKey* COptDummyRgKey::CreateKey(const char* name, MList<CRgAttribute*>*) {
  return m_context->AddSubPath(*this, name);
}

CRgValue* COptDummyRgKey::CreateValue(const char* name, CRgValue::RvType type, const char* value,
                                      MList<CRgAttribute*>* attributes) {
  m_context->SaveValue(*this, name, type, value, attributes);
  return nullptr;  // the caller deletes the attributes
}

void COptDummyRgKey::SetAttributes(MList<CRgAttribute*>* attributes) {
  m_context->SetSectionAttributes(*this, attributes);
}

}  // namespace bix
