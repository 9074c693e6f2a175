// The 128-bit identifiers: any bytes come back from their text; a text of the exact form gives the
// numbers in it; of any other text what the system reads before it stops.

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qv/guid.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

bool HasExactForm(const std::string& text) {
  const std::string form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  if (text.size() < form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool isDigit = std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
    if (form[i] == 'x' ? !isDigit : text[i] != '-') return false;
  }
  return true;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

qv::GUID Read(const std::string& text) {
  qv::GUID guid;
  std::memset(&guid, 0xA5, sizeof guid);
  Require(qv::GUID::FromString(text, guid));
  return guid;
}

std::string Text(const qv::GUID& guid) {
  std::string text = "before";
  guid.ToString(text);
  return text;
}

/// The numbers one after the other, as many as the system reads.
qv::GUID ReadByTheSystem(const std::string& text) {
  unsigned numbers[11];
  const int count = std::sscanf(text.c_str(), "%8x-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x", &numbers[0],
                                &numbers[1], &numbers[2], &numbers[3], &numbers[4], &numbers[5],
                                &numbers[6], &numbers[7], &numbers[8], &numbers[9], &numbers[10]);
  qv::GUID guid = {};
  if (count > 0) guid.Data1 = numbers[0];
  if (count > 1) guid.Data2 = static_cast<std::uint16_t>(numbers[1] & 0xFFFF);
  if (count > 2) guid.Data3 = static_cast<std::uint16_t>(numbers[2] & 0xFFFF);
  for (int i = 3; i < count; ++i) guid.Data4[i - 3] = static_cast<std::uint8_t>(numbers[i] & 0xFF);
  return guid;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const qv::GUID read = Read(text);
  Require(read == ReadByTheSystem(text));
  if (HasExactForm(text)) Require(Text(read) == Upper(text.substr(0, 36)));

  qv::GUID any = {};
  if (size != 0) std::memcpy(&any, data, size < sizeof any ? size : sizeof any);
  Require(Text(any).size() == 36);
  Require(HasExactForm(Text(any)));
  Require(Text(any) == Upper(Text(any)));
  Require(Read(Text(any)) == any);
  Require(Read(Text(any) + text) == any);
  return 0;
}
