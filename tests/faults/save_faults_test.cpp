// A save while system calls fail, are cut short or are the last thing the process does.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>

#include <gtest/gtest.h>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "bix/registry.h"
#include "faults/save_kinds.h"
#include "faults/surroundings.h"
#include "support/cancelled_thread.h"
#include "support/system_faults.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

using Files = std::map<std::string, std::string>;

class SaveFaults : public testing::TestWithParam<SaveKind> {
 protected:
  /// A directory with the old file, or with none.
  struct Place {
    explicit Place(const SaveKind& kind, bool hasOld = true) {
      if (hasOld) WriteWholeFile(target, kind.oldText);
    }
    TempDirectory directory;
    std::string target = directory / "user.tot";
  };

  Files Old(bool hasOld) const {
    return hasOld ? Files{{"user.tot", InShort(GetParam().oldText)}} : Files{};
  }
  Files New(bool hasOld) const {
    return Files{{"user.tot", InShort(hasOld ? GetParam().newText : GetParam().newTextAlone)}};
  }

  /// The system calls of a save that succeeds, with the name of the directory replaced by "DIR".
  std::vector<std::string> CallsOfASave(bool hasOld = true) const {
    Place place(GetParam(), hasOld);
    const auto save = GetParam().prepare(place.target);
    std::vector<std::string> calls;
    {
      SystemFaults faults;
      EXPECT_EQ(0, save());
      calls = faults.Calls();
    }
    const std::string name = place.directory.Path().substr(place.directory.Path().rfind('/') + 1);
    for (std::string& call : calls) {
      if (const std::size_t at = call.find(name); at != std::string::npos)
        call.replace(at, name.size(), "DIR");
    }
    return calls;
  }

  /// The numbers, counted from 1, of the calls of one function.
  static std::vector<std::size_t> NumbersOf(const std::vector<std::string>& calls,
                                            const std::string& beginning) {
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < calls.size(); ++i) {
      if (calls[i].rfind(beginning, 0) == 0) numbers.push_back(i + 1);
    }
    return numbers;
  }
};

TEST_P(SaveFaults, CallsComeInTheOrderThatKeepsTheOldFile) {
  const std::vector<std::string> calls = CallsOfASave();
  const char* const wanted[] = {"flock DIR",        "open user.tot~",  "write user.tot~",
                                "fchmod user.tot~", "fsync user.tot~", "close user.tot~",
                                "rename user.tot~", "fsync DIR",       "flock DIR"};
  auto from = calls.begin();
  for (const char* call : wanted) {
    const auto found = std::find(from, calls.end(), call);
    ASSERT_TRUE(found != calls.end()) << call << " in " << testing::PrintToString(calls);
    from = found + 1;
  }
  EXPECT_EQ(1u, NumbersOf(calls, "rename").size());
  EXPECT_TRUE(NumbersOf(calls, "unlink").empty()) << "there is always a file";
  // Nothing is written behind the sync.
  EXPECT_LT(NumbersOf(calls, "write").back(), NumbersOf(calls, "fsync user.tot~").front());
}

TEST_P(SaveFaults, EveryFailingCallLeavesTheOldFileOrTheWholeNewOne) {
  for (const bool hasOld : {true, false}) {
    const std::vector<std::string> calls = CallsOfASave(hasOld);
    for (const int error : {EIO, ENOSPC, EDQUOT, EACCES, EMFILE, ENOMEM}) {
      for (std::size_t i = 0; i < calls.size(); ++i) {
        SCOPED_TRACE(calls[i] + ": " + std::strerror(error) + (hasOld ? "" : ", no old file"));
        Place place(GetParam(), hasOld);
        const auto save = GetParam().prepare(place.target);
        const std::set<int> descriptors = OpenDescriptors();
        int result;
        {
          SystemFaults faults;
          faults.FailCall(i + 1, error);
          result = save();
          ASSERT_LE(i + 1, faults.Calls().size());
        }
        EXPECT_EQ(descriptors, OpenDescriptors());
        EXPECT_EQ(result == 0 ? New(hasOld) : Old(hasOld), Listing(place.directory.Path()));
      }
    }
  }
}

TEST_P(SaveFaults, TheFirstErrorBeforeTheRenameIsTheResult) {
  const std::vector<std::string> calls = CallsOfASave();
  const char* const reported[] = {"readlink user.tot", "open user.tot",   "flock DIR",
                                  "fstat user.tot",    "open user.tot~",  "write user.tot~",
                                  "fchmod user.tot~",  "fsync user.tot~", "close user.tot~",
                                  "rename user.tot~"};
  for (const char* call : reported) {
    for (const int error : {EIO, ENOSPC, EMFILE}) {
      ASSERT_TRUE(std::find(calls.begin(), calls.end(), call) != calls.end()) << call;
      for (const std::size_t number : NumbersOf(calls, call)) {
        if (calls[number - 1] != call) continue;
        // The lock is given back behind the rename, when nothing can fail any more.
        if (number > NumbersOf(calls, "rename").front()) continue;
        SCOPED_TRACE(std::string(call) + ": " + std::strerror(error));
        Place place(GetParam());
        const auto save = GetParam().prepare(place.target);
        int result;
        {
          SystemFaults faults;
          faults.FailCall(number, error);
          result = save();
        }
        // What cannot be read, be it the old file or the new one, has a result of its own: 1. And
        // the reader does without the status of what it reads.
        const bool isReading = GetParam().readsTarget && std::string(call).rfind("write", 0) != 0;
        const bool isStatus = std::string(call).rfind("fstat", 0) == 0;
        if (!isReading || (result != 1 && !(result == 0 && isStatus))) {
          EXPECT_EQ(error, result);
        }
        EXPECT_EQ(result == 0 ? New(true) : Old(true), Listing(place.directory.Path()));
      }
    }
  }
}

TEST_P(SaveFaults, ASaveAfterAFailedOneSucceeds) {
  const std::vector<std::string> calls = CallsOfASave();
  for (std::size_t i = 0; i < calls.size(); ++i) {
    SCOPED_TRACE(calls[i]);
    Place place(GetParam());
    {
      const auto save = GetParam().prepare(place.target);
      SystemFaults faults;
      faults.FailCall(i + 1, EIO);
      (void)save();  // what it leaves is the matter of other tests
    }
    WriteWholeFile(place.target, GetParam().oldText);
    EXPECT_EQ(0, GetParam().prepare(place.target)());
    EXPECT_EQ(New(true), Listing(place.directory.Path()));
  }
}

TEST_P(SaveFaults, InterruptedCallsAreRepeated) {
  const std::vector<std::string> calls = CallsOfASave();
  for (const char* function : {"open", "write", "fsync", "flock", "close", "read"}) {
    for (const std::size_t number : NumbersOf(calls, std::string(function) + " ")) {
      SCOPED_TRACE(calls[number - 1]);
      Place place(GetParam());
      const auto save = GetParam().prepare(place.target);
      const std::set<int> descriptors = OpenDescriptors();
      int result;
      {
        SystemFaults faults;
        faults.FailCall(number, EINTR);
        result = save();
      }
      EXPECT_EQ(0, result);
      EXPECT_EQ(descriptors, OpenDescriptors());
      EXPECT_EQ(New(true), Listing(place.directory.Path()));
    }
  }
}

TEST_P(SaveFaults, ShortWritesAreContinued) {
  Place place(GetParam());
  const auto save = GetParam().prepare(place.target);
  int result;
  std::size_t writes;
  {
    SystemFaults faults;
    faults.Shorten(997);
    result = save();
    writes = NumbersOf(faults.Calls(), "write").size();
  }
  EXPECT_EQ(0, result);
  EXPECT_EQ(New(true), Listing(place.directory.Path()));
  EXPECT_GT(writes, 150u);
}

#ifdef __SANITIZE_ADDRESS__
constexpr bool kEndsCancelledThreads = false;
#else
constexpr bool kEndsCancelledThreads = true;
#endif
constexpr char kWithoutCancelling[] =
    "AddressSanitizer keeps its marks on the frames that a cancelled thread has left";

/// Saves in a thread that is told to end at the call of this number. Whether it was cancelled.
bool IsCancelledAt(std::size_t number, const std::function<int()>& save) {
  return bix_test::IsCancelledIn([&] {
    SystemFaults faults;
    faults.CancelAtCall(number);
    (void)save();  // what is left of it is looked at
  });
}

TEST_P(SaveFaults, AThreadThatIsCancelledAtAnyCallLeavesTheOldFileOrTheWholeNewOne) {
  if (!kEndsCancelledThreads) GTEST_SKIP() << kWithoutCancelling;
  for (const bool hasOld : {true, false}) {
    const std::size_t count = CallsOfASave(hasOld).size();
    int cancelled = 0;
    for (std::size_t number = 1; number <= count; ++number) {
      SCOPED_TRACE(number);
      Place place(GetParam(), hasOld);
      const std::function<int()> save = GetParam().prepare(place.target);
      const std::set<int> descriptors = OpenDescriptors();
      const bool isCancelled = IsCancelledAt(number, save);
      if (isCancelled) ++cancelled;
      const Files left = Listing(place.directory.Path());
      EXPECT_TRUE(left == New(hasOld) || (isCancelled && left == Old(hasOld)))
          << testing::PrintToString(left);
      EXPECT_EQ(descriptors, OpenDescriptors());
      EXPECT_EQ(0, save());
    }
    EXPECT_GT(cancelled, 5);
  }
}

TEST_P(SaveFaults, AThreadThatIsCancelledWhileItSavesToADeviceEndsAlone) {
  if (!kEndsCancelledThreads) GTEST_SKIP() << kWithoutCancelling;
  const std::set<int> descriptors = OpenDescriptors();
  bool isCancelled = true;
  std::size_t number = 0;
  while (isCancelled) isCancelled = IsCancelledAt(++number, GetParam().prepare("/dev/null"));
  EXPECT_GT(number, 5u);
  EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST(LoadFaults, AThreadThatIsCancelledAtAnyCallLeavesATreeThatCanBeUsed) {
  if (!kEndsCancelledThreads) GTEST_SKIP() << kWithoutCancelling;
  TempDirectory directory;
  const std::string path = directory / "user.tot";
  std::string text;
  for (int i = 0; i < 5000; ++i)
    text +=
        "[A/B" + std::to_string(i) + "](k=v)\n\"name\"=\"" + std::string(40, 'x') + "\" (p=1)\n";
  WriteWholeFile(path, text);
  const std::set<int> descriptors = OpenDescriptors();
  bix::CRgFile file(nullptr);
  std::size_t number = 0;
  while (IsCancelledAt(++number, [&] { return file.Load(path.c_str()); })) {
    EXPECT_EQ(descriptors, OpenDescriptors());
    file.SetValue("A/B1", "name", "changed");
    EXPECT_STREQ("changed", file.GetValue("A/B1", "name"));
  }
  EXPECT_GT(number, 4u);
  EXPECT_EQ(std::string(40, 'x'), file.GetValue("A/B4999", "name"));
}

TEST_P(SaveFaults, ADiskThatIsFullInTheMiddleOfAWriteLeavesTheOldFile) {
  const std::size_t firstWrite = NumbersOf(CallsOfASave(), "write").front();
  for (const std::size_t number : {firstWrite, firstWrite + 1, firstWrite + 50}) {
    SCOPED_TRACE(number);
    Place place(GetParam());
    const auto save = GetParam().prepare(place.target);
    int result;
    {
      SystemFaults faults;
      faults.Shorten(997);
      faults.FailCall(number, ENOSPC);
      result = save();
    }
    EXPECT_EQ(ENOSPC, result);
    EXPECT_EQ(Old(true), Listing(place.directory.Path()));
  }
}

TEST_P(SaveFaults, LockingThatIsNotToBeHadDoesNotHinderASave) {
  for (const int error : {ENOLCK, EOPNOTSUPP, ENOSYS, EBADF, EINVAL}) {
    SCOPED_TRACE(std::strerror(error));
    Place place(GetParam());
    const auto save = GetParam().prepare(place.target);
    int result;
    {
      SystemFaults faults;
      faults.FailAll("flock ", error);
      result = save();
    }
    EXPECT_EQ(0, result);
    EXPECT_EQ(New(true), Listing(place.directory.Path()));
  }
}

TEST_P(SaveFaults, AKillAtAnyCallLeavesAWholeFileAndTheNextSaveCleansUp) {
  for (const bool hasOld : {true, false}) {
    const std::size_t count = CallsOfASave(hasOld).size();
    ASSERT_GT(count, 8u);
    bool sawOld = false;
    bool sawNew = false;
    for (std::size_t number = 1; number <= count; ++number) {
      SCOPED_TRACE(number);
      Place place(GetParam(), hasOld);
      const auto save = GetParam().prepare(place.target);
      EXPECT_EQ(SIGKILL, SignalOfChild([&] {
                  SystemFaults faults;
                  faults.KillAtCall(number);
                  (void)save();
                }));
      Files left = Listing(place.directory.Path());
      left.erase("user.tot~");
      const bool isOld = left == Old(hasOld);
      EXPECT_TRUE(isOld || left == New(hasOld));
      EXPECT_FALSE(isOld && sawNew) << "there is one moment at which the file changes";
      (isOld ? sawOld : sawNew) = true;
      // Whole again, and without the temporary file of the killed save.
      WriteWholeFile(place.target, GetParam().oldText);
      EXPECT_EQ(0, GetParam().prepare(place.target)());
      EXPECT_EQ(New(true), Listing(place.directory.Path()));
    }
    EXPECT_TRUE(sawOld && sawNew);
  }
}

const bix::COption kOptions[] = {{"Theme", 1, "light"}, {}};
const bix::COptionSet kSet = {"Editor", kOptions, 1};
const bix::CCategory kEditor = {"Editor", nullptr, 0, &kSet};

TEST(SaveOverAZeroByte, EveryFailingCallLeavesTheOldFileAloneOrTheNewOneAndACopy) {
  const std::string old("[Editor]\n\"Theme\"=\"dark\"\n\0[Lost]\n", 33);
  const Files before = {{"user.tot", InShort(old)}};
  const Files after = {{"user.tot", InShort("\n[Editor]\n\n\"Theme\"=\"blue\" \n")},
                       {"user.tot.bad-1", InShort(old)}};
  std::size_t failures = 0;
  bool isOver = false;
  for (std::size_t number = 1; !isOver; ++number) {
    const TempDirectory directory;
    const std::string target = directory / "user.tot";
    WriteWholeFile(target, old);
    bix::COptionManager manager;
    manager.AddCategory(&kEditor);
    bix::COptionFile file(&manager);
    file.SetValue("Editor", "Theme", "blue");
    const std::set<int> descriptors = OpenDescriptors();
    int result;
    std::string call;
    {
      SystemFaults faults;
      faults.FailCall(number, EIO);
      result = file.Save(target.c_str());
      isOver = !faults.IsOver();
      call = faults.Calls().back();
    }
    SCOPED_TRACE(call);
    EXPECT_EQ(result == 0 ? after : before, Listing(directory.Path()));
    EXPECT_EQ(descriptors, OpenDescriptors());
    failures += result != 0 ? 1 : 0;
  }
  EXPECT_GT(failures, 15u);
}

INSTANTIATE_TEST_SUITE_P(All, SaveFaults, testing::ValuesIn(SaveKinds()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace bix_test
