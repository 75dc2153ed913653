// Commit: the two commit methods, the consistency test, the default commit
// cores and the builders of signal-layer plans; the verbose line.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "dft/dfti.hpp"
#include "orb/orb_service.h"

namespace orb::dft {
namespace {

bool pow2(long n) { return n > 0 && (n & (n - 1)) == 0; }

// Record r of both committed tensors, in turn.
template <class F>
bool any_record(const DftiNode* n, F f) {
  for (const orb_dfti_iotensor* t : {&n->lengths_committed, &n->batch_committed})
    for (int i = 0; i < t->rank; ++i)
      if (f(t->dims[i], t == &n->batch_committed, i)) return true;
  return false;
}

int maybe_inconsistent(const DftiNode* n) {
  const bool two_sided =
      !(n->placement == DFTI_INPLACE && (n->domain != DFTI_REAL || n->conjugate_even_storage != DFTI_COMPLEX_COMPLEX));
  if (any_record(n, [&](const orb_dfti_dim& d, bool, int) {
        if (d.n == 1) return false;
        if (d.fs == 0 && d.bs == 0) return d.is == 0 || (two_sided && d.os == 0);
        return d.fs == 0 || d.bs == 0;
      }))
    return DFTI_INCONSISTENT;
  if (n->domain != DFTI_REAL || n->placement != DFTI_INPLACE || n->conjugate_even_storage != DFTI_COMPLEX_COMPLEX)
    return 0;
  const orb_dfti_dim& d0 = n->lengths_committed.dims[0];
  if (!((d0.is == 1 && d0.os == 1) || (d0.fs == 1 && d0.bs == 1))) return 0;
  // The real side takes twice the complex side's strides, in one direction
  // or the other, for every record past the first and the batch.
  const bool many = n->transforms > 1;
  auto doubled = [&](int (*a)(const orb_dfti_dim&), int (*b)(const orb_dfti_dim&)) {
    return !any_record(n, [&](const orb_dfti_dim& d, bool batch, int i) {
      if (batch ? !many : i == 0) return false;
      return a(d) != 2 * b(d);
    });
  };
  const bool A = n->fwd_offset == 2 * n->bwd_offset &&
                 doubled([](const orb_dfti_dim& d) { return d.fs; }, [](const orb_dfti_dim& d) { return d.bs; });
  const bool B = A && n->out_offset == 2 * n->in_offset &&
                 doubled([](const orb_dfti_dim& d) { return d.os; }, [](const orb_dfti_dim& d) { return d.is; });
  const bool C = A && n->in_offset == 2 * n->out_offset &&
                 doubled([](const orb_dfti_dim& d) { return d.is; }, [](const orb_dfti_dim& d) { return d.os; });
  return B || C ? 0 : DFTI_INCONSISTENT;
}

void copy_summary(DftiNode* n) {
  const orb_dfti_dim& d0 = n->lengths_committed.dims[0];
  const orb_dfti_dim& b0 = n->batch_committed.dims[0];
  n->length = d0.n;
  n->stride_in = d0.is;
  n->stride_out = d0.os;
  n->transforms = b0.n;
  n->dist_in = b0.is;
  n->dist_out = b0.os;
  n->rank_committed = n->lengths_committed.rank;
  n->fscale_d = n->fscale;
  n->bscale_d = n->bscale;
  n->fscale_s = float(n->fscale);
  n->bscale_s = float(n->bscale);
}

// Steps shared by both methods once the committed tensors stand.
int commit_tail(DftiNode* n) {
  copy_summary(n);
  if (maybe_inconsistent(n)) return DFTI_INCONSISTENT;
  // A node committed before starts again from nothing.
  if (n->commit_status == DFTI_COMMITTED || n->backend || n->next_dim) n->uncommit(n);
  n->threads = n->thread_limit ? n->thread_limit : api_int(n, 2, 1);
  n->dynamic = api_int(n, 0, 0);
  // Every backend is offered the node in turn; a failure moves on too. An
  // error met on the way is what a final decline reports.
  int st = DFTI_DECLINED, error = 0;
  for (const orb_dfti_backend* const* b = n->backend_list; b && *b; ++b) {
    st = (*b)->commit(*b, n);
    if (st == 0) return 0;
    if (st != DFTI_DECLINED) error = st;
  }
  if (st != DFTI_DECLINED) return st;
  if (error) return error;
  const orb_dfti_dim& d0 = n->lengths_committed.dims[0];
  if (n->rank_committed == 1 && d0.is != 1 && d0.os != 1) {
    const long len = d0.n;
    const int shift = (is_double(n) ? 24 : 25) + (pow2(len) ? 2 : 0);
    if (len > (1L << shift)) return DFTI_LENGTH_LIMIT;
  }
  return DFTI_INCONSISTENT;
}

}  // namespace

int static_dfti_commit(DftiNode* n) {
  const bool inplace = n->placement == DFTI_INPLACE && n->domain == DFTI_COMPLEX;
  if (Iotensor_copy(&n->lengths_committed, &n->lengths, inplace, n->mem_ctx) ||
      Iotensor_copy(&n->batch_committed, &n->batch, inplace, n->mem_ctx))
    return DFTI_MEMORY_ERROR;
  if (n->domain == DFTI_COMPLEX) {
    Iotensor_sort(&n->lengths_committed);
    Iotensor_remove1(&n->lengths_committed);
    Iotensor_sort(&n->batch_committed);
    Iotensor_remove1(&n->batch_committed);
    Iotensor_compress(&n->batch_committed);
  }
  return commit_tail(n);
}

int static_dt_commit(DftiNode* n) { return commit_tail(n); }

// ---- Plans. The builder by memory mode: the layer's own
// allocation, inside the external buffers, or counting bytes only.
namespace {

enum build_mode { initalloc, init_in_place, get_size_only };

int build_spec(DftiNode* n, int k, int length, int flag, build_mode mode) {
  const int shift = pow2(length) ? 26 : 24;
  if (length > (1 << shift)) return DFTI_LENGTH_LIMIT;
  const keps_kind& K = kind(k);
  int spec_size = 0, init_size = 0, buf_size = 0, st = 0;
  if (mode != initalloc) {
    st = K.get_size(length, flag, n->dft_hint, &spec_size, &init_size, &buf_size);
    if (st) return ORB_DFTK(transfer_kep_orb_error)(st);
  }
  if (mode == get_size_only) {
    mem_charge(n->mem_ctx, 0, std::size_t(spec_size));
    mem_charge(n->mem_ctx, 1, std::size_t(init_size));
    mem_charge(n->mem_ctx, 2, std::size_t(buf_size));
    n->buf_size = buf_size;
    n->uses_kep = 1;
    return 0;
  }
  orb_keps_dft_spec* spec = nullptr;
  if (mode == initalloc) {
    st = K.init_alloc(&spec, length, flag, n->dft_hint);
    if (st) return ORB_DFTK(transfer_kep_orb_error)(st);
  } else {
    spec = static_cast<orb_keps_dft_spec*>(mem_malloc(n->mem_ctx, 0, std::size_t(spec_size)));
    auto* ib = static_cast<unsigned char*>(mem_malloc(n->mem_ctx, 1, std::size_t(init_size)));
    if (!spec || (init_size && !ib)) return DFTI_MEMORY_ERROR;
    st = K.init(length, flag, n->dft_hint, spec, ib);
    if (st) return ORB_DFTK(transfer_kep_orb_error)(st);
  }
  spec_slot(n, k) = spec;
  st = K.get_buf_size(spec, &buf_size);
  if (st) return ORB_DFTK(transfer_kep_orb_error)(st);
  n->buf_size = buf_size;
  n->uses_kep = 1;
  return 0;
}

build_mode mode_of(const DftiNode* n) {
  return !n->mem_ctx ? initalloc : counting(n->mem_ctx) ? get_size_only : init_in_place;
}

// The apply pair of a dimension node by its kind.
void bind_apply(DftiNode* d, int k) {
  static constexpr orb_dfti_apply_fn fwd[kKinds] = {ORB_DFTK(xkeps_fwd_32fc), ORB_DFTK(xkeps_fwd_64fc),
                                                    ORB_DFTK(xkeps_fwd_32f),  ORB_DFTK(xkeps_fwd_64f),
                                                    ORB_DFTK(xkeps_fwd_rtocomplex_32f),
                                                    ORB_DFTK(xkeps_fwd_rtocomplex_64f)};
  static constexpr orb_dfti_apply_fn inv[kKinds] = {ORB_DFTK(xkeps_inv_32fc), ORB_DFTK(xkeps_inv_64fc),
                                                    ORB_DFTK(xkeps_inv_32f),  ORB_DFTK(xkeps_inv_64f),
                                                    ORB_DFTK(xkeps_inv_complextor_32f),
                                                    ORB_DFTK(xkeps_inv_complextor_64f)};
  d->apply_fwd = fwd[k];
  d->apply_bwd = inv[k];
}

// The place of the large one-dimensional engine (a transform as a matrix of
// two shorter ones): not built yet, so every node goes the plan's
// way. It is tried for interleaved unit-stride transforms that are long, or
// when the caller asks to avoid workspace.
int xz_init_data_1d_via_2d(DftiNode*) { return DFTI_UNSUPPORTED; }
bool wants_1d_via_2d(const DftiNode* n) {
  const orb_dfti_dim& d = n->lengths_committed.dims[0];
  if (n->complex_storage != DFTI_COMPLEX_COMPLEX || n->rank_committed != 1 || d.is != 1 || d.os != 1 ||
      n->order < 16)
    return false;
  const long limit = 1L << (pow2(n->length) ? 26 : 24);
  return n->length > limit || n->order >= 32 || n->workspace == DFTI_AVOID;
}

using threaded_fn = int (*)(DftiNode*, int);
constexpr threaded_fn threaded_mode[8] = {
    ORB_DFTK(threaded_mode_definition_s_c2c_1d), ORB_DFTK(threaded_mode_definition_s_c2c_md),
    ORB_DFTK(threaded_mode_definition_s_r2c_1d), ORB_DFTK(threaded_mode_definition_s_r2c_md),
    ORB_DFTK(threaded_mode_definition_d_c2c_1d), ORB_DFTK(threaded_mode_definition_d_c2c_md),
    ORB_DFTK(threaded_mode_definition_d_r2c_1d), ORB_DFTK(threaded_mode_definition_d_r2c_md)};

// The eight cores are one routine; index = 4 * double + 2 * real + md.
int commit_core(DftiNode* n, int index) {
  const int saved_threads = n->threads, saved_limit = n->thread_limit;
  int st = threaded_mode[index](n, n->dynamic);
  if (st) return st;
  const bool real = is_real(n);
  // Real results: a complex array (CCE, CCS layout) or a real array in one
  // of the packed formats; several dimensions take the complex array only.
  if (real) {
    const bool cce = n->conjugate_even_storage == DFTI_COMPLEX_COMPLEX;
    const int f = n->packed_format;
    const bool known = cce || f == DFTI_CCS_FORMAT || f == DFTI_PACK_FORMAT || f == DFTI_PERM_FORMAT;
    if (!known || (n->rank_committed > 1 && !cce)) {
      static_uncommit(n);
      return DFTI_UNSUPPORTED;
    }
  }
  // No two-dimensional driver of its own yet: the chain serves rank 2 too.
  n->apply_2d = nullptr;
  n->flags &= ~2;
  const build_mode mode = mode_of(n);
  const int dbl = is_double(n);
  n->max_buf_size = 0;
  DftiNode* d = n;
  for (int i = 0; i < n->rank_committed; ++i) {
    const int len = n->lengths_committed.dims[i].n;
    const int k = real ? (i == 0 ? kR32f : kC32fc) + dbl : kind_of(n);
    int flag = 8;
    if (n->rank_committed > 1 || !ORB_DFTK(kep_can_scale)(n, &flag)) flag = 8;
    if (d && d != n) {
      d->in_offset = n->in_offset;
      d->out_offset = n->out_offset;
      d->dist_in = n->dist_in;
      d->dist_out = n->dist_out;
      d->placement = n->placement;
      d->complex_storage = n->complex_storage;
      d->conjugate_even_storage = n->conjugate_even_storage;
      d->packed_format = n->packed_format;
      d->precision = n->precision;
      d->dft_hint = n->dft_hint;
      d->dim_index = i;
      d->length = len;
      d->par_apply = nullptr;
      d->par_state = nullptr;
    }
    DftiNode* target = d ? d : n;
    if (i == 0 && !real && wants_1d_via_2d(n) && xz_init_data_1d_via_2d(n) == 0) {
      n->flags |= n->transforms == 1 ? 4 : 0;
      break;
    }
    st = build_spec(target, k, len, flag, mode);
    if (st) {
      static_uncommit(n);
      n->threads = saved_threads;
      n->thread_limit = saved_limit;
      return st;
    }
    if (d) {
      bind_apply(d, k);
      d->commit_status = DFTI_COMMITTED;
      d = d->next_dim;
    }
    if (target->buf_size > n->max_buf_size) n->max_buf_size = target->buf_size;
  }
  n->max_buf_size += int(work_bytes(n));
  if (mode == get_size_only) mem_charge(n->mem_ctx, 2, std::size_t(n->max_buf_size));
  if (mode != get_size_only) bind_compute(n);
  n->commit_status = DFTI_COMMITTED;
  return 0;
}

}  // namespace
}  // namespace orb::dft

using namespace orb::dft;

extern "C" {

#define ORB_DFTI_CORE(p, d, r, index) \
  int ORB_DFTK(commit_descriptor_core_##p##_##d##_##r)(DftiNode * n) { return commit_core(n, index); }
ORB_DFTI_CORE(s, c2c, 1d, 0)
ORB_DFTI_CORE(s, c2c, md, 1)
ORB_DFTI_CORE(s, r2c, 1d, 2)
ORB_DFTI_CORE(s, r2c, md, 3)
ORB_DFTI_CORE(d, c2c, 1d, 4)
ORB_DFTI_CORE(d, c2c, md, 5)
ORB_DFTI_CORE(d, r2c, 1d, 6)
ORB_DFTI_CORE(d, r2c, md, 7)
#undef ORB_DFTI_CORE

// 1 and the signal layer's flag when the layer can scale by itself.
int ORB_DFTK(kep_can_scale)(const DftiNode* n, int* flag) {
  const double N = n->length, f = n->fscale_d, b = n->bscale_d;
  int v = 0;
  if (f == 1.0 && b == 1.0) v = 8;
  else if (f == 1.0 / N && b == 1.0) v = 1;
  else if (b == 1.0 / N && f == 1.0) v = 2;
  else if (f == 1.0 / std::sqrt(N) && b == f) v = 4;
  if (v && flag) *flag = v;
  return v != 0;
}

#define ORB_DFTI_KEP(p, name, K)                                                              \
  int ORB_DFTK(kep_initalloc_##p##_##name)(DftiNode * n, int length, int flag) {              \
    return build_spec(n, K, length, flag, initalloc);                                         \
  }                                                                                           \
  int ORB_DFTK(kep_init_##p##_##name)(DftiNode * n, int length, int flag) {                   \
    return build_spec(n, K, length, flag, init_in_place);                                     \
  }                                                                                           \
  int ORB_DFTK(kep_get_size_##p##_##name)(DftiNode * n, int length, int flag) {               \
    return build_spec(n, K, length, flag, get_size_only);                                     \
  }
ORB_DFTI_KEP(s, c2c, kC32fc)
ORB_DFTI_KEP(d, c2c, kC64fc)
ORB_DFTI_KEP(s, ri2ri, kC32f)
ORB_DFTI_KEP(d, ri2ri, kC64f)
ORB_DFTI_KEP(s, r2c, kR32f)
ORB_DFTI_KEP(d, r2c, kR64f)
#undef ORB_DFTI_KEP

}  // extern "C"

// The inverse from Pack goes through the Perm kernel: Pack holds R0, R1, I1,
// ..., and for even N the last real R(N/2) at the end, where Perm keeps it
// in position 1. The move works in place.
namespace {
template <class T>
int rpack_inverse(const T* src, T* dst, const orb_keps_dft_spec* spec, unsigned char* buf, int n) {
  if (src != dst) std::memmove(dst, src, sizeof(T) * std::size_t(n));
  if (n % 2 == 0 && n > 2) {
    const T last = dst[n - 1];
    std::memmove(dst + 2, dst + 1, sizeof(T) * std::size_t(n - 2));
    dst[1] = last;
  }
  return keps<T>::rinv_perm(dst, dst, spec, buf);
}
}  // namespace

// The length travels in the plan only; the node's real apply passes it
// through the buffer's first word (see xkeps_inv_complextor_*).
extern "C" int ORB_DFTK(workaround_for_DFTInv_RPack_64f)(const double* src, double* dst,
                                                          const orb_keps_dft_spec* spec, unsigned char* buf) {
  int n = 0;
  std::memcpy(&n, buf, sizeof n);
  return rpack_inverse(src, dst, spec, buf + 64, n);
}
extern "C" int ORB_DFTK(workaround_for_DFTInv_RPack_32f)(const float* src, float* dst,
                                                          const orb_keps_dft_spec* spec, unsigned char* buf) {
  int n = 0;
  std::memcpy(&n, buf, sizeof n);
  return rpack_inverse(src, dst, spec, buf + 64, n);
}

// ---- The chain of per-dimension nodes: dimension 0 is the node itself,
// each further committed dimension a node of rank 1 hanging on next_dim.
namespace {

int make_chain(DftiNode* n) {
  if (n->next_dim) {
    DftiNode* old = n->next_dim;
    n->next_dim = nullptr;
    old->destroy(old);
  }
  if (counting(n->mem_ctx)) {
    // What each dimension's node will take: the record and four tensors of
    // one dimension.
    for (int k = 1; k < n->rank_committed; ++k) {
      mem_charge(n->mem_ctx, 0, sizeof(DftiNode));
      for (int t = 0; t < 4; ++t) mem_charge(n->mem_ctx, 0, sizeof(orb_dfti_dim));
    }
    return 0;
  }
  DftiNode* last = n;
  for (int k = 1; k < n->rank_committed; ++k) {
    int len = n->lengths_committed.dims[k].n;
    const int domain = is_real(n) ? DFTI_COMPLEX : n->domain;
    DftiNode* d = nullptr;
    if (ORB_DFTK(dfti_create_node)(&d, n->precision, domain, 1, &len, n->mem_ctx)) return DFTI_MEMORY_ERROR;
    d->lengths_committed.dims[0] = n->lengths_committed.dims[k];
    d->rank_committed = 1;
    d->length = len;
    d->api_entries = n->api_entries;
    d->flags |= 8;
    last->next_dim = d;
    last = d;
  }
  return 0;
}

}  // namespace

namespace orb::dft {
const orb_dfti_kit kit = {{ORB_DFTK(commit_descriptor_core_s_c2c_1d), ORB_DFTK(commit_descriptor_core_s_c2c_md),
                           ORB_DFTK(commit_descriptor_core_s_r2c_1d), ORB_DFTK(commit_descriptor_core_s_r2c_md),
                           ORB_DFTK(commit_descriptor_core_d_c2c_1d), ORB_DFTK(commit_descriptor_core_d_c2c_md),
                           ORB_DFTK(commit_descriptor_core_d_r2c_1d), ORB_DFTK(commit_descriptor_core_d_r2c_md)},
                          make_chain};
}  // namespace orb::dft

// ---- The verbose line: what the node is, and only what differs from the
// defaults.
extern "C" void ORB_DFTK(dfti_verbose)(const DftiNode* n) {
  const int* mode = orb_serv_verbose_mode();
  if (!n || !mode || !*mode) return;
  char line[512];
  char* p = line;
  char* const end = line + 511;
  const bool real = is_real(n);
  p = orb_serv_sprintf_char_s(p, end, "FFT(%s%s%s%s", n->precision == DFTI_SINGLE ? "s" : "d", real ? "r" : "c",
                              n->placement == DFTI_INPLACE ? "i" : "o", is_split(n) ? "/" : "");
  // Default strides: packed, the second dimension of a real transform
  // counting the padded width.
  const orb_dfti_iotensor& L = n->lengths;
  bool plain = n->in_offset == 0 && n->out_offset == 0;
  long is = 1, os = 1;
  for (int i = 0; i < L.rank && plain; ++i) {
    const orb_dfti_dim& d = L.dims[i];
    if (d.is != is || d.os != os) plain = false;
    long w = d.n, wi = d.n, wo = d.n;
    if (real && i == 0) {
      w = d.n / 2 + 1;
      wi = n->placement == DFTI_INPLACE ? 2 * w : d.n;
      wo = w;
    }
    (void)w;
    is *= wi;
    os *= wo;
  }
  for (int i = L.rank - 1; i >= 0; --i) {
    const orb_dfti_dim& d = L.dims[i];
    const char* sep = i == L.rank - 1 ? "" : "x";
    if (plain) p = orb_serv_sprintf_char_s(p, end, "%s%zi", sep, std::size_t(d.n));
    else p = orb_serv_sprintf_char_s(p, end, "%s%zi:%ti:%ti", sep, std::size_t(d.n), std::ptrdiff_t(d.is), std::ptrdiff_t(d.os));
  }
  const orb_dfti_dim& b = n->batch.dims[0];
  if (b.n > 1) {
    if (b.is == is && b.os == os) p = orb_serv_sprintf_char_s(p, end, "v%zi", std::size_t(b.n));
    else {
      p = orb_serv_sprintf_char_s(p, end, "*%zi", std::size_t(b.n));
      if (b.is != b.os) p = orb_serv_sprintf_char_s(p, end, ":%ti:%ti", std::ptrdiff_t(b.is), std::ptrdiff_t(b.os));
    }
  }
  p = orb_serv_sprintf_char_s(p, end, ",");
  if (n->fscale != 1.0) p = orb_serv_sprintf_char_s(p, end, "%s%lg,", "fScale=", n->fscale);
  if (n->bscale != 1.0) p = orb_serv_sprintf_char_s(p, end, "%s%lg,", "bScale=", n->bscale);
  if (n->conjugate_even_storage == DFTI_COMPLEX_REAL) {
    const char* f = n->packed_format == DFTI_CCS_FORMAT ? "ccs" : n->packed_format == DFTI_PACK_FORMAT ? "pack" : "perm";
    p = orb_serv_sprintf_char_s(p, end, "%s%s,", "pack=", f);
  }
  if (n->workspace != DFTI_ALLOW)
    p = orb_serv_sprintf_char_s(p, end, "%s%s,", "wSpace=", n->workspace == DFTI_AVOID ? "avoid" : "none");
  if (n->options & 16) p = orb_serv_sprintf_char_s(p, end, "%s,", "destruct=allow");
  p = orb_serv_sprintf_char_s(p, end, "%s%ti,", "tLim=", std::ptrdiff_t(n->thread_limit));
  orb_serv_sprintf_char_s(p, end, "%s%p%s", ")desc:", static_cast<const void*>(n), "");
  orb_serv_print_verbose_info(0, line, 0.0);
}
