#include "text/conversion.h"

#include <algorithm>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <langinfo.h>

#include "bix/text.h"
#include "support/ctype_locale.h"

// No conversion here encodes or decodes by its own code: the system's functions say what a
// character is. What is done here is to hand them long pieces, and to copy ASCII where the code set
// has it.

namespace bix::impl {
namespace {

constexpr std::size_t kPieceUnits = 1024;
constexpr std::size_t kLongestUtf8 = 6;

/// What is known of the code set of the current locale.
struct CodeSet {
  bool isUtf8;
  bool hasPlainAscii;  // bytes below 0x80 are the units of the same value, in every position
  bool isSingleByte;

  static CodeSet Current() {
    const char* name = nl_langinfo(CODESET);
    const bool isUtf8 = name[0] == 'U' && name[1] == 'T' && name[2] == 'F' && name[3] == '-' &&
                        name[4] == '8' && name[5] == '\0';
    const bool isAscii = !isUtf8 && std::strcmp(name, "ANSI_X3.4-1968") == 0;
    return {isUtf8, isUtf8 || isAscii, isAscii || (!isUtf8 && MB_CUR_MAX == 1)};
  }
};

/// Reads terminated bytes piece by piece as wide text and drops the bytes that form no character.
class MultibyteReader {
 public:
  MultibyteReader(const char* text, std::size_t length)
      : m_codeSet(CodeSet::Current()), m_cursor(text), m_end(text + length) {}

  bool IsAtEnd() const { return m_cursor == m_end; }

  /// Writes the units of the next piece, at most `room`, which is not 0, and returns their number.
  /// A terminator may be written behind them. Only at the end of the text is 0 the end.
  std::size_t Read(wchar_t* out, std::size_t room) {
    std::size_t count = m_codeSet.hasPlainAscii ? CopyAscii(out, room) : 0;
    if (count == room || IsAtEnd()) return count;
    if (m_codeSet.isUtf8 || m_codeSet.isSingleByte)
      return count + ReadPiece(out + count, room - count);
    for (; count < room && !IsAtEnd();) count += ReadCharacter(out + count);
    return count;
  }

 private:
  std::size_t CopyAscii(wchar_t* out, std::size_t room) {
    const char* const start = m_cursor;
    const char* const stop = start + std::min(room, static_cast<std::size_t>(m_end - start));
    const char* cursor = start;
    for (std::uint64_t word; stop - cursor >= 8; cursor += 8, out += 8) {
      std::memcpy(&word, cursor, sizeof word);
      if ((word & 0x8080808080808080u) != 0) break;
      for (int i = 0; i < 8; ++i) out[i] = cursor[i];
    }
    for (; cursor != stop && static_cast<signed char>(*cursor) >= 0; ++cursor) *out++ = *cursor;
    m_cursor = cursor;
    return static_cast<std::size_t>(cursor - start);
  }

  /// A piece ends at the end of the text, with its terminator, or in front of a character.
  std::size_t ReadPiece(wchar_t* out, std::size_t room) {
    const char* const start = m_cursor;
    std::size_t length = static_cast<std::size_t>(m_end - start);
    if (length < room) {
      ++length;  // an incomplete sequence in front of the terminator is invalid, not unfinished
    } else {
      length = WithoutCutCharacter(start, room);
      if (length == 0) return ReadCharacter(out);
    }
    std::mbstate_t state{};
    const char* next = start;
    std::size_t count = mbsnrtowcs(out, &next, length, room, &state);
    if (count != static_cast<std::size_t>(-1)) {
      m_cursor = next == nullptr ? m_end : next;
      return count;
    }
    // `next` is at the byte that forms no character; what lies before it is converted again for its
    // number of units.
    m_cursor = next + 1;
    const std::size_t valid = static_cast<std::size_t>(next - start);
    if (valid == 0) return 0;
    next = start;
    state = {};
    return mbsnrtowcs(out, &next, valid, room, &state);
  }

  /// The longest part of the first `length` bytes that ends in front of a character.
  std::size_t WithoutCutCharacter(const char* start, std::size_t length) const {
    if (!m_codeSet.isUtf8) return length;
    for (std::size_t back = 0; back <= std::min<std::size_t>(length, kLongestUtf8); ++back)
      if ((static_cast<unsigned char>(start[length - back]) & 0xC0) != 0x80) return length - back;
    return length <= kLongestUtf8 ? 0 : length;  // no character is that long: it cannot be cut here
  }

  std::size_t ReadCharacter(wchar_t* out) {
    // One sequence of bytes may stand for two units: the state then holds the second, which the next
    // call gives without a byte.
    // COMPAT(last-second-unit): reading ends with the bytes, so behind the last sequence that unit is
    // not asked for. Required by existing hosts.
    // Test: WideFromBytesCompat.TheSecondUnitOfTheLastSequenceIsDropped
    const std::size_t used =
        std::mbrtowc(out, m_cursor, static_cast<std::size_t>(m_end - m_cursor), &m_state);
    if (used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2)) {
      // COMPAT(drop-one-byte): a byte that forms no character is skipped alone and produces nothing;
      // what follows is read from a fresh state, since the system's function keeps the bytes of an
      // incomplete sequence and would let them combine with it.
      // Required by existing hosts. Test: WideFromBytesCompat.DropsInvalidBytesOneByOne
      m_state = {};
      ++m_cursor;
      return 0;
    }
    m_cursor += used;
    return 1;
  }

  const CodeSet m_codeSet;
  std::mbstate_t m_state{};  // of ReadCharacter
  const char* m_cursor;
  const char* const m_end;
};

}  // namespace

std::wstring MultibyteToWide(const char* text) {
  std::wstring result;
  if (text == nullptr) return result;
  const std::size_t length = std::strlen(text);
  MultibyteReader reader(text, length);
  wchar_t piece[kPieceUnits];
  if (length < kPieceUnits) {
    while (!reader.IsAtEnd()) result.append(piece, reader.Read(piece, kPieceUnits));
    return result;
  }
  result.reserve(length);
  while (!reader.IsAtEnd()) result.append(piece, reader.Read(piece, kPieceUnits));
  if (result.size() < length / 2) result.shrink_to_fit();
  return result;
}

std::wstring MultibyteToWideStrict(const char* text, std::size_t length) {
  std::wstring result(length, L'\0');
  std::mbstate_t state{};
  const std::size_t count = std::mbsrtowcs(result.data(), &text, length + 1, &state);
  // COMPAT(strict-ansi): unlike with UTF8String, one invalid byte empties the whole text.
  // Required by existing hosts. Test: WideFromAnsiCompat.OneInvalidByteEmptiesTheText
  result.resize(count == static_cast<std::size_t>(-1) ? 0 : count);
  return result;
}

namespace {

/// Writes wide text piece by piece as bytes.
class MultibyteWriter {
 public:
  static constexpr std::size_t kPieceBytes = 8192;

  MultibyteWriter(const wchar_t* text, std::size_t length)
      : m_hasPlainAscii(CodeSet::Current().hasPlainAscii),
        m_pieceUnits(kPieceBytes / 2 / MB_CUR_MAX),
        m_cursor(text),
        m_end(text + length) {}

  bool IsAtEnd() const { return m_cursor == nullptr; }
  bool HasFailed() const { return m_hasFailed; }

  /// Writes the bytes of the next piece into `out`, which has room for kPieceBytes, and returns
  /// their number.
  std::size_t Write(char* out) {
    std::size_t count = 0;
    if (m_hasPlainAscii) {
      // Half of the piece; the other half holds what is converted.
      count = CopyAscii(out, kPieceBytes / 2);
      if (m_cursor == m_end) {
        m_cursor = nullptr;
        return count;
      }
    }
    // With the terminator, so that an encoding with shift states ends as it begins.
    const std::size_t units =
        std::min(m_pieceUnits, static_cast<std::size_t>(m_end - m_cursor) + 1);
    const std::size_t converted =
        wcsnrtombs(out + count, &m_cursor, units, kPieceBytes - count, &m_state);
    m_hasFailed = converted == static_cast<std::size_t>(-1);
    return m_hasFailed ? 0 : count + converted;
  }

 private:
  std::size_t CopyAscii(char* out, std::size_t room) {
    const wchar_t* const start = m_cursor;
    const wchar_t* const stop = start + std::min(room, static_cast<std::size_t>(m_end - start));
    const wchar_t* cursor = start;
    for (; stop - cursor >= 4; cursor += 4, out += 4) {
      const std::uint32_t all =
          static_cast<std::uint32_t>(cursor[0]) | static_cast<std::uint32_t>(cursor[1]) |
          static_cast<std::uint32_t>(cursor[2]) | static_cast<std::uint32_t>(cursor[3]);
      if (all >= 0x80) break;
      for (int i = 0; i < 4; ++i) out[i] = static_cast<char>(cursor[i]);
    }
    for (; cursor != stop && static_cast<std::uint32_t>(*cursor) < 0x80; ++cursor)
      *out++ = static_cast<char>(*cursor);
    m_cursor = cursor;
    return static_cast<std::size_t>(cursor - start);
  }

  const bool m_hasPlainAscii;
  const std::size_t m_pieceUnits;
  bool m_hasFailed = false;
  std::mbstate_t m_state{};
  const wchar_t* m_cursor;  // null behind the end
  const wchar_t* const m_end;
};

}  // namespace

std::string WideToMultibyte(const wchar_t* text) {
  std::string result;
  if (text == nullptr) return result;
  const std::size_t length = std::wcslen(text);
  if (length > MultibyteWriter::kPieceBytes / 2) result.reserve(length);
  MultibyteWriter writer(text, length);
  char piece[MultibyteWriter::kPieceBytes];
  while (!writer.IsAtEnd()) {
    const std::size_t count = writer.Write(piece);
    // CHOICE(unencodable): one unit without a form in the encoding empties the whole text, rather
    // than cutting it there: no result is taken for the whole that is only a part.
    // Test: BytesFromWideCompat.OneUnitWithoutAFormEmptiesTheText
    if (writer.HasFailed()) return std::string();
    result.append(piece, count);
  }
  return result;
}

}  // namespace bix::impl

namespace bix {

int UnixMultiByteToWideChar(const char* locale, wchar_t* out, const char* in) {
  impl::ScopedCtypeLocale scope(locale);
  const char* const text = in != nullptr ? in : "";
  impl::MultibyteReader reader(text, std::strlen(text));
  std::size_t count = 0;
  wchar_t scratch[impl::kPieceUnits];
  while (!reader.IsAtEnd())
    count += reader.Read(out != nullptr ? out + count : scratch, impl::kPieceUnits);
  if (out != nullptr) out[count] = L'\0';
  return static_cast<int>(count);
}

}  // namespace bix
