// Render cost per block: Veneer with the stand-in as its inner unit, the same
// stand-in hosted directly, and the floor of the two block copies the shell
// adds (its pull into its own buffers, the inner unit's input callback); the
// host's bypass against one block copy.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

#include "harness/ObservedVeneer.h"
#include "standin/Unit.h"
#include "support/BenchHome.h"
#include "support/BenchMain.h"
#include "support/Blocks.h"
#include "support/HostedUnit.h"

namespace {

constexpr int kWarmUpBlocks = 8;

void BlockArguments(benchmark::internal::Benchmark* family) {
  family->ArgsProduct({{32, 64, 128, 512, 1024, 4096}, {1, 2}})->ArgNames({"frames", "ch"});
}

// [main thread] Runs the first blocks (the shell logs its first renders) and
// checks that the unit renders what it should; false skips the benchmark.
bool Ready(benchmark::State& state, bench::HostedUnit& unit, UInt32 frames, float gain) {
  if (unit.Status() != noErr) {
    state.SkipWithError("the unit did not open and initialise");
    return false;
  }
  for (int i = 0; i < kWarmUpBlocks; ++i) {
    if (unit.Render(frames) != noErr) {
      state.SkipWithError("the unit did not render");
      return false;
    }
  }
  if (!unit.OutputIsInputTimes(gain, frames)) {
    state.SkipWithError("the output is not the expected signal");
    return false;
  }
  return true;
}

void RenderBlocks(benchmark::State& state, bench::HostedUnit& unit, UInt32 frames) {
  for (auto _ : state) {
    if (unit.Render(frames) != noErr) {
      state.SkipWithError("render failed");
      break;
    }
  }
}

void BM_VeneerRender(benchmark::State& state) {
  const auto frames = static_cast<UInt32>(state.range(0));
  const auto channels = static_cast<UInt32>(state.range(1));
  bench::ProductComponent();
  bench::HostedUnit veneer(bench::VeneerComponent(), channels);
  if (veneer.InnerUnit() == nullptr) {
    state.SkipWithError("Veneer holds no inner unit");
    return;
  }
  if (Ready(state, veneer, frames, standin::kGain)) {
    RenderBlocks(state, veneer, frames);
  }
}
BENCHMARK(BM_VeneerRender)->Apply(BlockArguments);

void BM_StandInRender(benchmark::State& state) {
  const auto frames = static_cast<UInt32>(state.range(0));
  const auto channels = static_cast<UInt32>(state.range(1));
  bench::HostedUnit product(bench::ProductComponent(), channels);
  if (Ready(state, product, frames, standin::kGain)) {
    RenderBlocks(state, product, frames);
  }
}
BENCHMARK(BM_StandInRender)->Apply(BlockArguments);

void BM_TwoBlockCopies(benchmark::State& state) {
  const auto frames = static_cast<UInt32>(state.range(0));
  const auto channels = static_cast<UInt32>(state.range(1));
  const bench::Blocks pulled(channels, frames);
  bench::Blocks own(channels, frames);
  bench::Blocks inner(channels, frames);
  for (auto _ : state) {
    own.CopyFrom(pulled, frames);
    inner.CopyFrom(own, frames);
  }
}
BENCHMARK(BM_TwoBlockCopies)->Apply(BlockArguments);

// The shell's input meter on its own, called on the object as the render path
// calls it (on both paths), to show its share of the cost.
void BM_VeneerMeter(benchmark::State& state) {
  const auto frames = static_cast<UInt32>(state.range(0));
  const auto channels = static_cast<UInt32>(state.range(1));
  bench::ProductComponent();
  bench::HostedUnit unit(bench::ObservedVeneerComponent(), channels);
  harness::ObservedVeneer* veneer = harness::ObservedVeneer::Find(unit.Unit());
  if (unit.Status() != noErr || veneer == nullptr) {
    state.SkipWithError("Veneer did not open");
    return;
  }
  std::vector<std::byte> storage = unit.Input().BufferList(frames);
  const auto& list = *reinterpret_cast<const AudioBufferList*>(storage.data());
  for (auto _ : state) {
    veneer->UpdateAudioLevel(list, frames);
  }
}
BENCHMARK(BM_VeneerMeter)->Apply(BlockArguments);

// The host's bypass: the shell plays its last pulled block without the inner unit.
void BM_VeneerPassThrough(benchmark::State& state) {
  const auto frames = static_cast<UInt32>(state.range(0));
  const auto channels = static_cast<UInt32>(state.range(1));
  bench::ProductComponent();
  bench::HostedUnit veneer(bench::VeneerComponent(), channels);
  if (veneer.SetBypass(true) != noErr) {
    state.SkipWithError("the bypass was refused");
    return;
  }
  if (Ready(state, veneer, frames, 1.0F)) {
    RenderBlocks(state, veneer, frames);
  }
}
BENCHMARK(BM_VeneerPassThrough)->Apply(BlockArguments);

void BM_OneBlockCopy(benchmark::State& state) {
  const auto frames = static_cast<UInt32>(state.range(0));
  const auto channels = static_cast<UInt32>(state.range(1));
  const bench::Blocks source(channels, frames);
  bench::Blocks output(channels, frames);
  for (auto _ : state) {
    output.CopyFrom(source, frames);
  }
}
BENCHMARK(BM_OneBlockCopy)->Apply(BlockArguments);

}  // namespace

int main(int argc, char** argv) { return bench::RunBenchmarks(argc, argv); }
