#ifndef TESTS_LOAD_INSTALLATION_H_
#define TESTS_LOAD_INSTALLATION_H_

/// An installation of the library under test in a directory of the test's own.

#include <filesystem>
#include <string>

#include "support/temp_directory.h"

namespace bix_test {

/// <root>/bin/libbix.so.10 and, when asked for, <root>/locale/de/BIX10_R.DLL.
class Installation {
 public:
  Installation() {
    std::filesystem::create_directory(Bin());
    std::filesystem::create_symlink(BIX_LIBRARY, Library());
  }
  void AddGerman(const std::string& resourceLibrary) {
    std::filesystem::create_directories(m_root / "locale/de");
    std::filesystem::create_symlink(resourceLibrary, m_root / "locale/de/BIX10_R.DLL");
  }

  const std::string& Root() const { return m_root.Path(); }
  std::string Bin() const { return m_root / "bin"; }
  std::string Library() const { return m_root / "bin/libbix.so.10"; }

 private:
  TempDirectory m_root;
};

}  // namespace bix_test

#endif  // TESTS_LOAD_INSTALLATION_H_
