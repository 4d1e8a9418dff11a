#!/usr/bin/env bash
# Installs what is missing for one purpose (demo, test, check, package or bench), and fetches the option
# parser's header into build/deps. Changes nothing when all is there.
set -euo pipefail
cd "$(dirname "$0")/.."

purpose=${1:-demo}
packages=(cmake g++ ninja-build libpng-dev)
arm=(g++-arm-linux-gnueabihf qemu-user googletest)
case $purpose in
  demo) ;;
  test) packages+=("${arm[@]}" imagemagick man-db) ;;
  check) packages+=("${arm[@]}" imagemagick man-db git clang clang-format clang-tidy cppcheck shellcheck valgrind) ;;
  package) packages+=("${arm[@]}") ;;
  bench) packages+=(hyperfine time valgrind) ;;
  *)
    echo "usage: scripts/setup.sh [demo|test|check|package|bench]" >&2
    exit 2
    ;;
esac

as_root=()
[ "$(id -u)" = 0 ] || as_root=(sudo)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "== Installing ${missing[*]}"
  "${as_root[@]}" apt-get update -q
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

# The option parser: this Debian has another series of it, so the package of the release before
# comes from the machine's own mirror, with apt's signature check, into the build tree only.
deps=$PWD/build/deps
version=2.2.1-2
sum=aa071c1fdb984c3279e811937605b45d50c45291192ace3c5c8c1ed1badf5632
package=$deps/libcxxopts-dev_${version}_amd64.deb
if [ ! -f "$deps/cxxopts/usr/include/cxxopts.hpp" ]; then
  echo "== Fetching libcxxopts-dev $version"
  # shellcheck disable=SC2016  # apt's own variable
  mirrors() { apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian'; }
  [ -n "$(mirrors)" ] || "${as_root[@]}" apt-get update -q
  mirror=$(mirrors | head -n 1)
  if [ -z "$mirror" ]; then
    echo "scripts/setup.sh: apt has no Debian mirror to fetch libcxxopts-dev from" >&2
    exit 1
  fi
  private=$deps/apt
  mkdir -p "$private/lists/partial" "$private/cache/archives/partial"
  keyring=/usr/share/keyrings/debian-archive-keyring.gpg
  echo "deb [arch=amd64 signed-by=$keyring] $mirror bullseye main" >"$private/sources.list"
  apt=(apt-get -q -o "Dir::Etc::SourceList=$private/sources.list" -o Dir::Etc::SourceParts=/dev/null
    -o "Dir::State::Lists=$private/lists" -o "Dir::Cache=$private/cache"
    -o APT::Architecture=amd64 -o APT::Architectures=amd64 -o APT::Sandbox::User=)
  "${apt[@]}" update
  (cd "$deps" && "${apt[@]}" download "libcxxopts-dev=$version")
  echo "$sum  $package" | sha256sum --check --quiet
  dpkg-deb -x "$package" "$deps/cxxopts"
  rm -r "$private"
fi
