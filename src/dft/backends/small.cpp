// The codelet backends for small transforms: tiny two- and three-dimensional
// complex cubes run straight on the codelets, one dimension after the other,
// with the transforms of a batch dealt out to the team. The real tiny cubes
// and the dnnsmall batches of eight stand in their places and decline for
// now; the default path serves those nodes.
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

bool tiny(const DftiNode* n, int rank) {
  const orb_dfti_iotensor& L = n->lengths_committed;
  if (n->domain != DFTI_COMPLEX || n->complex_storage != DFTI_COMPLEX_COMPLEX || n->rank_committed != rank ||
      L.dims[0].is != 1 || L.dims[0].os != 1 || n->fscale != 1.0 || n->bscale != 1.0)
    return false;
  const int len = L.dims[0].n;
  for (int i = 1; i < rank; ++i)
    if (L.dims[i].n != len) return false;
  if (!(len <= 16 || len == 32)) return false;
  // One large cube on several threads is better served by other paths.
  if (rank == 3 && (len == 16 || len == 32) && n->transforms == 1 && n->threads > 1) return false;
  // Strides the codelets can take: the batch and the other dimensions in
  // whole complex elements, as the node holds them.
  for (int i = 1; i < rank; ++i)
    if (L.dims[i].fs || L.dims[i].bs) return false;
  return !L.dims[0].fs && !L.dims[0].bs && n->batch_committed.rank == 1;
}

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
  const long di = n->batch_committed.dims[0].is, dout = n->batch_committed.dims[0].os;
  for (long t = start; t < long(start) + count; ++t) {
    const T* x = in + 2 * (n->in_offset + t * di);
    T* y = out + 2 * (n->out_offset + t * dout);
    // Lines along dimension 0: every combination of the other indices.
    const long planes = r == 3 ? len : 1;
    for (long p = 0; p < planes; ++p)
      for (long q = 0; q < len; ++q) {
        const long a = q * L.dims[1].is + (r == 3 ? p * L.dims[2].is : 0);
        const long b = q * L.dims[1].os + (r == 3 ? p * L.dims[2].os : 0);
        f(x + 2 * a, 1, y + 2 * b, 1, 1);
      }
    // Further dimensions on the output: lines along k, neighbours along 0.
    for (int k = 1; k < r; ++k) {
      const int other = k == 1 ? 2 : 1;  // the third index, rank 3 only
      const long s = L.dims[k].os;
      for (long p = 0; p < planes; ++p)
        for (long c = 0; c < len; c += width) {
          const int w = int(len - c < width ? len - c : width);
          T* z = y + 2 * (c + (r == 3 ? p * L.dims[other].os : 0));
          f(z, int(s), z, int(s), w);
        }
    }
  }
  return 0;
}

template <class T, bool Fwd>
int tiny_driver(const orb_dfti_par_rec* rec, int start, int count) {
  return run_tiny<T>(rec, start, count, Fwd);
}

template <class T, bool Fwd>
int tiny_compute(DftiNode* n, void* a, void* b, void*, void*) {
  if (n->commit_status != DFTI_COMMITTED) return DFTI_INCONSISTENT;
  orb_dfti_par_rec rec{n, {a, b, nullptr, nullptr}, n->transforms, tiny_driver<T, Fwd>};
  if (n->threads > 1 && n->transforms > 1)
    return sizeof(T) == 8 ? orb_dft_compute_forward_z_par(&rec) : orb_dft_compute_forward_c_par(&rec);
  return tiny_driver<T, Fwd>(&rec, 0, n->transforms);
}

template <int Rank>
int tiny_commit(const orb_dfti_backend* self, DftiNode* n) {
  if (!tiny(n, Rank)) return DFTI_DECLINED;
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
ORB_DFTI_SMALL(r2c_3d_tiny_s, decline)
ORB_DFTI_SMALL(r2c_3d_tiny_d, decline)
ORB_DFTI_SMALL(r2c_2d_tiny_s, decline)
ORB_DFTI_SMALL(r2c_2d_tiny_d, decline)
ORB_DFTI_SMALL(r2c_1d_dnnsmall_s, decline)
ORB_DFTI_SMALL(r2c_1d_dnnsmall_d, decline)
ORB_DFTI_SMALL(r2c_2d_dnnsmall_s, decline)
ORB_DFTI_SMALL(r2c_2d_dnnsmall_d, decline)
ORB_DFTI_SMALL(c2c_1d_dnnsmall_s, decline)
ORB_DFTI_SMALL(c2c_1d_dnnsmall_d, decline)
#undef ORB_DFTI_SMALL
}
