#include "paths/star_pattern.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace bix::impl {
namespace {

/// Whether a "{", digits and what may stand among them, and "}" follow each other somewhere. Every
/// repetition that any engine knows has this form, and some of this form are none.
bool MayRepeat(std::string_view filter) {
  for (std::size_t open = filter.find('{'); open != std::string_view::npos;
       open = filter.find('{', open + 1)) {
    const std::size_t end = filter.find_first_not_of("0123456789, \t", open + 1);
    if (end != std::string_view::npos && filter[end] == '}') return true;
  }
  return false;
}

/// The text that the piece of a filter stands for.
std::string LiteralText(std::string_view piece) {
  std::string text;
  text.reserve(piece.size());
  for (const char c : piece) {
    // The translation escapes it twice, see COMPAT(glob-bracket).
    if (c == ']') text += '\\';
    text += c;
  }
  return text;
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
  if (MayRepeat(filter)) return std::nullopt;
  StarPattern pattern;
  std::size_t feed = filter.find('\n');
  pattern.m_first = ParseLine(filter.substr(0, feed));
  while (feed != std::string_view::npos) {
    const std::size_t start = feed + 1;
    feed = filter.find('\n', start);
    pattern.m_further.push_back(
        ParseLine(filter.substr(start, feed == std::string_view::npos ? feed : feed - start)));
  }
  return pattern;
}

StarPattern::Line StarPattern::ParseLine(std::string_view filter) {
  Line line;
  const std::size_t firstStar = filter.find('*');
  line.prefix = LiteralText(filter.substr(0, firstStar));
  line.length = line.prefix.size();
  if (firstStar == std::string_view::npos) return line;

  line.hasStar = true;
  const std::size_t lastStar = filter.rfind('*');
  line.suffix = LiteralText(filter.substr(lastStar + 1));
  line.length += line.suffix.size();
  for (std::size_t star = firstStar; star != lastStar;) {
    const std::size_t next = filter.find('*', star + 1);
    std::string piece = LiteralText(filter.substr(star + 1, next - star - 1));
    line.length += piece.size();
    if (!piece.empty()) line.between.push_back(std::move(piece));
    star = next;
  }
  return line;
}

bool StarPattern::Line::Matches(std::string_view text) const {
  if (text.size() < length || (!hasStar && text.size() != length)) return false;
  if (!BeginsWith(text, prefix)) return false;
  text.remove_prefix(prefix.size());
  if (!BeginsWith(text.substr(text.size() - suffix.size()), suffix)) return false;
  text.remove_suffix(suffix.size());
  // What is found as early as possible leaves the most to what follows.
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
