#!/usr/bin/env bash
# Installs the project and uses the Maven repository that it brings: run.sh CASE WORK_DIRECTORY CMAKE
# BUILD_DIRECTORY VERSION. What could not be fetched from Maven Central is skipped (exit code 77), and
# is a failure where CI=true promises a network.
set -euo pipefail
case=$1 work=$2 cmake=$3 build=$4 version=$5
here=$(cd "$(dirname "$0")" && pwd)
repository=$work/prefix/share/maven-repo
local=$work-repository # where Maven keeps what it fetches; that of the user is not touched

fail() {
  echo "$*"
  exit 1
}
entries() { python3 -c 'import sys, zipfile; print(*zipfile.ZipFile(sys.argv[1]).namelist(), sep="\n")' "$1"; }
package() { # package MAVEN_OPTION...
  # Maven's own copies stay from one run to the next, but not those of what was built.
  rm -rf "$local/com/zelvox"
  mvn --batch-mode --no-transfer-progress -Dmaven.repo.local="$local" package "$@" >mvn.log 2>&1 || {
    if [ "${CI:-}" != true ] && grep -Eq "(Could not|failed to) transfer .* (from|from\/to) " mvn.log; then
      echo "skipped: could not fetch what the project needs from Maven Central"
      exit 77
    fi
    fail "$(cat mvn.log)"
  }
  ! grep "WARNING.*zelvox" mvn.log || fail "Maven warns of the repository"
}
PATH=$work/prefix/bin:$PATH

case $case in
  repository)
    rm -rf "$work"
    mkdir -p "$work"
    "$cmake" --install "$build" --prefix "$work/prefix" >"$work/install.log" 2>&1 ||
      fail "$(cat "$work/install.log")"
    ! grep warning "$work/install.log" || fail "javadoc finds fault with a comment"
    cd "$repository/com/zelvox/zelvox/$version"
    for file in zelvox-"$version"{.pom,.jar,-sources.jar,-javadoc.jar}; do
      echo "$(cat "$file.sha1")  $file" | sha1sum --check --quiet
    done
    has() { entries "zelvox-$version$1" | grep -Fx "$2" >/dev/null || fail "zelvox-$version$1 has no $2"; }
    has .jar com/zelvox/qorbetta/Model.class
    has -sources.jar com/zelvox/qorbetta/Model.java
    has -javadoc.jar com/zelvox/qorbetta/Model.html
    has -javadoc.jar index.html
    ;;
  example)
    rm -rf "$work/example"
    cp -r "$here/../../examples/maven" "$work/example"
    cd "$work/example"
    package -Dzelvox.repository="file://$repository"
    libraries=$(entries target/tank.fmu | grep -x "resources/.*\.jar" | sort | tr '\n' ' ')
    [ "$libraries" = "resources/commons-math3-3.6.1.jar resources/tank.jar " ] || fail "target/tank.fmu has $libraries"
    # In the end as much flows in as out: inflow = hole sqrt(2 g level).
    zelvox simulate target/tank.fmu --stop-time 36000 --output-file tank.csv
    tail -n 1 tank.csv | awk -F , '{ level = (0.01 / 2e-3) ^ 2 / (2 * 9.81); exit !(($2 - level) ^ 2 < 1e-12) }' ||
      fail "the level ends at $(tail -n 1 tank.csv), expected 1.2742"
    ;;
  new)
    rm -rf "$work/Pond"
    cd "$work"
    zelvox new com.acme.Pond --maven
    cd Pond
    package
    zelvox simulate target/Pond.fmu | grep "level *1.9950425 "
    ;;
esac
