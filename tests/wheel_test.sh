#!/usr/bin/env bash
# Makes wheel and source distribution with the module that is built, installs the wheel to an empty
# environment, with NumPy of the system, and runs the Python block of the README there. The source
# distribution must hold all that the module is built of.
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
cp -r "${needed[@]}" "$work/limes"
LIMES_MODULE=$build/python/limes /usr/bin/python3 -m build --no-isolation --sdist --wheel \
  --outdir "$work/out" "$work/limes" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }

tar -tzf "$work"/out/limes-*.tar.gz | sed 's|^[^/]*/||' | sort >"$work/has"
find apps cmake limes python recordings -type f -not -path 'python/tests/*' -not -name '*.pyc' |
  sort >"$work/wants"
missing=$(comm -13 "$work/has" "$work/wants")
[ -z "$missing" ] || { echo "not in the source distribution: $missing"; exit 1; }

/usr/bin/python3 -m venv --system-site-packages "$work/env"
"$work/env/bin/pip" install -q --no-index --no-deps "$work"/out/limes-*.whl
awk '/^```python$/ { on = 1; next } /^```$/ { on = 0 } on' README.md >"$work/block.py"
cd "$work/env"
unset PYTHONPATH
bin/python -c 'import limes, sys; assert limes.__file__.startswith(sys.prefix), limes.__file__'
bin/python "$work/block.py"
ls lib/python3*/site-packages/limes/_limes.pyi >/dev/null
