#!/usr/bin/env bash
# Compares what the Debian packages in a folder hold with a list of packages and files. Pages and examples come and go,
# so that only their folders are listed; every schema of the tool has to be there. The packages with symbols for a debugger
# are left out.
set -euo pipefail
(($# == 2)) || {
    echo "Usage: check-debian-packages.sh FOLDER LIST" >&2
    exit 2
}
folder=$1 list=$2
schemas=$(dirname "$0")/../../tools/talstore/schemas

expected() {
    cat "$list"
    find "$schemas" -name '*.schema.json' -printf 'taldevicesupport-tools ./usr/share/talstore/schemas/%f\n'
}

for package in "$folder"/*.deb; do
    name=$(dpkg-deb --field "$package" Package)
    [[ $name == *-dbgsym ]] || dpkg-deb --fsys-tarfile "$package" | tar --list | grep -v '/$' | sed "s|^|$name |"
done | sed -E 's,/lib/[a-z0-9_]+-linux-gnu[a-z]*/,/lib/TRIPLET/,; s,/(docs|examples)/.*,/\1/...,' |
    LC_ALL=C sort --unique | diff --unified <(expected | LC_ALL=C sort) -
