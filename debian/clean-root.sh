#!/usr/bin/env bash
# Makes a root that has nothing but a minimal Debian of this machine's release, from the mirror that the machine uses.
# What stands after the folder goes to mmdebstrap; with /dev/null as the folder, the root lives as long as its hooks.
set -euo pipefail
(($# >= 1)) || {
    echo "Usage: debian/clean-root.sh FOLDER [MMDEBSTRAP-ARGUMENTS]" >&2
    exit 2
}
readonly folder=$1
shift
# shellcheck source=/dev/null
release=$(source /etc/os-release && echo "$VERSION_CODENAME")
# shellcheck disable=SC2016 # apt's own placeholders
mirror=$(apt-get indextargets --format '$(SITE) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
    awk -v release="$release" '$2 == release && $3 == "main" { print $1; exit }')
[[ -n $mirror ]] || {
    echo "clean-root.sh: the machine's apt sources name no main suite of $release" >&2
    exit 1
}
# The archive's key is Debian's, whatever else the machine trusts.
exec mmdebstrap --variant=apt --keyring=/usr/share/keyrings/debian-archive-keyring.gpg "$@" \
    "$release" "$folder" "deb $mirror $release main"
