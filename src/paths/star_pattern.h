#ifndef BIX_PATHS_STAR_PATTERN_H_
#define BIX_PATHS_STAR_PATTERN_H_

/// Filters matched without the engine: text, "*", and characters that are repeated.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "paths/filter_piece.h"

namespace bix::impl {

/// Such a filter, cut into its pieces. Matches what the translated filter matches, in time that grows
/// with the name's length times the filter's at most.
class StarPattern {
 public:
  /// Takes a filter whose translation is valid. Nothing when engines may differ about its braces,
  /// or when it repeats line feeds.
  static std::optional<StarPattern> Parse(std::string_view filter);

  /// Whether a character is repeated.
  bool HasRepetition() const { return m_passCount != 0; }
  /// How many bytes are looked at to match a name of `length` bytes, but for text.
  std::size_t Work(std::size_t length) const { return m_passCount * (length + 1); }
  /// Whether the whole name matches. False for a name that is not valid UTF-8.
  bool Matches(std::string_view name) const;

 private:
  /// What stands between two line feeds of the filter: only a line feed matches a line feed, so
  /// the lines of a filter and of a name correspond one to one.
  struct Line {
    bool Matches(std::string_view text) const;
    bool MatchesPieces(std::string_view text) const;

    std::vector<FilterPiece> pieces;  // where a character is repeated; the rest is unused then
    bool hasStar = false;
    std::string prefix;                // all of it without a star
    std::vector<std::string> between;  // not empty ones
    std::string suffix;
    std::size_t length = 0;  // of all pieces
  };

  StarPattern() = default;
  static std::optional<Line> ParseLine(std::string_view filter);
  static Line MakeTextLine(const std::vector<FilterPiece>& pieces);

  Line m_first;
  std::vector<Line> m_further;
  std::size_t m_passCount = 0;
};

/// Whether the text is valid UTF-8: the shortest form of code points up to U+10FFFF without the
/// surrogates.
bool IsValidUtf8(std::string_view text);

}  // namespace bix::impl

#endif  // BIX_PATHS_STAR_PATTERN_H_
