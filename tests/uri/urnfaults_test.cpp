// The URN map while the system fails: what the user is told, and what is left of the file.

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "faults/surroundings.h"
#include "support/system_faults.h"
#include "uri/urn_test_support.h"

namespace {

using bix::SUrnResolver;
using bix_test::ReadWholeFile;
using bix_test::ScopedRecorder;
using bix_test::SystemFaults;
using Messages = std::vector<std::string>;

class UrnMapFaults : public bix_test::UrnFixture {
 protected:
  UrnMapFaults() { BuildFrom(kOld); }

  std::string CannotOpen() const { return "Can not open the file: " + MapFile() + "\n"; }
  std::string CannotWrite() const {
    return "Error occured while writing to file :" + MapFile() + "\n";
  }
  std::string CannotRead() const { return "Failed to open '" + MapFile() + "' for read.\n"; }
  /// Whether nothing but the map file lies in its directory.
  bool IsAlone() const {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(home / "Kestrane/Shared"))
      count += entry.path() == MapFile() ? 1 : 100;
    return count == 1;
  }
  void ReplaceFileByDirectory() const {
    ASSERT_EQ(0, unlink(MapFile().c_str()));
    ASSERT_EQ(0, mkdir(MapFile().c_str(), 0777));
  }
  void ReplaceFileByLink(const char* target) const {
    ASSERT_EQ(0, unlink(MapFile().c_str()));
    ASSERT_EQ(0, symlink(target, MapFile().c_str()));
  }

  static constexpr char kOld[] = "old:/old\n";
  static constexpr char kOption[] = "new:/new;more:/more";
  static constexpr char kNew[] = "new:/new\nmore:/more\n";
};
using UrnMapFileCompat = UrnMapFaults;
using UrnOptionCompat = UrnMapFaults;
using UrnAppendCompat = UrnMapFaults;

/// The system calls of an operation, as far as they concern the map file.
template <class Operation>
std::vector<std::string> CallsOf(const Operation& operation) {
  SystemFaults faults;
  operation();
  return faults.Calls();
}

TEST_F(UrnMapFaults, AFailedWriteKeepsTheOldFile) {
  const auto calls = CallsOf([] { SUrnResolver::RegisterURNsFromOptionString(kOption); });
  int failed = 0;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const bool isWrite = calls[i] == "write urnmap.txt~" || calls[i] == "fsync urnmap.txt~" ||
                         calls[i] == "close urnmap.txt~" || calls[i] == "rename urnmap.txt~" ||
                         calls[i] == "fchmod urnmap.txt~";
    if (!isWrite) continue;
    SCOPED_TRACE(calls[i]);
    ++failed;
    BuildFrom(kOld);
    const ScopedRecorder recorder;
    {
      SystemFaults faults;
      faults.FailCall(i + 1, ENOSPC);
      SUrnResolver::RegisterURNsFromOptionString(kOption);
    }
    EXPECT_EQ((Messages{CannotWrite()}), recorder.messages);
    EXPECT_EQ(kOld, ReadWholeFile(MapFile()));
    EXPECT_TRUE(IsAlone());
    EXPECT_EQ("/old/", DirectoryOf("old")) << "the map is that of the old file";
    EXPECT_EQ("<none>", DirectoryOf("new"));
  }
  EXPECT_EQ(5, failed) << testing::PrintToString(calls);
}

TEST_F(UrnMapFaults, AFailedOpenKeepsTheOldFile) {
  const auto calls = CallsOf([] { SUrnResolver::RegisterURNsFromOptionString(kOption); });
  int failed = 0;
  for (std::size_t i = 0; i < calls.size() && failed < 2; ++i) {
    if (calls[i] != "open urnmap.txt" && calls[i] != "open urnmap.txt~") continue;
    SCOPED_TRACE(calls[i]);
    ++failed;
    BuildFrom(kOld);
    const ScopedRecorder recorder;
    {
      SystemFaults faults;
      faults.FailCall(i + 1, EMFILE);
      SUrnResolver::RegisterURNsFromOptionString(kOption);
    }
    EXPECT_EQ((Messages{CannotOpen()}), recorder.messages);
    EXPECT_EQ(kOld, ReadWholeFile(MapFile()));
    EXPECT_TRUE(IsAlone());
    EXPECT_EQ("/old/", DirectoryOf("old"));
  }
  EXPECT_EQ(2, failed) << testing::PrintToString(calls);
}

TEST_F(UrnMapFaults, AWriterThatDoesNotEndIsNotWaitedForWithoutLimit) {
  const int directory =
      open((home / "Kestrane/Shared").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_LE(0, directory);
  ASSERT_EQ(0, flock(directory, LOCK_EX));
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.SkipPauses();
    SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
    SUrnResolver::RegisterURNsFromOptionString(kOption);
    EXPECT_LT(0, faults.SkippedSeconds());
  }
  close(directory);
  EXPECT_EQ((Messages{CannotOpen(), CannotOpen()}), recorder.messages);
  EXPECT_EQ(kOld, ReadWholeFile(MapFile()));
}

TEST_F(UrnMapFaults, AFifoIsNotWaitedFor) {
  ASSERT_EQ(0, unlink(MapFile().c_str()));
  ASSERT_EQ(0, mkfifo(MapFile().c_str(), 0666));
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
  SUrnResolver::RegisterURNsFromOptionString(kOption);
  EXPECT_EQ((Messages{CannotOpen(), CannotOpen()}), recorder.messages);
  EXPECT_EQ("<none>", DirectoryOf("new"));
}

TEST_F(UrnMapFaults, AFifoThatSomebodyReadsGetsNoEntries) {
  ASSERT_EQ(0, unlink(MapFile().c_str()));
  ASSERT_EQ(0, mkfifo(MapFile().c_str(), 0666));
  const int reader = open(MapFile().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_LE(0, reader);
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
  SUrnResolver::RegisterURNsFromOptionString(kOption);
  EXPECT_EQ((Messages{CannotOpen(), CannotOpen()}), recorder.messages);
  char byte = 0;
  EXPECT_EQ(0, read(reader, &byte, 1));
  close(reader);
}

TEST_F(UrnMapFaults, WritesThatAreCutShortAreContinued) {
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.Shorten(1);
    SUrnResolver::RegisterURNsFromOptionString(kOption);
    SUrnResolver::RegisterURNAndSaveURNMapFile("last", "/last");
  }
  EXPECT_EQ(std::string(kNew) + "last:/last\n", ReadWholeFile(MapFile()));
  EXPECT_EQ("/last/", DirectoryOf("last"));
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnMapFileCompat, FailuresAreReportedInFixedTexts) {
  ReplaceFileByDirectory();
  {
    const ScopedRecorder recorder;
    SUrnResolver::RegisterURNsFromOptionString(kOption);
    EXPECT_EQ((Messages{CannotOpen(), CannotRead()}), recorder.messages);
  }
  {
    const ScopedRecorder recorder;
    SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
    EXPECT_EQ((Messages{CannotOpen()}), recorder.messages);
  }
  ASSERT_EQ(0, rmdir(MapFile().c_str()));
  ASSERT_EQ(0, symlink("/dev/full", MapFile().c_str()));
  {
    const ScopedRecorder recorder;
    SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
    EXPECT_EQ((Messages{CannotWrite()}), recorder.messages);
  }
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsFromOptionString(kOption);
  EXPECT_EQ((Messages{CannotWrite(), CannotRead()}), recorder.messages)
      << "it cannot be read to its end either";
}

TEST_F(UrnMapFaults, ALinkThatLeadsNowhereCannotBeOpened) {
  ReplaceFileByLink("/no/such/place");
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsFromOptionString(kOption);
  SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
  EXPECT_EQ((Messages{CannotOpen(), CannotRead(), CannotOpen()}), recorder.messages);
}

TEST_F(UrnOptionCompat, TheMapIsBuiltAnewAlsoAfterAFailure) {
  ASSERT_TRUE(SUrnResolver::RegisterUrn("memory", "/"));
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.FailAll("write urnmap.txt~", EIO);
    SUrnResolver::RegisterURNsFromOptionString(kOption);
  }
  EXPECT_EQ("<none>", DirectoryOf("memory"));
  EXPECT_EQ("/old/", DirectoryOf("old"));
  EXPECT_EQ(MapFile(), std::getenv("VORN_URN_MAP_FILE"));
}

TEST_F(UrnAppendCompat, AFailureLeavesTheMap) {
  const auto calls = CallsOf([] { SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new"); });
  int failed = 0;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const bool isOpen = failed == 0 && calls[i] == "open urnmap.txt";
    const bool isWrite = calls[i] == "write urnmap.txt" || calls[i] == "fsync urnmap.txt";
    if (!isOpen && !isWrite) continue;
    SCOPED_TRACE(calls[i]);
    ++failed;
    BuildFrom(kOld);
    const bix_test::ScopedVariable variable("VORN_URN_MAP_FILE", "/as/it/was");
    const ScopedRecorder memory;
    ASSERT_TRUE(SUrnResolver::RegisterUrn("memory", "/"));
    const ScopedRecorder recorder;
    {
      SystemFaults faults;
      faults.FailCall(i + 1, ENOSPC);
      SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
    }
    EXPECT_EQ((Messages{isOpen ? CannotOpen() : CannotWrite()}), recorder.messages);
    EXPECT_EQ(kOld, ReadWholeFile(MapFile()));
    EXPECT_EQ("/", DirectoryOf("memory"));
    EXPECT_EQ("<none>", DirectoryOf("new"));
    EXPECT_STREQ("/as/it/was", std::getenv("VORN_URN_MAP_FILE"));
  }
  EXPECT_EQ(3, failed) << testing::PrintToString(calls);
}

TEST_F(UrnMapFaults, HalfALineIsTakenBack) {
  BuildFrom("old:/old");
  std::vector<std::string> calls;
  {
    SystemFaults faults;
    faults.Shorten(3);
    SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
    calls = faults.Calls();
  }
  std::vector<std::size_t> writes;
  for (std::size_t i = 0; i < calls.size(); ++i)
    if (calls[i] == "write urnmap.txt") writes.push_back(i + 1);
  ASSERT_LT(2u, writes.size());
  BuildFrom("old:/old");
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.Shorten(3);
    faults.FailCall(writes[2], ENOSPC);
    SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new");
  }
  EXPECT_EQ((Messages{CannotWrite()}), recorder.messages);
  EXPECT_EQ("old:/old", ReadWholeFile(MapFile()));
}

using UrnMapFile = UrnMapFaults;

TEST_F(UrnMapFile, WhatFailsWhileItIsReadIsReported) {
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.FailAll("read urnmap.txt", EIO);
    SUrnResolver::RegisterURNsWithoutOptions();
  }
  EXPECT_EQ("<none>", DirectoryOf("old"));
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/", DirectoryOf("qvuser"));
  ReplaceFileByDirectory();
  SUrnResolver::RegisterURNsWithoutOptions();
  EXPECT_EQ((Messages{CannotRead(), CannotRead()}), recorder.messages);
}

TEST_F(UrnMapFile, APipeIsReadToItsEnd) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  ReplaceFileByLink(("/proc/self/fd/" + std::to_string(ends[0])).c_str());
  constexpr char kText[] = "piped:/piped\n";
  ASSERT_EQ(static_cast<ssize_t>(std::strlen(kText)), write(ends[1], kText, std::strlen(kText)));
  ASSERT_EQ(0, close(ends[1]));
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsWithoutOptions();
  EXPECT_EQ("/piped/", DirectoryOf("piped"));
  EXPECT_TRUE(recorder.calls.empty());
  close(ends[0]);
}

TEST_F(UrnMapFile, APipeWhoseWriterIsSilentIsGivenUp) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  ReplaceFileByLink(("/proc/self/fd/" + std::to_string(ends[0])).c_str());
  ASSERT_EQ(8, write(ends[1], "a:/a\nb:/", 8));
  const ScopedRecorder recorder;
  {
    SystemFaults faults;
    faults.SkipPauses();
    SUrnResolver::RegisterURNsWithoutOptions();
    EXPECT_EQ(10, faults.SkippedSeconds());
  }
  EXPECT_EQ("<none>", DirectoryOf("a"));
  EXPECT_EQ((Messages{CannotRead()}), recorder.messages);
  close(ends[0]);
  close(ends[1]);
}

// ---- processes ----

// Each entry of the map is the last one of a process that is killed at one of its system calls.
TEST_F(UrnMapFaults, AKilledProcessLeavesTheOldFileOrTheNewOne) {
  const struct {
    const char* what;
    void (*operation)();
    std::string whole;
  } cases[] = {{"option", [] { SUrnResolver::RegisterURNsFromOptionString(kOption); }, kNew},
               {"append", [] { SUrnResolver::RegisterURNAndSaveURNMapFile("new", "/new"); },
                std::string(kOld) + "new:/new\n"}};
  for (const auto& c : cases) {
    BuildFrom(kOld);
    const std::size_t count = CallsOf(c.operation).size();
    ASSERT_LT(5u, count);
    std::set<std::string> left;
    for (std::size_t call = 1; call <= count; ++call) {
      SCOPED_TRACE(c.what + std::to_string(call));
      WriteMapFile(kOld);
      EXPECT_EQ(SIGKILL, bix_test::SignalOfChild([&c, call] {
                  SystemFaults faults;
                  faults.KillAtCall(call);
                  c.operation();
                }));
      left.insert(ReadWholeFile(MapFile()));
      // The next one is not in the way of what is left over.
      SUrnResolver::RegisterURNsFromOptionString(kOption);
      EXPECT_EQ(kNew, ReadWholeFile(MapFile()));
      EXPECT_TRUE(IsAlone());
    }
    EXPECT_EQ((std::set<std::string>{kOld, c.whole}), left);
  }
}

TEST_F(UrnMapFaults, ProcessesThatAppendAtOnceLoseNothing) {
  constexpr int kProcesses = 6;
  constexpr int kEntries = 12;
  WriteMapFile("");
  pid_t children[kProcesses];
  for (int process = 0; process < kProcesses; ++process) {
    children[process] = fork();
    if (children[process] != 0) continue;
    const ScopedRecorder recorder;
    for (int entry = 0; entry < kEntries; ++entry) {
      const std::string name = "p" + std::to_string(process) + "e" + std::to_string(entry);
      SUrnResolver::RegisterURNAndSaveURNMapFile(name, "/" + name);
    }
    _exit(recorder.calls.empty() ? 0 : 1);
  }
  for (const pid_t child : children) EXPECT_TRUE(bix_test::WaitForChild(child));
  const ScopedRecorder recorder;
  SUrnResolver::RegisterURNsWithoutOptions();
  for (int process = 0; process < kProcesses; ++process) {
    for (int entry = 0; entry < kEntries; ++entry) {
      const std::string name = "p" + std::to_string(process) + "e" + std::to_string(entry);
      EXPECT_EQ("/" + name + "/", DirectoryOf(name));
    }
  }
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(UrnMapFaults, AReaderBesideAWriterFindsAWholeMap) {
  const std::string texts[] = {"first:/" + std::string(5000, 'f') + "\n",
                               "second:/" + std::string(9000, 's') + "\n"};
  WriteMapFile(texts[0]);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const ScopedRecorder recorder;
    for (int i = 1; i <= 40; ++i) SUrnResolver::RegisterURNsFromOptionString(texts[i % 2]);
    _exit(recorder.calls.empty() ? 0 : 1);
  }
  int strange = 0;
  for (int i = 0; i < 400; ++i) {
    const std::string text = ReadWholeFile(MapFile());
    if (text != texts[0] && text != texts[1]) ++strange;
  }
  EXPECT_EQ(0, strange);
  EXPECT_TRUE(bix_test::WaitForChild(child));
}

// ---- no system calls ----

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kHasHeapOfItsOwn = true;
#else
constexpr bool kHasHeapOfItsOwn = false;
#endif

TEST_F(UrnMapFaults, ResolvingMakesNoSystemCall) {
  if (kHasHeapOfItsOwn) GTEST_SKIP() << "the sanitizer's heap makes system calls of its own";
  ASSERT_TRUE(SUrnResolver::RegisterUrn("dir", "/"));
  const auto resolveAll = [] {
    bix::SString path;
    bix::SString name;
    bix::SString rest;
    SUrnResolver::SURNStatus status = SUrnResolver::URN_MALFORMED;
    bool isRight = true;
    for (int i = 0; i < 10; ++i) {
      isRight = SUrnResolver::ResolveUrn("urn:Dir:a/b", path) && isRight;
      isRight = SUrnResolver::ResolveUrn("urn:qvuser:a/../b", path, status) && isRight;
      isRight = SUrnResolver::ResolveUrn("/a/b", path) && isRight;
      isRight = !SUrnResolver::ResolveUrn("urn:malformed", path) && isRight;
      SUrnResolver::DecodeURN("urn:QV:a", name, rest, status);
      SUrnResolver::CreateUrn("/a/b", path);
      isRight = SUrnResolver::IsUrnRegistered("dir") && isRight;
    }
    return isRight;
  };
  ASSERT_TRUE(resolveAll()) << "and the heap has room for it from now on";
  EXPECT_EQ(0, bix_test::SignalOfChild([&resolveAll] {
              // Any system call but read, write and exit ends the process.
              if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0) std::abort();
              const bool isRight = resolveAll();
              syscall(SYS_exit, isRight ? 0 : 1);
            }));
  EXPECT_EQ(SIGKILL, bix_test::SignalOfChild([] {
              if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0) std::abort();
              (void)getpid();
              (void)syscall(SYS_getpid);
            }))
      << "the test would notice one";
}

TEST_F(UrnMapFaults, TheFileIsNotInheritedByOtherPrograms) {
  SystemFaults faults;
  faults.WatchDescriptors();
  SUrnResolver::RegisterURNsFromOptionString(kOption);
  SUrnResolver::RegisterURNAndSaveURNMapFile("third", "/third");
  EXPECT_EQ(std::vector<std::string>(), faults.Inheritable());
}

}  // namespace
