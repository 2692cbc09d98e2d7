#!/usr/bin/env python3
"""Runs the benchmark binary and prints one row per operation:

    operation | tpx | tpx generic | OpenCV | ratio

Times are per call. ratio = tpx / OpenCV: below 1.0 means TPX is faster.

usage: bench/compare.py [path/to/tpx_bench] [benchmark options...]
"""
import json
import subprocess
import sys


def main(argv):
    binary = argv[1] if len(argv) > 1 and not argv[1].startswith("-") else "build/release/bench/tpx_bench"
    extra = [a for a in argv[1:] if a.startswith("-")]
    out = subprocess.run([binary, "--benchmark_format=json"] + extra,
                         check=True, stdout=subprocess.PIPE).stdout
    rows = {}
    order = []
    for b in json.loads(out)["benchmarks"]:
        if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
            continue
        name = b.get("run_name", b["name"])
        base, _, kind = name.rpartition("/")
        if base not in rows:
            rows[base] = {}
            order.append(base)
        scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b.get("time_unit", "ns")]
        rows[base][kind] = b["real_time"] * scale

    def fmt(t):
        if t is None:
            return "-"
        for unit, f in (("s", 1.0), ("ms", 1e-3), ("us", 1e-6)):
            if t >= f:
                return "%.3g %s" % (t / f, unit)
        return "%.3g ns" % (t / 1e-9)

    width = max([len("operation")] + [len(b) for b in order])
    print("%-*s | %10s | %11s | %10s | %5s" % (width, "operation", "tpx", "tpx generic", "OpenCV", "ratio"))
    print("%s-|-%s-|-%s-|-%s-|-%s" % ("-" * width, "-" * 10, "-" * 11, "-" * 10, "-" * 5))
    for base in order:
        r = rows[base]
        tpx, gen, cv = r.get("tpx"), r.get("tpx-px"), r.get("opencv")
        ratio = "%.2f" % (tpx / cv) if tpx and cv else "-"
        print("%-*s | %10s | %11s | %10s | %5s" % (width, base, fmt(tpx), fmt(gen), fmt(cv), ratio))


if __name__ == "__main__":
    main(sys.argv)
