#include "support/windows_macros.h"

#include "bix/containers.h"
#include "bix/text.h"

#undef max
#undef min

#include <gtest/gtest.h>

namespace {

TEST(HostMacros, DoNotRenameTheOperations) {
  bix::SString text;
  EXPECT_EQ(32, text.FormatMessage("%d", 5));
  EXPECT_EQ("5", text);
#undef FormatMessage
  EXPECT_EQ(32, text.FormatMessage("%d", 6));
  EXPECT_EQ("6", text);
}

}  // namespace
