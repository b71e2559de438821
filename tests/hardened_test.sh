#!/usr/bin/env bash
# What is installed stops at damage to its memory. usage: hardened_test.sh FILE...
set -u
failed=0
for file; do
  miss() { echo "$file: $1" >&2; failed=1; }
  head=$(readelf -Whld "$file") && symbols=$(readelf -W --dyn-syms "$file") || { miss "unreadable"; continue; }
  grep -q 'Type: *DYN' <<<"$head" || miss "has a fixed place in memory"
  grep -q GNU_RELRO <<<"$head" || miss "the table of functions can be written"
  grep -Eq 'BIND_NOW|Flags:.* NOW' <<<"$head" || miss "functions are bound late"
  grep -q 'GNU_STACK.* RW ' <<<"$head" || miss "the stack can be run"
  grep -q __stack_chk_fail <<<"$symbols" || miss "the stack is not watched"
done
# Copies of a size known when compiled are few: the program has some.
readelf -W --dyn-syms "$1" | grep -q '_chk@' || { echo "$1: copies are not checked" >&2; failed=1; }
exit $failed
