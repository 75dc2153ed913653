// The level-3 test program's own error handlers: reports of illegal
// arguments land here (name, position, count) instead of on stderr.
#include <cstddef>

#include "tests/blas/level3/trx_common.hpp"

namespace orb::test::trx {
reports& fortran_reports() {
  static reports r;
  return r;
}
reports& cblas_reports() {
  static reports r;
  return r;
}
}  // namespace orb::test::trx

extern "C" void xerbla_(const char* name, const int* info, std::size_t len) {
  auto& r = orb::test::trx::fortran_reports();
  r.name.assign(name, len);
  while (!r.name.empty() && r.name.back() == ' ') r.name.pop_back();
  r.info = *info;
  ++r.calls;
}

extern "C" void cblas_xerbla(int p, const char* rout, const char*, ...) {
  auto& r = orb::test::trx::cblas_reports();
  r.name = rout;
  r.info = p;
  ++r.calls;
}
