// Processor probes. The level scale is the one dll_cpu_version answers on;
// a level counts only when the operating system also saves the registers
// it needs (XCR0), so a processor with AVX-512 under an OS that does not
// enable it reports the AVX2 level.
#include <cpuid.h>

#include <cstdint>

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

}  // namespace

extern "C" {

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
