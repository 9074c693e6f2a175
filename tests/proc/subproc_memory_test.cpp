// What launching does when there is no memory left.

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "bix/subproc.h"
#include "proc/children.h"
#include "support/captured_output.h"
#include "support/failing_allocations.h"
#include "support/scoped_environment.h"

namespace bix_test {
namespace {

using bix::CSubProc;

TEST(SubProcMemory, AProgramThatCannotBeRunSaysSoAllTheSame) {
  const char* arguments[] = {"/nonexistent/program", nullptr};
  CSubProc child;
  int result = -1;
  // Nothing is needed for it.
  EXPECT_EQ(0, FailEachAllocation(
                   [&] { result = child.launch(arguments[0], arguments, nullptr, false); }));
  ASSERT_EQ(0, result);
  EXPECT_EQ("execvp: No such file or directory\n", ReadAll(child));
  EXPECT_EQ(0x100, child.get_exit_status());
  child.reset();
}

// It needs a copy of the environment.
TEST(SubProcMemory, ALaunchThatFailsIsPrintedAndDoesNotThrow) {
  const ScopedVariable saved("R5_SAVED_LD_LIBRARY_PATH", "/a/path/that/does/not/fit/into/a/string");
  const char* arguments[] = {BIX_CHILD, nullptr};
  const std::size_t descriptors = OpenDescriptors();
  int failed = 0;
  for (int result = -1; result != 0; ++failed) {
    CSubProc child;
    child.restore_ld_library_path();
    std::string errors;
    {
      const CapturedOutput output;
      FailAllocation(failed, [&] { result = child.launch(BIX_CHILD, arguments, nullptr, false); });
      errors = output.Errors();
    }
    if (result == 0) {
      EXPECT_EQ(0, child.get_exit_status());
      child.reset();
      break;
    }
    EXPECT_EQ("fork: Cannot allocate memory\n", errors);
    EXPECT_EQ(ENOMEM, child.launch_error());
    EXPECT_EQ(0, child.state());
    EXPECT_EQ(descriptors, OpenDescriptors());
    EXPECT_FALSE(HasChildren());
  }
  EXPECT_LT(0, failed);
}

}  // namespace
}  // namespace bix_test
