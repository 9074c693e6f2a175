#include "registry/load_memory.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <new>

#include "registry/settings_input.h"

namespace bix::impl {

namespace {

constexpr std::size_t kSmallestBlock = std::size_t{2} << 10;
constexpr double kUsualGrowth = 2.5;  // from the bytes of a line to those of its value
constexpr std::size_t kLargestHeapBlock = std::size_t{64} << 10;
// What the small pages cost that a large page replaces. It costs about a tenth of that, unless the
// system has to move others out of the way for it, or has to get it from the host of a virtual
// machine.
constexpr std::chrono::microseconds kCostOfSmallPages{1000};

// Static storage, one per thread: where its objects come from; null outside of loading.
constinit thread_local LoadMemory* s_loadMemory = nullptr;

}  // namespace

LoadMemory::LoadMemory(const SettingsInput& input) noexcept
    : m_input(input), m_outer(s_loadMemory) {
  s_loadMemory = this;
}

LoadMemory::~LoadMemory() {
  CloseBlock();
  s_loadMemory = m_outer;
}

LoadMemory* LoadMemory::GetCurrent() noexcept { return s_loadMemory; }

void LoadMemory::AddBlock(std::size_t size) {
  CloseBlock();
  const std::size_t rest = GuessRest();
  const bool isLarge = rest >= kWorthLargePage;
  const std::size_t blockSize =
      isLarge ? kLargePage
              : std::max(std::clamp(rest, kSmallestBlock, kLargestHeapBlock), size + sizeof(Block));
  char* const room = isLarge ? TakeLargeBlock() : static_cast<char*>(AllocateBlock(blockSize));
  m_block = new (room) Block{{SIZE_MAX}, blockSize};
  m_cursor = room + sizeof(Block);
  m_end = room + blockSize;
}

char* LoadMemory::TakeLargeBlock() {
  if (void* const kept = ReuseBlock()) return static_cast<char*>(kept);
  const bool asLargePage = AreLargePagesWorthIt();
  char* const room = static_cast<char*>(MapNewBlock(asLargePage));
  if (!asLargePage) return room;
  const auto start = std::chrono::steady_clock::now();
  *room = 0;  // the first touch
  m_largePageCost += std::chrono::steady_clock::now() - start;
  ++m_largePages;
  return room;
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
