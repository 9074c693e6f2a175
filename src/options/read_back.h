#ifndef BIX_SRC_OPTIONS_READ_BACK_H_
#define BIX_SRC_OPTIONS_READ_BACK_H_

/// The check that a file which is about to replace another one says what was meant to be written.
///
/// The format escapes nothing, so a quote in a text or a "]" in a key name gives a file that reads
/// as something else or not at all. The writer sums up what it writes, the reader what it reads;
/// the sums are equal only when both saw the same sections, values, texts and attributes in one
/// order.

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "bix/containers.h"
#include "bix/registry.h"

namespace bix::impl {

/// The sum of one file's contents.
class SettingsDigest {
 public:
  /// A section with contents: its path, and then its attributes, if any.
  void AddSection(std::string_view path) { Add(1, path); }
  void AddSectionAttribute(std::string_view name, std::string_view value) {
    Add(2, name);
    Add(3, value);
  }
  /// A value: name and text, and then its attributes, if any.
  void AddValue(std::string_view name, std::string_view text,
                const MList<CRgAttribute*>* attributes);
  /// Notes what cannot be written at all, so that no file is equal.
  void SpoilWith(std::string_view reason) { Add(0, reason); }

  std::uint64_t GetSum() const { return m_sum; }

 private:
  void Add(std::uint32_t what, std::string_view text) {
    m_sum = (m_sum + what) * 0x9E3779B97F4A7C15u;
    m_sum ^= (m_sum >> 29) ^ HashBytes(text, static_cast<std::uint32_t>(m_sum >> 32));
  }

  std::uint64_t m_sum = 0;
};

/// Adds what the Dump of a whole tree writes.
void AddTree(SettingsDigest& digest, const CRgKey& root);

/// Writes a whole tree as its Dump does, and adds it on the way.
void WriteTree(std::FILE* file, SettingsDigest& digest, const CRgKey& root);

/// True when `fileName` can be read and holds exactly what `sum` sums up.
bool ReadsBackAs(const char* fileName, std::uint64_t sum);

}  // namespace bix::impl

#endif  // BIX_SRC_OPTIONS_READ_BACK_H_
