#!/usr/bin/env bash
# Measures the library against bare JNI calls and writes the figures to docs/performance.md and .svg.
#
#   bench.sh [--quick]    --quick: few rounds, shown but not written
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

processes=5 rounds=401 share=1
case ${1-} in
  "") ;;
  --quick) processes=1 rounds=101 share=100 ;;
  *)
    echo "usage: $0 [--quick]" >&2
    exit 2
    ;;
esac

install_missing g++ make cmake ninja-build default-jdk-headless libutfcpp-dev gnuplot-nox python3

build=build/bench
say "Building the library as it ships and the benchmark in $build"
cmake --preset release -B "$build" -DZELVOX_BENCH=ON -DZELVOX_TOOLS=OFF -DZELVOX_TESTS=OFF >/dev/null
build_targets "$build" bench memory

cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
java_version=$("$(cached Java_JAVA_EXECUTABLE)" -version 2>&1 | sed -n '1s/.*"\(.*\)".*/\1/p')
compiler=$("$(cached CMAKE_CXX_COMPILER)" -dumpfullversion)

say "Measuring in $processes processes, $rounds rounds each; the quieter the machine, the better"
figures=$build/figures.md data=$build/figures.dat rounds_file=$build/rounds
models=$build/bench/step-loops.jar:$build/java/zelvox.jar:$build/examples/dcmotor/dcmotor.jar
for ((i = 0; i < processes; i++)); do
  "$build/bench/bench" "$rounds"
  "$(cached Java_JAVA_EXECUTABLE)" -Xms512m -Xmx512m -cp "$models" StepLoops "$rounds"
done >"$rounds_file"
bench/tables.py "$rounds_file" "$data" >"$build/tables.md"
{
  printf 'Measured on %s: %s, %s cores, %s GB, JDK %s, GCC %s.\n\n' "$(date +%F)" "$(uname -sm)" \
    "$(nproc)" "$(awk '/^MemTotal/ { printf "%.0f", $2 / 1e6 }' /proc/meminfo)" \
    "$java_version" "$compiler"
  cat "$build/tables.md"
  printf '\nResident memory in kB:\n\n'
  "$build/bench/memory" "$share"
} >"$figures"

if [ "$share" -eq 1 ]; then
  page=docs/performance.md
  awk -v figures="$figures" '
    /<!-- figures -->/ { print; print ""; while ((getline line < figures) > 0) print line; print ""; skip = 1 }
    /<!-- end of figures -->/ { skip = 0 }
    !skip' "$page" >"$build/page.md"
  cp "$build/page.md" "$page"
  chart=docs/performance.svg
else
  chart=$build/performance.svg
fi

gnuplot -e "data='$data'; chart='$chart'" - <<'GNUPLOT'
set terminal svg size 900,1000 font "sans-serif,14" background "white"
set output chart
set datafile separator "\t"
set grid lc rgb "#dddddd"
stats data index 1 using 3 nooutput
set multiplot
blue = "#1f5fa8"; red = "#c0392b"; grey = "#777777"

set origin 0,0.62; set size 1,0.38
set lmargin at screen 0.42; set rmargin at screen 0.97
set title "What one fmi2DoStep takes, on the way to Java and back"
set logscale xy
set xlabel "inputs, and as many outputs, of the model"
set ylabel "time of a call [µs]"
set format x "%g"; set format y "%g"
set xrange [2:150000]
set key left top Left reverse
plot data index 0 using 1:($2/1e3) with linespoints pt 7 ps 0.7 lw 2 lc rgb blue title "zelvox.so", \
     "" index 0 using 1:($3/1e3) with linespoints pt 6 ps 1.1 lw 1.5 dt 2 lc rgb red title "the same JNI calls, made by hand", \
     "" index 0 using 1:($4/1e3) with linespoints pt 4 ps 0.7 lw 1.5 lc rgb grey title "only the Java calls, all else kept from before"

set origin 0,0; set size 1,0.61
set title "What zelvox.so adds to the JNI calls that it makes"
unset logscale
unset ylabel
unset key
set xlabel "its time divided by that of the same calls made by hand; 1.00 adds nothing\npoint: median, line: middle half of the rounds, red: target"
set xrange [0.8:1.35]
set yrange [STATS_records - 0.5:-0.5]
set format y "%s"
set ytics font ",12"
set arrow from 1, graph 0 to 1, graph 1 nohead lw 1.5 lc rgb "#333333"
set format x "%.2f"
plot data index 1 using 3:0:2:4:ytic(1) with xerrorbars pt 7 ps 0.8 lw 1.5 lc rgb blue, \
     "" index 1 using ($3 > 1.35 ? 1.345 : NaN):0:(sprintf("%.2f →", $3)) with labels right tc rgb blue, \
     "" index 1 using 5:0:(0):(0.35) with vectors nohead lw 3 lc rgb red, \
     "" index 1 using 5:0:(0):(-0.35) with vectors nohead lw 3 lc rgb red
unset multiplot
GNUPLOT

cat "$figures"
say "The chart is in $PWD/$chart"
