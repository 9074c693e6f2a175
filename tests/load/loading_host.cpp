// A host that is not linked against the library: loads it by the name given, prints its text 8, and
// closes it when told to.
//
//   bix_loading_host <library> local|global close|keep|late
//
// With "late" it prints something before it leaves, and again when the library has ended.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>

namespace {

void* s_library = nullptr;

void Say(const char* channelName, const char* text) {
  using Append = void* (*)(void* channel, const char* text);
  using Flush = void* (*)(void* channel);
  void* const channel = dlsym(s_library, channelName);
  reinterpret_cast<Append>(dlsym(s_library, "_ZN3bix7CMsgOutlsEPKc"))(channel, text);
  reinterpret_cast<Flush>(dlsym(s_library, "_ZN3bix5flushERNS_7CMsgOutE"))(channel);
}

void SayAllThere(const char* error, const char* output) {
  Say("_ZN3bix6bixerrE", error);
  Say("_ZN3bix6bixoutE", output);
}

void SpeakAfterTheEnd() {
  using Current = void* (*)();
  auto* const current =
      reinterpret_cast<Current>(dlsym(s_library, "_ZN3bix20BixGetResourceHandleEv"));
  std::printf("%s\n", current() == nullptr ? "no current module" : "a current module");
  std::fflush(stdout);
  SayAllThere("an error after the end of the channel\n",
              "an output after the end of the channel\n");
  SayAllThere("another error of the same kind\n", "another output of the same kind\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const int scope = std::strcmp(argv[2], "global") == 0 ? RTLD_GLOBAL : RTLD_LOCAL;
  const bool speaks = std::strcmp(argv[3], "late") == 0;
  // Registered before the library is loaded, it is called after the library's own destructors.
  if (speaks) std::atexit(&SpeakAfterTheEnd);
  void* const library = s_library = dlopen(argv[1], RTLD_NOW | scope);
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
  if (speaks) {
    std::fflush(stdout);
    SayAllThere("an error\n", "an output\n");
  }
  if (std::strcmp(argv[3], "close") == 0) {
    dlclose(library);
    void* const still = dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD);
    std::printf("%s\n", still == nullptr ? "gone" : "loaded");
    if (still != nullptr) dlclose(still);  // the host itself holds on to nothing
  }
  return 0;
}
