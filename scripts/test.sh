#!/usr/bin/env bash
# Sets up, builds (warnings are errors) and runs the whole test suite.
#   --sanitize   build and run under AddressSanitizer and UndefinedBehaviorSanitizer
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/test
flags=(-DCMAKE_BUILD_TYPE=Debug -DTAMSOLVIX_WERROR=ON)
if [ "${1:-}" = "--sanitize" ]; then
  build=build/sanitize
  flags+=(-DTAMSOLVIX_SANITIZE=ON -DTAMSOLVIX_BENCHMARKS=OFF)
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
  export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
fi

bash scripts/setup.sh
cmake -S . -B "$build" -G Ninja "${flags[@]}" >/dev/null
cmake --build "$build"
cd "$build"
QT_QPA_PLATFORM=offscreen ctest --output-on-failure --timeout 300 -j "$(nproc)"
