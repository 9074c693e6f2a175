#include "bix/modulemanager.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>

#include "bix/stringtable.h"
#include "resources/resource_manager.h"
#include "resources/scoped_resource_module.h"

namespace bix {
namespace {

/// Whether two ranges of different modules get into each other's way.
bool DoClaimsCollide(const SResourceRange& range, std::uint32_t low, std::uint32_t high) {
  // COMPAT(range-shared-end): both lows are raised by one, as 32-bit numbers, so that the last
  // number of one range may be the first of another. A range of one number never is in the way of
  // itself, and one that begins at 4294967295 counts from 0.
  // Required by existing hosts. Test: ModuleRangeCompat.OneEndNumberMayBeShared,
  // ModuleRangeCompat.RangesOfOneNumberAreInverted, ModuleRangeCompat.TheLastNumberWrapsAround
  return DoRangesOverlap(low + 1, high, range.low + 1, range.high);
}

/// The first range that holds the numbers from `low` to `high`, or null.
const SResourceRange* FindRange(std::uint32_t low, std::uint32_t high) {
  for (const SResourceRange& range : CResourceManager::Instance().ranges)
    if (range.low <= low && high <= range.high) return &range;
  return nullptr;
}

/// Where the handlers go on behind the one at `index`, which was asked and may have registered others
/// or left.
std::size_t NextIndex(std::size_t index, const IBixResourceHandler* asked) {
  const std::vector<SResourceHandlerInfo>& handlers = CResourceManager::Instance().handlers;
  const bool isThere = index < handlers.size() && handlers[index].handler == asked;
  return isThere ? index + 1 : index;
}

}  // namespace

CResourceManager* CResourceManager::m_pInstance = nullptr;

CResourceManager& CResourceManager::Instance() {
  if (m_pInstance == nullptr) m_pInstance = new CResourceManager;  // until End()
  return *m_pInstance;
}

void CResourceManager::End() { delete std::exchange(m_pInstance, nullptr); }

BixResourceHandler::BixResourceHandler(unsigned int low, unsigned int high)
    : m_low(low), m_high(high) {}

BixResourceHandler::~BixResourceHandler() = default;

void BixResourceHandler::SetInstance(HINSTANCE module) { m_instance = module; }

bool BixResourceHandler::GetString(unsigned int id, SString& out) const {
  if (m_instance == nullptr) return false;
  const HINSTANCE previous = BixGetResourceHandle();
  BixSetResourceHandle(m_instance);
  // COMPAT(handler-leaves-handle): for a number that is not the handler's, its module stays the
  // current resource handle. Required by existing hosts. Test:
  // ResourceHandlerCompat.AnUnhandledNumberLeavesTheHandleSwitched
  if (!IsHandled(id)) return false;
  BixSetResourceHandle(previous);
  const impl::ScopedResourceModule current(m_instance);
  // COMPAT(handler-empty-text): an empty text counts as missing, but is stored. Test:
  // ResourceHandlerCompat.AnEmptyTextIsAFailure
  return out.LoadStringA(id) != 0;
}

bool BixResourceHandler::GetPrefixedString(unsigned int id, SString& out) const {
  if (m_instance == nullptr) return false;
  // COMPAT(prefix-of-the-handler): the range that counts is the one around the whole range of the
  // handler, whatever range the number lies in. Test:
  // ResourceHandlerCompat.ThePrefixIsThatOfTheHandlersWholeRange
  const SResourceRange* const range = FindRange(m_low, m_high);
  // CHOICE(handler-without-range): without such a range there is nothing to count from.
  // Test: ResourceHandler.WithoutARangeThereIsNoPrefixedText
  if (range == nullptr) return false;
  const auto offset = static_cast<std::int32_t>(id - range->low);
  if (offset < 0) return false;
  // A host's GetString may register ranges, which moves them.
  const SString prefix = range->prefix;

  const IBixResourceHandler* const self = this;
  if (!self->GetString(id, out)) return false;
  char number[16];
  std::snprintf(number, sizeof number, "%04d: ", static_cast<int>(offset));
  out.insert(0, prefix + number);
  return true;
}

void BixResourceHandler::GetHandledRange(unsigned int& low, unsigned int& high) const {
  low = m_low;
  high = m_high;
}

bool BixResourceHandler::IsHandled(unsigned int id) const { return IsIDInRange(id, m_low, m_high); }

bool BixModuleManager::RegisterRange(const char* prefix, unsigned int low, unsigned int high) {
  CResourceManager& manager = CResourceManager::Instance();
  if (prefix == nullptr || low > high) return false;
  for (const SResourceRange& range : manager.ranges) {
    // COMPAT(range-repeat): a prefix that is known adds nothing; one end that is the same makes it
    // a repetition. The first range that has the prefix or is in the way decides, in the order of
    // registration. Required by existing hosts. Test: ModuleRangeCompat.OneMatchingEndIsARepetition,
    // ModuleRangeCompat.TheFirstRangeThatIsConcernedDecides
    if (range.prefix == prefix) return range.low == low || range.high == high;
    if (DoClaimsCollide(range, low, high)) return false;
  }
  manager.ranges.push_back({low, high, prefix});
  return true;
}

bool BixModuleManager::RegisterResourceHandler(const IBixResourceHandler& handler) {
  CResourceManager& manager = CResourceManager::Instance();
  unsigned int low = 0;
  unsigned int high = 0;
  handler.GetHandledRange(low, high);
  for (std::size_t i = 0; i < manager.handlers.size();) {
    const IBixResourceHandler* const other = manager.handlers[i].handler;
    if (other == nullptr) return false;
    unsigned int otherLow = 0;
    unsigned int otherHigh = 0;
    // COMPAT(handler-current-range): a registered handler is asked for its range each time; one
    // with its ends in the wrong order keeps all others out, though it could be registered itself.
    // Required by existing hosts. Test: ModuleHandlerCompat.ARangeIsAskedForAtEachRegistration,
    // ModuleHandlerCompat.AnInvertedRangeKeepsAllOthersOut
    other->GetHandledRange(otherLow, otherHigh);
    if (otherLow > otherHigh) return false;
    // COMPAT(handler-twice): the overlap comes first, so a handler is in its own way.
    // Required by existing hosts. Test: ModuleHandlerCompat.TheSameHandlerTwiceFails,
    // ModuleHandlerCompat.TheSameHandlerWithAnotherRangeIsNotAddedAgain
    if (DoRangesOverlap(otherLow, otherHigh, low, high)) return false;
    if (other == &handler) return true;
    i = NextIndex(i, other);
  }
  manager.handlers.push_back({&handler, low, high});
  return true;
}

void BixModuleManager::UnregisterResourceHandler(const IBixResourceHandler& handler) {
  std::vector<SResourceHandlerInfo>& handlers = CResourceManager::Instance().handlers;
  const auto found = std::find_if(
      handlers.begin(), handlers.end(),
      [&handler](const SResourceHandlerInfo& info) { return info.handler == &handler; });
  if (found != handlers.end()) handlers.erase(found);
}

const IBixResourceHandler* BixModuleManager::GetResourceHandler(unsigned int id) {
  const std::vector<SResourceHandlerInfo>& handlers = CResourceManager::Instance().handlers;
  for (std::size_t i = 0; i < handlers.size();) {
    const IBixResourceHandler* const handler = handlers[i].handler;
    if (handler == nullptr || handler->IsHandled(id)) return handler;
    i = NextIndex(i, handler);
  }
  return nullptr;
}

bool IsIDInRange(unsigned int id, unsigned int low, unsigned int high) {
  return low <= id && id <= high;
}

bool DoRangesOverlap(unsigned int low1, unsigned int high1, unsigned int low2, unsigned int high2) {
  return IsIDInRange(low1, low2, high2) || IsIDInRange(high1, low2, high2) ||
         IsIDInRange(low2, low1, high1) || IsIDInRange(high2, low1, high1);
}

bool PvxGetPrefixedString(unsigned int id, SString& out) {
  const IBixResourceHandler* const handler = BixModuleManager::GetResourceHandler(id);
  return handler != nullptr && handler->GetPrefixedString(id, out);
}

}  // namespace bix
