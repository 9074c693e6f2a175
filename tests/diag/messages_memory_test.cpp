// What becomes of messages when there is no memory left.

#include <string>

#include <gtest/gtest.h>

#include "bix/messages.h"
#include "support/captured_output.h"
#include "support/failing_allocations.h"
#include "support/recording_handler.h"
#include "support/scoped_environment.h"
#include "support/temp_directory.h"

namespace {

using bix::CMsgOut;
using bix_test::CapturedDescriptor;
using bix_test::FailAllocation;
using bix_test::TempDirectory;

const std::string kText = std::string(100, 'm') + "\n";

TEST(MessagesWithoutMemory, GoPastTheHandlerToTheConsole) {
  bix_test::RecordingHandler handler;
  std::string shown;
  {
    CapturedDescriptor console(2);
    CMsgOut channel(CMsgOut::Error);
    channel.SetOutput(&handler);
    channel << kText.c_str();
    handler.calls.reserve(10);
    FailAllocation(0, [&] { channel << bix::flush; });
    channel << "next" << bix::flush;
    channel.SetOutput(nullptr);
    shown = console.Text();
  }
  EXPECT_EQ(kText, shown);
  EXPECT_EQ((std::vector<std::string>{"OutputDone", "HandleOutput:next", "OutputDone"}),
            handler.calls);
}

TEST(MessagesWithoutMemory, ThatAreCutOffLeaveTheNextOneWhole) {
  std::string shown;
  {
    CapturedDescriptor console(2);
    CMsgOut channel(CMsgOut::Error);
    FailAllocation(0, [&] { channel << kText.c_str() << bix::flush; });
    EXPECT_GT(kText.size(), console.Text().size());
    channel << "/" << kText.c_str() << bix::flush;
    shown = console.Text();
  }
  EXPECT_EQ("/" + kText, shown.substr(shown.find('/')));
}

TEST(MessagesWithoutMemory, GoToTheLogThatIsOpen) {
  const TempDirectory directory;
  const std::string name = directory / "log";
  const bix_test::ScopedVariable variable("BIX_ERR_OUT", ("-q -o " + name).c_str());
  CMsgOut channel(CMsgOut::Error);
  channel << "first\n" << bix::flush;
  channel << kText.c_str();
  FailAllocation(0, [&] { channel << bix::flush; });
  EXPECT_EQ("first\n" + kText, bix_test::ReadWholeFile(name + "." + std::to_string(getpid())));
}

TEST(MessagesWithoutMemory, ALogThatCannotBeOpenedIsSwitchedOffAndLeavesNothingOpen) {
  const TempDirectory directory;
  const std::string name = directory / "log";
  const bix_test::ScopedVariable variable("BIX_ERR_OUT", ("-o " + name).c_str());
  std::string shown;
  int before = -1;
  int after = -2;
  {
    CapturedDescriptor console(2);
    CMsgOut channel(CMsgOut::Error);
    channel << "m\n";
    const auto nextDescriptor = [] {
      const int fd = dup(0);
      close(fd);
      return fd;
    };
    before = nextDescriptor();
    FailAllocation(0, [&] { channel << bix::flush; });
    after = nextDescriptor();
    channel << "n\n" << bix::flush;
    shown = console.Text();
  }
  EXPECT_EQ(before, after);
  EXPECT_EQ("m\n", shown.substr(0, 2));
  EXPECT_EQ("n\n", shown.substr(shown.size() - 2));
  EXPECT_EQ("", bix_test::ReadWholeFile(name + "." + std::to_string(getpid())));
}

}  // namespace
