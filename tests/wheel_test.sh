#!/usr/bin/env bash
# Makes a source distribution, of it a wheel with the module that is built, and runs the Python block
# of the README with that in an empty environment. The source distribution must hold all that the
# module is built of; scripts/wheel builds it of that.
# usage: wheel_test.sh SOURCE_DIR BUILD_DIR
set -eu
source=$1 build=$2
/usr/bin/python3 -c 'import build, wheel, venv, ensurepip' 2>/dev/null ||
  { echo "no python3-build, python3-wheel or python3-venv"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/limes"
cd "$source"
needed=(apps cmake limes python recordings CMakeLists.txt LICENSE MANIFEST.in README.md pyproject.toml
  setup.py)
cp -rL "${needed[@]}" "$work/limes"
scripts/sbom --notices "$work/limes/NOTICES"
LIMES_MODULE=$build/python/limes /usr/bin/python3 -m build --no-isolation --outdir "$work/out" \
  "$work/limes" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }

tar -tzf "$work"/out/limes-*.tar.gz | sed 's|^[^/]*/||' | sort >"$work/has"
find apps cmake limes python recordings -type f -not -path 'python/tests/*' -not -name '*.pyc' |
  sort >"$work/wants"
missing=$(comm -13 "$work/has" "$work/wants")
[ -z "$missing" ] || { echo "not in the source distribution: $missing"; exit 1; }

tests/wheel_run.sh "$work"/out/limes-*.whl "$work/env" README.md
ls "$work"/env/lib/python3*/site-packages/limes/_limes.pyi \
  "$work"/env/lib/python3*/site-packages/limes-*.dist-info/{LICENSE,NOTICES} >/dev/null
