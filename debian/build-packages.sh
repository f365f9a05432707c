#!/usr/bin/env bash
# Makes the Debian packages, for this machine or crosswise for another architecture, compares what they hold with a
# list, and has lintian look at them. Crosswise they are made in a root that has the compiler and the libraries of both
# architectures; the machine's own apt stays as it is.
set -euo pipefail
(($# == 2)) || {
    echo "Usage: debian/build-packages.sh ARCHITECTURE FOLDER" >&2
    exit 2
}
readonly architecture=$1 folder=$2
readonly packed=(CHANGELOG.md CMakeLists.txt README.md cmake debian docs examples host platform src tools)
readonly root=build/roots/cross-$architecture
native=$(dpkg --print-architecture)

# The packages are made in the folder around their source.
export_source() {
    rm -rf "$1"
    mkdir -p "$1/source"
    cp --recursive --preserve=timestamps "${packed[@]}" "$1/source"
}

make_root() {
    [[ ! -e $root/complete ]] || return 0
    rm -rf "$root"
    mkdir -p "$root"
    debian/clean-root.sh "$root" --architectures="$native,$architecture" \
        --include="build-essential,crossbuild-essential-$architecture,cmake,ninja-build,debhelper" \
        --include="libexpat1-dev:$architecture,libarchive-dev:$architecture,libsqlite3-dev:$architecture,libstdc++6:$architecture,libcli11-dev,nlohmann-json3-dev"
    touch "$root/complete"
}

DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)"
export DEB_BUILD_OPTIONS
if [[ $architecture == "$native" ]]; then
    export_source "$folder"
    (cd "$folder/source" && dpkg-buildpackage --build=binary --no-sign)
else
    make_root
    export_source "$root/build"
    # The root has no ccache.
    env --unset=CMAKE_C_COMPILER_LAUNCHER --unset=CMAKE_CXX_COMPILER_LAUNCHER DEB_BUILD_PROFILES='cross nocheck' \
        chroot "$root" sh -c "cd /build/source && dpkg-buildpackage --build=binary --no-sign --host-arch=$architecture"
    rm -rf "$folder"
    mkdir -p "$folder"
    mv "$root"/build/*.* "$folder"
fi
tests/packaging/check-debian-packages.sh "$folder" tests/packaging/debian-packages.txt
lintian --allow-root --fail-on error,warning "$folder"/*.changes
