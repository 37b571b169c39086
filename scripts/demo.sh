#!/bin/sh
# Shows the library at work through rpl-toc on a design that Yosys and
# nextpnr really compiled: examples/flow/top.v goes through the open-source
# iCE40 flow in a scratch directory (a few seconds), `rpl-toc import` makes
# a report of the tools' outputs, and rpl-toc shows it: the tree, the list
# of its sections, an unmark of a folder and a mark of one section in it,
# the tree again, the settings file that those left and the start of the
# report file. Without Yosys and nextpnr-ice40 it shows the shipped example
# examples/design_flow.json instead, and says so. Everything goes to the
# scratch directory, so the repository stays clean.
#   scripts/demo.sh [path/to/rpl-toc]      (make demo passes the built one)
set -eu
cd "$(dirname "$0")/.."
repo=$(pwd)
rpl_toc=${1:-build/tools/rpl-toc}
if [ ! -x "$rpl_toc" ]; then
    echo "demo: no rpl-toc at $rpl_toc; build it first (make demo does)" >&2
    exit 2
fi
case $rpl_toc in /*) ;; *) rpl_toc=$repo/$rpl_toc ;; esac
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

if command -v yosys >/dev/null 2>&1 && command -v nextpnr-ice40 >/dev/null 2>&1; then
    cd "$db"  # the commands then name the flow's files as a user in that directory would
    echo "# Compiling examples/flow/top.v for an iCE40 HX1K with Yosys and nextpnr-ice40 (examples/flow/run-flow.sh):"
    if ! "$repo/examples/flow/run-flow.sh" flow >flow.out 2>&1; then
        cat flow.out >&2
        echo "demo: the flow failed" >&2
        exit 1
    fi
    ls flow/stat.json flow/report.json flow/yosys.log flow/nextpnr.log
    report=top.json
    run import -o "$report" flow/stat.json flow/report.json flow/yosys.log flow/nextpnr.log
    marked='||Design Flow||Resources||Utilisation'
else
    report=examples/design_flow.json
    echo "demo: Yosys and nextpnr-ice40 are not installed, so this shows the shipped example $report (scripts/install-deps.sh flow installs them)"
    marked='||Design Flow||Resources||Resource Notes'
fi

echo
echo "rpl-toc on $report (settings in a scratch database directory)"
run show "$report"

printf '\n# Every section that is not a folder, in reading order (list --all adds the folders):\n'
run list "$report"

run unmark "$report" '||Design Flow||Resources'
run mark "$report" "$marked"
run show "$report"
run settings "$report"

printf '\n# The report file of the marked sections (--html FILE writes one HTML page):\n'
printf '\n$ rpl-toc export %s --text - | head -24\n' "$report"
"$rpl_toc" --db-dir "$db" export "$report" --text - | head -24

printf '\n# More in the tour of README.md, in docs/import.md and in rpl-toc --help.\n'

printf '\n# Look at a report in a browser (settings in /tmp; Ctrl-C ends the viewer):\n'
echo "  $rpl_toc --db-dir /tmp view $repo/examples/design_flow.json"
echo "# or at the imported flow, after examples/flow/run-flow.sh /tmp/flow:"
echo "  $rpl_toc import -o /tmp/flow/top.json /tmp/flow/stat.json /tmp/flow/report.json /tmp/flow/yosys.log /tmp/flow/nextpnr.log"
echo "  $rpl_toc view /tmp/flow/top.json"
