// A host with string tables of its own that end while the process exits: one as a static object, one
// only when the static objects of the library have ended.

#include <cstdio>
#include <memory>

#include "bix/stringtable.h"
#include "bix/text.h"

namespace {

const HINSTANCE kStatic = reinterpret_cast<HINSTANCE>(0x10);
const HINSTANCE kLate = reinterpret_cast<HINSTANCE>(0x20);

bix::SStringTable s_static(kStatic);
bix::SStringTable* s_late = nullptr;

void Show(HINSTANCE module) {
  bix::SString text;
  std::puts(bix::LoadStringA(module, 1, text) ? text.c_str() : "no text");
}

__attribute__((destructor)) void EndLate() {
  Show(kStatic);
  Show(kLate);
  delete s_late;
  Show(kLate);
}

}  // namespace

int main() {
  s_late = new bix::SStringTable(kLate);
  s_static.Add(1, "static");
  s_late->Add(1, "late");
  Show(kStatic);
}
