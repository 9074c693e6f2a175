// The test of a single multibyte sequence.

#include "text/encoding.h"

#include <string>

#include <gtest/gtest.h>

namespace {

struct Result {
  bool isSequence;
  bool isInvalid;
  bool operator==(const Result&) const = default;
};

Result At(const std::string& text, int index = 0) {
  Result result{false, false};
  result.isSequence = bix::impl::IsCharUTF8(static_cast<unsigned char>(text.c_str()[index]),
                                            text.c_str(), index, &result.isInvalid);
  return result;
}

constexpr Result kSequence{true, false};
constexpr Result kNone{false, false};
constexpr Result kInvalid{false, true};

TEST(Utf8Sequence, HasExactlyTheContinuationBytesThatItsLeadAsksFor) {
  EXPECT_EQ(kNone, At(""));
  EXPECT_EQ(kNone, At("A"));
  EXPECT_EQ(kNone, At("A\x80")) << "ASCII leads nothing, whatever follows";
  EXPECT_EQ(kNone, At("\x80"));
  EXPECT_EQ(kNone, At("\xBF\xBF"));
  EXPECT_EQ(kSequence, At("\xC3\xA9"));
  EXPECT_EQ(kSequence, At("\xC3\xA9"
                          "A"));
  EXPECT_EQ(kSequence, At("\xC3\xA9\xC3"));
  EXPECT_EQ(kInvalid, At("\xC3"));
  EXPECT_EQ(kInvalid, At("\xC3"
                         "A"));
  EXPECT_EQ(kInvalid, At("\xC3\xC3\xA9"));
  EXPECT_EQ(kInvalid, At("\xC3\xA9\xA9")) << "one too many";
  EXPECT_EQ(kSequence, At("\xE2\x82\xAC"));
  EXPECT_EQ(kInvalid, At("\xE2\x82"));
  EXPECT_EQ(kInvalid, At("\xE2\x82\xAC\xAC"));
  EXPECT_EQ(kSequence, At("\xF0\x9F\x98\x80"));
  EXPECT_EQ(kInvalid, At("\xF0\x9F\x98"));
  EXPECT_EQ(kInvalid, At("\xFE\x80\x80\x80\x80\x80\x80"));
  EXPECT_EQ(kInvalid, At("\xFF"));
  EXPECT_EQ(kSequence, At("ab\xC3\xA9", 2));
  EXPECT_EQ(kNone, At("ab\xC3\xA9", 3));
}

TEST(Utf8SequenceCompat, OldAndOverlongFormsAreSequences) {
  EXPECT_EQ(kSequence, At("\xC0\x80"));
  EXPECT_EQ(kSequence, At("\xC1\xBF"));
  EXPECT_EQ(kSequence, At("\xED\xA0\x80"));
  EXPECT_EQ(kSequence, At("\xF7\xBF\xBF\xBF"));
  EXPECT_EQ(kSequence, At("\xF8\x88\x80\x80\x80"));
  EXPECT_EQ(kInvalid, At("\xF8\x88\x80\x80"));
  EXPECT_EQ(kSequence, At("\xFC\x84\x80\x80\x80\x80"));
  EXPECT_EQ(kSequence, At("\xFD\xBF\xBF\xBF\xBF\xBF"));
  EXPECT_EQ(kInvalid, At("\xFD\xBF\xBF\xBF\xBF"));
  EXPECT_EQ(kInvalid, At("\xFD\xBF\xBF\xBF\xBF\xBF\xBF"));
}

TEST(Utf8Sequence, KeepsAnEarlierVerdict) {
  bool isInvalid = true;
  EXPECT_TRUE(bix::impl::IsCharUTF8(0xC3, "\xC3\xA9", 0, &isInvalid));
  EXPECT_TRUE(isInvalid);
}

}  // namespace
