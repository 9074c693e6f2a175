#include "bix/filestreams.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include "support/above_standard.h"
#include "support/uncancelled.h"

namespace bix {
namespace {

bool IsRegular(std::FILE* file) {
  struct stat status;
  return fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode);
}

// COMPAT(file-stream-signed-byte): the first byte of a block is taken as a signed number, and -1 is
// the end of the file. A block that begins with 0xFF therefore reads as the end.
// Test: FileStreamCompat.ABlockThatBeginsWithFFReadsAsTheEnd
int FirstByte(const char* block) { return static_cast<signed char>(block[0]); }

/// Where the first of these blocks begins that reads as the end of the file, or their size.
std::streamsize FindEnd(const char* blocks, std::streamsize size) {
  std::streamsize at = 0;
  while (at < size && FirstByte(blocks + at) != SFileStreamBuffer::traits_type::eof())
    at += SFileStreamBuffer::kBlockSize;
  return std::min(at, size);
}

}  // namespace

SFileStreamBuffer::SFileStreamBuffer() = default;

SFileStreamBuffer::~SFileStreamBuffer() { Close(); }

void SFileStreamBuffer::OpenRead(const SString& path) { Open(path, "re"); }

void SFileStreamBuffer::OpenWrite(const SString& path) {
  Open(path, "we");
  if (m_file != nullptr) ResetPutArea();
}

void SFileStreamBuffer::Open(const SString& path, const char* mode) {
  // CHOICE(file-stream-open-twice): opening again ends the file before as destruction would: what
  // is pending is written to it, not dropped and not written to the new file.
  // Test: FileStreams.OpeningAgainEndsTheFileBefore
  WritePending();
  Close();
  m_file = impl::AboveStandard(std::fopen(path.c_str(), mode), mode);
  // The block is all the buffer there is: one system call for each, and no second copy.
  if (m_file == nullptr) return;
  (void)std::setvbuf(m_file, nullptr, _IONBF, 0);
  m_isRegular = IsRegular(m_file);
}

// COMPAT(file-stream-good): asks the file, not the stream. A short file has met its end when its
// first block has been read, although the reader has not seen a byte of it yet.
// Test: FileStreamCompat.AnInputStreamIsNotGoodOnceItsFileHasBeenRead
bool SFileStreamBuffer::IsGood() const {
  return m_file != nullptr && std::feof(m_file) == 0 && std::ferror(m_file) == 0;
}

void SFileStreamBuffer::WritePending() {
  if (!IsWriting()) return;
  // Mostly within a destructor, where to be cancelled would end the process.
  const impl::Uncancelled uncancelled;
  // Nobody is left to be told: see COMPAT(file-stream-short-write).
  (void)std::fwrite(pbase(), 1, static_cast<std::size_t>(pptr() - pbase()), m_file);
  ResetPutArea();
}

// COMPAT(file-stream-close): pending output is not written here, only when the stream is destroyed.
// Test: FileStreamCompat.ClosingDropsWhatIsPending
void SFileStreamBuffer::Close() {
  if (m_file == nullptr) return;
  std::fclose(m_file);
  m_file = nullptr;
  setp(nullptr, nullptr);
  setg(nullptr, nullptr, nullptr);
  m_sizeLeft = 0;
}

/// One byte of the block is left out of the put area: overflow() can always store the byte that it
/// is given behind the pending ones.
void SFileStreamBuffer::ResetPutArea() { setp(m_block, m_block + kBlockSize - 1); }

// COMPAT(file-stream-no-flush): there is no sync(), so std::flush and std::endl write nothing.
// Test: FileStreamCompat.FlushingWritesNothing
SFileStreamBuffer::int_type SFileStreamBuffer::overflow(int_type c) {
  if (!IsWriting()) return traits_type::eof();
  if (!traits_type::eq_int_type(c, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
  }
  const std::size_t written =
      std::fwrite(pbase(), 1, static_cast<std::size_t>(pptr() - pbase()), m_file);
  ResetPutArea();
  // COMPAT(file-stream-short-write): what the system did not take is dropped, and the call succeeds
  // as long as it took a byte. The error stays with the file, so good() is false.
  // Test: FileStreamFaultsCompat.AShortWriteDropsTheRestAndSucceeds
  //
  // COMPAT(file-stream-overflow-count): the result is the number of bytes, not the byte stored, so
  // overflow() without a byte and with nothing pending fails.
  // Test: FileStreamCompat.OverflowReturnsTheNumberOfBytes
  return written < 1 ? traits_type::eof() : static_cast<int_type>(written);
}

SFileStreamBuffer::int_type SFileStreamBuffer::underflow() {
  if (!IsReading()) return traits_type::eof();
  const std::size_t count = std::fread(m_block, 1, kBlockSize, m_file);
  if (count < 1) return traits_type::eof();
  setg(m_block, m_block, m_block + count);
  m_sizeLeft = 0;
  return FirstByte(m_block);
}

// CHOICE(file-stream-whole-blocks): a request for whole blocks moves them between the file and the
// caller's memory, several with one call. Results and states are those of block by block by way of
// m_block; only, the caller's memory behind what was read may have been written to.
// Tests: FileStreamsModel.AgreesWithBlockByBlock, FileStreamsModel.WritesWhatBlockByBlockWrites,
// FileStreamsChoice.WholeBlocksMoveWithOneCall

std::streamsize SFileStreamBuffer::xsputn(const char* bytes, std::streamsize count) {
  if (!IsWriting() || count < kBlockSize) return std::streambuf::xsputn(bytes, count);
  std::streamsize done = 0;
  if (pptr() != pbase()) {
    // Completes the block that has been begun.
    const std::streamsize rest = kBlockSize - (pptr() - pbase());
    done = std::streambuf::xsputn(bytes, rest);
    if (done < rest) return done;
  }
  while (count - done >= kBlockSize) {
    const std::streamsize whole = (count - done) / kBlockSize * kBlockSize;
    const auto written = static_cast<std::streamsize>(
        std::fwrite(bytes + done, 1, static_cast<std::size_t>(whole), m_file));
    // COMPAT(file-stream-short-write) holds here, too: a block of which a part was written counts.
    done += (written + kBlockSize - 1) / kBlockSize * kBlockSize;
    // Of the next one all but the last byte was stored before it was found not to go.
    if (written < whole && written % kBlockSize == 0) return done + kBlockSize - 1;
  }
  return done + std::streambuf::xsputn(bytes + done, count - done);
}

std::streamsize SFileStreamBuffer::xsgetn(char* bytes, std::streamsize count) {
  if (!IsReading() || count < kBlockSize) return std::streambuf::xsgetn(bytes, count);
  // What is left of the last block.
  std::streamsize done =
      std::streambuf::xsgetn(bytes, std::min<std::streamsize>(egptr() - gptr(), count));
  while (count - done >= kBlockSize) {
    char* const blocks = bytes + done;
    // What was read behind a block that ends the file goes back, which only a regular one takes.
    const std::streamsize whole =
        m_isRegular ? (count - done) / kBlockSize * kBlockSize : kBlockSize;
    const auto read = static_cast<std::streamsize>(
        std::fread(blocks, 1, static_cast<std::size_t>(whole), m_file));
    if (read < 1) return done;
    const std::streamsize end = FindEnd(blocks, read);
    if (end < read) {
      const std::streamsize size = std::min<std::streamsize>(kBlockSize, read - end);
      KeepBlock(blocks + end, size, 0);
      // What was read behind it goes back, and that the file ends there is to be found out anew.
      if (m_isRegular && size == kBlockSize)
        (void)fseeko(m_file, -static_cast<off_t>(read - end - size), SEEK_CUR);
      return done + end;
    }
    // The bytes of the last block can be put back.
    const std::streamsize last = (read - 1) % kBlockSize + 1;
    if (m_isRegular)
      LeaveBlock(last);
    else
      KeepBlock(blocks + read - last, last, last);
    done += read;
  }
  return done + std::streambuf::xsgetn(bytes + done, count - done);
}

SFileStreamBuffer::int_type SFileStreamBuffer::pbackfail(int_type c) {
  if (m_sizeLeft == 0 || !FetchBlock()) return traits_type::eof();
  const bool isAny = traits_type::eq_int_type(c, traits_type::eof());
  if (!isAny && traits_type::to_char_type(c) != gptr()[-1]) return traits_type::eof();
  gbump(-1);
  return traits_type::not_eof(c);
}

/// Makes a block the one read last, of which so many bytes have been taken: those can be put back.
void SFileStreamBuffer::KeepBlock(const char* bytes, std::streamsize size, std::streamsize taken) {
  std::memcpy(m_block, bytes, static_cast<std::size_t>(size));
  setg(m_block, m_block + taken, m_block + size);
  m_sizeLeft = 0;
}

/// The same for a block of which all bytes have been taken, but its bytes stay in the file until
/// somebody puts one back.
void SFileStreamBuffer::LeaveBlock(std::streamsize size) {
  setg(m_block, m_block, m_block);
  m_sizeLeft = size;
}

/// Gets the bytes of the block that was left in the file; false when they are not there any more.
bool SFileStreamBuffer::FetchBlock() {
  const std::streamsize size = std::exchange(m_sizeLeft, 0);
  const off_t position = ftello(m_file) - static_cast<off_t>(size);
  if (pread(fileno(m_file), m_block, static_cast<std::size_t>(size), position) != size)
    return false;
  setg(m_block, m_block + size, m_block + size);
  return true;
}

// ---- adapters ----

// COMPAT(file-stream-mode): the mode is ignored: text, from the beginning, replacing what was there.
// Test: FileStreamCompat.TheModeIsIgnored

SFile2OstreamAdapter::SFile2OstreamAdapter() : SFile2OstreamAdapter(new SFileStreamBuffer) {}

SFile2OstreamAdapter::SFile2OstreamAdapter(SFileStreamBuffer* buffer)
    : std::ostream(buffer), m_buffer(buffer) {}

SFile2OstreamAdapter::~SFile2OstreamAdapter() {
  if (m_buffer != nullptr) m_buffer->WritePending();
  delete m_buffer;
}

void SFile2OstreamAdapter::open(const SString& path, int /*mode*/) {
  if (m_buffer != nullptr) m_buffer->OpenWrite(path);
}

bool SFile2OstreamAdapter::good() const { return m_buffer != nullptr && m_buffer->IsGood(); }

void SFile2OstreamAdapter::close() {
  if (m_buffer != nullptr) m_buffer->Close();
}

SFile2IstreamAdapter::SFile2IstreamAdapter() : SFile2IstreamAdapter(new SFileStreamBuffer) {}

SFile2IstreamAdapter::SFile2IstreamAdapter(SFileStreamBuffer* buffer)
    : std::istream(buffer), m_buffer(buffer) {}

SFile2IstreamAdapter::~SFile2IstreamAdapter() { delete m_buffer; }

void SFile2IstreamAdapter::open(const SString& path, int /*mode*/) {
  if (m_buffer != nullptr) m_buffer->OpenRead(path);
}

bool SFile2IstreamAdapter::good() const { return m_buffer != nullptr && m_buffer->IsGood(); }

void SFile2IstreamAdapter::close() {
  if (m_buffer != nullptr) m_buffer->Close();
}

}  // namespace bix
