#!/usr/bin/env bash
# Installs what Tamsolvix needs to build, run and test on Debian 12, from Debian's packages.
# Does nothing when everything is there already.
set -euo pipefail

packages=(
  # build
  g++ cmake ninja-build pkg-config qt6-base-dev qt6-serialport-dev
  # tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev
  # the window without a desktop (tests, screenshots), its font, image checks
  xvfb xauth fonts-liberation2 imagemagick
  # the .scm file association on the desktop and its test
  xdg-utils shared-mime-info desktop-file-utils
  # the Debian package (scripts/package.sh): dpkg-shlibdeps finds its Qt runtime packages
  dpkg-dev
  # the fuzz targets (scripts/fuzz.sh): clang with libFuzzer
  clang libclang-rt-14-dev
  # independent decoding of the simulated board's wire recordings (the tests skip without it)
  sigrok-cli
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
echo "setup: installing ${missing[*]}" >&2
$sudo apt-get update -q
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
