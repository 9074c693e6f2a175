#ifndef BIX_SRC_SUPPORT_TEXT_VIEW_H_
#define BIX_SRC_SUPPORT_TEXT_VIEW_H_

/// Texts that hosts hand over: a null pointer counts as the empty text everywhere.

#include <string_view>

namespace bix::impl {

constexpr const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

constexpr std::string_view View(const char* text) { return OrEmpty(text); }

}  // namespace bix::impl

#endif  // BIX_SRC_SUPPORT_TEXT_VIEW_H_
