#!/usr/bin/env bash
# Compares what is installed under a prefix with a list.
set -euo pipefail
(($# == 2)) || {
    echo "Usage: check-prefix.sh PREFIX LIST" >&2
    exit 2
}
cd "$1"
find . ! -type d | LC_ALL=C sort | diff --unified "$2" -
