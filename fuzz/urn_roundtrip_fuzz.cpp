// URNs and paths with a map of any content: splitting, resolving and creating against plain models,
// and what is created resolves to where it came from. The input is up to four texts with zero bytes
// between: a map, a URN, a path and a base.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bix/messages.h"
#include "bix/pathname.h"
#include "bix/urn.h"
#include "uri/urn_map.h"

namespace {

using bix::SPathName;
using bix::SString;
using bix::SUrnResolver;
using Status = SUrnResolver::SURNStatus;

void Check(bool isRight, const std::string& input, const char* what) {
  if (isRight) return;
  std::fprintf(stderr, "%s: \"%s\"\n", what, input.c_str());
  std::abort();
}

class Silence : public qv::IMessageOutputHandler {
 public:
  bool HandleOutput(const std::string&) override { return true; }
  void OutputDone() override {}
};

std::string TakeText(std::string& input) {
  const std::size_t end = input.find('\0');
  const std::string text = input.substr(0, end);
  input.erase(0, end == std::string::npos ? end : end + 1);
  return text;
}

std::string Lower(std::string text) {
  for (char& byte : text) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
  }
  return text;
}

void FillMap(const std::string& text) {
  bix::impl::UrnMap& map = bix::impl::Urns();
  map.Clear();
  bix::SVector<SString> entries;
  SUrnResolver::DecodeUrnMap(text, entries);
  for (const SString& entry : entries) {
    SString name;
    SString target;
    SUrnResolver::DecodeUrnMapped(entry, name, target);
    bix::impl::BixInsertUrn(name, target, map);
  }
}

const SString* FindDirectory(const std::string& name) {
  for (const auto& [key, directory] : bix::impl::Urns().All()) {
    if (key == name) return &directory;
  }
  return nullptr;
}

void CheckResolving(const std::string& urn) {
  Status status = SUrnResolver::URN_OK;
  SString name;
  SString rest;
  SUrnResolver::DecodeURN(urn, name, rest, status);
  const std::size_t colon = urn.size() < 4 ? std::string::npos : urn.find(':', 4);
  std::string wantName;
  std::string wantRest;
  Status want = SUrnResolver::URN_NOT_A_URN;
  if (urn.compare(0, 4, "urn:") == 0) {
    want = SUrnResolver::URN_MALFORMED;
    if (colon != std::string::npos) {
      want = SUrnResolver::URN_OK;
      wantName = Lower(urn.substr(4, colon - 4));
      wantRest = urn.substr(colon + 1);
    }
  }
  Check(status == want && name == wantName && rest == wantRest, urn, "decoded otherwise");

  SString path = "old";
  const bool isResolved = SUrnResolver::ResolveUrn(urn, path, status);
  std::string wantPath = urn;
  if (want == SUrnResolver::URN_OK) {
    if (const SString* directory = FindDirectory(wantName))
      wantPath = std::string(SPathName(*directory)) + std::string(SPathName(rest));
    else
      want = SUrnResolver::URN_NOT_REGISTERED;
  }
  Check(status == want && path == wantPath, urn, "resolved otherwise");
  Check(isResolved == (want == SUrnResolver::URN_OK || want == SUrnResolver::URN_NOT_A_URN), urn,
        "another result");
}

/// Each entry in turn, as the rule is told.
std::string ModelUrn(const std::string& path) {
  if (path.empty() || bix::BixIsAUrn(path.c_str()) || bix::BixIsAHalderUri(path.c_str()) ||
      bix::BixIsAOXUri(path.c_str()) || SPathName(SString(path)).empty())
    return path;
  for (const auto& [name, directory] : bix::impl::Urns().All()) {
    const SPathName base(directory);
    if (!base.IsAbsolutePath()) continue;
    SPathName rest{SString(path)};
    rest.MakeRelativePath(base);
    if (rest.IsAbsolutePath() || std::strncmp(rest.c_str(), "..", 2) == 0) continue;
    return "urn:" + name + ":" + rest;
  }
  return path;
}

void CheckCreating(const std::string& path, const std::string& base) {
  SString urn = "old";
  SUrnResolver::CreateUrn(path, urn);
  // Longer paths may lose what has no room.
  if (path.size() < 512 || path.size() >= 1024)
    Check(urn == ModelUrn(path), path, "created otherwise");
  SString relative;
  SUrnResolver::CreateRelativePath(base, path, relative);
  if (bix::BixIsAUrn(urn.c_str()))
    Check(relative == urn, path, "no URN in place of a relative path");
  SString absolute;
  SUrnResolver::CreateAbsolutePath(base, path, absolute);

  const SPathName target{SString(path)};
  if (urn == path || target.empty() || target[0] != '/') return;
  const std::size_t colon = urn.find(':', 4);
  // A NAME that begins with ":" cannot be told apart in a URN.
  if (FindDirectory(urn.substr(4, colon - 4)) == nullptr || urn[4] == ':') return;
  SString back;
  Check(SUrnResolver::ResolveUrn(urn, back), path, "the URN is not resolved");
  const SString* const directory = FindDirectory(urn.substr(4, colon - 4));
  if ((*directory)[0] == '/') Check(back == std::string(target), path, "the URN leads elsewhere");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string input(reinterpret_cast<const char*>(data), size);
  Silence silence;
  bix::bixerr.PushOutput(&silence);
  FillMap(TakeText(input));
  CheckResolving(TakeText(input));
  const std::string path = TakeText(input);
  CheckCreating(path, TakeText(input));
  CheckResolving("urn:" + path);
  bix::bixerr.PopOutput();
  return 0;
}
