// What a file dialog does: lists a directory that a URN names, keeps what the user's filter matches,
// copies the chosen files, and shows a numbered message where the filter is not valid.
//
// Everything happens under the home directory, which is made for this run where this is a test.

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "bix/bix.h"

namespace {

using bix::BixFileItem;
using bix::SString;

// The messages of this program: numbers 7000 to 7099 under the prefix "PICK".

enum Message : unsigned { kBadFilter = 7001, kCannotCopy = 7002 };

class Messages {
 public:
  Messages() : m_table(Module()), m_handler(7000, 7099) {
    m_table.Add(kBadFilter, "Type another filter.");
    m_table.Add(kCannotCopy, "The copy is not complete.");
    m_handler.SetInstance(Module());
    bix::BixModuleManager::RegisterRange("PICK", 7000, 7099);
    bix::BixModuleManager::RegisterResourceHandler(m_handler);
  }
  ~Messages() { bix::BixModuleManager::UnregisterResourceHandler(m_handler); }

 private:
  HINSTANCE Module() { return reinterpret_cast<HINSTANCE>(this); }

  bix::SStringTable m_table;
  bix::BixResourceHandler m_handler;
};

/// Anybody who knows the number gets the text.
void Show(Message message) {
  SString text;
  if (bix::PvxGetPrefixedString(message, text)) std::printf("  %s\n", text.c_str());
}

void Pick(const char* filter) {
  std::printf("%s\n", filter);
  SString error;
  if (!bix::BixGlob::IsGlobValid(filter, error)) return Show(kBadFilter);

  std::vector<BixFileItem> items;
  BixFileItem::GetFiles("urn:qvuser:picked/*", items);
  for (BixFileItem& item : items) {
    if (item.GetFileType() != 0) continue;
    if (!bix::BixGlob::IsAMatch(filter, item.GetName().c_str(), error)) continue;
    std::printf("  %s\n", item.GetName().c_str());
    if (!bix::BixCopyFile(item.GetFullPath(), item.GetFullPath() + ".bak")) Show(kCannotCopy);
  }
}

}  // namespace

int main() {
  const Messages messages;

  bix::SPathName directory(bix::BixGetUserDir());
  directory.AddPathElement("picked");
  if (!directory.CreateDirectoryA()) return 1;
  for (const char* name : {"house.tot", "garage.tot", "house.txt", "plan?.tot", ".hidden.tot"}) {
    bix::SPathName file = directory;
    file.AddPathElement(name);
    std::ofstream(file.c_str()) << name << '\n';
  }

  Pick("*.tot");
  Pick("plan?.tot");  // "?" is a question mark
  Pick("*.bak");
  Pick("house{2,1}*");

  std::vector<BixFileItem> items;
  BixFileItem(directory).GetFilesList(items);
  std::printf("%zu entries\n", items.size());
  return 0;
}
