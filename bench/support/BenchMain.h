// The main of every Google Benchmark program here: the home folder first, then
// the benchmarks registered so far, with Google Benchmark's command line.
#pragma once

namespace bench {

// [main thread]
int RunBenchmarks(int argc, char** argv);

}  // namespace bench
