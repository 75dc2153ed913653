// GEMM with a stored packed A: a handle keeps the panels of A (with alpha
// in them) between calls, so that many products with the same A pack it
// once. The team form is called by every thread of a team at once; the
// threads share one packed B per group and meet at a spin barrier.
//
// Every failure (no handle, an A that is not the packed one, no memory for
// B) ends in a plain GEMM on the same arguments and a result of 1: the
// numbers are right, the caller only learns the packed A was not used.
#include <new>

#include "blas/engine/engine.hpp"
#include "blas/engine/paths.hpp"

namespace orb::engine {

namespace {

template <class T> using handle_t = gemm_pack_handle<T>;

enum : int { st_idle = -1, st_packing = 1, st_in_use = 2, st_releasing = 3 };

// Handles of a team sit on their own cache lines.
template <class T> constexpr std::size_t kHandleStride = (sizeof(handle_t<T>) + 63) / 64 * 64;

template <class T>
handle_t<T>* team_handle(void* array, int slot) {
  return reinterpret_cast<handle_t<T>*>(static_cast<char*>(array) + kHandleStride<T> * std::size_t(slot));
}

inline int load(volatile int& v) { return __atomic_load_n(&v, __ATOMIC_ACQUIRE); }
inline void store(volatile int& v, int x) { __atomic_store_n(&v, x, __ATOMIC_RELEASE); }

// Called with the lock held; returns with it held, once the handle is idle
// and nobody computes with it.
template <class T>
void wait_idle(handle_t<T>* h) {
  while (!(load(h->state) == st_idle && load(h->users) < 1)) {
    orb_serv_unlock(&h->lock);
    while (!(load(h->state) == st_idle && load(h->users) < 1)) {
    }
    orb_serv_lock(&h->lock);
  }
}

// As wait_idle, but other computing calls may share the handle.
template <class T>
void wait_usable(handle_t<T>* h) {
  while (!(load(h->state) == st_idle || load(h->state) == st_in_use)) {
    orb_serv_unlock(&h->lock);
    while (!(load(h->state) == st_idle || load(h->state) == st_in_use)) {
    }
    orb_serv_lock(&h->lock);
  }
}

template <class T>
void forget_source(handle_t<T>* h) {
  h->packed_from = nullptr;
  h->m = h->k = h->lda = -1;
  h->transa = 0;
}

// The steps of the handle's life, each with the lock held.
// A compute joins: once the handle is usable, one more user.
template <class T>
void join_users(handle_t<T>* h) {
  wait_usable(h);
  store(h->users, h->users + 1);
  store(h->state, st_in_use);
}

// A compute leaves, or gives up.
template <class T>
void leave_users(handle_t<T>* h) {
  store(h->users, h->users - 1);
  store(h->state, st_idle);
}

// A pack is done: the panel holds this A times alpha.
template <class T>
void remember_source(handle_t<T>* h, const char* transa, int m, int k, const T* a, int lda, const T* alpha) {
  h->packed_from = a;
  h->alpha = *alpha;
  h->m = m;
  h->k = k;
  h->lda = lda;
  h->transa = upper_char(transa);
  store(h->state, st_idle);
}

// Release: once nobody uses the panel, it holds nothing.
template <class T>
void release_source(handle_t<T>* h) {
  wait_idle(h);
  forget_source(h);
  store(h->users, 0);
  store(h->state, st_idle);
}

// Plain create on a handle the caller has zeroed: kernel table, buffers
// for all of A. Returns false when the panel memory could not be had.
template <class T>
bool create_in(handle_t<T>* h, const char* transa, const char* transb, int m, int n, int k, const T* alpha,
               const T* a, int lda, const T* b, int ldb, const T* beta, T* c, int ldc) {
  blas_op_params<T> p;
  blas_initialize_op_params<T>(transa, transb, alpha, beta, &p);
  blas_matrix A, B, C;
  blas_initialize_matrix<T>(transa, m, k, a, lda, &A);
  blas_initialize_matrix<T>(transb, k, n, b, ldb, &B);
  blas_initialize_matrix<T>(m, n, c, ldc, &C);
  gemm_strategy st;
  initialize_strategy<T>(&st);
  st.copy_mode = 4;
  initialize_kernel_info<T>(&p, &A, &B, &C, &st, &h->info);
  gemm_buffers& bf = h->buffers;
  initialize_buffers<T>(&A, &B, &h->info.strategy, &bf);
  const int um = h->info.strategy.unroll_m, uk = h->info.strategy.unroll_k;
  bf.mode = 1;
  bf.m_block = round_up(bf.m_block > m ? bf.m_block : m, um);
  bf.k_block = round_up(bf.k_block > k ? bf.k_block : k, uk);
  bf.a_panel.rows = bf.k_block;
  bf.a_panel.rows_total = bf.k_block;
  bf.a_panel.cols = bf.m_block;
  bf.a_panel.ld = um * bf.k_block;
  bf.get_bufs(&bf);
  h->state = st_idle;
  h->users = 0;
  h->lock = 0;
  h->shared_b_ref = nullptr;
  forget_source(h);
  return bf.block != nullptr;
}

// Packs rows [r0, r0 + rows) of A into the handle's panel.
template <class T>
void pack_rows(handle_t<T>* h, const char* transa, int rows, int k, const T* a, int lda, int r0, const T* alpha) {
  if (rows < 1 || k < 1) return;
  blas_matrix A;
  blas_initialize_matrix<T>(transa, rows, k, a, lda, &A);
  A.base = A.at(r0, 0, &A);
  blas_matrix dst = h->buffers.a_panel;
  dst.rows = k;
  dst.base = getPointer_buffer(0, r0, &dst);
  // The operator of this call picks the copier, whatever create saw.
  blas_op_params<T> p;
  blas_initialize_op_params<T>(transa, "N", alpha, alpha, &p);
  gemm_kernel_info<T> info;
  blas_matrix B, C;
  blas_initialize_matrix<T>("N", k, 1, a, k, &B);
  blas_initialize_matrix<T>(rows, 1, static_cast<T*>(nullptr), rows, &C);
  initialize_kernel_info<T>(&p, &A, &B, &C, &h->info.strategy, &info);
  info.copy_a(&A, &dst, alpha);
}

// Steps 3 to 6 of compute: is a (m x k, lda, transa) the packed A or a
// sub-block of it that starts on a panel? Gives the row offset.
template <class T>
bool accepted(const handle_t<T>* h, const char* transa, int m, int k, const T* a, int lda, int* offset) {
  if (!h->packed_from || k < 1) return false;
  const char t = upper_char(transa);
  const std::ptrdiff_t diff = a - h->packed_from;
  if (diff < 0) return false;
  const std::ptrdiff_t step = h->transa == 'N' ? 1 : h->lda;
  if (step < 1 || diff % step != 0) return false;
  const std::ptrdiff_t off = diff / step;
  if (diff == 0 && m == h->m && k == h->k && lda == h->lda && t == h->transa) {
    *offset = 0;
    return true;
  }
  const std::ptrdiff_t end_stored = std::ptrdiff_t(h->m) * h->k, end_call = diff + std::ptrdiff_t(m) * k;
  if (end_stored < end_call || m > h->m || k != h->k || lda != h->lda || t != h->transa) return false;
  if (off % h->info.strategy.unroll_m != 0 || off + m > h->m) return false;
  *offset = int(off);
  return true;
}

template <class T>
int internal(const char* transa, const char* transb, const int* pm, const int* pn, const int* pk, const T* alpha,
             const T* a, const int* plda, const T* b, const int* pldb, const T* beta, T* c, const int* pldc,
             const int* pop, void** handle) {
  const int op = pop ? *pop : -1;
  handle_t<T>* h = handle ? static_cast<handle_t<T>*>(*handle) : nullptr;
  switch (op) {
    case 0: {
      if (!handle) return 1;
      void* mem = orb_serv_allocate(sizeof(handle_t<T>), 128);
      *handle = mem;
      if (orb_serv_check_ptr(mem, "GEMM")) return 1;
      h = new (mem) handle_t<T>{};
      if (!create_in(h, transa, transb, *pm, *pn, *pk, alpha, a, *plda, b, *pldb, beta, c, *pldc)) {
        store(h->state, st_idle);
        orb_serv_deallocate(mem);
        *handle = nullptr;
        return 1;
      }
      return 0;
    }
    case 1: {
      if (!h) return 1;
      orb_serv_lock(&h->lock);
      wait_idle(h);
      const int m = *pm, k = *pk;
      if (m > h->buffers.m_block || k > h->buffers.k_block || m < 0 || k < 0) {
        forget_source(h);
        orb_serv_unlock(&h->lock);
        return 1;
      }
      store(h->state, st_packing);
      pack_rows(h, transa, m, k, a, *plda, 0, alpha);
      remember_source(h, transa, m, k, a, *plda, alpha);
      orb_serv_unlock(&h->lock);
      return 0;
    }
    case 2: {
      if (!h) {
        gemm_entries<T>::gemm(transa, transb, pm, pn, pk, alpha, a, plda, b, pldb, beta, c, pldc);
        return 1;
      }
      const int m = *pm, n = *pn, k = *pk;
      orb_serv_lock(&h->lock);
      join_users(h);
      int offset = 0;
      const bool ok = m >= 1 && n >= 1 && accepted(h, transa, m, k, a, *plda, &offset);
      orb_serv_unlock(&h->lock);
      auto give_up = [&]() {
        gemm_entries<T>::gemm(transa, transb, pm, pn, pk, alpha, a, plda, b, pldb, beta, c, pldc);
        orb_serv_lock(&h->lock);
        leave_users(h);
        orb_serv_unlock(&h->lock);
        return 1;
      };
      if (!ok) return give_up();

      const T unit = one<T>();
      blas_op_params<T> p;
      blas_initialize_op_params<T>(transa, transb, &unit, beta, &p);
      blas_matrix A, B, C;
      blas_initialize_matrix<T>(transa, m, k, a, *plda, &A);
      blas_initialize_matrix<T>(transb, k, n, b, *pldb, &B);
      blas_initialize_matrix<T>(m, n, c, *pldc, &C);
      gemm_kernel_info<T> info = h->info;
      info.copy_b = nullptr;
      {
        // The B copier follows this call's operator.
        gemm_kernel_info<T> fresh;
        initialize_kernel_info<T>(&p, &A, &B, &C, &h->info.strategy, &fresh);
        info.copy_b = fresh.copy_b;
      }
      gemm_buffers bf;
      initialize_buffers<T>(&A, &B, &info.strategy, &bf);
      const int un = info.strategy.unroll_n, uk = info.strategy.unroll_k;
      bf.mode = 2;
      bf.n_block = round_up(n > un ? n : un, un);
      bf.k_block = round_up(bf.k_block > k ? bf.k_block : k, uk);
      bf.b_panel.cols = bf.n_block;
      bf.b_panel.rows = bf.k_block;
      bf.b_panel.rows_total = bf.k_block;
      bf.b_panel.ld = un * bf.k_block;
      bf.get_bufs(&bf);
      if (!bf.block) return give_up();
      bf.a_panel = h->buffers.a_panel;
      bf.a_panel.rows = k;
      bf.a_panel.cols = m;
      bf.a_panel.base = static_cast<char*>(h->buffers.a_panel.base) +
                        std::ptrdiff_t(offset) * std::ptrdiff_t(sizeof(T)) * h->k;
      info.driver(&p, &A, &B, &C, &bf, &info);
      bf.free_bufs(&bf);
      orb_serv_lock(&h->lock);
      leave_users(h);
      orb_serv_unlock(&h->lock);
      return 0;
    }
    case 3:
      if (!h) return 1;
      orb_serv_lock(&h->lock);
      release_source(h);
      orb_serv_unlock(&h->lock);
      return 0;
    case 4:
      if (!h) return 1;
      h->buffers.free_bufs(&h->buffers);
      orb_serv_deallocate(h);
      *handle = nullptr;
      return 0;
    default:
      return 1;
  }
}

}  // namespace

// ---- Barrier ------------------------------------------------------------------
static int ORB_BARRIER_YIELD_MAX_CYCLES = ORB_BARRIER_YIELD_MAX_CYCLES_DEFAULT;

void orb_barrier_wait(gemm_barrier* barrier, int thread, int nthreads) {
  if (nthreads == 1) return;
  const std::uint64_t target = __atomic_load_n(&barrier->released, __ATOMIC_ACQUIRE) + std::uint64_t(nthreads) - 1;
  int rounds = 0;
  auto pause = [&]() {
    if (++rounds > ORB_BARRIER_YIELD_MAX_CYCLES) orb_serv_thread_yield();
  };
  if (thread != 0) {
    std::uint64_t seen = __atomic_load_n(&barrier->arrived, __ATOMIC_RELAXED);
    while (!__atomic_compare_exchange_n(&barrier->arrived, &seen, seen + 1, false, __ATOMIC_ACQ_REL,
                                        __ATOMIC_RELAXED)) {
    }
    while (__atomic_load_n(&barrier->released, __ATOMIC_ACQUIRE) < target) pause();
  } else {
    while (__atomic_load_n(&barrier->arrived, __ATOMIC_ACQUIRE) < target) pause();
    __atomic_store_n(&barrier->released, target, __ATOMIC_RELEASE);
  }
}

namespace {

// Rows [first, first + count) of this thread: every slice starts on a panel.
inline int rows_of_thread(int thread, int nthreads, int m, int block, int* count) {
  return orb_serv_divbythreadsnb(&thread, &nthreads, &m, &block, count);
}

template <class T>
int team(const char* transa, const char* transb, const int* pm, const int* pn, const int* pk, const T* alpha,
         const T* a, const int* plda, const T* b, const int* pldb, const T* beta, T* c, const int* pldc,
         const int* pop, void** handle, const int* pslot, const int* pslots, const int* pgroup,
         const int* pcopies, const int* pthread, const int* pnthreads, void* pbarrier) {
  if (!pthread || !pnthreads || !pbarrier || !pop) return 1;
  const int op = *pop, thread = *pthread, nthreads = *pnthreads;
  if (op > 5 || op < 0) return 1;
  gemm_barrier* bar = static_cast<gemm_barrier*>(pbarrier);
  const int slot = pslot ? *pslot : 0;
  void* array = handle && (thread == 0 || op == 1 || op == 2 || op == 5) ? *handle : nullptr;
  handle_t<T>* h = array ? team_handle<T>(array, slot) : nullptr;

  switch (op) {
    case 0: {
      if (thread != 0) return 0;
      if (!handle) return 1;
      const int slots = pslots && *pslots > 0 ? *pslots : 1;
      if (slot == 0) {
        array = orb_serv_allocate(kHandleStride<T> * std::size_t(slots), 128);
        *handle = array;
        if (orb_serv_check_ptr(array, "GEMM")) return 1;
        for (int s = 0; s < slots; ++s) {
          handle_t<T>* hs = new (team_handle<T>(array, s)) handle_t<T>{};
          hs->state = st_idle;
          forget_source(hs);
        }
      }
      if (!array) return 1;
      h = team_handle<T>(array, slot);
      handle_t<T>* first = team_handle<T>(array, 0);
      int failed = 0;
      if (!create_in(h, transa, transb, *pm, *pn, *pk, alpha, a, *plda, b, *pldb, beta, c, *pldc)) failed = 1;
      if (slot == 0) {
        // The B panels that the team shares, one copy per group.
        blas_matrix A, B;
        blas_initialize_matrix<T>(transa, *pm, *pk, a, *plda, &A);
        blas_initialize_matrix<T>(transb, *pk, *pn, b, *pldb, &B);
        gemm_buffers& sb = first->shared_b;
        initialize_buffers<T>(&A, &B, &h->info.strategy, &sb);
        // Create sees one column of B; the panels take the widest block,
        // so that a compute meets the team once per block of columns.
        const int un = h->info.strategy.unroll_n;
        if (sb.n_block < gemm_traits<T>::n_block_max) sb.n_block = round_up(gemm_traits<T>::n_block_max, un);
        sb.b_panel.cols = sb.n_block;
        sb.k_block = h->buffers.k_block;
        sb.b_panel.rows = sb.b_panel.rows_total = sb.k_block;
        sb.b_panel.ld = sb.b_panel.pack_width * sb.k_block;
        sb.copies = pcopies && *pcopies > 0 ? *pcopies : 1;
        sb.mode = 4;
        sb.get_bufs(&sb);
        if (!sb.block) failed = 1;
        for (int s = 0; s < slots; ++s) team_handle<T>(array, s)->shared_b_ref = &first->shared_b;
      } else {
        h->shared_b_ref = &first->shared_b;
      }
      return failed;
    }
    case 1: {
      if (!h) return 1;
      const int m = *pm, k = *pk;
      if (m > h->buffers.m_block || k > h->buffers.k_block || m < 0 || k < 0 || !h->buffers.block) return 1;
      if (thread == 0) orb_serv_lock(&h->lock);
      orb_barrier_wait(bar, thread, nthreads);
      if (thread == 0) wait_idle(h);
      orb_barrier_wait(bar, thread, nthreads);
      if (thread == 0) store(h->state, st_packing);
      int count = 0;
      const int first = rows_of_thread(thread, nthreads, m, h->info.strategy.unroll_m, &count);
      pack_rows(h, transa, count, k, a, *plda, first, alpha);
      orb_barrier_wait(bar, thread, nthreads);
      if (thread == 0) {
        remember_source(h, transa, m, k, a, *plda, alpha);
        orb_serv_unlock(&h->lock);
      }
      return 0;
    }
    case 2: {
      const int m = *pm, n = *pn, k = *pk;
      auto slice = [&]() {
        // The plain GEMM of the whole call, on thread 0: the fallback gives
        // the same bits whatever the team's size (slices of rows could take
        // other paths than the whole).
        if (thread == 0) gemm_entries<T>::gemm(transa, transb, pm, pn, pk, alpha, a, plda, b, pldb, beta, c, pldc);
        return 1;
      };
      if (!h) return slice();
      if (m < 1 || n < 1) return 0;
      if (thread == 0) {
        orb_serv_lock(&h->lock);
        join_users(h);
      }
      orb_barrier_wait(bar, thread, nthreads);
      int offset = 0;
      gemm_buffers* sb = h->shared_b_ref;
      const bool ok = accepted(h, transa, m, k, a, *plda, &offset) && sb && sb->block;
      if (!ok) {
        if (thread == 0) {
          leave_users(h);
          orb_serv_unlock(&h->lock);
        }
        return slice();
      }
      int count = 0;
      const int first = rows_of_thread(thread, nthreads, m, h->info.strategy.unroll_m, &count);
      if (thread == 0) orb_serv_unlock(&h->lock);

      const int un = h->info.strategy.unroll_n;
      const int nblk = round_up(n < sb->n_block ? n : sb->n_block, un);
      const std::uintptr_t page = std::uintptr_t(sb->b_align > 0 ? sb->b_align : 4096);
      const std::uintptr_t span = (std::uintptr_t(nblk) * sizeof(T) * std::uintptr_t(sb->k_block) +
                                   std::uintptr_t(sb->b_offset) + page - 1) / page * page;
      const int group = pgroup ? *pgroup : 0;
      blas_matrix bp = sb->b_panel;
      bp.base = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(sb->block) + page + std::uintptr_t(group) * span);
      bp.rows = k;

      const T unit = one<T>();
      T bet = *beta;
      const bool scale = !is_one(bet) && !is_zero(bet);
      blas_matrix B, C;
      blas_initialize_matrix<T>(transb, k, n, b, *pldb, &B);
      blas_initialize_matrix<T>(m, n, c, *pldc, &C);
      gemm_kernel_info<T> fresh;
      {
        blas_op_params<T> p;
        blas_initialize_op_params<T>(transa, transb, &unit, beta, &p);
        blas_matrix A;
        blas_initialize_matrix<T>(transa, m, k, a, *plda, &A);
        initialize_kernel_info<T>(&p, &A, &B, &C, &h->info.strategy, &fresh);
      }
      blas_matrix ap = h->buffers.a_panel;
      ap.rows = k;
      ap.cols = count;
      ap.base = static_cast<char*>(h->buffers.a_panel.base) + std::ptrdiff_t(offset + first) * std::ptrdiff_t(sizeof(T)) * h->k;
      if (scale) {
        // beta enters once, each thread on its own rows, before any product.
        if (count > 0) {
          blas_matrix cv = sub_view(C, first, 0, count, n);
          fresh.scale_c(&cv, &bet);
        }
        bet = unit;
      }
      for (int j0 = 0; j0 < n; j0 += nblk) {
        const int nb = n - j0 < nblk ? n - j0 : nblk;
        {
          // Each member packs its share of the panel's slivers; the last,
          // partial one falls to the last member with any, as in a whole
          // panel.
          int cols = 0, nbv = nb;
          const int c0 = orb_serv_divbythreadsnb(&thread, &nthreads, &nbv, &un, &cols);
          if (cols > 0) {
            blas_matrix src = sub_view(B, 0, j0 + c0, k, cols);
            blas_matrix dst = bp;
            dst.base = getPointer_buffer(0, c0, &bp);
            fresh.copy_b(&src, &dst, &unit);
          }
        }
        orb_barrier_wait(bar, thread, nthreads);
        if (count > 0) {
          blas_matrix cv = sub_view(C, first, j0, count, nb);
          blas_matrix bv = bp;
          bv.rows = k;
          bv.cols = nb;
          fresh.kernel(&unit, &ap, &bv, &bet, &cv, nullptr);
        }
        orb_barrier_wait(bar, thread, nthreads);
      }
      if (thread == 0) {
        orb_serv_lock(&h->lock);
        leave_users(h);
        orb_serv_unlock(&h->lock);
      }
      return 0;
    }
    case 3:
      // Release and destroy are thread 0's; the others do not look at the
      // handle, which may be gone by the time they arrive.
      if (thread != 0) return 0;
      if (!h) return 1;
      orb_serv_lock(&h->lock);
      release_source(h);
      orb_serv_unlock(&h->lock);
      return 0;
    case 4: {
      if (thread != 0) return 0;
      if (!array) return 1;
      const int slots = pslots && *pslots > 0 ? *pslots : 1;
      handle_t<T>* first = team_handle<T>(array, 0);
      first->shared_b.free_bufs ? first->shared_b.free_bufs(&first->shared_b) : void();
      for (int s = 0; s < slots; ++s) {
        handle_t<T>* hs = team_handle<T>(array, s);
        if (hs->buffers.block && hs->buffers.free_bufs) hs->buffers.free_bufs(&hs->buffers);
      }
      orb_serv_deallocate(array);
      *handle = nullptr;
      return 0;
    }
    case 5:
      if (!h) return 1;
      *reinterpret_cast<void**>(const_cast<T*>(a)) = h->buffers.a_panel.base;
      return 0;
    default:
      return 1;
  }
}

}  // namespace
}  // namespace orb::engine

using namespace orb::engine;

#define ORB_INTERNAL_EXPORTS(T, t)                                                                                 \
  ORB_API int ORB_BLAS(x##t##gemm_internal)(const char* transa, const char* transb, const int* m, const int* n,    \
                                            const int* k, const T* alpha, const T* a, const int* lda, const T* b,  \
                                            const int* ldb, const T* beta, T* c, const int* ldc, const int* op,    \
                                            void** handle) {                                                       \
    return internal<T>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, op, handle);                  \
  }                                                                                                                \
  ORB_API int ORB_BLAS(x##t##gemm_internal_team)(                                                                  \
      const char* transa, const char* transb, const int* m, const int* n, const int* k, const T* alpha,            \
      const T* a, const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc, const int* op,  \
      void** handle, const int* slot, const int* slots, const int* group, const int* copies, const int* thread,    \
      const int* nthreads, void* barrier) {                                                                        \
    return team<T>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, op, handle, slot, slots, group,   \
                   copies, thread, nthreads, barrier);                                                             \
  }

ORB_INTERNAL_EXPORTS(float, s)
ORB_INTERNAL_EXPORTS(double, d)
ORB_INTERNAL_EXPORTS(orb_complex8, c)
ORB_INTERNAL_EXPORTS(orb_complex16, z)
