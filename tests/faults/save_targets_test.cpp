// What a save keeps of the file it replaces, and targets that cannot be replaced.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <set>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bix/settingsfile.h"
#include "faults/save_kinds.h"
#include "faults/surroundings.h"
#include "support/system_faults.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

using Files = std::map<std::string, std::string>;

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
  return status;
}

unsigned ModeOf(const std::string& path) { return StatusOf(path).st_mode & 07777u; }

/// Another mask for new files, for the length of a scope.
class ScopedMask {
 public:
  explicit ScopedMask(mode_t mask) : m_old(umask(mask)) {}
  ~ScopedMask() { umask(m_old); }

 private:
  mode_t m_old;
};

class SaveTargets : public testing::TestWithParam<SaveKind> {
 protected:
  /// Everybody may look into the directory, and an ordinary user may not write into it as long as
  /// the test runs as root.
  void SetUp() override { ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0755)); }

  void WriteOld(const std::string& path) const { WriteWholeFile(path, GetParam().oldText); }
  int Save(const std::string& path) const { return GetParam().prepare(path)(); }
  std::vector<std::string> CallsOfASave() const {
    const auto save = GetParam().prepare(m_target);
    SystemFaults faults;
    EXPECT_EQ(0, save());
    return faults.Calls();
  }
  Files Only(const std::string& text) const { return {{"user.tot", InShort(text)}}; }

  TempDirectory m_directory;
  std::string m_target = m_directory / "user.tot";
};

TEST_P(SaveTargets, ModeIsKept) {
  for (const unsigned mode : {0600u, 0640u, 0644u, 0666u, 0755u, 0777u}) {
    SCOPED_TRACE(mode);
    WriteOld(m_target);
    ASSERT_EQ(0, chmod(m_target.c_str(), mode));
    const ScopedMask mask(077);
    EXPECT_EQ(0, Save(m_target));
    EXPECT_EQ(mode, ModeOf(m_target));
    EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
  }
}

TEST_P(SaveTargets, ANewFileGetsTheModeThatTheMaskLeaves) {
  for (const unsigned mask : {0u, 022u, 027u, 077u}) {
    SCOPED_TRACE(mask);
    (void)unlink(m_target.c_str());  // the first time there is none
    const ScopedMask scope(mask);
    EXPECT_EQ(0, Save(m_target));
    EXPECT_EQ(0666u & ~mask, ModeOf(m_target));
    EXPECT_EQ(Only(GetParam().newTextAlone), Listing(m_directory.Path()));
  }
}

TEST_P(SaveTargets, OwnerAndGroupAreKeptWhereThatIsPermitted) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give a file to another owner";
  WriteOld(m_target);
  ASSERT_EQ(0, chown(m_target.c_str(), 12345, 23456));
  ASSERT_EQ(0, chmod(m_target.c_str(), 0640));
  EXPECT_EQ(0, Save(m_target));
  EXPECT_EQ(12345u, StatusOf(m_target).st_uid);
  EXPECT_EQ(23456u, StatusOf(m_target).st_gid);
  EXPECT_EQ(0640u, ModeOf(m_target));
}

TEST_P(SaveTargets, AFileOfAnotherOwnerIsReplacedWhereTheDirectoryAllowsIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of another owner";
  WriteOld(m_target);
  ASSERT_EQ(0, chmod(m_target.c_str(), 0666));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0777));
  RunInChild(User::kOrdinary, [&] { EXPECT_EQ(0, Save(m_target)); });
  EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
  EXPECT_EQ(0666u, ModeOf(m_target));
}

TEST_P(SaveTargets, AccessListsAreKept) {
  // Owner rw, user 12345 rw, group r, mask rw, others none: version 2, then tag, rights and id of
  // each entry.
  const unsigned char list[] = {2,    0,    0,    0,    1,    0,    6,    0,    0xff, 0xff, 0xff,
                                0xff, 2,    0,    6,    0,    0x39, 0x30, 0,    0,    4,    0,
                                4,    0,    0xff, 0xff, 0xff, 0xff, 16,   0,    6,    0,    0xff,
                                0xff, 0xff, 0xff, 32,   0,    0,    0,    0xff, 0xff, 0xff, 0xff};
  WriteOld(m_target);
  const char* const name = "system.posix_acl_access";
  if (setxattr(m_target.c_str(), name, list, sizeof list, 0) != 0)
    GTEST_SKIP() << "the file system keeps no access lists: " << std::strerror(errno);
  EXPECT_EQ(0, Save(m_target));
  unsigned char kept[256] = {};
  ASSERT_EQ(static_cast<ssize_t>(sizeof list), getxattr(m_target.c_str(), name, kept, sizeof kept));
  EXPECT_TRUE(std::equal(std::begin(list), std::end(list), kept));
}

TEST_P(SaveTargets, SymbolicLinksStayAndTheirFileIsReplaced) {
  const std::string real = m_directory / "real";
  ASSERT_EQ(0, mkdir(real.c_str(), 0755));
  const struct {
    const char* link;
    const char* text;
  } links[] = {{"absolute", nullptr}, {"relative", "real/user.tot"}, {"chain", "relative"}};
  for (const auto& link : links) {
    SCOPED_TRACE(link.link);
    const std::string name = m_directory / link.link;
    const std::string text = link.text != nullptr ? link.text : real + "/user.tot";
    ASSERT_EQ(0, symlink(text.c_str(), name.c_str()));
    WriteOld(real + "/user.tot");
    EXPECT_EQ(0, Save(name));
    EXPECT_EQ(text, std::filesystem::read_symlink(name).string());
    EXPECT_EQ(Only(GetParam().newText), Listing(real));
    EXPECT_FALSE(Exists(name + "~"));
  }
}

TEST_P(SaveTargets, ALinkToAMissingFileIsFollowedToo) {
  const std::string real = m_directory / "real";
  ASSERT_EQ(0, mkdir(real.c_str(), 0755));
  ASSERT_EQ(0, symlink("real/user.tot", m_target.c_str()));
  EXPECT_EQ(0, Save(m_target));
  EXPECT_EQ("real/user.tot", std::filesystem::read_symlink(m_target).string());
  EXPECT_EQ(Only(GetParam().newTextAlone), Listing(real));
}

TEST_P(SaveTargets, ALinkThatLeadsToItselfIsReported) {
  ASSERT_EQ(0, symlink("user.tot", m_target.c_str()));
  EXPECT_EQ(ELOOP, Save(m_target));
  EXPECT_EQ((Files{{"user.tot", "<link>"}}), Listing(m_directory.Path()));
}

TEST_P(SaveTargets, ARelativeNameIsSavedInTheWorkingDirectory) {
  WriteOld(m_target);
  RunInChild(User::kSame, [&] {
    ASSERT_EQ(0, chdir(m_directory.Path().c_str()));
    EXPECT_EQ(0, Save("user.tot"));
  });
  EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
}

TEST_P(SaveTargets, ANameOfTheGreatestLengthIsSaved) {
  const std::string name(255, 'n');
  WriteOld(m_directory / name);
  EXPECT_EQ(0, Save(m_directory / name));
  EXPECT_EQ((Files{{name, InShort(GetParam().newText)}}), Listing(m_directory.Path()));
}

TEST_P(SaveTargets, APlantedLinkInPlaceOfTheTemporaryFileIsNotFollowed) {
  WriteOld(m_target);
  const std::string victim = m_directory / "victim";
  WriteWholeFile(victim, "precious");
  ASSERT_EQ(0, symlink("victim", (m_target + "~").c_str()));
  EXPECT_EQ(0, Save(m_target));
  EXPECT_EQ((Files{{"user.tot", InShort(GetParam().newText)},
                   {"user.tot~", "<link>"},
                   {"victim", "precious"}}),
            Listing(m_directory.Path()));
}

TEST_P(SaveTargets, ADirectoryInPlaceOfTheTemporaryFileIsPassedBy) {
  WriteOld(m_target);
  ASSERT_EQ(0, mkdir((m_target + "~").c_str(), 0755));
  EXPECT_EQ(0, Save(m_target));
  EXPECT_EQ((Files{{"user.tot", InShort(GetParam().newText)}, {"user.tot~", "<directory>"}}),
            Listing(m_directory.Path()));
}

TEST_P(SaveTargets, AStaleTemporaryFileIsReplaced) {
  WriteOld(m_target);
  WriteWholeFile(m_target + "~", "half of someth");
  EXPECT_EQ(0, Save(m_target));
  EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
}

TEST_P(SaveTargets, AFileInADirectoryThatTakesNoOthersIsWrittenInPlace) {
  WriteOld(m_target);
  ASSERT_EQ(0, chmod(m_target.c_str(), 0666));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0555));
  const ino_t before = StatusOf(m_target).st_ino;
  RunInChild(User::kOrdinary, [&] { EXPECT_EQ(0, Save(m_target)); });
  EXPECT_EQ(before, StatusOf(m_target).st_ino);
  EXPECT_EQ(0666u, ModeOf(m_target));
  EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0755));
}

TEST_P(SaveTargets, WritingInPlaceCutsALongerOldFile) {
  // Stray punctuation in front of the first section is passed over by the reader.
  WriteWholeFile(m_target, std::string(400'000, '-') + GetParam().oldText);
  ASSERT_EQ(0, chmod(m_target.c_str(), 0666));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0555));
  RunInChild(User::kOrdinary, [&] { EXPECT_EQ(0, Save(m_target)); });
  EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0755));
}

TEST_P(SaveTargets, AFailureWhileWritingInPlacePutsTheOldBytesBack) {
  WriteOld(m_target);
  ASSERT_EQ(0, chmod(m_target.c_str(), 0666));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0555));
  RunInChild(User::kOrdinary, [&] {
    const std::vector<std::string> calls = CallsOfASave();
    ASSERT_GT(std::count(calls.begin(), calls.end(), "write user.tot"), 1);
    ASSERT_EQ(1, std::count(calls.begin(), calls.end(), "posix_fallocate user.tot"));
    // On the disk, and behind everything that is written.
    const auto sync = std::find(calls.begin(), calls.end(), "fsync user.tot");
    ASSERT_TRUE(sync != calls.end());
    EXPECT_EQ(calls.end(), std::find(sync, calls.end(), "write user.tot"));
    EXPECT_EQ(calls.end(), std::find(sync, calls.end(), "ftruncate user.tot"));
    for (const int error : {EIO, ENOSPC}) {
      for (std::size_t i = 0; i < calls.size(); ++i) {
        SCOPED_TRACE(calls[i] + ": " + std::strerror(error));
        WriteOld(m_target);
        const auto save = GetParam().prepare(m_target);
        const std::set<int> descriptors = OpenDescriptors();
        int result;
        {
          SystemFaults faults;
          faults.FailCall(i + 1, error);
          result = save();
        }
        // What is synced and then fails to close is in place; so it is for a file that is replaced
        // only when the failure comes earlier, hence the two right ends.
        const bool isLateClose = calls[i] == "close user.tot" && result != 0;
        const std::string text = ReadWholeFile(m_target);
        if (isLateClose) {
          EXPECT_TRUE(text == GetParam().newText || text == GetParam().oldText);
        } else {
          EXPECT_TRUE(text == (result == 0 ? GetParam().newText : GetParam().oldText)) << result;
        }
        if (calls[i].rfind("write", 0) == 0 || calls[i].rfind("fsync", 0) == 0 ||
            calls[i].rfind("posix_fallocate", 0) == 0 || calls[i].rfind("memfd", 0) == 0) {
          EXPECT_EQ(error, result);
        }
        EXPECT_EQ(descriptors, OpenDescriptors());
      }
    }
  });
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0755));
  EXPECT_EQ(1u, Listing(m_directory.Path()).size());
}

TEST_P(SaveTargets, InterruptedCallsAreRepeatedAlsoWhileWritingInPlace) {
  WriteOld(m_target);
  ASSERT_EQ(0, chmod(m_target.c_str(), 0666));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0555));
  RunInChild(User::kOrdinary, [&] {
    const std::vector<std::string> calls = CallsOfASave();
    for (std::size_t i = 0; i < calls.size(); ++i) {
      const std::string function = calls[i].substr(0, calls[i].find(' '));
      const std::set<std::string> interrupted = {"open",  "read",  "write",           "fsync",
                                                 "close", "flock", "posix_fallocate", "ftruncate"};
      if (interrupted.count(function) == 0) continue;
      SCOPED_TRACE(calls[i]);
      WriteOld(m_target);
      const auto save = GetParam().prepare(m_target);
      int result;
      {
        SystemFaults faults;
        faults.FailCall(i + 1, EINTR);
        result = save();
      }
      EXPECT_EQ(0, result);
      EXPECT_TRUE(ReadWholeFile(m_target) == GetParam().newText);
    }
  });
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0755));
}

TEST_P(SaveTargets, AFileThatIsMountedAloneIsWrittenInPlace) {
  if (!HasSmallFileSystems(m_directory.Path())) GTEST_SKIP() << kNoMounts;
  RunInChild(User::kSame, [&] {
    ASSERT_TRUE(MountSmallFileSystem(m_directory.Path()));
    const std::string elsewhere = m_directory / "elsewhere";
    WriteOld(elsewhere);
    WriteWholeFile(m_target, "");
    ASSERT_EQ(0, mount(elsewhere.c_str(), m_target.c_str(), nullptr, MS_BIND, nullptr));
    EXPECT_EQ(0, Save(m_target));
    EXPECT_EQ((Files{{"elsewhere", InShort(GetParam().newText)},
                     {"user.tot", InShort(GetParam().newText)}}),
              Listing(m_directory.Path()));
  });
}

TEST_P(SaveTargets, AFileOfAnotherOwnerInAStickyDirectoryIsWrittenInPlace) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of another owner";
  WriteOld(m_target);
  ASSERT_EQ(0, chown(m_target.c_str(), 12345, 23456));
  ASSERT_EQ(0, chmod(m_target.c_str(), 0666));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 01777));
  RunInChild(User::kOrdinary, [&] { EXPECT_EQ(0, Save(m_target)); });
  EXPECT_EQ(12345u, StatusOf(m_target).st_uid);
  EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
}

TEST_P(SaveTargets, RootReplacesAStrangersFileAlsoInAStickyDirectory) {
  if (geteuid() != 0) GTEST_SKIP() << "needs the rights of root";
  WriteOld(m_target);
  ASSERT_EQ(0, chown(m_target.c_str(), 12345, 23456));
  ASSERT_EQ(0, chown(m_directory.Path().c_str(), 12345, 23456));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 01777));
  const int old = open(m_target.c_str(), O_RDONLY | O_CLOEXEC);  // keeps its number from being used
  const ino_t before = StatusOf(m_target).st_ino;
  EXPECT_EQ(0, Save(m_target));
  EXPECT_NE(before, StatusOf(m_target).st_ino);
  EXPECT_EQ(12345u, StatusOf(m_target).st_uid);
  EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
  close(old);
}

TEST_P(SaveTargets, AMissingFileInADirectoryThatTakesNoOthersIsReported) {
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0555));
  RunInChild(User::kOrdinary, [&] { EXPECT_EQ(EACCES, Save(m_target)); });
  EXPECT_EQ(Files{}, Listing(m_directory.Path()));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0755));
}

TEST_P(SaveTargets, AReadOnlyFileIsLeftUntouched) {
  WriteOld(m_target);
  ASSERT_EQ(0, chmod(m_target.c_str(), 0444));
  ASSERT_EQ(0, chmod(m_directory.Path().c_str(), 0777));
  RunInChild(User::kOrdinary, [&] { EXPECT_EQ(EACCES, Save(m_target)); });
  EXPECT_EQ(Only(GetParam().oldText), Listing(m_directory.Path()));
  EXPECT_EQ(0444u, ModeOf(m_target));
}

TEST_P(SaveTargets, AVanishedDirectoryIsReported) {
  EXPECT_EQ(ENOENT, Save(m_directory / "gone/user.tot"));
  WriteOld(m_target);
  EXPECT_EQ(ENOTDIR, Save(m_target + "/user.tot"));
  EXPECT_EQ(Only(GetParam().oldText), Listing(m_directory.Path()));
}

TEST_P(SaveTargets, TheNullDeviceTakesEverything) {
  const struct stat before = StatusOf("/dev/null");
  EXPECT_EQ(0, Save("/dev/null"));
  const struct stat after = StatusOf("/dev/null");
  EXPECT_TRUE(S_ISCHR(after.st_mode));
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_mode, after.st_mode);
  EXPECT_FALSE(Exists("/dev/null~"));
}

TEST_P(SaveTargets, AnotherSaverIsWaitedFor) {
  WriteOld(m_target);
  const int lock = open(m_directory.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(0, flock(lock, LOCK_EX));
  std::promise<void> isStarted;
  auto save = GetParam().prepare(m_target);
  std::future<int> result = std::async(std::launch::async, [&] {
    isStarted.set_value();
    return save();
  });
  isStarted.get_future().wait();
  // However long the save has waited by now, it has not come past the lock.
  EXPECT_EQ(GetParam().oldText, ReadWholeFile(m_target));
  ASSERT_EQ(0, flock(lock, LOCK_UN));
  EXPECT_EQ(0, result.get());
  close(lock);
  EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
}

TEST_P(SaveTargets, ALockThatIsNeverGivenBackEndsTheWaitWithAnError) {
  WriteOld(m_target);
  const int lock = open(m_directory.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(0, flock(lock, LOCK_EX));
  const auto save = GetParam().prepare(m_target);
  int result;
  {
    SystemFaults faults;
    faults.SkipPauses();
    result = save();
  }
  EXPECT_EQ(ETIMEDOUT, result);
  close(lock);
  EXPECT_EQ(Only(GetParam().oldText), Listing(m_directory.Path()));
}

TEST_P(SaveTargets, AFullFileSystemKeepsTheOldFile) {
  if (!HasSmallFileSystems(m_directory.Path())) GTEST_SKIP() << kNoMounts;
  RunInChild(User::kSame, [&] {
    ASSERT_TRUE(MountSmallFileSystem(m_directory.Path()));
    WriteOld(m_target);
    // All but some room for a part of the new text.
    const std::string filler = m_directory / "filler";
    const int fd = open(filler.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const std::string block(4096, 'f');
    off_t size = 0;
    while (write(fd, block.data(), block.size()) == 4096) size += 4096;
    EXPECT_EQ(ENOSPC, errno);
    for (const off_t room : {0, 4096, 65536, 131072}) {
      SCOPED_TRACE(room);
      ASSERT_EQ(0, ftruncate(fd, size - room));
      EXPECT_EQ(ENOSPC, Save(m_target));
      const Files files = Listing(m_directory.Path());
      EXPECT_EQ(2u, files.size());
      EXPECT_EQ(InShort(GetParam().oldText), files.at("user.tot"));
    }
    close(fd);
    ASSERT_EQ(0, unlink(filler.c_str()));
    EXPECT_EQ(0, Save(m_target));
    EXPECT_EQ(Only(GetParam().newText), Listing(m_directory.Path()));
  });
}

TEST_P(SaveTargets, NoDescriptorReachesAProgramThatIsStartedMeanwhile) {
  for (const std::string& target : {m_target, std::string("/dev/null")}) {
    SCOPED_TRACE(target);
    if (target == m_target) WriteOld(target);
    const auto save = GetParam().prepare(target);
    std::vector<std::string> inheritable;
    int result;
    {
      SystemFaults faults;
      faults.WatchDescriptors();
      result = save();
      inheritable = faults.Inheritable();
    }
    EXPECT_EQ(0, result);
    EXPECT_EQ(std::vector<std::string>{}, inheritable);
  }
}

INSTANTIATE_TEST_SUITE_P(All, SaveTargets, testing::ValuesIn(SaveKinds()),
                         [](const auto& info) { return std::string(info.param.name); });

// What only a file that is written without being read first can meet.

class SettingsTargets : public testing::Test {
 protected:
  SettingsTargets() : m_file(nullptr) { m_file.SetValue("A", "x", "1"); }

  TempDirectory m_directory;
  bix::CRgFile m_file;
  const std::string m_text = "\n[A]\n\n\"x\"=\"1\" \n";
};

TEST_F(SettingsTargets, ADirectoryInPlaceOfTheFileIsReported) {
  ASSERT_EQ(0, mkdir((m_directory / "user.tot").c_str(), 0755));
  EXPECT_EQ(EISDIR, m_file.Save((m_directory / "user.tot").c_str()));
  EXPECT_EQ((Files{{"user.tot", "<directory>"}}), Listing(m_directory.Path()));
}

TEST_F(SettingsTargets, AFullDeviceIsReported) { EXPECT_EQ(ENOSPC, m_file.Save("/dev/full")); }

TEST_F(SettingsTargets, ADeviceThatFailsToCloseIsReported) {
  int result;
  {
    SystemFaults faults;
    faults.FailAll("close null", EIO);
    result = m_file.Save("/dev/null");
  }
  EXPECT_EQ(EIO, result);
}

TEST_F(SettingsTargets, AFifoGetsTheBytes) {
  const std::string fifo = m_directory / "fifo";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  std::future<std::string> read =
      std::async(std::launch::async, [&] { return ReadWholeFile(fifo); });
  EXPECT_EQ(0, m_file.Save(fifo.c_str()));
  EXPECT_EQ(m_text, read.get());
  EXPECT_EQ((Files{{"fifo", "<other>"}}), Listing(m_directory.Path()));
}

TEST_F(SettingsTargets, ADescriptorOfAFileWithoutNameIsWrittenInPlace) {
  const std::string name = m_directory / "gone";
  const int fd = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(0, unlink(name.c_str()));
  EXPECT_EQ(0, m_file.Save(("/proc/self/fd/" + std::to_string(fd)).c_str()));
  char bytes[64] = {};
  EXPECT_EQ(static_cast<ssize_t>(m_text.size()), pread(fd, bytes, sizeof bytes, 0));
  EXPECT_EQ(m_text, bytes);
  close(fd);
  EXPECT_EQ(Files{}, Listing(m_directory.Path()));
}

}  // namespace
}  // namespace bix_test
