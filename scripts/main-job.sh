#!/usr/bin/env bash
# Installs what is missing, builds the project and says what was built.
set -euo pipefail

cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default -- -j"$(nproc)"

echo
echo "Built (build/default):"
find build/default -maxdepth 3 -type f \( -name '*.so' -o -name '*.a' -o -perm -u+x \) \
  -not -path '*/CMakeFiles/*' -printf '  %P\n' | sort
