#include "bix/buffer.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

namespace bix {

// CHOICE(buffer-least-size): below 1 there would be no room for the terminator.
// Test: Buffer.ASizeBelowOneCountsAsOne
CBuffer::CBuffer(int size)
    : m_length(0),
      m_capacity(static_cast<unsigned>(std::max(size, 1)) - 1),
      m_step(static_cast<unsigned>(std::max(size, 1))),
      m_room(m_step) {
  m_data = static_cast<char*>(std::malloc(m_room));
  m_end = m_data;
  if (m_data != nullptr) *m_data = 0;
}

// COMPAT(buffer-copy): a copy takes over the length but not the text, and its text begins with a
// zero byte. Test: BufferCompat.ACopyReadsAsTheEmptyTextOfTheSameLength
CBuffer::CBuffer(const CBuffer& other)
    : m_length(other.m_length), m_capacity(other.m_capacity), m_step(other.m_step), m_room(0) {
  // CHOICE(buffer-copy-zeros): what lies in front of the taken-over length is zero bytes, and one
  // byte more than the capacity is there for the terminator. Test: Buffer.ACopyHoldsZeros
  const std::uint64_t room = std::uint64_t{std::max(m_capacity, m_length)} + 1;
  if (room <= UINT_MAX) m_room = static_cast<unsigned>(room);
  m_data = m_room != 0 ? static_cast<char*>(std::calloc(m_room, 1)) : nullptr;
  m_end = m_data;
  if (m_data == nullptr || other.m_data == nullptr)
    errno = EINVAL;
  else if (m_length >= m_capacity)
    errno = ERANGE;
}

CBuffer::~CBuffer() { std::free(m_data); }

CBuffer& CBuffer::operator+=(char byte) {
  Append(&byte, 1, m_length == m_capacity ? m_step : 0);
  return *this;
}

CBuffer& CBuffer::operator+=(const char* text) {
  if (text == nullptr) {
    // CHOICE(buffer-null-text): nothing tells how long it is, so the length stays.
    // Test: Buffer.ANullTextIsAnErrorAndChangesNothing
    errno = EINVAL;
    return *this;
  }
  const std::size_t count = std::strlen(text);
  if (count == 0) return *this;
  // COMPAT(buffer-grows-early): a text that just fits makes the buffer grow as well, a single byte
  // does not. Test: BufferCompat.ATextThatJustFitsMakesItGrow
  const bool grows = std::uint64_t{m_length} + count >= m_capacity;
  Append(text, count, grows ? std::uint64_t{count} + m_step : 0);
  return *this;
}

CBuffer& CBuffer::operator+=(int number) {
  char digits[32];
  std::snprintf(digits, sizeof digits, "%d", number);
  return *this += digits;
}

CBuffer& CBuffer::operator+=(bool value) { return *this += value ? "true" : "false"; }

// COMPAT(buffer-append-buffer): a copy of this buffer gets the other's text and is dropped; nothing
// of it shows but errno. Test: BufferCompat.AppendingABufferChangesNothing
CBuffer& CBuffer::operator+=(const CBuffer& other) {
  if (m_data == nullptr)
    errno = EINVAL;
  else if (m_length >= m_capacity)
    errno = ERANGE;
  if (other.m_data == nullptr) errno = EINVAL;
  return *this;
}

void CBuffer::Empty() {
  m_length = 0;
  m_end = m_data;
  if (m_data != nullptr) *m_data = 0;
}

bool CBuffer::operator==(const char* text) const {
  const char* const other = text != nullptr ? text : "";
  if (std::strlen(other) != m_length) return false;
  return m_length == 0 || (m_data != nullptr && std::memcmp(m_data, other, m_length) == 0);
}

/// Appends `count` bytes after raising the capacity by `growth`.
void CBuffer::Append(const char* text, std::size_t count, std::uint64_t growth) {
  if (m_data == nullptr) {
    // COMPAT(buffer-no-block): the length grows although nothing can be kept.
    // Test: BufferCompat.WithoutMemoryTheLengthGrowsAllTheSame
    errno = EINVAL;
    m_length += static_cast<unsigned>(count);
    return;
  }
  // The text may lie in the block that is about to move.
  const std::less<const char*> isBefore;
  const bool isOwn = !isBefore(text, m_data) && isBefore(text, m_data + m_room);
  const std::ptrdiff_t offset = isOwn ? text - m_data : 0;
  const std::uint64_t capacity = m_capacity + growth;
  // CHOICE(buffer-no-memory): a buffer that cannot grow keeps its text, and what was to be appended
  // is left out. Test: Buffer.WithoutMemoryToGrowTheTextStays
  if (!Reserve(std::max<std::uint64_t>(capacity, std::uint64_t{m_length} + count) + 1)) return;
  m_capacity = static_cast<unsigned>(capacity);
  // COMPAT(buffer-append-at-length): also in a copy, whose end stands at its start.
  // Test: BufferCompat.WhatIsAppendedToACopyGoesBehindTheLength
  std::memmove(m_data + m_length, isOwn ? m_data + offset : text, count);
  m_length += static_cast<unsigned>(count);
  m_end = m_data + m_length;
  *m_end = 0;
}

/// Makes the block `bytes` long at least. It grows by half, so that appending costs the same for
/// each byte, however small the step.
bool CBuffer::Reserve(std::uint64_t bytes) {
  if (bytes <= m_room) return true;
  const std::uint64_t room =
      std::min<std::uint64_t>(std::max(bytes, m_room + m_room / std::uint64_t{2}), UINT_MAX);
  void* const data = bytes <= room ? std::realloc(m_data, static_cast<std::size_t>(room)) : nullptr;
  if (data == nullptr) {
    errno = ENOMEM;
    return false;
  }
  m_end = static_cast<char*>(data) + (m_end - m_data);
  m_data = static_cast<char*>(data);
  m_room = static_cast<unsigned>(room);
  return true;
}

}  // namespace bix
