#include "paths/compiled_filter.h"

#include <cstdint>
#include <cstring>
#include <exception>
#include <utility>

#include "bix/library.h"
#include "bix/messages.h"
#include "bix/stringtable.h"
#include "resources/own_texts.h"
#include "resources/scoped_resource_module.h"

namespace bix::impl {
namespace {

struct Replacement {
  const char* from;
  const char* to;
};

constexpr Replacement kTranslation[] = {
    {"\\", "\\\\"},
    {"^", "\\^"},
    {"$", "\\$"},
    {".", "\\."},
    // COMPAT(glob-question-mark): "?" is a question mark, unlike in other wildcard patterns.
    // Required by existing hosts. Test: GlobFilterCompat.QuestionMarkStandsForItself
    {"?", "\\?"},
    {"*", ".*"},
    {"|", "\\|"},
    {"(", "\\("},
    {")", "\\)"},
    {"[", "\\["},
    {"]", "\\]"},
    {"+", "\\+"},
    // COMPAT(glob-bracket): "]" is escaped twice, so that the filter "a]" matches only "a\]".
    // Required by existing hosts. Test: GlobFilterCompat.ClosingBracketIsEscapedTwice
    {"]", "\\]"},
    // COMPAT(glob-braces): "{" and "}" are not escaped and keep their meaning in a regular
    // expression. Required by existing hosts. Test: GlobFilterCompat.BracesRepeatTheCharacterInFront
};

SString InvalidFilterMessage(const char* filter, const char* reason) {
  const ScopedResourceModule own(BixhDllInstance);
  SFmt format(BixhDllInstance, kMsgFilterInvalid);
  // A "%2" in the filter takes the place of the reason: placeholders are found as plain text.
  format << filter << reason;
  return format.str();
}

/// The regular expression of a filter; false and the message when a step fails.
bool Translate(SString& pattern, SString& error) {
  for (const Replacement& step : kTranslation)
    if (!ReplaceSubString(pattern, step.from, step.to, error)) return false;
  pattern.insert(0, 1, '^');
  pattern += '$';
  return true;
}

}  // namespace

bool ReplaceSubString(UTF8String& text, const char* from, const char* to, SString& error) {
  error.clear();
  try {
    const std::size_t length = std::strlen(from);
    std::size_t found = length != 0 ? text.find(from) : std::string::npos;
    if (found == std::string::npos) return true;
    std::string result;
    std::size_t done = 0;
    for (; found != std::string::npos; found = text.find(from, done)) {
      result.append(text, done, found - done).append(to);
      done = found + length;
    }
    result.append(text, done);
    text.swap(result);
    return true;
  } catch (const std::exception& failure) {
    // CHOICE(glob-replace-failure): the message names the text as far as it is translated, and what
    // failed as the reason. Test: GlobFilterWithoutMemory.AFailedStepNamesTheTextSoFar
    error = InvalidFilterMessage(text.c_str(), failure.what());
    return false;
  }
}

bool NormalizeGlobPatternAndCheckValidity(SString& pattern, SString& error) {
  const SString filter = pattern;
  if (!Translate(pattern, error)) return false;
  const Regex expression(pattern);
  if (expression.Error().empty()) return true;
  error = InvalidFilterMessage(filter.c_str(), expression.Error().c_str());
  return false;
}

std::unique_ptr<CompiledFilter> CompiledFilter::Compile(const char* filter, SString& error) {
  std::unique_ptr<CompiledFilter> compiled(new CompiledFilter(filter));
  SString expression = compiled->m_filter;
  if (!NormalizeGlobPatternAndCheckValidity(expression, error)) return nullptr;
  compiled->m_stars = StarPattern::Parse(compiled->m_filter);
  if (compiled->m_stars && !compiled->m_stars->HasRepetition()) return compiled;

  compiled->m_expression.emplace(expression);
  const std::string& reason = compiled->m_expression->Error();
  if (reason.empty()) return compiled;
  error = "BixGlob: internal error.\n";
  error += InvalidFilterMessage(compiled->m_filter.c_str(), reason.c_str());
  return nullptr;
}

bool CompiledFilter::Matches(const char* name) const {
  // More is left to the engine, which gives up in time.
  constexpr std::size_t kMostWork = 4'000'000;
  if (!m_expression) return m_stars->Matches(name);
  const std::string text = name;
  if (m_stars && m_stars->Work(text.size()) <= kMostWork) return m_stars->Matches(text);
  return m_expression->MatchesWhole(text);
}

FilterCache::Use::Use(FilterCache& cache, const char* filter) : m_filter(filter) {
  std::uint32_t hash = 0;
  for (const char* c = filter; *c != 0; ++c) hash = hash * 33 + static_cast<unsigned char>(*c);
  m_place = &cache.m_places[(hash ^ (hash >> 15)) % kPlaces];
  if (m_place->isInUse.exchange(true, std::memory_order_acquire)) m_place = nullptr;
}

FilterCache::Use::~Use() {
  if (m_place != nullptr) m_place->isInUse.store(false, std::memory_order_release);
}

const CompiledFilter* FilterCache::Use::Find() const {
  if (m_place == nullptr || m_place->filter == nullptr) return nullptr;
  return m_place->filter->Filter() == m_filter ? m_place->filter : nullptr;
}

const CompiledFilter* FilterCache::Use::Keep(std::unique_ptr<CompiledFilter> filter) {
  if (m_place == nullptr) {
    m_own = std::move(filter);
    return m_own.get();
  }
  delete m_place->filter;
  return m_place->filter = filter.release();  // the cache's from here
}

FilterCache::~FilterCache() {
  for (Place& place : m_places) {
    delete place.filter;
    place.filter = nullptr;
  }
}

}  // namespace bix::impl
