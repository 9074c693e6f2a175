// A text that the C library's malloc() made, with an owner.
#ifndef BIX_SRC_SUPPORT_SCOPED_TEXT_H_
#define BIX_SRC_SUPPORT_SCOPED_TEXT_H_

#include <cstdlib>
#include <memory>

namespace bix::impl {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

/// Releases its text with free().
using ScopedText = std::unique_ptr<char, FreeText>;

}  // namespace bix::impl

#endif  // BIX_SRC_SUPPORT_SCOPED_TEXT_H_
