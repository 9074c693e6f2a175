#include "resources/own_texts.h"

#include "bix/stringtable.h"

namespace bix::impl {
namespace {

struct Entry {
  OwnText id;
  const char* text;
};

// COMPAT(own-texts): translators and hosts know these texts to the letter, with "transfering" and
// with "Error :". Test: OwnTextsCompat.AreSpelledAsHostsKnowThem
constexpr Entry kEnglish[] = {
    {kMsgDuringWrite, "%s: during write of %s"},
    {kMsgDuringRead, "%s: during read of %s"},
    {kMsgInputStreamFailed, "Failed to read from input stream while transfering to %s."},
    {kMsgInputStreamInternalError,
     "Internal error in input stream detected while transfering to %s."},
    {kMsgReadingFromFileFailed, "Error: %s, while reading from file: %s."},
    {kMsgOutputStreamFailed, "Failed to write to output stream while transfering from %s."},
    {kMsgOutputStreamInternalError,
     "Internal error in output stream detected while transfering from %s."},
    {kMsgMyProjects, "My Projects"},
    {kMsgOpenForWriteFailed, "Failed to open '%s' for write."},
    {kMsgOpenForReadFailed, "Failed to open '%s' for read."},
    {kMsgUrnTargetNotFound, "URN '%s', target location not found: '%s'."},
    {kMsgUrnTargetNotAbsolute, "URN '%s', target location must be an absolute path: '%s'."},
    {kMsgUrnUnknown,
     "The URN Name '%s' was not found. Please define it in VORN->Options->General->URNMap."},
    {kMsgUrnAlreadyDefined,
     "The URN name '%s' is already defined to '%s'. Please check environment variable "
     "VORN_URN_MAP_FILE and VORN->Options->General->URNMap."},
    {kMsgUrnTargetNotFoundBecause, "URN '%1', target location not found: '%2'. Error :'%3'."},
    {kMsgFilterInvalid, "The filter '%1' is invalid.\n%2"},
};

}  // namespace

void RegisterOwnTexts(HINSTANCE module) {
  auto* const table =
      new SStringTable(module);  // the registry's; BixUnregisterStringTable deletes it
  for (const Entry& entry : kEnglish) table->Add(entry.id, entry.text);
}

}  // namespace bix::impl
