// The codelet backends for small transforms: tiny two- and three-dimensional
// cubes (complex of any length up to 16 and 32, real of a power of two up to
// 32) run straight on the codelets, one dimension after the other, with the
// transforms of a batch dealt out to the team. The real two-dimensional
// batches of eight (dnnsmall) stand in their place and decline for now; the
// default path serves those nodes.
#include "dft/dfti.hpp"

using namespace orb::dft;

namespace {

int decline(const orb_dfti_backend*, DftiNode*) { return DFTI_DECLINED; }

// The codelet of a length and direction, by precision.
template <class T>
using cdft_fn = void (*)(const T*, int, T*, int, int);
template <class T>
cdft_fn<T> codelet(int n, bool fwd) {
  const int i = n == 32 ? 31 : n - 1;
  if constexpr (sizeof(T) == 8) return ORB_DFTK(BATCH_CDFT_64fc)[fwd ? 0 : 1][i];
  else return ORB_DFTK(BATCH_CDFT_32fc)[fwd ? 0 : 1][i];
}

// Strides of a record as one direction sees them: the forward/backward
// domain's when set, else input/output.
bool uses_fb(const orb_dfti_dim& d) { return d.fs || d.bs; }
long s_in(const orb_dfti_dim& d, bool fwd) { return uses_fb(d) ? (fwd ? d.fs : d.bs) : d.is; }
long s_out(const orb_dfti_dim& d, bool fwd) { return uses_fb(d) ? (fwd ? d.bs : d.fs) : d.os; }
long off_in(const DftiNode* n, bool fwd) {
  return uses_fb(n->lengths_committed.dims[0]) ? (fwd ? n->fwd_offset : n->bwd_offset) : n->in_offset;
}
long off_out(const DftiNode* n, bool fwd) {
  return uses_fb(n->lengths_committed.dims[0]) ? (fwd ? n->bwd_offset : n->fwd_offset) : n->out_offset;
}
bool unit_first(const DftiNode* n) {
  const orb_dfti_dim& d = n->lengths_committed.dims[0];
  return uses_fb(d) ? d.fs == 1 && d.bs == 1 : d.is == 1 && d.os == 1;
}

bool tiny(const DftiNode* n, int rank) {
  const orb_dfti_iotensor& L = n->lengths_committed;
  if (n->domain != DFTI_COMPLEX || n->complex_storage != DFTI_COMPLEX_COMPLEX || n->rank_committed != rank ||
      !unit_first(n) || n->fscale != 1.0 || n->bscale != 1.0)
    return false;
  const int len = L.dims[0].n;
  for (int i = 1; i < rank; ++i)
    if (L.dims[i].n != len) return false;
  if (!(len <= 16 || len == 32)) return false;
  // One large cube on several threads is better served by other paths.
  if (rank == 3 && (len == 16 || len == 32) && n->transforms == 1 && n->threads > 1) return false;
  return n->batch_committed.rank == 1;
}

template <class T>
void columns(cdft_fn<T> f, T* y, int r, long len, long cols, long s1, long s2);

// Transforms [start, start + count): dimension 0 from the input to the
// output one line at a time, then each further dimension in place there,
// as many neighbouring lines side by side as one vector holds.
template <class T>
int run_tiny(const orb_dfti_par_rec* rec, int start, int count, bool fwd) {
  const DftiNode* n = rec->node;
  const orb_dfti_iotensor& L = n->lengths_committed;
  const int r = n->rank_committed, len = L.dims[0].n;
  const cdft_fn<T> f = codelet<T>(len, fwd);
  const int width = 64 / (2 * int(sizeof(T)));  // complex values per vector
  const bool inplace = n->placement == DFTI_INPLACE;
  const T* in = static_cast<const T*>(rec->data[0]);
  T* out = static_cast<T*>(inplace ? rec->data[0] : rec->data[1]);
  const orb_dfti_dim& bt = n->batch_committed.dims[0];
  const long i1 = s_in(L.dims[1], fwd), o1 = s_out(L.dims[1], fwd);
  const long i2 = r == 3 ? s_in(L.dims[2], fwd) : 0, o2 = r == 3 ? s_out(L.dims[2], fwd) : 0;
  (void)width;
  for (long t = start; t < long(start) + count; ++t) {
    const T* x = in + 2 * (off_in(n, fwd) + t * s_in(bt, fwd));
    T* y = out + 2 * (off_out(n, fwd) + t * s_out(bt, fwd));
    // Lines along dimension 0: every combination of the other indices.
    const long planes = r == 3 ? len : 1;
    for (long p = 0; p < planes; ++p)
      for (long q = 0; q < len; ++q) f(x + 2 * (q * i1 + p * i2), 1, y + 2 * (q * o1 + p * o2), 1, 1);
    // Further dimensions on the output: lines along k, neighbours along 0.
    columns(f, y, r, len, len, o1, o2);
  }
  return 0;
}

// ---- Real cubes of a power-of-two length up to 32: the real codelet on
// each line along dimension 0 (N reals, N/2 + 1 complex values), the
// complex codelets along the others over the N/2 + 1 columns.
bool tiny_real(const DftiNode* n, int rank) {
  const orb_dfti_iotensor& L = n->lengths_committed;
  if (n->domain != DFTI_REAL || n->conjugate_even_storage != DFTI_COMPLEX_COMPLEX || n->rank_committed != rank ||
      !unit_first(n) || n->fscale != 1.0 || n->bscale != 1.0 || n->batch_committed.rank != 1)
    return false;
  const int len = L.dims[0].n;
  for (int i = 1; i < rank; ++i)
    if (L.dims[i].n != len) return false;
  if (rank == 3 && (len == 16 || len == 32) && n->transforms == 1 && n->threads > 1) return false;
  return len >= 2 && len <= 32 && (len & (len - 1)) == 0;
}

template <class T>
using real_fn = int (*)(const T*, T*, const T*);
template <class T>
real_fn<T> real_codelet(int n, bool fwd) {
  int i = 0;
  while ((2 << i) < n) ++i;
  if constexpr (sizeof(T) == 8) {
    static constexpr real_fn<double> f[2][5] = {
        {ORB_DFTK(xd_f2_1df), ORB_DFTK(xd_f4_1df), ORB_DFTK(xd_f8_1df), ORB_DFTK(xd_f16_1df), ORB_DFTK(xd_f32_1df)},
        {ORB_DFTK(xd_f2_1db), ORB_DFTK(xd_f4_1db), ORB_DFTK(xd_f8_1db), ORB_DFTK(xd_f16_1db), ORB_DFTK(xd_f32_1db)}};
    return f[fwd ? 0 : 1][i];
  } else {
    static constexpr real_fn<float> f[2][5] = {
        {ORB_DFTK(xs_f2_1df), ORB_DFTK(xs_f4_1df), ORB_DFTK(xs_f8_1df), ORB_DFTK(xs_f16_1df), ORB_DFTK(xs_f32_1df)},
        {ORB_DFTK(xs_f2_1db), ORB_DFTK(xs_f4_1db), ORB_DFTK(xs_f8_1db), ORB_DFTK(xs_f16_1db), ORB_DFTK(xs_f32_1db)}};
    return f[fwd ? 0 : 1][i];
  }
}

// The complex codelet along dimensions 1.. of one transform at y, over
// cols columns of dimension 0 (strides s1, s2 in complex elements).
template <class T>
void columns(cdft_fn<T> f, T* y, int r, long len, long cols, long s1, long s2) {
  const int width = 64 / (2 * int(sizeof(T)));
  const long planes = r == 3 ? len : 1;
  for (int k = 1; k < r; ++k) {
    const long s = k == 1 ? s1 : s2, other = k == 1 ? s2 : s1;
    for (long p = 0; p < planes; ++p)
      for (long c = 0; c < cols; c += width) {
        const int w = int(cols - c < width ? cols - c : width);
        T* z = y + 2 * (c + (r == 3 ? p * other : 0));
        f(z, int(s), z, int(s), w);
      }
  }
}

template <class T>
int run_tiny_real(const orb_dfti_par_rec* rec, int start, int count, bool fwd) {
  const DftiNode* n = rec->node;
  const orb_dfti_iotensor& L = n->lengths_committed;
  const int r = n->rank_committed;
  const long len = L.dims[0].n, half = len / 2 + 1, rows = r == 3 ? len * len : len;
  const real_fn<T> rf = real_codelet<T>(int(len), fwd);
  const cdft_fn<T> cf = codelet<T>(int(len), fwd);
  const bool inplace = n->placement == DFTI_INPLACE;
  T* in = static_cast<T*>(rec->data[0]);
  T* out = static_cast<T*>(inplace ? rec->data[0] : rec->data[1]);
  const orb_dfti_dim& bt = n->batch_committed.dims[0];
  const T one = T(1);
  // The row of index q (rank 2) or (q mod len, q / len) (rank 3) in strides.
  auto row = [&](long q, bool input) {
    const long s1 = input ? s_in(L.dims[1], fwd) : s_out(L.dims[1], fwd);
    if (r != 3) return q * s1;
    return (q % len) * s1 + (q / len) * (input ? s_in(L.dims[2], fwd) : s_out(L.dims[2], fwd));
  };
  // Backward out of place works on a contiguous copy of the input.
  T* copy = nullptr;
  if (!fwd && !inplace) {
    copy = static_cast<T*>(ORB_DFTK(arena_allocate)(nullptr, long(sizeof(T)) * 2 * half * rows, 0));
    if (!copy) return DFTI_MEMORY_ERROR;
  }
  for (long t = start; t < long(start) + count; ++t) {
    if (fwd) {
      T* x = in + off_in(n, fwd) + t * s_in(bt, fwd);
      T* y = out + 2 * (off_out(n, fwd) + t * s_out(bt, fwd));
      for (long q = 0; q < rows; ++q) rf(x + row(q, true), y + 2 * row(q, false), &one);
      columns(cf, y, r, len, half, s_out(L.dims[1], fwd), r == 3 ? s_out(L.dims[2], fwd) : 0);
    } else {
      T* X = in + 2 * (off_in(n, fwd) + t * s_in(bt, fwd));
      T* x = out + off_out(n, fwd) + t * s_out(bt, fwd);
      if (copy) {
        for (long q = 0; q < rows; ++q)
          for (long j = 0; j < 2 * half; ++j) copy[2 * half * q + j] = X[2 * row(q, true) + j];
        columns(cf, copy, r, len, half, half, half * len);
        for (long q = 0; q < rows; ++q) rf(copy + 2 * half * q, x + row(q, false), &one);
      } else {
        columns(cf, X, r, len, half, s_in(L.dims[1], fwd), r == 3 ? s_in(L.dims[2], fwd) : 0);
        for (long q = 0; q < rows; ++q) rf(X + 2 * row(q, true), x + row(q, false), &one);
      }
    }
  }
  if (copy) ORB_DFTK(arena_deallocate)(nullptr, copy);
  return 0;
}

template <class T, bool Fwd>
int tiny_driver(const orb_dfti_par_rec* rec, int start, int count) {
  return is_real(rec->node) ? run_tiny_real<T>(rec, start, count, Fwd) : run_tiny<T>(rec, start, count, Fwd);
}

template <class T, bool Fwd>
int tiny_compute(DftiNode* n, void* a, void* b, void*, void*) {
  if (n->commit_status != DFTI_COMMITTED) return DFTI_INCONSISTENT;
  orb_dfti_par_rec rec{n, {a, b, nullptr, nullptr}, n->transforms, tiny_driver<T, Fwd>};
  if (n->threads > 1 && n->transforms > 1)
    return sizeof(T) == 8 ? orb_dft_compute_forward_z_par(&rec) : orb_dft_compute_forward_c_par(&rec);
  return tiny_driver<T, Fwd>(&rec, 0, n->transforms);
}

template <int Rank, bool Real = false>
int tiny_commit(const orb_dfti_backend* self, DftiNode* n) {
  if (!(Real ? tiny_real(n, Rank) : tiny(n, Rank))) return DFTI_DECLINED;
  backend_prologue(self, n);
  if (n->transforms < n->threads) n->threads = n->transforms;
  if (n->user_threads > 1) n->threads = 1;
  const bool dbl = is_double(n);
  n->compute_fwd = dbl ? tiny_compute<double, true> : tiny_compute<float, true>;
  n->compute_bwd = dbl ? tiny_compute<double, false> : tiny_compute<float, false>;
  n->data_args = n->placement == DFTI_INPLACE ? 1 : 2;
  n->uses_kep = 0;
  n->commit_status = DFTI_COMMITTED;
  return 0;
}

}  // namespace

extern "C" {
#define ORB_DFTI_SMALL(name, commit) \
  ORB_API const orb_dfti_backend ORB_DFTK(bkd_##name)[1] = {{commit, backend_detach, nullptr}};
ORB_DFTI_SMALL(c2c_3d_tiny_s, tiny_commit<3>)
ORB_DFTI_SMALL(c2c_3d_tiny_d, tiny_commit<3>)
ORB_DFTI_SMALL(c2c_2d_tiny_s, tiny_commit<2>)
ORB_DFTI_SMALL(c2c_2d_tiny_d, tiny_commit<2>)
ORB_DFTI_SMALL(r2c_3d_tiny_s, (tiny_commit<3, true>))
ORB_DFTI_SMALL(r2c_3d_tiny_d, (tiny_commit<3, true>))
ORB_DFTI_SMALL(r2c_2d_tiny_s, (tiny_commit<2, true>))
ORB_DFTI_SMALL(r2c_2d_tiny_d, (tiny_commit<2, true>))
ORB_DFTI_SMALL(r2c_2d_dnnsmall_s, decline)
ORB_DFTI_SMALL(r2c_2d_dnnsmall_d, decline)
#undef ORB_DFTI_SMALL
}
