#!/usr/bin/env python3
"""Opens what etabulon writes with other programs: spreadsheets with openpyxl, pictures with rsvg-convert.

    read_reports.py ETABULON STRIKES [RSVG-CONVERT]
"""

import datetime
import pathlib
import sqlite3
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml

import openpyxl
from openpyxl.utils.escape import unescape

SCRIPT = """
CREATE TABLE t(id INTEGER PRIMARY KEY, text TEXT, whole INTEGER, part REAL, day DATE, at TIMESTAMP,
               hour TIME, yes BOOLEAN, bytes BLOB);
INSERT INTO t VALUES
  (1, 'a', 9007199254740993, 0.5, '2001-02-09', '2001-02-09 06:30:00', '12:30:00', 1, x'c328'),
  (2, '', -5, 1e300, '1899-12-31', '1900-01-01 00:00:00', '00:00:00', 0, x''),
  (3, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL),
  (4, char(1) || '_x0041_' || char(13) || char(10) || '<&>', 1, 0.1, '1900-02-28', NULL, NULL, NULL, NULL),
  (5, '=1+1', 9007199254740992, 0, '9999-12-31', NULL, NULL, NULL, NULL);
"""


class Reports:
    def __init__(self, program, folder):
        self.program, self.folder, self.faults = program, pathlib.Path(folder), []

    def run(self, name, *arguments):
        path = self.folder / name
        run = subprocess.run([self.program, *arguments, "--output", str(path)], capture_output=True,
                             text=True, check=False)
        self.expect(name, "status", run.returncode, 0)
        self.expect(name, "stdout", run.stdout, "")
        self.said = run.stderr
        return path

    def sheet(self, name, *arguments):
        return openpyxl.load_workbook(self.run(name, *arguments)).active

    def expect(self, name, what, found, expected):
        if found != expected:
            self.faults.append(f"{name}: {what} is {found!r}, not {expected!r}")


def values(row):
    return [cell.value for cell in row]


def check_records(reports, source):
    sheet = reports.sheet("walk.xlsx", "walk", source, "t")
    rows = [values(row) for row in sheet.iter_rows()]
    expect = lambda what, found, wanted: reports.expect("walk.xlsx", what, found, wanted)
    expect("heads", rows[0], ["id", "text", "whole", "part", "day", "at", "hour", "yes", "bytes"])
    day = datetime.datetime
    expect("row 1", rows[1], [1, "a", "9007199254740993", 0.5, day(2001, 2, 9), day(2001, 2, 9, 6, 30),
                              datetime.time(12, 30), True, "c328"])
    expect("row 2", rows[2], [2, '=""', -5, 1e300, "1899-12-31", day(1900, 1, 1), datetime.time(0), False,
                              '=""'])
    expect("row 3", rows[3], [3] + [None] * 8)
    expect("text of row 4", unescape(rows[4][1]), "\x01_x0041_\r\n<&>")
    expect("date of row 4", rows[4][4], day(1900, 2, 28))
    expect("row 5", rows[5][1:5], ["=1+1", 9007199254740992, 0, day(9999, 12, 31)])
    expect("type of =1+1", sheet["B6"].data_type, "s")
    expect("formats", [sheet[cell].number_format for cell in ("A2", "D2", "E2", "F2", "G2")],
           ["General", "General", "yyyy\\-mm\\-dd", "yyyy\\-mm\\-dd hh:mm:ss", "hh:mm:ss"])
    expect("frozen", sheet.freeze_panes, "A2")
    expect("note", reports.said, "etabulon: 1 number is written as text: a spreadsheet's own can't tell "
           "all of their digits\n")


def check_results(reports, strikes):
    grid = reports.sheet("grid.xlsx", "grid", strikes, "strikes", "--axes", "damage,time_of_day",
                         "--calc", "AVG:cost_total")
    expect = lambda what, found, wanted: reports.expect("grid.xlsx", what, found, wanted)
    last = list(grid.iter_rows())[-1]
    expect("frozen", grid.freeze_panes, "B2")
    expect("heads", values(grid[1]), ["damage \\ time_of_day", "Dawn", "Day", "Dusk", "Night", "total"])
    expect("bold", [all(cell.font.b for cell in row) for row in (grid[1], grid[2], last)],
           [True, False, True])
    expect("total", [last[0].value, last[-1].value], ["total", 4054.5276])
    expect("formats", {cell.number_format for row in grid.iter_rows(min_row=2, min_col=2)
                       for cell in row if cell.value is not None}, {"#,##0.00"})
    expect("empty cell", grid["B2"].value, None)
    expect("sheet", grid.title, "AVG(cost_total)  damage   time_")
    score = reports.sheet("score.xlsx", "score", strikes, "strikes", "--level", "damage", "--calc",
                          "COUNT:id", "--top", "2", "--others")
    reports.expect("score.xlsx", "rows", [values(row) for row in score.iter_rows(min_row=2)],
                   [["None", 8939], ["Minor", 549], ["others", 512], ["total", 10000]])
    reports.expect("score.xlsx", "format", score["B2"].number_format, "#,##0")


def check_tree(reports, strikes):
    tree = reports.sheet("tree.xlsx", "tree", strikes, "strikes", "--levels", "damage,time_of_day",
                         "--at", "damage=Medium", "--calc", "SUM:cost_total", "--leaves")
    rows = list(tree.iter_rows(min_row=2, max_row=4))
    expect = lambda what, found, wanted: reports.expect("tree.xlsx", what, found, wanted)
    expect("outline", [tree.row_dimensions[row].outlineLevel for row in (2, 3, 4)], [0, 1, 2])
    expect("labels", [row[0].value for row in rows][:2], ["damage=Medium", "Dawn"])
    expect("counts", [row[1].value for row in rows], [186, 7, 1])
    expect("indents", [row[0].alignment.indent for row in rows], [0, 2, 4])
    expect("summary above", tree.sheet_properties.outlinePr.summaryBelow, False)


PICTURES = {
    "bars.svg": ["score", "--level", "airport>name", "--calc", "SUM:cost_total,COUNT:id", "--top", "12"],
    "others.svg": ["score", "--level", "species>name", "--calc", "COUNT:id", "--top", "5", "--others",
                   "--theme", "dark"],
    "heat.svg": ["grid", "--axes", "airport>state>name,damage", "--calc", "SUM:cost_total,COUNT:id"],
    "lines.svg": ["grid", "--axes", "damage,flight_date.year", "--calc", "COUNT:id"],
    "days.svg": ["grid", "--axes", "flight_date", "--calc", "COUNT:id,SUM:cost_total"],
    "nested.svg": ["grid", "--lines", "flight_date.year,flight_date.quarter", "--columns", "damage",
                   "--calc", "SUM:cost_total", "--others", "--top-columns", "2"],
}


def check_pictures(reports, strikes, rasteriser):
    for name, (command, *options) in PICTURES.items():
        path = reports.run(name, command, strikes, "strikes", *options)
        root = xml.parse(path).getroot()
        texts = [element.text for element in root.iter("{http://www.w3.org/2000/svg}text")]
        reports.expect(name, "title", any(" by " in text for text in texts), True)
        if not rasteriser:
            continue
        picture = path.with_suffix(".png")
        run = subprocess.run([rasteriser, str(path), "-o", str(picture)], capture_output=True,
                             text=True, check=False)
        reports.expect(name, "rasteriser", (run.returncode, run.stderr), (0, ""))
        size = struct.unpack(">II", picture.read_bytes()[16:24])
        reports.expect(name, "size", size, (int(root.get("width")), int(root.get("height"))))


def main(program, strikes, rasteriser=None):
    with tempfile.TemporaryDirectory() as folder:
        reports = Reports(program, folder)
        source = str(pathlib.Path(folder) / "t.sqlite")
        sqlite3.connect(source).executescript(SCRIPT).connection.close()
        check_records(reports, source)
        check_results(reports, strikes)
        check_tree(reports, strikes)
        check_pictures(reports, strikes, rasteriser)
    print("\n".join(reports.faults))
    return 1 if reports.faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
