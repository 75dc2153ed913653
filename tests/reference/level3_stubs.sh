#!/bin/sh
# Lists the level-3 names that the reference test programs reference and
# the core does not export, for level3_stubs.c.
#
#   level3_stubs.sh NM CORE INC NAMES STAMP PROGRAM...
#
# NM       the binutils nm of the target
# CORE     liborb_core.so.2 as just built
# INC      written: one ORB_STUB(name) line per missing name
# NAMES    written: the same names, one a line (the runner's list of what
#          may bind to the stand-ins)
# STAMP    touched on every run
# PROGRAM  the test programs
#
# Only level-3 routine names are considered: any other name the core lacked
# would still stop the program at start, loudly, as it should.
set -eu
nm=$1 core=$2 inc=$3 names=$4 stamp=$5
shift 5

tmp=$names.tmp
"$nm" -D --undefined-only "$@" | awk '$1 == "U" { print $2 }' |
  grep -E '^(cblas_)?[sdcz](gemm|gemmt|gemm3m|symm|hemm|syrk|herk|syr2k|her2k|trmm|trsm)_?$' |
  sort -u >"$tmp.need" || true
"$nm" -D --defined-only "$core" | awk '{ print $NF }' | sort -u >"$tmp.have"
comm -23 "$tmp.need" "$tmp.have" >"$tmp"
sed 's/.*/ORB_STUB(&)/' "$tmp" >"$inc.tmp"
# Rewrite the outputs only when the list changed, so that a rebuilt core
# with the same names relinks nothing.
cmp -s "$inc.tmp" "$inc" 2>/dev/null || mv "$inc.tmp" "$inc"
cmp -s "$tmp" "$names" 2>/dev/null || mv "$tmp" "$names"
rm -f "$tmp" "$tmp.need" "$tmp.have" "$inc.tmp"
touch "$stamp"
