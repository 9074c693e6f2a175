// Base64 against a bit by bit reading, and there and back.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bix/url.h"

namespace {

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string ModelDecode(const std::string& text) {
  std::vector<bool> bits;
  for (const char c : text) {
    const std::size_t value = kAlphabet.find(c);
    if (value == std::string::npos) break;
    for (int i = 5; i >= 0; --i) bits.push_back((value >> i & 1) != 0);
  }
  std::string bytes;
  for (std::size_t at = 0; at + 8 <= bits.size(); at += 8) {
    int byte = 0;
    for (std::size_t i = 0; i < 8; ++i) byte = byte * 2 + (bits[at + i] ? 1 : 0);
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

std::string ModelEncode(const std::string& bytes) {
  std::vector<bool> bits;
  for (const char byte : bytes)
    for (int i = 7; i >= 0; --i) bits.push_back((static_cast<unsigned char>(byte) >> i & 1) != 0);
  while (bits.size() % 6 != 0) bits.push_back(false);
  std::string text;
  for (std::size_t at = 0; at < bits.size(); at += 6) {
    std::size_t value = 0;
    for (std::size_t i = 0; i < 6; ++i) value = value * 2 + (bits[at + i] ? 1 : 0);
    text += kAlphabet[value];
  }
  while (text.size() % 4 != 0) text += '=';
  return text;
}

void Check(const std::string& bytes) {
  const std::unique_ptr<unsigned char[]> block(new unsigned char[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), block.get());
  const std::string text = bix::base64_encode(block.get(), static_cast<unsigned>(bytes.size()));
  if (text != ModelEncode(bytes)) std::abort();
  if (bix::base64_decode(text) != bytes) std::abort();
  if (bix::base64_decode(bytes) != ModelDecode(bytes)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(data, data + size);
  Check(bytes);
  Check(kAlphabet.substr(size % 64) + bytes);
  return 0;
}
