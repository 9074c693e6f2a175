// Formats against the system's own formatting: where the returned bound suffices, both texts are
// the same; where it does not, or the system refuses the format, the text is empty and errno
// EINVAL.
//
// The first byte chooses: one conversion of any shape with the arguments that belong to it, or any
// format at all, where every argument word is the address of a short text.

#undef _FORTIFY_SOURCE

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "bix/text.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__clang__)
// The sanitizer's own reading of formats ends the program at some that the system merely refuses.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "check_printf=0"; }
#endif

namespace {

/// Takes values from the front of the input; zeros behind its end.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_left(size) {}

  template <class T>
  T Take() {
    T value{};
    const std::size_t size = std::min(sizeof value, m_left);
    if (size == 0) return value;
    std::memcpy(&value, m_data, size);
    m_data += size;
    m_left -= size;
    return value;
  }
  std::string Rest() {
    const std::string rest(m_data, m_data + m_left);
    m_left = 0;
    return rest;
  }

 private:
  const std::uint8_t* m_data;
  std::size_t m_left;
};

void Check(bool isRight, const char* format, const char* what) {
  if (isRight) return;
  std::fprintf(stderr, "format \"%s\": %s\n", format, what);
  std::abort();
}

int FormatInto(bix::SString& text, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int bound = text.FormatV(format, arguments);
  va_end(arguments);
  return bound;
}

#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

/// `reset` restores what a conversion may have stored.
template <class Reset, class... Arguments>
void Compare(const std::string& format, Reset reset, Arguments... arguments) {
  std::vector<char> expected(1 << 16);
  reset();
  errno = 0;
  const int length = std::snprintf(expected.data(), expected.size(), format.c_str(), arguments...);
  if (length >= static_cast<int>(expected.size())) return;

  bix::SString text("before");
  reset();
  errno = 0;
  const int bound = FormatInto(text, format.c_str(), arguments...);
  const int error = errno;
  if (length >= 0 && length <= bound) {
    Check(text == expected.data(), format.c_str(), "another text than the system's");
    Check(error != EINVAL, format.c_str(), "an error in spite of a text");
  } else {
    Check(text.empty(), format.c_str(), "a text in spite of an error");
    Check(error == EINVAL, format.c_str(), "no error");
  }
}

template <class Argument>
void CompareConversion(const std::string& format, int stars, int width, int precision,
                       Argument argument) {
  const auto nothing = [] {};
  if (stars == 2)
    Compare(format, nothing, width, precision, argument);
  else if (stars == 1)
    Compare(format, nothing, width, argument);
  else
    Compare(format, nothing, argument);
}

void OneConversion(Input input) {
  static const char* const kFlags[] = {"", "-", "+", "0", " ", "#", "-0", "#0", "+-", "##"};
  static const char* const kLetters[] = {
      "d", "i", "u",  "x", "X", "o", "hd", "hhd", "ld", "lld", "llx", "c", "lc", "s",  "hs", "ls",
      "S", "f", "lf", "e", "g", "G", "Lf", "Lg",  "p",  "E",   "a",   "F", "zu", "jd", "td"};
  const std::string flags = kFlags[input.Take<std::uint8_t>() % std::size(kFlags)];
  const std::string letter = kLetters[input.Take<std::uint8_t>() % std::size(kLetters)];
  const int shape = input.Take<std::uint8_t>() % 6;
  const int width = input.Take<std::int16_t>() % 3000;
  const int precision = input.Take<std::int16_t>() % 3000;
  const std::uint64_t bits = input.Take<std::uint64_t>();

  std::string conversion = "%" + flags;
  int stars = 0;
  if (shape == 1 || shape == 2) conversion += std::to_string(std::abs(width));
  if (shape == 3 || shape == 4) conversion += '*', ++stars;
  if (shape == 2 || shape == 5) conversion += '.' + std::to_string(std::abs(precision));
  if (shape == 4) conversion += ".*", ++stars;
  conversion += letter;

  std::string rest = input.Rest();
  rest.resize(std::strlen(rest.c_str()));
  std::string around = rest.substr(0, rest.size() / 2);
  std::replace(around.begin(), around.end(), '%', '/');
  // The bar is no letter of a conversion: "%F" takes the byte behind it for one.
  const std::string format = around + conversion + '|' + around;

  const auto run = [&](auto argument) {
    CompareConversion(format, stars, width, precision, argument);
  };
  const char kind = letter.back();
  if (letter == "S" || letter == "ls") {
    const bix::WString wide(rest.c_str());
    run(wide.c_str());
  } else if (kind == 's') {
    run(rest.c_str());
  } else if (letter == "Lf" || letter == "Lg") {
    run(static_cast<long double>(static_cast<std::int64_t>(bits)) / 1000);
  } else if (std::strchr("feEgGaF", kind) != nullptr) {
    double number;
    std::memcpy(&number, &bits, sizeof number);
    run(number);
  } else if (kind == 'p') {
    run(reinterpret_cast<void*>(static_cast<std::uintptr_t>(bits)));
  } else if (letter == "lld" || letter == "llx") {
    run(static_cast<long long>(bits));
  } else if (letter == "jd") {
    run(static_cast<std::intmax_t>(bits));
  } else if (letter == "ld" || letter == "zu" || letter == "td") {
    run(static_cast<long>(bits));
  } else {
    run(static_cast<int>(bits));
  }
}

// A short text both as bytes and as units, into which %n may store.
alignas(16) wchar_t g_short[64];

template <std::size_t... I>
void CompareWithAddresses(const std::string& format, std::index_sequence<I...>) {
  const auto reset = [] {
    std::fill(std::begin(g_short), std::end(g_short), L'\0');
    g_short[0] = L'a';
    g_short[1] = L'b';
  };
  // The numbers are last: where they travel on the stack, they would stand in front of the
  // addresses.
  Compare(format, reset, ((void)I, static_cast<wchar_t*>(g_short))..., 1.5, 2.5, 3.5, 4.5, 5.5, 6.5,
          7.5, 8.5);
}

/// Any format but for "*" and "$", which would take an address as a size, and for long numbers.
void AnyFormat(Input input) {
  std::string format;
  std::size_t digits = 0;
  for (const char byte : input.Rest()) {
    if (byte == '\0' || format.size() == 48) break;
    digits = byte >= '0' && byte <= '9' ? digits + 1 : 0;
    if (byte != '*' && byte != '$' && digits < 4) format += byte;
  }
  CompareWithAddresses(format, std::make_index_sequence<100>());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const char* const locale = std::setlocale(LC_ALL, "C.UTF-8");
  if (locale == nullptr) std::abort();
  Input input(data, size);
  if (input.Take<std::uint8_t>() % 2 == 0)
    OneConversion(input);
  else
    AnyFormat(input);
  return 0;
}
