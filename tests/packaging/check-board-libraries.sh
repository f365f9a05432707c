#!/usr/bin/env bash
# Builds the library alone where the board's own libraries are found, and sees that it asks for them by their names.
set -euo pipefail
(($# == 5)) || {
    echo "Usage: check-board-libraries.sh SOURCE FOLDER CMAKE GENERATOR COMPILER" >&2
    exit 2
}
source=$1 folder=$2 cmake=$3 generator=$4 compiler=$5

rm -rf "$folder"
mkdir -p "$folder/lib"
for library in brqtrace corebsp; do
    # Without a SONAME: then a linker that is handed the file remembers where it stands.
    "$compiler" -std=c++17 -shared -fPIC -I"$source/src" -I"$source/platform" \
        "$source/platform/$library/$library.cpp" -o "$folder/lib/lib$library.so"
done
"$cmake" -S "$source" -B "$folder/build" -G "$generator" -DTAL_BUILD_HOST=OFF -DCMAKE_PREFIX_PATH="$folder" \
    -DCMAKE_CXX_COMPILER="$compiler"
"$cmake" --build "$folder/build"
readelf --dynamic "$folder/build/src/Device/DeviceSupport/libTalDeviceSupport.so" |
    sed -n 's/.*(NEEDED).*\[\(.*\(brqtrace\|corebsp\).*\)\]/\1/p' |
    diff --unified <(printf '%s\n' libbrqtrace.so libcorebsp.so) -
