#!/usr/bin/env bash
# Runs every block of code of the guide, and the Python of the README: C++ is compiled against the
# build, shell finds the program in its path. A block of text is what the block before it prints.
# The blocks of a page share a folder; one whose first line is the comment "name.ext" is that file
# there. The page in C++ builds against an installed library. The C++ of the README is
# examples/first_limit.cpp.
# usage: pages_test.sh SOURCE_DIR BUILD_DIR CXX [PYTHON]   (PYTHON: when the package is built)
set -eu
source=$1 build=$2 cxx=$3 python=${4:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export PATH="$build/apps/limes:$PATH" PYTHONPATH="$build/python" PYTHONDONTWRITEBYTECODE=1
export PYTHONUNBUFFERED=1  # in the order of a terminal
cd "$source"
diff <(awk '/^```cpp$/ { on = 1; next } /^```$/ { on = 0 } on' README.md) examples/first_limit.cpp

fail() { echo "$page: block $block: $1" >&2; exit 1; }

compile() {
  "$cxx" -std=c++20 -Wall -Wextra -Werror -DLIMES_STATIC_DEFINE -I"$source" -I"$build/generated" \
    "$1" "$build/limes/liblimes.a" -o "$1.run"
}

run() {
  case $block in
    *.cpp) "$block.run" ;;
    *.cmake) [ -e CMakeLists.txt ] ;;
    *.sh) [ -x "$build/apps/limes/limes" ] || return 0; bash -eu "$block" ;;
    *.python) [ -n "$python" ] || return 0; "$python" "$block" ;;
    *) echo "a block of this kind cannot be run"; return 1 ;;
  esac
}

if [ -x "$build/examples/example_pictures" ]; then  # the pictures are what the library draws
  mkdir "$work/pictures"
  "$build/examples/example_pictures" "$work/pictures" && diff -r "$work/pictures" docs/pictures >&2 || exit 1
fi

for page in README.md docs/guide/*.md; do
  folder=$work/${page//\//_}
  mkdir -p "$folder/blocks"
  awk -v to="$folder/blocks/" -v folder="$folder/" '
    /^```./ { file = sprintf("%s%02d.%s", to, ++n, substr($0, 4)); printf "" > file; first = 1; next }
    /^```$/ { close(file); file = ""; named = ""; next }
    first && /^(\/\/|#) [A-Za-z_]+\.[a-z]+$/ { named = folder $2 }
    named != "" { print > named }
    file != "" { print > file; first = 0 }' "$page"
  [ "$page" != README.md ] || find "$folder" -type f ! -name '*.python' -delete
done
cmake --install "$build" --prefix "$work/prefix" --component runtime >/dev/null
cmake --install "$build" --prefix "$work/prefix" --component development >/dev/null
export CMAKE_PREFIX_PATH=$work/prefix CMAKE_GENERATOR=Ninja CXX=$cxx
export -f compile
export cxx source build
find "$work"/*/blocks -name '*.cpp' -print0 | xargs -0 -r -P 2 -I{} bash -euc 'compile {}'

for folder in "$work"/*.md; do
  page=${folder##*/} printed=
  cd "$folder"
  for block in blocks/*.*; do
    case $block in
      *.run | *"*"*) ;;
      *.text) [ ! -s "$printed" ] || diff "$printed" "$block" || fail "prints something else" ;;
      *) printed=${block##*/}.out; run >"$printed" 2>&1 || { cat "$printed"; fail "fails"; } ;;
    esac
  done
done
