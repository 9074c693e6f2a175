#include "uri/urn_map.h"

#include <string>

#include "bix/directories.h"
#include "bix/pathname.h"
#include "uri/own_message.h"
#include "uri/urn_map_file.h"

namespace bix::impl {
namespace {

// Static storage

// Made by the first who asks for it.
constinit UrnMap* s_urns = nullptr;

/// CHOICE(urn-without-projects): without the user's project directory its name is in the map all the
/// same, with an empty directory. Test: UrnMapAtLoad.WithoutHomeAllSixNamesAreThere
SString DefaultProjects() {
  SPathName path;
  (void)BixGetDefaultUserProjectPath(path);
  return path;
}

struct PredefinedUrn {
  const char* name;
  SString (*directory)();
};

constexpr PredefinedUrn kPredefined[] = {
    {"qv", [] { return SString(BixGetInstallationRoot()); }},
    {"qvuser", [] { return SString(BixGetUserDir()); }},
    {"qvuseraddins", [] { return SString(BixGetUserAddinsDir()); }},
    {"qvteamaddins", [] { return SString(BixGetTeamAddinsDir()); }},
    {"qvcompanyaddins", [] { return SString(BixGetCompanyAddinsDir()); }},
    {"qvvornprojects", &DefaultProjects},
};

void AddFromFile(std::string_view entry, UrnMap& map) {
  std::string_view tag;
  std::string_view value;
  ParseTagValue(entry, tag, value);
  const SString name{std::string(tag)};
  const SString target{std::string(value)};
  // COMPAT(urn-file-capitals): NAME is looked up as it is written and entered in small letters. So
  // "qvuser:/x" is refused and "QvUser:/x" redefines the predefined name, silently.
  // Test: UrnMapFileCompat.ANameWithCapitalsReplacesWhatIsThere
  if (map.Find(name) == nullptr) {
    // COMPAT(urn-file-unchecked): whether the TARGET exists or is absolute is not asked here.
    // Test: UrnMapFileCompat.TargetsAreNotChecked
    BixInsertUrn(name, target, map);
    return;
  }
  // COMPAT(urn-file-names-new-target): the message names what was refused, as it is written, and not
  // what the map has. Test: UrnMapFileCompat.TheMessageNamesTheRefusedTarget
  ReportToUser(OwnMessage(kMsgUrnAlreadyDefined, name, target));
}

/// Adds the entries of the file that the environment names.
void ReadFileOfEnvironment(UrnMap& map) {
  const char* const value = BixGetEnvironmentVariable(SString(kUrnMapVariable));
  if (value == nullptr) return;
  const SString file = value;
  SString text;
  if (ReadUrnMapFile(file, text) != 0) {
    ReportToUser(OwnMessage(kMsgOpenForReadFailed, file));
    return;
  }
  ForEachUrnEntry(text, [&map](std::string_view entry) { AddFromFile(entry, map); });
}

}  // namespace

const SString* UrnMap::Find(std::string_view name) const {
  const auto found = m_directories.find(name);
  return found != m_directories.end() ? found->second : nullptr;
}

void UrnMap::Set(const SString& name, const SString& directory) {
  const auto [entry, isNew] = m_entries.insert_or_assign(name, directory);
  if (!isNew) return;
  try {
    m_directories.emplace(entry->first, &entry->second);
  } catch (...) {
    m_entries.erase(entry);  // it would be listed and never found
    throw;
  }
}

void UrnMap::Clear() {
  m_directories.clear();
  m_entries.clear();
}

UrnMap& Urns() {
  if (s_urns == nullptr) s_urns = new UrnMap;  // UrnMapLifetime deletes it
  return *s_urns;
}

void BixInsertUrn(const SString& name, const SString& target, UrnMap& map) {
  SString key = name;
  key.MakeLower();
  SPathName directory(target);
  directory.AddPathElement("");
  map.Set(key, directory);
}

bool IsPredefinedUrn(const SString& name) {
  for (const PredefinedUrn& predefined : kPredefined) {
    if (name.CompareNoCase(predefined.name) == 0) return true;
  }
  return false;
}

void BuildUrnMap(UrnMap& map) {
  map.Clear();
  for (const PredefinedUrn& predefined : kPredefined)
    BixInsertUrn(predefined.name, predefined.directory(), map);
  ReadFileOfEnvironment(map);
}

void ParseTagValue(std::string_view text, std::string_view& tag, std::string_view& value) {
  const std::size_t colon = text.find(':');
  // COMPAT(urn-entry-colon-first): an entry that begins with ":" is all NAME, the ":" included.
  // Test: UrnMapTextCompat.AnEntryThatBeginsWithAColonIsAllName
  const bool isTag = colon == 0 || colon == std::string_view::npos;
  tag = isTag ? text : text.substr(0, colon);
  value = isTag ? "" : text.substr(colon + 1);
}

UrnMapLifetime::UrnMapLifetime() { BuildUrnMap(Urns()); }

UrnMapLifetime::~UrnMapLifetime() {
  // CHOICE(urn-map-after-end): static objects of other modules may end later and still ask: they
  // find a map without entries. Test: UrnMapAfterItsEnd.KnowsNoName
  delete s_urns;
  s_urns = nullptr;
}

}  // namespace bix::impl
