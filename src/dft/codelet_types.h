/* The routine types of the DFT codelet tables (see src/frame/kernels_dft.def). */
#ifndef ORB_DFT_CODELET_TYPES_H
#define ORB_DFT_CODELET_TYPES_H

/* Interleaved: source, source stride, destination, destination stride, count. */
typedef void (*orb_dft_cdft_32fc_fn)(const float*, int, float*, int, int);
typedef void (*orb_dft_cdft_64fc_fn)(const double*, int, double*, int, int);
/* Fixed width: source, source stride, destination, destination stride. */
typedef void (*orb_dft_vl_32fc_fn)(const float*, int, float*, int);
typedef void (*orb_dft_vl_64fc_fn)(const double*, int, double*, int);
/* Split: real and imaginary source, source stride, real and imaginary
   destination, count, destination stride. */
typedef void (*orb_dft_crdft_32f_fn)(const float*, const float*, int, float*, float*, int, int);
typedef void (*orb_dft_crdft_64f_fn)(const double*, const double*, int, double*, double*, int, int);
/* One scaled transform: source, destination, address of the scale. */
typedef void (*orb_dft_smallradix_64fc_fn)(const double*, double*, const double*);

#endif
