// The descriptor node: memory methods, tensors, creation, accessors,
// uncommit and destroy, the external-memory forms, verbose report.
#include <cstdint>
#include <cstring>
#include <vector>

#include "dft/dfti.hpp"
#include "orb/orb_service.h"

namespace orb::dft {
namespace {

constexpr std::size_t round64(std::size_t b) { return (b + 63) & ~std::size_t(63); }

// ---- Memory methods, chosen once per build and process at the first
// creation: with a context the bump allocators over its arenas, without
// one the service allocator. The first caller decides for the process.
volatile int mem_lock = 0;
volatile int mem_chosen = 0;  // 0 not yet, 1 internal, 2 external
void* last_ctx = nullptr;      // the context the exported hooks serve

orb_dfti_arena* arena_of(void* ctx, int k) {
  auto* c = static_cast<orb_dfti_mem_ctx*>(ctx);
  if (!c) return nullptr;
  return k == 0 ? c->arena0 : k == 1 ? c->arena1 : c->arena2;
}

// Positions of a counting arena start at 0 and are only counted, never
// dereferenced: the arithmetic goes through integers.
void bump(orb_dfti_arena* a, std::size_t bytes) {
  a->pos = reinterpret_cast<unsigned char*>(reinterpret_cast<std::uintptr_t>(a->pos) + round64(bytes));
}

void* malloc_ext(void* ctx, int k, std::size_t bytes, bool zero) {
  orb_dfti_arena* a = arena_of(ctx, k);
  if (!a) return nullptr;
  unsigned char* old = a->pos;
  bump(a, bytes);
  if (!a->base) return nullptr;
  if (zero) std::memset(old, 0, bytes);
  return old;
}

}  // namespace

bool counting(const void* ctx) {
  auto* c = static_cast<const orb_dfti_mem_ctx*>(ctx);
  return c && c->mode == 1 && c->arena0 && !c->arena0->base;
}

void mem_charge(void* ctx, int arena, std::size_t bytes) {
  if (orb_dfti_arena* a = arena_of(ctx, arena)) bump(a, bytes);
}

void* mem_malloc(void* ctx, int arena, std::size_t bytes) {
  if (mem_chosen == 2) return malloc_ext(ctx, arena, bytes, false);
  return orb_serv_malloc(bytes ? bytes : 1, 64);
}

void* mem_calloc(void* ctx, int arena, std::size_t bytes) {
  if (mem_chosen == 2) return malloc_ext(ctx, arena, bytes, !counting(ctx));
  return orb_serv_calloc(1, bytes ? bytes : 1, 64);
}

void mem_free(void*, void* p) {
  if (mem_chosen != 2) orb_serv_free(p);
}

// ---- Tensors.
int Iotensor_create(orb_dfti_iotensor* t, int count, void* ctx) {
  auto* d = static_cast<orb_dfti_dim*>(mem_calloc(ctx, 0, sizeof(orb_dfti_dim) * std::size_t(count)));
  if (!d) {
    // Counting: the caller's scratch records (stored beforehand) serve.
    if (counting(ctx) && t->dims) {
      t->rank = count;
      return 0;
    }
    return 1;
  }
  t->dims = d;
  t->rank = count;
  return 0;
}

void Iotensor_destroy(orb_dfti_iotensor* t, void* ctx) {
  if (t->dims && !counting(ctx)) mem_free(ctx, t->dims);
  if (!counting(ctx)) t->dims = nullptr;
  t->rank = 0;
}

// A committed copy keeps the records it was made with (as many as the
// node's dimensions) even when commit drops unit ones from its count, so
// it grows only when it has none: a commit after another then takes no
// memory (external buffers are sized for one).
int Iotensor_copy(orb_dfti_iotensor* dst, const orb_dfti_iotensor* src, bool inplace, void* ctx) {
  if (!dst->dims || (counting(ctx) && dst->rank == 0)) {  // counting: charged as made
    orb_dfti_iotensor grown{0, counting(ctx) ? dst->dims : nullptr};
    if (Iotensor_create(&grown, src->rank, ctx)) return 1;
    if (dst->dims != grown.dims) Iotensor_destroy(dst, ctx);
    *dst = grown;
  }
  dst->rank = src->rank;
  for (int i = 0; i < src->rank; ++i) {
    dst->dims[i] = src->dims[i];
    if (inplace) {
      dst->dims[i].os = dst->dims[i].is;
      dst->dims[i].bs = dst->dims[i].fs;
    }
  }
  return 0;
}

// Selection order by strides; two records change places unless the earlier
// one's is and fs are both not above the later one's (not stable).
void Iotensor_sort(orb_dfti_iotensor* t) {
  for (int i = 0; i < t->rank; ++i)
    for (int j = i + 1; j < t->rank; ++j) {
      orb_dfti_dim& a = t->dims[i];
      orb_dfti_dim& b = t->dims[j];
      if (!(a.is <= b.is && a.fs <= b.fs)) std::swap(a, b);
    }
}

void Iotensor_remove1(orb_dfti_iotensor* t) {
  for (int i = t->rank - 1; i >= 0 && t->rank > 1; --i)
    if (t->dims[i].n == 1) {
      for (int j = i; j + 1 < t->rank; ++j) t->dims[j] = t->dims[j + 1];
      --t->rank;
    }
}

void Iotensor_compress(orb_dfti_iotensor* t) {
  for (int i = t->rank - 1; i >= 1; --i) {
    orb_dfti_dim& p = t->dims[i - 1];
    const orb_dfti_dim& d = t->dims[i];
    const long n = p.n;
    if (d.is == p.is * n && d.os == p.os * n && d.fs == p.fs * n && d.bs == p.bs * n) {
      p.n *= d.n;
      for (int j = i; j + 1 < t->rank; ++j) t->dims[j] = t->dims[j + 1];
      --t->rank;
    }
  }
}

int Iotensor_join(orb_dfti_iotensor* dst, const orb_dfti_iotensor* a, const orb_dfti_iotensor* b, void* ctx) {
  orb_dfti_iotensor t{0, nullptr};
  if (Iotensor_create(&t, a->rank + b->rank, ctx)) return 1;
  for (int i = 0; i < a->rank; ++i) t.dims[i] = a->dims[i];
  for (int i = 0; i < b->rank; ++i) t.dims[a->rank + i] = b->dims[i];
  *dst = t;
  return 0;
}

bool Iotensor_is_inplace(const orb_dfti_iotensor* t) {
  for (int i = 0; i < t->rank; ++i)
    if (t->dims[i].is != t->dims[i].os || t->dims[i].fs != t->dims[i].bs) return false;
  return true;
}

// ---- Lifecycle.
int static_uncommit(DftiNode* node) {
  if (node->next_dim) {
    DftiNode* next = node->next_dim;
    node->next_dim = nullptr;
    next->destroy(next);
  }
  if (node->backend) {
    const orb_dfti_backend* b = node->backend;
    if (b->detach) b->detach(b, node);
    node->backend = nullptr;
  }
  if (node->par_state) {
    if (node->par_free) node->par_free(node);
    node->par_state = nullptr;
    node->par_free = nullptr;
  }
  node->max_buf_size = node->buf_size = node->expanded_out = 0;
  for (int k = 0; k < kKinds; ++k)
    if (orb_keps_dft_spec*& s = spec_slot(node, k)) {
      if (!node->mem_ctx) kind(k).free(s);
      s = nullptr;
    }
  if (node->fft_table_a) mem_free(node->mem_ctx, node->fft_table_a);
  if (node->fft_table_b) mem_free(node->mem_ctx, node->fft_table_b);
  node->fft_table_a = node->fft_table_b = nullptr;
  node->commit_status = DFTI_UNCOMMITTED;
  node->compute_fwd = node->compute_bwd = nullptr;
  node->flags &= ~1;
  return 0;
}

int static_destroy(DftiNode* node) {
  if (!node) return 0;
  void* ctx = node->mem_ctx;
  if (node->uncommit) node->uncommit(node);
  Iotensor_destroy(&node->lengths, ctx);
  Iotensor_destroy(&node->batch, ctx);
  Iotensor_destroy(&node->lengths_committed, ctx);
  Iotensor_destroy(&node->batch_committed, ctx);
  if (!counting(ctx)) mem_free(ctx, node);
  return 0;
}

namespace {

// ---- Accessors. Strides arrays: the offset, then dimension 0, 1, ...
enum which { in, out, fwd, bwd };
int& stride_of(orb_dfti_dim& d, which w) { return w == in ? d.is : w == out ? d.os : w == fwd ? d.fs : d.bs; }
int& offset_of(DftiNode* n, which w) {
  return w == in ? n->in_offset : w == out ? n->out_offset : w == fwd ? n->fwd_offset : n->bwd_offset;
}
template <which W>
int get_strides(const DftiNode* n, int* s) {
  if (!s) return DFTI_INCONSISTENT;
  auto* m = const_cast<DftiNode*>(n);
  s[0] = offset_of(m, W);
  for (int i = 0; i < n->rank; ++i) s[i + 1] = stride_of(m->lengths.dims[i], W);
  return 0;
}
template <which W>
int set_strides(DftiNode* n, const int* s) {
  if (!s) return DFTI_INCONSISTENT;
  n->uncommit(n);
  offset_of(n, W) = s[0];
  for (int i = 0; i < n->rank; ++i) stride_of(n->lengths.dims[i], W) = s[i + 1];
  return 0;
}
template <which W>
int get_distance(const DftiNode* n, int* v) {
  if (!v) return DFTI_INCONSISTENT;
  *v = stride_of(const_cast<DftiNode*>(n)->batch.dims[0], W);
  return 0;
}
// Distances take effect at the next commit: no uncommit here.
template <which W>
int set_distance(DftiNode* n, int v) {
  stride_of(n->batch.dims[0], W) = v;
  return 0;
}

int getLengths(const DftiNode* n, int* l) {
  if (!l) return DFTI_INCONSISTENT;
  for (int i = 0; i < n->rank; ++i) l[i] = n->lengths.dims[i].n;
  return 0;
}
int getDescriptorName(const DftiNode* n, char* text, int size) {
  if (!text) return DFTI_INCONSISTENT;
  int k = 0;
  for (; k < size && k < 10 && n->name[k]; ++k) text[k] = n->name[k];
  return k;
}
int setDescriptorName(DftiNode* n, const char* text, int length, int pad) {
  int k = 0;
  for (; text && k < length && k < 10; ++k) n->name[k] = text[k];
  for (; k < 10; ++k) n->name[k] = char(pad);
  return 0;
}
int getScale(const DftiNode* n, int key, double* v) {
  if (!v) return DFTI_INCONSISTENT;
  if (key == DFTI_FORWARD_SCALE) *v = n->fscale;
  else if (key == DFTI_BACKWARD_SCALE) *v = n->bscale;
  else return DFTI_INCONSISTENT;
  return 0;
}
int setScale(DftiNode* n, int key, double v) {
  double* s = key == DFTI_FORWARD_SCALE ? &n->fscale : key == DFTI_BACKWARD_SCALE ? &n->bscale : nullptr;
  if (!s) return DFTI_INCONSISTENT;
  if (*s != v) {
    n->uncommit(n);
    *s = v;
  }
  return 0;
}
int getNumberOfTransforms(const DftiNode* n, int* v) {
  if (!v) return DFTI_INCONSISTENT;
  *v = n->batch.dims[0].n;
  return 0;
}
int setNumberOfTransforms(DftiNode* n, int v) {
  if (v < 1) return DFTI_INCONSISTENT;
  n->batch.dims[0].n = v;
  return 0;
}
int in_parallel(const DftiNode* n) { return api_int(n, 12, 0); }
int getThreadLimit(const DftiNode* n, int* v) {
  if (!v) return DFTI_INCONSISTENT;
  if (n->commit_status == DFTI_COMMITTED) {
    const int max = api_int(n, 2, 1);
    *v = n->threads < max ? n->threads : max;
  } else {
    *v = in_parallel(n) ? 1 : n->thread_limit;
  }
  return 0;
}
int setThreadLimit(DftiNode* n, int v) {
  if (v < 0) return DFTI_INCONSISTENT;
  n->thread_limit = in_parallel(n) ? 1 : v;
  return 0;
}
int getRank(const DftiNode* n, int* v) {
  if (!v) return DFTI_INCONSISTENT;
  *v = n->rank;
  return 0;
}
int setWorkspace(DftiNode*, int) { return 0; }

}  // namespace

int copy_node(const DftiNode* n, DftiNode** copy) {
  if (!copy) return DFTI_INCONSISTENT;
  std::vector<int> lengths(std::size_t(n->rank));
  getLengths(n, lengths.data());
  DftiNode* c = nullptr;
  int st = ORB_DFTK(dfti_create_node)(&c, n->precision, n->domain, n->rank, lengths.data(), n->mem_ctx);
  if (st) return st;
  c->backend_list = n->backend_list;
  for (int i = 0; i < n->rank; ++i) c->lengths.dims[i] = n->lengths.dims[i];
  c->batch.dims[0] = n->batch.dims[0];
  std::memcpy(c->name, n->name, sizeof c->name);
  c->complex_storage = n->complex_storage;
  c->real_storage = n->real_storage;
  c->conjugate_even_storage = n->conjugate_even_storage;
  c->placement = n->placement;
  c->packed_format = n->packed_format;
  c->workspace = n->workspace;
  c->ordering = n->ordering;
  c->transpose = n->transpose;
  c->fscale = n->fscale;
  c->bscale = n->bscale;
  c->in_offset = n->in_offset;
  c->out_offset = n->out_offset;
  c->fwd_offset = n->fwd_offset;
  c->bwd_offset = n->bwd_offset;
  c->user_threads = n->user_threads;
  c->thread_limit = n->thread_limit;
  c->options = n->options;
  c->dft_hint = n->dft_hint;
  c->api_entries = n->api_entries;
  *copy = c;
  return 0;
}

}  // namespace orb::dft

using namespace orb::dft;

namespace {

void* static_orbapi_entries[DFTI_API_SLOTS] = {};
volatile int bless_lock = 0;

int cache_size(int level) { return orb_serv_get_cache_size(level); }

// Fills the cache-size slot of the service table once, under its lock.
void bless_node_core(DftiNode* node) {
  if (!static_orbapi_entries[5]) {
    orb_serv_lock(&bless_lock);
    if (!static_orbapi_entries[5]) static_orbapi_entries[5] = reinterpret_cast<void*>(&cache_size);
    orb_serv_unlock(&bless_lock);
  }
  (void)node;
}

}  // namespace

extern "C" {

ORB_API const orb_dfti_methods ORB_DFTK(static_methods)[1] = {{
    static_dfti_commit,        static_dt_commit,          get_strides<in>,     get_strides<out>,
    set_strides<in>,           set_strides<out>,          getLengths,          getDescriptorName,
    setDescriptorName,         getScale,                  setScale,            copy_node,
    get_distance<in>,          get_distance<out>,         getNumberOfTransforms, set_distance<in>,
    set_distance<out>,         setNumberOfTransforms,     getThreadLimit,      setThreadLimit,
    getRank,                   set_distance<fwd>,         set_distance<bwd>,   static_destroy,
    setWorkspace,              get_distance<fwd>,         get_distance<bwd>,   get_strides<fwd>,
    get_strides<bwd>,          set_strides<fwd>,          set_strides<bwd>}};

void ORB_DFTK(dfti_mem_methods_init)(void* ctx) {
  if (mem_chosen) return;
  orb_serv_lock(&mem_lock);
  if (!mem_chosen) mem_chosen = ctx ? 2 : 1;
  orb_serv_unlock(&mem_lock);
}

void* ORB_DFTK(dfti_malloc)(long bytes, int) { return mem_malloc(last_ctx, 0, std::size_t(bytes)); }
void* ORB_DFTK(dfti_calloc)(long count, long size, int) {
  return mem_calloc(last_ctx, 0, std::size_t(count) * std::size_t(size));
}
// Call-local scratch: the external set bumps arena 2 like malloc.
void* ORB_DFTK(dfti_allocate)(long bytes, int alignment, int zero) {
  if (mem_chosen == 2) return malloc_ext(last_ctx, 2, std::size_t(bytes), zero);
  void* p = orb_serv_allocate(std::size_t(bytes ? bytes : 1), alignment);
  if (p && zero) std::memset(p, 0, std::size_t(bytes));
  return p;
}
void ORB_DFTK(dfti_free)(void* p) { mem_free(last_ctx, p); }
void ORB_DFTK(dfti_deallocate)(void* p) {
  if (mem_chosen != 2) orb_serv_deallocate(p);
}

int ORB_DFTK(dfti_create_node)(DftiNode** handle, int precision, int domain, int rank, const int* lengths, void* ctx) {
  if (!handle || rank < 1 || !lengths) return DFTI_INCONSISTENT;
  ORB_DFTK(dfti_mem_methods_init)(ctx);
  if (ctx) last_ctx = ctx;
  auto* node = static_cast<DftiNode*>(mem_calloc(ctx, 0, sizeof(DftiNode)));
  if (!node) {
    if (!counting(ctx) || !*handle) return DFTI_MEMORY_ERROR;
    // Counting: the caller's record serves; its tensor scratch is kept.
    node = *handle;
    const DftiNode keep = *node;
    std::memset(static_cast<void*>(node), 0, sizeof *node);
    node->lengths.dims = keep.lengths.dims;
    node->batch.dims = keep.batch.dims;
    node->lengths_committed.dims = keep.lengths_committed.dims;
    node->batch_committed.dims = keep.batch_committed.dims;
  }
  node->mem_ctx = ctx;
  node->uncommit = static_uncommit;
  node->destroy = static_destroy;
  if (Iotensor_create(&node->lengths, rank, ctx) || Iotensor_create(&node->batch, 1, ctx)) {
    static_destroy(node);
    return DFTI_MEMORY_ERROR;
  }
  long running = 1;
  for (int i = 0; i < rank; ++i) {
    node->lengths.dims[i] = orb_dfti_dim{lengths[i], int(running), int(running), 0, 0};
    running *= lengths[i];
  }
  node->batch.dims[0] = orb_dfti_dim{1, 0, 0, 0, 0};
  node->rank = rank;
  node->magic = DFTI_MAGIC;
  node->commit_status = DFTI_UNCOMMITTED;
  node->domain = domain;
  node->precision = precision;
  node->complex_storage = DFTI_COMPLEX_COMPLEX;
  node->real_storage = DFTI_REAL_REAL;
  node->conjugate_even_storage = DFTI_COMPLEX_COMPLEX;
  node->placement = DFTI_INPLACE;
  node->packed_format = DFTI_CCE_FORMAT;
  node->workspace = DFTI_ALLOW;
  node->ordering = DFTI_ORDERED;
  node->transpose = DFTI_NONE;
  node->fscale = node->bscale = 1.0;
  node->user_threads = 1;
  node->methods = ORB_DFTK(static_methods);
  node->api_entries = static_orbapi_entries;
  node->kit = &kit;
  if (Iotensor_copy(&node->lengths_committed, &node->lengths, false, ctx) ||
      Iotensor_copy(&node->batch_committed, &node->batch, false, ctx)) {
    static_destroy(node);
    return DFTI_MEMORY_ERROR;
  }
  *handle = node;
  bless_node_core(node);
  return 0;
}

int ORB_DFTK(transfer_kep_orb_error)(int status) {
  return status == 0 ? 0 : status == -9 ? DFTI_MEMORY_ERROR : status == -8 ? DFTI_INCONSISTENT : DFTI_INTERNAL;
}

int ORB_DFTK(dfti_get_version_string)(char* buffer, int size) {
  char text[200] = {};
  orb_serv_get_version_string_c(text, 199);
  int k = 0;
  for (; buffer && k < size && k < 198 && text[k]; ++k) buffer[k] = text[k];
  return k;
}

}  // extern "C"

// ---- Creation by kind, the external-memory forms.
namespace {

int create(DftiNode** h, int prec, int dom, int rank, const int* lengths, void* ctx, void (*list)(DftiNode*)) {
  const int st = ORB_DFTK(dfti_create_node)(h, prec, dom, rank, lengths, ctx);
  if (!st) list(*h);
  return st;
}

// Scratch a counting creation works in: a node and its tensors' records.
struct counting_scratch {
  DftiNode node;
  orb_dfti_dim dims[4][16];
};

int get_size(int prec, int dom, bool split, int rank, const int* lengths, int hint, double fs, double bs,
             int* s0, int* s1, int* s2, void (*list)(DftiNode*)) {
  if (rank < 1 || rank > 16 || !lengths || !s0 || !s1 || !s2) return DFTI_INCONSISTENT;
  orb_dfti_arena a[3] = {};
  orb_dfti_mem_ctx ctx{&a[0], &a[1], &a[2], 1};
  auto* scratch = static_cast<counting_scratch*>(orb_serv_calloc(1, sizeof(counting_scratch), 64));
  if (!scratch) return DFTI_MEMORY_ERROR;
  DftiNode* node = &scratch->node;
  node->lengths.dims = scratch->dims[0];
  node->batch.dims = scratch->dims[1];
  node->lengths_committed.dims = scratch->dims[2];
  node->batch_committed.dims = scratch->dims[3];
  int st = create(&node, prec, dom, rank, lengths, &ctx, list);
  if (!st) {
    if (split) node->complex_storage = DFTI_REAL_REAL;
    node->fscale = fs;
    node->bscale = bs;
    // The context's own records, which init places in the first buffer.
    mem_charge(&ctx, 0, sizeof(orb_dfti_mem_ctx));
    for (int k = 0; k < 3; ++k) mem_charge(&ctx, 0, sizeof(orb_dfti_arena));
    orb_dft_bless_node_thr(node);
    node->dft_hint = hint;
    st = node->methods->commit(node);
    if (!st) {
      *s0 = int(reinterpret_cast<std::uintptr_t>(a[0].pos));
      *s1 = int(reinterpret_cast<std::uintptr_t>(a[1].pos));
      *s2 = int(reinterpret_cast<std::uintptr_t>(a[2].pos));
    }
    if (node == &scratch->node) static_uncommit(node);
    else static_destroy(node);  // the internal methods gave it real memory
  }
  orb_serv_free(scratch);
  return st;
}

int init(DftiNode** h, int prec, int dom, bool split, int rank, const int* lengths, int hint, void* b0, void* b1,
         void (*list)(DftiNode*)) {
  if (!h || !b0) return DFTI_INCONSISTENT;
  // The context lives on the stack only while the node is built; its
  // records then move into the first buffer.
  orb_dfti_arena a[3] = {{static_cast<unsigned char*>(b0), static_cast<unsigned char*>(b0)},
                         {static_cast<unsigned char*>(b1), static_cast<unsigned char*>(b1)},
                         {nullptr, nullptr}};
  orb_dfti_mem_ctx tmp{&a[0], &a[1], &a[2], 1};
  DftiNode* node = nullptr;
  int st = create(&node, prec, dom, rank, lengths, &tmp, list);
  if (st) return st;
  auto* ctx = static_cast<orb_dfti_mem_ctx*>(malloc_ext(&tmp, 0, sizeof(orb_dfti_mem_ctx), true));
  auto* r0 = static_cast<orb_dfti_arena*>(malloc_ext(&tmp, 0, sizeof(orb_dfti_arena), true));
  auto* r1 = static_cast<orb_dfti_arena*>(malloc_ext(&tmp, 0, sizeof(orb_dfti_arena), true));
  auto* r2 = static_cast<orb_dfti_arena*>(malloc_ext(&tmp, 0, sizeof(orb_dfti_arena), true));
  if (!ctx || !r0 || !r1 || !r2) return DFTI_MEMORY_ERROR;
  *r0 = a[0];
  *r1 = a[1];
  *r2 = a[2];
  *ctx = orb_dfti_mem_ctx{r0, r1, r2, 1};
  node->mem_ctx = ctx;
  last_ctx = ctx;
  if (split) node->complex_storage = DFTI_REAL_REAL;
  orb_dft_bless_node_thr(node);
  node->dft_hint = hint;
  *h = node;
  return 0;
}

}  // namespace

#define ORB_DFTI_CREATE(p, d, P, D)                                                                          \
  extern "C" int ORB_DFTK(dfti_create_##p##d##1d)(DftiNode * *h, int length, void* ctx) {                   \
    return create(h, P, D, 1, &length, ctx, ORB_DFTK(dfti_set_bkdlist_##p##_##d##2c_1d));                    \
  }                                                                                                           \
  extern "C" int ORB_DFTK(dfti_create_##p##d##md)(DftiNode * *h, int rank, const int* lengths, void* ctx) { \
    return create(h, P, D, rank, lengths, ctx, ORB_DFTK(dfti_set_bkdlist_##p##_##d##2c_md));                 \
  }                                                                                                           \
  extern "C" int ORB_DFTK(dfti_get_size_##p##d##1d)(int length, int hint, double fs, double bs, int* s0,    \
                                                    int* s1, int* s2) {                                      \
    return get_size(P, D, false, 1, &length, hint, fs, bs, s0, s1, s2, ORB_DFTK(dfti_set_bkdlist_##p##_##d##2c_1d)); \
  }                                                                                                           \
  extern "C" int ORB_DFTK(dfti_get_size_##p##d##md)(int rank, const int* lengths, int hint, double fs,      \
                                                    double bs, int* s0, int* s1, int* s2) {                  \
    return get_size(P, D, false, rank, lengths, hint, fs, bs, s0, s1, s2,                                     \
                    ORB_DFTK(dfti_set_bkdlist_##p##_##d##2c_md));                                             \
  }                                                                                                           \
  extern "C" int ORB_DFTK(dfti_init_##p##d##1d)(DftiNode * *h, int length, int hint, void* b0, void* b1) {  \
    return init(h, P, D, false, 1, &length, hint, b0, b1, ORB_DFTK(dfti_set_bkdlist_##p##_##d##2c_1d));     \
  }                                                                                                           \
  extern "C" int ORB_DFTK(dfti_init_##p##d##md)(DftiNode * *h, int rank, const int* lengths, int hint,     \
                                                void* b0, void* b1) {                                        \
    return init(h, P, D, false, rank, lengths, hint, b0, b1, ORB_DFTK(dfti_set_bkdlist_##p##_##d##2c_md));  \
  }
ORB_DFTI_CREATE(s, c, DFTI_SINGLE, DFTI_COMPLEX)
ORB_DFTI_CREATE(d, c, DFTI_DOUBLE, DFTI_COMPLEX)
ORB_DFTI_CREATE(s, r, DFTI_SINGLE, DFTI_REAL)
ORB_DFTI_CREATE(d, r, DFTI_DOUBLE, DFTI_REAL)
#undef ORB_DFTI_CREATE

#define ORB_DFTI_SPLIT(p, P)                                                                                 \
  extern "C" int ORB_DFTK(dfti_get_size_##p##csp1d)(int length, int hint, double fs, double bs, int* s0,    \
                                                    int* s1, int* s2) {                                      \
    return get_size(P, DFTI_COMPLEX, true, 1, &length, hint, fs, bs, s0, s1, s2,                              \
                    ORB_DFTK(dfti_set_bkdlist_##p##_c2c_1d));                                                 \
  }                                                                                                           \
  extern "C" int ORB_DFTK(dfti_init_##p##csp1d)(DftiNode * *h, int length, int hint, void* b0, void* b1) {  \
    return init(h, P, DFTI_COMPLEX, true, 1, &length, hint, b0, b1, ORB_DFTK(dfti_set_bkdlist_##p##_c2c_1d)); \
  }
ORB_DFTI_SPLIT(s, DFTI_SINGLE)
ORB_DFTI_SPLIT(d, DFTI_DOUBLE)
#undef ORB_DFTI_SPLIT
