#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# A Slurm array job: each task decodes its share of a list. It may be killed, requeued and submitted again at
# any time; what is done stays done.
#
#   find /archive -name '*.dcm' -print0 > list
#   sbatch --array=0-15 slurm-array.sh list OUT [OPTIONS of quorix-decompress]
#
#SBATCH --job-name=decompress
#SBATCH --cpus-per-task=1
#SBATCH --requeue
#SBATCH --open-mode=append
#SBATCH --signal=B:USR1@60
set -u

list=$1
out=$2
shift 2

# For a task that is submitted alone again: SHARDS=16 sbatch --array=7 ...
shards=${SHARDS:-$SLURM_ARRAY_TASK_COUNT}

mkdir -p "$out"
"${QUORIX_DECOMPRESS:-quorix-decompress}" --list "$list" --shard "auto/$shards" --resume \
    --output "$out" --report "$out/report-$SLURM_ARRAY_TASK_ID.jsonl" --jobs "${SLURM_CPUS_PER_TASK:-1}" "$@" &
program=$!

# One minute before the end of the allotted time: go on in a new allotment. After a plain SIGTERM, which is what
# scancel sends, the task stays where it is. Bash hands no signal on by itself.
again=0
trap 'again=1; kill -TERM "$program"' USR1
trap 'kill -TERM "$program"' TERM
wait "$program"
status=$?
while kill -0 "$program" 2>/dev/null; do # a signal ends "wait" before the program has ended
    wait "$program"
    status=$?
done

if [ "$status" -eq 5 ] && [ "$again" -eq 1 ]; then
    scontrol requeue "${SLURM_ARRAY_JOB_ID}_$SLURM_ARRAY_TASK_ID"
fi
exit "$status"
