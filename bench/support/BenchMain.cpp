#include "BenchMain.h"

#include <benchmark/benchmark.h>

#include "BenchHome.h"

namespace bench {

int RunBenchmarks(int argc, char** argv) {
  Home();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace bench
