"""The table of ratios beside their goals."""

import csv
from pathlib import Path

# A goal is missed when it is missed by more than a tenth: so much comes and goes from run to run.
TOLERANCE = 1.1


def goals():
    with open(Path(__file__).with_name("goals.csv"), encoding="utf-8", newline="") as file:
        return [{**row, "at most": float(row["at most"])} for row in csv.DictReader(file)]


def number(ratio):
    if ratio is None:
        return "–"
    return f"{ratio:.2f}" if ratio < 10 else f"{ratio:.0f}"


def verdict(ratio, at_most):
    if ratio <= at_most:
        return "yes"
    return "within a tenth" if ratio <= at_most * TOLERANCE else "**no**"


def by_qt(results, item, parameter):
    """Qt's way; where there are two, both."""
    first, second = (results.ratio(item, parameter, name) for name in ("qt", "qbuffer"))
    return number(first) if second is None else f"{number(first)}; QBuffer {number(second)}"


def rows(results):
    """One for each goal, with the cells of the table and whether the goal is missed."""
    for goal in goals():
        item, parameter, at_most = goal["item"], goal["parameter"], goal["at most"]
        own = results.ratio(item, parameter, "quarn")
        if own is None:
            continue
        cells = [goal["what"], number(results.ratio(item, parameter, "std")),
                 by_qt(results, item, parameter), number(own), f"{at_most:g}",
                 verdict(own, at_most)]
        yield cells, own > at_most * TOLERANCE


def markdown(results):
    lines = ["| | standard library or system | Qt's way | Quarn | goal | reached |",
             "|---|---|---|---|---|---|"]
    lines += ["| " + " | ".join(cells) + " |" for cells, _ in rows(results)]
    return "\n".join(lines) + "\n"


def missed(results):
    return [cells[0] for cells, miss in rows(results) if miss]


def not_measured(results):
    return [goal["what"] for goal in goals()
            if results.ratio(goal["item"], goal["parameter"], "quarn") is None]
