#ifndef BIX_BUFFER_H_
#define BIX_BUFFER_H_

/// A growing text to which pieces are appended.
///
///   bix::CBuffer line(64);
///   line += "item ";
///   line += 7;
///   std::fputs(line, file);      // item 7
///
/// The text always ends in a zero byte. The heap block comes from malloc().
///
/// Errors: only through `errno`; nothing throws. Encoding: bytes. Threads: one buffer is not used
/// from two threads at once.

#include "bix/hostmacros_off.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "bix/export.h"

namespace bix {

/// A zero-terminated text that grows by appending.
class BIX_EXPORT CBuffer {
 public:
  /// Makes an empty text with room for `size` - 1 bytes, which then grows by steps of `size`. A
  /// size below 1 counts as 1.
  explicit CBuffer(int size);

  /// Makes a buffer of the other's size, not of its text: the copy reads as "", but has the other's
  /// length, capacity and step, and what is appended goes behind that length. What lies between is
  /// zero bytes. Copies are not for carrying text.
  ///
  /// Errors: errno ERANGE when the other's length is not below its capacity; EINVAL when there is
  ///   no memory, or the other has none.
  CBuffer(const CBuffer& other);
  CBuffer& operator=(const CBuffer&) = delete;
  ~CBuffer();

  /// Appends one byte. When length equals capacity, the capacity grows by the step first.
  ///
  /// Errors: as for a text.
  CBuffer& operator+=(char byte);

  /// Appends a text of n bytes; "" changes nothing. When length + n is at least the capacity, the
  /// capacity grows by n and the step first. The text may lie in the buffer itself.
  ///
  ///   CBuffer(4), "abc"  => "abc", capacity 3 + 3 + 4 = 10
  ///
  /// Owner: the text is borrowed for the call.
  /// Errors: null sets errno EINVAL and changes nothing. When the buffer has no memory since it was
  ///   made, sets EINVAL and raises the length by n all the same. When it cannot grow, sets ENOMEM
  ///   and changes nothing; the length stays below 4 GiB.
  CBuffer& operator+=(const char* text);

  /// Appends the number in decimal.
  CBuffer& operator+=(int number);

  /// Appends "true" or "false".
  // COMPAT(buffer-pointers): pointers other than to characters are taken for truth values, and
  // numbers other than `int` fit none of the kinds better than the others, so they do not compile.
  // Test: BufferCompat.OtherPointersAreTruthValuesAndOtherNumbersAreRefused
  CBuffer& operator+=(bool value);

  /// Changes nothing: what it appends to is a copy of this buffer, which is dropped. To append the
  /// other's text, append it as `const char*`.
  ///
  /// Errors: errno is set as the copy would set it.
  CBuffer& operator+=(const CBuffer& other);

  /// Makes the text empty; keeps block and capacity.
  void Empty();

  /// The number of bytes in the text.
  unsigned GetLength() const { return m_length; }
  /// The number of bytes for which the text need not grow.
  unsigned GetCapacity() const { return m_capacity; }
  /// Whether the length is 0.
  bool IsEmpty() const { return m_length == 0; }

  /// Whether the terminated text has exactly the length of this one and the same bytes. Null is "".
  bool operator==(const char* text) const;
  bool operator!=(const char* text) const { return !(*this == text); }

  /// The text.
  ///
  /// Owner: owned by the buffer, valid until its next change.
  operator const char*() const { return m_data != nullptr ? m_data : ""; }

  /// The byte at `index`, signed. The index is not checked.
  signed char operator[](unsigned index) const { return static_cast<signed char>(m_data[index]); }
  /// The same for an index of any other integer type.
  template <class Index, class = std::enable_if_t<std::is_integral_v<Index>>>
  signed char operator[](Index index) const {
    return (*this)[static_cast<unsigned>(index)];
  }

 private:
  void Append(const char* text, std::size_t count, std::uint64_t growth);
  bool Reserve(std::uint64_t bytes);

  // Hosts are compiled against the order of these members; new ones go to the end.
  char* m_data;       // null when there was no memory for the first block
  char* m_end;        // where the next byte goes
  unsigned m_length;  // without the terminator
  unsigned m_capacity;
  unsigned m_step;
  unsigned m_room;  // the bytes of the block, at least m_capacity + 1
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_BUFFER_H_
