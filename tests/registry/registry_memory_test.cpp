// What happens when there is no memory left: every allocation of an operation fails in turn, and
// each time everything made so far is released and the tree can still be used.

#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "bix/registry.h"
#include "bix/settingsfile.h"
#include "registry/registry_test_support.h"
#include "support/failing_allocations.h"

namespace {

using bix::CDefRgKey;
using bix::CRgAttribute;
using bix::CRgFile;
using bix::CRgKey;
using bix::CRgLoader;
using bix::CRgValue;
using bix_test::FailEachAllocation;
using bix_test::LiveAllocations;

TEST(RegistryMemory, LoadReleasesWhatItMadeAndTheLoaderStaysUsable) {
  bix_test::Directory directory;
  const std::string longText(100, 'x');
  const std::string path =
      directory.Write("a.tot", "[A long name of a key/B" + longText + "](Kind=" + longText +
                                   ", K=V)\n\"n" + longText + "\"=\"" + longText + "\"(\"p\"=\"" +
                                   longText + "\",q=1)\n\"m\"=" + longText + "\n\"o\"=12\n");
  CDefRgKey expected("");
  ASSERT_EQ(0, CRgLoader(expected).Load(path.c_str()));
  const std::string want = bix_test::Describe(&expected);

  const long before = LiveAllocations();
  {
    CDefRgKey root("");
    CRgLoader loader(root);
    const int failures = FailEachAllocation([&] {
      root.Empty();
      EXPECT_EQ(0, loader.Load(path.c_str()));
    });
    EXPECT_GT(failures, 10);
    EXPECT_EQ(want, bix_test::Describe(&root));
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST(RegistryMemory, PathOperationsReleaseWhatTheyMade) {
  const std::string longText(100, 'x');
  const long before = LiveAllocations();
  {
    CRgFile file(nullptr);
    const std::string path = "a/" + longText + "/c";
    EXPECT_GT(FailEachAllocation([&] { file.CreateKey(path.c_str(), longText.c_str(), "v"); }), 3);
    EXPECT_GT(FailEachAllocation(
                  [&] { file.SetValue(path.c_str(), longText.c_str(), longText.c_str()); }),
              1);
    EXPECT_GT(FailEachAllocation([&] {
                file.SetAttributeValue(path.c_str(), "w", "x", longText.c_str(), longText.c_str());
              }),
              1);
    EXPECT_EQ("a\n " + longText + "\n  c\n   " + longText + "=" + longText + ":0\n   w=x:0(" +
                  longText + "=" + longText + ")\n",
              bix_test::Describe(file.GetKeyRoot()));
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST(RegistryMemory, AddingIsDoneWholeOrNotAtAll) {
  const long before = LiveAllocations();
  {
    CDefRgKey key("");
    for (int i = 0; i < 40; ++i) {
      const std::string name = "value " + std::to_string(i);
      FailEachAllocation([&] { key.CreateValue(name.c_str(), 0, "", nullptr); });
      FailEachAllocation([&] { key.CreateKey(name.c_str(), nullptr); });
      ASSERT_EQ(i + 1, key.GetValueCount());
      ASSERT_EQ(i + 1, key.GetKeyCount());
      if (i % 7 == 0) {
        ASSERT_NE(nullptr, key.FindValue(name.c_str()));
      }
    }
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST(RegistryMemory, SetAttributesThatFailsLeavesThemToTheCaller) {
  const long before = LiveAllocations();
  {
    CDefRgKey key("");
    bix::MList<CRgAttribute*> list;
    for (int i = 0; i < 20; ++i) list.AddTail(new CRgAttribute("n", "v"));
    EXPECT_GT(FailEachAllocation([&] { key.SetAttributes(&list); }), 0);
    EXPECT_EQ(20, key.GetAttributeList()->GetCount());
  }
  EXPECT_EQ(before, LiveAllocations());
}

TEST(RegistryMemory, ASaveThatFailsLeavesTheOldFileAndNothingBesideIt) {
  bix_test::Directory directory;
  const std::string path = directory.Write("a.tot", "old");
  CRgFile file(nullptr);
  // Deeper than the calls of Dump are nested, with paths longer than a piece on the stack.
  std::string key = "A";
  for (int i = 0; i < 100; ++i) key += "/" + std::string(20, 'k');
  file.SetValue(key.c_str(), "n", std::string(100'000, 'v').c_str());
  const int descriptor = dup(0);
  const int failures = FailEachAllocation([&] { EXPECT_EQ(0, file.Save(path.c_str())); },
                                          [&] {
                                            EXPECT_EQ("old", bix_test::ReadWhole(path));
                                            EXPECT_NE(0, access((path + "~").c_str(), F_OK));
                                            const int next = dup(0);
                                            EXPECT_EQ(descriptor + 1, next);
                                            close(next);
                                          });
  close(descriptor);
  EXPECT_GT(failures, 8);
  EXPECT_EQ(0, CRgFile(nullptr).Merge(path.c_str()));
}

}  // namespace
