#ifndef BIX_STRINGTABLE_H_
#define BIX_STRINGTABLE_H_

/// Numbered texts, one table for each module.
///
///   extern "C" void InitializeLibResources(HINSTANCE module) {
///     auto* table = new bix::SStringTable(module);
///     table->Add(1, "Cannot open '%1'.");
///   }
///
///   bix::SString text;
///   if (bix::BixLoadString(module, 1, text) != 0) Show(text);
///
/// Texts are either printf-style ("%s", see SString::Format) or have numbered parameters ("%1", see
/// SFmt). The user's language decides which library fills the tables, see bix/library.h.
///
/// Owner: a table keeps the pointers to its texts, not copies of them.
/// Encoding: bytes, passed on unchanged.
/// Threads: no lock. Tables are registered and unregistered while no other thread loads texts.
///
/// With the environment variable "QRD_DEBUG_RESOURCE" set, to any value, every operation on tables
/// and resource libraries is traced on `bixerr`.

#include "bix/hostmacros_off.h"

#include "bix/containers.h"
#include "bix/export.h"
#include "bix/hosttypes.h"
#include "bix/text.h"

namespace bix {

/// The texts of one module by number.
class BIX_EXPORT SStringTable {
 public:
  /// Makes an empty table and registers it for `module`. A table registered for it before is
  /// replaced but not deleted.
  explicit SStringTable(HINSTANCE module);
  SStringTable(const SStringTable&) = delete;
  SStringTable& operator=(const SStringTable&) = delete;

  /// Takes the table out of the registry. One that it had replaced does not come back.
  virtual ~SStringTable();

  /// Stores `text` under `id`, in place of any earlier text of that number.
  ///
  /// Owner: the text is borrowed and must outlive the table. Null takes the place of a missing
  /// text.
  void Add(unsigned int id, const char* text);

  /// The text of `id`, or null.
  ///
  /// Owner: whoever gave it to Add.
  const char* GetString(unsigned int id) const;

  /// Copies the text of `id` into `buffer`, cut to `size` bytes, the terminator included.
  ///
  ///   text      buffer   size   result   stored
  ///   "abcdef"  null     any    6
  ///   "abcdef"  b        100    7        "abcdef"
  ///   "abcdef"  b        4      4        "abc"
  ///   "abcdef"  b        0      0        nothing
  ///   absent    any      any    -1       nothing
  int GetString(unsigned int id, char* buffer, int size) const;

 private:
  MMap<unsigned, const char*> m_entries;
};

/// Loads text `id` of `module` into `out` and returns its length in bytes.
///
///   "My Projects"   => 11
///   ""              => 0, and `out` is empty: callers cannot tell it from a failure
///   a missing text  => 0, reported on `bixerr` as
///       "Internal error: file <f>, line <n>: BixLoadString(<module>, <id>): resource not found"
///   no table        => what the hook `pBixLoadStringMFC` returns; without one 0, reported as
///       "Internal error: file <f>, line <n>: BixLoadString(<module>, <id>): handle not found"
///
/// Errors: 0; `out` is left as it was.
BIX_EXPORT int BixLoadString(HINSTANCE module, unsigned int id, SString& out);

/// Copies text `id` of `module` into `buffer`, see SStringTable::GetString. Reports nothing.
///
/// Errors: 0 when the module has no table, -1 when its table has no such text.
BIX_EXPORT int BixLoadString(HINSTANCE module, unsigned int id, char* buffer, int size);

/// The same for the current resource handle.
BIX_EXPORT int BixLoadString(unsigned int id, char* buffer, int size);

/// Loads text `id` of `module` into `out`, an empty one too. Reports nothing.
///
/// Errors: false when the module has no table or its table no such text; `out` is left as it was.
BIX_EXPORT bool LoadStringA(HINSTANCE module, unsigned int id, SString& out);

/// The module whose texts are loaded when no module is named. Null until the library is loaded,
/// then the library's own.
BIX_EXPORT HINSTANCE BixGetResourceHandle();

/// Makes `module` the one whose texts are loaded when no module is named. Returns `module`, not the
/// handle before: keep that with BixGetResourceHandle first.
BIX_EXPORT HINSTANCE BixSetResourceHandle(HINSTANCE module);

/// Deletes the table registered for `module`, if there is one. The table must have been made with
/// `new`.
BIX_EXPORT void BixUnregisterStringTable(HINSTANCE module);

/// Asked for texts of modules that have no table. Null unless a host sets it; its result is the
/// result of BixLoadString.
extern BIX_EXPORT int (*pBixLoadStringMFC)(HINSTANCE module, unsigned int id, SString& out);

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_STRINGTABLE_H_
