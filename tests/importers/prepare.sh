#!/usr/bin/env bash
# Packs the models, makes the references and fetches the importers: prepare.sh WORK_DIRECTORY
# ZELVOX MOTOR_JAR. What was fetched leaves NAME.ready in the work directory.
set -euo pipefail
work=$1 zelvox=$2 motor=$3
tests=$(cd "$(dirname "$0")" && pwd)
examples=$tests/../../examples/importers

mkdir -p "$work/first"
cd "$work"
rm -f ./*.ready
"$zelvox" pack --jar "$motor" -o motor.fmu
"$zelvox" pack "$tests/Tank.java" -o tank.fmu
# The motor alone, and the tank whose level is the motor's voltage.
"$zelvox" simulate motor.fmu --start-value voltage=12 --start-value load=0.01 --output-file alone.csv
"$zelvox" simulate tank.fmu --start-value drain=2 --output-file tank.csv
sed 's/level/voltage/' tank.csv >voltage.csv
"$zelvox" simulate motor.fmu --start-value J=2e-4 --input-file voltage.csv --output-file driven.csv
# And the tank with something else in place of the motor.
cp tank.fmu tank.csv first
"$zelvox" pack "$tests/Follower.java" -o first/motor.fmu
"$zelvox" simulate first/motor.fmu --start-value J=2e-4 --input-file voltage.csv --output-file first/driven.csv

# What cannot be fetched is told by the cases that need it.
fetch() { # fetch NAME COMMAND...
  if "${@:2}"; then touch "$1.ready"; fi
}
maven() { # maven NAME: the libraries of examples/importers/NAME/pom.xml
  fetch "$1" mvn --quiet --batch-mode -Dmaven.repo.local="$work/maven" --file "$examples/$1/pom.xml" \
    dependency:copy-dependencies -DoutputDirectory="$work/$1"
}
python3 -m venv python
fetch python python/bin/python -m pip install --quiet --retries 1 --timeout 30 \
  fmpy==0.3.32 JPype1==1.7.1 libcosimpy==0.0.6 ecospy==0.7.2
maven fmi4j
maven into-cps
