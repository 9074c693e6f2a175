#include "bix/filestreams.h"

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/cancelled_thread.h"
#include "support/temp_directory.h"
#include "uri/counted_stdio.h"

namespace {

using bix::SFile2IstreamAdapter;
using bix::SFile2OstreamAdapter;
using bix::SFileStreamBuffer;
using bix_test::CancelThisThread;
using bix_test::CountedStdio;
using bix_test::IsCancelledIn;
using bix_test::ReadWholeFile;
using bix_test::TempDirectory;
using bix_test::WriteWholeFile;

constexpr int kEnd = std::char_traits<char>::eof();

/// So many bytes, none of them 0xFF, that show where they stand.
std::string Content(std::size_t size) {
  std::string content;
  for (std::size_t i = 0; i < size; ++i) content.push_back(static_cast<char>((i ^ (i >> 7)) % 251));
  return content;
}

/// All that a stream still gives.
std::string Rest(std::istream& stream) {
  std::ostringstream rest;
  rest << stream.rdbuf();
  return rest.str();
}

std::uintmax_t SizeOf(const std::string& path) { return std::filesystem::file_size(path); }

std::set<int> OpenDescriptors() {
  std::set<int> descriptors;
  for (int fd = 0; fd < 1024; ++fd)
    if (fcntl(fd, F_GETFD) != -1) descriptors.insert(fd);
  return descriptors;
}

/// The one descriptor that is open now and was not before.
int NewDescriptor(const std::set<int>& before) {
  int added = -1;
  for (const int fd : OpenDescriptors()) {
    if (before.count(fd) != 0) continue;
    EXPECT_EQ(-1, added) << "more than one descriptor";
    added = fd;
  }
  EXPECT_NE(-1, added) << "no descriptor";
  return added;
}

/// With the operations that a stream buffer offers to its heirs.
class OpenBuffer : public SFileStreamBuffer {
 public:
  using SFileStreamBuffer::overflow;
  using SFileStreamBuffer::underflow;
};

// ---- round trips ----

const std::size_t kSizes[] = {0, 1, 4096, 16382, 16383, 16384, 16385, 32767, 32768, 32769, 100000};

TEST(FileStreams, WriteAndReadAnySizeInAnyPieces) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  for (const std::size_t size : kSizes) {
    const std::string content = Content(size);
    for (const std::size_t piece : {1u, 7u, 1000u, 16383u, 16384u, 16385u, 50000u, 200000u}) {
      SCOPED_TRACE(std::to_string(size) + " bytes, " + std::to_string(piece) + " at a time");
      {
        SFile2OstreamAdapter out;
        out.open(file, 0);
        ASSERT_TRUE(out.good());
        for (std::size_t at = 0; at < size; at += piece)
          out.write(content.data() + at, static_cast<std::streamsize>(std::min(piece, size - at)));
        EXPECT_TRUE(out.good());
        EXPECT_TRUE(static_cast<std::ostream&>(out).good());
      }
      ASSERT_TRUE(content == ReadWholeFile(file));

      SFile2IstreamAdapter in;
      in.open(file, 0);
      ASSERT_TRUE(in.good());
      std::string read;
      std::string block(piece, '\0');
      while (in.read(block.data(), static_cast<std::streamsize>(piece)) || in.gcount() > 0)
        read.append(block, 0, static_cast<std::size_t>(in.gcount()));
      EXPECT_TRUE(content == read);
      EXPECT_TRUE(in.eof());
    }
  }
}

TEST(FileStreams, FormatAndParse) {
  const TempDirectory directory;
  {
    SFile2OstreamAdapter out;
    out.open(directory / "file", 0);
    out << "first line\n" << 42 << ' ' << 2.5 << "\r\nlast";
  }
  EXPECT_EQ("first line\n42 2.5\r\nlast", ReadWholeFile(directory / "file"));
  SFile2IstreamAdapter in;
  in.open(directory / "file", 0);
  std::string line;
  int number = 0;
  double real = 0;
  std::getline(in, line);
  in >> number >> real;
  EXPECT_EQ("first line", line);
  EXPECT_EQ(42, number);
  EXPECT_EQ(2.5, real);
  EXPECT_EQ("\r\nlast", Rest(in));
}

TEST(FileStreams, BytesCanBePutBackWithinTheirBlock) {
  const TempDirectory directory;
  const std::string content = Content(40000);
  WriteWholeFile(directory / "file", content);
  // The file ends inside of its third block, or nothing of the third has been asked for.
  for (const std::size_t size : {32768u, 32769u, 40000u, 50000u}) {
    SCOPED_TRACE(size);
    SFile2IstreamAdapter in;
    in.open(directory / "file", 0);
    std::string bytes(size, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(size));
    const auto count = static_cast<std::size_t>(in.gcount());
    ASSERT_EQ(std::min<std::size_t>(size, 40000), count);
    in.clear();
    const std::size_t block = (count - 1) / 16384 * 16384;
    for (std::size_t at = count; at-- > block;) {
      ASSERT_TRUE(in.unget());
      ASSERT_EQ(content[at], static_cast<char>(in.peek() & 0xFF)) << at;
    }
    EXPECT_FALSE(in.unget()) << "into the block before";
    in.clear();
    EXPECT_TRUE(content.substr(block) == Rest(in));
  }
}

TEST(FileStreams, OnlyTheByteThatWasReadIsPutBack) {
  const TempDirectory directory;
  const std::string content = Content(32768);
  WriteWholeFile(directory / "file", content);
  for (const std::size_t size : {100u, 16384u, 32768u}) {
    SCOPED_TRACE(size);
    SFile2IstreamAdapter in;
    in.open(directory / "file", 0);
    std::string bytes(size, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(size));
    const char last = bytes.back();
    EXPECT_EQ(kEnd, in.rdbuf()->sputbackc(static_cast<char>(last + 1)));
    EXPECT_EQ(static_cast<unsigned char>(last), in.rdbuf()->sputbackc(last));
    EXPECT_EQ(static_cast<unsigned char>(last), in.rdbuf()->sbumpc());
  }
}

TEST(FileStreams, NothingIsPutBackThatHasLeftTheFile) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  WriteWholeFile(file, Content(32768));
  SFile2IstreamAdapter in;
  in.open(file, 0);
  std::string bytes(32768, '\0');
  in.read(bytes.data(), 32768);
  ASSERT_EQ(0, truncate(file.c_str(), 20000));
  EXPECT_FALSE(in.unget());
}

TEST(FileStreams, HaveNoPosition) {
  const TempDirectory directory;
  WriteWholeFile(directory / "file", "content");
  SFile2IstreamAdapter in;
  in.open(directory / "file", 0);
  EXPECT_EQ(std::istream::pos_type(-1), in.tellg());
  EXPECT_FALSE(in.seekg(0));
  SFile2OstreamAdapter out;
  out.open(directory / "other", 0);
  EXPECT_EQ(std::ostream::pos_type(-1), out.tellp());
  EXPECT_FALSE(out.seekp(0));
}

// ---- blocks ----

TEST(FileStreams, OutputReachesTheFileWithTheByteThatFillsTheBlock) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  const std::string content = Content(32768);
  SFile2OstreamAdapter out;
  out.open(file, 0);
  for (std::size_t i = 0; i < content.size(); ++i) {
    out.put(content[i]);
    if (i != 16382 && i != 16383 && i != 32766 && i != 32767) continue;
    EXPECT_EQ((i + 1) / 16384 * 16384, SizeOf(file)) << "after " << i + 1 << " bytes";
  }
  EXPECT_TRUE(content == ReadWholeFile(file));
}

TEST(FileStreams, DestructionWritesWhatIsPending) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  {
    SFile2OstreamAdapter out;
    out.open(file, 0);
    out << "pending";
    EXPECT_EQ(0u, SizeOf(file));
  }
  EXPECT_EQ("pending", ReadWholeFile(file));
}

TEST(FileStreams, DestructionWritesInAThreadThatIsToBeCancelledToo) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  EXPECT_FALSE(IsCancelledIn([&file] {
    SFile2OstreamAdapter out;
    out.open(file, 0);
    out << "pending";
    CancelThisThread();
  }));
  EXPECT_EQ("pending", ReadWholeFile(file));
}

TEST(FileStreams, EachBlockTakesOneCall) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  const std::string content = Content(3 * 16384 + 100);
  CountedStdio counted;
  {
    SFile2OstreamAdapter out;
    out.open(file, 0);
    for (const char byte : content) out.put(byte);
    EXPECT_EQ((std::vector<std::size_t>{16384, 16384, 16384}), counted.Writes());
    EXPECT_EQ(3, counted.SystemWrites());
  }
  EXPECT_EQ((std::vector<std::size_t>{16384, 16384, 16384, 100}), counted.Writes());
  EXPECT_EQ(4, counted.SystemWrites());

  SFile2IstreamAdapter in;
  in.open(file, 0);
  EXPECT_EQ(0, counted.SystemReads());
  std::string read;
  for (int byte; (byte = in.get()) != kEnd;) read.push_back(static_cast<char>(byte));
  EXPECT_TRUE(content == read);
  // The last call finds the end of the file, and the C library asks the system once more before it
  // takes a short block for the last.
  EXPECT_EQ((std::vector<std::size_t>{16384, 16384, 16384, 16384, 16384}), counted.Reads());
  EXPECT_EQ(6, counted.SystemReads());
}

TEST(FileStreamsChoice, WholeBlocksMoveWithOneCall) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  const std::string content = Content(10 * 16384);
  CountedStdio counted;
  {
    SFile2OstreamAdapter out;
    out.open(file, 0);
    out.write(content.data(), 100);
    out.write(content.data() + 100, 9 * 16384);
    EXPECT_EQ((std::vector<std::size_t>{16384, 8 * 16384}), counted.Writes());
  }
  SFile2IstreamAdapter in;
  in.open(file, 0);
  std::string bytes(9 * 16384 + 100, '\0');
  in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(content.substr(0, bytes.size()) == bytes + std::string());
  EXPECT_EQ((std::vector<std::size_t>{9 * 16384, 16384}), counted.Reads());
}

// ---- what looks odd ----

TEST(FileStreamCompat, FlushingWritesNothing) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  {
    SFile2OstreamAdapter out;
    out.open(file, 0);
    out << "line" << std::endl << std::flush;
    out.flush();
    EXPECT_EQ(0, out.rdbuf()->pubsync());
    EXPECT_TRUE(static_cast<std::ostream&>(out).good());
    EXPECT_EQ(0u, SizeOf(file));
  }
  EXPECT_EQ("line\n", ReadWholeFile(file));
}

TEST(FileStreamCompat, OverflowReturnsTheNumberOfBytes) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  OpenBuffer buffer;
  buffer.OpenWrite(file);
  EXPECT_EQ(kEnd, buffer.overflow(kEnd)) << "nothing pending";
  EXPECT_EQ(1, buffer.overflow('a'));
  EXPECT_EQ("a", ReadWholeFile(file));
  buffer.sputn("bcd", 3);
  EXPECT_EQ(3, buffer.overflow(kEnd));
  EXPECT_EQ("abcd", ReadWholeFile(file));
  buffer.sputn("ef", 2);
  EXPECT_EQ(3, buffer.overflow(0xFF)) << "a byte like any other";
  EXPECT_EQ("abcdef\xFF", ReadWholeFile(file));
  const std::string full = Content(16383);
  EXPECT_EQ(16383, buffer.sputn(full.data(), 16383));
  EXPECT_EQ("abcdef\xFF", ReadWholeFile(file)) << "still pending";
  EXPECT_EQ(16384, buffer.overflow('z'));
  EXPECT_TRUE("abcdef\xFF" + full + "z" == ReadWholeFile(file));
  EXPECT_EQ(kEnd, buffer.overflow(kEnd)) << "all written";
}

TEST(FileStreamCompat, ABlockThatBeginsWithFFReadsAsTheEnd) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  WriteWholeFile(file, "\xFF\xFEt\x01");  // a byte order mark
  {
    SFile2IstreamAdapter in;
    in.open(file, 0);
    EXPECT_EQ(kEnd, in.get());
    EXPECT_TRUE(in.eof());
    in.clear();
    EXPECT_EQ("\xFF\xFEt\x01", Rest(in)) << "the block is there all the same";
  }
  {
    SFile2IstreamAdapter in;
    in.open(file, 0);
    char bytes[4] = {};
    in.read(bytes, 4);
    EXPECT_EQ(0, in.gcount());
    EXPECT_TRUE(in.eof() && in.fail());
  }
  // Also in the middle of a file, whatever the size of the pieces.
  std::string content = Content(5 * 16384 + 50);
  content[2 * 16384] = '\xFF';
  content[2 * 16384 + 1] = '\xFF';
  content[3 * 16384 + 5] = '\xFF';
  WriteWholeFile(file, content);
  for (const std::size_t piece : {1u, 1000u, 16384u, 50000u, 100000u}) {
    SCOPED_TRACE(piece);
    SFile2IstreamAdapter in;
    in.open(file, 0);
    std::string read;
    std::string block(piece, '\0');
    const auto readUpToTheEnd = [&] {
      read.clear();
      while (in.read(block.data(), static_cast<std::streamsize>(piece)) || in.gcount() > 0)
        read.append(block, 0, static_cast<std::size_t>(in.gcount()));
      in.clear();
    };
    readUpToTheEnd();
    EXPECT_TRUE(content.substr(0, 2 * 16384) == read) << read.size();
    EXPECT_TRUE(in.good()) << "the file goes on";
    readUpToTheEnd();
    EXPECT_TRUE(content.substr(2 * 16384) == read) << read.size();
  }
}

TEST(FileStreamCompat, TheFirstByteOfABlockIsSigned) {
  const TempDirectory directory;
  WriteWholeFile(directory / "file", "\xE9\xE9");
  OpenBuffer buffer;
  buffer.OpenRead(directory / "file");
  EXPECT_EQ(-23, buffer.underflow());
  SFile2IstreamAdapter in;
  in.open(directory / "file", 0);
  EXPECT_EQ(-23, in.peek());
  EXPECT_EQ(0xE9, in.peek()) << "the block is there now";
  EXPECT_EQ(0xE9, in.get());
  EXPECT_EQ(0xE9, in.get());
}

TEST(FileStreamCompat, AnInputStreamIsNotGoodOnceItsFileHasBeenRead) {
  const TempDirectory directory;
  const struct {
    std::size_t size;
    bool isGoodAfterTheFirstByte;
  } cases[] = {{1, false}, {16383, false}, {16384, true}, {16385, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    WriteWholeFile(directory / "file", Content(c.size));
    SFile2IstreamAdapter in;
    in.open(directory / "file", 0);
    EXPECT_TRUE(in.good());
    EXPECT_NE(kEnd, in.get());
    EXPECT_EQ(c.isGoodAfterTheFirstByte, in.good());
    EXPECT_TRUE(static_cast<std::istream&>(in).good()) << "the stream goes on";
    EXPECT_EQ(c.size - 1, Rest(in).size());
    EXPECT_FALSE(in.good());
  }
  WriteWholeFile(directory / "file", "");
  SFile2IstreamAdapter in;
  in.open(directory / "file", 0);
  EXPECT_TRUE(in.good()) << "an empty file has not been read yet";
  EXPECT_EQ(kEnd, in.get());
  EXPECT_FALSE(in.good());
}

TEST(FileStreamCompat, ClosingDropsWhatIsPending) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  {
    SFile2OstreamAdapter out;
    out.open(file, 0);
    out << Content(16384) << "pending";
    out.close();
    EXPECT_FALSE(out.good());
    EXPECT_EQ(16384u, SizeOf(file));
    out.close();
  }
  EXPECT_EQ(16384u, SizeOf(file)) << "nor does destruction write it";
  {
    SFile2OstreamAdapter out;
    out.open(file, 0);
    out << "pending";
    out.close();
    out.open(directory / "other", 0);
  }
  EXPECT_EQ("", ReadWholeFile(file));
  EXPECT_EQ("", ReadWholeFile(directory / "other")) << "nor does it get into the next file";
}

TEST(FileStreamCompat, TheModeIsIgnored) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  for (const int mode : {0, -1, static_cast<int>(std::ios::in), static_cast<int>(std::ios::app),
                         static_cast<int>(std::ios::out | std::ios::ate)}) {
    SCOPED_TRACE(mode);
    WriteWholeFile(file, "what was there before");
    {
      SFile2OstreamAdapter out;
      out.open(file, mode);
      EXPECT_TRUE(out.good());
      EXPECT_EQ(0u, SizeOf(file));
      out << "new\r\n";
    }
    SFile2IstreamAdapter in;
    in.open(file, mode);
    EXPECT_TRUE(in.good());
    EXPECT_EQ("new\r\n", Rest(in));
  }
}

// ---- files that are not there ----

TEST(FileStreams, WithoutAFileNothingIsReadOrWritten) {
  SFile2OstreamAdapter out;
  EXPECT_FALSE(out.good());
  EXPECT_TRUE(static_cast<std::ostream&>(out).good()) << "not tried yet";
  out << "text";
  EXPECT_TRUE(out.bad());
  out.close();
  const std::string large = Content(40000);
  EXPECT_EQ(0, out.rdbuf()->sputn(large.data(), 40000));

  SFile2IstreamAdapter in;
  EXPECT_FALSE(in.good());
  EXPECT_EQ(kEnd, in.get());
  in.close();
  std::string bytes(40000, 'x');
  EXPECT_EQ(0, in.rdbuf()->sgetn(bytes.data(), 40000));

  OpenBuffer buffer;
  EXPECT_FALSE(buffer.IsGood());
  EXPECT_EQ(kEnd, buffer.underflow());
  EXPECT_EQ(kEnd, buffer.overflow('x'));
  EXPECT_EQ(kEnd, buffer.overflow(kEnd));
  buffer.WritePending();
  buffer.Close();
}

TEST(FileStreams, WithoutABufferNothingHappens) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  SFile2OstreamAdapter out(nullptr);
  out.open(file, 0);
  EXPECT_FALSE(out.good());
  EXPECT_TRUE(out.bad());
  out << "text";
  out.close();
  EXPECT_FALSE(bix_test::Exists(file));
  SFile2IstreamAdapter in(nullptr);
  in.open("/dev/null", 0);
  EXPECT_FALSE(in.good());
  EXPECT_EQ(kEnd, in.get());
  in.close();
}

TEST(FileStreams, ABufferThatIsGivenIsUsedAndDeleted) {
  class Watched : public SFileStreamBuffer {
   public:
    explicit Watched(int& deletions) : m_deletions(deletions) {}
    ~Watched() override { ++m_deletions; }

   private:
    int& m_deletions;
  };
  const TempDirectory directory;
  int deletions = 0;
  {
    auto* const buffer = new Watched(deletions);
    SFile2OstreamAdapter out(buffer);
    EXPECT_EQ(buffer, out.rdbuf());
    out.open(directory / "file", 0);
    out << "text";
  }
  EXPECT_EQ(1, deletions);
  EXPECT_EQ("text", ReadWholeFile(directory / "file"));
  {
    SFile2IstreamAdapter in(new Watched(deletions));
    in.open(directory / "file", 0);
    EXPECT_EQ("text", Rest(in));
  }
  EXPECT_EQ(2, deletions);
}

TEST(FileStreams, AFileThatCannotBeOpenedIsNotGood) {
  const TempDirectory directory;
  errno = 0;
  SFile2IstreamAdapter in;
  in.open(directory / "missing", 0);
  EXPECT_EQ(ENOENT, errno);
  EXPECT_FALSE(in.good());
  EXPECT_TRUE(static_cast<std::istream&>(in).good()) << "the state of the stream is left alone";
  errno = 0;
  SFile2OstreamAdapter out;
  out.open(directory.Path(), 0);
  EXPECT_EQ(EISDIR, errno);
  EXPECT_FALSE(out.good());
}

// ---- one file after another ----

TEST(FileStreams, OpeningAgainEndsTheFileBefore) {
  const TempDirectory directory;
  {
    SFile2OstreamAdapter out;
    out.open(directory / "one", 0);
    out << "pending in one";
    out.open(directory / "two", 0);
    EXPECT_EQ("pending in one", ReadWholeFile(directory / "one"));
    out << "in two";
    out.open(directory / "missing/file", 0);
    EXPECT_FALSE(out.good());
    EXPECT_EQ("in two", ReadWholeFile(directory / "two"));
  }
  SFile2IstreamAdapter in;
  in.open(directory / "one", 0);
  EXPECT_EQ('p', in.get());
  in.open(directory / "two", 0);
  EXPECT_TRUE(in.good());
  EXPECT_EQ("in two", Rest(in)) << "nothing is left of the file before";
}

TEST(FileStreams, ABufferReadsOrWritesNeverBoth) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  WriteWholeFile(file, "content");
  OpenBuffer buffer;
  buffer.OpenRead(file);
  EXPECT_EQ(kEnd, buffer.sputc('x'));
  EXPECT_EQ(kEnd, buffer.overflow('x'));
  EXPECT_TRUE(buffer.IsGood());
  EXPECT_EQ('c', buffer.sgetc());
  EXPECT_EQ(kEnd, buffer.sputc('x'));
  buffer.OpenWrite(file);
  EXPECT_EQ('x', buffer.sputc('x'));
  EXPECT_EQ(kEnd, buffer.sgetc());
  EXPECT_EQ(kEnd, buffer.underflow());
  EXPECT_TRUE(buffer.IsGood());
  EXPECT_EQ('y', buffer.sputc('y'));
  buffer.WritePending();
  EXPECT_EQ("xy", ReadWholeFile(file));
  buffer.OpenRead(file);
  EXPECT_EQ('x', buffer.sbumpc());
  EXPECT_EQ(kEnd, buffer.sputc('z'));
  EXPECT_EQ('y', buffer.sbumpc());
}

TEST(FileStreams, NothingIsReadOrWrittenAfterClosing) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  SFile2OstreamAdapter out;
  out.open(file, 0);
  out << "text";
  out.close();
  EXPECT_EQ(kEnd, out.rdbuf()->sputc('x'));
  EXPECT_EQ(0, out.rdbuf()->sputn("yz", 2));
  WriteWholeFile(file, Content(40000));
  SFile2IstreamAdapter in;
  in.open(file, 0);
  std::string bytes(32768, '\0');
  in.read(bytes.data(), 20000);
  in.close();
  EXPECT_EQ(kEnd, in.rdbuf()->sbumpc());
  EXPECT_EQ(kEnd, in.rdbuf()->sungetc());
  in.open(file, 0);
  in.read(bytes.data(), 32768);
  in.close();
  EXPECT_EQ(kEnd, in.rdbuf()->sungetc());
}

TEST(FileStreams, DescriptorsGoWithTheFile) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  const std::set<int> before = OpenDescriptors();
  {
    SFile2OstreamAdapter out;
    out.open(file, 0);
    NewDescriptor(before);
    out.open(file, 0);
    NewDescriptor(before);
    out.close();
    EXPECT_EQ(before, OpenDescriptors());
    out.open(file, 0);
  }
  EXPECT_EQ(before, OpenDescriptors());
  {
    SFileStreamBuffer buffer;
    buffer.OpenRead(file);
    NewDescriptor(before);
  }
  EXPECT_EQ(before, OpenDescriptors());
}

TEST(FileStreams, DescriptorsStayInTheProcessAndTakeFilesOfAnySize) {
  constexpr int kLargeFile = 0100000;  // as the system tells, whatever the headers say
  const TempDirectory directory;
  const std::string file = directory / "file";
  const std::set<int> before = OpenDescriptors();
  {
    SFile2OstreamAdapter out;
    out.open(file, 0);
    const int fd = NewDescriptor(before);
    EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD));
    EXPECT_EQ(O_WRONLY | kLargeFile, fcntl(fd, F_GETFL));
  }
  // More than 32 bits can tell, without taking any room.
  ASSERT_EQ(0, truncate(file.c_str(), (off_t{5} << 30)));
  SFile2IstreamAdapter in;
  in.open(file, 0);
  ASSERT_TRUE(in.good());
  const int fd = NewDescriptor(before);
  EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD));
  EXPECT_EQ(O_RDONLY | kLargeFile, fcntl(fd, F_GETFL));
  EXPECT_EQ(0, in.get());
}

TEST(FileStreams, AdaptersCanBeBases) {
  class Counting : public SFile2OstreamAdapter {
   public:
    explicit Counting(const std::string& path) { open(path, 0); }
    Counting& Line(const char* text) {
      *this << ++m_lines << ' ' << text << '\n';
      return *this;
    }

   private:
    int m_lines = 0;
  };
  class Lines : public SFile2IstreamAdapter {
   public:
    explicit Lines(const std::string& path) { open(path, 0); }
    int Count() {
      int count = 0;
      for (std::string line; std::getline(*this, line);) ++count;
      return count;
    }
  };
  const TempDirectory directory;
  Counting(directory / "file").Line("one").Line("two");
  EXPECT_EQ("1 one\n2 two\n", ReadWholeFile(directory / "file"));
  EXPECT_EQ(2, Lines(directory / "file").Count());
  const std::unique_ptr<std::ostream> stream(new Counting(directory / "other"));
  *stream << "through the base";
}

// ---- pipes ----

TEST(FileStreams, ReadAndWritePipes) {
  const TempDirectory directory;
  const std::string pipe = directory / "pipe";
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  std::string content = Content(3 * 16384 + 10);
  content[16384] = '\xFF';
  // Held open, so that neither end waits for the other; the pipe takes all of it.
  const int holder = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(holder, 0);
  ASSERT_GE(fcntl(holder, F_SETPIPE_SZ, 1 << 17), 1 << 16);
  SFile2IstreamAdapter in;
  in.open(pipe, 0);
  {
    SFile2OstreamAdapter out;
    out.open(pipe, 0);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
  }
  close(holder);
  std::string bytes(100000, '\0');
  in.read(bytes.data(), 100000);
  EXPECT_TRUE(content.substr(0, 16384) == bytes.substr(0, static_cast<std::size_t>(in.gcount())));
  EXPECT_TRUE(in.good());
  in.clear();
  in.read(bytes.data(), 100000);
  EXPECT_TRUE(content.substr(16384) == bytes.substr(0, static_cast<std::size_t>(in.gcount())));
  EXPECT_FALSE(in.good());
}

// ---- full disks ----

TEST(FileStreamFaults, AWriteThatFailsShowsInTheStreamAndInTheFile) {
  for (const std::size_t piece : {1u, 1000u, 16384u, 40000u}) {
    SCOPED_TRACE(piece);
    SFile2OstreamAdapter out;
    out.open("/dev/full", 0);
    ASSERT_TRUE(out.good());
    const std::string content = Content(40000);
    for (std::size_t at = 0; at < content.size() && out; at += piece)
      out.write(content.data() + at,
                static_cast<std::streamsize>(std::min(piece, content.size() - at)));
    EXPECT_TRUE(out.bad());
    EXPECT_FALSE(out.good());
  }
}

TEST(FileStreamFaults, WhatIsLostAtTheEndIsLostInSilence) {
  SFile2OstreamAdapter out;
  out.open("/dev/full", 0);
  out << "pending";
  EXPECT_TRUE(out.good());
}

TEST(FileStreamFaults, AReadThatFailsShowsInTheFile) {
  const TempDirectory directory;
  SFile2IstreamAdapter in;
  in.open(directory.Path(), 0);
  EXPECT_TRUE(in.good());
  EXPECT_EQ(kEnd, in.get());
  EXPECT_FALSE(in.good());
}

/// Lets no file of this process grow beyond so many bytes.
class ScopedFileSizeLimit {
 public:
  explicit ScopedFileSizeLimit(rlim_t bytes) : m_handler(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &m_old);
    rlimit limit = m_old;
    limit.rlim_cur = bytes;
    EXPECT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
  }
  ScopedFileSizeLimit(const ScopedFileSizeLimit&) = delete;
  ScopedFileSizeLimit& operator=(const ScopedFileSizeLimit&) = delete;
  ~ScopedFileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &m_old);
    signal(SIGXFSZ, m_handler);
  }

 private:
  rlimit m_old;
  void (*m_handler)(int);
};

TEST(FileStreamFaultsCompat, AShortWriteDropsTheRestAndSucceeds) {
  const TempDirectory directory;
  const std::string file = directory / "file";
  const std::string content = Content(4 * 16384);
  for (const std::size_t piece : {1u, 1000u, 16384u, 65536u}) {
    SCOPED_TRACE(piece);
    const ScopedFileSizeLimit limit(2 * 16384 + 100);
    SFile2OstreamAdapter out;
    out.open(file, 0);
    // The third block is cut, the fourth refused at the byte that completes it.
    std::streamsize accepted = 0;
    for (std::size_t at = 0; at < content.size(); at += piece) {
      const std::size_t size = std::min(piece, content.size() - at);
      accepted += out.rdbuf()->sputn(content.data() + at, static_cast<std::streamsize>(size));
    }
    EXPECT_EQ(4 * 16384 - 1, accepted);
    EXPECT_FALSE(out.good());
    EXPECT_TRUE(content.substr(0, 2 * 16384 + 100) == ReadWholeFile(file));
  }
}

}  // namespace
