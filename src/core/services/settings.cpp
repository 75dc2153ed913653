// Settings the kernels consult: the reproducibility switch, the verbose
// switch, the clock and the verbose line. The environment is read once per
// process, on first use, so a kernel's answer cannot change in mid-run.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "orb/orb_service.h"

namespace {

bool same_word(const char* a, const char* b) {
  for (; *a && *b; ++a, ++b)
    if (std::tolower(static_cast<unsigned char>(*a)) != std::tolower(static_cast<unsigned char>(*b)))
      return false;
  return *a == *b;
}

// Unset, empty, "1", "auto" or "fast": the fastest path. Anything else, a
// typing slip included, asks for the ordered path: it costs speed, never
// reproducibility.
int read_cbwr() {
  const char* v = std::getenv("ORB_CBWR");
  if (!v || !*v || same_word(v, "1") || same_word(v, "auto") || same_word(v, "fast")) return 1;
  return 2;
}

int read_verbose() {
  const char* v = std::getenv("ORB_VERBOSE");
  if (!v || !*v) return 0;
  if (same_word(v, "on") || same_word(v, "yes") || same_word(v, "true")) return 1;
  char* end = nullptr;
  const long n = std::strtol(v, &end, 10);
  return (end != v && *end == '\0' && n == 1) ? 1 : 0;
}

int* verbose_word() {
  static int mode = read_verbose();
  return &mode;
}

}  // namespace

extern "C" {

int orb_serv_cbwr_get(int /*which: always 1*/) {
  static const int setting = read_cbwr();
  return setting;
}

int* orb_serv_verbose_mode(void) { return verbose_word(); }

double orb_serv_dsecnd(void) {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// One line per call, written with a single stdio call so that lines from
// several threads never interleave.
void orb_serv_print_verbose_info(int /*kind: always 0*/, const char* text, double seconds) {
  const char* unit = "s";
  double shown = seconds;
  if (seconds < 1e-3) {
    shown = seconds * 1e6, unit = "us";
  } else if (seconds < 1.0) {
    shown = seconds * 1e3, unit = "ms";
  }
  std::printf("orb_verbose: %s %.2f%s\n", text ? text : "", shown, unit);
  std::fflush(stdout);
}

}  // extern "C"
