// The library's own texts in German, as a translator would ship them; with BIX_GERMAN_KEEPS_TABLE
// it leaves it to others to take its table away. It tells that it goes, where resources are traced.

#include <cstdlib>

#include "bix/library.h"
#include "bix/messages.h"
#include "bix/stringtable.h"

void InitializeLibResources(HINSTANCE module) {
  auto* const table = new bix::SStringTable(module);
  table->Add(8, "Meine Projekte");
  table->Add(10, "'%s' kann nicht gelesen werden.");
}

#ifndef BIX_GERMAN_KEEPS_TABLE
void UninitializeLibResources(HINSTANCE module) {
  if (std::getenv("QRD_DEBUG_RESOURCE") != nullptr)
    bix::bixerr << "The German library goes." << bix::endl << bix::flush;
  bix::BixUnregisterStringTable(module);
}
#endif
