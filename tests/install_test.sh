#!/usr/bin/env bash
# Installs to a new prefix, then builds and runs the examples against it: once through
# find_package, once through pkg-config, once with the static library. A consumer of the shared
# library uses every class that the headers export.
# usage: install_test.sh BUILD_DIR SOURCE_DIR CXX
set -eu
build=$1 source=$(realpath "$2") cxx=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >"$work/log"

cmake -G Ninja -S "$source/examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" >"$work/log"
cmake --build "$work/examples" >"$work/log" || { cat "$work/log"; exit 1; }
(cd "$work/examples" && ctest --output-on-failure)

pc=$(dirname "$(find "$work/prefix" -name limes.pc)")
example=$source/examples/first_limit.cpp
flags() { PKG_CONFIG_PATH=$pc pkg-config "$@" limes; }  # the file finds its prefix itself
# shellcheck disable=SC2046
"$cxx" -std=c++20 $(flags --cflags) "$example" $(flags --libs) -o "$work/shared"
LD_LIBRARY_PATH=$(dirname "$pc") "$work/shared"
grep -rohE '(class|struct) LIMES_EXPORT [A-Za-z_]+' "$work/prefix/include/limes" | sed 's/.* //' |
  sort -u | sed -e 's/^UnitStrings$/CMeasuringUnit::&/' -e 's/^failure$/CStorable::&/' \
  -e 's/^CInfoHandle$/&<CSignalInfo>/' -e 's/^SignalList$/&<CSigPairs>/' -e 's/^CRatedLimit$/&<CKurvenLernWerkzeug>/' -e '$!s/$/,/' \
  >"$work/exported_classes.inc"
# shellcheck disable=SC2046
"$cxx" -std=c++20 -I "$work" $(flags --cflags) "$source/tests/consumer.cpp" $(flags --libs) \
  -o "$work/consumer"
LD_LIBRARY_PATH=$(dirname "$pc") "$work/consumer"
# shellcheck disable=SC2046
"$cxx" -std=c++20 -DLIMES_STATIC_DEFINE $(flags --cflags) "$example" \
  "$(find "$work/prefix" -name liblimes.a)" -o "$work/static"
# shellcheck disable=SC2046
errors=$("$cxx" -std=c++17 -fsyntax-only $(flags --cflags) "$example" 2>&1 | grep -c 'error:' || true)
[ "$errors" -le 2 ] || { echo "before C++20: $errors errors instead of one message"; exit 1; }
"$work/static"

# Files are read with the component that reads them, where it was installed.
[ -n "$(find "$work/prefix" -name limesRecordingsTargets.cmake)" ] || exit 0
mkdir "$work/reading"
cat >"$work/reading/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(reading LANGUAGES CXX)
find_package(limes REQUIRED COMPONENTS recordings)
add_executable(reading "$source/tests/reading_consumer.cpp")
target_link_libraries(reading PRIVATE limes::recordings)
END
cmake -G Ninja -S "$work/reading" -B "$work/reading" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" >"$work/log"
cmake --build "$work/reading" >"$work/log" || { cat "$work/log"; exit 1; }
printf 't [s],p [Pa]\n0,3\n1,4\n2,5\n' >"$work/a.csv"
printf 'RIFF\50\0\0\0WAVEfmt \20\0\0\0\1\0\1\0\100\37\0\0\200\76\0\0\2\0\20\0data\4\0\0\0\0\100\0\0' \
  >"$work/b.wav"
found=$("$work/reading/reading" "$work/a.csv" "$work/b.wav")
[ "$found" = "p [Pa]: 3 values, the first 3
channel 1 [no unit]: 2 values, the first 0.5" ] || { echo "read: $found"; exit 1; }
