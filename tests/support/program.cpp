#include "support/program.h"

#include <cerrno>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bix_test {
namespace {

// "HOME" goes as well: no test finds the real home directory by accident.
constexpr const char* kVariables[] = {"BIX_ERR_OUT",
                                      "QRD_ASSERT",
                                      "QRD_LOG_ASSERT",
                                      "QRD_ABORT_ASSERT",
                                      "QRD_TRACE",
                                      "QRD_DEBUG_RESOURCE",
                                      "KESTRANE_ATELAN_LANGUAGE",
                                      "KESTRANE_INSTALLATION",
                                      "HOME",
                                      "ZROOT",
                                      "VORN_COMPANY_ADDINS_DIR",
                                      "VORN_TEAM_ADDINS_DIR",
                                      "VORN_USER_ADDINS_DIR",
                                      "VORN_URN_MAP_FILE",
                                      "MORVEL_NO_CLOSE",
                                      "R5_SAVED_LD_LIBRARY_PATH",
                                      "LD_LIBRARY_PATH"};

constexpr int kCannotStart = 126;

/// A program that writes without end is ended by the system, before it takes the machine's memory.
constexpr rlimit kMostWritten = {16 << 20, 16 << 20};

std::string ReadFromStart(int fd) {
  std::string content;
  char block[4096];
  for (off_t at = 0;;) {
    const ssize_t count = pread(fd, block, sizeof block, at);
    if (count <= 0) return content;
    content.append(block, static_cast<std::size_t>(count));
    at += count;
  }
}

}  // namespace

ProgramResult Program::Run() const {
  ProgramResult result;
  const int output = memfd_create("output", MFD_CLOEXEC);
  const int errors = memfd_create("errors", MFD_CLOEXEC);
  std::vector<char*> arguments = {const_cast<char*>(m_file.c_str())};
  for (const std::string& argument : m_arguments)
    arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  result.pid = fork();
  if (result.pid == 0) {
    dup2(output, 1);
    dup2(errors, 2);
    (void)setrlimit(RLIMIT_FSIZE, &kMostWritten);
    for (const char* variable : kVariables) unsetenv(variable);
    for (const std::string& variable : m_unset) unsetenv(variable.c_str());
    for (const auto& [variable, value] : m_variables) setenv(variable.c_str(), value.c_str(), 1);
    if (m_directory.empty() || chdir(m_directory.c_str()) == 0)
      execv(m_file.c_str(), arguments.data());
    _exit(kCannotStart);
  }
  int status = 0;
  while (waitpid(result.pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  EXPECT_NE(kCannotStart, result.exitCode) << "cannot start " << m_file;
  result.output = ReadFromStart(output);
  result.errors = ReadFromStart(errors);
  close(output);
  close(errors);
  return result;
}

}  // namespace bix_test
