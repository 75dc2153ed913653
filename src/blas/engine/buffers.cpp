// Panel memory of a call: block sizes, the size of the one allocation, and
// where the A and B panels lie in it. The panels start 1664 (A) and 768 (B)
// bytes into a page, so that they do not fall on the same cache sets.
#include "blas/engine/engine.hpp"

namespace orb::engine {
namespace {

constexpr std::uintptr_t kPage = 4096;

inline std::uintptr_t page_align(std::uintptr_t p) { return (p + kPage - 1) & ~(kPage - 1); }
inline std::uintptr_t addr(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }
inline void* ptr(std::uintptr_t a) { return reinterpret_cast<void*>(a); }

// K block: long K is cut in halves up to 768, in blocks of 384 beyond.
inline int k_block_for(int K, int unroll_k) {
  if (K > 384) return K < 768 ? round_up((K + 1) / 2, unroll_k) : 384;
  const int kb = round_up(K, unroll_k);
  return kb < 128 ? 128 : kb;
}

inline int clamp_block(int size, int unroll, int cap) {
  int b = size > unroll ? size : unroll;
  if (b > cap) b = cap;
  return round_up(b, unroll);
}

void panel_view(blas_matrix* v, int kb, int cols, int width, int elem) {
  v->base = nullptr;
  v->rows = kb;
  v->cols = cols;
  v->ld = width * kb;
  v->pack_unit = 1;
  v->pack_width = width;
  v->rows_total = kb;
  v->elem_size = elem;
  v->flags = flag_packed;
  v->at = getPointer_buffer;
}

template <class T> int get_bufs(gemm_buffers* b);
template <class T> std::size_t get_size_bufs(gemm_buffers* b);
template <class T> int get_bufs_pack(gemm_buffers* b);
template <class T> void set_bufs_pack(void* address, gemm_buffers* b);
void free_bufs(gemm_buffers* b);
template <class T> int m_block_cap();

template <class T>
void fill_buffers(int M, int N, const gemm_strategy* s, int kb, int nb_cap, gemm_buffers* buf) {
  const int e = int(sizeof(T));
  *buf = gemm_buffers{};
  buf->k_block = kb;
  buf->m_block = clamp_block(M, s->unroll_m, m_block_cap<T>());
  buf->n_block = clamp_block(N, s->unroll_n, nb_cap);
  buf->a_offset = 1664;
  buf->a_align = 4096;
  buf->b_offset = 768;
  buf->b_align = 4096;
  buf->copies = 1;
  buf->mode = s->copy_mode == 4 ? 2 : 3;
  panel_view(&buf->a_panel, kb, buf->m_block, s->unroll_m, e);
  panel_view(&buf->b_panel, kb, buf->n_block, s->unroll_n, e);
  if (s->pack_mode == 2) {
    buf->get_size = get_size_bufs<T>;
    buf->get_bufs = get_bufs_pack<T>;
    buf->set_bufs = set_bufs_pack<T>;
  } else {
    buf->get_size = nullptr;
    buf->get_bufs = get_bufs<T>;
    buf->set_bufs = nullptr;
  }
  buf->free_bufs = free_bufs;
}

template <class T>
int get_bufs(gemm_buffers* b) {
  const std::size_t e = sizeof(T);
  const std::size_t mb = std::size_t(b->m_block), nb = std::size_t(b->n_block), kb = std::size_t(b->k_block);
  switch (b->mode) {
    case 3: {
      b->block = orb_serv_allocate((mb + nb) * kb * e + 18816, 128);
      if (!b->block) return 0;
      const std::uintptr_t p = page_align(addr(b->block));
      b->b_panel.base = ptr(p + 768);
      b->a_panel.base = ptr(page_align(p + 768 + nb * kb * e) + 1664);
      return 0;
    }
    case 1:
      b->block = orb_serv_allocate(mb * e * kb + 9856, 128);
      if (b->block) b->a_panel.base = ptr(page_align(addr(b->block)) + 1664);
      return 0;
    case 2:
      b->block = orb_serv_allocate(kb * e * nb + 8960, 128);
      if (b->block) b->b_panel.base = ptr(page_align(addr(b->block)) + 768);
      return 0;
    case 4:
      b->block = orb_serv_allocate((kb * e * nb + 8960) * std::size_t(b->copies) + 8192, 128);
      if (b->block) b->b_panel.base = ptr(page_align(addr(b->block)));
      return 0;
    default:
      return 1;
  }
}

template <class T>
std::size_t get_size_bufs(gemm_buffers* b) {
  const std::size_t e = sizeof(T);
  const std::size_t mb = std::size_t(b->m_block), nb = std::size_t(b->n_block), kb = std::size_t(b->k_block);
  switch (b->mode) {
    case 1: return mb * e * kb + 14080;
    case 2: return kb * e * nb + 13184;
    case 3:
      b->a_panel.base = nullptr;
      b->b_panel.base = nullptr;
      return 0;
    case 4:
      b->b_align = 4096;
      return (kb * e * nb + 8960) * std::size_t(b->copies) + 8320;
    case 5:
      b->a_align = 4096;
      return (mb * e * kb + 9856) * std::size_t(b->copies) + 8320;
    default: return 0;
  }
}

template <class T>
int get_bufs_pack(gemm_buffers* b) {
  if (b->mode < 1 || b->mode > 5) return 1;
  const std::size_t size = b->get_size ? b->get_size(b) : get_size_bufs<T>(b);
  if (b->mode == 3) {
    b->a_panel.base = nullptr;
    b->b_panel.base = nullptr;
    return 0;
  }
  if (b->mode == 4) b->b_align = 4096;
  if (b->mode == 5) b->a_align = 4096;
  void* p = orb_serv_allocate(size, 128);
  if (!p) {
    b->block = nullptr;
    return 0;
  }
  if (b->mode == 4 || b->mode == 5) b->block = p;
  b->set_bufs ? b->set_bufs(p, b) : set_bufs_pack<T>(p, b);
  if (b->mode == 1 || b->mode == 2) {
    std::int32_t* h = static_cast<std::int32_t*>(b->header);
    h[1] = b->m_block;
    h[2] = b->n_block;
    h[3] = b->k_block;
    h[10] = 0;
    h[11] = -1;
    h[20] = 2;
  }
  return 0;
}

template <class T>
void set_bufs_pack(void* address, gemm_buffers* b) {
  if (b->mode != 4 && b->mode != 5) {
    address = ptr((addr(address) + 127) & ~std::uintptr_t(127));
    b->block = address;
  }
  const std::uintptr_t page = page_align(addr(address) + 4096);
  switch (b->mode) {
    case 1:
      b->header = address;
      b->a_panel.base = ptr(page + 1664);
      *static_cast<std::int32_t*>(address) = std::int32_t((page + 1664 - addr(address)) / 8);
      break;
    case 2:
      b->header = address;
      b->b_panel.base = ptr(page + 768);
      *static_cast<std::int32_t*>(address) = std::int32_t((page + 768 - addr(address)) / 8);
      break;
    case 3:
      b->a_panel.base = nullptr;
      b->b_panel.base = nullptr;
      break;
    case 4:
      b->b_align = 4096;
      b->b_panel.base = ptr(page_align(addr(b->block)));
      break;
    case 5:
      b->a_align = 4096;
      b->a_panel.base = ptr(page_align(addr(b->block)));
      break;
    default: break;
  }
}

void free_bufs(gemm_buffers* b) {
  if (b->block) orb_serv_deallocate(b->block);
  b->block = nullptr;
}

// The N block from this processor's second-level cache: the packed B block
// of the largest K block takes 9/16 of it, leaving room for the register
// tile's A strips and C (192 doubles on 1 MiB, 96 on 512 KiB, 384 on 2 MiB).
// Where the size is unknown, or the cache out of the usual range, the block
// for 1 MiB stands. The K block never follows the caches: it decides how
// each element's sum is cut, so it stays as it is and no bit moves.
template <class T>
int n_block_cap() {
  using G = gemm_traits<T>;
  static const int cap = [] {
    const std::int64_t l2 = orb_serv_get_cache_size(2);
    if (l2 < (256 << 10) || l2 > (8 << 20)) return G::n_block_max;
    int nb = int(l2 * 9 / 16 / (384 * std::int64_t(sizeof(T))));
    nb = nb / G::unroll_n * G::unroll_n;
    return nb < G::n_block_max / 4 ? G::n_block_max / 4 : nb > G::n_block_max * 4 ? G::n_block_max * 4 : nb;
  }();
  return cap;
}

// The M block from the last-level cache: the packed A block of the largest
// K block takes half of it, at most the type's fixed limit (in 16 MiB).
template <class T>
int m_block_cap() {
  using G = gemm_traits<T>;
  static const int cap = [] {
    const std::int64_t llc = orb_serv_get_cache_size(0);
    const int step = G::unroll_m * kTileStrips;
    if (llc < (1 << 20)) return G::m_block_max;
    int mb = int(llc / 2 / (384 * std::int64_t(sizeof(T))));
    mb = mb / step * step;
    return mb < 8 * step ? 8 * step : mb > G::m_block_max ? G::m_block_max : mb;
  }();
  return cap;
}

}  // namespace

template <class T>
void initialize_buffers(const blas_matrix* a, const blas_matrix* b, const gemm_strategy* s, gemm_buffers* buf) {
  const int K = a->cols, M = a->rows, N = b->cols;
  const int kb = k_block_for(K, s->unroll_k > 0 ? s->unroll_k : 1);
  fill_buffers<T>(M, N, s, kb, K >= 48 ? n_block_cap<T>() : 24, buf);
}

template <class T>
void trxm_initialize_buffers(int right, const blas_matrix* a, const blas_matrix* b, const gemm_strategy* s,
                             gemm_buffers* buf) {
  const int K = a->cols, M = a->rows, N = b->cols;
  const int uk = s->unroll_k > 0 ? s->unroll_k : 1;
  int kb;
  if (K > 384) kb = K < 768 ? round_up(K / 2, uk) : 384;
  else kb = round_up(K, uk) < 128 ? 128 : round_up(K, uk);
  kb = round_up(kb, right ? s->unroll_n : s->unroll_m);
  fill_buffers<T>(M, N, s, kb, K >= 48 ? n_block_cap<T>() : kb, buf);
  buf->get_size = nullptr;
  buf->get_bufs = get_bufs<T>;
  buf->set_bufs = nullptr;
}

#define ORB_INST(T)                                                                                           \
  template void initialize_buffers<T>(const blas_matrix*, const blas_matrix*, const gemm_strategy*,           \
                                      gemm_buffers*);                                                         \
  template void trxm_initialize_buffers<T>(int, const blas_matrix*, const blas_matrix*, const gemm_strategy*, \
                                           gemm_buffers*);
ORB_INST(float)
ORB_INST(double)
ORB_INST(orb_complex8)
ORB_INST(orb_complex16)
#undef ORB_INST

}  // namespace orb::engine

using namespace orb::engine;

#define ORB_BUFFER_EXPORTS(T, t)                                                                              \
  ORB_API void ORB_BLAS(t##gemm_initialize_buffers)(const blas_matrix* a, const blas_matrix* b,               \
                                                    const gemm_strategy* s, gemm_buffers* buf) {              \
    initialize_buffers<T>(a, b, s, buf);                                                                      \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trxm_initialize_buffers)(int right, const blas_matrix* a, const blas_matrix* b,    \
                                                    const gemm_strategy* s, gemm_buffers* buf) {              \
    trxm_initialize_buffers<T>(right, a, b, s, buf);                                                          \
  }                                                                                                           \
  ORB_API int ORB_BLAS(t##gemm_get_bufs)(gemm_buffers * b) { return get_bufs<T>(b); }                         \
  ORB_API std::size_t ORB_BLAS(t##gemm_get_size_bufs)(gemm_buffers * b) { return get_size_bufs<T>(b); }       \
  ORB_API int ORB_BLAS(t##gemm_get_bufs_pack)(gemm_buffers * b) { return get_bufs_pack<T>(b); }               \
  ORB_API void ORB_BLAS(t##gemm_set_bufs_pack)(void* address, gemm_buffers* b) { set_bufs_pack<T>(address, b); } \
  ORB_API void ORB_BLAS(t##gemm_free_bufs)(gemm_buffers * b) { free_bufs(b); }

ORB_BUFFER_EXPORTS(float, s)
ORB_BUFFER_EXPORTS(double, d)
ORB_BUFFER_EXPORTS(orb_complex8, c)
ORB_BUFFER_EXPORTS(orb_complex16, z)
