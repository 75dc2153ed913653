#!/bin/bash
# The package step of tools/run_tests.sh against stub apt-get, dpkg and
# dpkg-query on PATH (nothing is installed for real):
#   1. every `apt-get update` fails as a mirror being synced makes it fail:
#      the install must still run and the step pass;
#   2. one package cannot be had: the others must still be installed, the
#      step must fail naming it, and the stage needing it must be reported
#      as not run rather than run.
# Usage: packages_test.sh SOURCE_DIR
set -u
src=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/bin"
: >"$work/installed"

cat >"$work/bin/apt-get" <<'STUB'
#!/bin/bash
echo "apt-get $*" >>"$STUB_DIR/calls"
case $1 in
  update)
    echo "E: Failed to fetch http://deb.example/dists/bookworm/main/binary-i386/Packages.xz  File has unexpected size (41207 != 41196). Mirror sync in progress? [IP: 192.0.2.1 80]"
    echo "E: Some index files failed to download. They have been ignored, or old ones used instead."
    exit 100 ;;
  install)
    shift
    pkgs=()
    for p in "$@"; do case $p in -*) ;; *) pkgs+=("$p") ;; esac; done
    for p in "${pkgs[@]}"; do
      if [[ " ${STUB_REFUSE:-} " == *" $p "* ]]; then
        echo "E: Unable to locate package $p"
        exit 100
      fi
    done
    printf '%s\n' "${pkgs[@]}" >>"$STUB_DIR/installed" ;;
esac
exit 0
STUB
cat >"$work/bin/dpkg-query" <<'STUB'
#!/bin/bash
pkg=${!#}
grep -qxF "$pkg" "$STUB_DIR/installed" || exit 1
echo "install ok installed"
STUB
cat >"$work/bin/dpkg" <<'STUB'
#!/bin/bash
echo "dpkg $*" >>"$STUB_DIR/calls"
STUB
chmod +x "$work/bin/"*

fail=0
check() { if eval "$2"; then echo "ok: $1"; else echo "FAILED: $1"; fail=1; fi; }

run() {
  : >"$work/calls"
  rm -rf "$work/build"
  # A caller running the suite with the package step off must not switch it
  # off here as well (the stage would then build for real).
  env -u ORB_CI_NO_APT PATH="$work/bin:$PATH" STUB_DIR="$work" ORB_APT_ROOT=1 ORB_APT_PAUSE=0 ORB_APT_TRIES=3 \
    ORB_CI_BUILD="$work/build" ORB_CI_STAGES="$1" "${@:3}" bash "$src/tools/run_tests.sh" $2 >"$work/out" 2>&1
  echo $? >"$work/rc"
  sed 's/^/    | /' "$work/out"
}

echo "-- 1. apt-get update fails every time"
run "x86_64 i386" --packages-only
check "the update was tried three times" '[ "$(grep -c "^apt-get update" "$work/calls")" = 3 ]'
check "the install ran after it" 'grep -q "^apt-get install.*libblas-test:i386" "$work/calls"'
check "the i386 architecture was added" 'grep -q "dpkg --add-architecture i386" "$work/calls"'
check "the step passed" '[ "$(cat "$work/rc")" = 0 ] && grep -q "^packages *ok" "$work/out"'

echo "-- 2. one package cannot be had"
: >"$work/installed"
run "i386" "" STUB_REFUSE="libblas-test:i386"
check "the others were installed" 'grep -qxF g++-multilib "$work/installed" && grep -qxF libblas3:i386 "$work/installed"'
check "the step failed naming the package" 'grep -q "^packages *FAIL *missing: libblas-test:i386" "$work/out"'
check "the stage was reported not run" 'grep -q "^i386 *FAIL *not run: packages missing: libblas-test:i386" "$work/out"'
check "nothing was built" '[ ! -d "$work/build/i386" ]'
check "the run failed" '[ "$(cat "$work/rc")" != 0 ]'
exit $fail
