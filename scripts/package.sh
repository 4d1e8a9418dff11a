#!/usr/bin/env bash
# Makes the archive for the device and the Debian package for a PC, each with its SHA-256 sum. Made from
# the same commit they are the same, byte for byte.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh package
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH LC_ALL=C
umask 022
work=$PWD/build/package
stage=$work/stage

# stage PRESET PREFIX: what this build installs, and the version.
stage() {
  echo "== Building and packing $1"
  cmake --preset "$1" -DPLANESHOW_TESTS=OFF >/dev/null
  cmake --build --preset "$1"
  version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "build/$1/CMakeCache.txt")
  rm -rf "$stage"
  cmake --install "build/$1" --prefix "$stage/$2" --strip >/dev/null
}

# notices COMPILER: what has to be passed on with the code of others in our executables, from the
# packages that it came in.
notices() {
  local library package
  title() { printf '\n\n==== The executables contain code of %s, which came with this:\n\n' "$1"; }
  title cxxopts
  cat build/deps/cxxopts/usr/share/doc/libcxxopts-dev/copyright
  for library in libstdc++.a libc.a; do
    package=$(dpkg-query -S "$(realpath "$("$1" -print-file-name="$library")")")
    title "${package%%:*}"
    cat "/usr/share/doc/${package%%:*}/copyright"
  done
}

# What is packed is as old as the commit.
settle() { find "$stage" -exec touch --no-dereference --date="@$SOURCE_DATE_EPOCH" {} +; }

stage arm-release .
name=planeshow-$version-armhf
install -m 644 LICENSE "$stage"
install -m 644 doc/README.device "$stage/README"
notices arm-linux-gnueabihf-g++ >"$stage/NOTICES"
# Debian has these at hand, a device doesn't.
cat /usr/share/common-licenses/{GPL-3,LGPL-2.1} >>"$stage/NOTICES"
settle
archive=build/arm-release/$name.tar.gz
tar -c --sort=name --owner=0 --group=0 --numeric-owner --transform="s,^\.,$name," -C "$stage" . | gzip -9n >"$archive"

stage release usr
doc=$stage/usr/share/doc/planeshow
{ cat LICENSE && notices g++; } >"$doc/copyright"
gzip -9n >"$doc/changelog.gz" <<EOF
planeshow ($version) unstable; urgency=medium

  * Made from commit $(git rev-parse HEAD).

 -- the planeshow maintainers  $(date -Rud "@$SOURCE_DATE_EPOCH")
EOF
manuals=$stage/usr/share/man/man1
gzip -9n "$manuals"/*
for program in "$stage"/usr/bin/planeshow-*; do
  # One page has them all.
  [ -f "$manuals/${program##*/}.1.gz" ] || ln -s planeshow-sim.1.gz "$manuals/${program##*/}.1.gz"
done
install -D -m 644 packaging/lintian-overrides "$stage/usr/share/lintian/overrides/planeshow"
architecture=$(dpkg --print-architecture)
mkdir -p "$stage/DEBIAN" "$work/debian"
(cd "$stage" && find usr -type f -print0 | sort -z | xargs -0 md5sum) >"$stage/DEBIAN/md5sums"
echo "Source: planeshow" >"$work/debian/control"
mapfile -t binaries < <(find "$stage/usr" -type f -exec grep -l $'^\x7fELF' {} +)
depends=$(cd "$work" && dpkg-shlibdeps -O "${binaries[@]}")
{
  cat packaging/control
  echo "Version: $version"
  echo "Architecture: $architecture"
  echo "Installed-Size: $((($(find "$stage/usr" -type f -printf '%s + ')1023) / 1024))"
  echo "Depends: ${depends#*=}"
} >"$stage/DEBIAN/control"
settle
package=build/release/planeshow_${version}_$architecture.deb
dpkg-deb --root-owner-group --build "$stage" "$package" >/dev/null
lintian --allow-root --fail-on error "$package"

echo "== Done"
for file in "$archive" "$package"; do
  (cd "$(dirname "$file")" && sha256sum "$(basename "$file")" | tee "$(basename "$file").sha256")
done
