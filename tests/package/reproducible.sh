#!/usr/bin/env bash
# Two builds in two folders give the same bytes.
#   reproducible.sh SOURCE_DIR
set -euo pipefail

source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CCACHE_DISABLE=1
for folder in one another-place; do
    mkdir -p "$work/$folder/build/third-party"
    tar -C "$source" -c --exclude=./build --exclude=./dist --exclude=./.git . | tar -x -C "$work/$folder"
    [ ! -d "$source/build/third-party/sources" ] ||
        cp -r "$source/build/third-party/sources" "$work/$folder/build/third-party"
    "$work/$folder/scripts/package" "$work/dist-$folder" >"$work/log" 2>&1 || { tail -n 40 "$work/log" >&2; exit 1; }
done
[ -s "$work/dist-one/SHA256SUMS" ]
diff -r "$work/dist-one" "$work/dist-another-place"
cat "$work/dist-one/SHA256SUMS"
