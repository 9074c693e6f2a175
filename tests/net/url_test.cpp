#include "bix/url.h"

#include <cctype>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/captured_output.h"
#include "support/recording_handler.h"
#include "support/scoped_locale.h"

namespace {

using bix::UTF8String;
using Params = std::map<std::string, std::string>;
using namespace std::string_literals;

// Replacing

struct Replacement {
  std::string text, from, to, want;
};

TEST(Replace, OfOneCharacterReplacesAll) {
  const Replacement cases[] = {
      {"a.b.c", ".", "::", "a::b::c"}, {"a.b.c", ".", "", "abc"},    {"...", ".", "..", "......"},
      {"abc", "x", "y", "abc"},        {"", "x", "y", ""},           {"x", "x", "x", "x"},
      {"a\0b\0"s, "\0"s, "-", "a-b-"}, {"aXbX", "X", "XX", "aXXbXX"}};
  for (const auto& c : cases)
    EXPECT_EQ(c.want, bix::ReplaceInStr(c.text, c.from, c.to)) << c.text << ", " << c.from;
}

TEST(ReplaceCompat, LooksBackIntoWhatWasInserted) {
  const Replacement cases[] = {
      {"abb", "ab", "a", "a"},
      {"aaaa", "aa", "a", "a"},
      {"xabb", "ab", "a", "xa"},
      // At p the search goes on at p + length(to) - 1: the last byte of what was inserted.
      {"xaby", "ab", "cab", "xcaby"},
      {"xab", "ab", "ca", "xca"},
      {"xabbb", "ab", "ca", "xccca"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.want, bix::ReplaceInStr(c.text, c.from, c.to)) << c.text << ", " << c.from;
}

TEST(Replace, EndsInFrontOfTheText) {
  const Replacement cases[] = {
      {"abcabc", "abc", "x", "xabc"},   // 0 - 3 + 1 + 1 is below 0
      {"abcabc", "abc", "xy", "xyxy"},  // 0 - 3 + 2 + 1 is 0
      {"zabcabc", "abc", "x", "zxx"},  {"abcdabcd", "abcd", "", "abcd"},
      {"zabcabc", "abc", "", "zabc"},  // 1 - 3 + 0 + 1 is below 0
      {"zzabcabc", "abc", "", "zz"},   // then "zzabc" is searched from its start
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.want, bix::ReplaceInStr(c.text, c.from, c.to)) << c.text << ", " << c.from;
}

TEST(Replace, OfNothingInsertsBeforeEachCharacterAndAtTheEnd) {
  EXPECT_EQ("xaxbxcx", bix::ReplaceInStr("abc", "", "x"));
  EXPECT_EQ("x", bix::ReplaceInStr("", "", "x"));
  EXPECT_EQ("abc", bix::ReplaceInStr("abc", "", ""));
}

/// The rule as it is stated, on one string.
std::string ReplacePlainly(std::string text, const std::string& from, const std::string& to) {
  std::size_t at = 0;
  for (;;) {
    const std::size_t hit = text.find(from, at);
    if (hit == std::string::npos) return text;
    text.replace(hit, from.size(), to);
    const long next =
        static_cast<long>(hit) - static_cast<long>(from.size()) + static_cast<long>(to.size()) + 1;
    if (next < 0) return text;
    at = static_cast<std::size_t>(next);
  }
}

TEST(Replace, AgreesWithTheRuleForAllSmallTexts) {
  // Every text, `from` and `to` of a and b, up to seven, three and three of them.
  const auto word = [](unsigned number) {
    std::string letters;
    for (; number > 1; number /= 2) letters += number % 2 != 0 ? 'b' : 'a';
    return letters;
  };
  for (unsigned text = 1; text < 256; ++text)
    for (unsigned from = 1; from < 16; ++from)
      for (unsigned to = 1; to < 16; ++to)
        ASSERT_EQ(ReplacePlainly(word(text), word(from), word(to)),
                  bix::ReplaceInStr(word(text), word(from), word(to)))
            << word(text) << ", " << word(from) << ", " << word(to);
}

// Lines and letters

TEST(FirstLine, EndsAtTheFirstLineEnd) {
  const struct {
    std::string text, want;
  } cases[] = {{"", ""},         {"abc", "abc"},  {"ab\r\ncd", "ab"}, {"ab\ncd\nef", "ab"},
               {"ab\rcd", "ab"}, {"a\n\rb", "a"}, {"ab\n", "ab"},     {"a\0b\nc"s, "a\0b"s}};
  for (const auto& c : cases) EXPECT_EQ(c.want, bix::TruncAtNewLine(c.text)) << c.text;
}

TEST(FirstLineCompat, ALineEndAtTheStartKeepsEverything) {
  EXPECT_EQ("\nabc", bix::TruncAtNewLine("\nabc"));
  EXPECT_EQ("\rabc\ndef", bix::TruncAtNewLine("\rabc\ndef"));
  EXPECT_EQ("\n", bix::TruncAtNewLine("\n"));
}

TEST(Letters, AreChangedByteByByteInTheCurrentLocale) {
  std::string text = "HeLLo \xC4\xE4 1\0Z"s;
  bix::ToLower(text);
  EXPECT_EQ("hello \xC4\xE4 1\0z"s, text);
  bix::ToUpper(text);
  EXPECT_EQ("HELLO \xC4\xE4 1\0Z"s, text);
  const bix_test::ScopedLocale latin1(bix_test::kLatin1Locale);
  bix::ToLower(text);
  EXPECT_EQ("hello \xE4\xE4 1\0z"s, text);
  bix::ToUpper(text);
  EXPECT_EQ("HELLO \xC4\xC4 1\0Z"s, text);
}

// Splitting URLs

TEST(Protocol, IsSplitOffAtColonAndTwoSlashes) {
  const struct {
    const char* url;
    bool want;
    const char* protocol;
    const char* rest;
  } cases[] = {
      {"http://h/x", true, "http", "h/x"},
      {"://x", true, "", "x"},
      {"a://", true, "a", ""},
      {"a:///x", true, "a", "/x"},
      {"mailto:x", false, "?", "mailto:x"},
      {"", false, "?", ""},
      {"h/x", false, "?", "h/x"},
      {"a:", false, "?", "a:"},
      {"a:/", false, "?", "a:/"},
      {"a:/x/", false, "?", "a:/x/"},
      {"a:x/", false, "?", "a:x/"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.url);
    std::string protocol = "?", rest = "?";
    EXPECT_EQ(c.want, bix::RemoveProtocolFromUrl(c.url, protocol, rest));
    EXPECT_EQ(c.protocol, protocol);
    EXPECT_EQ(c.rest, rest);
  }
}

TEST(Protocol, ResultsMayBeTheUrlItself) {
  std::string url = "http://h/x", other;
  EXPECT_TRUE(bix::RemoveProtocolFromUrl(url, url, other));
  EXPECT_EQ("http", url);
  EXPECT_EQ("h/x", other);
  url = "http://h/x";
  EXPECT_TRUE(bix::RemoveProtocolFromUrl(url, other, url));
  EXPECT_EQ("http", other);
  EXPECT_EQ("h/x", url);
  url = "none";
  EXPECT_FALSE(bix::RemoveProtocolFromUrl(url, other, url));
  EXPECT_EQ("none", url);
}

TEST(UrlCompat, OnlyTheFirstColonCounts) {
  std::string protocol = "?", rest;
  EXPECT_FALSE(bix::RemoveProtocolFromUrl("a:b://c", protocol, rest));
  EXPECT_EQ("?", protocol);
  EXPECT_EQ("a:b://c", rest);
}

struct Split {
  std::string protocol, host, path, errors;
};

/// Splits, with something in every result before.
Split SplitFrom(const std::string& url, const std::string& protocol = "?") {
  Split split{protocol, "?", "?", ""};
  {
    const bix_test::CapturedOutput captured;
    bix::SplitUrl(url, split.protocol, split.host, split.path);
    split.errors = captured.Errors();
  }
  return split;
}

TEST(Url, IsSplitIntoProtocolHostAndPath) {
  const struct {
    const char* url;
    const char* protocol;
    const char* host;
    const char* path;
  } cases[] = {
      {"http://h:80", "http", "h:80", "/"},
      {"http://h/", "http", "h", "/"},
      {"http://h:8080/a/b?c=d#e", "http", "h:8080", "/a/b?c=d#e"},
      {"http://", "http", "", "/"},
      {"http:///x", "http", "", "/x"},
      {"http://h?x/y", "http", "h?x", "/y"},
      {"file://C:\\x\\y", "file", "", "C:/x/y"},
      {"file:///a/b\\c", "file", "", "/a/b/c"},
      {"file://", "file", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.url);
    const Split split = SplitFrom(c.url);
    EXPECT_EQ(c.protocol, split.protocol);
    EXPECT_EQ(c.host, split.host);
    EXPECT_EQ(c.path, split.path);
    EXPECT_EQ("", split.errors);
  }
}

TEST(UrlCompat, WithoutAProtocolTheCallersCounts) {
  const Split http = SplitFrom("h/x", "http");
  EXPECT_EQ("http", http.protocol);
  EXPECT_EQ("h", http.host);
  EXPECT_EQ("/x", http.path);
  const Split file = SplitFrom("a\\b", "file");
  EXPECT_EQ("", file.host);
  EXPECT_EQ("a/b", file.path);
  const Split none = SplitFrom("h/x", "");
  EXPECT_EQ("unknown protocol in SplitUrl: ''\n", none.errors);
  EXPECT_EQ("h/x", none.host);
}

TEST(UrlCompat, CapitalLettersMakeAnUnknownProtocol) {
  const Split split = SplitFrom("HTTP://h/x");
  EXPECT_EQ("unknown protocol in SplitUrl: 'HTTP'\n", split.errors);
  EXPECT_EQ("HTTP", split.protocol);
  EXPECT_EQ("h/x", split.host);
}

TEST(UrlCompat, AnUnknownProtocolIsReportedOnTheStandardStream) {
  bix_test::ScopedRecorder recorder;
  const Split split = SplitFrom("ftp://h/x");
  EXPECT_EQ("unknown protocol in SplitUrl: 'ftp'\n", split.errors);
  EXPECT_EQ("ftp", split.protocol);
  EXPECT_EQ("h/x", split.host);
  EXPECT_EQ("?", split.path) << "untouched";
  EXPECT_TRUE(recorder.calls.empty()) << "not on the message channel";
  // What the host has redirected std::cerr to gets the line, whatever width it has set there.
  std::ostringstream redirected;
  std::streambuf* const old = std::cerr.rdbuf(redirected.rdbuf());
  std::cerr << std::setw(80);
  std::string protocol = "p", host, path;
  bix::SplitUrl("x", protocol, host, path);
  std::cerr << std::setw(0);
  std::cerr.rdbuf(old);
  EXPECT_EQ("unknown protocol in SplitUrl: 'p'\n", redirected.str());
}

TEST(Url, AStreamThatThrowsDoesNotStopTheSplitting) {
  struct : std::streambuf {
  } full;  // takes nothing
  std::string protocol = "p", host, path = "?";
  std::streambuf* const old = std::cerr.rdbuf(&full);
  std::cerr.exceptions(std::ios_base::badbit);
  EXPECT_NO_THROW(bix::SplitUrl("x", protocol, host, path));
  const bool hasFailed = std::cerr.bad();
  std::cerr.exceptions(std::ios_base::goodbit);
  std::cerr.rdbuf(old);
  EXPECT_TRUE(hasFailed) << "the test itself";
  EXPECT_EQ("x", host);
  EXPECT_EQ("?", path);
}

// Percent coding

std::string Encode(const std::string& bytes) {
  std::string out = "<";
  bix::EncodeURL(UTF8String(bytes), out);
  return out;
}
std::string Decode(const std::string& text) {
  UTF8String out = "<";
  bix::DecodeURL(text, out);
  return out;
}

TEST(PercentCode, EncodesBehindWhatIsThere) {
  EXPECT_EQ("<", Encode(""));
  EXPECT_EQ("<a+b%2f%c3%a9", Encode("a b/\xC3\xA9"));
  EXPECT_EQ("<%0a%00%01%0f%10%7f%80%e9%ff", Encode("\n\0\x01\x0F\x10\x7F\x80\xE9\xFF"s));
  EXPECT_EQ("<%25%2b%3d%26%3f%23%40%22%3c%3e", Encode("%+=&?#@\"<>"));
}

TEST(PercentCode, EveryByteHasItsForm) {
  const std::string kept =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._!~*'()";
  const bix_test::ScopedLocale latin1(bix_test::kLatin1Locale);  // has no say in it
  for (int byte = 0; byte < 256; ++byte) {
    const std::string one(1, static_cast<char>(byte));
    char escape[8];
    std::snprintf(escape, sizeof escape, "<%%%02x", static_cast<unsigned>(byte));
    const std::string want = byte == ' '                           ? "<+"
                             : kept.find(one) != std::string::npos ? "<" + one
                                                                   : escape;
    EXPECT_EQ(want, Encode(one)) << byte;
  }
}

TEST(PercentCodeCompat, KeepsItsMarksAndWritesSmallDigits) {
  EXPECT_EQ("<-._!~*'()", Encode("-._!~*'()"));
  EXPECT_EQ("<%ab%cd%ef", Encode("\xAB\xCD\xEF"));
}

TEST(PercentCode, DecodesBehindWhatIsThere) {
  EXPECT_EQ("<", Decode(""));
  EXPECT_EQ("<a b/\xC3\xA9", Decode("a+b%2f%c3%a9"));
  EXPECT_EQ("<\xC3\xA9\xAB\xCD\xEF", Decode("%C3%A9%aB%Cd%EF"));
  EXPECT_EQ("<\0a\xFF"s, Decode("%00a%ff"));
  EXPECT_EQ("<a\0b"s, Decode("a\0b"s));
  EXPECT_EQ("<plain&x=y/?#\x80\xFF", Decode("plain&x=y/?#\x80\xFF"));
}

TEST(PercentCodeCompat, WhatIsNoDigitHasAValue) {
  EXPECT_EQ("<3", Decode("%zz")) << "(122 - 87) mod 16 is 3";
  EXPECT_EQ("<3", Decode("%ZZ")) << "as small letters";
  EXPECT_EQ(
      "<\xE4"
      "1",
      Decode("%%41"));
  EXPECT_EQ("<\0"s, Decode("%g0"));
  EXPECT_EQ("<N41", Decode("%4%41"));
  EXPECT_EQ("<A", Decode("%+1")) << "(43 - 87) mod 16 is 4";
  for (int byte = 0; byte < 256; ++byte) {
    const bool isDecimal = byte >= '0' && byte <= '9';
    const int value = isDecimal ? byte - '0' : (std::tolower(byte) - 87 + 160) % 16;
    const std::string digit(1, static_cast<char>(byte));
    EXPECT_EQ("<" + std::string(1, static_cast<char>(value * 16)), Decode("%" + digit + "0"));
    EXPECT_EQ("<" + std::string(1, static_cast<char>(value)), Decode("%0" + digit));
  }
}

TEST(PercentCodeCompat, OneDigitAtTheEndIsTheUpperHalf) {
  EXPECT_EQ("<@", Decode("%4"));
  EXPECT_EQ("<x\xF0", Decode("x%f"));
  EXPECT_EQ("<\xE0", Decode("%%"));
}

TEST(PercentCode, APercentSignAtTheVeryEndIsDropped) {
  EXPECT_EQ("<", Decode("%"));
  EXPECT_EQ("<abc", Decode("abc%"));
  EXPECT_EQ("<A", Decode("%41%"));
}

TEST(PercentCode, DoesNotDependOnWhereInTheTextItIs) {
  const struct {
    std::string text, want;
  } cases[] = {{"%41", "A"},
               {"+", " "},
               {"%%41",
                "\xE4"
                "1"},
               {"%4%4", "N4"},
               {"%25%32%35", "%25"},
               {"+%2b+", " + "},
               {"%2", "\x20"},
               {"%", ""},
               {"%e2%82%ac", "\xE2\x82\xAC"}};
  for (std::size_t before = 0; before <= 150; ++before) {
    for (const auto& c : cases) {
      const std::string front(before, 'x');
      ASSERT_EQ("<" + front + c.want, Decode(front + c.text)) << before << c.text;
      if (c.text.back() == '%' || c.text == "%2") continue;  // they end the text
      const std::string back = "!" + std::string(200, 'y');
      ASSERT_EQ("<" + front + c.want + back, Decode(front + c.text + back)) << before << c.text;
    }
  }
}

TEST(PercentCode, GivesLongTextsBack) {
  for (const std::size_t size : {1, 63, 64, 65, 1023, 1024, 1025, 4095, 4096, 4097, 20000}) {
    SCOPED_TRACE(size);
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(i * 7 + i / 256);
    std::string encoded;
    bix::EncodeURL(UTF8String(bytes), encoded);
    UTF8String decoded;
    bix::DecodeURL(encoded, decoded);
    EXPECT_EQ(bytes, decoded);
    EXPECT_EQ(std::string::npos, encoded.find_first_of(" /\n\xFF"));
    // Nothing but escapes, and nothing but plain text.
    std::string escapes, plain(size, 'x');
    for (std::size_t i = 0; i < size; ++i) escapes += "%41";
    decoded.clear();
    bix::DecodeURL(escapes, decoded);
    EXPECT_EQ(std::string(size, 'A'), decoded);
    decoded.clear();
    bix::DecodeURL(plain, decoded);
    EXPECT_EQ(plain, decoded);
  }
}

TEST(PercentCode, ATextMayBeItsOwnResult) {
  UTF8String text = "a b";
  bix::EncodeURL(text, text);
  EXPECT_EQ("a ba+b", text);
  bix::DecodeURL(text, text);
  EXPECT_EQ("a ba+ba ba b", text);
}

// Base64

std::string Encode64(const std::string& bytes) {
  // A block of exactly the bytes, so that a read past them is seen.
  const std::unique_ptr<unsigned char[]> block(new unsigned char[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), block.get());
  return bix::base64_encode(block.get(), static_cast<unsigned>(bytes.size()));
}

TEST(Base64, EncodesGroupsOfThree) {
  const struct {
    std::string bytes;
    const char* text;
  } cases[] = {{"", ""},
               {"f", "Zg=="},
               {"fo", "Zm8="},
               {"foo", "Zm9v"},
               {"foob", "Zm9vYg=="},
               {"fooba", "Zm9vYmE="},
               {"foobar", "Zm9vYmFy"},
               {"Ma", "TWE="},
               {"\0"s, "AA=="},
               {"\0\0\0"s, "AAAA"},
               {"\xFF", "/w=="},
               {"\xFF\xFF\xFF", "////"},
               {"\xFB\xEF\xBE", "++++"},
               {"Many hands make light work.", "TWFueSBoYW5kcyBtYWtlIGxpZ2h0IHdvcmsu"}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.text, Encode64(c.bytes));
    EXPECT_EQ(c.bytes, bix::base64_decode(c.text));
  }
  EXPECT_EQ("", bix::base64_encode(nullptr, 0));
}

TEST(Base64, EveryNumberHasItsCharacter) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  // Each character at every place of groups that are converted together.
  for (std::size_t shift = 0; shift < 64; ++shift) {
    std::string text;
    for (std::size_t i = 0; i < 64; ++i) text += alphabet[(i + shift) % 64];
    const std::string bytes = bix::base64_decode(text);
    ASSERT_EQ(48u, bytes.size());
    for (std::size_t i = 0; i < 64; ++i) {
      const std::size_t bit = i * 6;
      const unsigned pair =
          static_cast<unsigned char>(bytes[bit / 8]) * 256u +
          (bit / 8 + 1 < 48 ? static_cast<unsigned char>(bytes[bit / 8 + 1]) : 0u);
      ASSERT_EQ((i + shift) % 64, pair >> (10 - bit % 8) & 63) << shift << " " << i;
    }
    EXPECT_EQ(text, Encode64(bytes));
  }
}

TEST(Base64, GivesLongTextsBack) {
  for (std::size_t size = 0; size < 200; ++size) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(i * 37 + size);
    ASSERT_EQ(bytes, bix::base64_decode(Encode64(bytes))) << size;
    ASSERT_EQ((size + 2) / 3 * 4, Encode64(bytes).size());
  }
  for (const std::size_t size : {3071, 3072, 3073, 6144, 100000}) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(i * 37 + i / 256);
    EXPECT_EQ(bytes, bix::base64_decode(Encode64(bytes))) << size;
  }
}

TEST(Base64Compat, DecodingEndsAtTheFirstForeignCharacter) {
  EXPECT_EQ("M", bix::base64_decode("TW E="));
  EXPECT_EQ("Ma", bix::base64_decode("TWE=TWE="));
  EXPECT_EQ("Man", bix::base64_decode("TWFu\nTWFu"));
  EXPECT_EQ("", bix::base64_decode("=TWFu"));
  EXPECT_EQ("Man", bix::base64_decode("TWFu-_-_"));
  EXPECT_EQ("Man", bix::base64_decode("TWFu\0TWFu"s));
}

TEST(Base64, DropsALastCharacterByItself) {
  EXPECT_EQ("", bix::base64_decode("T"));
  EXPECT_EQ("Man", bix::base64_decode("TWFuT"));
  EXPECT_EQ("Man", bix::base64_decode("TWFuT==="));
  EXPECT_EQ("M", bix::base64_decode("TW"));
  EXPECT_EQ("Ma", bix::base64_decode("TWE"));
}

TEST(Base64, EveryForeignByteEndsItWhereverItIs) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::string text = alphabet + alphabet;
  const std::string bytes = bix::base64_decode(text);
  ASSERT_EQ(96u, bytes.size());
  for (int byte = 0; byte < 256; ++byte) {
    if (alphabet.find(static_cast<char>(byte)) != std::string::npos) continue;
    for (std::size_t at = 0; at < 40; ++at) {
      std::string broken = text;
      broken[at] = static_cast<char>(byte);
      ASSERT_EQ(bytes.substr(0, at * 6 / 8), bix::base64_decode(broken)) << byte << " " << at;
    }
  }
}

TEST(Base64, WhatComesBehindTheEndIsIgnoredInLongTextsToo) {
  const std::string text(12000, '/');
  for (const std::size_t at : {100, 4092, 4094, 4095, 4096, 4097, 8191}) {
    std::string broken = text;
    broken[at] = '=';
    EXPECT_EQ(std::string(at * 6 / 8, '\xFF'), bix::base64_decode(broken)) << at;
  }
}

// Requests

struct Request {
  std::string path = "?";
  Params params;
};
Request SplitRequest(const std::string& text) {
  Request request;
  bix::SplitGetReq(text, request.path, request.params);
  return request;
}

TEST(Request, IsSplitIntoPathAndParameters) {
  const struct {
    std::string request;
    std::string path;
    Params params;
  } cases[] = {
      {"/cmd?x=1&y=a+b HTTP/1.1", "/cmd", {{"x", "1"}, {"y", "a b"}}},
      {"/p?a=1&a=2&b HTTP/1.0\r\n", "/p", {{"a", "1"}, {"b", "b"}}},
      {"/p", "/p", {}},
      {"/p HTTP/1.1\r\n", "/p", {}},
      {"", "", {}},
      {"\r\n", "", {}},
      {"?a=b", "", {{"a", "b"}}},
      {"/p?a=%41%2b%26", "/p", {{"a", "A+&"}}},
      {"/p?a=b=c", "/p", {{"a", "b=c"}}},
      {"/p?a=b?c=d", "/p", {{"a", "b?c=d"}}},
      {"/p?=x", "/p", {{"", "x"}}},
      {"/p?a=", "/p", {{"a", ""}}},
      {"/%41?x=1", "/%41", {{"x", "1"}}},  // the path stays as it is
      {"/p?a=\0b"s, "/p", {{"a", "\0b"s}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.request));
    const Request request = SplitRequest(c.request);
    EXPECT_EQ(c.path, request.path);
    EXPECT_EQ(c.params, request.params);
  }
}

TEST(Request, LosesTwoLineEndsAtMost) {
  const struct {
    const char* request;
    const char* path;
  } cases[] = {{"/p\n", "/p"},
               {"/p\r", "/p"},
               {"/p\r\n", "/p"},
               {"/p\n\n", "/p"},
               {"/p\n\r", "/p"},
               {"/p\r\n\r\n", "/p\r\n"},
               {"\n\n\n", "\n"},
               {"/p HTTP/1.1\n\r", "/p"},
               {"/p HTTP/1.1\r\n\n", "/p HTTP/1.1\r"}};
  for (const auto& c : cases) EXPECT_EQ(c.path, SplitRequest(c.request).path) << c.request;
}

TEST(RequestCompat, TheCharacterBeforeTheVersionGoes) {
  const struct {
    const char* request;
    const char* path;
  } cases[] = {{"/xHTTP/1.1", "/"},
               {"/x HTTP/1.9", "/x"},
               {"/x HTTP/1.", "/x HTTP/1."},
               {"/x HTTP/1.10", "/x HTTP/1.10"},
               {"/x HTTP/2.0", "/x HTTP/2.0"},
               {"/x http/1.1", "/x http/1.1"},
               {"HTTP/1.1", ""},
               {"HTTP/1.", "HTTP/1."},
               {" HTTP/1.1", ""},
               {"/x  HTTP/1.1", "/x "},
               {"/x HTTP/1.?", "/x"}};
  for (const auto& c : cases) EXPECT_EQ(c.path, SplitRequest(c.request).path) << c.request;
}

TEST(RequestCompat, AParameterWithoutAValueIsItsOwn) {
  EXPECT_EQ((Params{{"b", "b"}}), SplitRequest("/p?b").params);
  EXPECT_EQ((Params{{"a+b%41", "a bA"}}), SplitRequest("/p?a+b%41").params)
      << "the value is decoded, the name is not";
}

TEST(RequestCompat, TheFirstOfANameCountsAndNamesAreNotDecoded) {
  EXPECT_EQ((Params{{"a", "1"}, {"A", "3"}}), SplitRequest("/p?a=1&a=2&A=3").params);
  EXPECT_EQ((Params{{"+", "A"}, {"%41", "2"}, {"x", "1 2+"}}),
            SplitRequest("/p?x=1+2%2b&+=%41&%41=2").params);
  Params params{{"a", "kept"}};
  std::string path;
  bix::SplitGetReq("/p?a=1&b=2", path, params);
  EXPECT_EQ((Params{{"a", "kept"}, {"b", "2"}}), params) << "also against what was there before";
}

TEST(RequestCompat, AnEmptyPieceIsAParameter) {
  EXPECT_EQ((Params{{"", ""}, {"a", "1"}, {"b", "2"}}), SplitRequest("/p?a=1&&b=2").params);
  EXPECT_EQ((Params{{"", ""}}), SplitRequest("/p?").params);
  EXPECT_EQ((Params{{"", ""}, {"a", "1"}}), SplitRequest("/p?a=1&").params);
  EXPECT_EQ((Params{{"", ""}, {"a", "1"}}), SplitRequest("/p?&a=1").params);
}

TEST(RequestCompat, APlusIsABlankEvenAsADigit) {
  EXPECT_EQ((Params{{"a", "\x91"}}), SplitRequest("/p?a=%+1").params)
      << "the blank has the value 9 as a digit, the plus sign 4";
}

TEST(Request, OfManyParametersIsSplitInOneWalk) {
  std::string text = "/p?";
  for (int i = 0; i < 100000; ++i)
    text += "k" + std::to_string(i) + "=v+" + std::to_string(i) + "&";
  const Request request = SplitRequest(text + "k5=other HTTP/1.1\r\n");
  EXPECT_EQ("/p", request.path);
  EXPECT_EQ(100000u, request.params.size());
  EXPECT_EQ("v 5", request.params.at("k5"));
  EXPECT_EQ("v 99999", request.params.at("k99999"));
}

}  // namespace
