/* The service layer of liborb_core: memory, processor probes, settings,
   messages, locks, thread splitting, safe strings, mathematics and the
   bookkeeping of generated GEMM kernels. The kernel libraries reach the
   outside world only through these routines; programs may use them too. */
#ifndef ORB_SERVICE_H
#define ORB_SERVICE_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Memory. Release a block with the partner of the routine that gave it:
   allocate/deallocate for call-local scratch, malloc|calloc/free for
   objects that outlive a call, kepMalloc/kepFree in the signal layer. A
   null result means memory is out; nothing here aborts. The alignment is a
   power of two in bytes (0 means the default of 64). */
void* orb_serv_allocate(size_t bytes, int alignment);
void orb_serv_deallocate(void* p);
void* orb_serv_malloc(size_t bytes, int alignment);
void* orb_serv_calloc(size_t count, size_t element_size, int alignment);
void orb_serv_free(void* p);
void* orb_dft_kepMalloc(int bytes);
void orb_dft_kepFree(void* p);
/* 0 when p is usable; otherwise a warning naming the routine is reported
   (not by the _check_ptr form) and non-zero returned. */
int orb_serv_check_ptr_and_warn(const void* p, const char* routine);
int orb_serv_check_ptr(const void* p, const char* routine);

/* ---- Processor. Levels: 9 AVX-512 F/DQ/BW/VL, 8 AVX-512 F without the
   rest, 7 AVX2 with FMA, 6 AVX, 5 SSE4.2, 4 SSE4.1, 3 SSSE3, 2 SSE3,
   1 SSE2, 0 anything older. */
int orb_serv_cpu_detect(void);
int orb_serv_cpuistvl(void); /* AVX-512 with VNNI (second generation) */
int orb_serv_cpuisvsq(void); /* AVX-512 with VNNI, VBMI2 and BITALG (third) */
int orb_serv_cpuisnrd(void); /* AVX-512 with FP16 or AMX tiles (later) */
/* Cache size in bytes: selector 1, 2, 3 for that level's data cache;
   0 when unknown. */
int orb_serv_get_cache_size(int selector);

/* ---- Settings. 1 asks for the fastest path; other values ask for an
   order of accumulation that does not hang on alignment. */
int orb_serv_cbwr_get(int which);
int* orb_serv_verbose_mode(void);
double orb_serv_dsecnd(void);
void orb_serv_print_verbose_info(int kind, const char* text, double seconds);

/* ---- Errors and characters. */
void orb_serv_xerbla(const char* routine, const int* position, int routine_length);
int orb_serv_lsame(const char* a, const char* b, int la, int lb);
float orb_serv_s_sign(const float* a, const float* b);
double orb_serv_d_sign(const double* a, const double* b);
float orb_serv_int2f_ceil(const float* x);
double orb_serv_int2d_ceil(const double* x);

/* ---- Threads. A lock word starts as zero. */
void orb_serv_lock(volatile int* word);
void orb_serv_unlock(volatile int* word);
void orb_serv_thread_yield(void);
int orb_serv_divbythreads(const int* ithr, const int* nthr, const int* total, int* local);
int orb_serv_divbythreadsnb(const int* ithr, const int* nthr, const int* total, const int* block,
                            int* local);
/* Runs fn(thread, team_size, context) on a team and returns when all are done. */
void orb_conv_do_parallel(void (*fn)(int thread, int team_size, void* context), void* context);
void orb_pdepl_pl_get_max_thread(int* result, void* unused);
void orb_dft_bless_node_thr(void* node);

/* ---- Messages. */
const char* orb_serv_get_msg(int number, int nargs, ...);
void orb_serv_print(int stream, int number, int nargs, ...);
void orb_serv_format_print(int zero, const char* format, int nargs, ...);
int orb_serv_printf_s(const char* format, ...);
int orb_serv_fprintf_s(void* stream, const char* format, ...);
void* orb_serv_fopen(const char* name, const char* mode);
int orb_serv_fclose(void* stream);

/* ---- Safe strings: never write past the destination's size. */
int orb_serv_strncpy_s(char* dest, size_t dest_size, const char* src, size_t count);
int orb_serv_strncat_s(char* dest, size_t dest_size, const char* src, size_t count);
int orb_serv_sprintf_s(char* dest, size_t dest_size, const char* format, ...);
int orb_serv_snprintf_s(char* dest, size_t dest_size, size_t count, const char* format, ...);
char* orb_serv_sprintf_char_s(char* position, char* end, const char* format, ...);
int orb_serv_memmove_s(void* dest, size_t dest_size, const void* src, size_t count);
int orb_serv_memcpy_unbounded_s(void* dest, size_t dest_size, const void* src, size_t count);
void orb_serv_get_version_string_c(char* dest, int size);

/* ---- Mathematics: as the C library, the same on every thread. */
double orb_serv_libm_sin(double x);
double orb_serv_libm_cos(double x);
float orb_serv_libm_sinf(float x);
float orb_serv_libm_cosf(float x);
void orb_serv_libm_sincospi(double x, double* s, double* c);
void orb_serv_libm_sincospif(float x, float* s, float* c);

/* ---- Generated-kernel table: 4096 buckets, each a list whose links live
   in the entries themselves. */
void orb__blas_lock_total_jits(void);
void orb__blas_unlock_total_jits(void);
int orb__blas_get_total_jits(void);
void orb__blas_incr_number_jits(int bucket);
void orb__blas_read_lock_jit_hashtable(int bucket);
void orb__blas_read_unlock_jit_hashtable(int bucket);
void orb__blas_write_lock_jit_hashtable(int bucket);
void orb__blas_write_unlock_jit_hashtable(int bucket);
void orb__blas_read_no_lock_jit_hashtable(void** slot, int bucket);
void orb__blas_write_jit_hashtable(void* entry, int bucket);

/* ---- The kernel library in use. */
int orb_kernel_level(void);          /* level of the loaded kernel library */
const char* orb_kernel_library(void); /* its file name, such as "liborb_avx2.so.2" */

#ifdef __cplusplus
}
#endif

#endif
