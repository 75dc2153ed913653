# Debian packages for the test suite and the tour: sourced by
# tools/run_tests.sh and tools/run_tour.sh, not run on its own.
#
#   orb_packages_ensure LOG REQUIRED... [-- OPTIONAL...]
#
# Installs what is missing and returns 0 when every REQUIRED package is
# installed afterwards; otherwise returns 1 with the missing ones named in
# ORB_PACKAGES_MISSING (and on stderr). OPTIONAL packages (ccache, ninja, a
# benchmark peer) are installed when possible and never fail the step.
#
# Mirrors are not always consistent: an index being synced ("File has
# unexpected size ... Mirror sync in progress?") fails `apt-get update` while
# every other index, and the packages themselves, are fine. So the update is
# retried a few times with a pause, the install runs whatever the update
# said, a failed install is retried and then tried package by package (one
# unavailable package must not keep the others out), and only what dpkg
# reports as installed at the end counts.
#
# Environment:
#   ORB_APT_TRIES   attempts of the update and of the install, default 3
#   ORB_APT_PAUSE   seconds between attempts, default 20
#   ORB_APT_ROOT    1 to act as root whatever id -u says (the tests of this
#                   file run it against stub apt-get and dpkg commands)
#   ORB_CI_NO_APT   1 to check nothing and install nothing

ORB_PACKAGES_MISSING=""

orb_packages_say() { printf '[%s] packages: %s\n' "$(date -u +%H:%M:%S)" "$*"; }

# Prints the packages of the arguments that dpkg does not report installed.
orb_packages_missing() {
  local p
  for p in "$@"; do
    dpkg-query -W -f='${Status}\n' "$p" 2>/dev/null | grep -q '^install ok installed$' || printf '%s ' "$p"
  done
}

orb_packages_ensure() {
  local log=$1
  shift
  local required=() optional=() seen_sep=0 p
  for p in "$@"; do
    if [ "$p" = -- ]; then seen_sep=1; elif [ $seen_sep = 0 ]; then required+=("$p"); else optional+=("$p"); fi
  done
  ORB_PACKAGES_MISSING=""
  if [ "${ORB_CI_NO_APT:-0}" = 1 ] || ! command -v dpkg-query >/dev/null 2>&1; then
    orb_packages_say "not checked"
    return 0
  fi
  local missing missing_optional
  missing=$(orb_packages_missing "${required[@]}")
  missing_optional=$(orb_packages_missing "${optional[@]}")
  if [ -z "$missing$missing_optional" ]; then
    orb_packages_say "all present"
    return 0
  fi
  if [ "$(id -u)" != 0 ] && [ "${ORB_APT_ROOT:-0}" != 1 ]; then
    if [ -n "$missing" ]; then
      ORB_PACKAGES_MISSING=$(echo $missing)
      orb_packages_say "missing: $ORB_PACKAGES_MISSING (run as root to install them)" >&2
      return 1
    fi
    orb_packages_say "optional ones missing, not installed (not root): $(echo $missing_optional)"
    return 0
  fi

  local tries=${ORB_APT_TRIES:-3} pause=${ORB_APT_PAUSE:-20} i
  export DEBIAN_FRONTEND=noninteractive
  : >"$log"
  case " $missing $missing_optional" in
    *:i386\ *)
      dpkg --print-foreign-architectures | grep -qx i386 || dpkg --add-architecture i386 >>"$log" 2>&1 ;;
  esac

  orb_packages_say "installing $(echo $missing $missing_optional) (log: $log)"
  for ((i = 1; i <= tries; i++)); do
    echo "== apt-get update, attempt $i" >>"$log"
    if apt-get update >>"$log" 2>&1; then break; fi
    if [ "$i" -lt "$tries" ]; then
      orb_packages_say "apt-get update failed (attempt $i of $tries), again in ${pause}s"
      sleep "$pause"
    else
      orb_packages_say "apt-get update failed $tries times; installing from the indexes there are"
    fi
  done

  # shellcheck disable=SC2086  # word splitting of the package lists is meant
  if [ -n "$missing" ]; then
    for ((i = 1; i <= tries; i++)); do
      echo "== apt-get install, attempt $i" >>"$log"
      apt-get install -y --no-install-recommends $missing >>"$log" 2>&1 && break
      missing=$(orb_packages_missing $missing)
      [ -z "$missing" ] && break
      [ "$i" -lt "$tries" ] && sleep "$pause"
    done
    for p in $(orb_packages_missing $missing); do
      echo "== apt-get install $p alone" >>"$log"
      apt-get install -y --no-install-recommends "$p" >>"$log" 2>&1
    done
  fi
  for p in $missing_optional; do
    echo "== apt-get install $p (optional)" >>"$log"
    apt-get install -y --no-install-recommends "$p" >>"$log" 2>&1
  done

  ORB_PACKAGES_MISSING=$(echo $(orb_packages_missing "${required[@]}"))
  local left_optional
  left_optional=$(echo $(orb_packages_missing "${optional[@]}"))
  [ -n "$left_optional" ] && orb_packages_say "optional ones not installed: $left_optional"
  if [ -n "$ORB_PACKAGES_MISSING" ]; then
    orb_packages_say "still missing after installing: $ORB_PACKAGES_MISSING (log: $log)" >&2
    return 1
  fi
  orb_packages_say "installed"
  return 0
}
