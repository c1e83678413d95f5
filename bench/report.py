#!/usr/bin/env python3
"""The benchmark figures as one table, with the ratios the targets are set on.

  report.py timings ROUND_DIR...   Google Benchmark JSON files, one folder per round
  report.py counts COUNT_DIR BLOCKS callgrind output files MODE-FRAMES-CH.out
  report.py scaling SCALING_DIR    bench_scaling JSON files UNIT-N-ROUND.json

Timings: the median over the rounds of each benchmark's CPU time (wall time
where the benchmark times itself). Counts: instructions per block. Scaling:
the median over the runs of each per-instance figure, per number of instances.
"""

import json
import re
import statistics
import subprocess
import sys
from pathlib import Path

SIZES = [32, 64, 128, 512, 1024, 4096]
CHANNELS = [1, 2]
TARGET_FRAMES, TARGET_CHANNELS = 512, 2
RENDER_LIMIT = 2.0  # Veneer's added cost over the direct stand-in, in two-copy floors
PASS_LIMIT = 3.0  # pass-through, in one-copy floors
# The shell's own added instructions per block at the smallest block: what it adds over the product hosted
# directly, less the framework's render call into the product, which a host pays as well when it hosts the
# product itself (the platform's dispatch, AUMethodRender and DoRender, measured in the stand-in's own run).
SMALL_FRAMES, SMALL_CHANNELS, SMALL_LIMIT = 32, 1, 400
LINK_LIMIT_US = 50.0  # one link cycle with an unchanged seq

RENDER_KEYS = {
    "veneer": "BM_VeneerRender",
    "standin": "BM_StandInRender",
    "two_copies": "BM_TwoBlockCopies",
    "passthrough": "BM_VeneerPassThrough",
    "one_copy": "BM_OneBlockCopy",
    "meter": "BM_VeneerMeter",  # the shell's input meter alone, part of both Veneer paths
}

TO_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def verdict(value, limit):
    return "met" if value <= limit else f"NOT met ({value / limit:.1f}x over)"


def render_table(figures, unit, decimals=1, counts=False):
    """figures[(mode, frames, ch)] -> value. Prints the render rows; returns the target rows."""
    v = lambda x: f"{x:>9.{decimals}f}" if x is not None else f"{'-':>9}"
    r = lambda x: f"{x:>7.2f}x" if x is not None else f"{'-':>8}"
    header = (f"{'frames':>6} {'ch':>2} | {'Veneer':>9} {'stand-in':>9} {'added':>9} {'2 copies':>9} {'added/2c':>8} | "
              f"{'meter':>9} {'w/o meter':>9} | {'pass-thru':>9} {'1 copy':>9} {'pass/1c':>8}")
    print(f"render, per block ({unit}); w/o meter: the same ratio without the input meter's share "
          f"(a pass-through replays one block and measures it once, so it has none)")
    print(header)
    print("-" * len(header))
    for frames in SIZES:
        for ch in CHANNELS:
            veneer, standin, two, passthrough, one, meter = (figures.get((m, frames, ch)) for m in RENDER_KEYS)
            if None in (veneer, standin, two, passthrough, one):
                print(f"{frames:>6} {ch:>2} | missing figures")
                continue
            added = veneer - standin
            ratio, pass_ratio = added / two, passthrough / one
            rest = (added - meter) / two if meter is not None else None
            mark = " <" if (frames, ch) in ((TARGET_FRAMES, TARGET_CHANNELS), (SMALL_FRAMES, SMALL_CHANNELS)) else ""
            print(f"{frames:>6} {ch:>2} | {v(veneer)} {v(standin)} {v(added)} {v(two)} {r(ratio)} | {v(meter)} "
                  f"{r(rest)} | {v(passthrough)} {v(one)} {r(pass_ratio)}{mark}")
    key = (TARGET_FRAMES, TARGET_CHANNELS)
    rows = []
    if all((m, *key) in figures for m in RENDER_KEYS if m != "meter"):
        ratio = (figures[("veneer", *key)] - figures[("standin", *key)]) / figures[("two_copies", *key)]
        pass_ratio = figures[("passthrough", *key)] / figures[("one_copy", *key)]
        rows.append((f"shell's added cost at {TARGET_FRAMES} frames stereo <= {RENDER_LIMIT:g}x two copies",
                     f"{ratio:.2f}x", verdict(ratio, RENDER_LIMIT)))
        rows.append((f"pass-through at {TARGET_FRAMES} frames stereo <= {PASS_LIMIT:g}x one copy", f"{pass_ratio:.2f}x",
                     verdict(pass_ratio, PASS_LIMIT)))
    small = (SMALL_FRAMES, SMALL_CHANNELS)
    if counts and ("veneer", *small) in figures and ("standin", *small) in figures:
        added = figures[("veneer", *small)] - figures[("standin", *small)]
        call = figures.get(("framework_call", *small))
        if call is None:
            rows.append((f"shell's own added cost at {SMALL_FRAMES} frames mono <= {SMALL_LIMIT} instructions",
                         "-", "NOT judged: the framework's call could not be measured"))
        else:
            own = added - call
            rows.append((f"shell's own added cost at {SMALL_FRAMES} frames mono <= {SMALL_LIMIT} instructions",
                         f"{own:.0f}", f"{verdict(own, SMALL_LIMIT)} (added {added:.0f}, of which the framework's "
                                       f"render call into the product {call:.0f})"))
    return rows


def print_rows(title, rows):
    if not rows:
        return
    width = max(len(r[0]) for r in rows)
    print(f"\n{title}")
    for row in rows:
        print(f"  {row[0]:<{width}}  {row[1]:>12}  {row[2] if len(row) > 2 else ''}")


def load_rounds(folders):
    """name -> list of benchmark entries, one per round."""
    runs = {}
    context = None
    for folder in folders:
        for path in sorted(Path(folder).glob("*.json")):
            data = json.loads(path.read_text())
            context = context or data.get("context")
            for entry in data["benchmarks"]:
                if entry.get("error_occurred"):
                    print(f"error in {entry['name']}: {entry.get('error_message')}", file=sys.stderr)
                    continue
                if entry.get("run_type", "iteration") == "iteration":
                    runs.setdefault(entry["name"], []).append(entry)
    return runs, context


def median_of(runs, name, field="cpu_time"):
    entries = runs.get(name)
    if not entries:
        return None
    return statistics.median(e[field] * TO_NS[e["time_unit"]] for e in entries)


def timings(folders):
    runs, context = load_rounds(folders)
    if not runs:
        sys.exit("no benchmark results found")
    rounds = max(len(v) for v in runs.values())
    figures = {}
    for mode, family in RENDER_KEYS.items():
        for frames in SIZES:
            for ch in CHANNELS:
                value = median_of(runs, f"{family}/frames:{frames}/ch:{ch}")
                if value is not None:
                    figures[(mode, frames, ch)] = value
    print(f"Veneer benchmarks: median of {rounds} rounds; CPU time unless marked wall")
    if context:
        load = ", ".join(f"{x:.2f}" for x in context.get("load_avg", []))
        print(f"machine: {context.get('num_cpus')} CPUs at {context.get('mhz_per_cpu')} MHz, load average {load}")
    print()
    targets = render_table(figures, "ns, CPU time")

    other = []

    def add(label, name, field="cpu_time", scale=1.0, unit="ns", note=""):
        value = median_of(runs, name, field)
        if value is not None:
            other.append((label, f"{value / scale:.1f} {unit}", note))
        return value

    add("AudioUnitSetParameter, own parameter (forwarded to the inner unit)", "BM_SetParameter")
    add("  the stand-in's own share: the same set hosted directly", "BM_SetParameterOnStandIn")
    add("AudioUnitGetParameter, own parameter", "BM_GetParameter")
    link = add("link cycle, unchanged seq", "BM_LinkCycleUnchangedSeq", scale=1e3, unit="us")
    add("link cycle, new seq (wall)", "BM_LinkCycleNewSeq/manual_time", "real_time", 1e3, "us")
    add("link cycle, alive file and diagnostics line due (wall)", "BM_LinkCycleAllTailsDue/manual_time",
        "real_time", 1e3, "us")
    for case in ("product", "no_product"):
        name = f"BM_OpenInitializeDispose/{case}/manual_time"
        entries = runs.get(name)
        if not entries:
            continue
        label = "with the product" if case == "product" else "without any product"
        whole = statistics.median(e["real_time"] * TO_NS[e["time_unit"]] for e in entries) / 1e3
        opened = statistics.median(e["open_init_us"] for e in entries)
        closed = statistics.median(e["dispose_us"] for e in entries)
        other.append((f"open + initialise, {label} (wall)", f"{opened:.1f} us", ""))
        other.append((f"uninitialise + dispose, {label} (wall)", f"{closed:.1f} us", f"cycle {whole:.1f} us"))
    if link is not None:
        targets.append((f"link cycle with unchanged seq < {LINK_LIMIT_US:g} us", f"{link / 1e3:.1f} us",
                        "met" if link / 1e3 < LINK_LIMIT_US else
                        f"NOT met ({link / 1e3 / LINK_LIMIT_US:.1f}x over)"))
    print_rows("other figures", other)
    print_rows("targets", targets)


def inclusive(path, function):
    """Inclusive instructions of `function` (a name as callgrind_annotate prints it) in one callgrind file."""
    listing = subprocess.run(["callgrind_annotate", "--inclusive=yes", "--threshold=100", str(path)],
                             capture_output=True, text=True, check=False).stdout
    for line in listing.splitlines():
        match = re.match(r"\s*([\d,]+)\s.*?:(.+?) \[", line)
        if match and match[2].startswith(function):
            return int(match[1].replace(",", ""))
    return None


def framework_call(path, blocks):
    """Per block, the framework's render call into the stand-in hosted directly: the host's AudioUnitRender less
    the stand-in's own Render under it."""
    whole, product = inclusive(path, "AudioUnitRender"), inclusive(path, "standin::Unit::Render(")
    return (whole - product) / blocks if whole is not None and product is not None else None


def counts(folder, blocks):
    figures = {}
    for path in Path(folder).glob("*.out"):
        match = re.fullmatch(r"(\w+)-(\d+)-(\d)\.out", path.name)
        totals = re.search(r"^totals:\s*(\d+)", path.read_text(), re.M)
        if match and totals:
            figures[(match[1], int(match[2]), int(match[3]))] = int(totals[1]) / blocks
            if match[1] == "standin" and (int(match[2]), int(match[3])) == (SMALL_FRAMES, SMALL_CHANNELS):
                call = framework_call(path, blocks)
                if call is not None:
                    figures[("framework_call", SMALL_FRAMES, SMALL_CHANNELS)] = call
    if not figures:
        sys.exit("no callgrind results found")
    print(f"Veneer render, instructions per block (callgrind, {blocks} measured blocks per configuration)\n")
    targets = render_table(figures, "instructions", decimals=0, counts=True)
    print_rows("targets (instruction counts)", targets)


def scaling(folder):
    runs = {}
    for path in sorted(Path(folder).glob("*.json")):
        figures = json.loads(path.read_text())
        runs.setdefault((figures["unit"], figures["instances"]), []).append(figures)
    sizes = sorted(n for unit, n in runs if unit == "veneer")
    if not sizes:
        sys.exit("no scaling results found")

    def median(unit, n, field):
        values = [r[field] for r in runs.get((unit, n), []) if field in r]
        return statistics.median(values) if values else None

    f = lambda x, width=8, decimals=1: f"{x:>{width}.{decimals}f}" if x is not None else f"{'-':>{width}}"
    counts = ", ".join(f"N={n}: {len(runs[('veneer', n)])}" for n in sizes)
    print(f"Veneer, many instances in one process: per instance, median of the runs ({counts})")
    every = [r for entries in runs.values() for r in entries if "load_average" in r]
    if every:
        loads = [r["load_average"] for r in every]
        print(f"machine: {every[0]['cpus']} CPUs, load average (1 min) at the end of the runs "
              f"{min(loads):.2f} to {max(loads):.2f}, median {statistics.median(loads):.2f}")
    print("open and close: wall time per instance, median instance and mean (a session's total / N); memory: resident "
          "growth / N;\nidle: process CPU per wall second, companion alive, no rendering; render: one 512-frame stereo "
          "block, CPU time\nof the render thread; product: the stand-in hosted alone in the same way\n")
    header = (f"{'N':>5} | {'open us':>8} {'mean':>8} | {'KiB':>8} {'product':>8} | {'idle ms/s':>9} {'us/s each':>9} | "
              f"{'render ns':>9} {'product':>8} | {'close us':>8} {'mean':>8}")
    print(header)
    print("-" * len(header))
    rows = {}
    for n in sizes:
        row = [median("veneer", n, "open_us_median"), median("veneer", n, "open_us"),
               median("veneer", n, "memory_kib"), median("product", n, "memory_kib"),
               median("veneer", n, "idle_cpu_ms_per_s"), median("veneer", n, "idle_cpu_us_per_s_per_instance"),
               median("veneer", n, "render_ns"), median("product", n, "render_ns"),
               median("veneer", n, "close_us_median"), median("veneer", n, "close_us")]
        rows[n] = row
        print(f"{n:>5} | {f(row[0])} {f(row[1])} | {f(row[2])} {f(row[3])} | {f(row[4], 9, 2)} {f(row[5], 9)} | "
              f"{f(row[6], 9, 0)} {f(row[7], 8, 0)} | {f(row[8])} {f(row[9])}")
    low, high = (16, sizes[-1]) if 16 in sizes and sizes[-1] > 16 else (sizes[0], sizes[-1])
    if low != high:
        ratio = lambda a, b: f"{a / b:.2f}x" if a is not None and b else "-"
        cells = [ratio(rows[high][i], rows[low][i]) for i in range(len(rows[high]))]
        print(f"{'':>5} | {cells[0]:>8} {cells[1]:>8} | {cells[2]:>8} {cells[3]:>8} | {'':>9} {cells[5]:>9} | "
              f"{cells[6]:>9} {cells[7]:>8} | {cells[8]:>8} {cells[9]:>8}   per instance, N={high} / N={low}")

    top = runs[("veneer", sizes[-1])]
    other = []
    add = lambda label, value: other.append((label, value, ""))
    limit = lambda x: "none" if x < 0 else str(x)
    add(f"threads at N={sizes[-1]} (all open; before and after)",
        f"{max(r['threads_open'] for r in top)} ({top[0]['threads_before']}, "
        f"{max(r['threads_closed'] for r in top)})")
    add("  soft limit on processes (Linux: threads) per user", limit(top[0]["process_limit"]))
    for n in sizes:
        entries = runs[("veneer", n)]
        add(f"open file descriptors, most at once in 2 s with N={n} (before; after closing)",
            f"{max(r['files_peak'] for r in entries)} ({entries[0]['files_before']}; "
            f"{max(r['files_closed'] for r in entries)})")
    add("  soft limit on open files", limit(top[0]["files_limit"]))
    add(f"context switches while idle, per instance per second (N={sizes[-1]})",
        f"{median('veneer', sizes[-1], 'idle_switches_per_s') / sizes[-1]:.2f}")
    add(f"render wall time per instance-block (N={sizes[-1]})", f"{median('veneer', sizes[-1], 'render_wall_ns'):.0f} ns")
    add(f"open: first and last tenth opened, mean (N={sizes[-1]})",
        f"{median('veneer', sizes[-1], 'open_us_first_tenth'):.0f} / "
        f"{median('veneer', sizes[-1], 'open_us_last_tenth'):.0f} us")
    add(f"close: first and last tenth closed, mean (N={sizes[-1]})",
        f"{median('veneer', sizes[-1], 'close_us_first_tenth'):.0f} / "
        f"{median('veneer', sizes[-1], 'close_us_last_tenth'):.0f} us")
    add("the process's own idle CPU (product alone, N=1)", f"{median('product', sizes[0], 'idle_cpu_ms_per_s'):.3f} ms/s")
    print_rows("other figures", other)


def main(argv):
    if len(argv) >= 2 and argv[1] == "timings":
        timings(argv[2:])
    elif len(argv) == 3 and argv[1] == "scaling":
        scaling(argv[2])
    elif len(argv) == 4 and argv[1] == "counts":
        counts(argv[2], int(argv[3]))
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv)
