// Memory for many objects: what is released serves the next load, within bounds.

#include "registry/block_memory.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using bix::impl::AllocateBlock;
using bix::impl::EndKeptBlocks;
using bix::impl::kLargePage;
using bix::impl::MapNewBlock;
using bix::impl::ReleaseBlock;
using bix::impl::ReuseBlock;

constexpr std::size_t kMostKept = sizeof(void*) == 8 ? 64 : 16;

bool IsMapped(void* block) { return msync(block, kLargePage, MS_ASYNC) == 0; }

std::vector<void*> TakeAllKept() {
  std::vector<void*> blocks;
  while (void* const block = ReuseBlock()) blocks.push_back(block);
  return blocks;
}

void ReleaseAll(const std::vector<void*>& blocks) {
  for (void* block : blocks) ReleaseBlock(block, kLargePage);
}

TEST(BlockMemory, BlocksOfEverySizeAreAllThere) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{4096}, kLargePage / 2 - 1,
                                 kLargePage / 2, kLargePage, kLargePage + 1, 5 * kLargePage}) {
    SCOPED_TRACE(size);
    auto* const block = static_cast<unsigned char*>(AllocateBlock(size));
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t));
    std::memset(block, 0xA5, size);
    EXPECT_EQ(static_cast<std::ptrdiff_t>(size), std::count(block, block + size, 0xA5));
    ReleaseBlock(block, size);
  }
}

TEST(BlockMemory, WhatIsReleasedServesAgain) {
  const std::vector<void*> others = TakeAllKept();
  for (const bool asLargePage : {false, true}) {
    void* const block = MapNewBlock(asLargePage);
    EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(block) % kLargePage);
    std::memset(block, 1, kLargePage);
    ReleaseBlock(block, kLargePage);
    EXPECT_TRUE(IsMapped(block));
    EXPECT_EQ(block, ReuseBlock());
    EXPECT_EQ(nullptr, ReuseBlock());
    std::memset(block, 2, kLargePage);
    ReleaseBlock(block, kLargePage);
    EXPECT_EQ(block, AllocateBlock(kLargePage));
    EXPECT_EQ(nullptr, ReuseBlock());
    ReleaseBlock(block, kLargePage);
    EXPECT_EQ(block, ReuseBlock());
    (void)munmap(block, kLargePage);
  }
  ReleaseAll(others);
}

TEST(BlockMemory, KeepsNoMoreThanItsBound) {
  const std::vector<void*> others = TakeAllKept();
  std::vector<void*> blocks;
  for (std::size_t i = 0; i < kMostKept + 5; ++i) blocks.push_back(MapNewBlock(false));
  ReleaseAll(blocks);
  EXPECT_EQ(static_cast<std::ptrdiff_t>(kMostKept),
            std::count_if(blocks.begin(), blocks.end(), IsMapped));
  const std::vector<void*> kept = TakeAllKept();
  EXPECT_EQ(kMostKept, kept.size());
  EXPECT_EQ(kMostKept, std::set<void*>(kept.begin(), kept.end()).size());
  for (void* block : kept) (void)munmap(block, kLargePage);
  ReleaseAll(others);
}

/// The system could not take the contents back. The call itself: sanitizers make mlock() do nothing.
TEST(BlockMemory, LockedMemoryIsNotKept) {
  void* const block = MapNewBlock(false);
  if (syscall(SYS_mlock, block, kLargePage) != 0) {
    const int error = errno;
    (void)munmap(block, kLargePage);
    GTEST_SKIP() << "this user may not lock 2 MiB of memory: " << std::strerror(error);
  }
  ReleaseBlock(block, kLargePage);
  EXPECT_FALSE(IsMapped(block));
}

TEST(BlockMemory, ABlockIsGivenToOneThreadAlone) {
  std::vector<std::thread> threads;
  std::atomic<int> mixed = 0;
  for (std::uint64_t mark = 1; mark <= 4; ++mark) {
    threads.emplace_back([mark, &mixed] {
      for (int round = 0; round < 300; ++round) {
        std::vector<std::uint64_t*> blocks;
        for (int i = 0; i < 3; ++i) {
          blocks.push_back(static_cast<std::uint64_t*>(AllocateBlock(kLargePage)));
          *blocks.back() = mark;
        }
        for (std::uint64_t* block : blocks) {
          if (*block != mark) ++mixed;
          ReleaseBlock(block, kLargePage);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, mixed);
}

/// Behind the end of the library objects of a host may still release what they hold.
TEST(BlockMemory, NothingIsKeptBehindTheEnd) {
  EXPECT_EXIT(
      {
        void* const before = MapNewBlock(false);
        void* const behind = MapNewBlock(false);
        ReleaseBlock(before, kLargePage);
        EndKeptBlocks();
        bool isRight = !IsMapped(before) && ReuseBlock() == nullptr && IsMapped(behind);
        ReleaseBlock(behind, kLargePage);
        isRight = isRight && !IsMapped(behind);
        std::_Exit(isRight ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
