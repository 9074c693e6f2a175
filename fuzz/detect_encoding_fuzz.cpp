// The detector of encodings against the rules as they are stated, byte by byte and with all their
// counts; texts lie in blocks of exactly their size.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "bix/encoding.h"

namespace {

using Bytes = const unsigned char*;

bool IsContinuation(unsigned char byte) { return byte >= 0x80 && byte <= 0xBF; }

bool ModelIsSequence(Bytes at, bool* invalid) {
  if (*at == 0xFE || *at == 0xFF) {
    *invalid = true;
    return false;
  }
  int length = 0;
  while (length < 6 && (*at & (0x80 >> length)) != 0) ++length;
  if (length < 2) return false;
  for (int i = 1; i <= length; ++i) {
    if (IsContinuation(at[i]) == (i < length)) continue;
    *invalid = true;
    return false;
  }
  return true;
}

bool ModelIsUtf8(Bytes text) {
  int sequences = 0, others = 0, escapes = 0;
  bool invalid = false;
  for (Bytes at = text; *at != 0; ++at) {
    if (!invalid && ModelIsSequence(at, &invalid)) {
      ++sequences;
      continue;
    }
    if (*at == 0x1B) {
      if (at[1] == 0x24 && (at[2] == 0x42 || at[2] == 0x40)) return false;
      if (at[1] == 0x28 && (at[2] == 0x4A || at[2] == 0x42)) {
        ++escapes;
        continue;
      }
    }
    if ((*at >= 0x80 && *at <= 0x8D) || (*at >= 0x90 && *at <= 0x9F)) return sequences != 0;
    if (*at > 0x20 && *at != 0x7F && !(*at >= 0x21 && *at <= 0x7E)) ++others;
  }
  return sequences > others && sequences > escapes;
}

bix::EncodingInfo ModelDetect(Bytes data, std::size_t length) {
  bix::EncodingInfo info;
  std::size_t even = 0, odd = 0;
  for (std::size_t i = 0; i < length; ++i)
    if (data[i] == 0) ++(i % 2 == 0 ? even : odd);
  if (length >= 2 && data[0] == 0xFF && data[1] == 0xFE) {
    info.encoding = info.byteOrderMark = 1;
  } else if (length >= 2 && data[0] == 0xFE && data[1] == 0xFF) {
    info.encoding = 2;
    info.byteOrderMark = 1;
  } else if (length >= 3 && data[0] == 0xEF && data[1] == 0xBB && data[2] == 0xBF) {
    info.encoding = 3;
    info.byteOrderMark = 1;
  } else if (even + odd == 0) {
    info.encoding = ModelIsUtf8(data) ? 3 : 0;
  } else {
    info.encoding = odd < even ? 2 : 1;
  }
  return info;
}

void Check(const std::string& bytes) {
  const auto block = std::make_unique<char[]>(bytes.size() + 1);
  std::copy_n(bytes.c_str(), bytes.size() + 1, block.get());
  const Bytes model = reinterpret_cast<Bytes>(block.get());
  if (bix::IsUTF8(block.get()) != ModelIsUtf8(model)) std::abort();
  const bix::EncodingInfo found =
      bix::DetectEncoding(block.get(), static_cast<unsigned>(bytes.size()));
  const bix::EncodingInfo expected = ModelDetect(model, bytes.size());
  if (found.encoding != expected.encoding || found.byteOrderMark != expected.byteOrderMark)
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(data, data + size);
  Check(bytes);
  // Behind plain text, at another place of the blocks in which it is looked at.
  Check(std::string(size % 67, 'x') + bytes);
  return 0;
}
