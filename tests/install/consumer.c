/* A program of a user of orb: a few BLAS calls through the public names and
   through CBLAS. With an argument, also opens that drop-in libblas.so.3,
   which must find the core on its own and answer the standard Fortran
   names. Exit 0 when everything is as expected. */
#include <dlfcn.h>
#include <stdio.h>

#include <orb/cblas.h>
#include <orb/orb.h>

typedef double (*fortran_ddot)(const int*, const double*, const int*, const double*, const int*);

int main(int argc, char** argv) {
  double x[5] = {1, 2, 3, 4, 5}, y[5] = {1, 1, 1, 1, 1};
  const int n = 5, one = 1;
  const double alpha = 2;
  orb_blas_daxpy(&n, &alpha, x, &one, y, &one); /* y = 3 5 7 9 11 */
  const double d = orb_blas_ddot(&n, x, &one, y, &one);
  const double c = cblas_ddot(n, x, 1, y, 1);
  const int cpu = orb_serv_cpu_detect(), level = orb_kernel_level();
  printf("consumer: %s (level %d) on a level-%d processor, ddot = %g, cblas_ddot = %g\n", orb_kernel_library(),
         level, cpu, d, c);
  int bad = 0;
  if (d != 125.0 || c != 125.0 || y[4] != 11.0) {
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
    fortran_ddot f = h ? (fortran_ddot)dlsym(h, "ddot_") : NULL;
    const double e = f ? f(&n, x, &one, y, &one) : 0;
    printf("consumer: %s: %s, ddot_ = %g\n", argv[1], h ? "opened" : dlerror(), e);
    if (e != 125.0) bad = 1;
  }
  return bad;
}
