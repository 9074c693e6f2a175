#include "bix/buffer.h"

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

using bix::CBuffer;

std::string Text(const CBuffer& buffer) { return static_cast<const char*>(buffer); }

TEST(Buffer, IsEmptyAtFirst) {
  const CBuffer buffer(16);
  EXPECT_EQ("", Text(buffer));
  EXPECT_EQ(0u, buffer.GetLength());
  EXPECT_EQ(15u, buffer.GetCapacity());
  EXPECT_TRUE(buffer.IsEmpty());
  EXPECT_TRUE(buffer == "");
}

TEST(Buffer, ASizeBelowOneCountsAsOne) {
  for (const int size : {1, 0, -1, INT_MIN}) {
    SCOPED_TRACE(size);
    CBuffer buffer(size);
    EXPECT_EQ(0u, buffer.GetCapacity());
    EXPECT_EQ("", Text(buffer));
    buffer += 'x';
    EXPECT_EQ("x", Text(buffer));
    EXPECT_EQ(1u, buffer.GetCapacity());
  }
}

TEST(Buffer, AppendsTextsNumbersAndTruthValues) {
  CBuffer buffer(4);
  buffer += "abc";
  buffer += ' ';
  buffer += -5;
  buffer += ' ';
  buffer += true;
  buffer += false;
  EXPECT_EQ("abc -5 truefalse", Text(buffer));
  EXPECT_EQ(16u, buffer.GetLength());
  buffer.Empty();
  buffer += INT_MIN;
  buffer += ',';
  buffer += INT_MAX;
  buffer += ',';
  buffer += 0;
  EXPECT_EQ("-2147483648,2147483647,0", Text(buffer));
}

template <class Piece>
constexpr bool kCanAppend = requires(CBuffer& buffer, Piece piece) {
  buffer += piece;
};

TEST(BufferCompat, OtherPointersAreTruthValuesAndOtherNumbersAreRefused) {
  CBuffer buffer(16);
  int number = 0;
  int* pointer = &number;
  buffer += pointer;
  buffer += static_cast<void*>(nullptr);
  char text[] = "x";
  buffer += text;
  EXPECT_EQ("truefalsex", Text(buffer));
  static_assert(kCanAppend<int> && kCanAppend<short> && kCanAppend<char*>);
  static_assert(!kCanAppend<unsigned> && !kCanAppend<long> && !kCanAppend<double>,
                "none of the kinds fits better than the others");
}

TEST(Buffer, AnAppendCanBeFollowedByAnother) {
  CBuffer buffer(8);
  ((buffer += "a") += 'b') += 1;
  EXPECT_EQ("ab1", Text(buffer));
}

TEST(Buffer, GrowsByBytesWhenFull) {
  CBuffer buffer(1);
  const unsigned capacities[] = {1, 2, 3, 4};
  for (const unsigned capacity : capacities) {
    buffer += 'x';
    EXPECT_EQ(capacity, buffer.GetCapacity());
    EXPECT_EQ(capacity, buffer.GetLength());
  }
  CBuffer wide(4);
  const unsigned wideCapacities[] = {3, 3, 3, 7, 7, 7, 7, 11};
  for (const unsigned capacity : wideCapacities) {
    wide += 'x';
    EXPECT_EQ(capacity, wide.GetCapacity());
  }
  EXPECT_EQ("xxxxxxxx", Text(wide));
}

TEST(Buffer, GrowsByATextAndTheStep) {
  CBuffer buffer(4);
  buffer += "ab";
  EXPECT_EQ(3u, buffer.GetCapacity()) << "0 + 2 is below 3";
  buffer += "cdef";
  EXPECT_EQ(3u + 4 + 4, buffer.GetCapacity());
  EXPECT_EQ("abcdef", Text(buffer));
  buffer += "ghij";
  EXPECT_EQ(11u, buffer.GetCapacity()) << "6 + 4 is below 11";
  buffer += "";
  EXPECT_EQ(11u, buffer.GetCapacity());
  buffer += "k";
  EXPECT_EQ(11u + 1 + 4, buffer.GetCapacity());
  EXPECT_EQ("abcdefghijk", Text(buffer));
}

TEST(BufferCompat, ATextThatJustFitsMakesItGrow) {
  CBuffer buffer(4);
  buffer += "abc";
  EXPECT_EQ(10u, buffer.GetCapacity());
  EXPECT_EQ("abc", Text(buffer));
  EXPECT_EQ(3u, buffer.GetLength());
}

TEST(Buffer, TakesTextThatLiesInItself) {
  CBuffer buffer(4);
  buffer += "abc";
  for (int i = 0; i < 6; ++i) buffer += static_cast<const char*>(buffer);
  std::string expected;
  for (int i = 0; i < 64; ++i) expected += "abc";
  EXPECT_EQ(expected, Text(buffer));
  buffer += static_cast<const char*>(buffer) + buffer.GetLength() - 1;
  EXPECT_EQ(expected + "c", Text(buffer));
}

TEST(Buffer, KeepsItsTextOverManySteps) {
  CBuffer buffer(3);
  std::string expected;
  for (int i = 0; i < 20000; ++i) {
    const char byte = static_cast<char>('a' + i % 26);
    buffer += byte;
    expected += byte;
  }
  EXPECT_EQ(expected, Text(buffer));
  EXPECT_EQ(20000u, buffer.GetLength());
  EXPECT_EQ(20000u, buffer.GetCapacity()) << "2 + 3 * 6666";
}

TEST(Buffer, EmptyKeepsTheCapacity) {
  CBuffer buffer(4);
  buffer += "abcdef";
  const unsigned capacity = buffer.GetCapacity();
  const char* const text = buffer;
  buffer.Empty();
  EXPECT_TRUE(buffer.IsEmpty());
  EXPECT_EQ(0u, buffer.GetLength());
  EXPECT_EQ("", Text(buffer));
  EXPECT_EQ(capacity, buffer.GetCapacity());
  EXPECT_EQ(text, static_cast<const char*>(buffer)) << "the same block";
  buffer += "xy";
  EXPECT_EQ("xy", Text(buffer));
}

TEST(Buffer, EqualsATextOfTheSameLengthAndBytes) {
  CBuffer buffer(16);
  buffer += "abc";
  EXPECT_FALSE(buffer == "ab");
  EXPECT_FALSE(buffer == "abcd");
  EXPECT_FALSE(buffer == "abd");
  EXPECT_FALSE(buffer == "");
  EXPECT_TRUE(buffer == "abc");
  EXPECT_FALSE(buffer != "abc");
  EXPECT_TRUE(buffer != "ab");
  EXPECT_FALSE(buffer == static_cast<const char*>(nullptr));
  EXPECT_TRUE(CBuffer(1) == static_cast<const char*>(nullptr));
  CBuffer shorter(16);
  shorter += "ab";
  EXPECT_TRUE(shorter == "ab");
  CBuffer withZero(16);
  withZero += 'a';
  withZero += '\0';
  withZero += 'b';
  EXPECT_EQ(3u, withZero.GetLength());
  EXPECT_FALSE(withZero == "a");
  EXPECT_FALSE(withZero == "a\0b");
}

TEST(Buffer, GivesBytesAsSignedNumbers) {
  CBuffer buffer(4);
  buffer += "a\xFF";
  EXPECT_EQ('a', buffer[0u]);
  EXPECT_EQ(-1, buffer[1u]);
  EXPECT_EQ(0, buffer[2u]);
  EXPECT_EQ('a', buffer[0]);
  EXPECT_EQ(-1, buffer[std::size_t{1}]);
  static_assert(std::is_same_v<signed char, decltype(buffer[0u])>);
  static_assert(std::is_same_v<signed char, decltype(buffer[0])>);
}

TEST(Buffer, ANullTextIsAnErrorAndChangesNothing) {
  CBuffer buffer(4);
  buffer += "ab";
  errno = 0;
  buffer += static_cast<const char*>(nullptr);
  EXPECT_EQ(EINVAL, errno);
  EXPECT_EQ("ab", Text(buffer));
  EXPECT_EQ(2u, buffer.GetLength());
  EXPECT_EQ(3u, buffer.GetCapacity());
}

TEST(BufferCompat, ACopyReadsAsTheEmptyTextOfTheSameLength) {
  CBuffer buffer(16);
  buffer += "abc";
  errno = 0;
  const CBuffer copy(buffer);
  EXPECT_EQ(0, errno);
  EXPECT_EQ("", Text(copy));
  EXPECT_EQ(3u, copy.GetLength());
  EXPECT_EQ(15u, copy.GetCapacity());
  EXPECT_FALSE(copy.IsEmpty());
  EXPECT_FALSE(copy == "abc");
  EXPECT_FALSE(copy == "");
  EXPECT_EQ("abc", Text(buffer));
}

TEST(Buffer, ACopyHoldsZeros) {
  CBuffer buffer(16);
  buffer += "abc";
  const CBuffer copy(buffer);
  for (unsigned i = 0; i <= copy.GetCapacity(); ++i) EXPECT_EQ(0, copy[i]) << i;
}

TEST(BufferCompat, WhatIsAppendedToACopyGoesBehindTheLength) {
  CBuffer buffer(16);
  buffer += "abc";
  CBuffer copy(buffer);
  copy += 'x';
  copy += "yz";
  EXPECT_EQ(6u, copy.GetLength());
  EXPECT_EQ("", Text(copy));
  EXPECT_EQ(0, std::memcmp(static_cast<const char*>(copy), "\0\0\0xyz", 7));
}

TEST(Buffer, ACopyOfAFullBufferIsAnErrorAndCanBeAppendedTo) {
  CBuffer buffer(1);
  errno = 0;
  const CBuffer ofEmpty(buffer);
  EXPECT_EQ(ERANGE, errno) << "length 0 is not below capacity 0";
  buffer += 'x';
  buffer += 'y';
  errno = 0;
  CBuffer copy(buffer);
  EXPECT_EQ(ERANGE, errno);
  EXPECT_EQ(2u, copy.GetLength());
  EXPECT_EQ(2u, copy.GetCapacity());
  copy += 'z';
  EXPECT_EQ(3u, copy.GetLength());
  EXPECT_EQ(3u, copy.GetCapacity()) << "the step is that of the other";
  EXPECT_EQ('z', copy[2u]);
  EXPECT_EQ(0, copy[3u]);
}

TEST(BufferCompat, AppendingABufferChangesNothing) {
  CBuffer a(16);
  a += "abc";
  CBuffer b(16);
  b += "def";
  errno = 0;
  a += b;
  EXPECT_EQ(0, errno);
  a += a;
  EXPECT_EQ("abc", Text(a));
  EXPECT_EQ(3u, a.GetLength());
  EXPECT_EQ(15u, a.GetCapacity());
  EXPECT_EQ("def", Text(b));
  a += static_cast<const char*>(b);
  EXPECT_EQ("abcdef", Text(a));
  // The copy that is made of a full buffer sets errno.
  CBuffer full(1);
  errno = 0;
  full += b;
  EXPECT_EQ(ERANGE, errno);
  EXPECT_EQ("", Text(full));
}

}  // namespace
