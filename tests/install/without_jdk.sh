#!/usr/bin/env bash
# The library without the natives of Java asks for no JDK: nothing of one is looked for, found or included.
#   without_jdk.sh SOURCE_DIR CXX
set -euo pipefail

source=$1
compiler=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake -G Ninja -S "$source" -B "$work" -DCMAKE_CXX_COMPILER="$compiler" -DQUORIX_WITH_JNI=OFF \
    -DCMAKE_DISABLE_FIND_PACKAGE_Java=ON -DCMAKE_DISABLE_FIND_PACKAGE_JNI=ON >"$work/log" 2>&1 ||
    { cat "$work/log" >&2; exit 1; }
if grep -E '^(JAVA|Java|JNI)_' "$work/CMakeCache.txt" || grep -m 3 -E 'src/jni/|lib/jvm/' "$work/build.ninja"; then
    echo "something of Java is left" >&2
    exit 1
fi
if grep -rl '^#include <jni\.h>' "$source/src" "$source/tools" | grep -v "^$source/src/jni/"; then
    echo "includes jni.h outside the Java layer" >&2
    exit 1
fi
