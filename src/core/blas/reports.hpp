// What every BLAS public name shares besides its checks: the report of an
// illegal argument through the service layer's handler, and the verbose
// line of a call.
#pragma once

#include <cctype>
#include <cstdio>
#include <string>

#include "orb/orb_service.h"

namespace orb::core::reports {

// The name goes out in capitals, blank-padded to the six characters of a
// Fortran routine name: handlers written in Fortran often declare it
// CHARACTER*6 and read all six.
inline void report(const char* pub, int info) {
  char name[16];
  int len = 0;
  for (; pub[len] && len < 15; ++len) name[len] = char(std::toupper(static_cast<unsigned char>(pub[len])));
  for (; len < 6; ++len) name[len] = ' ';
  name[len] = '\0';
  orb_serv_xerbla(name, &info, len);
}

inline bool verbose_on() { return *orb_serv_verbose_mode() == 1; }

// One verbose line: the routine, its arguments (characters and sizes by
// value, arrays and scalars by address), and the time of the call.
class verbose_line {
 public:
  explicit verbose_line(const char* pub) : t0_(orb_serv_dsecnd()) {
    for (const char* p = pub; *p; ++p) text_ += char(std::toupper(static_cast<unsigned char>(*p)));
  }
  template <class... A>
  void format(A... a) {
    text_ += '(';
    bool first = true;
    ((add(a, first), first = false), ...);
    text_ += ')';
  }
  ~verbose_line() { orb_serv_print_verbose_info(0, text_.c_str(), orb_serv_dsecnd() - t0_); }

 private:
  void sep(bool first) {
    if (!first) text_ += ',';
  }
  void add(const char* c, bool first) {
    sep(first);
    text_ += c ? *c : '?';
  }
  void add(const int* v, bool first) {
    sep(first);
    text_ += v ? std::to_string(*v) : "?";
  }
  void add(const void* p, bool first) {
    sep(first);
    char b[32];
    std::snprintf(b, sizeof b, "%p", p);
    text_ += b;
  }
  double t0_;
  std::string text_;
};

}  // namespace orb::core::reports
