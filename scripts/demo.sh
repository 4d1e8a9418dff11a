#!/usr/bin/env bash
# Sets up, builds, and shows a test card on the simulated devices: what planeshow prints, what it asks
# of the devices, and a picture of the screen.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh demo

echo "== Building planeshow and the simulated devices"
cmake --preset release >/dev/null
cmake --build --preset release

echo "== Drawing a test card of 1280x720 in ARGB8888"
mkdir -p build/demo
build/release/planeshow-testcard ARGB8888 1280x720 build/demo/card.argb

echo "== planeshow-sim -i build/demo/card.argb -w 1280 -h 720 --debug"
echo '   ("ioctl c0044901 failed ..." is no fault: planeshow asks which ION interface there is, and the modern one answers this.)'
rm -f build/demo/devices.log
export PLANESHOW_SIM_LOG=build/demo/devices.log PLANESHOW_SIM_STATE=build/demo
build/release/planeshow-sim -i build/demo/card.argb -w 1280 -h 720 --debug

printf '\n== The calls that planeshow made on the image and the devices: build/demo/devices.log\n'
cat build/demo/devices.log
printf '\n== The screen as the display engine would show it is build/demo/screen.png. The programs are in build/release.\n'
