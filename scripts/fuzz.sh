#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer + AddressSanitizer + UndefinedBehaviorSanitizer)
# in build/fuzz and runs each for the given number of seconds (default 60), starting from the
# seed corpus in fuzz/corpus. Fails when a target crashes; the input that did it is kept in
# build/fuzz/artifacts.
#   scripts/fuzz.sh [seconds]
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-60}"
build=build/fuzz
targets=(command_file numeric_value)

bash scripts/setup.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DTAMSOLVIX_FUZZ=ON -DTAMSOLVIX_TESTS=OFF -DTAMSOLVIX_BENCHMARKS=OFF >/dev/null
cmake --build "$build" --target "${targets[@]/#/fuzz_}"

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
mkdir -p "$build/artifacts"
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target" # what the run finds; the seeds stay as they are
  mkdir -p "$corpus"
  echo "fuzz: $target for $seconds s" >&2
  "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -print_final_stats=1 \
    -artifact_prefix="$build/artifacts/$target-" "$corpus" "fuzz/corpus/$target"
done
