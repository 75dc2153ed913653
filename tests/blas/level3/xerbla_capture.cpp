#include "tests/blas/level3/xerbla_capture.hpp"

#include <cstddef>

namespace xerbla_capture {
report& fortran() {
  static report r;
  return r;
}
report& cblas() {
  static report r;
  return r;
}
void reset() { fortran() = {}, cblas() = {}; }
}  // namespace xerbla_capture

extern "C" void xerbla_(const char* name, const int* info, std::size_t len) {
  auto& r = xerbla_capture::fortran();
  r.name.assign(name, len);
  while (!r.name.empty() && r.name.back() == ' ') r.name.pop_back();
  r.info = *info;
  ++r.calls;
}

extern "C" void cblas_xerbla(int p, const char* rout, const char*, ...) {
  auto& r = xerbla_capture::cblas();
  r.name = rout;
  r.info = p;
  ++r.calls;
}
