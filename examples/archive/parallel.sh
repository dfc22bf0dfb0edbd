#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Decodes a list in shards side by side with GNU parallel, on this machine; with --sshlogin and --workdir in
# PARALLEL_OPTIONS on several that see the same files (not tested). Run it again after whatever has happened:
# what is done is skipped.
#
#   find /archive -name '*.dcm' -print0 > list
#   parallel.sh list OUT SHARDS [OPTIONS of quorix-decompress]
set -eu

list=$1
out=$2
shards=$3
shift 3

mkdir -p "$out"
# A shard that failed or was killed is tried twice more. --termseq leaves the program time to finish what is in
# hand when parallel itself is ended.
# shellcheck disable=SC2086
seq 0 $((shards - 1)) | parallel ${PARALLEL_OPTIONS:-} --quote --retries 3 --termseq TERM,10000,KILL,100 \
    "${QUORIX_DECOMPRESS:-quorix-decompress}" --list "$list" --shard "{}/$shards" --resume \
    --output "$out" --report "$out/report-{}.jsonl" "$@"
