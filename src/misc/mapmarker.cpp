#include "bix/mapmarker.h"

#include <cstdint>
#include <utility>

#include "misc/marker_storage.h"

namespace bix {
namespace impl {

// The upper bits of a product with the golden ratio depend on all bits of the address, and addresses
// at equal distances do not meet.
std::size_t MarkerSet::HomeOf(const void* address) const {
  constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15u;
  return static_cast<std::size_t>(
      std::uint64_t{reinterpret_cast<std::uintptr_t>(address)} * kGoldenRatio >> m_shift);
}

/// Where the address is, or the free place where it belongs.
std::size_t MarkerSet::PlaceOf(const void* address) const {
  std::size_t place = HomeOf(address);
  while (m_places[place] != nullptr && m_places[place] != address) place = (place + 1) & m_mask;
  return place;
}

bool MarkerSet::Insert(const void* address) {
  if (address == nullptr) return std::exchange(m_hasNull, true);
  if (m_places != nullptr && m_places[PlaceOf(address)] == address) return true;
  if (m_places == nullptr || m_count * 2 > m_mask) Grow();
  m_places[PlaceOf(address)] = address;
  ++m_count;
  return false;
}

void MarkerSet::Remove(const void* address) {
  if (address == nullptr) m_hasNull = false;
  if (address == nullptr || m_places == nullptr) return;
  std::size_t hole = PlaceOf(address);
  if (m_places[hole] == nullptr) return;
  // What stands behind moves up where the hole would cut it off from its home.
  for (std::size_t place = (hole + 1) & m_mask; m_places[place] != nullptr;
       place = (place + 1) & m_mask) {
    if (((place - HomeOf(m_places[place])) & m_mask) < ((place - hole) & m_mask)) continue;
    m_places[hole] = m_places[place];
    hole = place;
  }
  m_places[hole] = nullptr;
  --m_count;
}

/// The set stays as it is when there is no memory.
void MarkerSet::Grow() {
  const std::size_t oldCount = m_places != nullptr ? m_mask + 1 : 0;
  const std::size_t count = oldCount != 0 ? oldCount * 2 : 16;
  std::unique_ptr<const void*[]> old(new const void*[count]());
  old.swap(m_places);
  m_mask = count - 1;
  m_shift = oldCount != 0 ? m_shift - 1 : 64 - 4;
  for (std::size_t i = 0; i < oldCount; ++i)
    if (old[i] != nullptr) m_places[PlaceOf(old[i])] = old[i];
}

MarkerStorage::~MarkerStorage() {
  while (MarkerSet* const set = SMapMarker::m_listMarkers) {
    SMapMarker::m_listMarkers = set->Next();
    delete set;
  }
}

}  // namespace impl

// Static storage
impl::MarkerSet* SMapMarker::m_listMarkers = nullptr;

SMapMarker::SMapMarker() { m_listMarkers = new impl::MarkerSet(m_listMarkers); }

// CHOICE(marker-without-set): static markers of hosts may end after the sets have been released, and
// are then asked in vain. Test: MapMarkerAtExit.MayEndAfterTheLibrary
SMapMarker::~SMapMarker() {
  impl::MarkerSet* const set = m_listMarkers;
  if (set == nullptr) return;
  m_listMarkers = set->Next();
  delete set;
}

// COMPAT(marker-current-set): the front set, not the one that this marker has opened.
// Tests: MapMarkerCompat.EveryMarkerActsOnTheInnermostSet,
// MapMarkerCompat.AMarkerThatEndsOutOfTurnTakesTheInnermostSet
bool SMapMarker::Mark(const void* p) {
  return m_listMarkers != nullptr && m_listMarkers->Insert(p);
}

int SMapMarker::Unmark(const void* p) {
  // CHOICE(marker-unmark-unknown): an address without a mark is left alone.
  // Test: MapMarker.UnmarkingWhatIsNotMarkedChangesNothing
  if (m_listMarkers != nullptr) m_listMarkers->Remove(p);
  return 0;
}

}  // namespace bix
