#!/bin/bash
# The tour of orb on this machine:
#
#   bash tools/run_tour.sh [section...]
#
# On a Debian 12 machine, as root, installs the compiler and CMake if they
# are missing, builds the library and the tour (optimised, in build-tour/)
# and runs it: the processor level, the kernel library orb picked, and each
# subsystem's routines on real data, checked and timed. Arguments are passed
# to the tour (orb_tour --list names the sections).
set -eu
cd "$(dirname "$0")/.."

PACKAGES="cmake make g++"
missing=""
if command -v dpkg-query >/dev/null 2>&1; then
  for p in $PACKAGES; do
    dpkg-query -W -f='${Status}\n' "$p" 2>/dev/null | grep -q '^install ok installed$' || missing="$missing $p"
  done
fi
if [ -n "$missing" ]; then
  if [ "$(id -u)" != 0 ]; then
    echo "missing packages:$missing (run as root to install them)" >&2
    exit 1
  fi
  echo "installing$missing"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update >/dev/null
  apt-get install -y --no-install-recommends $missing >/dev/null
fi

BUILD=${ORB_TOUR_BUILD:-build-tour}
echo "building orb and the tour in $BUILD/ (a few minutes the first time)"
mkdir -p "$BUILD"
log=$BUILD/tour-build.log
cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DORB_BUILD_TESTS=OFF >"$log" 2>&1 ||
  { tail -n 40 "$log"; exit 1; }
cmake --build "$BUILD" -j "$(nproc)" --target orb_tour >>"$log" 2>&1 ||
  { grep -E 'error' "$log" | head -n 40; tail -n 20 "$log"; exit 1; }
echo
exec "$BUILD/bin/orb_tour" "$@"
