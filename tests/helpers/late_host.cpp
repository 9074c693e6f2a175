// A host that loads a module and calls its RunLate with an argument when the library has ended.
//
//   bix_late_host <module> <argument>

#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>

namespace {

int (*s_runLate)(const char* argument) = nullptr;
const char* s_argument = nullptr;

void RunAfterTheEnd() { std::printf("%d\n", s_runLate(s_argument)); }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  // Registered before the library is loaded, it is called after the library's own destructors.
  std::atexit(&RunAfterTheEnd);
  void* const module = dlopen(argv[1], RTLD_NOW);
  if (module == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    std::_Exit(3);
  }
  s_runLate = reinterpret_cast<int (*)(const char*)>(dlsym(module, "RunLate"));
  s_argument = argv[2];
  return 0;
}
