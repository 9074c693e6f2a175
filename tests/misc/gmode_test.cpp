#include "bix/gmode.h"

#include <climits>

#include <gtest/gtest.h>

// The host's own modes.
enum bix::gmode::EVornGlobalMode : int { kInteractive = 1, kBatch = 7 };

namespace {

using bix::gmode;

TEST(GlobalMode, IsZeroUntilItIsSetAndThenWhatWasSetLast) {
  EXPECT_EQ(0, gmode::GetVornGlobalMode());
  gmode::SetVornGlobalMode(gmode::kBatch);
  EXPECT_EQ(gmode::kBatch, gmode::GetVornGlobalMode());
  gmode::SetVornGlobalMode(gmode::kInteractive);
  EXPECT_EQ(gmode::kInteractive, gmode::GetVornGlobalMode());
  for (const int value : {INT_MAX, INT_MIN, -1, 0}) {
    gmode::SetVornGlobalMode(static_cast<gmode::EVornGlobalMode>(value));
    EXPECT_EQ(value, gmode::GetVornGlobalMode());
  }
}

}  // namespace
