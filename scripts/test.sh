#!/usr/bin/env bash
# Builds everything twice, as it ships and with AddressSanitizer and UBSan, and runs all tests on both.
# --quick: only as it ships, and without importers, Maven, the wheel and studies.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

presets=(release sanitize) options=() takes="12 minutes on two processors, 30"
if [ "$*" = --quick ]; then
  presets=(release) options=(--exclude-regex '^(importers|maven|python|study)\.')
  takes="3 minutes on two processors, 10"
elif [ $# -gt 0 ]; then
  echo "usage: ./scripts/test.sh [--quick]" >&2
  exit 2
fi
say "This takes up to $takes when all that is needed has to be installed and built first"

install_missing g++ make cmake ninja-build pkg-config default-jdk-headless libutfcpp-dev libgtest-dev \
  libcli11-dev nlohmann-json3-dev libpugixml-dev libzip-dev uuid-dev junit4 gnuplot-nox libxml2-utils libtbb12 \
  unzip openssl python3 python3-venv maven help2man

build_and_test() { # build_and_test PRESET
  rm -f "build/$1/results.xml"
  cmake --preset "$1" -DZELVOX_TESTS=ON >/dev/null && build_targets "build/$1" all &&
    ctest --preset "$1" --parallel "$(nproc)" --output-junit "$PWD/build/$1/results.xml" "${options[@]}"
}
code=0
for preset in "${presets[@]}"; do
  say "Building and testing: $preset"
  build_and_test "$preset" || code=1
done

say "Summary"
python3 - "${presets[@]}" <<'EOF'
import collections, os, sys
from xml.etree import ElementTree

for half in sys.argv[1:]:
    results = f"build/{half}/results.xml"
    if not os.path.exists(results):
        print(f"{half}: not tested, as it could not be built")
        continue
    count, named = collections.Counter(), collections.defaultdict(list)
    for test in ElementTree.parse(results).iter("testcase"):
        state, said = test.get("status"), test.findtext("system-out") or ""
        count[state] += 1
        if state == "notrun":
            named[(said.strip().splitlines() or ["not run, as what it needs failed"])[-1]].append(test.get("name"))
        elif state == "fail" or "OK (skipped=" in said:
            named["failed" if state == "fail" else "not all cases run here"].append(test.get("name"))
    print(f"{half}: {count['run']} tests passed, {count['fail']} failed, {count['notrun']} skipped")
    for reason, names in named.items():
        print(f"  {reason}: {', '.join(names)}")
EOF
exit $code
