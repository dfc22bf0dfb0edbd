#!/usr/bin/env bash
# The Debian packages pass lintian, install on a bare Debian with what they depend on and nothing else, decode there what
# the program of this build decodes, and leave nothing when they are removed.
#   deb.sh SOURCE_DIR PROGRAM CACHE
set -euo pipefail

source=$1 program=$2 cache=$3
. "$source/tests/package/chroot.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$source/scripts/package-deb" "$work/debs"
make_chroot "$work/root"
list_files() {
    find "$work/root" \( -path '*/var/cache' -o -path '*/var/lib/apt' -o -path '*/var/lib/dpkg' -o -path '*/var/log' \
        -o -path '*/tmp' \) -prune -o -printf '%P %l\n' | sort
}
list_files >"$work/before"

cp "$work"/debs/*.deb "$work/root/tmp/"
mapfile -t debs < <(cd "$work/root" && printf '/%s\n' tmp/*.deb)
in_chroot_install "$work/root" "${debs[@]}"
PYTHONPATH="$source/tests/tools" python3 -B -c 'import cli_test, sys; sys.stdout.buffer.write(cli_test.MULTI)' \
    >"$work/root/tmp/multi.dcm"
decode=(--all-frames --format raw --output)
mkdir "$work/ours"
(cd "$work/root/tmp" && "$program" "${decode[@]}" "$work/ours" multi.dcm >/dev/null)
in_chroot "$work/root" sh -c "cd /tmp && mkdir theirs && quorix-decompress ${decode[*]} theirs multi.dcm" >/dev/null
[ -n "$(ls "$work/ours")" ] && diff -r "$work/ours" "$work/root/tmp/theirs"
echo "packages: installed, and the program decodes what the build's own does"

in_chroot "$work/root" apt-get purge -qq --yes -o Dpkg::Use-Pty=0 quorix-decompress libquorixdecomp0 libquorixdecomp-dev >/dev/null
in_chroot "$work/root" apt-get autoremove -qq --yes --purge -o Dpkg::Use-Pty=0 >/dev/null
list_files | diff "$work/before" -
echo "packages: removed, nothing is left"
