// The sets of marked addresses.
#ifndef BIX_SRC_MISC_MARKER_STORAGE_H_
#define BIX_SRC_MISC_MARKER_STORAGE_H_

#include <cstddef>
#include <cstdint>
#include <memory>

namespace bix::impl {

/// A set of addresses.
///
/// Objects that are visited together mostly lie near each other. So the addresses of 1024 bytes that
/// are equally far from a multiple of 16 share an entry with a bit for each; of an object's own
/// kind these are all. The entries are in a table with a power of two of places, at most half of
/// them taken: each at the first free place from the one on that its hash names.
class MarkerSet {
 public:
  explicit MarkerSet(MarkerSet* next) : m_next(next) {}

  /// Owner: owned by this set's owner, who takes it over before the set goes.
  MarkerSet* Next() const { return m_next; }

  /// Returns whether the address was in the set already.
  bool Insert(const void* address);
  void Remove(const void* address);

 private:
  struct Entry {
    std::uint64_t key;
    std::uint64_t marks;  // 0 is a free place
  };
  struct Spot;

  std::size_t HomeOf(std::uint64_t key) const;
  std::size_t PlaceOf(std::uint64_t key) const;
  void Grow();
  void RemoveEntry(std::size_t hole);

  MarkerSet* const m_next;
  std::unique_ptr<Entry[]> m_entries;
  std::size_t m_mask = 0;   // the number of places less one, once there are any
  unsigned m_shift = 0;     // of a hash of 64 bits, so that it names a place
  std::size_t m_count = 0;  // places taken
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
