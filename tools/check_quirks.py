#!/usr/bin/env python3
"""Checks that each oddity kept on purpose has a test, and that docs/quirks.md lists them all.

    tools/check_quirks.py [--write] [ROOT]

An oddity is a comment from "Deliberate:" to its end, to an empty comment line or to the next
"Deliberate:". It names its test: "ThatTest holds it." A suite may be named where several tests
hold it. Prints one line for each that names none, for each name that tests/ doesn't have, and one
if docs/quirks.md is out of date, and ends with 1 if there is any. --write writes docs/quirks.md.
"""

import argparse
import pathlib
import re
import sys
import textwrap

PLACES = ("include", "src", "adapters", "apps")
MARK = "Deliberate:"
COMMENT = re.compile(r"^(?P<code>.*?)(?P<sign>///?<?|/\*+!?|^\s*\*(?!/))(?P<text>.*)$")
TEST = re.compile(r"^[ \t]*(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)
NAME = re.compile(r"\b[A-Z][A-Za-z0-9_]*[a-z][A-Za-z0-9_]*\b")
HOLDS = re.compile(r"\bholds? (?:it|them|this)\b")
SENTENCE = re.compile(r"(?<=[.!?])\s+(?=[^a-z])")
HEAD = """# Oddities kept on purpose

What a reader would take for a mistake, and what callers rely on: each comment of the code that
begins with `Deliberate:`, and the tests that hold it. Written by `tools/check_quirks.py --write`.
"""


class Quirk:
    def __init__(self, path, line, text):
        self.path = path
        self.line = line
        self.text = text
        self.tests = []
        self.missing = []

    def find_tests(self, names, suites):
        holders = [sentence for sentence in SENTENCE.split(self.text) if HOLDS.search(sentence)]
        for word in dict.fromkeys(NAME.findall(" ".join(holders) or self.text)):
            if word in names or word in suites:
                self.tests.append(word)
            elif holders:
                self.missing.append(word)

    def faults(self):
        at = f"{self.path}:{self.line}: "
        if self.missing:
            return [at + f"tests/ has no {name}" for name in self.missing]
        return [] if self.tests else [at + f"names no test: {self.text}"]

    def sentences(self):
        """The comment without the sentence that only names its test."""
        text = " ".join(sentence for sentence in SENTENCE.split(self.text)
                        if not HOLDS.search(sentence))
        return text[:1].upper() + text[1:]

    def module(self):
        parts = pathlib.PurePosixPath(self.path).parts
        if parts[0] == "include":
            return parts[2]
        if parts[0] == "src":
            return parts[1]
        return "/".join(parts[:2])


def comment_of(line):
    """The text of the line's comment and whether code stands before it; None without comment."""
    found = COMMENT.match(line)
    if not found or found.group("code").count('"') % 2:
        return None
    text = found.group("text").strip()
    if text.endswith("*/"):
        text = text[:-2].strip()
    return text, bool(found.group("code").strip())


def quirks_of(path, text):
    quirks = []
    current = None
    for number, line in enumerate(text.splitlines(), 1):
        comment = comment_of(line)
        if comment is None or not comment[0]:
            current = None
            continue
        words, behind_code = comment
        if behind_code:
            current = None
        before, mark, rest = words.partition(MARK)
        if current is not None:
            current.text += " " + before.strip()
        while mark:
            before, mark, following = rest.partition(MARK)
            current = Quirk(path, number, before.strip())
            quirks.append(current)
            rest = following
    for quirk in quirks:
        quirk.text = " ".join(quirk.text.split())
    return quirks


def collect(root):
    quirks = []
    for place in PLACES:
        for path in sorted((root / place).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                quirks += quirks_of(path.relative_to(root).as_posix(), path.read_text())
    return quirks


def tests_of(root):
    """The names of the tests and of their suites."""
    names = set()
    suites = set()
    for path in (root / "tests").rglob("*"):
        if path.suffix in (".h", ".cpp"):
            for suite, name in TEST.findall(path.read_text()):
                names.add(name)
                suites.add(suite)
    return names, suites


def document(quirks):
    text = HEAD
    for module in sorted({quirk.module() for quirk in quirks}, key=lambda name: ("/" in name, name)):
        text += f"\n## {module}\n\n"
        for quirk in quirks:
            if quirk.module() == module:
                held = ", ".join(f"`{test}`" for test in quirk.tests) or "no test"
                text += textwrap.fill(
                    f"- {quirk.sentences()} (`{quirk.path}`: {held})", 100,
                    subsequent_indent="  ", break_long_words=False, break_on_hyphens=False) + "\n"
    return text


def check(root, write=False):
    """The faults of the tree at `root`, one line of text each."""
    root = pathlib.Path(root)
    quirks = collect(root)
    names, suites = tests_of(root)
    faults = []
    for quirk in quirks:
        quirk.find_tests(names, suites)
        faults += quirk.faults()
    path = root / "docs/quirks.md"
    text = document(quirks)
    if write:
        path.write_text(text)
    elif not path.exists() or path.read_text() != text:
        faults.append("docs/quirks.md is out of date: tools/check_quirks.py --write writes it")
    return faults


def main():
    here = pathlib.Path(__file__).resolve().parent.parent
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--write", action="store_true", help="write docs/quirks.md")
    parser.add_argument("root", nargs="?", default=here, type=pathlib.Path)
    arguments = parser.parse_args()
    faults = check(arguments.root, arguments.write)
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
