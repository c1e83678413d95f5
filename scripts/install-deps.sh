#!/usr/bin/env bash
# Installs what the build and the tests need, only what is missing: Debian
# packages (with sudo when not root), or on macOS Homebrew formulae (the Xcode
# command line tools must already be there: they bring clang, codesign and auval).
#   scripts/install-deps.sh [--bench]   (--bench: also what the benchmarks need)
set -euo pipefail

bench=false
if [[ ${1:-} == --bench ]]; then
  bench=true
fi

if [[ $(uname -s) == Darwin ]]; then
  if ! xcode-select -p >/dev/null 2>&1; then
    echo "The Xcode command line tools are missing: run 'xcode-select --install', then try again." >&2
    exit 1
  fi
  if ! command -v brew >/dev/null 2>&1; then
    echo "Homebrew is missing: see https://brew.sh, then try again." >&2
    exit 1
  fi
  missing=()
  # Tools by their command: a formula may be installed under another name
  # (pkg-config is an alias of pkgconf) or the tool may come from elsewhere.
  for tool in cmake:cmake ninja:ninja pkg-config:pkgconf; do
    if ! command -v "${tool%%:*}" >/dev/null 2>&1; then
      missing+=("${tool#*:}")
    fi
  done
  # Libraries by their formula.
  libraries=(libsndfile cli11 googletest)
  if $bench; then
    libraries+=(google-benchmark)
  fi
  installed=$(brew list --formula -1)
  for formula in "${libraries[@]}"; do
    if ! grep -qx "$formula" <<<"$installed"; then
      missing+=("$formula")
    fi
  done
  if ((${#missing[@]} > 0)); then
    echo "Installing: ${missing[*]}"
    brew install "${missing[@]}"
  fi
  exit 0
fi

packages=(
  cmake ninja-build g++ clang clang-format clang-tidy libclang-rt-14-dev
  googletest libgtest-dev libgmock-dev pkg-config libplist-dev libsndfile1-dev libcli11-dev
)
if $bench; then
  packages+=(libbenchmark-dev valgrind)
fi

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

echo "Installing: ${missing[*]}"
sudo_cmd=()
if [[ $(id -u) -ne 0 ]]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
