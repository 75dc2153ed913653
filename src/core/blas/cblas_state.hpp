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
