/* Stand-ins for the level-3 names that the reference test programs bind
 * when they start but that the core does not define yet.
 *
 * The Fortran and CBLAS level-3 test programs are linked with BIND_NOW:
 * each one resolves every BLAS name it references (symm, trmm, trsm, syrk,
 * ...) before its first line runs, whether or not its input switches the
 * routine on. The GEMM-only runs need those names to exist, nothing more.
 *
 * level3_stubs.inc is written at build time by level3_stubs.sh: one
 * ORB_STUB(name) line for each level-3 name that the programs reference
 * and liborb_core does not export. A name the core gains drops out of the
 * list at the next build, so a stand-in never hides a real routine.
 *
 * A stand-in must never be reached: the inputs switch those routines off.
 * If one is, it names itself on standard error and ends the program with
 * status 86, which the runner reports as such. exit() rather than _exit()
 * lets the Fortran run-time flush what the program printed before.
 *
 * The parameters are left out on purpose: the stand-in reads none, and
 * neither calling convention (x86-64 or i386 cdecl) needs them to return
 * control, which it never does anyway.
 *
 * Built for the tests only; never installed, never part of libblas.so.3. */
#include <stdio.h>
#include <stdlib.h>

#define ORB_STUB_EXIT 86

__attribute__((noreturn, unused, visibility("hidden"))) void orb_stub_reached(const char* name) {
  fprintf(stderr,
          "orb reference tests: %s was called, but it is a stand-in of the test suite "
          "(liborb_core has no %s yet); the input must switch it off\n",
          name, name);
  fflush(stderr);
  exit(ORB_STUB_EXIT);
}

#define ORB_STUB(name) \
  void name(void);     \
  void name(void) { orb_stub_reached(#name); }
#include "level3_stubs.inc"
