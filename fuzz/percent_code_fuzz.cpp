// Percent coding against plain loops over the bytes, both ways and there and back.

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bix/url.h"

namespace {

std::string ModelEncode(const std::string& bytes) {
  std::string out;
  for (const char c : bytes) {
    const unsigned byte = static_cast<unsigned char>(c);
    char escape[8];
    if (byte < 0x80 && (std::isalnum(static_cast<int>(byte)) != 0 ||
                        (byte != 0 && std::strchr("-._!~*'()", c) != nullptr))) {
      out += c;
    } else if (c == ' ') {
      out += '+';
    } else {
      std::snprintf(escape, sizeof escape, byte < 16 ? "%%0%x" : "%%%x", byte);
      out += escape;
    }
  }
  return out;
}

int ModelDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const int lower = std::tolower(static_cast<unsigned char>(c)) - 87;
  return ((lower % 16) + 16) % 16;
}

std::string ModelDecode(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+') {
      out += ' ';
    } else if (text[i] != '%') {
      out += text[i];
    } else if (i + 1 < text.size()) {
      int byte = ModelDigit(text[++i]) * 16;
      if (i + 1 < text.size()) byte += ModelDigit(text[++i]);
      out += static_cast<char>(byte);
    }
  }
  return out;
}

void Require(bool holds) {
  if (!holds) std::abort();
}

void Check(const std::string& bytes) {
  std::string encoded = "<";
  bix::EncodeURL(bix::UTF8String(bytes), encoded);
  Require(encoded == "<" + ModelEncode(bytes));
  bix::UTF8String decoded = "<";
  bix::DecodeURL(bytes, decoded);
  Require(decoded == "<" + ModelDecode(bytes));
  bix::UTF8String back;
  bix::DecodeURL(encoded.substr(1), back);
  Require(back == bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string bytes(data, data + size);
  bytes.shrink_to_fit();
  Check(bytes);
  Check(std::string(size % 67, 'x') + bytes);
  Check(bytes + bytes + bytes);
  return 0;
}
