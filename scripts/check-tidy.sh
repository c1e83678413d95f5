#!/usr/bin/env bash
# Runs clang-tidy (the checks in .clang-tidy, every finding an error) over the
# plug-in's own sources: the framework, the shell, the audio path, the link and the window.
# Uses the compile commands of the default preset, configuring it when needed.
set -euo pipefail

cd "$(dirname "$0")/.."
scripts/install-deps.sh
if [[ ! -f build/default/compile_commands.json ]]; then
  cmake --preset default >/dev/null
fi
tidy=$(command -v run-clang-tidy || command -v run-clang-tidy-14)
log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
"$tidy" -p build/default -quiet -j "$(getconf _NPROCESSORS_ONLN)" "$PWD/(ausdk|shell|audio|link|view)/" >"$log" 2>&1 || status=$?
# Only the findings, without the progress lines.
sed 's/\x1b\[[0-9;]*m//g' "$log" |
  grep -vE '^(clang-tidy|[0-9]+ warnings? generated|Suppressed [0-9]+ warnings|Use -header-filter)' || true
if [[ $status -ne 0 ]]; then
  echo "clang-tidy: findings above" >&2
  exit 1
fi
echo "clang-tidy: clean"
