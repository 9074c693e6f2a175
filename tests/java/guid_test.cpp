#include "qv/guid.h"

#include <cstddef>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

using qv::GUID;

const GUID kZero = {};
const GUID kSample = {0x12AB, 1, 0xBEEF, {1, 2, 3, 4, 5, 6, 7, 8}};
const GUID kHigh = {0xFEDCBA98, 0x8001, 0xFFFF, {0xFF, 0x80, 0xAB, 0, 0, 0xCD, 0xEF, 0x7F}};

std::string Text(const GUID& guid) {
  std::string text = "before";
  guid.ToString(text);
  return text;
}
GUID Read(const std::string& text) {
  GUID guid;
  std::memset(&guid, 0x5A, sizeof guid);
  EXPECT_TRUE(GUID::FromString(text, guid)) << text;
  return guid;
}

TEST(Guid, LiesInMemoryAsHostsExpectIt) {
  static_assert(sizeof(GUID) == 16);
  static_assert(offsetof(GUID, Data1) == 0);
  static_assert(offsetof(GUID, Data2) == 4);
  static_assert(offsetof(GUID, Data3) == 6);
  static_assert(offsetof(GUID, Data4) == 8);
  EXPECT_EQ(0, std::memcmp(&kSample, "\xAB\x12\0\0\x01\0\xEF\xBE\x01\x02\x03\x04\x05\x06\x07\x08",
                           sizeof kSample));
}

TEST(Guid, EqualsOneOfTheSameBytes) {
  EXPECT_TRUE(kSample == Read("000012AB-0001-BEEF-0102-030405060708"));
  EXPECT_FALSE(kSample != Read("000012AB-0001-BEEF-0102-030405060708"));
  for (std::size_t i = 0; i < sizeof(GUID); ++i) {
    GUID other = kSample;
    reinterpret_cast<unsigned char*>(&other)[i] ^= 0x80;
    EXPECT_FALSE(other == kSample) << i;
    EXPECT_TRUE(other != kSample) << i;
  }
}

TEST(Guid, HasATextOfCapitalDigits) {
  EXPECT_EQ("000012AB-0001-BEEF-0102-030405060708", Text(kSample));
  EXPECT_EQ("FEDCBA98-8001-FFFF-FF80-AB0000CDEF7F", Text(kHigh));
  EXPECT_EQ("00000000-0000-0000-0000-000000000000", Text(kZero));
}

TEST(Guid, IsReadFromItsText) {
  for (const GUID& guid : {kZero, kSample, kHigh}) EXPECT_EQ(guid, Read(Text(guid)));
  EXPECT_EQ(kHigh, Read("fedcba98-8001-ffff-ff80-ab0000cdef7f"));
  EXPECT_EQ(kHigh, Read("FedCba98-8001-fFfF-Ff80-aB0000cDeF7f"));
  EXPECT_EQ(kSample, Read("000012AB-0001-BEEF-0102-030405060708} and more"));
  EXPECT_EQ(kSample, Read(std::string("000012AB-0001-BEEF-0102-030405060708\0x", 38)));
  EXPECT_EQ(kSample, Read("000012AB-0001-BEEF-0102-030405060708" + std::string(100000, 'F')));
}

TEST(Guid, OfATextThatIsNoneIsZero) {
  for (const char* text : {"", "-", "x", "{000012AB-0001-BEEF-0102-030405060708}", "guid", " "})
    EXPECT_EQ(kZero, Read(text)) << text;
  EXPECT_EQ(kZero, Read(std::string("\0"
                                    "000012AB",
                                    9)));
}

TEST(GuidCompat, ReadingNeverFails) {
  GUID guid;
  EXPECT_TRUE(GUID::FromString("", guid));
  EXPECT_TRUE(GUID::FromString("no identifier", guid));
  EXPECT_TRUE(GUID::FromString("000012AB-0001-BEEF-0102-030405060708", guid));
}

TEST(GuidCompat, OfAnIncompleteTextTheFirstNumbersAreKept) {
  const struct {
    const char* text;
    GUID want;
  } cases[] = {
      {"12AB", {0x12AB, 0, 0, {}}},
      {"000012AB", {0x12AB, 0, 0, {}}},
      {"000012AB-", {0x12AB, 0, 0, {}}},
      {"000012AB-1", {0x12AB, 1, 0, {}}},
      {"000012AB-0001-BEEF", {0x12AB, 1, 0xBEEF, {}}},
      {"000012AB-0001-BEEF-01", {0x12AB, 1, 0xBEEF, {1}}},
      {"000012AB-0001-BEEF-0102", {0x12AB, 1, 0xBEEF, {1, 2}}},
      {"000012AB-0001-BEEF-0102-0304050607", {0x12AB, 1, 0xBEEF, {1, 2, 3, 4, 5, 6, 7}}},
      {"000012AB-0001-BEEF-0102-03040506070", {0x12AB, 1, 0xBEEF, {1, 2, 3, 4, 5, 6, 7, 0}}},
      {"000012AB0001-BEEF-0102-030405060708", {0x12AB, 0, 0, {}}},
      {"000012AB-00012-BEEF", {0x12AB, 1, 0, {}}},
      {"000012AB-0001-BEEF01-0203", {0x12AB, 1, 0xBEEF, {}}},
      {"000012AB-0001-BEEF-010-2", {0x12AB, 1, 0xBEEF, {1, 0, 2}}},
      {"000012AB-0001-BEEF-01x2", {0x12AB, 1, 0xBEEF, {1}}},
      {"12AB-1-BEEF-0102-030405060708", kSample},  // shorter numbers in front of their signs
  };
  for (const auto& c : cases) EXPECT_EQ(c.want, Read(c.text)) << c.text;
}

TEST(GuidCompat, NumbersAreReadAsTheSystemReadsThem) {
  EXPECT_EQ(kSample, Read("  \n 000012AB- 0001- BEEF- 01 02- 03 04 05 06 07 08"));
  EXPECT_EQ(kSample, Read("0x0012AB-0001-BEEF-0102-030405060708"));
  const GUID negative = {0xFFFFFFFF, 0, 0, {}};
  EXPECT_EQ(negative, Read("-1"));
  const GUID cut = {1, 2, 3, {0xFF, 5, 6, 7, 8, 9, 10, 11}};  // "-1" in two characters
  EXPECT_EQ(cut, Read("1-2-3--105-060708090A0B"));
}

}  // namespace
