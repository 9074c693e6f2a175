#ifndef BIX_URI_URN_MAP_H_
#define BIX_URI_URN_MAP_H_

/// The map from NAMEs to directories, and what it is filled from.

#include <algorithm>
#include <functional>
#include <map>
#include <string_view>
#include <unordered_map>

#include "bix/text.h"

namespace bix::impl {

/// NAMEs and directories, as they are given here.
class UrnMap {
 public:
  /// In the order of the NAMEs' bytes.
  using Entries = std::map<SString, SString, std::less<>>;

  UrnMap() = default;
  UrnMap(const UrnMap&) = delete;
  UrnMap& operator=(const UrnMap&) = delete;

  /// The directory of `name`, or null.
  /// Owner: owned by the map, valid until the entry is changed.
  const SString* Find(std::string_view name) const;

  /// Adds an entry or replaces the directory of one.
  void Set(const SString& name, const SString& directory);

  void Clear();

  const Entries& All() const { return m_entries; }

 private:
  Entries m_entries;
  // The same entries by hash: every look-up takes the same time, in a small map as in a large one.
  std::unordered_map<std::string_view, const SString*> m_directories;
};

/// The map of the process. Empty before the library is loaded and after its end.
UrnMap& Urns();

/// Enters `name` in small letters, with `target` as a directory: normalised, and ending in "/"
/// unless it is empty.
void BixInsertUrn(const SString& name, const SString& target, UrnMap& map);

/// Whether `name` equals one of the predefined names, whatever its letters.
bool IsPredefinedUrn(const SString& name);

/// Empties the map and fills it: with the predefined names, and from the file that
/// "VORN_URN_MAP_FILE" names.
void BuildUrnMap(UrnMap& map);

/// Splits `text` at its first ":", see SUrnResolver::DecodeUrnMapped.
void ParseTagValue(std::string_view text, std::string_view& tag, std::string_view& value);

/// Calls `take` with each entry of a map's text, see SUrnResolver::DecodeUrnMap.
template <class Take>
void ForEachUrnEntry(std::string_view text, const Take& take) {
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = text.find_first_of("\n;", at);
    // COMPAT(urn-map-early-end): a separator where an entry should begin is no empty entry. It
    // begins the last one, with everything behind it, and that one matches no URN. Hosts save the
    // option text as they find it. Test: UrnMapTextCompat.ASeparatorAtTheStartTakesInTheRest
    const bool isLast = end == std::string_view::npos || end == at;
    if (isLast) end = text.size();
    std::string_view entry = text.substr(at, end - at);
    // COMPAT(urn-map-blanks): blanks go at the start only, and only blanks: a tab is part of the
    // NAME, and what ends the line is part of the TARGET.
    // Test: UrnMapTextCompat.OnlyBlanksAndOnlyAtTheStartGo
    entry.remove_prefix(std::min(entry.find_first_not_of(' '), entry.size()));
    if (!entry.empty()) take(entry);
    at = isLast ? end : end + 1;
  }
}

/// Fills the map of the process when it is constructed, empties it at its end.
class UrnMapLifetime {
 public:
  UrnMapLifetime();
  UrnMapLifetime(const UrnMapLifetime&) = delete;
  UrnMapLifetime& operator=(const UrnMapLifetime&) = delete;
  ~UrnMapLifetime();
};

}  // namespace bix::impl

#endif  // BIX_URI_URN_MAP_H_
