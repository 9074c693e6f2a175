// Says when the library calls the predefined option files loaded, in a process where nothing has
// loaded them yet. The argument is the all-users area.

#include <cstdio>
#include <cstdlib>

#include "bix/options.h"

int main(int, char** argv) {
  bix::COptionManager manager;
  const auto tell = [](const char* when) {
    std::printf("%s: %d\n", when, bix::COptionManager::IsPredefinedOptionFilesLoaded() ? 1 : 0);
  };
  tell("at the start");
  unsetenv("ZROOT");
  manager.LoadPredefinedOptionFiles();
  tell("without an all-users directory");
  setenv("ZROOT", argv[1], 1);
  manager.LoadPredefinedOptionFiles();
  tell("loaded");
}
