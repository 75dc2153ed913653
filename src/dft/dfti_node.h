/* The DFT descriptor node and its companions, shared by the kernel libraries
   (which own the node, its methods and everything behind commit) and the
   core (which parses the public keys, prepares the per-dimension chain and
   runs the parallel compute). Plain C records: the layout is the contract
   between the two sides. */
#ifndef ORB_DFTI_NODE_H
#define ORB_DFTI_NODE_H

#include "dft/dft_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Configuration codes; the same numbers are the public parameter values. */
enum {
  DFTI_FORWARD_SCALE = 4,
  DFTI_BACKWARD_SCALE = 5,
  DFTI_CONJUGATE_EVEN_STORAGE_KEY = 10,
  DFTI_PLACEMENT_KEY = 11,
  DFTI_PACKED_FORMAT_KEY = 21,
  DFTI_NUMBER_OF_USER_THREADS_KEY = 26,
  DFTI_COMMITTED = 30,
  DFTI_UNCOMMITTED = 31,
  DFTI_COMPLEX = 32,
  DFTI_REAL = 33,
  DFTI_SINGLE = 35,
  DFTI_DOUBLE = 36,
  DFTI_COMPLEX_COMPLEX = 39,
  DFTI_COMPLEX_REAL = 40,
  DFTI_REAL_REAL = 42,
  DFTI_INPLACE = 43,
  DFTI_NOT_INPLACE = 44,
  DFTI_ORDERED = 48,
  DFTI_ALLOW = 51,
  DFTI_AVOID = 52,
  DFTI_NONE = 53,
  DFTI_CCS_FORMAT = 54,
  DFTI_PACK_FORMAT = 55,
  DFTI_PERM_FORMAT = 56,
  DFTI_CCE_FORMAT = 57
};

/* Status codes of the descriptor layer; 100 (declined) never leaves commit. */
enum {
  DFTI_OK = 0,
  DFTI_MEMORY_ERROR = 1,
  DFTI_INCONSISTENT = 3,
  DFTI_UNSUPPORTED = 6,
  DFTI_INTERNAL = 7,
  DFTI_LENGTH_LIMIT = 9,
  DFTI_DECLINED = 100
};

#define DFTI_MAGIC 5523012 /* 0x544644: "DFT" in little-endian bytes */

/* One dimension (or the batch): extent and four strides in elements. */
typedef struct orb_dfti_dim {
  int n, is, os, fs, bs;
} orb_dfti_dim;

typedef struct orb_dfti_iotensor {
  int rank;
  orb_dfti_dim* dims;
} orb_dfti_iotensor;

typedef struct DftiNode DftiNode;
typedef struct orb_dfti_backend orb_dfti_backend;

/* A compute entry: the node, then one to four data pointers (input, then
   output when not in place; real then imaginary arrays when split). */
typedef int (*orb_dfti_compute_fn)(DftiNode* node, void* a, void* b, void* c, void* d);
/* A per-node apply function: one transform of this node's length from
   src to dst (split storage: each an array of two pointers). */
typedef int (*orb_dfti_apply_fn)(const DftiNode* node, const void* src, void* dst, unsigned char* buf);
typedef int (*orb_dfti_node_fn)(DftiNode* node);

/* A backend: commit returns 0 (accepted), 100 (declined) or an error. */
struct orb_dfti_backend {
  int (*commit)(const orb_dfti_backend* self, DftiNode* node);
  int (*detach)(const orb_dfti_backend* self, DftiNode* node);
  void* reserved;
};

/* The service operations a node reaches through api_entries (slots as
   numbered): 0 dynamic threads on, 2 maximum threads, 3 cores, 4 sockets,
   5 cache size by level, 6 run a task on a team, 12 inside a parallel
   region. The core fills them (orb_dft_bless_node_thr). */
typedef int (*orb_dfti_int_fn)(void);
typedef int (*orb_dfti_cache_fn)(int level);
typedef int (*orb_dfti_task_fn)(void* arg, int nthreads, int tid);
typedef int (*orb_dfti_run_fn)(int nthreads, orb_dfti_task_fn task, void* arg);
enum { DFTI_API_SLOTS = 16 };

/* What the core needs of the build that made a node: the commit cores
   (index: 4 * double + 2 * real + md) and the chain builder. */
typedef struct orb_dfti_kit {
  orb_dfti_node_fn commit_core[8];
  orb_dfti_node_fn make_chain;
} orb_dfti_kit;

typedef struct orb_dfti_methods orb_dfti_methods;

struct __attribute__((aligned(64))) DftiNode {
  orb_dfti_compute_fn compute_fwd, compute_bwd;
  const orb_dfti_backend* backend;
  void* backend_data;
  void* mem_ctx;
  const orb_dfti_backend* const* backend_list;
  int data_args;
  int flags;
  int magic;
  int commit_status;
  orb_dfti_iotensor lengths, batch;
  int rank;
  int rank_committed;
  orb_dfti_iotensor lengths_committed, batch_committed;
  orb_dfti_node_fn uncommit, destroy;
  const orb_dfti_methods* methods;
  void* const* api_entries;
  char name[12];
  int domain, precision;
  int transforms;
  int complex_storage, real_storage, conjugate_even_storage;
  int placement;
  int packed_format;
  int stride_in, stride_out;
  int workspace;
  int ordering;
  int transpose;
  int dim_index;
  int length;
  void *fft_table_a, *fft_table_b;
  double fscale_d, bscale_d;
  float fscale_s, bscale_s;
  double fscale, bscale;
  int order;
  int in_offset, out_offset;
  int dist_in, dist_out;
  int uses_kep;
  int size_total;
  DftiNode* next_dim;
  orb_dfti_apply_fn apply_bwd, apply_fwd;
  void *par_apply, *apply_2d, *real_out_fwd, *real_out_bwd;
  int dft_hint;
  orb_keps_dft_spec *spec_c32fc, *spec_c64fc, *spec_c32f, *spec_c64f, *spec_r32f, *spec_r64f;
  int buf_size;
  int max_buf_size;
  int user_threads;
  int threads;
  int thread_limit;
  int options;
  int expanded_out;
  void* par_state;
  void (*par_free)(DftiNode* node);
  int dynamic;
  int fwd_offset, bwd_offset;
  /* Ours, past the fields every reader shares: the build's own entries. */
  const orb_dfti_kit* kit;
};

/* The accessor table, in its fixed order. Strides arrays are the offset
   then one stride per dimension (dimension 0 first); lengths one per
   dimension. */
struct orb_dfti_methods {
  int (*commit)(DftiNode* node);
  int (*dt_commit)(DftiNode* node);
  int (*getInputStrides)(const DftiNode* node, int* strides);
  int (*getOutputStrides)(const DftiNode* node, int* strides);
  int (*setInputStrides)(DftiNode* node, const int* strides);
  int (*setOutputStrides)(DftiNode* node, const int* strides);
  int (*getLengths)(const DftiNode* node, int* lengths);
  int (*getDescriptorName)(const DftiNode* node, char* text, int size);
  int (*setDescriptorName)(DftiNode* node, const char* text, int length, int pad);
  int (*getScale)(const DftiNode* node, int key, double* value);
  int (*setScale)(DftiNode* node, int key, double value);
  int (*copy_node)(const DftiNode* node, DftiNode** copy);
  int (*getInputDistance)(const DftiNode* node, int* value);
  int (*getOutputDistance)(const DftiNode* node, int* value);
  int (*getNumberOfTransforms)(const DftiNode* node, int* value);
  int (*setInputDistance)(DftiNode* node, int value);
  int (*setOutputDistance)(DftiNode* node, int value);
  int (*setNumberOfTransforms)(DftiNode* node, int value);
  int (*getThreadLimit)(const DftiNode* node, int* value);
  int (*setThreadLimit)(DftiNode* node, int value);
  int (*getRank)(const DftiNode* node, int* value);
  int (*setFwdDistance)(DftiNode* node, int value);
  int (*setBwdDistance)(DftiNode* node, int value);
  int (*destroy)(DftiNode* node);
  int (*setWorkspace)(DftiNode* node, int value);
  int (*getFwdDistance)(const DftiNode* node, int* value);
  int (*getBwdDistance)(const DftiNode* node, int* value);
  int (*getFwdStrides)(const DftiNode* node, int* strides);
  int (*getBwdStrides)(const DftiNode* node, int* strides);
  int (*setFwdStrides)(DftiNode* node, const int* strides);
  int (*setBwdStrides)(DftiNode* node, const int* strides);
};

/* The external memory context: three arenas (position, base) and the mode
   word (1: external; the commit path then counts bytes when a base is 0). */
typedef struct orb_dfti_arena {
  unsigned char* pos;
  unsigned char* base;
} orb_dfti_arena;
typedef struct orb_dfti_mem_ctx {
  orb_dfti_arena *arena0, *arena1, *arena2;
  int mode;
} orb_dfti_mem_ctx;

/* The record a compute entry hands the core's parallel entries: the core
   splits [0, count) among its team and calls run(rec, start, count) on
   each part; every transform is computed alone, so the split changes no
   bit. */
typedef struct orb_dfti_par_rec {
  DftiNode* node;
  void* data[4];
  int count;
  int (*run)(const struct orb_dfti_par_rec* rec, int start, int count);
} orb_dfti_par_rec;

#ifdef __cplusplus
}
#endif

#endif
