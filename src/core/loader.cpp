// Choosing and loading the kernel library.
//
// The kernel libraries sit beside liborb_core.so.2. The core asks the
// processor for its level, tries the best build it can run, and on any
// failure (file missing, not loadable, wrong level, a kernel missing) says
// which library and why on stderr and tries the next. The portable build is
// compiled into the core itself, so the chain always ends in a working table.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "core/dispatch.hpp"
#include "orb/orb_service.h"

// The portable kernels linked into the core.
#define ORB_K(ret, kernel, pub, params, args) extern "C" ret orb_blas_def_##kernel params;
#include "frame/kernels.def"
#undef ORB_K
#define ORB_T(ret, routine, params, args) extern "C" ret orb_trans_def_orb_##routine params;
#include "frame/kernels_trans.def"
#undef ORB_T
#define ORB_DFT(ret, name, params, args) extern "C" ret orb_dft_def_##name params;
#define ORB_DFT_TABLE(type, name, extents) extern "C" const type orb_dft_def_##name extents;
#include "frame/kernels_dft.def"
#undef ORB_DFT
#undef ORB_DFT_TABLE

namespace orb::core {
namespace {

struct build {
  const char* tag;
  int level;         // processor level the build needs, and its dll_cpu_version
  const char* file;  // empty for the portable build inside the core
};
constexpr build kBuilds[] = {
    {"avx512", 9, "liborb_avx512.so.2"}, {"avx2", 7, "liborb_avx2.so.2"}, {"def", 0, ""}};
constexpr int kNumBuilds = sizeof(kBuilds) / sizeof(kBuilds[0]);

std::string core_directory() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&orb_kernel_level), &info) && info.dli_fname) {
    std::string path = info.dli_fname;
    const auto slash = path.rfind('/');
    if (slash != std::string::npos) return path.substr(0, slash + 1);
  }
  return {};
}


struct loaded {
  void* handle = nullptr;
  bool tried = false;
  std::string error;
};
loaded g_loaded[kNumBuilds];
std::mutex g_load_mutex;

// dlopen one build once; later calls return the same handle (or null).
void* open_build(int i) {
  std::lock_guard<std::mutex> lock(g_load_mutex);
  loaded& l = g_loaded[i];
  if (l.tried) return l.handle;
  l.tried = true;
  const std::string name = kBuilds[i].file;
  const std::string dir = core_directory();
  // Beside the core first; the library search path only when the file is
  // not there, so that the reason given is about the file we meant.
  const std::string path = dir + name;
  void* h = nullptr;
  if (!dir.empty() && access(path.c_str(), F_OK) == 0) {
    h = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  } else {
    h = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  }
  if (!h) {
    const char* e = dlerror();
    l.error = e ? e : "not found";
    return nullptr;
  }
  using level_fn = int (*)();
  auto lv = reinterpret_cast<level_fn>(dlsym(h, "dll_cpu_version"));
  if (!lv || lv() != kBuilds[i].level) {
    l.error = lv ? "it reports level " + std::to_string(lv()) + ", not " + std::to_string(kBuilds[i].level)
                 : "it has no dll_cpu_version";
    dlclose(h);
    return nullptr;
  }
  l.handle = h;
  return h;
}

bool fill_from(void* h, const char* tag, kernel_table& t, std::string& missing) {
  const std::string prefix = std::string("orb_blas_") + tag + "_";
#define ORB_K(ret, kernel, pub, params, args)                                     \
  t.kernel = reinterpret_cast<decltype(t.kernel)>(dlsym(h, (prefix + #kernel).c_str())); \
  if (!t.kernel) {                                                                \
    missing = prefix + #kernel;                                                   \
    return false;                                                                 \
  }
#include "frame/kernels.def"
#undef ORB_K
  return true;
}

void fill_portable(kernel_table& t) {
#define ORB_K(ret, kernel, pub, params, args) t.kernel = &orb_blas_def_##kernel;
#include "frame/kernels.def"
#undef ORB_K
  t.level = 0;
  t.name = "built-in portable kernels";
}

int requested_start(int cpu) {
  int start = 0;
  while (start < kNumBuilds - 1 && kBuilds[start].level > cpu) ++start;
  const char* want = std::getenv("ORB_ISA");
  if (!want || !*want) return start;
  for (int i = 0; i < kNumBuilds; ++i) {
    if (std::strcmp(want, kBuilds[i].tag) != 0) continue;
    if (i < start) {
      std::fprintf(stderr, "orb: ORB_ISA=%s asks for level %d but this processor is level %d; using %s\n",
                   want, kBuilds[i].level, cpu, kBuilds[start].tag);
      return start;
    }
    return i;
  }
  std::fprintf(stderr, "orb: ORB_ISA=%s is not one of avx512, avx2, def; ignoring it\n", want);
  return start;
}

kernel_table load() {
  kernel_table t{};
  const int cpu = orb_serv_cpu_detect();
  for (int i = requested_start(cpu); i < kNumBuilds; ++i) {
    if (std::strcmp(kBuilds[i].tag, "def") == 0) break;
    const std::string name = kBuilds[i].file;
    void* h = open_build(i);
    std::string missing;
    if (h && fill_from(h, kBuilds[i].tag, t, missing)) {
      t.level = kBuilds[i].level;
      t.name = kBuilds[i].file;
      return t;
    }
    std::fprintf(stderr, "orb: cannot use %s: %s; trying %s\n", name.c_str(),
                 h ? ("it lacks " + missing).c_str() : g_loaded[i].error.c_str(),
                 i + 2 < kNumBuilds ? kBuilds[i + 1].file : "the built-in portable kernels");
  }
  fill_portable(t);
  return t;
}

bool fill_trans_from(void* h, const char* tag, trans_table& t, std::string& missing) {
  const std::string prefix = std::string("orb_trans_") + tag + "_orb_";
#define ORB_T(ret, routine, params, args)                                           \
  t.routine = reinterpret_cast<decltype(t.routine)>(dlsym(h, (prefix + #routine).c_str())); \
  if (!t.routine) {                                                                 \
    missing = prefix + #routine;                                                    \
    return false;                                                                   \
  }
#include "frame/kernels_trans.def"
#undef ORB_T
  return true;
}

void fill_trans_portable(trans_table& t) {
#define ORB_T(ret, routine, params, args) t.routine = &orb_trans_def_orb_##routine;
#include "frame/kernels_trans.def"
#undef ORB_T
  t.level = 0;
  t.name = "built-in portable kernels";
}

// A domain's kernels (transposition, DFT) come from the library the BLAS
// table was filled from, so that one process never mixes builds; where that
// library lacks one, the built-in portable kernels serve.
template <class Table>
Table load_domain(const char* what, bool (*fill_from)(void*, const char*, Table&, std::string&),
                  void (*fill_portable)(Table&)) {
  Table t{};
  const kernel_table& k = kernels();
  for (int i = 0; i < kNumBuilds; ++i) {
    if (kBuilds[i].level != k.level || std::strcmp(kBuilds[i].tag, "def") == 0) continue;
    std::string missing;
    void* h = open_build(i);
    if (h && fill_from(h, kBuilds[i].tag, t, missing)) {
      t.level = k.level;
      t.name = k.name;
      return t;
    }
    std::fprintf(stderr, "orb: cannot take the %s kernels from %s: it lacks %s; using the built-in portable kernels\n",
                 what, kBuilds[i].file, missing.c_str());
  }
  fill_portable(t);
  return t;
}

trans_table load_trans() { return load_domain<trans_table>("transposition", fill_trans_from, fill_trans_portable); }

bool fill_dft_from(void* h, const char* tag, dft_table& t, std::string& missing) {
  const std::string prefix = std::string("orb_dft_") + tag + "_";
#define ORB_DFT_FILL(name)                                                          \
  t.name = reinterpret_cast<decltype(t.name)>(dlsym(h, (prefix + #name).c_str())); \
  if (!t.name) {                                                                \
    missing = prefix + #name;                                                   \
    return false;                                                               \
  }
#define ORB_DFT(ret, name, params, args) ORB_DFT_FILL(name)
#define ORB_DFT_TABLE(type, name, extents) ORB_DFT_FILL(name)
#include "frame/kernels_dft.def"
#undef ORB_DFT
#undef ORB_DFT_TABLE
#undef ORB_DFT_FILL
  return true;
}

void fill_dft_portable(dft_table& t) {
#define ORB_DFT(ret, name, params, args) t.name = &orb_dft_def_##name;
#define ORB_DFT_TABLE(type, name, extents) t.name = &orb_dft_def_##name;
#include "frame/kernels_dft.def"
#undef ORB_DFT
#undef ORB_DFT_TABLE
  t.level = 0;
  t.name = "built-in portable kernels";
}

dft_table load_dft() { return load_domain<dft_table>("DFT", fill_dft_from, fill_dft_portable); }

}  // namespace

const dft_table& dft_kernels() {
  static const dft_table table = load_dft();
  return table;
}

void* dft_kernel_symbol(const char* tag, const char* name) {
  for (int i = 0; i < kNumBuilds; ++i) {
    if (std::strcmp(tag, kBuilds[i].tag) != 0) continue;
    const std::string sym = std::string("orb_dft_") + tag + "_" + name;
    if (std::strcmp(tag, "def") == 0) return dlsym(RTLD_DEFAULT, sym.c_str());
    void* h = open_build(i);
    return h ? dlsym(h, sym.c_str()) : nullptr;
  }
  return nullptr;
}

const trans_table& trans_kernels() {
  static const trans_table table = load_trans();
  return table;
}

void* trans_kernel_symbol(const char* tag, const char* name) {
  for (int i = 0; i < kNumBuilds; ++i) {
    if (std::strcmp(tag, kBuilds[i].tag) != 0) continue;
    const std::string sym = std::string("orb_trans_") + tag + "_orb_" + name;
    if (std::strcmp(tag, "def") == 0) return dlsym(RTLD_DEFAULT, sym.c_str());
    void* h = open_build(i);
    return h ? dlsym(h, sym.c_str()) : nullptr;
  }
  return nullptr;
}

const kernel_table& kernels() {
  static const kernel_table table = load();
  return table;
}

void* kernel_symbol(const char* tag, const char* name) {
  for (int i = 0; i < kNumBuilds; ++i) {
    if (std::strcmp(tag, kBuilds[i].tag) != 0) continue;
    const std::string sym = std::string("orb_blas_") + tag + "_" + name;
    if (std::strcmp(tag, "def") == 0) return dlsym(RTLD_DEFAULT, sym.c_str());
    void* h = open_build(i);
    return h ? dlsym(h, sym.c_str()) : nullptr;
  }
  return nullptr;
}

}  // namespace orb::core

extern "C" int orb_kernel_level(void) { return orb::core::kernels().level; }
extern "C" const char* orb_kernel_library(void) { return orb::core::kernels().name; }

extern "C" void* orb_test_kernel(const char* tag, const char* name) {
  return orb::core::kernel_symbol(tag, name);
}

extern "C" void* orb_test_trans_kernel(const char* tag, const char* name) {
  return orb::core::trans_kernel_symbol(tag, name);
}

extern "C" void* orb_test_dft_kernel(const char* tag, const char* name) {
  return orb::core::dft_kernel_symbol(tag, name);
}

extern "C" const void* orb_test_dft_loaded(const char* name) {
  const orb::core::dft_table& t = orb::core::dft_kernels();
#define ORB_DFT(ret, kname, params, args) \
  if (std::strcmp(name, #kname) == 0) return reinterpret_cast<const void*>(t.kname);
#define ORB_DFT_TABLE(type, kname, extents) ORB_DFT(, kname, , )
#include "frame/kernels_dft.def"
#undef ORB_DFT
#undef ORB_DFT_TABLE
  return nullptr;
}
