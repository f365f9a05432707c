#!/usr/bin/env bash
# Makes the Debian packages of a build and compares what they hold with a list of packages and files.
set -euo pipefail
(($# == 4)) || {
    echo "Usage: check-debian-packages.sh CPACK BUILD OUTPUT LIST" >&2
    exit 2
}
cpack=$1 build=$2 output=$3 list=$4

rm -rf "$output"
"$cpack" --config "$build/CPackConfig.cmake" -B "$output" >/dev/null
for package in "$output"/*.deb; do
    name=$(dpkg-deb --field "$package" Package)
    dpkg-deb --fsys-tarfile "$package" | tar --list | grep -v '/$' | sed "s|^|$name |"
done | sed 's/Targets-debug\.cmake$/Targets-release.cmake/' | LC_ALL=C sort | diff --unified "$list" -
