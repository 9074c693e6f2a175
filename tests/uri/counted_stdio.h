#ifndef TESTS_URI_COUNTED_STDIO_H_
#define TESTS_URI_COUNTED_STDIO_H_

/// How often the library calls the C library to move bytes, and how often that calls the system.
///
/// fread() and fwrite() are defined once more in counted_stdio.cpp. Listed among the sources of a
/// test program, they take the place of the C library's own for every shared library in it.

#include <cstddef>
#include <vector>

namespace bix_test {

/// Counts from its construction to its end, at most one at a time.
class CountedStdio {
 public:
  CountedStdio();
  CountedStdio(const CountedStdio&) = delete;
  CountedStdio& operator=(const CountedStdio&) = delete;
  ~CountedStdio();

  /// How many bytes each call was asked to move.
  const std::vector<std::size_t>& Reads() const { return m_reads; }
  const std::vector<std::size_t>& Writes() const { return m_writes; }

  /// How many system calls were made inside of these calls.
  int SystemReads() const { return m_systemReads; }
  int SystemWrites() const { return m_systemWrites; }

  void NoteRead(std::size_t bytes, int systemCalls);
  void NoteWrite(std::size_t bytes, int systemCalls);

 private:
  std::vector<std::size_t> m_reads;
  std::vector<std::size_t> m_writes;
  int m_readsOfCounter = 0;  // what it takes to look at the system's counter
  int m_systemReads = 0;
  int m_systemWrites = 0;
};

}  // namespace bix_test

#endif  // TESTS_URI_COUNTED_STDIO_H_
