// An add-in with texts of its own, written as include/bix/library.h shows it.

#include "bix/library.h"
#include "bix/stringtable.h"

namespace {

void RegisterEnglishTexts(HINSTANCE module) {
  (new bix::SStringTable(module))->Add(8, "The add-in");
}

char manageDll;
HINSTANCE s_module = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&manageDll));
HINSTANCE const s_previous = bix::BixGetResourceHandle();
[[maybe_unused]] HINSTANCE const s_current = bix::BixSetResourceHandle(s_module);
bix::BixHandleResourceDLL s_resources("TOOL_R.DLL", &RegisterEnglishTexts, s_module);
[[maybe_unused]] HINSTANCE const s_restored = bix::BixSetResourceHandle(s_previous);

}  // namespace

extern "C" __attribute__((visibility("default"))) HINSTANCE AddInModule() { return s_module; }
