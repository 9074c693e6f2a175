// Options from end to end: an editor declares its options, reads them from the user's and the
// company's files, changes them and saves them, and nothing that belongs to others gets lost.
//
// Everything happens under a temporary home directory, which is removed at the end.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include "bix/bix.h"

namespace {

namespace fs = std::filesystem;

// What the editor declares: constant data, one array of options for each category.

const bix::COption kDisplayOptions[] = {
    {"Font", 1, "Sans 10"}, {"TabWidth", 2, "8"}, {"ShowRuler", 3, "false"}, {}};
const bix::COptionSet kDisplaySet = {"Display", kDisplayOptions, 3};
const bix::CCategory kDisplay = {"Display", nullptr, 0, &kDisplaySet};

const bix::COption kBackupOptions[] = {{"Directory", 1, "backup"}, {"Keep", 2, "5"}, {}};
const bix::COptionSet kBackupSet = {"Backup", kBackupOptions, 2};
const bix::CCategory kBackup = {"Backup", nullptr, 0, &kBackupSet};

const bix::CCategory* const kEditorParts[] = {&kDisplay, &kBackup, nullptr};
const bix::COptionSet kEditorSet = {"Editor", nullptr, 0};
const bix::CCategory kEditor = {"Editor", kEditorParts, 2, &kEditorSet};

// The files as the suite's tools have left them. The sections of the modeller and of the add-in are
// not declared by the editor.

constexpr const char* kInitFile = R"(
[Initial/Predefined]

"OptionFiles"="user.tot;company.tot" 
)";

constexpr const char* kCompanyFile = R"(
[Editor/Display]

"Font"="Sans 11" 

[Editor/Backup]

"Directory"="/srv/backup" ("fixed"="true" )
"Keep"=10 

[Modeller/Grid]

"Width"="12" 
)";

constexpr const char* kUserFile = R"(
[Editor/Display]

"Font"="Mono 12" 
"TabWidth"=4 
"Palette"="solar" ("since"="3.1" )

[Modeller/Grid] (Kind=Base, Color=red)

"Width"="25" 
"Snap"="true" ("fixed"="true" )

[AddIns/Checker/Rules]

"Names with blanks"="are kept, too" 
)";

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
    m_shared = m_path / "zroot/tools/Shared";
    fs::create_directories(m_shared);
    setenv("HOME", m_path.c_str(), 1);
    setenv("ZROOT", (m_path / "zroot").c_str(), 1);
  }
  ~TemporaryHome() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  std::string File(const char* name) const { return m_shared / name; }

 private:
  fs::path m_path;
  fs::path m_shared;
};

void WriteFile(const std::string& file, const char* text) { std::ofstream(file) << text; }

std::string ReadFile(const std::string& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void Title(const char* text) { std::printf("\n== %s\n\n", text); }

/// Prints a line set in, without blanks at its end.
void Print(std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  std::printf(line.empty() ? "%s\n" : "    %s\n", line.c_str());
}

/// Shows a text as it stands, but for empty lines before it.
void Show(const std::string& text) {
  std::istringstream lines(text.substr(std::min(text.find_first_not_of('\n'), text.size())));
  for (std::string line; std::getline(lines, line);) Print(line);
}

std::string Column(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size() + 1), ' ');
  return text;
}

/// What `diff` finds between two texts.
std::string Difference(const TemporaryHome& home, const std::string& before,
                       const std::string& after) {
  WriteFile(home.File("before"), before.c_str());
  WriteFile(home.File("after"), after.c_str());
  const std::string command = "diff -U1 --label 'user.tot before' --label 'user.tot after' " +
                              home.File("before") + " " + home.File("after");
  std::FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return "diff cannot be run\n";
  std::string difference;
  for (int byte; (byte = std::fgetc(pipe)) != EOF;) difference.push_back(static_cast<char>(byte));
  pclose(pipe);
  fs::remove(home.File("before"));
  fs::remove(home.File("after"));
  return difference;
}

std::string BareName(const char* path) { return bix::SPathName(path).GetTail(); }

/// A table of every declared option: its value, and where it comes from.
void ShowOptions(const bix::COptionManager& manager) {
  Print(Column("option", 26) + Column("value", 13) + "from");
  for (const bix::CCategory* category : {&kDisplay, &kBackup}) {
    const std::string path = std::string("Editor/") + category->name;
    for (int i = 0; i < category->optionSet->count; ++i) {
      const char* name = category->optionSet->options[i].name;
      const bix::COptionExplanation explanation = manager.Explain(path.c_str(), name);
      const bix::COptionFile* file = explanation.file;
      const bool isFixed = file != nullptr && file->IsFixed(path.c_str(), name);
      Print(Column(path + "/" + name, 26) + Column(explanation.value, 13) +
            (file != nullptr ? BareName(file->GetPathName()) : "declared default") +
            (isFixed ? ", fixed" : ""));
    }
  }
}

/// Every file of the stack, and what it says about one option.
void ShowExplanation(const bix::COptionManager& manager, const char* category, const char* name) {
  const bix::COptionExplanation explanation = manager.Explain(category, name);
  Print(std::string(category) + "/" + name + " is \"" + explanation.value + "\"");
  for (const bix::COptionExplanation::FileEntry& entry : explanation.files)
    Print("  " + Column(BareName(entry.pathName.c_str()), 13) +
          Column(entry.isHeld ? "\"" + entry.text + "\"" : "-", 15) +
          bix::COptionExplanation::GetText(entry.verdict));
  Print("  " + Column("default", 13) + "\"" + explanation.defaultValue + "\"");
}

void Change(bix::COptionManager& manager, const char* category, const char* name,
            const char* value) {
  const bool isChanged = manager.SetValue(category, name, value);
  std::printf("    set %s/%s to \"%s\": %s\n", category, name, value,
              isChanged ? "done" : "refused");
}

/// Every value of a file with its section and attributes, whoever declares it.
void AppendValues(bix::CRgKey& key, const std::string& path,
                  std::map<std::string, std::string>& all) {
  std::string attributes;
  const auto add = [&attributes](bix::MList<bix::CRgAttribute*>& list) {
    attributes.clear();
    for (void* position = list.GetHeadPosition(); position != nullptr;) {
      const bix::CRgAttribute* attribute = list.GetNext(position);
      attributes += std::string(" (") + attribute->GetName() + "=" + attribute->GetValue() + ")";
    }
    return attributes;
  };
  const std::string section = add(*key.GetAttributeList());
  if (!section.empty()) all["[" + path + "] attributes"] = section.substr(1);
  for (void* position = key.GetFirstValuePosition(); position != nullptr;) {
    bix::CRgValue* value = key.GetNextValue(position);
    all["[" + path + "] " + value->GetName()] = value->GetValue() + add(*value->GetAttributeList());
  }
  for (void* position = key.GetFirstKeyPosition(); position != nullptr;) {
    bix::CRgKey* subKey = key.GetNextKey(position);
    AppendValues(*subKey, path.empty() ? subKey->GetName() : path + "/" + subKey->GetName(), all);
  }
}

std::map<std::string, std::string> AllValues(const std::string& file) {
  bix::CRgFile settings;
  std::map<std::string, std::string> all;
  if (settings.Load(file.c_str()) == 0) AppendValues(*settings.GetKeyRoot(), "", all);
  return all;
}

/// Compares what others keep in the user's file before and after; true when nothing is lost.
bool ShowContentOfOthers(const std::map<std::string, std::string>& before,
                         const std::map<std::string, std::string>& after) {
  bool isWhole = true;
  for (const auto& [place, text] : before) {
    if (place.find("[Editor/") == 0 && place.find("Palette") == place.npos) continue;
    const auto found = after.find(place);
    const bool isKept = found != after.end() && found->second == text;
    isWhole = isWhole && isKept;
    Print(Column(isKept ? "unchanged" : "LOST", 11) + place + " = " + text);
  }
  return isWhole;
}

void ShowBrokenFile(const std::string& file) {
  bix::CRgFile settings;
  if (settings.Load(file.c_str()) == 0) return;
  const bix::CRgLoadError& error = settings.GetLoadError();
  std::printf("    %s:%d:%d: expected %s\n", BareName(file.c_str()).c_str(), error.line,
              error.column, error.expected);
}

}  // namespace

int main() {
  const TemporaryHome home;
  WriteFile(home.File("init.tot"), kInitFile);
  WriteFile(home.File("company.tot"), kCompanyFile);
  WriteFile(home.File("user.tot"), kUserFile);

  Title("The company's file fixes the backup directory");
  Show(kCompanyFile);
  Title("The user's file also holds what other tools keep there");
  Show(kUserFile);

  bix::COptionManager manager("Editor");
  manager.AddCategory(&kEditor);
  manager.LoadPredefinedOptionFiles();

  Title("What the editor sees");
  ShowOptions(manager);

  Title("Why");
  ShowExplanation(manager, "Editor/Display", "Font");
  ShowExplanation(manager, "Editor/Backup", "Directory");

  Title("Changes: a fixed option refuses, one is changed, one is reset to what lies underneath");
  Change(manager, "Editor/Backup", "Directory", "/home/me/backup");
  Change(manager, "Editor/Display", "ShowRuler", "true");
  Change(manager, "Editor/Display", "Font", "Sans 11");

  const std::map<std::string, std::string> before = AllValues(home.File("user.tot"));
  Title("What the save changes in the user's file");
  if (manager.SaveAllFiles() != 0) {
    std::printf("    saving failed\n");
    return EXIT_FAILURE;
  }
  Show(Difference(home, kUserFile, ReadFile(home.File("user.tot"))));

  Title("What belongs to others is still there");
  const bool isWhole = ShowContentOfOthers(before, AllValues(home.File("user.tot")));

  Title("What the editor sees now");
  ShowOptions(manager);

  Title("A broken file tells where it is broken");
  WriteFile(home.File("broken.tot"), "[Editor/Display]\n\n\"Font\"=\"Mono 12\"\n\"TabWidth\" 4\n");
  Show(ReadFile(home.File("broken.tot")));
  std::printf("\n");
  ShowBrokenFile(home.File("broken.tot"));
  return isWhole ? EXIT_SUCCESS : EXIT_FAILURE;
}
