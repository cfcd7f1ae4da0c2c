#!/usr/bin/env bash
# Drives the library with millions of random calls under AddressSanitizer and UBSan, each seed in a
# process of its own. A seed that fails is printed with the command that replays it.
#
#   ./scripts/soak.sh [--calls N] [--seed FIRST]      10 million calls by default, from seed 1
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

calls=10000000 seed=1 each=250000
while [ $# -gt 0 ]; do
  case $1 in
    --calls) calls=$2 ;;
    --seed) seed=$2 ;;
    *) echo "usage: $0 [--calls N] [--seed FIRST]" >&2; exit 2 ;;
  esac
  shift 2
done

install_missing g++ make cmake ninja-build default-jdk-headless libutfcpp-dev libgtest-dev junit4

build=build/sanitize
say "Building $build"
cmake --preset sanitize -DZELVOX_TESTS=ON -DZELVOX_TOOLS=OFF >/dev/null
build_targets "$build" zelvox-tests

say "$calls random calls, $each with each seed from $seed on"
methods=('' doStepModel '' getData '' doFreeInstance '' setReal '' getProp)
started=$SECONDS last=$((seed + (calls + each - 1) / each))
for ((; seed < last; seed++)); do
  export LIFE="$seed $each ${methods[seed % 10]:-}"
  if ! "$build/tests/zelvox-tests" --gtest_filter='*RandomLife*' >"$build/life.log" 2>&1; then
    cat "$build/life.log"
    echo "Failed. To replay it: LIFE='$LIFE' $build/tests/zelvox-tests --gtest_filter='*RandomLife*'" >&2
    exit 1
  fi
done
say "No fault in $((SECONDS - started)) s"
