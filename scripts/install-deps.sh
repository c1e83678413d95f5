#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only those missing.
set -euo pipefail

packages=(
  cmake ninja-build g++ clang clang-format clang-tidy libclang-rt-14-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev pkg-config libplist-dev libsndfile1-dev valgrind
)

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
