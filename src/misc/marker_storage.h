// The sets of marked addresses.
#ifndef BIX_SRC_MISC_MARKER_STORAGE_H_
#define BIX_SRC_MISC_MARKER_STORAGE_H_

#include <cstddef>
#include <memory>

namespace bix::impl {

/// A set of addresses: a table with a power of two of places, at most half of them taken. An address
/// is at the first free place from the one on that its hash names.
class MarkerSet {
 public:
  explicit MarkerSet(MarkerSet* next) : m_next(next) {}

  /// Owner: owned by this set's owner, who takes it over before the set goes.
  MarkerSet* Next() const { return m_next; }

  /// Returns whether the address was in the set already.
  bool Insert(const void* address);
  void Remove(const void* address);

 private:
  std::size_t HomeOf(const void* address) const;
  std::size_t PlaceOf(const void* address) const;
  void Grow();

  MarkerSet* const m_next;
  std::unique_ptr<const void*[]> m_places;  // null is a free place
  std::size_t m_mask = 0;                   // the number of places less one, once there are any
  unsigned m_shift = 0;                     // of the hash, so that it names a place
  std::size_t m_count = 0;                  // places taken
  bool m_hasNull = false;                   // null is marked
};

/// Releases all sets when the library ends. The pointer to them is a plain one that outlives this,
/// so that markers which end later find no set.
class MarkerStorage {
 public:
  constexpr MarkerStorage() = default;
  MarkerStorage(const MarkerStorage&) = delete;
  MarkerStorage& operator=(const MarkerStorage&) = delete;
  ~MarkerStorage();
};

}  // namespace bix::impl

#endif  // BIX_SRC_MISC_MARKER_STORAGE_H_
