#!/usr/bin/env python3
"""Runs check_quirks on a small tree: what is listed, and what is reported."""

import pathlib
import tempfile
import unittest

import check_quirks

FILES = {
    "include/etabulon/sort/Key.h":
        "/// Always true. Deliberate: also with `wait` false,\n"
        "///   as ever. TrueAnyway holds it.\n"
        "///\n/// Another paragraph.\nbool Lock(bool wait);\n",
    "src/sort/Key.cpp":
        "int a = 0;  // Deliberate: not 1.\n"
        "            // IsNought holds it.\n"
        "int b = 1;  // of another kind\n"
        "// Deliberate: one. Deliberate: two. Deep\n// holds them.\n"
        "int c = 2;\n// apart\n"
        'const char* d = "// Deliberate: a text";\n',
    "adapters/sql/src/Table.cpp": "/* Deliberate: three.\n * Gone holds it. */\n",
    "apps/tool/main.cpp": "// Deliberate: TrueAnyway is named without more.\n",
    "tests/sort/KeyTest.cpp":
        "TEST(Key, TrueAnyway) {}\nTEST_P(Numbers, IsNought) {}\n\n",
    "tests/support/Suite.h": "TYPED_TEST_P(Deep,\n             Down) {}\n",
}

LISTED = """
## sort

- Also with `wait` false, as ever. (`include/etabulon/sort/Key.h`: `TrueAnyway`)
- Not 1. (`src/sort/Key.cpp`: `IsNought`)
- One. (`src/sort/Key.cpp`: no test)
- Two. (`src/sort/Key.cpp`: `Deep`)

## adapters/sql

- Three. (`adapters/sql/src/Table.cpp`: no test)

## apps/tool

- TrueAnyway is named without more. (`apps/tool/main.cpp`: `TrueAnyway`)
"""

FAULTS = ["src/sort/Key.cpp:4: names no test: one.",
          "adapters/sql/src/Table.cpp:1: tests/ has no Gone"]


class Quirks(unittest.TestCase):
    def test_each_is_listed_and_those_without_test_are_reported(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name, text in FILES.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
            (root / "docs").mkdir()
            outdated = ["docs/quirks.md is out of date: tools/check_quirks.py --write writes it"]
            self.assertEqual(check_quirks.check(root), FAULTS + outdated)
            self.assertEqual(check_quirks.check(root, write=True), FAULTS)
            self.assertEqual((root / "docs/quirks.md").read_text(), check_quirks.HEAD + LISTED)
            self.assertEqual(check_quirks.check(root), FAULTS)


if __name__ == "__main__":
    unittest.main()
