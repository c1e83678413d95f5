// The calls that steer Veneer: a host setting and reading one of the shell's
// own parameters, and whole passes of the companion link: with an unchanged
// and with a new settings counter, and with its periodic tails due.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <string>

#include "harness/ObservedVeneer.h"
#include "shell/Variants.h"
#include "standin/StandIn.h"
#include "support/BenchHome.h"
#include "support/BenchMain.h"
#include "support/HostedUnit.h"

namespace {

using bench::ObservedVeneerComponent;
using harness::ObservedVeneer;

constexpr AudioUnitParameterID kRetuneSpeed = 2;
constexpr AudioUnitParameterID kRetuneReadBack = 200;
// Where the shell sends its retune speed on Auto-Tune Pro (the table's first row).
const AudioUnitParameterID kProRetune = veneer::kVariants[0].retuneParam;
// The stand-in keeps a record of every write; it is emptied this often.
constexpr int64_t kWritesKept = 4096;

// A complete settings file as the companion writes it (the protocol's example).
std::string SettingsFile(int64_t seq, float retune) {
  return "seq=" + std::to_string(seq) +
         "\nappRunning=1\nkey=9\nscale=1\ncorrectionMode=0\nretune=" + std::to_string(retune) +
         "\ntranspose=0.5\nclassicMode=0\ninputType=0.25\nhumanize=0\nflexTune=0\nnaturalVibrato=0.5\n"
         "vibratoAmplitude=0.2\ntracking=0.5\nformant=1\nthroat=0.5\nwetDry=1\n";
}

bool RetuneReadsBack(AudioUnit veneer, float expected) {
  AudioUnitParameterValue value = -1.0F;
  return AudioUnitGetParameter(veneer, kRetuneReadBack, kAudioUnitScope_Global, 0, &value) == noErr &&
         std::fabs(value - expected) < 1e-5F;
}

// The link's clock, moved by the benchmarks: the passes' periodic tails (the
// alive file every 2 s, the diagnostics line every 5 s) come due when it moves.
std::time_t gLinkNow = 0;
std::time_t LinkNow() { return gLinkNow; }
std::time_t gLastAlive = 0;

// [link thread] One whole pass of the link, as its thread makes it.
void LinkPass(ObservedVeneer& veneer) { veneer.RunLinkCycle(gLastAlive); }

// ---- parameters ----

void BM_SetParameter(benchmark::State& state) {
  bench::ProductComponent();
  const bench::HostedUnit veneer(bench::VeneerComponent(), 2);
  standin::Unit* product = standin::Find(veneer.InnerUnit());
  if (veneer.Status() != noErr || product == nullptr) {
    state.SkipWithError("Veneer did not open with an inner unit");
    return;
  }
  const AudioUnit unit = veneer.Unit();
  AudioUnitParameterValue value = 0.0F;
  int64_t calls = 0;
  for (auto _ : state) {
    if (AudioUnitSetParameter(unit, kRetuneSpeed, kAudioUnitScope_Global, 0, value, 0) != noErr) {
      state.SkipWithError("set failed");
      break;
    }
    value = value < 0.99F ? value + 0.01F : 0.0F;
    if (++calls % kWritesKept == 0) {
      product->ClearWrites();
    }
  }
}
BENCHMARK(BM_SetParameter);

// The stand-in's share of the set above: the same write hosted directly.
void BM_SetParameterOnStandIn(benchmark::State& state) {
  const bench::HostedUnit product(bench::ProductComponent(), 2);
  standin::Unit* object = standin::Find(product.Unit());
  if (product.Status() != noErr || object == nullptr) {
    state.SkipWithError("the stand-in did not open");
    return;
  }
  const AudioUnit unit = product.Unit();
  AudioUnitParameterValue value = 0.0F;
  int64_t calls = 0;
  for (auto _ : state) {
    if (AudioUnitSetParameter(unit, kProRetune, kAudioUnitScope_Global, 0, value, 0) != noErr) {
      state.SkipWithError("set failed");
      break;
    }
    value = value < 0.99F ? value + 0.01F : 0.0F;
    if (++calls % kWritesKept == 0) {
      object->ClearWrites();
    }
  }
}
BENCHMARK(BM_SetParameterOnStandIn);

void BM_GetParameter(benchmark::State& state) {
  bench::ProductComponent();
  const bench::HostedUnit veneer(bench::VeneerComponent(), 2);
  if (veneer.Status() != noErr) {
    state.SkipWithError("Veneer did not open");
    return;
  }
  const AudioUnit unit = veneer.Unit();
  AudioUnitParameterValue value = 0.0F;
  for (auto _ : state) {
    if (AudioUnitGetParameter(unit, kRetuneSpeed, kAudioUnitScope_Global, 0, &value) != noErr) {
      state.SkipWithError("get failed");
      break;
    }
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_GetParameter);

// ---- the companion link ----

// [main thread] An initialised Veneer whose link thread is stopped, so the
// benchmark alone runs the passes; seq 1 already applied.
class LinkBench {
 public:
  LinkBench() : unit_(ObservedVeneerComponent(), 2), veneer_(ObservedVeneer::Find(unit_.Unit())) {
    if (unit_.Status() != noErr || veneer_ == nullptr || unit_.InnerUnit() == nullptr) {
      veneer_ = nullptr;
      return;
    }
    veneer_->StopIpcThread();
    // Ahead of the system clock, by which the stopped thread may have run a
    // pass: the diagnostics period is kept process-wide.
    gLinkNow = std::time(nullptr) + 3600;
    veneer_->SetLinkClock(LinkNow);
    bench::WriteSettings(SettingsFile(1, 0.25F));
    LinkPass(*veneer_);
    if (!RetuneReadsBack(unit_.Unit(), 0.25F)) {
      veneer_ = nullptr;
    }
  }
  ~LinkBench() { bench::WriteSettings("appRunning=1\n"); }
  LinkBench(const LinkBench&) = delete;
  LinkBench& operator=(const LinkBench&) = delete;

  [[nodiscard]] ObservedVeneer* Veneer() const { return veneer_; }
  [[nodiscard]] AudioUnit Unit() const { return unit_.Unit(); }
  OSStatus Render(UInt32 frames) { return unit_.Render(frames); }
  [[nodiscard]] standin::Unit* Product() const { return standin::Find(unit_.InnerUnit()); }

 private:
  bench::HostedUnit unit_;
  ObservedVeneer* veneer_;
};

void BM_LinkCycleUnchangedSeq(benchmark::State& state) {
  bench::ProductComponent();
  const LinkBench link;
  if (link.Veneer() == nullptr) {
    state.SkipWithError("the first settings file was not applied");
    return;
  }
  for (auto _ : state) {
    LinkPass(*link.Veneer());
  }
}
BENCHMARK(BM_LinkCycleUnchangedSeq);

// Each pass finds a new counter; writing the file (the companion's work) is not timed.
void BM_LinkCycleNewSeq(benchmark::State& state) {
  bench::ProductComponent();
  const LinkBench link;
  if (link.Veneer() == nullptr) {
    state.SkipWithError("the first settings file was not applied");
    return;
  }
  int64_t seq = 1;
  float retune = 0.25F;
  for (auto _ : state) {
    retune = retune == 0.25F ? 0.5F : 0.25F;
    bench::WriteSettings(SettingsFile(++seq, retune));
    if (seq % kWritesKept == 0) {
      link.Product()->ClearWrites();
    }
    const auto started = std::chrono::steady_clock::now();
    LinkPass(*link.Veneer());
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
  }
  if (!RetuneReadsBack(link.Unit(), retune)) {
    state.SkipWithError("the last settings file was not applied");
  }
}
BENCHMARK(BM_LinkCycleNewSeq)->UseManualTime();

// Every pass finds both periodic tails due: the clock moves on five seconds and
// a block was rendered since the last pass (not timed), so the alive file is
// rewritten and the diagnostics line written each time.
void BM_LinkCycleAllTailsDue(benchmark::State& state) {
  bench::ProductComponent();
  LinkBench link;
  if (link.Veneer() == nullptr) {
    state.SkipWithError("the first settings file was not applied");
    return;
  }
  const uint64_t rendersBefore = link.Veneer()->RenderCount();
  for (auto _ : state) {
    if (link.Render(512) != noErr) {
      state.SkipWithError("render failed");
      break;
    }
    gLinkNow += 5;
    const auto started = std::chrono::steady_clock::now();
    LinkPass(*link.Veneer());
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
  }
  if (gLastAlive != gLinkNow || link.Veneer()->RenderCount() == rendersBefore) {
    state.SkipWithError("the tails did not come due");
  }
}
BENCHMARK(BM_LinkCycleAllTailsDue)->UseManualTime();

}  // namespace

int main(int argc, char** argv) { return bench::RunBenchmarks(argc, argv); }
