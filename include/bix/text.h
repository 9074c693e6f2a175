#ifndef BIX_TEXT_H_
#define BIX_TEXT_H_

/// The library's text types.

#include <cstdarg>
#include <cstddef>
#include <string>

#include "bix/export.h"

namespace bix {

class WString;

/// Bytes in the process's multibyte encoding, UTF-8 in a UTF-8 locale.
class BIX_EXPORT UTF8String : public std::string {
 public:
  UTF8String() = default;
  UTF8String(const char* text) : std::string(text != nullptr ? text : "") {}
  UTF8String(const std::string& text) : std::string(text) {}
  UTF8String(std::string&& text) noexcept : std::string(std::move(text)) {}
  UTF8String(const wchar_t* text);
  UTF8String(const UTF8String&) = default;
  UTF8String(UTF8String&&) noexcept = default;
  virtual ~UTF8String();

  UTF8String& operator=(const char* text);
  UTF8String& operator=(const std::string& text);
  UTF8String& operator=(std::string&& text) noexcept;
  UTF8String& operator=(const wchar_t* text);
  UTF8String& operator=(char byte);
  UTF8String& operator=(const UTF8String&) = default;
  UTF8String& operator=(UTF8String&&) noexcept = default;
};

/// The text type of every interface of the library.
class BIX_EXPORT SString : public UTF8String {
 public:
  SString() = default;
  SString(const char* text) : UTF8String(text) {}
  SString(const std::string& text) : UTF8String(text) {}
  SString(std::string&& text) noexcept : UTF8String(std::move(text)) {}
  SString(const wchar_t* text) : UTF8String(text) {}
  SString(const SString&) = default;
  SString(SString&&) noexcept = default;
  ~SString() override;

  SString& operator=(const char* text);
  SString& operator=(const std::string& text);
  SString& operator=(std::string&& text) noexcept;
  SString& operator=(const wchar_t* text);
  SString& operator=(char byte);
  SString& operator=(const SString&) = default;
  SString& operator=(SString&&) noexcept = default;

  int Compare(const SString& other) const;
  int Compare(const char* other) const;
  int CompareNoCase(const SString& other) const;
  int CompareNoCase(const char* other) const;
  size_type Find(const char* text) const;
  int GetLength() const { return static_cast<int>(length()); }
  bool IsEmpty() const { return empty(); }
  char* GetBuffer() { return data(); }
  const char* GetBuffer() const { return data(); }

  int Insert(int pos, const SString& text);
  int Insert(int pos, const char* text);
  int Insert(int pos, char byte);
  void MakeLower();
  void MakeUpper();

  int LoadStringA(unsigned id);
  int Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int Format(unsigned id, ...);
  int FormatMessage(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int FormatMessage(unsigned id, ...);
  int FormatV(const char* format, va_list arguments) __attribute__((format(printf, 2, 0)));
  int FormatI18n(unsigned id, ...);
};

class ANSIString;

/// Wide text, 32-bit units.
class BIX_EXPORT WString : public std::wstring {
 public:
  WString() = default;
  WString(const std::wstring& text) : std::wstring(text) {}
  WString(std::wstring&& text) noexcept : std::wstring(std::move(text)) {}
  WString(const wchar_t* text) : std::wstring(text != nullptr ? text : L"") {}
  WString(const char* text);
  WString(const UTF8String& text);
  WString(const ANSIString& text);
  WString(const WString&) = default;
  WString(WString&&) noexcept = default;
  virtual ~WString();

  WString& operator=(const std::wstring& text);
  WString& operator=(const wchar_t* text);
  WString& operator=(const char* text);
  WString& operator=(const UTF8String& text);
  WString& operator=(const ANSIString& text);
  WString& operator=(wchar_t unit);
  WString& operator=(const WString&) = default;
  WString& operator=(WString&&) noexcept = default;
};

/// Bytes in the encoding of the current locale.
class BIX_EXPORT ANSIString : public std::string {
 public:
  ANSIString() = default;
  ANSIString(const char* text) : std::string(text != nullptr ? text : "") {}
  ANSIString(const std::string& text) : std::string(text) {}
  ANSIString(const WString& text);
  ANSIString(const UTF8String& text);
  ANSIString(const ANSIString&) = default;
  ANSIString(ANSIString&&) noexcept = default;
  virtual ~ANSIString();

  ANSIString& operator=(const char* text);
  ANSIString& operator=(const std::string& text);
  ANSIString& operator=(const WString& text);
  ANSIString& operator=(const UTF8String& text);
  ANSIString& operator=(const ANSIString&) = default;
  ANSIString& operator=(ANSIString&&) noexcept = default;
};

BIX_EXPORT unsigned StringHashKey(const SString& key, int size);
BIX_EXPORT int UnixMultiByteToWideChar(const char* locale, wchar_t* out, const char* in);
BIX_EXPORT void XMLMapSingleDataCharacter(const char* in, char* out, unsigned outSize);
BIX_EXPORT void SetNormalizeLineEndings(bool normalize);
BIX_EXPORT int BixGetCurrentDirectory(SString& out);

}  // namespace bix

#endif  // BIX_TEXT_H_
