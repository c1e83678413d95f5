// Renders blocks of one configuration for valgrind's callgrind, which counts
// the instructions of the measured loops only (--toggle-collect on them):
//
//   bench_render_counts MODE FRAMES CHANNELS BLOCKS
//
// MODE: veneer (through Veneer and its inner unit), standin (the inner unit
// hosted directly), two_copies (the floor), passthrough (Veneer under the host's
// bypass), one_copy, meter (the shell's input meter on its own). Exit 0 when
// every block rendered the expected signal.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "harness/ObservedVeneer.h"
#include "standin/Unit.h"
#include "support/BenchHome.h"
#include "support/Blocks.h"
#include "support/HostedUnit.h"

extern "C" {

// The measured loops: one block per turn and nothing else.
__attribute__((noinline)) OSStatus veneer_bench_measured_render(bench::HostedUnit* unit, UInt32 frames, UInt32 blocks) {
  for (UInt32 i = 0; i < blocks; ++i) {
    if (const OSStatus status = unit->Render(frames); status != noErr) {
      return status;
    }
  }
  return noErr;
}

__attribute__((noinline)) void veneer_bench_measured_two_copies(const bench::Blocks* pulled, bench::Blocks* own,
                                                                bench::Blocks* inner, UInt32 frames, UInt32 blocks) {
  for (UInt32 i = 0; i < blocks; ++i) {
    own->CopyFrom(*pulled, frames);
    inner->CopyFrom(*own, frames);
  }
}

__attribute__((noinline)) void veneer_bench_measured_one_copy(const bench::Blocks* source, bench::Blocks* output,
                                                              UInt32 frames, UInt32 blocks) {
  for (UInt32 i = 0; i < blocks; ++i) {
    output->CopyFrom(*source, frames);
  }
}

__attribute__((noinline)) void veneer_bench_measured_meter(veneer::Veneer* veneer, const AudioBufferList* list,
                                                           UInt32 frames, UInt32 blocks) {
  for (UInt32 i = 0; i < blocks; ++i) {
    veneer->UpdateAudioLevel(*list, frames);
  }
}
}

namespace {

constexpr int kWarmUpBlocks = 8;
constexpr AudioUnitParameterID kAudioLevel = 220;

int Usage() {
  std::fprintf(stderr,
               "usage: bench_render_counts veneer|standin|two_copies|passthrough|one_copy|meter FRAMES CHANNELS "
               "BLOCKS\n");
  return 2;
}

// [main thread] Opens the unit, renders the warm-up blocks, the measured ones,
// and checks the last block's signal.
int RenderThrough(const std::string& mode, UInt32 frames, UInt32 channels, UInt32 blocks) {
  bench::ProductComponent();
  const bool veneer = mode != "standin";
  bench::HostedUnit unit(veneer ? bench::VeneerComponent() : bench::ProductComponent(), channels);
  if (unit.Status() != noErr || (veneer && unit.InnerUnit() == nullptr)) {
    std::fprintf(stderr, "the unit did not open with an inner unit (status %d)\n", static_cast<int>(unit.Status()));
    return 1;
  }
  if (mode == "passthrough" && unit.SetBypass(true) != noErr) {
    std::fprintf(stderr, "the bypass was refused\n");
    return 1;
  }
  // Outside the measured loop: the shell logs its first renders.
  for (int i = 0; i < kWarmUpBlocks; ++i) {
    if (unit.Render(frames) != noErr) {
      std::fprintf(stderr, "render failed\n");
      return 1;
    }
  }
  if (veneer_bench_measured_render(&unit, frames, blocks) != noErr) {
    std::fprintf(stderr, "render failed\n");
    return 1;
  }
  if (!unit.OutputIsInputTimes(mode == "passthrough" ? 1.0F : standin::kGain, frames)) {
    std::fprintf(stderr, "the output is not the expected signal\n");
    return 1;
  }
  return 0;
}

// [main thread] The meter of an open Veneer, over the host's signal.
int Meter(UInt32 frames, UInt32 channels, UInt32 blocks) {
  const bench::HostedUnit unit(bench::ObservedVeneerComponent(), channels);
  harness::ObservedVeneer* veneer = harness::ObservedVeneer::Find(unit.Unit());
  if (unit.Status() != noErr || veneer == nullptr) {
    std::fprintf(stderr, "Veneer did not open (status %d)\n", static_cast<int>(unit.Status()));
    return 1;
  }
  const std::vector<std::byte> storage = unit.Input().BufferList(frames);
  veneer_bench_measured_meter(veneer, reinterpret_cast<const AudioBufferList*>(storage.data()), frames, blocks);
  AudioUnitParameterValue level = 0.0F;
  // The signal's RMS is about 0.18: the meter reads well above zero.
  if (AudioUnitGetParameter(unit.Unit(), kAudioLevel, kAudioUnitScope_Global, 0, &level) != noErr || level < 0.1F) {
    std::fprintf(stderr, "the meter did not move\n");
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    return Usage();
  }
  const std::string mode = argv[1];
  const auto frames = static_cast<UInt32>(std::strtoul(argv[2], nullptr, 10));
  const auto channels = static_cast<UInt32>(std::strtoul(argv[3], nullptr, 10));
  const auto blocks = static_cast<UInt32>(std::strtoul(argv[4], nullptr, 10));
  if (frames == 0 || frames > bench::kMaxFrames || channels < 1 || channels > 2 || blocks == 0) {
    return Usage();
  }
  if (mode == "two_copies") {
    const bench::Blocks pulled(channels, frames);
    bench::Blocks own(channels, frames);
    bench::Blocks inner(channels, frames);
    veneer_bench_measured_two_copies(&pulled, &own, &inner, frames, blocks);
    return 0;
  }
  if (mode == "one_copy") {
    const bench::Blocks source(channels, frames);
    bench::Blocks output(channels, frames);
    veneer_bench_measured_one_copy(&source, &output, frames, blocks);
    return 0;
  }
  if (mode != "veneer" && mode != "standin" && mode != "passthrough" && mode != "meter") {
    return Usage();
  }
  bench::Home();
  if (mode == "meter") {
    return Meter(frames, channels, blocks);
  }
  return RenderThrough(mode, frames, channels, blocks);
}
