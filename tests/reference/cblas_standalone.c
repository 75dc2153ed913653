/* Compiled with include/orb as the only added directory, the way a program
   written for any CBLAS is built against orb: <cblas.h> must be orb's, and
   must need nothing from the rest of orb's headers. */
#include <cblas.h>

int main(void) {
  const double x[2] = {1.0, 2.0};
  const CBLAS_LAYOUT layout = CblasColMajor;
  return (int)cblas_ddot(2, x, 1, x, 1) + (int)cblas_idamin(2, x, 1) + (layout == CblasRowMajor);
}
