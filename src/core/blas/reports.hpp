// What every public name shares besides its checks: the report of an
// illegal argument through the service layer's handler, and the verbose
// line of a call. The BLAS names take their arguments by address, the
// transposition names by value: the line shows both the same way.
#pragma once

#include <cctype>
#include <cstddef>
#include <cstdio>
#include <string>

#include "orb/orb_service.h"
#include "orb/orb_types.h"

namespace orb::core::reports {

// The name goes out in capitals, blank-padded to the six characters of a
// Fortran routine name: handlers written in Fortran often declare it
// CHARACTER*6 and read all six.
inline void report(const char* pub, int info) {
  char name[64];
  int len = 0;
  for (; pub[len] && len < 63; ++len) name[len] = char(std::toupper(static_cast<unsigned char>(pub[len])));
  for (; len < 6; ++len) name[len] = ' ';
  name[len] = '\0';
  orb_serv_xerbla(name, &info, len);
}

inline bool verbose_on() { return *orb_serv_verbose_mode() == 1; }

// One verbose line: the routine, its arguments (letters, sizes and scalars
// by value, whether passed by address or not; arrays by address), and the
// time of the call.
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
  void put(bool first, const std::string& s) {
    if (!first) text_ += ',';
    text_ += s;
  }
  void add(char c, bool first) { put(first, std::string(1, c)); }
  void add(const char* c, bool first) { put(first, std::string(1, c ? *c : '?')); }
  void add(const int* v, bool first) { put(first, v ? std::to_string(*v) : "?"); }
  void add(std::size_t v, bool first) { put(first, std::to_string(v)); }
  void add(double v, bool first) {
    char b[32];
    std::snprintf(b, sizeof b, "%g", v);
    put(first, b);
  }
  void add(float v, bool first) { add(double(v), first); }
  void add(orb_complex16 v, bool first) {
    char b[64];
    std::snprintf(b, sizeof b, "(%g,%g)", v.re, v.im);
    put(first, b);
  }
  void add(orb_complex8 v, bool first) { add(orb_complex16{v.re, v.im}, first); }
  void add(const void* p, bool first) {
    char b[32];
    std::snprintf(b, sizeof b, "%p", p);
    put(first, b);
  }
  double t0_;
  std::string text_;
};

}  // namespace orb::core::reports
