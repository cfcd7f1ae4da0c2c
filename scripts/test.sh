#!/usr/bin/env bash
# Builds everything twice, as it ships and with AddressSanitizer and UBSan, and runs all tests on both.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

install_missing g++ make cmake ninja-build pkg-config default-jdk-headless libutfcpp-dev libgtest-dev \
  libcli11-dev nlohmann-json3-dev libpugixml-dev libzip-dev uuid-dev junit4 gnuplot-nox libxml2-utils libtbb12 \
  python3 python3-venv maven help2man

for preset in release sanitize; do
  say "Building and testing: $preset"
  cmake --preset "$preset" -DZELVOX_TESTS=ON >/dev/null
  build_targets "build/$preset" all
  ctest --preset "$preset"
done

skipped() { # skipped NAME WHAT
  [ -f "build/release/tests/importers/work/$1.ready" ] || say "Skipped: $2"
}
skipped python "FMPy, libcosim and Ecos, which could not be fetched from PyPI"
skipped fmi4j "FMI4j, which could not be fetched from Maven Central"
skipped into-cps "jnifmuapi and Maestro, which could not be fetched from Maven Central"
skipped fmi-sim "fmi-sim, which could not be built"
[ -f build/release/tests/python/work/wheel.ready ] ||
  say "Skipped: the Python wheel, whose parts could not be fetched from PyPI"
[ -f build/release/tests/maven/work/example/target/tank.fmu ] ||
  say "Skipped: the Maven example, whose parts could not be fetched from Maven Central"
