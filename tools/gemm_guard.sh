#!/bin/bash
# The GEMM speed guard: gemm_bench's key rows (DGEMM and ZGEMM, square
# n = 64, 256 and 1000, on 1 and 2 threads) as orb/OpenBLAS ratios in one
# line, for the README and issues to quote:
#
#   bash tools/gemm_guard.sh [build directory] [gemm_bench options...]
#
#   gemm guard (AMD EPYC): d64 1t 1.02 2t 0.98 d256 1t ... z1000 2t ...
#
# The build directory (default build/) must hold bin/gemm_bench; extra
# options (such as --min-time 0.5) go to gemm_bench. A ratio above 1 means
# orb is faster; a result that disagrees with OpenBLAS is marked WRONG, and
# a row without OpenBLAS shows "-". The full table is kept in the CSV the
# line names.
set -eu
cd "$(dirname "$0")/.."
build=build
if [ $# -gt 0 ] && [ "${1#-}" = "$1" ]; then
  build=$1
  shift
fi
bench=$build/bin/gemm_bench
if [ ! -x "$bench" ]; then
  echo "gemm_guard: no $bench (build the gemm_bench target first)" >&2
  exit 2
fi
csv=${ORB_GUARD_CSV:-$build/gemm_guard.csv}
"$bench" --types dz --square 64,256,1000 --threads 1,2 --csv "$csv" --png /dev/null "$@" >/dev/null
awk -F, '
  /^# / {
    if (match($0, /processor=[^=]*( kernels=)/)) {
      model = substr($0, RSTART + 10, RLENGTH - 10 - 9)
    }
    next
  }
  $1 == "type" { next }
  {
    case_ = $1 $3
    if (!(case_ in cases)) { cases[case_] = 1; order[++n] = case_ }
    if (!($6 in threads)) { threads[$6] = 1; tlist[++nt] = $6 }
    key = case_ " " $6
    if (!(key in ratio)) ratio[key] = "-"
    if ($7 == "orb" && $11 == 1) wrong[key] = 1
    if ($7 == "OpenBLAS") ratio[key] = sprintf("%.2f", $10)
  }
  END {
    line = "gemm guard (" (model == "" ? "unknown processor" : model) "):"
    for (i = 1; i <= n; ++i) {
      line = line " " order[i]
      for (j = 1; j <= nt; ++j) {
        key = order[i] " " tlist[j]
        if (key in ratio) line = line " " tlist[j] "t " ratio[key] (key in wrong ? " WRONG" : "")
      }
    }
    print line
  }' "$csv"
echo "(table: $csv)"
