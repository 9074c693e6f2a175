// Runs the benchmarks. Nothing that is measured finds the real home directory.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include "support/scratch.h"

int main(int argc, char** argv) {
  const bix_bench::ScratchDirectory home;
  setenv("HOME", home.Path().c_str(), 1);
  setenv("XDG_CONFIG_HOME", home.Path().c_str(), 1);
  setenv("XDG_CONFIG_DIRS", home.Path().c_str(), 1);

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
