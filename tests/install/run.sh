#!/usr/bin/env bash
# Installs the build into a fresh folder, moves it (a package must not remember where it was built), and
# builds a consumer against it, once through CMake and once through pkg-config.
#   run.sh BUILD_DIR SOURCE_DIR CXX
set -euo pipefail

build=$1
source=$2
compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"
for file in lib/libQuorixDecompLib.so.0.1.0 lib/libQuorixDecompLib.so.0 lib/libQuorixDecompLib.so \
    lib/pkgconfig/QuorixDecompLib.pc lib/cmake/QuorixDecompLib/QuorixDecompLibConfig.cmake \
    include/QuorixDecompLib/image/Renderable.h bin/quorix-decompress share/man/man1/quorix-decompress.1; do
    [ -e "$work/moved/$file" ] || { echo "not installed: $file" >&2; exit 1; }
done
if grep -rl -e "$source" -e "$work/first" "$work/moved/lib/cmake" "$work/moved/lib/pkgconfig"; then
    echo "the package remembers where it was built" >&2
    exit 1
fi

# The quick start is the consumer: each program gets the library's answer about a file that is no image.
expect_no_image() {
    answer=$("$2" "$source/README.md" "$work/none" 2>&1 || true)
    grep -q "code $1" <<<"$answer" || { echo "$2: $answer" >&2; exit 1; }
}
cmake -G Ninja -S "$source/examples/cpp" -B "$work/consumer" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
cmake --build "$work/consumer" >/dev/null
expect_no_image 62 "$work/consumer/CacheFile"
echo "consumer through CMake: ok"

export PKG_CONFIG_PATH="$work/moved/lib/pkgconfig"
# shellcheck disable=SC2046
"$compiler" -std=c++17 "$source/examples/cpp/DecodeToPnm.cpp" -o "$work/plain" \
    $(pkg-config --cflags --libs QuorixDecompLib)
LD_LIBRARY_PATH="$work/moved/lib" expect_no_image 38 "$work/plain"
echo "consumer through pkg-config: ok"

# The front door, for C++17 programs of either compiler: it needs no other header of the library.
PYTHONPATH="$source/tests/tools" python3 -B -c 'import cli_test, sys; sys.stdout.buffer.write(cli_test.MULTI)' \
    >"$work/multi.dcm"
expect_frames() {
    answer=$("$1" "$work/multi.dcm"; "$1" "$work/missing")
    [ "$answer" = "3 frames: 10 20 30code 3 0" ] || { echo "$1: $answer" >&2; exit 1; }
}
front_door=$source/tests/install/front_door
for name in g++ clang++; do
    command -v $name >/dev/null || { echo "C++17 consumer with $name: skipped, no $name"; continue; }
    cmake -G Ninja -S "$front_door" -B "$work/$name" -DCMAKE_CXX_COMPILER=$name \
        -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
    cmake --build "$work/$name" >/dev/null
    expect_frames "$work/$name/consumer"
    # shellcheck disable=SC2046
    $name -std=c++17 -MMD -MF "$work/$name.d" "$front_door/main.cpp" -o "$work/$name-plain" \
        $(pkg-config --cflags --libs QuorixDecompLib)
    LD_LIBRARY_PATH="$work/moved/lib" expect_frames "$work/$name-plain"
    [ "$(grep -o '/include/QuorixDecompLib/[^ ]*' "$work/$name.d")" = /include/QuorixDecompLib/quorix/decode.h ] ||
        { echo "the front door includes other headers of the library" >&2; exit 1; }
    echo "C++17 consumer with $name: ok"
done

# The jar brings its own copy of the library: a file that is no image gets the library's answer.
if grep -q '^QUORIX_BUILD_JAVA:BOOL=ON' "$build/CMakeCache.txt"; then
    answer=$(java -Djava.io.tmpdir="$work" -cp "$work/moved/share/java/quorix-decompression.jar" \
        "$source/examples/java/DecodeToPng.java" "$source/README.md" "$work/none.png" 2>&1 || true)
    grep -q 'DecompressionException: .*(code 38)' <<<"$answer" || { echo "the jar: $answer" >&2; exit 1; }
    echo "jar: ok"
fi

# Every installed header stands alone, without the library's own include path or third-party headers.
include=$work/moved/include/QuorixDecompLib
stands_alone() {
    echo "#include \"$1\"" | "$compiler" -std=c++20 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I "$include" \
        -x c++ - || { echo "$1 does not stand alone" >&2; exit 1; }
}
export compiler include
export -f stands_alone
find "$include" -name '*.h' -printf '%P\n' | xargs -P "$(nproc)" -I {} bash -c 'stands_alone "$1"' _ {}
if grep -rlE '#include ["<](dcmtk|gdcm|hwy|jpeglib)' "$work/moved/include"; then
    echo "a public header includes a third-party header" >&2
    exit 1
fi
echo "headers: ok"

# Nothing but our own names is exported.
foreign=$(nm -D --defined-only "$work/moved/lib/libQuorixDecompLib.so" | awk '{print $3}' |
    c++filt | grep -E '^(Dcm|OF|hwy|jpeg|dcmtk)' || true)
[ -z "$foreign" ] || { echo "foreign symbols are exported: $foreign" >&2; exit 1; }
"$work/moved/bin/quorix-decompress" --version
