#include "tests/blas/level3/xerbla_capture.hpp"

#include <cstddef>

namespace xerbla_capture {
std::string name;
int position = 0;
std::string cblas_name;
int cblas_position = 0;
void reset() {
  name.clear();
  cblas_name.clear();
  position = cblas_position = 0;
}
}  // namespace xerbla_capture

extern "C" void xerbla_(const char* name, const int* info, std::size_t len) {
  xerbla_capture::name.assign(name, len);
  while (!xerbla_capture::name.empty() && xerbla_capture::name.back() == ' ') xerbla_capture::name.pop_back();
  xerbla_capture::position = *info;
}

extern "C" void cblas_xerbla(int p, const char* rout, const char*, ...) {
  xerbla_capture::cblas_name = rout;
  xerbla_capture::cblas_position = p;
}
