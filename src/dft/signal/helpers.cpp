// The signal layer's helpers: fill, copy, memory, products, conjugates, and
// the radix sorts. One template per operation; the exported names come from
// the list in frame/kernels_dft.def through the macros at the end.
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/kernels_dft.hpp"
#include "frame/simd.hpp"
#include "orb/orb_service.h"

namespace orb::dft::keps {
namespace {

enum : int { kOk = 0, kSize = -6, kNull = -8, kMem = -9 };

template <class T>
int set(T val, T* dst, int len) {
  if (!dst) return kNull;
  if (len < 1) return kSize;
  for (int i = 0; i < len; ++i) dst[i] = val;
  return kOk;
}
template <class T, class V>
int set_c(V val, T* dst, int len) {
  if (!dst) return kNull;
  if (len < 1) return kSize;
  for (int i = 0; i < len; ++i) dst[2 * i] = val.re, dst[2 * i + 1] = val.im;
  return kOk;
}
template <class T>
int zero(T* dst, int len, int width) {
  if (!dst) return kNull;
  if (len < 1) return kSize;
  std::memset(dst, 0, std::size_t(len) * width * sizeof(T));
  return kOk;
}
template <class T>
int copy(const T* src, T* dst, int len, int width) {
  if (!src || !dst) return kNull;
  if (len < 1) return kSize;
  std::memmove(dst, src, std::size_t(len) * width * sizeof(T));
  return kOk;
}
template <class T>
T* alloc(int len, int width) {
  if (len < 1) return nullptr;
  return static_cast<T*>(orb_serv_allocate(std::size_t(len) * width * sizeof(T), 64));
}

// Element-wise real products on the logical vector.
template <class T>
int mul(const T* a, const T* b, T* dst, int len) {
  using V = simd::vec<T>;
  if (!a || !b || !dst) return kNull;
  if (len < 1) return kSize;
  int i = 0;
  for (; i + V::N <= len; i += V::N) (V::loadu(a + i) * V::loadu(b + i)).storeu(dst + i);
  if (i < len) (V::load_mask(a + i, len - i) * V::load_mask(b + i, len - i)).store_mask(dst + i, len - i);
  return kOk;
}
template <class T>
int mul_c(const T* a, const T* b, T* dst, int len) {
  if (!a || !b || !dst) return kNull;
  if (len < 1) return kSize;
  for (int i = 0; i < len; ++i) {
    const T ar = a[2 * i], ai = a[2 * i + 1], br = b[2 * i], bi = b[2 * i + 1];
    dst[2 * i] = ar * br - ai * bi;
    dst[2 * i + 1] = ar * bi + ai * br;
  }
  return kOk;
}
template <class T>
int mulc(const T* src, T val, T* dst, int len) {
  using V = simd::vec<T>;
  if (!src || !dst) return kNull;
  if (len < 1) return kSize;
  const V v = V::set1(val);
  int i = 0;
  for (; i + V::N <= len; i += V::N) (V::loadu(src + i) * v).storeu(dst + i);
  if (i < len) (V::load_mask(src + i, len - i) * v).store_mask(dst + i, len - i);
  return kOk;
}
template <class T, class C>
int mulc_c(const T* src, C val, T* dst, int len) {
  if (!src || !dst) return kNull;
  if (len < 1) return kSize;
  for (int i = 0; i < len; ++i) {
    const T ar = src[2 * i], ai = src[2 * i + 1];
    dst[2 * i] = ar * val.re - ai * val.im;
    dst[2 * i + 1] = ar * val.im + ai * val.re;
  }
  return kOk;
}
template <class T>
int conj(const T* src, T* dst, int len) {
  if (!src || !dst) return kNull;
  if (len < 1) return kSize;
  for (int i = 0; i < len; ++i) dst[2 * i] = src[2 * i], dst[2 * i + 1] = -src[2 * i + 1];
  return kOk;
}

// ------------------------------------------------------------ radix sorts
// Keys as unsigned integers whose order is the values' order: signed
// integers with the sign bit flipped, floats with every bit flipped when
// negative and the sign bit flipped otherwise. Descending order sorts the
// complemented keys.
template <class T>
using key_t = std::conditional_t<sizeof(T) == 2, std::uint16_t, std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>;

template <class T>
key_t<T> key_of(T v, bool descend) {
  using K = key_t<T>;
  K k;
  std::memcpy(&k, &v, sizeof k);
  constexpr K top = K(K(1) << (8 * sizeof(K) - 1));
  if constexpr (std::is_floating_point_v<T>) k = (k & top) ? K(~k) : K(k | top);
  else if constexpr (std::is_signed_v<T>) k = K(k ^ top);
  return descend ? K(~k) : k;
}

template <class T>
int sort_values(T* data, int len, unsigned char* buf, bool descend) {
  using K = key_t<T>;
  if (!data) return kNull;
  if (len < 1) return kSize;
  unsigned char* own = nullptr;
  const std::size_t need = std::size_t(len) * sizeof(K);
  if (!buf) {
    own = static_cast<unsigned char*>(orb_serv_allocate(need, 64));
    if (!own) return kMem;
    buf = own;
  }
  // buf holds the keys; the caller's array is their scratch.
  K* a = reinterpret_cast<K*>(buf);
  K* b = reinterpret_cast<K*>(data);
  for (int i = 0; i < len; ++i) a[i] = key_of(data[i], descend);
  for (unsigned shift = 0; shift < 8 * sizeof(K); shift += 8) {
    std::size_t count[257] = {};
    for (int i = 0; i < len; ++i) ++count[((a[i] >> shift) & 0xff) + 1];
    if (count[1 + ((a[0] >> shift) & 0xff)] == std::size_t(len)) continue;
    for (int d = 0; d < 256; ++d) count[d + 1] += count[d];
    for (int i = 0; i < len; ++i) b[count[(a[i] >> shift) & 0xff]++] = a[i];
    std::swap(a, b);
  }
  // Back from keys to values, in the caller's array.
  K* keys = a;
  for (int i = 0; i < len; ++i) {
    K k = descend ? K(~keys[i]) : keys[i];
    constexpr K top = K(K(1) << (8 * sizeof(K) - 1));
    if constexpr (std::is_floating_point_v<T>) k = (k & top) ? K(k & ~top) : K(~k);
    else if constexpr (std::is_signed_v<T>) k = K(k ^ top);
    std::memcpy(data + i, &k, sizeof k);  // keys == data or keys == buf: element i read before written
  }
  if (own) orb_serv_deallocate(own);
  return kOk;
}

template <class T>
int sort_index(const T* src, int stride, int* index, int len, unsigned char* buf, bool descend) {
  using K = key_t<T>;
  if (!src || !index) return kNull;
  if (len < 1 || stride < int(sizeof(T))) return kSize;
  unsigned char* own = nullptr;
  const std::size_t need = 2 * std::size_t(len) * (sizeof(K) + sizeof(int)) + 64;
  if (!buf) {
    own = static_cast<unsigned char*>(orb_serv_allocate(need, 64));
    if (!own) return kMem;
    buf = own;
  }
  K* k0 = reinterpret_cast<K*>(buf);
  K* k1 = k0 + len;
  int* p1 = reinterpret_cast<int*>(k1 + len);
  for (int i = 0; i < len; ++i) {
    T v;
    std::memcpy(&v, reinterpret_cast<const unsigned char*>(src) + std::size_t(i) * stride, sizeof v);
    k0[i] = key_of(v, descend);
    index[i] = i;
  }
  K* ka = k0;
  K* kb = k1;
  int* pa = index;
  int* pb = p1;
  for (unsigned shift = 0; shift < 8 * sizeof(K); shift += 8) {
    std::size_t count[257] = {};
    for (int i = 0; i < len; ++i) ++count[((ka[i] >> shift) & 0xff) + 1];
    if (count[1 + ((ka[0] >> shift) & 0xff)] == std::size_t(len)) continue;
    for (int d = 0; d < 256; ++d) count[d + 1] += count[d];
    for (int i = 0; i < len; ++i) {
      const std::size_t at = count[(ka[i] >> shift) & 0xff]++;
      kb[at] = ka[i];
      pb[at] = pa[i];
    }
    std::swap(ka, kb);
    std::swap(pa, pb);
  }
  if (pa != index) std::memcpy(index, pa, std::size_t(len) * sizeof(int));
  if (own) orb_serv_deallocate(own);
  return kOk;
}

}  // namespace
}  // namespace orb::dft::keps

namespace k = orb::dft::keps;

#define ORB_KEPS_REAL_HELPERS(S, T)                                                                     \
  int ORB_DFTK(kepsSet_##S)(T val, T * dst, int len) { return k::set(val, dst, len); }                  \
  int ORB_DFTK(kepsZero_##S)(T * dst, int len) { return k::zero(dst, len, 1); }                         \
  int ORB_DFTK(kepsCopy_##S)(const T* src, T* dst, int len) { return k::copy(src, dst, len, 1); }       \
  T* ORB_DFTK(kepsMalloc_##S)(int len) { return k::alloc<T>(len, 1); }                                  \
  int ORB_DFTK(kepsMul_##S)(const T* a, const T* b, T* dst, int len) { return k::mul(a, b, dst, len); } \
  int ORB_DFTK(kepsMul_##S##_I)(const T* src, T* srcdst, int len) { return k::mul(src, srcdst, srcdst, len); } \
  int ORB_DFTK(kepsMulC_##S)(const T* src, T val, T* dst, int len) { return k::mulc(src, val, dst, len); } \
  int ORB_DFTK(kepsMulC_##S##_I)(T val, T * srcdst, int len) { return k::mulc(srcdst, val, srcdst, len); }

#define ORB_KEPS_COMPLEX_HELPERS(S, T, V)                                                                 \
  int ORB_DFTK(kepsSet_##S)(V val, T * dst, int len) { return k::set_c(val, dst, len); }                  \
  int ORB_DFTK(kepsZero_##S)(T * dst, int len) { return k::zero(dst, len, 2); }                           \
  int ORB_DFTK(kepsCopy_##S)(const T* src, T* dst, int len) { return k::copy(src, dst, len, 2); }         \
  T* ORB_DFTK(kepsMalloc_##S)(int len) { return k::alloc<T>(len, 2); }                                    \
  int ORB_DFTK(kepsMul_##S)(const T* a, const T* b, T* dst, int len) { return k::mul_c(a, b, dst, len); } \
  int ORB_DFTK(kepsMul_##S##_I)(const T* src, T* srcdst, int len) { return k::mul_c(src, srcdst, srcdst, len); } \
  int ORB_DFTK(kepsMulC_##S)(const T* src, V val, T* dst, int len) { return k::mulc_c(src, val, dst, len); } \
  int ORB_DFTK(kepsMulC_##S##_I)(V val, T * srcdst, int len) { return k::mulc_c(srcdst, val, srcdst, len); } \
  int ORB_DFTK(kepsConj_##S)(const T* src, T* dst, int len) { return k::conj(src, dst, len); }

ORB_KEPS_REAL_HELPERS(32f, float)
ORB_KEPS_REAL_HELPERS(64f, double)
ORB_KEPS_COMPLEX_HELPERS(32fc, float, orb_keps_32fc)
ORB_KEPS_COMPLEX_HELPERS(64fc, double, orb_keps_64fc)

int ORB_DFTK(kepsZero_8u)(unsigned char* dst, int len) { return k::zero(dst, len, 1); }
int ORB_DFTK(kepsCopy_8u)(const unsigned char* src, unsigned char* dst, int len) { return k::copy(src, dst, len, 1); }
unsigned char* ORB_DFTK(kepsMalloc_8u)(int len) { return k::alloc<unsigned char>(len, 1); }
void ORB_DFTK(kepsFree)(void* ptr) {
  if (ptr) orb_serv_deallocate(ptr);
}

#define ORB_KEPS_SORTS(S, T)                                                                              \
  int ORB_DFTK(kepsSortRadixAscend_##S##_I)(T * d, int len, unsigned char* buf) {                         \
    return k::sort_values(d, len, buf, false);                                                            \
  }                                                                                                       \
  int ORB_DFTK(kepsSortRadixDescend_##S##_I)(T * d, int len, unsigned char* buf) {                        \
    return k::sort_values(d, len, buf, true);                                                             \
  }                                                                                                       \
  int ORB_DFTK(kepsSortRadixIndexAscend_##S)(const T* src, int stride, int* index, int len, unsigned char* buf) { \
    return k::sort_index(src, stride, index, len, buf, false);                                            \
  }                                                                                                       \
  int ORB_DFTK(kepsSortRadixIndexDescend_##S)(const T* src, int stride, int* index, int len, unsigned char* buf) { \
    return k::sort_index(src, stride, index, len, buf, true);                                             \
  }

ORB_KEPS_SORTS(16s, short)
ORB_KEPS_SORTS(16u, unsigned short)
ORB_KEPS_SORTS(32s, int)
ORB_KEPS_SORTS(32u, unsigned int)
ORB_KEPS_SORTS(32f, float)
ORB_KEPS_SORTS(64s, long long)
ORB_KEPS_SORTS(64u, unsigned long long)
ORB_KEPS_SORTS(64f, double)
