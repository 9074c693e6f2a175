// A module whose styles a host ends when the static objects of the library have ended.

#include <cstring>

#include "bix/styles.h"

namespace {

constexpr bix::COption kOptions[] = {{"x", 1, "1"}};

struct Styles {
  bix::CStyleKind kind{"Class", kOptions, 1};
  bix::CStyle base{"Base", &kind, "R", 0, nullptr};
  bix::CStyle style{"A", &kind, "R", 0, &base};
};

Styles* const s_styles = new Styles;  // RunLate deletes them

bool Reads(const bix::CStyle& style, const char* text) {
  return std::strcmp(style.GetValue(style.GetCategoryPath(), "x"), text) == 0;
}

}  // namespace

/// Uses the styles and deletes them; 0 when that went well.
extern "C" __attribute__((visibility("default"))) int RunLate(const char* text) {
  s_styles->base.SetValue(s_styles->base.GetCategoryPath(), "x", text);
  if (!Reads(s_styles->style, text)) return 1;
  {
    const bix::CStyle late("Late", "Class", "R", nullptr);
    if (late.GetStyleKind() != &s_styles->kind) return 2;
  }
  delete s_styles;
  return bix::CStyle::m_listStyleKind.IsEmpty() ? 0 : 3;
}
