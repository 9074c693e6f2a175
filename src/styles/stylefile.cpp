// Style files: the keys that make styles while they are loaded, and saving.

#include "bix/stylefile.h"

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bix/optionfile.h"
#include "registry/load_memory.h"
#include "support/text_view.h"

namespace bix {

using impl::View;

namespace {

/// A section that a save takes out of the file: it keeps nothing of what the reader finds.
class RemovedSection : public COptRgKey {
 public:
  explicit RemovedSection(const char* name) : COptRgKey(name) {}
  CRgValue* CreateValue(const char*, CRgValue::RvType, const char*,
                        MList<CRgAttribute*>*) override {
    return nullptr;  // the reader deletes the attributes
  }
  void SetAttributes(MList<CRgAttribute*>* attributes) override {
    while (void* position = attributes->GetHeadPosition()) {
      delete attributes->GetAt(position);
      attributes->RemoveAt(position);
    }
  }
};

/// The sub-key of an option key, made without a category where it is missing: what the target holds
/// in such a section is not looked into.
template <class Key = COptRgKey>
COptRgKey& MakeKey(COptRgKey& above, std::string_view name) {
  const SString text{std::string(name)};
  if (CRgKey* found = above.FindKey(text.c_str())) return *static_cast<COptRgKey*>(found);
  auto made = std::make_unique<Key>(text.c_str());
  above.AddKey(made.get());
  return *made.release();  // owned by the key above
}

/// The key at a path; null when the path has an empty component, which no header can have.
template <class Key = COptRgKey>
COptRgKey* MakeSection(COptRgKey& root, std::string_view path) {
  COptRgKey* key = &root;
  for (std::size_t slash; (slash = path.find('/')) != path.npos; path.remove_prefix(slash + 1)) {
    if (slash == 0) return nullptr;
    key = &MakeKey(*key, path.substr(0, slash));
  }
  return path.empty() ? nullptr : &MakeKey<Key>(*key, path);
}

void CopyAttributes(const MList<CRgAttribute*>& from, CRgValue& to) {
  for (void* position = from.GetHeadPosition(); position != nullptr;) {
    const CRgAttribute* attribute = from.GetNext(position);
    to.SetAttributeValue(attribute->GetName(), attribute->GetValue());
  }
}

/// Copies the values whose names are wanted, with their attributes; of several of one name the last
/// counts.
template <class IsWanted>
void CopyValues(const CRgKey& from, COptRgKey& to, const IsWanted& isWanted) {
  for (void* position = from.GetFirstValuePosition(); position != nullptr;) {
    CRgValue* value = from.GetNextValue(position);
    const char* name = value->GetName();
    if (!isWanted(name)) continue;
    CRgValue* copy = to.FindValue(name);
    if (copy == nullptr) copy = to.CreateValue(name, 0, value->GetValue(), nullptr);
    if (copy == nullptr) continue;  // an option that is declared no more
    copy->SetValue(value->GetValue());
    CopyAttributes(*value->GetAttributeList(), *copy);
  }
}

void AddAttribute(CRgKey& key, const char* name, const char* value) {
  auto attribute = std::make_unique<CRgAttribute>(name, value);
  key.GetAttributeList()->AddTail(attribute.get());
  (void)attribute.release();  // owned by the key
}

}  // namespace

// Keys.

CStyRgKey::CStyRgKey(const char* name) : m_name(name) {}

CStyRgKey::~CStyRgKey() {
  m_style = nullptr;
  while (void* position = m_holders.GetHeadPosition()) m_holders.GetAt(position)->SetKey(nullptr);
  delete m_categoryLink;
}

const char* CStyRgKey::GetName() const { return m_name.c_str(); }

CMgrCategory* CStyRgKey::GetCategory() const {
  return m_categoryLink != nullptr ? m_categoryLink->GetCategory() : nullptr;
}

void CStyRgKey::SetCategory(CMgrCategory* category) {
  if (category != nullptr && m_categoryLink == nullptr) m_categoryLink = new COptRgKey("");
  if (m_categoryLink != nullptr) m_categoryLink->SetCategory(category);
}

CRgKey* CStyRgKey::CreateKey(const char* name, MList<CRgAttribute*>* attributes) {
  if (CIncrSaveContext* save = CIncrSaveContext::GetCurrent()) save->AddStep(name);
  CRgKey* key = FindKey(name);
  if (key == nullptr) {
    auto made = std::make_unique<CStyRgKey>(name);
    AddKey(made.get());
    key = made.release();  // owned by this key
    SetParent(*key, this);
  }
  const CMgrCategory* category = GetCategory();
  const bool isComponent = !View(name).empty() && View(name).find('/') == std::string_view::npos;
  CMgrCategory* below = category != nullptr && isComponent ? category->FindCategory(name) : nullptr;
  auto* const styleKey = impl::CastTo<CStyRgKey>(key);
  if (below != nullptr && styleKey != nullptr) styleKey->SetCategory(below);
  if (attributes != nullptr && !attributes->IsEmpty()) {
    if (styleKey != nullptr)
      styleKey->CRgKey::SetAttributes(attributes);
    else
      key->SetAttributes(attributes);
  }
  return key;
}

CRgKey* CStyRgKey::FindKey(const char* name) const {
  if (m_hasForeignKeys) return CRgKey::FindKey(name);
  CRgKey* const* found = m_keyIndex.PLookup(View(name));
  return found != nullptr ? *found : nullptr;
}

bool CStyRgKey::AddKey(CRgKey* key) {
  if (!impl::IsExactly<CStyRgKey>(*key)) m_hasForeignKeys = true;
  CRgKey*& entry = m_keyIndex[View(key->GetName())];
  const bool isAdded = CRgKey::AddKey(key);
  if (entry == nullptr) entry = key;
  return isAdded;
}

bool CStyRgKey::RemoveKey(CRgKey* key) {
  if (!CRgKey::RemoveKey(key)) return false;
  CRgKey** entry = m_keyIndex.PLookup(View(key->GetName()));
  if (entry == nullptr || *entry != key) return true;
  if (CRgKey* next = CRgKey::FindKey(key->GetName()))
    *entry = next;
  else
    m_keyIndex.RemoveKey(View(key->GetName()));
  return true;
}

CRgValue* CStyRgKey::CreateValue(const char* name, CRgValue::RvType type, const char* value,
                                 MList<CRgAttribute*>* attributes) {
  CIncrSaveContext* const save = CIncrSaveContext::GetCurrent();
  CMgrCategory* category = GetCategory();
  const COption* option =
      category != nullptr ? category->GetOptionSet()->FindOption(name) : nullptr;
  if (option == nullptr) {
    // CHOICE(style-save-copies-undeclared): what a save finds in the file and nobody has declared is
    // written as it is. Test: StyleFileChoice.ValuesOfOthersArePassedOnToASaveUnderWay
    if (save != nullptr) save->SaveOwnValue(name, type, value, attributes);
    return nullptr;
  }
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
  CRgValue* const added = made.release();  // owned by this key
  if (save != nullptr) save->SaveOwnValue(*added);
  return added;
}

CRgValue* CStyRgKey::FindValue(const char* name) const {
  if (m_hasForeignValues) return CRgKey::FindValue(name);
  CRgValue* const* found = m_valueIndex.PLookup(View(name));
  return found != nullptr ? *found : nullptr;
}

bool CStyRgKey::AddValue(CRgValue* value) {
  if (!impl::IsExactlyValue<COptRgValue>(*value)) m_hasForeignValues = true;
  CRgValue*& entry = m_valueIndex[View(value->GetName())];
  const bool isAdded = CRgKey::AddValue(value);
  // COMPAT(style-key-first-value): of two values of one name the first is found, unlike in other
  // layers. Test: StyleKeyCompat.OfTwoValuesOfOneNameTheFirstIsFound
  if (entry == nullptr) entry = value;
  return isAdded;
}

bool CStyRgKey::RemoveValue(CRgValue* value) {
  if (!CRgKey::RemoveValue(value)) return false;
  CRgValue** entry = m_valueIndex.PLookup(View(value->GetName()));
  if (entry == nullptr || *entry != value) return true;
  if (CRgValue* next = CRgKey::FindValue(value->GetName()))
    *entry = next;
  else
    m_valueIndex.RemoveKey(View(value->GetName()));
  return true;
}

void CStyRgKey::SetAttributes(MList<CRgAttribute*>* attributes) {
  CRgKey::SetAttributes(attributes);
  try {
    if (CIncrSaveContext* save = CIncrSaveContext::GetCurrent())
      save->SaveSectionAttributes(*GetAttributeList());
    // CHOICE(attributes-make-the-style): the reader hands the attributes of a section that was not
    // refused to this operation only, and before it reads the values, which need the style's options.
    // Test: StyleFile.LoadingMakesTheStyles
    (void)UseAttributes(GetAttributeList(), nullptr);
  } catch (...) {
    if (attributes != GetAttributeList())
      GetAttributeList()->RemoveAll();  // they stay the caller's
    throw;
  }
}

/// The name of the topmost key above this one, below the root.
const char* CStyRgKey::GetTopName() const {
  // CHOICE(top-level-style-section): a section directly below the root is its own topmost one, so
  // that its style has a root name under which it can be saved. Test:
  // StyleFileChoice.ASectionAtTheTopIsAStyleOfItsOwnName
  const CRgKey* top = this;
  while (top->GetParent() != nullptr && top->GetParent()->GetParent() != nullptr)
    top = top->GetParent();
  return top->GetName();
}

CStyle* CStyRgKey::MakeStyle(const CRgAttribute& attribute, const char* rootName) {
  const CRgKey* root = this;
  while (root->GetParent() != nullptr) root = root->GetParent();
  const auto* const fileRoot = impl::CastTo<const CStyRootRgKey>(root);
  SVector<CStyle*>* const made = fileRoot != nullptr ? fileRoot->m_made : nullptr;
  if (made != nullptr) made->push_back(nullptr);
  auto* const style = new CStyle(attribute.GetValue(), attribute.GetName(), rootName, this);
  if (made != nullptr) made->back() = style;
  return style;
}

/// Becomes the key of a style that was made for it.
void CStyRgKey::TakeStyle(CStyle& style) {
  style.SetKey(this);
  m_style = &style;
  // CHOICE(style-section-anywhere): a section whose header does not end in kind and name is a style
  // all the same, and must not lose its values. Test:
  // StyleFileChoice.ASectionOfAnotherPathKeepsItsValuesAndItsPlace
  SetCategory(style.GetMgrCategory());
}

CRgKey* CStyRgKey::UseAttributes(MList<CRgAttribute*>* attributes, const char* name) {
  if (attributes == nullptr) return nullptr;
  if (name == nullptr) {
    // COMPAT(first-attribute-makes-the-style): later attributes are kept and make none.
    // Test: StyleKeyCompat.OnlyTheFirstAttributeMakesAStyle
    if (m_style == nullptr && !attributes->IsEmpty()) {
      CStyle* const style =
          MakeStyle(*attributes->GetAt(attributes->GetHeadPosition()), GetTopName());
      TakeStyle(*style);
    }
    return m_style != nullptr ? this : nullptr;
  }
  for (void* position = attributes->GetHeadPosition(); position != nullptr;) {
    const CRgAttribute* attribute = attributes->GetNext(position);
    if (View(attribute->GetValue()) != View(name)) continue;
    CStyle* const style =
        MakeStyle(*attribute, GetParent() != nullptr ? GetParent()->GetName() : "");
    // COMPAT(style-without-its-section): without a key of the style's name the style is made, and
    // stands in the list of its kind only.
    // Test: StyleKeyCompat.AStyleWithoutAKeyOfItsNameStandsInTheListOfItsKindOnly
    CRgKey* const named = FindKey(attribute->GetValue());
    if (named == nullptr) return nullptr;
    CRgKey* ofKind = named->FindKey(attribute->GetName());
    if (ofKind == nullptr) ofKind = named->CreateKey(attribute->GetName(), attributes);
    auto* const key = impl::CastTo<CStyRgKey>(ofKind);
    if (key == nullptr) return nullptr;
    key->TakeStyle(*style);
    return key;
  }
  return nullptr;
}

void CStyRgKey::Empty() {
  m_keyIndex.RemoveAll();
  m_valueIndex.RemoveAll();
  m_hasForeignKeys = m_hasForeignValues = false;
  CRgKey::Empty();
}

CStyRootRgKey::CStyRootRgKey(COptionManager* manager) : CStyRgKey("") { SetCategory(manager); }

CStyRootRgKey::~CStyRootRgKey() = default;

CRgKey* CStyRootRgKey::CreateKey(const char* name, MList<CRgAttribute*>* attributes) {
  if (CIncrSaveContext* save = CIncrSaveContext::GetCurrent()) save->BeginSection();
  return CStyRgKey::CreateKey(name, attributes);
}

// The file.

CStyleFile::CStyleFile(COptionFile* optionFile)
    : CRgFile(new CStyRootRgKey(optionFile != nullptr ? optionFile->GetManager() : nullptr)),
      m_optionFile(optionFile) {}

CStyleFile::~CStyleFile() = default;

int CStyleFile::Load(const char* fileName, CStyleList* list) {
  auto& root = static_cast<CStyRootRgKey&>(*m_root);
  /// Notes what a load makes, for its length.
  struct Making {
    explicit Making(CStyRootRgKey& key) : root(key) { root.m_made = &styles; }
    Making(const Making&) = delete;
    Making& operator=(const Making&) = delete;
    ~Making() {
      root.m_made = nullptr;
      if (isKept) return;
      // The tree is gone, and nobody else has seen them.
      for (CStyle* style : styles) delete style;
    }
    CStyRootRgKey& root;
    SVector<CStyle*> styles;
    bool isKept = false;
  };
  m_removedSections.clear();
  int result;
  {
    Making making(root);
    result = CRgFile::Load(fileName);
    making.isKept = result == 0;
  }
  if (result == 0) m_modified = 0;
  FillStyleList(&root, list);
  return result;
}

void CStyleFile::FillStyleList(CStyRgKey* key, CStyleList* list) {
  if (key == nullptr || list == nullptr) return;
  if (key->GetStyle() != nullptr) list->AddTail(key->GetStyle());
  struct Open {
    const CRgKey* key;
    void* position;
  };
  std::vector<Open> path{{key, key->GetFirstKeyPosition()}};
  while (!path.empty()) {
    Open& last = path.back();
    if (last.position == nullptr) {
      path.pop_back();
      continue;
    }
    const auto* below = impl::CastTo<const CStyRgKey>(last.key->GetNextKey(last.position));
    if (below == nullptr) continue;
    if (below->GetStyle() != nullptr) list->AddTail(below->GetStyle());
    path.push_back({below, below->GetFirstKeyPosition()});
  }
}

/// Where a style stands in the file: where it was loaded from, or its category path.
SString CStyleFile::GetSectionPath(const CStyle& style) const {
  const CRgKey* key = style.GetKey();
  SVector<std::string_view> names;
  for (; key != nullptr && key != m_root; key = key->GetParent()) names.push_back(key->GetName());
  if (key == nullptr || names.empty()) return style.m_path;
  SString path;
  for (std::size_t i = names.size(); i > 0; --i) path.append(names[i - 1]).append(i > 1 ? "/" : "");
  return path;
}

/// Adds what a style redefines to the tree that is saved; false when its place cannot be written.
bool CStyleFile::AddSection(COptRgKey& root, const CStyle& style, const SString& path) {
  COptRgKey* const key = MakeSection(root, path);
  if (key == nullptr) return false;
  key->SetCategory(style.m_category);
  // The first attribute makes the style, whatever the section has been given since.
  AddAttribute(*key, style.GetKindName(), style.GetName());
  if (style.m_key != nullptr) {
    const MList<CRgAttribute*>& attributes = *style.m_key->GetAttributeList();
    for (void* position = attributes.GetHeadPosition(); position != nullptr;) {
      const CRgAttribute* attribute = attributes.GetNext(position);
      if (View(attribute->GetName()) != style.GetKindName() ||
          View(attribute->GetValue()) != style.GetName())
        AddAttribute(*key, attribute->GetName(), attribute->GetValue());
    }
  }
  // CHOICE(values-not-applied-yet): what was loaded and never made a redefinition is saved as it was
  // loaded. Test: StyleFileChoice.ValuesThatWereNotAppliedAreSavedAsLoaded
  if (style.m_key != nullptr)
    CopyValues(*style.m_key, *key, [&style](const char* name) {
      // What is not editable has not been applied.
      return !style.m_hasInitialValues || !style.IsEditable(style.m_path.c_str(), name);
    });
  if (void* position = style.GetFirstFilePosition())
    if (const CRgKey* own = style.GetNextFile(position)->FindKey(style.m_path.c_str()))
      CopyValues(*own, *key, [](const char*) { return true; });
  // CHOICE(style-without-values): a section is written with its first value, and a style without one
  // is a style all the same. Test: StyleFileChoice.AStyleThatRedefinesNothingComesBack
  if (key->GetValueCount() == 0)
    (void)key->CreateValue(CStyle::InheritString, 0,
                           style.GetParent() != nullptr ? style.GetParent()->GetName() : "none",
                           nullptr);
  return true;
}

int CStyleFile::Save(const char* fileName, const CStyleList* list) {
  const SString target = fileName != nullptr ? fileName : m_fileName.c_str();
  if (target.empty()) return 1;
  CStyleList held;
  if (list == nullptr) {
    FillStyleList(static_cast<CStyRgKey*>(m_root), &held);
    list = &held;
  }
  std::set<const CStyle*> styles;
  std::set<std::string_view> paths;
  SVector<std::pair<const CStyle*, SString>> sections;
  for (void* position = list->GetHeadPosition(); position != nullptr;) {
    const CStyle* style = list->GetNext(position);
    // What an inert style was made from is not known here, and stays in the file as it is.
    if (style->GetMgrCategory() != nullptr && styles.insert(style).second)
      sections.emplace_back(style, GetSectionPath(*style));
  }
  for (const auto& [style, path] : sections)
    // CHOICE(two-styles-of-one-place): one of them would get lost. Test:
    // StyleFileChoice.TwoStylesOfOnePlaceAreNotSaved
    if (!paths.insert(path).second) return 1;
  COptionFile file(nullptr);
  auto& root = static_cast<COptRgKey&>(*file.GetKeyRoot());
  // In order, so that a section is made before those below it.
  for (const SString& path : std::set<SString>(m_removedSections.begin(), m_removedSections.end()))
    if (paths.count(path) == 0) (void)MakeSection<RemovedSection>(root, path);
  for (const auto& [style, path] : sections)
    if (!AddSection(root, *style, path)) return 1;
  const int result = file.SaveTo(target.c_str(), COptionFile::Kept);
  if (result != 0) return result;
  m_modified = 0;
  m_removedSections.clear();
  return 0;
}

void CStyleFile::RemoveStyle(CStyle* style) {
  if (style == nullptr || style->GetMgrCategory() == nullptr) return;
  m_removedSections.push_back(GetSectionPath(*style));
  style->SetKey(nullptr);
  m_modified = 1;
}

}  // namespace bix
