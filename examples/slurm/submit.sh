#!/usr/bin/env bash
# submit.sh JOB [OPTION...] INPUT... OUTPUT
#   Makes a raster on a cluster that runs Slurm: plans it, makes its parts in an array of tasks, and joins them.
#   JOB is a folder that all nodes reach. The options are those of `tilewright plan`, such as --parts.
#   TASKS (100), AT_ONCE (50), CPUS (4) and MEMORY (4G) size the array; there may be more parts than tasks.
set -euo pipefail

(($# >= 3)) || {
    sed -n '2,5s/^# \{0,2\}//p' "$0" >&2
    exit 2
}
job=$1
shift
tasks=${TASKS:-100}
cpus=${CPUS:-4}
memory=${MEMORY:-4G}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# Slurm counts what maps of files take as well, so the program gets half of it.
half=$(($(numfmt --from=iec "$memory") / 2))
plan=$(sbatch --parsable --cpus-per-task="$cpus" --mem="$memory" "$here/plan.sh" \
    --job "$job" --threads "$cpus" --memory "$half" "$@")
parts=$(sbatch --parsable --dependency="afterok:$plan" --kill-on-invalid-dep=yes --requeue \
    --array="0-$((tasks - 1))%${AT_ONCE:-50}" --cpus-per-task="$cpus" --mem="$memory" "$here/part.sh" "$job")
join=$(sbatch --parsable --dependency="afterok:$parts" --kill-on-invalid-dep=yes --mem="$memory" "$here/join.sh" "$job")
echo "plan $plan, parts $parts, join $join; look at them with: tilewright status $job"
