#!/usr/bin/env bash
# Builds the benchmarks (preset "bench") and prints one table of the figures and
# the ratios the performance targets are set on (docs/performance.md).
#   scripts/bench.sh              timings: Google Benchmark, BENCH_ROUNDS rounds (default 7)
#   scripts/bench.sh --callgrind  the render figures as instruction counts under valgrind
#   scripts/bench.sh --scaling    the costs per instance with 1 to 1024 instances in one process,
#                                 SCALING_ROUNDS rounds (default 5; 256 and 1024 in every other one)
# Results land in build/bench/results/.
set -euo pipefail

mode=timings
case "${1:-}" in
  "") ;;
  --callgrind) mode=counts ;;
  --scaling) mode=scaling ;;
  *)
    echo "usage: scripts/bench.sh [--callgrind | --scaling]" >&2
    exit 2
    ;;
esac

cd "$(dirname "$0")/.."
if [[ $mode == counts && $(uname -s) == Darwin ]]; then
  echo "--callgrind needs valgrind, which macOS lacks: run it on Linux" >&2
  exit 2
fi
scripts/install-deps.sh --bench
cmake --preset bench >/dev/null
if [[ $mode == scaling ]]; then
  cmake --build --preset bench --target bench_scaling
else
  cmake --build --preset bench --target bench_render bench_controls bench_lifecycle bench_render_counts
fi

bin=build/bench/bench
results=build/bench/results
rm -rf "$results/$mode"
mkdir -p "$results/$mode"

if [[ $mode == scaling ]]; then
  # One process per run, so that each starts fresh. Each N is run with Veneer
  # and with the product hosted alone (the same host calls and blocks without
  # the shell; it has no link thread, so a second of idling shows the
  # process's own background). The large sessions average over many instances
  # in one run and take most of the time, so they run in every other round.
  rounds="${SCALING_ROUNDS:-5}"
  for ((round = 1; round <= rounds; ++round)); do
    echo "round $round/$rounds" >&2
    for n in 1 16 64 256 1024; do
      if ((n >= 256 && round % 2 == 0)); then
        continue
      fi
      for unit in veneer product; do
        options=()
        [[ $unit == product ]] && options=(--product-alone --idle-seconds 1)
        out="$results/$mode/$unit-$n-$round"
        "$bin/bench_scaling" "$n" "${options[@]}" --json "$out.json" >"$out.txt" 2>&1 || {
          cat "$out.txt" >&2
          exit 1
        }
      done
    done
  done
  python3 bench/report.py scaling "$results/$mode"
  exit 0
fi

if [[ $mode == timings ]]; then
  # Whole rounds rather than back-to-back repetitions: on a shared machine each
  # figure is then sampled across the whole run, and the median drops the bad rounds.
  rounds="${BENCH_ROUNDS:-7}"
  # run NAME PROGRAM ARGS...: one program's results into this round's folder.
  run() {
    local name=$1
    shift
    "$@" --benchmark_out="$dir/$name.json" --benchmark_out_format=json >"$dir/$name.txt" 2>&1 || {
      cat "$dir/$name.txt" >&2
      exit 1
    }
  }
  for ((round = 1; round <= rounds; ++round)); do
    echo "round $round/$rounds" >&2
    dir="$results/$mode/round-$round"
    mkdir -p "$dir"
    run render "$bin/bench_render" --benchmark_min_time=0.05
    run controls "$bin/bench_controls" --benchmark_min_time=0.05
    run lifecycle "$bin/bench_lifecycle" --benchmark_min_time=0.1
    run lifecycle-no-product "$bin/bench_lifecycle" --no-product --benchmark_min_time=0.1
  done
  python3 bench/report.py timings "$results/$mode"/round-*
  exit 0
fi

# Instruction counts: only the measured loops are collected (not the set-up,
# not the link thread). memcpy is held to its vector loop at every size: valgrind
# counts each byte of a `rep movsb` copy as one instruction.
blocks=256
export GLIBC_TUNABLES=glibc.cpu.x86_rep_movsb_threshold=1048576
for frames in 32 64 128 512 1024 4096; do
  for ch in 1 2; do
    for what in veneer standin two_copies passthrough one_copy meter; do
      out="$results/$mode/$what-$frames-$ch"
      valgrind --tool=callgrind --toggle-collect='veneer_bench_measured_*' --callgrind-out-file="$out.out" \
        "$bin/bench_render_counts" "$what" "$frames" "$ch" "$blocks" >"$out.log" 2>&1 || {
        cat "$out.log" >&2
        exit 1
      }
    done
  done
  echo "counted $frames frames" >&2
done
python3 bench/report.py counts "$results/$mode" "$blocks"
