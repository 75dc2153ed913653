/* GEMM with a stored packed A: pack op(A) once, multiply it by many B.

   C := alpha op(A) op(B) + beta C, where alpha op(A) is packed once into
   memory the library keeps, and each compute call reads that instead of
   packing A again. This pays when one A meets many B (a sequence of
   right-hand sides, the steps of an iteration, blocks of a larger B).

   Life of a store:

     orb_gemm_pack* p;
     orb_dgemm_pack_create(&p, 'N', m, k);              sizes of op(A)
     orb_dgemm_pack(p, 'N', m, k, alpha, a, lda);        packs alpha op(A)
     orb_dgemm_pack_compute(p, 'N', 'N', m, n, k,        C := alpha op(A) op(B)
                            a, lda, b, ldb, beta, c, ldc);     + beta C
     ... more compute calls, other B and C ...
     orb_dgemm_pack_release(p);                           forget the packed A
     orb_dgemm_pack_destroy(p);                           free everything

   The A given to a compute call names the packed matrix: it must be the
   address that was packed (with the same transa, m, k and lda), or the
   start of a block of its rows that begins on a multiple of the register
   tile (16 rows for s, 8 for d and c, 4 for z) and runs to the last row.
   The alpha is the one given to pack; compute takes none. Any other A, a
   store that is not packed, or a store that cannot get memory for B is not
   an error: the call computes the plain GEMM on the arguments it was given,
   with the alpha of the last pack (1 when there was none), and returns 1.
   A return of 0 means the packed A was used. The numbers are right either
   way, though the two ways may differ in the last bits.

   Threads. Any number of threads may run compute calls on one store at
   once; pack and release wait until running computes have finished, and a
   compute waits while a pack is running. destroy must not overlap any
   other call on the store.

   Team stores. orb_?gemm_pack_create_team makes a store whose pack and
   compute calls run on a team of the library's threads (nthreads of them;
   0 means orb_get_max_threads()): the rows of A are packed by all members,
   and each B panel is packed once and shared by the team. Inside a team
   store calls from several threads of the program are serialised. Team
   stores and plain stores have the same calls otherwise.

   All routines return 0 on success, 1 when they fell back to a plain
   computation (compute only) or could not do their work, and -1 for a null
   or mismatched store (a store of another type, or an illegal argument). */
#ifndef ORB_GEMM_PACK_H
#define ORB_GEMM_PACK_H

#include "orb/orb_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct orb_gemm_pack orb_gemm_pack;

/* ---- Single precision */
int orb_sgemm_pack_create(orb_gemm_pack** store, char transa, int m, int k);
int orb_sgemm_pack_create_team(orb_gemm_pack** store, char transa, int m, int k, int nthreads);
int orb_sgemm_pack(orb_gemm_pack* store, char transa, int m, int k, float alpha, const float* a, int lda);
int orb_sgemm_pack_compute(orb_gemm_pack* store, char transa, char transb, int m, int n, int k, const float* a,
                           int lda, const float* b, int ldb, float beta, float* c, int ldc);
int orb_sgemm_pack_release(orb_gemm_pack* store);
int orb_sgemm_pack_destroy(orb_gemm_pack* store);

/* ---- Double precision */
int orb_dgemm_pack_create(orb_gemm_pack** store, char transa, int m, int k);
int orb_dgemm_pack_create_team(orb_gemm_pack** store, char transa, int m, int k, int nthreads);
int orb_dgemm_pack(orb_gemm_pack* store, char transa, int m, int k, double alpha, const double* a, int lda);
int orb_dgemm_pack_compute(orb_gemm_pack* store, char transa, char transb, int m, int n, int k, const double* a,
                           int lda, const double* b, int ldb, double beta, double* c, int ldc);
int orb_dgemm_pack_release(orb_gemm_pack* store);
int orb_dgemm_pack_destroy(orb_gemm_pack* store);

/* ---- Single complex: scalars by address */
int orb_cgemm_pack_create(orb_gemm_pack** store, char transa, int m, int k);
int orb_cgemm_pack_create_team(orb_gemm_pack** store, char transa, int m, int k, int nthreads);
int orb_cgemm_pack(orb_gemm_pack* store, char transa, int m, int k, const orb_complex8* alpha,
                   const orb_complex8* a, int lda);
int orb_cgemm_pack_compute(orb_gemm_pack* store, char transa, char transb, int m, int n, int k,
                           const orb_complex8* a, int lda, const orb_complex8* b, int ldb,
                           const orb_complex8* beta, orb_complex8* c, int ldc);
int orb_cgemm_pack_release(orb_gemm_pack* store);
int orb_cgemm_pack_destroy(orb_gemm_pack* store);

/* ---- Double complex: scalars by address */
int orb_zgemm_pack_create(orb_gemm_pack** store, char transa, int m, int k);
int orb_zgemm_pack_create_team(orb_gemm_pack** store, char transa, int m, int k, int nthreads);
int orb_zgemm_pack(orb_gemm_pack* store, char transa, int m, int k, const orb_complex16* alpha,
                   const orb_complex16* a, int lda);
int orb_zgemm_pack_compute(orb_gemm_pack* store, char transa, char transb, int m, int n, int k,
                           const orb_complex16* a, int lda, const orb_complex16* b, int ldb,
                           const orb_complex16* beta, orb_complex16* c, int ldc);
int orb_zgemm_pack_release(orb_gemm_pack* store);
int orb_zgemm_pack_destroy(orb_gemm_pack* store);

#ifdef __cplusplus
}
#endif

#endif
