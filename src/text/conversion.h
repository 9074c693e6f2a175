#ifndef BIX_TEXT_CONVERSION_H_
#define BIX_TEXT_CONVERSION_H_

// Conversions between bytes in the encoding of the current locale and wide text.

#include <cstddef>
#include <string>

namespace bix::impl {

/// Wide text to bytes, as wcstombs() does it; "" when one unit has no form in the encoding. Null
/// gives "".
std::string WideToMultibyte(const wchar_t* text);

/// Bytes to wide text; every byte that forms no character is dropped. Null gives the empty text.
std::wstring MultibyteToWide(const char* text);

/// Bytes to wide text, as mbstowcs() does it; empty when one byte forms no character.
std::wstring MultibyteToWideStrict(const char* text, std::size_t length);

}  // namespace bix::impl

#endif  // BIX_TEXT_CONVERSION_H_
