#!/usr/bin/env bash
# Runs the hosts as a bench would: learn, restart, judge; and what they do with a damaged state.
# usage: run.sh BENCH_HOST VARIANT_HOST
set -eu
bench=$1 variants=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$bench" "$work" 60
"$bench" "$work" 4 3 >"$work/judged"
grep -q '^part 2: pass$' "$work/judged"
grep -A1 '^part 3: fail$' "$work/judged" | grep -q 'Gear noise .*1200.00 Hz'

size=$(stat -c %s "$work/limits.state")
truncate -s -1 "$work/limits.state"
if "$bench" "$work" 1 2>"$work/said"; then
  echo "a state cut short was used" >&2
  exit 1
fi
grep -q 'cut short' "$work/said"
[ "$(stat -c %s "$work/limits.state")" = $((size - 1)) ]

"$variants" "$work" >"$work/judged"
grep -q '^part 138, gear 1: .* beyond the limit at 4... rpm$' "$work/judged"
