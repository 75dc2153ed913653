// The signal-primitive layer as the descriptor layer calls it: the any-length
// door's routines for the six kinds, gathered by type into one template per
// kind so that the drivers are written once for float and double.
#pragma once

#include "frame/kernels_dft.hpp"

extern "C" {
#define ORB_KEPS_KIND(K, T)                                                                               \
  ORB_API int ORB_DFTK(kepsDFTGetSize_##K)(int length, int flag, int hint, int* spec_size, int* init_size, \
                                           int* buf_size);                                                \
  ORB_API int ORB_DFTK(kepsDFTInitAlloc_##K)(orb_keps_dft_spec * *spec, int length, int flag, int hint);  \
  ORB_API int ORB_DFTK(kepsDFTInit_##K)(int length, int flag, int hint, orb_keps_dft_spec* spec,          \
                                        unsigned char* init_buf);                                          \
  ORB_API int ORB_DFTK(kepsDFTFree_##K)(orb_keps_dft_spec * spec);                                         \
  ORB_API int ORB_DFTK(kepsDFTGetBufSize_##K)(const orb_keps_dft_spec* spec, int* size);
ORB_KEPS_KIND(C_32fc, float)
ORB_KEPS_KIND(C_64fc, double)
ORB_KEPS_KIND(C_32f, float)
ORB_KEPS_KIND(C_64f, double)
ORB_KEPS_KIND(R_32f, float)
ORB_KEPS_KIND(R_64f, double)
#undef ORB_KEPS_KIND

#define ORB_KEPS_CC(K, T)                                                                                      \
  ORB_API int ORB_DFTK(kepsDFTFwd_CToC_##K)(const T* src, T* dst, const orb_keps_dft_spec* spec,             \
                                            unsigned char* buf);                                              \
  ORB_API int ORB_DFTK(kepsDFTInv_CToC_##K)(const T* src, T* dst, const orb_keps_dft_spec* spec, unsigned char* buf);
ORB_KEPS_CC(C_32fc, float)
ORB_KEPS_CC(C_64fc, double)
#undef ORB_KEPS_CC
#define ORB_KEPS_SPLIT(K, T)                                                                            \
  ORB_API int ORB_DFTK(kepsDFTFwd_CToC_##K)(const T* src_re, const T* src_im, T* dst_re, T* dst_im,   \
                                            const orb_keps_dft_spec* spec, unsigned char* buf);       \
  ORB_API int ORB_DFTK(kepsDFTInv_CToC_##K)(const T* src_re, const T* src_im, T* dst_re, T* dst_im,   \
                                            const orb_keps_dft_spec* spec, unsigned char* buf);
ORB_KEPS_SPLIT(C_32f, float)
ORB_KEPS_SPLIT(C_64f, double)
#undef ORB_KEPS_SPLIT
#define ORB_KEPS_REAL(K, T, F)                                                                              \
  ORB_API int ORB_DFTK(kepsDFTFwd_RTo##F##_##K)(const T* src, T* dst, const orb_keps_dft_spec* spec,       \
                                                unsigned char* buf);                                        \
  ORB_API int ORB_DFTK(kepsDFTInv_##F##ToR_##K)(const T* src, T* dst, const orb_keps_dft_spec* spec, unsigned char* buf);
ORB_KEPS_REAL(R_32f, float, Perm)
ORB_KEPS_REAL(R_32f, float, Pack)
ORB_KEPS_REAL(R_32f, float, CCS)
ORB_KEPS_REAL(R_64f, double, Perm)
ORB_KEPS_REAL(R_64f, double, Pack)
ORB_KEPS_REAL(R_64f, double, CCS)
#undef ORB_KEPS_REAL
}

namespace orb::dft {

using spec_t = orb_keps_dft_spec;
using real_fn = int (*)(const void*, void*, const spec_t*, unsigned char*);

// One kind of the layer: its set-up routines and its transforms.
struct keps_kind {
  int (*get_size)(int, int, int, int*, int*, int*);
  int (*init_alloc)(spec_t**, int, int, int);
  int (*init)(int, int, int, spec_t*, unsigned char*);
  int (*free)(spec_t*);
  int (*get_buf_size)(const spec_t*, int*);
};

#define ORB_KEPS_KIND_ROW(K)                                                                             \
  keps_kind {                                                                                            \
    ORB_DFTK(kepsDFTGetSize_##K), ORB_DFTK(kepsDFTInitAlloc_##K), ORB_DFTK(kepsDFTInit_##K),             \
        ORB_DFTK(kepsDFTFree_##K), ORB_DFTK(kepsDFTGetBufSize_##K)                                       \
  }

// Kinds by index: 0 C_32fc, 1 C_64fc, 2 C_32f, 3 C_64f, 4 R_32f, 5 R_64f (the
// order of the node's spec_* fields).
enum { kC32fc, kC64fc, kC32f, kC64f, kR32f, kR64f, kKinds };
inline const keps_kind& kind(int k) {
  static const keps_kind table[kKinds] = {ORB_KEPS_KIND_ROW(C_32fc), ORB_KEPS_KIND_ROW(C_64fc),
                                          ORB_KEPS_KIND_ROW(C_32f),  ORB_KEPS_KIND_ROW(C_64f),
                                          ORB_KEPS_KIND_ROW(R_32f),  ORB_KEPS_KIND_ROW(R_64f)};
  return table[k];
}
#undef ORB_KEPS_KIND_ROW

// The transforms of one precision.
template <class T>
struct keps;
#define ORB_KEPS_TYPE(T, CC, SP, R)                                                                           \
  template <>                                                                                                 \
  struct keps<T> {                                                                                            \
    static constexpr int cc = kC##CC, split = kC##SP, real = kR##R;                                           \
    static int fwd(const T* s, T* d, const spec_t* p, unsigned char* b) {                                    \
      return ORB_DFTK(kepsDFTFwd_CToC_C_##CC)(s, d, p, b);                                                    \
    }                                                                                                         \
    static int inv(const T* s, T* d, const spec_t* p, unsigned char* b) {                                    \
      return ORB_DFTK(kepsDFTInv_CToC_C_##CC)(s, d, p, b);                                                    \
    }                                                                                                         \
    static int fwd(const T* sr, const T* si, T* dr, T* di, const spec_t* p, unsigned char* b) {              \
      return ORB_DFTK(kepsDFTFwd_CToC_C_##SP)(sr, si, dr, di, p, b);                                          \
    }                                                                                                         \
    static int inv(const T* sr, const T* si, T* dr, T* di, const spec_t* p, unsigned char* b) {              \
      return ORB_DFTK(kepsDFTInv_CToC_C_##SP)(sr, si, dr, di, p, b);                                          \
    }                                                                                                         \
    static constexpr int (*rfwd[3])(const T*, T*, const spec_t*, unsigned char*) = {                         \
        ORB_DFTK(kepsDFTFwd_RToCCS_R_##R), ORB_DFTK(kepsDFTFwd_RToPack_R_##R), ORB_DFTK(kepsDFTFwd_RToPerm_R_##R)}; \
    static constexpr int (*rinv_ccs)(const T*, T*, const spec_t*, unsigned char*) = ORB_DFTK(kepsDFTInv_CCSToR_R_##R); \
    static constexpr int (*rinv_perm)(const T*, T*, const spec_t*, unsigned char*) = ORB_DFTK(kepsDFTInv_PermToR_R_##R); \
  };
ORB_KEPS_TYPE(float, 32fc, 32f, 32f)
ORB_KEPS_TYPE(double, 64fc, 64f, 64f)
#undef ORB_KEPS_TYPE

}  // namespace orb::dft
