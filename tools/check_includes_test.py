#!/usr/bin/env python3
"""Runs check_includes on small trees: each wrong one is reported for its fault and no other."""

import pathlib
import tempfile
import unittest

import check_includes

RANKS = """
rank 0 foundation made.h
rank 1 values
rank 3 values/Desc.h
rank 2 sort cursors
rank 7 sql
rank 8 apps/tool/low apps/tool/side
rank 9 apps
knot src/sort/Sort.cpp values/Desc.h
"""

GOOD = {
    "include/etabulon/foundation/Text.h": '#include <string>\n',
    "cmake/made.h.in": "",
    "include/etabulon/values/fwd.h": "class Tag;\n",
    "include/etabulon/values/Key.h": '#include "etabulon/foundation/Text.h"\n',
    "include/etabulon/values/Tag.h":
        '#include "etabulon/made.h"\n#include "etabulon/values/Key.h"\n',
    "include/etabulon/values/Desc.h": '#include "etabulon/sort/Sort.h"\n',
    "include/etabulon/sort/fwd.h": "class Sort;\n",
    "include/etabulon/sort/Sort.h": '#include "etabulon/values/Tag.h"\n',
    "include/etabulon/cursors/Cursor.h":
        '// #include "Tag.h"\n/*\n#include "Tag.h"\n*/\n#include "etabulon/sort/fwd.h"\n',
    "src/values/DescParts.cpp":
        '#include "etabulon/values/Desc.h"\n#include "values/Private.h"\n'
        '#include "etabulon/sort/Sort.h"\n',
    "src/values/Private.h": '#include "etabulon/values/Tag.h"\n',
    "src/sort/Sort.cpp": '#include "etabulon/values/Desc.h"\n',
    "adapters/sql/include/etabulon/sql/Table.h": '#include "etabulon/sort/Sort.h"\n',
    "adapters/sql/src/Table.cpp": '#include "Quote.h"\n#include "etabulon/sql/Table.h"\n',
    "adapters/sql/src/Quote.h": "#include <cstdint>\n",
    "apps/tool/main.cpp": '#include "apps/tool/Part.h"\n#include <CLI/CLI.hpp>\n',
    "apps/tool/low/Deep.h": '#include "etabulon/sql/Table.h"\n',
    "apps/tool/low/Deeper.h": '#include "apps/tool/low/Deep.h"\n',
    "apps/tool/side/Side.h": "",
    "apps/tool/Part.h": '#include "apps/tool/low/Deeper.h"\n',
}


def faults(**changed):
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for name, text in {"docs/ranks.txt": RANKS, **GOOD, **changed.get("files", {})}.items():
            path = root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        return check_includes.check(root)


class Includes(unittest.TestCase):
    def test_a_good_tree_has_no_fault(self):
        self.assertEqual(faults(), [])

    def test_each_bad_file_is_reported_once_with_its_place(self):
        bad = [
            ("higher rank", "include/etabulon/foundation/Text.h",
             '#include <string>\n#include "etabulon/values/Low.h"\n', ":2: values/Low.h (rank 1)"),
            ("same rank, other folder", "include/etabulon/cursors/Cursor.h",
             '#include "etabulon/sort/Sort.h"\n', ":1: sort/Sort.h (rank 2)"),
            ("higher header of the own folder", "include/etabulon/values/Other.h",
             '#include "etabulon/values/Desc.h"\n', "values/Desc.h (rank 3)"),
            ("source beside a header of lower rank", "src/values/Tag.cpp",
             '#include "etabulon/values/Desc.h"\n', "values/Desc.h (rank 3)"),
            ("knot of another file", "src/sort/Other.cpp",
             '#include "etabulon/values/Desc.h"\n', "values/Desc.h (rank 3)"),
            ("angle brackets hide nothing", "include/etabulon/values/Other.h",
             "#include <etabulon/sort/Sort.h>\n", "sort/Sort.h (rank 2)"),
            ("library on an adapter", "src/sort/Other.cpp",
             '#include "etabulon/sql/Table.h"\n', "sql/Table.h (rank 7)"),
            ("adapter on an application", "adapters/sql/src/Other.cpp",
             '#include "apps/tool/Part.h"\n', "apps/tool/Part.h (rank 9)"),
            ("room on what is above it", "apps/tool/low/Other.h",
             '#include "apps/tool/Part.h"\n', "apps/tool/Part.h (rank 9)"),
            ("room on another of its rank", "apps/tool/low/Other.h",
             '#include "apps/tool/side/Side.h"\n', "apps/tool/side/Side.h (rank 8)"),
            ("forward header with a load", "include/etabulon/values/fwd.h",
             '#include "etabulon/values/Low.h"\n', "a fwd.h includes values/Low.h"),
            ("name that a forward header has", "include/etabulon/cursors/Other.h",
             "class Sort;\n", "include/etabulon/sort/fwd.h"),
            ("short name", "include/etabulon/values/Tag.h",
             '#include "Key.h"\n', "not the full name"),
            ("way up", "apps/tool/main.cpp", '#include "../tool/Part.h"\n', "not the full name"),
            ("no such header", "src/values/Tag.cpp",
             '#include "etabulon/values/Missing.h"\n', "not the full name"),
            ("folder without rank", "include/etabulon/new/New.h", "", "has no rank"),
        ]
        for name, path, text, expected in bad:
            with self.subTest(name):
                found = faults(files={"include/etabulon/values/Low.h": "", path: text})
                self.assertEqual(len(found), 1, found)
                self.assertTrue(found[0].startswith(path), found)
                self.assertIn(expected, found[0])

    def test_a_circle_is_reported_with_its_path(self):
        found = faults(files={
            "include/etabulon/values/Key.h": '#include "etabulon/values/Tag.h"\n'})
        self.assertEqual(found, ["circle: include/etabulon/values/Key.h -> "
                                 "include/etabulon/values/Tag.h -> include/etabulon/values/Key.h"])

    def test_a_line_of_ranks_that_makes_no_sense_is_refused(self):
        with self.assertRaises(ValueError):
            faults(files={"docs/ranks.txt": "rank 0\n"})


if __name__ == "__main__":
    unittest.main()
