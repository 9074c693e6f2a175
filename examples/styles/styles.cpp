// Styles from end to end: a diagram editor has built-in styles and loads those of a house, which
// inherit from each other and from the built-in ones. The user changes some, and the editor explains
// where values come from. They are saved, and what another tool keeps in the file stays. Then the
// editor starts anew and reads the same values.
//
// Everything is done in a directory of its own.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bix/bix.h"

namespace {

namespace fs = std::filesystem;

// What the editor declares: one kind of styles for each kind of diagram elements.

const bix::COption kClassOptions[] = {
    {"FillColor", 1, "white"}, {"Font", 1, "Sans 10"}, {"LineWidth", 2, "1"}};
const bix::COption kArrowOptions[] = {{"Head", 1, "open"}, {"LineWidth", 2, "1"}};

// The file as the house has delivered it. The kind "Table" belongs to another tool.

constexpr const char* kHouseFile = R"(
[House/Styles/Class/House] (Class=House)

"BasedOn"="Plain" 
"Font"="Serif 11" 

[House/Styles/Class/Abstract] (Class=Abstract)

"BasedOn"="House" 
"FillColor"="ivory" 

[House/Styles/Class/Interface] (Class=Interface)

"BasedOn"="Abstract" 
"LineWidth"=2 

[House/Styles/Table/Wide] (Table=Wide)

"Columns"="12" 
)";

class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    char pattern[] = "/tmp/bix-styles-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
      std::perror("mkdtemp");
      std::exit(EXIT_FAILURE);
    }
    m_path = pattern;
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  std::string File(const char* name) const { return m_path / name; }

 private:
  fs::path m_path;
};

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

void Show(const std::string& text) {
  std::istringstream lines(text.substr(text.find_first_not_of('\n')));
  for (std::string line; std::getline(lines, line);) Print(line);
}

std::string Column(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size() + 1), ' ');
  return text;
}

/// An editor: its kinds, its built-in styles, and the styles of the file that it has opened.
class Editor {
 public:
  explicit Editor(std::string path) : m_path(std::move(path)) {
    bix::CStyleList list;
    const bool isLoaded = m_file.Load(m_path.c_str(), &list) == 0;
    for (void* position = list.GetHeadPosition(); position != nullptr;)
      m_styles.emplace_back(list.GetNext(position));
    if (!isLoaded) std::printf("    the file cannot be read\n");
    // First the values of all, then the parents: a style may stand before the one it is based on.
    for (const auto& style : m_styles) style->SetInitialValues();
    for (const auto& style : m_styles)
      if (bix::CStyleKind* kind = style->GetStyleKind())
        style->SetParent(kind->GetStyleList()->FindStyle(
            style->GetValue(style->GetCategoryPath(), bix::CStyle::InheritString)));
  }

  bix::CStyle* Find(const char* name) { return m_classes.GetStyleList()->FindStyle(name); }
  bix::CStyle* Plain() { return &m_plainClass; }
  bix::CStyleKind* Classes() { return &m_classes; }

  /// A table of every style of the kind "Class".
  void ShowStyles() {
    Print(Column("style", 12) + Column("BasedOn", 11) + Column("FillColor", 11) +
          Column("Font", 11) + "LineWidth");
    const bix::CStyleList& list = *m_classes.GetStyleList();
    for (void* position = list.GetHeadPosition(); position != nullptr;) {
      const bix::CStyle* style = list.GetNext(position);
      std::string line = Column(style->GetName(), 12);
      for (const char* option : {"BasedOn", "FillColor", "Font", "LineWidth"})
        line += Column(style->GetValue(style->GetCategoryPath(), option), 11);
      Print(line);
    }
  }

  int Save() {
    bix::CStyleList list;
    for (const auto& style : m_styles) list.AddTail(style.get());
    return m_file.Save(m_path.c_str(), &list);
  }
  void Keep(bix::CStyle* style) { m_styles.emplace_back(style); }

 private:
  // The built-in styles, by which the kinds are known when a file is loaded.
  bix::CStyleKind m_classes{"Class", kClassOptions, 3};
  bix::CStyleKind m_arrows{"Arrow", kArrowOptions, 2};
  bix::CStyle m_plainClass{"Plain", &m_classes, "Suite", 0, nullptr};
  bix::CStyle m_plainArrow{"Plain", &m_arrows, "Suite", 0, nullptr};
  const std::string m_path;
  bix::CStyleFile m_file;
  std::vector<std::unique_ptr<bix::CStyle>> m_styles;
};

void Change(bix::CStyle* style, const char* option, const char* value) {
  style->SetValue(style->GetCategoryPath(), option, value);
  std::printf("    %s of %s set to \"%s\"\n", option, style->GetName(), value);
}

/// Every style of a chain, and what it says about one option.
void Explain(const bix::CStyle* style, const char* option) {
  const bix::CStyleExplanation explanation = style->Explain(option);
  Print(std::string(option) + " of " + style->GetName() + " is \"" + explanation.value + "\"");
  for (const bix::CStyleExplanation::Level& level : explanation.chain)
    Print("  " + Column(level.name, 12) +
          Column(level.isRedefined ? "\"" + level.text + "\"" : "-", 12) +
          bix::CStyleExplanation::GetText(level.verdict));
}

}  // namespace

int main() {
  const TemporaryDirectory directory;
  const std::string path = directory.File("house.sty");
  std::ofstream(path) << kHouseFile;

  Title("The styles of the house");
  Show(kHouseFile);
  {
    Editor editor(path);
    Title("What the editor sees");
    editor.ShowStyles();

    Title("Where values come from");
    Explain(editor.Find("Interface"), "Font");
    Explain(editor.Find("Interface"), "FillColor");
    Explain(editor.Find("House"), "LineWidth");

    Title("Changes: the styles below follow, unless they say something else themselves");
    Change(editor.Plain(), "FillColor", "grey");
    Change(editor.Find("House"), "LineWidth", "3");
    Change(editor.Find("Interface"), "FillColor", "ivory");
    auto* const user =
        new bix::CStyle("Mine", editor.Classes(), "House", 1, editor.Find("Interface"));
    editor.Keep(user);
    Change(user, "Font", "Mono 12");
    std::printf("\n");
    editor.ShowStyles();

    Title("The file after the save: only what a style redefines, and what belongs to others");
    if (editor.Save() != 0) return EXIT_FAILURE;
    Show(ReadFile(path));
  }
  Title("The editor, started anew");
  Editor editor(path);
  editor.ShowStyles();
  return EXIT_SUCCESS;
}
