// URLs, first lines and replacements against the rules as they are stated.
//
// The input is split at its first two zero bytes: a text, what is replaced in it, and by what. The
// text is also taken for a URL.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "bix/url.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

std::string ModelReplace(std::string text, const std::string& from, const std::string& to) {
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

struct Split {
  bool hasProtocol = false;
  std::string protocol = "file", host = "?", path = "?", errors;
  bool operator==(const Split&) const = default;
};

Split ModelSplit(const std::string& url) {
  Split split;
  const std::size_t colon = url.find(':');
  split.host = url;
  if (colon != std::string::npos && url.size() >= colon + 3 && url[colon + 1] == '/' &&
      url[colon + 2] == '/') {
    split.hasProtocol = true;
    split.protocol = url.substr(0, colon);
    split.host = url.substr(colon + 3);
  }
  if (split.protocol == "http") {
    split.path = "/";
    for (std::size_t i = 0; i < split.host.size(); ++i) {
      if (split.host[i] != '/') continue;
      split.path = split.host.substr(i);
      split.host = split.host.substr(0, i);
      break;
    }
  } else if (split.protocol == "file") {
    split.path.clear();
    for (const char c : split.host) split.path += c == '\\' ? '/' : c;
    split.host.clear();
  } else {
    split.errors = "unknown protocol in SplitUrl: '" + split.protocol + "'\n";
  }
  return split;
}

Split LibrarySplit(const std::string& url) {
  Split split;
  std::string protocol = "file", rest;
  split.hasProtocol = bix::RemoveProtocolFromUrl(url, protocol, rest);
  std::ostringstream errors;
  std::streambuf* const old = std::cerr.rdbuf(errors.rdbuf());
  bix::SplitUrl(url, split.protocol, split.host, split.path);
  std::cerr.rdbuf(old);
  split.errors = errors.str();
  Require(protocol == split.protocol);
  return split;
}

std::string ModelFirstLine(const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i)
    if (text[i] == '\n' || text[i] == '\r') return i == 0 ? text : text.substr(0, i);
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLongest = 2000;  // the model replaces in place
  const std::string input(data, data + std::min(size, kLongest));
  const std::size_t first = std::min(input.find('\0'), input.size());
  const std::size_t second = std::min(input.find('\0', first + 1), input.size());
  const std::string text = input.substr(0, first);
  const std::string from = first < second ? input.substr(first + 1, second - first - 1) : "";
  const std::string to = second < input.size() ? input.substr(second + 1) : "";
  Require(bix::ReplaceInStr(text, from, to) == ModelReplace(text, from, to));
  Require(LibrarySplit(text) == ModelSplit(text));
  Require(LibrarySplit(input) == ModelSplit(input));
  Require(bix::TruncAtNewLine(input) == ModelFirstLine(input));
  return 0;
}
