#include "registry/load_memory.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <new>

#include <sys/mman.h>

#include "registry/settings_input.h"

namespace bix::impl {

namespace {

constexpr std::size_t kLargePage = std::size_t{2} << 20;
// From here on a large page is cheaper than the small ones, and its rounding not much.
constexpr std::size_t kWorthLargePage = std::size_t{1} << 20;
constexpr std::size_t kSmallestBlock = std::size_t{2} << 10;
constexpr double kUsualGrowth = 4;  // from the bytes of a line to those of its value
constexpr std::size_t kLargestHeapBlock = std::size_t{64} << 10;
// What the small pages cost that a large page replaces. It costs about a tenth of that, unless the
// system has to move others out of the way for it, or has to get it from the host of a virtual
// machine.
constexpr std::chrono::microseconds kCostOfSmallPages{1000};

constexpr bool IsMapped(std::size_t size) { return size >= kWorthLargePage; }

std::size_t RoundedUp(std::size_t size, std::size_t grain) {
  return (size + grain - 1) / grain * grain;
}

/// Maps `size` bytes, a multiple of the large page, at a multiple of the large page.
void* MapBlock(std::size_t size) {
  if (size > SIZE_MAX - kLargePage) return nullptr;
  void* const mapped =
      mmap(nullptr, size + kLargePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) return nullptr;
  char* const begin = static_cast<char*>(mapped);
  char* const block = begin + (kLargePage - reinterpret_cast<std::uintptr_t>(begin) % kLargePage);
  const std::size_t before = static_cast<std::size_t>(block - begin);
  (void)munmap(begin, before);
  if (before != kLargePage) (void)munmap(block + size, kLargePage - before);
  (void)madvise(block, size, MADV_HUGEPAGE);  // without large pages it serves all the same
  return block;
}

// Static storage, one per thread: where its objects come from; null outside of loading.
constinit thread_local LoadMemory* s_loadMemory = nullptr;

}  // namespace

void* AllocateBlock(std::size_t size) {
  void* const block = IsMapped(size) ? MapBlock(RoundedUp(size, kLargePage)) : std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void ReleaseBlock(void* block, std::size_t size) noexcept {
  if (IsMapped(size))
    (void)munmap(block, RoundedUp(size, kLargePage));
  else
    std::free(block);
}

struct LoadMemory::Block {
  // The objects that are alive, and one for each that the open block may still get.
  std::atomic<std::size_t> users;
  std::size_t size;

  void Leave(std::size_t count) noexcept {
    if (users.fetch_sub(count, std::memory_order_acq_rel) == count) ReleaseBlock(this, size);
  }
};

/// Stands before every object: its block, or null for one from the ordinary heap.
struct LoadMemory::Mark {
  Block* block;
};

LoadMemory::LoadMemory(const SettingsInput& input) noexcept
    : m_input(input), m_outer(s_loadMemory) {
  s_loadMemory = this;
}

LoadMemory::~LoadMemory() {
  CloseBlock();
  s_loadMemory = m_outer;
}

void* LoadMemory::Allocate(std::size_t size) {
  size = RoundedUp(size, sizeof(Mark)) + sizeof(Mark);
  if (LoadMemory* const memory = s_loadMemory) return memory->Take(size);
  void* const room = std::malloc(size);
  if (room == nullptr) throw std::bad_alloc();
  return new (room) Mark{nullptr} + 1;
}

void LoadMemory::Release(void* room) noexcept {
  if (room == nullptr) return;
  Mark* const mark = static_cast<Mark*>(room) - 1;
  if (mark->block != nullptr)
    mark->block->Leave(1);
  else
    std::free(mark);
}

void* LoadMemory::Take(std::size_t size) {
  if (size > static_cast<std::size_t>(m_end - m_cursor)) AddBlock(size);
  Mark* const mark = new (m_cursor) Mark{m_block};
  m_cursor += size;
  ++m_taken;
  return mark + 1;
}

void LoadMemory::AddBlock(std::size_t size) {
  CloseBlock();
  const std::size_t rest = GuessRest();
  const std::size_t blockSize = std::max(rest >= kWorthLargePage && AreLargePagesWorthIt()
                                             ? kLargePage
                                             : std::clamp(rest, kSmallestBlock, kLargestHeapBlock),
                                         size + sizeof(Block));
  char* const room = static_cast<char*>(AllocateBlock(blockSize));
  const auto start = std::chrono::steady_clock::now();
  m_block = new (room) Block{{SIZE_MAX}, blockSize};  // the first touch
  if (IsMapped(blockSize)) {
    m_largePageCost += std::chrono::steady_clock::now() - start;
    m_largePages += RoundedUp(blockSize, kLargePage) / kLargePage;
  }
  m_cursor = room + sizeof(Block);
  m_end = room + blockSize;
}

/// Whether the large pages of this file took no longer to get, all in all, than small ones would.
bool LoadMemory::AreLargePagesWorthIt() const {
  return m_largePageCost <= kCostOfSmallPages * m_largePages;
}

/// What the rest of the file will need if it goes on as it began, and of a file just begun, if its
/// lines are of the usual length.
std::size_t LoadMemory::GuessRest() const {
  const std::size_t whole = m_input.GetFileSize();
  const std::size_t read = std::min(m_input.GetTakenSize(), whole);
  const double growth = m_usedSize == 0 ? kUsualGrowth
                                        : static_cast<double>(m_usedSize) /
                                              static_cast<double>(std::max<std::size_t>(read, 1));
  const double rest = growth * static_cast<double>(whole - read);
  return static_cast<std::size_t>(std::min(rest, static_cast<double>(kLargePage)));
}

void LoadMemory::CloseBlock() noexcept {
  if (m_block == nullptr) return;
  m_usedSize += static_cast<std::size_t>(m_cursor - reinterpret_cast<char*>(m_block));
  m_block->Leave(SIZE_MAX - m_taken);
  m_block = nullptr;
  m_cursor = m_end = nullptr;
  m_taken = 0;
}

}  // namespace bix::impl
