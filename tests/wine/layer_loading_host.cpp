// A program of the Windows-compatibility layer that is not linked against the library. It loads the
// library named by its argument while it runs, and closes it, twice.

#include <cstdio>

#include <dlfcn.h>

#include "layer_signals.h"

using bix_test::CompareFaults;
using bix_test::CompareSignals;
using bix_test::RepairWrite;

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const char* const file = argv[1];
  AddVectoredExceptionHandler(1, RepairWrite);
  const bix_test::Signals before;
  CompareFaults("before");
  for (const char* round : {"first", "second"}) {
    void* const library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      std::printf("%s\n", dlerror());
      return 1;
    }
    CompareSignals(round, before);
    CompareFaults(round);
    using LoadText = int (*)(void* module, unsigned id, char* buffer, int size);
    auto* const loadText =
        reinterpret_cast<LoadText>(dlsym(library, "_ZN3bix13BixLoadStringEP11HINSTANCE__jPci"));
    void** const module = static_cast<void**>(dlsym(library, "_ZN3bix15BixhDllInstanceE"));
    if (loadText == nullptr || module == nullptr) return 1;
    char text[100] = "<missing>";
    (void)loadText(*module, 8, text, sizeof text);
    std::printf("%s: %s\n", round, text);
    dlclose(library);
    std::printf("%s: %s\n", round,
                dlopen(file, RTLD_NOW | RTLD_NOLOAD) == nullptr ? "gone" : "loaded");
  }
  CompareSignals("after", before);
  CompareFaults("after");
  return 0;
}
