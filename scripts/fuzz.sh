#!/bin/sh
# Runs every fuzz harness of a fuzz build for a bounded time, one after the
# other, each from its seed corpus in fuzz/corpus/<subject> (and with the
# dictionary fuzz/<subject>.dict when there is one).
#   scripts/fuzz.sh BUILD_DIR [SECONDS_PER_HARNESS]   (default 60)
# New inputs collect in BUILD_DIR/fuzz/corpus/<subject>, crash inputs in
# BUILD_DIR/fuzz/artifacts/<subject>/. Fails when a harness finds a fault.
set -eu
build=${1:?usage: scripts/fuzz.sh BUILD_DIR [SECONDS]}
seconds=${2:-60}
[ -n "$seconds" ] || seconds=60
root=$(cd "$(dirname "$0")/.." && pwd)

found=0
ran=0
for harness in "$build"/fuzz/fuzz_*; do
    [ -x "$harness" ] || continue
    subject=$(basename "$harness"); subject=${subject#fuzz_}
    seeds="$root/fuzz/corpus/$subject"
    corpus="$build/fuzz/corpus/$subject"
    artifacts="$build/fuzz/artifacts/$subject"
    mkdir -p "$corpus" "$artifacts" "$seeds"
    dict=""
    [ -f "$root/fuzz/$subject.dict" ] && dict="-dict=$root/fuzz/$subject.dict"
    echo "== fuzz_$subject: $seconds s"
    ran=$((ran + 1))
    if ! ASAN_OPTIONS=detect_leaks=1:halt_on_error=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
        "$harness" -max_total_time="$seconds" -print_final_stats=1 -timeout=25 -rss_limit_mb=2048 \
        -artifact_prefix="$artifacts/" $dict "$corpus" "$seeds"; then
        echo "fuzz_$subject found a fault; inputs in $artifacts" >&2
        found=1
    fi
done
[ "$ran" -gt 0 ] || { echo "no fuzz harness in $build/fuzz" >&2; exit 2; }
exit $found
