#!/usr/bin/env python3
"""Runs the benchmark binary and prints one row per operation:

    operation | tpx | tpx generic | OpenCV | ratio [| other peers...]

Times are per call; ratio = tpx / OpenCV, below 1.0 means TPX is faster.
Peers other than OpenCV (FFTW for the transforms) get columns of their own.
With --mflops, benchmarks that count floating-point work show MFLOP/s
instead of times (higher is better; the ratio is then tpx / peer speed).

usage: bench/compare.py [path/to/tpx_bench] [--mflops] [benchmark options...]
"""
import json
import subprocess
import sys

FIXED = ["tpx", "tpx-px", "opencv"]
TITLES = {"tpx": "tpx", "tpx-px": "tpx generic", "opencv": "OpenCV"}


def fmt_time(t):
    if t is None:
        return "-"
    for unit, f in (("s", 1.0), ("ms", 1e-3), ("us", 1e-6)):
        if t >= f:
            return "%.3g %s" % (t / f, unit)
    return "%.3g ns" % (t / 1e-9)


def main(argv):
    args = argv[1:]
    mflops = "--mflops" in args
    args = [a for a in args if a != "--mflops"]
    binary = "build/release/bench/tpx_bench"
    if args and not args[0].startswith("-"):
        binary = args.pop(0)
    out = subprocess.run([binary, "--benchmark_format=json"] + args,
                         check=True, stdout=subprocess.PIPE).stdout
    rows, order, kinds = {}, [], list(FIXED)
    for b in json.loads(out)["benchmarks"]:
        if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
            continue
        base, _, kind = b.get("run_name", b["name"]).rpartition("/")
        if base not in rows:
            rows[base] = {}
            order.append(base)
        if kind not in kinds:
            kinds.append(kind)
        scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b.get("time_unit", "ns")]
        value = b["MFLOPS"] if mflops and "MFLOPS" in b else b["real_time"] * scale
        rows[base][kind] = value
    if mflops:
        order = [o for o in order if any(k for k in rows[o])]
    peers = [k for k in kinds if k not in FIXED]
    cell = (lambda v: "-" if v is None else "%.0f" % v) if mflops else fmt_time
    width = max([len("operation")] + [len(b) for b in order])
    head = ["%-*s" % (width, "operation")] + ["%11s" % TITLES.get(k, k) for k in FIXED]
    head += ["%5s" % "ratio"] + ["%13s" % p for p in peers]
    print(" | ".join(head))
    print("-|-".join("-" * len(h) for h in head))
    for base in order:
        r = rows[base]
        tpx, cv = r.get("tpx"), r.get("opencv")
        ratio = "%.2f" % (tpx / cv) if tpx and cv else "-"
        line = ["%-*s" % (width, base)] + ["%11s" % cell(r.get(k)) for k in FIXED]
        line += ["%5s" % ratio] + ["%13s" % cell(r.get(p)) for p in peers]
        print(" | ".join(line))


if __name__ == "__main__":
    main(sys.argv)
