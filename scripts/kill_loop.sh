#!/bin/sh
# The kill loop at length: runs the killed-save tests (the rename and the
# save in place) and the two-writer test of test_fault_injection again and
# again, 50 kills per test and run, until SECONDS (default 120) have passed.
# Stops at the first file that is neither whole nor, in place, new bytes
# followed by old ones, or at temporary files a following save left.
# Reports torn files out of kills for each way, and the temporary files
# killed saves left at the end of each run and after a following save.
#   scripts/kill_loop.sh BUILD_DIR [SECONDS]
set -eu
build=${1:?usage: scripts/kill_loop.sh BUILD_DIR [SECONDS]}
seconds=${2:-120}
[ -n "$seconds" ] || seconds=120
exe="$build/tests/test_fault_injection"
[ -x "$exe" ] || { echo "no $exe: build first" >&2; exit 2; }

log=$(mktemp)
figures=$(mktemp)
trap 'rm -f "$log" "$figures"' EXIT
end=$(( $(date +%s) + seconds ))
runs=0
while [ "$(date +%s)" -lt "$end" ]; do
    if ! RPL_KILL_LOOP_ROUNDS=50 "$exe" \
        --gtest_filter='FaultInjection.ProcessKilledWhileSaving*:FaultInjection.TwoProcessesMarking*' >"$log" 2>&1; then
        cat "$log"
        echo "kill loop: failed in run $((runs + 1))" >&2
        exit 1
    fi
    grep '^kill figures: ' "$log" >>"$figures"
    runs=$((runs + 1))
done
# Lines "kill figures: WAY: T torn of N kills, L temporary files left, R
# after a save", summed per way.
sed 's/^kill figures: //' "$figures" | awk -F': ' -v runs="$runs" '
    { split($2, n, " "); torn[$1] += n[1]; kills[$1] += n[4]; left[$1] += n[6]; after[$1] += n[10] }
    END {
        printf "kill loop: %d runs\n", runs
        for (way in kills)
            printf "  %s: %d torn files of %d kills; %d temporary files left at the ends of runs, %d after a following save\n",
                way, torn[way], kills[way], left[way], after[way]
    }'
