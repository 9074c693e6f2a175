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
  std::optional<Regex> m_expression;  // when the filter holds more than text and stars
};

/// The filters used last. A thread takes a filter out for as long as it uses it, so that there is
/// neither a lock nor waiting: another thread that wants the same one meanwhile makes its own.
class FilterCache {
 public:
  constexpr FilterCache() = default;
  FilterCache(const FilterCache&) = delete;
  FilterCache& operator=(const FilterCache&) = delete;
  ~FilterCache();

  /// The compiled form of `filter`, or null.
  std::unique_ptr<CompiledFilter> Take(const char* filter);
  /// Keeps a filter for the next who wants it, until another one needs the place.
  void Put(std::unique_ptr<CompiledFilter> filter);

 private:
  static constexpr std::size_t kPlaces = 16;

  std::atomic<CompiledFilter*>& PlaceOf(const char* filter);

  std::array<std::atomic<CompiledFilter*>, kPlaces> m_places{};  // owned
};

/// The one cache of the process. Defined with all objects of process lifetime.
FilterCache& Filters();

}  // namespace bix::impl

#endif  // BIX_PATHS_COMPILED_FILTER_H_
