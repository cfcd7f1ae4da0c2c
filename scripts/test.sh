#!/usr/bin/env bash
# Builds everything twice, as it ships and with AddressSanitizer and UBSan, and runs all tests on both.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

install_missing g++ cmake ninja-build pkg-config default-jdk-headless libutfcpp-dev libgtest-dev \
  libcli11-dev libpugixml-dev libzip-dev junit4 gnuplot-nox libxml2-utils python3 python3-venv maven

for preset in release sanitize; do
  say "Building and testing: $preset"
  cmake --preset "$preset" -DZELVOX_TESTS=ON >/dev/null
  cmake --build --preset "$preset" | tail -n 1
  ctest --preset "$preset"
done

work=build/release/tests/importers/work
[ -f "$work/python.ready" ] || say "Skipped: FMPy and libcosim, which could not be fetched from PyPI"
[ -f "$work/fmi4j.ready" ] || say "Skipped: FMI4j, which could not be fetched from Maven Central"
