// What a buffer does when there is no memory.
//
// This program replaces malloc() of the whole process.

#include <cerrno>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "bix/buffer.h"

namespace {

std::size_t s_largest = static_cast<std::size_t>(-1);  // what is larger is refused

}  // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* room, std::size_t size);

void* malloc(std::size_t size) noexcept { return size > s_largest ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t count, std::size_t size) noexcept {
  return count * size > s_largest ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* room, std::size_t size) noexcept {
  return size > s_largest ? nullptr : __libc_realloc(room, size);
}
}

namespace {

using bix::CBuffer;

std::string Text(const CBuffer& buffer) { return static_cast<const char*>(buffer); }

/// Refuses blocks of more than so many bytes in its scope.
class ScopedLimit {
 public:
  explicit ScopedLimit(std::size_t largest) { s_largest = largest; }
  ~ScopedLimit() { s_largest = static_cast<std::size_t>(-1); }
};

TEST(BufferCompat, WithoutMemoryTheLengthGrowsAllTheSame) {
  const auto make = [] {
    const ScopedLimit limit(1000);
    return new CBuffer(1001);
  };
  CBuffer* const buffer = make();
  EXPECT_EQ("", Text(*buffer)) << "never null";
  EXPECT_EQ(1000u, buffer->GetCapacity());
  EXPECT_TRUE(*buffer == "");
  errno = 0;
  *buffer += "abc";
  EXPECT_EQ(EINVAL, errno);
  EXPECT_EQ(3u, buffer->GetLength());
  errno = 0;
  *buffer += 'd';
  EXPECT_EQ(EINVAL, errno);
  EXPECT_EQ(4u, buffer->GetLength());
  EXPECT_EQ("", Text(*buffer));
  EXPECT_FALSE(*buffer == "abcd");

  errno = 0;
  CBuffer copy(*buffer);
  EXPECT_EQ(EINVAL, errno) << "there is no text to copy";
  EXPECT_EQ(4u, copy.GetLength());

  CBuffer other(10);
  errno = 0;
  other += *buffer;
  EXPECT_EQ(EINVAL, errno);
  errno = 0;
  *buffer += other;
  EXPECT_EQ(EINVAL, errno);

  buffer->Empty();
  EXPECT_TRUE(buffer->IsEmpty());
  delete buffer;
}

TEST(Buffer, WithoutMemoryToGrowTheTextStays) {
  CBuffer buffer(8);
  buffer += "abcdefg";
  const unsigned capacity = buffer.GetCapacity();
  const std::string text(5000, 'x');
  {
    const ScopedLimit limit(1000);
    errno = 0;
    buffer += text.c_str();
    EXPECT_EQ(ENOMEM, errno);
  }
  EXPECT_EQ("abcdefg", Text(buffer));
  EXPECT_EQ(7u, buffer.GetLength());
  EXPECT_EQ(capacity, buffer.GetCapacity());
  buffer += text.c_str();
  EXPECT_EQ("abcdefg" + text, Text(buffer));
  int count = 0;
  {
    const ScopedLimit limit(1000);
    for (errno = 0; errno == 0; ++count) {
      ASSERT_LT(count, 10000);
      buffer += 'y';
    }
    EXPECT_EQ(ENOMEM, errno);
  }
  EXPECT_EQ("abcdefg" + text + std::string(static_cast<std::size_t>(count) - 1, 'y'), Text(buffer));
}

TEST(Buffer, ACopyThatGetsNoMemoryIsAnError) {
  CBuffer buffer(2000);
  buffer += "abc";
  const ScopedLimit limit(1000);
  errno = 0;
  CBuffer copy(buffer);
  EXPECT_EQ(EINVAL, errno);
  EXPECT_EQ("", Text(copy));
  EXPECT_EQ(3u, copy.GetLength());
  copy += "d";
  EXPECT_EQ(4u, copy.GetLength());
}

}  // namespace
