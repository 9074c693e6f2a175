#ifndef BIX_FILESTREAMS_H_
#define BIX_FILESTREAMS_H_

/// Standard streams on plain files: what the file scheme opens, see bix/urischeme.h.
///
///   bix::SFile2OstreamAdapter out;
///   out.open("notes.txt", 0);
///   if (out.good()) out << "first line\n";
///
/// Files are moved in blocks of 16384 bytes, each with one fread() or fwrite() at most. They are
/// opened without translation of line ends, close-on-exec, and, on 32-bit platforms too, whatever
/// their size. The streams have no position: seeking fails.
///
/// Pending output reaches the file when the block is full and when the adapter is destroyed.
/// Flushing (std::flush, std::endl) writes nothing. What cannot be written at destruction is lost
/// without notice, and so is what is pending when close() is called: destroy the adapter to end a
/// file, and test good() before.
///
/// Owner: an adapter owns its buffer, and a buffer its file.
/// Encoding: bytes, unchanged.
/// Threads: each stream belongs to one thread.

#include "bix/hostmacros_off.h"

#include <cstdio>
#include <istream>
#include <ostream>
#include <streambuf>

#include "bix/export.h"
#include "bix/text.h"

namespace bix {

/// A stream buffer on a file that is either read or written.
class BIX_EXPORT SFileStreamBuffer : public std::streambuf {
 public:
  /// The size of a block in bytes.
  static constexpr int kBlockSize = 16384;

  /// Makes a buffer without a file.
  SFileStreamBuffer();
  SFileStreamBuffer(const SFileStreamBuffer&) = delete;
  SFileStreamBuffer& operator=(const SFileStreamBuffer&) = delete;
  /// Closes the file. Pending output is lost.
  ~SFileStreamBuffer() override;

  /// Opens a file to be read from its beginning. A file that is open is written to its end and
  /// closed first.
  ///
  /// Errors: there is no file then; `errno` is that of fopen().
  void OpenRead(const SString& path);

  /// Opens a file to be written, empties an existing one. Otherwise as OpenRead.
  void OpenWrite(const SString& path);

  /// Whether there is a file, and neither its end nor an error has been met.
  bool IsGood() const;

  /// Writes what is pending, when there is a file.
  void WritePending();

  /// Closes the file. What is pending or was not read yet is dropped. Does nothing without a file.
  void Close();

 protected:
  /// Stores `c`, unless it is end-of-file, and writes all pending bytes. Returns how many were
  /// written, or end-of-file when none were.
  int_type overflow(int_type c = traits_type::eof()) override;

  /// Reads the next block and returns its first byte as a signed number, or end-of-file. A block
  /// that begins with the byte 0xFF therefore reads as the end of the file; the block can be read
  /// after the stream's clear().
  int_type underflow() override;

  /// Whole blocks are moved between the file and the caller's memory, several with one call. The
  /// results are those of the standard operations, which move them one by one through the block.
  std::streamsize xsputn(const char* bytes, std::streamsize count) override;
  std::streamsize xsgetn(char* bytes, std::streamsize count) override;

  /// Gets back the last block that was moved past the buffer.
  int_type pbackfail(int_type c = traits_type::eof()) override;

 private:
  void Open(const SString& path, const char* mode);
  bool IsReading() const { return m_file != nullptr && pbase() == nullptr; }
  bool IsWriting() const { return m_file != nullptr && pbase() != nullptr; }
  void ResetPutArea();
  void KeepBlock(const char* bytes, std::streamsize size, std::streamsize taken);
  void LeaveBlock(std::streamsize size);
  bool FetchBlock();

  std::FILE* m_file = nullptr;  // null until opened
  char m_block[kBlockSize];
  bool m_isRegular = false;  // whether what was read can go back to the file, and be read again
  std::streamsize m_sizeLeft = 0;  // of the block read last, when m_block does not hold it
};

/// An output stream on a file.
class BIX_EXPORT SFile2OstreamAdapter : public std::ostream {
 public:
  /// Makes a stream with a buffer of its own and without a file.
  SFile2OstreamAdapter();
  /// Makes a stream over `buffer`, which may be null: such a stream can only be destroyed.
  ///
  /// Owner: adopted; the adapter deletes it.
  explicit SFile2OstreamAdapter(SFileStreamBuffer* buffer);
  SFile2OstreamAdapter(const SFile2OstreamAdapter&) = delete;
  SFile2OstreamAdapter& operator=(const SFile2OstreamAdapter&) = delete;
  /// Writes what is pending, closes the file and deletes the buffer.
  ~SFile2OstreamAdapter() override;

  /// Opens a file to be written, empties an existing one. The stream's state is left as it is. A
  /// file that is open already is written to its end and closed first. `mode` is ignored.
  ///
  /// Errors: good() is false; `errno` is that of fopen().
  void open(const SString& path, int mode);

  /// Whether a file is open, and no write to it has failed. This is about the file only and says
  /// nothing about the state of the stream: unlike std::ios::good(), which it hides.
  bool good() const;

  /// Closes the file. What is pending is lost. Does nothing without a file.
  void close();

 private:
  SFileStreamBuffer* m_buffer;
};

/// An input stream on a file.
class BIX_EXPORT SFile2IstreamAdapter : public std::istream {
 public:
  /// Makes a stream with a buffer of its own and without a file.
  SFile2IstreamAdapter();
  /// Makes a stream over `buffer`, which may be null: such a stream can only be destroyed.
  ///
  /// Owner: adopted; the adapter deletes it.
  explicit SFile2IstreamAdapter(SFileStreamBuffer* buffer);
  SFile2IstreamAdapter(const SFile2IstreamAdapter&) = delete;
  SFile2IstreamAdapter& operator=(const SFile2IstreamAdapter&) = delete;
  /// Closes the file and deletes the buffer.
  ~SFile2IstreamAdapter() override;

  /// Opens a file to be read. The stream's state is left as it is. A file that is open already is
  /// closed first. `mode` is ignored.
  ///
  /// A directory opens, too: its first read fails.
  /// Errors: good() is false; `errno` is that of fopen().
  void open(const SString& path, int mode);

  /// Whether a file is open, and neither its end nor an error has been met. This is about the file
  /// only: of a short file it is false from the first block on, while most of the bytes are still
  /// to be read from the stream. It hides std::ios::good().
  bool good() const;

  /// Closes the file. What was not read yet is dropped. Does nothing without a file.
  void close();

 private:
  SFileStreamBuffer* m_buffer;
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_FILESTREAMS_H_
