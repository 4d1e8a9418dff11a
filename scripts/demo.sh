#!/usr/bin/env bash
# Sets up, builds, and shows a test card on the simulated devices: what planeshow prints, what the
# drivers received, and a picture of the screen.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh demo

echo "== Building planeshow and the simulated devices"
cmake --preset release >/dev/null
cmake --build --preset release

echo "== Drawing a test card of 1280x720 in ARGB8888"
mkdir -p build/demo
build/release/planeshow-testcard ARGB8888 1280x720 build/demo/card.argb

echo "== planeshow -i build/demo/card.argb -w 1280 -h 720 --debug"
echo '   ("ioctl c0044901 failed ..." is no fault: planeshow asks for the ION interface, and so answers the modern one.)'
rm -f build/demo/devices.log
export PLANESHOW_SIM_LOG=build/demo/devices.log PLANESHOW_SIM_STATE=build/demo
build/release/planeshow-sim -i build/demo/card.argb -w 1280 -h 720 --debug

echo
echo "== What the allocator and the display driver received"
cat build/demo/devices.log
echo
echo "== The screen as the display engine would show it: build/demo/screen.png"
