#include "paths/filter_piece.h"

#include <cstdint>
#include <cstring>
#include <utility>

namespace bix::impl {
namespace {

// Places of a text are those in front of its bytes and the one behind the last; a list of them has a
// byte for each, which is 1 where a match of what comes before may end.
using Places = std::vector<char>;

bool StandsBefore(std::string_view text, std::size_t place, std::string_view what) {
  return place >= what.size() &&
         std::memcmp(text.data() + place - what.size(), what.data(), what.size()) == 0;
}

/// Where matches end that go on with `what`.
void GoOnWith(std::string_view what, std::string_view text, Places& places) {
  if (what.empty()) return;
  for (std::size_t place = text.size() + 1; place-- > 0;)
    places[place] = StandsBefore(text, place, what) && places[place - what.size()] != 0;
}

/// Where matches end that go on with the character, so many times.
void GoOnWithRepeated(std::string_view character, std::size_t least, std::size_t most,
                      std::string_view text, Places& places) {
  constexpr std::uint32_t kNone = UINT32_MAX;
  // How many of the character stand in front of a place, and how many of these stand between it and
  // the last place where it may begin.
  std::vector<std::uint32_t> count(places.size());
  std::vector<std::uint32_t> sinceStart(places.size());
  const std::size_t size = character.size();
  for (std::size_t place = 0; place < places.size(); ++place) {
    const bool isBehind = StandsBefore(text, place, character);
    count[place] = isBehind ? count[place - size] + 1 : 0;
    sinceStart[place] = kNone;
    if (places[place] != 0)
      sinceStart[place] = 0;
    else if (isBehind && sinceStart[place - size] != kNone)
      sinceStart[place] = sinceStart[place - size] + 1;
  }
  for (std::size_t place = 0; place < places.size(); ++place) {
    places[place] = 0;
    if (count[place] < least) continue;
    const std::uint32_t more = sinceStart[place - least * size];
    places[place] = more != kNone && more <= most - least;
  }
}

}  // namespace

void FilterPiece::AppendText(std::string_view text) { m_text += text; }

bool FilterPiece::RepeatLast(std::size_t least, std::size_t most) {
  if (m_text.empty() || least > most) return false;
  std::size_t start = m_text.size() - 1;
  while (start > 0 && (m_text[start] & 0xC0) == 0x80) --start;  // within a character of UTF-8
  std::string character = m_text.substr(start);
  m_text.resize(start);
  m_parts.push_back({std::exchange(m_text, {}), std::move(character), least, most});
  return true;
}

std::size_t FilterPiece::FindEnd(std::string_view text, Start start) const {
  if (IsText() && start == kAtTheStart)
    return text.substr(0, m_text.size()) == m_text ? m_text.size() : kNowhere;
  if (IsText()) {
    const void* const found = memmem(text.data(), text.size(), m_text.data(), m_text.size());
    if (found == nullptr) return kNowhere;
    return static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) + m_text.size();
  }
  const Places ends = FindEnds(text, start);
  const void* const first = std::memchr(ends.data(), 1, ends.size());
  if (first == nullptr) return kNowhere;
  return static_cast<std::size_t>(static_cast<const char*>(first) - ends.data());
}

bool FilterPiece::MatchesToTheEnd(std::string_view text, Start start) const {
  if (!IsText()) return FindEnds(text, start).back() != 0;
  return start == kAnywhere ? StandsBefore(text, text.size(), m_text) : text == m_text;
}

/// All places where matches end.
std::vector<char> FilterPiece::FindEnds(std::string_view text, Start start) const {
  Places places(text.size() + 1, start == kAnywhere);
  places[0] = 1;
  for (const Part& part : m_parts) {
    GoOnWith(part.text, text, places);
    GoOnWithRepeated(part.character, part.least, part.most, text, places);
  }
  GoOnWith(m_text, text, places);
  return places;
}

}  // namespace bix::impl
