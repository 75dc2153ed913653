#!/bin/bash
# The whole test suite of orb, as CI runs it:
#
#   bash tools/run_tests.sh [--packages-only]
#
# On a Debian 12 machine, as root, it first installs what the stages need
# (tools/packages.sh: a failing mirror index is retried, then worked around;
# the step fails only naming a package really missing, and a stage whose
# packages are missing is reported as not run). Then each stage builds in its
# own directory under build-tests/ (kept, so a second run only rebuilds what
# changed; ccache, when installed, makes a fresh clone's build cheap too).
# Every kernel source is compiled once per kernel build of a stage, into one
# object library that the kernel library (or the core, for the portable
# build) is linked from; test programs link those libraries and compile only
# their own files, against one precompiled GoogleTest header.
#
#   x86_64    optimised; all three kernel builds (portable, AVX2, AVX-512)
#             and every test: the unit tests once per build, the reference
#             BLAS test programs, the package-step test, the install test,
#             the benchmarks built.
#   i386      the 32-bit target, optimised; the portable and AVX-512 builds,
#             every unit test on each, the reference programs, the install
#             test. Left out: the AVX2 build, whose source and order of
#             arithmetic are those of the other two (checked bit for bit on
#             x86_64), so on i386 it would prove nothing new; the benchmarks;
#             where AVX-512 runs, the reference programs on the portable
#             build (its unit tests check it bit for bit against AVX-512,
#             on which the programs run; all three builds run them on x86_64).
#   sanitize  AddressSanitizer + UndefinedBehaviorSanitizer at -O1: the
#             portable build and the best build this processor runs (AVX-512,
#             else AVX2), every unit test on each. The test programs' own code
#             carries AddressSanitizer alone (their arithmetic is not what is
#             under test). Left out: the third build
#             (same source, no code of its own to check), and the reference
#             programs: Debian's uninstrumented Fortran programs need
#             AddressSanitizer preloaded, and then their own malloc binds to
#             the sanitizer runtime, which the runner's check of the dynamic
#             linker's bindings rightly refuses; they run in the two stages
#             above on the very same sources.
#   tsan      ThreadSanitizer at -O0, without OpenMP, portable build only: the
#             test programs with thread tests (target orb_tsan_tests), running
#             those tests (label tsan), which start their own threads. Left
#             out: the vector builds, whose thread code is the same source.
#
# The x86_64 and i386 stages also check the kernel libraries themselves: the
# AVX-512 build was compiled and exports its level, no other build contains
# AVX-512 instructions (nor the portable core AVX2 ones).
#
# Tests of a kernel build that this processor cannot run are reported as
# skipped, not passed. The summary gives each stage's build time (wall and
# processor) and test time, and the total. Exit status 0 only when every
# stage passed.
#
# Expected total on a 2-core machine with nothing cached: see README.md.
#
# Environment:
#   ORB_CI_STAGES   stages to run, default "x86_64 i386 sanitize tsan"
#   ORB_CI_BUILD    root of the build directories, default build-tests
#   ORB_CI_JOBS     parallel jobs for building and testing, default 2
#   ORB_CI_NO_APT   set to 1 to skip the package check and installation
#   ORB_APT_TRIES, ORB_APT_PAUSE: see tools/packages.sh
# --packages-only: the package step alone, with its summary line.

set -u
set -o pipefail

cd "$(dirname "$0")/.."
ROOT=$PWD
STAGES=${ORB_CI_STAGES:-x86_64 i386 sanitize tsan}
BUILD_ROOT=${ORB_CI_BUILD:-build-tests}
case $BUILD_ROOT in /*) ;; *) BUILD_ROOT=$ROOT/$BUILD_ROOT ;; esac
JOBS=${ORB_CI_JOBS:-2}
PACKAGES_ONLY=0
[ "${1:-}" = --packages-only ] && PACKAGES_ONLY=1
LOGS=$BUILD_ROOT/logs
mkdir -p "$LOGS"

START=$(date +%s)
declare -a SUMMARY=()
FAILED=0

say() { printf '[%s] %s\n' "$(date -u +%H:%M:%S)" "$*"; }
elapsed() { local s=$(( $(date +%s) - $1 )); printf '%dm%02ds' $((s / 60)) $((s % 60)); }
record() { SUMMARY+=("$(printf '%-10s %-6s %s' "$1" "$2" "$3")"); [ "$2" = FAIL ] && FAILED=1; return 0; }
# Sets CPU_NOW to the processor time (user + system, whole seconds) of every
# command this shell has waited for so far. `times` must run in this shell
# itself: in a pipe or $(...) it would see no children.
cpu_mark() {
  times >"$LOGS/.times"
  CPU_NOW=$(awk 'END { n = split($1 " " $2, t, " "); s = 0
             for (i = 1; i <= n; i++) { split(t[i], ms, "m"); s += ms[1] * 60 + ms[2] }
             printf "%d\n", s }' "$LOGS/.times")
}
show_tail() { echo "---- last lines of $1 ----"; tail -n "${2:-60}" "$1"; echo "----"; }

# ---------------------------------------------------------------- packages
# What each stage needs; a stage whose packages are missing is not run and
# says so. The optional ones speed things up or add a peer to a benchmark.
PACKAGES_BASE="cmake make g++ libgtest-dev pkg-config python3 libblas3 libfftw3-double3 libfftw3-single3 libfftw3-long3"
PACKAGES_x86_64="libblas-dev libblas-test libopenblas-dev libblis-dev liblapack3 liblapack-test python3-numpy
                 python3-scipy"
PACKAGES_i386="g++-multilib libblas3:i386 libblas-test:i386 libgfortran5:i386 libfftw3-double3:i386 libfftw3-single3:i386 libfftw3-long3:i386"
PACKAGES_sanitize=""
PACKAGES_tsan=""
PACKAGES_OPTIONAL="ccache ninja-build libxsmm-dev python3-matplotlib"

. "$ROOT/tools/packages.sh"

stage_packages() { local v=PACKAGES_$1; echo $PACKAGES_BASE ${!v-}; }

install_packages() {
  local stage want=()
  for stage in $STAGES; do want+=($(stage_packages "$stage")); done
  want=($(printf '%s\n' "${want[@]}" | sort -u))
  if orb_packages_ensure "$LOGS/apt.log" "${want[@]}" -- $PACKAGES_OPTIONAL; then
    local left=""
    command -v dpkg-query >/dev/null 2>&1 && left=$(echo $(orb_packages_missing $PACKAGES_OPTIONAL))
    record packages ok "${left:+optional, not installed: $left}"
  else
    record packages FAIL "missing: $ORB_PACKAGES_MISSING (log: $LOGS/apt.log)"
  fi
}

# stage_ready STAGE: its packages are there (or nobody can tell).
stage_ready() {
  [ "${ORB_CI_NO_APT:-0}" = 1 ] && return 0
  command -v dpkg-query >/dev/null 2>&1 || return 0
  local missing
  missing=$(echo $(orb_packages_missing $(stage_packages "$1")))
  [ -z "$missing" ] && return 0
  record "$1" FAIL "not run: packages missing: $missing"
  return 1
}

# ---------------------------------------------------------------- stages
# configure_and_build STAGE DIR CMAKE-ARGS...: builds everything, or only
# the targets in BUILD_TARGETS when it is set.
configure_and_build() {
  local stage=$1 dir=$2
  shift 2
  local log=$LOGS/$stage-build.log t0 c0 generator=()
  t0=$(date +%s)
  cpu_mark
  c0=$CPU_NOW
  # Ninja when there is one (it keeps both cores busy across targets); a
  # build directory keeps the generator it was made with.
  if [ ! -f "$dir/CMakeCache.txt" ] && command -v ninja >/dev/null 2>&1; then generator=(-G Ninja); fi
  say "$stage: configuring and building in $dir"
  if ! cmake -S "$ROOT" -B "$dir" "${generator[@]}" "$@" >"$log" 2>&1; then
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
  cpu_mark
  local cpu=$((CPU_NOW - c0))
  say "$stage: built in $(elapsed "$t0") (processor time ${cpu}s), $warnings compiler warning lines (log: $log)"
  BUILD_NOTE="built in $(elapsed "$t0") (processor ${cpu}s), $warnings warning lines"
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

# check_kernel_libraries STAGE DIR BUILDS: the kernel libraries of BUILDS
# (avx512, avx2) were built; the AVX-512 one exports its level and holds
# 512-bit code; the others use no instruction beyond their level.
check_kernel_libraries() {
  local stage=$1 lib=$2/lib builds=$3
  local problems=()
  case " $builds " in
    *" avx512 "*)
      if [ ! -f "$lib/liborb_avx512.so.2" ]; then
        problems+=("liborb_avx512.so.2 was not built")
      else
        # grep -c reads to the end: an early-exiting grep -q would kill the
        # producer with SIGPIPE and fail the pipeline under pipefail.
        [ "$(nm -D --defined-only "$lib/liborb_avx512.so.2" | grep -c ' dll_cpu_version$')" -gt 0 ] ||
          problems+=("liborb_avx512.so.2 lacks dll_cpu_version")
        [ "$(objdump -d --no-show-raw-insn "$lib/liborb_avx512.so.2" | grep -c '%zmm')" -gt 0 ] ||
          problems+=("liborb_avx512.so.2 holds no 512-bit instruction")
      fi ;;
  esac
  case " $builds " in *" avx2 "*) [ -f "$lib/liborb_avx2.so.2" ] || problems+=("liborb_avx2.so.2 was not built") ;; esac
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
  record "$stage" ok "kernel libraries: $builds built as their level says, portable core free of AVX"
}

# The kernel builds the sanitizer stage compiles besides the portable one:
# the best this processor runs (the portable one alone where it runs none).
best_build_flags() {
  if grep -q -m1 avx512f /proc/cpuinfo; then
    echo -DORB_BUILD_AVX2=OFF
  elif grep -q -m1 avx2 /proc/cpuinfo; then
    echo -DORB_BUILD_AVX512=OFF
  else
    echo -DORB_BUILD_AVX2=OFF -DORB_BUILD_AVX512=OFF
  fi
}

# -O1 with line tables only for the sanitizers: they need no more for exact
# reports with file and line, and the large register kernels compile several
# times faster than with full debug information.
SANITIZER_FLAGS=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DORB_BUILD_BENCH=OFF
                 "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1" "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O1 -g1")

stage_x86_64() {
  local dir=$BUILD_ROOT/x86_64
  configure_and_build x86_64 "$dir" -DCMAKE_BUILD_TYPE=Release || return 1
  check_kernel_libraries x86_64 "$dir" "avx512 avx2"
  run_ctest x86_64 "$dir"
}

stage_i386() {
  local dir=$BUILD_ROOT/i386
  configure_and_build i386 "$dir" -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/i386.cmake" \
    -DORB_BUILD_BENCH=OFF -DORB_BUILD_AVX2=OFF || return 1
  check_kernel_libraries i386 "$dir" "avx512"
  # The reference programs run on the best build alone: the unit tests prove
  # the portable build's results the same bit for bit, and the portable
  # build's runs of the programs were half of this stage's test time.
  local skip=()
  grep -q -m1 avx512f /proc/cpuinfo && skip=(-E '^reference\..*\.def$')
  run_ctest i386 "$dir" "${skip[@]}"
}

stage_sanitize() {
  local dir=$BUILD_ROOT/sanitize
  configure_and_build sanitize "$dir" "${SANITIZER_FLAGS[@]}" -DORB_SANITIZE=ON $(best_build_flags) || return 1
  # Leaks count as errors. Kernel libraries are opened with dlopen and never
  # closed, so their frames stay symbolised in reports.
  ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:halt_on_error=1:detect_stack_use_after_return=1:strict_string_checks=1} \
    UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1} \
    run_ctest sanitize "$dir" -LE reference
}

# ThreadSanitizer at -O0: its few thread tests run in seconds either way, and
# the kernels compile three times faster than at -O1.
TSAN_FLAGS=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DORB_BUILD_BENCH=OFF
            "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O0 -g1" "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O0 -g1")

stage_tsan() {
  local dir=$BUILD_ROOT/tsan
  # The portable build alone, and only the test programs that have thread
  # tests (target orb_tsan_tests). The tests set their own TSAN_OPTIONS: the
  # first report ends the program and fails it.
  BUILD_TARGETS=orb_tsan_tests configure_and_build tsan "$dir" "${TSAN_FLAGS[@]}" -DORB_TSAN=ON \
    -DORB_BUILD_AVX2=OFF -DORB_BUILD_AVX512=OFF || return 1
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
  install_packages
  if [ "$PACKAGES_ONLY" = 1 ]; then
    for line in "${SUMMARY[@]}"; do echo "$line"; done
    return $FAILED
  fi

  for stage in $STAGES; do
    BUILD_NOTE=""
    case $stage in x86_64 | i386 | sanitize | tsan) stage_ready "$stage" || continue ;; esac
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
  echo "processor: $cpu ($(nproc) processors), $JOBS jobs"
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
