/* Discrete Fourier transforms: a descriptor is created for a precision, a
   domain and lengths, configured with orb_dft_set_value, committed once and
   then applied any number of times.

   Conventions
   - Every call returns a long status (ORB_DFT_NO_ERROR, 0, on success);
     orb_dft_error_message gives its text. Nothing aborts; a failed call
     leaves no memory behind.
   - Forward: y[k] = fscale * sum_j x[j] exp(-2 pi i j k / N); backward the
     same with exp(+2 pi i j k / N) and bscale. Both scales start at 1, so
     forward then backward multiplies by N unless a scale is set (for
     example ORB_DFT_BACKWARD_SCALE = 1.0 / N). Several dimensions: the
     product of the one-dimensional transforms, N the product of lengths.
   - Lengths are given in C order: lengths[0] is the slowest dimension, the
     last one is contiguous by default. Lengths, strides and distances are
     long and must fit in 32 bits (else ORB_DFT_LENGTH_LIMIT or
     ORB_DFT_INVALID_CONFIGURATION).
   - Strides (ORB_DFT_INPUT_STRIDES, ...) are an array of dimension + 1
     longs: the offset of the first element, then the stride of each
     dimension in the order of the lengths, in elements (complex elements on
     a complex side, real elements on a real side). Distances are between
     the first elements of consecutive transforms of a batch
     (ORB_DFT_NUMBER_OF_TRANSFORMS). ORB_DFT_FWD_STRIDES / BWD_STRIDES and
     the FWD/BWD distances describe the forward domain and the backward
     domain whatever the direction, in place of input and output.
   - Complex data: interleaved (ORB_DFT_COMPLEX_COMPLEX, the default) or as
     separate real and imaginary arrays (ORB_DFT_COMPLEX_STORAGE =
     ORB_DFT_REAL_REAL). Compute takes the input then, out of place, the
     output: one pointer (in place, interleaved), two (out of place; or in
     place split: real then imaginary), four (out of place split: input
     real, input imaginary, output real, output imaginary).
   - Real transforms: the forward result of N reals is conjugate-even, so
     N/2 + 1 complex values X0 .. X(N/2) hold it. Layouts:
       CCE (ORB_DFT_CONJUGATE_EVEN_STORAGE = ORB_DFT_COMPLEX_COMPLEX, the
           default): N/2 + 1 complex values in a complex array;
       with ORB_DFT_CONJUGATE_EVEN_STORAGE = ORB_DFT_COMPLEX_REAL, a real
       array in ORB_DFT_PACKED_FORMAT (one dimension only):
       CCS:  R0, 0, R1, I1, ..., R(N/2), I(N/2)    (N + 2 reals; even N: the
             last imaginary part is 0);
       Pack: R0, R1, I1, R2, I2, ..., [R(N/2) for even N]   (N reals);
       Perm: even N: R0, R(N/2), R1, I1, ...; odd N: as Pack (N reals).
     Several dimensions: the last (contiguous) dimension is halved: the
     complex side holds N1 x ... x (Nd/2 + 1) values. Give the strides of
     both sides: for in place, the real side's row stride is twice the
     complex side's (real row 2 (Nd/2 + 1) reals); out of place, for example
     real strides {0, Nd, 1} and complex strides {0, Nd/2 + 1, 1} in rank 2,
     input strides for the forward and swapped for the backward, or
     ORB_DFT_FWD_STRIDES / ORB_DFT_BWD_STRIDES set once.
   - With ORB_VERBOSE on, commit and compute print the descriptor in one
     line, such as FFT(dcfo64,tLim=1,)desc:0x... (precision, domain,
     placement, lengths, and only what differs from the defaults). */
#ifndef ORB_DFT_H
#define ORB_DFT_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct orb_dft_descriptor* orb_dft_handle;

enum orb_dft_precision { ORB_DFT_SINGLE = 35, ORB_DFT_DOUBLE = 36 };
enum orb_dft_domain { ORB_DFT_COMPLEX = 32, ORB_DFT_REAL = 33 };

/* Keys. Value types: (l) long, (d) double, (a) array of long,
   (s) text; get takes a pointer to the same type. (r): read only. */
enum orb_dft_config_param {
  ORB_DFT_FORWARD_SCALE = 4,            /* (d) */
  ORB_DFT_BACKWARD_SCALE = 5,           /* (d) */
  ORB_DFT_CONJUGATE_EVEN_STORAGE = 10,  /* (l) COMPLEX_COMPLEX or COMPLEX_REAL */
  ORB_DFT_PLACEMENT = 11,               /* (l) INPLACE or NOT_INPLACE */
  ORB_DFT_PACKED_FORMAT = 21,           /* (l) CCS, PACK, PERM, CCE */
  ORB_DFT_NUMBER_OF_USER_THREADS = 26,  /* (l) above 1: the transform keeps to one thread */
  ORB_DFT_PRECISION = 101,              /* (l, r) */
  ORB_DFT_FORWARD_DOMAIN = 102,         /* (l, r) */
  ORB_DFT_DIMENSION = 103,              /* (l, r) */
  ORB_DFT_LENGTHS = 104,                /* (a, r) */
  ORB_DFT_NUMBER_OF_TRANSFORMS = 105,   /* (l) at least 1 */
  ORB_DFT_INPUT_DISTANCE = 106,         /* (l) */
  ORB_DFT_OUTPUT_DISTANCE = 107,        /* (l) */
  ORB_DFT_FWD_DISTANCE = 108,           /* (l) */
  ORB_DFT_BWD_DISTANCE = 109,           /* (l) */
  ORB_DFT_INPUT_STRIDES = 110,          /* (a) */
  ORB_DFT_OUTPUT_STRIDES = 111,         /* (a) */
  ORB_DFT_FWD_STRIDES = 112,            /* (a) */
  ORB_DFT_BWD_STRIDES = 113,            /* (a) */
  ORB_DFT_COMPLEX_STORAGE = 114,        /* (l) COMPLEX_COMPLEX or REAL_REAL */
  ORB_DFT_REAL_STORAGE = 115,           /* (l) REAL_REAL */
  ORB_DFT_WORKSPACE = 116,              /* (l) ALLOW, AVOID, NONE */
  ORB_DFT_ORDERING = 117,               /* (l) ORDERED */
  ORB_DFT_TRANSPOSE = 118,              /* (l) NONE */
  ORB_DFT_DESCRIPTOR_NAME = 119,        /* (s) up to 10 characters; get: a buffer of 11 */
  ORB_DFT_COMMIT_STATUS = 120,          /* (l, r) COMMITTED or UNCOMMITTED */
  ORB_DFT_VERSION = 121,                /* (s, r) get: a buffer of 199 */
  ORB_DFT_THREAD_LIMIT = 122,           /* (l) 0: the library's maximum */
  ORB_DFT_DESTROY_INPUT = 123           /* (l) ALLOW: a backward real transform may overwrite its input */
};

enum orb_dft_config_value {
  ORB_DFT_COMMITTED = 30,
  ORB_DFT_UNCOMMITTED = 31,
  ORB_DFT_COMPLEX_COMPLEX = 39,
  ORB_DFT_COMPLEX_REAL = 40,
  ORB_DFT_REAL_REAL = 42,
  ORB_DFT_INPLACE = 43,
  ORB_DFT_NOT_INPLACE = 44,
  ORB_DFT_ORDERED = 48,
  ORB_DFT_ALLOW = 51,
  ORB_DFT_AVOID = 52,
  ORB_DFT_NONE = 53,
  ORB_DFT_CCS_FORMAT = 54,
  ORB_DFT_PACK_FORMAT = 55,
  ORB_DFT_PERM_FORMAT = 56,
  ORB_DFT_CCE_FORMAT = 57
};

/* Status codes. */
enum orb_dft_status {
  ORB_DFT_NO_ERROR = 0,
  ORB_DFT_MEMORY_ERROR = 1,              /* memory ran out */
  ORB_DFT_INVALID_CONFIGURATION = 3,     /* bad argument or inconsistent configuration */
  ORB_DFT_UNIMPLEMENTED = 6,             /* a combination the library does not do */
  ORB_DFT_INTERNAL_ERROR = 7,
  ORB_DFT_LENGTH_LIMIT = 9,              /* a length past what the library handles */
  ORB_DFT_BAD_KEY = 10,                  /* a key that is not one of orb_dft_config_param */
  ORB_DFT_NOT_COMMITTED = 11             /* compute before a successful commit */
};

/* dimension 1: one long length; above 1: a const long * of lengths. */
long orb_dft_create_descriptor(orb_dft_handle* handle, enum orb_dft_precision precision,
                               enum orb_dft_domain domain, long dimension, ...);
long orb_dft_create_descriptor_1d(orb_dft_handle* handle, enum orb_dft_precision precision,
                                  enum orb_dft_domain domain, long length);
long orb_dft_create_descriptor_md(orb_dft_handle* handle, enum orb_dft_precision precision,
                                  enum orb_dft_domain domain, long dimension, const long* lengths);
long orb_dft_set_value(orb_dft_handle handle, enum orb_dft_config_param key, ...);
long orb_dft_get_value(orb_dft_handle handle, enum orb_dft_config_param key, ...);
long orb_dft_set_value_long(orb_dft_handle handle, enum orb_dft_config_param key, long value);
long orb_dft_set_value_double(orb_dft_handle handle, enum orb_dft_config_param key, double value);
long orb_dft_set_value_array(orb_dft_handle handle, enum orb_dft_config_param key, const long* values);
long orb_dft_set_value_string(orb_dft_handle handle, enum orb_dft_config_param key, const char* text);
long orb_dft_get_value_long(orb_dft_handle handle, enum orb_dft_config_param key, long* value);
long orb_dft_get_value_double(orb_dft_handle handle, enum orb_dft_config_param key, double* value);
long orb_dft_get_value_array(orb_dft_handle handle, enum orb_dft_config_param key, long* values);
long orb_dft_get_value_string(orb_dft_handle handle, enum orb_dft_config_param key, char* text);
long orb_dft_commit_descriptor(orb_dft_handle handle);
/* One to four data pointers as the placement and storage ask (see above). */
long orb_dft_compute_forward(orb_dft_handle handle, void* data, ...);
long orb_dft_compute_backward(orb_dft_handle handle, void* data, ...);
long orb_dft_compute_forward_ptrs(orb_dft_handle handle, void* a, void* b, void* c, void* d);
long orb_dft_compute_backward_ptrs(orb_dft_handle handle, void* a, void* b, void* c, void* d);
long orb_dft_copy_descriptor(orb_dft_handle source, orb_dft_handle* copy);
long orb_dft_free_descriptor(orb_dft_handle* handle);
const char* orb_dft_error_message(long status);
/* 1 when status belongs to the class (a status code; ORB_DFT_NO_ERROR for
   success), else 0. */
long orb_dft_error_class(long status, long error_class);

#ifdef __cplusplus
}
#endif

#endif
