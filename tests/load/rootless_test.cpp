// An installation without a root: the library lies directly in a directory such as "/lib".

#include <gtest/gtest.h>

#include "bix/directories.h"
#include "resources/directory_state.h"

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

}  // namespace
