// The library's own texts in German, as a translator would ship them.

#include "bix/library.h"
#include "bix/stringtable.h"

void InitializeLibResources(HINSTANCE module) {
  auto* const table = new bix::SStringTable(module);
  table->Add(8, "Meine Projekte");
  table->Add(10, "'%s' kann nicht gelesen werden.");
}

void UninitializeLibResources(HINSTANCE module) { bix::BixUnregisterStringTable(module); }
