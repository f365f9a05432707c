#!/usr/bin/env bash
# Unpacks the board's libraries into a folder: armhf packages of the same Debian release, from the mirror that this
# machine uses. apt works on lists and a state of its own; the machine's lists and architectures stay as they are.
set -euo pipefail

(($# == 1)) || {
    echo "Usage: cmake/armhf-sysroot.sh FOLDER" >&2
    exit 2
}
readonly packages=(libexpat1 libexpat1-dev libgmock-dev libgtest-dev nlohmann-json3-dev libcli11-dev
    libsqlite3-0 libsqlite3-dev
    # For archives, with what that library takes itself.
    libarchive13 libarchive-dev libacl1 libbz2-1.0 libicu72 liblz4-1 liblzma5 libnettle8 libxml2 libzstd1 zlib1g)
readonly contents=$1/contents

if [[ -e $contents && $(<"$contents") == "${packages[*]}" ]]; then
    exit
fi
rm -rf "$1"
mkdir -p "$1/apt/lists/partial" "$1/apt/cache/archives/partial" "$1/packages"
sysroot=$(cd "$1" && pwd)
touch "$sysroot/apt/status"

own_apt() {
    apt-get --quiet \
        -o APT::Architecture=armhf -o APT::Architectures::=armhf -o APT::Sandbox::User= \
        -o Dir::Etc::SourceList="$sysroot/apt/sources.list" -o Dir::Etc::SourceParts=/dev/null \
        -o Dir::State="$sysroot/apt" -o Dir::State::Status="$sysroot/apt/status" -o Dir::Cache="$sysroot/apt/cache" \
        "$@"
}

# The archive key leaves only Debian's own archive, whatever else the machine's sources name.
# shellcheck source=/dev/null
release=$(source /etc/os-release && echo "$VERSION_CODENAME")
# shellcheck disable=SC2016 # apt's own placeholders
apt-get indextargets --format '$(SITE) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' | sort -u |
    awk -v release="$release" '($2 == release || $2 == "stable") && $3 == "main" {
        print "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg]", $1, $2, $3
    }' >"$sysroot/apt/sources.list"
if [[ ! -s $sysroot/apt/sources.list ]]; then
    echo "armhf-sysroot.sh: the machine's apt sources name no main suite of $release" >&2
    exit 1
fi
own_apt update
(cd "$sysroot/packages" && own_apt download "${packages[@]}")

# The packages expect one folder of libraries under two names.
mkdir -p "$sysroot/usr/lib"
ln -s usr/lib "$sysroot/lib"
for package in "$sysroot"/packages/*.deb; do
    dpkg-deb --fsys-tarfile "$package" | tar --extract --directory "$sysroot" --keep-directory-symlink
done
find "$sysroot/usr" -type l -lname '/*' -print0 | while IFS= read -r -d '' link; do
    ln -sfrT "$sysroot$(readlink "$link")" "$link"
done
rm -r "$sysroot/apt" "$sysroot/packages"
echo "${packages[*]}" >"$contents"
