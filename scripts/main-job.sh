#!/usr/bin/env bash
# The main job: installs what is missing, builds, installs Veneer.component for
# this user, and renders the embedded demo voice through it with veneer-host,
# which plays both the DAW and the companion application.
#   scripts/main-job.sh [extra veneer-host render options]
set -euo pipefail

cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default -- -j"$(nproc)"
cmake --install build/default >/dev/null
echo "Installed Veneer.component in $HOME/Library/Audio/Plug-Ins/Components"
echo

build/default/tools/veneer-host/veneer-host render --output build/default/demo/veneer-demo.wav "$@"
