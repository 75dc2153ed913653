// The external-memory forms of the DFT node, in a process of their own: the
// first creation in a process fixes the memory methods, and here it is the
// counting one of get_size, so every later node lives in caller buffers.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "dft/dfti_node.h"
#include "orb/orb.h"
#include "tests/support/orb_test_hooks.h"

namespace {

using get_size_fn = int (*)(int, int, double, double, int*, int*, int*);
using init_fn = int (*)(DftiNode**, int, int, void*, void*);

TEST(ExternalMemory, SizesThenNodeInCallerBuffers) {
  auto get_size = reinterpret_cast<get_size_fn>(orb_test_dft_loaded("dfti_get_size_dc1d"));
  auto init = reinterpret_cast<init_fn>(orb_test_dft_loaded("dfti_init_dc1d"));
  ASSERT_TRUE(get_size && init);
  const int n = 60;
  int s[3] = {}, t[3] = {};
  ASSERT_EQ(get_size(n, 0, 1.0, 1.0 / n, &s[0], &s[1], &s[2]), 0);
  ASSERT_EQ(get_size(n, 0, 1.0, 1.0 / n, &t[0], &t[1], &t[2]), 0);
  EXPECT_EQ(s[0], t[0]);  // the same arguments, the same sizes
  EXPECT_EQ(s[1], t[1]);
  EXPECT_EQ(s[2], t[2]);
  EXPECT_GE(s[0], int(sizeof(DftiNode)));

  std::vector<unsigned char> b0(s[0] + 64), b1(s[1] + 64);
  auto* p0 = reinterpret_cast<unsigned char*>((reinterpret_cast<std::uintptr_t>(b0.data()) + 63) & ~std::uintptr_t(63));
  auto* p1 = reinterpret_cast<unsigned char*>((reinterpret_cast<std::uintptr_t>(b1.data()) + 63) & ~std::uintptr_t(63));
  const long live = orb_test_live_blocks();
  DftiNode* node = nullptr;
  ASSERT_EQ(init(&node, n, 0, p0, p1), 0);
  EXPECT_EQ(static_cast<void*>(node), static_cast<void*>(p0));  // the node stands at the start
  node->bscale = 1.0 / n;
  node->placement = DFTI_NOT_INPLACE;
  ASSERT_EQ(node->methods->commit(node), 0);
  EXPECT_EQ(orb_test_live_blocks(), live);  // nothing from the allocator

  std::vector<std::complex<double>> x(n), y(n), z(n);
  for (int i = 0; i < n; ++i) x[i] = {std::sin(i * 0.7), std::cos(i * 1.3)};
  ASSERT_EQ(node->compute_fwd(node, x.data(), y.data(), nullptr, nullptr), 0);
  ASSERT_EQ(node->compute_bwd(node, y.data(), z.data(), nullptr, nullptr), 0);
  for (int k = 0; k < n; ++k) {
    std::complex<long double> sum = 0;
    for (int j = 0; j < n; ++j) sum += std::complex<long double>(x[j]) * std::polar(1.0L, -2 * acosl(-1) * ((j * k) % n) / n);
    EXPECT_NEAR(double(std::abs(sum - std::complex<long double>(y[k]))), 0.0, 1e-12) << k;
    EXPECT_NEAR(std::abs(z[k] - x[k]), 0.0, 1e-14) << k;
  }
  node->destroy(node);  // frees nothing: the buffers are the caller's
  EXPECT_EQ(orb_test_live_blocks(), live);

  // Several dimensions: a node per further dimension, in the same buffers.
  using get_size_md_fn = int (*)(int, const int*, int, double, double, int*, int*, int*);
  using init_md_fn = int (*)(DftiNode**, int, const int*, int, void*, void*);
  auto get_size_md = reinterpret_cast<get_size_md_fn>(orb_test_dft_loaded("dfti_get_size_dcmd"));
  auto init_md = reinterpret_cast<init_md_fn>(orb_test_dft_loaded("dfti_init_dcmd"));
  const int lengths[3] = {6, 5, 4};
  ASSERT_EQ(get_size_md(3, lengths, 0, 1.0, 1.0, &s[0], &s[1], &s[2]), 0);
  std::vector<unsigned char> m0(s[0] + 64, 0xA5), m1(s[1] + 64, 0xA5);
  auto* q0 = reinterpret_cast<unsigned char*>((reinterpret_cast<std::uintptr_t>(m0.data()) + 63) & ~std::uintptr_t(63));
  auto* q1 = reinterpret_cast<unsigned char*>((reinterpret_cast<std::uintptr_t>(m1.data()) + 63) & ~std::uintptr_t(63));
  const std::size_t used0 = std::size_t(q0 - m0.data()) + std::size_t(s[0]);
  // The bytes past the reported size stay as they were.
  ASSERT_EQ(init_md(&node, 3, lengths, 0, q0, q1), 0);
  ASSERT_EQ(node->methods->commit(node), 0);
  for (std::size_t i = used0; i < m0.size(); ++i) EXPECT_EQ(m0[i], 0xA5) << "first buffer overrun at " << i - used0;
  std::vector<std::complex<double>> v(120, {1.0, 0.0});
  ASSERT_EQ(node->compute_fwd(node, v.data(), nullptr, nullptr, nullptr), 0);
  EXPECT_NEAR(v[0].real(), 120.0, 1e-12);
  for (int i = 1; i < 120; ++i) EXPECT_NEAR(std::abs(v[i]), 0.0, 1e-12) << i;
  node->destroy(node);

  // The choice stands for the process: an ordinary creation now runs on the
  // bump allocators too, and without buffers it gets no memory.
  orb_dft_handle h = nullptr;
  EXPECT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_COMPLEX, 1L, 16L), ORB_DFT_MEMORY_ERROR);
  EXPECT_EQ(h, nullptr);
}

}  // namespace
