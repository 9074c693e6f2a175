#ifndef BIX_LIBRARY_H_
#define BIX_LIBRARY_H_

/// Dynamic libraries, and the choice between a module's own English texts and a resource library in
/// the user's language.
///
///   char manageDll;                                               // names this module
///   HINSTANCE s_module = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&manageDll));
///   HINSTANCE const s_previous = bix::BixGetResourceHandle();
///   HINSTANCE const s_current = bix::BixSetResourceHandle(s_module);  // takes the English texts
///   bix::BixHandleResourceDLL s_resources("TOOL_R.DLL", &RegisterEnglishTexts, s_module);
///   HINSTANCE const s_restored = bix::BixSetResourceHandle(s_previous);
///
/// The library itself exports three plain C functions. "InitializeLibResources" and
/// "UninitializeLibResources", both given a handle, register and unregister its own English texts
/// for that handle. "DllMain", given a handle, a reason and a null pointer, is told 0 when the
/// library has been loaded and 3 when it goes; it has no declaration here because the headers of a
/// Windows-compatibility layer have one of their own.
///
/// Threads: no lock. Libraries are loaded and freed while no other thread loads texts.

#include "bix/hostmacros_off.h"

#include "bix/export.h"
#include "bix/hosttypes.h"
#include "bix/text.h"

/// Exported by each library that has texts: makes its string tables and registers them for the
/// handle. BixLoadLibrary calls it.
extern "C" BIX_EXPORT void InitializeLibResources(HINSTANCE module);

/// Exported by each library that has texts: unregisters its string tables. BixFreeLibrary calls it.
extern "C" BIX_EXPORT void UninitializeLibResources(HINSTANCE module);

namespace bix {

/// Provides a module with its texts for as long as it lives, usually as a static object of the
/// module.
class BIX_EXPORT BixHandleResourceDLL {
 public:
  /// Provides the texts in the language BixGetLocale().
  ///
  ///   "en"           calls `initialize`, unless null, with the current resource handle
  ///   anything else  loads <BixGetLocaleDir()>/<name>, and sets `handle` to the handle of the
  ///                  library loaded: the module finds its texts by that
  ///
  /// A module whose handle is not the current one makes it so for the time of this call; otherwise
  /// its English texts take the place of those of the module that is current.
  ///
  /// The name is used as it stands. There is no fall-back: in another language the English texts
  /// are never registered, whether the library could be loaded or not.
  ///
  /// Owner: `handle` is borrowed for the call.
  /// Errors: a library that cannot be loaded is reported on `bixerr` as
  /// `Loading of resource DLL "<name>" failed.\nError reported: <the loader's text>`;
  /// `handle` stays as it was.
  BixHandleResourceDLL(const char* name, void (*initialize)(HINSTANCE), HINSTANCE& handle);
  BixHandleResourceDLL(const BixHandleResourceDLL&) = delete;
  BixHandleResourceDLL& operator=(const BixHandleResourceDLL&) = delete;

  /// Frees the resource library, if one was loaded, then deletes the string table of the module.
  virtual ~BixHandleResourceDLL();

 private:
  void LoadResourceLibrary(HINSTANCE& handle);

  // Hosts are compiled against the order of these members.
  SString m_name;
  HINSTANCE m_handle;
  HINSTANCE m_library = nullptr;
};

/// Loads a library with all its symbols resolved and global. Then, if it has one of its own, calls
/// its "InitializeLibResources" with the handle. Null means the running program.
///
/// Owner: the caller frees it with BixFreeLibrary.
/// Errors: null; dlerror() then tells why.
BIX_EXPORT HINSTANCE BixLoadLibrary(const char* file);

/// Calls the library's own "UninitializeLibResources" with the handle, if it has one, and closes
/// the library. Does nothing for null.
BIX_EXPORT void BixFreeLibrary(HINSTANCE library);

/// Loads a library like BixLoadLibrary, but calls nothing in it.
///
/// Owner: the caller frees it with BixFreeLibrary or dlclose().
/// Errors: null; dlerror() then tells why.
BIX_EXPORT HINSTANCE BixLoadDynamicLinkLibrary(const char* file);

/// The address of a symbol of a library, or null.
BIX_EXPORT void* BixGetProcAddress(HINSTANCE library, const char* symbol);

/// The last system error number of the calling thread, `errno`.
BIX_EXPORT int BixGetLastError();

/// Turns the bare name of a library into the name of its file, in place.
///
///   "Foo"  => "libfoo.so"
///   "A/B"  => "liba/b.so"
BIX_EXPORT void BixGetDynamicLinkLibraryName(SString& name);

/// Returns its argument. A module makes its handle from the address of one of its objects with it.
BIX_EXPORT HINSTANCE GetDllHandle(HINSTANCE module);

/// The handle by which the library finds its own texts: at first the address of one of its objects;
/// the handle of its resource library when one was loaded. Set once, while the library is loaded;
/// hosts only read it.
extern BIX_EXPORT HINSTANCE BixhDllInstance;

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_LIBRARY_H_
