// Building the standard Fortran names of a kernel list.
//
// ORB_FORTRAN_FORWARD(ret, pub, params, args), used as the ORB_K of a list,
// defines pub_ with the public routine's parameters, forwarding to
// orb_blas_<pub>. A routine whose Fortran form differs is marked by a macro
// ORB_COMPLEX_RESULT_<pub> defined as "~, complex_result" before the list is
// expanded; it gets no generic forwarder, and the file writes it by hand.
#pragma once

#include <type_traits>

#define ORB_FORTRAN_SECOND_(a, b, ...) b
#define ORB_FORTRAN_SECOND(...) ORB_FORTRAN_SECOND_(__VA_ARGS__)
#define ORB_FORTRAN_CAT_(a, b) a##b
#define ORB_FORTRAN_CAT(a, b) ORB_FORTRAN_CAT_(a, b)

// "plain" unless ORB_COMPLEX_RESULT_<pub> is defined.
#define ORB_FORTRAN_FORM(pub) ORB_FORTRAN_SECOND(ORB_COMPLEX_RESULT_##pub, plain, ~)

#define ORB_FORTRAN_plain(ret, pub, params, args) \
  extern "C" ret pub##_ params { return orb_blas_##pub args; }
#define ORB_FORTRAN_complex_result(ret, pub, params, args)

#define ORB_FORTRAN_FORWARD(ret, pub, params, args) \
  ORB_FORTRAN_CAT(ORB_FORTRAN_, ORB_FORTRAN_FORM(pub))(ret, pub, params, args)

// gfortran returns the value of a COMPLEX function the way GCC returns a C
// _Complex (R); the public routine f writes it through a leading address.
template <class R, class C, class... P>
R orb_fortran_by_value(void (*f)(C*, P...), std::type_identity_t<P>... args) {
  C r{};
  f(&r, args...);
  R v;
  __real__ v = r.re;
  __imag__ v = r.im;
  return v;
}
