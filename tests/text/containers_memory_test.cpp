// What happens when there is no memory left: every allocation of an operation fails in turn, and
// each time the container is as before and stays usable.
//
// This program replaces malloc() of the whole process.

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bix/containers.h"
#include "bix/text.h"

namespace {

long s_liveBlocks = 0;
long s_allocationsUntilFailure = -1;  // negative: none fails
bool s_takesFromArena = false;        // one behind the other, with nothing in between
alignas(std::max_align_t) char s_arena[4096];
std::size_t s_arenaUsed = 0;

void* TakeFromArena(std::size_t size) {
  void* const room = s_arena + s_arenaUsed;
  s_arenaUsed += (size + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) *
                 alignof(std::max_align_t);
  return s_arenaUsed <= sizeof s_arena ? room : nullptr;
}

bool IsFromArena(const void* room) {
  return std::less_equal<>()(s_arena, room) && std::less<>()(room, s_arena + sizeof s_arena);
}

bool IsToFail() {
  if (s_allocationsUntilFailure == 0) return true;
  if (s_allocationsUntilFailure > 0) --s_allocationsUntilFailure;
  return false;
}

}  // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void __libc_free(void* room);

void* malloc(std::size_t size) noexcept {
  if (s_takesFromArena) return TakeFromArena(size);
  if (IsToFail()) return nullptr;
  ++s_liveBlocks;
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  if (IsToFail()) return nullptr;
  ++s_liveBlocks;
  return __libc_calloc(count, size);
}
void free(void* room) noexcept {
  if (IsFromArena(room)) return;
  if (room != nullptr) --s_liveBlocks;
  __libc_free(room);
}
}

namespace {

using bix::MList;
using bix::MMap;
using bix::SString;

int g_numbers[1000];

/// Runs `operation` with its first, second, ... allocation failing until it succeeds, and
/// `afterFailure` behind each failure. Returns how often it failed.
int FailEachAllocation(const std::function<void()>& operation,
                       const std::function<void()>& afterFailure) {
  for (int failures = 0;; ++failures) {
    s_allocationsUntilFailure = failures;
    bool hasFailed = false;
    try {
      operation();
    } catch (const std::bad_alloc&) {
      hasFailed = true;
    }
    s_allocationsUntilFailure = -1;
    if (!hasFailed) return failures;
    afterFailure();
  }
}

std::vector<int*> Elements(const MList<int*>& list) {
  std::vector<int*> elements;
  for (void* position = list.GetHeadPosition(); position != nullptr;)
    elements.push_back(list.GetNext(position));
  return elements;
}

TEST(ListMemory, AFailedAppendLeavesTheList) {
  SCOPED_TRACE("the first trace makes room for the others");
  const long before = s_liveBlocks;
  int failures = 0;
  for (const int count : {0, 1, 2, 3, 7, 8, 20, 21, 22, 63, 64, 65, 122, 130, 500}) {
    for (const bool isSearched : {false, true}) {
      SCOPED_TRACE(count);
      MList<int*> list;
      std::vector<int*> want;
      for (int i = 0; i < count; ++i) {
        list.AddTail(&g_numbers[i / 2]);
        want.push_back(&g_numbers[i / 2]);
      }
      if (isSearched) (void)list.Find(&g_numbers[0]);
      failures += FailEachAllocation([&] { list.AddTail(&g_numbers[0]); },
                                     [&] {
                                       EXPECT_EQ(want, Elements(list));
                                       EXPECT_EQ(count, list.GetCount());
                                     });
      want.push_back(&g_numbers[0]);
      EXPECT_EQ(want, Elements(list));
      EXPECT_TRUE(list.Remove(&g_numbers[0]));
      want.erase(want.begin());
      EXPECT_EQ(want, Elements(list));
    }
  }
  EXPECT_GT(failures, 10);
  EXPECT_EQ(before, s_liveBlocks);
}

TEST(ListMemory, TheEndOfWhatStandsBeforeItIsAnElementLikeOthers) {
  for (const std::size_t size : {16, 32, 48}) {
    SCOPED_TRACE(size);
    MList<int*> list;
    s_takesFromArena = true;
    auto* const array = static_cast<int*>(std::malloc(size));
    list.AddTail(&g_numbers[0]);  // the list needs room now
    s_takesFromArena = false;
    ASSERT_NE(nullptr, array);
    int* const end = array + size / sizeof(int);
    void* const position = list.AddTail(end);
    list.AddTail(&g_numbers[1]);
    EXPECT_EQ((std::vector<int*>{&g_numbers[0], end, &g_numbers[1]}), Elements(list));
    EXPECT_EQ(position, list.Find(end));
    EXPECT_TRUE(list.Remove(end));
    EXPECT_EQ((std::vector<int*>{&g_numbers[0], &g_numbers[1]}), Elements(list));
  }
}

/// However long it is used: lists of live objects grow and shrink for as long as a tool runs.
TEST(ListMemory, ComingAndGoingNeedsNoMoreAndMore) {
  const struct {
    const char* name;
    bool takesFirst;
    int atOnce;
  } cases[] = {{"a queue of one", true, 1},  {"a queue", true, 100},  {"a long queue", true, 500},
               {"a stack of one", false, 1}, {"a stack", false, 100}, {"a deep stack", false, 500}};
  for (const auto& c : cases) {
    for (const int staying : {0, 1, 60, 200}) {
      SCOPED_TRACE(c.name);
      MList<int*> list;
      for (int i = 0; i < staying; ++i) list.AddTail(&g_numbers[i]);
      const auto comeAndGo = [&] {
        std::vector<void*> positions;
        for (int i = 0; i < c.atOnce; ++i) positions.push_back(list.AddTail(&g_numbers[i]));
        if (!c.takesFirst) std::reverse(positions.begin(), positions.end());
        for (void* position : positions) list.RemoveAt(position);
      };
      for (int round = 0; round < 10; ++round) comeAndGo();
      const long before = s_liveBlocks;
      for (int round = 0; round < 100; ++round) comeAndGo();
      EXPECT_LE(s_liveBlocks, before + 2);
      EXPECT_EQ(staying, list.GetCount());
    }
  }
}

TEST(ListMemory, ASearchNeedsNone) {
  MList<int*> list;
  for (int i = 0; i < 500; ++i) list.AddTail(&g_numbers[i]);
  for (int failing = 0; failing < 20; ++failing) {
    s_allocationsUntilFailure = failing;
    void* const found = list.Find(&g_numbers[400]);
    s_allocationsUntilFailure = -1;
    ASSERT_NE(nullptr, found);
    EXPECT_EQ(&g_numbers[400], list.GetAt(found));
  }
}

std::vector<std::pair<std::string, int*>> Entries(const MMap<SString, int*>& map) {
  std::vector<std::pair<std::string, int*>> entries;
  for (void* position = map.GetStartPosition(); position != nullptr;) {
    SString key;
    int* value;
    map.GetNextAssoc(position, key, value);
    entries.emplace_back(key, value);
  }
  return entries;
}

TEST(MapMemory, AFailedInsertionLeavesTheMap) {
  SCOPED_TRACE("the first trace makes room for the others");
  const long before = s_liveBlocks;
  int failures = 0;
  for (const int count : {0, 1, 11, 12, 13, 23, 24, 25, 47, 48, 49, 96, 200}) {
    for (const std::string& newKey : {std::string("new"), std::string(600, 'n')}) {
      SCOPED_TRACE(std::to_string(count) + " and one of " + std::to_string(newKey.size()));
      MMap<SString, int*> map;
      for (int i = 0; i < count; ++i) map["key" + std::to_string(i)] = &g_numbers[i];
      const auto want = Entries(map);
      failures += FailEachAllocation([&] { map[newKey] = &g_numbers[999]; },
                                     [&] {
                                       EXPECT_EQ(want, Entries(map));
                                       EXPECT_EQ(count, map.GetCount());
                                       EXPECT_EQ(nullptr, map.PLookup(newKey));
                                     });
      EXPECT_EQ(count + 1, map.GetCount());
      EXPECT_EQ(&g_numbers[999], *map.PLookup(newKey));
      for (int i = 0; i < count; ++i)
        EXPECT_EQ(&g_numbers[i], *map.PLookup("key" + std::to_string(i)));
    }
  }
  EXPECT_GT(failures, 20);
  EXPECT_EQ(before, s_liveBlocks);
}

TEST(MapMemory, ARemovalNeedsNone) {
  const long before = s_liveBlocks;
  {
    MMap<SString, int*> map;
    std::vector<std::string> keys;
    for (int i = 0; i < 100; ++i) keys.push_back("key" + std::to_string(i));
    for (int i = 0; i < 100; ++i) map[keys[static_cast<std::size_t>(i)]] = &g_numbers[i];
    s_allocationsUntilFailure = 0;
    bool isRemoved = true;
    for (std::size_t i = 0; i < 100; i += 2) isRemoved &= map.RemoveKey(keys[i]);
    s_allocationsUntilFailure = -1;
    EXPECT_TRUE(isRemoved);
    EXPECT_EQ(50, map.GetCount());
    for (const std::string& key : keys) map[key] = nullptr;
    EXPECT_EQ(100, map.GetCount());
  }
  EXPECT_EQ(before, s_liveBlocks);
}

TEST(FormatMemory, WithoutMemoryATextFailsLikeAnyOther) {
  const std::string argument(3000, 'x');
  int failures = 0;
  for (int failing = 0;; ++failing) {
    SString text("before");
    errno = 0;
    s_allocationsUntilFailure = failing;
    const int bound = text.Format("%s!", argument.c_str());
    s_allocationsUntilFailure = -1;
    EXPECT_EQ(3001, bound);
    if (!text.empty()) {
      EXPECT_EQ(argument + "!", text);
      break;
    }
    EXPECT_EQ(EINVAL, errno);
    ++failures;
  }
  EXPECT_GT(failures, 0);
}

}  // namespace
