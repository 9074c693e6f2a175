#include "support/temp_directory.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

#include <gtest/gtest.h>

namespace bix_test {

TempDirectory::TempDirectory() {
  std::string name =
      (std::filesystem::canonical(std::filesystem::temp_directory_path()) / "bix-test-XXXXXX")
          .string();
  if (mkdtemp(name.data()) == nullptr) {
    ADD_FAILURE() << "no temporary directory: " << name;
    std::abort();
  }
  m_path = name;
}

TempDirectory::~TempDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string ReadWholeFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << "cannot read " << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteWholeFile(const std::string& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  EXPECT_TRUE(file.good()) << "cannot write " << path;
}

bool Exists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

bool IsDirectory(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

}  // namespace bix_test
