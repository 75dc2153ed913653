// The engine's records and rules: strategy repair, block sizes, buffer
// placement, the kernel table; failed allocations on every path; the
// stored packed A and its team form; the spin barrier.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cstdint>
#include <thread>

#include "tests/blas/engine/gemm_model.hpp"

namespace {

using namespace orb::test::gemm;
using namespace orb::engine;
using orb::test::same_bits;

template <class F>
F fn(const char* name) {
  F f = engine_fn<F>(name);
  EXPECT_NE(f, nullptr) << name;
  return f;
}

// ---- Strategy and block sizes -----------------------------------------------

TEST(GemmStrategy, CheckRepairsTheTileAndFillsDefaults) {
  auto init = fn<void (*)(gemm_strategy*)>("dgemm_initialize_strategy");
  ASSERT_NE(init, nullptr);
  gemm_strategy s;
  init(&s);
  EXPECT_EQ(s.unroll_m, 8);
  EXPECT_EQ(s.unroll_n, 6);
  EXPECT_EQ(s.vector_elems, 8);
  EXPECT_EQ(s.copy_mode, 0);
  EXPECT_EQ(s.check(&s), 1);
  EXPECT_EQ(s.copy_mode, 2);
  EXPECT_EQ(s.flavour, 2);
  EXPECT_EQ(s.loop_order, 4);
  EXPECT_EQ(s.pack_mode, 0);  // never defaulted
  EXPECT_EQ(s.pad_m, 8);
  EXPECT_EQ(s.pad_n, 8);
  s.unroll_m = 5;
  EXPECT_EQ(s.check(&s), 0);
  EXPECT_EQ(s.unroll_m, 8);
  gemm_strategy t;
  init(&t);
  t.copy_mode = 16;
  t.check(&t);
  EXPECT_EQ(t.flavour, 4);

  auto initz = fn<void (*)(gemm_strategy*)>("zgemm_initialize_strategy");
  gemm_strategy z;
  initz(&z);
  z.check(&z);
  EXPECT_EQ(z.unroll_m, 4);
  EXPECT_EQ(z.unroll_n, 3);
  EXPECT_EQ(z.pad_m, 4);
  EXPECT_EQ(z.pad_n, 4);
}

struct KCase {
  int k, block;
};

class GemmKBlock : public ::testing::TestWithParam<KCase> {};

TEST_P(GemmKBlock, FollowsTheHalvingRule) {
  auto init_s = fn<void (*)(gemm_strategy*)>("dgemm_initialize_strategy");
  auto init_b = fn<void (*)(const blas_matrix*, const blas_matrix*, const gemm_strategy*, gemm_buffers*)>(
      "dgemm_initialize_buffers");
  ASSERT_NE(init_b, nullptr);
  gemm_strategy s;
  init_s(&s);
  s.check(&s);
  blas_matrix a, b;
  double dummy = 0;
  blas_initialize_matrix<double>("N", 13, GetParam().k, &dummy, 13, &a);
  blas_initialize_matrix<double>("N", GetParam().k, 500, &dummy, GetParam().k, &b);
  gemm_buffers buf;
  init_b(&a, &b, &s, &buf);
  EXPECT_EQ(buf.k_block, GetParam().block);
  if (GetParam().k < 48) {
    EXPECT_EQ(buf.n_block, 24);
  } else {  // the B block of the largest K block in 9/16 of L2: 192 columns on 1 MiB
    const long l2 = orb_serv_get_cache_size(2);
    EXPECT_EQ(buf.n_block % 6, 0);
    if (l2 == 1 << 20) {
      EXPECT_EQ(buf.n_block, 192);
    } else if (l2 >= 256 << 10) {
      EXPECT_LE(long(buf.n_block) * 384 * 8, std::max(l2 * 9 / 16, 192L * 384 * 8));
    }
  }
  EXPECT_EQ(buf.block, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Edges, GemmKBlock,
                         ::testing::Values(KCase{383, 383}, KCase{384, 384}, KCase{385, 193}, KCase{767, 384},
                                           KCase{768, 384}, KCase{10, 128}, KCase{47, 128}, KCase{1000, 384}));

TEST(GemmBuffers, PlacementAndSizes) {
  auto init_s = fn<void (*)(gemm_strategy*)>("dgemm_initialize_strategy");
  auto init_b = fn<void (*)(const blas_matrix*, const blas_matrix*, const gemm_strategy*, gemm_buffers*)>(
      "dgemm_initialize_buffers");
  auto get = fn<int (*)(gemm_buffers*)>("dgemm_get_bufs");
  auto size = fn<std::size_t (*)(gemm_buffers*)>("dgemm_get_size_bufs");
  auto free_b = fn<void (*)(gemm_buffers*)>("dgemm_free_bufs");
  ASSERT_TRUE(init_s && init_b && get && size && free_b);
  gemm_strategy s;
  init_s(&s);
  s.check(&s);
  blas_matrix a, b;
  double dummy = 0;
  blas_initialize_matrix<double>("N", 100, 200, &dummy, 100, &a);
  blas_initialize_matrix<double>("N", 200, 50, &dummy, 200, &b);
  gemm_buffers buf;
  init_b(&a, &b, &s, &buf);
  const long live = orb_test_live_blocks();
  EXPECT_EQ(get(&buf), 0);
  ASSERT_NE(buf.block, nullptr);
  const auto base = reinterpret_cast<std::uintptr_t>(buf.block);
  const auto bpan = reinterpret_cast<std::uintptr_t>(buf.b_panel.base);
  const auto apan = reinterpret_cast<std::uintptr_t>(buf.a_panel.base);
  EXPECT_EQ(bpan % 4096, 768u);
  EXPECT_EQ(apan % 4096, 1664u);
  EXPECT_GE(bpan, base);
  EXPECT_GE(apan, bpan + std::uintptr_t(buf.n_block) * buf.k_block * 8);
  EXPECT_LE(apan + std::uintptr_t(buf.m_block) * buf.k_block * 8,
            base + std::uintptr_t(buf.m_block + buf.n_block) * buf.k_block * 8 + 18816);
  EXPECT_EQ(orb_test_live_blocks(), live + 1);
  free_b(&buf);
  EXPECT_EQ(buf.block, nullptr);
  EXPECT_EQ(orb_test_live_blocks(), live);

  gemm_buffers none = buf;
  none.mode = 0;
  EXPECT_EQ(get(&none), 1);
  none.mode = 6;
  EXPECT_EQ(get(&none), 1);
  EXPECT_EQ(orb_test_live_blocks(), live);

  buf.mode = 1;
  EXPECT_EQ(size(&buf), std::size_t(buf.m_block) * 8 * buf.k_block + 14080);
  buf.mode = 2;
  EXPECT_EQ(size(&buf), std::size_t(buf.k_block) * 8 * buf.n_block + 13184);
  buf.mode = 3;
  EXPECT_EQ(size(&buf), 0u);
}

TEST(GemmBuffers, PackingInterfaceHeader) {
  auto init_s = fn<void (*)(gemm_strategy*)>("sgemm_initialize_strategy");
  auto init_b = fn<void (*)(const blas_matrix*, const blas_matrix*, const gemm_strategy*, gemm_buffers*)>(
      "sgemm_initialize_buffers");
  ASSERT_TRUE(init_s && init_b);
  gemm_strategy s;
  init_s(&s);
  s.pack_mode = 2;
  s.check(&s);
  blas_matrix a, b;
  float dummy = 0;
  blas_initialize_matrix<float>("N", 40, 30, &dummy, 40, &a);
  blas_initialize_matrix<float>("N", 30, 20, &dummy, 30, &b);
  gemm_buffers buf;
  init_b(&a, &b, &s, &buf);
  ASSERT_NE(buf.get_size, nullptr);
  ASSERT_NE(buf.set_bufs, nullptr);
  buf.mode = 1;
  EXPECT_EQ(buf.get_bufs(&buf), 0);
  ASSERT_NE(buf.block, nullptr);
  ASSERT_EQ(buf.header, buf.block);
  const std::int32_t* h = static_cast<const std::int32_t*>(buf.header);
  EXPECT_EQ(std::uintptr_t(buf.header) % 128, 0u);
  EXPECT_EQ(static_cast<const char*>(buf.header) + std::ptrdiff_t(h[0]) * 8,
            static_cast<const char*>(buf.a_panel.base));
  EXPECT_EQ(std::uintptr_t(buf.a_panel.base) % 4096, 1664u);
  EXPECT_EQ(h[1], buf.m_block);
  EXPECT_EQ(h[2], buf.n_block);
  EXPECT_EQ(h[3], buf.k_block);
  EXPECT_EQ(h[10], 0);
  EXPECT_EQ(h[11], -1);
  EXPECT_EQ(h[20], 2);
  buf.free_bufs(&buf);
  buf.mode = 9;
  EXPECT_EQ(buf.get_bufs(&buf), 1);
}

// ---- The kernel table ---------------------------------------------------------

template <class T>
gemm_kernel_info<T> table_for(const char* x, const char* ta, const char* tb, int op, int copy_mode) {
  auto init_s = fn<void (*)(gemm_strategy*)>((std::string(x) + "gemm_initialize_strategy").c_str());
  auto init_k = fn<void (*)(const blas_op_params<T>*, const blas_matrix*, const blas_matrix*, const blas_matrix*,
                            const gemm_strategy*, gemm_kernel_info<T>*)>(
      (std::string(x) + "gemm_initialize_kernel_info").c_str());
  gemm_strategy s;
  init_s(&s);
  s.copy_mode = copy_mode;
  T one = make<T>(1);
  blas_op_params<T> p;
  blas_initialize_op_params<T>(ta, tb, &one, &one, &p);
  p.op = op;
  T dummy[1] = {one};
  blas_matrix a, b, c;
  blas_initialize_matrix<T>(ta, 10, 10, dummy, 10, &a);
  blas_initialize_matrix<T>(tb, 10, 10, dummy, 10, &b);
  blas_initialize_matrix<T>(10, 10, dummy, 10, &c);
  gemm_kernel_info<T> info;
  init_k(&p, &a, &b, &c, &s, &info);
  return info;
}

TEST(GemmKernelInfo, CopiersFollowTheOperators) {
  const std::string t = current_tag();
  auto k = [&](const char* name) { return orb_test_kernel(t.c_str(), name); };
  auto nn = table_for<double>("d", "N", "N", 0, 0);
  EXPECT_EQ((void*)nn.copy_a, k("dgemm_copyan"));
  EXPECT_EQ((void*)nn.copy_b, k("dgemm_copybn"));
  EXPECT_EQ((void*)nn.kernel, k("dgemm_ker0"));
  EXPECT_EQ((void*)nn.driver, k("d_generic_fullacopybcopy"));
  EXPECT_EQ((void*)nn.scale_c, k("dgemm_mscale_wrapper"));
  EXPECT_EQ((void*)nn.fallback, k("d_pst_wrapper"));
  EXPECT_STREQ(nn.name, "DGEMM");
  EXPECT_EQ(nn.pst_m_limit, 8);
  EXPECT_EQ(nn.pst_n_limit, 6);
  // "C" in a real type copies as "T".
  auto cc = table_for<double>("d", "C", "t", 0, 0);
  EXPECT_EQ((void*)cc.copy_a, k("dgemm_copyat"));
  EXPECT_EQ((void*)cc.copy_b, k("dgemm_copybt"));
  auto acopied = table_for<double>("d", "N", "N", 0, 4);
  EXPECT_EQ((void*)acopied.driver, k("xdgemm_acopiedbcopy"));
  auto nocopy = table_for<double>("d", "N", "N", 0, 16);
  EXPECT_EQ(nocopy.copy_a, nullptr);
  EXPECT_EQ((void*)nocopy.driver, k("xdgemm_nocopy_driver"));
  // Complex conjugate-transposed operands get the conjugating copiers.
  auto zc = table_for<orb_complex16>("z", "C", "C", 0, 0);
  EXPECT_EQ((void*)zc.copy_a, k("zgemm_copyac"));
  EXPECT_EQ((void*)zc.copy_b, k("zgemm_copybc"));
  auto zt = table_for<orb_complex16>("z", "T", "T", 0, 0);
  EXPECT_EQ((void*)zt.copy_a, k("zgemm_copyat"));
  EXPECT_EQ(zt.pst_m_limit, 4);
  // Other operations get names, a triangle scale for symmetric outputs, and
  // never a null routine a driver would call.
  for (int op = 1; op <= 9; ++op) {
    auto info = table_for<orb_complex8>("c", "N", "N", op, 0);
    EXPECT_NE(info.kernel, nullptr);
    EXPECT_NE(info.copy_a, nullptr);
    EXPECT_NE(info.copy_b, nullptr);
    EXPECT_NE(info.driver, nullptr);
  }
  EXPECT_STREQ(table_for<orb_complex8>("c", "N", "N", 4, 0).name, "CHERK");
  EXPECT_STREQ(table_for<float>("s", "N", "N", 8, 0).name, "STRSM");
  EXPECT_NE(table_for<float>("s", "N", "N", 3, 0).syrk_scale, nullptr);
  EXPECT_EQ(table_for<float>("s", "N", "N", 1, 0).syrk_scale, nullptr);
}

// ---- Failed allocations ---------------------------------------------------------

template <class T>
void near(const std::vector<T>& x, const std::vector<T>& y, double tol) {
  using R = typename scalar<T>::R;
  const R* p = reinterpret_cast<const R*>(x.data());
  const R* q = reinterpret_cast<const R*>(y.data());
  for (std::size_t i = 0; i < x.size() * scalar<T>::C; ++i) ASSERT_NEAR(p[i], q[i], tol) << i;
}

template <class T>
void packed_path_without_memory(int M, int N, int K, double tol) {
  auto f = engine_fn<gemm_fn<T>>(std::string("x") + scalar<T>::x + "gemm");
  ASSERT_NE(f, nullptr);
  auto a = random_matrix<T>(std::size_t(M) * K, 1), b = random_matrix<T>(std::size_t(K) * N, 2);
  auto c = random_matrix<T>(std::size_t(M) * N, 3);
  auto expect = c;
  const T alpha = make<T>(0.5, -1), beta = make<T>(2, 0.5);
  model<T>::run('N', 'N', M, N, K, alpha, a.data(), M, b.data(), K, beta, expect.data(), M);
  const long live = orb_test_live_blocks();
  orb_test_fail_allocation(1, 0);
  f("N", "N", &M, &N, &K, &alpha, a.data(), &M, b.data(), &K, &beta, c.data(), &M);
  orb_test_fail_allocation(0, 0);
  EXPECT_EQ(orb_test_live_blocks(), live);
  near(c, expect, tol);
}

TEST(GemmFallback, PackedPathWithoutMemoryGivesTheProduct) {
  packed_path_without_memory<float>(200, 210, 70, 1e-4);
  packed_path_without_memory<double>(200, 210, 70, 1e-12);
  packed_path_without_memory<orb_complex8>(30, 20, 70, 2e-4);
  packed_path_without_memory<orb_complex16>(30, 20, 70, 1e-12);
}

// ---- Stored packed A ----------------------------------------------------------------

template <class T>
using internal_fn = int (*)(const char*, const char*, const int*, const int*, const int*, const T*, const T*,
                            const int*, const T*, const int*, const T*, T*, const int*, const int*, void**);

template <class T>
void stored_packed_a() {
  const std::string x = scalar<T>::x;
  auto f = engine_fn<internal_fn<T>>("x" + x + "gemm_internal");
  ASSERT_NE(f, nullptr);
  const int M = 45, N = 33, K = 70, lda = 50, ldb = 71, ldc = 47;
  auto a = random_matrix<T>(std::size_t(lda) * K, 1), b = random_matrix<T>(std::size_t(ldb) * K, 2);
  auto c0 = random_matrix<T>(std::size_t(ldc) * N, 3);
  const T alpha = make<T>(-0.75, 0.25), beta = make<T>(0.5, 0.5), ignored = make<T>(9);
  const long live = orb_test_live_blocks();
  void* h = nullptr;
  const int create = 0, pack = 1, compute = 2, release = 3, destroy = 4;
  auto c = c0, expect = c0;
  // Operation `op` on rows `first` to M - 1 of the whole problem.
  auto call = [&](int op, void** handle, const T* al = nullptr, int first = 0, const char* tb = "N") {
    const int m = M - first;
    return f("N", tb, &m, &N, &K, al ? al : &alpha, a.data() + first, &lda, b.data(), &ldb, &beta, c.data() + first,
             &ldc, &op, handle);
  };
  ASSERT_EQ(call(create, &h), 0);
  ASSERT_NE(h, nullptr);
  ASSERT_EQ(call(pack, &h), 0);

  // The whole A: the stored alpha, one K block of all of K.
  EXPECT_EQ(call(compute, &h, &ignored), 0);
  model<T>::run('N', 'N', M, N, K, alpha, a.data(), lda, b.data(), ldb, beta, expect.data(), ldc, K);
  for (std::size_t i = 0; i < c.size(); ++i) ASSERT_TRUE(same_bits(c[i], expect[i])) << i;

  // A row block that starts on a panel is accepted too.
  const int um = scalar<T>::C == 2 ? (sizeof(T) == 8 ? 8 : 4) : (sizeof(T) == 4 ? 16 : 8);
  c = c0, expect = c0;
  EXPECT_EQ(call(compute, &h, &ignored, um, "T"), 0);
  model<T>::run('N', 'T', M - um, N, K, alpha, a.data() + um, lda, b.data(), ldb, beta, expect.data() + um, ldc, K);
  for (std::size_t i = 0; i < c.size(); ++i) ASSERT_TRUE(same_bits(c[i], expect[i])) << "sub-block " << i;

  // A block off the panel grid falls back to a plain product, with the
  // call's own alpha, and says so.
  c = c0, expect = c0;
  EXPECT_EQ(call(compute, &h, &alpha, 1), 1);
  model<T>::run('N', 'N', M - 1, N, K, alpha, a.data() + 1, lda, b.data(), ldb, beta, expect.data() + 1, ldc, K);
  near(c, expect, sizeof(typename scalar<T>::R) == 4 ? 1e-4 : 1e-12);

  // Released: compute falls back.
  EXPECT_EQ(call(release, &h), 0);
  EXPECT_EQ(call(compute, &h), 1);
  EXPECT_EQ(call(destroy, &h), 0);
  EXPECT_EQ(orb_test_live_blocks(), live);
  // No handle, or an unknown operation: a plain product and 1.
  void* none = nullptr;
  for (int op : {compute, pack, 7}) EXPECT_EQ(call(op, &none), 1) << op;
}

TEST(GemmInternal, StoredPackedA) {
  stored_packed_a<float>();
  stored_packed_a<double>();
  stored_packed_a<orb_complex8>();
  stored_packed_a<orb_complex16>();
}

// Every allocation of create and compute, failed in turn: right numbers,
// nothing left allocated, never a crash.
TEST(GemmInternal, EachAllocationMayFail) {
  auto f = engine_fn<internal_fn<double>>("xdgemm_internal");
  ASSERT_NE(f, nullptr);
  const int M = 30, N = 20, K = 40;
  auto a = random_matrix<double>(M * K, 1), b = random_matrix<double>(K * N, 2);
  auto c0 = random_matrix<double>(M * N, 3);
  const double alpha = 1.5, beta = -0.5;
  auto expect = c0;
  model<double>::run('N', 'N', M, N, K, alpha, a.data(), M, b.data(), K, beta, expect.data(), M, K);
  for (int nth = 1; nth <= 4; ++nth) {
    SCOPED_TRACE(nth);
    const long live = orb_test_live_blocks();
    auto c = c0;
    void* h = nullptr;
    auto call = [&](int op) {
      return f("N", "N", &M, &N, &K, &alpha, a.data(), &M, b.data(), &K, &beta, c.data(), &M, &op, &h);
    };
    orb_test_fail_allocation(nth, 0);
    if (call(0) != 0) {  // create
      EXPECT_EQ(h, nullptr);
    }
    call(1);                                   // pack
    call(2);                                   // compute
    orb_test_fail_allocation(0, 0);
    call(4);  // destroy
    EXPECT_EQ(orb_test_live_blocks(), live);
    near(c, expect, 1e-12);
  }
}

// ---- Team form ---------------------------------------------------------------------

template <class T>
using team_fn = int (*)(const char*, const char*, const int*, const int*, const int*, const T*, const T*, const int*,
                        const T*, const int*, const T*, T*, const int*, const int*, void**, const int*, const int*,
                        const int*, const int*, const int*, const int*, void*);

template <class T>
void team_product(int nthreads) {
  const std::string x = scalar<T>::x;
  auto f = engine_fn<team_fn<T>>("x" + x + "gemm_internal_team");
  ASSERT_NE(f, nullptr);
  const int M = 77, N = 250, K = 90;
  auto a = random_matrix<T>(std::size_t(M) * K, 1), b = random_matrix<T>(std::size_t(K) * N, 2);
  auto c = random_matrix<T>(std::size_t(M) * N, 3);
  auto expect = c;
  const T alpha = make<T>(0.5, 1), beta = make<T>(-1.25, 0.5);
  model<T>::run('N', 'N', M, N, K, alpha, a.data(), M, b.data(), K, beta, expect.data(), M, K);
  const long live = orb_test_live_blocks();
  void* h = nullptr;
  const int slot = 0, slots = 1, group = 0, copies = 1;
  alignas(64) static gemm_barrier bar;
  bar = gemm_barrier{};
  std::atomic<int> failures{0};
  std::barrier meet(nthreads);
  auto member = [&](int t) {
    for (int op : {0, 1, 2, 3, 4}) {
      const int r = f("N", "N", &M, &N, &K, &alpha, a.data(), &M, b.data(), &K, &beta, c.data(), &M, &op, &h, &slot,
                      &slots, &group, &copies, &t, &nthreads, &bar);
      if (r != 0) failures.fetch_add(1 << (4 * op));
      // The dispatcher meets before create's result is read by the others.
      if (op == 0) meet.arrive_and_wait();
    }
  };
  std::vector<std::thread> team;
  for (int t = 1; t < nthreads; ++t) team.emplace_back(member, t);
  member(0);
  for (auto& th : team) th.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(h, nullptr);
  EXPECT_EQ(orb_test_live_blocks(), live);
  for (std::size_t i = 0; i < c.size(); ++i) ASSERT_TRUE(same_bits(c[i], expect[i])) << i;
}

TEST(GemmTeam, SameBitsForAnyTeam) {
  for (int n : {1, 2, 3}) {
    SCOPED_TRACE(n);
    team_product<double>(n);
    team_product<orb_complex8>(n);
  }
  team_product<float>(4);
  team_product<orb_complex16>(4);
}

TEST(GemmTeam, OpFiveNamesThePanelAndBadArgumentsFail) {
  auto f = engine_fn<team_fn<double>>("xdgemm_internal_team");
  ASSERT_NE(f, nullptr);
  const int M = 20, N = 10, K = 5, one = 1, zero = 0;
  auto a = random_matrix<double>(M * K, 1), b = random_matrix<double>(K * N, 2), c = random_matrix<double>(M * N, 3);
  const double alpha = 1, beta = 0;
  alignas(64) gemm_barrier bar{};
  void* h = nullptr;
  // Operation `op` as the only member of a team; `thread` null is refused.
  auto call = [&](int op, const double* a_arg, bool no_thread = false) {
    return f("N", "N", &M, &N, &K, &alpha, a_arg, &M, b.data(), &K, &beta, c.data(), &M, &op, &h, &zero, &one, &zero,
             &one, no_thread ? nullptr : &zero, &one, &bar);
  };
  ASSERT_EQ(call(0, a.data()), 0);
  // Op 5 writes the address of the packed panel where A would be.
  void* where = nullptr;
  EXPECT_EQ(call(5, reinterpret_cast<const double*>(&where)), 0);
  EXPECT_NE(where, nullptr);
  EXPECT_EQ(std::uintptr_t(where) % 4096, 1664u);
  EXPECT_EQ(call(6, a.data()), 1);
  EXPECT_EQ(call(0, a.data(), true), 1);
  EXPECT_EQ(call(4, a.data()), 0);
}

}  // namespace
