// Percent coding of URLs. Both ways go through a buffer on the stack that is appended to the result
// block by block.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "bix/url.h"

namespace bix {
namespace {

constexpr std::size_t kBlock = 4096;

/// What one byte becomes: up to three characters, and how many.
struct Encoded {
  char text[3];
  std::uint8_t length;
};
static_assert(sizeof(Encoded) == 4);

// COMPAT(url-small-digits): digits are small letters, and more marks stay than newer rules for URLs
// leave alone. Test: PercentCodeCompat.KeepsItsMarksAndWritesSmallDigits
constexpr std::array<Encoded, 256> kEncoded = [] {
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<Encoded, 256> table{};
  for (int byte = 0; byte < 256; ++byte)
    table[static_cast<std::size_t>(byte)] = {{'%', kDigits[byte / 16], kDigits[byte % 16]}, 3};
  for (const char* kept = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._!~*'()";
       *kept != 0; ++kept)
    table[static_cast<unsigned char>(*kept)] = {{*kept, 0, 0}, 1};
  table[' '] = {{'+', 0, 0}, 1};
  return table;
}();

/// The value of each byte as a hexadecimal digit.
// COMPAT(url-any-digit): what is no digit has a value all the same, its code minus 87 in four bits.
// Capital and small letters differ in higher bits only. Test: PercentCodeCompat.WhatIsNoDigitHasAValue
constexpr std::array<std::uint8_t, 256> kDigitValues = [] {
  std::array<std::uint8_t, 256> values{};
  for (int byte = 0; byte < 256; ++byte) {
    const bool isDecimal = byte >= '0' && byte <= '9';
    values[static_cast<std::size_t>(byte)] =
        static_cast<std::uint8_t>((isDecimal ? byte - '0' : byte - 87 + 256) % 16);
  }
  return values;
}();

char FromDigits(char high, char low) {
  return static_cast<char>(kDigitValues[static_cast<unsigned char>(high)] << 4 |
                           kDigitValues[static_cast<unsigned char>(low)]);
}

/// Decodes into a block, which has room for 64 bytes beyond its end.
class Decoder {
 public:
  explicit Decoder(const std::string& in) : m_at(in.data()), m_end(in.data() + in.size()) {}

  bool IsAtEnd() const { return m_at == m_end; }

  /// Fills the block as far as the input goes; returns how many bytes it has got.
  std::size_t Fill(char* block) {
    char* out = block;
    char* const full = block + kBlock;
    DecodeStrides(out, full);
    while (out < full && m_at != m_end) DecodeOne(out);
    return static_cast<std::size_t>(out - block);
  }

 private:
  void DecodeOne(char*& out) {
    const char byte = *m_at++;
    if (byte != '%') {
      *out++ = byte == '+' ? ' ' : byte;
      return;
    }
    const std::ptrdiff_t left = m_end - m_at;
    if (left >= 2) {
      *out++ = FromDigits(m_at[0], m_at[1]);
    } else if (left == 1) {
      // COMPAT(url-one-digit): a digit that is cut off is the lower one.
      // Test: PercentCodeCompat.OneDigitAtTheEndIsTheUpperHalf
      *out++ = FromDigits(m_at[0], '0');
    }
    // CHOICE(url-lone-percent): without any digit there is no byte.
    // Test: PercentCode.APercentSignAtTheVeryEndIsDropped
    m_at += std::min<std::ptrdiff_t>(left, 2);
  }

#ifdef __SSE2__
  /// Decodes 64 bytes at a time, whatever is in them, for as long as there are some more behind.
  void DecodeStrides(char*& out, char* full) {
    constexpr int kStride = 64;
    constexpr int kRegister = 16;
    while (m_end - m_at >= kStride + kRegister && full - out >= kStride) {
      std::uint64_t percents = 0;
      for (int i = 0; i < kStride; i += kRegister) {
        const int mask = _mm_movemask_epi8(_mm_cmpeq_epi8(Load(m_at + i), _mm_set1_epi8('%')));
        percents |= static_cast<std::uint64_t>(static_cast<unsigned>(mask)) << i;
      }
      int at = 0;
      while (percents != 0) {
        const int percent = std::countr_zero(percents);
        CopyRun(out, at, percent);
        *out++ = FromDigits(m_at[percent + 1], m_at[percent + 2]);
        at = percent + 3;
        if (at >= kStride) break;
        percents &= ~std::uint64_t{0} << at;  // a digit may be a percent sign
      }
      if (at < kStride) {
        CopyRun(out, at, kStride);
        at = kStride;
      }
      m_at += at;
    }
  }

  static __m128i Load(const char* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  }

  /// Copies the bytes of a stride from `begin` to `end`, "+" as a blank. Reads and writes up to 16
  /// bytes more, also for none: that costs less than to find out.
  void CopyRun(char*& out, int begin, int end) {
    int i = begin;
    do {
      const __m128i bytes = Load(m_at + i);
      const __m128i isPlus = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('+'));
      const __m128i plain = _mm_sub_epi8(bytes, _mm_and_si128(isPlus, _mm_set1_epi8('+' - ' ')));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + (i - begin)), plain);
      i += 16;
    } while (i < end);
    out += end - begin;
  }
#else
  void DecodeStrides(char*&, char*) {}
#endif

  const char* m_at;
  const char* const m_end;
};

}  // namespace

void EncodeURL(const UTF8String& in, std::string& out) {
  if (&out == &in) {
    const UTF8String copy = in;
    EncodeURL(copy, out);
    return;
  }
  out.reserve(out.size() + in.size());
  // Four characters are written at once, whatever their number.
  char block[kBlock / 4 * 3 + sizeof(Encoded)];
  const char* at = in.data();
  for (std::size_t left = in.size(); left != 0;) {
    const std::size_t count = std::min(left, kBlock / 4);
    char* to = block;
    for (std::size_t i = 0; i < count; ++i) {
      const Encoded& encoded = kEncoded[static_cast<unsigned char>(at[i])];
      std::memcpy(to, &encoded, sizeof encoded);
      to += encoded.length;
    }
    out.append(block, static_cast<std::size_t>(to - block));
    at += count;
    left -= count;
  }
}

void DecodeURL(const std::string& in, UTF8String& out) {
  if (&out == &in) {
    const std::string copy = in;
    DecodeURL(copy, out);
    return;
  }
  // Nothing gets longer.
  out.reserve(out.size() + in.size());
  char block[kBlock + 64];
  for (Decoder decoder(in); !decoder.IsAtEnd();) out.append(block, decoder.Fill(block));
}

}  // namespace bix
