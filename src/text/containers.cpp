#include "bix/containers.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <unordered_map>
#include <utility>

namespace bix::impl {
namespace {

constexpr std::int32_t kIndexedCount = 64;  // a shorter list is searched one by one
constexpr std::int32_t kFirstRoom = 6;
// A block goes when its last element does, so an element that is left alone keeps all of it.
constexpr std::int32_t kLargestRoom = 59;
constexpr std::int32_t kEndWords = 2;  // the mark behind the last element, and the block

/// Where each element of a long list stands first, and the chain of its further occurrences.
class ListIndex {
 public:
  void** Find(const void* element) const {
    return static_cast<void**>(m_firsts.Find(
        Hash(element), [element](void* place) { return *static_cast<void**>(place) == element; }));
  }

  /// `place` becomes the last of its list.
  void Add(void** place, const void* element) {
    void** const first = Find(element);
    if (first == nullptr) {
      m_firsts.Reserve();
      m_firsts.Add(Hash(element), place);
      return;
    }
    Link& ofFirst = m_links.try_emplace(first, Link{first, nullptr}).first->second;
    void** const last = std::exchange(ofFirst.previous, place);
    m_links[place] = Link{last, nullptr};
    m_links[last].next = place;
  }

  void Remove(void** place) {
    const void* const element = *place;
    void** first = Find(element);
    const auto found = m_links.find(place);
    if (found == m_links.end()) return m_firsts.Remove(Hash(element), place);
    const Link link = found->second;
    m_links.erase(found);
    if (place == first) {
      first = link.next;
      m_firsts.Remove(Hash(element), place);
      m_firsts.Add(Hash(element), first);
    } else {
      m_links[link.previous].next = link.next;
    }
    m_links[link.next != nullptr ? link.next : first].previous = link.previous;
    // One that is left alone needs no link, and must not keep one that names places given up.
    if (const auto left = m_links.find(first); left->second.next == nullptr) m_links.erase(left);
  }

 private:
  /// The neighbours of one of several occurrences. In front of the first is the last.
  struct Link {
    void** previous = nullptr;
    void** next = nullptr;
  };

  static std::uint32_t Hash(const void* element) {
    return HashBytes({reinterpret_cast<const char*>(&element), sizeof element}, 0);
  }

  HashIndex m_firsts;
  std::unordered_map<void**, Link> m_links;
};

constexpr std::size_t BlockSize(std::int32_t room) {
  return sizeof(ListBlock) + static_cast<std::size_t>(room + kEndWords) * sizeof(void*);
}

/// A list while it is not empty: its head and its blocks.
struct ListStore : ListHead {
  ListBlock* const single;  // a list of one element needs no other block
  ListBlock* firstBlock = single;
  ListBlock* lastBlock = single;
  void** cursor = single->Begin();  // where the next element goes, in the last block
  std::unique_ptr<ListIndex> index;
  alignas(ListBlock) std::byte singleMemory[BlockSize(1)];

  ListStore()
      : ListHead{nullptr, 0}, single(new (singleMemory) ListBlock{nullptr, nullptr, 1, 0}) {}
  ListStore(const ListStore&) = delete;
  ListStore& operator=(const ListStore&) = delete;
  ~ListStore() {
    while (firstBlock != nullptr) RemoveBlock(firstBlock);
  }

  bool IsFull() const { return cursor == lastBlock->Begin() + lastBlock->room; }

  void AddBlock() {
    const std::int32_t room =
        std::clamp(std::min(count, kLargestRoom) * 2, kFirstRoom, kLargestRoom);
    void* const memory = std::malloc(BlockSize(room));
    if (memory == nullptr) throw std::bad_alloc();
    ListBlock* const block = new (memory) ListBlock{nullptr, lastBlock, room, 0};
    lastBlock->next = block;
    lastBlock = block;
    cursor = block->Begin();
  }

  void RemoveBlock(ListBlock* block) {
    (block->previous != nullptr ? block->previous->next : firstBlock) = block->next;
    (block->next != nullptr ? block->next->previous : lastBlock) = block->previous;
    if (block != single) std::free(block);
  }

  /// Marks the cursor as the end of the elements.
  void EndHere() {
    cursor[0] = End();
    cursor[1] = lastBlock;
  }

  /// The block of a place that holds an element.
  ListBlock* FindBlock(void** place) {
    if (place == first) return firstBlock;
    while (*place != End()) ++place;
    return static_cast<ListBlock*>(place[1]);
  }
};

ListStore* Store(ListHead* head) { return static_cast<ListStore*>(head); }

}  // namespace

void** ListBase::Append(void* element) {
  if (m_head == nullptr) m_head = new ListStore;
  ListStore* const store = Store(m_head);
  if (store->IsFull()) store->AddBlock();
  void** const place = store->cursor;
  if (store->index != nullptr) {
    try {
      store->index->Add(place, element);
    } catch (...) {
      // What is half entered is of no use; the next search makes a new table.
      store->index.reset();
      store->EndHere();
      throw;
    }
  }
  *place = element;
  ++store->cursor;
  store->EndHere();
  ++store->lastBlock->used;
  if (++store->count == 1) store->first = place;
  return place;
}

void** ListBase::Find(const void* element) const {
  if (m_head == nullptr) return nullptr;
  if (const auto& index = Store(m_head)->index; index != nullptr) return index->Find(element);
  void** place = m_head->first;
  while (place != nullptr && *place != element) place = GetNext(place);
  return place;
}

void** ListBase::FindIndexed(const void* element) {
  if (GetCount() >= kIndexedCount && Store(m_head)->index == nullptr) {
    try {
      auto index = std::make_unique<ListIndex>();
      for (void** place = m_head->first; place != nullptr; place = GetNext(place))
        index->Add(place, *place);
      Store(m_head)->index = std::move(index);
    } catch (const std::bad_alloc&) {
      // Searched one by one then.
    }
  }
  return Find(element);
}

void ListBase::Remove(void** place) {
  if (m_head->count == 1) return Clear();
  ListStore* const store = Store(m_head);
  ListBlock* const block = store->FindBlock(place);
  if (store->index != nullptr) store->index->Remove(place);
  if (place == store->first) store->first = GetNext(place);
  --store->count;
  *place = store->Hole();
  if (--block->used == 0 && block != store->lastBlock) return store->RemoveBlock(block);
  if (block != store->lastBlock) return;
  // Holes at the end of the list serve the next elements.
  while (store->cursor != block->Begin() && store->cursor[-1] == store->Hole()) --store->cursor;
  store->EndHere();
}

void ListBase::Clear() {
  delete Store(m_head);
  m_head = nullptr;
}

HashIndex::~HashIndex() {
  std::free(m_hashes);
  std::free(m_entries);
}

void HashIndex::Remove(std::uint32_t hash, const void* entry) noexcept {
  std::uint32_t hole = Home(Used(hash));
  while (m_entries[hole] != entry || m_hashes[hole] == 0) hole = (hole + 1) & m_mask;
  // Entries behind the hole move up as far as their home allows, so that no search ends too early.
  for (std::uint32_t slot = (hole + 1) & m_mask; m_hashes[slot] != 0; slot = (slot + 1) & m_mask) {
    const std::uint32_t home = Home(m_hashes[slot]);
    if (((slot - home) & m_mask) < ((slot - hole) & m_mask)) continue;
    m_hashes[hole] = m_hashes[slot];
    m_entries[hole] = m_entries[slot];
    hole = slot;
  }
  m_hashes[hole] = 0;
  --m_count;
}

void HashIndex::Grow() {
  constexpr std::uint32_t kFirstSlots = 32;
  const std::uint32_t oldSlots = m_hashes != nullptr ? m_mask + 1 : 0;
  const std::uint32_t slots = oldSlots != 0 ? oldSlots * 2 : kFirstSlots;
  if (slots == 0) throw std::bad_alloc();
  auto* const hashes = static_cast<std::uint32_t*>(std::calloc(slots, sizeof(std::uint32_t)));
  auto* const entries = static_cast<void**>(std::malloc(slots * sizeof(void*)));
  if (hashes == nullptr || entries == nullptr) {
    std::free(hashes);
    std::free(entries);
    throw std::bad_alloc();
  }
  std::uint32_t* const oldHashes = std::exchange(m_hashes, hashes);
  void** const oldEntries = std::exchange(m_entries, entries);
  m_mask = slots - 1;
  m_shift = static_cast<std::uint32_t>(__builtin_clz(m_mask));
  m_limit = slots / 4 * 3;
  m_count = 0;
  for (std::uint32_t slot = 0; slot < oldSlots; ++slot)
    if (oldHashes[slot] != 0) Add(oldHashes[slot], oldEntries[slot]);
  std::free(oldHashes);
  std::free(oldEntries);
}

NodeArena::~NodeArena() {
  for (Block* list : {m_blocks, m_single}) {
    while (list != nullptr) {
      Block* const next = list->next;
      std::free(list);
      list = next;
    }
  }
  std::free(m_free);
}

void* NodeArena::AllocateSlowly(std::size_t size) {
  constexpr std::size_t kFirstBlock = 256;
  constexpr std::size_t kLargestBlock = 32 * 1024;
  if (size > kLargestShared) {
    auto* const block = static_cast<Block*>(std::malloc(sizeof(Block) + size));
    if (block == nullptr) throw std::bad_alloc();
    block->next = m_single;
    block->previous = nullptr;
    if (m_single != nullptr) m_single->previous = block;
    m_single = block;
    return block + 1;
  }
  if (m_free != nullptr) {
    if (FreeRoom*& first = m_free->first[size / kGrain]; first != nullptr) {
      FreeRoom* const room = first;
      first = room->next;
      return room;
    }
  }
  if (size > static_cast<std::size_t>(m_end - m_cursor)) {
    const std::size_t blockSize =
        m_blockSize == 0 ? kFirstBlock : std::min(m_blockSize * 2, kLargestBlock);
    const std::size_t whole = std::max(blockSize, sizeof(Block) + size);
    auto* const block = static_cast<Block*>(std::malloc(whole));
    if (block == nullptr) throw std::bad_alloc();
    block->next = m_blocks;
    m_blocks = block;
    m_cursor = reinterpret_cast<char*>(block + 1);
    m_end = reinterpret_cast<char*>(block) + whole;
    m_blockSize = blockSize;
  }
  void* const room = m_cursor;
  m_cursor += size;
  return room;
}

void NodeArena::Release(void* room, std::size_t size) noexcept {
  size = Rounded(size);
  if (size > kLargestShared) {
    Block* const block = static_cast<Block*>(room) - 1;
    (block->previous != nullptr ? block->previous->next : m_single) = block->next;
    if (block->next != nullptr) block->next->previous = block->previous;
    std::free(block);
    return;
  }
  if (m_free == nullptr) m_free = static_cast<FreeLists*>(std::calloc(1, sizeof(FreeLists)));
  if (m_free == nullptr) return;  // the room is lost until the map is emptied
  FreeRoom*& first = m_free->first[size / kGrain];
  first = new (room) FreeRoom{first};
}

}  // namespace bix::impl
