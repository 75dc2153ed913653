// This processor's fused multiply-add peak per core, for each kernel build:
// independent chains of vector FMAs at the build's vector width (see
// bench/common.hpp), in double and single precision. The other benchmarks
// measure the build in use with the same routine and print their speeds as
// a fraction of it.
//
//   peak_bench
#include <cstdio>

#include "bench/common.hpp"

int main() {
  namespace b = orb::bench;
  std::printf("# processor: %s; orb kernels in use: %s\n", b::cpu_model().c_str(), orb_kernel_library());
  std::printf("%-7s %10s %10s   (GFLOPS per core)\n", "build", "double", "single");
  for (b::build k : {b::build::def, b::build::avx2, b::build::avx512}) {
    if (!b::build_runs(k)) {
      std::printf("%-7s %10s %10s   (not on this processor)\n", b::build_name(k), "-", "-");
      continue;
    }
    std::printf("%-7s %10.1f %10.1f%s\n", b::build_name(k), b::measure_peak(k, false), b::measure_peak(k, true),
                k == b::build_in_use() ? "   (in use)" : "");
  }
  return 0;
}
