#ifndef BIX_URL_H_
#define BIX_URL_H_

/// URLs, percent coding, base64, and the target of a GET request.
///
///   std::string path;
///   std::map<std::string, std::string> params;
///   bix::SplitGetReq("/find?name=a+b HTTP/1.1\r\n", path, params);   // "/find", {name: "a b"}
///
/// Any bytes are accepted: nothing throws or reports bad input. The cost is linear in the length of
/// the text, unless a function says otherwise.
///
/// Owner: everything is passed and returned by value or changed in place; nothing is kept. An
///   argument may be the same object as a result.
/// Encoding: bytes.
/// Threads: re-entrant.

#include "bix/hostmacros_off.h"

#include <map>
#include <string>

#include "bix/export.h"
#include "bix/text.h"

namespace bix {

/// `text` with occurrences of `from` replaced by `to`. Behind a replacement at p the search goes on
/// at p - length(from) + length(to) + 1: with a longer `from` it looks back into what was inserted,
/// and ends where that would lie in front of the text.
///
///   "a.b.c",  ".",   "::" => "a::b::c"
///   "abb",    "ab",  "a"  => "a"       "a" and the second "b" are found again
///   "aaaa",   "aa",  "a"  => "a"
///   "abcabc", "abc", "x"  => "xabc"    the search has ended
///   "abc",    "",    "x"  => "xaxbxcx"
///
/// The cost is linear in the text, times the lengths of `from` and `to`.
BIX_EXPORT std::string ReplaceInStr(const std::string& text, const std::string& from,
                                    const std::string& to);

/// Splits at "://" and returns true, if that stands at the first ":".
///
///   "http://h/x"  => true,  "http", "h/x"
///   "mailto:x"    => false, rest "mailto:x", protocol untouched
///   "a:b://c"     => false, rest "a:b://c"
BIX_EXPORT bool RemoveProtocolFromUrl(const std::string& url, std::string& protocol,
                                      std::string& rest);

/// The text up to its first line feed or carriage return. One at the very start is passed over with
/// all that follows.
///
///   "ab\r\ncd" => "ab"      "\nabc" => "\nabc"
BIX_EXPORT std::string TruncAtNewLine(const std::string& s);

/// Replaces each byte by its tolower() or toupper() in the current locale.
BIX_EXPORT void ToLower(std::string& text);
BIX_EXPORT void ToUpper(std::string& text);

/// Splits a URL. Without "://" all of it is host and path, by the protocol that the caller has left
/// in `protocol`. Only these two are known, in small letters:
///
///   "http://h:80"      => "http", "h:80", "/"
///   "http://h/a?b#c"   => "http", "h", "/a?b#c"
///   "file://C:\x\y"    => "file", "", "C:/x/y"
///
/// Errors: with any other protocol, writes "unknown protocol in SplitUrl: '<protocol>'" and a
///   newline to std::cerr, past the message channels. `host` is then what follows "://", and `path`
///   is untouched.
BIX_EXPORT void SplitUrl(const std::string& url, std::string& protocol, std::string& host,
                         std::string& path);

/// Appends the decoded bytes to `out`: "+" is a space, "%" takes two hexadecimal digits. A digit
/// that is none still gives a value: its code minus 87, modulo 16.
///
///   "a+b%2f%c3%a9" => "a b/\xC3\xA9"
///   "%4" => "@"     one digit at the end is the upper half of the byte
///   "%"  => ""      at the very end nothing is appended
///   "%zz" => "3"    no error
BIX_EXPORT void DecodeURL(const std::string& in, UTF8String& out);

/// Appends the encoded text to `out`: ASCII letters, digits and "-._!~*'()" stay, a space becomes
/// "+", any other byte "%" and two hexadecimal digits in small letters.
///
///   "a b/\xC3\xA9\n" => "a+b%2f%c3%a9%0a"
BIX_EXPORT void EncodeURL(const UTF8String& in, std::string& out);

/// The base64 text of the bytes: the standard alphabet, padded by "=", without line breaks.
///
///   "Ma" => "TWE="      "" => ""
///
/// Owner: `bytes` is borrowed for the call; it may be null when `length` is 0.
BIX_EXPORT std::string base64_encode(const unsigned char* bytes, unsigned int length);

/// The bytes of a base64 text, up to its end or the first character that is not of the alphabet, a
/// "=" or a blank too. What follows is ignored, and so is a last character by itself.
///
///   "TWE=" => "Ma"      "TW E=" => "M"      "TWFuT" => "Man"
BIX_EXPORT std::string base64_decode(const std::string& text);

/// Takes the target of a GET request line apart; the method is no longer in front of it. Two line
/// ends at most, "\r" or "\n" each, and " HTTP/1.x" are dropped from its end.
///
///   "/p?a=1&a=2&b HTTP/1.0\r\n" => "/p", {a: "1", b: "b"}
///   "/p"                        => "/p", params untouched
///   "/p?x=1+2%2b&+=%41"         => "/p", {"x": "1 2+", "+": "A"}    names are not decoded
///   "/p?a=1&&b=2"               => "/p", {"": "", a: "1", b: "2"}
///
/// A parameter without "=" is its own value. The first of a name counts, also against what `params`
/// holds already.
BIX_EXPORT void SplitGetReq(std::string request, std::string& path,
                            std::map<std::string, std::string>& params);

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_URL_H_
