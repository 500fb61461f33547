#!/usr/bin/env python3
"""Checks that the tree's includes obey docs/ranks.txt.

    tools/check_includes.py [ROOT]

Prints one line for each include that breaks a rule and ends with 1 if there is any:
  - an include of ours is written in full ("etabulon/values/ETabulonTag.h") and names a header
    that exists; a private header is named by its folder under src/, or, beside a source of an
    adapter or application, by its path from there or from the root;
  - it names a header of a lower rank, or of the same folder and rank;
  - no header reaches itself;
  - a public header takes the name of a class that a fwd.h declares from there.
"""

import fnmatch
import pathlib
import re
import sys

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(["<])([^">]+)[">]', re.MULTILINE)
COMMENT = re.compile(r"/\*.*?\*/", re.DOTALL)
FORWARD = re.compile(r"^(?:class|struct) (\w+);$", re.MULTILINE)


class Ranks:
    """docs/ranks.txt. A place is a header's path below include/etabulon/, or its like."""

    def __init__(self, text):
        self.folders = {}
        self.headers = []
        self.knots = []
        for number, line in enumerate(text.splitlines(), 1):
            words = line.split("#")[0].split()
            if not words:
                continue
            if words[0] == "rank" and len(words) > 2:
                rank = float(words[1])
                for pattern in words[2:]:
                    if pattern.endswith(".h"):
                        self.headers.append((pattern, rank))
                    else:
                        self.folders[pattern] = rank
            elif words[0] == "knot" and len(words) == 3:
                self.knots.append((words[1], words[2]))
            else:
                raise ValueError(f"docs/ranks.txt:{number}: not understood: {line}")

    def of(self, place):
        for pattern, rank in self.headers:
            if fnmatch.fnmatchcase(place, pattern):
                return rank
        return self.folders.get(self.folder(place))

    def folder(self, place):
        """The innermost folder of `place` that has a rank, or its top folder."""
        folders = [str(parent) for parent in pathlib.PurePosixPath(place).parents]
        return next((name for name in folders if name in self.folders), place.split("/")[0])

    def allows_knot(self, path, place):
        return any(fnmatch.fnmatchcase(path, source) and fnmatch.fnmatchcase(place, header)
                   for source, header in self.knots)


def is_forward(place):
    return place.endswith("/fwd.h")


class Tree:
    """The files of the tree and the places they stand for."""

    def __init__(self, root):
        self.root = root
        self.places = {}   # file's path below the root -> place
        self.public = {}   # as included, without "etabulon/" -> file
        self.private = {}  # as included from src/ -> file
        for base in [root / "include", *sorted(root.glob("adapters/*/include"))]:
            self.add_all(base / "etabulon", self.public, "")
        # Headers that the build makes from a template: etabulon/version.h.
        for path in sorted((root / "cmake").glob("*.h.in")):
            name = path.name[:-len(".in")]
            self.places[path.relative_to(root).as_posix()] = name
            self.public[name] = path.relative_to(root).as_posix()
        self.add_all(root / "src", self.private, "")
        for base in sorted(root.glob("adapters/*/src")):
            self.add_all(base, None, base.parent.name + "/")
        for base in sorted(root.glob("apps/*")):
            self.add_all(base, None, "apps/" + base.name + "/")

    def add_all(self, base, index, prefix):
        for path in sorted(base.rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            name = path.relative_to(base).as_posix()
            self.places[path.relative_to(self.root).as_posix()] = prefix + name
            if index is not None:
                index[name] = path.relative_to(self.root).as_posix()

    def header_of(self, place):
        """The place of the header that a source or private header belongs to, or its own."""
        stem = place.rsplit(".", 1)[0]
        best = ""
        for name in self.public:
            header = name[:-len(".h")]
            if stem.startswith(header) and len(header) > len(best):
                best = header
        if best:
            return best + ".h"
        return stem + ".h" if stem + ".h" in self.private else place

    def find(self, includer, quote, text):
        """The file that `text` names, "" if it is none of ours, None if it is and isn't there."""
        if text.startswith("etabulon/"):
            return self.public.get(text[len("etabulon/"):])
        if quote == "<":
            return ""
        if ".." in text.split("/"):
            return None
        if text in self.private:
            return self.private[text]
        if includer.startswith(("adapters/", "apps/")):
            for base in (pathlib.PurePosixPath(includer).parent, pathlib.PurePosixPath()):
                path = (base / text).as_posix()
                if path in self.places:
                    return path
        return None


def check(root):
    """The faults of the tree at `root`, one line of text each."""
    root = pathlib.Path(root)
    ranks = Ranks((root / "docs/ranks.txt").read_text())
    tree = Tree(root)
    faults = []
    edges = {}
    for path, place in tree.places.items():
        rank = ranks.of(tree.header_of(place))
        if rank is None:
            faults.append(f"{path}: its folder has no rank in docs/ranks.txt")
            continue
        text = (root / path).read_text()
        # Comments give way to as many lines, so that line numbers stay.
        text = COMMENT.sub(lambda found: "\n" * found.group().count("\n"), text)
        for found in INCLUDE.finditer(text):
            at = f"{path}:{text.count(chr(10), 0, found.start(2)) + 1}"
            target = tree.find(path, found.group(1), found.group(2))
            if target == "":
                continue
            if target is None:
                faults.append(f'{at}: "{found.group(2)}" is not the full name of a header of ours')
                continue
            if target.endswith((".h", ".h.in")):
                edges.setdefault(path, []).append(target)
            fault = rank_fault(ranks, tree, path, rank, target)
            if fault:
                faults.append(f"{at}: {fault}")
    return faults + repeated_forwards(root, tree) + circles(edges)


def repeated_forwards(root, tree):
    texts = {path: (root / path).read_text() for path in tree.public.values()}
    homes = {name: path for path, text in texts.items() if is_forward(path)
             for name in FORWARD.findall(text)}
    return [f"{path}: declares {name}, as {homes[name]} does: include that"
            for path, text in texts.items() if not is_forward(path)
            for name in FORWARD.findall(text)
            if name in homes and not re.search(rf"^(?:class|struct)\b[^;{{]*\b{name}\b[^;{{]*{{",
                                               text, re.MULTILINE)]


def rank_fault(ranks, tree, path, rank, target):
    place = tree.places[path]
    other = tree.places[target]
    if is_forward(other):
        return None
    other_rank = ranks.of(tree.header_of(other))
    if other_rank is None:
        return None  # reported with the file itself
    if is_forward(place) and other_rank > 0:
        return f"a fwd.h includes {other}, which is not of rank 0"
    is_own_folder = ranks.folder(other) == ranks.folder(place)
    if other_rank < rank or (other_rank == rank and is_own_folder):
        return None
    if ranks.allows_knot(path, other):
        return None
    return f"{other} (rank {other_rank:g}) is not below {place} (rank {rank:g})"


def circles(edges):
    """The circles that a walk in depth closes, each from its first name on."""
    faults = []
    done = set()

    def visit(path, trail):
        if path in trail:
            circle = trail[trail.index(path):]
            start = circle.index(min(circle))
            circle = circle[start:] + circle[:start + 1]
            faults.append("circle: " + " -> ".join(circle))
            return
        if path in done:
            return
        for target in edges.get(path, []):
            visit(target, trail + [path])
        done.add(path)

    for path in sorted(edges):
        visit(path, [])
    return faults


def main():
    here = pathlib.Path(__file__).resolve().parent.parent
    root = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else here
    faults = check(root)
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
