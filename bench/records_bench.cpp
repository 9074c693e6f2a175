// Identifiers, and visit markers beside the hash set of the C++ standard library.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <unordered_set>
#include <vector>

#include "bix/identifiers.h"
#include "bix/mapmarker.h"

namespace {

void CreateIdentifier(benchmark::State& state) {
  bix::SString id;
  for (auto _ : state) {
    bix::BixCreateGuid(id);
    benchmark::DoNotOptimize(id);
  }
}

struct Object {
  char bytes[48];
};

void MarkBix(benchmark::State& state) {
  const std::vector<Object> objects(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    bix::SMapMarker marker;
    std::size_t seen = 0;
    for (int visit = 0; visit < 2; ++visit)
      for (const Object& object : objects) seen += marker.Mark(&object) ? 1 : 0;
    benchmark::DoNotOptimize(seen);
  }
}

void MarkStandard(benchmark::State& state) {
  const std::vector<Object> objects(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::unordered_set<const void*> marked;
    std::size_t seen = 0;
    for (int visit = 0; visit < 2; ++visit)
      for (const Object& object : objects) seen += marked.insert(&object).second ? 0 : 1;
    benchmark::DoNotOptimize(seen);
  }
}

BENCHMARK(CreateIdentifier)->Name("records/identifier/bix");
BENCHMARK(MarkBix)->Name("records/mark/bix")->Arg(100000)->Arg(1000000)->Arg(4000000);
BENCHMARK(MarkStandard)->Name("records/mark/unordered_set")->Arg(100000)->Arg(1000000);

}  // namespace
