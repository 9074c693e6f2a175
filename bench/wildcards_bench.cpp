// Wildcards, beside fnmatch().

#include <benchmark/benchmark.h>

#include <string>

#include <fnmatch.h>

#include "bix/diagnostics.h"

namespace {

void MatchBix(benchmark::State& state, const std::string& text, const std::string& pattern) {
  for (auto _ : state) {
    const char* name = text.c_str();
    benchmark::DoNotOptimize(name);
    benchmark::DoNotOptimize(zq_wildmat(name, pattern.c_str()));
  }
}

void MatchFnmatch(benchmark::State& state, const std::string& text, const std::string& pattern) {
  for (auto _ : state) {
    const char* name = text.c_str();
    benchmark::DoNotOptimize(name);
    benchmark::DoNotOptimize(fnmatch(pattern.c_str(), name, 0));
  }
}

const bool g_registered = [] {
  const auto add = [](const std::string& kind, const std::string& text,
                      const std::string& pattern) {
    const std::string prefix = "wildcards/" + kind + "/";
    benchmark::RegisterBenchmark((prefix + "bix").c_str(), MatchBix, text, pattern);
    benchmark::RegisterBenchmark((prefix + "fnmatch").c_str(), MatchFnmatch, text, pattern);
  };
  add("suffix", "some_source_file.cpp", "*.cpp");
  add("prefix", "some_source_file.cpp", "some_*");
  add("class", "model_042.tot", "model_[0-9][0-9][0-9].t?t");
  add("middle", "libmodel_base.so.10", "lib*_base.so*");
  std::string text, stars;
  for (int i = 0; i < 30; ++i) {
    text += "ax";
    stars += "*x";
  }
  add("stars", text, stars);
  // Tried at every place by a matcher that goes back to all of its stars.
  const std::string hopeless = "*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*ab";
  for (const int length : {1000, 10000})
    benchmark::RegisterBenchmark(("wildcards/hopeless/" + std::to_string(length)).c_str(), MatchBix,
                                 std::string(static_cast<std::size_t>(length), 'a'), hopeless);
  return true;
}();

}  // namespace
