#!/bin/sh
# Compiles examples/flow/top.v with the open-source iCE40 flow in OUT_DIR:
# Yosys synthesises it (stat.json: cells by type; yosys.log), nextpnr places
# and routes it on an HX1K in the TQ144 package (report.json: utilisation,
# fmax, critical paths; nextpnr.log). A few seconds.
#   examples/flow/run-flow.sh OUT_DIR [CHANNELS]
# CHANNELS (default 2) scales the design; with it given, the design goes to
# an HX8K (CT256 package) with unconstrained pins, so that it fits.
set -eu
out=${1:?usage: run-flow.sh OUT_DIR [CHANNELS]}
channels=${2:-}
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$out"
cp "$here/top.v" "$here/top.pcf" "$here/greeting.hex" "$out/"
cd "$out"  # the logs then name the design's files without a directory
scale=""
[ -n "$channels" ] && scale="chparam -set CHANNELS $channels top; "
yosys -q -l yosys.log -p "read_verilog top.v; ${scale}synth_ice40 -top top -json top.json; tee -q -o stat.json stat -json"
if [ -n "$channels" ]; then
    place="--hx8k --package ct256 --pcf-allow-unconstrained --freq 12"
else
    place="--hx1k --package tq144 --pcf top.pcf"
fi
# shellcheck disable=SC2086
nextpnr-ice40 -q -l nextpnr.log $place --json top.json --report report.json --asc top.asc
