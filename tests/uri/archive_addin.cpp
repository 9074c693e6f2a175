// An add-in with a scheme of its own, written as include/bix/urischeme.h shows it: the files of an
// archive in memory are "halder:<name>", and as plain paths "/halder/<name>".

#include <map>
#include <sstream>
#include <string>

#include "bix/urischeme.h"
#include "bix/urn.h"

namespace {

using bix::SString;

constexpr char kMount[] = "/halder/";

class ArchiveScheme final : public bix::SUriScheme {
 public:
  std::istream* OpenRead(bix::SVector<SString>& errors, const SString& uri) override {
    const auto entry = m_entries.find(NameOf(uri));
    if (entry != m_entries.end()) return new std::istringstream(entry->second);
    errors.push_back("The archive has no '" + NameOf(uri) + "'.");
    return nullptr;
  }
  std::ostream* OpenWrite(bix::SVector<SString>& errors, const SString& uri) override {
    errors.push_back("The archive cannot be changed: '" + NameOf(uri) + "'.");
    return nullptr;
  }
  int GetFormat(const SString& uri) const override {
    return uri.size() > 4 && uri.compare(uri.size() - 4, 4, ".txt") == 0 ? 12 : 0;
  }
  bool CanHandle(const SString& uri) const override {
    return bix::BixIsAHalderUri(uri.c_str()) || uri.compare(0, sizeof kMount - 1, kMount) == 0;
  }
  void GetSchemeDescription(SString& text) const override { text = "Archive"; }
  bool IsReadOnly(const SString& /*uri*/) override { return true; }
  int GetCapabilities() const override { return eRead | eOpenDialog; }
  int OpenDialog(bix::SVector<SString>& /*errors*/, const SString& start, SString& chosen,
                 const SString& /*filter*/) override {
    chosen = start + m_entries.begin()->first;
    return 0;
  }
  int SaveDialog(bix::SVector<SString>&, const SString&, SString&, const SString&) override {
    return 1;
  }
  int DirDialog(bix::SVector<SString>&, const SString&, SString&) override { return 1; }
  int DirectRead(bix::SVector<SString>& /*errors*/, const SString& uri, bix::SVector<void*>& items,
                 const void* /*context*/) override {
    const auto entry = m_entries.find(NameOf(uri));
    if (entry == m_entries.end()) return 1;
    items.push_back(&entry->second);
    return 0;
  }
  int DirectWrite(bix::SVector<SString>& /*errors*/, const SString& uri,
                  const bix::SVector<void*>& items, const void* /*context*/) override {
    m_entries[NameOf(uri)] = *static_cast<const std::string*>(items.at(0));
    return 0;
  }

 private:
  static std::string NameOf(const SString& uri) {
    return uri.substr(bix::BixIsAHalderUri(uri.c_str()) ? 7 : sizeof kMount - 1);
  }

  std::map<std::string, std::string> m_entries = {
      {"notes.txt", "notes of the archive\n"}, {"palettes/warm", "red yellow"}, {"empty", ""}};
};

ArchiveScheme s_archive;

}  // namespace

extern "C" __attribute__((visibility("default"))) void StartAddIn() {
  bix::SUriSchemeManager::Register(s_archive);
}

extern "C" __attribute__((visibility("default"))) void EndAddIn() {
  bix::SUriSchemeManager::UnRegister(s_archive);
}
