#!/usr/bin/env bash
# The system's validator on one component (macOS). Right after the component
# registrar restarts, auval may not see a new bundle yet: it first lists every
# component, which waits for the rescan, and a failed validation is tried once
# more after another listing.
#   scripts/auval.sh [x86_64|arm64] AUVAL-ARGUMENTS...   (x86_64 on Apple silicon: under Rosetta)
set -euo pipefail

run=(auval)
if [[ ${1:-} == x86_64 || ${1:-} == arm64 ]]; then
  run=(arch "-$1" auval)
  shift
fi
"${run[@]}" -a >/dev/null
if ! "${run[@]}" "$@"; then
  echo "auval: failed once; listing the components again and trying once more" >&2
  sleep 2
  "${run[@]}" -a >/dev/null
  "${run[@]}" "$@"
fi
