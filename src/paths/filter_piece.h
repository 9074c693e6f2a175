#ifndef BIX_PATHS_FILTER_PIECE_H_
#define BIX_PATHS_FILTER_PIECE_H_

/// What stands between two stars of a filter: text, and characters that are repeated.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace bix::impl {

/// Such a piece, and where in a text it matches.
class FilterPiece {
 public:
  /// Where a match may begin.
  enum Start { kAtTheStart, kAnywhere };

  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);
  static constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);

  void AppendText(std::string_view text);
  /// Has the last character stand `least` to `most` times. False when there is none, or when it is
  /// repeated already.
  bool RepeatLast(std::size_t least, std::size_t most);

  /// Whether no character is repeated.
  bool IsText() const { return m_parts.empty(); }
  /// The text, or what of it follows the last character that is repeated.
  const std::string& Text() const { return m_text; }
  /// How many passes over a text it takes to find the piece in it; 0 for a text.
  std::size_t PassCount() const { return IsText() ? 0 : m_parts.size() + 1; }

  /// The end of the match in `text` that ends first, or kNowhere.
  std::size_t FindEnd(std::string_view text, Start start) const;
  /// Whether a match ends where `text` does.
  bool MatchesToTheEnd(std::string_view text, Start start) const;

 private:
  /// A character that is repeated, and the text in front of it.
  struct Part {
    std::string text;
    std::string character;
    std::size_t least;
    std::size_t most;
  };

  std::vector<char> FindEnds(std::string_view text, Start start) const;

  std::vector<Part> m_parts;
  std::string m_text;  // behind them
};

}  // namespace bix::impl

#endif  // BIX_PATHS_FILTER_PIECE_H_
