#!/usr/bin/env python3
"""The JSON Schemas in docs/ say what rpl-toc reads and prints.

Every report in examples/ is valid under docs/report.schema.json, and a few
faulty ones are refused by the schema and by rpl-toc alike; the --json
output of every command is valid under its document's definition in
docs/toc.schema.json and begins with "format": 1, and so are the viewer's
own answers (a change's, /api/progress).

    json_schemas.py RPL_TOC SOURCE_DIR
"""
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import jsonschema

failures = []


def check(condition, what):
    if not condition:
        failures.append(what)


def validator(schema, definition=None):
    if definition is not None:
        schema = {"$ref": f"#/definitions/{definition}", "definitions": schema["definitions"]}
    return jsonschema.Draft7Validator(schema)


def errors(schema_validator, document):
    return [f"{'/'.join(map(str, e.absolute_path))}: {e.message}" for e in schema_validator.iter_errors(document)]


# Reports that the loader refuses; the schema must refuse them too.
FAULTY_REPORTS = {
    "a kind field on another kind": {"root": {"type": 5, "name": "c", "columns": 3}},
    "an unknown field": {"name": "r", "root": {"type": 1, "colour": "red"}},
    "an object without a type": {"root": {"type": 1, "children": [{"name": "x"}]}},
    "negative columns": {"root": {"type": 4, "columns": -1}},
    "a type beyond 32 bits": {"type": 4294967296},
    "a line feed in a name": {"root": {"type": 1, "name": "A\n[||B"}},
    "a cell that is an object": {"root": {"type": 1, "children": [{"type": 4, "cells": [[{"x": 1}]]}]}},
    "an unknown member of a gauge": {"root": {"type": 1, "children": [{"type": 9, "gauges": [{"colour": "red"}]}]}},
    "contents on a folder": {"root": {"type": 1, "text": "hello"}},
}


def check_reports(rpl_toc, source, scratch):
    schema = validator(json.loads((source / "docs/report.schema.json").read_text()))
    for example in sorted((source / "examples").glob("*.json")):
        problems = errors(schema, json.loads(example.read_text()))
        check(not problems, f"{example.name} is not valid under the report schema: {problems}")
    for what, report in FAULTY_REPORTS.items():
        check(errors(schema, report), f"the report schema accepts {what}")
        path = scratch / "faulty.json"
        path.write_text(json.dumps(report))
        run = subprocess.run([rpl_toc, "--db-dir", str(scratch), "show", str(path)], capture_output=True)
        check(run.returncode == 2, f"rpl-toc accepts {what} (exit {run.returncode})")


def toc_json(rpl_toc, db, *args, expect=0):
    run = subprocess.run([rpl_toc, "--db-dir", str(db), "--json", *map(str, args)], capture_output=True, text=True)
    check(run.returncode == expect, f"{' '.join(map(str, args))}: exit {run.returncode}, {run.stderr.strip()}")
    try:
        return json.loads(run.stdout)
    except json.JSONDecodeError as e:
        failures.append(f"{' '.join(map(str, args))}: not JSON ({e}): {run.stdout[:200]!r}")
        return None


def check_outputs(rpl_toc, source, scratch):
    schema = json.loads((source / "docs/toc.schema.json").read_text())
    whole = validator(schema)
    flow = scratch / "design_flow.json"
    shutil.copy(source / "examples/design_flow.json", flow)
    odd = source / "examples/odd_cases.json"
    table = "||Design Flow||Timing||Clock Summary"
    commands = [
        ("settings", ["settings", flow]),
        ("toc", ["show", flow]),
        ("toc", ["show", odd]),
        ("section_document", ["find", flow, table]),
        ("step", ["find", flow, "||Design Flow||timing"], 1),
        ("list", ["list", flow]),
        ("list", ["list", "--all", odd]),
        ("step", ["next", flow, "||Design Flow"]),
        ("step", ["prev", flow, "||Design Flow||Flow Summary"], 1),
        ("toc", ["unmark", flow, "||Design Flow||Resources"]),
        ("toc", ["mark", flow, "||Design Flow||Resources||Resource Notes"]),
        ("toc", ["set", flow, table, "--orientation", "2",
                 *[f"--width={i}={80 + i}" for i in range(4)], *[f"--order={i}={3 - i}" for i in range(4)]]),
        ("export", ["export", flow, "--text", scratch / "flow.txt"]),
        ("export", ["export", flow, "--html", scratch / "flow.html"]),
        ("settings", ["settings", flow]),
    ]
    for definition, args, *expect in commands:
        document = toc_json(rpl_toc, scratch, *args, expect=expect[0] if expect else 0)
        if document is None:
            continue
        what = " ".join(map(str, args[:1] + args[2:]))
        check(isinstance(document, dict) and list(document)[:1] == ["format"], f"{what}: \"format\" is not first")
        problems = errors(validator(schema, definition), document)
        check(not problems, f"{what}: not a valid {definition} document: {problems[:3]}")
        check(not errors(whole, document), f"{what}: not valid under the schema as a whole")


def check_viewer_answers(rpl_toc, source, scratch):
    import urllib.request
    schema = json.loads((source / "docs/toc.schema.json").read_text())
    db = scratch / "viewer"
    db.mkdir()
    view = subprocess.Popen([rpl_toc, "--db-dir", str(db), "view", str(source / "examples/design_flow.json"), "--no-open"],
                            stdout=subprocess.PIPE, text=True)
    try:
        url = re.search(r"(http://\S+)", view.stdout.readline()).group(1)
        base, token = url.split("/#token=")

        def ask(path, body=None):
            headers = {"X-RPL-Token": token}
            if body is not None:
                headers["Content-Type"] = "application/json"
            request = urllib.request.Request(base + path, headers=headers,
                                             data=None if body is None else json.dumps(body).encode())
            with urllib.request.urlopen(request) as answer:
                return json.loads(answer.read())

        answers = [
            ("viewer_change", ask("/api/mark", {"paths": ["||Design Flow||Timing"], "marked": False})),
            ("viewer_change", ask("/api/set", {"path": "||Design Flow||Timing||Slack Histogram", "chart_type": 2})),
            ("viewer_progress", ask("/api/progress")),
            ("viewer_settings", ask("/api/settings")),
            ("viewer_reload", ask("/api/reload", {})),
            ("viewer_preview", ask("/api/preview", {"path": "||Design Flow||Timing||Clock Summary",
                                                    "widths": [[0, 120]], "orders": [[0, 1], [1, 0]], "rows": 2})),
            ("viewer_preview", ask("/api/preview", {"path": "||Design Flow||Timing||Slack Histogram"})),
        ]
        for definition, document in answers:
            check(list(document)[:1] == ["format"], f"{definition}: \"format\" is not first")
            problems = errors(validator(schema, definition), document)
            check(not problems, f"not a valid {definition} document: {problems[:3]}")
    finally:
        view.terminate()
        view.wait(timeout=10)
        view.stdout.close()


def main():
    rpl_toc, source = sys.argv[1], pathlib.Path(sys.argv[2])
    with tempfile.TemporaryDirectory() as scratch:
        check_reports(rpl_toc, source, pathlib.Path(scratch))
        check_outputs(rpl_toc, source, pathlib.Path(scratch))
        check_viewer_answers(rpl_toc, source, pathlib.Path(scratch))
    for failure in failures:
        print(f"FAILED: {failure}", file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
