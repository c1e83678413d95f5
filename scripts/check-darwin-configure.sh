#!/usr/bin/env bash
# Configures the project for macOS from Linux (cmake/toolchains/darwin-configure-check.cmake,
# tests on, as a Mac developer's default) and checks what the generated build
# would make: the plug-in in its bundle as Contents/MacOS/Veneer, universal,
# exporting only _VeneerFactory, signed; the stand-in bundles likewise; no
# Linux-only target. Nothing is compiled. Catches, without a Mac, a build that
# would not configure there.
set -euo pipefail

cd "$(dirname "$0")/.."
scripts/install-deps.sh

build=build/darwin-check
rm -rf "$build"
# The host's libraries (GoogleTest) stand in for Homebrew's: only their presence is asked.
cmake -S . -B "$build" -G Ninja --toolchain cmake/toolchains/darwin-configure-check.cmake \
  -DCMAKE_LIBRARY_PATH="/usr/lib/$(gcc -print-multiarch)" >"$build.log" 2>&1 || {
  cat "$build.log"
  echo "darwin configure: FAILED to configure or generate" >&2
  exit 1
}

failures=0
expect() {  # expect "what" command...
  local what=$1
  shift
  if "$@" >/dev/null 2>&1; then
    echo "ok    $what"
  else
    echo "FAIL  $what"
    failures=$((failures + 1))
  fi
}

ninja_file="$build/build.ninja"
# The link statement of the plug-in and the flags it is linked with.
veneer_link=$(grep -A12 -E '^build Veneer\.component/Contents/MacOS/Veneer:' "$ninja_file" || true)

expect "Veneer is linked as Veneer.component/Contents/MacOS/Veneer" test -n "$veneer_link"
expect "it exports only _VeneerFactory" grep -q -- '-exported_symbol,_VeneerFactory' <<<"$veneer_link"
expect "no Linux version script is used" bash -c '! grep -q -- "--version-script" <<<"$1"' _ "$veneer_link"
expect "it is universal (arm64 and x86_64)" grep -q -- '-arch arm64 -arch x86_64' <<<"$veneer_link"
expect "it links the system frameworks" grep -q -- '-framework AudioToolbox' <<<"$veneer_link"
expect "the bundle is signed and verified after the link" \
  grep -qE 'codesign --force --sign - .*Veneer\.component.*codesign --verify --strict' "$ninja_file"
expect "the platform layer is not built" bash -c '! grep -qE "^build [^:]*libplatform" "$1"' _ "$ninja_file"
expect "each stand-in bundle gets the module in Contents/MacOS" \
  test "$(grep -o 'StandIn-[A-Za-z0-9]*\.component/Contents/MacOS/StandIn' "$ninja_file" | sort -u | wc -l)" -eq 5
expect "the stand-in module exports only its five factories" \
  test "$(grep -A12 -E '^build standin/StandIn:' "$ninja_file" | grep -o 'exported_symbol,_StandIn[A-Za-z0-9]*Factory' | sort -u | wc -l)" -eq 5
plist="$build/Veneer.component/Contents/Info.plist"
expect "Info.plist names the executable Veneer" grep -q '<string>Veneer</string>' "$plist"
expect "Info.plist gives macOS 12.0 as the minimum" grep -q '<string>12.0</string>' "$plist"
expect "Info.plist has CFBundleInfoDictionaryVersion" grep -q 'CFBundleInfoDictionaryVersion' "$plist"
expect "Info.plist does not claim sandbox safety" bash -c '! grep -q sandboxSafe "$1"' _ "$plist"

if ((failures > 0)); then
  echo "darwin configure: $failures check(s) failed (see $ninja_file)" >&2
  exit 1
fi
echo "darwin configure: generated and checked"
