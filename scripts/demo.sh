#!/usr/bin/env bash
# Co-simulates the Java model of a DC motor through zelvox.so and draws what came out.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

install_missing g++ cmake ninja-build default-jdk-headless gnuplot-nox

build=build/release
say "Building the library, the Java side and the example host in $build"
cmake --preset release -DZELVOX_TESTS=OFF >/dev/null
cmake --build "$build" | tail -n 1

say "Running examples/host: a JVM, zelvox.so and 500 steps of the motor"
mkdir -p out
libjvm=$(sed -n 's/^JAVA_JVM_LIBRARY:FILEPATH=//p' "$build/CMakeCache.txt")
"$build/examples/host/host" "$libjvm" "$build/zelvox.so" \
  "$build/java/zelvox.jar:$build/examples/dcmotor/dcmotor.jar" out/motor.csv

gnuplot <<'GNUPLOT'
set terminal svg size 900,560 font "sans-serif,14" background "white"
set output "out/motor.svg"
set datafile separator ","
set multiplot layout 2,1 title "DC motor, a Java model co-simulated through zelvox.so"
set grid
set key left top
set ylabel "speed [rad/s]"
plot "out/motor.csv" using 1:2 skip 1 with lines lw 2 lc rgb "#1f5fa8" title "speed"
set xlabel "time [s]"
set ylabel "current [A], voltage [V]"
plot "out/motor.csv" using 1:3 skip 1 with lines lw 2 lc rgb "#c0392b" title "current", \
     "" using 1:4 skip 1 with lines lw 1 lc rgb "#555555" title "voltage"
unset multiplot
GNUPLOT

say "The result is in $PWD/out/motor.csv, its picture in $PWD/out/motor.svg"
