/* Scalar types shared by every orb header. */
#ifndef ORB_TYPES_H
#define ORB_TYPES_H

#ifdef __cplusplus
extern "C" {
#endif

/* Complex numbers are interleaved (real, imaginary) pairs. A program may
   pass std::complex or C99 _Complex arrays: the layout is the same. */
typedef struct orb_complex8 {
  float re, im;
} orb_complex8;

typedef struct orb_complex16 {
  double re, im;
} orb_complex16;

#ifdef __cplusplus
}
#endif

#endif
