#include "support/private_home.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <unistd.h>

#include "support/private_home_start.h"

namespace bix_test {

std::string PrivateHome() {
  const char* home = std::getenv(kPrivateHomeVariable);
  return home != nullptr ? home : "";
}

void RemovePrivateHome() {
  const std::string home = PrivateHome();
  // The variable may be inherited, or set by hand to a directory that is to stay.
  const std::string mine = kPrivateHomeStem + std::to_string(getpid()) + "-";
  const std::size_t stem = home.rfind('/');
  if (stem == std::string::npos || home.compare(stem, mine.size(), mine) != 0) return;
  std::error_code ignored;
  std::filesystem::remove_all(home, ignored);
}

}  // namespace bix_test
