#include "bix/containers.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unordered_map>

namespace bix::impl {
namespace {

constexpr std::int32_t kLooseNodes = 2;     // a shorter list makes its nodes one by one
constexpr std::int32_t kIndexedCount = 64;  // a shorter list is searched one by one
constexpr std::size_t kFirstBlockNodes = 8;
constexpr std::size_t kLargestBlockNodes = 640;

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

}  // namespace

/// What a longer list has besides its nodes.
struct ListStore {
  ListNode* free = nullptr;
  ListNode* cursor = nullptr;
  ListNode* end = nullptr;
  NodeBlock* blocks = nullptr;
  std::size_t blockNodes = kFirstBlockNodes;
  std::unique_ptr<ListIndex> index;
  ListNode* loose[kLooseNodes] = {};  // the nodes from before there was a store
  std::int32_t looseCount = 0;

  ~ListStore() {
    for (; blocks != nullptr;) {
      NodeBlock* const next = blocks->next;
      std::free(blocks);
      blocks = next;
    }
    for (std::int32_t i = 0; i < looseCount; ++i) delete loose[i];
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
    for (std::int32_t i = 0; i < looseCount; ++i) {
      if (loose[i] != node) continue;
      loose[i] = loose[--looseCount];
      delete node;
      return;
    }
    node->next = free;
    free = node;
  }

  void AddBlock() {
    void* const room = std::malloc(sizeof(NodeBlock) + blockNodes * sizeof(ListNode));
    if (room == nullptr) throw std::bad_alloc();
    blocks = new (room) NodeBlock{blocks};
    cursor = reinterpret_cast<ListNode*>(blocks + 1);
    end = cursor + blockNodes;
    blockNodes = std::min(blockNodes * 2, kLargestBlockNodes);
  }
};

ListNode* ListBase::MakeNode(void* element) {
  if (m_store == nullptr) {
    if (m_count < kLooseNodes) return new ListNode;
    auto store = std::make_unique<ListStore>();
    store->AddBlock();
    // Nothing fails from here: the store deletes what it has taken over.
    for (ListNode* node = m_head; node != nullptr; node = node->next)
      store->loose[store->looseCount++] = node;
    m_store = store.release();  // owned by the list from here, until it is empty
  }
  ListNode* const node = m_store->Take();
  if (m_store->index != nullptr) {
    try {
      m_store->index->Add(node, element);
    } catch (...) {
      // What is half entered is of no use; the next search makes a new table.
      m_store->index.reset();
      m_store->GiveBack(node);
      throw;
    }
  }
  return node;
}

ListNode* ListBase::Find(const void* element) const {
  if (m_store != nullptr && m_store->index != nullptr) return m_store->index->Find(element);
  ListNode* node = m_head;
  while (node != nullptr && node->element != element) node = node->next;
  return node;
}

ListNode* ListBase::FindIndexed(const void* element) {
  if (m_count >= kIndexedCount && m_store->index == nullptr) {
    try {
      auto index = std::make_unique<ListIndex>();
      for (ListNode* node = m_head; node != nullptr; node = node->next)
        index->Add(node, node->element);
      m_store->index = std::move(index);
    } catch (const std::bad_alloc&) {
      // Searched one by one then.
    }
  }
  return Find(element);
}

void ListBase::Remove(ListNode* node) {
  if (m_count == 1) {
    Clear();
    return;
  }
  (node->previous != nullptr ? node->previous->next : m_head) = node->next;
  (node->next != nullptr ? node->next->previous : m_tail) = node->previous;
  --m_count;
  if (m_store == nullptr) {
    delete node;
    return;
  }
  if (m_store->index != nullptr) m_store->index->Remove(node);
  m_store->GiveBack(node);
}

void ListBase::Clear() {
  if (m_store != nullptr) {
    delete m_store;
    m_store = nullptr;
  } else {
    for (ListNode* node = m_head; node != nullptr;) {
      ListNode* const next = node->next;
      delete node;
      node = next;
    }
  }
  m_head = m_tail = nullptr;
  m_count = 0;
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
