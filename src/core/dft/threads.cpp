// The core's side of the DFT node: the service table a node reads
// (api_entries), the fields it derives at creation (order, size_total), the
// default backends' commit (the chain of per-dimension nodes, then the
// build's own commit core), and the parallel compute entries, which deal the
// transforms of a batch out to the OpenMP team. Each transform is computed
// by the same serial driver whatever thread runs it, so any split gives the
// bits of one thread.
#include <thread>

#include "dft/dfti_node.h"
#include "orb/orb_service.h"

#ifdef ORB_HAVE_OPENMP
#include <omp.h>
#endif

namespace {

int dynamic_on() {
#ifdef ORB_HAVE_OPENMP
  return omp_get_dynamic();
#else
  return 0;
#endif
}
int max_threads() { return orb_get_max_threads(); }
int core_count() {
  const unsigned n = std::thread::hardware_concurrency();
  return n ? int(n) : 1;
}
int sockets() { return 1; }
int cache_size(int level) { return orb_serv_get_cache_size(level); }
int in_parallel() {
#ifdef ORB_HAVE_OPENMP
  return omp_in_parallel();
#else
  return 0;
#endif
}

// Runs task(arg, nthreads, tid) once per thread; the first nonzero result.
int run_task(int nthreads, orb_dfti_task_fn task, void* arg) {
  int result = 0;
#ifdef ORB_HAVE_OPENMP
  if (nthreads > 1 && !omp_in_parallel()) {
#pragma omp parallel num_threads(nthreads)
    {
      const int st = task(arg, omp_get_num_threads(), omp_get_thread_num());
      if (st) {
#pragma omp critical(orb_dft_task)
        if (!result) result = st;
      }
    }
    return result;
  }
#endif
  for (int t = 0; t < 1; ++t) result = task(arg, 1, 0);
  (void)nthreads;
  return result;
}

void* const api_table[DFTI_API_SLOTS] = {
    reinterpret_cast<void*>(&dynamic_on), nullptr, reinterpret_cast<void*>(&max_threads),
    reinterpret_cast<void*>(&core_count), reinterpret_cast<void*>(&sockets), reinterpret_cast<void*>(&cache_size),
    reinterpret_cast<void*>(&run_task), nullptr, nullptr, nullptr, nullptr, nullptr,
    reinterpret_cast<void*>(&in_parallel), nullptr, nullptr, nullptr};

int ceil_log2(long n) {
  int k = 0;
  while ((1L << k) < n && k < 62) ++k;
  return k;
}

void bless(DftiNode* n) {
  long total = 1;
  for (int i = 0; i < n->rank; ++i) total *= n->lengths.dims[i].n;
  n->order = ceil_log2(n->lengths.dims[0].n);
  n->size_total = total > 0x7fffffff ? 0x7fffffff : int(total);
  n->api_entries = api_table;
}

int commit_node(DftiNode* n, int index) {
  if (!n || !n->kit) return DFTI_INTERNAL;
  if (int st = n->kit->make_chain(n)) {
    n->uncommit(n);
    return st;
  }
  for (DftiNode* d = n->next_dim; d; d = d->next_dim) bless(d);
  return n->kit->commit_core[index](n);
}

// One thread's share of the batch: contiguous, as even as can be.
int par_task(void* arg, int nthreads, int tid) {
  const auto* rec = static_cast<const orb_dfti_par_rec*>(arg);
  const int total = rec->count;
  const int base = total / nthreads, extra = total % nthreads;
  const int start = tid * base + (tid < extra ? tid : extra);
  const int count = base + (tid < extra ? 1 : 0);
  return count ? rec->run(rec, start, count) : 0;
}

int par(const orb_dfti_par_rec* rec) {
  int nt = rec->node->threads;
  if (nt > rec->count) nt = rec->count;
  return run_task(nt, par_task, const_cast<orb_dfti_par_rec*>(rec));
}

}  // namespace

extern "C" {

void orb_dft_bless_node_thr(void* node) {
  if (auto* n = static_cast<DftiNode*>(node)) bless(n);
}

#define ORB_DFT_OMP(p, d, r, index) \
  int orb_dft_commit_node_##p##_##d##_##r##_omp(DftiNode* n) { return commit_node(n, index); }
ORB_DFT_OMP(s, c2c, 1d, 0)
ORB_DFT_OMP(s, c2c, md, 1)
ORB_DFT_OMP(s, r2c, 1d, 2)
ORB_DFT_OMP(s, r2c, md, 3)
ORB_DFT_OMP(d, c2c, 1d, 4)
ORB_DFT_OMP(d, c2c, md, 5)
ORB_DFT_OMP(d, r2c, 1d, 6)
ORB_DFT_OMP(d, r2c, md, 7)
#undef ORB_DFT_OMP

#define ORB_DFT_PAR(x) \
  int orb_dft_compute_##x##_par(const orb_dfti_par_rec* rec) { return par(rec); }
ORB_DFT_PAR(forward_z) ORB_DFT_PAR(backward_z) ORB_DFT_PAR(forward_z_out) ORB_DFT_PAR(backward_z_out)
ORB_DFT_PAR(forward_c) ORB_DFT_PAR(backward_c) ORB_DFT_PAR(forward_c_out) ORB_DFT_PAR(backward_c_out)
ORB_DFT_PAR(forward_d) ORB_DFT_PAR(backward_d) ORB_DFT_PAR(forward_d_out) ORB_DFT_PAR(backward_d_out)
ORB_DFT_PAR(forward_dz) ORB_DFT_PAR(backward_zd) ORB_DFT_PAR(forward_dz_out) ORB_DFT_PAR(backward_zd_out)
ORB_DFT_PAR(forward_s) ORB_DFT_PAR(backward_s) ORB_DFT_PAR(forward_s_out) ORB_DFT_PAR(backward_s_out)
ORB_DFT_PAR(forward_sc) ORB_DFT_PAR(backward_cs) ORB_DFT_PAR(forward_sc_out) ORB_DFT_PAR(backward_cs_out)
#undef ORB_DFT_PAR

}  // extern "C"
