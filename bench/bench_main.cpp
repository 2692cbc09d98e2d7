#include <benchmark/benchmark.h>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace tpxbench {

namespace {
// The processor type that tpxSetCpuType maps to the generic variant.
constexpr TpxCpuType kGenericType = tpxCpuNone;
}  // namespace

void registerTpx(const std::string& name, Body body) {
  benchmark::RegisterBenchmark((name + "/tpx").c_str(), body);
  benchmark::RegisterBenchmark((name + "/tpx-px").c_str(), [body](benchmark::State& state) {
    const TpxCpuType loaded = tpxGetCpuType();
    tpxSetCpuType(kGenericType);
    body(state);
    tpxSetCpuType(loaded);
  });
}

void registerOpenCv(const std::string& name, Body body) {
  benchmark::RegisterBenchmark((name + "/opencv").c_str(), body);
}

}  // namespace tpxbench

int main(int argc, char** argv) {
#ifdef TPX_HAVE_OPENCV
  // Compare single-threaded code with single-threaded code.
  cv::setNumThreads(1);
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
