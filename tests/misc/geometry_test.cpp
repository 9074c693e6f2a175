#include "bix/geometry.h"

#include <memory>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

/// A record of a host, which counts how many have ended.
template <class Base>
struct Counted : Base {
  explicit Counted(int& ends) : ends(ends) {}
  ~Counted() override { ++ends; }
  int& ends;
  int x = 1, y = 2;
};

TEST(Geometry, RecordsAreDeletedThroughTheirBase) {
  int points = 0, sizes = 0;
  {
    const std::unique_ptr<bix::CRPoint> point(new Counted<bix::CRPoint>(points));
    const std::unique_ptr<bix::CRSize> size(new Counted<bix::CRSize>(sizes));
    EXPECT_EQ(0, points + sizes);
  }
  EXPECT_EQ(1, points);
  EXPECT_EQ(1, sizes);
}

TEST(Geometry, BasesHoldNothingButTheirVirtualOperation) {
  static_assert(std::has_virtual_destructor_v<bix::CRPoint>);
  static_assert(std::has_virtual_destructor_v<bix::CRSize>);
  static_assert(sizeof(bix::CRPoint) == sizeof(void*));
  static_assert(sizeof(bix::CRSize) == sizeof(void*));
  bix::CRPoint point;
  const bix::CRPoint copy = point;
  point = copy;
  static_assert(!std::is_base_of_v<bix::CRPoint, bix::CRSize>);
}

}  // namespace
