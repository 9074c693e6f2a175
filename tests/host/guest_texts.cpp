// A resource library of the add-in.

#include "bix/stringtable.h"

#define VISIBLE extern "C" __attribute__((visibility("default")))

VISIBLE void InitializeLibResources(HINSTANCE handle) {
  (new bix::SStringTable(handle))->Add(2005, "a text of the guest");
}

VISIBLE void UninitializeLibResources(HINSTANCE handle) { bix::BixUnregisterStringTable(handle); }
