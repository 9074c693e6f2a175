#include "bix/optiondescription.h"

#include "bix/options.h"

namespace bix {

COptionDescription::COptionDescription(const SString& categoryPath, const SString& optionName)
    : m_optionName(optionName), m_categoryPath(categoryPath) {}

COptionDescription::~COptionDescription() = default;

SString COptionDescription::GetPath() const {
  // COMPAT(description-path): an option without a category has a "/" in front all the same. No
  // manager knows such a path: options are declared in categories only. Test:
  // OptionDescriptionCompat.ThePathAlwaysHasASlash
  return m_categoryPath + "/" + m_optionName;
}

COptionDescriptionList::~COptionDescriptionList() { Empty(); }

bool COptionDescriptionList::FindOption(const char* path) const {
  const SString wanted = path;
  for (void* position = GetHeadPosition(); position != nullptr;) {
    if (GetNext(position)->GetPath() == wanted) return true;
  }
  return false;
}

bool COptionDescriptionList::IsCompatibleWith(COptionManager* manager) const {
  // COMPAT(description-empty): who asks for nothing gets along with every manager, even with none.
  // Test: OptionDescriptionCompat.AnEmptyListIsCompatibleWithEveryManager
  if (IsEmpty()) return true;
  // CHOICE(description-no-manager): where there is no manager no option is declared.
  // Test: OptionDescriptionList.NothingIsKnownWithoutAManager
  if (manager == nullptr) return false;
  // COMPAT(description-any): one option is enough, and each is looked up, whatever was found before.
  // Test: OptionDescriptionCompat.OneKnownOptionIsEnough
  bool isCompatible = false;
  for (void* position = GetHeadPosition(); position != nullptr;) {
    if (manager->FindOption(GetNext(position)->GetPath().c_str()) != nullptr) isCompatible = true;
  }
  return isCompatible;
}

void COptionDescriptionList::Empty() {
  while (void* const position = GetHeadPosition()) {
    COptionDescription* const description = GetAt(position);
    // CHOICE(description-listed-twice): what stands in the list more than once is deleted once.
    // Test: OptionDescriptionList.ADescriptionThatIsListedTwiceIsDeletedOnce
    while (Remove(description)) {
    }
    delete description;
  }
}

}  // namespace bix
