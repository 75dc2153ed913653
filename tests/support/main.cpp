// Test main: runs the suite on the build ORB_ISA names, or reports a skip
// (exit code 77) when the processor cannot run that build.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "orb/orb_service.h"

int main(int argc, char** argv) {
  const char* isa = std::getenv("ORB_ISA");
  const int cpu = orb_serv_cpu_detect();
  if (isa && ((std::strcmp(isa, "avx512") == 0 && cpu < 9) || (std::strcmp(isa, "avx2") == 0 && cpu < 7))) {
    std::printf("skipped: this processor (level %d) cannot run the %s build\n", cpu, isa);
    return 77;
  }
  std::printf("kernel library: %s (level %d)\n", orb_kernel_library(), orb_kernel_level());
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
