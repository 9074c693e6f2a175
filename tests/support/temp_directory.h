#ifndef TESTS_SUPPORT_TEMP_DIRECTORY_H_
#define TESTS_SUPPORT_TEMP_DIRECTORY_H_

/// A directory of the test's own, and whole files in it.

#include <filesystem>
#include <string>
#include <string_view>

namespace bix_test {

/// A fresh directory that goes with all its content. Its path has no symbolic link in it.
class TempDirectory {
 public:
  TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  ~TempDirectory();

  const std::string& Path() const { return m_path; }
  /// The path of an entry of the directory.
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

/// The whole content of a file; the test fails, and "" comes back, when it cannot be read.
std::string ReadWholeFile(const std::string& path);

/// Writes a whole file; the test fails when that is not possible.
void WriteWholeFile(const std::string& path, std::string_view content);

/// Whether something of that name exists, a directory, a file.
bool Exists(const std::string& path);
bool IsDirectory(const std::string& path);

}  // namespace bix_test

#endif  // TESTS_SUPPORT_TEMP_DIRECTORY_H_
