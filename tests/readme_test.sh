#!/usr/bin/env bash
# The C++ example of the README is examples/first_limit.cpp, which the tests compile and run.
# usage: readme_test.sh SOURCE_DIR
set -eu
cd "$1"
diff <(awk '/^```cpp$/ { on = 1; next } /^```$/ { on = 0 } on' README.md) examples/first_limit.cpp
