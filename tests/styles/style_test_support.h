#ifndef TESTS_STYLES_STYLE_TEST_SUPPORT_H_
#define TESTS_STYLES_STYLE_TEST_SUPPORT_H_

/// Kinds, styles and style files that the style tests share.

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bix/optionfile.h"
#include "bix/stylefile.h"
#include "bix/styles.h"
#include "support/temp_directory.h"

namespace bix_test {

inline const bix::COption kClassOptions[] = {
    {"x", 1, "1"}, {"y", 1, "a"}, {"Width", 2, "1"}, {"Font", 1, nullptr}};
inline const bix::COption kArrowOptions[] = {{"x", 1, "7"}, {"Head", 1, "open"}};

/// A text, "(null)" for null.
inline std::string Text(const char* text) { return text != nullptr ? text : "(null)"; }

/// The value of an option of the style's own category.
inline std::string Get(const bix::CStyle& style, const char* option) {
  return Text(style.GetValue(style.GetCategoryPath(), option));
}
inline bool Set(bix::CStyle& style, const char* option, const char* value) {
  return style.SetValue(style.GetCategoryPath(), option, value);
}
/// What the style itself holds for an option, "-" for nothing.
inline std::string Held(const bix::CStyle& style, const char* option) {
  void* position = style.GetFirstFilePosition();
  const char* text = position != nullptr
                         ? style.GetNextFile(position)->GetValue(style.GetCategoryPath(), option)
                         : nullptr;
  return text != nullptr ? text : "-";
}

/// The names of the styles of a list, each followed by a blank.
inline std::string Names(const bix::CStyleList& list) {
  std::string names;
  for (void* position = list.GetHeadPosition(); position != nullptr;)
    names.append(list.GetNext(position)->GetName()).append(" ");
  return names;
}

/// Deletes the styles of a list.
inline void DeleteAll(bix::CStyleList& list) {
  while (void* position = list.GetHeadPosition()) {
    bix::CStyle* style = list.GetAt(position);
    list.RemoveAt(position);
    delete style;
  }
}

/// What a host does with the styles of a file that it has loaded.
inline void Restore(const bix::CStyleList& list) {
  for (void* position = list.GetHeadPosition(); position != nullptr;)
    list.GetNext(position)->SetInitialValues();
  for (void* position = list.GetHeadPosition(); position != nullptr;) {
    bix::CStyle* style = list.GetNext(position);
    if (bix::CStyleKind* kind = style->GetStyleKind())
      style->SetParent(kind->GetStyleList()->FindStyle(
          style->GetValue(style->GetCategoryPath(), bix::CStyle::InheritString)));
  }
}

/// The kinds "Class" and "Arrow", each with a built-in style by which it is found.
class StyleKinds {
 public:
  bix::CStyleKind classKind{"Class", kClassOptions, 4};
  bix::CStyleKind arrowKind{"Arrow", kArrowOptions, 2};
  bix::CStyle builtInClass{"BuiltIn", &classKind, "Suite", 0, nullptr};
  bix::CStyle builtInArrow{"BuiltIn", &arrowKind, "Suite", 0, nullptr};
};

/// A style file that was loaded, with its styles.
class LoadedStyles {
 public:
  explicit LoadedStyles(const std::string& path) : result(file.Load(path.c_str(), &styles)) {}
  LoadedStyles(const LoadedStyles&) = delete;
  LoadedStyles& operator=(const LoadedStyles&) = delete;
  ~LoadedStyles() { DeleteAll(styles); }

  /// The first style of that name; the test fails without one.
  bix::CStyle& operator[](const char* name) {
    bix::CStyle* style = styles.FindStyle(name);
    if (style == nullptr) throw std::runtime_error(std::string("no style ") + name);
    return *style;
  }

  bix::CStyleFile file;
  bix::CStyleList styles;
  const int result;
};

}  // namespace bix_test

#endif  // TESTS_STYLES_STYLE_TEST_SUPPORT_H_
