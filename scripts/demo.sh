#!/bin/sh
# Shows the library at work on the main example through rpl-toc: the tree,
# the list of its sections, an unmark of a folder and a mark of one section
# in it, the tree again, the settings file that those left and the start of
# the report file. The settings go to a scratch database
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

printf '\n# Every section that is not a folder, in reading order (list --all adds the folders):\n'
run list "$report"

run unmark "$report" '||Design Flow||Resources'
run mark "$report" '||Design Flow||Resources||Resource Notes'
run show "$report"
run settings "$report"

printf '\n# The report file of the marked sections (--html FILE writes one HTML page):\n'
printf '\n$ rpl-toc export %s --text - | head -12\n' "$report"
"$rpl_toc" --db-dir "$db" export "$report" --text - | head -12

printf '\n# More in the tour of README.md, and in rpl-toc --help.\n'

printf '\n# Look at the same report in a browser (settings in /tmp; Ctrl-C ends the viewer):\n'
echo "  $rpl_toc --db-dir /tmp view $report"
