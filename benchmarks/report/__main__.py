"""Turns what the benchmarks measured into a table and plots; fails when a goal is missed.

    python3 benchmarks/report RESULTS.json [--peaks PEAKS.csv] [--plots FOLDER] [--record PAGE.md]

--record puts the tables into a page, between its marks.
"""

import argparse
import csv
import re
import sys
from pathlib import Path

import plots
import table
from results import Results


def memory_table(path):
    with open(path, encoding="utf-8", newline="") as file:
        found = list(csv.DictReader(file))
    lines = ["| | program | peak, MiB |", "|---|---|---|"]
    lines += [f'| {row["what"]} | {row["program"]} | {int(row["KiB"]) / 1024:.0f} |'
              for row in found]
    return "\n".join(lines) + "\n"


def record(page, name, text):
    """Replaces what stands between the marks of a page."""
    begin, end = f"<!-- {name} -->\n", f"<!-- end of {name} -->"
    marked = re.compile(re.escape(begin) + ".*?" + re.escape(end), re.DOTALL)
    before = page.read_text(encoding="utf-8")
    after, count = marked.subn(lambda _: begin + text + end, before)
    if count != 1:
        sys.exit(f"{page} has no place for the {name}: it needs the lines {begin}{end}")
    page.write_text(after, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(prog="report")
    parser.add_argument("results", type=Path)
    parser.add_argument("--peaks", type=Path)
    parser.add_argument("--plots", type=Path)
    parser.add_argument("--record", type=Path)
    arguments = parser.parse_args()

    results = Results(arguments.results)
    faults = [f"failed: {fault}" for fault in results.faults]
    if arguments.peaks: # a full run
        faults += [f"not measured: {what}" for what in table.not_measured(results)]
    if faults:
        sys.exit("\n".join(faults))
    tables = {"times": table.markdown(results)}
    if arguments.peaks:
        tables["memory"] = memory_table(arguments.peaks)
    for name, text in tables.items():
        print(text)
        if arguments.record:
            record(arguments.record, name, text)
    if arguments.plots:
        plots.draw(results, arguments.plots)

    for what in table.missed(results):
        print(f"missed: {what}", file=sys.stderr)
    return 1 if table.missed(results) else 0


if __name__ == "__main__":
    sys.exit(main())
