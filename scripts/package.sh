#!/usr/bin/env bash
# Makes the two archives: the static tool for the device, and the tool with the simulated devices for
# the PC.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh package

for preset in arm-release release; do
  echo "== Building and packing $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  (cd "build/$preset" && cpack --config CPackConfig.cmake | grep -v '^CPack: - ')
done
ls -l build/arm-release/planeshow build/*release/planeshow-*.tar.gz
