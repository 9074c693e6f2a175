// A host that loads a module and calls its SaveLate with a file when the library has ended.
//
//   bix_late_host <module> <file>

#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>

namespace {

int (*s_saveLate)(const char* file) = nullptr;
const char* s_file = nullptr;

void SaveAfterTheEnd() { std::printf("%d\n", s_saveLate(s_file)); }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  // Registered before the library is loaded, it is called after the library's own destructors.
  std::atexit(&SaveAfterTheEnd);
  void* const module = dlopen(argv[1], RTLD_NOW);
  if (module == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    std::_Exit(3);
  }
  s_saveLate = reinterpret_cast<int (*)(const char*)>(dlsym(module, "SaveLate"));
  s_file = argv[2];
  return 0;
}
