#ifndef BIX_PATHS_COMPILED_FILTER_H_
#define BIX_PATHS_COMPILED_FILTER_H_

/// Glob filters, translated once and kept.

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "bix/text.h"
#include "paths/regex.h"
#include "paths/star_pattern.h"

namespace bix::impl {

/// Replaces every occurrence of `from` in `text` by `to`. What has been put in is not looked at
/// again; an empty `from` occurs nowhere. `error` is "" afterwards.
///
///   "a.b."  "."  "\."  => "a\.b\."
///
/// Errors: false when there is no memory; `text` is as it was, and `error` is the message of an
/// invalid filter with that text.
bool ReplaceSubString(UTF8String& text, const char* from, const char* to, SString& error);

/// Translates the filter into a regular expression in place, and compiles it.
///
///   "*.tot"  => "^.*\.tot$"
///   "a]"     => "^a\\]$"
///
/// Errors: false for a filter that is not valid; `error` is text 16 with the filter and the
/// engine's reason, and the pattern is translated all the same.
bool NormalizeGlobPatternAndCheckValidity(SString& pattern, SString& error);

/// A valid filter, ready to be matched. One object, one thread.
class CompiledFilter {
 public:
  /// Null and the reason for a filter that is not valid. May throw for want of memory.
  /// Owner: new; the caller deletes it.
  static std::unique_ptr<CompiledFilter> Compile(const char* filter, SString& error);

  const std::string& Filter() const { return m_filter; }
  bool Matches(const char* name) const;

 private:
  explicit CompiledFilter(const char* filter) : m_filter(filter) {}

  std::string m_filter;
  std::optional<StarPattern> m_stars;
  std::optional<Regex> m_expression;  // when the filter repeats, or may repeat, a character
};

/// The filters used last, each in the place of its text. A thread has a place to itself for as long
/// as it uses the filter; nobody waits for it: who finds a place in use works without it.
class FilterCache {
  struct Place;

 public:
  /// A place of the cache in use, or none.
  class Use {
   public:
    Use(FilterCache& cache, const char* filter);
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use();

    /// The compiled form of the filter, or null when it is not there.
    const CompiledFilter* Find() const;
    /// Keeps a filter instead of the one that has the place, or only for this use.
    /// Owner: owned by the cache or by this, valid until this ends.
    const CompiledFilter* Keep(std::unique_ptr<CompiledFilter> filter);

   private:
    const char* const m_filter;
    Place* m_place;                         // null when another thread uses it
    std::unique_ptr<CompiledFilter> m_own;  // without a place
  };

  constexpr FilterCache() = default;
  FilterCache(const FilterCache&) = delete;
  FilterCache& operator=(const FilterCache&) = delete;
  ~FilterCache();

 private:
  static constexpr std::size_t kPlaces = 16;

  struct Place {
    std::atomic<bool> isInUse = false;
    CompiledFilter* filter = nullptr;  // owned
  };

  std::array<Place, kPlaces> m_places{};
};

/// The one cache of the process. Defined with all objects of process lifetime.
FilterCache& Filters();

}  // namespace bix::impl

#endif  // BIX_PATHS_COMPILED_FILTER_H_
