// What becomes of the URN map when there is no memory left: every allocation of an operation fails in
// turn.

#include <string>

#include <gtest/gtest.h>

#include "support/failing_allocations.h"
#include "uri/urn_test_support.h"

namespace bix_test {
namespace {

using bix::SString;
using bix::SUrnResolver;

class UrnMemory : public UrnFixture {};

TEST_F(UrnMemory, ANameThatCannotBeEnteredIsNeitherListedNorFound) {
  const SString name = "name-that-needs-memory-of-its-own-" + std::string(50, 'n');
  const SString directory = home.Path() + "/";
  SString before;
  SUrnResolver::EncodeUrnMap(before);
  const ScopedRecorder recorder;
  const int failures =
      FailEachAllocation([&] { EXPECT_TRUE(SUrnResolver::RegisterUrn(name, directory)); },
                         [&] {
                           SString after;
                           SUrnResolver::EncodeUrnMap(after);
                           EXPECT_EQ(before, after);
                           EXPECT_FALSE(SUrnResolver::IsUrnRegistered(name));
                         });
  EXPECT_GT(failures, 2);
  EXPECT_EQ(directory, DirectoryOf(name));
  EXPECT_EQ("", recorder.Text());
}

TEST_F(UrnMemory, ResultsAreSetWholeOrNotAtAll) {
  const std::string rest(100, 'r');
  const SString text = home.Path() + "/" + rest;
  ASSERT_TRUE(SUrnResolver::RegisterUrn("a", home.Path()));
  SString urn = "urn of before that needs memory of its own";
  FailEachAllocation([&] { SUrnResolver::CreateUrn(text, urn); }, [&] { EXPECT_NE("", urn); });
  EXPECT_EQ("urn:a:" + rest, urn);
  SString path = "path of before that needs memory of its own";
  const SString before = path;
  FailEachAllocation([&] { EXPECT_TRUE(SUrnResolver::ResolveUrn(urn, path)); },
                     [&] { EXPECT_EQ(before, path); });
  EXPECT_EQ(text, path);
}

}  // namespace
}  // namespace bix_test
