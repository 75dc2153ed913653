// The backends: their records, the eight ordered lists, the rules of
// acceptance of those that work today and the thread-count decisions of
// commit. Records of transforms still to come (large one-dimensional,
// multi-dimensional drivers, Bluestein) stand in their places and decline,
// leaving the node untouched.
#include <cmath>

#include "dft/dfti.hpp"
#include "orb/orb_service.h"

namespace orb::dft {

double data_volume(const DftiNode* n) {
  double v = n->transforms;
  for (int k = 0; k < n->lengths_committed.rank; ++k) v *= n->lengths_committed.dims[k].n;
  if (n->placement != DFTI_INPLACE) v *= 2;
  if (n->domain == DFTI_COMPLEX) v *= 2;
  return v * (is_double(n) ? 8 : 4);
}

void backend_prologue(const orb_dfti_backend* self, DftiNode* n) {
  if ((n->backend && n->backend != self) || n->backend_data) n->uncommit(n);
  n->backend = self;
}

int backend_detach(const orb_dfti_backend* self, DftiNode* n) {
  if (n->backend != self) return DFTI_INTERNAL;
  n->compute_fwd = n->compute_bwd = nullptr;
  n->commit_status = DFTI_UNCOMMITTED;
  if (auto* inner = static_cast<DftiNode*>(n->backend_data)) inner->destroy(inner);
  n->backend_data = nullptr;
  return 0;
}

}  // namespace orb::dft

using namespace orb::dft;

namespace {

bool pow2(long n) { return n > 0 && (n & (n - 1)) == 0; }
const orb_dfti_dim& dim0(const DftiNode* n) { return n->lengths_committed.dims[0]; }
bool unit_strides(const DftiNode* n) { return dim0(n).is == 1 && dim0(n).os == 1; }
bool sub_node(const DftiNode* n) { return n->flags & 8; }
int cores(const DftiNode* n) { return api_int(n, 3, 1); }
int min(int a, int b) { return a < b ? a : b; }

int decline(const orb_dfti_backend*, DftiNode*) { return DFTI_DECLINED; }

// The default path of a node's kind through the core (chain, then core).
int run_default(DftiNode* n) {
  const bool md = n->rank > 1, real = is_real(n);
  if (is_double(n))
    return real ? (md ? orb_dft_commit_node_d_r2c_md_omp(n) : orb_dft_commit_node_d_r2c_1d_omp(n))
                : (md ? orb_dft_commit_node_d_c2c_md_omp(n) : orb_dft_commit_node_d_c2c_1d_omp(n));
  return real ? (md ? orb_dft_commit_node_s_r2c_md_omp(n) : orb_dft_commit_node_s_r2c_1d_omp(n))
              : (md ? orb_dft_commit_node_s_c2c_md_omp(n) : orb_dft_commit_node_s_c2c_1d_omp(n));
}

int default_commit(const orb_dfti_backend*, DftiNode* n) { return run_default(n); }

// A backend that takes the node through the default path once its own test
// holds and its thread cap is applied.
template <bool (*Accepts)(const DftiNode*), void (*Cap)(DftiNode*)>
int commit_through_default(const orb_dfti_backend* self, DftiNode* n) {
  if (!Accepts(n)) return DFTI_DECLINED;
  backend_prologue(self, n);
  Cap(n);
  return run_default(n);
}
void no_cap(DftiNode*) {}

// ---- c2c_1d_small: short transforms one call each.
bool small_c2c(const DftiNode* n) {
  int flag = 0;
  return n->domain == DFTI_COMPLEX && n->complex_storage == DFTI_COMPLEX_COMPLEX && n->rank_committed == 1 &&
         n->length <= 4096 && unit_strides(n) && n->in_offset == 0 && n->out_offset == 0 && !sub_node(n) &&
         ORB_DFTK(kep_can_scale)(n, &flag);
}
void small_c2c_cap(DftiNode* n) {
  long long nt = n->transforms;
  if (n->transforms > 1) nt = (16LL * n->transforms * n->length + 4095) >> 12;
  const double B = data_volume(n);
  if (B < double(api_cache(n, 2)) * cores(n) / 2) nt = nt < cores(n) ? nt : (long long)cores(n);
  if (B <= 4096) nt = 1;
  if (nt < n->threads) n->threads = int(nt);
}

// ---- r2c_1d_small.
bool small_r2c(const DftiNode* n) {
  int flag = 0;
  return n->domain == DFTI_REAL && n->packed_format != DFTI_PACK_FORMAT && n->packed_format != DFTI_PERM_FORMAT &&
         n->rank_committed == 1 && unit_strides(n) && n->in_offset == 0 && n->out_offset == 0 && n->length < 4097 &&
         !sub_node(n) && ORB_DFTK(kep_can_scale)(n, &flag) && !(n->transforms >= 2 && n->threads >= 2);
}
int small_r2c_commit(const orb_dfti_backend* self, DftiNode* n) {
  const int st = commit_through_default<small_r2c, no_cap>(self, n);
  if (st == 0) n->threads = 1;
  return st;
}

// ---- Split storage: one, a batch of several records, several dimensions.
bool split_storage(const DftiNode* n) {
  return n->domain == DFTI_COMPLEX && n->complex_storage == DFTI_REAL_REAL && !sub_node(n);
}
bool cr2cr_batched(const DftiNode* n) {
  return split_storage(n) && n->rank_committed == 1 && n->batch_committed.rank >= 2;
}
template <int Precision>
bool cr2cr_1d(const DftiNode* n) {
  return n->precision == Precision && split_storage(n) && n->rank_committed == 1 && n->batch_committed.rank == 1;
}
bool cr2cr_md(const DftiNode* n) { return split_storage(n) && n->rank_committed != 1; }

// ---- c2c_1d_bigbatch: a batch of long transforms, one after another, each
// through an inner node of one transform.
bool bigbatch(const DftiNode* n) {
  if (!(n->domain == DFTI_COMPLEX && n->complex_storage == DFTI_COMPLEX_COMPLEX && n->transforms > 2 &&
        n->rank_committed == 1 && unit_strides(n)))
    return false;
  const int t = n->threads > 0 ? n->threads : 1;
  const int per_socket = cores(n) * api_int(n, 4, 1);
  const long S = long(api_cache(n, 0)) / min(t, cores(n)) / ((t + per_socket - 1) / per_socket);
  const int shift = (is_double(n) ? 4 : 3) + (n->placement == DFTI_INPLACE ? 0 : 1);
  return n->length >= (S >> shift);
}

int bigbatch_commit(const orb_dfti_backend* self, DftiNode* n) {
  if (!bigbatch(n)) return DFTI_DECLINED;
  backend_prologue(self, n);
  DftiNode* inner = nullptr;
  int len = n->length;
  int st = ORB_DFTK(dfti_create_node)(&inner, n->precision, DFTI_COMPLEX, 1, &len, n->mem_ctx);
  if (st) return st;
  n->backend_data = inner;
  inner->placement = n->placement;
  inner->fscale = n->fscale;
  inner->bscale = n->bscale;
  inner->thread_limit = 1;
  inner->api_entries = n->api_entries;
  inner->flags |= 8;
  if (is_double(n)) ORB_DFTK(dfti_set_bkdlist_d_c2c_1d)(inner);
  else ORB_DFTK(dfti_set_bkdlist_s_c2c_1d)(inner);
  orb_dft_bless_node_thr(inner);
  st = inner->methods->commit(inner);
  if (st) {
    n->uncommit(n);
    return st;
  }
  n->compute_fwd = ORB_DFTK(compute_large_batch_fwd);
  n->compute_bwd = ORB_DFTK(compute_large_batch_bwd);
  n->data_args = n->placement == DFTI_INPLACE ? 1 : 2;
  n->commit_status = DFTI_COMMITTED;
  return 0;
}

int large_batch(DftiNode* n, void* a, void* b, bool fwd) {
  auto* inner = static_cast<DftiNode*>(n->backend_data);
  if (!inner || n->commit_status != DFTI_COMMITTED) return DFTI_INCONSISTENT;
  const long elem = is_double(n) ? 16 : 8;
  auto* in = static_cast<unsigned char*>(a) + elem * n->in_offset;
  auto* out = static_cast<unsigned char*>(b) + elem * n->out_offset;
  const orb_dfti_compute_fn f = fwd ? inner->compute_fwd : inner->compute_bwd;
  for (long t = 0; t < n->transforms; ++t) {
    const int st = n->placement == DFTI_INPLACE ? f(inner, in + t * elem * n->dist_in, nullptr, nullptr, nullptr)
                                                : f(inner, in + t * elem * n->dist_in, out + t * elem * n->dist_out,
                                                    nullptr, nullptr);
    if (st) return st;
  }
  return 0;
}

// ---- Thread counts at the head of every commit core.
using suggest_fn = int (*)(const DftiNode*);
int threaded_mode(DftiNode* n, int dynamic, bool real, bool md) {
  const int r = n->rank_committed;
  const bool one = n->transforms == 1;
  bool single;
  if (!real) single = one && !n->par_apply && (!md || r == 1);
  else if (!md) single = one;
  else single = one && (r == 1 || (r == 2 && n->lengths_committed.dims[0].n == 1 && n->lengths_committed.dims[1].n == 1));
  if (single || n->user_threads > 1) n->threads = 1;
  if (dynamic) {
    static constexpr suggest_fn list[] = {ORB_DFTK(static_suggest_optimal_nt_1), ORB_DFTK(static_suggest_optimal_nt_2),
                                          ORB_DFTK(static_suggest_optimal_nt_3), ORB_DFTK(static_suggest_optimal_nt_4),
                                          ORB_DFTK(static_suggest_optimal_nt_5)};
    for (suggest_fn f : list) {
      if (n->threads == 1) break;
      const int s = f(n);
      if (s >= 1 && s < n->threads) n->threads = s;
    }
  }
  if (n->stride_in == 1 && n->stride_out == 1 && one && n->threads == 1 && (!md || r == 1)) n->flags |= 1;
  if (r == 2 && n->threads == 1 && one) n->flags |= 2;
  return 0;
}

}  // namespace

extern "C" {

#define ORB_DFTI_TMD(p, d, r, real, md) \
  int ORB_DFTK(threaded_mode_definition_##p##_##d##_##r)(DftiNode * n, int dyn) { return threaded_mode(n, dyn, real, md); }
ORB_DFTI_TMD(s, c2c, 1d, false, false)
ORB_DFTI_TMD(s, c2c, md, false, true)
ORB_DFTI_TMD(s, r2c, 1d, true, false)
ORB_DFTI_TMD(s, r2c, md, true, true)
ORB_DFTI_TMD(d, c2c, 1d, false, false)
ORB_DFTI_TMD(d, c2c, md, false, true)
ORB_DFTI_TMD(d, r2c, 1d, true, false)
ORB_DFTI_TMD(d, r2c, md, true, true)
#undef ORB_DFTI_TMD

// Small two-dimensional transforms run on one thread.
int ORB_DFTK(static_suggest_optimal_nt_1)(const DftiNode* n) {
  if (n->rank_committed != 2 || n->transforms != 1) return 0;
  return n->size_total < (pow2(n->size_total) ? 2048 : 343) ? 1 : 0;
}
// Threads by data volume: all cores for little data; one transform by the
// square root of B ln B.
int ORB_DFTK(static_suggest_optimal_nt_2)(const DftiNode* n) {
  const double B = data_volume(n);
  if (B <= double(long(cores(n)) << 15) / 2) return cores(n);
  if (n->transforms > 1) return 0;
  const int m = n->rank_committed > 1 ? n->rank_committed : n->par_state ? 2 : 1;
  const long double b = B;
  return int(std::floor(std::sqrt(b * std::log(b) / 313600.0L) + 0.5L)) * m;
}
int ORB_DFTK(static_suggest_optimal_nt_3)(const DftiNode*) { return 0; }
int ORB_DFTK(static_suggest_optimal_nt_4)(const DftiNode*) { return 0; }
int ORB_DFTK(static_suggest_optimal_nt_5)(const DftiNode*) { return 0; }

int ORB_DFTK(compute_large_batch_fwd)(DftiNode* n, void* a, void* b, void*, void*) { return large_batch(n, a, b, true); }
int ORB_DFTK(compute_large_batch_bwd)(DftiNode* n, void* a, void* b, void*, void*) { return large_batch(n, a, b, false); }

// ---- Records. Declining ones first, then the working ones.
#define ORB_DFTI_DECLINES(name) ORB_API const orb_dfti_backend ORB_DFTK(bkd_##name)[1] = {{decline, backend_detach, nullptr}};
#define ORB_DFTI_BOTH(X, name) X(name##_s) X(name##_d)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, c2c_1d_mg)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, c2c_1d_colbatch)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, c2c_1d_large)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, c2c_1d_bluestein)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, c2c_1d_bluestein_strided)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, c2c_2d_main)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, c2c_3d)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, c2c_4d)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, r2c_1d_mg)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, r2c_1d_bluestein)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, r2c_1d_bluestein_strided)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, r2c_3d)
ORB_DFTI_BOTH(ORB_DFTI_DECLINES, r2c_2d)
#undef ORB_DFTI_DECLINES

#define ORB_DFTI_DEFAULT(name) ORB_API const orb_dfti_backend ORB_DFTK(bkd_##name)[1] = {{default_commit, nullptr, nullptr}};
ORB_DFTI_BOTH(ORB_DFTI_DEFAULT, c2c_1d_default)
ORB_DFTI_BOTH(ORB_DFTI_DEFAULT, c2c_md_default)
ORB_DFTI_BOTH(ORB_DFTI_DEFAULT, r2c_1d_default)
ORB_DFTI_BOTH(ORB_DFTI_DEFAULT, r2c_md_default)
#undef ORB_DFTI_DEFAULT

#define ORB_DFTI_RECORD(name, commit) \
  ORB_API const orb_dfti_backend ORB_DFTK(bkd_##name)[1] = {{commit, backend_detach, nullptr}};
ORB_DFTI_RECORD(c2c_1d_small_s, (commit_through_default<small_c2c, small_c2c_cap>))
ORB_DFTI_RECORD(c2c_1d_small_d, (commit_through_default<small_c2c, small_c2c_cap>))
ORB_DFTI_RECORD(r2c_1d_small_s, small_r2c_commit)
ORB_DFTI_RECORD(r2c_1d_small_d, small_r2c_commit)
ORB_DFTI_RECORD(c2c_1d_bigbatch_s, bigbatch_commit)
ORB_DFTI_RECORD(c2c_1d_bigbatch_d, bigbatch_commit)
ORB_DFTI_RECORD(cr2cr_1d_s, (commit_through_default<cr2cr_1d<DFTI_SINGLE>, no_cap>))
ORB_DFTI_RECORD(cr2cr_1d_d, (commit_through_default<cr2cr_1d<DFTI_DOUBLE>, no_cap>))
ORB_DFTI_RECORD(cr2cr_1d_batched, (commit_through_default<cr2cr_batched, no_cap>))
ORB_DFTI_RECORD(cr2cr_md, (commit_through_default<cr2cr_md, no_cap>))
#undef ORB_DFTI_RECORD
#undef ORB_DFTI_BOTH

}  // extern "C"

// ---- The eight lists, in their fixed order.
namespace {
#define B(name) ORB_DFTK(bkd_##name)
#define ORB_DFTI_LISTS(p)                                                                                         \
  const orb_dfti_backend* const c2c_1d_##p[] = {B(c2c_1d_mg_##p),       B(c2c_1d_colbatch_##p),                  \
                                                B(c2c_1d_large_##p),    B(c2c_1d_bigbatch_##p),                  \
                                                B(cr2cr_1d_batched),    B(cr2cr_1d_##p),                         \
                                                B(c2c_1d_small_##p),    B(c2c_1d_default_##p),                   \
                                                B(c2c_1d_bluestein_##p), B(c2c_1d_bluestein_strided_##p), nullptr}; \
  const orb_dfti_backend* const c2c_md_##p[] = {B(c2c_3d_tiny_##p), B(c2c_2d_tiny_##p), B(c2c_2d_main_##p),      \
                                                B(c2c_3d_##p),      B(c2c_4d_##p),      B(cr2cr_md),             \
                                                B(cr2cr_1d_batched), B(cr2cr_1d_##p),   B(c2c_md_default_##p),   \
                                                nullptr};                                                         \
  const orb_dfti_backend* const r2c_1d_##p[] = {B(r2c_1d_mg_##p),       B(r2c_1d_small_##p),                     \
                                                B(r2c_1d_even_##p),     B(r2c_1d_dnnsmall_##p),                  \
                                                B(r2c_1d_default_##p),  B(r2c_1d_bluestein_##p),                 \
                                                B(r2c_1d_bluestein_strided_##p), nullptr};
ORB_DFTI_LISTS(s)
ORB_DFTI_LISTS(d)
#undef ORB_DFTI_LISTS
// The first two real multi-dimensional backends take turns by precision.
const orb_dfti_backend* const r2c_md_d[] = {B(r2c_3d_tiny_d), B(r2c_2d_tiny_d), B(r2c_3d_d), B(r2c_2d_d),
                                            B(r2c_2d_dnnsmall_d), B(r2c_md_default_d), nullptr};
const orb_dfti_backend* const r2c_md_s[] = {B(r2c_2d_tiny_s), B(r2c_3d_tiny_s), B(r2c_3d_s), B(r2c_2d_s),
                                            B(r2c_2d_dnnsmall_s), B(r2c_md_default_s), nullptr};
#undef B
}  // namespace

#define ORB_DFTI_SETLIST(p, d, r) \
  extern "C" void ORB_DFTK(dfti_set_bkdlist_##p##_##d##_##r)(DftiNode * n) { n->backend_list = d##_##r##_##p; }
ORB_DFTI_SETLIST(s, c2c, 1d)
ORB_DFTI_SETLIST(s, c2c, md)
ORB_DFTI_SETLIST(s, r2c, 1d)
ORB_DFTI_SETLIST(s, r2c, md)
ORB_DFTI_SETLIST(d, c2c, 1d)
ORB_DFTI_SETLIST(d, c2c, md)
ORB_DFTI_SETLIST(d, r2c, 1d)
ORB_DFTI_SETLIST(d, r2c, md)
#undef ORB_DFTI_SETLIST
