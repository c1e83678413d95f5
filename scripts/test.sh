#!/usr/bin/env bash
# Installs what is missing, builds one preset (default: "default") and runs its tests.
#   scripts/test.sh [default|asan|tsan]
set -euo pipefail

preset="${1:-default}"
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" -j"$(getconf _NPROCESSORS_ONLN)"
