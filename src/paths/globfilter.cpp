#include "bix/globfilter.h"

#include <exception>
#include <memory>
#include <utility>

#include "paths/compiled_filter.h"

namespace bix {
namespace {

using impl::CompiledFilter;

/// Finds or makes the filter, and asks it. The texts may lie in `error`, which therefore changes
/// last.
template <class Ask>
bool WithFilter(const char* pattern, SString& error, Ask ask) {
  try {
    impl::FilterCache::Use use(impl::Filters(), pattern);
    const CompiledFilter* filter = use.Find();
    if (filter == nullptr) {
      SString reason;
      std::unique_ptr<CompiledFilter> made = CompiledFilter::Compile(pattern, reason);
      if (made == nullptr) {
        error = std::move(reason);
        return false;
      }
      filter = use.Keep(std::move(made));
    }
    const bool result = ask(*filter);
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
