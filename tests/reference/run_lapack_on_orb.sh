#!/bin/sh
# Runs LAPACK and Python programs on orb's drop-in BLAS and decides pass/fail.
#
#   run_lapack_on_orb.sh drivers ORB_LIBDIR REF_BLAS_DIR LAPACK_DIR PROGRAM
#   run_lapack_on_orb.sh lintst  ORB_LIBDIR REF_BLAS_DIR LAPACK_DIR PROGRAM INPUT
#   run_lapack_on_orb.sh python  ORB_LIBDIR REF_BLAS_DIR LAPACK_DIR PYTHON SCRIPT
#
# ORB_LIBDIR    directory of orb's libblas.so.3 (lib/blas of the build tree)
# REF_BLAS_DIR  directory of the reference BLAS (Debian's libblas3)
# LAPACK_DIR    directory of the reference LAPACK (Debian's liblapack3); it
#               goes on LD_LIBRARY_PATH after the BLAS directory, since the
#               system's liblapack.so.3 may be another implementation that
#               carries a BLAS of its own
#
# drivers  lapack_on_orb (PROGRAM) first on the reference BLAS, then on orb
#          with one and with two threads: residuals small and results
#          agreeing with the reference run.
# lintst   a LAPACK linear-equation test program (xlintst?) on orb with two
#          threads, its input on standard input: every test within the
#          threshold.
# python   SCRIPT (numpy_on_orb.py) under PYTHON, first on the reference
#          BLAS, then on orb with one and two threads, compared.
#
# Each run on orb is recorded by the dynamic linker: every BLAS symbol that
# LAPACK (and the test program) takes must come from liborb_core.so.2.
#
# Exit status: 0 pass, 1 fail, 77 skipped (a package is not installed).
# Runs in the current directory and leaves its outputs there.

set -u
mode=$1 orb=$2 refblas=$3 lapackdir=$4
shift 4
liblapack=$lapackdir/liblapack.so.3

skip() {
  echo "SKIPPED: $*"
  exit 77
}
fail() {
  echo "FAILED: $*"
  exit 1
}
# The core speaks only when something is wrong: an illegal argument that
# reached xerbla, a kernel build it could not load.
quiet_core() {
  if grep -n '^orb: ' "$1" | head -5 | grep .; then
    fail "liborb_core reported a problem"
  fi
}

[ -e "$liblapack" ] || skip "no reference LAPACK at $liblapack (package liblapack3)"
[ -e "$refblas/libblas.so.3" ] || skip "no reference BLAS at $refblas (package libblas3)"
[ -e "$orb/libblas.so.3" ] || fail "no libblas.so.3 of orb in $orb"

# check_bindings LOG SYMBOLS OBJECT...: the symbols matching the extended
# regular expression SYMBOLS that the named objects took (anything they did
# not find in themselves, in each other, in the reference LAPACK or in the
# C, Fortran and math run-times) must all come from liborb_core.so.2.
check_bindings() {
  log=$1 symbols=$2
  shift 2
  ls "$log".* > /dev/null 2>&1 || fail "the dynamic linker recorded nothing ($log)"
  own='libc|libm|libgfortran|libgcc_s|libquadmath|ld-linux[^ ]*|libpthread|libdl'
  froms= tos=
  for o in "$@"; do
    froms="$froms${froms:+|}$o"
  done
  took=$(grep -h -E "binding file [^ ]*/($froms) \[" "$log".* |
         grep -v -E "to [^ ]*/(($own)\.so[^ ]*|liblapack\.so\.3|$froms) \[" | grep -E "$symbols")
  [ -n "$took" ] || fail "the linker recorded no symbol taken by $*"
  strays=$(printf '%s\n' "$took" | grep -v 'to [^ ]*/liborb_core\.so\.2 ')
  if [ -n "$strays" ]; then
    printf '%s\n' "$strays" | head -5
    fail "BLAS symbols bound outside liborb_core.so.2"
  fi
  printf '%s\n' "$took" | grep -q 'normal symbol `[sdcz]gemm_' ||
    echo "note: no GEMM was bound (the programs reached only levels 1 and 2)"
  echo "bindings: $(printf '%s\n' "$took" | wc -l) symbols taken, all from liborb_core.so.2"
}

on_orb() {  # on_orb THREADS LOG COMMAND...: runs COMMAND on orb, recorded
  threads=$1 log=$2
  shift 2
  rm -f "$log".*
  ORB_NUM_THREADS=$threads LD_LIBRARY_PATH="$orb:$lapackdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" \
    LD_DEBUG=bindings LD_DEBUG_OUTPUT="$PWD/$log" "$@"
}
on_reference() {
  LD_LIBRARY_PATH="$refblas:$lapackdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" "$@"
}

case $mode in
  drivers)
    program=$1
    on_reference "$program" "$liblapack" reference.bin > reference.txt 2>&1 ||
      { cat reference.txt; fail "the run on the reference BLAS failed"; }
    for t in 1 2; do
      on_orb $t bindings.$t "$program" "$liblapack" orb.$t.bin reference.bin > orb.$t.txt 2>&1
      status=$?
      cat orb.$t.txt
      [ $status -eq 0 ] || fail "the run on orb with $t thread(s) failed (status $status)"
      quiet_core orb.$t.txt
      check_bindings bindings.$t . liblapack.so.3
    done
    ;;
  lintst)
    program=$1 input=$2
    [ -x "$program" ] || skip "no $program (package liblapack-test)"
    [ -e "$input" ] || skip "no input $input (package liblapack-test)"
    name=$(basename "$program")
    on_orb 2 bindings "$program" < "$input" > output.txt 2>&1
    status=$?
    [ $status -eq 0 ] || { tail -40 output.txt; fail "$name exited with status $status"; }
    # The program ends with "End of tests"; every path it tests reports
    # "passed the threshold" or how many tests "failed to pass" it, and
    # error-exit tests that go wrong print lines framed in asterisks.
    grep -q 'End of tests' output.txt || { tail -40 output.txt; fail "$name did not reach its end"; }
    grep -q 'passed the threshold' output.txt || fail "$name reports no passed test"
    if grep -n -E 'failed to pass|\*\*\*|Illegal|ILLEGAL|FAILED' output.txt | head -20 | grep .; then
      fail "$name reports failures"
    fi
    quiet_core output.txt
    check_bindings bindings . liblapack.so.3 libtmglib.so.3 "$name"
    echo "$name passed on orb: $(grep -c 'passed the threshold' output.txt) groups within the threshold"
    ;;
  python)
    python=$1 script=$2
    [ -x "$python" ] || skip "no $python"
    on_reference "$python" -c 'import numpy, scipy.linalg' > /dev/null 2>&1 ||
      skip "$python cannot import numpy and scipy.linalg (packages python3-numpy, python3-scipy)"
    on_reference "$python" "$script" reference.npz > reference.txt 2>&1 ||
      { cat reference.txt; fail "the run on the reference BLAS failed"; }
    for t in 1 2; do
      on_orb $t bindings.$t "$python" "$script" orb.$t.npz reference.npz --expect liborb_core.so.2 > orb.$t.txt 2>&1
      status=$?
      cat orb.$t.txt
      [ $status -eq 0 ] || fail "the run on orb with $t thread(s) failed (status $status)"
      quiet_core orb.$t.txt
      # numpy's and scipy's modules take C API names from Python itself:
      # only the BLAS-shaped names (Fortran names, cblas_*) are checked.
      check_bindings bindings.$t "symbol \`(cblas_[a-z0-9_]+|[a-z][a-z0-9]*_)'" \
        '_multiarray_umath[^ ]*\.so' '_umath_linalg[^ ]*\.so' '_flinalg[^ ]*\.so' '_fblas[^ ]*\.so' \
        '_flapack[^ ]*\.so' 'liblapack\.so\.3'
    done
    ;;
  *)
    fail "unknown mode '$mode'"
    ;;
esac
echo "passed"
exit 0
