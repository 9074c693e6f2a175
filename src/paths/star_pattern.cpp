#include "paths/star_pattern.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace bix::impl {
namespace {

/// What stands at a "{" of a filter.
struct Braces {
  enum Kind { kText, kRepetition, kUnclear };

  Kind kind = kText;
  std::size_t length = 1;  // with both braces
  std::size_t least = 0;
  std::size_t most = 0;
};

/// Takes the digits at the start of the text; false when there are none.
bool TakeNumber(std::string_view& text, std::size_t& number) {
  constexpr std::size_t kLarge = 1'000'000;  // above what any engine takes
  const std::size_t length = std::min(text.find_first_not_of("0123456789"), text.size());
  number = 0;
  for (const char digit : text.substr(0, length))
    number = std::min(number * 10 + static_cast<std::size_t>(digit - '0'), kLarge);
  text.remove_prefix(length);
  return length != 0;
}

/// Reads the braces at the start of the text. "{n}", "{n,}" and "{n,m}" repeat with every engine. All
/// that any engine repeats holds digits and what may stand among them, and some of that is text.
Braces ReadBraces(std::string_view text) {
  const std::size_t end = text.find_first_not_of("0123456789, \t", 1);
  if (end == std::string_view::npos || text[end] != '}') return {};
  Braces braces{Braces::kUnclear, end + 1};
  std::string_view inside = text.substr(1, end - 1);
  if (!TakeNumber(inside, braces.least)) return braces;
  braces.most = braces.least;
  if (!inside.empty()) {
    if (inside[0] != ',') return braces;
    inside.remove_prefix(1);
    if (!TakeNumber(inside, braces.most)) braces.most = FilterPiece::kNoLimit;
  }
  if (inside.empty()) braces.kind = Braces::kRepetition;
  return braces;
}

bool BeginsWith(std::string_view text, std::string_view start) {
  return std::memcmp(text.data(), start.data(), start.size()) == 0;
}

/// The length of the character at the start of the text, or 0 for a byte that starts none.
std::size_t CharacterLength(const unsigned char* text, std::size_t length) {
  struct Form {
    unsigned char firstLow, firstHigh, secondLow, secondHigh;
    std::size_t length;
  };
  static constexpr Form kForms[] = {
      {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3},
      {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
      {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
  };
  if (text[0] < 0x80) return 1;
  for (const Form& form : kForms) {
    if (text[0] < form.firstLow || text[0] > form.firstHigh) continue;
    if (length < form.length || text[1] < form.secondLow || text[1] > form.secondHigh) return 0;
    for (std::size_t i = 2; i < form.length; ++i)
      if ((text[i] & 0xC0) != 0x80) return 0;
    return form.length;
  }
  return 0;
}

}  // namespace

bool IsValidUtf8(std::string_view text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    // Eight bytes of ASCII at a time.
    for (std::uint64_t block; end - at >= 8; at += sizeof block) {
      std::memcpy(&block, at, sizeof block);
      if ((block & 0x8080808080808080u) != 0) break;
    }
    if (at == end) break;
    const std::size_t length = CharacterLength(reinterpret_cast<const unsigned char*>(at),
                                               static_cast<std::size_t>(end - at));
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::optional<StarPattern> StarPattern::Parse(std::string_view filter) {
  StarPattern pattern;
  for (bool isFirst = true;; isFirst = false) {
    const std::size_t feed = filter.find('\n');
    std::optional<Line> line = ParseLine(filter.substr(0, feed));
    if (!line) return std::nullopt;
    for (const FilterPiece& piece : line->pieces) pattern.m_passCount += piece.PassCount();
    if (isFirst)
      pattern.m_first = std::move(*line);
    else
      pattern.m_further.push_back(std::move(*line));
    if (feed == std::string_view::npos) return pattern;
    filter.remove_prefix(feed + 1);
  }
}

std::optional<StarPattern::Line> StarPattern::ParseLine(std::string_view filter) {
  std::vector<FilterPiece> pieces(1);
  bool isText = true;
  for (std::size_t length; !filter.empty(); filter.remove_prefix(length)) {
    length = 1;
    if (filter[0] == '*') {
      pieces.emplace_back();
      continue;
    }
    const Braces braces = filter[0] == '{' ? ReadBraces(filter) : Braces();
    if (braces.kind == Braces::kText) {
      // The translation escapes it twice, see COMPAT(glob-bracket).
      pieces.back().AppendText(filter[0] == ']' ? "\\]" : filter.substr(0, 1));
      continue;
    }
    if (braces.kind == Braces::kUnclear || !pieces.back().RepeatLast(braces.least, braces.most))
      return std::nullopt;
    isText = false;
    length = braces.length;
  }
  if (isText) return MakeTextLine(pieces);
  Line line;
  line.pieces = std::move(pieces);
  return line;
}

StarPattern::Line StarPattern::MakeTextLine(const std::vector<FilterPiece>& pieces) {
  Line line;
  for (const FilterPiece& piece : pieces) line.length += piece.Text().size();
  line.prefix = pieces.front().Text();
  line.hasStar = pieces.size() > 1;
  if (!line.hasStar) return line;
  line.suffix = pieces.back().Text();
  for (std::size_t i = 1; i + 1 < pieces.size(); ++i)
    if (!pieces[i].Text().empty()) line.between.push_back(pieces[i].Text());
  return line;
}

/// What is found as early as possible leaves the most to what follows.
bool StarPattern::Line::MatchesPieces(std::string_view text) const {
  FilterPiece::Start start = FilterPiece::kAtTheStart;
  for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
    const std::size_t end = pieces[i].FindEnd(text, start);
    if (end == FilterPiece::kNowhere) return false;
    text.remove_prefix(end);
    start = FilterPiece::kAnywhere;
  }
  return pieces.back().MatchesToTheEnd(text, start);
}

bool StarPattern::Line::Matches(std::string_view text) const {
  if (!pieces.empty()) return MatchesPieces(text);
  if (text.size() < length || (!hasStar && text.size() != length)) return false;
  if (!BeginsWith(text, prefix)) return false;
  text.remove_prefix(prefix.size());
  if (!BeginsWith(text.substr(text.size() - suffix.size()), suffix)) return false;
  text.remove_suffix(suffix.size());
  for (const std::string& piece : between) {
    const void* const found = memmem(text.data(), text.size(), piece.data(), piece.size());
    if (found == nullptr) return false;
    const char* const behind = static_cast<const char*>(found) + piece.size();
    text.remove_prefix(static_cast<std::size_t>(behind - text.data()));
  }
  return true;
}

bool StarPattern::Matches(std::string_view name) const {
  // A piece begins and ends between characters, and so does where it is found in valid UTF-8.
  if (!IsValidUtf8(name)) return false;
  const void* feed = std::memchr(name.data(), '\n', name.size());
  if (feed == nullptr) return m_further.empty() && m_first.Matches(name);
  const auto lineEnd = [&] {
    return feed == nullptr ? name.size()
                           : static_cast<std::size_t>(static_cast<const char*>(feed) - name.data());
  };
  if (!m_first.Matches(name.substr(0, lineEnd()))) return false;
  for (const Line& line : m_further) {
    if (feed == nullptr) return false;
    name.remove_prefix(lineEnd() + 1);
    feed = std::memchr(name.data(), '\n', name.size());
    if (!line.Matches(name.substr(0, lineEnd()))) return false;
  }
  return feed == nullptr;
}

}  // namespace bix::impl
