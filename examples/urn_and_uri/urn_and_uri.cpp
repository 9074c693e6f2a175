// Locations from end to end: a team's directory gets a name, URNs lead to its files and back, files
// are written and read through the one entry point for all kinds of locations, and an add-in brings a
// kind of its own.
//
// Everything happens under a temporary home directory, which is removed at the end.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <istream>
#include <iterator>
#include <map>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>

#include "bix/bix.h"

namespace {

namespace fs = std::filesystem;

using bix::SString;
using bix::SUrnResolver;

// A home directory for this run.

class TemporaryHome {
 public:
  TemporaryHome() {
    char pattern[] = "/tmp/bix-demo-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
      std::perror("mkdtemp");
      std::exit(EXIT_FAILURE);
    }
    m_path = pattern;
    setenv("HOME", pattern, 1);
  }
  ~TemporaryHome() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  std::string operator/(const char* name) const { return m_path + "/" + name; }

  /// A text with "~" for the home directory, the same in every run.
  std::string InShort(std::string text) const {
    for (std::size_t at = 0; (at = text.find(m_path, at)) != text.npos;)
      text.replace(at, m_path.size(), 1, '~');
    return text;
  }

 private:
  std::string m_path;
};

const TemporaryHome* s_home = nullptr;

void Title(const char* text) { std::printf("\n== %s\n\n", text); }

void Print(const std::string& line) { std::printf("    %s\n", s_home->InShort(line).c_str()); }

/// Shows among the program's own output what the library reports.
class ShownReports final : public qv::IMessageOutputHandler {
 public:
  ShownReports() { bix::bixerr.PushOutput(this); }
  ShownReports(const ShownReports&) = delete;
  ShownReports& operator=(const ShownReports&) = delete;
  ~ShownReports() { bix::bixerr.PopOutput(); }

  bool HandleOutput(const std::string& text) override {
    Print("  reported: " + text.substr(0, text.find_last_not_of('\n') + 1));
    return true;
  }
  void OutputDone() override {}
};

// What a tool does with locations. It never asks what kind they are.

void ShowErrors(const bix::SVector<SString>& errors) {
  for (const SString& error : errors) Print("  error: " + error);
  if (errors.empty()) Print("  nobody can open it");
}

bool Save(const SString& location, const char* text) {
  Print("write " + location);
  bix::SVector<SString> errors;
  const std::unique_ptr<std::ostream> stream(bix::SUri.OpenWrite(errors, location));
  if (stream == nullptr) {
    ShowErrors(errors);
    return false;
  }
  *stream << text;
  return !stream->fail();  // the end of the stream writes the file
}

void Show(const SString& location) {
  Print("read " + location);
  bix::SVector<SString> errors;
  const std::unique_ptr<std::istream> stream(bix::SUri.OpenRead(errors, location));
  if (stream == nullptr) {
    ShowErrors(errors);
    return;
  }
  for (std::string line; std::getline(*stream, line);) Print("  | " + line);
}

void ShowPath(const char* urn) {
  SString path;
  if (SUrnResolver::ResolveUrn(urn, path)) Print(urn + std::string(" is ") + path);
}

void ShowUrn(const std::string& path) {
  SString urn;
  SUrnResolver::CreateUrn(path, urn);
  Print(path + " is " + urn);
}

// What an add-in brings: an archive that exists in memory only. Its locations are "halder:<name>".

class ArchiveScheme final : public bix::SUriScheme {
 public:
  std::istream* OpenRead(bix::SVector<SString>& errors, const SString& uri) override {
    const auto entry = m_entries.find(uri.substr(kPrefixLength));
    if (entry != m_entries.end()) return new std::istringstream(entry->second);
    errors.push_back("The archive has no '" + uri.substr(kPrefixLength) + "'.");
    return nullptr;
  }
  std::ostream* OpenWrite(bix::SVector<SString>&, const SString&) override { return nullptr; }
  int GetFormat(const SString&) const override { return 0; }
  bool CanHandle(const SString& uri) const override { return bix::BixIsAHalderUri(uri.c_str()); }
  void GetSchemeDescription(SString& text) const override { text = "Archive"; }
  bool IsReadOnly(const SString&) override { return true; }
  int GetCapabilities() const override { return eRead; }
  int OpenDialog(bix::SVector<SString>&, const SString&, SString&, const SString&) override {
    return 1;
  }
  int SaveDialog(bix::SVector<SString>&, const SString&, SString&, const SString&) override {
    return 1;
  }
  int DirDialog(bix::SVector<SString>&, const SString&, SString&) override { return 1; }
  int DirectRead(bix::SVector<SString>&, const SString&, bix::SVector<void*>&,
                 const void*) override {
    return 1;
  }
  int DirectWrite(bix::SVector<SString>&, const SString&, const bix::SVector<void*>&,
                  const void*) override {
    return 1;
  }

 private:
  static constexpr std::size_t kPrefixLength = 7;

  const std::map<std::string, std::string> m_entries = {
      {"palettes/warm.pal", "red\norange\nyellow\n"}, {"readme", "An archive in memory.\n"}};
};

/// Registered as long as the add-in is loaded.
class AddIn {
 public:
  AddIn() { bix::SUriSchemeManager::Register(m_scheme); }
  AddIn(const AddIn&) = delete;
  AddIn& operator=(const AddIn&) = delete;
  ~AddIn() { bix::SUriSchemeManager::UnRegister(m_scheme); }

 private:
  ArchiveScheme m_scheme;
};

}  // namespace

int main() {
  const TemporaryHome home;
  s_home = &home;
  const ShownReports reports;
  fs::create_directories(home / "team/palettes");

  Title("A team's directory gets a name, kept in the map file");
  SUrnResolver::RegisterURNAndSaveURNMapFile("team", home / "team");
  Show(home / "Kestrane/Shared/urnmap.txt");

  Title("URNs and paths");
  ShowPath("urn:team:palettes/cold.pal");
  ShowPath("urn:TEAM:palettes/cold.pal");
  ShowPath("urn:qvuser:settings.tot");
  ShowPath("/a/plain/path");
  ShowPath("urn:teem:palettes/cold.pal");
  ShowUrn(home / "team/palettes/cold.pal");
  ShowUrn(home / "elsewhere/cold.pal");

  Title("Files, by path or by URN");
  bool isWell = Save("urn:team:palettes/cold.pal", "blue\ngreen\n");
  Show(home / "team/palettes/cold.pal");
  Show("urn:team:palettes/cold.pal");

  Title("What cannot be opened");
  Show("urn:team:palettes/warm.pal");
  isWell = !Save("urn:team:no/such/directory/file", "text") && isWell;
  Show("urn:teem:palettes/cold.pal");
  Show("halder:readme");

  {
    const AddIn addIn;
    Title("With an add-in there are locations of another kind");
    Show("halder:readme");
    Show("halder:missing");
    Print(std::string("halder:readme is ") +
          (bix::SUri.IsReadOnly("halder:readme") ? "read-only" : "writable"));

    Title("URNs lead there, too");
    SUrnResolver::RegisterUrn("shipped", "halder:palettes");
    ShowPath("urn:shipped:warm.pal");
    Show("urn:shipped:warm.pal");
  }

  Title("When the add-in has gone, so have its locations");
  Show("urn:shipped:warm.pal");
  return isWell ? EXIT_SUCCESS : EXIT_FAILURE;
}
