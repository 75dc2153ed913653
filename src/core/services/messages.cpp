// The message catalogue and the printing services of the diagnostics.
//
// The PDE routines build their reports from catalogue messages chosen by
// number, with arguments passed as texts. A message's %s places take the
// arguments in order; a missing argument reads as empty and extra ones are
// ignored, so a mismatch between caller and catalogue can never read past
// the argument list. Only %s and %% are interpreted: the catalogue's texts
// are data, not printf formats.
//
// Numbers: 0 starts every report; 10 to 395 belong to the Poisson and
// Helmholtz solvers, 396 to 565 to the trigonometric transforms, 1184 to
// 1219 to the spherical and non-uniform solvers. A number of those ranges
// without a text of its own gets its family's general form, which still
// shows every argument.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "orb/orb_service.h"

namespace {

struct message {
  int number;
  const char* text;
};

// Sorted by number. Argument lists are noted where a text has any.
constexpr message kCatalogue[] = {
    {0, ""},
    // Poisson and Helmholtz solvers.
    {10, "ORB Poisson Library diagnostics"},
    {11, "ERROR:"},
    {12, "WARNING:"},
    // status not fit for the call: (routine, status)
    {13, "%s was called with status ipar[0] = %s: an earlier call failed or did not finish."},
    {14, "Call the init routine again to start a new sequence of calls."},
    {15, "Check that ipar was not changed between the calls."},
    {16, "Solve only after commit has returned status 0 or 1."},
    {17, "The routine returns without changing f."},
    // mesh size: (name, value)
    {18, "The number of mesh intervals %s = %s is not valid."},
    {19, "nx, the number of intervals along x, must be at least 1."},
    {20, "ny, the number of intervals along y, must be at least 1."},
    {21, "nz, the number of intervals along z, must be at least 1."},
    {22, "Pass the sizes to the init routine again."},
    // boundary conditions: (BCtype)
    {38, "The boundary condition string BCtype = \"%s\" is not valid."},
    {39, "Each side takes D (Dirichlet), N (Neumann) or P (periodic), in either case; "
         "a periodic condition must be set on both ends of its direction."},
    {40, "The sides are ordered x left, x right, y left, y right, then z left, z right in 3D."},
    {41, "Correct BCtype and call the init routine again."},
    // domain and mesh steps: (direction, value)
    {54, "The length of the domain along %s is %s, which is not positive."},
    {55, "The length along x is bx - ax."},
    {56, "The length along y is by - ay."},
    {57, "The length along z is bz - az."},
    {58, "The mesh steps have been set to the lengths divided by the numbers of intervals."},
    // coefficient q: (value)
    {59, "The coefficient q = %s is negative."},
    {60, "With a negative q the equation is not of the standard Helmholtz form."},
    {61, "The solver goes on, but the discrete problem may be singular or badly conditioned."},
    {62, "The status is 1 to record this warning."},
    {63, "Check the value of q passed to the init routine."},
    // failures inside the solver: (details)
    {79, "A step of the solver failed: %s"},
    {80, "The trigonometric transform along %s failed with status %s."},
    {81, "The Fourier transform layer reported: %s"},
    {82, "Memory for the solver's work record could not be obtained."},
    {83, "The spectrum could not be formed: the mesh step %s is zero."},
    {84, "The problem is singular (Neumann or periodic on every side with q = 0): "
         "its solution is fixed only up to a constant."},
    {85, "The stored offsets in ipar do not match the sizes; ipar was changed after commit."},
    {86, "The boundary code %s on side %s is not one of 0, 1, 2."},
    {87, "The tolerance dpar[4] = %s is not positive; the default is used."},
    // Trigonometric transforms.
    {396, "ORB Trigonometric Transforms diagnostics"},
    {397, "ERROR:"},
    {398, "WARNING:"},
    {408, "The log file %s could not be opened."},
    {409, "The diagnostics of this call are shown here instead; check that the current directory "
          "can be written."},
    // code 0: (status)
    {449, "Commit was called with status ipar[6] = %s."},
    {450, "An earlier call failed; call the init routine again."},
    // code 1: (n)
    {451, "The transform size n = %s is too small."},
    {452, "n must be at least 2."},
    // code 3: (type)
    {453, "The transform type ipar[5] = %s is not supported."},
    {454, "The types are 0 sine, 1 cosine, 2 staggered cosine, 3 staggered sine, "
          "4 staggered-2 cosine and 5 staggered-2 sine."},
    {455, "The transform type ipar[5] = %s differs from the type the transform was committed with."},
    {456, "Call commit again after changing the type."},
    // code 4
    {458, "The transform has not been committed."},
    {459, "Call the commit routine before the forward or backward transform."},
    // code 5: (direction, status)
    {461, "The %s transform was called with status ipar[6] = %s."},
    {462, "An earlier call failed, or commit was not called."},
    {463, "Call the init and commit routines again."},
    // code 6
    {465, "The size n in ipar[0] is 0, so the result cannot be scaled."},
    {466, "ipar must not be changed after commit."},
    // code 300: (old tolerance, new tolerance)
    {467, "The tolerance dpar[0] = %s is negative."},
    {468, "It has been replaced by n*1e-12 = %s."},
    {469, "The tolerance bounds the boundary values that count as zero."},
    {470, "The status is 10 to record the repair."},
    {471, "Set dpar[0] after init and before commit to choose another tolerance."},
    // codes 302, 303: (value, tolerance)
    {472, "The boundary value f[0] = %s is above the tolerance %s."},
    {473, "The sine transform takes f[0] and f[n] to be zero."},
    {474, "The value is ignored; the status is 1 to record the warning."},
    {475, "The boundary value f[n] = %s is above the tolerance %s."},
    {476, "The sine transform takes f[0] and f[n] to be zero."},
    {477, "The value is ignored; the status is 1 to record the warning."},
    // code 307, 309: (value, tolerance)
    {478, "The boundary value f[n] = %s is above the tolerance %s; the staggered cosine transform "
          "ignores it."},
    {479, "The boundary value f[0] = %s is above the tolerance %s; the staggered sine transform "
          "ignores it."},
    // code 308: (threads)
    {480, "The number of threads ipar[9] = %s is negative; it has been set to 1."},
    // code 1001: (text)
    {481, "The Fourier transform layer reported: %s"},
    {482, "The transform's tables and handle were not made."},
    // Spherical and non-uniform solvers.
    {1184, "ORB spherical solver diagnostics"},
    {1185, "The number of intervals in longitude np = %s must be even."},
    {1186, "The number of intervals in latitude nt = %s must be at least 1."},
    {1187, "The pole flag ipar[%s] = %s is not valid."},
    {1188, "The sine of the latitude at node %s is nearly zero (%s) away from the poles."},
    {1189, "The mesh of the non-uniform solver along z is not increasing at node %s."},
};

constexpr int kCatalogueSize = int(sizeof(kCatalogue) / sizeof(kCatalogue[0]));
constexpr int kMaxArgs = 16;
constexpr std::size_t kTextSize = 4096;

const char* find_text(int number) {
  int lo = 0, hi = kCatalogueSize - 1;
  while (lo <= hi) {
    const int mid = (lo + hi) / 2;
    if (kCatalogue[mid].number == number) return kCatalogue[mid].text;
    if (kCatalogue[mid].number < number) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
    }
  }
  return nullptr;
}

const char* family_of(int number) {
  if (number >= 10 && number <= 395) return "Poisson Library";
  if (number >= 396 && number <= 565) return "Trigonometric Transforms";
  if (number >= 1184 && number <= 1219) return "spherical solver";
  return nullptr;
}

struct writer {
  char* out;
  std::size_t room, used = 0;
  void put(const char* s, std::size_t n) {
    if (used + 1 >= room) return;
    if (n > room - 1 - used) n = room - 1 - used;
    std::memcpy(out + used, s, n);
    used += n;
  }
  void put(const char* s) { put(s, std::strlen(s)); }
};

// Fills buffer with message number and its arguments; always terminated.
void compose(char* buffer, std::size_t size, int number, int nargs, va_list ap) {
  const char* args[kMaxArgs];
  int n = 0;
  for (int i = 0; i < nargs; ++i) {
    const char* a = va_arg(ap, const char*);
    if (n < kMaxArgs) args[n++] = a ? a : "";
  }
  writer w{buffer, size};
  const char* text = find_text(number);
  if (text) {
    int next = 0;
    for (const char* p = text; *p;) {
      if (p[0] == '%' && p[1] == 's') {
        if (next < n) w.put(args[next]);
        ++next, p += 2;
      } else if (p[0] == '%' && p[1] == '%') {
        w.put("%", 1), p += 2;
      } else {
        const char* q = p + 1;
        while (*q && *q != '%') ++q;
        w.put(p, std::size_t(q - p));
        p = q;
      }
    }
  } else {
    char head[96];
    const char* family = family_of(number);
    if (family) {
      std::snprintf(head, sizeof head, "%s, note %d", family, number);
    } else {
      std::snprintf(head, sizeof head, "orb: message %d is not in the catalogue", number);
    }
    w.put(head);
    for (int i = 0; i < n; ++i) w.put(i == 0 ? ": " : ", "), w.put(args[i]);
  }
  buffer[w.used] = '\0';
}

thread_local char t_text[kTextSize];

}  // namespace

extern "C" {

const char* orb_serv_get_msg(int number, int nargs, ...) {
  va_list ap;
  va_start(ap, nargs);
  compose(t_text, kTextSize, number, nargs, ap);
  va_end(ap);
  return t_text;
}

void orb_serv_print(int stream, int number, int nargs, ...) {
  char text[kTextSize];
  va_list ap;
  va_start(ap, nargs);
  compose(text, kTextSize, number, nargs, ap);
  va_end(ap);
  std::FILE* f = stream == 2 ? stderr : stdout;
  std::fprintf(f, "%s\n", text);
  std::fflush(f);
}

void orb_serv_format_print(int /*zero*/, const char* format, int nargs, ...) {
  if (!format) return;
  va_list ap;
  va_start(ap, nargs);
  std::vprintf(format, ap);
  va_end(ap);
  std::fflush(stdout);
}

int orb_serv_printf_s(const char* format, ...) {
  if (!format) return -1;
  va_list ap;
  va_start(ap, format);
  const int n = std::vprintf(format, ap);
  va_end(ap);
  std::fflush(stdout);
  return n;
}

int orb_serv_fprintf_s(void* stream, const char* format, ...) {
  if (!stream || !format) return -1;
  va_list ap;
  va_start(ap, format);
  const int n = std::vfprintf(static_cast<std::FILE*>(stream), format, ap);
  va_end(ap);
  return n;
}

void* orb_serv_fopen(const char* name, const char* mode) {
  if (!name || !mode) return nullptr;
  return std::fopen(name, mode);
}

int orb_serv_fclose(void* stream) { return stream ? std::fclose(static_cast<std::FILE*>(stream)) : EOF; }

}  // extern "C"

// The catalogue must stay sorted for the binary search.
static_assert([] {
  for (int i = 1; i < kCatalogueSize; ++i)
    if (kCatalogue[i - 1].number >= kCatalogue[i].number) return false;
  return true;
}());
