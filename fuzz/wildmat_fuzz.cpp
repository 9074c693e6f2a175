// Wildcards against a matcher of another kind: the pattern is read into a list of elements, each
// with the set of bytes that it takes, and all places that can be reached are kept at once.
//
// The input is split at its first zero byte into the pattern and the text.

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bix/diagnostics.h"

namespace {

struct Element {
  bool isStar = false;
  std::bitset<256> taken;
};

int Signed(char byte) { return static_cast<signed char>(byte); }
std::size_t Index(int byte) { return static_cast<unsigned char>(byte); }

/// The bytes listed between brackets, "^" aside.
std::bitset<256> ReadList(const std::string& list) {
  std::bitset<256> taken;
  std::optional<char> previous;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i] == '-' && i + 1 < list.size()) {
      if (previous)
        for (int byte = Signed(*previous); byte <= Signed(list[i + 1]); ++byte)
          taken.set(Index(byte));
      previous = list[++i];
    } else if (list[i] != '-' || i > 0) {
      taken.set(Index(list[i]));
      previous = list[i];
    }
  }
  return taken;
}

/// Nothing for an invalid pattern.
std::optional<std::vector<Element>> Read(const std::string& pattern) {
  std::vector<Element> elements;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    Element element;
    if (pattern[i] == '*') {
      element.isStar = true;
    } else if (pattern[i] == '?') {
      element.taken.set();
    } else if (pattern[i] == '[') {
      const bool isNegated = i + 1 < pattern.size() && pattern[i + 1] == '^';
      const std::size_t first = i + (isNegated ? 2 : 1);
      const std::size_t close = pattern.find(']', first);
      if (close == std::string::npos) return std::nullopt;
      element.taken = ReadList(pattern.substr(first, close - first));
      if (isNegated) element.taken.flip();
      i = close;
    } else if (pattern[i] == '\\') {
      if (++i == pattern.size()) return std::nullopt;
      element.taken.set(Index(pattern[i]));
    } else {
      element.taken.set(Index(pattern[i]));
    }
    elements.push_back(element);
  }
  return elements;
}

bool Matches(const std::string& text, const std::string& pattern) {
  const auto elements = Read(pattern);
  if (!elements) return false;
  std::vector<bool> places(elements->size() + 1);
  const auto passStars = [&] {
    for (std::size_t i = 0; i < elements->size(); ++i)
      if (places[i] && (*elements)[i].isStar) places[i + 1] = true;
  };
  places[0] = true;
  passStars();
  for (const char byte : text) {
    std::vector<bool> next(places.size());
    for (std::size_t i = 0; i < elements->size(); ++i) {
      if (!places[i]) continue;
      if ((*elements)[i].isStar) next[i] = true;
      if ((*elements)[i].taken[Index(byte)]) next[i + 1] = true;
    }
    places = next;
    passStars();
  }
  return places.back();
}

std::unique_ptr<char[]> Block(const std::string& bytes) {
  std::unique_ptr<char[]> block(new char[bytes.size() + 1]);
  std::copy_n(bytes.c_str(), bytes.size() + 1, block.get());
  return block;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLongest = 2000;  // all places times all bytes
  const std::string input(data, data + std::min(size, kLongest));
  const std::string pattern = input.c_str();
  const std::string text = input.substr(std::min(pattern.size() + 1, input.size())).c_str();
  const int found = zq_wildmat(Block(text).get(), Block(pattern).get());
  if (found != (Matches(text, pattern) ? 1 : 0)) std::abort();
  return 0;
}
