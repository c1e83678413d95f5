#!/usr/bin/env bash
# Fails when a C or C++ source of the project is not formatted as .clang-format says.
set -euo pipefail

cd "$(dirname "$0")/.."
git ls-files -z --cached --others --exclude-standard -- '*.h' '*.c' '*.cpp' |
  xargs -0 --no-run-if-empty clang-format --dry-run --Werror
echo "format: clean"
