#ifndef BIX_PATHS_REGEX_H_
#define BIX_PATHS_REGEX_H_

/// The regular expressions of the glob filters, whatever engine the library is built with. Each
/// engine has a source of its own, and only that one includes the engine's headers.

#include <cstddef>
#include <memory>
#include <string>

namespace bix::impl {

/// A compiled regular expression on UTF-8 text, without any option but that. One object, one
/// thread.
class Regex {
 public:
  explicit Regex(const std::string& expression);
  Regex(const Regex&) = delete;
  Regex& operator=(const Regex&) = delete;
  ~Regex();

  /// Why the expression cannot be compiled, in the engine's words; "" when it has been.
  const std::string& Error() const { return m_error; }

  /// Whether the whole text matches. False also for text that is not valid UTF-8, for an expression
  /// that could not be compiled, and when the engine gives up, see kMatchSteps.
  bool MatchesWhole(const std::string& text) const;

 private:
  struct Engine;

  std::unique_ptr<Engine> m_engine;  // null when it could not be compiled
  std::string m_error;
};

// CHOICE(glob-steps): an expression such as "a{1,}a{1,}a{1,}...b" can keep the engine busy for
// longer than anybody waits, and what the engine allows by itself is far more than a name needs.
// After so many steps the name counts as no match: some ten milliseconds on any machine of today. One
// step may look at all of the name, so that a long one takes its share.
// Test: GlobFilterQuantifiers.AFilterThatBacktracksWithoutEndIsNoMatch
constexpr std::size_t kOrdinaryText = 256;
constexpr unsigned kMatchSteps = 500'000;
inline unsigned MatchSteps(std::size_t textSize) {
  if (textSize <= kOrdinaryText) return kMatchSteps;
  return static_cast<unsigned>(kMatchSteps / (textSize / kOrdinaryText + 1));
}

// How deeply the engine may nest, one level for each wildcard or quantifier of which it may have to
// come back. An engine that nests on the stack takes half a kilobyte for each level.
constexpr unsigned kMatchDepth = 1'000;

}  // namespace bix::impl

#endif  // BIX_PATHS_REGEX_H_
