// Path names: bringing text of 8, 80 and 800 components into normal form, and making one path
// relative to another.
//
// A path name takes text of less than 1024 bytes. The longest text is therefore not assigned to a
// path but appended to an empty one, which copies and canonicalises it alike and has no limit.

#include <cstdlib>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <glib.h>

#include "bix/pathname.h"

namespace {

enum class Steps { kNone, kSome };

/// "/name0/name1/..." of so many components; with steps, every eighth is "." and every eighth "..".
std::string MakePath(int components, Steps steps, const char* stem = "name") {
  std::string path;
  for (int i = 0; i < components; ++i) {
    path += '/';
    if (steps == Steps::kSome && i % 8 == 2)
      path += '.';
    else if (steps == Steps::kSome && i % 8 == 5)
      path += "..";
    else
      path.append(stem) += static_cast<char>('0' + i % 10);
  }
  return path;
}

void CheckAgainstGlib(benchmark::State& state, const std::string& text, const std::string& result) {
  char* const theirs = g_canonicalize_filename(text.c_str(), "/");
  if (result != theirs) state.SkipWithError("the results differ");
  g_free(theirs);
}

void Normalize(benchmark::State& state, Steps steps) {
  const std::string text = MakePath(static_cast<int>(state.range(0)), steps);
  const bool isLong = text.size() >= 1024;
  if (isLong) {
    bix::SPathName path;
    path.AddPathElement(text.c_str());
    CheckAgainstGlib(state, text, path);
    for (auto _ : state) {
      bix::SPathName fresh;
      fresh.AddPathElement(text.c_str());
      benchmark::DoNotOptimize(fresh.data());
    }
    return;
  }
  CheckAgainstGlib(state, text, bix::SPathName(text.c_str()));
  for (auto _ : state) {
    const bix::SPathName path(text.c_str());
    benchmark::DoNotOptimize(path.data());
  }
}
BENCHMARK_CAPTURE(Normalize, plain, Steps::kNone)
    ->Name("paths/normalize/plain/bix")
    ->Arg(8)
    ->Arg(80)
    ->Arg(800);
BENCHMARK_CAPTURE(Normalize, steps, Steps::kSome)
    ->Name("paths/normalize/steps/bix")
    ->Arg(8)
    ->Arg(80)
    ->Arg(800);

void NormalizeGlib(benchmark::State& state, Steps steps) {
  const std::string text = MakePath(static_cast<int>(state.range(0)), steps);
  for (auto _ : state) {
    char* const path = g_canonicalize_filename(text.c_str(), "/");
    benchmark::DoNotOptimize(path);
    g_free(path);
  }
}
BENCHMARK_CAPTURE(NormalizeGlib, plain, Steps::kNone)
    ->Name("paths/normalize/plain/glib")
    ->Arg(8)
    ->Arg(80)
    ->Arg(800);
BENCHMARK_CAPTURE(NormalizeGlib, steps, Steps::kSome)
    ->Name("paths/normalize/steps/glib")
    ->Arg(8)
    ->Arg(80)
    ->Arg(800);

/// What one would write by hand: the common start, a step up for each directory left, the rest.
std::string RelativeByHand(const char* targetText, const char* baseText) {
  const std::string_view target(targetText);
  const std::string_view base(baseText);
  std::size_t start = 0;
  for (std::size_t i = 0; i < target.size() && i < base.size() && target[i] == base[i]; ++i) {
    if (target[i] == '/') start = i + 1;
  }
  std::string result;
  for (std::size_t i = start; i < base.size(); ++i) {
    if (base[i] == '/') result += "../";
  }
  result.append(target.substr(start));
  return result;
}

// The first half in common.
struct Pair {
  explicit Pair(int components)
      : target(MakePath(components / 2, Steps::kNone) +
               MakePath(components / 2, Steps::kNone, "t")),
        base(MakePath(components / 2, Steps::kNone) + MakePath(components / 2, Steps::kNone, "b")) {
  }
  std::string target;
  std::string base;
};

void Relative(benchmark::State& state) {
  const Pair pair(static_cast<int>(state.range(0)));
  char* const result = get_rel_path(pair.target.c_str(), pair.base.c_str());
  if (RelativeByHand(pair.target.c_str(), pair.base.c_str()) != result)
    state.SkipWithError("the results differ");
  std::free(result);
  for (auto _ : state) {
    char* const path = get_rel_path(pair.target.c_str(), pair.base.c_str());
    benchmark::DoNotOptimize(path);
    std::free(path);
  }
}
BENCHMARK(Relative)->Name("paths/relative/bix")->Arg(8)->Arg(80)->Arg(800);

void RelativeByHandAlone(benchmark::State& state) {
  const Pair pair(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const std::string path = RelativeByHand(pair.target.c_str(), pair.base.c_str());
    benchmark::DoNotOptimize(path.data());
  }
}
BENCHMARK(RelativeByHandAlone)->Name("paths/relative/by_hand")->Arg(8)->Arg(80)->Arg(800);

}  // namespace
