// An add-in of a program of the Windows-compatibility layer, a library of the layer's own kind that
// is linked against ours. The library exports an entry of the same name as the one of the add-in,
// which the layer calls: each must keep its own.

#include <cstdio>

#include <windows.h>

#include "bix/bix.h"

extern "C" INT_PTR WINAPI Answer() {
  bix::SString text;
  (void)bix::LoadString(bix::BixhDllInstance, 8, text);
  std::printf("add-in: %s\n", text.c_str());
  return 42;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) std::printf("add-in: attached %d\n", module != nullptr);
  if (reason == DLL_PROCESS_DETACH) std::printf("add-in: detached\n");
  return TRUE;
}
