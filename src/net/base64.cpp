// Base64 with the standard alphabet and padding.
//
// Both ways go through a buffer on the stack that is appended to the result block by block, so that
// no byte of the result is written twice. Where the processor has byte shuffles (SSSE3), 12 bytes
// and 16 characters are converted at once; what is left, and what such a step does not take, goes
// group by group.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#if defined(__x86_64__) || defined(__i386__)
#define BIX_HAS_SHUFFLES 1
#include <tmmintrin.h>
#endif

#include "bix/url.h"

namespace bix {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::int8_t kForeign = -1;

constexpr std::array<std::int8_t, 256> kValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(kForeign);
  for (int i = 0; i < 64; ++i)
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  return values;
}();

// Sizes of the buffer on the stack: of the bytes, and of their characters.
constexpr std::size_t kBlockBytes = 3 * 1024;
constexpr std::size_t kBlockCharacters = kBlockBytes / 3 * 4;
constexpr std::size_t kSlack = 16;  // a step writes a whole register

/// What has been converted: input taken, output written.
struct Converted {
  std::size_t taken = 0;
  std::size_t written = 0;
};

#ifdef BIX_HAS_SHUFFLES

#define BIX_WITH_SHUFFLES __attribute__((target("ssse3")))

bool HasShuffles() { return __builtin_cpu_supports("ssse3"); }

/// 12 bytes to 16 characters, for as long as 16 bytes can be read.
BIX_WITH_SHUFFLES Converted EncodeBlocks(const unsigned char* bytes, std::size_t length,
                                         char* out) {
  Converted converted;
  // Each group of three bytes a b c as b a c b, which brings every six bits into one half of the
  // four bytes.
  const __m128i groups = _mm_set_epi8(10, 11, 9, 10, 7, 8, 6, 7, 4, 5, 3, 4, 1, 2, 0, 1);
  // What to add to a number to get its character, by range: a-z, ten times 0-9, +, /, A-Z.
  const __m128i offsets =
      _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                    '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
  while (length - converted.taken >= 16) {
    __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + converted.taken));
    part = _mm_shuffle_epi8(part, groups);
    // A product shifts each field by an amount of its own.
    const __m128i outer = _mm_mulhi_epu16(_mm_and_si128(part, _mm_set1_epi32(0x0FC0FC00)),
                                          _mm_set1_epi32(0x04000040));
    const __m128i inner = _mm_mullo_epi16(_mm_and_si128(part, _mm_set1_epi32(0x003F03F0)),
                                          _mm_set1_epi32(0x01000010));
    const __m128i numbers = _mm_or_si128(outer, inner);
    // The range of each number: 13 for A-Z, 0 for a-z, 1 to 12 for the others.
    __m128i ranges = _mm_subs_epu8(numbers, _mm_set1_epi8(51));
    const __m128i isCapital = _mm_cmpgt_epi8(_mm_set1_epi8(26), numbers);
    ranges = _mm_or_si128(ranges, _mm_and_si128(isCapital, _mm_set1_epi8(13)));
    const __m128i characters = _mm_add_epi8(_mm_shuffle_epi8(offsets, ranges), numbers);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + converted.written), characters);
    converted.taken += 12;
    converted.written += 16;
  }
  return converted;
}

/// 16 characters to 12 bytes, up to the first 16 with a foreign one among them.
BIX_WITH_SHUFFLES Converted DecodeBlocks(const char* text, std::size_t length, char* out) {
  Converted converted;
  // A character is foreign when the sets of its two halves have a bit in common.
  const __m128i lowSets = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                        0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m128i highSets = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10,
                                         0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  // What to add to a character to get its number, by its upper half; "/" stands one in front of the
  // others of its half.
  const __m128i offsets = _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i slash = _mm_set1_epi8('/');  // its bits also keep a half of four bits apart
  const __m128i bytes = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  while (length - converted.taken >= 16) {
    const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + converted.taken));
    const __m128i high = _mm_and_si128(_mm_srli_epi32(part, 4), slash);
    const __m128i low = _mm_and_si128(part, slash);
    const __m128i common =
        _mm_and_si128(_mm_shuffle_epi8(lowSets, low), _mm_shuffle_epi8(highSets, high));
    if (_mm_movemask_epi8(_mm_cmpgt_epi8(common, _mm_setzero_si128())) != 0) break;
    const __m128i ranges = _mm_add_epi8(_mm_cmpeq_epi8(part, slash), high);
    const __m128i numbers = _mm_add_epi8(part, _mm_shuffle_epi8(offsets, ranges));
    // Two numbers of six bits to one of twelve, two of these to one of twenty-four.
    const __m128i pairs = _mm_maddubs_epi16(numbers, _mm_set1_epi32(0x01400140));
    const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + converted.written),
                     _mm_shuffle_epi8(groups, bytes));
    converted.taken += 16;
    converted.written += 12;
  }
  return converted;
}

#else

bool HasShuffles() { return false; }
Converted EncodeBlocks(const unsigned char*, std::size_t, char*) { return {}; }
Converted DecodeBlocks(const char*, std::size_t, char*) { return {}; }

#endif

/// Writes the four characters of up to three bytes.
void EncodeGroup(const unsigned char* bytes, std::size_t count, char* out) {
  const unsigned second = count > 1 ? bytes[1] : 0u;
  const unsigned third = count > 2 ? bytes[2] : 0u;
  const unsigned group = static_cast<unsigned>(bytes[0]) << 16 | second << 8 | third;
  out[0] = kAlphabet[group >> 18];
  out[1] = kAlphabet[group >> 12 & 63];
  out[2] = count > 1 ? kAlphabet[group >> 6 & 63] : '=';
  out[3] = count > 2 ? kAlphabet[group & 63] : '=';
}

/// Reads up to four characters, and returns how many are of the alphabet before the first that is
/// not. Writes their bytes, one less than characters.
std::size_t DecodeGroup(const char* text, std::size_t length, char* out) {
  std::uint32_t group = 0;
  std::size_t count = 0;
  for (; count < 4 && count < length; ++count) {
    const std::int8_t value = kValues[static_cast<unsigned char>(text[count])];
    if (value == kForeign) break;
    group |= static_cast<std::uint32_t>(value) << (18 - 6 * count);
  }
  for (std::size_t i = 0; i + 1 < count; ++i) out[i] = static_cast<char>(group >> (16 - 8 * i));
  return count;
}

}  // namespace

std::string base64_encode(const unsigned char* bytes, unsigned int length) {
  const bool hasShuffles = HasShuffles();
  std::string text;
  text.reserve((std::size_t{length} / 3 + (length % 3 != 0 ? 1 : 0)) * 4);
  char block[kBlockCharacters + kSlack];
  for (std::size_t left = length; left != 0;) {
    const std::size_t count = std::min(left, kBlockBytes);
    Converted converted;
    if (hasShuffles) converted = EncodeBlocks(bytes, count, block);
    while (converted.taken < count) {
      EncodeGroup(bytes + converted.taken, count - converted.taken, block + converted.written);
      converted.taken += std::min<std::size_t>(count - converted.taken, 3);
      converted.written += 4;
    }
    text.append(block, converted.written);
    bytes += count;
    left -= count;
  }
  return text;
}

// COMPAT(base64-stops): the text ends at the first character that is not of the alphabet; blanks and
// line breaks are not passed over, and nothing is reported.
// Test: Base64Compat.DecodingEndsAtTheFirstForeignCharacter
std::string base64_decode(const std::string& text) {
  const bool hasShuffles = HasShuffles();
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3 + 3);
  char block[kBlockBytes + kSlack];
  const char* at = text.data();
  for (std::size_t left = text.size(); left != 0;) {
    const std::size_t count = std::min(left, kBlockCharacters);
    Converted converted;
    if (hasShuffles) converted = DecodeBlocks(at, count, block);
    std::size_t inGroup = 4;
    while (inGroup == 4 && converted.taken < count) {
      inGroup =
          DecodeGroup(at + converted.taken, count - converted.taken, block + converted.written);
      converted.taken += inGroup;
      converted.written += inGroup != 0 ? inGroup - 1 : 0;
    }
    bytes.append(block, converted.written);
    if (inGroup != 4) break;
    at += count;
    left -= count;
  }
  return bytes;
}

}  // namespace bix
