// Replacing a file, and setting one aside.

#include "support/durable_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "faults/surroundings.h"
#include "support/scoped_fd.h"
#include "support/system_faults.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

using Files = std::map<std::string, std::string>;
using bix::impl::CopyAside;
using bix::impl::DurableFile;

class DurableFiles : public testing::Test {
 protected:
  TempDirectory m_directory;
  std::string m_target = m_directory / "file";
};

TEST_F(DurableFiles, ConstructionTouchesNothing) {
  WriteWholeFile(m_target, "old");
  SystemFaults faults;
  { DurableFile file(m_target.c_str()); }
  EXPECT_EQ(std::vector<std::string>{}, faults.Calls());
}

TEST_F(DurableFiles, NewBytesCanBeReadBackBeforeTheyReplaceTheOld) {
  WriteWholeFile(m_target, "old");
  DurableFile file(m_target.c_str());
  ASSERT_EQ(0, file.Lock());
  ASSERT_EQ(0, file.Open());
  std::fputs("new", file.GetStream());
  ASSERT_EQ(0, file.Finish());
  EXPECT_EQ(m_target + "~", file.GetTemporaryName());
  EXPECT_EQ("new", ReadWholeFile(file.GetTemporaryName()));
  EXPECT_EQ("old", ReadWholeFile(m_target));
  ASSERT_EQ(0, file.Commit());
  EXPECT_EQ((Files{{"file", "new"}}), Listing(m_directory.Path()));
}

TEST_F(DurableFiles, NewBytesForADeviceCanBeReadBackToo) {
  DurableFile file("/dev/null");
  ASSERT_EQ(0, file.Lock());
  ASSERT_EQ(0, file.Open());
  std::fputs("new", file.GetStream());
  ASSERT_EQ(0, file.Finish());
  EXPECT_EQ("new", ReadWholeFile(file.GetTemporaryName()));
  EXPECT_EQ(0, file.Commit());
}

TEST_F(DurableFiles, AReaderThatLeavesIsAFailureAndNoSignal) {
  ASSERT_EQ(0, mkfifo(m_target.c_str(), 0600));
  for (const bool appends : {false, true}) {
    SCOPED_TRACE(appends);
    EXPECT_EQ(0, SignalOfChild([&] {
                bix::impl::ScopedFd reader(open(m_target.c_str(), O_RDONLY | O_NONBLOCK));
                DurableFile file(m_target.c_str());
                const auto save = [&] {
                  if (appends) {
                    if (const int error = file.OpenToAppend()) return error;
                    reader.Reset();
                    return file.AppendLine("new");
                  }
                  if (const int error = file.Open()) return error;
                  std::fputs("new", file.GetStream());
                  if (const int error = file.Finish()) return error;
                  reader.Reset();
                  return file.Commit();
                };
                if (save() != EPIPE) std::abort();
              }));
  }
}

TEST_F(DurableFiles, WhatIsNotCommittedIsDropped) {
  WriteWholeFile(m_target, "old");
  const std::set<int> descriptors = OpenDescriptors();
  enum Stage { kLocked, kOpen, kWritten, kFinished };
  for (const Stage last : {kLocked, kOpen, kWritten, kFinished}) {
    SCOPED_TRACE(last);
    {
      DurableFile file(m_target.c_str());
      ASSERT_EQ(0, file.Lock());
      if (last >= kOpen) {
        ASSERT_EQ(0, file.Open());
      }
      if (last >= kWritten) std::fputs("new", file.GetStream());
      if (last >= kFinished) {
        ASSERT_EQ(0, file.Finish());
      }
      errno = E2BIG;
    }
    EXPECT_EQ(E2BIG, errno);
    EXPECT_EQ((Files{{"file", "old"}}), Listing(m_directory.Path()));
    EXPECT_EQ(descriptors, OpenDescriptors());
  }
}

TEST_F(DurableFiles, TheLockIsGivenBackAlsoWhenAForkedChildHasItsDescriptor) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  pid_t child;
  {
    DurableFile file(m_target.c_str());
    ASSERT_EQ(0, file.Lock());
    child = fork();
    if (child == 0) {
      close(ends[1]);
      char byte;
      // Until the test closes its end.
      (void)!read(ends[0], &byte, 1);
      _exit(0);
    }
  }
  DurableFile file(m_target.c_str());
  {
    SystemFaults faults;
    faults.SkipPauses();
    EXPECT_EQ(0, file.Lock());
  }
  close(ends[0]);
  close(ends[1]);
  ASSERT_TRUE(WaitForChild(child));
}

TEST_F(DurableFiles, WithoutALockAnotherSaversTemporaryFileIsLeftAlone) {
  WriteWholeFile(m_target, "old");
  WriteWholeFile(m_target + "~", "somebody is writing this");
  DurableFile file(m_target.c_str());
  ASSERT_EQ(0, file.Open());
  std::fputs("new", file.GetStream());
  ASSERT_EQ(0, file.Finish());
  ASSERT_EQ(0, file.Commit());
  EXPECT_EQ((Files{{"file", "new"}, {"file~", "somebody is writing this"}}),
            Listing(m_directory.Path()));
}

TEST_F(DurableFiles, SetUserIdIsDroppedWhenTheOwnerCannotBeKept) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of another owner";
  WriteWholeFile(m_target, "old");
  ASSERT_EQ(0, chown(m_target.c_str(), 12345, 12345));
  ASSERT_EQ(0, chmod(m_target.c_str(), 06777));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0777));
  RunInChild(User::kOrdinary, [&] {
    DurableFile file(m_target.c_str());
    ASSERT_EQ(0, file.Lock());
    ASSERT_EQ(0, file.Open());
    ASSERT_EQ(0, file.Finish());
    ASSERT_EQ(0, file.Commit());
  });
  struct stat status {};
  ASSERT_EQ(0, stat(m_target.c_str(), &status));
  EXPECT_EQ(0777u, status.st_mode & 07777u);
}

TEST_F(DurableFiles, NobodyElseReadsAPrivateFileWhileItIsWritten) {
  WriteWholeFile(m_target, "old");
  ASSERT_EQ(0, chmod(m_target.c_str(), 0600));
  const mode_t mask = umask(0);
  DurableFile file(m_target.c_str());
  ASSERT_EQ(0, file.Lock());
  ASSERT_EQ(0, file.Open());
  struct stat status {};
  ASSERT_EQ(0, stat((m_target + "~").c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 07777u);
  umask(mask);
}

TEST(DurableFileChoice, AFailedSyncOfTheDirectoryIsNoFailure) {
  TempDirectory directory;
  const std::string target = directory / "file";
  WriteWholeFile(target, "old");
  DurableFile file(target.c_str());
  ASSERT_EQ(0, file.Lock());
  ASSERT_EQ(0, file.Open());
  std::fputs("new", file.GetStream());
  ASSERT_EQ(0, file.Finish());
  std::vector<std::string> calls;
  {
    SystemFaults faults;
    faults.FailAll("fsync", EIO);
    EXPECT_EQ(0, file.Commit());
    calls = faults.Calls();
  }
  ASSERT_GE(calls.size(), 2u);
  EXPECT_EQ("rename file~", calls[0]);
  EXPECT_EQ("fsync " + directory.Path().substr(directory.Path().rfind('/') + 1), calls[1]);
  EXPECT_EQ((Files{{"file", "new"}}), Listing(directory.Path()));
}

/// Replaces the bytes of `target`; the first error number.
int Replace(const std::string& target, const char* bytes) {
  DurableFile file(target.c_str());
  int error = file.Lock();
  if (error == 0) error = file.Open();
  if (error != 0) return error;
  std::fputs(bytes, file.GetStream());
  error = file.Finish();
  return error != 0 ? error : file.Commit();
}

TEST(DurableFileChoice, AFileThatCannotBeReplacedIsWrittenInPlace) {
  TempDirectory directory;
  const std::string target = directory / "file";
  WriteWholeFile(target, "a longer old text");
  ASSERT_EQ(0, chmod(target.c_str(), 0666));
  struct stat before {};
  ASSERT_EQ(0, stat(target.c_str(), &before));
  ASSERT_EQ(0, chmod(directory.Path().c_str(), 0555));
  RunInChild(User::kOrdinary, [&] { EXPECT_EQ(0, Replace(target, "new")); });
  ASSERT_EQ(0, chmod(directory.Path().c_str(), 0755));
  struct stat after {};
  ASSERT_EQ(0, stat(target.c_str(), &after));
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ((Files{{"file", "new"}}), Listing(directory.Path()));
  EXPECT_EQ(0, Replace("/dev/null", "new"));
  EXPECT_EQ(ENOSPC, Replace("/dev/full", "new"));
}

TEST(DurableFileChoice, WhereThereAreNoLocksASaveGoesOnWithout) {
  for (const int error : {ENOLCK, EOPNOTSUPP, ENOSYS, EBADF, EINVAL}) {
    SCOPED_TRACE(std::strerror(error));
    TempDirectory directory;
    const std::string target = directory / "file";
    WriteWholeFile(target, "old");
    int result;
    {
      SystemFaults faults;
      faults.FailAll("flock ", error);
      faults.FailAll("fcntl ", error);
      result = Replace(target, "new");
    }
    EXPECT_EQ(0, result);
    EXPECT_EQ((Files{{"file", "new"}}), Listing(directory.Path()));
  }
  // A directory that may be written and entered, but not read.
  TempDirectory directory;
  ASSERT_EQ(0, chmod(directory.Path().c_str(), 0333));
  RunInChild(User::kOrdinary, [&] { EXPECT_EQ(0, Replace(directory / "file", "new")); });
  ASSERT_EQ(0, chmod(directory.Path().c_str(), 0755));
  EXPECT_EQ((Files{{"file", "new"}}), Listing(directory.Path()));
}

TEST(DurableFileChoice, OnlyARegularFileOfOurOwnCountsAsLeftOver) {
  TempDirectory directory;
  const std::string target = directory / "file";
  WriteWholeFile(target + "~", "left over");
  EXPECT_EQ(0, Replace(target, "1"));
  EXPECT_EQ((Files{{"file", "1"}}), Listing(directory.Path()));
  ASSERT_EQ(0, symlink("file", (target + "~").c_str()));
  ASSERT_EQ(0, mkdir((target + "~2").c_str(), 0755));
  ASSERT_EQ(0, mkfifo((target + "~3").c_str(), 0600));
  EXPECT_EQ(0, Replace(target, "2"));
  EXPECT_EQ(
      (Files{{"file", "2"}, {"file~", "<link>"}, {"file~2", "<directory>"}, {"file~3", "<other>"}}),
      Listing(directory.Path()));
  if (geteuid() != 0) return;  // only root can make a file of another owner
  ASSERT_EQ(0, unlink((target + "~").c_str()));
  WriteWholeFile(target + "~", "theirs");
  ASSERT_EQ(0, chown((target + "~").c_str(), 12345, 12345));
  EXPECT_EQ(0, Replace(target, "3"));
  EXPECT_EQ("theirs", ReadWholeFile(target + "~"));
}

TEST(CopyAside, TakesTheFirstFreeNumberAndKeepsTheMode) {
  TempDirectory directory;
  const std::string file = directory / "user.tot";
  const std::string bytes("a\0b\n", 4);
  WriteWholeFile(file, bytes);
  ASSERT_EQ(0, chmod(file.c_str(), 0640));
  WriteWholeFile(file + ".bad-2", "taken");
  EXPECT_EQ(0, CopyAside(file.c_str()));
  EXPECT_EQ(0, CopyAside(file.c_str()));
  EXPECT_EQ((Files{{"user.tot", bytes},
                   {"user.tot.bad-1", bytes},
                   {"user.tot.bad-2", "taken"},
                   {"user.tot.bad-3", bytes}}),
            Listing(directory.Path()));
  struct stat status {};
  ASSERT_EQ(0, stat((file + ".bad-1").c_str(), &status));
  EXPECT_EQ(0640u, status.st_mode & 07777u);
}

TEST(CopyAside, AnEmptyFileIsCopiedToo) {
  TempDirectory directory;
  WriteWholeFile(directory / "empty", "");
  EXPECT_EQ(0, CopyAside((directory / "empty").c_str()));
  EXPECT_EQ((Files{{"empty", ""}, {"empty.bad-1", ""}}), Listing(directory.Path()));
}

TEST(CopyAside, WhatIsNoFileIsReported) {
  TempDirectory directory;
  EXPECT_EQ(ENOENT, CopyAside((directory / "none").c_str()));
  EXPECT_EQ(EISDIR, CopyAside(directory.Path().c_str()));
  EXPECT_EQ(EINVAL, CopyAside("/dev/null"));
  ASSERT_EQ(0, mkfifo((directory / "fifo").c_str(), 0600));
  EXPECT_EQ(EINVAL, CopyAside((directory / "fifo").c_str()));
  EXPECT_EQ((Files{{"fifo", "<other>"}}), Listing(directory.Path()));
}

TEST(CopyAside, EveryFailingCallLeavesTheFileAndNoPartOfACopy) {
  TempDirectory directory;
  const std::string file = directory / "file";
  const std::string bytes(200'000, 'b');
  WriteWholeFile(file, bytes);
  std::vector<std::string> calls;
  {
    SystemFaults faults;
    ASSERT_EQ(0, CopyAside(file.c_str()));
    calls = faults.Calls();
  }
  ASSERT_EQ(0, unlink((file + ".bad-1").c_str()));
  for (const int error : {EIO, ENOSPC, EACCES}) {
    for (std::size_t i = 0; i < calls.size(); ++i) {
      SCOPED_TRACE(calls[i] + ": " + std::strerror(error));
      const std::set<int> descriptors = OpenDescriptors();
      int result;
      {
        SystemFaults faults;
        faults.FailCall(i + 1, error);
        result = CopyAside(file.c_str());
      }
      EXPECT_EQ(descriptors, OpenDescriptors());
      if (result == 0) {
        EXPECT_EQ((Files{{"file", InShort(bytes)}, {"file.bad-1", InShort(bytes)}}),
                  Listing(directory.Path()));
        EXPECT_EQ(0, unlink((file + ".bad-1").c_str()));
      } else {
        EXPECT_EQ(error, result);
        EXPECT_EQ((Files{{"file", InShort(bytes)}}), Listing(directory.Path()));
      }
      const char* const reported[] = {"open file",        "fstat file",       "read file",
                                      "open file.bad-1",  "write file.bad-1", "fchmod file.bad-1",
                                      "fsync file.bad-1", "close file.bad-1"};
      for (const char* call : reported) {
        if (calls[i] == call) {
          EXPECT_EQ(error, result);
        }
      }
    }
  }
}

TEST(ScopedDescriptor, ClosesOnceAndKeepsErrno) {
  const std::set<int> descriptors = OpenDescriptors();
  const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  SystemFaults faults;
  faults.FailAll("close", EIO);
  errno = E2BIG;
  {
    bix::impl::ScopedFd first(fd);
    bix::impl::ScopedFd second = std::move(first);
    EXPECT_FALSE(first.IsOpen());  // moved from, by intent
    EXPECT_EQ(fd, second.Get());
  }
  EXPECT_EQ(E2BIG, errno);
  EXPECT_EQ((std::vector<std::string>{"close null"}), faults.Calls());
  EXPECT_EQ(descriptors, OpenDescriptors());
}

}  // namespace
}  // namespace bix_test
