// How one level-3 call is carried out: the strategy (copy scheme, loop order,
// register tile) and the table of routines that carry it out. Also the
// constant and empty routines that the core's table names.
#include "blas/engine/engine.hpp"
#include "blas/engine/paths.hpp"
#include "blas/level3/level3.hpp"

namespace orb::engine {

template <class T>
int check_strategy(gemm_strategy* s) {
  using G = gemm_traits<T>;
  const bool right = s->unroll_m == G::unroll_m && s->unroll_n == G::unroll_n && s->unroll_k == 1;
  s->unroll_m = G::unroll_m;
  s->unroll_n = G::unroll_n;
  s->unroll_k = 1;
  s->pad_m = round_up(s->unroll_m, G::pad_step);
  s->pad_n = round_up(s->unroll_n, G::pad_step);
  s->pad_k = round_up(s->unroll_k, G::pad_step);
  if (s->copy_mode == 16) s->flavour = 4;
  if (s->copy_mode == 0) s->copy_mode = 2;
  if (s->flavour == 0) s->flavour = 2;
  if (s->loop_order == 0) s->loop_order = 4;
  // The packing mode keeps what the caller set: the default would have to
  // be tested against a loop order that is never 0 at this point.
  if (s->loop_order == 0 && s->pack_mode == 0) s->pack_mode = 2;
  return right ? 1 : 0;
}

template <class T>
void initialize_strategy(gemm_strategy* s) {
  using G = gemm_traits<T>;
  *s = gemm_strategy{};
  s->unroll_m = G::unroll_m;
  s->unroll_n = G::unroll_n;
  s->unroll_k = 1;
  s->vector_elems = G::vector_elems;
  s->check = check_strategy<T>;
}

namespace {

// The routines of each type, gathered so that one template fills the table.
template <class T> struct routines;

#define ORB_ROUTINES(T, t, ac, bc)                                                 \
  template <> struct routines<T> {                                                 \
    static constexpr copy_fn<T> copyan = ORB_BLAS(t##gemm_copyan);                 \
    static constexpr copy_fn<T> copyat = ORB_BLAS(t##gemm_copyat);                 \
    static constexpr copy_fn<T> copybn = ORB_BLAS(t##gemm_copybn);                 \
    static constexpr copy_fn<T> copybt = ORB_BLAS(t##gemm_copybt);                 \
    static constexpr copy_fn<T> copyac = ac;                                       \
    static constexpr copy_fn<T> copybc = bc;                                       \
    static constexpr kernel_fn<T> ker0 = ORB_BLAS(t##gemm_ker0);                   \
    static constexpr scale_fn<T> mscale = ORB_BLAS(t##gemm_mscale_wrapper);        \
    static constexpr driver_fn<T> generic = ORB_BLAS(t##_generic_fullacopybcopy);  \
    static constexpr driver_fn<T> acopied = ORB_BLAS(x##t##gemm_acopiedbcopy);     \
    static constexpr fallback_fn<T> fallback = ORB_BLAS(t##_pst_wrapper);          \
  };
ORB_ROUTINES(float, s, ORB_BLAS(sgemm_copyat), ORB_BLAS(sgemm_copybt))
ORB_ROUTINES(double, d, ORB_BLAS(dgemm_copyat), ORB_BLAS(dgemm_copybt))
ORB_ROUTINES(orb_complex8, c, ORB_BLAS(cgemm_copyac), ORB_BLAS(cgemm_copybc))
ORB_ROUTINES(orb_complex16, z, ORB_BLAS(zgemm_copyac), ORB_BLAS(zgemm_copybc))
#undef ORB_ROUTINES

template <class T> driver_fn<T> nocopy_driver() { return nullptr; }
template <> driver_fn<float> nocopy_driver<float>() { return ORB_BLAS(xsgemm_nocopy_driver); }
template <> driver_fn<double> nocopy_driver<double>() { return ORB_BLAS(xdgemm_nocopy_driver); }

// Names used in warnings, by operation.
template <class T>
const char* op_name(int op) {
  constexpr char L = gemm_traits<T>::letter;
  constexpr bool cplx = gemm_traits<T>::comps == 2;
  switch (op) {
    case op_symm: return L == 's' ? "SSYMM" : L == 'd' ? "DSYMM" : L == 'c' ? "CSYMM" : "ZSYMM";
    case op_hemm: return cplx ? (L == 'c' ? "CHEMM" : "ZHEMM") : (L == 's' ? "SSYMM" : "DSYMM");
    case op_syrk: return L == 's' ? "SSYRK" : L == 'd' ? "DSYRK" : L == 'c' ? "CSYRK" : "ZSYRK";
    case op_herk: return cplx ? (L == 'c' ? "CHERK" : "ZHERK") : (L == 's' ? "SSYRK" : "DSYRK");
    case op_syr2k: return L == 's' ? "SSYR2K" : L == 'd' ? "DSYR2K" : L == 'c' ? "CSYR2K" : "ZSYR2K";
    case op_her2k: return cplx ? (L == 'c' ? "CHER2K" : "ZHER2K") : (L == 's' ? "SSYR2K" : "DSYR2K");
    case op_trmm: return L == 's' ? "STRMM" : L == 'd' ? "DTRMM" : L == 'c' ? "CTRMM" : "ZTRMM";
    case op_trsm: return L == 's' ? "STRSM" : L == 'd' ? "DTRSM" : L == 'c' ? "CTRSM" : "ZTRSM";
    case op_gemmt: return L == 's' ? "SGEMMT" : L == 'd' ? "DGEMMT" : L == 'c' ? "CGEMMT" : "ZGEMMT";
    default: return L == 's' ? "SGEMM" : L == 'd' ? "DGEMM" : L == 'c' ? "CGEMM" : "ZGEMM";
  }
}

inline bool transposed(int flags) { return (flags & (flag_trans | flag_conjtrans)) != 0; }

}  // namespace

template <class T>
void initialize_kernel_info(const blas_op_params<T>* params, const blas_matrix* a, const blas_matrix* b,
                            const blas_matrix* c, const gemm_strategy* strategy, gemm_kernel_info<T>* info) {
  using G = gemm_traits<T>;
  using Rt = routines<T>;
  info->strategy = *strategy;
  info->strategy.check(&info->strategy);
  info->scale_c = Rt::mscale;
  info->fallback = Rt::fallback;
  info->pst_m_limit = G::pst_m;
  info->pst_n_limit = G::pst_n;
  info->k_limit = 4;
  info->name = op_name<T>(params->op);
  info->tri_scale = nullptr;
  info->tri_kernel = nullptr;
  info->syrk_scale = nullptr;
  info->syrk_driver = nullptr;

  // The operand copiers by operator. Conjugate-transposed operands of the
  // complex types get the conjugating copiers; in the real types "C" is "T".
  const copy_fn<T> copy_a =
      (a->flags & flag_conjtrans) ? Rt::copyac : (a->flags & flag_trans) ? Rt::copyat : Rt::copyan;
  const copy_fn<T> copy_b =
      (b->flags & flag_conjtrans) ? Rt::copybc : (b->flags & flag_trans) ? Rt::copybt : Rt::copybn;
  const int op = params->op;

  // Until the symmetric, Hermitian and triangular routines bring their own
  // copiers and kernels, their operations run with the general ones, so
  // that nothing in the table is ever a null a driver would call.
  if (op == op_gemm && info->strategy.copy_mode == 16 && nocopy_driver<T>()) {
    info->copy_a = nullptr;
    info->copy_b = nullptr;
    info->driver = nocopy_driver<T>();
  } else {
    info->copy_a = copy_a;
    info->copy_b = copy_b;
    info->driver = info->strategy.copy_mode == 4 ? Rt::acopied : Rt::generic;
  }
  info->kernel = Rt::ker0;
  if (op >= 32) return;
  const bool tri_out = op < 32 && ((kTriangleOutputMask >> op) & 1u);
  const bool herm_out = G::comps == 2 && (op == op_herk || op == op_her2k);
  if (tri_out || herm_out) {
    info->syrk_scale = Rt::mscale;
    info->syrk_driver = Rt::generic;
  }
  if (op == op_trmm || op == op_trsm) level3::trxm_kernel_info<T>(params, a, b, c, info);
  else if (op != op_gemm) level3::syx_kernel_info<T>(params, a, b, c, info);
}

}  // namespace orb::engine

using namespace orb::engine;

// ---- Exported per-type forms ----------------------------------------------------
#define ORB_STRATEGY_EXPORTS(T, t)                                                                          \
  ORB_API void ORB_BLAS(t##gemm_zero_desc)(void) {}                                                        \
  ORB_API int ORB_BLAS(t##gemm_api_support)(void) { return 4; }                                            \
  ORB_API void ORB_BLAS(t##gemm_get_kernel)(void) {}                                                       \
  ORB_API void ORB_BLAS(t##gemm_get_optimal_kernel)(void) {}                                               \
  ORB_API void ORB_BLAS(t##gemm_get_kernel_version)(void) {}                                               \
  ORB_API void ORB_BLAS(t##gemm_num_kernels)(void) {}                                                      \
  ORB_API void ORB_BLAS(t##gemm_set_blks_size)(void) {}                                                    \
  ORB_API void ORB_BLAS(t##gemm_get_blks_size)(void) {}                                                    \
  ORB_API void ORB_BLAS(t##gemm_get_bufs_size)(void) {}                                                    \
  ORB_API void ORB_BLAS(x##t##gemm_par)(void) {}                                                           \
  ORB_API void ORB_BLAS(x##t##gemm_1)(void) {}                                                             \
  ORB_API void ORB_BLAS(x##t##gemm_bdz)(void) {}                                                           \
  ORB_API void ORB_BLAS(x##t##gemm_brc)(void) {}                                                           \
  ORB_API void ORB_BLAS(t##gemm_copyan_htn)(void) {}                                                       \
  ORB_API void ORB_BLAS(t##gemm_copyat_htn)(void) {}                                                       \
  ORB_API void ORB_BLAS(t##gemm_copybn_htn)(void) {}                                                       \
  ORB_API void ORB_BLAS(t##gemm_copybt_htn)(void) {}                                                       \
  ORB_API void ORB_BLAS(t##gemm_initialize_strategy)(gemm_strategy * s) { initialize_strategy<T>(s); }     \
  ORB_API void ORB_BLAS(t##gemm_initialize_kernel_info)(const blas_op_params<T>* params,                   \
                                                        const blas_matrix* a, const blas_matrix* b,        \
                                                        const blas_matrix* c, const gemm_strategy* s,      \
                                                        gemm_kernel_info<T>* info) {                       \
    initialize_kernel_info<T>(params, a, b, c, s, info);                                                   \
  }                                                                                                        \
  ORB_API void ORB_BLAS(t##gemm_map_thread_to_kernel)(const int* thread_info, gemm_strategy* s) {          \
    initialize_strategy<T>(s);                                                                             \
    const int code = thread_info ? *thread_info : 0;                                                       \
    s->copy_mode = code == 0 ? 2 : code == 1 ? 4 : code == 3 ? 32 : code == 5 ? 16 : 0;                    \
    s->check(s);                                                                                           \
  }

ORB_STRATEGY_EXPORTS(float, s)
ORB_STRATEGY_EXPORTS(double, d)
ORB_STRATEGY_EXPORTS(orb_complex8, c)
ORB_STRATEGY_EXPORTS(orb_complex16, z)

namespace orb::engine {
template int check_strategy<float>(gemm_strategy*);
template int check_strategy<double>(gemm_strategy*);
template int check_strategy<orb_complex8>(gemm_strategy*);
template int check_strategy<orb_complex16>(gemm_strategy*);
template void initialize_strategy<float>(gemm_strategy*);
template void initialize_strategy<double>(gemm_strategy*);
template void initialize_strategy<orb_complex8>(gemm_strategy*);
template void initialize_strategy<orb_complex16>(gemm_strategy*);
#define ORB_INST(T)                                                                                        \
  template void initialize_kernel_info<T>(const blas_op_params<T>*, const blas_matrix*, const blas_matrix*, \
                                          const blas_matrix*, const gemm_strategy*, gemm_kernel_info<T>*);
ORB_INST(float)
ORB_INST(double)
ORB_INST(orb_complex8)
ORB_INST(orb_complex16)
#undef ORB_INST
}  // namespace orb::engine
