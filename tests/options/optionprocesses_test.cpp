// Several processes that save one option file at the same time.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "bix/settingsfile.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

constexpr int kSavers = 8;
constexpr int kSaves = 200;
constexpr int kReaders = 4;

/// What one process knows: a category of its own.
struct Component {
  explicit Component(int number)
      : categoryName("Component" + std::to_string(number)),
        options{{"Counter", 1, "none"}, {"Text", 1, "none"}, {}},
        set{"Options", options, 2},
        category{categoryName.c_str(), nullptr, 0, &set} {}
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;

  const std::string categoryName;
  const bix::COption options[3];
  const bix::COptionSet set;
  const bix::CCategory category;
};

/// A text that shows when a part of it is missing.
std::string TextOf(int number, int round) {
  return std::string(static_cast<std::size_t>(100 + number), static_cast<char>('a' + number)) +
         std::to_string(round);
}

/// Runs `body`, which returns what went wrong or "", in a process of its own.
pid_t Start(const std::string& errorFile, const std::function<std::string()>& body) {
  const pid_t child = fork();
  if (child != 0) return child;
  const std::string error = body();
  if (!error.empty()) {
    if (std::FILE* file = std::fopen(errorFile.c_str(), "a")) {
      std::fprintf(file, "%s\n", error.c_str());
      std::fclose(file);
    }
  }
  _exit(error.empty() ? 0 : 1);
}

std::string Save(const std::string& path, int number) {
  const Component component(number);
  bix::COptionManager manager;
  manager.AddCategory(&component.category);
  bix::COptionFile* file = manager.Load(path.c_str());
  if (file == nullptr) return "saver " + std::to_string(number) + " cannot load";
  for (int round = 1; round <= kSaves; ++round) {
    file->SetValue(component.categoryName.c_str(), "Counter", std::to_string(round).c_str());
    file->SetValue(component.categoryName.c_str(), "Text", TextOf(number, round).c_str());
    if (const int error = file->Save(nullptr))
      return "saver " + std::to_string(number) + ", round " + std::to_string(round) + ": " +
             std::to_string(error);
  }
  return "";
}

/// Reads the file again and again until `end` exists: it can always be parsed, and what it says
/// belongs together and never goes back.
std::string Read(const std::string& path, const std::string& end) {
  std::vector<int> last(kSavers, 0);
  do {
    bix::CRgFile file(nullptr);
    if (file.Load(path.c_str()) != 0) return "a torn file";
    if (file.GetValue("Nobody", "Kept") == nullptr) return "what nobody declares was lost";
    for (int number = 0; number < kSavers; ++number) {
      const std::string category = "Component" + std::to_string(number);
      const char* counter = file.GetValue(category.c_str(), "Counter");
      if (counter == nullptr && last[static_cast<std::size_t>(number)] == 0) continue;
      if (counter == nullptr) return category + " was lost";
      const int round = std::stoi(counter);
      if (round < last[static_cast<std::size_t>(number)]) return category + " went back";
      last[static_cast<std::size_t>(number)] = round;
      const char* text = file.GetValue(category.c_str(), "Text");
      if (text == nullptr || text != TextOf(number, round)) return category + " is torn";
    }
  } while (access(end.c_str(), F_OK) != 0);
  return "";
}

int ExitCode(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(OptionProcesses, SaversOfOneFileLoseNothingAndReadersSeeOnlyWholeFiles) {
  const TempDirectory directory;
  const std::string path = directory / "shared.tot";
  const std::string end = directory / "end";
  const std::string errors = directory / "errors";
  WriteWholeFile(path, "[Nobody] (Of=Them)\n\"Kept\"=\"as it is\" (\"a\"=\"1\", \"b\"=\"2\")\n");
  WriteWholeFile(errors, "");

  std::vector<pid_t> readers;
  for (int i = 0; i < kReaders; ++i)
    readers.push_back(Start(errors, [&] { return Read(path, end); }));
  std::vector<pid_t> savers;
  for (int i = 0; i < kSavers; ++i)
    savers.push_back(Start(errors, [&, i] { return Save(path, i); }));
  for (pid_t saver : savers) EXPECT_EQ(0, ExitCode(saver));
  WriteWholeFile(end, "");
  for (pid_t reader : readers) EXPECT_EQ(0, ExitCode(reader));
  EXPECT_EQ("", ReadWholeFile(errors));

  // The order of the sections is that in which their first savers came.
  const std::string content = ReadWholeFile(path);
  const std::string kept =
      "\n[Nobody] (Of=Them)\n\n\"Kept\"=\"as it is\" (\"a\"=\"1\", \"b\"=\"2\" )\n";
  EXPECT_EQ(kept, content.substr(0, kept.size()));
  std::size_t size = kept.size();
  for (int number = 0; number < kSavers; ++number) {
    const std::string section = "\n[Component" + std::to_string(number) + "]\n\n\"Counter\"=\"" +
                                std::to_string(kSaves) + "\" \n\"Text\"=\"" +
                                TextOf(number, kSaves) + "\" \n";
    EXPECT_NE(std::string::npos, content.find(section)) << section;
    size += section.size();
  }
  EXPECT_EQ(size, content.size());
  EXPECT_FALSE(Exists(path + "~"));
}

TEST(OptionProcesses, SaversThatFindNoFileMakeOneWithTheOptionsOfAll) {
  constexpr int kRounds = 20;
  for (int round = 0; round < kRounds; ++round) {
    const TempDirectory directory;
    const std::string path = directory / "new.tot";
    const std::string errors = directory / "errors";
    WriteWholeFile(errors, "");
    std::vector<pid_t> savers;
    for (int number = 0; number < kSavers; ++number)
      savers.push_back(Start(errors, [&, number] {
        const Component component(number);
        bix::COptionManager manager;
        manager.AddCategory(&component.category);
        bix::COptionFile file(&manager);
        file.SetValue(component.categoryName.c_str(), "Counter", "1");
        const int error = file.Save(path.c_str());
        return error == 0 ? std::string() : std::to_string(error);
      }));
    for (pid_t saver : savers) EXPECT_EQ(0, ExitCode(saver));
    EXPECT_EQ("", ReadWholeFile(errors));
    bix::CRgFile file(nullptr);
    ASSERT_EQ(0, file.Load(path.c_str()));
    for (int number = 0; number < kSavers; ++number)
      EXPECT_STREQ("1", file.GetValue(("Component" + std::to_string(number)).c_str(), "Counter"));
  }
}

}  // namespace
}  // namespace bix_test
