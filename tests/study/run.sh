#!/usr/bin/env bash
# Runs the tests of zelvox-study from the sources: run.sh WORK_DIRECTORY ZELVOX CLASS, or prepare for CLASS,
# which fetches what they need. What could not be fetched is skipped (exit code 77), and is a failure where
# CI=true promises a network.
set -euo pipefail
work=$1 program=$2 class=$3
here=$(cd "$(dirname "$0")" && pwd)

mkdir -p "$work"
if [ "$class" = prepare ]; then
  rm -f "$work/ready"
  python3 -m venv "$work/python"
  if "$work/python/bin/python" -m pip install --quiet --retries 1 --timeout 30 \
    bokeh dask distributed matplotlib numpy pandas pyarrow scipy; then touch "$work/ready"; fi
  exit
fi
if [ ! -f "$work/ready" ]; then
  echo "skipped: could not fetch Dask and pandas from PyPI"
  [ "${CI:-}" = true ] && exit 1
  exit 77
fi
export PYTHONPATH=$here/../../python ZELVOX_PROGRAM=$program
export MPLCONFIGDIR=$work/matplotlib # its list of fonts takes seconds to make
exec "$work/python/bin/python" -B "$(grep -l "^class $class(" "$here"/test_*.py)" "$class"
