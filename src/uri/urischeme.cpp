#include "bix/urischeme.h"

#include <algorithm>
#include <cstddef>
#include <list>
#include <vector>

#include "uri/scheme_registry.h"

namespace bix {
namespace {

// Static storage
// The schemes in the order in which they were registered. The list exists while there are any: it
// is made for the first one and goes with the last, so that it outlives all static objects of other
// modules and still leaves nothing behind when the library is unloaded.
std::vector<SUriScheme*>* s_schemes = nullptr;
SUriSchemeManager::SSelectSchemeDialog s_selectScheme = nullptr;

std::size_t SchemeCount() { return s_schemes != nullptr ? s_schemes->size() : 0; }

bool Has(const SUriScheme& scheme, SUriScheme::SCapability capability) {
  return (scheme.GetCapabilities() & capability) != 0;
}

/// The last scheme that fits, or null. A scheme may register and unregister schemes while it is
/// asked.
template <class Fits>
SUriScheme* FindLast(const Fits& fits) {
  for (std::size_t index = SchemeCount(); index-- > 0;) {
    if (index >= SchemeCount()) continue;
    SUriScheme* const scheme = (*s_schemes)[index];
    if (fits(*scheme)) return scheme;
  }
  return nullptr;
}

/// Asks each scheme in the order of registration. It may register and unregister schemes meanwhile.
template <class Ask>
void AskEach(const Ask& ask) {
  for (std::size_t index = 0; index < SchemeCount();) {
    SUriScheme* const scheme = (*s_schemes)[index];
    ask(*scheme);
    // Where one has left, the next stands in its place.
    if (index < SchemeCount() && (*s_schemes)[index] == scheme) ++index;
  }
}

}  // namespace

void SUriSchemeManager::Register(SUriScheme& scheme) {
  // CHOICE(composite-not-registered): the composite would ask itself, without end.
  // Test: UriSchemes.TheCompositeIsNoneOfThem
  if (&scheme == &SUri) return;
  if (s_schemes == nullptr) s_schemes = new std::vector<SUriScheme*>;
  // COMPAT(scheme-registered-twice): registering again does not move a scheme behind the others.
  // Test: UriSchemesCompat.RegisteringAgainDoesNotMoveAScheme
  if (std::find(s_schemes->begin(), s_schemes->end(), &scheme) == s_schemes->end())
    s_schemes->push_back(&scheme);
}

void SUriSchemeManager::UnRegister(SUriScheme& scheme) {
  if (s_schemes == nullptr) return;
  s_schemes->erase(std::remove(s_schemes->begin(), s_schemes->end(), &scheme), s_schemes->end());
  if (!s_schemes->empty()) return;
  delete s_schemes;
  s_schemes = nullptr;
}

void SUriSchemeManager::SetSelectSchemeDialog(SSelectSchemeDialog callback) {
  s_selectScheme = callback;
}

SUriScheme* impl::FindLatestScheme(const SString& uri) {
  return FindLast([&uri](const SUriScheme& scheme) { return scheme.CanHandle(uri); });
}

SUriScheme* impl::FindLatestScheme(SUriScheme::SCapability capability, const SString& uri) {
  return FindLast([capability, &uri](const SUriScheme& scheme) {
    return scheme.CanHandle(uri) && Has(scheme, capability);
  });
}

SUriScheme* impl::SelectScheme(SUriScheme::SCapability capability) {
  std::list<SUriScheme*> candidates;
  AskEach([&](SUriScheme& scheme) {
    if (Has(scheme, capability)) candidates.push_back(&scheme);
  });
  if (candidates.size() == 1) return candidates.front();
  if (candidates.empty() || s_selectScheme == nullptr) return nullptr;
  return s_selectScheme(candidates);
}

int impl::AllCapabilities() {
  int capabilities = 0;
  AskEach([&](const SUriScheme& scheme) { capabilities |= scheme.GetCapabilities(); });
  return capabilities;
}

}  // namespace bix
