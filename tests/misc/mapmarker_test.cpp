#include "bix/mapmarker.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "support/program.h"

namespace {

using bix::SMapMarker;

char g_objects[100000];

const void* Address(std::uintptr_t number) { return reinterpret_cast<const void*>(number); }

TEST(MapMarker, TellsWhetherAnAddressWasMarkedAlready) {
  SMapMarker marker;
  EXPECT_FALSE(marker.Mark(&g_objects[0]));
  EXPECT_TRUE(marker.Mark(&g_objects[0]));
  EXPECT_FALSE(marker.Mark(&g_objects[1]));
  EXPECT_TRUE(marker.Mark(&g_objects[1]));
  EXPECT_TRUE(marker.Mark(&g_objects[0]));
  static_assert(std::is_same_v<bool, decltype(marker.Mark(nullptr))>);
  static_assert(!std::is_copy_constructible_v<SMapMarker>);
  static_assert(!std::is_copy_assignable_v<SMapMarker>);
  static_assert(std::has_virtual_destructor_v<SMapMarker>);
}

TEST(MapMarker, NullIsAnAddress) {
  SMapMarker marker;
  EXPECT_FALSE(marker.Mark(nullptr));
  EXPECT_TRUE(marker.Mark(nullptr));
  EXPECT_EQ(0, marker.Unmark(nullptr));
  EXPECT_FALSE(marker.Mark(nullptr));
}

TEST(MapMarker, UnmarkedAddressesCanBeMarkedAgain) {
  SMapMarker marker;
  EXPECT_FALSE(marker.Mark(&g_objects[0]));
  EXPECT_FALSE(marker.Mark(&g_objects[1]));
  EXPECT_EQ(0, marker.Unmark(&g_objects[0]));
  EXPECT_TRUE(marker.Mark(&g_objects[1]));
  EXPECT_FALSE(marker.Mark(&g_objects[0]));
}

TEST(MapMarker, UnmarkingWhatIsNotMarkedChangesNothing) {
  SMapMarker marker;
  EXPECT_EQ(0, marker.Unmark(&g_objects[0]));
  EXPECT_EQ(0, marker.Unmark(nullptr));
  EXPECT_FALSE(marker.Mark(&g_objects[1]));
  EXPECT_EQ(0, marker.Unmark(&g_objects[0]));
  EXPECT_TRUE(marker.Mark(&g_objects[1]));
}

TEST(MapMarker, AnInnerMarkerHidesTheMarksUntilItEnds) {
  SMapMarker outer;
  EXPECT_FALSE(outer.Mark(&g_objects[0]));
  {
    SMapMarker inner;
    EXPECT_FALSE(inner.Mark(&g_objects[0]));
    EXPECT_FALSE(inner.Mark(&g_objects[1]));
    {
      SMapMarker innermost;
      EXPECT_FALSE(innermost.Mark(&g_objects[1]));
    }
    EXPECT_TRUE(inner.Mark(&g_objects[1]));
  }
  EXPECT_TRUE(outer.Mark(&g_objects[0]));
  EXPECT_FALSE(outer.Mark(&g_objects[1]));
}

TEST(MapMarkerCompat, EveryMarkerActsOnTheInnermostSet) {
  SMapMarker outer;
  EXPECT_FALSE(outer.Mark(&g_objects[0]));
  std::optional<SMapMarker> inner;
  inner.emplace();
  EXPECT_FALSE(outer.Mark(&g_objects[0])) << "marks in the inner set";
  EXPECT_TRUE(inner->Mark(&g_objects[0]));
  EXPECT_EQ(0, outer.Unmark(&g_objects[0]));
  EXPECT_FALSE(inner->Mark(&g_objects[0]));
  EXPECT_FALSE(outer.Mark(&g_objects[1]));
  inner.reset();
  EXPECT_TRUE(outer.Mark(&g_objects[0])) << "the outer set is as it was";
  EXPECT_FALSE(outer.Mark(&g_objects[1]));
}

TEST(MapMarkerCompat, AMarkerThatEndsOutOfTurnTakesTheInnermostSet) {
  std::optional<SMapMarker> first, second;
  first.emplace();
  EXPECT_FALSE(first->Mark(&g_objects[0]));
  second.emplace();
  EXPECT_FALSE(second->Mark(&g_objects[1]));
  first.reset();
  EXPECT_TRUE(second->Mark(&g_objects[0])) << "the set that the other had opened";
  EXPECT_FALSE(second->Mark(&g_objects[1]));
}

TEST(MapMarker, KeepsManyAddressesApart) {
  SMapMarker marker;
  for (char& object : g_objects) ASSERT_FALSE(marker.Mark(&object));
  for (char& object : g_objects) ASSERT_TRUE(marker.Mark(&object));
  for (std::size_t i = 0; i < sizeof g_objects; i += 3) ASSERT_EQ(0, marker.Unmark(&g_objects[i]));
  for (std::size_t i = 0; i < sizeof g_objects; ++i)
    ASSERT_EQ(i % 3 != 0, marker.Mark(&g_objects[i])) << i;
}

TEST(MapMarker, AgreesWithASetOverRandomChanges) {
  std::mt19937 random(1);
  // Addresses that are near each other, at large equal distances, and anywhere.
  for (const std::uintptr_t distance : {1u, 8u, 4096u, 65536u, 2654435761u}) {
    SCOPED_TRACE(distance);
    SMapMarker marker;
    std::unordered_set<const void*> expected;
    for (int i = 0; i < 50000; ++i) {
      const void* const address = Address(random() % 500 * distance);
      if (random() % 3 == 0) {
        ASSERT_EQ(0, marker.Unmark(address));
        expected.erase(address);
      } else {
        ASSERT_EQ(!expected.insert(address).second, marker.Mark(address));
      }
    }
  }
}

TEST(MapMarkerAtExit, MayEndAfterTheLibrary) {
  const bix_test::ProgramResult result = bix_test::Program(BIX_MARK_LATE, {BIX_LIBRARY}).Run();
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ("early 0 then 1\nlate 0 then 0\nunmarked 0\nfresh 0 then 1\n", result.output);
}

}  // namespace
