#include "bix/encoding.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "text/encoding.h"

namespace bix {
namespace {

enum Encoding : int { kUnknown = 0, kUtf16Le = 1, kUtf16Be = 2, kUtf8 = 3, kAscii = 4 };

constexpr unsigned char kEscape = 0x1B;

unsigned char ByteAt(const char* text, std::size_t index = 0) {
  return static_cast<unsigned char>(text[index]);
}

bool IsContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

/// The bytes at which the test ends when they score no sequence: continuation bytes but for 8E, 8F
/// and those from A0 on.
bool IsEnder(unsigned char byte) { return byte >= 0x80 && byte <= 0x9F && (byte | 1) != 0x8F; }

/// The bytes between which nothing happens to the test of a text.
enum class Stops { kLeadsToo, kEndersAndEscapes };

template <Stops kStops>
bool IsStop(unsigned char byte) {
  return byte == kEscape || IsEnder(byte) || (kStops == Stops::kLeadsToo && byte >= 0xC0);
}

/// The first stop in [at, end), or `end`.
template <Stops kStops>
const char* FindStop(const char* at, const char* end) {
#ifdef __SSE2__
  const auto filled = [](unsigned char byte) { return _mm_set1_epi8(static_cast<char>(byte)); };
  for (; end - at >= 16; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    // As signed numbers: below A0, but not 8E and 8F.
    const __m128i kept = _mm_cmpeq_epi8(_mm_or_si128(bytes, filled(0x01)), filled(0x8F));
    __m128i stops = _mm_andnot_si128(kept, _mm_cmplt_epi8(bytes, filled(0xA0)));
    stops = _mm_or_si128(stops, _mm_cmpeq_epi8(bytes, filled(kEscape)));
    unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(stops));
    if (kStops == Stops::kLeadsToo) {
      const __m128i below = _mm_cmplt_epi8(bytes, filled(0xC0));
      mask |= static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(below, bytes)));
    }
    if (mask != 0) return at + std::countr_zero(mask);
  }
#else
  for (; end - at >= 4; at += 4) {
    std::uint32_t word;
    std::memcpy(&word, at, sizeof word);
    // An escape byte becomes zero, and borrows into its high bit.
    const std::uint32_t escape = word ^ 0x1B1B1B1Bu;
    if (((word | ((escape - 0x01010101u) & ~escape)) & 0x80808080u) == 0) continue;
    for (int i = 0; i < 4; ++i)
      if (IsStop<kStops>(ByteAt(at, static_cast<std::size_t>(i)))) return at + i;
  }
#endif
  while (at != end && !IsStop<kStops>(ByteAt(at))) ++at;
  return at;
}

/// Whether an escape to Japanese characters stands here.
bool IsSwitchToJapanese(const char* at) {
  return ByteAt(at) == kEscape && at[1] == 0x24 && (at[2] == 0x42 || at[2] == 0x40);
}

/// The zero bytes at even and at odd positions.
struct ZeroCounts {
  std::size_t even = 0;
  std::size_t odd = 0;
};

ZeroCounts CountZeros(const char* data, std::size_t length) {
  ZeroCounts zeros;
  std::size_t at = 0;
#ifdef __SSE2__
  const __m128i nothing = _mm_setzero_si128();
  const auto sum = [&](__m128i bytes) {
    const __m128i halves = _mm_sad_epu8(bytes, nothing);
    return static_cast<std::size_t>(_mm_cvtsi128_si32(halves)) +
           static_cast<std::size_t>(_mm_extract_epi16(halves, 4));
  };
  while (at + 16 <= length) {
    // Each byte counts the zeros of its column, up to 255.
    __m128i columns = nothing;
    for (const std::size_t end = at + std::min<std::size_t>((length - at) / 16, 255) * 16; at < end;
         at += 16) {
      const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + at));
      columns = _mm_sub_epi8(columns, _mm_cmpeq_epi8(part, nothing));
    }
    zeros.even += sum(_mm_and_si128(columns, _mm_set1_epi16(0x00FF)));
    zeros.odd += sum(_mm_srli_epi16(columns, 8));
  }
#endif
  for (; at < length; ++at) (at % 2 == 0 ? zeros.even : zeros.odd) += data[at] == 0 ? 1 : 0;
  return zeros;
}

EncodingInfo Found(Encoding encoding, int byteOrderMark = 0) {
  EncodingInfo info;
  info.encoding = encoding;
  info.byteOrderMark = byteOrderMark;
  return info;
}

}  // namespace

bool impl::IsCharUTF8(unsigned char c, const char* text, int index, bool* invalid) {
  // COMPAT(utf8-generous): the old forms of five and six bytes, over-long forms and surrogates are
  // sequences; only FE and FF lead none. Test: Utf8SequenceCompat.OldAndOverlongFormsAreSequences
  if (c >= 0xFE) {
    *invalid = true;
    return false;
  }
  const int length = std::countl_one(c);
  if (length < 2) return false;
  // The walk ends at the terminator, which is no continuation byte.
  const char* const lead = text + index;
  for (int i = 1; i < length; ++i) {
    if (!IsContinuation(ByteAt(lead, static_cast<std::size_t>(i)))) {
      *invalid = true;
      return false;
    }
  }
  if (IsContinuation(ByteAt(lead, static_cast<std::size_t>(length)))) {
    *invalid = true;
    return false;
  }
  return true;
}

std::string EncodingInfo::GetEncodingName() const {
  switch (encoding) {
    case kUtf16Le:
      return "UTF-16LE";
    case kUtf16Be:
      return "UTF-16BE";
    case kUtf8:
      return "UTF-8";
    case kAscii:
      return "US-ASCII";
    default:
      return "Unknown";
  }
}

EncodingInfo DetectEncoding(const char* data, unsigned length) {
  // CHOICE(encoding-null): null is the empty text, whatever its length is said to be.
  // Test: DetectEncoding.NullIsTheEmptyText
  if (data == nullptr) return Found(kUnknown);
  if (length >= 2) {
    if (ByteAt(data) == 0xFF && ByteAt(data, 1) == 0xFE) return Found(kUtf16Le, 1);
    if (ByteAt(data) == 0xFE && ByteAt(data, 1) == 0xFF) return Found(kUtf16Be, 1);
  }
  if (length >= 3 && ByteAt(data) == 0xEF && ByteAt(data, 1) == 0xBB && ByteAt(data, 2) == 0xBF)
    return Found(kUtf8, 1);
  if (std::memchr(data, 0, length) == nullptr) {
    // COMPAT(encoding-reads-on): the terminated text decides, not the `length` bytes; and ASCII has
    // no sequence, so it stays unknown. Tests: DetectEncodingCompat.ReadsToTheTerminator,
    // DetectEncodingCompat.PlainAsciiIsUnknown
    return Found(IsUTF8(data) ? kUtf8 : kUnknown);
  }
  const ZeroCounts zeros = CountZeros(data, length);
  return Found(zeros.odd < zeros.even ? kUtf16Be : kUtf16Le);
}

// COMPAT(utf8-looks-again): the continuation bytes of a sequence are looked at again, each by
// itself, and count as others or end the test. So there are never fewer others than sequences at the
// end of a text, and a text that does not end the test early is not UTF-8, whatever its escapes. The
// counts therefore need not be kept: a text is UTF-8 when the first lead byte has its sequence and
// an ending byte comes after it, before any switch to Japanese characters.
// Tests: Utf8ScoreCompat.ContinuationBytesCountAsOthers,
// Utf8ScoreCompat.SomeContinuationBytesEndTheTest, Utf8ScoreCompat.NeedsMoreSequencesThanOthers
bool IsUTF8(const char* text) {
  if (text == nullptr) return false;
  const char* const end = text + std::strlen(text);
  const char* at = text;
  for (bool hasSequence = false; !hasSequence; ++at) {
    at = FindStop<Stops::kLeadsToo>(at, end);
    if (at == end || IsEnder(ByteAt(at)) || IsSwitchToJapanese(at)) return false;
    // No sequence counts behind an invalid byte.
    bool isInvalid = false;
    hasSequence = impl::IsCharUTF8(ByteAt(at), at, 0, &isInvalid);
    if (isInvalid) return false;
  }
  for (;; ++at) {
    at = FindStop<Stops::kEndersAndEscapes>(at, end);
    if (at == end || IsSwitchToJapanese(at)) return false;
    if (IsEnder(ByteAt(at))) return true;
  }
}

}  // namespace bix
