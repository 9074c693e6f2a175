// A host that is not linked against the library. It loads an add-in that is, which brings the library
// with it, uses what the add-in offers, and unloads both.
//
// usage: embedding [ADD-IN]

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <dlfcn.h>

namespace {

/// A library of this process, as long as this lives.
class LoadedLibrary {
 public:
  explicit LoadedLibrary(const char* file) : m_handle(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) std::fprintf(stderr, "%s\n", dlerror());
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  ~LoadedLibrary() {
    if (m_handle != nullptr) dlclose(m_handle);
  }

  bool IsLoaded() const { return m_handle != nullptr; }
  void* Find(const char* symbol) const { return dlsym(m_handle, symbol); }

 private:
  void* const m_handle;
};

bool IsLibraryLoaded() {
  void* const library = dlopen("libbix.so.10", RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) dlclose(library);
  return library != nullptr;
}

/// What the library reads from the environment while it is loaded is settled before.
void PrepareEnvironment(const std::string& home) {
  setenv("HOME", home.c_str(), 1);  // below it the user's directories are made
  for (const char* variable : {"BIX_ERR_OUT", "KESTRANE_ATELAN_LANGUAGE", "VORN_URN_MAP_FILE"})
    unsetenv(variable);
}

bool UseAddIn(const char* file) {
  const LoadedLibrary addIn(file);
  if (!addIn.IsLoaded()) return false;
  std::printf("with the add-in: the library is %s\n", IsLibraryLoaded() ? "there" : "not there");
  using Read = bool(const char* uri, char* buffer, std::size_t size);
  auto* const read = reinterpret_cast<Read*>(addIn.Find("ReadLocation"));
  if (read == nullptr) return false;
  char text[100];
  for (const char* uri : {"palette:warm", "palette:cold"}) {
    const bool isRead = read(uri, text, sizeof text);
    std::printf("%s: %s%s\n", uri, isRead ? "" : "not read. ", text);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  char home[] = "/tmp/bix-embedding-XXXXXX";
  if (mkdtemp(home) == nullptr) return 1;
  PrepareEnvironment(home);
  const bool isUsed = UseAddIn(argc > 1 ? argv[1] : PALETTES);
  std::printf("without the add-in: the library is %s\n",
              IsLibraryLoaded() ? "still there" : "gone");
  std::printf("the user's directories were made: %s\n",
              std::filesystem::exists(home + std::string("/Kestrane/Shared")) ? "yes" : "no");
  std::filesystem::remove_all(home);
  return isUsed ? 0 : 1;
}
