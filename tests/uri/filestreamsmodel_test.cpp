// The stream buffer beside a plain one that does block by block what is said of it.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <istream>
#include <random>
#include <streambuf>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "bix/filestreams.h"
#include "support/temp_directory.h"

namespace {

constexpr int kEnd = std::char_traits<char>::eof();

/// Reads and writes by way of one block only, with the standard xsgetn() and xsputn().
class PlainBuffer : public std::streambuf {
 public:
  PlainBuffer(const std::string& path, const char* mode) : m_file(std::fopen(path.c_str(), mode)) {
    if (*mode == 'w') setp(m_block, m_block + sizeof m_block - 1);
  }
  ~PlainBuffer() override {
    if (pbase() != nullptr) std::fwrite(pbase(), 1, Pending(), m_file);
    std::fclose(m_file);
  }
  bool IsGood() const { return std::feof(m_file) == 0 && std::ferror(m_file) == 0; }

 protected:
  int overflow(int c) override {
    if (c != kEnd) {
      *pptr() = static_cast<char>(c);
      pbump(1);
    }
    const std::size_t written = std::fwrite(pbase(), 1, Pending(), m_file);
    std::fflush(m_file);
    setp(m_block, m_block + sizeof m_block - 1);
    return written < 1 ? kEnd : static_cast<int>(written);
  }
  int underflow() override {
    const std::size_t count = std::fread(m_block, 1, sizeof m_block, m_file);
    if (count < 1) return kEnd;
    setg(m_block, m_block, m_block + count);
    return static_cast<signed char>(m_block[0]);
  }

 private:
  std::size_t Pending() const { return static_cast<std::size_t>(pptr() - pbase()); }

  std::FILE* m_file;
  char m_block[16384];
};

class Random {
 public:
  explicit Random(unsigned seed) : m_engine(seed) {}
  std::size_t Below(std::size_t limit) { return m_engine() % limit; }
  /// Small ones, ones around whole blocks, large ones.
  std::size_t Size() {
    switch (Below(4)) {
      case 0:
        return Below(100);
      case 1:
        return 16384 * Below(4) + Below(3);
      case 2:
        return 16384 * (1 + Below(3)) - Below(3);
      default:
        return Below(60000);
    }
  }
  char Byte() { return static_cast<char>(m_engine()); }
  void Fill(std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += 4) {
      const auto four = static_cast<std::uint32_t>(m_engine());
      std::memcpy(&bytes[at], &four, std::min<std::size_t>(4, bytes.size() - at));
    }
  }

 private:
  std::mt19937 m_engine;
};

std::string MakeContent(Random& random) {
  std::string content(random.Below(12) * 16384 + (random.Below(2) != 0 ? random.Below(16384) : 0),
                      '\0');
  random.Fill(content);
  // A third of the blocks would read as the end.
  for (std::size_t at = 0; at < content.size(); at += 16384)
    if (random.Below(3) == 0) content[at] = '\xFF';
  return content;
}

/// Does one thing with a stream and tells all that can be seen of it.
std::string Step(std::istream& stream, std::size_t operation, std::size_t size) {
  std::string seen;
  switch (operation) {
    case 0:
    case 1:
    case 2:
      seen.resize(size);
      stream.read(seen.data(), static_cast<std::streamsize>(size));
      seen.resize(static_cast<std::size_t>(stream.gcount()));
      break;
    case 3:
      seen = std::to_string(stream.get());
      break;
    case 4:
      seen = std::to_string(stream.peek());
      break;
    case 5:
      stream.unget();
      break;
    case 6:
      for (std::size_t i = 0; i < size % 20000 && stream.unget(); ++i) seen = std::to_string(i);
      break;
    case 7:
      stream.ignore(static_cast<std::streamsize>(size));
      break;
    case 8:
      std::getline(stream, seen);
      break;
    default:
      stream.clear();
  }
  return seen + " state " + std::to_string(stream.rdstate()) + " available " +
         std::to_string(stream.rdbuf()->in_avail());
}

TEST(FileStreamsModel, AgreesWithBlockByBlock) {
  const bix_test::TempDirectory directory;
  const std::string file = directory / "file";
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    bix_test::WriteWholeFile(file, MakeContent(random));
    bix::SFile2IstreamAdapter stream;
    stream.open(file, 0);
    PlainBuffer plainBuffer(file, "r");
    std::istream plain(&plainBuffer);
    for (int i = 0; i < 60; ++i) {
      if (!plain && random.Below(3) != 0) {
        plain.clear();
        stream.clear();
      }
      const std::size_t operation = random.Below(10);
      const std::size_t size = random.Size();
      ASSERT_TRUE(Step(plain, operation, size) == Step(stream, operation, size))
          << "step " << i << ": operation " << operation << " of " << size;
      ASSERT_EQ(plainBuffer.IsGood(), stream.good()) << "step " << i;
    }
  }
}

/// The content of a file, read at once.
std::string Whole(const std::string& path) {
  std::string content(std::filesystem::file_size(path), '\0');
  std::ifstream(path).read(content.data(), static_cast<std::streamsize>(content.size()));
  return content;
}

TEST(FileStreamsModel, WritesWhatBlockByBlockWrites) {
  const bix_test::TempDirectory directory;
  for (unsigned seed = 0; seed < 15; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const auto size = [&directory](const char* name) {
      struct stat status;
      return stat((directory / name).c_str(), &status) == 0 ? status.st_size : -1;
    };
    {
      bix::SFile2OstreamAdapter stream;
      stream.open(directory / "stream", 0);
      PlainBuffer plain(directory / "plain", "w");
      for (int i = 0; i < 40; ++i) {
        const std::string bytes(random.Size(), random.Byte());
        const auto count = static_cast<std::streamsize>(bytes.size());
        if (random.Below(4) == 0) {
          const char byte = random.Byte();
          ASSERT_EQ(plain.sputc(byte), stream.rdbuf()->sputc(byte));
        }
        ASSERT_EQ(plain.sputn(bytes.data(), count), stream.rdbuf()->sputn(bytes.data(), count));
        ASSERT_EQ(size("plain"), size("stream")) << "step " << i;
      }
    }
    ASSERT_TRUE(Whole(directory / "plain") == Whole(directory / "stream"));
    // Some file systems bring to the disk at once what is written over an older content.
    std::filesystem::remove(directory / "plain");
    std::filesystem::remove(directory / "stream");
  }
}

}  // namespace
