#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "bix/registry.h"
#include "registry/block_memory.h"

namespace bix::impl {

namespace {

constexpr std::uint32_t kFirstSlots = 8;

/// Searches end at a free slot, so some stay free.
constexpr std::uint32_t Limit(std::uint32_t slotCount) {
  return slotCount - slotCount / 4 + slotCount / 16;
}

}  // namespace

NameIndexBase::~NameIndexBase() { RemoveAll(); }

void NameIndexBase::RemoveAll() {
  if (m_slots != nullptr) ReleaseBlock(m_slots, m_slotCount * sizeof(Slot));
  m_slots = nullptr;
  m_slotCount = m_count = 0;
}

void NameIndexBase::Reserve(std::uint32_t more) {
  if (m_count + std::uint64_t{more} <= Limit(m_slotCount)) return;
  std::uint32_t slotCount = m_slotCount != 0 ? m_slotCount : kFirstSlots;
  while (m_count + std::uint64_t{more} > Limit(slotCount)) {
    slotCount *= 2;
    if (slotCount == 0 || std::uint64_t{slotCount} * sizeof(Slot) > PTRDIFF_MAX)
      throw std::bad_alloc();
  }
  auto* const slots = static_cast<Slot*>(AllocateBlock(slotCount * sizeof(Slot)));
  std::memset(slots, 0, slotCount * sizeof(Slot));
  Slot* const oldSlots = std::exchange(m_slots, slots);
  const std::uint32_t oldCount = std::exchange(m_slotCount, slotCount);
  m_count = 0;
  for (std::uint32_t i = 0; i < oldCount; ++i)
    if (oldSlots[i].hash != 0) Add(oldSlots[i].hash, oldSlots[i].entry);
  if (oldSlots != nullptr) ReleaseBlock(oldSlots, oldCount * sizeof(Slot));
}

void NameIndexBase::Add(std::uint32_t hash, void* entry) noexcept {
  std::uint32_t i = Home(hash);
  while (m_slots[i].hash != 0) i = Next(i);
  m_slots[i] = {hash, entry};
  ++m_count;
}

void NameIndexBase::RemoveSlot(Slot* slot) noexcept {
  const std::uint32_t mask = m_slotCount - 1;
  std::uint32_t hole = static_cast<std::uint32_t>(slot - m_slots);
  // Entries behind the hole move up as far as their home allows, so that no search ends too early.
  for (std::uint32_t i = Next(hole); m_slots[i].hash != 0; i = Next(i)) {
    if (((i - Home(m_slots[i].hash)) & mask) < ((i - hole) & mask)) continue;
    m_slots[hole] = m_slots[i];
    hole = i;
  }
  m_slots[hole].hash = 0;
  --m_count;
}

}  // namespace bix::impl
