#ifndef TESTS_PROC_CHILDREN_H_
#define TESTS_PROC_CHILDREN_H_

/// Launching programs and reading what they say.

#include <initializer_list>
#include <string>
#include <vector>

#include <dirent.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bix/subproc.h"

namespace bix_test {

/// The arguments of a program as launch takes them.
class Arguments {
 public:
  Arguments(std::initializer_list<std::string> texts) : m_texts(texts) { Point(); }
  explicit Arguments(std::vector<std::string> texts) : m_texts(std::move(texts)) { Point(); }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  const char* File() const { return m_pointers.front(); }
  const char** Get() { return m_pointers.data(); }

 private:
  void Point() {
    for (const std::string& text : m_texts) m_pointers.push_back(text.c_str());
    m_pointers.push_back(nullptr);
  }

  std::vector<std::string> m_texts;
  std::vector<const char*> m_pointers;
};

inline int Launch(bix::CSubProc& child, Arguments&& arguments, const char* directory = nullptr) {
  return child.launch(arguments.File(), arguments.Get(), directory, false);
}

/// All that the child says until its output ends.
inline std::string ReadAll(bix::CSubProc& child) {
  std::string text;
  char block[4096];
  for (int count; (count = child.read(block, sizeof block)) > 0;)
    text.append(block, static_cast<std::size_t>(count));
  return text;
}

/// What the child says up to the end of the line.
inline std::string ReadLine(bix::CSubProc& child) {
  std::string line;
  for (char c; child.read(&c, 1) == 1;) {
    line += c;
    if (c == '\n') break;
  }
  return line;
}

/// Runs a program without input; its output. The test fails when it does not end with 0.
inline std::string OutputOf(Arguments&& arguments, const char* directory = nullptr) {
  bix::CSubProc child;
  EXPECT_EQ(0, child.launch(arguments.File(), arguments.Get(), directory, false));
  child.close_write();
  const std::string text = ReadAll(child);
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
  return text;
}

/// The entries of a directory of /proc that name numbers.
inline std::vector<int> NumbersIn(const char* path) {
  std::vector<int> numbers;
  DIR* const directory = opendir(path);
  if (directory == nullptr) {
    ADD_FAILURE() << "cannot open " << path;
    return numbers;
  }
  while (const dirent* entry = readdir(directory)) {
    char* end = nullptr;
    const long number = strtol(entry->d_name, &end, 10);
    if (end != entry->d_name && *end == '\0' && number != dirfd(directory))
      numbers.push_back(static_cast<int>(number));
  }
  closedir(directory);
  return numbers;
}

/// How many descriptors of this process are open.
inline std::size_t OpenDescriptors() { return NumbersIn("/proc/self/fd").size(); }

/// Runs `action` in a process of its own; whether it was true there.
template <class Action>
bool InAnotherProcess(Action action) {
  const pid_t pid = fork();
  if (pid == 0) _exit(action() ? 0 : 1);
  int status = -1;
  return waitpid(pid, &status, 0) == pid && status == 0;
}

/// Whether this process has a child, running or ended, that was not waited for.
inline bool HasChildren() {
  siginfo_t information = {};
  return waitid(P_ALL, 0, &information, WEXITED | WNOHANG | WNOWAIT) == 0;
}

}  // namespace bix_test

#endif  // TESTS_PROC_CHILDREN_H_
