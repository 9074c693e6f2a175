#include "bix/containers.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unordered_map>

namespace bix::impl {
namespace {

constexpr std::int32_t kIndexedCount = 64;  // a shorter list is searched one by one
constexpr std::int32_t kFirstBlockNodes = 2;
constexpr std::int32_t kLargestBlockNodes = 640;

/// Where each element of a long list stands first, and the chain of its further occurrences.
class ListIndex {
 public:
  ListNode* Find(const void* element) const {
    const auto run = m_runs.find(element);
    return run != m_runs.end() ? run->second.first : nullptr;
  }

  /// `node` becomes the last of its list.
  void Add(ListNode* node, const void* element) {
    const auto [run, isNew] = m_runs.try_emplace(element, Run{node, node});
    if (isNew) return;
    ListNode* const last = run->second.last;
    m_links[node] = Link{last, nullptr};
    m_links[last].next = node;  // a first occurrence has no link until it has a second
    run->second.last = node;
  }

  void Remove(ListNode* node) {
    const auto run = m_runs.find(node->element);
    if (run->second.first == run->second.last) {
      m_runs.erase(run);
      return;
    }
    const auto found = m_links.find(node);
    const Link link = found->second;
    m_links.erase(found);
    if (link.previous != nullptr)
      m_links[link.previous].next = link.next;
    else
      run->second.first = link.next;
    if (link.next != nullptr)
      m_links[link.next].previous = link.previous;
    else
      run->second.last = link.previous;
    // One that is left alone needs no link, and must not keep one that names removed nodes.
    if (run->second.first == run->second.last) m_links.erase(run->second.first);
  }

 private:
  struct Run {
    ListNode* first;
    ListNode* last;
  };
  struct Link {
    ListNode* previous = nullptr;
    ListNode* next = nullptr;
  };
  std::unordered_map<const void*, Run> m_runs;
  std::unordered_map<const ListNode*, Link> m_links;
};

struct NodeBlock {
  NodeBlock* next;
};

/// A list while it is not empty: its head, its nodes and where they come from.
struct ListStore : ListHead {
  ListNode* free = nullptr;
  ListNode* cursor = &firstNode;
  ListNode* end = &firstNode + 1;
  NodeBlock* blocks = nullptr;
  std::unique_ptr<ListIndex> index;
  ListNode firstNode;  // a list of one element needs no block

  ListStore() : ListHead{nullptr, nullptr, 0} {}
  ListStore(const ListStore&) = delete;
  ListStore& operator=(const ListStore&) = delete;
  ~ListStore() {
    while (blocks != nullptr) {
      NodeBlock* const next = blocks->next;
      std::free(blocks);
      blocks = next;
    }
  }

  ListNode* Take() {
    if (free != nullptr) {
      ListNode* const node = free;
      free = node->next;
      return node;
    }
    if (cursor == end) AddBlock();
    return cursor++;
  }

  void GiveBack(ListNode* node) {
    node->next = free;
    free = node;
  }

  /// All nodes are in use, so the list grows by half.
  void AddBlock() {
    const std::int32_t nodes = std::clamp(count / 2, kFirstBlockNodes, kLargestBlockNodes);
    void* const room =
        std::malloc(sizeof(NodeBlock) + static_cast<std::size_t>(nodes) * sizeof(ListNode));
    if (room == nullptr) throw std::bad_alloc();
    blocks = new (room) NodeBlock{blocks};
    cursor = reinterpret_cast<ListNode*>(blocks + 1);
    end = cursor + nodes;
  }
};

ListStore* Store(ListHead* head) { return static_cast<ListStore*>(head); }

}  // namespace

ListNode* ListBase::Append(void* element) {
  if (m_head == nullptr) m_head = new ListStore;
  ListStore* const store = Store(m_head);
  ListNode* const node = store->Take();
  *node = {nullptr, store->last, element};
  if (store->index != nullptr) {
    try {
      store->index->Add(node, element);
    } catch (...) {
      // What is half entered is of no use; the next search makes a new table.
      store->index.reset();
      store->GiveBack(node);
      throw;
    }
  }
  (store->last != nullptr ? store->last->next : store->first) = node;
  store->last = node;
  ++store->count;
  return node;
}

ListNode* ListBase::Find(const void* element) const {
  if (m_head == nullptr) return nullptr;
  if (const auto& index = Store(m_head)->index; index != nullptr) return index->Find(element);
  ListNode* node = m_head->first;
  while (node != nullptr && node->element != element) node = node->next;
  return node;
}

ListNode* ListBase::FindIndexed(const void* element) {
  if (GetCount() >= kIndexedCount && Store(m_head)->index == nullptr) {
    try {
      auto index = std::make_unique<ListIndex>();
      for (ListNode* node = m_head->first; node != nullptr; node = node->next)
        index->Add(node, node->element);
      Store(m_head)->index = std::move(index);
    } catch (const std::bad_alloc&) {
      // Searched one by one then.
    }
  }
  return Find(element);
}

void ListBase::Remove(ListNode* node) {
  if (m_head->count == 1) return Clear();
  ListStore* const store = Store(m_head);
  (node->previous != nullptr ? node->previous->next : store->first) = node->next;
  (node->next != nullptr ? node->next->previous : store->last) = node->previous;
  --store->count;
  if (store->index != nullptr) store->index->Remove(node);
  store->GiveBack(node);
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
