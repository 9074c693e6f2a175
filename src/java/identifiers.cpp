#include "bix/identifiers.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <sys/time.h>
#include <unistd.h>

#include "java/identifiers.h"

namespace bix {
namespace {

constexpr char kAlphabet[] = "jEYryQbHl649DwZSu5kvadANT-RnUpOXI3Vg2fiFJ0hPCGMoc7z8LWK*1qtxseBm";
constexpr unsigned kIdentifierLength = 24;

// Static storage
// CHOICE(identifier-threads): threads that make identifiers at the same moment get different ones.
// Test: Identifier.ThreadsGetDifferentOnes
std::atomic<std::uint32_t> s_identifierCount{0};
std::atomic<std::uint32_t> s_hostId{0};  // its lowest 32 bits, once it is known
std::atomic<bool> s_isHostIdKnown{false};

/// The system looks into a file for it, and asks the name service where there is none. It is the
/// same for as long as the process runs.
std::uint32_t GetHostId() {
  if (!s_isHostIdKnown.load(std::memory_order_acquire)) {
    s_hostId.store(static_cast<std::uint32_t>(gethostid()), std::memory_order_relaxed);
    s_isHostIdKnown.store(true, std::memory_order_release);
  }
  return s_hostId.load(std::memory_order_relaxed);
}

/// Numbers as the text form of a GUID has them, in its order.
struct Fields {
  static constexpr int kCount = 11;
  unsigned numbers[kCount] = {};
};

}  // namespace

// COMPAT(identifier-order): the lowest bits come first, and only two are left for the sixth
// character. Test: Encode64Compat.TheLowestBitsComeFirst
void Encode64(unsigned long value, char* out) {
  // Identifiers are the same on every platform: only 32 bits count, also of a negative host id.
  std::uint32_t bits = static_cast<std::uint32_t>(value);
  for (int i = 0; i < 6; ++i, bits >>= 6) out[i] = kAlphabet[bits & 63];
}

int impl::BixCreateGuid(char* buffer, unsigned size) {
  std::memset(buffer, 0, size);
  // COMPAT(identifier-count): counted on in a forked child, which has another process id; the id is
  // therefore asked for each time. Test: IdentifierCompat.AForkedChildGoesOnCounting
  const std::uint32_t count = s_identifierCount.fetch_add(1, std::memory_order_relaxed);
  timeval now{};
  (void)gettimeofday(&now, nullptr);  // cannot fail
  Encode64(count, buffer);
  Encode64(static_cast<unsigned long>(getpid()), buffer + 6);
  Encode64(static_cast<unsigned long>(now.tv_sec), buffer + 12);
  Encode64(GetHostId(), buffer + 18);
  return 1;
}

void BixCreateGuid(SString& out) {
  char buffer[kIdentifierLength + 1];
  (void)impl::BixCreateGuid(buffer, sizeof buffer);  // always 1
  out.assign(buffer, kIdentifierLength);
}

}  // namespace bix

namespace qv {

void GUID::ToString(std::string& out) const {
  char buffer[256];
  std::snprintf(buffer, sizeof buffer, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X",
                unsigned{Data1}, unsigned{Data2}, unsigned{Data3}, unsigned{Data4[0]},
                unsigned{Data4[1]}, unsigned{Data4[2]}, unsigned{Data4[3]}, unsigned{Data4[4]},
                unsigned{Data4[5]}, unsigned{Data4[6]}, unsigned{Data4[7]});
  out = buffer;
}

// COMPAT(guid-never-fails): true for every text, since hosts do not look at the result.
// Test: GuidCompat.ReadingNeverFails
// COMPAT(guid-partial): of a text that ends early the numbers that were read are kept.
// Test: GuidCompat.OfAnIncompleteTextTheFirstNumbersAreKept
bool GUID::FromString(const std::string& text, GUID& out) {
  bix::Fields fields;
  unsigned* const n = fields.numbers;
  // CHOICE(guid-zero): what is not read is zero, so that a text that is none gives the zero GUID.
  // Test: Guid.OfATextThatIsNoneIsZero
  // COMPAT(guid-scanned): sscanf() decides what a number is, with blanks, signs and "0x" in front.
  // Test: GuidCompat.NumbersAreReadAsTheSystemReadsThem
  (void)std::sscanf(text.c_str(), "%8x-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x", n, n + 1, n + 2, n + 3,
                    n + 4, n + 5, n + 6, n + 7, n + 8, n + 9, n + 10);
  out.Data1 = n[0];
  out.Data2 = static_cast<std::uint16_t>(n[1]);
  out.Data3 = static_cast<std::uint16_t>(n[2]);
  for (int i = 0; i < 8; ++i) out.Data4[i] = static_cast<std::uint8_t>(n[3 + i]);
  return true;
}

bool operator==(const GUID& left, const GUID& right) {
  return std::memcmp(&left, &right, sizeof(GUID)) == 0;
}

}  // namespace qv
