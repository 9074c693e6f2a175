#ifndef BIX_ENCODING_H_
#define BIX_ENCODING_H_

/// Which character encoding a block of bytes is probably in.
///
///   const bix::EncodingInfo info = bix::DetectEncoding(content.c_str(), length);
///   if (info.encoding == 3) ReadUtf8(content);
///
/// For text files that do not declare their encoding. The answer comes from a byte-order mark, else
/// from where zero bytes fall, else from a test that scores what looks like UTF-8.
///
/// Threads: re-entrant. The cost is linear in the length of the text.

#include "bix/hostmacros_off.h"

#include <string>

#include "bix/export.h"

namespace bix {

/// An encoding, and how it was found out.
class BIX_EXPORT EncodingInfo {
 public:
  /// Unknown, without a mark.
  EncodingInfo() = default;

  /// The encoding's name.
  ///
  ///   1 => "UTF-16LE"    2 => "UTF-16BE"    3 => "UTF-8"    4 => "US-ASCII"
  ///   any other => "Unknown"
  std::string GetEncodingName() const;

  // Hosts are compiled against the order of these members.
  /// 0 unknown, 1 UTF-16 little-endian, 2 UTF-16 big-endian, 3 UTF-8, 4 US-ASCII. DetectEncoding
  /// never gives 4; it is for callers that know better.
  int encoding = 0;
  /// 1 when the encoding was taken from a byte-order mark, else 0.
  int byteOrderMark = 0;
};

/// Guesses the encoding of `length` bytes; the first rule that applies decides.
///
///   FF FE ...                                        => 1, with mark
///   FE FF ...                                        => 2, with mark
///   EF BB BF ...                                     => 3, with mark
///   no zero byte, and IsUTF8(data)                   => 3
///   no zero byte, otherwise                          => 0    pure ASCII too
///   fewer zero bytes at odd positions than at even   => 2    the first position, 0, is even
///   otherwise                                        => 1
///
/// Without a zero byte among the `length` bytes, `data` is read as a terminated text, beyond
/// `length` if it goes on there.
///
/// Owner: `data` is borrowed for the call, and has a zero byte behind the `length` bytes. Null is
///   the empty text.
BIX_EXPORT EncodingInfo DetectEncoding(const char* data, unsigned length);

/// Whether a terminated text scores as UTF-8. A guess: it takes some UTF-8 for something else.
///
/// Each lead byte with exactly the continuation bytes that it asks for scores one sequence, until
/// a lead byte is found that has more or fewer. All other bytes are looked at by themselves, the
/// continuation bytes of sequences, too:
///
///   8E, 8F, A0 to BF, and bytes from C0 on that score nothing    one other
///   80 to 8D, 90 to 9F                             end the test: UTF-8 if any sequence was seen
///   1B 24 40, 1B 24 42                             end the test: not UTF-8
///   1B 28 42, 1B 28 4A                             one escape
///
/// A text that is not ended early is UTF-8 when it has more sequences than others, and more than
/// escapes.
///
///   C3 A9 (e with acute)  => false    one sequence, one other
///   E2 82 AC (Euro)       => true     82 ends the test
///   "plain"               => false
///
/// Owner: `text` is borrowed for the call; null is the empty text.
BIX_EXPORT bool IsUTF8(const char* text);

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_ENCODING_H_
