#!/bin/sh
# The kill loop at length: runs the killed-save and the two-writer tests of
# test_fault_injection again and again, 50 kills per run, until SECONDS
# (default 120) have passed. Stops at the first torn file.
#   scripts/kill_loop.sh BUILD_DIR [SECONDS]
set -eu
build=${1:?usage: scripts/kill_loop.sh BUILD_DIR [SECONDS]}
seconds=${2:-120}
[ -n "$seconds" ] || seconds=120
exe="$build/tests/test_fault_injection"
[ -x "$exe" ] || { echo "no $exe: build first" >&2; exit 2; }

log=$(mktemp)
trap 'rm -f "$log"' EXIT
end=$(( $(date +%s) + seconds ))
runs=0
while [ "$(date +%s)" -lt "$end" ]; do
    if ! RPL_KILL_LOOP_ROUNDS=50 "$exe" \
        --gtest_filter='FaultInjection.ProcessKilledWhileSaving*:FaultInjection.TwoProcessesMarking*' >"$log" 2>&1; then
        cat "$log"
        echo "kill loop: failed in run $((runs + 1))" >&2
        exit 1
    fi
    runs=$((runs + 1))
done
echo "kill loop: $runs runs, $((runs * 50)) kills of a saving process, every file whole"
