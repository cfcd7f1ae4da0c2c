#!/usr/bin/env bash
# Fuzzes the readers of archives, input files and model descriptions with libFuzzer, under
# AddressSanitizer and UBSan, and prints what it took. A file that breaks a reader is printed and kept.
#
#   ./scripts/fuzz.sh [SECONDS]      for each reader; 60 by default
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

seconds=${1:-60}
[[ $seconds =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SECONDS]" >&2; exit 2; }

install_missing clang cmake ninja-build pkg-config libpugixml-dev libutfcpp-dev libzip-dev
# Debian has what -fsanitize needs in a package of its own.
[ -f "$(clang -print-file-name=libclang_rt.fuzzer-x86_64.a)" ] ||
  install_missing "libclang-rt-$(clang -dumpversion | cut -d. -f1)-dev"

build=build/fuzz
say "Building $build"
cmake -S tests/fuzz -B "$build" -G Ninja -D CMAKE_CXX_COMPILER=clang++ >/dev/null
build_targets "$build" all

# What the fuzzers learn stays out of the corpus in the repository, which is to remain small.
learnt=$(mktemp -d)
export TMPDIR=$learnt
trap 'rm -rf "$learnt"' EXIT
failed=0
for reader in archive csv model_description; do
  say "Fuzzing the reader $reader for $seconds s"
  cp -r "tests/fuzz/corpus/$reader" "$learnt"
  status=0
  "$build/${reader}_fuzzer" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
    -artifact_prefix="$build/$reader-" "$learnt/$reader" 2>"$learnt/log" || status=$?
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$learnt/log")
  echo "$reader: ${executions:-no} executions, $([ $status -eq 0 ] && echo no finding || echo a finding)"
  if [ $status -ne 0 ]; then
    failed=1
    grep -Ev '^(#|INFO|stat|[[:space:]]*NEW_FUNC)' "$learnt/log"
  fi
done
exit $failed
