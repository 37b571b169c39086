#!/bin/sh
# Runs every unit-test executable of a build under valgrind memcheck; an
# invalid access or a definite leak fails the run.
#   scripts/valgrind.sh BUILD_DIR
set -eu
build=${1:?usage: scripts/valgrind.sh BUILD_DIR}
failed=""
ran=0
for exe in "$build"/tests/test_*; do
    [ -f "$exe" ] && [ -x "$exe" ] || continue
    name=$(basename "$exe")
    echo "== valgrind $name"
    ran=$((ran + 1))
    # The kill loop runs its short version; valgrind makes each save slow.
    if ! (cd "$build/tests" && RPL_KILL_LOOP_ROUNDS=3 RPL_HOST_PLAIN_HEAP=1 valgrind --quiet --leak-check=full \
            --errors-for-leak-kinds=definite --error-exitcode=1 "./$name" --gtest_brief=1); then
        failed="$failed $name"
    fi
done
[ "$ran" -gt 0 ] || { echo "no test executables in $build/tests" >&2; exit 2; }
if [ -n "$failed" ]; then
    echo "valgrind found errors in:$failed" >&2
    exit 1
fi
echo "valgrind: $ran test executables clean"
