#!/usr/bin/env bash
# Sets up, builds and runs the tests: on this PC, with sanitizers, optimised, with the other compiler and C++
# library, and as static 32-bit ARM programs under emulation. The last lines are the test runner's summary of
# all of them.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh test

presets=(debug asan optimised libcxx arm-release)
for preset in "${presets[@]}"; do
  echo "== Building $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
done

echo "== Testing"
printf 'subdirs(%s)\n' "${presets[*]}" >build/CTestTestfile.cmake
ctest --test-dir build --output-on-failure --parallel "$(nproc)" --no-tests=error
