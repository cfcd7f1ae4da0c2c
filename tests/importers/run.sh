#!/usr/bin/env bash
# Runs the examples with importers that nobody here wrote, and compares with `zelvox simulate`.
#
#   run.sh CASE WORK_DIRECTORY ZELVOX ZELVOX_JAR MODEL_JAR
#
# The case "prepare" fetches the importers and packs the motor; the others need what it made. What
# cannot be fetched is skipped (exit code 77), and is a failure where CI=true promises a network.
set -euo pipefail
case=$1 work=$2 zelvox=$3 jar=$4 model=$5
here=$(cd "$(dirname "$0")" && pwd)
examples=$here/../../examples/importers
fmu=$work/motor.fmu reference=$work/reference.csv result=$work/$case.csv
python=$work/python/bin/python

skip() {
  echo "skipped: $1"
  [ "${CI:-}" = true ] && exit 1
  exit 77
}

case $case in
  prepare)
    mkdir -p "$work"
    "$zelvox" pack --jar "$model" -o "$fmu"
    "$zelvox" simulate "$fmu" --start-value voltage=12 --start-value load=0.01 \
      --output-file "$reference"
    rm -f "$work"/*.ready
    python3 -m venv "$work/python"
    # What cannot be fetched is told by the cases that need it.
    if "$python" -m pip install --quiet --retries 1 --timeout 30 \
      fmpy==0.3.32 JPype1==1.7.1 libcosimpy==0.0.6; then
      touch "$work/python.ready"
    fi
    if mvn --quiet --batch-mode --file "$examples/fmi4j/pom.xml" \
      org.apache.maven.plugins:maven-dependency-plugin:3.6.1:copy-dependencies \
      -DoutputDirectory="$work/fmi4j"; then
      touch "$work/fmi4j.ready"
    fi
    ;;
  fmi4j)
    [ -f "$work/fmi4j.ready" ] || skip "FMI4j could not be fetched from Maven Central"
    javac -d "$work" -cp "$work/fmi4j/*" "$examples/fmi4j/Motor.java"
    java -cp "$work:$jar:$work/fmi4j/*" Motor "$fmu" "$result"
    ;;
  *)
    [ -f "$work/python.ready" ] || skip "FMPy and libcosimpy could not be fetched from PyPI"
    ;;&
  validation)
    "$python" -m fmpy validate "$fmu"
    ;;
  schema)
    schema=$("$python" -c 'import fmpy; print(fmpy.__path__[0])')/schema/fmi2
    "$python" -m zipfile --extract "$fmu" "$work/unpacked"
    xmllint --noout --schema "$schema/fmi2ModelDescription.xsd" "$work/unpacked/modelDescription.xml"
    ;;
  fmpy-command)
    "$zelvox" exec -- "$python" -m fmpy simulate "$fmu" --stop-time 0.5 --output-interval 1e-3 \
      --start-values voltage 12 load 0.01 --output-variables speed current --output-file "$result"
    ;;
  *-exec)
    "$zelvox" exec -- "$python" "$examples/${case%-exec}_motor.py" "$fmu" "$result"
    ;;
  *-jpype)
    "$python" "$examples/${case%-jpype}_motor.py" "$fmu" "$result" "$jar"
    ;;
esac
case $case in
  prepare | validation | schema) ;;
  *) python3 "$here/compare.py" "$reference" "$result" ;;
esac
