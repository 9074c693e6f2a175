#include "bix/globfilter.h"

#include <exception>
#include <memory>
#include <utility>

#include "paths/compiled_filter.h"

namespace bix {
namespace {

using impl::CompiledFilter;

/// Takes or makes the filter, uses it and keeps it. The texts may lie in `error`, which therefore
/// changes last.
template <class Use>
bool WithFilter(const char* pattern, SString& error, Use use) {
  try {
    std::unique_ptr<CompiledFilter> filter = impl::Filters().Take(pattern);
    if (filter == nullptr) {
      SString reason;
      filter = CompiledFilter::Compile(pattern, reason);
      if (filter == nullptr) {
        error = std::move(reason);
        return false;
      }
    }
    const bool result = use(*filter);
    impl::Filters().Put(std::move(filter));
    error.clear();
    return result;
  } catch (const std::exception& failure) {
    // Nothing throws to the caller. So short a text needs no memory.
    error = failure.what();
    return false;
  }
}

const char* TextOrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

bool BixGlob::IsAMatch(const char* pattern, const char* name, SString& error) {
  return WithFilter(TextOrEmpty(pattern), error, [name](const CompiledFilter& filter) {
    return filter.Matches(TextOrEmpty(name));
  });
}

bool BixGlob::IsGlobValid(const char* pattern, SString& error) {
  return WithFilter(TextOrEmpty(pattern), error, [](const CompiledFilter&) { return true; });
}

}  // namespace bix
