// Several processes that make one option file at the same time.

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

/// What one process knows: a category of its own.
struct Component {
  explicit Component(int number)
      : categoryName("Component" + std::to_string(number)),
        options{{"Counter", 1, "none"}, {}},
        set{"Options", options, 1},
        category{categoryName.c_str(), nullptr, 0, &set} {}
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;

  const std::string categoryName;
  const bix::COption options[2];
  const bix::COptionSet set;
  const bix::CCategory category;
};

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

int ExitCode(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
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
