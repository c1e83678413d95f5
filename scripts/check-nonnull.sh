#!/usr/bin/env bash
# The real macOS headers mark the component API's pointer parameters non-null,
# and a literal null passed there does not compile on a Mac (-Wnonnull, warnings
# are errors). Our platform headers carry the same marks, which only clang
# reads: this compiles (syntax only) with clang every source that a Mac builds
# too, and fails on any such null. The Linux platform layer and its own tests,
# never built on a Mac, are left out.
set -euo pipefail

cd "$(dirname "$0")/.."
scripts/install-deps.sh
if [[ ! -f build/default/compile_commands.json ]]; then
  cmake --preset default >/dev/null
fi
python3 - "$(getconf _NPROCESSORS_ONLN)" <<'PY'
import concurrent.futures, json, re, shlex, subprocess, sys

portable = re.compile(r"/(ausdk|shell|audio|link|view|standin|harness|tools|"
                      r"tests/(ausdk|audio|link|rtsafety|shell|standin|stress|support|tools|view))/")
entries = [e for e in json.load(open("build/default/compile_commands.json")) if portable.search(e["file"])]

def check(entry):
    words = shlex.split(entry["command"])
    # The same flags, with clang, checking nothing but nulls where a pointer is promised.
    words = ["clang++"] + [w for w in words[1:] if w not in ("-c",)]
    out = words.index("-o")
    del words[out:out + 2]
    words += ["-fsyntax-only", "-Wno-everything", "-Wnonnull", "-Werror=nonnull"]
    done = subprocess.run(words, cwd=entry["directory"], capture_output=True, text=True)
    return entry["file"], done.returncode, done.stderr

failed = 0
with concurrent.futures.ThreadPoolExecutor(int(sys.argv[1])) as pool:
    for name, status, errors in pool.map(check, entries):
        if status != 0:
            failed += 1
            sys.stdout.write(errors)
if failed:
    print(f"check-nonnull: {failed} file(s) pass a literal null where the platform promises a pointer (above)")
    sys.exit(1)
print(f"check-nonnull: clean ({len(entries)} files)")
PY
