#!/usr/bin/env bash
# Prints the path of fmi-sim, which is built once per machine: fmi-sim.sh PYTHON, that of a virtual
# environment. Exits with 77 where it cannot be built, with 1 where a registry cannot be reached.
set -euo pipefail
python=$1 version=0.7.0 rust=1.88
home=${XDG_CACHE_HOME:-$HOME/.cache}/zelvox-tests/fmi-sim-$version

if [ ! -x "$home/bin/fmi-sim" ]; then
  found=$(cargo --version 2>/dev/null | cut -d ' ' -f 2) || true
  printf '%s\n' "$rust" "${found:-0}" | sort -VC || {
    echo "fmi-sim $version needs cargo $rust, found ${found:-none}" >&2
    exit 77
  }
  # bindgen wants libclang, which PyPI has without the headers that a compiler brings.
  "$python" -m pip install --quiet --retries 1 --timeout 30 libclang==18.1.1 >&2
  # What is built before somebody loses patience is there for the next try.
  LIBCLANG_PATH=$("$python" -c 'import clang.native; print(clang.native.__path__[0])') \
    CARGO_TARGET_DIR=$home/target BINDGEN_EXTRA_CLANG_ARGS=-I$(dirname "$(gcc -print-file-name=include/stddef.h)") \
    CARGO_PROFILE_DEV_DEBUG=0 CARGO_NET_RETRY=1 \
    cargo install --quiet --locked --debug --root "$home" "fmi-sim@$version" >&2
  rm -rf "$home/target"
fi
echo "$home/bin/fmi-sim"
