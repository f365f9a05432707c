#!/usr/bin/env bash
# Builds the library alone where the board's own libraries are found, sees that it asks for them by their names, and
# links an outside project to what is installed and to them.
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

"$cmake" --install "$folder/build" --prefix "$folder/prefix"
mkdir "$folder/project"
cat >"$folder/project/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(Host LANGUAGES CXX)
find_package(TalDeviceSupport REQUIRED)
add_executable(host $source/examples/small-host.cpp)
target_compile_features(host PRIVATE cxx_std_17)
target_link_libraries(host PRIVATE TalDeviceSupport::TalDeviceSupport)
END
"$cmake" -S "$folder/project" -B "$folder/project/build" -G "$generator" -DCMAKE_PREFIX_PATH="$folder/prefix" \
    -DCMAKE_LIBRARY_PATH="$folder/lib" -DCMAKE_CXX_COMPILER="$compiler"
"$cmake" --build "$folder/project/build"
