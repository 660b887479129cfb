#!/usr/bin/env bash
# scripts/package.sh: makes the Debian package build/korvane_VERSION_ARCH.deb. It configures a
# Release build of its own for /usr (build/package), builds what is installed, and runs CPack,
# whose dpkg-shlibdeps reads the package's dependencies off the libraries the program links.
# Prints the package's path.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh dpkg-dev file
[ -f build/package/CMakeCache.txt ] || cmake --preset package >/dev/null
cmake --build --preset package >&2
rm -f build/package/korvane_*.deb
(cd build/package && cpack -G DEB >&2)
deb=$(cd build/package && ls korvane_*.deb)
mv "build/package/$deb" "build/$deb"
echo "build/$deb"
