#include "bix/text.h"

#include <cstring>
#include <strings.h>

namespace bix {

UTF8String::~UTF8String() = default;
SString::~SString() = default;
WString::~WString() = default;
ANSIString::~ANSIString() = default;

UTF8String& UTF8String::operator=(const char* text) {
  std::string::operator=(text != nullptr ? text : "");
  return *this;
}
UTF8String& UTF8String::operator=(const std::string& text) {
  std::string::operator=(text);
  return *this;
}
UTF8String& UTF8String::operator=(std::string&& text) noexcept {
  std::string::operator=(std::move(text));
  return *this;
}
UTF8String& UTF8String::operator=(char byte) {
  std::string::operator=(byte);
  return *this;
}

SString& SString::operator=(const char* text) {
  UTF8String::operator=(text);
  return *this;
}
SString& SString::operator=(const std::string& text) {
  UTF8String::operator=(text);
  return *this;
}
SString& SString::operator=(std::string&& text) noexcept {
  UTF8String::operator=(std::move(text));
  return *this;
}
SString& SString::operator=(char byte) {
  UTF8String::operator=(byte);
  return *this;
}

int SString::Compare(const SString& other) const { return std::strcmp(c_str(), other.c_str()); }
int SString::Compare(const char* other) const {
  return std::strcmp(c_str(), other != nullptr ? other : "");
}

}  // namespace bix
