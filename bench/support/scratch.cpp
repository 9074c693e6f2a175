#include "support/scratch.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <stdlib.h>

namespace bix_bench {

ScratchDirectory::ScratchDirectory()
    : m_path(std::filesystem::temp_directory_path() / "bix-bench-XXXXXX") {
  if (mkdtemp(m_path.data()) == nullptr) {
    std::perror(m_path.c_str());
    std::exit(1);
  }
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

ScratchFile::ScratchFile(const std::string& content, const char* name)
    : m_path(m_directory.Path() + "/" + name) {
  std::ofstream file(m_path, std::ios::binary);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) {
    std::perror(m_path.c_str());
    std::exit(1);
  }
}

}  // namespace bix_bench
