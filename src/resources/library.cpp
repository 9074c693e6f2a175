#include "bix/library.h"

#include <cctype>
#include <cerrno>

#include <dlfcn.h>
#include <link.h>

#include "bix/directories.h"
#include "bix/messages.h"
#include "bix/stringtable.h"
#include "resources/trace.h"

namespace bix {
namespace {

using impl::Shown;
using impl::SourcePlace;
using impl::TraceResource;

using ResourceHook = void (*)(HINSTANCE);

/// Calls the hook of that name if the library itself has one.
// COMPAT(library-own-hook): looking a symbol up by a library's handle also finds those of the
// libraries that it is linked against, this one among them: its hook must not be called on behalf
// of a library without texts. Test: LibraryCompat.AHookOfALibraryBeneathIsNotCalled
void CallOwnHook(HINSTANCE library, const char* name) {
  void* const address = dlsym(library, name);
  if (address == nullptr) {
    (void)dlerror();  // having no hook is no error that a caller should find
    return;
  }
  link_map* wanted = nullptr;
  link_map* holder = nullptr;
  Dl_info info = {};
  if (dlinfo(library, RTLD_DI_LINKMAP, &wanted) != 0) return;
  if (dladdr1(address, &info, reinterpret_cast<void**>(&holder), RTLD_DL_LINKMAP) == 0) return;
  if (holder == wanted) reinterpret_cast<ResourceHook>(address)(library);
}

/// Keeps this library loaded until the process ends.
// CHOICE(resource-library-pins): a resource library that is linked against this one keeps it
// loaded, and is freed by its destructors, which would take their own code away while they run. In
// English nothing is loaded, and the library can go at any time.
// Test: ResourceLanguage.AHostThatLoadsTheLibraryByNameExitsCleanly
void KeepLoaded() {
  Dl_info info = {};
  const void* const here = reinterpret_cast<const void*>(&KeepLoaded);
  if (dladdr(here, &info) == 0 || info.dli_fname == nullptr) return;
  (void)dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  (void)dlerror();  // fails where the library is part of the program, which stays anyway
}

}  // namespace

BixHandleResourceDLL::BixHandleResourceDLL(const char* name, void (*initialize)(HINSTANCE),
                                           HINSTANCE& handle)
    : m_name(name), m_handle(handle) {
  TraceResource(SourcePlace(), "BixHandleResourceDLL( ", m_name, ", ", Shown(handle), ", ",
                Shown(this), ")");
  // COMPAT(language-exact): only "en" to the letter is English; "EN" or "en_US" looks for a
  // library. Test: ResourceLanguageCompat.OnlyTheExactNameIsEnglish
  if (SString(BixGetLocale()).Compare("en") != 0) {
    // COMPAT(language-no-fallback): the English texts are not registered in another language, even
    // when the resource library is missing. Test:
    // ResourceLanguageCompat.AMissingLibraryLeavesNoTexts
    LoadResourceLibrary(handle);
    return;
  }
  // COMPAT(language-current-handle): the texts go to the current handle, not to the given one.
  // Test: ResourceGuardCompat.EnglishTextsGoToTheCurrentHandle
  if (initialize != nullptr) initialize(BixGetResourceHandle());
}

BixHandleResourceDLL::~BixHandleResourceDLL() {
  TraceResource(SourcePlace(), "~BixHandleResourceDLL( ", m_name, ", ", Shown(m_handle), ", ",
                Shown(this), ")");
  // COMPAT(guard-free-first): the library goes before its table, whose texts point into it; nothing
  // may load a text in between. Test: ResourceGuardCompat.TheLibraryGoesBeforeItsTable
  if (m_library != nullptr) BixFreeLibrary(m_library);
  BixUnregisterStringTable(m_handle);
}

void BixHandleResourceDLL::LoadResourceLibrary(HINSTANCE& handle) {
  SPathName file(BixGetLocaleDir());
  if (file.empty()) return;
  file.AddPathElement(m_name);
  m_library = BixLoadLibrary(file.c_str());
  if (m_library == nullptr) {
    const char* const reason = dlerror();
    // COMPAT(language-report): without "Internal error: ", and with the name alone, not the file.
    // Test: ResourceLanguageCompat.AMissingLibraryIsReported
    bixerr << "Loading of resource DLL \"" << m_name
           << "\" failed.\nError reported: " << (reason != nullptr ? reason : "") << endl
           << flush;
    return;
  }
  handle = m_handle = m_library;
  KeepLoaded();
}

HINSTANCE BixLoadLibrary(const char* file) {
  HINSTANCE const library = BixLoadDynamicLinkLibrary(file);
  if (library != nullptr) CallOwnHook(library, "InitializeLibResources");
  return library;
}

void BixFreeLibrary(HINSTANCE library) {
  if (library == nullptr) return;
  CallOwnHook(library, "UninitializeLibResources");
  dlclose(library);
}

HINSTANCE BixLoadDynamicLinkLibrary(const char* file) {
  return static_cast<HINSTANCE>(dlopen(file, RTLD_NOW | RTLD_GLOBAL));
}

void* BixGetProcAddress(HINSTANCE library, const char* symbol) { return dlsym(library, symbol); }

int BixGetLastError() { return errno; }

void BixGetDynamicLinkLibraryName(SString& name) {
  for (char& byte : name) byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  // COMPAT(library-name-path): a path is treated like a bare name: "A/B" becomes "liba/b.so".
  // Test: LibraryNameCompat.APathIsTreatedLikeABareName
  name.insert(0, "lib").append(".so");
}

HINSTANCE GetDllHandle(HINSTANCE module) { return module; }

}  // namespace bix
