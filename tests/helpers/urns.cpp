// Asks for URNs and registers them, one command after the other, as a tool does after it has loaded
// the library.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bix/options.h"
#include "bix/urn.h"

namespace {

using bix::SString;
using bix::SUrnResolver;

bool s_asksAfterTheEnd = false;

void Resolve(const char* urn) {
  SString path;
  SUrnResolver::SURNStatus status = SUrnResolver::URN_MALFORMED;
  const bool isResolved = SUrnResolver::ResolveUrn(urn, path, status);
  std::printf("%s %d %s\n", isResolved ? "true" : "false", status, path.c_str());
}

/// Called when the static objects of the library have ended, if they belong to the program itself.
[[gnu::destructor]] void AskAfterTheEnd() {
  if (!s_asksAfterTheEnd) return;
  Resolve("urn:qv:a");
  std::printf("%s\n", SUrnResolver::IsUrnRegistered("qvuser") ? "known" : "unknown");
  std::fflush(stdout);
}

void Encode() {
  SString text;
  SUrnResolver::EncodeUrnMap(text);
  std::printf("%s\n", text.c_str());
}

constexpr bix::COption kOptions[] = {{"URNMap", 1, ""}, {}};
constexpr bix::COptionSet kSet = {"General", kOptions, 1};
constexpr bix::CCategory kGeneral = {"General", nullptr, 0, &kSet};

/// Reads the user's option from an option file and registers what it says.
bool RegisterOptionOf(const char* file) {
  bix::COptionManager manager;
  manager.AddCategory(&kGeneral);
  if (manager.Load(file) == nullptr) return false;
  SUrnResolver::RegisterURNsFromOptionString(manager.GetValue("General", "URNMap"));
  return true;
}

void ShowVariable() {
  const char* const value = std::getenv("VORN_URN_MAP_FILE");
  std::printf("%s\n", value != nullptr ? value : "<unset>");
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const char* const command = argv[i];
    if (std::strcmp(command, "encode") == 0) {
      Encode();
    } else if (std::strcmp(command, "variable") == 0) {
      ShowVariable();
    } else if (std::strcmp(command, "rebuild") == 0) {
      SUrnResolver::RegisterURNsWithoutOptions();
    } else if (std::strcmp(command, "ask-after-the-end") == 0) {
      s_asksAfterTheEnd = true;
    } else if (std::strcmp(command, "resolve") == 0 && i + 1 < argc) {
      Resolve(argv[++i]);
    } else if (std::strcmp(command, "option") == 0 && i + 1 < argc) {
      SUrnResolver::RegisterURNsFromOptionString(argv[++i]);
    } else if (std::strcmp(command, "option-of") == 0 && i + 1 < argc) {
      if (!RegisterOptionOf(argv[++i])) return 1;
    } else if (std::strcmp(command, "append") == 0 && i + 2 < argc) {
      SUrnResolver::RegisterURNAndSaveURNMapFile(argv[i + 1], argv[i + 2]);
      i += 2;
    } else {
      return 2;
    }
  }
  return 0;
}
