#!/usr/bin/env bash
# Makes the archive for the device and the Debian package for a PC, each with its SHA-256 sum. The same commit
# and the same tools give the same bytes (but see cmake/Package.cmake).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh package
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH LC_ALL=C
umask 022

for preset in arm-release release; do
  echo "== Building $preset"
  cmake --preset "$preset" -DPLANESHOW_TESTS=OFF >/dev/null
  cmake --build --preset "$preset"
  rm -rf "build/$preset"/{package,planeshow-*.tar.gz*,planeshow_*.deb*}
  cmake --install "build/$preset" --prefix "build/$preset/package" --strip >/dev/null
done
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=//p' build/release/CMakeCache.txt)

# notices WHAT COMPILER LIBRARY...: prints the licences of the code that is linked in. The option parser's is
# the first comment of its header. A static library's is in the library's package.
notices() {
  local library package
  printf '\n\nThe executables contain code of %s. Their licences follow.\n\n' "$1"
  sed '/\*\//q' build/release/cxxopts/cxxopts.hpp
  for library in "${@:3}"; do
    package=$(dpkg-query -S "$(realpath "$("$2" -print-file-name="$library")")")
    printf '\n\n==== %s\n\n' "${package%%:*}"
    cat "/usr/share/doc/${package%%:*}/copyright"
  done
}

echo "== Packing"
folder=build/arm-release/package
notices "cxxopts, libstdc++, libgcc and the C library" arm-linux-gnueabihf-g++ libstdc++.a libc.a >"$folder/NOTICES"
# Every Debian has these texts, a device doesn't.
cat /usr/share/common-licenses/{GPL-3,LGPL-2.1} >>"$folder/NOTICES"
name=planeshow-$version-armhf
tar -c --sort=name --owner=0 --group=0 --numeric-owner --mtime="@$SOURCE_DATE_EPOCH" --transform="s,^\.,$name," \
  -C "$folder" . | gzip -9n >"build/arm-release/$name.tar.gz"

folder=build/release/package/share
{ cat LICENSE && notices "cxxopts, libstdc++ and libgcc" g++ libstdc++.a; } >"$folder/doc/planeshow/copyright"
awk -v version="$version" -f packaging/changelog.awk CHANGELOG.md | gzip -9n >"$folder/doc/planeshow/changelog.gz"
gzip -9n "$folder"/man/man1/*
install -D -m 644 packaging/lintian-overrides "$folder/lintian/overrides/planeshow"
cpack --config cmake/Package.cmake -D CPACK_PACKAGE_VERSION="$version"
lintian --allow-root --fail-on error build/release/planeshow_*.deb

for file in build/arm-release/planeshow-*.tar.gz build/release/planeshow_*.deb; do
  (cd "$(dirname "$file")" && sha256sum "$(basename "$file")" | tee "$(basename "$file").sha256")
done
