#!/usr/bin/env python3
"""Holds a document to its examples of the command line: each `$ etabulon ...` of it, and each
that printf feeds, prints the lines below it. A line of only "..." stands for any lines. browse, which needs a terminal, is left out.

    check_commands.py ETABULON STRIKES DOCUMENT...
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

INDENT = "    "
COMMAND = re.compile(r"^    \$ ((?:printf .* \| |mkdir .* && )?etabulon (?!browse).*)$")


def examples_of(text):
    """The number of the line, the shell command and the lines that it prints, of each example."""
    lines = text.split("\n")
    at = 0
    while at < len(lines):
        found = COMMAND.match(lines[at])
        if not found:
            at += 1
            continue
        first, command = at + 1, found.group(1)
        while command.endswith("\\"):
            at += 1
            command = command[:-1] + lines[at].strip()
        at += 1
        printed = []
        while at < len(lines) and lines[at].startswith(INDENT) and not COMMAND.match(lines[at]):
            printed.append(lines[at][len(INDENT):])
            at += 1
        yield first, command, printed


def matches(expected, printed):
    parts = [re.escape(line) + "\n" if line != "..." else r"(?:.*\n)*" for line in expected]
    # Editors and readers drop blanks at the ends of lines.
    trimmed = "".join(line.rstrip() + "\n" for line in printed.split("\n")[:-1])
    return re.fullmatch("".join(parts), trimmed) is not None


def main(program, strikes, *documents):
    faults, count = [], 0
    with tempfile.TemporaryDirectory() as folder:
        os.symlink(os.path.abspath(strikes), os.path.join(folder, "strikes.sqlite"))
        for document in documents:
            for line, command, expected in examples_of(pathlib.Path(document).read_text()):
                count += 1
                run = subprocess.run(
                    ["sh", "-c", f'etabulon() {{ "{os.path.abspath(program)}" "$@"; }}; {command}'],
                    cwd=folder, env={**os.environ, "LC_ALL": "C"}, capture_output=True, text=True, check=False)
                if run.returncode != 0 or not matches(expected, run.stdout):
                    faults.append(f"{document}:{line}: {command}\nprints\n{run.stdout}{run.stderr}")
    # A document that lost its examples would pass otherwise.
    if count == 0:
        faults.append("no examples were found in " + " ".join(documents))
    print("\n".join(faults) if faults else f"{count} examples, each prints what it shows")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
