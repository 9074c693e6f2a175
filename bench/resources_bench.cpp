// String tables: filling one, and loading one text of it.

#include <cstddef>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bix/stringtable.h"

namespace {

/// The number of the i-th text: blocks of numbers with gaps between, as modules have them.
unsigned NumberOf(std::size_t i) { return static_cast<unsigned>(i + i / 100 * 900); }

std::vector<std::string> MakeTexts(std::size_t count) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < count; ++i)
    texts.push_back("Text number " + std::to_string(i) + " of '%1' cannot be read.");
  return texts;
}

HINSTANCE Module(long& anchor) { return reinterpret_cast<HINSTANCE>(&anchor); }

void Fill(benchmark::State& state) {
  const std::vector<std::string> texts = MakeTexts(static_cast<std::size_t>(state.range(0)));
  long anchor = 0;
  for (auto _ : state) {
    bix::SStringTable table(Module(anchor));
    for (std::size_t i = 0; i < texts.size(); ++i) table.Add(NumberOf(i), texts[i].c_str());
  }
}
BENCHMARK(Fill)->Name("resources/fill/bix")->Arg(10000)->Arg(100000);

void Load(benchmark::State& state) {
  const std::vector<std::string> texts = MakeTexts(static_cast<std::size_t>(state.range(0)));
  long anchor = 0;
  bix::SStringTable table(Module(anchor));
  for (std::size_t i = 0; i < texts.size(); ++i) table.Add(NumberOf(i), texts[i].c_str());
  // The same 512 texts, spread over the table, whatever its size: what grows is the table, not the
  // part of the processor's cache that the texts take.
  std::vector<std::size_t> asked;
  for (std::size_t i = 0; i < 512; ++i) asked.push_back(i * 7919 % texts.size());
  std::size_t next = 0;
  bix::SString text;
  for (auto _ : state) {
    const std::size_t i = asked[next++ % asked.size()];
    if (bix::BixLoadString(Module(anchor), NumberOf(i), text) == 0 || text != texts[i])
      state.SkipWithError("wrong text");
  }
}
BENCHMARK(Load)->Name("resources/load/bix")->Arg(1000)->Arg(100000);

}  // namespace
