#ifndef TESTS_SUPPORT_PROGRAM_H_
#define TESTS_SUPPORT_PROGRAM_H_

/// Fresh processes, for behaviour that is settled when the library is loaded.

#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace bix_test {

/// How a program ended and what it wrote.
struct ProgramResult {
  pid_t pid = -1;
  int exitCode = -1;  // -1 when a signal ended it
  int signal = 0;
  std::string output;
  std::string errors;
};

/// A program to run in a process of its own. It inherits the environment, without the variables
/// that the library reads.
class Program {
 public:
  explicit Program(std::string file, std::vector<std::string> arguments = {})
      : m_file(std::move(file)), m_arguments(std::move(arguments)) {}

  Program& Set(const std::string& variable, const std::string& value) {
    m_variables.emplace_back(variable, value);
    return *this;
  }
  Program& Unset(const std::string& variable) {
    m_unset.push_back(variable);
    return *this;
  }
  Program& In(const std::string& directory) {
    m_directory = directory;
    return *this;
  }

  /// Runs the program to its end, which is SIGXFSZ when it has written 16 MiB to one file. The test
  /// fails when it cannot be started.
  ProgramResult Run() const;

 private:
  std::string m_file;
  std::vector<std::string> m_arguments;
  std::vector<std::pair<std::string, std::string>> m_variables;
  std::vector<std::string> m_unset;
  std::string m_directory;
};

}  // namespace bix_test

#endif  // TESTS_SUPPORT_PROGRAM_H_
