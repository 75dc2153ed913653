#!/bin/bash
# The tour of orb on this machine:
#
#   bash tools/run_tour.sh [section...]
#
# On a Debian 12 machine, as root, installs the compiler and CMake if they
# are missing (Ninja and ccache too, when it can; tools/packages.sh tells
# how a flaky mirror is handled), builds the library and the tour (optimised,
# in build-tour/) and runs it: the processor level, the kernel library orb
# picked, and each subsystem's routines on real data, checked and timed.
# Arguments are passed to the tour (orb_tour --list names the sections).
set -eu
cd "$(dirname "$0")/.."

# Required: the compiler and CMake; Ninja and ccache only speed the build.
. tools/packages.sh
BUILD=${ORB_TOUR_BUILD:-build-tour}
mkdir -p "$BUILD"
orb_packages_ensure "$BUILD/apt.log" cmake make g++ -- ninja-build ccache || exit 1

echo "building orb and the tour in $BUILD/ (a few minutes the first time)"
log=$BUILD/tour-build.log
generator=()
[ ! -f "$BUILD/CMakeCache.txt" ] && command -v ninja >/dev/null 2>&1 && generator=(-G Ninja)
cmake -S . -B "$BUILD" "${generator[@]}" -DCMAKE_BUILD_TYPE=Release -DORB_BUILD_TESTS=OFF >"$log" 2>&1 ||
  { tail -n 40 "$log"; exit 1; }
cmake --build "$BUILD" -j "$(nproc)" --target orb_tour >>"$log" 2>&1 ||
  { grep -E 'error' "$log" | head -n 40; tail -n 20 "$log"; exit 1; }
echo
exec "$BUILD/bin/orb_tour" "$@"
