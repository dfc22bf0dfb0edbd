#!/usr/bin/env bash
# Headers in a folder named detail belong to the room around it: nobody else in src and tools includes them, and
# nothing in them is exported, as they are not installed.
set -euo pipefail
cd "$(dirname "$0")/../.."

faults=0
while IFS=: read -r file include; do
    room=${include%%/detail/*}
    case "$file" in
    "src/$room"/* | "tools/quorix-decompress/$room"/*) ;;
    *)
        echo "$file includes $include, which belongs to $room"
        faults=1
        ;;
    esac
done < <(grep -rHoE '^#include "[^"]*/detail/[^"]*"' src tools --include='*.h' --include='*.cpp' --include='*.inc' |
    sed -E 's/#include "([^"]*)"/\1/')

if grep -rn QUORIX_API src tools --include='*.h' | grep '/detail/'; then
    echo "a header that is not installed exports something"
    faults=1
fi
exit "$faults"
