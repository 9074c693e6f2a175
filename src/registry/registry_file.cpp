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

/// The key at a path, made where it is missing.
class MadeWay {
 public:
  MadeWay(CRgKey* root, const char* path) : m_key(root) {
    impl::KeyPath components(path);
    while (m_key != nullptr && !components.IsDone()) {
      const char* name = components.GetText(components.Next());
      CRgKey* const parent = m_key;
      m_key = parent->FindKey(name);
      if (m_key != nullptr) continue;
      const int countBefore = parent->GetKeyCount();
      m_key = parent->CreateKey(name, nullptr);
      // A layer may also return a key that it has had already.
      if (m_firstMade != nullptr || parent->GetKeyCount() == countBefore) continue;
      m_firstMade = m_key;
      m_parent = parent;
    }
  }

  /// The key; null when the key layer refuses one.
  CRgKey* GetKey() const { return m_key; }

  /// Takes the keys that were made out again.
  void Undo() {
    if (m_firstMade != nullptr && m_parent->RemoveKey(m_firstMade)) delete m_firstMade;
    m_firstMade = m_key = nullptr;
  }

 private:
  CRgKey* m_key;
  CRgKey* m_firstMade = nullptr;  // all others are below it
  CRgKey* m_parent = nullptr;     // of that key
};

/// The value at `path`, made with `text` where it is missing; null, and nothing made, when the key
/// layer refuses it. `isMade` tells which.
// CHOICE(set-value-refused): where the layer refuses the value or a key on the way to it, nothing
// changes: the keys that were made for it go again. Tests:
// RegistryFile.WhatTheLayerRefusesChangesNothing, OptionFile.RefusedValueLeavesNoKeysOnTheWayToIt
CRgValue* MakeValue(CRgKey* root, const char* path, const char* name, const char* text,
                    bool& isMade) {
  MadeWay way(root, path);
  CRgValue* value = way.GetKey() != nullptr ? way.GetKey()->FindValue(name) : nullptr;
  isMade = value == nullptr;
  if (isMade && way.GetKey() != nullptr) value = way.GetKey()->CreateValue(name, 0, text, nullptr);
  if (value == nullptr) way.Undo();
  return value;
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
  bool isMade;
  CRgValue* found = MakeValue(m_root, path, valueName, value, isMade);
  if (found != nullptr && !isMade) found->SetValue(value);
  return found != nullptr;
}

const char* CRgFile::GetAttributeValue(const char* path, const char* valueName,
                                       const char* attributeName) const {
  const CRgValue* value = WalkToValue(m_root, path, valueName);
  return value != nullptr ? value->GetAttributeValue(attributeName) : nullptr;
}

bool CRgFile::SetAttributeValue(const char* path, const char* valueName, const char* value,
                                const char* attributeName, const char* attributeValue) {
  bool isMade;
  CRgValue* holder = MakeValue(m_root, path, valueName, value, isMade);
  if (holder == nullptr) return false;
  holder->SetAttributeValue(attributeName, attributeValue);
  return true;
}

int CRgFile::Load(const char* fileName) {
  // A copy: the name may be a text of the tree, as in a file that names the next one.
  const SString name = fileName;
  m_root->Empty();
  // COMPAT(load-stores-first-name): only the first name is remembered, also when the load fails.
  // Test: SettingsFileCompat.LoadRemembersOnlyTheFirstName
  if (m_fileName.empty()) m_fileName = name;
  return Merge(name.c_str());
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
