#!/bin/bash
# The whole test suite of orb, as CI runs it:
#
#   bash tools/run_tests.sh
#
# On a Debian 12 machine, as root, it first installs what it needs (compilers
# for both targets, GoogleTest, the reference BLAS with its test programs for
# x86-64 and i386, OpenBLAS and BLIS). Then, each in its own build directory
# under build-tests/ (kept, so a second run only rebuilds what changed):
#
#   x86_64    optimised build; every test (unit tests once per kernel build,
#             reference BLAS test programs, install test)
#   i386      the 32-bit target; every test
#   sanitize  AddressSanitizer + UndefinedBehaviorSanitizer; every test but
#             the reference BLAS test programs (see below)
#   tsan      ThreadSanitizer, without OpenMP: builds the engine test program
#             alone and runs its thread tests (label tsan), which start their
#             own threads: the stored packed A under concurrent computes and
#             packs, the team form, the spin barrier
#
# and checks the kernel libraries themselves: the AVX-512 build was compiled
# and exports its level, and no other build contains AVX-512 instructions
# (the AVX2 build none either, nor AVX2 ones in the core).
#
# Tests of a kernel build that this processor cannot run are reported as
# skipped, not passed. Exit status 0 only when every stage passed.
#
# Environment:
#   ORB_CI_STAGES   stages to run, default "x86_64 i386 sanitize tsan"
#   ORB_CI_BUILD    root of the build directories, default build-tests
#   ORB_CI_JOBS     parallel jobs for building and testing, default 2
#   ORB_CI_NO_APT   set to 1 to skip the package check and installation
#
# Why the reference programs are left out of the sanitizer stage: they are
# Debian's own uninstrumented Fortran programs. AddressSanitizer must be the
# first library of a process; it gets there only by LD_PRELOAD, and then the
# programs' own malloc and friends bind to the sanitizer runtime, which the
# runner's check of the dynamic linker's bindings rightly refuses (a binding
# outside orb and the language run-times). The same programs run in the
# x86_64 and i386 stages on the very same sources.

set -u
set -o pipefail

cd "$(dirname "$0")/.."
ROOT=$PWD
STAGES=${ORB_CI_STAGES:-x86_64 i386 sanitize tsan}
BUILD_ROOT=${ORB_CI_BUILD:-build-tests}
case $BUILD_ROOT in /*) ;; *) BUILD_ROOT=$ROOT/$BUILD_ROOT ;; esac
JOBS=${ORB_CI_JOBS:-2}
LOGS=$BUILD_ROOT/logs
mkdir -p "$LOGS"

START=$(date +%s)
declare -a SUMMARY=()
FAILED=0

say() { printf '[%s] %s\n' "$(date -u +%H:%M:%S)" "$*"; }
elapsed() { local s=$(( $(date +%s) - $1 )); printf '%dm%02ds' $((s / 60)) $((s % 60)); }
record() { SUMMARY+=("$(printf '%-10s %-6s %s' "$1" "$2" "$3")"); [ "$2" = FAIL ] && FAILED=1; return 0; }
show_tail() { echo "---- last lines of $1 ----"; tail -n "${2:-60}" "$1"; echo "----"; }

# ---------------------------------------------------------------- packages
PACKAGES="cmake make g++ g++-multilib gfortran libgtest-dev libblas3 libblas-dev libblas-test libopenblas-dev
          libblis-dev pkg-config python3-numpy python3-matplotlib"
PACKAGES_I386="libblas3:i386 libblas-test:i386 libgfortran5:i386"

missing_packages() {
  local p
  for p in "$@"; do
    dpkg-query -W -f='${Status}\n' "$p" 2>/dev/null | grep -q '^install ok installed$' || printf '%s ' "$p"
  done
}

install_packages() {
  if [ "${ORB_CI_NO_APT:-0}" = 1 ] || ! command -v dpkg-query >/dev/null 2>&1; then
    say "packages: not checked"
    return 0
  fi
  local want_i386=0
  case " $STAGES " in *" i386 "*) want_i386=1 ;; esac
  local missing
  missing=$(missing_packages $PACKAGES)
  if [ $want_i386 = 1 ]; then
    if ! dpkg --print-foreign-architectures | grep -qx i386; then
      missing="$missing $PACKAGES_I386"
    else
      missing="$missing $(missing_packages $PACKAGES_I386)"
    fi
  fi
  missing=$(echo $missing)
  if [ -z "$missing" ]; then
    say "packages: all present"
    return 0
  fi
  if [ "$(id -u)" != 0 ]; then
    say "packages missing: $missing (run as root to install them)"
    record packages FAIL "missing: $missing"
    return 1
  fi
  say "packages: installing $missing"
  export DEBIAN_FRONTEND=noninteractive
  local log=$LOGS/apt.log
  {
    if [ $want_i386 = 1 ]; then dpkg --add-architecture i386; fi &&
      apt-get update &&
      apt-get install -y --no-install-recommends $PACKAGES $([ $want_i386 = 1 ] && echo $PACKAGES_I386)
  } >"$log" 2>&1
  local rc=$?
  if [ $rc != 0 ]; then
    show_tail "$log"
    record packages FAIL "apt-get failed (log: $log)"
    return 1
  fi
  record packages ok "installed: $missing"
}

# ---------------------------------------------------------------- stages
# configure_and_build STAGE DIR CMAKE-ARGS...: builds everything, or only
# the targets in BUILD_TARGETS when it is set.
configure_and_build() {
  local stage=$1 dir=$2
  shift 2
  local log=$LOGS/$stage-build.log t0
  t0=$(date +%s)
  say "$stage: configuring and building in $dir"
  if ! cmake -S "$ROOT" -B "$dir" "$@" >"$log" 2>&1; then
    show_tail "$log"
    record "$stage" FAIL "configure failed (log: $log)"
    return 1
  fi
  if ! cmake --build "$dir" -j "$JOBS" ${BUILD_TARGETS:+--target $BUILD_TARGETS} >>"$log" 2>&1; then
    grep -E 'error|Error' "$log" | head -n 40
    show_tail "$log"
    record "$stage" FAIL "build failed (log: $log)"
    return 1
  fi
  local warnings
  warnings=$(grep -c 'warning:' "$log")
  say "$stage: built in $(elapsed "$t0"), $warnings compiler warning lines (log: $log)"
  BUILD_NOTE="built in $(elapsed "$t0"), $warnings warning lines"
  return 0
}

# run_ctest STAGE DIR [CTEST-ARGS...]: runs the tests, prints them, and
# records passed / failed / skipped counts.
run_ctest() {
  local stage=$1 dir=$2
  shift 2
  local log=$LOGS/$stage-ctest.log t0
  t0=$(date +%s)
  say "$stage: running the tests"
  (cd "$dir" && ctest -j "$JOBS" --output-on-failure --no-tests=error "$@") 2>&1 | tee "$log"
  local rc=${PIPESTATUS[0]}
  local total passed failed skipped
  total=$(grep -c -E '^ *[0-9]+/[0-9]+ Test' "$log")
  passed=$(grep -c -E '^ *[0-9]+/[0-9]+ Test .* Passed' "$log")
  skipped=$(grep -c -E '^ *[0-9]+/[0-9]+ Test .*\*\*\*Skipped' "$log")
  failed=$((total - passed - skipped))
  local skipped_names
  skipped_names=$(grep -E '^ *[0-9]+/[0-9]+ Test .*\*\*\*Skipped' "$log" | sed -E 's/.*Test +#[0-9]+: ([^ ]+).*/\1/' |
    sed -E 's/.*\.//' | sort | uniq -c | awk '{printf "%s%s x%s", sep, $2, $1; sep=", "}')
  local note="$BUILD_NOTE; tests: $passed passed, $failed failed, $skipped skipped"
  [ -n "$skipped_names" ] && note="$note (skipped by build: $skipped_names)"
  note="$note; tests took $(elapsed "$t0")"
  if [ "$rc" != 0 ] || [ "$failed" != 0 ] || [ "$total" = 0 ]; then
    record "$stage" FAIL "$note (log: $log)"
    return 1
  fi
  record "$stage" ok "$note"
}

# check_kernel_libraries STAGE DIR: the AVX-512 build exists and is what it
# says; the other builds use no instruction beyond their level.
check_kernel_libraries() {
  local stage=$1 lib=$2/lib
  local problems=()
  if [ ! -f "$lib/liborb_avx512.so.2" ]; then
    problems+=("liborb_avx512.so.2 was not built")
  else
    # grep -c reads to the end: an early-exiting grep -q would kill the
    # producer with SIGPIPE and fail the pipeline under pipefail.
    [ "$(nm -D --defined-only "$lib/liborb_avx512.so.2" | grep -c ' dll_cpu_version$')" -gt 0 ] ||
      problems+=("liborb_avx512.so.2 lacks dll_cpu_version")
    [ "$(objdump -d --no-show-raw-insn "$lib/liborb_avx512.so.2" | grep -c '%zmm')" -gt 0 ] ||
      problems+=("liborb_avx512.so.2 holds no 512-bit instruction")
  fi
  [ -f "$lib/liborb_avx2.so.2" ] || problems+=("liborb_avx2.so.2 was not built")
  # EVEX-only registers: zmm, the mask registers, xmm16-31 and ymm16-31.
  local evex='%zmm|%k[0-7]|%[xy]mm(1[6-9]|2[0-9]|3[01])'
  local f hits
  for f in "$lib/liborb_avx2.so.2" "$lib/liborb_core.so.2"; do
    [ -f "$f" ] || continue
    hits=$(objdump -d --no-show-raw-insn "$f" | grep -c -E "$evex")
    [ "$hits" = 0 ] || problems+=("$(basename "$f") has $hits AVX-512 instructions")
  done
  if [ -f "$lib/liborb_core.so.2" ]; then
    hits=$(objdump -d --no-show-raw-insn "$lib/liborb_core.so.2" | grep -c '%ymm')
    [ "$hits" = 0 ] || problems+=("liborb_core.so.2 (portable build) has $hits 256-bit instructions")
  fi
  if [ ${#problems[@]} -ne 0 ]; then
    record "$stage" FAIL "kernel libraries: $(IFS=';'; echo "${problems[*]}")"
    return 1
  fi
  record "$stage" ok "kernel libraries: avx512 built with 512-bit code, avx2 and portable builds free of AVX-512"
}

stage_x86_64() {
  local dir=$BUILD_ROOT/x86_64
  configure_and_build x86_64 "$dir" -DCMAKE_BUILD_TYPE=Release || return 1
  check_kernel_libraries x86_64 "$dir"
  run_ctest x86_64 "$dir"
}

stage_i386() {
  local dir=$BUILD_ROOT/i386
  configure_and_build i386 "$dir" -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/i386.cmake" \
    -DORB_BUILD_BENCH=OFF || return 1
  check_kernel_libraries i386 "$dir"
  run_ctest i386 "$dir"
}

stage_sanitize() {
  local dir=$BUILD_ROOT/sanitize
  # -O1 with line tables only: the sanitizers need no more for exact reports
  # with file and line, and the large register kernels compile several times
  # faster than with full debug information.
  configure_and_build sanitize "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORB_SANITIZE=ON -DORB_BUILD_BENCH=OFF \
    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1" "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O1 -g1" || return 1
  # Leaks count as errors. Kernel libraries are opened with dlopen and never
  # closed, so their frames stay symbolised in reports.
  ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:halt_on_error=1:detect_stack_use_after_return=1:strict_string_checks=1} \
    UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1} \
    run_ctest sanitize "$dir" -LE reference
}

stage_tsan() {
  local dir=$BUILD_ROOT/tsan
  # Only the engine test program (with the core and the kernel builds it
  # loads), at -O1 with line tables as in the sanitize stage. The tests set
  # their own TSAN_OPTIONS: the first report ends the program and fails it.
  BUILD_TARGETS=test_blas_engine configure_and_build tsan "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORB_TSAN=ON \
    -DORB_BUILD_BENCH=OFF "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1" "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O1 -g1" ||
    return 1
  run_ctest tsan "$dir" -L tsan
}

# ---------------------------------------------------------------- main
# Everything runs from inside this function, read whole before it starts, so
# that editing this file during a run cannot derail the run.
main() {
  say "orb test suite: stages $STAGES, $JOBS jobs, builds in $BUILD_ROOT/"
  local cpu avx512 avx2
  cpu=$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//')
  avx512=$(grep -q -m1 avx512f /proc/cpuinfo && echo yes || echo no)
  avx2=$(grep -q -m1 avx2 /proc/cpuinfo && echo yes || echo no)
  say "processor: $cpu; AVX-512: $avx512, AVX2: $avx2"
  install_packages || true

  for stage in $STAGES; do
    BUILD_NOTE=""
    case $stage in
      x86_64) stage_x86_64 ;;
      i386) stage_i386 ;;
      sanitize) stage_sanitize ;;
      tsan) stage_tsan ;;
      *) record "$stage" FAIL "unknown stage" ;;
    esac
  done

  echo
  echo "==================== orb test summary ===================="
  for line in "${SUMMARY[@]}"; do echo "$line"; done
  echo "wall time: $(elapsed "$START"); logs in $BUILD_ROOT/logs/"
  # Processor time of everything this run started (user, system): on a busy
  # machine, a better measure of the cost than the wall time.
  # (times runs in this shell: in a pipe or $(...) it would see no children)
  times >"$LOGS/times.txt"
  echo "processor time of all commands (user system): $(tail -n 1 "$LOGS/times.txt")"
  if [ $FAILED != 0 ]; then
    echo "RESULT: FAILED"
    return 1
  fi
  echo "RESULT: PASSED"
  return 0
}

main "$@"; exit $?
