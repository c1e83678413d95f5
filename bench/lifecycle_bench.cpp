// Opening and initialising Veneer as a host does, then uninitialising and
// disposing it: with the Auto-Tune Pro stand-in installed in the process, or
// (`--no-product`) with no product at all, when every attempt finds nothing.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <string>

#include "support/BenchHome.h"
#include "support/BenchMain.h"
#include "support/HostedUnit.h"

namespace {

constexpr AudioUnitParameterID kInnerPresent = 205;

using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

// [render thread] The host's input; never called here, since nothing renders.
OSStatus Silence(void* /*refCon*/, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* /*stamp*/,
                 UInt32 /*bus*/, UInt32 /*frames*/, AudioBufferList* /*ioData*/) {
  return noErr;
}

// [main thread] What a host does before its first render; the unit, or null.
AudioUnit OpenAndInitialize() {
  AudioUnit unit = nullptr;
  if (AudioComponentInstanceNew(bench::VeneerComponent(), &unit) != noErr) {
    return nullptr;
  }
  const AudioStreamBasicDescription format = host::FloatFormat(bench::kSampleRate, 2);
  const UInt32 maxFrames = 1024;
  const AURenderCallbackStruct callback{Silence, nullptr};
  const bool ok = AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &format,
                                       sizeof format) == noErr &&
                  AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &format,
                                       sizeof format) == noErr &&
                  AudioUnitSetProperty(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0,
                                       &maxFrames, sizeof maxFrames) == noErr &&
                  AudioUnitSetProperty(unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                                       sizeof callback) == noErr &&
                  AudioUnitInitialize(unit) == noErr;
  if (!ok) {
    AudioComponentInstanceDispose(unit);
    return nullptr;
  }
  return unit;
}

// Open to initialised is one phase, uninitialise and dispose the other; the
// wall time of both is the iteration's time.
void OpenInitializeDispose(benchmark::State& state, bool expectInner) {
  double openSeconds = 0.0;
  double closeSeconds = 0.0;
  for (auto _ : state) {
    const auto started = Clock::now();
    const AudioUnit unit = OpenAndInitialize();
    const auto opened = Clock::now();
    if (unit == nullptr) {
      state.SkipWithError("Veneer did not open and initialise");
      break;
    }
    AudioUnitParameterValue present = -1.0F;
    const bool asked = AudioUnitGetParameter(unit, kInnerPresent, kAudioUnitScope_Global, 0, &present) == noErr;
    const auto closing = Clock::now();
    AudioUnitUninitialize(unit);
    AudioComponentInstanceDispose(unit);
    const auto closed = Clock::now();
    if (!asked || (present == 1.0F) != expectInner) {
      state.SkipWithError(expectInner ? "no inner unit after initialise" : "an inner unit where none should be");
      break;
    }
    openSeconds += Seconds(opened - started);
    closeSeconds += Seconds(closed - closing);
    state.SetIterationTime(Seconds(opened - started) + Seconds(closed - closing));
  }
  state.counters["open_init_us"] = benchmark::Counter(openSeconds * 1e6, benchmark::Counter::kAvgIterations);
  state.counters["dispose_us"] = benchmark::Counter(closeSeconds * 1e6, benchmark::Counter::kAvgIterations);
}

}  // namespace

int main(int argc, char** argv) {
  bench::Home();
  bool withProduct = true;
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--no-product") == 0) {
      withProduct = false;
    } else {
      argv[kept++] = argv[i];
    }
  }
  argc = kept;
  if (withProduct) {
    bench::ProductComponent();
  }
  const std::string name = std::string("BM_OpenInitializeDispose/") + (withProduct ? "product" : "no_product");
  benchmark::RegisterBenchmark(name.c_str(),
                               [withProduct](benchmark::State& state) { OpenInitializeDispose(state, withProduct); })
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  return bench::RunBenchmarks(argc, argv);
}
