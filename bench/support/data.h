#ifndef BENCH_SUPPORT_DATA_H_
#define BENCH_SUPPORT_DATA_H_

/// What is measured with: the same logical content for the library and for everything it is
/// compared with, the same in every run.
///
///   const bix_bench::Document document = bix_bench::MakeDocument(1000, 100);
///   const bix_bench::ScratchFile ours(bix_bench::AsSettings(document));
///   const bix_bench::ScratchFile theirs(bix_bench::AsIni(document));

#include <cstddef>
#include <string>
#include <vector>

namespace bix_bench {

/// A value: a name of 12 bytes and a text of 8 to 40 bytes, letters, digits, blanks and points.
struct Value {
  std::string name;
  std::string text;
};

/// A section, such as "Editor/Page 000012", and its values, none of them twice.
struct Section {
  std::string path;
  std::vector<Value> values;
};

struct Document {
  std::vector<Section> sections;

  std::size_t ValueCount() const;
};

/// A document of so many sections with so many values each.
Document MakeDocument(std::size_t sections, std::size_t valuesPerSection);

/// The document as a settings file.
std::string AsSettings(const Document& document);

/// The document as an INI file: each of the peers reads it to the same sections and values.
std::string AsIni(const Document& document);

/// So many words, none of them twice, mostly 4 to 12 bytes long.
std::vector<std::string> MakeWords(std::size_t count);

}  // namespace bix_bench

#endif  // BENCH_SUPPORT_DATA_H_
