// The exact conversions of the Java bridge: what is a character survives, and nothing else comes out.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "java/unicode.h"

namespace {

using namespace bix::impl;

void Require(bool holds) {
  if (!holds) std::abort();
}

void CheckBytes(const std::string& bytes) {
  const std::u16string units = UTF16FromUTF8(bytes);
  Require(units.size() <= bytes.size());
  const std::string back = UTF8FromUTF16(units);
  Require(UTF16FromUTF8(back) == units);
  if (units.find(u'\xFFFD') == units.npos) Require(back == bytes);
  Require(UTF16FromWide(WideFromUTF16(units)) == units);
}

void CheckUnits(const std::u16string& units) {
  const std::wstring wide = WideFromUTF16(units);
  for (const wchar_t unit : wide) {
    const auto character = static_cast<std::uint32_t>(unit);
    Require(character <= 0x10FFFF && (character < 0xD800 || character > 0xDFFF));
  }
  const std::u16string back = UTF16FromWide(wide);
  Require(back.size() == units.size());
  if (wide.find(L'\xFFFD') == wide.npos) Require(back == units);
  Require(UTF16FromUTF8(UTF8FromUTF16(units)) == back);
}

void CheckWide(const std::wstring& wide) {
  const std::u16string units = UTF16FromWide(wide);
  const std::wstring back = WideFromUTF16(units);
  Require(back.size() == wide.size());
  if (back.find(L'\xFFFD') == back.npos) Require(back == wide);
}

template <class Text>
Text As(const uint8_t* data, std::size_t size) {
  Text text(size / sizeof(typename Text::value_type), 0);
  if (!text.empty()) std::memcpy(text.data(), data, text.size() * sizeof text[0]);
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  CheckBytes(As<std::string>(data, size));
  CheckUnits(As<std::u16string>(data, size));
  CheckWide(As<std::wstring>(data, size));
  return 0;
}
