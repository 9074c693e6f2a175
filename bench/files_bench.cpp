// Glob filters against names, beside fnmatch(), and listings of directories, beside glob() alone.

#include <clocale>
#include <cstddef>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fnmatch.h>
#include <glob.h>

#include "bix/fileitem.h"
#include "bix/globfilter.h"
#include "support/scratch.h"

namespace {

constexpr std::size_t kNames = 1024;

/// File names of different lengths, every fourth with the suffix that is asked for.
std::vector<std::string> MakeNames() {
  static constexpr const char* kSuffixes[] = {".tot", ".txt", ".model", ""};
  std::vector<std::string> names;
  for (std::size_t i = 0; i < kNames; ++i)
    names.push_back("name-" + std::string(i % 13, 'x') + std::to_string(i) + kSuffixes[i % 4]);
  return names;
}

bool MatchBix(const char* filter, const char* name) {
  bix::SString error;
  return bix::BixGlob::IsAMatch(filter, name, error);
}

bool MatchFnmatch(const char* filter, const char* name) { return fnmatch(filter, name, 0) == 0; }

/// Each iteration asks for one name. Names are UTF-8, for the C library, too.
void Match(benchmark::State& state, bool (*match)(const char*, const char*), const char* filter) {
  const std::string locale = std::setlocale(LC_CTYPE, nullptr);
  std::setlocale(LC_CTYPE, "C.UTF-8");
  const std::vector<std::string> names = MakeNames();
  for (const std::string& name : names) {
    if (match(filter, name.c_str()) != MatchFnmatch(filter, name.c_str()))
      state.SkipWithError("the results differ");
  }
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(match(filter, names[next].c_str()));
    next = (next + 1) % kNames;
  }
  std::setlocale(LC_CTYPE, locale.c_str());
}
BENCHMARK_CAPTURE(Match, suffix, MatchBix, "*.tot")->Name("files/filter/suffix/bix");
BENCHMARK_CAPTURE(Match, suffix, MatchFnmatch, "*.tot")->Name("files/filter/suffix/fnmatch");
BENCHMARK_CAPTURE(Match, middle, MatchBix, "name*x*.t*")->Name("files/filter/middle/bix");
BENCHMARK_CAPTURE(Match, middle, MatchFnmatch, "name*x*.t*")->Name("files/filter/middle/fnmatch");

/// A dialog asks for each name whether one of some filters matches: no filter repeats at once.
void FiltersInTurn(benchmark::State& state) {
  static constexpr const char* kFilters[] = {"*.tot", "*.txt", "*.model", "name*"};
  const std::vector<std::string> names = MakeNames();
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(MatchBix(kFilters[next % 4], names[next].c_str()));
    next = (next + 1) % kNames;
  }
}
BENCHMARK(FiltersInTurn)->Name("files/filter/in_turn/bix");

/// Names of 60 characters at which an engine that backtracks tries for long.
void Stars(benchmark::State& state, const std::string& name, bool expected) {
  for (auto _ : state) {
    if (MatchBix("*a*a*a*a*a*b", name.c_str()) != expected) state.SkipWithError("wrong answer");
  }
}
BENCHMARK_CAPTURE(Stars, no_match, std::string(60, 'a'), false)
    ->Name("files/filter/stars/no_match/bix");
BENCHMARK_CAPTURE(Stars, match, std::string(59, 'a') + "b", true)
    ->Name("files/filter/stars/match/bix");
BENCHMARK_CAPTURE(Stars, nearly, "aaaa" + std::string(55, 'x') + "b", false)
    ->Name("files/filter/stars/nearly/bix");

/// Filters of 30 repetitions, at which an engine that backtracks tries for ever. A line feed that is
/// repeated leaves them to the engine all the same.
void Repetitions(benchmark::State& state, const std::string& start) {
  std::string filter = start;
  for (int i = 0; i < 30; ++i) filter += "*a{1,}";
  filter += "b";
  const std::string name = (start.empty() ? "" : "\n") + std::string(60, 'a') + "b";
  for (auto _ : state) benchmark::DoNotOptimize(MatchBix(filter.c_str(), name.c_str()));
}
BENCHMARK_CAPTURE(Repetitions, own, "")
    ->Name("files/filter/repetitions/bix")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Repetitions, endless, "\n{1}")
    ->Name("files/filter/endless/bix")
    ->Unit(benchmark::kMillisecond);

/// A directory with so many files, made at the first use.
const std::string& DirectoryOf(std::size_t count) {
  static std::map<std::size_t, bix_bench::ScratchDirectory> directories;
  const bool isNew = directories.find(count) == directories.end();
  const std::string& path = directories[count].Path();
  for (std::size_t i = 0; isNew && i < count; ++i)
    std::ofstream(path + "/entry-" + std::to_string(i * 7919 % count) + ".tot");
  return path;
}

void List(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const bix::SPathName pattern((DirectoryOf(count) + "/*.tot").c_str());
  std::vector<bix::BixFileItem> items;
  for (auto _ : state) {
    items.clear();
    bix::BixFileItem::GetFiles(pattern, items);
    if (items.size() != count) state.SkipWithError("the results differ");
  }
}
BENCHMARK(List)->Name("files/list/bix")->Arg(100)->Arg(10000)->Arg(100000);

void ListGlob(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const std::string pattern = DirectoryOf(count) + "/*.tot";
  for (auto _ : state) {
    glob_t matches{};
    glob(pattern.c_str(), GLOB_ERR, nullptr, &matches);
    if (matches.gl_pathc != count) state.SkipWithError("the results differ");
    globfree(&matches);
  }
}
BENCHMARK(ListGlob)->Name("files/list/glob")->Arg(100)->Arg(10000)->Arg(100000);

/// A list that has all of it already.
void ListAgain(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const bix::SPathName pattern((DirectoryOf(count) + "/*.tot").c_str());
  std::vector<bix::BixFileItem> items;
  bix::BixFileItem::GetFiles(pattern, items);
  for (auto _ : state) {
    bix::BixFileItem::GetFiles(pattern, items);
    if (items.size() != count) state.SkipWithError("the results differ");
  }
}
BENCHMARK(ListAgain)->Name("files/list_again/bix")->Arg(10000)->Arg(100000);

}  // namespace
