// Loads a liborb_core.so.2 given by path, as a program would, and reports
// which kernel library the core chose and whether it computes. The loader
// tests copy the core into scratch directories with missing or broken
// kernel libraries beside it and run this probe there.
#include <dlfcn.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  void* core = dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL);
  if (!core) {
    std::printf("cannot open core: %s\n", dlerror());
    return 3;
  }
  auto name = reinterpret_cast<const char* (*)()>(dlsym(core, "orb_kernel_library"));
  auto level = reinterpret_cast<int (*)()>(dlsym(core, "orb_kernel_level"));
  auto ddot = reinterpret_cast<double (*)(const int*, const double*, const int*, const double*, const int*)>(
      dlsym(core, "orb_blas_ddot"));
  if (!name || !level || !ddot) return 4;
  const double x[3] = {1, 2, 3}, y[3] = {4, 5, 6};
  const int n = 3, one = 1;
  std::printf("library=%s level=%d ddot=%g\n", name(), level(), ddot(&n, x, &one, y, &one));
  return 0;
}
