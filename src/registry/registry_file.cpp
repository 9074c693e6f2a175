// CRgFile: access to the tree by path, and its binding to a file.

#include <memory>

#include "bix/registry.h"
#include "bix/settingsfile.h"
#include "registry/key_path.h"
#include "registry/plain_layer.h"
#include "support/durable_file.h"

namespace bix {

namespace {

/// FindKey of `key` for the next component. Keys of the default layer itself are asked directly.
CRgKey* FindNext(const CRgKey* key, impl::KeyPath& components) {
  const std::string_view name = components.Next();
  if (const CDefRgKey* plain = impl::AsPlainKey(key)) return plain->FindKeyByName(name);
  return key->FindKey(components.GetText(name));
}

/// The key at `path` below `root`, or null.
CRgKey* WalkToKey(const CRgKey* root, const char* path) {
  impl::KeyPath components(path);
  CRgKey* key = FindNext(root, components);
  while (key != nullptr && !components.IsDone()) key = FindNext(key, components);
  return key;
}

/// FindValue of the key at `path`, or null.
CRgValue* WalkToValue(const CRgKey* root, const char* path, const char* name) {
  const CRgKey* key = WalkToKey(root, path);
  if (key == nullptr) return nullptr;
  if (const CDefRgKey* plain = impl::AsPlainKey(key))
    return plain->FindValueByName(name != nullptr ? name : "");
  return key->FindValue(name);
}

/// The key at `path` below `key`, made where it is missing; null when the key layer refuses one.
CRgKey* MakeWayToKey(CRgKey* key, const char* path) {
  impl::KeyPath components(path);
  while (key != nullptr && !components.IsDone()) {
    const char* name = components.GetText(components.Next());
    CRgKey* found = key->FindKey(name);
    key = found != nullptr ? found : key->CreateKey(name, nullptr);
  }
  return key;
}

}  // namespace

CRgFile::CRgFile(CRgKey* root) : m_root(root != nullptr ? root : new CDefRgKey("")) {}

CRgFile::~CRgFile() { delete m_root; }

CRgKey* CRgFile::FindKey(const char* path) const { return WalkToKey(m_root, path); }

CRgKey* CRgFile::CreateKey(const char* path, const char* attributeName,
                           const char* attributeValue) {
  std::unique_ptr<CRgAttribute> attribute;
  MList<CRgAttribute*> attributes;
  MList<CRgAttribute*>* list = nullptr;
  if (attributeName != nullptr && attributeValue != nullptr) {
    attribute = std::make_unique<CRgAttribute>(attributeName, attributeValue);
    attributes.AddTail(attribute.get());
    list = &attributes;
  }
  impl::KeyPath components(path);
  CRgKey* key = m_root;
  for (;;) {
    const char* name = components.GetText(components.Next());
    if (components.IsDone()) {
      key = key->CreateKey(name, list);
      break;
    }
    key = key->CreateKey(name, nullptr);
    if (key == nullptr) return nullptr;
  }
  // A layer that refuses the key has deleted the attribute; one that makes it may have taken it.
  if (key == nullptr || key->GetAttributeList()->Find(attribute.get()) != nullptr)
    (void)attribute.release();
  return key;
}

void CRgFile::RemoveKey(CRgKey* key) {
  // COMPAT(default-keys-stay): keys of the default layer have no parent link, so here and in
  // DestroyKey nothing happens to them.
  // Test: RegistryFileCompat.DefaultKeysAreNeitherRemovedNorDestroyed
  for (; key != nullptr && key->GetParent() != nullptr; key = key->GetParent()) {
    // COMPAT(remove-key-walks-up): a key with contents is passed over, towards the root, which ends
    // at a key without parent. In effect only an empty key is detached, and the caller owns it.
    // Test: RegistryFileCompat.RemoveKeyDetachesOnlyAnEmptyKey
    if (key->GetKeyCount() != 0 || key->GetValueCount() != 0) continue;
    key->GetParent()->RemoveKey(key);
    return;
  }
}

void CRgFile::DestroyKey(CRgKey* key) {
  if (key == nullptr || key->GetKeyCount() != 0 || key->GetParent() == nullptr) return;
  key->Empty();
  // COMPAT(destroy-key-keeps-object): the object is emptied and unlinked, never deleted.
  // Test: RegistryFileCompat.DestroyKeyLeavesTheObjectAlive
  key->GetParent()->RemoveKey(key);
}

const char* CRgFile::GetValue(const char* path, const char* valueName) const {
  const CRgValue* value = WalkToValue(m_root, path, valueName);
  return value != nullptr ? value->GetValue() : nullptr;
}

bool CRgFile::SetValue(const char* path, const char* valueName, const char* value) {
  // CHOICE(set-value-refused): where the layer refuses a key or the value, nothing changes; here
  // and in the operations below. Test: RegistryFile.WhatTheLayerRefusesChangesNothing
  CRgKey* key = MakeWayToKey(m_root, path);
  if (key == nullptr) return false;
  if (CRgValue* found = key->FindValue(valueName)) {
    found->SetValue(value);
    return true;
  }
  return key->CreateValue(valueName, 0, value, nullptr) != nullptr;
}

const char* CRgFile::GetAttributeValue(const char* path, const char* valueName,
                                       const char* attributeName) const {
  const CRgValue* value = WalkToValue(m_root, path, valueName);
  return value != nullptr ? value->GetAttributeValue(attributeName) : nullptr;
}

bool CRgFile::SetAttributeValue(const char* path, const char* valueName, const char* value,
                                const char* attributeName, const char* attributeValue) {
  CRgKey* key = MakeWayToKey(m_root, path);
  if (key == nullptr) return false;
  CRgValue* holder = key->FindValue(valueName);
  if (holder == nullptr) holder = key->CreateValue(valueName, 0, value, nullptr);
  if (holder == nullptr) return false;
  holder->SetAttributeValue(attributeName, attributeValue);
  return true;
}

int CRgFile::Load(const char* fileName) {
  m_root->Empty();
  // COMPAT(load-stores-first-name): only the first name is remembered, also when the load fails.
  // Test: SettingsFileCompat.LoadRemembersOnlyTheFirstName
  if (m_fileName.empty()) m_fileName = fileName;
  return Merge(fileName);
}

int CRgFile::Merge(const char* fileName) {
  CRgLoader loader(*m_root);
  const int result = loader.Load(fileName);
  m_loadError = loader.GetError();
  if (result == 0) return 0;
  // COMPAT(failed-merge-empties): everything goes, also what the tree held before the merge.
  // Test: SettingsFileCompat.FailedMergeEmptiesTheTree
  m_root->Empty();
  return 1;
}

int CRgFile::Save(const char* fileName) {
  // COMPAT(save-stores-no-name): a given name serves this call only.
  // Test: SettingsFileCompat.SaveDoesNotRememberTheName
  const char* target = fileName != nullptr ? fileName : m_fileName.c_str();
  if (*target == 0) return 1;
  impl::DurableFile file(target);
  int error = file.Lock();
  if (error == 0) error = file.Open();
  if (error != 0) return error;
  m_root->Dump(file.GetStream(), nullptr);
  error = file.Finish();
  return error != 0 ? error : file.Commit();
}

}  // namespace bix
