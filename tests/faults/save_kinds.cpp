#include "faults/save_kinds.h"

#include <memory>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "bix/settingsfile.h"
#include "bix/stylefile.h"
#include "bix/styles.h"

namespace bix_test {

namespace {

// More than any buffer on the way, so that one save takes several writes.
const std::string kLongText(150'000, 'L');

SaveKind SettingsKind() {
  SaveKind kind;
  kind.name = "Settings";
  kind.readsTarget = false;
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

const bix::COption kEditorOptions[] = {
    {"Font", 1, "Sans 10"}, {"Gone", 1, ""}, {"Long", 1, ""}, {}};
const bix::COptionSet kEditorSet = {"Editor", kEditorOptions, 3};
const bix::CCategory kEditor = {"Editor", nullptr, 0, &kEditorSet};
const bix::CCategory* const kBelowGeneral[] = {&kEditor, nullptr};
const bix::CCategory kGeneral = {"General", kBelowGeneral, 1, nullptr};

/// An option file over a file that holds what other components wrote.
SaveKind OptionKind() {
  const std::string ours = "\"Long\"=\"" + kLongText + "\" \n";
  SaveKind kind;
  kind.name = "Option";
  kind.readsTarget = true;
  kind.oldText =
      "\n[General/Editor]\n\n\"Font\"=\"Sans 10\" \n\"Gone\"=\"old\" \n"
      "\"Theirs\"=\"keep me\" (\"a\"=\"1\" )\n"
      "\n[Theirs/Deep] (k=v, l=w)\n\n\"x\"=\"y\" \n";
  kind.newText =
      "\n[General/Editor]\n\n\"Font\"=\"Mono 12\" \n"
      "\"Theirs\"=\"keep me\" (\"a\"=\"1\" )\n" +
      ours + "\n[Theirs/Deep] (k=v, l=w)\n\n\"x\"=\"y\" \n";
  kind.newTextAlone = "\n[General/Editor]\n\n\"Font\"=\"Mono 12\" \n" + ours;
  kind.prepare = [](const std::string& path) {
    auto manager = std::make_shared<bix::COptionManager>();
    manager->AddCategory(&kGeneral);
    auto file = std::make_shared<bix::COptionFile>(manager.get());
    file->SetValue("General/Editor", "Font", "Mono 12");
    file->SetValue("General/Editor", "Long", kLongText.c_str());
    // The file goes before the manager.
    return [manager, file, path] { return file->Save(path.c_str()); };
  };
  return kind;
}

const bix::COption kClassOptions[] = {{"Font", 1, "Sans 10"}, {"Long", 1, ""}, {"Gone", 1, ""}};

/// A style file over one that holds another style and what nobody declares.
SaveKind StyleKind() {
  const std::string ours = "\"Long\"=\"" + kLongText + "\" \n";
  const std::string theirs =
      "\n[House/Styles/Class/Theirs] (Class=Theirs)\n\n\"Font\"=\"Serif\" (\"a\"=\"1\" )\n";
  SaveKind kind;
  kind.name = "Style";
  kind.readsTarget = true;
  kind.oldText =
      "\n[House/Styles/Class/Ours] (Class=Ours)\n\n\"Font\"=\"Sans 11\" \n\"Gone\"=\"old\" \n"
      "\"Later\"=\"keep me\" \n" +
      theirs;
  kind.newTextAlone = "\n[House/Styles/Class/Ours] (Class=Ours)\n\n\"Font\"=\"Mono 12\" \n" + ours;
  kind.newText =
      "\n[House/Styles/Class/Ours] (Class=Ours)\n\n\"Font\"=\"Mono 12\" \n"
      "\"Later\"=\"keep me\" \n" +
      ours + theirs;
  kind.prepare = [](const std::string& path) {
    auto classes = std::make_shared<bix::CStyleKind>("Class", kClassOptions, 3);
    auto style = std::make_shared<bix::CStyle>("Ours", classes.get(), "House", 0, nullptr);
    style->SetValue(style->GetCategoryPath(), "Font", "Mono 12");
    style->SetValue(style->GetCategoryPath(), "Long", kLongText.c_str());
    return [classes, style, path] {
      bix::CStyleList list;
      list.AddTail(style.get());
      bix::CStyleFile file;
      return file.Save(path.c_str(), &list);
    };
  };
  return kind;
}

}  // namespace

const std::vector<SaveKind>& SaveKinds() {
  static const auto* const kinds =
      new std::vector<SaveKind>{SettingsKind(), OptionKind(), StyleKind()};
  return *kinds;
}

}  // namespace bix_test
