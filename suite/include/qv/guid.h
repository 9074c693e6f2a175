#ifndef QV_GUID_H_
#define QV_GUID_H_

/// The 128-bit identifiers of the suite's model interfaces.
///
///   constexpr qv::GUID kMyInterface = {
///       0x000012AB, 0x0001, 0xBEEF, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}};

#include <cstdint>

namespace qv {

/// 16 bytes on every platform, the fields in the host's byte order. Hosts are compiled against them.
struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};

static_assert(sizeof(GUID) == 16, "hosts write identifiers as 16 bytes");

}  // namespace qv

#endif  // QV_GUID_H_
