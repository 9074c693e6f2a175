// The headers after those of a Windows-compatibility layer: a record and a type of the same names,
// and macros that rename every function of two spellings. No header of the standard library is in
// front, where max and min are macros.

#include "support/windows_macros.h"

#include "bix/bix.h"

// The host has its macros back.
static_assert(min(1, 2) == 1 && max(1, 2) == 2, "macros of the host");
#if !defined(FormatMessage)
#error "a macro of the host is gone"
#endif

// As any source must that includes a header of the standard library behind these.
#undef max
#undef min

#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace bix_test {
int FormatWithShortWideCharacters(bix::SString& out);
}

namespace {

TEST(WindowsMacros, TheHandleIsTheVeryType) {
  EXPECT_TRUE((std::is_same_v<HINSTANCE, decltype(bix::BixhDllInstance)>));
  HINSTANCE__ record = {1};
  EXPECT_EQ(&record, bix::GetDllHandle(&record));
}

TEST(WindowsMacros, DeclarationsKeepTheirNames) {
  // Each of these would not compile, or not link, had a macro renamed a declaration. The calls are
  // themselves subject to the macros, as they are in a host.
  bix::SString text;
  EXPECT_LE(0, text.FormatMessage("%d%s", 1, "ab"));
  EXPECT_STREQ("1ab", text.c_str());
  EXPECT_TRUE(bix::LoadStringA(bix::BixhDllInstance, 8, text));
  EXPECT_TRUE(bix::LoadString(bix::BixhDllInstance, 8, text));
  EXPECT_STREQ("My Projects", text.c_str());
  EXPECT_EQ(11, bix::BixLoadString(bix::BixhDllInstance, 8, text));
  bix::SPathName root("/");
  EXPECT_TRUE(root.CreateDirectoryA());
  EXPECT_TRUE(root.CreateDirectory());
  EXPECT_NE(nullptr, bix::BixGetModuleFileName());
  EXPECT_EQ(nullptr, bix::BixGetEnvironmentVariable("BIX_TEST_NO_SUCH_VARIABLE"));
}

TEST(ShortWideCharacters, LeaveTheOtherTextsAsTheyAre) {
  bix::SString text;
  EXPECT_EQ(34, bix_test::FormatWithShortWideCharacters(text));
  EXPECT_EQ("1ab", text);
}

}  // namespace
