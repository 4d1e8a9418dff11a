#!/usr/bin/env bash
# Runs the README's two commands on the last commit in a fresh minimal Debian, such as bookworm, trixie or sid, as
# their first user would, and says how long each took. Needs root, git and debootstrap.
set -euo pipefail
cd "$(dirname "$0")/.."

[ -n "${1-}" ] || { echo "usage: scripts/clean-room.sh bookworm|trixie|sid" >&2 && exit 2; }
suite=$1
room=$(mktemp -d)
root=$room/root
trap 'rm -rf --one-file-system "$room"' EXIT
trap 'exit 1' HUP INT TERM # after what runs in the room has ended
# Its mounts and processes end with the command, however that ends.
apart() { unshare --mount --pid --fork --kill-child "$@"; }
timed() {
  local start=$SECONDS
  echo "==== $suite: $*"
  apart --root="$root" --mount-proc=/proc --wd=/planeshow \
    env -i HOME=/root TERM=dumb PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"
  took+=("$(printf '%s: %s took %d s' "$suite" "$*" $((SECONDS - start)))")
}

echo "==== $suite: making the root"
# shellcheck disable=SC2016  # apt's own variable
mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' | head -n 1)
apart debootstrap --variant=minbase "$suite" "$root" "${mirror:?apt knows no Debian mirror}" >"$room/log" || {
  tail "$room/log" >&2
  exit 1
}
# The room reaches the mirror in the same way as this machine.
apt-config dump Acquire >"$root/etc/apt/apt.conf.d/machine"
git clone --quiet . "$root/planeshow"

took=()
timed scripts/demo.sh
timed scripts/test.sh
printf '%s\n' "${took[@]}"
