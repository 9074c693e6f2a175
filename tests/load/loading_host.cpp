// A host that is not linked against the library: loads it by the name given, prints its text 8, and
// closes it when told to.
//
//   bix_loading_host <library> local|global close|keep

#include <cstdio>
#include <cstring>

#include <dlfcn.h>

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const int scope = std::strcmp(argv[2], "global") == 0 ? RTLD_GLOBAL : RTLD_LOCAL;
  void* const library = dlopen(argv[1], RTLD_NOW | scope);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 3;
  }
  using LoadText = int (*)(void* module, unsigned id, char* buffer, int size);
  auto* const loadText =
      reinterpret_cast<LoadText>(dlsym(library, "_ZN3bix13BixLoadStringEP11HINSTANCE__jPci"));
  void** const module = static_cast<void**>(dlsym(library, "_ZN3bix15BixhDllInstanceE"));
  if (loadText == nullptr || module == nullptr) return 4;
  char text[100] = "<missing>";
  (void)loadText(*module, 8, text, sizeof text);
  std::printf("%s\n", text);
  if (std::strcmp(argv[3], "close") == 0) {
    dlclose(library);
    void* const still = dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD);
    std::printf("%s\n", still == nullptr ? "gone" : "loaded");
    if (still != nullptr) dlclose(still);  // the host itself holds on to nothing
  }
  return 0;
}
