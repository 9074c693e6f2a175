// Settings trees and files beside GLib's key file: load, look up, save.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <glib.h>

#include "bix/registry.h"
#include "support/data.h"
#include "support/scratch.h"

namespace {

using bix_bench::Document;

/// `values` values in sections three deep with a hundred values each.
Document MakeSections(std::size_t values) {
  constexpr std::size_t kValuesPerSection = 100;
  Document document = bix_bench::MakeDocument(values / kValuesPerSection, kValuesPerSection);
  for (auto& section : document.sections) section.path = "Suite/" + section.path;
  return document;
}

Document MakeOneSection(std::size_t values) { return bix_bench::MakeDocument(1, values); }

using Make = Document (*)(std::size_t);

void Need(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

/// The processor time of this process. A load waits for nothing, so on a busy machine the clock on
/// the wall would only tell what else was going on.
double ProcessorSeconds() {
  timespec now;
  Need(clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now) == 0, "no processor time");
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Has the heap merge the many small pieces that the tree just released leaves behind. It puts that
/// off until somebody asks for a large one, which would be the next load. It is a part of releasing,
/// which is not timed, for either library; a tool that loads again pays it all the same. The pieces of
/// a small tree are better left as they are: the next one takes them again at once.
void MergeFreedPieces() {
  constexpr std::size_t kLarge = std::size_t{64} << 10;
  void* large = std::malloc(kLarge);
  benchmark::DoNotOptimize(large);
  std::free(large);
}

constexpr std::int64_t kManyValues = 10000;

/// Loads again and again; what was loaded is released outside of the time taken. Stopping and
/// resuming the clock of the state would cost as much as a small load.
template <class Load, class Release>
void TimeLoad(benchmark::State& state, Load load, Release release) {
  for (auto _ : state) {
    const double start = ProcessorSeconds();
    auto* settings = load();
    state.SetIterationTime(ProcessorSeconds() - start);
    release(settings);
    if (state.range(0) >= kManyValues) MergeFreedPieces();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void LoadBix(benchmark::State& state, Make make) {
  const bix_bench::ScratchFile file(
      bix_bench::AsSettings(make(static_cast<std::size_t>(state.range(0)))));
  TimeLoad(
      state,
      [&] {
        auto* settings = new bix::CRgFile(nullptr);
        Need(settings->Load(file.Path().c_str()) == 0, "the settings do not load");
        return settings;
      },
      [](bix::CRgFile* settings) { delete settings; });
}

void LoadGlib(benchmark::State& state, Make make) {
  const bix_bench::ScratchFile file(
      bix_bench::AsIni(make(static_cast<std::size_t>(state.range(0)))));
  TimeLoad(
      state,
      [&] {
        GKeyFile* settings = g_key_file_new();
        Need(
            g_key_file_load_from_file(settings, file.Path().c_str(), G_KEY_FILE_NONE, nullptr) != 0,
            "the key file does not load");
        return settings;
      },
      g_key_file_free);
}

/// Section path and value name of every value, in no order.
std::vector<std::pair<std::string, std::string>> MakeQueries(const Document& document) {
  std::vector<std::pair<std::string, std::string>> queries;
  for (const auto& section : document.sections)
    for (const auto& value : section.values) queries.emplace_back(section.path, value.name);
  std::shuffle(queries.begin(), queries.end(), std::mt19937(20240229));
  return queries;
}

void LookupBix(benchmark::State& state) {
  const Document document = MakeSections(static_cast<std::size_t>(state.range(0)));
  const bix_bench::ScratchFile file(bix_bench::AsSettings(document));
  const auto queries = MakeQueries(document);
  bix::CRgFile settings(nullptr);
  Need(settings.Load(file.Path().c_str()) == 0, "the settings do not load");
  std::size_t next = 0;
  for (auto _ : state) {
    const auto& [path, name] = queries[next];
    const char* text = settings.GetValue(path.c_str(), name.c_str());
    benchmark::DoNotOptimize(text);
    if (++next == queries.size()) next = 0;
  }
}

void LookupGlib(benchmark::State& state) {
  const Document document = MakeSections(static_cast<std::size_t>(state.range(0)));
  const bix_bench::ScratchFile file(bix_bench::AsIni(document));
  const auto queries = MakeQueries(document);
  GKeyFile* settings = g_key_file_new();
  Need(g_key_file_load_from_file(settings, file.Path().c_str(), G_KEY_FILE_NONE, nullptr) != 0,
       "the key file does not load");
  std::size_t next = 0;
  for (auto _ : state) {
    const auto& [path, name] = queries[next];
    char* text = g_key_file_get_string(settings, path.c_str(), name.c_str(), nullptr);
    benchmark::DoNotOptimize(text);
    g_free(text);
    if (++next == queries.size()) next = 0;
  }
  g_key_file_free(settings);
}

void SaveBix(benchmark::State& state) {
  const bix_bench::ScratchFile file(
      bix_bench::AsSettings(MakeSections(static_cast<std::size_t>(state.range(0)))));
  bix::CRgFile settings(nullptr);
  Need(settings.Load(file.Path().c_str()) == 0, "the settings do not load");
  for (auto _ : state) Need(settings.Save(nullptr) == 0, "the settings are not saved");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void SaveGlib(benchmark::State& state) {
  const bix_bench::ScratchFile file(
      bix_bench::AsIni(MakeSections(static_cast<std::size_t>(state.range(0)))));
  GKeyFile* settings = g_key_file_new();
  Need(g_key_file_load_from_file(settings, file.Path().c_str(), G_KEY_FILE_NONE, nullptr) != 0,
       "the key file does not load");
  for (auto _ : state)
    Need(g_key_file_save_to_file(settings, file.Path().c_str(), nullptr) != 0,
         "the key file is not saved");
  g_key_file_free(settings);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK_CAPTURE(LoadBix, sections, MakeSections)
    ->Name("registry/load/bix")
    ->UseManualTime()
    ->RangeMultiplier(10)
    ->Range(1000, 1000000);
BENCHMARK_CAPTURE(LoadGlib, sections, MakeSections)
    ->Name("registry/load/glib")
    ->UseManualTime()
    ->RangeMultiplier(10)
    ->Range(1000, 1000000);
BENCHMARK_CAPTURE(LoadBix, one, MakeOneSection)
    ->Name("registry/load_one_section/bix")
    ->UseManualTime()
    ->Arg(100)
    ->Arg(10000)
    ->Arg(100000);
BENCHMARK_CAPTURE(LoadGlib, one, MakeOneSection)
    ->Name("registry/load_one_section/glib")
    ->UseManualTime()
    ->Arg(100)
    ->Arg(10000)
    ->Arg(100000);
BENCHMARK(LookupBix)->Name("registry/lookup/bix")->Arg(100000);
BENCHMARK(LookupGlib)->Name("registry/lookup/glib")->Arg(100000);
BENCHMARK(SaveBix)->Name("registry/save/bix")->Arg(10000)->Arg(100000);
BENCHMARK(SaveGlib)->Name("registry/save/glib")->Arg(10000)->Arg(100000);

}  // namespace
