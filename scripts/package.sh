#!/usr/bin/env bash
# Builds the Debian package of Tamsolvix (Release, in build/package) and tries it: the package is
# unpacked into a scratch folder and the brolmet-cli inside it scans the simulated board.
#   bash scripts/package.sh
#   sudo apt install ./build/package/*.deb
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
build=build/package
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTAMSOLVIX_TESTS=OFF \
  -DTAMSOLVIX_BENCHMARKS=OFF
cmake --build "$build"
rm -f "$build"/*.deb
(cd "$build" && cpack -G DEB)

deb=$(ls "$build"/*.deb)
echo "package: $deb ($(du -h "$deb" | cut -f1))"
dpkg-deb --field "$deb" Package Version Depends
dpkg-deb --contents "$deb"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
dpkg -x "$deb" "$scratch"
# The programs link Qt from the system, so no library path is needed.
QT_QPA_PLATFORM=offscreen "$scratch/usr/bin/brolmet-cli" --board sim detect
