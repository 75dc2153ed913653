// Compute entries, serial drivers and the apply functions of the default
// path. A driver runs a range of the batch: for each transform, one pass
// per dimension over every line along it (the chain's node of that
// dimension holds its plan); a line with unit strides goes to the
// signal layer as it lies, any other is gathered into a contiguous strip,
// transformed there and scattered back. Each transform is computed alone,
// so a split of the batch among threads changes no bit.
#include <cstdint>
#include <cstring>

#include "dft/dfti.hpp"
#include "orb/orb_service.h"

namespace orb::dft {
namespace {

constexpr long kArea = 16384;
struct arena {
  alignas(4096) unsigned char area[kArea];
  long used;
};

unsigned char* align64(unsigned char* p) {
  return reinterpret_cast<unsigned char*>((reinterpret_cast<std::uintptr_t>(p) + 63) & ~std::uintptr_t(63));
}

enum kind_t { cc, split, real };

// One side (input or output) of a transform as seen by one direction.
template <class T>
struct side {
  T* p[2];          // interleaved or real: p[0]; split: real and imaginary
  long off;         // offset in elements
  long stride[16];  // per dimension, elements
  long dist[8];     // per batch record
};

// Per record: fs/bs when either is set, else is/os.
inline bool uses_fb(const orb_dfti_dim& d) { return d.fs || d.bs; }
inline long in_stride(const orb_dfti_dim& d, bool fwd) { return uses_fb(d) ? (fwd ? d.fs : d.bs) : d.is; }
inline long out_stride(const orb_dfti_dim& d, bool fwd) { return uses_fb(d) ? (fwd ? d.bs : d.fs) : d.os; }

template <class T>
struct job {
  const DftiNode* node;
  const DftiNode* dim[16];
  int rank;
  long n[16];  // extents of the complex side (real: dimension 0 is N/2 + 1)
  bool fwd, inplace;
  kind_t kind;
  side<T> in, out;
  unsigned char* kbuf;
  T* line;
  T* temp;  // the copy a real multi-dimensional backward transform works on
  double scale;
  bool manual_scale;
};

// Elements of one line: gather count values (pairs for interleaved) from a
// strided array into a strip and back.
template <class T>
void gather(const T* src, long stride, T* dst, long count, int width) {
  for (long j = 0; j < count; ++j)
    for (int w = 0; w < width; ++w) dst[j * width + w] = src[j * stride * width + w];
}
template <class T>
void scatter(const T* src, T* dst, long stride, long count, int width) {
  for (long j = 0; j < count; ++j)
    for (int w = 0; w < width; ++w) dst[j * stride * width + w] = src[j * width + w];
}

// Complex line (interleaved or split) of the node d of one dimension.
template <class T>
int complex_line(const job<T>& J, const DftiNode* d, T* const src[2], long ss, T* const dst[2], long ds) {
  const long n = d->length;
  const orb_dfti_apply_fn apply = J.fwd ? d->apply_fwd : d->apply_bwd;
  if (J.kind != split) {  // interleaved (the complex passes of a real transform too)
    if (ss == 1 && ds == 1) return apply(d, src[0], dst[0], J.kbuf);
    gather(src[0], ss, J.line, n, 2);
    int st = apply(d, J.line, J.line, J.kbuf);
    scatter(J.line, dst[0], ds, n, 2);
    return st;
  }
  if (ss == 1 && ds == 1) return apply(d, src, const_cast<T**>(dst), J.kbuf);
  T* strip[2] = {J.line, J.line + n};
  gather(src[0], ss, strip[0], n, 1);
  gather(src[1], ss, strip[1], n, 1);
  int st = apply(d, strip, strip, J.kbuf);
  scatter(strip[0], dst[0], ds, n, 1);
  scatter(strip[1], dst[1], ds, n, 1);
  return st;
}

// Real line: N reals on one side, the packed or conjugate-even result on the
// other (CCE: N/2 + 1 pairs; CCS: N + 2 reals; Pack, Perm: N reals).
template <class T>
int real_line(const job<T>& J, const DftiNode* d, const T* src, long ss, T* dst, long ds) {
  const long n = d->length;
  const bool cce = d->conjugate_even_storage == DFTI_COMPLEX_COMPLEX;
  const long half = n / 2 + 1;
  const int width = cce ? 2 : 1;
  const long count = cce ? half : d->packed_format == DFTI_CCS_FORMAT ? 2 * half : n;
  const orb_dfti_apply_fn apply = J.fwd ? d->apply_fwd : d->apply_bwd;
  if (ss == 1 && ds == 1) return apply(d, src, dst, J.kbuf);
  if (J.fwd) {
    gather(src, ss, J.line, n, 1);
    int st = apply(d, J.line, J.line, J.kbuf);
    scatter(J.line, dst, ds, count, width);
    return st;
  }
  gather(src, ss, J.line, count, width);
  int st = apply(d, J.line, J.line, J.kbuf);
  scatter(J.line, dst, ds, n, 1);
  return st;
}

// Every line along dimension k of extents ext: f(in element, out element).
template <class F>
int each_line(int rank, const long* ext, int k, const long* si, const long* so, long in0, long out0, F f) {
  long idx[16] = {};
  for (;;) {
    long a = in0, b = out0;
    for (int i = 0; i < rank; ++i)
      if (i != k) a += idx[i] * si[i], b += idx[i] * so[i];
    if (int st = f(a, b)) return st;
    int i = 0;
    for (; i < rank; ++i) {
      if (i == k) continue;
      if (++idx[i] < ext[i]) break;
      idx[i] = 0;
    }
    if (i == rank) return 0;
  }
}

template <class T>
T* at(T* p, long e, int width) {
  return p + e * width;
}

// One pass of complex lines along dimension k, from side a to side b.
template <class T>
int complex_pass(const job<T>& J, int k, const long* ext, T* const a[2], const long* sa, long a0, T* const b[2],
                 const long* sb, long b0) {
  const int width = J.kind == split ? 1 : 2;
  return each_line(J.rank, ext, k, sa, sb, a0, b0, [&](long x, long y) {
    T* src[2] = {at(a[0], x, width), a[1] ? at(a[1], x, width) : nullptr};
    T* dst[2] = {at(b[0], y, width), b[1] ? at(b[1], y, width) : nullptr};
    return complex_line(J, J.dim[k], src, sa[k], dst, sb[k]);
  });
}

// Multiplies every output element of one transform by the scale.
template <class T>
void apply_scale(const job<T>& J, long base, const long* ext, bool complex_side) {
  const T s = T(J.scale);
  long one[16];
  for (int i = 0; i < J.rank; ++i) one[i] = ext[i];
  const int width = (complex_side && J.kind != split) ? 2 : 1;
  long count0 = one[0];
  one[0] = 1;
  each_line(J.rank, one, 0, J.out.stride, J.out.stride, base, base, [&](long, long y) {
    for (long j = 0; j < count0; ++j)
      for (int w = 0; w < width; ++w)
        for (int h = 0; h < (J.kind == split ? 2 : 1); ++h) J.out.p[h][(y + j * J.out.stride[0]) * width + w] *= s;
    return 0;
  });
}

template <class T>
int one_transform(const job<T>& J, long ib, long ob) {
  const int r = J.rank;
  T* const inp[2] = {J.in.p[0], J.in.p[1]};
  T* const outp[2] = {J.out.p[0], J.out.p[1]};
  int st = 0;
  if (J.kind != real) {
    // Dimension 0 from the input to the output, the others in place there.
    for (int k = 0; k < r && !st; ++k)
      st = k == 0 ? complex_pass(J, 0, J.n, inp, J.in.stride, ib, outp, J.out.stride, ob)
                  : complex_pass(J, k, J.n, outp, J.out.stride, ob, outp, J.out.stride, ob);
    if (!st && J.manual_scale) apply_scale(J, ob, J.n, true);
    return st;
  }
  long rext[16];  // extents of the real side
  for (int i = 0; i < r; ++i) rext[i] = J.n[i];
  rext[0] = J.dim[0]->length;
  const long half = J.n[0];
  const bool cce = J.node->conjugate_even_storage == DFTI_COMPLEX_COMPLEX;
  if (J.fwd) {
    st = each_line(r, rext, 0, J.in.stride, J.out.stride, ib, ob, [&](long x, long y) {
      return real_line(J, J.dim[0], J.in.p[0] + x, J.in.stride[0], J.out.p[0] + y * (cce ? 2 : 1), J.out.stride[0]);
    });
    for (int k = 1; k < r && !st; ++k) st = complex_pass(J, k, J.n, outp, J.out.stride, ob, outp, J.out.stride, ob);
    if (!st && J.manual_scale) {
      if (cce) apply_scale(J, ob, J.n, true);
      else {
        long ext[1] = {J.dim[0]->packed_format == DFTI_CCS_FORMAT ? 2 * half : rext[0]};
        apply_scale(J, ob, ext, false);
      }
    }
    return st;
  }
  // Backward: the other dimensions first, on the data itself when in place
  // (or destruct=allow), else on a contiguous copy of the input.
  T* src[2] = {J.in.p[0], nullptr};
  long base = ib;
  const long* sstr = J.in.stride;
  long tstr[16];
  if (r > 1 && !J.inplace && !(J.node->options & 16)) {
    long s = 1;
    for (int i = 0; i < r; ++i) tstr[i] = s, s *= J.n[i];
    each_line(r, J.n, 0, J.in.stride, tstr, ib, 0, [&](long x, long y) {
      for (long j = 0; j < half; ++j) {
        J.temp[2 * (y + j)] = J.in.p[0][2 * (x + j * J.in.stride[0])];
        J.temp[2 * (y + j) + 1] = J.in.p[0][2 * (x + j * J.in.stride[0]) + 1];
      }
      return 0;
    });
    src[0] = J.temp;
    base = 0;
    sstr = tstr;
  }
  for (int k = 1; k < r && !st; ++k) st = complex_pass(J, k, J.n, src, sstr, base, src, sstr, base);
  if (st) return st;
  st = each_line(r, rext, 0, sstr, J.out.stride, base, ob, [&](long x, long y) {
    return real_line(J, J.dim[0], src[0] + x * (cce ? 2 : 1), sstr[0], J.out.p[0] + y, J.out.stride[0]);
  });
  if (!st && J.manual_scale) apply_scale(J, ob, rext, false);
  return st;
}

// Fills a job for a node and direction from the record's data pointers.
template <class T>
int make_job(job<T>& J, const orb_dfti_par_rec* rec, bool fwd) {
  const DftiNode* n = rec->node;
  J.node = n;
  J.fwd = fwd;
  J.inplace = n->placement == DFTI_INPLACE;
  J.kind = is_real(n) ? real : is_split(n) ? split : cc;
  J.rank = n->rank_committed;
  const DftiNode* d = n;
  for (int k = 0; k < J.rank; ++k, d = d->next_dim) {
    if (!d) return DFTI_INTERNAL;
    J.dim[k] = d;
    J.n[k] = n->lengths_committed.dims[k].n;
  }
  if (J.kind == real) J.n[0] = J.n[0] / 2 + 1;
  void* const* p = rec->data;
  if (J.kind == split) {
    J.in.p[0] = static_cast<T*>(p[0]), J.in.p[1] = static_cast<T*>(p[1]);
    J.out.p[0] = static_cast<T*>(J.inplace ? p[0] : p[2]), J.out.p[1] = static_cast<T*>(J.inplace ? p[1] : p[3]);
  } else {
    J.in.p[0] = static_cast<T*>(p[0]), J.in.p[1] = nullptr;
    J.out.p[0] = static_cast<T*>(J.inplace ? p[0] : p[1]), J.out.p[1] = nullptr;
  }
  const bool fb = uses_fb(n->lengths_committed.dims[0]);
  J.in.off = fb ? (fwd ? n->fwd_offset : n->bwd_offset) : n->in_offset;
  J.out.off = fb ? (fwd ? n->bwd_offset : n->fwd_offset) : n->out_offset;
  for (int k = 0; k < J.rank; ++k) {
    J.in.stride[k] = in_stride(n->lengths_committed.dims[k], fwd);
    J.out.stride[k] = out_stride(n->lengths_committed.dims[k], fwd);
  }
  for (int b = 0; b < n->batch_committed.rank && b < 8; ++b) {
    J.in.dist[b] = in_stride(n->batch_committed.dims[b], fwd);
    J.out.dist[b] = out_stride(n->batch_committed.dims[b], fwd);
  }
  J.scale = fwd ? n->fscale_d : n->bscale_d;
  int flag = 0;
  J.manual_scale = J.scale != 1.0 && (J.rank > 1 || !ORB_DFTK(kep_can_scale)(n, &flag));
  return 0;
}

long spec_buf_max(const DftiNode* n) {
  long m = 0;
  for (const DftiNode* d = n; d; d = d->next_dim) m = d->buf_size > m ? d->buf_size : m;
  return m;
}

// Transforms [start, start + count) of the batch, on the scratch of this
// call (a stack area when it fits).
template <class T>
int drive(const orb_dfti_par_rec* rec, int start, int count, bool fwd) {
  job<T> J{};
  if (int st = make_job(J, rec, fwd)) return st;
  const DftiNode* n = rec->node;
  arena A;
  ORB_DFTK(arena_init)(&A);
  auto* ws = static_cast<unsigned char*>(ORB_DFTK(arena_allocate)(&A, n->max_buf_size + 256, 0));
  if (!ws) return DFTI_MEMORY_ERROR;
  const long kb = spec_buf_max(n);
  J.kbuf = align64(ws);
  J.line = reinterpret_cast<T*>(align64(J.kbuf + kb + 128));
  long maxn = 0;
  for (int k = 0; k < J.rank; ++k) maxn = J.dim[k]->length > maxn ? J.dim[k]->length : maxn;
  J.temp = reinterpret_cast<T*>(align64(reinterpret_cast<unsigned char*>(J.line + 2 * maxn + 4)));
  int st = 0;
  const orb_dfti_iotensor& bt = n->batch_committed;
  for (long t = start; t < long(start) + count && !st; ++t) {
    long ib = J.in.off, ob = J.out.off, rest = t;
    for (int b = 0; b < bt.rank && b < 8; ++b) {
      const long i = rest % bt.dims[b].n;
      rest /= bt.dims[b].n;
      ib += i * J.in.dist[b];
      ob += i * J.out.dist[b];
    }
    st = one_transform(J, ib, ob);
  }
  ORB_DFTK(arena_deallocate)(&A, ws);
  return st ? ORB_DFTK(transfer_kep_orb_error)(st) : 0;
}

// The apply functions: one transform of the node's length through its
// plan.
template <class T>
int apply_cc(const DftiNode* d, const void* s, void* t, unsigned char* b, bool fwd) {
  const orb_keps_dft_spec* spec = spec_of(d, keps<T>::cc);
  return fwd ? keps<T>::fwd(static_cast<const T*>(s), static_cast<T*>(t), spec, align64(b))
             : keps<T>::inv(static_cast<const T*>(s), static_cast<T*>(t), spec, align64(b));
}
template <class T>
int apply_split(const DftiNode* d, const void* s, void* t, unsigned char* b, bool fwd) {
  const orb_keps_dft_spec* spec = spec_of(d, keps<T>::split);
  auto* src = static_cast<T* const*>(s);
  auto* dst = static_cast<T* const*>(t);
  return fwd ? keps<T>::fwd(src[0], src[1], dst[0], dst[1], spec, align64(b))
             : keps<T>::inv(src[0], src[1], dst[0], dst[1], spec, align64(b));
}
template <class T>
int apply_real(const DftiNode* d, const void* s, void* t, unsigned char* b, bool fwd) {
  const orb_keps_dft_spec* spec = spec_of(d, keps<T>::real);
  const int f = d->conjugate_even_storage == DFTI_COMPLEX_COMPLEX ? DFTI_CCS_FORMAT : d->packed_format;
  auto* src = static_cast<const T*>(s);
  auto* dst = static_cast<T*>(t);
  if (fwd) return keps<T>::rfwd[f - DFTI_CCS_FORMAT](src, dst, spec, align64(b));
  if (f == DFTI_CCS_FORMAT) return keps<T>::rinv_ccs(src, dst, spec, align64(b));
  if (f == DFTI_PERM_FORMAT) return keps<T>::rinv_perm(src, dst, spec, align64(b));
  unsigned char* w = align64(b);
  std::memcpy(w, &d->length, sizeof d->length);
  if constexpr (sizeof(T) == 8) return ORB_DFTK(workaround_for_DFTInv_RPack_64f)(src, dst, spec, w);
  else return ORB_DFTK(workaround_for_DFTInv_RPack_32f)(src, dst, spec, w);
}

}  // namespace

// Line buffers and the real backward copy, with room for alignment.
long work_bytes(const DftiNode* n) {
  long maxn = 0;
  long long total = 1;
  for (int k = 0; k < n->lengths_committed.rank; ++k) {
    const long len = n->lengths_committed.dims[k].n;
    maxn = len > maxn ? len : maxn;
    total *= k == 0 && is_real(n) ? len / 2 + 1 : len;
  }
  const long elem = is_double(n) ? 8 : 4;
  long bytes = (2 * maxn + 4) * elem + 256;
  if (is_real(n) && n->lengths_committed.rank > 1) bytes += long(2 * total * elem + 64);
  return bytes;
}

}  // namespace orb::dft

using namespace orb::dft;

extern "C" {

// ---- Scratch of one call: a stack area of 16384 bytes, else the allocator.
void ORB_DFTK(arena_init)(void* area) {
  if (area) static_cast<arena*>(area)->used = 0;
}
void* ORB_DFTK(arena_allocate)(void* area, long size, int zero) {
  if (auto* a = static_cast<arena*>(area)) {
    const long at = (a->used + 4095) & ~4095L;
    if (at + size < kArea) {
      a->used = at + size;
      if (zero) std::memset(a->area + at, 0, std::size_t(size));
      return a->area + at;
    }
  }
  // Call-local scratch of a compute: the service allocator whatever the
  // memory methods, since an external arena has no room reserved per call.
  void* p = orb_serv_allocate(std::size_t(size), 4096);
  if (p && zero) std::memset(p, 0, std::size_t(size));
  return p;
}
void ORB_DFTK(arena_deallocate)(void* area, void* p) {
  auto* a = static_cast<arena*>(area);
  auto* c = static_cast<unsigned char*>(p);
  if (!a || c < a->area || c >= a->area + kArea) orb_serv_deallocate(p);
}

#define ORB_DFTI_APPLY(dir, K, T, how, fwd)                                                              \
  int ORB_DFTK(xkeps_##dir##_##K)(const DftiNode* d, const void* s, void* t, unsigned char* b) {         \
    return how<T>(d, s, t, b, fwd);                                                                     \
  }
ORB_DFTI_APPLY(fwd, 64fc, double, apply_cc, true)
ORB_DFTI_APPLY(inv, 64fc, double, apply_cc, false)
ORB_DFTI_APPLY(fwd, 32fc, float, apply_cc, true)
ORB_DFTI_APPLY(inv, 32fc, float, apply_cc, false)
ORB_DFTI_APPLY(fwd, 64f, double, apply_split, true)
ORB_DFTI_APPLY(inv, 64f, double, apply_split, false)
ORB_DFTI_APPLY(fwd, 32f, float, apply_split, true)
ORB_DFTI_APPLY(inv, 32f, float, apply_split, false)
ORB_DFTI_APPLY(fwd_rtocomplex, 64f, double, apply_real, true)
ORB_DFTI_APPLY(inv_complextor, 64f, double, apply_real, false)
ORB_DFTI_APPLY(fwd_rtocomplex, 32f, float, apply_real, true)
ORB_DFTI_APPLY(inv_complextor, 32f, float, apply_real, false)
#undef ORB_DFTI_APPLY

// ---- Serial drivers. One body; the names tell kind, direction, placement.
#define ORB_DFTI_DRIVER(name, T, fwd)                                                                    \
  int ORB_DFTK(name)(const orb_dfti_par_rec* rec, int start, int count) {                                \
    return drive<T>(rec, start, count, fwd);                                                             \
  }                                                                                                      \
  int ORB_DFTK(name##_out)(const orb_dfti_par_rec* rec, int start, int count) {                          \
    return drive<T>(rec, start, count, fwd);                                                             \
  }
ORB_DFTI_DRIVER(xzforward, double, true)
ORB_DFTI_DRIVER(xzbackward, double, false)
ORB_DFTI_DRIVER(xcforward, float, true)
ORB_DFTI_DRIVER(xcbackward, float, false)
ORB_DFTI_DRIVER(xdforward, double, true)
ORB_DFTI_DRIVER(xdbackward, double, false)
ORB_DFTI_DRIVER(xdzforward, double, true)
ORB_DFTI_DRIVER(xzdbackward, double, false)
ORB_DFTI_DRIVER(xsforward, float, true)
ORB_DFTI_DRIVER(xsbackward, float, false)
ORB_DFTI_DRIVER(xscforward, float, true)
ORB_DFTI_DRIVER(xcsbackward, float, false)
#undef ORB_DFTI_DRIVER

}  // extern "C"

// ---- The 32 compute entries: serial driver, or the core's team when the
// commit chose threads and there is a batch to split.
namespace {

using driver_fn = int (*)(const orb_dfti_par_rec*, int, int);
using par_fn = int (*)(const orb_dfti_par_rec*);

// Flag bit 0: one transform of unit strides that the plan scales
// itself: a single apply call on the data, its work buffer on the stack
// when it fits.
template <class T>
int direct(DftiNode* n, void* const* p, bool fwd) {
  const bool inplace = n->placement == DFTI_INPLACE;
  const bool fb = n->lengths_committed.dims[0].fs || n->lengths_committed.dims[0].bs;
  const long io = fb ? (fwd ? n->fwd_offset : n->bwd_offset) : n->in_offset;
  const long oo = fb ? (fwd ? n->bwd_offset : n->fwd_offset) : n->out_offset;
  const bool real = is_real(n), split = is_split(n);
  // Element widths of the two sides in T: complex 2, real and split 1.
  const bool ce = n->conjugate_even_storage == DFTI_COMPLEX_COMPLEX;
  const long wi = split ? 1 : !real ? 2 : fwd ? 1 : ce ? 2 : 1;
  const long wo = split ? 1 : !real ? 2 : fwd ? (ce ? 2 : 1) : 1;
  arena A;
  ORB_DFTK(arena_init)(&A);
  auto* ws = static_cast<unsigned char*>(ORB_DFTK(arena_allocate)(&A, n->max_buf_size + 256, 0));
  if (!ws) return DFTI_MEMORY_ERROR;
  const orb_dfti_apply_fn apply = fwd ? n->apply_fwd : n->apply_bwd;
  int st;
  if (split) {
    T* src[2] = {static_cast<T*>(p[0]) + io, static_cast<T*>(p[1]) + io};
    T* dst[2] = {static_cast<T*>(inplace ? p[0] : p[2]) + oo, static_cast<T*>(inplace ? p[1] : p[3]) + oo};
    st = apply(n, src, dst, ws);
  } else {
    st = apply(n, static_cast<T*>(p[0]) + wi * io, static_cast<T*>(inplace ? p[0] : p[1]) + wo * oo, ws);
  }
  ORB_DFTK(arena_deallocate)(&A, ws);
  return st ? ORB_DFTK(transfer_kep_orb_error)(st) : 0;
}

int compute(DftiNode* n, void* a, void* b, void* c, void* d, driver_fn serial, par_fn par, bool fwd) {
  if (!n || n->commit_status != DFTI_COMMITTED) return DFTI_INCONSISTENT;
  void* const p[4] = {a, b, c, d};
  int flag = 0;
  if ((n->flags & 1) && n->rank_committed == 1 && n->apply_fwd && ORB_DFTK(kep_can_scale)(n, &flag))
    return is_double(n) ? direct<double>(n, p, fwd) : direct<float>(n, p, fwd);
  orb_dfti_par_rec rec{n, {a, b, c, d}, n->transforms, serial};
  if (n->threads > 1 && n->transforms > 1) return par(&rec);
  return serial(&rec, 0, n->transforms);
}

}  // namespace

// Entry, serial driver and parallel import by kind; the real kinds take the
// conjugate-even array (dz, zd / sc, cs) or the packed real array (d / s).
#define ORB_DFTI_ENTRY(entry, io, driver, par, fwd)                                                        \
  extern "C" int ORB_DFTK(entry##_##io)(DftiNode * n, void* a, void* b, void* c, void* d) {                \
    return compute(n, a, b, c, d, ORB_DFTK(driver), orb_dft_compute_##par##_par, fwd);                     \
  }
#define ORB_DFTI_ENTRIES(entry, driver, par, fwd) \
  ORB_DFTI_ENTRY(entry, i, driver, par, fwd)      \
  ORB_DFTI_ENTRY(entry, o, driver##_out, par##_out, fwd)
ORB_DFTI_ENTRIES(compute_fwd_d_c2c_1d, xzforward, forward_z, true)
ORB_DFTI_ENTRIES(compute_bwd_d_c2c_1d, xzbackward, backward_z, false)
ORB_DFTI_ENTRIES(compute_fwd_d_c2c_md, xzforward, forward_z, true)
ORB_DFTI_ENTRIES(compute_bwd_d_c2c_md, xzbackward, backward_z, false)
ORB_DFTI_ENTRIES(compute_fwd_s_c2c_1d, xcforward, forward_c, true)
ORB_DFTI_ENTRIES(compute_bwd_s_c2c_1d, xcbackward, backward_c, false)
ORB_DFTI_ENTRIES(compute_fwd_s_c2c_md, xcforward, forward_c, true)
ORB_DFTI_ENTRIES(compute_bwd_s_c2c_md, xcbackward, backward_c, false)
ORB_DFTI_ENTRIES(compute_fwd_d_r2c_1d, xdzforward, forward_dz, true)
ORB_DFTI_ENTRIES(compute_bwd_d_r2c_1d, xzdbackward, backward_zd, false)
ORB_DFTI_ENTRIES(compute_fwd_d_r2c_md, xdzforward, forward_dz, true)
ORB_DFTI_ENTRIES(compute_bwd_d_r2c_md, xzdbackward, backward_zd, false)
ORB_DFTI_ENTRIES(compute_fwd_s_r2c_1d, xscforward, forward_sc, true)
ORB_DFTI_ENTRIES(compute_bwd_s_r2c_1d, xcsbackward, backward_cs, false)
ORB_DFTI_ENTRIES(compute_fwd_s_r2c_md, xscforward, forward_sc, true)
ORB_DFTI_ENTRIES(compute_bwd_s_r2c_md, xcsbackward, backward_cs, false)
#undef ORB_DFTI_ENTRIES
#undef ORB_DFTI_ENTRY

namespace orb::dft {

// The entries by kind and placement; data_args by storage and placement.
void bind_compute(DftiNode* n) {
  static constexpr orb_dfti_compute_fn table[2][2][2][2][2] = {  // [double][real][md][inplace][fwd]
#define ORB_ROW(p, d, r) \
  {{ORB_DFTK(compute_bwd_##p##_##d##_##r##_o), ORB_DFTK(compute_fwd_##p##_##d##_##r##_o)}, \
   {ORB_DFTK(compute_bwd_##p##_##d##_##r##_i), ORB_DFTK(compute_fwd_##p##_##d##_##r##_i)}}
      {{ORB_ROW(s, c2c, 1d), ORB_ROW(s, c2c, md)}, {ORB_ROW(s, r2c, 1d), ORB_ROW(s, r2c, md)}},
      {{ORB_ROW(d, c2c, 1d), ORB_ROW(d, c2c, md)}, {ORB_ROW(d, r2c, 1d), ORB_ROW(d, r2c, md)}}
#undef ORB_ROW
  };
  const bool inplace = n->placement == DFTI_INPLACE;
  const auto& row = table[is_double(n)][is_real(n)][n->rank > 1][inplace];
  n->compute_fwd = row[1];
  n->compute_bwd = row[0];
  n->data_args = is_split(n) ? (inplace ? 2 : 4) : (inplace ? 1 : 2);
}

}  // namespace orb::dft
