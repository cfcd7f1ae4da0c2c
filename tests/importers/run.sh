#!/usr/bin/env bash
# Runs the examples with importers that nobody here wrote, and compares with `zelvox simulate`.
#
#   run.sh CASE WORK_DIRECTORY ZELVOX ZELVOX_JAR LIBJVM HOST ZELVOX_SO HOST_CLASS_PATH
#
# needs what prepare.sh made in the work directory. What could not be fetched is skipped (exit code
# 77), and is a failure where CI=true promises a network.
set -euo pipefail
case=$1 work=$2 zelvox=$3 jar=$4 libjvm=$5 host=$6 zelvox_so=$7 host_class_path=$8
here=$(cd "$(dirname "$0")" && pwd)
examples=$here/../../examples/importers
python=$work/python/bin/python

need() { # need NAME WHAT
  [ -f "$work/$1.ready" ] && return
  echo "skipped: could not fetch $2"
  [ "${CI:-}" = true ] && exit 1
  exit 77
}
in_jvm() { "$zelvox" exec -- "$@"; }
compare() { python3 "$here/compare.py" "$@"; }

case $case in
  fmi4j) need fmi4j "FMI4j from Maven Central" ;;
  host) ;;
  jnifmuapi | *maestro) need into-cps "jnifmuapi and Maestro from Maven Central" ;;
  *) need python "FMPy, libcosimpy and ecospy from PyPI" ;;
esac
cd "$work"
if [[ $case = first-* ]]; then
  cd first
  case=${case#first-}
fi
pair=("$PWD/tank.fmu" "$PWD/motor.fmu")
result=$PWD/$case.csv
rm -f "$result"
case $case in
  validation) "$python" -m fmpy validate motor.fmu ;;
  schema)
    schema=$("$python" -c 'import fmpy; print(fmpy.__path__[0])')/schema/fmi2
    "$python" -m zipfile --extract motor.fmu unpacked
    xmllint --noout --schema "$schema/fmi2ModelDescription.xsd" unpacked/modelDescription.xml
    ;;

  # One motor, whose inputs are constant.
  fmpy-command)
    in_jvm "$python" -m fmpy simulate motor.fmu --stop-time 0.5 --output-interval 1e-3 \
      --start-values voltage 12 load 0.01 --output-variables speed current --output-file "$result"
    ;;
  *-exec) in_jvm "$python" "$examples/${case%-exec}_motor.py" motor.fmu "$result" ;;
  *-jpype)
    PYTHONPATH=$here/../../python ZELVOX_PROGRAM=$zelvox \
      "$python" -B "$examples/${case%-jpype}_motor.py" motor.fmu "$result" --start-jvm
    ;;
  host) "$host" "$libjvm" "$zelvox_so" "$host_class_path" "$result" ;;
  fmi4j)
    javac -d fmi4j -cp "fmi4j/*" "$examples/fmi4j/Motor.java"
    java -cp "$jar:fmi4j:fmi4j/*" Motor motor.fmu "$result"
    ;;

  # A tank that drives a motor; in the directory `first` something whose first values depend on the tank's.
  fmpy-pair) in_jvm "$python" "$examples/fmpy_pair.py" "${pair[@]}" "$result" ;;
  libcosim-osp)
    cp "$examples/libcosim/OspSystemStructure.xml" .
    in_jvm "$python" "$examples/libcosim/pair.py" OspSystemStructure.xml "$result"
    ;;
  libcosim-ssp)
    mkdir -p resources
    cp "${pair[@]}" resources
    rm -f pair.ssp
    "$python" -m zipfile --create pair.ssp "$examples/libcosim/SystemStructure.ssd" resources
    in_jvm "$python" "$examples/libcosim/pair.py" pair.ssp "$result"
    ;;
  ecos) in_jvm "$python" "$examples/ecos_pair.py" "${pair[@]}" "$result" ;;
  jnifmuapi)
    javac -d into-cps -cp "into-cps/*" "$examples/into-cps/Pair.java"
    java -cp "$jar:into-cps:into-cps/*" Pair "${pair[@]}" "$result"
    ;;
  maestro)
    java -cp "$jar:$work/into-cps/*" org.intocps.maestro.Main import sg1 --interpret \
      --fmu-search-path="$PWD" -output="$PWD/maestro" "$examples/into-cps/multimodel.json"
    mv maestro/outputs.csv "$result"
    ;;
  fmi-sim) # knows no systems: what the tank wrote is the motor's input
    rm -f fmi-sim.ready drained.csv
    fmi_sim=$("$here/fmi-sim.sh" "$python") || {
      code=$?
      [ $code -eq 77 ] || [ "${CI:-}" = true ] || code=77
      echo "skipped: could not build fmi-sim"
      exit $code
    }
    touch fmi-sim.ready
    steps=(--step 1e-3 -n 0 -f 0.5)
    in_jvm "$fmi_sim" --model tank.fmu -o drained.csv co-simulation --init-values drain=2 "${steps[@]}"
    sed 's/level/voltage/' drained.csv >drained-voltage.csv
    in_jvm "$fmi_sim" --model motor.fmu -i drained-voltage.csv -o "$result" \
      co-simulation --init-values J=2e-4 "${steps[@]}"
    ;;

  # Three tanks. Ecos names instances after the file and goes on after an error.
  ecos-three)
    mkdir -p three # not among what Maestro looks through at the same time
    for copy in a b c; do cp tank.fmu "three/tank-$copy.fmu"; done
    in_jvm "$python" "$here/ecos_three.py" three/tank-{a,b,c}.fmu
    in_jvm "$python" "$here/ecos_three.py" tank.fmu tank.fmu tank.fmu >three.log 2>&1 ||
      grep -m 1 "give each instance a name of its own" three.log
    ;;
esac
case $case in
  validation | schema | ecos-three) ;;
  fmpy-command | *-exec | *-jpype | host | fmi4j) compare "$result" alone.csv ;;
  fmi-sim) compare drained.csv tank.csv && compare "$result" driven.csv ;;
  *) compare "$result" tank.csv driven.csv ;;
esac
