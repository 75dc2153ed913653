// Reports of illegal arguments, caught for the level-3 tests: this program
// defines xerbla_ and cblas_xerbla (xerbla_capture.cpp), so the core's
// reports land here instead of on stderr. Every test of the program reads
// them through this header.
#pragma once

#include <string>

namespace xerbla_capture {
struct report {
  std::string name;  // routine named by the last report, trailing blanks dropped
  int info = 0;      // its argument position
  int calls = 0;     // reports so far
};
report& fortran();  // through xerbla_
report& cblas();    // through cblas_xerbla
void reset();       // both back to empty
}  // namespace xerbla_capture
