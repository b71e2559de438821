#!/usr/bin/env bash
# Installs a wheel in an empty environment, with NumPy of the system, and runs the Python block of a
# page there. usage: wheel_run.sh WHEEL ENVIRONMENT PAGE
set -eu
wheel=$(realpath "$1") environment=$2
/usr/bin/python3 -m venv --system-site-packages "$environment"
awk '/^```python$/ { on = 1; next } /^```$/ { on = 0 } on' "$3" >"$environment/block.py"
cd "$environment"
bin/pip install -q --no-index --no-deps "$wheel"
unset PYTHONPATH
bin/python -c 'import limes, sys; assert limes.__file__.startswith(sys.prefix), limes.__file__'
bin/python block.py
