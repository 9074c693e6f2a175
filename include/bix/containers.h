#ifndef BIX_CONTAINERS_H_
#define BIX_CONTAINERS_H_

/// The library's containers.
///
///   bix::MMap<bix::SString, CTool*> tools;
///   tools["editor"] = editor;
///   CTool* tool;
///   if (tools.Lookup("viewer", tool)) tool->Start();
///   for (void* position = tools.GetStartPosition(); position != nullptr;) {
///     bix::SString name;
///     tools.GetNextAssoc(position, name, tool);
///   }
///
/// Positions: an opaque position names one entry and is null behind the last. It stays valid while
///   other entries come and go, until its own entry is removed.
/// Owner: the containers never own what their elements or values point to; they free only the room
///   they made for them.
/// Errors: std::bad_alloc when there is no memory; the container is then unchanged.
/// Threads: one container is not changed from two threads at once. Several threads may read one
///   that nobody changes through const operations.

#include "bix/hostmacros_off.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "bix/export.h"
#include "bix/text.h"

namespace bix {

/// The standard vector.
template <class T>
using SVector = std::vector<T>;

namespace impl {

/// Room for the elements of a list, which follow it one behind the other. Behind the last of them
/// stand a mark and the address of the block.
struct ListBlock {
  ListBlock* next;
  ListBlock* previous;
  std::int32_t room;  // for so many elements
  std::int32_t used;  // of them hold an element

  void** Begin() { return reinterpret_cast<void**>(this + 1); }
};

/// What a list has while it is not empty.
struct ListHead {
  void** first;  // the place of the first element
  std::int32_t count;

  // Marks that no element can be: places inside the head, which only its list knows. Its first place
  // might be the end of what stands before it, which an element may well point to.
  void* Hole() { return &count; }
  void* End() { return reinterpret_cast<char*>(&count) + 1; }
};

/// What MList does, without the type of its elements. Nearly all lists of a settings tree are empty
/// for good, so an empty one is a null pointer and no more. Long ones take one word for an element:
/// a place stays where it is while its element is listed, and is a hole after that. A long list
/// that is searched keeps a table of its elements.
class BIX_EXPORT ListBase {
 public:
  ListBase() = default;
  ListBase(const ListBase&) = delete;
  ListBase& operator=(const ListBase&) = delete;
  ~ListBase() {
    if (m_head != nullptr) Clear();
  }

  std::int32_t GetCount() const { return m_head != nullptr ? m_head->count : 0; }
  void** GetFirst() const { return m_head != nullptr ? m_head->first : nullptr; }
  /// The place behind `place` that holds an element, or null.
  void** GetNext(void** place) const {
    for (++place;;) {
      if (*place == m_head->Hole()) {
        ++place;
      } else if (*place != m_head->End()) {
        return place;
      } else {
        ListBlock* const next = static_cast<ListBlock*>(place[1])->next;
        if (next == nullptr) return nullptr;
        place = next->Begin();
      }
    }
  }
  void** Append(void* element);
  void** Find(const void* element) const;
  void** FindIndexed(const void* element);
  void Remove(void** place);
  void Clear();

 private:
  ListHead* m_head = nullptr;
};

}  // namespace impl

/// A list of pointers, appended at the tail. Duplicates are allowed.
template <class T>
class MList {
  static_assert(std::is_pointer_v<T>, "MList holds pointers");

 public:
  MList() = default;
  MList(const MList&) = delete;
  MList& operator=(const MList&) = delete;

  /// The number of elements, duplicates included.
  int GetCount() const { return m_list.GetCount(); }
  /// Whether there are no elements.
  bool IsEmpty() const { return m_list.GetFirst() == nullptr; }
  /// The position of the first element, or null.
  void* GetHeadPosition() const { return m_list.GetFirst(); }
  /// Returns the element at `position`, which is not null, and moves `position` to the next one.
  T GetNext(void*& position) const {
    void** const place = static_cast<void**>(position);
    position = m_list.GetNext(place);
    return static_cast<T>(*place);
  }
  /// The element at `position`, which is not null.
  T GetAt(void* position) const { return static_cast<T>(*static_cast<void**>(position)); }
  /// The position of the first occurrence of `element`, or null.
  ///
  /// On a list that may be changed it makes a table of the elements once the list is long, so that
  /// the cost of searching and removing does not grow with the list.
  void* Find(T element) { return m_list.FindIndexed(element); }
  void* Find(T element) const { return m_list.Find(element); }

  /// Appends and returns the position of the new element.
  void* AddTail(T element) {
    return m_list.Append(const_cast<void*>(static_cast<const void*>(element)));
  }
  /// Removes the entry at `position`, which is not null.
  void RemoveAt(void* position) { m_list.Remove(static_cast<void**>(position)); }
  /// Removes the first occurrence of `element`; false when there is none.
  bool Remove(T element) {
    void* position = Find(element);
    if (position == nullptr) return false;
    RemoveAt(position);
    return true;
  }
  /// Removes all entries.
  void RemoveAll() { m_list.Clear(); }

 private:
  impl::ListBase m_list;
};

namespace impl {

/// A 32-bit hash of bytes that depends on all of them; it places entries in an index and is seen
/// nowhere else.
inline std::uint32_t HashBytes(std::string_view bytes, std::uint32_t seed) {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15u;
  const auto load = [](const char* from, auto word) {
    std::memcpy(&word, from, sizeof word);
    return static_cast<std::uint64_t>(word);
  };
  const char* cursor = bytes.data();
  std::size_t left = bytes.size();
  std::uint64_t hash = (seed + static_cast<std::uint64_t>(left)) * kFactor;
  for (; left > 8; left -= 8, cursor += 8) {
    hash = (hash ^ load(cursor, std::uint64_t())) * kFactor;
    hash ^= hash >> 32;
  }
  std::uint64_t tail = 0;
  if (left >= 4) {
    tail = load(cursor, std::uint32_t()) | load(cursor + left - 4, std::uint32_t()) << 32;
  } else if (left > 0) {
    tail = load(cursor, std::uint8_t()) | load(cursor + left / 2, std::uint8_t()) << 8 |
           load(cursor + left - 1, std::uint8_t()) << 16;
  }
  hash = (hash ^ tail) * kFactor;
  hash ^= hash >> 32;
  return static_cast<std::uint32_t>((hash * kFactor) >> 32);
}

/// An open table from hash to entry. The hashes stand apart from the entries: a search reads few of
/// them and touches an entry only when the whole hash is right, and growing reads no entry at all.
class BIX_EXPORT HashIndex {
 public:
  HashIndex() = default;
  HashIndex(const HashIndex&) = delete;
  HashIndex& operator=(const HashIndex&) = delete;
  ~HashIndex();

  /// The entry with this hash that `isWanted` accepts, or null.
  template <class Predicate>
  void* Find(std::uint32_t hash, Predicate isWanted) const {
    if (m_hashes == nullptr) return nullptr;
    hash = Used(hash);
    for (std::uint32_t slot = Home(hash); m_hashes[slot] != 0; slot = (slot + 1) & m_mask)
      if (m_hashes[slot] == hash && isWanted(m_entries[slot])) return m_entries[slot];
    return nullptr;
  }
  /// Makes room for one more entry.
  void Reserve() {
    if (m_count >= m_limit) Grow();
  }
  /// Adds an entry that is not there, after Reserve.
  void Add(std::uint32_t hash, void* entry) noexcept {
    hash = Used(hash);
    std::uint32_t slot = Home(hash);
    while (m_hashes[slot] != 0) slot = (slot + 1) & m_mask;
    m_hashes[slot] = hash;
    m_entries[slot] = entry;
    ++m_count;
  }
  void Remove(std::uint32_t hash, const void* entry) noexcept;

 private:
  /// 0 marks a free slot.
  static std::uint32_t Used(std::uint32_t hash) { return hash != 0 ? hash : 1; }
  /// The slots keep the order of the hashes, so that growing reads and writes from front to back.
  std::uint32_t Home(std::uint32_t hash) const { return hash >> m_shift; }
  void Grow();

  std::uint32_t* m_hashes = nullptr;
  void** m_entries = nullptr;
  std::uint32_t m_mask = 0;
  std::uint32_t m_shift = 32;
  std::uint32_t m_limit = 0;
  std::uint32_t m_count = 0;
};

/// Room for nodes of different sizes, in blocks that grow with what they hold. What is released
/// serves the next node of the same size.
class BIX_EXPORT NodeArena {
 public:
  static constexpr std::size_t kGrain = 8;

  NodeArena() = default;
  NodeArena(const NodeArena&) = delete;
  NodeArena& operator=(const NodeArena&) = delete;
  ~NodeArena();

  void* Allocate(std::size_t size) {
    size = Rounded(size);
    if (m_free == nullptr && size <= kLargestShared &&
        size <= static_cast<std::size_t>(m_end - m_cursor)) {
      void* const room = m_cursor;
      m_cursor += size;
      return room;
    }
    return AllocateSlowly(size);
  }
  void Release(void* room, std::size_t size) noexcept;

 private:
  static constexpr std::size_t kLargestShared = 512;
  struct Block {
    Block* next;
    Block* previous;
  };
  struct FreeRoom {
    FreeRoom* next;
  };
  struct FreeLists {
    FreeRoom* first[kLargestShared / kGrain + 1];
  };

  static std::size_t Rounded(std::size_t size) { return (size + kGrain - 1) / kGrain * kGrain; }
  void* AllocateSlowly(std::size_t size);

  char* m_cursor = nullptr;
  char* m_end = nullptr;
  Block* m_blocks = nullptr;
  Block* m_single = nullptr;  // nodes too large for a block
  FreeLists* m_free = nullptr;
  std::size_t m_blockSize = 0;
};

}  // namespace impl

/// How a type serves as key of MMap.
///
///   View     what a key is looked up by
///   Hash     the whole order hash; the bucket is this modulo the number of buckets
///   Scatter  the hash that places an entry in the index of a large map
template <class K>
struct MMapKey {
  using View = K;
  static std::uint32_t Hash(const K& key) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(key));
  }
  static std::uint32_t Scatter(const K& key, std::uint32_t seed) {
    return impl::HashBytes({reinterpret_cast<const char*>(&key), sizeof key}, seed);
  }
};
template <>
struct MMapKey<unsigned> {
  using View = unsigned;
  static std::uint32_t Hash(unsigned key) { return key; }
  static std::uint32_t Scatter(unsigned key, std::uint32_t seed) {
    return impl::HashBytes({reinterpret_cast<const char*>(&key), sizeof key}, seed);
  }
};
/// Texts: the order hash ends at the first zero byte, while keys are compared whole; so keys that
/// differ only behind it share a bucket and are two keys all the same.
template <>
struct MMapKey<SString> {
  using View = std::string_view;
  static std::uint32_t Hash(std::string_view key) {
    std::uint32_t hash = 0;
    const char* cursor = key.data();
    const char* const end = cursor + key.size();
    // COMPAT(hash-signed-bytes): bytes from 0x80 on are subtracted, and a zero byte ends the hash.
    // Required by existing hosts. Test: StringHashCompat.MultipliesBy33AndAddsSignedBytes
    const auto value = [](char byte) {
      return static_cast<std::uint32_t>(static_cast<signed char>(byte));
    };
    // Four bytes at a time: their products do not wait for each other.
    for (; end - cursor >= 4; cursor += 4) {
      if (cursor[0] == 0 || cursor[1] == 0 || cursor[2] == 0 || cursor[3] == 0) break;
      hash = hash * (33u * 33 * 33 * 33) + value(cursor[0]) * (33u * 33 * 33) +
             value(cursor[1]) * (33u * 33) + value(cursor[2]) * 33u + value(cursor[3]);
    }
    for (; cursor != end && *cursor != 0; ++cursor) hash = hash * 33 + value(*cursor);
    return hash;
  }
  static std::uint32_t Scatter(std::string_view key, std::uint32_t seed) {
    return impl::HashBytes(key, seed);
  }
};

/// A hash table from `K` to `V` with 31 chained buckets, which are made with the first entry.
///
/// It is walked bucket by bucket, from bucket 0 on; within a bucket in the order in which the keys
/// were added. A key that is removed and added again goes to the end of its bucket. Keys compare
/// exactly; text keys by length and bytes. The cost of a look-up does not grow with the map.
template <class K, class V>
class MMap {
 public:
  using KeyView = typename MMapKey<K>::View;
  // COMPAT(map-bucket-order): the order of the buckets shows in saved files and lists, so it stays
  // though look-ups do not go by it.
  // Required by existing hosts. Test: MapCompat.NewEntriesGoToTheEndOfTheirBucket
  static constexpr std::uint32_t kBucketCount = 31;

  MMap() = default;
  MMap(const MMap&) = delete;
  MMap& operator=(const MMap&) = delete;
  ~MMap() { RemoveAll(); }

  /// The number of entries.
  int GetCount() const { return m_count; }
  /// Whether there are no entries.
  bool IsEmpty() const { return m_count == 0; }
  /// True and the value in `value` when the key is there; otherwise `value` is left as it is.
  bool Lookup(const KeyView& key, V& value) const {
    const V* const found = PLookup(key);
    if (found == nullptr) return false;
    value = *found;
    return true;
  }
  /// The value of a key, or null.
  ///
  /// Owner: owned by the map, valid until the key is removed.
  V* PLookup(const KeyView& key) {
    Node* const node = FindNode(key);
    return node != nullptr ? &node->value : nullptr;
  }
  const V* PLookup(const KeyView& key) const {
    const Node* const node = FindNode(key);
    return node != nullptr ? &node->value : nullptr;
  }
  /// The position of the first entry in walking order, or null.
  void* GetStartPosition() const { return m_body != nullptr ? m_body->first : nullptr; }
  /// Gives key and value at `position`, which is not null, and moves `position` to the next entry.
  void GetNextAssoc(void*& position, K& key, V& value) const {
    const Node* const node = static_cast<Node*>(position);
    if constexpr (kIsText)
      key.assign(KeyOf(node));
    else
      key = node->key;
    value = node->value;
    position = node->next;
  }
  /// Gives the value at `position`, which is not null, and moves `position` to the next entry. Needs
  /// no memory.
  ///
  /// Owner: owned by the map, valid until the key is removed.
  const V& GetNextValue(void*& position) const {
    const Node* const node = static_cast<Node*>(position);
    position = node->next;
    return node->value;
  }

  /// The value of a key; a missing key is added with a zero value.
  V& operator[](const KeyView& key) {
    // COMPAT(map-index-inserts): a look-up written with [] changes the map.
    // Required by existing hosts. Test: MapCompat.IndexInsertsAZeroEntryForAMissingKey
    Body& body = MadeBody();
    const std::uint32_t scatter = body.large != nullptr ? body.large->Scatter(key) : 0;
    Node* const node = FindNode(key, scatter);
    return (node != nullptr ? node : AddNode(key, scatter))->value;
  }
  /// Adds a key or replaces its value.
  void SetAt(const KeyView& key, const V& value) { (*this)[key] = value; }
  /// Adds a key that the caller knows to be missing, without looking for it.
  void AddMissing(const KeyView& key, const V& value) {
    const Body& body = MadeBody();
    AddNode(key, body.large != nullptr ? body.large->Scatter(key) : 0)->value = value;
  }
  /// Removes a key; false when it is not there.
  bool RemoveKey(const KeyView& key) {
    if (m_body == nullptr) return false;
    const std::uint32_t scatter = m_body->large != nullptr ? m_body->large->Scatter(key) : 0;
    Node* const node = FindNode(key, scatter);
    if (node == nullptr) return false;
    if (m_count == 1) {
      RemoveAll();
      return true;
    }
    if (m_body->large != nullptr) m_body->large->Remove(node, scatter);
    (node->previous != nullptr ? node->previous->next : m_body->first) = node->next;
    (node->next != nullptr ? node->next->previous : m_body->last) = node->previous;
    const std::size_t size = SizeOf(KeyOf(node));
    node->~Node();
    m_body->arena.Release(node, size);
    --m_count;
    return true;
  }
  /// Removes all entries and frees the buckets.
  void RemoveAll() {
    if (m_body == nullptr) return;
    if constexpr (!std::is_trivially_destructible_v<Node>) {
      for (Node* node = m_body->first; node != nullptr;) {
        Node* const next = node->next;
        node->~Node();
        node = next;
      }
    }
    delete m_body->large;
    delete m_body;
    m_body = nullptr;
    m_count = 0;
  }

 private:
  static constexpr bool kIsText = std::is_same_v<KeyView, std::string_view>;
  /// Up to this many entries are searched one by one.
  static constexpr int kSmallCount = 12;

  struct TextLength {
    std::uint32_t length;  // the bytes of the key stand behind the node
  };
  /// All entries are one list in walking order.
  struct Node {
    Node* next;
    Node* previous;
    std::uint32_t hash;  // the order hash
    std::conditional_t<kIsText, TextLength, K> key;
    V value;

    std::uint32_t Bucket() const { return hash % kBucketCount; }
  };
  static_assert(alignof(Node) <= impl::NodeArena::kGrain, "nodes are aligned to 8 bytes");

  static KeyView KeyOf(const Node* node) {
    if constexpr (kIsText)
      return {reinterpret_cast<const char*>(node + 1), node->key.length};
    else
      return node->key;
  }
  static std::size_t SizeOf(const KeyView& key) {
    if constexpr (kIsText)
      return sizeof(Node) + key.size();
    else
      return sizeof(Node);
  }

  /// What a large map has besides its entries.
  struct Large {
    Node* tails[kBucketCount] = {};
    impl::HashIndex index;

    /// The address of the table is its seed: it differs from map to map and from run to run.
    std::uint32_t Scatter(const KeyView& key) const {
      return MMapKey<K>::Scatter(
          key, static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(this) >> 4));
    }
    Node* Find(const KeyView& key, std::uint32_t scatter) const {
      return static_cast<Node*>(index.Find(
          scatter, [&key](void* entry) { return KeyOf(static_cast<Node*>(entry)) == key; }));
    }
    void Remove(Node* node, std::uint32_t scatter) {
      index.Remove(scatter, node);
      Node*& tail = tails[node->Bucket()];
      if (tail != node) return;
      Node* const previous = node->previous;
      tail = previous != nullptr && previous->Bucket() == node->Bucket() ? previous : nullptr;
    }
    /// The entry behind which a new one of this bucket stands, or null for the front.
    Node* LastUpTo(std::uint32_t bucket) const {
      for (std::uint32_t i = bucket + 1; i > 0; --i)
        if (tails[i - 1] != nullptr) return tails[i - 1];
      return nullptr;
    }
  };
  struct Body {
    Node* first = nullptr;
    Node* last = nullptr;
    Large* large = nullptr;  // null while the map is small
    impl::NodeArena arena;
  };

  Body& MadeBody() {
    if (m_body == nullptr) m_body = new Body;
    return *m_body;
  }

  Node* FindNode(const KeyView& key) const {
    if (m_body == nullptr) return nullptr;
    return FindNode(key, m_body->large != nullptr ? m_body->large->Scatter(key) : 0);
  }
  Node* FindNode(const KeyView& key, std::uint32_t scatter) const {
    if (m_body->large != nullptr) return m_body->large->Find(key, scatter);
    for (Node* node = m_body->first; node != nullptr; node = node->next)
      if (KeyOf(node) == key) return node;
    return nullptr;
  }

  Node* AddNode(const KeyView& key, std::uint32_t scatter) {
    if (m_body->large != nullptr) {
      m_body->large->index.Reserve();
    } else if (m_count == kSmallCount) {
      MakeLarge();
      scatter = m_body->large->Scatter(key);
    }
    Node* const node = MakeNode(key);
    Node* const before = Predecessor(node->Bucket());
    node->previous = before;
    node->next = before != nullptr ? before->next : m_body->first;
    (before != nullptr ? before->next : m_body->first) = node;
    (node->next != nullptr ? node->next->previous : m_body->last) = node;
    if (m_body->large != nullptr) {
      m_body->large->tails[node->Bucket()] = node;
      m_body->large->index.Add(scatter, node);
    }
    ++m_count;
    return node;
  }

  Node* MakeNode(const KeyView& key) {
    const std::size_t size = SizeOf(key);
    if constexpr (kIsText)
      if (key.size() > UINT32_MAX - sizeof(Node)) throw std::bad_alloc();
    void* const room = m_body->arena.Allocate(size);
    Node* node = nullptr;
    try {
      if constexpr (kIsText) {
        node = new (room) Node{
            nullptr, nullptr, MMapKey<K>::Hash(key), {static_cast<std::uint32_t>(key.size())}, V()};
        std::memcpy(reinterpret_cast<char*>(node + 1), key.data(), key.size());
      } else {
        node = new (room) Node{nullptr, nullptr, MMapKey<K>::Hash(key), key, V()};
      }
    } catch (...) {
      m_body->arena.Release(room, size);
      throw;
    }
    return node;
  }

  Node* Predecessor(std::uint32_t bucket) const {
    if (m_body->large != nullptr) return m_body->large->LastUpTo(bucket);
    Node* node = m_body->last;
    while (node != nullptr && node->Bucket() > bucket) node = node->previous;
    return node;
  }

  /// With room for one more entry.
  void MakeLarge() {
    Large* const large = new Large;
    try {
      for (Node* node = m_body->first; node != nullptr; node = node->next) {
        large->tails[node->Bucket()] = node;
        large->index.Reserve();
        large->index.Add(large->Scatter(KeyOf(node)), node);
      }
      large->index.Reserve();
    } catch (...) {
      delete large;
      throw;
    }
    m_body->large = large;
  }

  Body* m_body = nullptr;
  std::int32_t m_count = 0;
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_CONTAINERS_H_
