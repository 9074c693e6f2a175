// A process that knows the kinds "Class" and "Arrow", in the order of its first argument, and writes
// or shows the styles of a file.
//
// usage: style_process Class,Arrow|Arrow,Class write|show FILE

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bix/stylefile.h"
#include "bix/styles.h"

namespace {

const bix::COption kClassOptions[] = {{"Font", 1, "Sans 10"}, {"Width", 2, "1"}};
const bix::COption kArrowOptions[] = {{"Width", 2, "4"}, {"Head", 1, "open"}};

struct Kinds {
  explicit Kinds(bool arrowsFirst) {
    for (const bool isArrow : {arrowsFirst, !arrowsFirst}) {
      std::unique_ptr<bix::CStyleKind>& kind = isArrow ? arrows : classes;
      kind = isArrow ? std::make_unique<bix::CStyleKind>("Arrow", kArrowOptions, 2)
                     : std::make_unique<bix::CStyleKind>("Class", kClassOptions, 2);
      builtIn.push_back(std::make_unique<bix::CStyle>("Plain", kind.get(), "Suite", 0, nullptr));
    }
  }

  std::unique_ptr<bix::CStyleKind> classes;
  std::unique_ptr<bix::CStyleKind> arrows;
  std::vector<std::unique_ptr<bix::CStyle>> builtIn;
};

void Set(bix::CStyle& style, const char* option, const char* value) {
  style.SetValue(style.GetCategoryPath(), option, value);
}

int Write(const Kinds& kinds, const char* path) {
  bix::CStyle base("Base", kinds.classes.get(), "House", 0, nullptr);
  bix::CStyle bold("Bold", kinds.classes.get(), "House", 0, &base);
  bix::CStyle arrow("Base", kinds.arrows.get(), "House", 0, nullptr);
  bix::CStyle own("Own", kinds.arrows.get(), "Mine", 0, &arrow);
  Set(base, "Font", "Serif 12");
  Set(bold, "Width", "3");
  Set(arrow, "Head", "full");
  Set(own, "Width", "1");
  bix::CStyleList list;
  for (bix::CStyle* style : {&bold, &own, &base, &arrow}) list.AddTail(style);
  bix::CStyleFile file;
  return file.Save(path, &list);
}

int Show(const char* path) {
  bix::CStyleFile file;
  bix::CStyleList list;
  const int result = file.Load(path, &list);
  std::vector<std::unique_ptr<bix::CStyle>> styles;
  for (void* position = list.GetHeadPosition(); position != nullptr;)
    styles.emplace_back(list.GetNext(position));
  for (const auto& style : styles) style->SetInitialValues();
  for (const auto& style : styles)
    style->SetParent(style->GetStyleKind()->GetStyleList()->FindStyle(
        style->GetValue(style->GetCategoryPath(), bix::CStyle::InheritString)));
  for (const auto& style : styles) {
    std::printf("%s", style->GetCategoryPath());
    for (const char* option : {"BasedOn", "Font", "Width", "Head"}) {
      const char* text = style->GetValue(style->GetCategoryPath(), option);
      std::printf("|%s", text != nullptr ? text : "");
    }
    std::printf("\n");
  }
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const Kinds kinds(std::string(argv[1]) == "Arrow,Class");
  return std::string(argv[2]) == "write" ? Write(kinds, argv[3]) : Show(argv[3]);
}
