// The test of a single multibyte sequence.
#ifndef BIX_SRC_TEXT_ENCODING_H_
#define BIX_SRC_TEXT_ENCODING_H_

namespace bix::impl {

/// Whether the byte `c`, which stands at `index` of the terminated `text`, leads a multibyte
/// sequence: 2 to 6 leading one bits, as many bytes in all, all but the first 10xxxxxx, and none of
/// these behind them.
///
/// Errors: false and `*invalid` set when `c` is FE or FF, or leads too few or too many
///   continuation bytes; false alone for ASCII and for a continuation byte.
bool IsCharUTF8(unsigned char c, const char* text, int index, bool* invalid);

}  // namespace bix::impl

#endif  // BIX_SRC_TEXT_ENCODING_H_
