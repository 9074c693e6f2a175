// Declared categories and options, and their mirror at run time.

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "options/option_text.h"
#include "support/text_view.h"

namespace bix {

using impl::View;

namespace {

const CCategory* const kInitialCategories[] = {&catPredefined, nullptr};

}  // namespace

const COption optPredefined[2] = {{"OptionFiles", 1, "user.tot;company.tot"}, {}};
const COptionSet setSettings = {"Settings", nullptr, 0};
const COptionSet setInitial = {"Initial", nullptr, 0};
const COptionSet setPredefined = {"Predefined", optPredefined, 1};
const CCategory catSettings = {"Settings", nullptr, 0, &setSettings};
const CCategory catPredefined = {"Predefined", nullptr, 0, &setPredefined};
const CCategory catInitial = {"Initial", kInitialCategories, 1, &setInitial};

bool COption::GetBoolValue() const { return impl::ToBool(defaultValue); }

int COption::GetIntValue() const { return impl::ToInt(defaultValue); }

bool COption::IsDefaultValue(const char* text) const { return View(text) == View(defaultValue); }

const COption* CMgrOptionSet::GetNextOption(void*& position) const {
  return m_options.GetNextValue(position);
}

const COption* CMgrOptionSet::FindOption(const char* name) const {
  const COption* const* found = m_options.PLookup(View(name));
  return found != nullptr ? *found : nullptr;
}

void CMgrOptionSet::MergeOptions(const COptionSet* set) {
  if (set == nullptr || set->options == nullptr) return;
  // The all-zero record ends the options, even if the set counts more of them.
  for (int i = 0; i < set->count && set->options[i].name != nullptr; ++i)
    m_options.SetAt(set->options[i].name, &set->options[i]);
}

void CMgrOptionSet::UnMergeOptions(const COptionSet* set) {
  if (set == nullptr || set->options == nullptr) return;
  for (int i = 0; i < set->count && set->options[i].name != nullptr; ++i) {
    const COption& option = set->options[i];
    if (FindOption(option.name) == &option) m_options.RemoveKey(View(option.name));
  }
}

CMgrCategory::CMgrCategory(const char* name, CMgrCategory* owner, COptionManager* manager)
    : m_name(name), m_owner(owner), m_optionSet(""), m_manager(manager) {}

CMgrCategory::~CMgrCategory() {
  InformAllOptRgKeys();
  for (void* position = GetFirstCategoryPosition(); position != nullptr;)
    delete GetNextCategory(position);
}

CMgrCategory* CMgrCategory::GetNextCategory(void*& position) const {
  return m_categories.GetNextValue(position);
}

SString CMgrCategory::GetPath() const {
  SString path;
  for (const CMgrCategory* category = this; category->m_owner != nullptr;
       category = category->m_owner)
    path.insert(0, category->m_owner->m_owner != nullptr ? "/" + category->m_name
                                                         : std::string(category->m_name));
  return path;
}

CMgrCategory* CMgrCategory::FindCategory(const char* path) const {
  return FindCategory(path, View(path).size());
}

CMgrCategory* CMgrCategory::FindCategory(const char* path, std::size_t length) const {
  CMgrCategory* category = const_cast<CMgrCategory*>(this);  // the interface hands them out so
  if (length == 0) return category;
  std::string_view rest(path, length);
  for (bool isLast = false; category != nullptr && !isLast;) {
    const std::size_t separator = rest.find('/');
    isLast = separator == rest.npos;
    CMgrCategory* const* found = category->m_categories.PLookup(rest.substr(0, separator));
    category = found != nullptr ? *found : nullptr;
    if (!isLast) rest.remove_prefix(separator + 1);
  }
  return category;
}

const COption* CMgrCategory::FindOption(const char* path) const {
  const char* separator = std::strrchr(path, '/');
  if (separator == nullptr) return m_optionSet.FindOption(path);
  const CMgrCategory* category = FindCategory(path, static_cast<std::size_t>(separator - path));
  return category != nullptr ? category->m_optionSet.FindOption(separator + 1) : nullptr;
}

CMgrCategory* CMgrCategory::MakeSubCategory(const char* name) {
  if (CMgrCategory* const* found = m_categories.PLookup(View(name))) return *found;
  std::unique_ptr<CMgrCategory> made(new CMgrCategory(name, this, m_manager));
  m_categories.AddMissing(View(name), made.get());
  return made.release();  // owned by this category
}

CMgrCategory* CMgrCategory::MergeCategory(const CCategory* category) {
  if (category == nullptr) return nullptr;
  CMgrCategory* merged = MakeSubCategory(category->name);
  // CHOICE(option-set-name): the options of a category go by the name of the first declared set;
  // sets that join it later add options only.
  // Test: OptionCategoryChoice.OptionSetHasTheNameOfTheFirstDeclaredOne
  if (category->optionSet != nullptr && merged->m_optionSet.m_name.empty())
    merged->m_optionSet.m_name = category->optionSet->name;
  merged->m_optionSet.MergeOptions(category->optionSet);
  if (category->categories != nullptr)
    for (int i = 0; i < category->count && category->categories[i] != nullptr; ++i)
      merged->MergeCategory(category->categories[i]);
  return merged;
}

void CMgrCategory::RegisterOptRgKey(COptRgKey* key) { m_keys.AddTail(key); }

void CMgrCategory::UnregisterOptRgKey(COptRgKey* key) { (void)m_keys.Remove(key); }

void CMgrCategory::InformAllOptRgKeys() {
  while (void* position = m_keys.GetHeadPosition()) m_keys.GetAt(position)->Detach();
}

void CMgrCategory::MergeBelow(const CMgrCategory& other) {
  if (m_optionSet.m_name.empty()) m_optionSet.m_name = other.m_optionSet.m_name;
  for (void* position = other.m_optionSet.GetFirstOptionPosition(); position != nullptr;) {
    const COption* option = other.m_optionSet.GetNextOption(position);
    m_optionSet.m_options.SetAt(option->name, option);
  }
  for (void* position = other.GetFirstCategoryPosition(); position != nullptr;) {
    const CMgrCategory* category = other.GetNextCategory(position);
    MakeSubCategory(category->GetName())->MergeBelow(*category);
  }
}

void CMgrCategory::RemoveBelow(const CMgrCategory& other) {
  for (void* position = other.m_optionSet.GetFirstOptionPosition(); position != nullptr;) {
    const COption* option = other.m_optionSet.GetNextOption(position);
    if (m_optionSet.FindOption(option->name) == option)
      m_optionSet.m_options.RemoveKey(std::string_view(option->name));
  }
  for (void* position = other.GetFirstCategoryPosition(); position != nullptr;) {
    const CMgrCategory* category = other.GetNextCategory(position);
    CMgrCategory* const* found = m_categories.PLookup(View(category->GetName()));
    if (found == nullptr) continue;
    CMgrCategory* own = *found;
    own->RemoveBelow(*category);
    if (own->GetCategoryCount() != 0 || own->m_optionSet.GetOptionCount() != 0) continue;
    m_categories.RemoveKey(View(category->GetName()));
    delete own;
  }
}

}  // namespace bix
