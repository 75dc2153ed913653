#!/bin/sh
# Runs one of the reference BLAS test programs on orb and decides pass/fail.
#
#   run_reference.sh PROBE ISA LIBDIR KIND PROGRAM [INPUT]
#
# PROBE    orb_isa_probe, which tells whether this processor runs build ISA
#          and whether ORB_ISA=ISA selects it
# ISA      def, avx2 or avx512; exported as ORB_ISA
# LIBDIR   directory holding orb's libblas.so.3 (LD_LIBRARY_PATH)
# KIND     level1 or level23: which report the program prints
# PROGRAM  the test program; INPUT, when given, becomes its standard input
#
# Runs in the current directory (the programs write files there) and leaves
# output.txt (what the program printed), report.txt (that and the summary
# file, where the input names one) and bindings.* (the dynamic linker's
# record) beside it.
#
# The programs exit with 0 whether or not a routine failed, so the verdict
# comes from the report: every level-1 subprogram must print PASS and none
# FAIL; a level-2/3 run must reach END OF TESTS with no FAIL, FATAL or
# ABANDONED. The linker's record must show the program's BLAS symbols bound
# to liborb_core and the kernels to the build ISA names: a run that went to
# a system BLAS, or to another build, proves nothing.
#
# Exit status: 0 pass, 1 fail, 77 skipped (the processor lacks the build).

set -u
probe=$1 isa=$2 libdir=$3 kind=$4 program=$5
input=${6:-}

"$probe" "$isa"
case $? in
  0) ;;
  77) exit 77 ;;
  *) echo "the $isa build cannot be selected here"; exit 1 ;;
esac

# The Fortran level-2/3 programs write their report to the summary file
# named on the first line of their input; the others print it.
summary=
if [ -n "$input" ]; then
  summary=$(head -n 1 "$input" | sed -n "s/^ *'\([^']*\)'.*SUMMARY.*/\1/p")
fi
rm -f output.txt report.txt bindings.* ${summary:+"$summary"}
export ORB_ISA="$isa"
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
(
  export LD_DEBUG=bindings LD_DEBUG_OUTPUT="$PWD/bindings"
  exec "$program" < "${input:-/dev/null}"
) > output.txt 2>&1
status=$?
cat output.txt ${summary:+"$summary"} > report.txt 2>/dev/null

fail() {
  echo "FAILED: $*"
  echo "---- report of $program (ORB_ISA=$isa) ----"
  cat report.txt
  exit 1
}

[ $status -eq 0 ] || fail "the program exited with status $status"

case $kind in
  level1)
    tested=$(grep -c 'Test of subprogram number' report.txt)
    passed=$(grep -c -- '----- PASS -----' report.txt)
    [ "$tested" -gt 0 ] || fail "no subprogram was tested"
    [ "$tested" -eq "$passed" ] || fail "$passed of $tested subprograms passed"
    ;;
  level23)
    grep -q 'END OF TESTS' report.txt || fail "the run did not reach its end"
    grep -q 'PASSED' report.txt || fail "no routine passed"
    # Every complaint of these programs is framed in asterisks.
    if grep -n -F '*******' report.txt; then
      fail "the report names a failure"
    fi
    ;;
  *)
    fail "unknown kind of report '$kind'"
    ;;
esac
if grep -E -n 'FAIL|FATAL|ABANDONED|NOT RECOGNIZED|WRONGLY' report.txt; then
  fail "the report names a failure"
fi

# What the program took from a BLAS: every binding from the program itself
# to a library other than the C and Fortran run-times.
prog_name=$(basename "$program")
took=$(grep -h "binding file [^ ]*/$prog_name \[" bindings.* | grep -v -E 'to [^ ]*/(libc|libgfortran|libm|libgcc_s|libquadmath|ld-linux[^ ]*)\.so')
[ -n "$took" ] || fail "the linker recorded no BLAS symbol taken by the program"
strays=$(printf '%s\n' "$took" | grep -v 'to [^ ]*/liborb_core\.so\.2 ')
if [ -n "$strays" ]; then
  printf '%s\n' "$strays" | head -5
  fail "symbols bound outside liborb_core.so.2"
fi
printf '%s\n' "$took" | grep -q 'to [^ ]*/liborb_core\.so\.2 ' ||
  fail "no symbol of the program was bound to liborb_core.so.2"
# Which kernel build served the calls. The probe showed that ORB_ISA picks
# it; here the program itself must have loaded that kernel library and
# looked its kernels up, and no other (the portable kernels live in the
# core, so a def run loads none), and the loader must not have fallen back.
if [ "$isa" != def ] &&
   ! grep -q -h "to [^ ]*/liborb_$isa\.so\.2 \[[0-9]*\]: normal symbol \`orb_blas_${isa}_x" bindings.*; then
  fail "no kernel of the $isa build was bound"
fi
others=$(grep -h -o -E 'to [^ ]*/liborb_(avx2|avx512)\.so\.2' bindings.* | grep -v "/liborb_$isa\.so\.2" | sort -u)
if [ -n "$others" ]; then
  printf '%s\n' "$others"
  fail "a kernel library other than the $isa build was used"
fi
if grep -n '^orb: ' output.txt; then
  fail "the kernel loader complained"
fi

echo "passed on orb ($isa build): $(grep -c -E 'PASS' report.txt) reports of success"
exit 0
