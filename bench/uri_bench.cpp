// Files through the one entry point for locations, beside the file streams of the standard library:
// files of 256 MiB are written and read, in pieces of so many bytes, in the page cache. How fast the
// system finds memory for a file varies from one to the next, so three make up a measurement.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <istream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>

#include "bix/urischeme.h"
#include "support/scratch.h"

namespace {

constexpr std::size_t kSize = std::size_t{256} << 20;
constexpr int kFiles = 3;

void Need(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

std::unique_ptr<std::ostream> OpenWriteBix(const std::string& file) {
  bix::SVector<bix::SString> errors;
  return std::unique_ptr<std::ostream>(bix::SUri.OpenWrite(errors, file));
}

std::unique_ptr<std::ostream> OpenWriteFstream(const std::string& file) {
  return std::make_unique<std::ofstream>(file);
}

std::unique_ptr<std::istream> OpenReadBix(const std::string& file) {
  bix::SVector<bix::SString> errors;
  return std::unique_ptr<std::istream>(bix::SUri.OpenRead(errors, file));
}

std::unique_ptr<std::istream> OpenReadFstream(const std::string& file) {
  return std::make_unique<std::ifstream>(file);
}

void WriteAll(std::unique_ptr<std::ostream> stream, const std::string& piece) {
  Need(stream != nullptr, "the file is not opened for writing");
  for (std::size_t written = 0; written < kSize; written += piece.size())
    stream->write(piece.data(), static_cast<std::streamsize>(piece.size()));
  Need(!stream->fail(), "the file is not written");
}

void Write(benchmark::State& state, std::unique_ptr<std::ostream> (*open)(const std::string&)) {
  const bix_bench::ScratchDirectory directory;
  const std::string file = directory.Path() + "/file";
  const std::string piece(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state)
    for (int i = 0; i < kFiles; ++i) WriteAll(open(file), piece);
  state.SetBytesProcessed(state.iterations() * kFiles * static_cast<std::int64_t>(kSize));
}

void ReadAll(std::unique_ptr<std::istream> stream, std::string& piece) {
  Need(stream != nullptr, "the file is not opened for reading");
  std::size_t read = 0;
  while (stream->read(piece.data(), static_cast<std::streamsize>(piece.size())))
    read += piece.size();
  Need(read == kSize, "the file is not read");
}

void Read(benchmark::State& state, std::unique_ptr<std::istream> (*open)(const std::string&)) {
  const bix_bench::ScratchDirectory directory;
  const std::string file = directory.Path() + "/file";
  std::string piece(static_cast<std::size_t>(state.range(0)), 'x');
  WriteAll(OpenWriteFstream(file), piece);
  for (auto _ : state)
    for (int i = 0; i < kFiles; ++i) ReadAll(open(file), piece);
  state.SetBytesProcessed(state.iterations() * kFiles * static_cast<std::int64_t>(kSize));
}

// Few bytes, less than a block, several blocks.
void Pieces(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(64)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(Write, bix, OpenWriteBix)->Name("uri/write/bix")->Apply(Pieces);
BENCHMARK_CAPTURE(Write, fstream, OpenWriteFstream)->Name("uri/write/fstream")->Apply(Pieces);
BENCHMARK_CAPTURE(Read, bix, OpenReadBix)->Name("uri/read/bix")->Apply(Pieces);
BENCHMARK_CAPTURE(Read, fstream, OpenReadFstream)->Name("uri/read/fstream")->Apply(Pieces);

}  // namespace
