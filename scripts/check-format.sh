#!/usr/bin/env bash
# Fails when a C, C++ or Objective-C++ source of the project is not formatted as .clang-format says.
set -euo pipefail

cd "$(dirname "$0")/.."
# No xargs: GNU's and the BSD one (macOS) differ on empty input.
files=()
while IFS= read -r -d '' file; do
  files+=("$file")
done < <(git ls-files -z --cached --others --exclude-standard -- '*.h' '*.c' '*.cpp' '*.mm')
if ((${#files[@]} > 0)); then
  clang-format --dry-run --Werror "${files[@]}"
fi
echo "format: clean"
