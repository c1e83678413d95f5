// How Veneer's costs grow with the number of instances in one process, as in a
// DAW session of many tracks. One run holds N instances (the command line's
// one argument), each with the Auto-Tune Pro stand-in as its inner unit, and
// measures per instance: opening and initialising on the main thread, the
// resident memory they add, the process's CPU time while they stand idle with
// the companion alive, a 512-frame stereo block rendered through each in turn
// on one render thread, and closing; and the process's threads and the most
// descriptors it holds open at once, against its limits. One N per process,
// so that every run starts from a fresh process (memory a closed instance gave
// back to the heap would otherwise hide what the next ones take);
// scripts/bench.sh --scaling runs the rounds and bench/report.py takes the medians.
//
//   bench_scaling N [--product-alone] [--idle-seconds S] [--json FILE]
//
// --product-alone hosts the stand-in product directly instead of Veneer: the
// same host calls and blocks without the shell, what the product costs alone.
#include <CoreFoundation/CoreFoundation.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "standin/Unit.h"
#include "support/BenchHome.h"
#include "support/Heartbeat.h"
#include "support/HostedUnit.h"
#include "support/ProcessUsage.h"

namespace {

constexpr UInt32 kChannels = 2;
constexpr UInt32 kFrames = 512;
// What a host typically announces ahead of 512-frame blocks.
constexpr UInt32 kMaxFrames = 1024;
constexpr int kWarmUpBlocks = 8;
// Every instance's link thread has made a pass or more before memory is read;
// meanwhile the open descriptors are counted every few milliseconds.
constexpr double kSettleSeconds = 2.0;
constexpr double kFileCountPeriodSeconds = 0.005;
constexpr double kDefaultIdleSeconds = 4.0;  // two alive-file periods, four link passes
// The timed render: this many instance-blocks in all, split into whole cycles.
constexpr uint64_t kRenderedBlocks = 1U << 18U;
constexpr uint64_t kFewestCycles = 64;

using Clock = std::chrono::steady_clock;
using Units = std::vector<std::unique_ptr<bench::HostedUnit>>;

double Seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

double ThreadCpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Options {
  size_t instances = 0;
  double idleSeconds = kDefaultIdleSeconds;
  bool productAlone = false;
  std::optional<std::string> json;
};

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--idle-seconds" && i + 1 < argc) {
      options.idleSeconds = std::atof(argv[++i]);
    } else if (argument == "--product-alone") {
      options.productAlone = true;
    } else if (argument == "--json" && i + 1 < argc) {
      options.json = argv[++i];
    } else if (options.instances == 0 && !argument.empty() && argument[0] != '-') {
      options.instances = std::strtoul(argument.c_str(), nullptr, 10);
    } else {
      return std::nullopt;
    }
  }
  if (options.instances == 0 || options.idleSeconds <= 0.0) {
    return std::nullopt;
  }
  return options;
}

// [main thread] Runs the main run loop for `seconds`, as a host's main thread
// waits; where the loop has nothing to run and returns at once, sleeps instead.
void WaitOnMainThread(double seconds) {
  const auto deadline =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  for (auto now = Clock::now(); now < deadline; now = Clock::now()) {
    if (CFRunLoopRunInMode(kCFRunLoopDefaultMode, Seconds(deadline - now), false) == kCFRunLoopRunFinished) {
      std::this_thread::sleep_until(deadline);
    }
  }
}

// [main thread] Waits `seconds` as WaitOnMainThread does, counting the open
// descriptors meanwhile; the most seen at once. The link threads hold theirs
// only for the moments of a pass, so that a single count would miss them.
long PeakOpenFiles(double seconds) {
  const auto deadline =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  long peak = bench::OpenFileCount();
  while (Clock::now() < deadline) {
    WaitOnMainThread(kFileCountPeriodSeconds);
    peak = std::max(peak, bench::OpenFileCount());
  }
  return peak;
}

// [render thread] `cycles` rounds of one block through every unit in turn, as
// a DAW's audio thread renders its tracks; false when a render fails. Out of
// line, so that callgrind can count it alone (--toggle-collect='*RenderCycles*').
__attribute__((noinline)) bool RenderCycles(Units& units, uint64_t cycles) {
  for (uint64_t cycle = 0; cycle < cycles; ++cycle) {
    for (auto& unit : units) {
      if (unit->Render(kFrames) != noErr) {
        return false;
      }
    }
  }
  return true;
}

// Whether every unit's last block is its input through the product.
bool AllThroughProduct(const Units& units) {
  return std::all_of(units.begin(), units.end(),
                     [](const auto& unit) { return unit->OutputIsInputTimes(standin::kGain, kFrames); });
}

struct RenderFigures {
  bool ok = false;
  double cpuSeconds = 0.0;
  double wallSeconds = 0.0;
};

// [main thread] Renders on a thread of its own and waits for it.
RenderFigures RenderOnRenderThread(Units& units, uint64_t cycles) {
  RenderFigures figures;
  std::thread render([&] {
    const double cpu = ThreadCpuSeconds();
    const auto wall = Clock::now();
    figures.ok = RenderCycles(units, cycles);
    figures.wallSeconds = Seconds(Clock::now() - wall);
    figures.cpuSeconds = ThreadCpuSeconds() - cpu;
  });
  render.join();
  figures.ok = figures.ok && AllThroughProduct(units);
  return figures;
}

// The mean (what a session of N costs, divided by N), the median instance, and
// the means of the first and the last tenth opened or closed: a cost that grows
// with the instances already there shows as a last tenth above the first.
struct Spread {
  double mean = 0.0;
  double median = 0.0;
  double firstTenth = 0.0;
  double lastTenth = 0.0;
};

Spread SpreadOf(std::vector<double> values) {
  const auto mean = [](auto from, auto to) { return std::accumulate(from, to, 0.0) / static_cast<double>(to - from); };
  const auto tenth = static_cast<std::ptrdiff_t>(std::max<size_t>(values.size() / 10, 1));
  Spread spread{mean(values.begin(), values.end()), 0.0, mean(values.begin(), values.begin() + tenth),
                mean(values.end() - tenth, values.end())};
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  spread.median = *middle;
  return spread;
}

struct Figures {
  size_t instances = 0;
  bool productAlone = false;
  Spread openUs;
  Spread closeUs;
  double baseKiB = 0.0;
  double grownKiB = 0.0;
  double hostKiBPerInstance = 0.0;
  double idleWallSeconds = 0.0;
  double idleCpuSeconds = 0.0;
  double idleSwitches = 0.0;
  uint64_t renderCycles = 0;
  double renderCpuSeconds = 0.0;
  double renderWallSeconds = 0.0;
  long threadsBefore = 0;
  long threadsOpen = 0;
  long threadsClosed = 0;
  long filesBefore = 0;
  long filesPeak = 0;
  long filesClosed = 0;
  long filesLimit = 0;
  long processLimit = 0;
  unsigned cpus = 0;
  double loadAverage = 0.0;  // over the last minute, at the end of the run

  [[nodiscard]] double MemoryKiB() const { return grownKiB / static_cast<double>(instances); }
  [[nodiscard]] double IdleMsPerSecond() const { return idleCpuSeconds * 1e3 / idleWallSeconds; }
  [[nodiscard]] double IdleUsPerSecondEach() const { return IdleMsPerSecond() * 1e3 / static_cast<double>(instances); }
  [[nodiscard]] double SwitchesPerSecond() const { return idleSwitches / idleWallSeconds; }
  [[nodiscard]] double Blocks() const { return static_cast<double>(renderCycles) * static_cast<double>(instances); }
  [[nodiscard]] double RenderNs() const { return renderCpuSeconds * 1e9 / Blocks(); }
  [[nodiscard]] double RenderWallNs() const { return renderWallSeconds * 1e9 / Blocks(); }
};

void Print(const Figures& f) {
  std::printf("%s, %zu instances\n", f.productAlone ? "the product alone" : "Veneer with its product", f.instances);
  std::printf("open + initialise (wall)       %.1f us per instance, median %.1f (first tenth %.1f, last tenth %.1f)\n",
              f.openUs.mean, f.openUs.median, f.openUs.firstTenth, f.openUs.lastTenth);
  std::printf("resident memory                %.1f KiB per instance (%.0f KiB grown on %.0f KiB; host buffers %.1f)\n",
              f.MemoryKiB(), f.grownKiB, f.baseKiB, f.hostKiBPerInstance);
  std::printf("idle CPU, companion alive      %.3f ms/s in all, %.2f us/s per instance over %.1f s\n",
              f.IdleMsPerSecond(), f.IdleUsPerSecondEach(), f.idleWallSeconds);
  std::printf("  context switches             %.1f per s in all, %.2f per s per instance\n", f.SwitchesPerSecond(),
              f.SwitchesPerSecond() / static_cast<double>(f.instances));
  std::printf("render, 512 frames stereo      %.1f ns per instance-block CPU, %.1f wall (%llu cycles)\n", f.RenderNs(),
              f.RenderWallNs(), static_cast<unsigned long long>(f.renderCycles));
  std::printf("uninitialise + dispose (wall)  %.1f us per instance, median %.1f (first tenth %.1f, last tenth %.1f)\n",
              f.closeUs.mean, f.closeUs.median, f.closeUs.firstTenth, f.closeUs.lastTenth);
  std::printf("threads                        %ld before, %ld open, %ld after closing\n", f.threadsBefore,
              f.threadsOpen, f.threadsClosed);
  std::printf("open file descriptors          %ld before, at most %ld at once while open, %ld after closing\n",
              f.filesBefore, f.filesPeak, f.filesClosed);
  std::printf("soft limits                    %ld open files, %ld processes (Linux: threads) per user (-1: none)\n",
              f.filesLimit, f.processLimit);
  std::printf("machine                        %u CPUs, load average %.2f\n", f.cpus, f.loadAverage);
}

// One object for bench/report.py.
bool WriteJson(const Figures& f, const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (file == nullptr) {
    return false;
  }
  const auto spread = [file](const char* name, const Spread& s) {
    std::fprintf(file, "\"%s\": %.3f, \"%s_median\": %.3f, \"%s_first_tenth\": %.3f, \"%s_last_tenth\": %.3f, ", name,
                 s.mean, name, s.median, name, s.firstTenth, name, s.lastTenth);
  };
  std::fprintf(file, "{\"unit\": \"%s\", \"instances\": %zu, ", f.productAlone ? "product" : "veneer", f.instances);
  spread("open_us", f.openUs);
  spread("close_us", f.closeUs);
  std::fprintf(file,
               "\"memory_kib\": %.3f, \"host_kib\": %.3f, \"base_kib\": %.1f, \"idle_cpu_ms_per_s\": %.4f, "
               "\"idle_cpu_us_per_s_per_instance\": %.4f, \"idle_switches_per_s\": %.2f, \"idle_seconds\": %.3f, "
               "\"render_ns\": %.3f, \"render_wall_ns\": %.3f, \"render_cycles\": %llu, \"threads_before\": %ld, "
               "\"threads_open\": %ld, \"threads_closed\": %ld, \"files_before\": %ld, \"files_peak\": %ld, "
               "\"files_closed\": %ld, \"files_limit\": %ld, \"process_limit\": %ld, \"cpus\": %u, "
               "\"load_average\": %.2f}\n",
               f.MemoryKiB(), f.hostKiBPerInstance, f.baseKiB, f.IdleMsPerSecond(), f.IdleUsPerSecondEach(),
               f.SwitchesPerSecond(), f.idleWallSeconds, f.RenderNs(), f.RenderWallNs(),
               static_cast<unsigned long long>(f.renderCycles), f.threadsBefore, f.threadsOpen, f.threadsClosed,
               f.filesBefore, f.filesPeak, f.filesClosed, f.filesLimit, f.processLimit, f.cpus, f.loadAverage);
  return std::fclose(file) == 0;
}

int Fail(const char* what) {
  std::fprintf(stderr, "bench_scaling: %s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Options> options = ParseOptions(argc, argv);
  if (!options) {
    std::fprintf(stderr, "usage: bench_scaling INSTANCES [--product-alone] [--idle-seconds S] [--json FILE]\n");
    return 2;
  }
  bench::Home();
  const AudioComponent product = bench::ProductComponent();
  const AudioComponent hosted = options->productAlone ? product : bench::VeneerComponent();
  // Veneer holds its product as its inner unit; the product hosted alone holds none.
  const auto open = [&](Units& units) {
    units.push_back(std::make_unique<bench::HostedUnit>(hosted, kChannels, kMaxFrames));
    const bench::HostedUnit& unit = *units.back();
    return unit.Status() == noErr && (options->productAlone || unit.InnerUnit() != nullptr);
  };
  const bench::Heartbeat heartbeat;

  Figures figures;
  figures.instances = options->instances;
  figures.productAlone = options->productAlone;
  figures.threadsBefore = bench::ThreadCount();
  figures.filesBefore = bench::OpenFileCount();
  figures.filesLimit = bench::OpenFileLimit();
  figures.processLimit = bench::ProcessLimit();
  figures.hostKiBPerInstance = 2.0 * kChannels * kMaxFrames * sizeof(float) / 1024.0;  // the track and the output

  // The process's one-time costs out of the figures: a first instance
  // (loading, the log file, the first renders the shell logs), kept open until
  // memory has been read, so that the N do not reuse what it would give back.
  Units first;
  if (!open(first) || !RenderOnRenderThread(first, kWarmUpBlocks).ok) {
    return Fail("the first instance did not open or did not render through its product");
  }
  const size_t baseBytes = bench::ResidentBytes();
  figures.baseKiB = static_cast<double>(baseBytes) / 1024.0;

  Units units;
  units.reserve(options->instances);
  std::vector<double> openUs;
  openUs.reserve(options->instances);
  for (size_t i = 0; i < options->instances; ++i) {
    if (!open(units)) {
      std::fprintf(stderr, "bench_scaling: instance %zu: status %d\n", i, static_cast<int>(units.back()->Status()));
      return Fail("an instance did not open and initialise with its product");
    }
    openUs.push_back(units.back()->OpenSeconds() * 1e6);
  }
  figures.openUs = SpreadOf(openUs);

  if (!RenderOnRenderThread(units, kWarmUpBlocks).ok) {
    return Fail("an instance did not render through its product");
  }
  figures.filesPeak = PeakOpenFiles(kSettleSeconds);
  figures.grownKiB = (static_cast<double>(bench::ResidentBytes()) - static_cast<double>(baseBytes)) / 1024.0;
  figures.threadsOpen = bench::ThreadCount() - (options->productAlone ? 0 : 1);  // not the first instance's link thread
  first.clear();

  const bench::CpuUsage idleFrom = bench::ProcessCpu();
  const auto idleStart = Clock::now();
  WaitOnMainThread(options->idleSeconds);
  const bench::CpuUsage idleTo = bench::ProcessCpu();
  figures.idleWallSeconds = Seconds(Clock::now() - idleStart);
  figures.idleCpuSeconds = idleTo.seconds - idleFrom.seconds;
  figures.idleSwitches = static_cast<double>((idleTo.voluntarySwitches - idleFrom.voluntarySwitches) +
                                             (idleTo.involuntarySwitches - idleFrom.involuntarySwitches));

  figures.renderCycles = std::max<uint64_t>(kRenderedBlocks / options->instances, kFewestCycles);
  const RenderFigures render = RenderOnRenderThread(units, figures.renderCycles);
  if (!render.ok) {
    return Fail("an instance did not render through its product (did the companion's heartbeat stop?)");
  }
  figures.renderCpuSeconds = render.cpuSeconds;
  figures.renderWallSeconds = render.wallSeconds;

  std::vector<double> closeUs;
  closeUs.reserve(units.size());
  for (auto& unit : units) {
    closeUs.push_back(unit->Close() * 1e6);
  }
  figures.closeUs = SpreadOf(closeUs);
  units.clear();
  figures.threadsClosed = bench::ThreadCount();
  figures.filesClosed = bench::OpenFileCount();
  figures.cpus = std::thread::hardware_concurrency();
  getloadavg(&figures.loadAverage, 1);

  Print(figures);
  if (options->json && !WriteJson(figures, *options->json)) {
    return Fail("cannot write the figures");
  }
  return 0;
}
