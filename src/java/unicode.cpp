#include "java/unicode.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace bix::impl {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

void AppendUTF16(std::u16string& out, char32_t character) {
  if (character < 0x10000) {
    out += static_cast<char16_t>(character);
    return;
  }
  const char32_t rest = character - 0x10000;
  out += static_cast<char16_t>(0xD800 + (rest >> 10));
  out += static_cast<char16_t>(0xDC00 + (rest & 0x3FF));
}

void AppendUTF8(std::string& out, char32_t character) {
  const auto append = [&out](char32_t byte) { out += static_cast<char>(byte); };
  const auto appendRest = [&](int shift) { append(0x80 | ((character >> shift) & 0x3F)); };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xC0 | (character >> 6));
    appendRest(0);
  } else if (character < 0x10000) {
    append(0xE0 | (character >> 12));
    appendRest(6);
    appendRest(0);
  } else {
    append(0xF0 | (character >> 18));
    appendRest(12);
    appendRest(6);
    appendRest(0);
  }
}

/// Takes the next character off a text that is not empty.
char32_t TakeUTF8(std::string_view& text) {
  const auto byteAt = [&text](std::size_t at) { return static_cast<std::uint8_t>(text[at]); };
  const std::uint8_t lead = byteAt(0);
  std::size_t length = 1;
  // The limits of the second byte exclude forms that are too long, surrogates and what is too large.
  std::uint8_t lowest = 0x80;
  std::uint8_t highest = 0xBF;
  char32_t character = lead;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    character = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    character = lead & 0x0Fu;
    if (lead == 0xE0) lowest = 0xA0;
    if (lead == 0xED) highest = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    character = lead & 0x07u;
    if (lead == 0xF0) lowest = 0x90;
    if (lead == 0xF4) highest = 0x8F;
  } else if (lead >= 0x80) {
    text.remove_prefix(1);
    return kReplacement;
  }
  std::size_t taken = 1;
  for (; taken < length; ++taken) {
    if (taken == text.size() || byteAt(taken) < lowest || byteAt(taken) > highest) {
      text.remove_prefix(taken);
      return kReplacement;
    }
    character = (character << 6) | (byteAt(taken) & 0x3Fu);
    lowest = 0x80;
    highest = 0xBF;
  }
  text.remove_prefix(taken);
  return character;
}

// Most text is ASCII, of which a block is taken at once.
constexpr std::size_t kBlock = 8;

bool StartsWithAsciiBlock(std::string_view text) {
  if (text.size() < kBlock) return false;
  std::uint64_t bytes = 0;
  static_assert(sizeof bytes == kBlock);
  std::memcpy(&bytes, text.data(), kBlock);
  return (bytes & 0x8080808080808080u) == 0;
}

void TakeAsciiBlock(std::string_view& text, std::u16string& out) {
  char16_t units[kBlock];
  std::copy_n(text.data(), kBlock, units);
  out.append(units, kBlock);
  text.remove_prefix(kBlock);
}

/// The same for UTF-16.
char32_t TakeUTF16(std::u16string_view& text) {
  const char32_t unit = text[0];
  if (!IsSurrogate(unit)) {
    text.remove_prefix(1);
    return unit;
  }
  const bool isPair = unit < 0xDC00 && text.size() > 1 && text[1] >= 0xDC00 && text[1] <= 0xDFFF;
  const char32_t character =
      isPair ? 0x10000 + ((unit - 0xD800) << 10) + (char32_t{text[1]} - 0xDC00) : kReplacement;
  text.remove_prefix(isPair ? 2 : 1);
  return character;
}

}  // namespace

std::u16string UTF16FromUTF8(std::string_view text) {
  std::u16string result;
  result.reserve(text.size());
  while (!text.empty()) {
    if (StartsWithAsciiBlock(text))
      TakeAsciiBlock(text, result);
    else
      AppendUTF16(result, TakeUTF8(text));
  }
  return result;
}

std::u16string UTF16FromWide(std::wstring_view text) {
  std::u16string result;
  result.reserve(text.size());
  for (const wchar_t unit : text) {
    const auto character = static_cast<char32_t>(unit);
    const bool isNone = character > 0x10FFFF || IsSurrogate(character);
    AppendUTF16(result, isNone ? kReplacement : character);
  }
  return result;
}

std::string UTF8FromUTF16(std::u16string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) AppendUTF8(result, TakeUTF16(text));
  return result;
}

std::wstring WideFromUTF16(std::u16string_view text) {
  std::wstring result;
  result.reserve(text.size());
  while (!text.empty()) result += static_cast<wchar_t>(TakeUTF16(text));
  return result;
}

}  // namespace bix::impl
