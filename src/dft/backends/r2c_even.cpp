// Long even real transforms through a complex transform of half the length
// and the recombination of recombine.hpp, in place on the result.
#include <cstring>

#include "dft/backends/recombine.hpp"
#include "dft/dfti.hpp"
#include "orb/orb_service.h"

using namespace orb::dft;

namespace {

bool accepts(const DftiNode* n) {
  const orb_dfti_dim& d = n->lengths_committed.dims[0];
  return n->domain == DFTI_REAL && n->packed_format != DFTI_PACK_FORMAT && n->packed_format != DFTI_PERM_FORMAT &&
         n->rank_committed == 1 && d.is == 1 && d.os == 1 && !d.fs && !d.bs && n->transforms == 1 &&
         n->length % 2 == 0 && n->length > (is_double(n) ? 4096 : 8192);
}

// The twiddles W^0 .. W^M of the recombination, kept in the inner node's
// table slot, which its uncommit frees.
template <class T>
int setup_twiddle(DftiNode* inner, long N) {
  const long M = N / 2;
  auto* w = static_cast<cplx<T>*>(mem_malloc(inner->mem_ctx, 0, sizeof(cplx<T>) * std::size_t(M + 1)));
  if (!w) return counting(inner->mem_ctx) ? 0 : DFTI_MEMORY_ERROR;
  for (long k = 0; k <= M; ++k) {
    double s, c;
    orb_serv_libm_sincospi(2.0 * double(k) / double(N), &s, &c);
    w[k] = {T(c), T(-s)};
  }
  inner->fft_table_a = w;
  return 0;
}

// Element pointers of both sides: the real side in reals, the complex side
// in pairs (a real array in CCS takes real offsets).
template <class T>
T* real_side(void* p, int off) {
  return static_cast<T*>(p) + off;
}
template <class T>
T* complex_side(const DftiNode* n, void* p, int off) {
  return static_cast<T*>(p) + (n->conjugate_even_storage == DFTI_COMPLEX_COMPLEX ? 2 : 1) * long(off);
}

template <class T>
int compute_r2c_1d_even_fwd(DftiNode* n, void* a, void* b, void*, void*) {
  auto* inner = static_cast<DftiNode*>(n->backend_data);
  if (!inner || n->commit_status != DFTI_COMMITTED) return DFTI_INCONSISTENT;
  const long N = n->length, M = N / 2;
  const bool inplace = n->placement == DFTI_INPLACE;
  T* x = real_side<T>(a, n->in_offset);
  auto* y = reinterpret_cast<cplx<T>*>(complex_side<T>(n, inplace ? a : b, n->out_offset));
  if (!inplace) std::memcpy(y, x, sizeof(T) * std::size_t(N));
  if (int st = inner->compute_fwd(inner, y, nullptr, nullptr, nullptr)) return st;
  const auto* w = static_cast<const cplx<T>*>(inner->fft_table_a);
  recombine_ends_fwd(y[0], y[0], y[M]);
  for (long k = 1; 2 * k <= M; ++k) {
    cplx<T> xk, xm;
    recombine_fwd(y[k], y[M - k], w[k], w[M - k], xk, xm);
    y[k] = xk;
    if (k != M - k) y[M - k] = xm;
  }
  return 0;
}

template <class T>
int compute_r2c_1d_even_bwd(DftiNode* n, void* a, void* b, void*, void*) {
  auto* inner = static_cast<DftiNode*>(n->backend_data);
  if (!inner || n->commit_status != DFTI_COMMITTED) return DFTI_INCONSISTENT;
  const long N = n->length, M = N / 2;
  const bool inplace = n->placement == DFTI_INPLACE;
  const auto* X = reinterpret_cast<const cplx<T>*>(complex_side<T>(n, a, n->in_offset));
  auto* z = reinterpret_cast<cplx<T>*>(real_side<T>(inplace ? a : b, n->out_offset));
  const auto* w = static_cast<const cplx<T>*>(inner->fft_table_a);
  // Pairs are read before either is written: in place they share storage.
  z[0] = recombine_ends_inv(X[0], X[M]);
  for (long k = 1; 2 * k <= M; ++k) {
    cplx<T> zk, zm;
    recombine_inv(X[k], X[M - k], w[k], w[M - k], zk, zm);
    if (k != M - k) z[M - k] = zm;
    z[k] = zk;
  }
  return inner->compute_bwd(inner, z, nullptr, nullptr, nullptr);
}

int even_commit(const orb_dfti_backend* self, DftiNode* n) {
  if (!accepts(n)) return DFTI_DECLINED;
  backend_prologue(self, n);
  DftiNode* inner = nullptr;
  int half = n->length / 2;
  int st = ORB_DFTK(dfti_create_node)(&inner, n->precision, DFTI_COMPLEX, 1, &half, n->mem_ctx);
  if (st) return st;
  n->backend_data = inner;
  inner->methods->setDescriptorName(inner, "R2C_1D_E|f", 10, 0);
  const int unit[2] = {0, 1};
  inner->methods->setInputStrides(inner, unit);
  inner->methods->setOutputStrides(inner, unit);
  inner->methods->setNumberOfTransforms(inner, 1);
  inner->fscale = n->fscale;
  inner->bscale = n->bscale;
  inner->thread_limit = 1;
  inner->api_entries = n->api_entries;
  inner->flags |= 8;
  if (is_double(n)) ORB_DFTK(dfti_set_bkdlist_d_c2c_1d)(inner);
  else ORB_DFTK(dfti_set_bkdlist_s_c2c_1d)(inner);
  orb_dft_bless_node_thr(inner);
  st = inner->methods->commit(inner);
  if (!st) st = is_double(n) ? setup_twiddle<double>(inner, n->length) : setup_twiddle<float>(inner, n->length);
  if (st) {
    n->uncommit(n);
    return st;
  }
  n->threads = 1;
  n->compute_fwd = is_double(n) ? compute_r2c_1d_even_fwd<double> : compute_r2c_1d_even_fwd<float>;
  n->compute_bwd = is_double(n) ? compute_r2c_1d_even_bwd<double> : compute_r2c_1d_even_bwd<float>;
  n->data_args = n->placement == DFTI_INPLACE ? 1 : 2;
  n->commit_status = DFTI_COMMITTED;
  return 0;
}

}  // namespace

extern "C" {
ORB_API const orb_dfti_backend ORB_DFTK(bkd_r2c_1d_even_s)[1] = {{even_commit, backend_detach, nullptr}};
ORB_API const orb_dfti_backend ORB_DFTK(bkd_r2c_1d_even_d)[1] = {{even_commit, backend_detach, nullptr}};
}
