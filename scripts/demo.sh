#!/bin/sh
# Shows the library at work on the main example through rpl-toc: the tree,
# a step through it with next, an unmark of a folder, the tree again and the
# settings file that the unmark left. The settings go to a scratch database
# directory, so the repository stays clean.
#   scripts/demo.sh [path/to/rpl-toc]      (make demo passes the built one)
set -eu
cd "$(dirname "$0")/.."
rpl_toc=${1:-build/tools/rpl-toc}
report=examples/design_flow.json
if [ ! -x "$rpl_toc" ]; then
    echo "demo: no rpl-toc at $rpl_toc; build it first (make demo does)" >&2
    exit 2
fi
db=$(mktemp -d)
trap 'rm -rf "$db"' EXIT INT TERM

# Prints the command as a user would type it (quoting paths), then runs it
# against the scratch database directory.
run() {
    printf '\n$ rpl-toc'
    for arg in "$@"; do
        case $arg in
            *[\ \|]*) printf " '%s'" "$arg" ;;
            *) printf ' %s' "$arg" ;;
        esac
    done
    printf '\n'
    "$rpl_toc" --db-dir "$db" "$@"
}

echo "rpl-toc on $report (settings in a scratch database directory)"
run show "$report"

printf '\n# Step through the sections with next, from the main folder (folders are passed over):\n'
path='||Design Flow'
run next "$report" "$path"
path=$("$rpl_toc" --db-dir "$db" next "$report" "$path")
while path=$("$rpl_toc" --db-dir "$db" next "$report" "$path"); do
    echo "$path"
done
echo "(next finds nothing after the last section: exit 1)"

run unmark "$report" '||Design Flow||Resources'
run show "$report"
run settings "$report"

printf '\n# Look at the same report in a browser (settings in /tmp; Ctrl-C ends the viewer):\n'
echo "  $rpl_toc --db-dir /tmp view $report"
