// orb_tour: what this processor is, which kernel library orb picked for it,
// and a short run of each subsystem with checked results and speeds.
//
//   orb_tour              run every section
//   orb_tour level1 ...   run only the named sections
//   orb_tour --list       list the sections
//
// Exit status: 0 when every check passed, 1 otherwise.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/tour/tour.hpp"
#include "orb/orb_service.h"

namespace orb::tour {
std::vector<section>& sections() {
  static std::vector<section> list;
  return list;
}
}  // namespace orb::tour

// Optional services: the tour also runs against an older core that lacks
// them, and then simply leaves their lines out.
#pragma weak orb_serv_get_version_string_c
#pragma weak orb_serv_get_cache_size

namespace {

const char* level_name(int level) {
  switch (level) {
    case 9: return "AVX-512 (F, DQ, BW, VL)";
    case 8: return "AVX-512 F";
    case 7: return "AVX2 with FMA";
    case 6: return "AVX";
    case 5: return "SSE4.2";
    case 4: return "SSE4.1";
    case 3: return "SSSE3";
    case 2: return "SSE3";
    case 1: return "SSE2";
    default: return "older than SSE2";
  }
}

}  // namespace

int main(int argc, char** argv) {
  using namespace orb::tour;
  auto& list = sections();
  std::stable_sort(list.begin(), list.end(), [](const section& a, const section& b) { return a.order < b.order; });

  if (argc > 1 && std::strcmp(argv[1], "--list") == 0) {
    for (const auto& s : list) std::printf("%s\n", s.name);
    return 0;
  }

  char version[200] = {0};
  if (&orb_serv_get_version_string_c) orb_serv_get_version_string_c(version, sizeof version);
  const int cpu = orb_serv_cpu_detect();
  std::printf("orb tour\n");
  if (version[0]) std::printf("  library         %s\n", version);
  std::printf("  processor level %d: %s%s%s%s\n", cpu, level_name(cpu),
              orb_serv_cpuistvl() ? ", VNNI" : "", orb_serv_cpuisvsq() ? ", VBMI2/BITALG" : "",
              orb_serv_cpuisnrd() ? ", FP16/AMX" : "");
  const bool caches = &orb_serv_get_cache_size != nullptr;
  const int l1 = caches ? orb_serv_get_cache_size(1) : 0, l2 = caches ? orb_serv_get_cache_size(2) : 0,
            l3 = caches ? orb_serv_get_cache_size(3) : 0;
  if (l1 || l2 || l3) std::printf("  caches          L1d %d KiB, L2 %d KiB, L3 %d KiB\n", l1 >> 10, l2 >> 10, l3 >> 10);
  std::printf("  kernel library  %s (level %d)\n", orb_kernel_library(), orb_kernel_level());
  const char* isa = std::getenv("ORB_ISA");
  if (isa && *isa) std::printf("  ORB_ISA         %s\n", isa);
  std::printf("  pointer size    %d bits\n", int(sizeof(void*) * 8));

  outcome total;
  int ran = 0;
  for (const auto& s : list) {
    bool wanted = argc < 2;
    for (int i = 1; i < argc; ++i) wanted = wanted || std::strcmp(argv[i], s.name) == 0;
    if (!wanted) continue;
    ++ran;
    std::printf("\n%s\n", s.name);
    outcome o;
    s.run(o);
    total.checks += o.checks;
    total.failures += o.failures;
  }
  if (ran == 0) {
    std::fprintf(stderr, "no such section; try --list\n");
    return 2;
  }
  std::printf("\n%d checks, %d passed, %d failed\n", total.checks, total.checks - total.failures,
              total.failures);
  return total.failures ? 1 : 0;
}
