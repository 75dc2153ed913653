// Construction of a modified plane rotation (Hammarling's form): given the
// scale factors d1, d2 and the vector (x1, y1), find H with a zero second
// component of H (sqrt(d1) x1, sqrt(d2) y1), and the new d1, d2, x1.
//
// param[0] is the flag: -2 for H = I, -1 for a full H, 0 for unit diagonal
// (only h21, h12 stored), 1 for h12 = 1, h21 = -1 (only h11, h22 stored).
// param[1..4] = h11, h21, h12, h22.
#include <cmath>
#include <limits>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

template <class T>
struct limits {
  // The window [rgamsq, gamsq] that d1 and |d2| are brought back into, and
  // the factors gamma = 4096 and 1 / gamma that x1 and H take meanwhile.
  static constexpr T gamsq = T(16777216.0);
  static constexpr T rgamsq = T(5.960464477539e-8);
  static constexpr T up = T(4096.0);
  static constexpr T down = T(0.000244140625);
};

template <class T>
void rotmg(T* pd1, T* pd2, T* px1, const T* py1, T* param) {
  using L = limits<T>;
  constexpr T big = std::numeric_limits<T>::max();
  T d1 = *pd1, d2 = *pd2, x1 = *px1;
  const T y1 = *py1;

  auto fail = [&] {
    *pd1 = T(0);
    *pd2 = T(0);
    *px1 = T(0);
    param[0] = T(-1);
    param[1] = param[2] = param[3] = param[4] = T(0);
  };
  if (d1 < T(0)) return fail();

  const T p2 = d2 * y1;
  if (p2 == T(0)) {
    param[0] = T(-2);
    return;
  }
  const T p1 = d1 * x1;
  const T q2 = p2 * y1;
  T flag, h11 = T(0), h12 = T(0), h21 = T(0), h22 = T(0);
  if (std::fabs(x1 * p1) > std::fabs(q2)) {
    const T t = y1 / p1;
    h21 = -t * d1;
    h12 = t * d2;
    const T u = std::fma(-h12, h21, T(1));
    flag = T(0);
    x1 = u * x1;
    const T ru = T(1) / u;
    d1 = d1 * ru;
    d2 = d2 * ru;
  } else {
    if (q2 < T(0)) return fail();
    const T t = x1 / p2;
    h11 = t * d1;
    h22 = t * d2;
    const T u = std::fma(h11, h22, T(1));
    flag = T(1);
    x1 = y1 * u;
    const T ru = T(1) / u;
    const T nd1 = d2 * ru;
    d2 = d1 * ru;
    d1 = nd1;
  }

  // The first rescaling makes H full: fill in the implicit entries.
  auto make_full = [&] {
    if (flag == T(0)) {
      h11 = h22 = T(1);
    } else if (flag > T(0)) {
      h21 = T(-1);
      h12 = T(1);
    }
    flag = T(-1);
  };

  // d1 is tested as it stands, so a negative d1 takes the growing loop. The
  // loops also end once the value is no longer finite: an infinite d1, or a
  // negative one grown to -infinity, would otherwise never leave them.
  if (d1 != T(0)) {
    if (d1 >= L::gamsq) {
      make_full();
      do {
        d1 *= L::rgamsq;
        x1 *= L::up;
        h11 *= L::up;
        h12 *= L::up;
      } while (d1 >= L::gamsq && d1 <= big);
    } else if (d1 <= L::rgamsq) {
      make_full();
      do {
        d1 *= L::gamsq;
        x1 *= L::down;
        h11 *= L::down;
        h12 *= L::down;
      } while (d1 <= L::rgamsq && d1 >= -big);
    }
  }

  // d2 is tested on its magnitude. A large d2 met while H still has a unit
  // diagonal is not shrunk: it takes one step of the growing loop instead.
  if (d2 != T(0)) {
    const T ad2 = std::fabs(d2);
    if (ad2 >= L::gamsq && flag != T(0)) {
      make_full();
      do {
        d2 *= L::rgamsq;
        h21 *= L::up;
        h22 *= L::up;
      } while (std::fabs(d2) >= L::gamsq && std::fabs(d2) <= big);
    } else if (ad2 >= L::gamsq || ad2 <= L::rgamsq) {
      make_full();
      do {
        d2 *= L::gamsq;
        h21 *= L::down;
        h22 *= L::down;
      } while (std::fabs(d2) <= L::rgamsq);
    }
  }

  if (flag < T(0)) {
    param[1] = h11;
    param[2] = h21;
    param[3] = h12;
    param[4] = h22;
  } else if (flag == T(0)) {
    param[2] = h21;
    param[3] = h12;
  } else {
    param[1] = h11;
    param[4] = h22;
  }
  param[0] = flag;
  *pd1 = d1;
  *pd2 = d2;
  *px1 = x1;
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API void ORB_BLAS(srotmg)(float* d1, float* d2, float* x1, const float* y1, float* param) {
  rotmg(d1, d2, x1, y1, param);
}
ORB_API void ORB_BLAS(drotmg)(double* d1, double* d2, double* x1, const double* y1, double* param) {
  rotmg(d1, d2, x1, y1, param);
}
