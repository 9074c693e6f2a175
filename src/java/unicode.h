#ifndef BIX_JAVA_UNICODE_H_
#define BIX_JAVA_UNICODE_H_

/// The forms of Unicode text, whatever the locale. What is no character becomes U+FFFD.

#include <string>
#include <string_view>

namespace bix::impl {

/// From UTF-8: each longest start of a character that is cut short, and each other byte that does
/// not belong, becomes one U+FFFD.
std::u16string UTF16FromUTF8(std::string_view text);
std::u16string UTF16FromWide(std::wstring_view text);

/// From UTF-16: each single surrogate becomes one U+FFFD.
std::string UTF8FromUTF16(std::u16string_view text);
std::wstring WideFromUTF16(std::u16string_view text);

}  // namespace bix::impl

#endif  // BIX_JAVA_UNICODE_H_
