#include "options/option_text.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace bix::impl {

namespace {

bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

bool IsLetter(char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }

/// A number is read as 32 bits and printed anew.
bool IsPlainNumber(std::string_view text) {
  if (text.size() > 10 || (text.size() > 1 && text[0] == '0')) return false;
  long long number = 0;
  for (char byte : text) {
    if (!IsDigit(byte)) return false;
    number = number * 10 + (byte - '0');
  }
  return number <= INT_MAX;
}

/// Collects a line and writes it with few calls.
class Line {
 public:
  explicit Line(std::FILE* file) : m_file(file) {}
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() { Flush(); }

  void Add(std::string_view text) {
    if (text.size() > sizeof m_buffer - m_length) {
      Flush();
      if (text.size() > sizeof m_buffer) return Write(text.data(), text.size());
    }
    std::memcpy(m_buffer + m_length, text.data(), text.size());
    m_length += text.size();
  }
  void AddPair(std::string_view name, bool isBare, std::string_view text) {
    const std::string_view quote = isBare && IsReadableBare(text) ? "" : "\"";
    Add("\"");
    Add(name);
    Add("\"=");
    Add(quote);
    Add(text);
    Add(quote);
  }

 private:
  void Flush() {
    if (m_length != 0) Write(m_buffer, m_length);
    m_length = 0;
  }
  void Write(const char* bytes, std::size_t size) {
    // A failure stays in the stream, where who opened it asks for it.
    (void)std::fwrite(bytes, 1, size, m_file);
  }

  std::FILE* m_file;
  std::size_t m_length = 0;
  char m_buffer[512];
};

}  // namespace

// COMPAT(bool-lower-t): one byte decides, and only a lower-case "t" is true; "True", "yes" and "1"
// are false. Declarations and files rely on it. Test: OptionTypesCompat.OnlyALowerCaseTIsTrue
bool ToBool(const char* text) { return text != nullptr && *text == 't'; }

int ToInt(const char* text) {
  if (text == nullptr) return 0;
  const long long number = std::strtoll(text, nullptr, 10);
  return static_cast<int>(std::clamp<long long>(number, INT_MIN, INT_MAX));
}

bool IsReadableBare(std::string_view text) {
  if (text.empty()) return false;
  if (IsDigit(text[0])) return IsPlainNumber(text);
  return IsLetter(text[0]) && std::all_of(text.begin(), text.end(), [](char byte) {
           return IsLetter(byte) || IsDigit(byte) || byte == '_';
         });
}

void WriteOptionValue(std::FILE* file, std::string_view name, CRgValue::RvType type,
                      std::string_view text, const MList<CRgAttribute*>* attributes) {
  // CHOICE(bare-text-quoted): a negative number, an empty text or "a b" written without quotes
  // would make the whole file unreadable, and it would be emptied at the next start. Test:
  // OptionFileChoice.BareTextThatWouldNotReadBackIsQuoted
  const bool isBare = type != 0;
  Line line(file);
  line.AddPair(name, isBare, text);
  line.Add(" ");
  if (attributes != nullptr && !attributes->IsEmpty()) {
    // CHOICE(option-attribute-comma): the blank of the plain writer would cost every attribute but
    // the first and all that follows in the file.
    // Test: OptionFileChoice.ValueAttributesAreSeparatedByCommas
    line.Add("(");
    for (void* position = attributes->GetHeadPosition(); position != nullptr;) {
      const CRgAttribute* attribute = attributes->GetNext(position);
      line.AddPair(attribute->GetName(), isBare, attribute->GetValue());
      line.Add(position != nullptr ? ", " : " ");
    }
    line.Add(")");
  }
  line.Add("\n");
}

}  // namespace bix::impl
