// Processes that save into one file at the same time.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "bix/registry.h"
#include "bix/settingsfile.h"
#include "faults/surroundings.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

constexpr int kWriters = 8;
constexpr int kSaves = 200;
constexpr int kReaders = 4;
constexpr int kValues = 40;

const bix::COption kOptions[] = {{"Count", 2, "0"}, {"Mine", 1, ""}, {}};
const bix::COptionSet kSet = {"Set", kOptions, 2};

/// Saves, and again when the wait for the lock was over too soon: on a busy machine the disk alone
/// can take that long, and such a save has changed nothing. How fair the waiting is has a test of
/// its own.
int SavePatiently(bix::COptionFile& file, const std::string& target) {
  int error;
  do {
    error = file.Save(target.c_str());
  } while (error == ETIMEDOUT);
  return error;
}

/// A process with a category of its own that saves again and again; 0, or what went wrong.
int Write(const std::string& target, int writer) {
  const std::string name = "Writer" + std::to_string(writer);
  const bix::CCategory category = {name.c_str(), nullptr, 0, &kSet};
  bix::COptionManager manager;
  manager.AddCategory(&category);
  bix::COptionFile file(&manager);
  for (int i = 1; i <= kSaves; ++i) {
    file.SetValue(name.c_str(), "Count", std::to_string(i).c_str());
    file.SetValue(name.c_str(), "Mine", std::string(static_cast<std::size_t>(i * 7), 'm').c_str());
    if (const int error = SavePatiently(file, target)) return error;
  }
  return 0;
}

/// Reads until it is told to stop; the number of reads that found a file with something missing.
/// What was there at the start, and at any time later, has to stay.
int Read(const std::string& target, int stop) {
  int torn = 0;
  std::vector<int> counts(kWriters, 0);
  for (bool isLast = false;;) {
    bix::CRgFile file(nullptr);
    bool isWhole = file.Load(target.c_str()) == 0;
    for (int i = 0; i < kValues && isWhole; ++i) {
      const char* text = file.GetValue("Foreign/Part", ("v" + std::to_string(i)).c_str());
      isWhole = text != nullptr && text == std::to_string(i);
    }
    const char* attribute = file.GetAttributeValue("Foreign/Part", "v7", "kind");
    isWhole = isWhole && attribute != nullptr && std::string(attribute) == "odd";
    for (int writer = 0; writer < kWriters && isWhole; ++writer) {
      const std::string name = "Writer" + std::to_string(writer);
      const char* count = file.GetValue(name.c_str(), "Count");
      const char* mine = file.GetValue(name.c_str(), "Mine");
      const int now = count != nullptr ? std::atoi(count) : 0;
      // Both values of a save come together, and no save undoes a later one of another process.
      isWhole = now >= counts[static_cast<std::size_t>(writer)] &&
                (now == 0 || (mine != nullptr &&
                              std::string(mine).size() == static_cast<std::size_t>(now * 7)));
      counts[static_cast<std::size_t>(writer)] = now;
    }
    if (!isWhole) ++torn;
    if (isLast) return torn > 255 ? 255 : torn;
    // At its end: one more read, of the final file. The pause leaves the processors to the savers.
    pollfd end{stop, POLLIN, 0};
    isLast = poll(&end, 1, 1) == 1;
  }
}

TEST(ConcurrentSaves, NothingIsLostAndNoReaderSeesAPart) {
  TempDirectory directory;
  const std::string target = directory / "user.tot";
  std::string old = "\n[Foreign/Part]\n\n";
  for (int i = 0; i < kValues; ++i) {
    old += "\"v" + std::to_string(i) + "\"=\"" + std::to_string(i) + "\" ";
    if (i == 7) old += "(\"kind\"=\"odd\" )";
    old += "\n";
  }
  WriteWholeFile(target, old);
  int stop[2];
  ASSERT_EQ(0, pipe2(stop, O_CLOEXEC | O_NONBLOCK));

  std::vector<pid_t> readers;
  for (int i = 0; i < kReaders; ++i) {
    readers.push_back(fork());
    ASSERT_GE(readers.back(), 0);
    if (readers.back() == 0) {
      close(stop[1]);
      _exit(Read(target, stop[0]));
    }
  }
  std::vector<pid_t> writers;
  for (int i = 0; i < kWriters; ++i) {
    writers.push_back(fork());
    ASSERT_GE(writers.back(), 0);
    if (writers.back() == 0) _exit(Write(target, i));
  }
  for (const pid_t writer : writers) EXPECT_TRUE(WaitForChild(writer));
  close(stop[1]);
  for (const pid_t reader : readers) EXPECT_TRUE(WaitForChild(reader));
  close(stop[0]);

  // Everything of everybody, once, in a file that is alone.
  const auto files = Listing(directory.Path());
  EXPECT_EQ(1u, files.size());
  bix::CRgFile file(nullptr);
  ASSERT_EQ(0, file.Load(target.c_str()));
  EXPECT_EQ(kWriters + 1, file.GetKeyRoot()->GetKeyCount());
  for (int writer = 0; writer < kWriters; ++writer) {
    const std::string name = "Writer" + std::to_string(writer);
    EXPECT_STREQ("200", file.GetValue(name.c_str(), "Count"));
    EXPECT_STREQ(std::string(1400, 'm').c_str(), file.GetValue(name.c_str(), "Mine"));
  }
  EXPECT_EQ(kValues, file.FindKey("Foreign/Part")->GetValueCount());
}

TEST(ConcurrentSaves, ProcessesThatFindNoFileAllGetTheirOptionsIntoIt) {
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    TempDirectory directory;
    const std::string target = directory / "user.tot";
    std::vector<pid_t> writers;
    for (int i = 0; i < kWriters; ++i) {
      writers.push_back(fork());
      ASSERT_GE(writers.back(), 0);
      if (writers.back() == 0) {
        const std::string name = "Writer" + std::to_string(i);
        const bix::CCategory category = {name.c_str(), nullptr, 0, &kSet};
        bix::COptionManager manager;
        manager.AddCategory(&category);
        bix::COptionFile file(&manager);
        file.SetValue(name.c_str(), "Count", "1");
        _exit(SavePatiently(file, target));
      }
    }
    for (const pid_t writer : writers) EXPECT_TRUE(WaitForChild(writer));
    bix::CRgFile file(nullptr);
    ASSERT_EQ(0, file.Load(target.c_str()));
    EXPECT_EQ(kWriters, file.GetKeyRoot()->GetKeyCount());
    EXPECT_EQ(1u, Listing(directory.Path()).size());
  }
}

TEST(ConcurrentSaves, ASaverThatWaitsIsNotPassedByOneThatSavesAgainAndAgain) {
  TempDirectory directory;
  const std::string target = directory / "user.tot";
  void* shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(MAP_FAILED, shared);
  auto* const saves = new (shared) std::atomic<int>(0);
  const pid_t busy = fork();
  ASSERT_GE(busy, 0);
  if (busy == 0) {
    bix::CRgFile file(nullptr);
    file.SetValue("A", "x", "1");
    while (file.Save(target.c_str()) == 0) ++*saves;
    _exit(1);
  }
  while (*saves < 5) sched_yield();
  int most = 0;
  for (int i = 0; i < 50; ++i) {
    bix::CRgFile file(nullptr);
    file.SetValue("A", "x", "2");
    const int first = *saves;
    EXPECT_EQ(0, file.Save(target.c_str()));
    most = std::max(most, *saves - first);
  }
  kill(busy, SIGKILL);
  EXPECT_FALSE(WaitForChild(busy));
  RecordProperty("SavesPassedBy", most);
  // The one that is at work when the wait begins, those before the first look, and some that come
  // between looks.
  EXPECT_LT(most, 40);
  munmap(shared, sizeof(std::atomic<int>));
}

TEST(ConcurrentSaves, AKilledSaverHindersNobody) {
  TempDirectory directory;
  const std::string target = directory / "user.tot";
  WriteWholeFile(target, "\n[Foreign]\n\n\"a\"=\"1\" \n");
  for (int round = 0; round < 30; ++round) {
    SCOPED_TRACE(round);
    const pid_t victim = fork();
    ASSERT_GE(victim, 0);
    if (victim == 0) {
      for (;;) (void)Write(target, 0);
    }
    const pid_t other = fork();
    ASSERT_GE(other, 0);
    if (other == 0) {
      const bix::CCategory category = {"Other", nullptr, 0, &kSet};
      bix::COptionManager manager;
      manager.AddCategory(&category);
      bix::COptionFile file(&manager);
      file.SetValue("Other", "Count", std::to_string(round + 1).c_str());
      _exit(SavePatiently(file, target));
    }
    EXPECT_TRUE(WaitForChild(other));
    // Wherever the other saver is by now.
    kill(victim, SIGKILL);
    EXPECT_FALSE(WaitForChild(victim));
    bix::CRgFile file(nullptr);
    ASSERT_EQ(0, file.Load(target.c_str()));
    EXPECT_STREQ("1", file.GetValue("Foreign", "a"));
    EXPECT_STREQ(std::to_string(round + 1).c_str(), file.GetValue("Other", "Count"));
  }
}

}  // namespace
}  // namespace bix_test
