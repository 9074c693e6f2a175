// What is kept for the life of the process when there was no memory left at the first call.

#include <gtest/gtest.h>

#include <string>

#include "bix/directories.h"
#include "bix/pathname.h"
#include "support/failing_allocations.h"
#include "support/scoped_environment.h"

namespace bix_test {
namespace {

TEST(InstallationDirectoriesMemory, WhatIsKeptIsWhole) {
  const ScopedVariable language("KESTRANE_ATELAN_LANGUAGE", "a-language-with-a-long-name");
  const struct {
    const char* (*get)();
    const char* want;
  } cases[] = {{bix::BixGetLocaleDir, "/locale/a-language-with-a-long-name"},
               {bix::BixGetDefaultLocaleDir, "/locale/en"},
               {bix::BixGetInstallationInclude, "/include"},
               {bix::BixGetInstallationLib, "/lib"},
               {bix::BixGetInstallationEtc, "/etc"}};
  int failures = 0;
  for (const auto& c : cases) {
    const char* text = nullptr;
    failures += FailEachAllocation([&] { text = c.get(); });
    EXPECT_EQ(std::string(bix::BixGetInstallationRoot()) + c.want, text);
  }
  EXPECT_GT(failures, 10);
  EXPECT_EQ(bix::SPathName(bix::BixGetInstallationBin()).GetDirectory(),
            bix::BixGetInstallationRoot());
}

}  // namespace
}  // namespace bix_test
