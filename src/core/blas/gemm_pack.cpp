// The packed-operand interface: public stores over the kernel's
// x?gemm_internal (one caller thread per call) and x?gemm_internal_team
// (every member of a team of the core's threads makes each call, with its
// number, the team's size and a shared barrier). The raw entries
// orb_blas_?gemm_internal and orb_blas_?gemm_internal_team forward to the
// kernels unchanged, for programs that run their own team.
//
// A plain store's handle is made by the team form, as a team of one: a
// handle with the panel of B a team shares. Pack and release go through
// the plain form, and so does a compute that the plain GEMM would run on
// one thread; a compute that the plain GEMM would run on threads runs on
// the core's team instead, one team at a time per store (a compute that
// finds the team form in use goes the plain way). Both forms multiply the
// same packed A in the same order, so the bits do not depend on the way.
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>

#include "core/dispatch.hpp"
#include "core/team.hpp"
#include "orb/orb_blas.h"
#include "orb/orb_gemm_pack.h"
#include "orb/orb_service.h"

// The store behind the public handle.
struct orb_gemm_pack {
  char type;     // 's', 'd', 'c', 'z'
  bool team;     // calls run on a team
  int nthreads;  // team size asked for at creation (0: the default)
  void* handle;  // the kernel's handle (an array of one, for a team)
  bool packed;   // alpha holds the factor of the last pack
  alignas(16) unsigned char alpha[16];
  std::mutex team_calls;  // a team store takes one program thread at a time
  std::mutex fields;      // packed and alpha: a pack may run beside computes
  std::atomic<bool> team_busy{false};  // plain store: a compute runs on the team
  // Two counters a cache line apart, zeroed once, only ever growing.
  alignas(64) std::uint64_t barrier[16];
};

namespace orb::core {

// The argument check of the public GEMM, and the number of threads it
// would run a legal call on (blas_level3.cpp).
int gemm_check(char transa, char transb, int m, int n, int k, int lda, int ldb, int ldc);
template <class T>
int gemm_threads(char transa, char transb, int m, int n, int k, const T& alpha, const T& beta);

namespace {

enum { op_create = 0, op_pack = 1, op_compute = 2, op_release = 3, op_destroy = 4 };

template <class T> struct pack_type;
#define ORB_PACK_TYPE(T, t, ...)                                                  \
  template <> struct pack_type<T> {                                              \
    static constexpr char letter = #t[0];                                        \
    static auto plain() { return kernels().x##t##gemm_internal; }                \
    static auto team() { return kernels().x##t##gemm_internal_team; }            \
    static T one() { return T{__VA_ARGS__}; }                                    \
  };
ORB_PACK_TYPE(float, s, 1)
ORB_PACK_TYPE(double, d, 1)
ORB_PACK_TYPE(orb_complex8, c, 1, 0)
ORB_PACK_TYPE(orb_complex16, z, 1, 0)
#undef ORB_PACK_TYPE

// Runs f(thread, team_size) on every member of the core's team and
// returns the largest result. The team's size is what the team actually
// gives, and every member makes the call, as the barrier in the kernel
// requires.
template <class F>
int on_team(int want, F f) {
  if (want <= 0) want = orb_get_max_threads();
  std::atomic<int> result{0};
  auto member = [&](int thread, int size) {
    const int r = f(thread, size);
    int seen = result.load(std::memory_order_relaxed);
    while (r > seen && !result.compare_exchange_weak(seen, r, std::memory_order_relaxed)) {
    }
  };
  team_run(want, member);
  return result.load(std::memory_order_relaxed);
}

template <class T>
struct args {
  char transa = 'N', transb = 'N';
  int m = 0, n = 0, k = 0, lda = 1, ldb = 1, ldc = 1;
  T alpha{}, beta{};
  const T* a = nullptr;
  const T* b = nullptr;
  T* c = nullptr;
};

// A plain store's handle through the team form: create and destroy as a
// team of one, a compute on `threads` of the core's threads.
template <class T>
int plain_store_team_call(orb_gemm_pack* s, int op, args<T>& x, int threads) {
  const auto kernel = pack_type<T>::team();
  const int slot = 0, slots = 1, group = 0, copies = 1;
  if (op != op_compute) {
    const int thread = 0, size = 1;
    return kernel(&x.transa, &x.transb, &x.m, &x.n, &x.k, &x.alpha, x.a, &x.lda, x.b, &x.ldb, &x.beta, x.c, &x.ldc,
                  &op, &s->handle, &slot, &slots, &group, &copies, &thread, &size, s->barrier);
  }
  void* const handle = s->handle;
  return on_team(threads, [&](int thread, int size) {
    void* mine = handle;
    return kernel(&x.transa, &x.transb, &x.m, &x.n, &x.k, &x.alpha, x.a, &x.lda, x.b, &x.ldb, &x.beta, x.c, &x.ldc,
                  &op, &mine, &slot, &slots, &group, &copies, &thread, &size, s->barrier);
  });
}

// One call of the internal interface, plain or by a team.
template <class T>
int call(orb_gemm_pack* s, int op, args<T>& x) {
  using P = pack_type<T>;
  if (!s->team) {
    if (op == op_create || op == op_destroy) return plain_store_team_call(s, op, x, 1);
    if (op == op_compute) {
      const int threads = gemm_threads<T>(x.transa, x.transb, x.m, x.n, x.k, x.alpha, x.beta);
      bool idle = false;
      if (threads > 1 && s->team_busy.compare_exchange_strong(idle, true, std::memory_order_acquire)) {
        const int r = plain_store_team_call(s, op, x, threads);
        s->team_busy.store(false, std::memory_order_release);
        return r;
      }
    }
    return P::plain()(&x.transa, &x.transb, &x.m, &x.n, &x.k, &x.alpha, x.a, &x.lda, x.b, &x.ldb, &x.beta, x.c,
                      &x.ldc, &op, &s->handle);
  }
  std::lock_guard<std::mutex> lock(s->team_calls);
  const auto kernel = P::team();
  // Each member reads the handle from its own copy, taken before the team
  // starts: thread 0 may replace it (create, destroy) while others enter.
  void* const before = s->handle;
  void* after = before;
  const int r = on_team(s->nthreads, [&](int thread, int size) {
    const int slot = 0, slots = 1, group = 0, copies = 1;
    void* mine = before;
    const int res = kernel(&x.transa, &x.transb, &x.m, &x.n, &x.k, &x.alpha, x.a, &x.lda, x.b, &x.ldb, &x.beta, x.c,
                           &x.ldc, &op, &mine, &slot, &slots, &group, &copies, &thread, &size, s->barrier);
    if (thread == 0) after = mine;
    // Only a compute has every member report; the other calls are thread 0's.
    return op == op_compute || thread == 0 ? res : 0;
  });
  s->handle = after;
  return r;
}

inline bool trans_ok(char c) {
  c = char(c & ~32);
  return c == 'N' || c == 'T' || c == 'C';
}

template <class T>
int create(orb_gemm_pack** out, char transa, int m, int k, bool team, int nthreads) {
  if (!out) return -1;
  *out = nullptr;
  if (!trans_ok(transa) || m < 0 || k < 0 || nthreads < 0) return -1;
  void* mem = orb_serv_malloc(sizeof(orb_gemm_pack), 128);
  if (!mem) return 1;
  orb_gemm_pack* s = new (mem) orb_gemm_pack;
  s->type = pack_type<T>::letter;
  s->team = team;
  s->nthreads = nthreads;
  s->handle = nullptr;
  s->packed = false;
  std::memset(s->alpha, 0, sizeof(s->alpha));
  std::memset(s->barrier, 0, sizeof(s->barrier));
  args<T> x;
  x.transa = transa;
  x.m = m;
  x.k = k;
  x.n = 1;
  x.lda = char(transa & ~32) == 'N' ? (m > 1 ? m : 1) : (k > 1 ? k : 1);
  x.ldb = k > 1 ? k : 1;
  x.ldc = m > 1 ? m : 1;
  x.alpha = x.beta = pack_type<T>::one();
  if (call(s, op_create, x) != 0 || !s->handle) {
    if (s->handle) {
      args<T> d;
      call(s, op_destroy, d);
    }
    s->~orb_gemm_pack();
    orb_serv_free(mem);
    return 1;
  }
  *out = s;
  return 0;
}

template <class T>
bool mine(const orb_gemm_pack* s) {
  return s && s->type == pack_type<T>::letter;
}

template <class T>
int pack(orb_gemm_pack* s, char transa, int m, int k, const T* alpha, const T* a, int lda) {
  if (!alpha) return -1;
  if (!mine<T>(s) || !trans_ok(transa) || m < 0 || k < 0) return -1;
  const int rows = char(transa & ~32) == 'N' ? m : k;
  if (lda < (rows > 1 ? rows : 1)) return -1;
  args<T> x;
  x.transa = transa;
  x.m = m;
  x.k = k;
  x.n = 1;
  x.alpha = *alpha;
  x.beta = pack_type<T>::one();
  x.a = a;
  x.lda = lda;
  const int r = call(s, op_pack, x);
  if (r == 0) {
    std::lock_guard<std::mutex> lock(s->fields);
    std::memcpy(s->alpha, alpha, sizeof(T));
    s->packed = true;
  }
  return r;
}

template <class T>
int compute(orb_gemm_pack* s, char transa, char transb, int m, int n, int k, const T* a, int lda, const T* b,
            int ldb, const T* beta, T* c, int ldc) {
  if (!beta) return -1;
  if (!mine<T>(s)) return -1;
  if (gemm_check(transa, transb, m, n, k, lda, ldb, ldc) != 0) return -1;
  args<T> x;
  x.transa = transa;
  x.transb = transb;
  x.m = m;
  x.n = n;
  x.k = k;
  x.a = a;
  x.lda = lda;
  x.b = b;
  x.ldb = ldb;
  x.beta = *beta;
  x.c = c;
  x.ldc = ldc;
  // The packed A carries its alpha; the same alpha goes along for the
  // plain computation the kernel falls back on.
  {
    std::lock_guard<std::mutex> lock(s->fields);
    if (s->packed) std::memcpy(&x.alpha, s->alpha, sizeof(T));
    else x.alpha = pack_type<T>::one();
  }
  return call(s, op_compute, x) == 0 ? 0 : 1;
}

template <class T>
int release(orb_gemm_pack* s) {
  if (!mine<T>(s)) return -1;
  args<T> x;
  const int r = call(s, op_release, x);
  {
    std::lock_guard<std::mutex> lock(s->fields);
    s->packed = false;
  }
  return r;
}

template <class T>
int destroy(orb_gemm_pack* s) {
  if (!mine<T>(s)) return -1;
  args<T> x;
  const int r = call(s, op_destroy, x);
  s->~orb_gemm_pack();
  orb_serv_free(s);
  return r;
}

// Real scalars come by value, complex ones by address (a null one is
// refused by pack and compute).
template <class T> const T* scalar(const T& v) { return &v; }
template <class T> const T* scalar(const T* p) { return p; }

}  // namespace
}  // namespace orb::core

using namespace orb::core;

extern "C" {

#define ORB_PACK(T, x, S)                                                                                        \
  int orb_##x##gemm_pack_create(orb_gemm_pack** store, char transa, int m, int k) {                              \
    return create<T>(store, transa, m, k, false, 0);                                                             \
  }                                                                                                              \
  int orb_##x##gemm_pack_create_team(orb_gemm_pack** store, char transa, int m, int k, int nthreads) {           \
    return create<T>(store, transa, m, k, true, nthreads);                                                       \
  }                                                                                                              \
  int orb_##x##gemm_pack(orb_gemm_pack* store, char transa, int m, int k, S alpha, const T* a, int lda) {        \
    return pack<T>(store, transa, m, k, scalar<T>(alpha), a, lda);                                               \
  }                                                                                                              \
  int orb_##x##gemm_pack_compute(orb_gemm_pack* store, char transa, char transb, int m, int n, int k,            \
                                 const T* a, int lda, const T* b, int ldb, S beta, T* c, int ldc) {              \
    return compute<T>(store, transa, transb, m, n, k, a, lda, b, ldb, scalar<T>(beta), c, ldc);                  \
  }                                                                                                              \
  int orb_##x##gemm_pack_release(orb_gemm_pack* store) { return release<T>(store); }                            \
  int orb_##x##gemm_pack_destroy(orb_gemm_pack* store) { return destroy<T>(store); }
ORB_PACK(float, s, float)
ORB_PACK(double, d, double)
ORB_PACK(orb_complex8, c, const orb_complex8*)
ORB_PACK(orb_complex16, z, const orb_complex16*)
#undef ORB_PACK

// Raw entries of the internal interface.
#define ORB_RAW(T, t)                                                                                         \
  int orb_blas_##t##gemm_internal(const char* transa, const char* transb, const int* m, const int* n,        \
                                  const int* k, const T* alpha, const T* a, const int* lda, const T* b,      \
                                  const int* ldb, const T* beta, T* c, const int* ldc, const int* op,        \
                                  void** handle) {                                                           \
    return kernels().x##t##gemm_internal(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, op,    \
                                         handle);                                                            \
  }                                                                                                           \
  int orb_blas_##t##gemm_internal_team(const char* transa, const char* transb, const int* m, const int* n,   \
                                       const int* k, const T* alpha, const T* a, const int* lda, const T* b, \
                                       const int* ldb, const T* beta, T* c, const int* ldc, const int* op,   \
                                       void** handle, const int* slot, const int* slots, const int* group,   \
                                       const int* copies, const int* thread, const int* nthreads,            \
                                       void* barrier) {                                                      \
    return kernels().x##t##gemm_internal_team(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc,   \
                                              op, handle, slot, slots, group, copies, thread, nthreads,      \
                                              barrier);                                                      \
  }
ORB_RAW(float, s)
ORB_RAW(double, d)
ORB_RAW(orb_complex8, c)
ORB_RAW(orb_complex16, z)
#undef ORB_RAW

}  // extern "C"
