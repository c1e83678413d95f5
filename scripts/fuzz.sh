#!/usr/bin/env bash
# Builds the `fuzz` preset and runs every libFuzzer target for a bounded time,
# each on a copy of its seed corpus (fuzz/corpus/<target>/) in the build folder,
# so the repository is not touched. Fails on any crash, leak, timeout or
# sanitizer report; the target's log and the input that failed stay in
# build/fuzz/fuzz-runs/<target>/.
#   scripts/fuzz.sh [seconds-per-target]    (default 45)
set -euo pipefail

seconds="${1:-45}"
if ! [[ "$seconds" =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/fuzz.sh [seconds-per-target]" >&2
  exit 2
fi
cd "$(dirname "$0")/.."
if [[ $(uname -s) == Darwin ]]; then
  echo "fuzzing needs clang's libFuzzer, which Apple's toolchain lacks: run it on Linux" >&2
  exit 2
fi

targets=(fuzz_settings_parser fuzz_restore_state fuzz_properties fuzz_host_sequences)

scripts/install-deps.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]}"

runs=build/fuzz/fuzz-runs
rm -rf "$runs"
# UBSan reports abort (and so count as crashes) instead of scrolling past.
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
export ASAN_OPTIONS="detect_leaks=1"

failed=()
for target in "${targets[@]}"; do
  dir="$runs/$target"
  # Its temporary HOME lands in tmp/ too, where a run that aborts leaves it.
  mkdir -p "$dir/corpus" "$dir/artifacts" "$dir/tmp"
  cp fuzz/corpus/"$target"/* "$dir/corpus/"
  echo "== $target (${seconds}s)"
  if TMPDIR="$PWD/$dir/tmp" build/fuzz/fuzz/"$target" "$dir/corpus" -max_total_time="$seconds" -detect_leaks=1 -timeout=20 \
    -artifact_prefix="$dir/artifacts/" -print_final_stats=1 >"$dir/log" 2>&1; then
    grep -E '^#[0-9]+[[:space:]]+DONE' "$dir/log" | tail -n 1 || true
  else
    failed+=("$target")
    echo "FAILED (log: $dir/log, input: $dir/artifacts/)"
    grep -E 'ERROR|SUMMARY|runtime error|fuzz check failed|Test unit written' "$dir/log" | head -n 20 || true
  fi
done

if ((${#failed[@]} > 0)); then
  echo "fuzzing failed: ${failed[*]}"
  exit 1
fi
echo "fuzzing passed: ${#targets[@]} targets, ${seconds}s each"
