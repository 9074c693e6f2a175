// What a Windows-shaped header defines before ours is included.
#define FormatMessage FormatMessageA
#define LoadString LoadStringA
#define GetObject GetObjectA
#define CreateDirectory CreateDirectoryA
#define GetCurrentDirectory GetCurrentDirectoryA

#include "bix/containers.h"
#include "bix/text.h"

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
