// Reports of illegal arguments, caught for the level-3 tests: this program
// defines xerbla_ and cblas_xerbla, so the core's reports land here instead
// of on stderr. Every test of the program reads them through this header.
#pragma once

#include <string>

namespace xerbla_capture {
extern std::string name;         // routine named by the last xerbla_, trailing blanks dropped
extern int position;             // its argument position
extern std::string cblas_name;   // routine named by the last cblas_xerbla
extern int cblas_position;
void reset();
}  // namespace xerbla_capture
