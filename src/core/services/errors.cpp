// Reporting illegal arguments, and the small character and sign helpers of
// the LAPACK-style kernels.
//
// xerbla_ follows the Fortran convention (name, address of the argument
// number, hidden name length), because test programs of the BLAS family
// define their own xerbla_ to catch the reports. The default here is an
// ordinary exported symbol and orb_serv_xerbla calls it through the dynamic
// symbol table, so a program's own definition takes its place. Neither ever
// ends the program: the caller returns after the report.
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "orb/orb_service.h"

namespace {

// Fortran names arrive blank-padded and without a terminator.
int trimmed_length(const char* name, std::size_t len) {
  if (!name) return 0;
  while (len > 0 && (name[len - 1] == ' ' || name[len - 1] == '\0')) --len;
  return int(len);
}

char upper_ascii(char c) { return (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : c; }

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void xerbla_(const char* name, const int* info, std::size_t len) {
  std::fprintf(stderr, "orb: parameter %d of %.*s had an illegal value\n", info ? *info : 0,
               trimmed_length(name, len), name ? name : "");
}

__attribute__((visibility("default"))) void cblas_xerbla(int p, const char* rout, const char* form, ...) {
  std::fprintf(stderr, "orb: parameter %d of %s had an illegal value\n", p, rout ? rout : "a routine");
  if (form && *form) {
    va_list ap;
    va_start(ap, form);
    std::vfprintf(stderr, form, ap);
    va_end(ap);
  }
}

__attribute__((visibility("default"))) int lsame_(const char* a, const char* b, std::size_t, std::size_t) {
  return (a && b && upper_ascii(*a) == upper_ascii(*b)) ? 1 : 0;
}

// Calls xerbla_ through the PLT, never inlined: a default-visibility symbol
// of a shared library is interposable, so the program's definition wins.
void orb_serv_xerbla(const char* routine, const int* position, int routine_length) {
  int pos = position ? *position : 0;
  xerbla_(routine ? routine : "", &pos, routine_length > 0 ? std::size_t(routine_length) : 0);
}

int orb_serv_lsame(const char* a, const char* b, int, int) {
  return (a && b && upper_ascii(*a) == upper_ascii(*b)) ? 1 : 0;
}

// Fortran SIGN: the magnitude of a with the sign of b, -0.0 counting as
// negative as IEEE arithmetic has it.
float orb_serv_s_sign(const float* a, const float* b) { return std::copysign(std::fabs(*a), *b); }
double orb_serv_d_sign(const double* a, const double* b) { return std::copysign(std::fabs(*a), *b); }

float orb_serv_int2f_ceil(const float* x) { return std::ceil(*x); }
double orb_serv_int2d_ceil(const double* x) { return std::ceil(*x); }

}  // extern "C"
