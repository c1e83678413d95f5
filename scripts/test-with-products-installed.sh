#!/usr/bin/env bash
# Runs the default preset's tests again as on a developer's Mac that has the
# products installed: the stand-ins' bundles (1.0.0) and a product of a newer
# version (a copy of the Auto-Tune Pro stand-in posing as 11.0.0), put on the
# registry's search path. Every test must pass or say why it skips. Linux only:
# the Mac's registry reads only the real Components folder.
#   scripts/test-with-products-installed.sh   (after scripts/test.sh)
set -euo pipefail

cd "$(dirname "$0")/.."
build=build/default
installed=$(mktemp -d)
trap 'rm -rf "$installed"' EXIT
cp -R "$build/StandIns/." "$installed/"
newer="$installed/NewerAutoTunePro.component"
cp -R "$build/StandIns/StandIn-AutoTunePro.component" "$newer"
sed -i -e 's#<integer>65536</integer>#<integer>720896</integer>#' \
  -e 's#Stand-in: Auto-Tune Pro#Antares: Auto-Tune Pro#' "$newer/Contents/Info.plist"
grep -q '<integer>720896</integer>' "$newer/Contents/Info.plist"

VENEER_COMPONENT_PATH="$installed" ctest --preset default -j"$(getconf _NPROCESSORS_ONLN)"
