/* Tells whether this processor runs the named build of the kernel library
   (def, avx2, avx512) and whether ORB_ISA set to that name really selects
   it. Exit status 0 yes, 77 when the processor lacks the build (the
   reference runs then report a skip), 1 when the selection fails, 2 for a
   bad argument. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orb/orb_service.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s def|avx2|avx512\n", argv[0]);
    return 2;
  }
  const char* isa = argv[1];
  int needed;
  const char* file;
  if (strcmp(isa, "def") == 0) {
    needed = 0;
    file = NULL; /* the portable kernels live in the core */
  } else if (strcmp(isa, "avx2") == 0) {
    needed = 7;
    file = "liborb_avx2.so.2";
  } else if (strcmp(isa, "avx512") == 0) {
    needed = 9;
    file = "liborb_avx512.so.2";
  } else {
    fprintf(stderr, "unknown build '%s'\n", isa);
    return 2;
  }
  const int level = orb_serv_cpu_detect();
  if (level < needed) {
    printf("skipped: this processor (level %d) cannot run the %s build\n", level, isa);
    return 77;
  }
  /* The kernels load on first use, so the choice is still open here. */
  setenv("ORB_ISA", isa, 1);
  const char* loaded = orb_kernel_library();
  const int ok = file ? strstr(loaded, file) != NULL : strstr(loaded, "liborb_") == NULL;
  if (!ok) {
    printf("ORB_ISA=%s loaded %s (level %d)\n", isa, loaded, orb_kernel_level());
    return 1;
  }
  return 0;
}
