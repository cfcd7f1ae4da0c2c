#!/usr/bin/env bash
# From one Java class to a picture: packs the DC motor as an FMU, co-simulates and draws it.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

install_missing g++ make cmake ninja-build pkg-config default-jdk-headless libutfcpp-dev gnuplot-nox \
  libcli11-dev nlohmann-json3-dev libpugixml-dev libzip-dev uuid-dev

build=build/release zelvox=build/release/tools/zelvox
say "Building the library, the Java side and the command line in $build"
cmake --preset release >/dev/null
build_targets "$build" zelvox zelvox-jar zelvox-cli

mkdir -p out
run() {
  printf '$ %s\n' "${*//$build\/tools\//}"
  "$@"
}
say "Packing examples/dcmotor, a Java class, as an FMU"
run "$zelvox" pack examples/dcmotor/src -o out/motor.fmu

say "Co-simulating it"
run "$zelvox" simulate out/motor.fmu --input-file examples/dcmotor/inputs.csv \
  --output-file out/motor.csv --plot-file out/motor.svg

say "Building examples/host, a program of its own"
build_targets "$build" zelvox-preload dcmotor-jar host

say "The same motor in it, with 12 V and a load of 0.01 N.m"
libjvm=$(sed -n 's/^JAVA_JVM_LIBRARY:FILEPATH=//p' "$build/CMakeCache.txt")
"$build/examples/host/host" "$libjvm" "$build/zelvox.so" \
  "$build/java/zelvox.jar:$build/examples/dcmotor/dcmotor.jar" out/host.csv

say "The FMU is $PWD/out/motor.fmu, its result $PWD/out/motor.csv, the picture $PWD/out/motor.svg"
echo "Next: cmake --install build/release (as root), zelvox doctor, zelvox new com.acme.Tank, docs/models.md"
