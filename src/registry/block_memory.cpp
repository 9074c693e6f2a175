#include "registry/block_memory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#include <sys/mman.h>

namespace bix::impl {

namespace {

// Bounds what an idle process holds: 128 MiB, and 32 MiB where addresses are scarce.
constexpr std::size_t kMostKept = sizeof(void*) == 8 ? 64 : 16;

// Static storage: blocks of the size of a large page that nobody uses, or null. Tools load a file
// again when it has changed, and what the system has once given is several times cheaper than what
// it must find, clear and map anew. It may take the contents back when it runs short.
constinit std::atomic<void*> s_keptBlocks[kMostKept] = {};

// Static storage: whether blocks are kept; not any more once the library has ended.
constinit std::atomic<bool> s_areBlocksKept = true;

constexpr bool IsMapped(std::size_t size) { return size >= kWorthLargePage; }

std::size_t RoundedUp(std::size_t size) {
  return (size + kLargePage - 1) / kLargePage * kLargePage;
}

/// Maps `size` bytes, a multiple of the large page, at a multiple of the large page.
void* MapBlock(std::size_t size, bool asLargePages) {
  if (size > SIZE_MAX - kLargePage) return nullptr;
  void* const mapped =
      mmap(nullptr, size + kLargePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) return nullptr;
  char* const begin = static_cast<char*>(mapped);
  char* const block = begin + (kLargePage - reinterpret_cast<std::uintptr_t>(begin) % kLargePage);
  const std::size_t before = static_cast<std::size_t>(block - begin);
  (void)munmap(begin, before);
  if (before != kLargePage) (void)munmap(block + size, kLargePage - before);
  // Without large pages it serves all the same.
  if (asLargePages) (void)madvise(block, size, MADV_HUGEPAGE);
  return block;
}

bool KeepBlock(void* block) noexcept {
  if (!s_areBlocksKept.load(std::memory_order_relaxed)) return false;
  for (std::atomic<void*>& kept : s_keptBlocks) {
    void* none = nullptr;
    if (kept.load(std::memory_order_relaxed) != nullptr) continue;
    // Locked memory, and kernels before 4.5, would hold the contents for good.
    if (madvise(block, kLargePage, MADV_FREE) != 0) return false;
    if (kept.compare_exchange_strong(none, block, std::memory_order_release)) return true;
  }
  return false;
}

}  // namespace

void* AllocateBlock(std::size_t size) {
  void* block;
  if (!IsMapped(size))
    block = std::malloc(size);
  else if (size > kLargePage || (block = ReuseBlock()) == nullptr)
    block = MapBlock(RoundedUp(size), true);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void ReleaseBlock(void* block, std::size_t size) noexcept {
  if (!IsMapped(size))
    std::free(block);
  else if (size > kLargePage || !KeepBlock(block))
    (void)munmap(block, RoundedUp(size));
}

void* ReuseBlock() noexcept {
  for (std::atomic<void*>& kept : s_keptBlocks) {
    void* block = kept.load(std::memory_order_relaxed);
    if (block != nullptr && kept.compare_exchange_strong(block, nullptr, std::memory_order_acquire))
      return block;
  }
  return nullptr;
}

void* MapNewBlock(bool asLargePage) {
  void* const block = MapBlock(kLargePage, asLargePage);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void EndKeptBlocks() noexcept {
  s_areBlocksKept.store(false, std::memory_order_relaxed);
  while (void* const block = ReuseBlock()) (void)munmap(block, kLargePage);
}

}  // namespace bix::impl
