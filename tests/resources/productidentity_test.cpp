#include "resources/product_identity.h"

#include <gtest/gtest.h>

namespace {

TEST(ProductCompat, OnlyToolFiveGoesWithoutTheSuffix) {
  for (const int tool : {0, 1, 4, 6, -5, 55}) EXPECT_STREQ("M", bix::impl::ApiSuffix(tool)) << tool;
  EXPECT_STREQ("", bix::impl::ApiSuffix(5));
}

}  // namespace
