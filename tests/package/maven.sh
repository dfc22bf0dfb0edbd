#!/usr/bin/env bash
# A project that depends on the library finds it in the Maven repository of scripts/package, compiles and decodes, with no
# network at hand.
#   maven.sh SOURCE_DIR DIST
set -euo pipefail

source=$1 dist=$2
for need in mvn /usr/share/maven-repo/org/codehaus/mojo/exec-maven-plugin; do
    command -v $need >/dev/null || [ -e $need ] || { echo "skipped: needs $need"; exit 77; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cp -as /usr/share/maven-repo "$work/local" # Debian's plugins; what Maven adds stays here
cp -r "$source/examples/maven" "$work/project"
PYTHONPATH="$source/tests/tools" python3 -B -c 'import cli_test, sys; sys.stdout.buffer.write(cli_test.MULTI)' \
    >"$work/multi.dcm"
answer=$(cd "$work/project" && mvn -o -q -B -Daether.offline.protocols=file -Dmaven.repo.local="$work/local" \
    -Dquorix.repository="file://$dist/maven" compile exec:java -Dexec.args="$work/multi.dcm")
grep -q '/multi.dcm: 3 x 2' <<<"$answer" || { echo "$answer" >&2; exit 1; }
cmp "$work"/local/com/quorix/quorix-decompression/*/*.jar "$dist"/quorix-decompression-*.jar
echo "maven: ok"
