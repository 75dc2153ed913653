#include "tests/support/oracle.hpp"

#include <dlfcn.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>

#include "orb/orb_service.h"

namespace orb::test {

void* reference_symbol(const char* name) {
  static void* handle = [] {
    void* h = dlopen(ORB_REF_BLAS_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!h) {
      std::fprintf(stderr, "cannot open the reference BLAS %s: %s\n", ORB_REF_BLAS_PATH, dlerror());
      std::exit(2);
    }
    return h;
  }();
  void* f = dlsym(handle, name);
  if (!f) {
    std::fprintf(stderr, "the reference BLAS lacks %s\n", name);
    std::exit(2);
  }
  return f;
}

std::vector<const char*> runnable_builds() {
  std::vector<const char*> out;
  const int cpu = orb_serv_cpu_detect();
  if (cpu >= 9 && orb_test_kernel("avx512", "xddot")) out.push_back("avx512");
  if (cpu >= 7 && orb_test_kernel("avx2", "xddot")) out.push_back("avx2");
  out.push_back("def");
  return out;
}

void* faulting_pointer() {
  static void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return static_cast<char*>(page) + 2048;
}

}  // namespace orb::test
