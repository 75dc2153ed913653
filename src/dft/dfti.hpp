// The descriptor layer's own routines, shared by its sources (node, commit,
// backends, compute). Nothing here is exported but through kernels_dft.def.
#pragma once

#include <cstddef>

#include "dft/keps.hpp"
#include "frame/kernels_dft.hpp"

// The core's side: the default backends' commit (chain, then the build's
// core) and the parallel compute entries, which split a batch on the team.
extern "C" {
#define ORB_DFTI_OMP(p, d, r) int orb_dft_commit_node_##p##_##d##_##r##_omp(DftiNode* node);
ORB_DFTI_OMP(s, c2c, 1d) ORB_DFTI_OMP(s, c2c, md) ORB_DFTI_OMP(s, r2c, 1d) ORB_DFTI_OMP(s, r2c, md)
ORB_DFTI_OMP(d, c2c, 1d) ORB_DFTI_OMP(d, c2c, md) ORB_DFTI_OMP(d, r2c, 1d) ORB_DFTI_OMP(d, r2c, md)
#undef ORB_DFTI_OMP
#define ORB_DFTI_PAR(x) int orb_dft_compute_##x##_par(const orb_dfti_par_rec* rec);
ORB_DFTI_PAR(forward_z) ORB_DFTI_PAR(backward_z) ORB_DFTI_PAR(forward_z_out) ORB_DFTI_PAR(backward_z_out)
ORB_DFTI_PAR(forward_c) ORB_DFTI_PAR(backward_c) ORB_DFTI_PAR(forward_c_out) ORB_DFTI_PAR(backward_c_out)
ORB_DFTI_PAR(forward_d) ORB_DFTI_PAR(backward_d) ORB_DFTI_PAR(forward_d_out) ORB_DFTI_PAR(backward_d_out)
ORB_DFTI_PAR(forward_dz) ORB_DFTI_PAR(backward_zd) ORB_DFTI_PAR(forward_dz_out) ORB_DFTI_PAR(backward_zd_out)
ORB_DFTI_PAR(forward_s) ORB_DFTI_PAR(backward_s) ORB_DFTI_PAR(forward_s_out) ORB_DFTI_PAR(backward_s_out)
ORB_DFTI_PAR(forward_sc) ORB_DFTI_PAR(backward_cs) ORB_DFTI_PAR(forward_sc_out) ORB_DFTI_PAR(backward_cs_out)
#undef ORB_DFTI_PAR
}

namespace orb::dft {

// ---- Memory. ctx is the node's mem_ctx (null: the internal allocator);
// arena picks the external buffer a block is charged to (0 the node and its
// tensors, 1 the plans, 2 work).
void* mem_malloc(void* ctx, int arena, std::size_t bytes);
void* mem_calloc(void* ctx, int arena, std::size_t bytes);
void mem_free(void* ctx, void* p);
// True for a context that only counts bytes (external, no buffers).
bool counting(const void* ctx);
// Charges bytes to an arena of a context without handing out memory.
void mem_charge(void* ctx, int arena, std::size_t bytes);

// ---- Iotensor operations.
int Iotensor_create(orb_dfti_iotensor* t, int count, void* ctx);
int Iotensor_copy(orb_dfti_iotensor* dst, const orb_dfti_iotensor* src, bool inplace, void* ctx);
void Iotensor_sort(orb_dfti_iotensor* t);
void Iotensor_remove1(orb_dfti_iotensor* t);
void Iotensor_compress(orb_dfti_iotensor* t);
int Iotensor_join(orb_dfti_iotensor* dst, const orb_dfti_iotensor* a, const orb_dfti_iotensor* b, void* ctx);
bool Iotensor_is_inplace(const orb_dfti_iotensor* t);
void Iotensor_destroy(orb_dfti_iotensor* t, void* ctx);

// ---- Node lifecycle.
int static_uncommit(DftiNode* node);
int static_destroy(DftiNode* node);
int static_dfti_commit(DftiNode* node);
int static_dt_commit(DftiNode* node);
int copy_node(const DftiNode* node, DftiNode** copy);
extern const orb_dfti_kit kit;

// Kinds of a node, and the signal-layer plan slot it uses.
inline bool is_double(const DftiNode* n) { return n->precision == DFTI_DOUBLE; }
inline bool is_real(const DftiNode* n) { return n->domain == DFTI_REAL; }
inline bool is_split(const DftiNode* n) { return n->domain == DFTI_COMPLEX && n->complex_storage == DFTI_REAL_REAL; }
inline orb_keps_dft_spec*& spec_slot(DftiNode* n, int kind) { return (&n->spec_c32fc)[kind]; }
inline orb_keps_dft_spec* spec_of(const DftiNode* n, int kind) { return (&n->spec_c32fc)[kind]; }
inline int kind_of(const DftiNode* n) {
  const int d = is_double(n);
  return is_real(n) ? kR32f + d : is_split(n) ? kC32f + d : kC32fc + d;
}
// api_entries slots.
inline int api_int(const DftiNode* n, int slot, int fallback) {
  if (!n->api_entries || !n->api_entries[slot]) return fallback;
  return reinterpret_cast<orb_dfti_int_fn>(n->api_entries[slot])();
}
inline int api_cache(const DftiNode* n, int level) {
  if (!n->api_entries || !n->api_entries[5]) return 1 << 20;
  return reinterpret_cast<orb_dfti_cache_fn>(n->api_entries[5])(level);
}

// ---- Backends and compute (backends/).
void bind_compute(DftiNode* node);  // compute_fwd/bwd and data_args by kind and placement
// Bytes of work a compute call of this node needs besides the chain's
// plan buffers (line buffers, the real multi-dimensional copy).
long work_bytes(const DftiNode* node);
// Backend prologue: a node held by another backend is uncommitted first.
void backend_prologue(const orb_dfti_backend* self, DftiNode* node);
int backend_detach(const orb_dfti_backend* self, DftiNode* node);
// Data volume of a node in bytes (batch times all lengths, doubled when not
// in place and for the complex domain, times the element size).
double data_volume(const DftiNode* node);

}  // namespace orb::dft
