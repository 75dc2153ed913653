// Two words that every CBLAS keeps for programs that take its error
// reports: the reference test programs' own cblas_xerbla reads them to
// tell a call through the C interface (CBLAS_CallFromC) and a row-major
// one (RowMajorStrg), whose argument numbers differ. A CBLAS routine that
// checks arguments sets both before it reports and clears them on return.
#pragma once

extern "C" {
extern int CBLAS_CallFromC;
extern int RowMajorStrg;
}

namespace orb::core {
// Sets the two words for the duration of one CBLAS call.
struct cblas_call_scope {
  explicit cblas_call_scope(bool row) {
    CBLAS_CallFromC = 1;
    RowMajorStrg = row ? 1 : 0;
  }
  ~cblas_call_scope() {
    CBLAS_CallFromC = 0;
    RowMajorStrg = 0;
  }
};
}  // namespace orb::core
