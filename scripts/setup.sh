#!/usr/bin/env bash
# Installs what is missing for one purpose (demo, test, check, package or bench), and fetches the option
# parser's header into build/deps. Changes nothing if all is there.
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
  bench) packages+=(python3 time) ;;
  *)
    echo "usage: scripts/setup.sh [demo|test|check|package|bench]" >&2
    exit 2
    ;;
esac

mkdir -p build
export LC_ALL=C
as_root=(env DEBIAN_FRONTEND=noninteractive sh -c)
[ "$(id -u)" = 0 ] || as_root=(sudo "${as_root[@]}")
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "== Installing ${missing[*]}"
  # First, this repairs what an interrupted run left half installed.
  command="dpkg --configure -a && apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
  # apt's output goes to a log. The size of a download is shown at once, and the last lines if apt fails.
  "${as_root[@]}" "$command" 2>&1 | tee build/setup.log | sed -nu 's/^Need to get /   downloading /p' || {
    tail -n 20 build/setup.log >&2
    echo "scripts/setup.sh: not all is installed. By hand, as root: $command" >&2
    exit 1
  }
fi

# apt knows its mirror only if it has its lists.
# shellcheck disable=SC2016  # apt's own variable
mirror() { apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' | head -n 1; }
# With nothing at the address, cmake only looks for the option parser's header. If this machine has none, a package on
# the mirror is unpacked where cmake looks, too, before it tries the header's own address.
if [ -z "${PLANESHOW_CXXOPTS_DIR-}" ] && ! PLANESHOW_CXXOPTS_URL=file:///dev/null cmake -P cmake/Cxxopts.cmake >/dev/null 2>&1; then
  [ -n "$(mirror)" ] || "${as_root[@]}" "apt-get update" >/dev/null || true
  [ -n "$(mirror)" ] && /usr/lib/apt/apt-helper -o APT::Sandbox::User= download-file \
    "$(mirror)pool/main/c/cxxopts/libcxxopts-dev_2.2.1-2_amd64.deb" build/cxxopts.deb \
    SHA256:aa071c1fdb984c3279e811937605b45d50c45291192ace3c5c8c1ed1badf5632 &&
    dpkg-deb --extract build/cxxopts.deb build/cxxopts && export CMAKE_PREFIX_PATH=$PWD/build/cxxopts/usr
fi
cmake -P cmake/Cxxopts.cmake
