#!/usr/bin/env bash
# Makes the pictures of README.md and doc/wrong-pictures.md, on small screens:
#   scripts/pictures.sh [FOLDER [BUILD]]
# They go into FOLDER, which must exist, by default doc/pictures. The programs are those of BUILD, by default
# build/release, which scripts/demo.sh makes. They run under WRAP, if that is set, see scripts/check.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
pictures=$(realpath "${1:-doc/pictures}")
PATH=$(realpath -e "${2:-build/release}"):$PATH
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
cd "$folder"
unset "${!PLANESHOW_SIM_@}" XDG_STATE_HOME
export PLANESHOW_SIM_STATE=. HOME=$folder

# picture NAME SIZE ARGUMENTS...: keeps the screen as it is after one more run. Most images have 320x180 pixels.
picture() { PLANESHOW_SIM_SIZE=$2 ${WRAP-} planeshow-sim -w 320 -h 180 "${@:3}" >/dev/null && cp screen.png "$pictures/$1.png"; }

for format in ARGB8888 RGB888 RGB565; do
  ${WRAP-} planeshow-testcard "$format" 320x180 "card.$format"
  picture "card-$format" 320x180 -i "card.$format" -f "$format" -o 0,0,320,180
  for taken in ARGB8888 RGB888 RGB565; do
    [ "$format" = "$taken" ] || picture "wrong-$format-as-$taken" 320x180 -i "card.$format" -f "$taken" -o 0,0,320,180
  done
done
picture crop-in-window 640x360 -i card.ARGB8888 -c 160,90,0,0 -o 40,30,400,300

# Faults of the command line. With the second, rows look as if a driver took them as padded to 16 bytes.
${WRAP-} planeshow-testcard ARGB8888 1366x768 card.1366
picture wrong-no-size 320x180 -i card.1366 -w 720 -h 480 -o 0,0,320,180
picture wrong-width 320x180 -i card.1366 -w 1368 -h 768 -o 0,0,320,180
head -c 150000 card.ARGB8888 >card.short
picture wrong-short 320x180 -i card.short -o 0,0,320,180
picture wrong-window 320x180 -i card.ARGB8888 -o 0,0,480,270
picture wrong-scaled 320x180 -i card.ARGB8888 -o 0,0,300,160

# Faults of drivers and panels. Those of alpha need another layer below.
printf '\0\200\377' >orange
picture card-over-orange 320x180 -i orange -f RGB888 -w 1 -h 1 -t 0 -o 0,0,320,180
picture card-over-orange 320x180 -i card.ARGB8888 -o 0,0,320,180
picture wrong-overscan 320x180 -i card.RGB888 -f RGB888 -o -12,-7,344,194
python3 "$OLDPWD/scripts/faults.py"
for file in wrong-*; do picture "${file%.*}" 320x180 -i "$file" -f "${file#*.}" -o 0,0,320,180; done

picture two-channels 640x360 -i card.RGB888 -f RGB888 -t 0 -o 0,0,640,360
picture two-channels 640x360 -i card.RGB565 -f RGB565 -t 1 -o 280,140,320,180
picture one-blanked 640x360 --blank -t 1
