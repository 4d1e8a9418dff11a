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

export LC_ALL=C
as_root=(env DEBIAN_FRONTEND=noninteractive sh -c)
[ "$(id -u)" = 0 ] || as_root=(sudo "${as_root[@]}")
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "== Installing ${missing[*]}"
  mkdir -p build
  # First, this repairs what an interrupted run left half installed.
  command="dpkg --configure -a && apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
  # apt's output goes to a log. The size of a download is shown at once, and the last lines if apt fails.
  "${as_root[@]}" "$command" 2>&1 | tee build/setup.log | sed -nu 's/^Need to get /   downloading /p' || {
    tail -n 20 build/setup.log >&2
    echo "scripts/setup.sh: not all is installed. By hand, as root: $command" >&2
    exit 1
  }
fi

# The option parser's header may come from a package on the mirror. apt knows the mirror only if it has its lists.
# shellcheck disable=SC2016  # apt's own variable
mirror() { apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' | head -n 1; }
[ -f build/deps/cxxopts.hpp ] || [ -n "$(mirror)" ] || "${as_root[@]}" "apt-get update" >/dev/null || true
cmake -D MIRROR="$(mirror)" -P cmake/Cxxopts.cmake
