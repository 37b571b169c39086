#!/usr/bin/env python3
"""Prints the medians of one benchmark run and the ratios the targets are
stated in, from the JSON files Google Benchmark wrote (scripts/bench.sh).

    bench/report.py SETTINGS_JSON TOC_JSON MEMORY_JSON [PRESENTATION_JSON]

Times are real (wall-clock) times; a benchmark run with repetitions gives
its median, one run once gives that run.
"""
import json
import sys

SIZES = [100, 1000, 10000, 100000]
TOC_SIZES = [100, 1000, 10000]
# "Linear" for the load: the time per block at 100,000 blocks is within this
# factor of the time per block at 10,000.
LINEAR_SLACK = 1.25


def load_runs(paths):
    """run name -> {"ms": median real time in ms, "cpu_ms": ..., counters}"""
    runs, context = {}, {}
    for path in paths:
        with open(path) as f:
            data = json.load(f)
        context.update(data.get("context", {}))
        for b in data["benchmarks"]:
            name = b.get("run_name", b["name"])
            is_median = b.get("run_type") == "aggregate" and b.get("aggregate_name") == "median"
            is_single = b.get("run_type", "iteration") == "iteration"
            if not (is_median or (is_single and name not in runs)):
                continue
            scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}[b.get("time_unit", "ns")]
            run = {k: v for k, v in b.items() if isinstance(v, (int, float))}
            run["ms"] = b["real_time"] * scale
            run["cpu_ms"] = b["cpu_time"] * scale
            if b.get("error_occurred"):
                run["error"] = b.get("error_message", "error")
            runs[name] = run
    return runs, context


class Report:
    def __init__(self, runs):
        self.runs = runs
        self.failures = []

    def get(self, name):
        """The run of that name; a run with a pinned iteration count carries
        it in its name ("NAME/iterations:1/repeats:1/real_time")."""
        run = self.runs.get(name + "/real_time")
        if run is None:
            run = next((v for k, v in self.runs.items() if k.startswith(name + "/iterations:")), None)
        return run

    def ms(self, name, key="ms"):
        run = self.get(name)
        return None if run is None or "error" in run else run[key]

    def ratio(self, label, numerator, denominator, target=None, scale=1.0):
        """Prints numerator / (denominator * scale) from real times, and the
        same from CPU times beside it; the target is judged on real time.
        numerator and denominator are run names."""
        values = []
        for key in ("ms", "cpu_ms"):
            num, den = self.ms(numerator, key), self.ms(denominator, key)
            values.append(None if num is None or den in (None, 0) else num / (den * scale))
        real, cpu = values
        if real is None:
            print(f"  {label:<58} n/a (not measured)")
            return None
        verdict = ""
        if target is not None:
            held = real <= target
            verdict = f"  target <= {target:g}: {'holds' if held else 'DOES NOT HOLD'}"
            if not held:
                self.failures.append(f"{label}: {real:.3f} (target <= {target:g})")
        print(f"  {label:<58} {real:8.3f}  (cpu {cpu:7.3f}){verdict}")
        return real


def fmt(ms):
    return "-" if ms is None else f"{ms:.3f}"


def table(header, rows):
    widths = [max(len(str(r[i])) for r in [header] + rows) for i in range(len(header))]
    line = lambda r: "  " + "  ".join(str(c).rjust(w) for c, w in zip(r, widths))
    print(line(header))
    for r in rows:
        print(line(r))


def settings_file(rep):
    print("Settings file, one load / one save, median ms (real time)")
    kinds = ["bare_read", "rpl_read", "inih_parse", "simpleini_load", "bare_write", "rpl_write", "simpleini_save"]
    table(["blocks"] + kinds, [[n] + [fmt(rep.ms(f"{k}/{n}")) for k in kinds] for n in SIZES])
    print()
    print("Load")
    rep.ratio("rpl_read / inih_parse, 10,000 blocks", "rpl_read/10000", "inih_parse/10000", 0.5)
    rep.ratio("rpl_read / simpleini_load, 10,000 blocks", "rpl_read/10000", "simpleini_load/10000", 0.1)
    rep.ratio("rpl_read / bare_read, 10,000 blocks", "rpl_read/10000", "bare_read/10000")
    rep.ratio("rpl_read per block, 100,000 / 10,000 blocks", "rpl_read/100000", "rpl_read/10000",
              LINEAR_SLACK, scale=10.0)
    for n in (100, 1000, 100000):
        rep.ratio(f"rpl_read / inih_parse, {n:,} blocks", f"rpl_read/{n}", f"inih_parse/{n}")
    print("Save")
    rep.ratio("rpl_write / simpleini_save, 10,000 blocks", "rpl_write/10000", "simpleini_save/10000", 0.1)
    rep.ratio("rpl_write / bare_write, 10,000 blocks", "rpl_write/10000", "bare_write/10000", 3.0)
    for n in (100, 1000, 100000):
        rep.ratio(f"rpl_write / bare_write, {n:,} blocks", f"rpl_write/{n}", f"bare_write/{n}")
    rep.ratio("rpl_write per block, 100,000 / 10,000 blocks", "rpl_write/100000", "rpl_write/10000",
              scale=10.0)


def toc(rep):
    print()
    print("TOC, median ms (real time)")
    rows = []
    for n in TOC_SIZES:
        full = rep.get(f"generate_toc/{n}/1")
        loads = int(full["loads"]) if full else None
        rows.append([n, fmt(rep.ms(f"generate_toc/{n}/0")), fmt(rep.ms(f"generate_toc/{n}/1")), loads or "-",
                     fmt(rep.ms(f"toc_file_read/{n}")), fmt(rep.ms(f"unmark_root/{n}")), fmt(rep.ms(f"unmark_leaf/{n}")),
                     fmt(rep.ms(f"next_section_walk/{n}"))])
    table(["sections", "build, no file", "build, full file", "loads", "one load", "unmark root", "unmark leaf",
           "next-section walk"], rows)
    print()
    for n in TOC_SIZES:
        full = rep.get(f"generate_toc/{n}/1")
        loads = full["loads"] if full else None
        target = 1.3 if n == 1000 else None
        rep.ratio(f"build with full file / (loads x one load), {n:,} sections", f"generate_toc/{n}/1",
                  f"toc_file_read/{n}", target, scale=loads or 1)
    rep.ratio("build without file per section, 10,000 / 1,000 sections", "generate_toc/10000/0",
              "generate_toc/1000/0", scale=10.0)
    for kind in ("unmark_root", "unmark_leaf"):
        for n in TOC_SIZES:
            run = rep.get(f"{kind}/{n}")
            if run and "error" not in run:
                per_save = run["ms"] / run["saves"]
                load = rep.ms(f"toc_file_read/{n}")
                tail = f" = {per_save / load:.2f} x one load" if load else ""
                print(f"  {kind}, {n:,} sections: {int(run['saves'])} load-change-save cycles, "
                      f"{per_save:.3f} ms a cycle{tail}")
    for n in TOC_SIZES:
        run = rep.get(f"next_section_walk/{n}")
        if run and "error" not in run:
            print(f"  next-section walk, {n:,} sections: {int(run['steps'])} steps, "
                  f"{run['ms'] * 1000 / run['steps']:.2f} us a step (each step scans the index from its start)")


def scale(rep):
    print()
    print("A large report: 40 folders of 100 items (4,041 sections), full settings file")
    build = rep.get("scale_build")
    if build is None or "error" in build:
        print("  not measured")
        return
    print(f"  build {build['ms']:.1f} ms for {int(build['loads']):,} loads; "
          f"the same loads done as bare reads {fmt(rep.ms('scale_build_floor'))} ms")
    print(f"  one table's mark {fmt(rep.ms('scale_leaf_mark'))} ms for {int(rep.get('scale_leaf_mark')['saves'])} "
          f"loads and saves; as bare reads and replaces {fmt(rep.ms('scale_leaf_floor'))} ms")
    rep.ratio("build / its loads done as bare reads", "scale_build", "scale_build_floor", 3.0)
    rep.ratio("one table's mark / its bare reads and replaces", "scale_leaf_mark", "scale_leaf_floor", 1.5)
    big = rep.ms("generate_toc/10000/1")
    if big is not None:
        held = big <= 5000
        print(f"  {'build of 10,000 sections with a full file (ms)':<58} {big:8.0f}  target <= 5000: "
              f"{'holds' if held else 'DOES NOT HOLD'}")
        if not held:
            rep.failures.append(f"build of 10,000 sections: {big:.0f} ms (target <= 5000)")


def presentation(rep):
    print()
    print("Presenting a large report: 4,041 sections holding 1,000,000 cells")
    for arg, what in ((0, "text"), (1, "HTML")):
        run = rep.get(f"export_report/{arg}")
        floor = rep.ms(f"export_bytes_floor/{arg}")
        if run is None or "error" in run or floor is None:
            print(f"  export as {what}: not measured")
            continue
        print(f"  export as {what}: {run['ms'] / 1000:.2f} s for {run['bytes'] / 1e6:.1f} MB "
              f"({int(run['cells']):,} cells); writing as many bytes {floor:.0f} ms")
        held = run["ms"] <= 10000
        print(f"  {'export as ' + what + ' (s)':<58} {run['ms'] / 1000:8.2f}  target: seconds (<= 10): "
              f"{'holds' if held else 'DOES NOT HOLD'}")
        if not held:
            rep.failures.append(f"export as {what}: {run['ms'] / 1000:.1f} s (target <= 10)")
        rep.ratio(f"export as {what} / writing its bytes", f"export_report/{arg}", f"export_bytes_floor/{arg}")
    preview = rep.get("preview_long_table")
    if preview is None or "error" in preview:
        print("  preview of a 100,000-row table: not measured")
        return
    held = preview["ms"] <= 100
    print(f"  {'preview of a 100,000-row table, first 200 rows (ms)':<58} {preview['ms']:8.2f}  target <= 100: "
          f"{'holds' if held else 'DOES NOT HOLD'}")
    if not held:
        rep.failures.append(f"preview of a 100,000-row table: {preview['ms']:.0f} ms (target <= 100)")


def memory(rep):
    run = rep.get("toc_memory/100000")
    print()
    if run is None or "error" in run:
        print("Memory: not measured")
        return
    print(f"Memory, built TOC of {int(run['sections']):,} sections (no settings file), build {run['ms']:.0f} ms")
    print(f"  peak resident size of the process        {run['peak_rss_MiB']:8.1f} MiB")
    print(f"  resident before the build (the report)   {run['report_rss_MiB']:8.1f} MiB")
    print(f"  resident growth per section              {run['rss_per_section']:8.0f} bytes")
    print(f"  tracked bytes kept per section           {run['tracked_live_per_section']:8.0f} bytes "
          f"in {run['tracked_blocks_per_section']:.1f} blocks")
    print(f"  tracked bytes allocated per section      {run['tracked_alloc_per_section']:8.0f} bytes "
          f"in {run['allocs_per_section']:.1f} allocations")


def main(argv):
    runs, context = load_runs(argv[1:])
    rep = Report(runs)
    skipped = context.get("peers_skipped", "none")
    print(f"Peers skipped: {skipped}.  Machine: {context.get('num_cpus', '?')} CPUs at "
          f"{context.get('mhz_per_cpu', '?')} MHz, load average {context.get('load_avg', '?')}")
    print()
    settings_file(rep)
    toc(rep)
    scale(rep)
    presentation(rep)
    memory(rep)
    print()
    if rep.failures:
        print("Targets that do not hold:")
        for f in rep.failures:
            print("  " + f)
    else:
        print("Every target that was measured holds.")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
