// Path names against a plain model of their normal form, and what holds for every path. The input
// is up to three texts with zero bytes between: a path, an element or base, and a suffix.

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "bix/pathname.h"
#include "paths/canonicalize.h"

namespace {

struct Free {
  void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, Free>;

void Check(bool isRight, const std::string& input, const char* what) {
  if (isRight) return;
  std::fprintf(stderr, "%s: \"%s\"\n", what, input.c_str());
  std::abort();
}

/// One byte after the other, as the rule is told.
std::string ModelCanonical(const std::string& in) {
  std::string out(in.size(), '\0');
  std::size_t write = 0;
  std::size_t read = 0;
  const auto at = [&in](std::size_t i) { return i < in.size() ? in[i] : '\0'; };
  while (read < in.size()) {
    if (at(read) == '/' && at(read + 1) == '.' && at(read + 2) == '/') {
      read += 2;
    } else if (at(read) == '/' && at(read + 1) == '.' && at(read + 2) == '.' &&
               (at(read + 3) == '/' || at(read + 3) == '\0')) {
      read += 3;
      if (write > 0) --write;
      while (write > 0 && out[write] != '/') --write;
    } else {
      out[write++] = in[read++];
    }
  }
  return out.substr(0, write);
}

bool ModelIsUri(const std::string& text) {
  const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  if (text.size() < 2 || letters.find(text[0]) == std::string::npos) return false;
  const std::size_t end = text.find_first_not_of(letters + "0123456789", 1);
  return end != std::string::npos && text[end] == ':';
}

bool ModelIsAbsolute(const std::string& text) {
  return (!text.empty() && text[0] == '/') || ModelIsUri(text);
}

std::string ModelNormal(std::string text) {
  if (text.size() >= 1024) return "";
  for (char& byte : text) {
    if (byte == '\\') byte = '/';
  }
  return ModelIsAbsolute(text) ? ModelCanonical(text) : text;
}

std::string Canonical(const std::string& in) {
  std::string out(in.size() + 1, '#');
  const bool isChanged = bix::impl::VlgPathCanonicalize(out.data(), in.c_str());
  out.resize(std::strlen(out.c_str()));
  Check(isChanged == (out != in), in, "a change is not told");
  std::string same = in;
  bix::impl::VlgPathCanonicalize(same.data(), same.data());
  Check(out == same.c_str(), in, "not the same in place");
  return out;
}

void CheckPath(const std::string& text) {
  errno = 0;
  const bix::SPathName path(text.c_str());
  Check(ModelNormal(text) == path.c_str(), text, "not the normal form");
  Check(errno == (text.size() >= 1024 ? EINVAL : 0), text, "errno");
  Check(std::strlen(path.c_str()) == path.size(), text, "the length");
  Check(path == bix::SPathName(path.c_str()), text, "not stable");
  Check(path == text.c_str(), text, "not the text that it was made of");
  Check(path.find('\\') == std::string::npos, text, "a backslash");
  Check(path.IsAbsolutePath() == ModelIsAbsolute(path), text, "absolute");
  Check(bix::BixIsAUri(text.c_str()) == ModelIsUri(text), text, "a URI");

  const bix::SString directory = path.GetDirectory();
  Check(!directory.empty(), text, "no directory");
  const std::string tail = path.GetTail();
  Check(tail.find('/') == std::string::npos, text, "a separator in the tail");
  if (path.rfind('/') != std::string::npos && path.rfind('/') > 0) {
    const bool isDriveRoot = directory.back() == '/' && directory.size() == 3;
    Check(directory + (isDriveRoot ? "" : "/") + tail == path || directory + "/" + tail == path,
          text, "directory and tail");
  }
  const char* const suffix = path.GetSuffix();
  const Text base(path.GetBaseName());
  Check(base.get() + std::string(suffix != nullptr ? suffix : "") == tail, text, "base and suffix");

  const Text windows(path.GetWinPath());
  Check(bix::SPathName(windows.get()) == path, text, "there and back");
}

void CheckElement(const std::string& text, const std::string& element) {
  bix::SPathName path(text.c_str());
  std::string want = path;
  if (want.empty()) {
    want = element;
  } else {
    if (want.back() != '/') want += '/';
    want += element.substr(0, 1) == "/" ? element.substr(1) : element;
  }
  if (ModelIsAbsolute(want)) want = ModelCanonical(want);
  path.AddPathElement(element.c_str());
  Check(want == path.c_str(), text + " + " + element, "an element");
}

void CheckSuffix(const std::string& text, const std::string& suffix) {
  bix::SPathName path(text.c_str());
  const bool hasSuffix = path.GetSuffix() != nullptr;
  const std::string want = hasSuffix ? path : path + suffix;
  path.AddSuffix(suffix.c_str());
  Check(want == path.c_str(), text + " + " + suffix, "a suffix");
  bix::SPathName cut(text.c_str());
  std::string unsuffixed = cut;
  name_unsuffix(unsuffixed.data());
  cut.SubSuffix();
  Check(ModelNormal(unsuffixed.c_str()) == cut.c_str(), text, "without its suffix");
}

// Going from the base's directory along the result leads to the target.
void CheckRelative(const std::string& targetText, const std::string& baseText) {
  const Text any(get_rel_path(targetText.c_str(), baseText.c_str()));
  Check(any != nullptr, targetText, "no relative path");

  const bix::SPathName target(targetText.c_str());
  const bix::SPathName base(baseText.c_str());
  if (target.substr(0, 1) != "/" || base.substr(0, 1) != "/") return;
  const Text relative(get_rel_path(target.c_str(), base.c_str()));
  // Nothing in common: another server.
  if (target == relative.get()) return;
  const std::string way = base.substr(0, base.rfind('/') + 1) + relative.get();
  Check(ModelCanonical(way) == target.c_str(), targetText + " from " + baseText, "leads elsewhere");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(data, data + size);
  const std::string first = input.c_str();
  std::string rest = input.size() > first.size() ? input.substr(first.size() + 1) : "";
  const std::string second = rest.c_str();
  rest = rest.size() > second.size() ? rest.substr(second.size() + 1) : "";
  const std::string third = rest.c_str();

  Check(Canonical(first) == ModelCanonical(first), first, "not canonical");
  CheckPath(first);
  CheckPath(second);
  CheckElement(first, second);
  CheckSuffix(first, third);
  if (first.size() < 1024 && second.size() < 1024) CheckRelative(first, second);
  return 0;
}
