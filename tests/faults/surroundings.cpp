#include "faults/surroundings.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/temp_directory.h"

namespace bix_test {

namespace {

int WaitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

std::string InShort(const std::string& text) {
  constexpr std::size_t kShown = 400;
  if (text.size() <= 2 * kShown) return text;
  return text.substr(0, kShown) + "<" + std::to_string(text.size()) + " bytes, hash " +
         std::to_string(std::hash<std::string>{}(text)) + ">" + text.substr(text.size() - kShown);
}

std::map<std::string, std::string> Listing(const std::string& directory) {
  std::map<std::string, std::string> listing;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    std::string& text = listing[entry.path().filename().string()];
    if (entry.is_symlink()) {
      text = "<link>";
    } else if (entry.is_directory()) {
      text = "<directory>";
    } else if (entry.is_regular_file()) {
      text = InShort(ReadWholeFile(entry.path().string()));
    } else {
      text = "<other>";
    }
  }
  return listing;
}

std::set<int> OpenDescriptors() {
  std::set<int> open;
  for (int fd = 0; fd < 1024; ++fd) {
    if (fcntl(fd, F_GETFD) != -1) open.insert(fd);
  }
  return open;
}

void RunInChild(User user, const std::function<void()>& test) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    constexpr uid_t kNobody = 65534;
    if (user == User::kOrdinary && geteuid() == 0 &&
        (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
      ADD_FAILURE() << "cannot become an ordinary user";
    }
    if (!testing::Test::HasFailure()) test();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  const int status = WaitFor(child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
      << "the child failed, status " << status << "; its own failures stand above";
}

int SignalOfChild(const std::function<void()>& test) {
  std::fflush(nullptr);
  const pid_t child = fork();
  EXPECT_GE(child, 0);
  if (child == 0) {
    test();
    _exit(0);
  }
  const int status = WaitFor(child);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

bool MountSmallFileSystem(const std::string& directory) {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    WriteWholeFile("/proc/self/setgroups", "deny");
    WriteWholeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    WriteWholeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
  }
  return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("small", directory.c_str(), "tmpfs", 0, "size=1m") == 0;
}

bool HasSmallFileSystems(const std::string& directory) {
  const pid_t child = fork();
  if (child == 0) _exit(MountSmallFileSystem(directory) ? 0 : 1);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool WaitForChild(pid_t child) {
  const int status = WaitFor(child);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace bix_test
