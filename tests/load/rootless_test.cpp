// An installation without a root: the library lies directly in a directory such as "/lib".

#include <gtest/gtest.h>

#include "bix/directories.h"
#include "bix/library.h"
#include "resources/directory_state.h"
#include "support/recording_handler.h"
#include "support/scoped_environment.h"

namespace {

TEST(InstallationDirectoriesCompat, WithoutARootEverythingBelowIsEmpty) {
  bix::impl::Directories().bin = "/lib";
  bix::impl::Directories().root = "";  // has been asked for while the library was loaded
  EXPECT_STREQ("/lib", bix::BixGetInstallationBin());
  EXPECT_STREQ("", bix::BixGetInstallationRoot());
  EXPECT_STREQ("", bix::BixGetInstallationInclude());
  EXPECT_STREQ("", bix::BixGetInstallationLib());
  EXPECT_STREQ("", bix::BixGetInstallationEtc());
  EXPECT_STREQ("", bix::BixGetDefaultLocaleDir());
  EXPECT_STREQ("", bix::BixGetLocaleDir());
}

bool g_isInitialized = false;

// Without a directory to look in there is nothing to load, and no name to look for elsewhere.
TEST(ResourceGuard, WithoutALocaleDirectoryNothingIsLoadedOrReported) {
  bix::impl::Directories().bin = "/lib";
  bix::impl::Directories().root = "";
  bix::impl::Directories().locale = "";
  const bix_test::ScopedVariable language("KESTRANE_ATELAN_LANGUAGE", "de");
  const bix_test::ScopedRecorder recorder;
  char module = 0;
  HINSTANCE const own = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&module));
  HINSTANCE handle = own;
  {
    const bix::BixHandleResourceDLL guard(
        "BIX10_R.DLL", [](HINSTANCE) { g_isInitialized = true; }, handle);
    EXPECT_EQ(own, handle);
  }
  EXPECT_FALSE(g_isInitialized);
  EXPECT_EQ("", recorder.Text());
}

}  // namespace
