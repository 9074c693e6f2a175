#include <algorithm>
#include <cstring>
#include <new>

#include "bix/registry.h"
#include "registry/load_memory.h"

namespace bix::impl {

namespace {

constexpr std::uint32_t kFirstSlots = 8;

constexpr std::size_t TableSize(std::uint32_t slots) {
  return slots * (sizeof(std::uint32_t) + sizeof(void*));
}

/// Searches end at a free slot, so some stay free.
constexpr std::uint32_t Limit(std::uint32_t slots) { return slots - slots / 4 + slots / 16; }

}  // namespace

NameIndexBase::~NameIndexBase() { RemoveAll(); }

void NameIndexBase::RemoveAll() {
  if (m_hashes != nullptr) ReleaseBlock(m_hashes, TableSize(m_slots));
  m_hashes = nullptr;
  m_slots = m_count = 0;
}

void NameIndexBase::Reserve(std::uint32_t more) {
  if (m_count + std::uint64_t{more} <= Limit(m_slots)) return;
  std::uint32_t slots = m_slots != 0 ? m_slots : kFirstSlots;
  while (m_count + std::uint64_t{more} > Limit(slots)) {
    slots *= 2;
    if (slots == 0) throw std::bad_alloc();
  }
  std::uint32_t* const oldHashes = m_hashes;
  void** const oldEntries = GetEntries();
  const std::uint32_t oldSlots = m_slots;
  m_hashes = static_cast<std::uint32_t*>(AllocateBlock(TableSize(slots)));
  m_slots = slots;
  m_count = 0;
  std::memset(m_hashes, 0, slots * sizeof(std::uint32_t));
  for (std::uint32_t slot = 0; slot < oldSlots; ++slot)
    if (oldHashes[slot] != 0) Add(oldHashes[slot], oldEntries[slot]);
  if (oldHashes != nullptr) ReleaseBlock(oldHashes, TableSize(oldSlots));
}

void NameIndexBase::Add(std::uint32_t hash, void* entry) noexcept {
  std::uint32_t slot = Home(hash);
  while (m_hashes[slot] != 0) slot = (slot + 1) & (m_slots - 1);
  m_hashes[slot] = hash;
  GetEntries()[slot] = entry;
  ++m_count;
}

void NameIndexBase::RemoveAt(std::uint32_t hole) noexcept {
  void** const entries = GetEntries();
  const std::uint32_t mask = m_slots - 1;
  // Entries behind the hole move up as far as their home allows, so that no search ends too early.
  for (std::uint32_t slot = (hole + 1) & mask; m_hashes[slot] != 0; slot = (slot + 1) & mask) {
    if (((slot - Home(m_hashes[slot])) & mask) < ((slot - hole) & mask)) continue;
    m_hashes[hole] = m_hashes[slot];
    entries[hole] = entries[slot];
    hole = slot;
  }
  m_hashes[hole] = 0;
  --m_count;
}

}  // namespace bix::impl
