#!/usr/bin/env python3
"""A compiler launcher for a second build of the same sources: the objects that the first build has
are copied, the others are compiled.

    borrow_objects.py FIRST-BUILD SECOND-BUILD COMPILER ARGUMENT...

An object is taken if FIRST-BUILD compiled the same source with the same arguments, in whatever
order, read with the second build's folder in the place of the first's.
"""

import json
import os
import pathlib
import shlex
import shutil
import sys


def essence(arguments, build):
    """What decides on an object: the arguments but for where the outputs go."""
    kept = set()
    index = 0
    while index < len(arguments):
        if arguments[index] in ("-o", "-MT", "-MF"):
            index += 2
            continue
        if arguments[index] != "-MD":
            kept.add(arguments[index].replace(build, "BUILD"))
        index += 1
    return kept


def find(first, second, command):
    """The object that `command` would make, as the first build has it; None if it has none."""
    source = command[-1]
    wanted = essence(command, second)
    entries = json.loads((pathlib.Path(first) / "compile_commands.json").read_text())
    for entry in entries:
        if entry["file"] != source:
            continue
        arguments = shlex.split(entry["command"])
        if command[0] not in arguments:
            continue
        arguments = arguments[arguments.index(command[0]):]  # behind a launcher
        path = pathlib.Path(entry["directory"]) / arguments[arguments.index("-o") + 1]
        if essence(arguments, first) == wanted and path.exists() \
                and path.stat().st_mtime >= os.stat(source).st_mtime:
            return path
    return None


def main():
    first, second, *command = sys.argv[1:]
    is_compiling = "-c" in command and "-o" in command
    found = find(first, second, command) if is_compiling else None
    if found is None:
        os.execvp(command[0], command)
    shutil.copyfile(found, command[command.index("-o") + 1])
    return 0


if __name__ == "__main__":
    sys.exit(main())
