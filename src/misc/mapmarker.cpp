#include "bix/mapmarker.h"

#include <cstdint>
#include <utility>

#include "misc/marker_storage.h"

namespace bix {
namespace impl {

/// Where the mark of an address is: in the entry of this key, this bit.
struct MarkerSet::Spot {
  explicit Spot(const void* address) {
    const std::uint64_t number = reinterpret_cast<std::uintptr_t>(address);
    key = number >> 10 << 4 | (number & 15);
    mark = std::uint64_t{1} << (number >> 4 & 63);
  }

  std::uint64_t key;
  std::uint64_t mark;
};

// In two rounds, since keys often stand at equal distances: the upper bits of a product depend on
// all bits of what is multiplied.
std::size_t MarkerSet::HomeOf(std::uint64_t key) const {
  constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15u;
  const std::uint64_t hash = key * kGoldenRatio;
  return static_cast<std::size_t>((hash ^ hash >> 32) * kGoldenRatio >> m_shift);
}

/// Where the entry is, or the free place where it belongs.
std::size_t MarkerSet::PlaceOf(std::uint64_t key) const {
  std::size_t place = HomeOf(key);
  while (m_entries[place].marks != 0 && m_entries[place].key != key) place = (place + 1) & m_mask;
  return place;
}

bool MarkerSet::Insert(const void* address) {
  const Spot spot(address);
  if (m_entries == nullptr) Grow();
  std::size_t place = PlaceOf(spot.key);
  if (m_entries[place].marks == 0) {
    if (m_count * 2 > m_mask) {
      Grow();
      place = PlaceOf(spot.key);
    }
    m_entries[place].key = spot.key;
    ++m_count;
  }
  const bool wasMarked = (m_entries[place].marks & spot.mark) != 0;
  m_entries[place].marks |= spot.mark;
  return wasMarked;
}

void MarkerSet::Remove(const void* address) {
  if (m_entries == nullptr) return;
  const Spot spot(address);
  const std::size_t place = PlaceOf(spot.key);
  if ((m_entries[place].marks & spot.mark) == 0) return;
  m_entries[place].marks &= ~spot.mark;
  if (m_entries[place].marks == 0) RemoveEntry(place);
}

/// What stands behind the hole moves up where that would cut it off from its home.
void MarkerSet::RemoveEntry(std::size_t hole) {
  for (std::size_t place = (hole + 1) & m_mask; m_entries[place].marks != 0;
       place = (place + 1) & m_mask) {
    if (((place - HomeOf(m_entries[place].key)) & m_mask) < ((place - hole) & m_mask)) continue;
    m_entries[hole] = std::exchange(m_entries[place], Entry{});
    hole = place;
  }
  --m_count;
}

/// The set stays as it is when there is no memory.
void MarkerSet::Grow() {
  constexpr unsigned kFirstBits = 4;
  const std::size_t oldCount = m_entries != nullptr ? m_mask + 1 : 0;
  const std::size_t count = oldCount != 0 ? oldCount * 2 : std::size_t{1} << kFirstBits;
  std::unique_ptr<Entry[]> old(new Entry[count]());
  old.swap(m_entries);
  m_mask = count - 1;
  m_shift = oldCount != 0 ? m_shift - 1 : 64 - kFirstBits;
  for (std::size_t i = 0; i < oldCount; ++i)
    if (old[i].marks != 0) m_entries[PlaceOf(old[i].key)] = old[i];
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
