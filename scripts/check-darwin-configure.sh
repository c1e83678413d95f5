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
expect "a changed Info.plist links and signs Veneer again" \
  grep -qE '^build Veneer\.component/Contents/MacOS/Veneer:.*Veneer\.component/Contents/Info\.plist' "$ninja_file"
expect "a changed Info.plist links and signs each stand-in again" \
  test "$(grep -E '^build standin/StandIn:' "$ninja_file" | grep -o 'StandIns/StandIn-[A-Za-z0-9]*\.component/Contents/Info\.plist' | sort -u | wc -l)" -eq 5
view_link=$(grep -E '^build Veneer\.component/Contents/Resources/VeneerCocoaUI\.bundle/Contents/MacOS/VeneerCocoaUI:' "$ninja_file" || true)
expect "the window's bundle is linked inside Veneer.component/Contents/Resources" test -n "$view_link"
expect "a changed Info.plist links and signs the window's bundle again" \
  grep -q 'VeneerCocoaUI\.bundle/Contents/Info\.plist' <<<"$view_link"
expect "Veneer is linked and signed after the window's bundle" \
  grep -qE '^build Veneer\.component/Contents/MacOS/Veneer:.*VeneerCocoaUI\.bundle/Contents/MacOS/VeneerCocoaUI' "$ninja_file"
plist="$build/Veneer.component/Contents/Info.plist"
expect "Info.plist names the executable Veneer" grep -q '<string>Veneer</string>' "$plist"
expect "Info.plist gives macOS 12.0 as the minimum" grep -q '<string>12.0</string>' "$plist"
expect "Info.plist has CFBundleInfoDictionaryVersion" grep -q 'CFBundleInfoDictionaryVersion' "$plist"
expect "Info.plist does not claim sandbox safety" bash -c '! grep -q sandboxSafe "$1"' _ "$plist"

# A Mac developer may use a multi-configuration generator (Xcode, Ninja
# Multi-Config): the bundles' layout must not gain a per-configuration folder.
multi=build/darwin-check-multi
rm -rf "$multi"
if cmake -S . -B "$multi" -G "Ninja Multi-Config" --toolchain cmake/toolchains/darwin-configure-check.cmake \
  -DCMAKE_LIBRARY_PATH="/usr/lib/$(gcc -print-multiarch)" >"$multi.log" 2>&1; then
  for config in Debug Release; do
    expect "$config (multi-config): Veneer is linked as Veneer.component/Contents/MacOS/Veneer" \
      grep -qE '^build Veneer\.component/Contents/MacOS/Veneer:' "$multi/CMakeFiles/impl-$config.ninja"
    expect "$config (multi-config): the window's bundle lies in Veneer.component/Contents/Resources" \
      grep -qE '^build Veneer\.component/Contents/Resources/VeneerCocoaUI\.bundle/Contents/MacOS/VeneerCocoaUI:' \
      "$multi/CMakeFiles/impl-$config.ninja"
  done
else
  cat "$multi.log"
  echo "FAIL  configure with Ninja Multi-Config"
  failures=$((failures + 1))
fi

if ((failures > 0)); then
  echo "darwin configure: $failures check(s) failed (see $ninja_file)" >&2
  exit 1
fi
echo "darwin configure: generated and checked"
