#!/usr/bin/env bash
# What scripts/package made, on machines that have nothing:
#
#   portable.sh SOURCE_DIR DIST PROGRAM CACHE files|tarball|jar|arm64
#
# files: what is in the files, and what they want of a machine. tarball: on a bare Debian; jar: there, with a Java
# runtime; arm64: both under qemu-user. They decode what PROGRAM, which is linked against the distribution, decodes.
set -euo pipefail

source=$1 dist=$2 program=$3 cache=$4
work=$(mktemp -d)
trap '! mountpoint -q "$work/root/proc" || umount "$work/root/proc"; rm -rf "$work"' EXIT
version=$(sed -n 's/^  VERSION \([0-9.]*\)$/\1/p' "$source/CMakeLists.txt")
name=quorix-decompression-$version
fail() { echo "$*" >&2; exit 1; }

unpack() {
    tar -C "$1" -xf "$dist/$name-linux-$2.tar.gz"
    tree=$1/$name-linux-$2
}

# Files of every codec, in $work/inputs; pydicom's real ones, a lossless JPEG of DCMTK, the samples if they are there.
make_inputs() {
    local real samples=$source/../shared/samples/dicom
    mkdir -p "$work/inputs"
    real=$(/usr/bin/python3 -c 'import os, pydicom; print(os.path.dirname(pydicom.__file__))')/data/test_files
    cp "$real"/*.dcm "$work/inputs"
    dcmcjpeg +e1 "$real/CT_small.dcm" "$work/inputs/lossless.dcm"
    [ ! -d "$samples" ] || cp -r "$samples" "$work/inputs/samples"
    (cd "$work" && find inputs -name '*.dcm' | sort >list)
    expected=$work/expected
    (cd "$work" && outcomes "$program" >"$expected")
    [ "$(grep -vc ' code ' "$expected")" -gt 30 ] || fail "hardly anything decodes: $(head "$expected")"
}

# outcomes COMMAND...: "file hash" or "file code N" of the first frame of each file that the list names.
outcomes() {
    { xargs -d '\n' "$@" --format none --json <list 2>/dev/null || true; } | python3 -c '
import json, sys
for line in sys.stdin:
    facts = json.loads(line)
    if facts.get("frame") == 0:
        print(facts["file"], facts.get("sha256") or "code " + str(facts["result_code"]))'
}

# Without what the decoders write on standard output themselves.
only_files() { grep '^inputs/'; }

# On the bare machine, where no variable and no library of this one is to be had.
bare=(env -i PATH=/usr/sbin:/usr/bin LC_ALL=C chroot "$work/root" env -C /tmp)

compile_java() { javac -cp "$dist/$name.jar" -d "$work" "$source/tests/package/PixelHashes.java"; }

check_binary() {
    local needed newest
    needed=$(readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' |
        grep -Ev '^(libc\.so\.6|libm\.so\.6|libpthread\.so\.0|libdl\.so\.2|ld-linux-(x86-64\.so\.2|aarch64\.so\.1))$' || true)
    [ -z "$needed" ] || fail "$1 wants $needed"
    newest=$(readelf --dyn-syms -W "$1" | grep -o 'GLIBC_[0-9.]*' | sort -uV | tail -n 1)
    [ "$(printf '%s\n' "$newest" GLIBC_2.28 | sort -V | tail -n 1)" = GLIBC_2.28 ] || fail "$1 wants $newest"
    echo "$1: $newest"
    "$source/tests/install/hardening.sh" "$1"
}

exports_of() { nm -D --defined-only "$1" | sed 's/^[^ ]* //; s/@.*//' | sort; }

check_files() {
    local architecture file hash
    mkdir "$work/jar"
    (cd "$work/jar" && jar --extract --file "$dist/$name.jar")
    exports_of "$(dirname "$program")/../../src/libQuorixDecompLib.so" >"$work/exports"
    for architecture in x86_64 aarch64; do
        unpack "$work" $architecture
        check_binary "$tree/bin/quorix-decompress"
        check_binary "$tree/lib/libQuorixDecompLib.so"
        cmp "$tree/lib/libQuorixDecompLib.so" "$work/jar/com/quorix/native/linux-$architecture/libQuorixDecompLib.so"
        [ $architecture = aarch64 ] || exports_of "$tree/lib/libQuorixDecompLib.so" | diff "$work/exports" -
        for file in include/QuorixDecompLib/quorix/decode.h lib/pkgconfig/QuorixDecompLib.pc share/man/man1 \
            lib/cmake/QuorixDecompLib/QuorixDecompLibConfig.cmake share/doc/quorix-decompression/LICENSE; do
            [ -e "$tree/$file" ] || fail "the tarball has no $file"
        done
        ! grep -rlF -e "$source" -e "$dist" "$tree" "$work/jar" || fail "a path of this machine is inside"
    done
    while read -r _ hash file; do
        grep -q "$file SHA-256 $hash" "$work/jar/META-INF/sbom/sbom.spdx.json" || fail "the bill has no $file"
    done < <(grep '^sha256 ' "$source/third-party/sources.txt")
    while read -r _ file _; do
        grep -q . "$tree/share/doc/quorix-decompression/licences/$file.txt" "$work/jar/META-INF/licences/$file.txt"
    done < <(grep '^source ' "$source/third-party/sources.txt")
    find "$dist/maven" -name "*.sha256" | while read -r file; do
        echo "$(cat "$file")  ${file%.sha256}" | sha256sum --check --quiet
    done
    [ "$(find "$dist/maven" -name "$name*.sha256" | wc -l)" = 4 ] || fail "not four files for Maven"
}

run_tarball() {
    . "$source/tests/package/chroot.sh"
    make_chroot "$work/root"
    make_inputs
    unpack "$work/root/tmp" x86_64
    cp -r "$work/inputs" "$work/list" "$work/root/tmp"
    (cd "$work" && outcomes "${bare[@]}" "/tmp/${tree##*/}/bin/quorix-decompress") | diff "$expected" -
    # A C++ program against it wants none of what it is made of, and catches what it throws.
    # shellcheck disable=SC2046
    g++ -std=c++17 "$source/tests/install/front_door/main.cpp" -o "$work/consumer" \
        $(PKG_CONFIG_PATH=$tree/lib/pkgconfig pkg-config --cflags --libs QuorixDecompLib)
    [ "$(LD_LIBRARY_PATH=$tree/lib "$work/consumer" "$work/missing")" = "code 3 0" ] || fail "no exception was caught"
}

run_jar() {
    . "$source/tests/package/chroot.sh"
    make_chroot "$work/root"
    # A Java runtime does without no /proc.
    mount -t proc proc "$work/root/proc" || { echo "skipped: needs to mount /proc"; exit 77; }
    in_chroot_install "$work/root" default-jre-headless
    make_inputs
    compile_java
    cp -r "$work/inputs" "$work"/*.class "$dist/$name.jar" "$work/root/tmp"
    (cd "$work" && xargs -d '\n' "${bare[@]}" java -cp "$name.jar:." PixelHashes <list) | only_files | diff "$expected" -
}

run_arm64() {
    command -v qemu-aarch64 >/dev/null || { echo "skipped: needs qemu-aarch64"; exit 77; }
    local root=$cache/arm64-java package
    make_inputs
    compile_java
    if [ ! -d "$root" ]; then
        "$source/scripts/isolated-apt" "$work/apt" deb arm64 --download-only --yes install openjdk-17-jre-headless >/dev/null
        mkdir -p "$root.part/usr/lib"
        ln -s usr/lib "$root.part/lib"
        for package in "$work"/apt/cache/archives/*.deb; do
            dpkg-deb --fsys-tarfile "$package" | tar -x -C "$root.part" --keep-directory-symlink --no-same-owner
        done
        mv "$root.part" "$root"
    fi
    unpack "$work" aarch64
    (cd "$work" && outcomes qemu-aarch64 -L "$root" "$tree/bin/quorix-decompress") | diff "$expected" -
    (cd "$work" && xargs -d '\n' qemu-aarch64 -L "$root" "$root/usr/lib/jvm/java-17-openjdk-arm64/bin/java" \
        -Djava.io.tmpdir="$work" -cp "$dist/$name.jar:." PixelHashes <list) | only_files | diff "$expected" -
}

case "$5" in
files) check_files ;;
tarball) run_tarball ;;
jar) run_jar ;;
arm64) run_arm64 ;;
esac
