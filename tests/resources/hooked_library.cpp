// A library with hooks, that tells its test program about each call.

#include "bix/hosttypes.h"

#define VISIBLE __attribute__((visibility("default")))

extern "C" {
VISIBLE void BixTestLog(const char* what, HINSTANCE handle) __attribute__((weak));
VISIBLE int g_initialized = 0;
VISIBLE HINSTANCE g_initializedFor = nullptr;

VISIBLE void InitializeLibResources(HINSTANCE handle) {
  ++g_initialized;
  g_initializedFor = handle;
  if (BixTestLog != nullptr) BixTestLog("Initialize", handle);
}

VISIBLE void UninitializeLibResources(HINSTANCE handle) {
  if (BixTestLog != nullptr) BixTestLog("Uninitialize", handle);
}
}
