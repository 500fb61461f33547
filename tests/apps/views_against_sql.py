#!/usr/bin/env python3
"""Asks etabulon and SQLite's SQL the same random questions: rankings and cross tables that are sorted,
limited, nested, in percent and with others, the records behind their cells, and sorted records.

    views_against_sql.py [--formats tsv,json,xlsx] ETABULON STRIKES [SEED [QUESTIONS]]

With --formats each answer is read from all of these formats, which must agree; without it from tsv.
XLSX is read by openpyxl.
"""

import argparse
import datetime
import json
import pathlib
import random
import sqlite3
import subprocess
import sys
import tempfile

NULL = "\\N"
# The SQL of each function for x. LAST is the bare column beside max(id).
FUNCTIONS = {"COUNT": "count(*)", "SUM": "sum(x)", "AVG": "sum(cast(x AS REAL)) / count(*)",
             "MAX": "max(x)", "MIN": "CASE WHEN count(*) = count(x) THEN min(x) END",
             "MEAN": "avg(x)", "COUNTVAL": "count(x)", "LAST": "x, max(id)"}
MOST_CELLS = 150  # of a table, that are compared


class Source:
    """A table of a database, copied into one table `s`: l0, l1, ... are the texts of its levels."""

    def __init__(self, program, path, table, levels, numbers, formats, joins=""):
        self.command, self.path, self.table, self.formats = program, path, table, formats
        self.levels, self.numbers = list(levels), numbers
        self.sql = sqlite3.connect(path)
        columns = [f"ifnull(cast({sql} AS TEXT), '{NULL}') AS l{place}"
                   for place, sql in enumerate(levels.values())]
        columns += [f"{table}.{name} AS {name}" for name in numbers]
        self.sql.execute(f"CREATE TEMP TABLE s AS SELECT {table}.id AS id, {', '.join(columns)} "
                         f"FROM {table} {joins}")
        # The program's plain grid tells the order of the labels, which SQL doesn't know.
        self.rank = [{row[0]: place for place, row in enumerate(
            self.ask("grid", "--axes", name, "--calc", "COUNT:id")[1:-1])} for name in self.levels]

    def ask(self, command, *options):
        """The lines that the program answers with, in the notation of tsv, read from each format."""
        answers = [READERS[name](self, command, options) for name in self.formats]
        for name, answer in zip(self.formats, answers):
            if not agree(answers[0], answer):
                raise RuntimeError(f"{command} {options}: {name} differs from {self.formats[0]}: "
                                   f"{difference(answers[0], answer)}")
        return answers[0]

    def run(self, command, *options):
        run = subprocess.run([self.command, command, self.path, self.table, *options],
                             capture_output=True, text=True, check=False)
        if run.returncode != 0:
            raise RuntimeError(f"status {run.returncode}: {run.stderr}")
        return run.stdout

    def ask_tsv(self, command, options):
        return [line.split("\t") for line in
                self.run(command, "--format", "tsv", *options)[:-1].split("\n")]

    def ask_xlsx(self, command, options):
        import openpyxl  # only this format needs it
        with tempfile.TemporaryDirectory() as folder:
            path = str(pathlib.Path(folder) / "answer.xlsx")
            self.run(command, "--output", path, *options)
            book = openpyxl.load_workbook(path)
            return [[cell_text(cell.value) for cell in row] for row in book.active.iter_rows()]

    def ask_json(self, command, options):
        answer = json.loads(self.run(command, "--format", "json", *options))
        if command == "grid" and "--drill" not in options:
            return grid_lines(answer)
        if command == "score" and "--drill" not in options:
            return score_lines(answer, options[options.index("--level") + 1].count(",") + 1)
        return [list(answer[0]), *([cell_text(value) for value in record.values()]
                                   for record in answer)] if answer else [[]]

    def select(self, calculation, levels, where):
        """The function's value for each group of records."""
        function, number = calculation
        keys = ", ".join(f"l{level}" for level in levels)
        rows = self.sql.execute(
            f"SELECT {keys + ', ' if keys else ''}{FUNCTIONS[function]} "
            f"FROM (SELECT *, {number} AS x FROM s) WHERE {where} "
            + (f"GROUP BY {keys}" if keys else "HAVING count(*) > 0"))
        return {row[:len(levels)]: row[len(levels)] for row in rows}

    def value(self, calculation, *conditions):
        return self.select(calculation, [], " AND ".join(conditions)).get(())


READERS = {"tsv": Source.ask_tsv, "json": Source.ask_json, "xlsx": Source.ask_xlsx}


def cell_text(value):
    """A value of JSON or of a spreadsheet in the notation of tsv."""
    if value is None:
        return NULL
    if value == '=""':  # an empty text in a spreadsheet
        return ""
    if isinstance(value, dict):
        return "\\D"
    if isinstance(value, bool):
        return str(value).lower()
    if isinstance(value, datetime.datetime):
        return str(value.date())  # the tables have dates only
    if isinstance(value, str):
        return value.replace("\\", "\\\\").replace("\t", "\\t").replace("\n", "\\n")
    return repr(value)


def score_lines(answer, depth):
    others = [answer["others"]] if "others" in answer else []
    values = [[cell_text(value) for value in line.values()]
              for line in [line["values"] for line in answer["lines"]] + others + [answer["total"]]]
    labels = [[cell_text(value) for value in line["label"].values()] for line in answer["lines"]]
    labels += [[name] + [NULL] * (depth - 1) for name in ["others"] * len(others) + ["total"]]
    heads = ["?"] * depth + list(answer["total"])
    return [heads] + [label + line for label, line in zip(labels, values)]


def grid_label(label, depth):
    """The cells of a label, a part's word behind its values."""
    part = []
    if isinstance(label, dict):
        part, label = list(label), list(label.values())[0]
    cells = [cell_text(value) for value in (label if isinstance(label, list) else [label])] + part
    return cells + [NULL] * (depth - len(cells))


def grid_lines(answer):
    lines = []
    for table in answer:
        axis = table["lines"]["axis"]
        depth = len(axis) if isinstance(axis, list) else 1
        if not lines:
            across = [grid_label(label, 0) for label in table["columns"]["labels"]]
            lines = [["?"] * depth + [", ".join({NULL: "NULL", "": '""'}.get(cell, cell)
                                                for cell in label) for label in across]]
            lines[0] += ["total"] * ("lineTotals" in table)
        values = table["values"] + [table["columnTotals"]] * ("columnTotals" in table)
        ends = [[value] for value in table.get("lineTotals", [])]
        ends += [[table["total"]]] if "total" in table else []
        labels = [grid_label(label, depth) for label in table["lines"]["labels"]]
        labels += [["total"] + [NULL] * (depth - 1)] * ("columnTotals" in table)
        for place, row in enumerate(values):
            row = row + (ends[place] if place < len(ends) else [])
            lines.append(labels[place] + [cell_text(value) for value in row])
    return lines


def agree(one, other):
    """Whether two answers have the same lines; heads that a format doesn't have are ?."""
    def same(first, second):
        if first == second or "?" in (first, second):
            return True
        try:
            return abs(float(first) - float(second)) <= 1e-14 * max(1, abs(float(first)))
        except ValueError:
            return False
    if other == [[]]:
        return len(one) == 1
    return len(one) == len(other) and all(
        len(a) == len(b) and all(map(same, a, b)) for a, b in zip(one, other))


def difference(one, other):
    """The first lines that differ."""
    for first, second in zip(one, other):
        if not agree([first], [second]):
            return f"{second}, not {first}"
    return f"{len(other)} lines, not {len(one)}"


def quoted(value):
    return "'" + value.replace("'", "''") + "'"


class Axis:
    """The entries of an axis. `depths` has the levels of each depth."""

    def __init__(self, source, depths, keys, most, others, ties_fall=False):
        self.source, self.depths, self.keys, self.most = source, depths, keys, most
        self.others, self.ties_fall = others, ties_fall
        self.levels = [level for depth in depths for level in depth]
        self.entries = []
        if depths:
            self.add((), 0)

    def add(self, above, depth):
        source, levels = self.source, self.depths[depth]
        known = self.levels[:len(above) + len(levels)]
        children = [key[len(above):] for key in source.select(("COUNT", "id"), known, "1")
                    if key[:len(above)] == above]
        children.sort(key=lambda child: [source.rank[level][label] for level, label in
                                         zip(levels, child)], reverse=self.ties_fall)
        for kind, what, across, falling in reversed(self.keys):
            if kind == "level" and what in levels:
                order = source.rank[what]
                children.sort(key=lambda child: order[child[levels.index(what)]], reverse=falling)
            elif kind == "value":
                values = source.select(what, known, across)
                children.sort(key=lambda child: (values.get(above + child) is not None,
                                                 values.get(above + child) or 0), reverse=falling)
        most = self.most[depth] if depth < len(self.most) else len(children)
        for child in children[:most]:
            if depth + 1 < len(self.depths):
                self.add(above + child, depth + 1)
                self.entries.append((above + child, "total", self.condition(above + child)))
            else:
                self.entries.append((above + child, "", self.condition(above + child)))
        if self.others and most < len(children):
            shown = "".join(f" AND NOT ({self.condition(above + child)})"
                            for child in children[:most])
            self.entries.append((above, "others", self.condition(above) + shown))

    def condition(self, labels):
        return " AND ".join(["1"] + [f"l{level} = {quoted(label)}" for level, label in
                                     zip(self.levels, labels)])

    def cells(self, labels, part):
        """The label as the columns of a line."""
        cells = [*labels, part] if part else [*labels]
        return cells + [NULL] * (len(self.levels) - len(cells))

    def words(self, labels, part):
        """The label as --drill takes it."""
        texts = ["NULL" if label == NULL else '"' + label.replace('"', '""') + '"'
                 for label in labels]
        texts += [part] if part else []
        return texts + ["total"] * (len(self.levels) - len(texts))


def head(labels, part):
    texts = [{NULL: "NULL", "": '""'}.get(label, label) for label in labels]
    return ", ".join(texts + ([part] if part else []))


def differs(printed, expected, margin=1e-9):
    if expected is None or printed == NULL:
        return not (expected is None and printed == NULL)
    return abs(float(printed) - expected) > margin * max(1, abs(expected))


def percent(value, whole):
    return None if value is None or not whole else 100 * value / whole


class Questions:
    def __init__(self, sources, seed):
        self.sources, self.random = sources, random.Random(seed)

    def chance(self, part):
        return self.random.random() < part

    def direction(self, falls):
        """What stands behind a key, and whether it falls."""
        word = self.random.choice(["", ":asc", ":desc"])
        return word, falls if word == "" else word == ":desc"

    def calculation(self, source, functions=tuple(FUNCTIONS)):
        return self.random.choice(functions), self.random.choice(source.numbers)

    def order(self, source, levels, calculations, across=()):
        """Keys of an order as text and as Axis takes them."""
        texts, keys = [], []
        for _ in range(self.random.randint(1, 2)):
            kind = self.random.choice(["level", "total", "cell"])
            if kind == "level":
                level = self.random.choice(levels)
                word, falling = self.direction(False)
                texts.append(source.levels[level] + word)
                keys.append(("level", level, "", falling))
            elif kind == "total" or not across:
                calculation = self.random.choice(calculations)
                word, falling = self.direction(True)
                texts.append(":".join(calculation) + word)
                keys.append(("value", calculation, "1", falling))
            else:
                label = self.random.choice(list(source.rank[across[0]]))
                word, falling = self.direction(True)
                shown = "NULL" if label == NULL else '"' + label + '"'
                texts.append(f"{source.levels[across[0]]}={shown}{word}")
                keys.append(("value", calculations[0], f"l{across[0]} = {quoted(label)}", falling))
        return ",".join(texts), keys

    def score(self, source):
        levels = self.random.sample(range(len(source.levels)), self.random.randint(1, 2))
        calculations = list(dict.fromkeys(self.calculation(source) for _ in range(2)))
        options = ["--level", ",".join(source.levels[level] for level in levels),
                   "--calc", ",".join(":".join(each) for each in calculations)]
        keys = [("value", each, "1", True) for each in calculations]
        is_sorted = self.chance(0.7)
        if is_sorted:
            text, keys = self.order(source, levels, calculations)
            options += ["--sort", text]
        most, others = [], False
        if self.chance(0.7):
            most, others = [self.random.randint(0, 8)], self.chance(0.7)
            options += ["--top", str(most[0])] + ["--others"] * others
        shared = [each for each in calculations if each[0] in ("COUNT", "SUM") and self.chance(0.7)]
        if shared:
            options += ["--share", ",".join(":".join(each) for each in shared)]
        axis = Axis(source, [levels], keys, most, others, ties_fall=not is_sorted)
        if axis.entries and self.chance(0.3):
            labels, part, condition = self.random.choice(axis.entries)
            words = [part] if part else axis.words(labels, part)
            return self.drill(source, "score", options, words, condition)
        lines, running = [], {each: 0 for each in shared}
        for labels, part, condition in axis.entries + [((), "total", "1")]:
            values = [(source.value(each, condition), 1e-9) for each in calculations]
            for each in shared:
                value, whole = source.value(each, condition), source.value(each, "1")
                running[each] += value or 0
                values.append((percent(value, whole), 1e-2))
                values.append((None if part == "total" else percent(running[each], whole), 1e-2))
            lines.append((axis.cells(labels, part), values))
        return options, self.compare(source.ask("score", *options)[1:], lines)

    def grid(self, source):
        levels = self.random.sample(range(len(source.levels)), self.random.randint(1, 3))
        count = self.random.randint(1, len(levels))
        own, across = levels[:count], levels[count:]
        is_percent = self.chance(0.3)
        calculation = self.calculation(source, ("COUNT", "SUM") if is_percent else tuple(FUNCTIONS))
        options = ["--calc", ":".join(calculation)]
        axes, others = [], self.chance(0.5)
        for side, name, others_levels in ((own, "lines", across), (across, "columns", own)):
            if side:
                options += ["--" + name, ",".join(source.levels[level] for level in side)]
            keys, most = [], []
            if side and self.chance(0.6):
                text, keys = self.order(source, side, [calculation], others_levels)
                options += ["--sort-" + name, text]
            if side and (self.chance(0.6) or name == "lines"):
                most = [self.random.randint(1, 5) for _ in side]
                options += ["--top-" + name, ",".join(map(str, most))]
            axes.append(Axis(source, [[level] for level in side], keys, most, others))
        options += ["--others"] * others
        lines, columns = axes
        if self.chance(0.3):
            line = self.random.choice(lines.entries + [((), "total", "1")])
            column = self.random.choice(columns.entries + [((), "total", "1")])
            return self.drill(source, "grid", options, lines.words(*line[:2]) + (
                columns.words(*column[:2]) if across else []), f"{line[2]} AND {column[2]}")
        base = self.random.choice(["line", "column", "total"] if across else ["column", "total"])
        options += ["--percent", base] if is_percent else []
        printed = source.ask("grid", *options)
        totals = [((), "total", "1")]
        heads = [head(*column[:2]) for column in columns.entries + totals] if across else None
        if heads is not None and printed[0][len(own):] != heads:
            return options, f"columns {printed[0][len(own):]}, not {heads}"
        cells = []
        for labels, part, line in lines.entries + totals:
            values = []
            for _, _, column in columns.entries + totals:
                values.append((line, column))
            cells.append((lines.cells(labels, part), values))
        chosen = [(line, place) for line in range(len(cells)) for place in range(len(cells[0][1]))]
        chosen = set(self.random.sample(chosen, min(len(chosen), MOST_CELLS)))
        for place, (_, values) in enumerate(cells):
            for at, (line, column) in enumerate(values):
                if (place, at) not in chosen:
                    values[at] = None
                    continue
                value = source.value(calculation, line, column)
                if is_percent:
                    value = percent(value, source.value(calculation, line if base == "line" else "1",
                                                        column if base == "column" else "1"))
                values[at] = (value, 1e-2 if is_percent else 1e-9)
        return options, self.compare(printed[1:], cells)

    def drill(self, source, command, options, words, condition):
        options = [*options, "--drill", ",".join(words)]
        expected = [str(row[0]) for row in source.sql.execute(
            f"SELECT id FROM s WHERE {condition} ORDER BY id")]
        if not expected:
            return options, ""
        printed = source.ask(command, *options)
        place = printed[0].index("id")
        ids = [row[place] for row in printed[1:]]
        return options, "" if ids == expected else f"{len(ids)} records, not {len(expected)}"

    def walk(self, source):
        level = self.random.randrange(len(source.levels))
        number = self.random.choice(source.numbers)
        keys = [(source.levels[level], *self.direction(False)), (number, *self.direction(False))]
        self.random.shuffle(keys)
        limit = self.random.choice([1, 7, 100, 100000])
        options = ["--sort", ",".join(name + word for name, word, _ in keys),
                   "--limit", str(limit), "--columns", ""]
        rows = source.sql.execute(f"SELECT id, l{level}, {number} FROM s ORDER BY id").fetchall()
        for name, _, falling in reversed(keys):
            if name == number:
                rows.sort(key=lambda row: (row[2] is not None, row[2] or 0), reverse=falling)
            else:
                rows.sort(key=lambda row: source.rank[level][row[1]], reverse=falling)
        ids = [row[0] for row in source.ask("walk", *options)[1:]]
        return options, "" if ids == [str(row[0]) for row in rows[:limit]] else "another order"

    @staticmethod
    def compare(printed, lines):
        if [row[:len(cells)] for row, (cells, _) in zip(printed, lines)] != [
                cells for cells, _ in lines] or len(printed) != len(lines):
            return f"lines {printed}, not {[cells for cells, _ in lines]}"
        for row, (cells, values) in zip(printed, lines):
            for text, expected in zip(row[len(cells):], values):
                if expected is not None and differs(text, *expected):
                    return f"{text}, not {expected[0]} at {cells}"
        return ""

    def ask(self, count):
        faults = 0
        for place in range(count):
            source = self.random.choice(self.sources)
            kind = self.random.choice([self.score, self.score, self.grid, self.grid, self.walk])
            options, fault = kind(source)
            if fault:
                faults += 1
                print(f"{place}: {kind.__name__} {source.path} {source.table} {options}: {fault}")
        return faults


def random_table(path, chance):
    """Labels that are missing, empty or alike, and numbers that are missing or negative."""
    labels = ["acme", "Acme", "ACME", "", "b", "cd", "cD", "é", None, "x y", "zz"]
    database = sqlite3.connect(path)
    database.execute("CREATE TABLE t(id INTEGER PRIMARY KEY, ka TEXT, kb TEXT, kc INTEGER, "
                     "n INTEGER, r REAL)")
    for _ in range(chance.choice([3, 40, 300])):
        database.execute("INSERT INTO t(ka, kb, kc, n, r) VALUES (?, ?, ?, ?, ?)", (
            chance.choice(labels), chance.choice(labels[:6]),
            chance.choice([None, -1, 2, 10, 9, 0]), chance.choice([None, -5, 0, 3, 3, 1000]),
            chance.choice([None, -0.5, 0.25, 1.5, 2.0])))
    database.commit()
    database.close()


def main(program, strikes, seed, questions, formats):
    chance = random.Random(int(seed))
    levels = {"damage": "damage", "time_of_day": "time_of_day", "airport>state>name":
              "(SELECT name FROM states WHERE id = (SELECT state_id FROM airports "
              "WHERE id = airport_id))", "flight_date.year": "strftime('%Y', flight_date) + 0"}
    with tempfile.TemporaryDirectory() as folder:
        sources = [Source(program, strikes, "strikes", levels, ["cost_total", "speed_knots"], formats)]
        for place in range(4):
            path = str(pathlib.Path(folder) / f"random{place}.sqlite")
            random_table(path, chance)
            sources.append(Source(program, path, "t", {"ka": "ka", "kb": "kb", "kc": "kc"},
                                  ["n", "r"], formats))
        faults = Questions(sources, seed).ask(int(questions))
    print(f"{questions} questions, {faults} answered differently")
    return 1 if faults else 0


if __name__ == "__main__":
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("program")
    parser.add_argument("strikes")
    parser.add_argument("seed", nargs="?", default=1)
    parser.add_argument("questions", nargs="?", default=160)
    parser.add_argument("--formats", default="tsv")
    given = parser.parse_args()
    sys.exit(main(given.program, given.strikes, given.seed, given.questions,
                  given.formats.split(",")))
