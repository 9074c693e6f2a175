// Listing and copying files while the system fails.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bix/fileitem.h"
#include "faults/surroundings.h"
#include "support/recording_handler.h"
#include "support/system_faults.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

// What glob() does in this thread: fails so with that error number, or its work when it is 0.
thread_local int t_globResult = 0;
thread_local int t_globError = 0;

}  // namespace
}  // namespace bix_test

// In place of the C library's own, under each of its names for the different widths.
#define BIX_REPLACE_GLOB(symbol)                                                       \
  extern "C" int bix_replaced_##symbol(const char* pattern, int flags, void* callback, \
                                       void* result) __asm__(#symbol);                 \
  extern "C" int bix_replaced_##symbol(const char* pattern, int flags, void* callback, \
                                       void* result) {                                 \
    if (bix_test::t_globResult != 0) {                                                 \
      errno = bix_test::t_globError;                                                   \
      return bix_test::t_globResult;                                                   \
    }                                                                                  \
    static const auto real =                                                           \
        reinterpret_cast<decltype(&bix_replaced_##symbol)>(dlsym(RTLD_NEXT, #symbol)); \
    return real(pattern, flags, callback, result);                                     \
  }

BIX_REPLACE_GLOB(glob)
BIX_REPLACE_GLOB(glob64)
BIX_REPLACE_GLOB(__glob64_time64)

namespace bix_test {
namespace {

using bix::BixCopyFile;
using bix::BixFileItem;
using Texts = std::vector<std::string>;

Texts MessagesOfAFailingGlob(int result, int error) {
  ScopedRecorder errors;
  std::vector<BixFileItem> items{BixFileItem("/first")};
  t_globResult = result;
  t_globError = error;
  BixFileItem::GetFiles("/d/*", items);
  t_globResult = 0;
  EXPECT_EQ(1u, items.size());
  return errors.messages;
}

TEST(FileListingFaults, EveryResultHasItsMessage) {
  EXPECT_EQ(Texts{"Cannot allocate memory: /d/*\n"}, MessagesOfAFailingGlob(GLOB_NOSPACE, ENOMEM));
  EXPECT_EQ(Texts{"Permission denied: /d/*\n"}, MessagesOfAFailingGlob(GLOB_ABORTED, EACCES));
  EXPECT_EQ(Texts{"Input/output error: /d/*\n"}, MessagesOfAFailingGlob(GLOB_ABORTED, EIO));
  EXPECT_EQ(Texts{}, MessagesOfAFailingGlob(GLOB_NOMATCH, ENOENT));
  EXPECT_EQ(Texts{"Unknown error: /d/*\n"}, MessagesOfAFailingGlob(GLOB_NOSYS, EIO));
  EXPECT_EQ(Texts{"Unknown error: /d/*\n"}, MessagesOfAFailingGlob(4711, 0));
}

TEST(FileListingFaults, ADirectoryThatMayNotBeReadIsReported) {
  TempDirectory directory;
  ASSERT_EQ(0, chmod(directory.Path().c_str(), 0755));
  ASSERT_EQ(0, mkdir((directory / "closed").c_str(), 0755));
  WriteWholeFile(directory / "closed/file", "");
  ASSERT_EQ(0, chmod((directory / "closed").c_str(), 0));
  RunInChild(User::kOrdinary, [&] {
    ScopedRecorder errors;
    std::vector<BixFileItem> items;
    BixFileItem((directory / "closed").c_str()).GetFilesList(items);
    EXPECT_TRUE(items.empty());
    EXPECT_EQ("Permission denied: " + directory.Path() + "/closed/*\n", errors.Text());
  });
  ASSERT_EQ(0, chmod((directory / "closed").c_str(), 0755));
}

class CopyFaults : public testing::Test {
 protected:
  CopyFaults() {
    for (int i = 0; i < 20'000; ++i) m_content += "line " + std::to_string(i) + '\n';
    WriteWholeFile(m_from.c_str(), m_content);
  }

  bool Copy() { return BixCopyFile(m_from, m_to); }

  TempDirectory m_directory;
  std::string m_content;  // the same nowhere, and larger than what is copied at a time
  const bix::SString m_from = (m_directory / "from").c_str();
  const bix::SString m_to = (m_directory / "to").c_str();
};

TEST_F(CopyFaults, EveryFailingCallIsTold) {
  Texts calls;
  {
    SystemFaults faults;
    EXPECT_TRUE(Copy());
    calls = faults.Calls();
  }
  EXPECT_EQ("open from", calls.front());
  EXPECT_GT(std::count(calls.begin(), calls.end(), "write to"), 1);
  EXPECT_EQ(1, std::count(calls.begin(), calls.end(), "close to"));
  for (const int error : {EIO, ENOSPC}) {
    for (std::size_t i = 0; i < calls.size(); ++i) {
      SCOPED_TRACE(calls[i]);
      WriteWholeFile(m_to, "old");
      const std::set<int> descriptors = OpenDescriptors();
      bool result = true;
      int number = 0;
      {
        SystemFaults faults;
        faults.FailCall(i + 1, error);
        result = Copy();
        number = errno;
      }
      EXPECT_EQ(descriptors, OpenDescriptors());
      // The source has been read to its end by then.
      const bool isCloseOfTheSource = calls[i] == "close from";
      EXPECT_EQ(isCloseOfTheSource, result);
      if (!result) {
        EXPECT_EQ(error, number);
      }
      EXPECT_EQ(m_content, ReadWholeFile(m_from));
    }
  }
}

TEST_F(CopyFaults, InterruptedCallsAreRepeated) {
  Texts calls;
  {
    SystemFaults faults;
    EXPECT_TRUE(Copy());
    calls = faults.Calls();
  }
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const std::string function = calls[i].substr(0, calls[i].find(' '));
    if (function != "read" && function != "write" && function != "close") continue;
    SCOPED_TRACE(calls[i]);
    bool result = false;
    {
      SystemFaults faults;
      faults.FailCall(i + 1, EINTR);
      result = Copy();
    }
    EXPECT_TRUE(result);
    EXPECT_TRUE(m_content == ReadWholeFile(m_to));
  }
}

TEST_F(CopyFaults, ShortReadsAndWritesGoOn) {
  for (const bool onlyWrites : {false, true}) {
    WriteWholeFile(m_to, "");
    bool result = false;
    {
      SystemFaults faults;
      onlyWrites ? faults.ShortenWrites(1000) : faults.Shorten(1000);
      result = Copy();
    }
    EXPECT_TRUE(result);
    EXPECT_TRUE(m_content == ReadWholeFile(m_to));
  }
}

TEST_F(CopyFaults, AWriteThatFailsBehindAShortOneIsTold) {
  bool result = true;
  int number = 0;
  {
    SystemFaults faults;
    faults.ShortenWrites(1000);
    faults.FailCall(8, ENOSPC);
    result = Copy();
    number = errno;
  }
  EXPECT_FALSE(result);
  EXPECT_EQ(ENOSPC, number);
  const std::string partial = ReadWholeFile(m_to);
  EXPECT_GE(partial.size(), 1000u);
  EXPECT_EQ(0u, partial.size() % 1000);
  EXPECT_TRUE(partial == m_content.substr(0, partial.size()));
}

TEST_F(CopyFaults, NoDescriptorReachesAProgramThatIsStartedMeanwhile) {
  Texts inheritable;
  {
    SystemFaults faults;
    faults.WatchDescriptors();
    EXPECT_TRUE(Copy());
    inheritable = faults.Inheritable();
  }
  EXPECT_EQ(Texts{}, inheritable);
}

TEST(FileCopyCompat, AFailedCopyLeavesAPartialTarget) {
  TempDirectory directory;
  const bix::SString from = (directory / "from").c_str();
  const bix::SString to = (directory / "to").c_str();
  const std::string content(150'000, 'x');
  WriteWholeFile(from, content);
  Texts calls;
  bool result = true;
  {
    SystemFaults faults;
    EXPECT_TRUE(BixCopyFile(from, to));
    calls = faults.Calls();
  }
  const auto second =
      std::find(std::find(calls.begin(), calls.end(), "write to") + 1, calls.end(), "write to");
  ASSERT_NE(calls.end(), second);
  {
    SystemFaults faults;
    faults.FailCall(static_cast<std::size_t>(second - calls.begin()) + 1, EIO);
    result = BixCopyFile(from, to);
  }
  EXPECT_FALSE(result);
  const std::string partial = ReadWholeFile(to);
  EXPECT_GT(partial.size(), 0u);
  EXPECT_LT(partial.size(), content.size());
  EXPECT_TRUE(partial == content.substr(0, partial.size()));
}

TEST(FileCopyToAFullDisk, Fails) {
  TempDirectory directory;
  TempDirectory source;
  if (!HasSmallFileSystems(directory.Path())) GTEST_SKIP() << kNoMounts;
  const std::string content(2'000'000, 'x');
  WriteWholeFile(source / "from", content);
  RunInChild(User::kSame, [&] {
    ASSERT_TRUE(MountSmallFileSystem(directory.Path()));
    EXPECT_FALSE(BixCopyFile((source / "from").c_str(), (directory / "to").c_str()));
    EXPECT_EQ(ENOSPC, errno);
    const std::string partial = ReadWholeFile(directory / "to");
    EXPECT_GT(partial.size(), 0u);
    EXPECT_TRUE(partial == content.substr(0, partial.size()));
  });
}

TEST(FileCopyBetweenFileSystems, FilesOfTheSameNumberAreDifferentFiles) {
  TempDirectory one;
  TempDirectory other;
  if (!HasSmallFileSystems(one.Path())) GTEST_SKIP() << kNoMounts;
  RunInChild(User::kSame, [&] {
    ASSERT_TRUE(MountSmallFileSystem(one.Path()));
    ASSERT_TRUE(MountSmallFileSystem(other.Path()));
    const auto numberOf = [](const std::string& path) {
      struct stat status {};
      EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
      return status.st_ino;
    };
    WriteWholeFile(one / "from", "new");
    WriteWholeFile(other / "to", "old");
    ASSERT_EQ(numberOf(one / "from"), numberOf(other / "to"))
        << "each counts its files from the same number on";
    EXPECT_TRUE(BixCopyFile((one / "from").c_str(), (other / "to").c_str()));
    EXPECT_EQ("new", ReadWholeFile(other / "to"));
  });
}

}  // namespace
}  // namespace bix_test
