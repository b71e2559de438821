#!/usr/bin/env bash
# Completion in the shells that are here, and the unit for systemd.
# usage: comfort_test.sh PROGRAM SOURCE_DIR
set -eu
program=$(realpath "$1")
source=$(realpath "$2")/apps/limes
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
ln -s "$program" limes
PATH=$work:$PATH
printf 'loud noise,speed\n1,2\n3,3\n2,5\n4,4\n' >good.csv
limes learn a.limes good.csv --values >/dev/null 2>&1

# shellcheck source=/dev/null
. "$source/limes.bash"
completes() { # EXPECTED WORD...
  local expected=$1
  shift
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  _limes
  [ "${COMPREPLY[*]}" = "$expected" ] || { echo "bash: $*: ${COMPREPLY[*]}"; exit 1; }
}
completes "watch" limes wat
completes "show set serve" limes s
completes "--learn-ok" limes watch a.limes --le
completes "lower" limes learn a.limes --sides l
completes "loud noise speed" limes plot a.limes ""
completes "speed" limes plot a.limes s
completes "a.limes" limes show a.
printf 'product,noise\nA,1\nB,3\nA,2\nB,4\n' >variants.csv
limes learn b.limes variants.csv --values --variant product >/dev/null 2>&1
completes "product=A product=B" limes show b.limes --variant ""
completes "noise" limes plot b.limes n
if command -v fish >/dev/null; then
  fish -c "source $source/limes.fish; complete -C 'limes plot a.limes s'" | grep -qx speed
  fish -c "source $source/limes.fish; complete -C 'limes wat'" | grep -q '^watch'
fi
! command -v zsh >/dev/null || zsh -n "$source/_limes"

if command -v systemd-analyze >/dev/null; then
  sed "s#/usr/bin/limes#$program#; /^Documentation/d" "$source/deploy/limes-bench@.service" >limes-bench@gear.service
  systemd-analyze verify ./limes-bench@gear.service >told 2>&1 || true
  ! grep -v -i 'SO_PASSCRED\|cgroup\|proc' told || exit 1
fi
