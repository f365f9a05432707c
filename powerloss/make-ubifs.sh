#!/usr/bin/env bash
# Writes an empty UBIFS, on a UBI volume "data", to the beginning of an erased flash of 128 KiB blocks and 2 KiB pages.
#
#     make-ubifs.sh FLASH-IMAGE
set -euo pipefail

image=$(realpath "$1")
workplace=$(mktemp -d)
trap 'rm -rf "$workplace"' EXIT
cd "$workplace"
mkdir empty
mkfs.ubifs --root=empty --min-io-size=2048 --leb-size=126976 --max-leb-cnt=150 --output=data.ubifs
cat >volumes.ini <<'ENTRY'
[data]
mode=ubi
image=data.ubifs
vol_id=0
vol_type=dynamic
vol_name=data
vol_size=16MiB
ENTRY
ubinize --output=flash --peb-size=128KiB --min-io-size=2048 volumes.ini
dd if=flash of="$image" conv=notrunc status=none
