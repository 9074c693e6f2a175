// The operations of SString that take their text by number: declared with the class, defined here,
// where the string tables are.

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "bix/stringtable.h"
#include "bix/text.h"

namespace bix {
namespace {

/// More words than any reordered text takes are handed to the formatter: nine of the caller's, then
/// zeros.
constexpr std::size_t kPassedWords = 9;
constexpr std::size_t kAllWords = 64;

/// The number of conversions: each '%' that is not half of a "%%".
std::size_t CountConversions(const SString& text) {
  std::size_t count = 0;
  for (const char* cursor = text.c_str(); *cursor != '\0'; ++cursor) {
    if (*cursor != '%') continue;
    if (cursor[1] == '%')
      ++cursor;
    else
      ++count;
  }
  return count;
}

/// A format without "%$n" references, and the argument that each of its conversions takes.
struct ReorderedFormat {
  std::string format;
  std::vector<std::size_t> order;
};

bool IsReference(const char* text) { return text[0] == '$' && text[1] >= '0' && text[1] <= '9'; }

/// False when a reference is 0 or beyond the number of conversions.
bool ResolveReferences(const SString& text, std::size_t conversionCount, ReorderedFormat& result) {
  std::size_t next = 0;
  for (const char* cursor = text.c_str(); *cursor != '\0';) {
    result.format += *cursor++;
    if (cursor[-1] != '%') continue;
    if (*cursor == '%') {
      result.format += *cursor++;
      continue;
    }
    if (IsReference(cursor)) {
      // CHOICE(i18n-zero-reference): the digit 0 refers to the argument before the first, which is as
      // much out of range as one behind the last.
      // Test: FormatI18n.RefusesReferencesOutsideTheArguments
      if (cursor[1] == '0') return false;
      next = static_cast<std::size_t>(cursor[1] - '1');
      if (next >= conversionCount) return false;
      cursor += 2;
    }
    // COMPAT(i18n-next-word): a conversion without a reference takes the argument behind that of
    // the conversion before it, used or not: behind "%$2s" a "%d" takes the third.
    // Required by existing hosts. Test: FormatI18nCompat.PlainConversionTakesTheWordBehind
    result.order.push_back(next++);
  }
  return true;
}

/// How many words the format may read, whichever platform it is: one for each "*", and for each
/// conversion one or, of a floating or longer number, as many as the longest takes.
std::size_t CountReadWords(const std::string& format) {
  constexpr std::size_t kWidest = 4;
  std::size_t count = 0;
  const char* cursor = format.c_str();
  while ((cursor = std::strchr(cursor, '%')) != nullptr) {
    if (*++cursor == '%') {
      ++cursor;
      continue;
    }
    std::size_t number = 0;
    bool isWide = false;
    for (; *cursor != '\0' && std::strchr("#-+ '.*$0123456789hlLqjzZtINF", *cursor); ++cursor) {
      if (*cursor >= '0' && *cursor <= '9') {
        number = std::min<std::size_t>(number * 10 + static_cast<std::size_t>(*cursor - '0'),
                                       kAllWords + 1);
        continue;
      }
      if (*cursor == '*') ++count;
      if (*cursor == '$') count += number;  // printf() reads all arguments up to that one
      if (std::strchr("LqjF", *cursor) || (*cursor == 'l' && cursor[1] == 'l')) isWide = true;
      number = 0;
    }
    if (*cursor != '\0' && std::strchr("aAeEfgG", *cursor)) isWide = true;
    count += isWide ? kWidest : 1;
  }
  return count;
}

template <std::size_t... I>
int FormatWords(SString& text, const char* format, const std::array<long, kAllWords>& words,
                std::index_sequence<I...>) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  // The zeros behind the words fill the registers that floating values travel in.
  return text.Format(format, words[I]..., 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0);
#pragma GCC diagnostic pop
}

}  // namespace

int SString::LoadStringA(unsigned id) { return BixLoadString(BixGetResourceHandle(), id, *this); }

#define BIX_FORMAT_NUMBERED(result, id)                  \
  SString format;                                        \
  if (format.LoadStringA(id) == 0) return -1;            \
  va_list arguments;                                     \
  va_start(arguments, id);                               \
  const int result = FormatV(format.c_str(), arguments); \
  va_end(arguments)

int SString::Format(unsigned id, ...) {
  BIX_FORMAT_NUMBERED(bound, id);
  return bound;
}
int SString::FormatMessageA(unsigned id, ...) {
  BIX_FORMAT_NUMBERED(bound, id);
  return bound;
}
int SString::FormatMessage(unsigned id, ...) {
  BIX_FORMAT_NUMBERED(bound, id);
  return bound;
}

#undef BIX_FORMAT_NUMBERED

int SString::FormatI18n(unsigned id, ...) {
  // COMPAT(i18n-clears-first): the string is cleared before the arguments are read, also when the
  // operation fails. Required by existing hosts. Test: FormatI18nCompat.ClearsTheStringFirst
  clear();
  SString text;
  if (text.LoadStringA(id) == 0) return -1;

  const std::size_t conversionCount = CountConversions(text);
  ReorderedFormat reordered;
  if (!ResolveReferences(text, conversionCount, reordered)) return -1;
  // CHOICE(i18n-too-many): a text that would read more words than there are zeros is refused.
  // Tests: FormatI18n.RefusesTextsWithTooManyConversions,
  // FormatI18n.RefusesTextsThatReadBehindTheWords
  if (CountReadWords(reordered.format) > kAllWords) return -1;

  // One machine word each, so that a pointer fits on every platform.
  std::array<long, kPassedWords> given{};
  va_list arguments;
  va_start(arguments, id);
  for (std::size_t i = 0; i < std::min(conversionCount, kPassedWords); ++i)
    given[i] = va_arg(arguments, long);
  va_end(arguments);

  // CHOICE(i18n-zero-words): a conversion behind the last argument or behind the ninth, or shifted
  // there by a "*", reads a zero word and never what happens to lie behind the arguments.
  // Test: FormatI18nCompat.WordsBehindTheLastAreZero
  std::array<long, kAllWords> words{};
  for (std::size_t slot = 0; slot < std::min(reordered.order.size(), kPassedWords); ++slot)
    if (reordered.order[slot] < kPassedWords) words[slot] = given[reordered.order[slot]];
  return FormatWords(*this, reordered.format.c_str(), words, std::make_index_sequence<kAllWords>());
}

}  // namespace bix
