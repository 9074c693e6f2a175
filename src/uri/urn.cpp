#include "bix/urn.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <sys/stat.h>

#include "bix/diagnostics.h"
#include "bix/pathname.h"
#include "paths/canonicalize.h"
#include "support/scoped_text.h"
#include "uri/own_message.h"
#include "uri/urn_map.h"
#include "uri/urn_map_file.h"

namespace bix {
namespace {

using Status = SUrnResolver::SURNStatus;

constexpr std::string_view kUrnPrefix = "urn:";

// Text of so many bytes or more is no path name.
constexpr std::size_t kPathLimit = 1024;

bool BeginsWith(const char* text, std::string_view start) {
  return text != nullptr && std::strncmp(text, start.data(), start.size()) == 0;
}

/// The parts of a URN: NAME in small letters, and where in `urn` REST begins, which goes to its end.
Status Split(const SString& urn, SString& name, std::size_t& rest) {
  // COMPAT(urn-prefix-case): "URN:" begins no URN, while NAME may be written in any letters.
  // Test: UrnDecodeCompat.OnlyTheNameMayHaveCapitals
  if (!BixIsAUrn(urn.c_str())) return SUrnResolver::URN_NOT_A_URN;
  const std::size_t colon = urn.find(':', kUrnPrefix.size());
  if (colon == SString::npos) return SUrnResolver::URN_MALFORMED;
  // COMPAT(urn-empty-name): "urn::x" is well formed, its NAME is empty.
  // Test: UrnDecodeCompat.ANameMayBeEmpty
  name.assign(urn, kUrnPrefix.size(), colon - kUrnPrefix.size());
  // CHOICE(urn-small-letters): small letters are made as everywhere in the library, by the locale of
  // the moment; in a UTF-8 locale only those of ASCII are concerned.
  // Test: UrnDecode.SmallLettersAreThoseOfTheLocale
  name.MakeLower();
  rest = colon + 1;
  return SUrnResolver::URN_OK;
}

void RegisterFromFile(const SPathName& file) {
  impl::SetUrnMapVariable(file);
  impl::BuildUrnMap(impl::Urns());
}

/// A path against the working directory, which is asked for once.
class FullPaths {
 public:
  /// What full_path_name gives for it, with every "\" as "/".
  std::string Of(std::string_view path) {
    std::string full(path.substr(0, 1) == "/" ? "" : WorkingDirectory());
    full.append(path);
    for (char& byte : full) {
      if (byte == '\\') byte = '/';
    }
    return full;
  }
  /// What of the full path lies below `directory`, which has no "\"; nothing when it lies elsewhere.
  std::optional<std::string_view> Below(std::string_view full, std::string_view directory) {
    if (directory.substr(0, 1) != "/") {
      const std::string start = Of("");
      if (full.substr(0, start.size()) != start) return std::nullopt;
      full.remove_prefix(start.size());
    }
    if (full.substr(0, directory.size()) != directory) return std::nullopt;
    return full.substr(directory.size());
  }

 private:
  const std::string& WorkingDirectory() {
    if (m_workingDirectory.empty()) m_workingDirectory = impl::ScopedText(full_path_name("")).get();
    return m_workingDirectory;
  }

  std::string m_workingDirectory;
};

/// Sets `rest` to `path` as seen from `directory`; false when that is no REST of a URN.
bool MakeRest(const SPathName& path, const SString& directory, SPathName& rest) {
  const SPathName base(directory);
  if (base.empty()) return false;  // too long for a path
  rest = path;
  rest.MakeRelativePath(base);
  // COMPAT(urn-two-dots): whatever begins with ".." is taken for a way out of the directory, a file
  // "..name" too, and a rest such as "ab:c" for a path of its own.
  // Test: UrnCreateCompat.WhatLooksLikeAWayOutDoesNotFit
  return !rest.IsAbsolutePath() && std::strncmp(rest.c_str(), "..", 2) != 0;
}

}  // namespace

void SUrnResolver::RegisterURNsWithoutOptions() {
  SPathName file;
  // COMPAT(urn-first-run): before the first entry is saved there is no such file, and that is
  // reported. Test: UrnRegisterCompat.AMissingFileIsReported
  if (impl::FindUrnMapFile(file)) RegisterFromFile(file);
}

void SUrnResolver::RegisterURNsFromOptionString(const SString& text) {
  SPathName file;
  if (!impl::FindUrnMapFile(file)) return;
  // COMPAT(urn-option-goes-on): the map is built anew whether the entries could be stored or not.
  // Test: UrnOptionCompat.TheMapIsBuiltAnewAlsoAfterAFailure
  impl::WriteUrnMapFile(file, text);
  RegisterFromFile(file);
}

bool SUrnResolver::RegisterUrn(const SString& name, const SString& target) {
  impl::UrnMap& urns = impl::Urns();
  // COMPAT(urn-register-capitals): looked up as it is written and entered in small letters, so
  // "QvUser" replaces "qvuser". Test: UrnRegisterCompat.ANameWithCapitalsReplacesWhatIsThere
  if (const SString* directory = urns.Find(name)) {
    impl::ReportToUser(impl::OwnMessage(impl::kMsgUrnAlreadyDefined, name, *directory));
    return false;
  }
  // COMPAT(urn-register-any-target): a missing or relative target is registered all the same, and
  // what is a URI, "C:/x" too, is not looked at.
  // Test: UrnRegisterCompat.AMissingOrRelativeTargetIsRegistered
  if (!BixIsAUri(target.c_str()) && DoesUrnTargetExist(name, target, true) &&
      !SPathName(target).IsAbsolutePath()) {
    // COMPAT(urn-relative-silent): the message is formatted and not written: users have maps with
    // relative targets, which work from where they are started.
    // Test: UrnRegisterCompat.ARelativeTargetIsNotReported
    (void)impl::OwnMessage(impl::kMsgUrnTargetNotAbsolute, name, target);
  }
  impl::BixInsertUrn(name, target, urns);
  return true;
}

void SUrnResolver::RegisterURNAndSaveURNMapFile(const SString& name, const SString& target) {
  SPathName file;
  if (!impl::FindUrnMapFile(file)) return;
  // COMPAT(urn-append-stops): a failure ends it here, without a new map, unlike with the option
  // text. Test: UrnAppendCompat.AFailureLeavesTheMap
  if (impl::AppendToUrnMapFile(file, name + ":" + target)) RegisterURNsWithoutOptions();
}

// COMPAT(urn-registered-exact): the name is not brought into small letters, so one with a capital is
// never found. Test: UrnRegisterCompat.IsRegisteredAsksForTheNameAsItIs
bool SUrnResolver::IsUrnRegistered(const SString& name) {
  return impl::Urns().Find(name) != nullptr;
}

bool SUrnResolver::CanUrnBeOverridden(const SString& entry) {
  SString name;
  SString target;
  DecodeUrnMapped(entry, name, target);
  return !impl::IsPredefinedUrn(name);
}

void SUrnResolver::DecodeURN(const SString& urn, SString& name, SString& rest, SURNStatus& status) {
  SString decodedName;
  std::size_t restAt = urn.size();
  status = Split(urn, decodedName, restAt);
  // Both are made before one is assigned: the arguments may be the same text.
  SString decodedRest = urn.substr(restAt);
  name = std::move(decodedName);
  rest = std::move(decodedRest);
}

bool SUrnResolver::ResolveUrn(const SString& urn, SString& path, SURNStatus& status) {
  SString name;
  std::size_t restAt = 0;
  status = Split(urn, name, restAt);
  if (status != URN_OK) {
    path = urn;
    return status == URN_NOT_A_URN;
  }
  const SString* const directory = impl::Urns().Find(name);
  if (directory == nullptr) {
    status = URN_NOT_REGISTERED;
    path = urn;
    impl::ReportToUser(impl::OwnMessage(impl::kMsgUrnUnknown, name));
    return false;
  }
  // COMPAT(urn-joined-raw): the two are joined as they are: steps back in REST stay, and so does a
  // "/" at its start. Test: UrnResolveCompat.TheJoinedTextIsNotFolded
  SPathName resolved(*directory);
  resolved.append(SPathName(urn.c_str() + restAt));
  // COMPAT(urn-path-as-text): also a path is given the text as it is, without normalising it.
  // Test: UrnResolveCompat.APathArgumentIsNotNormalised
  path = std::string(std::move(resolved));
  return true;
}

bool SUrnResolver::ResolveUrn(const SString& urn, SString& path) {
  SURNStatus status = URN_MALFORMED;
  return ResolveUrn(urn, path, status);
}

void SUrnResolver::CreateUrn(const SString& path, SString& urn) {
  const SString text = path;
  urn = text;
  if (text.empty() || BixIsAUrn(text.c_str()) || BixIsAHalderUri(text.c_str()) ||
      BixIsAOXUri(text.c_str()))
    return;
  // CHOICE(urn-overlong-path): what is no path name, for it is too long or all of it folds away, stays
  // as it is, and so does a path whose REST would be: an empty text would be the working directory,
  // or the directory of the entry. Test: UrnCreate.AnOverlongPathStays
  const SPathName target(text);
  if (target.empty()) return;
  FullPaths paths;
  const std::string full = paths.Of(target);
  for (const auto& [name, directory] : impl::Urns().All()) {
    if (!impl::IsAbsoluteText(directory.c_str())) continue;
    // What does not begin with the directory would begin with ".." or be absolute when it is made
    // relative to it.
    const auto below = paths.Below(full, directory);
    if (!below || below->size() >= kPathLimit) continue;
    SPathName rest;
    if (!MakeRest(target, directory, rest)) continue;
    // COMPAT(urn-first-fit): the first NAME in byte order wins, not the deepest directory.
    // Test: UrnCreateCompat.TheFirstNameWinsAndNotTheDeepestDirectory
    urn = std::string(kUrnPrefix) + name + ":" + rest;
    return;
  }
}

void SUrnResolver::CreateAbsolutePath(const SString& base, const SString& text, SString& out) {
  const SPathName basePath(base);
  if (BixIsAUrn(text.c_str()) || !basePath.IsAbsolutePath()) {
    out = text;
    return;
  }
  SPathName path(text);
  path.MakeAbsolutePath(basePath);
  out = std::string(std::move(path));
}

void SUrnResolver::CreateRelativePath(const SString& base, const SString& path, SString& out) {
  const SPathName basePath(base);
  SPathName relative(path);
  CreateUrn(path, out);
  if (BixIsAUrn(out.c_str()) || BixIsAHalderUri(out.c_str()) || BixIsAOXUri(out.c_str()) ||
      !basePath.IsAbsolutePath())
    return;
  relative.MakeRelativePath(basePath);
  out = std::string(std::move(relative));
}

bool SUrnResolver::DoesUrnTargetExist(const SString& name, const SString& target, bool report) {
  SString directory = target;
  // COMPAT(urn-target-slash): one "/" goes, and only from more than three characters: "/a/" is asked
  // for as it is. Test: UrnTargetCompat.OneSlashGoesFromMoreThanThreeCharacters
  if (directory.size() > 3 && directory.back() == '/') directory.pop_back();
  struct stat status = {};
  if (::stat(directory.c_str(), &status) != 0) {
    const int error = errno;
    if (report)
      // CHOICE(urn-target-as-given): the user is shown the target as it was given, with its "/".
      // Test: UrnTarget.AMissingOneIsReportedAsItWasGiven
      impl::ReportToUser(impl::OwnNumberedMessage(impl::kMsgUrnTargetNotFoundBecause, name, target,
                                                  bix_strerror(error)));
    return false;
  }
  // COMPAT(urn-target-file-silent): something that is no directory is no target, and no message
  // says so. Test: UrnTargetCompat.AFileIsNoTargetAndNotReported
  return S_ISDIR(status.st_mode);
}

bool SUrnResolver::DoesUrnMappedExist(const SString& entry, bool report) {
  SString name;
  SString target;
  DecodeUrnMapped(entry, name, target);
  return DoesUrnTargetExist(name, target, report);
}

void SUrnResolver::DecodeUrnMap(const SString& text, SVector<SString>& entries) {
  // COMPAT(urn-entries-appended): what the vector holds already stays.
  // Test: UrnMapTextCompat.EntriesAreAppended
  impl::ForEachUrnEntry(
      text, [&entries](std::string_view entry) { entries.emplace_back(std::string(entry)); });
}

void SUrnResolver::DecodeUrnMapped(const SString& entry, SString& name, SString& target) {
  std::string_view tag;
  std::string_view value;
  impl::ParseTagValue(entry, tag, value);
  // Both are made before one is assigned: the arguments may be the same text.
  SString decodedName{std::string(tag)};
  SString decodedTarget{std::string(value)};
  name = std::move(decodedName);
  target = std::move(decodedTarget);
}

void SUrnResolver::EncodeUrnMap(SString& text) {
  std::string encoded;
  for (const auto& [name, directory] : impl::Urns().All()) {
    if (!encoded.empty()) encoded += ';';
    encoded.append(name).append(1, ':').append(directory);
  }
  text = std::move(encoded);
}

bool BixIsAUrn(const char* text) { return BeginsWith(text, kUrnPrefix); }

bool BixIsAHalderUri(const char* text) { return BeginsWith(text, "halder:"); }

bool BixIsAOXUri(const char* text) { return BeginsWith(text, "ox:"); }

}  // namespace bix
