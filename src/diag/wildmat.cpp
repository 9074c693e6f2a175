// Matching by wildcards.
//
// Every element of a pattern but "*" takes exactly one character. So what stands between two stars
// matches best where it matches first, and of all stars only the last one passed is ever tried at a
// further place: no recursion, and no more steps than the product of both lengths.

#include "bix/diagnostics.h"

namespace {

/// How one element of the pattern compares with one character.
enum class Match { kYes, kNo, kInvalid };

/// Reads the members of a class and compares them with one character.
class ClassReader {
 public:
  /// `members` points behind the "[".
  ClassReader(const char* members, char character) : m_cursor(members), m_character(character) {}

  Match Read() {
    const bool isNegated = *m_cursor == '^';
    if (isNegated) ++m_cursor;
    // COMPAT(wildmat-empty-class): "]" closes at once, also right behind "[" and "[^".
    // Test: WildcardCompat.AClassMayBeEmpty
    for (bool isFirst = true; *m_cursor != ']'; isFirst = false) {
      // COMPAT(wildmat-invalid): a class that is not closed matches nothing, whatever it has listed.
      // Test: WildcardCompat.AnInvalidPatternMatchesNothing
      if (*m_cursor == 0) return Match::kInvalid;
      ReadMember(isFirst);
    }
    ++m_cursor;
    return m_isListed != isNegated ? Match::kYes : Match::kNo;
  }

  /// Behind the "]".
  const char* Rest() const { return m_cursor; }

 private:
  // CHOICE(wildmat-dash): a "-" in front of the closing bracket has no character behind it to make a
  // range with, and is one itself; as the first member it matches nothing, and takes the end of its
  // range with it. Test: Wildcard.ADashWithoutAMemberOnBothSides
  void ReadMember(bool isFirst) {
    const char member = *m_cursor++;
    if (member == '-' && isFirst) {
      if (*m_cursor != ']' && *m_cursor != 0) m_previous = *m_cursor++;
      return;
    }
    if (member != '-' || *m_cursor == ']' || *m_cursor == 0) {
      m_previous = member;
      m_isListed = m_isListed || member == m_character;
      return;
    }
    // COMPAT(wildmat-signed): bytes from 80 on come before all others in ranges. The end of a range
    // may begin the next one. Test: WildcardCompat.RangesAreOfSignedBytes
    const auto first = static_cast<signed char>(m_previous);
    m_previous = *m_cursor++;
    const auto character = static_cast<signed char>(m_character);
    m_isListed =
        m_isListed || (first <= character && character <= static_cast<signed char>(m_previous));
  }

  const char* m_cursor;
  const char m_character;
  char m_previous = 0;
  bool m_isListed = false;
};

/// Compares the element at `pattern`, which is not at its end and no "*", with a character, and
/// moves behind the element. `character` is not the terminator.
Match MatchElement(const char*& pattern, char character) {
  switch (const char element = *pattern++) {
    case '?':
      return Match::kYes;
    case '[': {
      ClassReader reader(pattern, character);
      const Match match = reader.Read();
      pattern = reader.Rest();
      return match;
    }
    case '\\':
      if (*pattern == 0) return Match::kInvalid;
      return *pattern++ == character ? Match::kYes : Match::kNo;
    default:
      return element == character ? Match::kYes : Match::kNo;
  }
}

/// Whether the pattern is at its end, stars aside.
bool IsAtEnd(const char* pattern) {
  while (*pattern == '*') ++pattern;
  return *pattern == 0;
}

}  // namespace

int zq_wildmat(const char* text, const char* pattern) {
  // CHOICE(wildmat-null): null is the empty text, and the empty pattern. Test: Wildcard.NullIsEmpty
  if (text == nullptr) text = "";
  if (pattern == nullptr) pattern = "";
  const char* behindStar = nullptr;  // the rest of the pattern behind the last star
  const char* tried = nullptr;       // where in the text that rest was tried last
  while (*text != 0) {
    if (*pattern == '*') {
      if (*++pattern == 0) return 1;
      behindStar = pattern;
      tried = text;
      continue;
    }
    const Match match = *pattern != 0 ? MatchElement(pattern, *text) : Match::kNo;
    if (match == Match::kYes) {
      ++text;
    } else if (match == Match::kInvalid || behindStar == nullptr) {
      return 0;
    } else {
      text = ++tried;
      pattern = behindStar;
    }
  }
  return IsAtEnd(pattern) ? 1 : 0;
}
