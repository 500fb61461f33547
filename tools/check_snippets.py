#!/usr/bin/env python3
"""Holds the documents to the examples: each C++ snippet stands, line for line, in a program below
examples/, which the tests compile and run. Indentation may differ as a whole. A line of only
"// ..." leaves lines out.

    check_snippets.py DOCUMENT...

The comment of each exported class must end with a pointer to an example ("/// Example    FILE"),
which names the class.
"""

import pathlib
import re
import sys
import textwrap

SNIPPET = re.compile(r"^```cpp\n(.*?)^```", re.MULTILINE | re.DOTALL)
POINTER = re.compile(r"^/// Example +(\S+)\n(?:template <.*>\n)?(?:class|struct)\s+"
                     r"(?:ETABULON_\w+\s+|\[\[\w+\]\]\s+)*(?:\w+::)*(\w+)", re.MULTILINE)
EXPORTED = re.compile(r"^(.*)\nclass ETABULON_API (\w+)\b(?!::|;)", re.MULTILINE)
GAP = re.compile(r"^\s*// \.\.\.\s*$", re.MULTILINE)


def plain(text):
    """The lines without their common indentation and without blank lines around them."""
    return textwrap.dedent(text).strip("\n")


def stands_in(snippet, source):
    """Whether the lines of the snippet are consecutive lines of the source."""
    wanted = plain(snippet).split("\n")
    lines = source.split("\n")
    for first in range(len(lines) - len(wanted) + 1):
        if plain("\n".join(lines[first:first + len(wanted)])).split("\n") == wanted:
            return True
    return False


def faults_of(document, text, sources):
    """One line for each piece of a snippet that no source has."""
    faults = []
    for found in SNIPPET.finditer(text):
        for piece in GAP.split(found.group(1)):
            if piece.strip() and not any(stands_in(piece, source) for source in sources):
                line = text.count("\n", 0, found.start()) + 1
                first = piece.strip().split("\n")[0]
                faults.append(f"{document}:{line}: no example has the lines from: {first}")
    return faults


def lost_pointers(root):
    """One line for each public class without a pointer, or with one to a file that doesn't name it."""
    faults = []
    headers = [*root.glob("include/**/*.h"), *root.glob("adapters/*/include/**/*.h")]
    for header in sorted(headers):
        text = header.read_text()
        pointers = POINTER.findall(text)
        for name, of in pointers:
            example = root / name
            if not example.exists() or not re.search(rf"\b{of}\b", example.read_text()):
                faults.append(f"{header.relative_to(root)}: {name} has no example of {of}")
        if len(pointers) != len(re.findall(r"^/// Example ", text, re.MULTILINE)):
            faults.append(f"{header.relative_to(root)}: an example stands above no class")
        faults += [f"{header.relative_to(root)}: {of} points to no example"
                   for above, of in EXPORTED.findall(text) if not above.startswith("/// Example ")]
    return faults


def main(documents):
    root = pathlib.Path(__file__).resolve().parent.parent
    sources = [path.read_text() for path in sorted((root / "examples").glob("*.[ch]*"))]
    faults = []
    snippets = 0
    for document in documents:
        text = (root / document).read_text()
        snippets += len(SNIPPET.findall(text))
        faults += faults_of(document, text, sources)
    # A document that lost its snippets would pass otherwise.
    if snippets == 0:
        faults.append("no snippets were found in " + " ".join(documents))
    faults += lost_pointers(root)
    print("\n".join(faults) if faults else f"{snippets} snippets, each from an example")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
