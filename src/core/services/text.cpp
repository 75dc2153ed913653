// Bounded string and memory copies, and the version text.
//
// Every routine is given the size of its destination and writes nothing
// past it. Texts are cut to fit rather than dropped: a diagnostic that lost
// its tail is still worth more than an empty one. Return codes are in
// orb_service.h.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "orb/orb_service.h"

namespace {

std::size_t bounded_length(const char* s, std::size_t max) {
  const void* z = std::memchr(s, '\0', max);
  return z ? std::size_t(static_cast<const char*>(z) - s) : max;
}

// Formats into dest (room bytes, terminator included) and writes at most
// limit characters. Returns the length written, or -1 when the text was
// cut or could not be formatted; dest is terminated whenever room > 0.
int bounded_format(char* dest, std::size_t room, std::size_t limit, const char* format, va_list ap) {
  if (!dest || room == 0) return -1;
  if (!format) {
    dest[0] = '\0';
    return -1;
  }
  const std::size_t cap = limit < room - 1 ? limit + 1 : room;  // vsnprintf's size, terminator included
  const int n = std::vsnprintf(dest, cap, format, ap);
  if (n < 0) {
    dest[0] = '\0';
    return -1;
  }
  if (std::size_t(n) >= cap) return -1;  // cut: vsnprintf kept cap - 1 characters and a terminator
  return n;
}

int bounded_copy(void* dest, std::size_t dest_size, const void* src, std::size_t count) {
  if (count == 0) return dest ? ORB_SAFE_OK : ORB_SAFE_EINVAL;
  if (!dest || !src) return ORB_SAFE_EINVAL;
  if (count > dest_size) return ORB_SAFE_ERANGE;
  std::memmove(dest, src, count);  // overlap is harmless either way
  return ORB_SAFE_OK;
}

}  // namespace

extern "C" {

int orb_serv_strncpy_s(char* dest, std::size_t dest_size, const char* src, std::size_t count) {
  if (!dest || dest_size == 0) return ORB_SAFE_EINVAL;
  if (!src) {
    dest[0] = '\0';
    return ORB_SAFE_EINVAL;
  }
  std::size_t n = bounded_length(src, count);
  int rc = ORB_SAFE_OK;
  if (n > dest_size - 1) {
    n = dest_size - 1;
    rc = ORB_SAFE_ERANGE;
  }
  std::memmove(dest, src, n);
  dest[n] = '\0';
  return rc;
}

int orb_serv_strncat_s(char* dest, std::size_t dest_size, const char* src, std::size_t count) {
  if (!dest || dest_size == 0) return ORB_SAFE_EINVAL;
  const std::size_t have = bounded_length(dest, dest_size);
  if (have == dest_size) {  // no terminator inside the room: make one, append nothing
    dest[dest_size - 1] = '\0';
    return ORB_SAFE_EINVAL;
  }
  if (!src) return ORB_SAFE_EINVAL;
  std::size_t n = bounded_length(src, count);
  int rc = ORB_SAFE_OK;
  if (n > dest_size - 1 - have) {
    n = dest_size - 1 - have;
    rc = ORB_SAFE_ERANGE;
  }
  std::memmove(dest + have, src, n);
  dest[have + n] = '\0';
  return rc;
}

int orb_serv_sprintf_s(char* dest, std::size_t dest_size, const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  const int n = bounded_format(dest, dest_size, dest_size, format, ap);
  va_end(ap);
  return n;
}

int orb_serv_snprintf_s(char* dest, std::size_t dest_size, std::size_t count, const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  const int n = bounded_format(dest, dest_size, count, format, ap);
  va_end(ap);
  return n;
}

char* orb_serv_sprintf_char_s(char* position, char* end, const char* format, ...) {
  if (!position || !end || position >= end) return position;
  const std::size_t room = std::size_t(end - position);
  va_list ap;
  va_start(ap, format);
  const int n = bounded_format(position, room, room, format, ap);
  va_end(ap);
  return n < 0 ? position + bounded_length(position, room) : position + n;
}

int orb_serv_memmove_s(void* dest, std::size_t dest_size, const void* src, std::size_t count) {
  return bounded_copy(dest, dest_size, src, count);
}

int orb_serv_memcpy_unbounded_s(void* dest, std::size_t dest_size, const void* src, std::size_t count) {
  return bounded_copy(dest, dest_size, src, count);
}

void orb_serv_get_version_string_c(char* dest, int size) {
  if (!dest || size <= 0) return;
#if defined(__x86_64__)
  const char* arch = "x86-64";
#else
  const char* arch = "i386";
#endif
  orb_serv_snprintf_s(dest, std::size_t(size), std::size_t(size) - 1,
                      "orb 2.0.0 for %s Linux, processor level %d, built %s", arch,
                      orb_serv_cpu_detect(), __DATE__);
}

}  // extern "C"
