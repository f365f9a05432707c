#!/usr/bin/env bash
# Unpacks Debian's kernel, of the version that apt would install, into a folder, and builds the module of the flash for
# it. Nothing of it is installed.
#
#     prepare-kernel.sh FOLDER
set -euo pipefail

folder=$(realpath --canonicalize-missing "$1")
flash=$(realpath "$(dirname "${BASH_SOURCE[0]}")/flash/flash.c")

unpack() {
    rm -rf "$folder"
    mkdir -p "$folder"
    (cd "$folder" && apt-get download "$package" && dpkg -x ./*.deb . && rm ./*.deb)
}

build_flash() {
    local place=$folder/flash
    mkdir -p "$place"
    cp "$flash" "$place"
    echo 'obj-m := flash.o' >"$place/Kbuild"
    make -C "/usr/src/linux-headers-$release" M="$place" modules
    install -D "$place/flash.ko" "$folder/lib/modules/$release/extra/flash.ko"
}

package=$(apt-cache depends linux-image-amd64 | sed -n 's/^ *Depends: \(linux-image-.*\)/\1/p')
if [[ -z $package ]]; then
    echo "prepare-kernel.sh: apt knows no linux-image-amd64; try apt-get update, on a Debian for amd64" >&2
    exit 1
fi
release=${package#linux-image-}
made_of="$package $(apt-cache policy "$package" | sed -n 's/^ *Candidate: //p') $(sha256sum <"$flash")"
if [[ -e $folder/made-of && $(<"$folder/made-of") == "$made_of" ]]; then
    exit 0
fi
unpack
build_flash
depmod --basedir "$folder" "$release"
echo "$made_of" >"$folder/made-of"
