#include "bix/containers.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using bix::MList;
using bix::MMap;
using bix::SString;

int g_numbers[2000];

std::vector<int*> Elements(const MList<int*>& list) {
  std::vector<int*> elements;
  for (void* position = list.GetHeadPosition(); position != nullptr;)
    elements.push_back(list.GetNext(position));
  return elements;
}

TEST(List, IsEmptyAtFirst) {
  MList<int*> list;
  EXPECT_EQ(0, list.GetCount());
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_EQ(nullptr, list.GetHeadPosition());
  EXPECT_EQ(nullptr, list.Find(&g_numbers[0]));
  EXPECT_EQ(nullptr, std::as_const(list).Find(&g_numbers[0]));
  EXPECT_FALSE(list.Remove(&g_numbers[0]));
  list.RemoveAll();
  EXPECT_EQ(0, list.GetCount());
}

TEST(List, AppendsAtTheTailAndKeepsDuplicates) {
  MList<int*> list;
  const std::vector<int*> want = {&g_numbers[2], &g_numbers[1], &g_numbers[2],
                                  nullptr,       &g_numbers[0], &g_numbers[1]};
  for (int* element : want) {
    void* position = list.AddTail(element);
    EXPECT_EQ(element, list.GetAt(position));
  }
  EXPECT_EQ(6, list.GetCount());
  EXPECT_FALSE(list.IsEmpty());
  EXPECT_EQ(want, Elements(list));
}

TEST(List, NextGivesTheElementAndMovesOn) {
  MList<int*> list;
  list.AddTail(&g_numbers[0]);
  list.AddTail(&g_numbers[1]);
  void* position = list.GetHeadPosition();
  EXPECT_EQ(&g_numbers[0], list.GetAt(position));
  EXPECT_EQ(&g_numbers[0], list.GetNext(position));
  ASSERT_NE(nullptr, position);
  EXPECT_EQ(&g_numbers[1], list.GetNext(position));
  EXPECT_EQ(nullptr, position);
}

TEST(List, NeverTouchesItsElements) {
  // Pointers to nothing: whoever follows one crashes.
  MList<const std::string*> list;
  for (std::uintptr_t i = 1; i < 300; ++i)
    list.AddTail(reinterpret_cast<const std::string*>(i * 8));
  EXPECT_NE(nullptr, list.Find(reinterpret_cast<const std::string*>(std::uintptr_t{8})));
  list.RemoveAll();
  EXPECT_TRUE(list.IsEmpty());
  list.AddTail(reinterpret_cast<const std::string*>(std::uintptr_t{8}));
}

TEST(List, RemovesAtEveryPlace) {
  for (const int count : {1, 2, 3, 4, 5, 6, 20, 63, 64, 65, 200}) {
    for (const int removed : {0, 1, count / 2, count - 2, count - 1}) {
      if (removed < 0 || removed >= count) continue;
      SCOPED_TRACE(std::to_string(removed) + " of " + std::to_string(count));
      MList<int*> list;
      std::vector<int*> want;
      std::vector<void*> positions;
      for (int i = 0; i < count; ++i) positions.push_back(list.AddTail(&g_numbers[i]));
      for (int i = 0; i < count; ++i)
        if (i != removed) want.push_back(&g_numbers[i]);
      list.RemoveAt(positions[static_cast<std::size_t>(removed)]);
      EXPECT_EQ(want, Elements(list));
      EXPECT_EQ(count - 1, list.GetCount());
      list.AddTail(&g_numbers[removed]);
      want.push_back(&g_numbers[removed]);
      EXPECT_EQ(want, Elements(list));
    }
  }
}

TEST(List, ElementsMayBeRemovedWhileItIsWalked) {
  for (const int count : {3, 6, 1000}) {
    MList<int*> list;
    for (int i = 0; i < count; ++i) list.AddTail(&g_numbers[i]);
    std::vector<int*> walked, kept;
    for (void* position = list.GetHeadPosition(); position != nullptr;) {
      void* const current = position;
      int* const element = list.GetNext(position);
      walked.push_back(element);
      if ((element - g_numbers) % 3 != 1)
        list.RemoveAt(current);
      else
        kept.push_back(element);
    }
    EXPECT_EQ(static_cast<std::size_t>(count), walked.size());
    EXPECT_EQ(kept, Elements(list));
  }
}

TEST(List, AppendedElementsAreReachedByAWalkUnderWay) {
  MList<int*> list;
  list.AddTail(&g_numbers[0]);
  int walked = 0;
  for (void* position = list.GetHeadPosition(); position != nullptr; ++walked) {
    if (walked < 100) list.AddTail(&g_numbers[walked]);
    list.GetNext(position);
  }
  EXPECT_EQ(101, walked);
}

TEST(List, FindsAndRemovesTheFirstOccurrence) {
  for (const int others : {0, 3, 100}) {
    SCOPED_TRACE(others);
    MList<int*> list;
    std::vector<int*> want;
    const auto add = [&](int* element) { want.push_back(element), list.AddTail(element); };
    add(&g_numbers[1000]);
    add(&g_numbers[1001]);
    for (int i = 0; i < others; ++i) add(&g_numbers[i]);
    add(&g_numbers[1000]);
    add(&g_numbers[1002]);
    add(&g_numbers[1000]);
    EXPECT_EQ(list.GetHeadPosition(), list.Find(&g_numbers[1000]));
    for (int left = 3; left > 0; --left) {
      EXPECT_TRUE(list.Remove(&g_numbers[1000]));
      want.erase(std::find(want.begin(), want.end(), &g_numbers[1000]));
      EXPECT_EQ(want, Elements(list));
    }
    EXPECT_FALSE(list.Remove(&g_numbers[1000]));
    EXPECT_EQ(nullptr, list.Find(&g_numbers[1000]));
  }
}

TEST(List, BehavesLikeAPlainListUnderAnyChanges) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::size_t different = 1 + random() % 200;
    const bool growsFirst = seed % 2 == 0;
    MList<int*> list;
    std::vector<std::pair<int*, void*>> model;
    for (int step = 0; step < 800; ++step) {
      int* const element = &g_numbers[random() % different];
      const unsigned action = random() % 10;
      const auto first = std::find_if(model.begin(), model.end(),
                                      [&](const auto& entry) { return entry.first == element; });
      if (action < (growsFirst && step < 400 ? 9U : 5U)) {
        model.emplace_back(element, list.AddTail(element));
      } else if (action < 8) {
        void* const position = list.Find(element);
        ASSERT_EQ(first != model.end() ? first->second : nullptr, position);
        ASSERT_EQ(position, std::as_const(list).Find(element));
        if (position == nullptr) continue;
        list.RemoveAt(position);
        model.erase(first);
      } else if (!model.empty()) {
        const auto any = model.begin() + static_cast<std::ptrdiff_t>(random() % model.size());
        list.RemoveAt(any->second);
        model.erase(any);
      }
      ASSERT_EQ(static_cast<int>(model.size()), list.GetCount());
    }
    std::vector<int*> want;
    for (const auto& entry : model) want.push_back(entry.first);
    EXPECT_EQ(want, Elements(list));
  }
}

TEST(List, PositionsStayWhileOthersComeAndGo) {
  MList<int*> list;
  std::vector<std::pair<int*, void*>> kept;
  std::vector<void*> removed;
  for (int i = 0; i < 1000; ++i) {
    void* const position = list.AddTail(&g_numbers[i]);
    if (i % 100 == 37)
      kept.emplace_back(&g_numbers[i], position);
    else
      removed.push_back(position);
  }
  std::shuffle(removed.begin(), removed.end(), std::mt19937(1));
  for (void* position : removed) list.RemoveAt(position);
  for (int i = 0; i < 1000; ++i) list.AddTail(&g_numbers[1]);
  for (const auto& [element, position] : kept) {
    EXPECT_EQ(element, list.GetAt(position));
    EXPECT_EQ(position, list.Find(element));
    void* next = position;
    EXPECT_EQ(element, list.GetNext(next));
    EXPECT_NE(position, next);
  }
  EXPECT_EQ(1010, list.GetCount());
}

template <class K, class V>
std::vector<std::pair<K, V>> Entries(const MMap<K, V>& map) {
  std::vector<std::pair<K, V>> entries;
  for (void* position = map.GetStartPosition(); position != nullptr;) {
    K key{};
    V value{};
    void* same = position;
    map.GetNextAssoc(position, key, value);
    EXPECT_EQ(value, map.GetNextValue(same));
    EXPECT_EQ(position, same);
    entries.emplace_back(key, value);
  }
  return entries;
}

std::vector<std::string> Keys(const MMap<SString, int*>& map) {
  std::vector<std::string> keys;
  for (const auto& entry : Entries(map)) keys.push_back(entry.first);
  return keys;
}

TEST(Map, NeverFilledAnswersEverything) {
  MMap<SString, int*> map;
  int* value = &g_numbers[7];
  EXPECT_EQ(0, map.GetCount());
  EXPECT_TRUE(map.IsEmpty());
  EXPECT_FALSE(map.Lookup("a", value));
  EXPECT_EQ(&g_numbers[7], value);
  EXPECT_EQ(nullptr, map.PLookup("a"));
  EXPECT_EQ(nullptr, std::as_const(map).PLookup(""));
  EXPECT_FALSE(map.RemoveKey("a"));
  EXPECT_EQ(nullptr, map.GetStartPosition());
  map.RemoveAll();
  EXPECT_TRUE(map.IsEmpty());
}

TEST(Map, LookupTellsWhetherTheKeyIsThere) {
  MMap<SString, int*> map;
  map["a"] = &g_numbers[1];
  int* value = nullptr;
  EXPECT_TRUE(map.Lookup("a", value));
  EXPECT_EQ(&g_numbers[1], value);
  EXPECT_FALSE(map.Lookup("b", value));
  EXPECT_EQ(&g_numbers[1], value);
  EXPECT_FALSE(map.Lookup("A", value));
  EXPECT_FALSE(map.Lookup("", value));
  EXPECT_EQ(1, map.GetCount());
}

TEST(MapCompat, IndexInsertsAZeroEntryForAMissingKey) {
  MMap<SString, int*> map;
  EXPECT_EQ(nullptr, map["a"]);
  EXPECT_EQ(1, map.GetCount());
  int* value = &g_numbers[0];
  EXPECT_TRUE(map.Lookup("a", value));
  EXPECT_EQ(nullptr, value);
  EXPECT_EQ(std::vector<std::string>{"a"}, Keys(map));
}

TEST(Map, ValuesAreReplacedInPlace) {
  MMap<SString, int*> map;
  map["a"] = &g_numbers[1];
  map.SetAt("a", &g_numbers[2]);
  EXPECT_EQ(1, map.GetCount());
  EXPECT_EQ(&g_numbers[2], map["a"]);
  *map.PLookup("a") = &g_numbers[3];
  EXPECT_EQ(&g_numbers[3], *std::as_const(map).PLookup("a"));
}

// The hashes of these keys modulo 31: a 4, b 5, c 6, d 7, z 29, "" 0, ab 13, abc 1, abcd 9.
TEST(Map, IsWalkedBucketByBucket) {
  MMap<SString, int*> map;
  for (const char* key : {"z", "abcd", "d", "ab", "a", "c", "abc", "b", ""}) map[key] = nullptr;
  const std::vector<std::string> want = {"", "abc", "a", "b", "c", "d", "abcd", "ab", "z"};
  EXPECT_EQ(want, Keys(map));
}

// One byte and the byte 31 higher share a bucket: "A" and "`" both 3, "B" and "a" both 4.
TEST(MapCompat, NewEntriesGoToTheEndOfTheirBucket) {
  MMap<SString, int*> map;
  for (const char* key : {"a", "B", "A", "`", "\"", "#"}) map[key] = nullptr;
  EXPECT_EQ((std::vector<std::string>{"A", "`", "\"", "a", "B", "#"}), Keys(map));
  EXPECT_TRUE(map.RemoveKey("a"));
  EXPECT_TRUE(map.RemoveKey("A"));
  map["a"] = nullptr;
  map["A"] = nullptr;
  map["B"] = &g_numbers[1];
  EXPECT_EQ((std::vector<std::string>{"`", "\"", "A", "B", "#", "a"}), Keys(map));
}

TEST(Map, KeysThatDifferBehindAZeroByteAreDifferent) {
  MMap<SString, int*> map;
  const std::string first("a\0x", 3), second("a\0y", 3), longer("a\0x\0", 4);
  map["a"] = &g_numbers[0];
  map[first] = &g_numbers[1];
  map[second] = &g_numbers[2];
  map[longer] = &g_numbers[3];
  EXPECT_EQ(4, map.GetCount());
  EXPECT_EQ(&g_numbers[0], map["a"]);
  EXPECT_EQ(&g_numbers[1], map[first]);
  EXPECT_EQ(&g_numbers[2], map[second]);
  EXPECT_EQ((std::vector<std::string>{"a", first, second, longer}), Keys(map));
  EXPECT_TRUE(map.RemoveKey(second));
  EXPECT_FALSE(map.RemoveKey(second));
  EXPECT_EQ((std::vector<std::string>{"a", first, longer}), Keys(map));
}

TEST(Map, KeysAreCopied) {
  MMap<SString, int*> map;
  std::string key = "key";
  map[key] = &g_numbers[1];
  key[0] = 'K';
  EXPECT_EQ(std::vector<std::string>{"key"}, Keys(map));
}

TEST(Map, RemovedEntriesAreGone) {
  MMap<SString, int*> map;
  map["a"] = &g_numbers[1];
  map["b"] = &g_numbers[2];
  EXPECT_TRUE(map.RemoveKey("a"));
  EXPECT_FALSE(map.RemoveKey("a"));
  int* value = nullptr;
  EXPECT_FALSE(map.Lookup("a", value));
  EXPECT_EQ(1, map.GetCount());
  EXPECT_TRUE(map.RemoveKey("b"));
  EXPECT_TRUE(map.IsEmpty());
  EXPECT_EQ(nullptr, map.GetStartPosition());
  map["c"] = nullptr;
  EXPECT_EQ(std::vector<std::string>{"c"}, Keys(map));
}

TEST(Map, RemoveAllLeavesAUsableMap) {
  MMap<SString, int*> map;
  for (int i = 0; i < 100; ++i) map[std::to_string(i)] = &g_numbers[i];
  map.RemoveAll();
  EXPECT_EQ(0, map.GetCount());
  EXPECT_EQ(nullptr, map.PLookup("5"));
  map["5"] = &g_numbers[5];
  EXPECT_EQ(1, map.GetCount());
}

TEST(Map, EntriesMayBeRemovedWhileItIsWalked) {
  for (const int count : {5, 12, 13, 500}) {
    MMap<SString, int*> map;
    for (int i = 0; i < count; ++i) map[std::to_string(i)] = &g_numbers[i];
    int walked = 0;
    for (void* position = map.GetStartPosition(); position != nullptr; ++walked) {
      SString key;
      int* value;
      map.GetNextAssoc(position, key, value);
      if ((value - g_numbers) % 2 == 0) {
        EXPECT_TRUE(map.RemoveKey(key));
      }
    }
    EXPECT_EQ(count, walked);
    EXPECT_EQ(count / 2, map.GetCount());
  }
}

TEST(Map, TakesHandlesAndNumbersAsKeys) {
  struct Module;
  MMap<Module*, int*> modules;
  MMap<unsigned, const char*> texts;
  for (unsigned i = 0; i < 300; ++i) {
    modules[reinterpret_cast<Module*>(std::uintptr_t{0x10000} + i * 16)] = &g_numbers[i];
    texts[i * 7] = i % 2 == 0 ? "even" : "odd";
  }
  EXPECT_EQ(300, modules.GetCount());
  int* number = nullptr;
  EXPECT_TRUE(modules.Lookup(reinterpret_cast<Module*>(std::uintptr_t{0x10010}), number));
  EXPECT_EQ(&g_numbers[1], number);
  EXPECT_FALSE(modules.Lookup(reinterpret_cast<Module*>(std::uintptr_t{0x10011}), number));
  const char* text = nullptr;
  EXPECT_TRUE(texts.Lookup(21, text));
  EXPECT_STREQ("odd", text);
  EXPECT_FALSE(texts.Lookup(22, text));
  EXPECT_TRUE(texts.RemoveKey(0));
  EXPECT_EQ(299, texts.GetCount());
  unsigned previousBucket = 0;
  for (const auto& entry : Entries(texts)) {
    EXPECT_LE(previousBucket, entry.first % 31);
    previousBucket = entry.first % 31;
  }
}

TEST(Map, DestroysValuesThatNeedIt) {
  MMap<SString, std::string> map;
  for (int i = 0; i < 100; ++i) map[std::to_string(i)] = std::string(100, 'x');
  EXPECT_EQ(std::string(100, 'x'), map["7"]);
  EXPECT_TRUE(map.RemoveKey("7"));
  map.RemoveAll();
  map["a"] = std::string(100, 'y');
}

TEST(Map, AddMissingAppendsWithoutALook) {
  MMap<SString, int*> map;
  for (int i = 0; i < 100; ++i) map.AddMissing(std::to_string(i), &g_numbers[i]);
  EXPECT_EQ(100, map.GetCount());
  for (int i = 0; i < 100; ++i) EXPECT_EQ(&g_numbers[i], map[std::to_string(i)]);
  EXPECT_EQ(100, map.GetCount());
}

TEST(Map, BehavesLikeChainedBucketsUnderAnyChanges) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const unsigned different = 1 + random() % 300;
    MMap<SString, int*> map;
    std::vector<std::vector<std::pair<std::string, int*>>> buckets(31);
    int count = 0;
    for (int step = 0; step < 1200; ++step) {
      const unsigned number = random() % different;
      std::string key = "key" + std::to_string(number);
      if (number % 7 == 0) key += std::string("\0tail", 5);
      if (number % 31 == 0) key += std::string(600, 'l');
      auto& bucket = buckets[bix::StringHashKey(key, 31)];
      const auto entry = std::find_if(bucket.begin(), bucket.end(),
                                      [&](const auto& other) { return other.first == key; });
      int* const value = &g_numbers[random() % 2000];
      if (random() % 3 != 0) {
        map[key] = value;
        if (entry != bucket.end())
          entry->second = value;
        else
          bucket.emplace_back(key, value), ++count;
        ASSERT_EQ(value, *map.PLookup(key));
      } else {
        ASSERT_EQ(entry != bucket.end(), map.RemoveKey(key));
        if (entry != bucket.end()) bucket.erase(entry), --count;
        ASSERT_EQ(nullptr, map.PLookup(key));
      }
      ASSERT_EQ(count, map.GetCount());
    }
    std::vector<std::pair<SString, int*>> want;
    for (const auto& bucket : buckets)
      for (const auto& entry : bucket) want.emplace_back(entry.first, entry.second);
    EXPECT_EQ(want, Entries(map));
  }
}

TEST(Map, ManyKeysWithTheSameOrderHashAreAllFound) {
  // "bA" and "ab" hash alike, so all these keys share one hash and one bucket.
  MMap<SString, int*> map;
  std::vector<std::string> keys = {""};
  for (int length = 0; length < 10; ++length) {
    std::vector<std::string> longer;
    for (const std::string& key : keys) {
      longer.push_back(key + "ab");
      longer.push_back(key + "bA");
    }
    keys = longer;
  }
  ASSERT_EQ(1024U, keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    ASSERT_EQ(bix::StringHashKey(keys[0], -1), bix::StringHashKey(keys[i], -1));
    map[keys[i]] = &g_numbers[i];
  }
  for (std::size_t i = 0; i < keys.size(); ++i) ASSERT_EQ(&g_numbers[i], *map.PLookup(keys[i]));
  EXPECT_EQ(keys, Keys(map));
}

TEST(Containers, AreSmallWhileTheyAreEmpty) {
  EXPECT_LE(sizeof(MList<int*>), sizeof(void*));
  EXPECT_LE(sizeof(MMap<SString, int*>), 2 * sizeof(void*));
}

}  // namespace
