#!/usr/bin/env python3
"""The README does what it says.

Runs every shell block of README.md that the line `<!-- tested -->` precedes,
in order, in one bash session in a scratch directory that holds a copy of
examples/ and build/tools/ with the rpl-toc under test, as a reader would
from the repository's top directory after `make demo`. In those blocks a
line starting with "$ " is a command; the lines after it are what it prints
(standard output and standard error), exactly, where a line "..." stands for
any number of lines and "..." inside a line for any text. Also checks that
the README shows examples/embed/main.cpp as it is, that its links to
files of the repository lead somewhere, and that what it says `make demo`
or `make test` takes says when and on what machine it was measured.

    readme_check.py RPL_TOC SOURCE_DIR SCRATCH_DIR
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

MARK = "<!-- tested -->"
failures = []


def tested_blocks(readme):
    """The commands of every tested block: [(line number, command, expected lines)]."""
    lines = readme.split("\n")
    commands = []
    for i, line in enumerate(lines):
        if line.strip() != MARK:
            continue
        if i + 1 >= len(lines) or lines[i + 1].strip() != "```sh":
            failures.append(f"README.md:{i + 1}: {MARK} is not followed by a ```sh block")
            continue
        k = i + 2
        while k < len(lines) and lines[k].strip() != "```":
            if lines[k].startswith("$ "):
                commands.append((k + 1, lines[k][2:], []))
            elif commands and commands[-1][0] > i:
                commands[-1][2].append(lines[k])
            else:
                failures.append(f"README.md:{k + 1}: output before any command")
            k += 1
    return commands


def line_pattern(line):
    return re.compile(".*".join(re.escape(part) for part in line.split("...")) + r"\Z", re.S)


def matches(expected, actual):
    """Whether the actual lines fit the expected ones, "..." lines matching any number of lines."""
    if not expected:
        return not actual
    if expected[0] == "...":
        return any(matches(expected[1:], actual[n:]) for n in range(len(actual) + 1))
    return bool(actual) and line_pattern(expected[0]).match(actual[0]) is not None and matches(expected[1:], actual[1:])


def prepare(rpl_toc, source, scratch):
    if scratch.exists():
        shutil.rmtree(scratch)
    (scratch / "build").mkdir(parents=True)
    (scratch / "tmp").mkdir()
    (scratch / "out").mkdir()
    shutil.copytree(source / "examples", scratch / "examples")
    os.symlink(pathlib.Path(rpl_toc).resolve().parent, scratch / "build" / "tools")


def run(commands, scratch):
    script = ["set +e"]
    for n, (_, command, _) in enumerate(commands):
        script.append(f"{{ {command}\n}} > '{scratch}/out/{n}' 2>&1 < /dev/null")
    env = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": str(scratch), "TMPDIR": str(scratch / "tmp"),
           "LANG": "C.UTF-8", "TERM": "dumb"}
    subprocess.run(["bash", "--norc", "--noprofile"], input="\n".join(script) + "\n", text=True, cwd=scratch,
                   env=env, timeout=100)
    for n, (line, command, expected) in enumerate(commands):
        out_file = scratch / "out" / str(n)
        actual = out_file.read_text(errors="replace").split("\n") if out_file.exists() else ["(did not run)"]
        if actual and actual[-1] == "":
            actual.pop()
        if not matches(expected, actual):
            failures.append(f"README.md:{line}: $ {command}\n--- the README shows:\n" + "\n".join(expected) +
                            "\n--- it printed:\n" + "\n".join(actual))


# The tour shows every command and the JSON output.
TOUR = ["show", "list", "find", "next", "prev", "mark", "unmark", "set", "settings", "export", "--json"]


def check_tour(commands):
    words = {word for _, command, _ in commands if "rpl-toc" in command for word in command.split()}
    for word in TOUR:
        if word not in words:
            failures.append(f"the README's tested blocks never run rpl-toc {word}")


def check_embed_example(readme, source):
    example = (source / "examples/embed/main.cpp").read_text()
    if f"```cpp\n{example}```" not in readme:
        failures.append("README.md does not show examples/embed/main.cpp as it is")


def check_links(readme, source):
    for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)", readme):
        if "://" not in target and not (source / target).exists():
            failures.append(f"README.md links to {target}, which does not exist")


DURATION = re.compile(r"\b\d[\d,.]*\s*(?:s|seconds?|min|minutes?|h|hours?)\b")
MEASURED = re.compile(r"measured on \d{4}-\d{2}-\d{2}")
MACHINE = re.compile(r"\b\d+ (?:cores|CPUs)\b")


def check_build_timings(readme):
    """A time the build takes depends on the machine and its load: a bare "takes 48 s" misleads."""
    for paragraph in re.split(r"\n\s*\n", readme):
        flat = " ".join(paragraph.split())
        if not re.search(r"\bmake (?:demo|test)\b", flat) or not DURATION.search(flat):
            continue
        if not MEASURED.search(flat) or not MACHINE.search(flat):
            failures.append(f"README.md says what the build takes without when and on what machine: {flat[:120]}")


def main():
    rpl_toc, source, scratch = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    readme = (source / "README.md").read_text()
    commands = tested_blocks(readme)
    if not commands:
        failures.append("README.md has no tested shell block")
    prepare(rpl_toc, source, scratch)
    run(commands, scratch)
    check_tour(commands)
    check_embed_example(readme, source)
    check_links(readme, source)
    check_build_timings(readme)
    for failure in failures:
        print(f"FAILED: {failure}\n", file=sys.stderr)
    print(f"{len(commands)} commands of README.md run, {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
