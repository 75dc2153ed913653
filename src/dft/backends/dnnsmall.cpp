// Batches of short transforms laid side by side (the transforms of a batch
// one element apart, a multiple of eight of them, not in place): groups of
// eight run through the codelets as N = f1 f2, both factors at most 16
// (f1 the divisor nearest the square root): f1-point codelets on stride f2,
// the twiddles W_N^(j2 k1) with the scale folded in, then f2-point
// codelets. Real transforms of even N go through the complex one of N/2 and
// the recombination of recombine.hpp.
#include <cmath>

#include "dft/backends/recombine.hpp"
#include "dft/dfti.hpp"
#include "orb/orb_service.h"

using namespace orb::dft;

namespace {

constexpr int kGroup = 8;

template <class T>
using cdft_fn = void (*)(const T*, int, T*, int, int);
template <class T>
cdft_fn<T> codelet(int n, bool fwd) {
  const int i = n == 32 ? 31 : n - 1;
  if constexpr (sizeof(T) == 8) return ORB_DFTK(BATCH_CDFT_64fc)[fwd ? 0 : 1][i];
  else return ORB_DFTK(BATCH_CDFT_32fc)[fwd ? 0 : 1][i];
}

// The factor of n nearest its square root with both factors at most 16, or 0.
int factor(int n) {
  int best = 0;
  for (int f = 1; f <= 16; ++f)
    if (n % f == 0 && n / f <= 16 && (!best || std::abs(f * f - n) < std::abs(best * best - n))) best = f;
  return best;
}

// State of a committed node: the factors, the twiddles of both directions
// (scales folded in) and, for real transforms, W_N^k for k = 0 .. N/2.
struct state {
  int n, f1, f2;
  void* block;
};
template <class T>
struct tables {
  cplx<T>*fwd, *inv, *rw;
};
template <class T>
tables<T> tables_of(const state* s) {
  auto* b = static_cast<cplx<T>*>(s->block);
  return {b, b + s->n, b + 2 * s->n};
}

int dnn_detach(const orb_dfti_backend* self, DftiNode* node) {
  if (node->backend != self) return DFTI_INTERNAL;
  node->compute_fwd = node->compute_bwd = nullptr;
  node->commit_status = DFTI_UNCOMMITTED;
  if (auto* s = static_cast<state*>(node->backend_data)) {
    mem_free(node->mem_ctx, s->block);
    mem_free(node->mem_ctx, s);
  }
  node->backend_data = nullptr;
  return 0;
}

// One group of w (at most 8) complex transforms of length n = f1 f2: source
// station j of transform t at src[2 (j ss + t)], destination likewise with
// ds; scr holds n w complex values.
template <class T>
void group(const state& S, const cplx<T>* tw, const T* src, long ss, T* dst, long ds, int w, bool fwd, T* scr) {
  const int f1 = S.f1, f2 = S.f2;
  const cdft_fn<T> F1 = codelet<T>(f1, fwd), F2 = codelet<T>(f2, fwd);
  const int vw = 64 / (2 * int(sizeof(T)));
  for (int c = 0; c < w; c += vw) {
    const int cw = w - c < vw ? w - c : vw;
    for (int j2 = 0; j2 < f2; ++j2) F1(src + 2 * (j2 * ss + c), int(f2 * ss), scr + 2 * (j2 * w + c), f2 * w, cw);
  }
  auto* z = reinterpret_cast<cplx<T>*>(scr);
  for (int i = 0; i < S.n; ++i)
    for (int t = 0; t < w; ++t) z[i * w + t] = mul(z[i * w + t], tw[i]);
  for (int c = 0; c < w; c += vw) {
    const int cw = w - c < vw ? w - c : vw;
    for (int k1 = 0; k1 < f1; ++k1) F2(scr + 2 * (k1 * f2 * w + c), w, dst + 2 * (k1 * ds + c), int(f1 * ds), cw);
  }
}

bool uses_fb(const orb_dfti_dim& d) { return d.fs || d.bs; }
long s_in(const orb_dfti_dim& d, bool fwd) { return uses_fb(d) ? (fwd ? d.fs : d.bs) : d.is; }
long s_out(const orb_dfti_dim& d, bool fwd) { return uses_fb(d) ? (fwd ? d.bs : d.fs) : d.os; }
long off_in(const DftiNode* n, bool fwd) {
  return uses_fb(n->lengths_committed.dims[0]) ? (fwd ? n->fwd_offset : n->bwd_offset) : n->in_offset;
}
long off_out(const DftiNode* n, bool fwd) {
  return uses_fb(n->lengths_committed.dims[0]) ? (fwd ? n->bwd_offset : n->fwd_offset) : n->out_offset;
}

template <class T>
int batch(DftiNode* n, void* a, void* b, bool fwd) {
  if (n->commit_status != DFTI_COMMITTED || !n->backend_data) return DFTI_INCONSISTENT;
  const state& S = *static_cast<const state*>(n->backend_data);
  const tables<T> tb = tables_of<T>(&S);
  const orb_dfti_dim& d0 = n->lengths_committed.dims[0];
  const long ss = s_in(d0, fwd), ds = s_out(d0, fwd);
  const bool real = is_real(n);
  T* in = static_cast<T*>(a);
  T* out = static_cast<T*>(b);
  const long count = n->transforms;
  // Scratch: two strips of one group (n w complex values each) and the
  // codelets' own.
  const long strip = 2L * S.n * kGroup + 2 * kGroup;
  auto* scr = static_cast<T*>(ORB_DFTK(arena_allocate)(nullptr, long(sizeof(T)) * 3 * strip, 0));
  if (!scr) return DFTI_MEMORY_ERROR;
  T* z = scr + strip;
  T* y = z + strip;
  const cplx<T>* tw = fwd ? tb.fwd : tb.inv;
  for (long g = 0; g < count; g += kGroup) {
    const int w = int(count - g < kGroup ? count - g : kGroup);
    if (!real) {
      const long io = off_in(n, fwd) + g, oo = off_out(n, fwd) + g;
      group<T>(S, tw, in + 2 * io, ss, out + 2 * oo, ds, w, fwd, scr);
      continue;
    }
    const long M = S.n;  // the complex length, N/2
    auto* Z = reinterpret_cast<cplx<T>*>(y);
    if (fwd) {
      const T* x = in + off_in(n, fwd) + g;
      for (long j = 0; j < M; ++j)
        for (int t = 0; t < w; ++t) z[2 * (j * w + t)] = x[2 * j * ss + t], z[2 * (j * w + t) + 1] = x[(2 * j + 1) * ss + t];
      group<T>(S, tw, z, w, y, w, w, true, scr);
      auto* X = reinterpret_cast<cplx<T>*>(out + 2 * (off_out(n, fwd) + g));
      for (int t = 0; t < w; ++t) {
        recombine_ends_fwd(Z[t], X[t], X[M * ds + t]);
        for (long k = 1; 2 * k <= M; ++k) {
          cplx<T> xk, xm;
          recombine_fwd(Z[k * w + t], Z[(M - k) * w + t], tb.rw[k], tb.rw[M - k], xk, xm);
          X[k * ds + t] = xk;
          if (k != M - k) X[(M - k) * ds + t] = xm;
        }
      }
    } else {
      const auto* X = reinterpret_cast<const cplx<T>*>(in + 2 * (off_in(n, fwd) + g));
      auto* Zin = reinterpret_cast<cplx<T>*>(z);
      for (int t = 0; t < w; ++t) {
        Zin[t] = recombine_ends_inv(X[t], X[M * ss + t]);
        for (long k = 1; 2 * k <= M; ++k) {
          cplx<T> zk, zm;
          recombine_inv(X[k * ss + t], X[(M - k) * ss + t], tb.rw[k], tb.rw[M - k], zk, zm);
          Zin[k * w + t] = zk;
          if (k != M - k) Zin[(M - k) * w + t] = zm;
        }
      }
      group<T>(S, tw, z, w, y, w, w, false, scr);
      T* x = out + off_out(n, fwd) + g;
      for (long j = 0; j < M; ++j)
        for (int t = 0; t < w; ++t) x[2 * j * ds + t] = Z[j * w + t].re, x[(2 * j + 1) * ds + t] = Z[j * w + t].im;
    }
  }
  ORB_DFTK(arena_deallocate)(nullptr, scr);
  return 0;
}

template <class T, bool Fwd>
int compute(DftiNode* n, void* a, void* b, void*, void*) {
  return batch<T>(n, a, b, Fwd);
}

bool accepts(const DftiNode* n, bool real) {
  const orb_dfti_dim& b = n->batch_committed.dims[0];
  const bool unit_batch = uses_fb(b) ? b.fs == 1 && b.bs == 1 : b.is == 1 && b.os == 1;
  if (n->rank_committed != 1 || n->batch_committed.rank != 1 || !unit_batch || n->transforms % kGroup != 0 ||
      n->placement == DFTI_INPLACE)
    return false;
  if (real)
    return n->domain == DFTI_REAL && n->conjugate_even_storage == DFTI_COMPLEX_COMPLEX && n->length <= 512 &&
           n->length % 2 == 0 && factor(n->length / 2);
  return n->domain == DFTI_COMPLEX && n->complex_storage == DFTI_COMPLEX_COMPLEX && n->length <= 256 &&
         factor(n->length);
}

template <class T>
int build(DftiNode* n, bool real) {
  const int N = n->length, m = real ? N / 2 : N;
  auto* s = static_cast<state*>(mem_calloc(n->mem_ctx, 0, sizeof(state)));
  auto* block = static_cast<cplx<T>*>(mem_malloc(n->mem_ctx, 0, sizeof(cplx<T>) * std::size_t(2 * m + m + 1)));
  if (!s || !block) {
    mem_free(n->mem_ctx, s);
    mem_free(n->mem_ctx, block);
    return DFTI_MEMORY_ERROR;
  }
  *s = state{m, factor(m), m / factor(m), block};
  const tables<T> tb = tables_of<T>(s);
  for (int k1 = 0; k1 < s->f1; ++k1)
    for (int j2 = 0; j2 < s->f2; ++j2) {
      double sn, cs;
      orb_serv_libm_sincospi(2.0 * double(j2 * k1 % m) / double(m), &sn, &cs);
      tb.fwd[k1 * s->f2 + j2] = {T(cs * n->fscale), T(-sn * n->fscale)};
      tb.inv[k1 * s->f2 + j2] = {T(cs * n->bscale), T(sn * n->bscale)};
    }
  for (int k = 0; k <= m; ++k) {
    double sn, cs;
    orb_serv_libm_sincospi(2.0 * double(k) / double(N), &sn, &cs);
    tb.rw[k] = {T(cs), T(-sn)};
  }
  n->backend_data = s;
  n->compute_fwd = compute<T, true>;
  n->compute_bwd = compute<T, false>;
  return 0;
}

template <bool Real>
int dnn_commit(const orb_dfti_backend* self, DftiNode* n) {
  if (!accepts(n, Real)) return DFTI_DECLINED;
  backend_prologue(self, n);
  const int st = is_double(n) ? build<double>(n, Real) : build<float>(n, Real);
  if (st) {
    n->uncommit(n);
    return st;
  }
  n->threads = 1;
  n->data_args = 2;
  n->commit_status = DFTI_COMMITTED;
  return 0;
}

}  // namespace

extern "C" {
ORB_API const orb_dfti_backend ORB_DFTK(bkd_r2c_1d_dnnsmall_s)[1] = {{dnn_commit<true>, dnn_detach, nullptr}};
ORB_API const orb_dfti_backend ORB_DFTK(bkd_r2c_1d_dnnsmall_d)[1] = {{dnn_commit<true>, dnn_detach, nullptr}};
ORB_API const orb_dfti_backend ORB_DFTK(bkd_c2c_1d_dnnsmall_s)[1] = {{dnn_commit<false>, dnn_detach, nullptr}};
ORB_API const orb_dfti_backend ORB_DFTK(bkd_c2c_1d_dnnsmall_d)[1] = {{dnn_commit<false>, dnn_detach, nullptr}};
}
