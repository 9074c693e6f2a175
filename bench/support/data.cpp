#include "support/data.h"

#include <cstdint>
#include <cstdio>

namespace bix_bench {
namespace {

/// The same numbers in every run and on every platform.
class Numbers {
 public:
  std::uint32_t Below(std::uint32_t bound) {
    m_state = m_state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<std::uint32_t>(m_state >> 33) % bound;
  }

 private:
  std::uint64_t m_state = 0x853c49e6748fea9bu;
};

std::string Numbered(const char* name, std::size_t number) {
  char text[64];
  std::snprintf(text, sizeof text, "%s%06zu", name, number);
  return text;
}

std::string MakeText(Numbers& numbers) {
  constexpr char kBytes[] = "abcdefghijklmnopqrstuvwxyz0123456789 .";
  std::string text(8 + numbers.Below(33), ' ');
  for (char& byte : text) byte = kBytes[numbers.Below(sizeof kBytes - 1)];
  // Blanks at the ends do not survive in an INI file; a letter in front makes it a text everywhere.
  text.front() = 'v';
  text.back() = 'e';
  return text;
}

}  // namespace

std::size_t Document::ValueCount() const {
  std::size_t count = 0;
  for (const Section& section : sections) count += section.values.size();
  return count;
}

Document MakeDocument(std::size_t sections, std::size_t valuesPerSection) {
  Numbers numbers;
  Document document;
  document.sections.resize(sections);
  for (std::size_t s = 0; s < sections; ++s) {
    Section& section = document.sections[s];
    section.path = Numbered("Editor/Page ", s);
    section.values.reserve(valuesPerSection);
    for (std::size_t v = 0; v < valuesPerSection; ++v)
      section.values.push_back({Numbered("Option", v), MakeText(numbers)});
  }
  return document;
}

std::string AsSettings(const Document& document) {
  std::string text;
  for (const Section& section : document.sections) {
    text += "\n[" + section.path + "]\n\n";
    for (const Value& value : section.values)
      text += "\"" + value.name + "\"=\"" + value.text + "\" \n";
  }
  return text;
}

std::string AsIni(const Document& document) {
  std::string text;
  for (const Section& section : document.sections) {
    text += "\n[" + section.path + "]\n";
    for (const Value& value : section.values) text += value.name + "=" + value.text + "\n";
  }
  return text;
}

std::vector<std::string> MakeWords(std::size_t count) {
  Numbers numbers;
  std::vector<std::string> words(count);
  for (std::size_t i = 0; i < count; ++i) {
    // The number of the word in letters keeps it unlike all others.
    for (std::size_t rest = i; rest != 0 || words[i].size() < 3; rest /= 26)
      words[i] += static_cast<char>('a' + rest % 26);
    words[i] += '_';
    while (words[i].size() < 4 + i % 9) words[i] += static_cast<char>('a' + numbers.Below(26));
  }
  return words;
}

}  // namespace bix_bench
