#!/usr/bin/env bash
# In an empty Debian that gets nothing but the packages: the commands of docs/installing.md, the host of
# docs/writing-a-host.md as it is typed from there, and the packages' own tests. Lines that start with "== " tell what
# was done.
set -euo pipefail
(($# == 1)) || {
    echo "Usage: check-clean-install.sh FOLDER-OF-PACKAGES" >&2
    exit 2
}
script=$(mktemp --directory)
trap 'rm -r "$script"' EXIT

# blocks_of LANGUAGE PAGE [FROM-HEADING]: the blocks of code in that language, up to the section after the heading.
blocks_of() {
    awk -v language="$1" -v heading="${3:-}" '
        /^## / { inside = heading == "" || $0 == "## " heading }
        $0 == "```" { printing = 0 }
        printing && (inside || heading == "") { print }
        $0 == "```" language { printing = 1 }' "$2"
}

blocks_of sh docs/installing.md "From the packages to a running host" >"$script/commands.sh"
blocks_of cpp docs/writing-a-host.md >"$script/typed.cpp"
cat >"$script/all.sh" <<'END'
set -eux
start=$(date +%s)
cd /packages
. /script/commands.sh
echo "== the commands of docs/installing.md ran"
cd /script
g++ -std=c++17 typed.cpp -o typed $(pkg-config --cflags --libs taldevicesupport)
./typed
echo "== the host of docs/writing-a-host.md ran"
export AUTOPKGTEST_TMP=/tmp/autopkgtest
for test in host-with-pkg-config host-with-cmake tools; do
    mkdir -p "$AUTOPKGTEST_TMP"
    /script/tests/$test
    rm -r "$AUTOPKGTEST_TMP"
done
echo "== the packages' own tests ran"
echo "== installed and run within $(($(date +%s) - start)) s"
END
cp -r debian/tests "$script"
packages=()
for package in "$1"/*.deb; do
    [[ $package == *-dbgsym_* ]] || packages+=("$package")
done
# shellcheck disable=SC2016 # $1 is the root, for the hook's own shell
debian/clean-root.sh /dev/null \
    --customize-hook='mkdir "$1/packages" "$1/script"' \
    --customize-hook="copy-in ${packages[*]} /packages" \
    --customize-hook="copy-in $script/commands.sh $script/typed.cpp $script/all.sh $script/tests /script" \
    --customize-hook='chroot "$1" sh /script/all.sh'
