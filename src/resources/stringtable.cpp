#include "bix/stringtable.h"

#include <algorithm>
#include <cstring>

#include "resources/trace.h"

namespace bix {
namespace {

using impl::ReportAt;
using impl::Shown;
using impl::SourcePlace;
using impl::TraceResource;

// Static storage
// The registry exists while any table is registered: it is made for the first one and goes with the
// last, so that it outlives all static objects of other modules and still leaves nothing behind
// when the library is unloaded.
MMap<HINSTANCE, SStringTable*>* _bixStringTableMap = nullptr;
HINSTANCE _bixResourceHandle = nullptr;

SStringTable* FindTable(HINSTANCE module) {
  SStringTable* table = nullptr;
  if (_bixStringTableMap != nullptr) _bixStringTableMap->Lookup(module, table);
  return table;
}

void _BixRegisterStringTable(HINSTANCE module, SStringTable* table) {
  SStringTable* const previous = FindTable(module);
  if (previous == table) return;
  if (previous != nullptr) {
    TraceResource(SourcePlace(), "_BixRegisterStringTable(", Shown(module), ", ", Shown(table),
                  ", ", Shown(previous), ")");
  }
  if (_bixStringTableMap == nullptr) _bixStringTableMap = new MMap<HINSTANCE, SStringTable*>;
  // COMPAT(table-replaced): the table registered before is neither deleted nor remembered.
  // Test: StringTableCompat.ASecondTableReplacesTheFirstForGood
  (*_bixStringTableMap)[module] = table;
}

void _BixUnregisterStringTable(const SStringTable* table) {
  if (_bixStringTableMap == nullptr) return;
  for (void* position = _bixStringTableMap->GetStartPosition(); position != nullptr;) {
    HINSTANCE module = nullptr;
    SStringTable* registered = nullptr;
    _bixStringTableMap->GetNextAssoc(position, module, registered);
    if (registered != table) continue;
    _bixStringTableMap->RemoveKey(module);
    break;
  }
  if (!_bixStringTableMap->IsEmpty()) return;
  delete _bixStringTableMap;
  _bixStringTableMap = nullptr;
}

void ReportMissing(const SourcePlace& place, HINSTANCE module, unsigned int id, const char* what) {
  ReportAt(place, "BixLoadString(", Shown(module), ", ", static_cast<long>(id), "): ", what);
}

}  // namespace

int (*pBixLoadStringMFC)(HINSTANCE module, unsigned int id, SString& out) = nullptr;

SStringTable::SStringTable(HINSTANCE module) {
  TraceResource(SourcePlace(), "SStringTable( ", Shown(module), ", ", Shown(this), ")");
  _BixRegisterStringTable(module, this);
}

SStringTable::~SStringTable() {
  TraceResource(SourcePlace(), "~SStringTable( ", Shown(this), ")");
  _BixUnregisterStringTable(this);
}

void SStringTable::Add(unsigned int id, const char* text) { m_entries[id] = text; }

const char* SStringTable::GetString(unsigned int id) const {
  const char* text = nullptr;
  m_entries.Lookup(id, text);
  return text;
}

int SStringTable::GetString(unsigned int id, char* buffer, int size) const {
  const char* const text = GetString(id);
  if (text == nullptr) return -1;
  const int length = static_cast<int>(std::strlen(text));
  // COMPAT(table-buffer-result): with a buffer the terminator counts, without one it does not.
  // Test: StringTableCompat.TheTerminatorCountsOnlyWithABuffer
  if (buffer == nullptr) return length;
  const int count = std::min(length + 1, size);
  // CHOICE(table-no-room): without room for the terminator nothing is written and the size comes
  // back. Test: StringTableCompat.WithoutRoomNothingIsWritten
  if (count < 1) return count;
  std::memcpy(buffer, text, static_cast<std::size_t>(count - 1));
  buffer[count - 1] = 0;
  return count;
}

int BixLoadString(HINSTANCE module, unsigned int id, SString& out) {
  const SStringTable* const table = FindTable(module);
  if (table == nullptr) {
    if (pBixLoadStringMFC != nullptr) return pBixLoadStringMFC(module, id, out);
    ReportMissing(SourcePlace(), module, id, "handle not found");
    return 0;
  }
  const char* const text = table->GetString(id);
  if (text == nullptr) {
    ReportMissing(SourcePlace(), module, id, "resource not found");
    return 0;
  }
  out = text;
  // COMPAT(load-empty-text): an empty text returns 0, which callers that test the result take for a
  // failure. Test: LoadStringCompat.AnEmptyTextReadsAsAFailure
  return static_cast<int>(out.length());
}

int BixLoadString(HINSTANCE module, unsigned int id, char* buffer, int size) {
  const SStringTable* const table = FindTable(module);
  return table != nullptr ? table->GetString(id, buffer, size) : 0;
}

int BixLoadString(unsigned int id, char* buffer, int size) {
  return BixLoadString(_bixResourceHandle, id, buffer, size);
}

// COMPAT(load-silent): this form reports nothing, and an empty text is a success here.
// Test: LoadStringCompat.TheBoolFormIsSilentAndTakesAnEmptyText
bool LoadStringA(HINSTANCE module, unsigned int id, SString& out) {
  const SStringTable* const table = FindTable(module);
  const char* const text = table != nullptr ? table->GetString(id) : nullptr;
  if (text == nullptr) return false;
  out = text;
  return true;
}

HINSTANCE BixGetResourceHandle() { return _bixResourceHandle; }

// COMPAT(set-handle-returns-new): the new handle is returned, not the one before.
// Test: ResourceHandleCompat.SettingReturnsTheNewHandle
HINSTANCE BixSetResourceHandle(HINSTANCE module) { return _bixResourceHandle = module; }

void BixUnregisterStringTable(HINSTANCE module) {
  TraceResource(SourcePlace(), "BixUnregisterStringTable(", Shown(module), ")");
  delete FindTable(module);
}

}  // namespace bix
