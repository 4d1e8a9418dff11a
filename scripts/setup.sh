#!/usr/bin/env bash
# Installs what is missing for one purpose (demo, test, check, package or bench), and fetches the option
# parser's header into build/deps. Changes nothing when all is there.
set -euo pipefail
cd "$(dirname "$0")/.."

purpose=${1:-demo}
packages=(cmake g++ ninja-build libpng-dev)
tests=(g++-arm-linux-gnueabihf qemu-user clang libc++-dev libc++abi-dev man-db python3-pytest python3-pil)
case $purpose in
  demo) ;;
  test) packages+=("${tests[@]}") ;;
  check) packages+=("${tests[@]}" git clang-format clang-tidy cppcheck shellcheck valgrind) ;;
  package) packages+=(g++-arm-linux-gnueabihf git dpkg-dev lintian) ;;
  bench) packages+=(hyperfine python3 time valgrind) ;;
  *)
    echo "usage: scripts/setup.sh [demo|test|check|package|bench]" >&2
    exit 2
    ;;
esac

# The option parser: this Debian has another series of it, so the package of the release before
# comes from the machine's own mirror, with apt's signature check, into the build tree only.
suite=bullseye
header=usr/include/cxxopts.hpp
sum=8927a2ff6a2deb45496bb1b1b4cd9e5bd1a2c01f29c4088168540f2ffed60bdf
deps=$PWD/build/deps

# Apt says hundreds of lines; the last of them show when something fails. A download's size shows at once.
log=$(mktemp)
at_exit() {
  local status=$?
  [ $status = 0 ] || tail -n 20 "$log" >&2
  rm -rf "$log" "$deps/new"
  [ -f "$deps/cxxopts/$header" ] ||
    echo "scripts/setup.sh: the option parser is missing: cxxopts.hpp of the 2.2 series (2.2.1 has the SHA-256 $sum)." \
      "Put it into build/deps/cxxopts/usr/include, or name its folder with cmake -DPLANESHOW_CXXOPTS_DIR=..." >&2
  exit $status
}
trap at_exit EXIT
quietly() { "$@" 2>&1 | tee -a "$log" | sed -nu 's/^Need to get /   downloading /p'; }
export LC_ALL=C
as_root=(env DEBIAN_FRONTEND=noninteractive)
[ "$(id -u)" = 0 ] || as_root=(sudo "${as_root[@]}")

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "== Installing ${missing[*]}"
  quietly "${as_root[@]}" apt-get update
  quietly "${as_root[@]}" apt-get install -y --no-install-recommends "${missing[@]}"
fi

if [ ! -f "$deps/cxxopts/$header" ]; then
  echo "== Fetching libcxxopts-dev of $suite, for the option parser's header"
  # shellcheck disable=SC2016  # apt's own variable
  mirrors() { apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian'; }
  [ -n "$(mirrors)" ] || quietly "${as_root[@]}" apt-get update
  mirror=$(mirrors | head -n 1)
  : "${mirror:?apt knows no Debian mirror}"
  mkdir -p "$deps/new/lists/partial" "$deps/new/cache/archives/partial"
  cd "$deps/new"
  echo "deb [arch=amd64 signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror $suite main" >sources.list
  apt=(apt-get -o Dir::Etc::SourceList="$PWD/sources.list" -o Dir::Etc::SourceParts=/dev/null
    -o Dir::State::Lists="$PWD/lists" -o Dir::Cache="$PWD/cache" -o APT::Sandbox::User= -o APT::Architecture=amd64
    -o APT::Architectures=amd64 -o APT::Update::Error-Mode=any)
  quietly "${apt[@]}" update
  quietly "${apt[@]}" download libcxxopts-dev
  dpkg-deb -x libcxxopts-dev_*.deb cxxopts
  echo "$sum  cxxopts/$header" | sha256sum --check --quiet
  mv cxxopts "$deps"
fi
