// URNs: resolving and creating them with maps of different sizes, and building the map from its file.

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

#include "bix/pathname.h"
#include "bix/urn.h"
#include "support/scratch.h"

namespace {

using bix::SString;
using bix::SUrnResolver;

/// A home directory with a map file of so many entries, with the predefined ones.
class UrnHome {
 public:
  explicit UrnHome(int entries) {
    setenv("HOME", m_directory.Path().c_str(), 1);
    bix::SPathName shared(m_directory.Path().c_str());
    shared.AddPathElement("Kestrane/Shared");
    if (!shared.CreateDirectoryA()) throw std::runtime_error("cannot make the home directory");
    shared.AddPathElement("urnmap.txt");
    std::ofstream file(shared);
    constexpr int kPredefined = 6;
    for (int i = kPredefined; i < entries; ++i)
      file << "models" << i << ":/projects/site" << i % 100 << "/models/number" << i << "\n";
    file.close();
    SUrnResolver::RegisterURNsWithoutOptions();
  }

 private:
  bix_bench::ScratchDirectory m_directory;
};

void Resolve(benchmark::State& state) {
  const UrnHome home(static_cast<int>(state.range(0)));
  const SString urns[] = {"urn:qvuser:palettes/warm.pal", "urn:QvUserAddins:tools/measure.so",
                          "urn:qv:lib/icons/open.png", "urn:qvvornprojects:house/plan.x"};
  SString path;
  for (auto _ : state) {
    for (const SString& urn : urns) {
      if (!SUrnResolver::ResolveUrn(urn, path)) state.SkipWithError("not resolved");
      benchmark::DoNotOptimize(path.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * 4);
}

/// The same with the names of the file, which are long enough to be kept outside of the text object.
void ResolveAll(benchmark::State& state) {
  const int entries = static_cast<int>(state.range(0));
  const UrnHome home(entries);
  SString urns[4];
  for (int i = 0; i < 4; ++i)
    urns[i] = "urn:Models" + std::to_string(entries - 1 - i * (entries / 8)) + ":part/plan.x";
  SString path;
  for (auto _ : state) {
    for (const SString& urn : urns) {
      if (!SUrnResolver::ResolveUrn(urn, path)) state.SkipWithError("not resolved");
      benchmark::DoNotOptimize(path.data());
    }
  }
}

/// A path that no entry fits: all are looked at.
void Create(benchmark::State& state) {
  const UrnHome home(static_cast<int>(state.range(0)));
  const SString path = "/projects/site7/other/number7/plan.x";
  SString urn;
  for (auto _ : state) {
    SUrnResolver::CreateUrn(path, urn);
    benchmark::DoNotOptimize(urn.data());
  }
  if (urn != path) state.SkipWithError("an entry fits");
}

void CreateRelative(benchmark::State& state) {
  const UrnHome home(static_cast<int>(state.range(0)));
  const SString path = "other/number7/plan.x";
  SString urn;
  for (auto _ : state) {
    SUrnResolver::CreateUrn(path, urn);
    benchmark::DoNotOptimize(urn.data());
  }
  if (urn != path) state.SkipWithError("an entry fits");
}

void Rebuild(benchmark::State& state) {
  const UrnHome home(static_cast<int>(state.range(0)));
  for (auto _ : state) SUrnResolver::RegisterURNsWithoutOptions();
}

BENCHMARK(Resolve)->Name("urn/resolve_4/predefined")->Arg(6)->Arg(1000)->Arg(10000);
BENCHMARK(ResolveAll)->Name("urn/resolve_4/of_the_file")->Arg(14)->Arg(1000);
BENCHMARK(Create)->Name("urn/create")->Arg(1000)->Arg(10000);
BENCHMARK(CreateRelative)->Name("urn/create_relative")->Arg(1000);
BENCHMARK(Rebuild)->Name("urn/build_map")->Arg(1000)->Arg(10000);

}  // namespace
