#include "faults/save_kinds.h"

#include <memory>

#include "bix/settingsfile.h"

namespace bix_test {

namespace {

// More than any buffer on the way, so that one save takes several writes.
const std::string kLongText(150'000, 'L');

SaveKind SettingsKind() {
  SaveKind kind;
  kind.name = "Settings";
  kind.oldText = "\n[Old]\n\n\"a\"=\"1\" \n";
  kind.newText = "\n[General/Editor]\n\n\"Font\"=\"Mono 12\" \n\"Long\"=\"" + kLongText + "\" \n";
  kind.newTextAlone = kind.newText;
  kind.prepare = [](const std::string& path) {
    auto file = std::make_shared<bix::CRgFile>(nullptr);
    file->SetValue("General/Editor", "Font", "Mono 12");
    file->SetValue("General/Editor", "Long", kLongText.c_str());
    return [file, path] { return file->Save(path.c_str()); };
  };
  return kind;
}

}  // namespace

const std::vector<SaveKind>& SaveKinds() {
  static const auto* const kinds = new std::vector<SaveKind>{SettingsKind()};
  return *kinds;
}

}  // namespace bix_test
