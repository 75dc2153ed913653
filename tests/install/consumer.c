/* A program of a user of orb: a few BLAS calls through the public names.
   With an argument, also opens that drop-in libblas.so.3, which must find
   the core on its own. Exit 0 when everything is as expected. */
#include <dlfcn.h>
#include <stdio.h>

#include <orb/orb_blas.h>
#include <orb/orb_service.h>

int main(int argc, char** argv) {
  double x[5] = {1, 2, 3, 4, 5}, y[5] = {1, 1, 1, 1, 1};
  const int n = 5, one = 1;
  const double alpha = 2;
  orb_blas_daxpy(&n, &alpha, x, &one, y, &one); /* y = 3 5 7 9 11 */
  const double d = orb_blas_ddot(&n, x, &one, y, &one);
  const int cpu = orb_serv_cpu_detect(), level = orb_kernel_level();
  printf("consumer: %s (level %d) on a level-%d processor, ddot = %g\n", orb_kernel_library(), level, cpu, d);
  int bad = 0;
  if (d != 125.0 || y[4] != 11.0) {
    printf("consumer: wrong results\n");
    bad = 1;
  }
  /* The kernel libraries are installed beside the core; if the processor can
     run one, the core must have found it. */
  if ((cpu >= 7 && level < 7) || (cpu >= 9 && level < 9)) {
    printf("consumer: the core did not find the installed kernel libraries\n");
    bad = 1;
  }
  if (argc > 1) {
    void* h = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!h) {
      printf("consumer: cannot open %s: %s\n", argv[1], dlerror());
      bad = 1;
    } else {
      printf("consumer: opened %s\n", argv[1]);
    }
  }
  return bad;
}
