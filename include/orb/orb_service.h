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
/* Cache size in bytes: selector 1, 2, 3 for the data (or unified) cache
   of that level, 0 for the last level the processor has; 0 when unknown or
   for any other selector. */
int orb_serv_get_cache_size(int selector);

/* ---- Settings, read from the environment once per process.
   orb_serv_cbwr_get: 1 lets the caller take its fastest path; 2 asks for an
   order of accumulation that does not hang on alignment. ORB_CBWR unset,
   empty, "auto", "fast" or "1" gives 1; any other value gives 2.
   orb_serv_verbose_mode: address of the process-wide verbose switch (0 off,
   1 on), first taken from ORB_VERBOSE ("1", "on", "yes", "true" turn it on);
   programs may write to it.
   orb_serv_dsecnd: seconds on a monotonic clock; only differences mean
   anything. orb_serv_print_verbose_info: one line on stdout,
   "orb_verbose: <text> <time>". */
int orb_serv_cbwr_get(int which);
int* orb_serv_verbose_mode(void);
double orb_serv_dsecnd(void);
void orb_serv_print_verbose_info(int kind, const char* text, double seconds);

/* ---- Errors and characters. orb_serv_xerbla reports through the
   Fortran-convention xerbla_(name, &position, name_length); the core has a
   default that prints a line on stderr and returns, and a program's own
   xerbla_ takes its place. The core also has the Fortran lsame_ and a
   returning default cblas_xerbla(p, routine, form, ...). */
void orb_serv_xerbla(const char* routine, const int* position, int routine_length);
int orb_serv_lsame(const char* a, const char* b, int la, int lb);
float orb_serv_s_sign(const float* a, const float* b);
double orb_serv_d_sign(const double* a, const double* b);
float orb_serv_int2f_ceil(const float* x);
double orb_serv_int2d_ceil(const double* x);

/* ---- Threads. A lock word starts as zero. The split of divbythreads is
   even (slices differ by at most one); divbythreadsnb deals out whole blocks
   evenly, so every slice starts on a block multiple and only the last
   non-empty one may end off it. A thread past the work gets length 0. */
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
/* Team size for parallel regions: the last orb_set_num_threads value above
   0; otherwise ORB_NUM_THREADS, then OMP_NUM_THREADS (its first entry), then
   the processors this process may run on. orb_set_num_threads(0) or less
   returns to that default. */
int orb_get_max_threads(void);
void orb_set_num_threads(int n);

/* ---- Messages. The catalogue holds a text for every number the
   diagnostics use (0, 10 to 565, 1184 to 1219); the text arguments (const
   char*) fill its %s places in order, missing ones read as empty.
   orb_serv_get_msg returns a buffer of the calling thread, valid until its
   next call there. orb_serv_print writes the message and a newline on stdout
   (stream 1) or stderr (stream 2). */
const char* orb_serv_get_msg(int number, int nargs, ...);
void orb_serv_print(int stream, int number, int nargs, ...);
void orb_serv_format_print(int zero, const char* format, int nargs, ...);
int orb_serv_printf_s(const char* format, ...);
int orb_serv_fprintf_s(void* stream, const char* format, ...);
void* orb_serv_fopen(const char* name, const char* mode);
int orb_serv_fclose(void* stream);

/* ---- Safe strings: never write past the destination's size, and leave a
   terminated text whenever the size is above 0.
   strncpy_s, strncat_s, memmove_s, memcpy_unbounded_s return ORB_SAFE_OK,
   ORB_SAFE_EINVAL (a null pointer or a size of 0: nothing copied) or
   ORB_SAFE_ERANGE (the text was cut to fit; for the memory pair: the count
   is above the size and nothing was copied).
   sprintf_s and snprintf_s (which also stops after count characters) return
   the length of the text written, or -1 when it was cut or the arguments
   are unusable. sprintf_char_s writes in [position, end) and returns the
   position of the terminator it wrote, so that calls chain; once the room
   is full it returns end - 1. */
#define ORB_SAFE_OK 0
#define ORB_SAFE_EINVAL 22
#define ORB_SAFE_ERANGE 34

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
