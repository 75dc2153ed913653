// Public DFT names (orb_dft_*) and the back-call names the kernel libraries'
// own users call. The handle is the kernel library's descriptor node; this
// side checks arguments, turns the public keys and C-order arrays into the
// node's fields and accessor calls (the node keeps dimension 0 as the
// contiguous one), and forwards.
#include <climits>
#include <cstdarg>
#include <cstring>
#include <initializer_list>

#include "core/dispatch.hpp"
#include "dft/dfti_node.h"
#include "orb/orb_dft.h"
#include "orb/orb_service.h"

namespace {

constexpr long kMaxDims = 16;

DftiNode* node_of(orb_dft_handle h) {
  auto* n = reinterpret_cast<DftiNode*>(h);
  return n && n->magic == DFTI_MAGIC ? n : nullptr;
}

bool fits(long v) { return v >= INT_MIN && v <= INT_MAX; }

long create(orb_dft_handle* h, long precision, long domain, long rank, const long* lengths) {
  if (!h) return ORB_DFT_INVALID_CONFIGURATION;
  *h = nullptr;
  if ((precision != ORB_DFT_SINGLE && precision != ORB_DFT_DOUBLE) ||
      (domain != ORB_DFT_COMPLEX && domain != ORB_DFT_REAL) || rank < 1 || rank > kMaxDims || !lengths)
    return ORB_DFT_INVALID_CONFIGURATION;
  int len[kMaxDims];
  for (long i = 0; i < rank; ++i) {
    const long l = lengths[rank - 1 - i];
    if (l < 1) return ORB_DFT_INVALID_CONFIGURATION;
    if (l > INT_MAX) return ORB_DFT_LENGTH_LIMIT;
    len[i] = int(l);
  }
  const auto& k = orb::core::dft_kernels();
  DftiNode* node = nullptr;
  const bool d = precision == ORB_DFT_DOUBLE, r = domain == ORB_DFT_REAL;
  long st;
  if (rank == 1)
    st = d ? (r ? k.dfti_create_dr1d(&node, len[0], nullptr) : k.dfti_create_dc1d(&node, len[0], nullptr))
           : (r ? k.dfti_create_sr1d(&node, len[0], nullptr) : k.dfti_create_sc1d(&node, len[0], nullptr));
  else
    st = d ? (r ? k.dfti_create_drmd(&node, int(rank), len, nullptr) : k.dfti_create_dcmd(&node, int(rank), len, nullptr))
           : (r ? k.dfti_create_srmd(&node, int(rank), len, nullptr) : k.dfti_create_scmd(&node, int(rank), len, nullptr));
  if (st) return st;
  orb_dft_bless_node_thr(node);
  *h = reinterpret_cast<orb_dft_handle>(node);
  return 0;
}

// Public strides (offset, then C order) to the node's (offset, dimension 0
// first), and back.
long to_node_strides(const DftiNode* n, const long* v, int* s) {
  if (!v) return ORB_DFT_INVALID_CONFIGURATION;
  for (int i = 0; i <= n->rank; ++i) {
    const long x = i == 0 ? v[0] : v[n->rank + 1 - i];
    if (!fits(x)) return ORB_DFT_LENGTH_LIMIT;
    s[i] = int(x);
  }
  return 0;
}
void from_node_strides(const DftiNode* n, const int* s, long* v) {
  v[0] = s[0];
  for (int i = 1; i <= n->rank; ++i) v[n->rank + 1 - i] = s[i];
}

bool one_of(long v, std::initializer_list<long> allowed) {
  for (long a : allowed)
    if (v == a) return true;
  return false;
}

// A configuration field set through the node: uncommitted first.
long set_field(DftiNode* n, int& field, long v, std::initializer_list<long> allowed) {
  if (!one_of(v, allowed)) return ORB_DFT_INVALID_CONFIGURATION;
  if (field != v) n->uncommit(n);
  field = int(v);
  return 0;
}

enum value_type { t_long, t_double, t_array, t_text, t_unknown };
value_type type_of(long key) {
  switch (key) {
    case ORB_DFT_FORWARD_SCALE:
    case ORB_DFT_BACKWARD_SCALE:
      return t_double;
    case ORB_DFT_LENGTHS:
    case ORB_DFT_INPUT_STRIDES:
    case ORB_DFT_OUTPUT_STRIDES:
    case ORB_DFT_FWD_STRIDES:
    case ORB_DFT_BWD_STRIDES:
      return t_array;
    case ORB_DFT_DESCRIPTOR_NAME:
    case ORB_DFT_VERSION:
      return t_text;
    case ORB_DFT_CONJUGATE_EVEN_STORAGE: case ORB_DFT_PLACEMENT: case ORB_DFT_PACKED_FORMAT:
    case ORB_DFT_NUMBER_OF_USER_THREADS: case ORB_DFT_PRECISION: case ORB_DFT_FORWARD_DOMAIN:
    case ORB_DFT_DIMENSION: case ORB_DFT_NUMBER_OF_TRANSFORMS: case ORB_DFT_INPUT_DISTANCE:
    case ORB_DFT_OUTPUT_DISTANCE: case ORB_DFT_FWD_DISTANCE: case ORB_DFT_BWD_DISTANCE:
    case ORB_DFT_COMPLEX_STORAGE: case ORB_DFT_REAL_STORAGE: case ORB_DFT_WORKSPACE: case ORB_DFT_ORDERING:
    case ORB_DFT_TRANSPOSE: case ORB_DFT_COMMIT_STATUS: case ORB_DFT_THREAD_LIMIT: case ORB_DFT_DESTROY_INPUT:
      return t_long;
    default:
      return t_unknown;
  }
}

struct value {
  long l;
  double d;
  const long* a;
  const char* s;
};

long set(orb_dft_handle h, long key, const value& v) {
  DftiNode* n = node_of(h);
  if (!n) return ORB_DFT_INVALID_CONFIGURATION;
  const orb_dfti_methods* m = n->methods;
  switch (key) {
    case ORB_DFT_FORWARD_SCALE:
    case ORB_DFT_BACKWARD_SCALE:
      return m->setScale(n, int(key), v.d);
    case ORB_DFT_NUMBER_OF_TRANSFORMS:
      if (v.l < 1) return ORB_DFT_INVALID_CONFIGURATION;
      if (!fits(v.l)) return ORB_DFT_LENGTH_LIMIT;
      return m->setNumberOfTransforms(n, int(v.l));
    case ORB_DFT_INPUT_DISTANCE:
    case ORB_DFT_OUTPUT_DISTANCE:
    case ORB_DFT_FWD_DISTANCE:
    case ORB_DFT_BWD_DISTANCE: {
      if (!fits(v.l)) return ORB_DFT_LENGTH_LIMIT;
      auto f = key == ORB_DFT_INPUT_DISTANCE    ? m->setInputDistance
               : key == ORB_DFT_OUTPUT_DISTANCE ? m->setOutputDistance
               : key == ORB_DFT_FWD_DISTANCE    ? m->setFwdDistance
                                                : m->setBwdDistance;
      return f(n, int(v.l));
    }
    case ORB_DFT_INPUT_STRIDES:
    case ORB_DFT_OUTPUT_STRIDES:
    case ORB_DFT_FWD_STRIDES:
    case ORB_DFT_BWD_STRIDES: {
      int s[kMaxDims + 1];
      if (long st = to_node_strides(n, v.a, s)) return st;
      auto f = key == ORB_DFT_INPUT_STRIDES    ? m->setInputStrides
               : key == ORB_DFT_OUTPUT_STRIDES ? m->setOutputStrides
               : key == ORB_DFT_FWD_STRIDES    ? m->setFwdStrides
                                               : m->setBwdStrides;
      return f(n, s);
    }
    case ORB_DFT_PLACEMENT:
      return set_field(n, n->placement, v.l, {ORB_DFT_INPLACE, ORB_DFT_NOT_INPLACE});
    case ORB_DFT_COMPLEX_STORAGE:
      return set_field(n, n->complex_storage, v.l, {ORB_DFT_COMPLEX_COMPLEX, ORB_DFT_REAL_REAL});
    case ORB_DFT_REAL_STORAGE:
      return set_field(n, n->real_storage, v.l, {ORB_DFT_REAL_REAL});
    case ORB_DFT_CONJUGATE_EVEN_STORAGE:
      return set_field(n, n->conjugate_even_storage, v.l, {ORB_DFT_COMPLEX_COMPLEX, ORB_DFT_COMPLEX_REAL});
    case ORB_DFT_PACKED_FORMAT:
      return set_field(n, n->packed_format, v.l,
                       {ORB_DFT_CCS_FORMAT, ORB_DFT_PACK_FORMAT, ORB_DFT_PERM_FORMAT, ORB_DFT_CCE_FORMAT});
    case ORB_DFT_WORKSPACE:
      if (long st = set_field(n, n->workspace, v.l, {ORB_DFT_ALLOW, ORB_DFT_AVOID, ORB_DFT_NONE})) return st;
      return m->setWorkspace(n, int(v.l));
    case ORB_DFT_ORDERING:
      return set_field(n, n->ordering, v.l, {ORB_DFT_ORDERED});
    case ORB_DFT_TRANSPOSE:
      return set_field(n, n->transpose, v.l, {ORB_DFT_NONE});
    case ORB_DFT_NUMBER_OF_USER_THREADS:
      if (v.l < 0 || !fits(v.l)) return ORB_DFT_INVALID_CONFIGURATION;
      n->uncommit(n);
      n->user_threads = int(v.l);
      return 0;
    case ORB_DFT_THREAD_LIMIT:
      if (v.l < 0 || !fits(v.l)) return ORB_DFT_INVALID_CONFIGURATION;
      return m->setThreadLimit(n, int(v.l));
    case ORB_DFT_DESTROY_INPUT: {
      if (!one_of(v.l, {ORB_DFT_ALLOW, ORB_DFT_AVOID})) return ORB_DFT_INVALID_CONFIGURATION;
      const int o = v.l == ORB_DFT_ALLOW ? n->options | 16 : n->options & ~16;
      if (o != n->options) n->uncommit(n);
      n->options = o;
      return 0;
    }
    case ORB_DFT_DESCRIPTOR_NAME:
      if (!v.s) return ORB_DFT_INVALID_CONFIGURATION;
      return m->setDescriptorName(n, v.s, int(strnlen(v.s, 10)), 0);
    default:
      return type_of(key) == t_unknown ? ORB_DFT_BAD_KEY : ORB_DFT_INVALID_CONFIGURATION;
  }
}

long get(orb_dft_handle h, long key, void* out) {
  const DftiNode* n = node_of(h);
  if (!n || !out) return ORB_DFT_INVALID_CONFIGURATION;
  const orb_dfti_methods* m = n->methods;
  auto* l = static_cast<long*>(out);
  int iv = 0;
  long st = 0;
  switch (key) {
    case ORB_DFT_FORWARD_SCALE:
    case ORB_DFT_BACKWARD_SCALE:
      return m->getScale(n, int(key), static_cast<double*>(out));
    case ORB_DFT_LENGTHS: {
      int len[kMaxDims];
      m->getLengths(n, len);
      for (int i = 0; i < n->rank; ++i) l[i] = len[n->rank - 1 - i];
      return 0;
    }
    case ORB_DFT_INPUT_STRIDES:
    case ORB_DFT_OUTPUT_STRIDES:
    case ORB_DFT_FWD_STRIDES:
    case ORB_DFT_BWD_STRIDES: {
      int s[kMaxDims + 1];
      auto f = key == ORB_DFT_INPUT_STRIDES    ? m->getInputStrides
               : key == ORB_DFT_OUTPUT_STRIDES ? m->getOutputStrides
               : key == ORB_DFT_FWD_STRIDES    ? m->getFwdStrides
                                               : m->getBwdStrides;
      f(n, s);
      from_node_strides(n, s, l);
      return 0;
    }
    case ORB_DFT_DESCRIPTOR_NAME: {
      auto* t = static_cast<char*>(out);
      const int k = m->getDescriptorName(n, t, 10);
      t[k] = 0;
      return 0;
    }
    case ORB_DFT_VERSION: {
      auto* t = static_cast<char*>(out);
      const int k = orb::core::dft_kernels().dfti_get_version_string(t, 198);
      t[k] = 0;
      return 0;
    }
    case ORB_DFT_NUMBER_OF_TRANSFORMS: st = m->getNumberOfTransforms(n, &iv); break;
    case ORB_DFT_INPUT_DISTANCE: st = m->getInputDistance(n, &iv); break;
    case ORB_DFT_OUTPUT_DISTANCE: st = m->getOutputDistance(n, &iv); break;
    case ORB_DFT_FWD_DISTANCE: st = m->getFwdDistance(n, &iv); break;
    case ORB_DFT_BWD_DISTANCE: st = m->getBwdDistance(n, &iv); break;
    case ORB_DFT_THREAD_LIMIT: st = m->getThreadLimit(n, &iv); break;
    case ORB_DFT_DIMENSION: st = m->getRank(n, &iv); break;
    case ORB_DFT_PRECISION: iv = n->precision; break;
    case ORB_DFT_FORWARD_DOMAIN: iv = n->domain; break;
    case ORB_DFT_PLACEMENT: iv = n->placement; break;
    case ORB_DFT_COMPLEX_STORAGE: iv = n->complex_storage; break;
    case ORB_DFT_REAL_STORAGE: iv = n->real_storage; break;
    case ORB_DFT_CONJUGATE_EVEN_STORAGE: iv = n->conjugate_even_storage; break;
    case ORB_DFT_PACKED_FORMAT: iv = n->packed_format; break;
    case ORB_DFT_WORKSPACE: iv = n->workspace; break;
    case ORB_DFT_ORDERING: iv = n->ordering; break;
    case ORB_DFT_TRANSPOSE: iv = n->transpose; break;
    case ORB_DFT_COMMIT_STATUS: iv = n->commit_status; break;
    case ORB_DFT_NUMBER_OF_USER_THREADS: iv = n->user_threads; break;
    case ORB_DFT_DESTROY_INPUT: iv = n->options & 16 ? ORB_DFT_ALLOW : ORB_DFT_AVOID; break;
    default:
      return ORB_DFT_BAD_KEY;
  }
  *l = iv;
  return st;
}

long compute(orb_dft_handle h, void* a, void* b, void* c, void* d, bool fwd) {
  DftiNode* n = node_of(h);
  if (!n) return ORB_DFT_INVALID_CONFIGURATION;
  if (n->commit_status != DFTI_COMMITTED || !n->compute_fwd) return ORB_DFT_NOT_COMMITTED;
  void* p[4] = {a, b, c, d};
  for (int i = 0; i < n->data_args; ++i)
    if (!p[i]) return ORB_DFT_INVALID_CONFIGURATION;
  const long st = (fwd ? n->compute_fwd : n->compute_bwd)(n, a, b, c, d);
  orb::core::dft_kernels().dfti_verbose(n);
  return st;
}

// The pointers after the first, as many as the committed node takes.
long compute_va(orb_dft_handle h, void* a, va_list ap, bool fwd) {
  DftiNode* n = node_of(h);
  void* p[4] = {a, nullptr, nullptr, nullptr};
  const int count = n && n->commit_status == DFTI_COMMITTED ? n->data_args : 1;
  for (int i = 1; i < count && i < 4; ++i) p[i] = va_arg(ap, void*);
  return compute(h, p[0], p[1], p[2], p[3], fwd);
}

// The value of a variadic set call, read as the key's type asks.
value take_value(long key, va_list ap) {
  value v{};
  switch (type_of(key)) {
    case t_long: v.l = va_arg(ap, long); break;
    case t_double: v.d = va_arg(ap, double); break;
    case t_array: v.a = va_arg(ap, const long*); break;
    case t_text: v.s = va_arg(ap, const char*); break;
    case t_unknown: break;
  }
  return v;
}

}  // namespace

extern "C" {

long orb_dft_create_descriptor_1d(orb_dft_handle* h, enum orb_dft_precision p, enum orb_dft_domain d, long length) {
  return create(h, p, d, 1, &length);
}
long orb_dft_create_descriptor_md(orb_dft_handle* h, enum orb_dft_precision p, enum orb_dft_domain d, long rank,
                                  const long* lengths) {
  return create(h, p, d, rank, lengths);
}
long orb_dft_create_descriptor(orb_dft_handle* h, enum orb_dft_precision p, enum orb_dft_domain d, long rank, ...) {
  va_list ap;
  va_start(ap, rank);
  long st;
  if (rank == 1) {
    const long length = va_arg(ap, long);
    st = create(h, p, d, 1, &length);
  } else {
    st = create(h, p, d, rank, rank > 1 ? va_arg(ap, const long*) : nullptr);
  }
  va_end(ap);
  return st;
}

long orb_dft_set_value(orb_dft_handle h, enum orb_dft_config_param key, ...) {
  va_list ap;
  va_start(ap, key);
  const value v = take_value(key, ap);
  va_end(ap);
  return set(h, key, v);
}
long orb_dft_get_value(orb_dft_handle h, enum orb_dft_config_param key, ...) {
  va_list ap;
  va_start(ap, key);
  void* out = va_arg(ap, void*);
  va_end(ap);
  return get(h, key, out);
}
long orb_dft_set_value_long(orb_dft_handle h, enum orb_dft_config_param key, long x) {
  if (type_of(key) != t_long && type_of(key) != t_unknown) return ORB_DFT_INVALID_CONFIGURATION;
  return set(h, key, value{x, 0, nullptr, nullptr});
}
long orb_dft_set_value_double(orb_dft_handle h, enum orb_dft_config_param key, double x) {
  if (type_of(key) != t_double && type_of(key) != t_unknown) return ORB_DFT_INVALID_CONFIGURATION;
  return set(h, key, value{0, x, nullptr, nullptr});
}
long orb_dft_set_value_array(orb_dft_handle h, enum orb_dft_config_param key, const long* x) {
  if (type_of(key) != t_array && type_of(key) != t_unknown) return ORB_DFT_INVALID_CONFIGURATION;
  return set(h, key, value{0, 0, x, nullptr});
}
long orb_dft_set_value_string(orb_dft_handle h, enum orb_dft_config_param key, const char* x) {
  if (type_of(key) != t_text && type_of(key) != t_unknown) return ORB_DFT_INVALID_CONFIGURATION;
  return set(h, key, value{0, 0, nullptr, x});
}
long orb_dft_get_value_long(orb_dft_handle h, enum orb_dft_config_param key, long* x) { return get(h, key, x); }
long orb_dft_get_value_double(orb_dft_handle h, enum orb_dft_config_param key, double* x) { return get(h, key, x); }
long orb_dft_get_value_array(orb_dft_handle h, enum orb_dft_config_param key, long* x) { return get(h, key, x); }
long orb_dft_get_value_string(orb_dft_handle h, enum orb_dft_config_param key, char* x) { return get(h, key, x); }

long orb_dft_commit_descriptor(orb_dft_handle h) {
  DftiNode* n = node_of(h);
  if (!n) return ORB_DFT_INVALID_CONFIGURATION;
  const long st = n->methods->commit(n);
  return st == DFTI_DECLINED ? long(ORB_DFT_INVALID_CONFIGURATION) : st;
}

long orb_dft_compute_forward(orb_dft_handle h, void* data, ...) {
  va_list ap;
  va_start(ap, data);
  const long st = compute_va(h, data, ap, true);
  va_end(ap);
  return st;
}
long orb_dft_compute_backward(orb_dft_handle h, void* data, ...) {
  va_list ap;
  va_start(ap, data);
  const long st = compute_va(h, data, ap, false);
  va_end(ap);
  return st;
}
long orb_dft_compute_forward_ptrs(orb_dft_handle h, void* a, void* b, void* c, void* d) {
  return compute(h, a, b, c, d, true);
}
long orb_dft_compute_backward_ptrs(orb_dft_handle h, void* a, void* b, void* c, void* d) {
  return compute(h, a, b, c, d, false);
}

long orb_dft_copy_descriptor(orb_dft_handle h, orb_dft_handle* copy) {
  DftiNode* n = node_of(h);
  if (!n || !copy) return ORB_DFT_INVALID_CONFIGURATION;
  DftiNode* c = nullptr;
  if (long st = n->methods->copy_node(n, &c)) return st;
  orb_dft_bless_node_thr(c);
  *copy = reinterpret_cast<orb_dft_handle>(c);
  return 0;
}

long orb_dft_free_descriptor(orb_dft_handle* h) {
  if (!h) return ORB_DFT_INVALID_CONFIGURATION;
  DftiNode* n = node_of(*h);
  if (!n) return *h ? ORB_DFT_INVALID_CONFIGURATION : 0;
  n->magic = 0;
  n->destroy(n);
  *h = nullptr;
  return 0;
}

const char* orb_dft_error_message(long status) {
  switch (status) {
    case ORB_DFT_NO_ERROR: return "no error";
    case ORB_DFT_MEMORY_ERROR: return "memory ran out";
    case ORB_DFT_INVALID_CONFIGURATION: return "invalid or inconsistent configuration";
    case ORB_DFT_UNIMPLEMENTED: return "combination of settings not implemented";
    case ORB_DFT_INTERNAL_ERROR: return "internal error";
    case ORB_DFT_LENGTH_LIMIT: return "length past the supported limit";
    case ORB_DFT_BAD_KEY: return "unknown configuration key";
    case ORB_DFT_NOT_COMMITTED: return "descriptor not committed";
    default: return "unknown status";
  }
}

long orb_dft_error_class(long status, long error_class) { return status == error_class ? 1 : 0; }

// ---- Back-call names for the library's own users of the DFT: the same
// routines with untyped handles, and non-variadic twins.
long orb_dft_dfticreatedescriptor_s_1d(void** h, long domain, long length) {
  return create(reinterpret_cast<orb_dft_handle*>(h), ORB_DFT_SINGLE, domain, 1, &length);
}
long orb_dft_dfticreatedescriptor_d_1d(void** h, long domain, long length) {
  return create(reinterpret_cast<orb_dft_handle*>(h), ORB_DFT_DOUBLE, domain, 1, &length);
}
long orb_dft_dfticreatedescriptor_s_md(void** h, long domain, long rank, const long* lengths) {
  return create(reinterpret_cast<orb_dft_handle*>(h), ORB_DFT_SINGLE, domain, rank, lengths);
}
long orb_dft_dfticreatedescriptor_d_md(void** h, long domain, long rank, const long* lengths) {
  return create(reinterpret_cast<orb_dft_handle*>(h), ORB_DFT_DOUBLE, domain, rank, lengths);
}
long orb_dft_dftisetvalue(void* h, long key, ...) {
  va_list ap;
  va_start(ap, key);
  const value v = take_value(key, ap);
  va_end(ap);
  return set(static_cast<orb_dft_handle>(h), key, v);
}
long orb_dft_dfticommitdescriptor(void* h) { return orb_dft_commit_descriptor(static_cast<orb_dft_handle>(h)); }
long orb_dft_dfticomputeforward(void* h, void* data, ...) {
  va_list ap;
  va_start(ap, data);
  const long st = compute_va(static_cast<orb_dft_handle>(h), data, ap, true);
  va_end(ap);
  return st;
}
long orb_dft_dfticomputebackward(void* h, void* data, ...) {
  va_list ap;
  va_start(ap, data);
  const long st = compute_va(static_cast<orb_dft_handle>(h), data, ap, false);
  va_end(ap);
  return st;
}
long orb_dft_dftifreedescriptor(void** h) { return orb_dft_free_descriptor(reinterpret_cast<orb_dft_handle*>(h)); }
long orb_dft_dftierrorclass(long status, long error_class) { return orb_dft_error_class(status, error_class); }

long orb_dft_dfti_create_descriptor_s_1d(void** h, int precision, int domain, int rank, int length) {
  if (precision != ORB_DFT_SINGLE || rank != 1) return ORB_DFT_INVALID_CONFIGURATION;
  return orb_dft_dfticreatedescriptor_s_1d(h, domain, length);
}
long orb_dft_dfti_create_descriptor_d_1d(void** h, int precision, int domain, int rank, int length) {
  if (precision != ORB_DFT_DOUBLE || rank != 1) return ORB_DFT_INVALID_CONFIGURATION;
  return orb_dft_dfticreatedescriptor_d_1d(h, domain, length);
}
long orb_dft_dfti_set_value_intval(void* h, int key, int v) {
  return set(static_cast<orb_dft_handle>(h), key, value{v, 0, nullptr, nullptr});
}
long orb_dft_dfti_commit_descriptor_external(void* h) { return orb_dft_dfticommitdescriptor(h); }
long orb_dft_dfti_compute_forward_s(void* h, float* a, float* b) {
  return compute(static_cast<orb_dft_handle>(h), a, b, nullptr, nullptr, true);
}
long orb_dft_dfti_compute_forward_d(void* h, double* a, double* b) {
  return compute(static_cast<orb_dft_handle>(h), a, b, nullptr, nullptr, true);
}
long orb_dft_dfti_compute_backward_s(void* h, float* a, float* b) {
  return compute(static_cast<orb_dft_handle>(h), a, b, nullptr, nullptr, false);
}
long orb_dft_dfti_compute_backward_d(void* h, double* a, double* b) {
  return compute(static_cast<orb_dft_handle>(h), a, b, nullptr, nullptr, false);
}
long orb_dft_dfti_free_descriptor_external(void** h) { return orb_dft_dftifreedescriptor(h); }
// Copies the status text into buffer (size bytes, terminated).
long orb_dft_dfti_error_message_external(char* buffer, int size, long status) {
  if (!buffer || size < 1) return ORB_DFT_INVALID_CONFIGURATION;
  orb_serv_strncpy_s(buffer, std::size_t(size), orb_dft_error_message(status), std::size_t(size - 1));
  return 0;
}

}  // extern "C"
