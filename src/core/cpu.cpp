// Processor probes. The level scale is the one dll_cpu_version answers on;
// a level counts only when the operating system also saves the registers
// it needs (XCR0), so a processor with AVX-512 under an OS that does not
// enable it reports the AVX2 level.
#include <cpuid.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "orb/orb_service.h"

namespace {

struct cpu_bits {
  unsigned max_leaf = 0;
  unsigned l1_ecx = 0, l1_edx = 0;  // leaf 1
  unsigned l7_ebx = 0, l7_ecx = 0, l7_edx = 0;  // leaf 7, subleaf 0
  std::uint64_t xcr0 = 0;
};

cpu_bits read_bits() {
  cpu_bits b;
  unsigned a, bx, c, d;
  if (!__get_cpuid(0, &a, &bx, &c, &d)) return b;
  b.max_leaf = a;
  __cpuid(1, a, bx, c, d);
  b.l1_ecx = c, b.l1_edx = d;
  if (b.max_leaf >= 7) {
    __cpuid_count(7, 0, a, bx, c, d);
    b.l7_ebx = bx, b.l7_ecx = c, b.l7_edx = d;
  }
  if (b.l1_ecx & (1u << 27)) {  // OSXSAVE: XGETBV is allowed
    unsigned lo, hi;
    __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    b.xcr0 = (std::uint64_t(hi) << 32) | lo;
  }
  return b;
}

const cpu_bits& bits() {
  static const cpu_bits b = read_bits();
  return b;
}

bool has(unsigned word, int bit) { return (word >> bit) & 1u; }

bool os_ymm() { return (bits().xcr0 & 0x6) == 0x6; }
bool os_zmm() { return (bits().xcr0 & 0xe6) == 0xe6; }

bool avx512_f() { return os_zmm() && has(bits().l7_ebx, 16); }
bool avx512_core() {
  const unsigned e = bits().l7_ebx;
  return avx512_f() && has(e, 17) /*DQ*/ && has(e, 30) /*BW*/ && has(e, 31) /*VL*/;
}
bool avx512_vnni() { return avx512_core() && has(bits().l7_ecx, 11); }

int detect() {
  const cpu_bits& b = bits();
  const bool avx = os_ymm() && has(b.l1_ecx, 28);
  const bool avx2 = avx && has(b.l7_ebx, 5) && has(b.l1_ecx, 12) /*FMA*/ && has(b.l1_ecx, 29) /*F16C*/;
  if (avx512_core() && avx2) return 9;
  if (avx512_f() && avx2) return 8;
  if (avx2) return 7;
  if (avx) return 6;
  if (has(b.l1_ecx, 20)) return 5;  // SSE4.2
  if (has(b.l1_ecx, 19)) return 4;  // SSE4.1
  if (has(b.l1_ecx, 9)) return 3;   // SSSE3
  if (has(b.l1_ecx, 0)) return 2;   // SSE3
  if (has(b.l1_edx, 26)) return 1;  // SSE2
  return 0;
}

// Data and unified cache sizes by level (index 1 to 3), from the
// deterministic cache leaf: 4 on Intel, 0x8000001D on AMD (with topology
// extensions). Both list one cache per subleaf in the same format. Where
// neither answers, the C library's sysconf view is used.
struct cache_sizes {
  std::int64_t level[4] = {0, 0, 0, 0};
};

void from_cache_leaf(unsigned leaf, cache_sizes& out) {
  for (unsigned sub = 0; sub < 16; ++sub) {
    unsigned a, b, c, d;
    __cpuid_count(leaf, sub, a, b, c, d);
    const unsigned type = a & 0x1f;  // 0 no more caches, 1 data, 2 instruction, 3 unified
    if (type == 0) break;
    const unsigned lvl = (a >> 5) & 0x7;
    if (type == 2 || lvl < 1 || lvl > 3) continue;
    const std::int64_t ways = ((b >> 22) & 0x3ff) + 1, parts = ((b >> 12) & 0x3ff) + 1;
    const std::int64_t line = (b & 0xfff) + 1, sets = std::int64_t(c) + 1;
    out.level[lvl] = ways * parts * line * sets;
  }
}

cache_sizes read_caches() {
  cache_sizes s;
  unsigned a, b, c, d;
  if (__get_cpuid(0, &a, &b, &c, &d)) {
    const unsigned max_leaf = a;
    char vendor[13] = {};
    std::memcpy(vendor, &b, 4), std::memcpy(vendor + 4, &d, 4), std::memcpy(vendor + 8, &c, 4);
    if (std::strcmp(vendor, "GenuineIntel") == 0 && max_leaf >= 4) {
      from_cache_leaf(4, s);
    } else if (std::strcmp(vendor, "AuthenticAMD") == 0 || std::strcmp(vendor, "HygonGenuine") == 0) {
      const unsigned max_ext = __get_cpuid_max(0x80000000u, nullptr);
      if (max_ext >= 0x8000001Du && __get_cpuid(0x80000001u, &a, &b, &c, &d) && (c & (1u << 22)))
        from_cache_leaf(0x8000001Du, s);
    }
  }
#if defined(_SC_LEVEL1_DCACHE_SIZE)
  const int names[4] = {0, _SC_LEVEL1_DCACHE_SIZE, _SC_LEVEL2_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE};
  for (int l = 1; l <= 3; ++l)
    if (s.level[l] == 0) {
      const long v = sysconf(names[l]);
      if (v > 0) s.level[l] = v;
    }
#endif
  return s;
}

}  // namespace

extern "C" {

// Selector 1 to 3: that level's data or unified cache; 0: the last level
// present. 0 for anything unknown. Results above 2 GiB are clamped.
int orb_serv_get_cache_size(int selector) {
  static const cache_sizes s = read_caches();
  std::int64_t v = 0;
  if (selector >= 1 && selector <= 3) {
    v = s.level[selector];
  } else if (selector == 0) {
    for (int l = 3; l >= 1 && v == 0; --l) v = s.level[l];
  }
  return v > 0x7fffffff ? 0x7fffffff : int(v);
}

int orb_serv_cpu_detect(void) {
  static const int level = detect();
  return level;
}

// Second generation: VNNI without the third generation's VBMI2/BITALG.
int orb_serv_cpuistvl(void) {
  const unsigned c = bits().l7_ecx;
  return avx512_vnni() && !(has(c, 6) && has(c, 12)) ? 1 : 0;
}
// Third generation: VNNI together with VBMI2 and BITALG.
int orb_serv_cpuisvsq(void) {
  const unsigned c = bits().l7_ecx;
  return avx512_vnni() && has(c, 6) && has(c, 12) ? 1 : 0;
}
// A later generation still: half-precision AVX-512 or AMX tiles.
int orb_serv_cpuisnrd(void) {
  const unsigned d = bits().l7_edx;
  return avx512_core() && (has(d, 23) || has(d, 24)) ? 1 : 0;
}

}  // extern "C"
