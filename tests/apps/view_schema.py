#!/usr/bin/env python3
"""Holds the schema of saved views to a view that the program writes, and to keys that no view has.

    view_schema.py ETABULON STRIKES SCHEMA
"""

import json
import os
import subprocess
import sys
import tempfile


def keys_of(schema):
    """The keys of an object that a schema allows, with their own schemas."""
    assert schema["additionalProperties"] is False, schema
    return schema["properties"]


def without_twice(pairs):
    names = [name for name, _ in pairs]
    assert len(names) == len(set(names)), f"twice: {names}"
    return dict(pairs)


def fits(value, schema):
    if "enum" in schema:
        return value in schema["enum"]
    types = {str: "string", list: "array", int: "integer", bool: "boolean", dict: "object"}
    return schema["type"] == types[type(value)]


def main(program, strikes, path):
    with open(path) as file:
        schema = json.load(file, object_pairs_hook=without_twice)
    keys = keys_of(schema)
    with tempfile.TemporaryDirectory() as folder:
        view = os.path.join(folder, "v.json")
        for line in (["walk", "--columns", "damage", "--limit", "1"],
                     ["tree", "--levels", "damage", "--depth", "1", "--calc", "COUNT:id", "--leaves=false"],
                     ["score", "--level", "damage", "--calc", "COUNT:id", "--top", "1", "--others",
                      "--format", "svg", "--theme", "dark", "--by", "data"]):
            subprocess.run([program, line[0], strikes, "strikes", *line[1:], "--save-view", view],
                           check=True, stdout=subprocess.DEVNULL)
            with open(view) as file:
                written = json.load(file, object_pairs_hook=without_twice)
            assert written.pop("version") == keys["version"]["const"]
            for key, value in written.items():
                assert fits(value, keys[key]), (key, value)
                for own, part in value.items() if isinstance(value, dict) else ():
                    assert fits(part, keys_of(keys[key])[own]), (key, own, part)
    # What isn't saved, and what belongs to one command.
    for key in ("output", "progress", "set", "view", "save-view", "depth", "axes"):
        assert key not in keys, key
    assert "axes" in keys_of(keys["grid"]) and "axes" not in keys_of(keys["score"])
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
