// Styles: their options, values, parents and children.
//
// Chains of parents may be as long as a host makes them, and may by mistake come back to where they
// began; so nothing here climbs up or down by calling itself.

#include "bix/styles.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "bix/optionfile.h"
#include "bix/stylefile.h"
#include "styles/style_registry.h"
#include "support/runtime_type.h"
#include "support/text_view.h"

namespace bix {

using impl::OrEmpty;
using impl::View;

namespace {

constexpr COption kBasedOn = {"BasedOn", 1, "none"};
constexpr COptionSet kInheritSet = {"Styles", &kBasedOn, 1};

// Static storage, one per thread: how many overridden GetValue of styles are under way.
constinit thread_local int s_climbNesting = 0;

// CHOICE(deep-overridden-styles): styles of derived classes are asked through their own GetValue, so
// that what they override counts; below this many of them on one climb it does not any more, and the
// stack holds for a chain of any length. Test:
// StyleChainChoice.OverridesCountUpToTheBoundAndTheClimbGoesOnBehindIt
constexpr int kMaxNestedClimbs = 256;

class NestedClimb {
 public:
  NestedClimb() { ++s_climbNesting; }
  NestedClimb(const NestedClimb&) = delete;
  NestedClimb& operator=(const NestedClimb&) = delete;
  ~NestedClimb() { --s_climbNesting; }
};

/// Whether a text differs from one that may not be there at all.
bool Differs(const char* text, const char* other) {
  return other == nullptr || View(text) != View(other);
}

/// Tells whether a climb comes back to a style that it has passed: it remembers one of them, and a
/// later one each time the climb has become twice as long.
class CycleWatch {
 public:
  bool HasPassed(const CStyle* style) {
    if (style == m_mark) return true;
    if (++m_steps == m_limit) {
      m_mark = style;
      m_limit *= 2;
      m_steps = 0;
    }
    return false;
  }

 private:
  const CStyle* m_mark = nullptr;
  std::size_t m_steps = 0;
  std::size_t m_limit = 1;
};

CStyleKind* FindKind(const char* name) {
  const MList<CStyleKind*>& known = impl::Styles().known;
  for (void* position = known.GetHeadPosition(); position != nullptr;) {
    CStyleKind* kind = known.GetNext(position);
    if (View(kind->GetName()) == View(name)) return kind;
  }
  return nullptr;
}

}  // namespace

const char* const CStyle::InheritString = kBasedOn.name;

const char* CStyleExplanation::GetText(Verdict verdict) {
  switch (verdict) {
    case NotRedefined:
      return "does not redefine the option";
    case Gives:
      return "redefines the option and gives the value";
    case Hidden:
      return "hidden: a style before it redefines the option";
    case GivesDefault:
      return "its declared default shows";
  }
  return "";
}

// Making and ending.

CStyle::CStyle(const char* name, const char* kindName, const char* rootName, CStyRgKey* key) {
  // COMPAT(kind-known-by-its-styles): a kind is found only while a style of it exists, and a style of
  // a kind that is not found stays inert. Tests: StyleKindCompat.AKindIsFoundWhileAStyleOfItExists,
  // StyleCompat.AStyleOfAnUnknownKindIsInert
  CStyleKind* kind = FindKind(kindName);
  if (kind == nullptr) return;
  try {
    Describe(name, rootName, *kind);
    if (key != nullptr) {
      BindKey(*key);
      SetKey(key);
    }
    kind->Enter(this);
    m_kind = kind;
    m_children = new CStyleList;
    kind->AddStyle(this);
  } catch (...) {
    Leave();
    throw;
  }
}

CStyle::CStyle(const char* name, CStyleKind* kind, const char* rootName, unsigned long mode,
               CStyle* parent) {
  if (kind == nullptr) return;
  SetMode(mode);
  try {
    Describe(name, rootName, *kind);
    kind->Enter(this);
    m_kind = kind;
    m_children = new CStyleList;
    SetParent(parent);
    kind->AddStyle(this);
  } catch (...) {
    Leave();
    throw;
  }
}

CStyle::~CStyle() { Leave(); }

void CStyle::Leave() noexcept {
  if (m_kind != nullptr) m_kind->RemoveStyle(this);
  NotifyAllChildren(this, ParentGoes);
  if (m_kind != nullptr) m_kind->Leave(this);
  while (void* position = m_listedBy.GetHeadPosition())
    m_listedBy.GetAt(position)->RemoveChild(this);
  ForgetChildren();
  delete m_children;
  m_children = nullptr;
  SetKey(nullptr);
}

/// Declares the options of a style: a chain of categories, each with one below it.
void CStyle::Describe(const char* name, const char* rootName, const CStyleKind& kind) {
  m_name = name;
  m_rootName = rootName;
  // CHOICE(style-nesting): the owner comes first, so that his styles stand together in a file, then
  // what they are, of which kind, and the style itself. Test:
  // StyleChoice.TheCategoryPathIsRootStylesKindAndName
  const COptionSet options = {"Styles", kind.m_options, kind.m_optionsCount};
  const CCategory style = {m_name.c_str(), nullptr, 0, &options};
  const CCategory* const styles[] = {&style, nullptr};
  const CCategory ofKind = {kind.GetName(), styles, 1, nullptr};
  const CCategory* const kinds[] = {&ofKind, nullptr};
  const CCategory all = {"Styles", kinds, 1, nullptr};
  const CCategory* const parts[] = {&all, nullptr};
  const CCategory root = {m_rootName.c_str(), parts, 1, nullptr};
  AddCategory(&root);
  SetMgrCategory();
  // COMPAT(style-declares-based-on): also a kind that declares an option of that name gets this one.
  // Test: StyleCompat.TheOwnBasedOnTakesThePlaceOfOneThatTheKindDeclares
  m_category->GetOptionSet()->MergeOptions(&kInheritSet);
  // COMPAT(style-manager-name): name and kind without anything between them.
  // Test: StyleCompat.TheManagerIsNamedAfterStyleAndKind
  SetName((m_name + kind.GetName()).c_str());
}

void CStyle::SetMgrCategory() {
  m_category = nullptr;
  CMgrCategory* category = this;
  while (void* position = category->GetFirstCategoryPosition())
    m_category = category = category->GetNextCategory(position);
  m_path = m_category != nullptr ? m_category->GetPath() : SString();
}

/// Lets the key of a section and the one above it show the categories of their names, so that the
/// values of the section find their options.
void CStyle::BindKey(CStyRgKey& key) {
  auto* const above = impl::CastTo<CStyRgKey>(key.GetParent());
  if (above == nullptr) return;
  const bool isComponent =
      *key.GetName() != 0 && View(key.GetName()).find('/') == std::string_view::npos;
  // An owner may be called like a kind, so the innermost categories of these names are meant.
  CMgrCategory* ofAbove = nullptr;
  CMgrCategory* ofKey = nullptr;
  CMgrCategory* category = this;
  while (void* position = category->GetFirstCategoryPosition()) {
    category = category->GetNextCategory(position);
    if (View(category->GetName()) != View(above->GetName())) continue;
    CMgrCategory* const below = isComponent ? category->FindCategory(key.GetName()) : nullptr;
    if (below == nullptr && ofKey != nullptr) continue;
    ofAbove = category;
    ofKey = below;
  }
  if (ofAbove != nullptr) above->SetCategory(ofAbove);
  if (ofKey != nullptr) key.SetCategory(ofKey);
}

void CStyle::SetKey(CStyRgKey* key) {
  if (key == m_key) return;
  if (key != nullptr) key->m_holders.AddTail(this);
  if (m_key != nullptr) {
    (void)m_key->m_holders.Remove(this);
    if (m_key->m_style == this) m_key->m_style = nullptr;
  }
  m_key = key;
}

// Values.

bool CStyle::IsOwnCategory(const char* category) const {
  return m_category != nullptr && View(category) == m_path;
}

/// The declared default of an option of the style's own category, or null.
const char* CStyle::GetDefault(const char* option) const {
  const COption* declared = nullptr;
  if (View(option).find('/') != std::string_view::npos)
    declared = FindDeclared(m_path.c_str(), option);
  else if (m_category != nullptr)
    // CHOICE(style-name-with-slash): a name that is no component of a path keeps the style from
    // storing anything, not from having its options. Test:
    // StyleChoice.AStyleWhoseNameIsNoComponentHasItsOptionsAndStoresNothing
    declared = m_category->GetOptionSet()->FindOption(option);
  if (declared == nullptr) return nullptr;
  return OrEmpty(declared->defaultValue);
}

const char* CStyle::GetValue(const char* category, const char* option) const {
  if (!IsOwnCategory(category)) {
    // COMPAT(style-foreign-category): only the style's own category is looked up in files and in its
    // parent; in all others the declared default shows.
    // Test: StyleValueCompat.InAnotherCategoryOnlyTheDefaultShows
    const COption* declared = FindDeclared(category, option);
    // COMPAT(style-null-value): an option that is not declared is null here, while other managers
    // give "". Test: StyleValueCompat.AnUndeclaredOptionIsNull
    if (declared == nullptr) return nullptr;
    return OrEmpty(declared->defaultValue);
  }
  CycleWatch watch;
  const CStyle* style = this;
  while (!watch.HasPassed(style)) {
    // COMPAT(style-last-fixed-wins): a later file of a style gives the value where it fixes the
    // option. Test: StyleValueCompat.ALaterFileThatFixesTheOptionGivesTheValue
    if (const CRgValue* held = style->FindHeld(style->m_path.c_str(), option))
      return held->GetValue();
    const CStyle* parent = style->m_parent;
    if (parent == nullptr) return style->GetDefault(option);
    if (parent->m_category == nullptr) return nullptr;  // inert
    if (!impl::IsExactly<CStyle>(*parent) && s_climbNesting < kMaxNestedClimbs) {
      const NestedClimb nested;
      // COMPAT(inherited-under-the-parents-path): each style is asked under its own category, whatever
      // the category of the first one. Test: StyleValueCompat.TheParentIsAskedUnderItsOwnCategory
      return parent->GetValue(parent->m_path.c_str(), option);
    }
    style = parent;
  }
  // CHOICE(style-cycle): nobody on the circle redefines the option, so there is nothing to inherit.
  // Test: StyleChainChoice.OnACircleTheDeclaredDefaultShows
  return GetDefault(option);
}

const char* CStyle::GetHeritedValue(const char* category, const char* option) const {
  return m_parent != nullptr ? m_parent->GetValue(m_parent->m_path.c_str(), option)
                             : GetValue(category, option);
}

CStyleExplanation CStyle::Explain(const char* option) const {
  CStyleExplanation explanation;
  std::unordered_set<const CStyle*> passed;
  const CRgValue* giving = nullptr;
  for (const CStyle* style = this; style != nullptr; style = style->m_parent) {
    explanation.isCycle = !passed.insert(style).second;
    if (explanation.isCycle) break;
    CStyleExplanation::Level level;
    level.style = style;
    level.name = style->m_name;
    const CRgValue* held =
        style->m_category != nullptr ? style->FindHeld(style->m_path.c_str(), option) : nullptr;
    if (held != nullptr) {
      level.isRedefined = true;
      level.text = held->GetValue();
      level.verdict = giving == nullptr ? CStyleExplanation::Gives : CStyleExplanation::Hidden;
    }
    explanation.chain.push_back(level);
    if (giving == nullptr && held != nullptr) {
      giving = held;
      explanation.isKnown = true;
      explanation.style = style;
      explanation.value = held->GetValue();
    }
    // Nothing is inherited through an inert style.
    if (giving == nullptr && style->m_category == nullptr) break;
  }
  if (giving != nullptr) return explanation;
  CStyleExplanation::Level& last =
      explanation.isCycle ? explanation.chain.front() : explanation.chain.back();
  if (const char* text = last.style->GetDefault(option)) {
    explanation.isKnown = true;
    explanation.style = last.style;
    explanation.value = text;
    last.verdict = CStyleExplanation::GivesDefault;
  }
  return explanation;
}

// Changes.

/// The file that takes the redefinitions.
COptionFile* CStyle::GetOwnFile() {
  if (void* position = GetFirstFilePosition()) return GetNextFile(position);
  auto file = std::make_unique<COptionFile>(this);
  (void)AddFile(file.get());  // the first one is never refused
  return file.release();      // owned by this manager
}

/// The kind's name; also when the kind is gone.
const char* CStyle::GetKindName() const {
  return m_kind != nullptr ? m_kind->GetName() : m_category->GetOwner()->GetName();
}

/// The key of a category in a file, made with the attribute that tells kind and name; null when the
/// category is not declared or does not fit into a path.
CRgKey* CStyle::CreateSection(COptionFile& file, const char* category) {
  if (FindCategory(category) == nullptr) return nullptr;
  return file.CreateKey(category, GetKindName(), m_name.c_str());
}

bool CStyle::SetValue(const char* category, const char* option, const char* value) {
  if (m_category == nullptr || !IsEditable(category, option)) return false;
  const SString text(value);  // `value` may be a text that goes below
  COptionFile& file = *GetOwnFile();
  CRgKey* key = file.FindKey(category);
  bool isStored = true;
  if (key == nullptr) {
    // COMPAT(first-redefinition): without a section a text must differ from the default and from the
    // inherited one to be stored; with one, the second counts only, and in a style without a parent
    // none of them. Tests: StyleValueCompat.TheDefaultIsStoredOnlyInASectionThatExists,
    // StyleValueCompat.WithoutASectionATextMustDifferFromDefaultAndInherited
    const char* underneath = GetUnderneathValue(&file, category, option);
    isStored = underneath != nullptr;
    if (isStored && Differs(text.c_str(), underneath) &&
        Differs(text.c_str(), GetHeritedValue(category, option))) {
      key = CreateSection(file, category);
      isStored = key != nullptr && key->CreateValue(option, 0, text.c_str(), nullptr) != nullptr;
    }
  } else if (m_parent == nullptr) {
    isStored = file.SetValue(category, option, text.c_str());
  } else if (View(option) != InheritString || !IsOwnCategory(category)) {
    // The style's own "BasedOn" is written below, in its place.
    if (View(option) != InheritString && Differs(text.c_str(), GetHeritedValue(category, option)))
      isStored = file.SetValue(category, option, text.c_str());
    else if (CRgValue* held = key->FindValue(option))
      DeleteValue(file, *key, held);
  }
  // COMPAT(based-on-rewritten): every change writes the parent's name, so that is what "BasedOn" is
  // whatever a host sets it to.
  // Test: StyleValueCompat.BasedOnOfAStyleWithAParentStaysTheParentsName
  if (m_parent != nullptr) StoreParentName(file);
  // COMPAT(unchanged-is-told): the children are told of a change also when nothing was stored.
  // Test: StyleNoticeCompat.TheChildrenAreToldAlsoWhenNothingWasStored
  NotifyAllChildren(this, ValueChanged);
  return isStored;
}

void CStyle::StoreParentName(COptionFile& file) {
  if (file.FindKey(m_path.c_str()) == nullptr && CreateSection(file, m_path.c_str()) == nullptr)
    return;
  (void)file.SetValue(m_path.c_str(), InheritString, m_parent->GetName());
}

void CStyle::Copy(CStyle* from) {
  if (from == nullptr || from->m_category == nullptr || m_category == nullptr) return;
  const CMgrOptionSet& options = *m_category->GetOptionSet();
  for (void* position = options.GetFirstOptionPosition(); position != nullptr;) {
    const char* name = options.GetNextOption(position)->name;
    const char* text = from->GetValue(from->m_path.c_str(), name);
    // CHOICE(copy-between-kinds): what the other style does not declare stays as it is here.
    // Test: StyleCopyChoice.OptionsThatTheOtherStyleLacksStay
    if (text != nullptr && Differs(text, GetValue(m_path.c_str(), name)))
      SetValue(m_path.c_str(), name, text);
  }
}

void CStyle::SetInitialValues() {
  if (m_key == nullptr || m_category == nullptr) return;
  if (m_key->GetValueCount() == 0) return;
  COptionFile& file = *GetOwnFile();
  for (void* position = m_key->GetFirstValuePosition(); position != nullptr;) {
    CRgValue* const value = m_key->GetNextValue(position);
    const char* const name = value->GetName();
    if (!IsEditable(m_path.c_str(), name)) continue;
    // CHOICE(initial-values-stay-redefined): with the section made first, also a value that equals
    // the default is stored. It was redefined when it was saved, and would else change with the
    // parent. Test: StyleFileChoice.ARedefinitionThatEqualsTheDefaultComesBackAsOne
    if (file.FindKey(m_path.c_str()) == nullptr && CreateSection(file, m_path.c_str()) == nullptr)
      return;
    m_hasInitialValues = true;
    SetValue(m_path.c_str(), name, value->GetValue());
    (void)GetValue(m_path.c_str(), name);
    const CRgKey* const section = file.FindKey(m_path.c_str());
    CRgValue* const held = section != nullptr ? section->FindValue(name) : nullptr;
    // CHOICE(initial-values-keep-attributes): what marks a value, such as "fixed", goes with it.
    // Test: StyleFileChoice.AttributesOfValuesComeBack
    for (void* mark = value->GetFirstAttributePosition(); held != nullptr && mark != nullptr;) {
      const CRgAttribute* attribute = value->GetNextAttribute(mark);
      held->SetAttributeValue(attribute->GetName(), attribute->GetValue());
    }
  }
}

// Parents and children.

void CStyle::SetParent(CStyle* parent) {
  // COMPAT(own-parent-is-none): a style that is based on itself goes from its parent, as for null.
  // Test: StyleParentCompat.AStyleBasedOnItselfIsBasedOnNone
  if (parent == this) parent = nullptr;
  CStyle* const old = m_parent;
  // CHOICE(parent-changed): a style is listed by the parent that it has, and by no other, which might
  // live longer than the style. Test: StyleParentChoice.AFormerParentListsTheStyleNoMore
  if (old != nullptr && parent != old) old->RemoveChild(this);
  if (old != nullptr && parent == nullptr) {
    // COMPAT(orphan-lets-children-go): taking the parent away makes the style's own children
    // parentless as well. Test: StyleParentCompat.AStyleThatLosesItsParentLosesItsChildren
    NotifyAllChildren(this, ParentGoes);
    ForgetChildren();
  }
  m_parent = parent;
  // COMPAT(based-on-stays-stored): what "BasedOn" says is not taken back.
  // Test: StyleParentCompat.WithoutAParentTheStoredNameStays
  if (parent == nullptr) return;
  try {
    if (m_category != nullptr) SetValue(m_path.c_str(), InheritString, parent->GetName());
    parent->AddChild(this);
  } catch (...) {
    if (parent != old) m_parent = nullptr;  // which does not know of this one
    throw;
  }
}

void CStyle::AddChild(CStyle* child) {
  if (child == nullptr) return;
  if (m_children == nullptr) m_children = new CStyleList;
  // CHOICE(child-listed-once): a child that was listed twice would be told twice, and those below it
  // four times. Test: StyleParentChoice.AChildIsListedOnce
  if (m_children->Find(child) != nullptr) return;
  child->m_listedBy.AddTail(this);
  try {
    m_children->AddTail(child);
  } catch (...) {
    (void)child->m_listedBy.Remove(this);
    throw;
  }
}

void CStyle::RemoveChild(CStyle* child) {
  if (m_children != nullptr && m_children->Remove(child)) (void)child->m_listedBy.Remove(this);
}

void CStyle::ForgetChildren() noexcept {
  if (m_children == nullptr) return;
  while (void* position = m_children->GetHeadPosition()) RemoveChild(m_children->GetAt(position));
}

void CStyle::NotifyAllChildren(CStyle* source, int code) {
  if (m_children == nullptr) return;
  for (void* position = m_children->GetHeadPosition(); position != nullptr;)
    m_children->GetNext(position)->OnUpdate(source, code);
}

void CStyle::OnUpdate(CStyle* source, int code) {
  if (source == nullptr || m_parent != source) return;
  if (code == ParentGoes) {
    // COMPAT(grandchildren-stay): only the direct children of a style that goes lose their parent.
    // Test: StyleNoticeCompat.TheChildrenOfAnOrphanKeepIt
    m_parent = nullptr;
    ++m_updateCount;
  } else if (code == ValueChanged) {
    ++m_updateCount;
    TellAllBelow();
  }
}

/// Tells all styles below of a change, each behind its parent and in the order of the lists.
void CStyle::TellAllBelow() {
  if (m_children == nullptr || m_children->IsEmpty()) return;
  struct Open {
    CStyle* style;
    void* position;
  };
  const auto open = [](CStyle* style) {
    return Open{style,
                style->m_children != nullptr ? style->m_children->GetHeadPosition() : nullptr};
  };
  std::vector<Open> path{open(this)};
  while (!path.empty()) {
    Open& last = path.back();
    if (last.position == nullptr) {
      path.pop_back();
      continue;
    }
    CStyle* const child = last.style->m_children->GetNext(last.position);
    // A style has one parent, so that a circle can only come back to where it was entered.
    if (child->m_parent != last.style || child == this) continue;
    ++child->m_updateCount;
    path.push_back(open(child));
  }
}

}  // namespace bix
