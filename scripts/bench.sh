#!/bin/sh
# Runs the benchmarks of a build made with -DRPL_BUILD_BENCH=ON (in Release)
# and prints their medians and the ratios the targets are stated in.
#   scripts/bench.sh BUILD_DIR [extra Google Benchmark flags]
# Every ratio is computed from the medians of one run of the binaries. The
# raw results stay in BUILD_DIR/bench-results/*.json. bench/README.md tells
# how to read them.
set -eu

build=${1:?usage: scripts/bench.sh BUILD_DIR [benchmark flags]}
shift
here=$(cd "$(dirname "$0")/.." && pwd)
out="$build/bench-results"
mkdir -p "$out"

# Five repetitions, medians reported; a benchmark that pins its own count
# (the slow builds, the memory run) keeps it.
for name in bench_settings_file bench_toc bench_memory bench_presentation; do
    binary="$build/bench/$name"
    if [ ! -x "$binary" ]; then
        echo "missing $binary: configure with -DRPL_BUILD_BENCH=ON and build first" >&2
        exit 1
    fi
    echo "== $name"
    "$binary" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
        --benchmark_min_time=0.2 \
        --benchmark_out="$out/$name.json" --benchmark_out_format=json "$@"
done

echo
python3 "$here/bench/report.py" "$out/bench_settings_file.json" "$out/bench_toc.json" "$out/bench_memory.json" \
    "$out/bench_presentation.json"

# The viewer: first paint and a leaf mark's round trip in headless Chromium
# (bench/viewer_bench.py), skipped with a note when Chromium, its driver or
# Selenium is missing.
echo
echo "== viewer (bench/viewer_bench.py)"
if [ ! -x "$build/tools/rpl-toc" ]; then
    echo "skipped: $build/tools/rpl-toc is not built"
elif ! command -v chromium >/dev/null 2>&1 || ! command -v chromedriver >/dev/null 2>&1; then
    echo "skipped: chromium and chromium-driver are not installed (apt-get install chromium chromium-driver python3-selenium)"
elif ! /usr/bin/python3 -c 'import selenium' >/dev/null 2>&1; then
    echo "skipped: python3-selenium is not installed"
else
    /usr/bin/python3 "$here/bench/viewer_bench.py" "$build/tools/rpl-toc" --runs "${VIEWER_BENCH_RUNS:-3}"
fi

# The viewer's server under bad clients (bench/viewer_bounds.py): a good
# client among 1,000 tokenless keep-alive and 1,000 slow clients, a burst of
# 200, a flood of header lines. Plain Python, no browser.
echo
echo "== viewer under bad clients (bench/viewer_bounds.py)"
if [ ! -x "$build/tools/rpl-toc" ]; then
    echo "skipped: $build/tools/rpl-toc is not built"
else
    python3 "$here/bench/viewer_bounds.py" "$build/tools/rpl-toc" --report "$here/examples/small.json" ||
        echo "a target of the viewer's bounds was missed (see above)"
fi

# Reading the largest report file accepted, of the costliest shapes: the
# peak resident size of rpl-toc against the file's size (bench/report_memory.py).
echo
echo "== reading the largest report (bench/report_memory.py)"
if [ ! -x "$build/tools/rpl-toc" ]; then
    echo "skipped: $build/tools/rpl-toc is not built"
else
    python3 "$here/bench/report_memory.py" "$build/tools/rpl-toc"
fi
