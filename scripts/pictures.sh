#!/usr/bin/env bash
# Makes the README's pictures, on small screens, with the programs of the release build.
set -euo pipefail
cd "$(dirname "$0")/.."
[ -x build/release/planeshow-sim ] || {
  echo "scripts/pictures.sh: there is no build/release: run scripts/demo.sh first" >&2
  exit 1
}
PATH=$PWD/build/release:$PATH
pictures=$PWD/doc/pictures
mkdir -p "$pictures"
cd "$(mktemp -d)"
trap 'rm -r "$PWD"' EXIT
export PLANESHOW_SIM_STATE=$PWD

# picture NAME SIZE ARGUMENTS...: keeps the screen as it is after one more run.
picture() { PLANESHOW_SIM_SIZE=$2 planeshow-sim "${@:3}" && cp screen.png "$pictures/$1.png"; }

for format in ARGB8888 RGB888 RGB565; do
  planeshow-testcard "$format" 320x180 "card.$format"
  picture "card-$format" 320x180 -i "card.$format" -f "$format" -w 320 -h 180 -o 0,0,320,180
done
picture crop-in-window 640x360 -i card.ARGB8888 -w 320 -h 180 -c 160,90,0,0 -o 40,30,400,300
planeshow-sim -i card.RGB888 -f RGB888 -w 320 -h 180 -t 0 -o 0,0,640,360
picture two-channels 640x360 -i card.RGB565 -f RGB565 -w 320 -h 180 -t 1 -o 280,140,320,180
picture one-blanked 640x360 --blank -t 1
