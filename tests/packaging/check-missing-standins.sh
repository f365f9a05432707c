#!/usr/bin/env bash
# Takes the stand-ins out of a copy of an installed prefix, and sees that CMake and pkg-config say what is missing.
set -euo pipefail
(($# == 4)) || {
    echo "Usage: check-missing-standins.sh PREFIX LIBDIR CMAKE FOLDER" >&2
    exit 2
}
prefix=$1 libdir=$2 cmake=$3 folder=$4

rm -rf "$folder"
mkdir -p "$folder/project"
cp -a "$prefix" "$folder/prefix"
lib=$folder/prefix/$libdir
rm "$lib"/libbrqtrace.so "$lib"/libcorebsp.so "$lib"/cmake/TalDeviceSupport/TalStandIns*.cmake \
    "$lib"/pkgconfig/libtaldevicesupport-standins.pc

# expect TEXT COMMAND...: the command fails, and says this among other things.
expect() {
    local text=$1 said
    shift
    if said=$("$@" 2>&1); then
        echo "did not fail: $*" >&2
        exit 1
    fi
    tr -s '[:space:]' ' ' <<<"$said" | grep --fixed-strings "$text" || {
        echo "$said" >&2
        exit 1
    }
}

cat >"$folder/project/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(Host LANGUAGES CXX)
find_package(TalDeviceSupport REQUIRED)
END
expect "install its stand-in with 'apt-get install libtaldevicesupport-standins'" \
    "$cmake" -S "$folder/project" -B "$folder/build" -DCMAKE_PREFIX_PATH="$folder/prefix"
PKG_CONFIG_PATH=$lib/pkgconfig expect "libtaldevicesupport-standins" pkg-config --libs taldevicesupport
