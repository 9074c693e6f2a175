// What the library does when it is loaded and unloaded, from top to bottom and back: every object
// with process lifetime that needs construction stands here, in the order in which it must exist.
// They end in reverse. Everything else in the library is constant-initialised.
//
// Loading is cheap and throws nothing. It writes only what "BIX_ERR_OUT", the language and
// "VORN_URN_MAP_FILE" ask for, and it creates the user's directories.

#include <cstdint>
#include <cstdlib>

#include "bix/diagnostics.h"
#include "bix/library.h"
#include "bix/messages.h"
#include "bix/stringtable.h"
#include "bix/styles.h"
#include "bix/urischeme.h"
#ifdef BIX_WITH_JAVA
#include "java/java_tables.h"
#endif
#include "misc/marker_storage.h"
#include "paths/compiled_filter.h"
#include "registry/block_memory.h"
#include "resources/directory_state.h"
#include "resources/own_texts.h"
#include "resources/resource_manager.h"
#include "styles/style_registry.h"
#include "uri/composite_scheme.h"
#include "uri/file_scheme.h"
#include "uri/urn_map.h"

namespace {

/// Why DllMain is called.
// COMPAT(dllmain-reasons): 0 is loading and 3 unloading, unlike the numbers of a
// Windows-compatibility layer; everything but 0 does nothing. Test:
// LibraryEntryCompat.OnlyReasonZeroSetsTheHandleAndOnlyOnce
enum DllReason : std::uint32_t { kDllLoaded = 0, kDllUnloaded = 3 };

/// Told when the library comes and goes. Reached directly, past the exported name, which a host may
/// have one of its own of.
int HandleDllReason(HINSTANCE module, std::uint32_t reason) {
  if (reason == kDllLoaded && bix::BixhDllInstance == nullptr) bix::BixhDllInstance = module;
  return 1;
}

}  // namespace

extern "C" BIX_EXPORT int DllMain(HINSTANCE module, std::uint32_t reason, void* /*reserved*/) {
  return HandleDllReason(module, reason);
}

void InitializeLibResources(HINSTANCE module) { bix::impl::RegisterOwnTexts(module); }

void UninitializeLibResources(HINSTANCE module) { bix::BixUnregisterStringTable(module); }

namespace bix {
namespace {

// The texts that the directory functions hand out: changed by those functions only. They are here
// before and after everything that may ask for a directory.
impl::DirectoryState s_directories;

// The glob filters used last: changed by BixGlob only. Nothing else needs them.
impl::FilterCache s_filters;

/// Kinds of styles that nobody destroys.
union KeptStyles {
  constexpr KeptStyles() : registry() {}
  ~KeptStyles() {}
  impl::StyleRegistry registry;
};

/// Called behind the destructors of all static objects.
[[gnu::destructor(101)]] void EndKeptBlocks() { impl::EndKeptBlocks(); }

// The kinds of the live styles: changed by styles and kinds as they come and go.
// CHOICE(styles-after-end): objects of a host that own styles may end after the library's, so the
// lists stay; the last style to go leaves nothing in them. Test:
// StylesAtTheEnd.MayGoWhenTheLibraryHasEnded
constinit KeptStyles s_styles;

// The sets of marked addresses: has nothing to do before it releases those that are left.
impl::MarkerStorage s_markers;

}  // namespace

const MList<CStyleKind*>& CStyle::m_listStyleKind = s_styles.registry.kinds;

namespace {

// Whether the channels have ended once. Set while the library ends.
bool s_areChannelsRevived = false;

}  // namespace

/// Keeps the channels usable while the process exits.
// CHOICE(channel-after-end): static objects of other modules may end after the library's and still
// print, or have the library report something. So the channels are made anew in their places,
// without handlers and log, and end for good with the library's very last code.
// Test: ChannelAfterItsEnd.IsShownOnTheConsole
class impl::LateChannels {
 public:
  constexpr LateChannels() = default;
  LateChannels(const LateChannels&) = delete;
  LateChannels& operator=(const LateChannels&) = delete;
  ~LateChannels() {
    CMsgOut::Revive(bixerr);
    CMsgOut::Revive(bixout);
    s_areChannelsRevived = true;
  }
};

namespace {

// Has nothing to do before the channels have ended.
impl::LateChannels s_lateChannels;

/// Called behind the destructors of all static objects, when nobody is left to print.
[[gnu::destructor(101)]] void EndChannels() {
  if (!s_areChannelsRevived) return;
  bixout.~CMsgOut();
  bixerr.~CMsgOut();
}

}  // namespace

// Whether traces are printed: "QRD_TRACE" is read now. Hosts may change it.
// COMPAT(trace-read-at-load): set to anything, also to nothing; a later change of the variable has
// no effect. Test: TraceCompat.SettingIsReadWhenTheLibraryIsLoaded
bool qrd_trace = std::getenv("QRD_TRACE") != nullptr;

// The error channel: reads "BIX_ERR_OUT" now. Hosts install their handlers and take them off again.
CMsgOut bixerr(CMsgOut::Error);

// The channel for normal output, under the same rule.
CMsgOut bixout(CMsgOut::Normal);

// The handle by which the library finds its own texts: set by manageDll, replaced by s_hrd when
// that loads a resource library.
HINSTANCE BixhDllInstance = nullptr;

namespace {

/// Its address is the library's own handle.
class ManageDll {
 public:
  ManageDll() { HandleDllReason(Handle(), kDllLoaded); }
  ManageDll(const ManageDll&) = delete;
  ManageDll& operator=(const ManageDll&) = delete;
  ~ManageDll() { HandleDllReason(Handle(), kDllUnloaded); }

  HINSTANCE Handle() { return GetDllHandle(reinterpret_cast<HINSTANCE>(this)); }
};

/// Makes the library's handle the current resource handle for as long as the library is loaded.
class OwnResourceHandle {
 public:
  OwnResourceHandle() : _dhs(BixGetResourceHandle()) { BixSetResourceHandle(BixhDllInstance); }
  OwnResourceHandle(const OwnResourceHandle&) = delete;
  OwnResourceHandle& operator=(const OwnResourceHandle&) = delete;
  ~OwnResourceHandle() { BixSetResourceHandle(_dhs); }

 private:
  HINSTANCE const _dhs;  // what was current before
};

// Names this library. Never changed.
ManageDll manageDll;

// The current resource handle. Changed by BixSetResourceHandle alone.
OwnResourceHandle s_ownResourceHandle;

// The library's own texts: the compiled-in English ones or a resource library. Never changed.
// COMPAT(own-handle-not-current): the current handle is set before, and stays what it is when a
// resource library replaces BixhDllInstance. Test:
// ResourceLanguageCompat.TheCurrentHandleStaysWithoutTexts
BixHandleResourceDLL _hrd("BIX10_R.DLL", &impl::RegisterOwnTexts, BixhDllInstance);

// The directories behind the NAMEs of URNs: the predefined ones and those of the file that
// "VORN_URN_MAP_FILE" names now. Changed by the registering operations of SUrnResolver.
// COMPAT(urn-map-at-load): finding the predefined directories creates some of them, and the default
// map file is not read before a host asks for it. Test:
// UrnMapAtLoadCompat.OnlyTheFileOfTheEnvironmentIsRead
impl::UrnMapLifetime s_urnMap;

/// Called behind the destructors of all static objects.
[[gnu::destructor(101)]] void EndResourceManager() { CResourceManager::End(); }

// The scheme of plain files. Never changed.
impl::SDefaultFileScheme s_fileScheme;

/// Registers the file scheme, before there is any other.
class FileSchemeRegistrator {
 public:
  FileSchemeRegistrator() { SUriSchemeManager::Register(s_fileScheme); }
};

FileSchemeRegistrator s_fileSchemeRegistrator;

/// Called behind the destructors of all static objects.
// CHOICE(file-scheme-end): the file scheme stays registered until the library's very last code, so
// static objects of other modules that end after the library's can still save their files.
// Test: UriSchemesAtTheEnd.FilesAreOpenedByWhatEndsAfterTheLibrary
[[gnu::destructor(101)]] void EndFileScheme() { SUriSchemeManager::UnRegister(s_fileScheme); }

// What stands for all schemes. Never changed.
impl::CCompositeScheme s_compositeScheme;

}  // namespace

SUriScheme& SUri = s_compositeScheme;

#ifdef BIX_WITH_JAVA

namespace {

/// Made when the library is loaded, and then left as it is.
// CHOICE(java-after-end): threads of Java's machine may call the bridge while the process exits, so
// that its tables stay as they are. They are not even locked at the end: a machine that ends first
// stops its threads wherever they are, also in a wrapper's constructor, where they hold the mutex.
// Test: JavaAfterTheEnd.TheBridgeStillWorks
union JavaTablesWithoutEnd {
  JavaTablesWithoutEnd() : tables() {}
  JavaTablesWithoutEnd(const JavaTablesWithoutEnd&) = delete;
  JavaTablesWithoutEnd& operator=(const JavaTablesWithoutEnd&) = delete;
  ~JavaTablesWithoutEnd() {}

  impl::JavaTables tables;
};

// The wrappers of native objects in Java and the creators of those in native code: changed by the
// functions of the Java bridge.
JavaTablesWithoutEnd s_javaTables;

}  // namespace

impl::JavaTables& impl::Tables() { return s_javaTables.tables; }

#endif  // BIX_WITH_JAVA

impl::DirectoryState& impl::Directories() { return s_directories; }

impl::FilterCache& impl::Filters() { return s_filters; }

impl::StyleRegistry& impl::Styles() { return s_styles.registry; }

}  // namespace bix
