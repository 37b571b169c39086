#!/usr/bin/env python3
"""Runs the open-source iCE40 flow (Yosys, nextpnr-ice40) on examples/flow,
imports its four outputs with rpl-toc and checks every imported number
against the file it came from, read here on its own: cells by type and the
netlist's figures of each module, utilisation, clock frequencies, each
critical path's steps, and the slack histogram of nextpnr's log. Then the
report must be valid under docs/report.schema.json, show, export, and have
its first layout in a settings file that a second import leaves alone.

    check_flow_import.py RPL_TOC SOURCE_DIR SCRATCH_DIR

Exits 77 (ctest: skipped) when Yosys or nextpnr-ice40 is not installed.
"""
import json
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

failures = []


def check(condition, what):
    if not condition:
        failures.append(what)


def near(a, b, tolerance):
    return a is not None and b is not None and abs(a - b) <= tolerance


def section(report, path):
    """The object at an rdb path ('||Design Flow||Timing||Clocks')."""
    names = path.split('||')[1:]
    node = report['root']
    if node['name'] != names[0]:
        return None
    for name in names[1:]:
        node = next((c for c in node.get('children', []) if c and c.get('name') == name), None)
        if node is None:
            return None
    return node


def check_synthesis(report, stat):
    figures = ['num_cells', 'num_wires', 'num_wire_bits', 'num_pub_wires', 'num_pub_wire_bits', 'num_memories',
               'num_memory_bits', 'num_processes']
    modules = [('(whole design)', 'Whole Design', stat['design'])]
    for key, module in stat['modules'].items():
        name = key[1:] if key.startswith('\\') else key
        modules.append((name, 'Modules||' + name, module))
    rows = {row[0]: row for row in section(report, '||Design Flow||Synthesis||Netlist Statistics')['cells']}
    for name, where, module in modules:
        check(rows.get(name) == [name] + [module.get(f) for f in figures], f'netlist figures of {name}: {rows.get(name)}')
        table = section(report, f'||Design Flow||Synthesis||{where}||Cells by Type')
        chart = section(report, f'||Design Flow||Synthesis||{where}||Cell Chart')
        by_type = module['num_cells_by_type']
        check({r[0]: r[1] for r in table['cells']} == by_type, f'cells by type of {name}')
        check({r[0]: r[1] for r in chart['cells']} == by_type, f'cell chart of {name}')
        for cell_type, count, share in table['cells']:
            check(near(share, 100 * count / module['num_cells'], 0.05), f'share of {cell_type} in {name}: {share}')


def check_resources(report, nextpnr):
    rows = section(report, '||Design Flow||Resources||Utilisation')['cells']
    gauges = section(report, '||Design Flow||Resources||Utilisation Gauges')['gauges']
    use = nextpnr['utilization']
    check([r[0] for r in rows] == list(use), 'the resources, in order')
    for (name, used, available, share), gauge in zip(rows, gauges):
        check(used == use[name]['used'] and available == use[name]['available'], f'utilisation of {name}')
        check(near(share, 100 * used / available, 0.05), f'share of {name}: {share}')
        check((gauge['name'], gauge['value'], gauge['maximum']) == (name, used, available), f'gauge of {name}')


def check_clocks(report, nextpnr):
    rows = section(report, '||Design Flow||Timing||Clocks')['cells']
    check([r[0] for r in rows] == list(nextpnr['fmax']), 'the clocks, in order')
    for clock, achieved, constraint, slack, met in rows:
        source = nextpnr['fmax'][clock]
        check(near(achieved, source['achieved'], 0.005), f'Fmax of {clock}: {achieved}')
        check(near(constraint, source['constraint'], 0.005), f'constraint of {clock}: {constraint}')
        expected = 1000 / source['constraint'] - 1000 / source['achieved']
        check(near(slack, expected, 0.0005), f'slack of {clock}: {slack}, not {expected}')
        check(met == ('met' if source['achieved'] >= source['constraint'] else 'FAILED'), f'timing of {clock}')


def location(loc):
    return '(' + ', '.join(str(v) for v in loc) + ')'


def check_paths(report, nextpnr):
    tables = section(report, '||Design Flow||Timing||Critical Paths')['children']
    check(len(tables) == len(nextpnr['critical_paths']), 'one table per critical path')
    for number, (table, path) in enumerate(zip(tables, nextpnr['critical_paths']), 1):
        check(table['name'] == f"Path {number}: {path['from']} -> {path['to']}", f'name of path {number}')
        check(len(table['cells']) == len(path['path']), f'steps of path {number}')
        total = 0
        for row, step in zip(table['cells'], path['path']):
            total += step['delay']
            what = f'path {number}, step {row[0]}'
            check(row[1] == step['type'], f'{what}: type')
            check(near(row[2], step['delay'], 0.0005), f'{what}: delay {row[2]}')
            check(near(row[3], total, 0.0005), f'{what}: total {row[3]}')
            check(near(row[4], step['budget'], 0.0005) if 'budget' in step else row[4] is None, f'{what}: budget')
            check(row[5] == step.get('net', ''), f'{what}: net')
            check(row[6:] == [f"{step['from']['cell']}.{step['from']['port']}", location(step['from']['loc']),
                              f"{step['to']['cell']}.{step['to']['port']}", location(step['to']['loc'])],
                  f'{what}: cells and locations')


def check_histogram(report, log):
    """The last histogram of the log: each bar's range and its endpoints."""
    bars, per_star = [], 1
    for line in log.splitlines():
        if 'Slack histogram' in line:
            bars = []
        legend = re.search(r'\* represents (\d+) endpoint', line)
        if legend:
            per_star = int(legend.group(1))
        bar = re.match(r'Info: \[\s*(-?\d+),\s*(-?\d+)\) \|([*+ ]*)', line)
        if bar:
            count = bar.group(3).count('*') * per_star + (1 if '+' in bar.group(3) else 0)
            bars.append([f'{bar.group(1)} to {bar.group(2)}', count])
    chart = section(report, '||Design Flow||Timing||Slack Histogram')
    check(bars and chart['cells'] == bars, f"histogram: {chart['cells'][:3]} against {bars[:3]}")


def check_summary_and_messages(report, stat, log):
    items = {i['name']: i['value'] for i in section(report, '||Design Flow||Flow Summary')['items']}
    check(items.get('Synthesis') == stat['creator'], 'the Yosys version')
    check(items.get('Cells after synthesis') == str(stat['design']['num_cells']), 'cells after synthesis')
    warnings = [line for line in log.splitlines() if line.startswith('Warning: ')]
    text = section(report, '||Design Flow||Messages||Warnings')['text']
    check(all('nextpnr: ' + w in text for w in warnings), 'nextpnr\'s warnings')


def check_schema(report, source):
    try:
        import jsonschema
    except ImportError:
        print('note: python3-jsonschema is missing; the report is not checked against its schema')
        return
    schema = json.loads((source / 'docs/report.schema.json').read_text())
    problems = [e.message for e in jsonschema.Draft7Validator(schema).iter_errors(report)]
    check(not problems, f'the report is not valid under its schema: {problems[:3]}')


def run(*args, **kwargs):
    return subprocess.run([str(a) for a in args], capture_output=True, text=True, **kwargs)


def check_rpl_toc_uses_it(rpl_toc, flow, imported, outputs):
    settings = flow / 'top@compilation.rplset'
    check(settings.is_file() and 'COLUMN_WIDTHS=120L,56R,96R,88R,' in settings.read_text(),
          'the settings file holds the first layout')
    check(run(rpl_toc, 'show', imported).returncode == 0, 'rpl-toc show')
    check(run(rpl_toc, 'export', imported, '--html', flow / 'top.html').returncode == 0, 'rpl-toc export --html')
    settings.write_text('[||Design Flow]\nOUTPUT_SECTION=0\n')
    again = run(rpl_toc, 'import', '-o', imported, *outputs)
    check(again.returncode == 0 and 'leaves its layout as it is' in again.stderr, f'a second import: {again.stderr}')
    check(settings.read_text() == '[||Design Flow]\nOUTPUT_SECTION=0\n', 'a second import changed the settings')


def main():
    rpl_toc, source, scratch = sys.argv[1], Path(sys.argv[2]), Path(sys.argv[3])
    missing = [tool for tool in ('yosys', 'nextpnr-ice40') if shutil.which(tool) is None]
    if missing:
        print(f"skipped: {' and '.join(missing)} not installed (scripts/install-deps.sh test installs them)")
        return 77
    shutil.rmtree(scratch, ignore_errors=True)
    flow = scratch / 'flow'
    compiled = run(source / 'examples/flow/run-flow.sh', flow)
    if compiled.returncode != 0:
        print(f'the flow failed:\n{compiled.stdout}\n{compiled.stderr}')
        return 1
    outputs = [flow / name for name in ('stat.json', 'report.json', 'yosys.log', 'nextpnr.log')]
    imported = flow / 'top.json'
    done = run(rpl_toc, 'import', '-o', imported, *outputs)
    if done.returncode != 0:
        print(f'rpl-toc import failed ({done.returncode}): {done.stderr}')
        return 1
    report = json.loads(imported.read_text())
    stat = json.loads(outputs[0].read_text())
    nextpnr = json.loads(outputs[1].read_text())
    log = outputs[3].read_text()
    for step in (lambda: check_synthesis(report, stat), lambda: check_resources(report, nextpnr),
                 lambda: check_clocks(report, nextpnr), lambda: check_paths(report, nextpnr),
                 lambda: check_histogram(report, log), lambda: check_summary_and_messages(report, stat, log),
                 lambda: check_schema(report, source),
                 lambda: check_rpl_toc_uses_it(rpl_toc, flow, imported, outputs)):
        try:
            step()
        except (KeyError, TypeError, ValueError, AttributeError) as e:
            failures.append(f'{type(e).__name__}: {e}')
    for failure in failures:
        print('FAIL:', failure)
    print(f'{len(failures)} failures')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
