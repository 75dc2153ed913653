// Which path the GEMM entry takes for a given call, and the block rule of
// the no-copy driver. Free of any build tag, so the core can use it too: to
// split a GEMM among threads, the core needs every piece of C to take the
// path the whole would take, which makes the result the same, to the bit,
// for any number of threads.
#pragma once

namespace orb::paths {

// Step of a no-copy block loop, chosen once from the whole extent: at or
// above `limit` the fixed `step`; above `half` half the extent rounded up;
// otherwise the whole. So 769 with (768, 384, 384) runs 384, 384, 1, and 97
// with (128, 64, 96) runs 49, 48.
inline int nocopy_block(int total, int limit, int step, int half) {
  if (total >= limit) return step;
  if (total > half) return (total + 1) / 2;
  return total;
}

enum class route {
  none,      // m or n below 1: nothing happens
  t_smalln,  // transa "T", transb "N", narrow n (s, d)
  n_smalln,  // both "N", n == 2 (d)
  sm,        // tiny complex products (c, z)
  nocopy,    // no-copy driver (s, d)
  scale,     // alpha 0: only beta acts on C
  pst,       // direct routine
  packed,    // packed driver
};

// type: 's', 'd', 'c', 'z'. ta, tb: the operator letters, case folded.
// alpha_zero: alpha is exactly 0; beta_one: beta is exactly 1 (complex:
// (1, 0)).
inline route gemm_route(char type, char ta, char tb, int m, int n, int k, bool alpha_zero, bool beta_one) {
  if (m < 1 || n < 1) return route::none;
  const bool an = ta == 'N', bn = tb == 'N';
  const bool complex = type == 'c' || type == 'z';
  if (!alpha_zero && k > 0) {
    if (type == 'd' && ta == 'T' && bn && (n == 2 || n == 3)) return route::t_smalln;
    if (type == 'd' && an && bn && n == 2) return route::n_smalln;
    if (type == 's' && ta == 'T' && bn && n >= 2 && n <= 15 && k >= 24 * n) return route::t_smalln;
  }
  if (complex && m >= 3 && m <= 10 && n >= 3 && n <= 10 && k >= 1 && k <= 10 && beta_one && !alpha_zero)
    return route::sm;
  if (!complex && !alpha_zero) {
    bool packed;
    if (an) packed = m >= 192 && n >= 192;
    else if (type == 'd') packed = (m > n && m >= k) || (m >= 192 && n >= 192);
    else packed = (m > n && m >= k) || m >= 192;
    if (!packed) return route::nocopy;
  }
  if (alpha_zero) return route::scale;
  const int pst_m = type == 's' ? 12 : type == 'z' ? 4 : 8;
  const int pst_n = type == 'c' || type == 'z' ? 3 : 6;
  if (!an && bn ? m < pst_m : n < pst_n) return route::pst;
  return route::packed;
}

}  // namespace orb::paths
