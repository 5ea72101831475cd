#!/usr/bin/env bash
# Sets up, builds and starts Tamsolvix on the simulated test board: the window where there is
# a display, a short demonstration on the terminal where there is none.
# Further arguments go to the program (for example --board sim:dsr-low).
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DTAMSOLVIX_TESTS=OFF \
  -DTAMSOLVIX_BENCHMARKS=OFF >/dev/null
cmake --build build/release --target brolmet brolmet-cli

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  exec build/release/src/brolmet --board sim "$@"
else
  echo "No display: running the headless demonstration on the simulated board." >&2
  cli=build/release/src/brolmet-cli
  "$cli" --board sim "$@" demo
  echo; echo "Device scan (Analyse > Device Detect):"
  "$cli" --board sim "$@" detect
  echo; echo "Two command files: write 'Ta' into the 24C02 EEPROM, then read it back:"
  vcd=$(mktemp --suffix=.vcd)
  status=0
  "$cli" --board sim "$@" run examples/eeprom-write.scm examples/eeprom-read.scm --sequence 12 \
    --vcd "$vcd" --force || status=$?
  if [ "$status" -eq 0 ] && command -v sigrok-cli >/dev/null; then
    echo; echo "The last run's line events ($vcd), decoded by sigrok-cli:"
    sigrok-cli -I vcd -i "$vcd" -P i2c:scl=rts:sda=data \
      -A i2c=address-read:address-write:data-read:data-write:ack:nack 2>/dev/null
  fi
  exit "$status"
fi
