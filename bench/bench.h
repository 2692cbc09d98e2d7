// Benchmark helpers. Every operation is registered under one base name in
// up to three forms:
//   <name>/tpx      TPX at the variant chosen at load time (the best here)
//   <name>/tpx-px   TPX forced to the generic variant
//   <name>/opencv   the OpenCV counterpart, single-threaded
// bench/compare.py reads the JSON output and prints one row per base name.
#ifndef TPX_BENCH_BENCH_H
#define TPX_BENCH_BENCH_H

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

#include "core/cpu.h"
#include "tpx.h"

namespace tpxbench {

using Body = std::function<void(benchmark::State&)>;

// Registers body as "<name>/tpx" and "<name>/tpx-px".
void registerTpx(const std::string& name, Body body);
// Registers body as "<name>/opencv" (only built when OpenCV was found).
void registerOpenCv(const std::string& name, Body body);

// Runs its constructor's function before main, to register benchmarks from
// any source file: static const tpxbench::Registrar r([] { ... });
struct Registrar {
  explicit Registrar(const std::function<void()>& f) { f(); }
};

}  // namespace tpxbench

#endif  // TPX_BENCH_BENCH_H
