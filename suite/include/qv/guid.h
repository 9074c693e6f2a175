#ifndef QV_GUID_H_
#define QV_GUID_H_

/// The 128-bit identifiers of the suite's model API.
///
///   qv::GUID id;
///   qv::GUID::FromString("000012AB-0001-BEEF-0102-030405060708", id);
///
/// Threads: re-entrant.

#include "bix/hostmacros_off.h"

#include <cstdint>
#include <string>

#include "bix/export.h"

namespace qv {

/// An identifier: 16 bytes, the numbers in the order of the processor. Hosts are compiled against
/// this layout.
struct BIX_EXPORT GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];

  /// Sets `out` to the text: groups of 8, 4, 4, 4 and 12 capital hexadecimal digits, without braces.
  ///
  ///   0x12AB, 1, 0xBEEF, {1, 2, 3, 4, 5, 6, 7, 8} => "000012AB-0001-BEEF-0102-030405060708"
  void ToString(std::string& out) const;

  /// Reads such a text, in capital or small digits; what follows it is ignored. Returns true, also
  /// for a text that is none: who must refuse those compares the result with the zero identifier.
  ///
  ///   "000012ab-0001-beef-0102-030405060708 and more" => that identifier
  ///   "12AB"                                          => Data1 0x12AB, the rest zero
  ///   "", "{000012AB-..."                             => zero
  ///
  /// The text is read as by sscanf(): blanks before a number, "0x", and signs are passed over.
  static bool FromString(const std::string& text, GUID& out);
};

static_assert(sizeof(GUID) == 16, "hosts are compiled against this size");

/// Whether all 16 bytes are equal.
BIX_EXPORT bool operator==(const GUID& left, const GUID& right);
inline bool operator!=(const GUID& left, const GUID& right) { return !(left == right); }

}  // namespace qv

#include "bix/hostmacros_on.h"

#endif  // QV_GUID_H_
