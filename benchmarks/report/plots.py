"""Plots of the cost as the work grows, drawn by gnuplot."""

import re
import subprocess

# item, title, label of the x axis
CURVES = [
    ("readers-curve", "Readers of one buffer", "readers"),
    ("buffer-size", "Filling and reading a buffer", "bytes"),
    ("growth-pause", "Longest pause of a reader while the buffer grows", "bytes"),
    ("memory-write", "Writing 64 MiB to a memory stream", "bytes a block"),
    ("memory-read", "Reading 64 MiB from a memory stream", "bytes a block"),
    ("unique-name-exact", "Finding a free name, exact", "names taken"),
    ("unique-name-stem", "Finding a free name, any extension", "names taken"),
    ("temp-dir", "Making a temporary folder", "names taken"),
    ("find-files", "Finding half of the files in a tree", "files"),
    ("dir-size", "Adding up the files in a tree", "files"),
]

COLORS = {"limit": "#888888", "std": "#2a7f62", "qt": "#c06000", "quarn": "#1f4fbf"}
LABELS = {"limit": "limit", "std": "standard library or system", "qt": "Qt's way", "quarn": "Quarn"}
UNITS = {"": 1, "Ki": 2**10, "Mi": 2**20, "Gi": 2**30}


def value(parameter):
    digits, unit = re.fullmatch(r"(\d+)(\D*)", parameter).groups()
    return int(digits) * UNITS[unit]


def points(results, item, contender, unit):
    """Pairs of the parameter and the cost in multiples of \\a unit."""
    measured = ((p, results.median(item, p, contender)) for p in results.parameters(item))
    return sorted((value(p), time / unit) for p, time in measured if time)


def script(results, item, title, axis, path):
    parameters = sorted(results.parameters(item), key=value)
    unit = results.median(item, parameters[0], "limit")
    contenders = [name for name in LABELS if name in results.contenders(item)]
    ticks = ", ".join(f'"{p}" {value(p)}' for p in parameters)
    commands = [
        "set terminal svg size 640,360 dynamic font 'sans-serif,12' background '#ffffff'",
        f"set output '{path}'",
        f'set title "{title}"',
        f"set xlabel '{axis}'",
        f"set ylabel 'cost (1: limit at {parameters[0]})'",
        "set logscale xy",
        f"set xtics ({ticks})",
        "set grid lc '#dddddd'",
        "set key left top" if item not in ("memory-write", "memory-read") else "set key right top",
    ]
    lines = []
    for name in contenders:
        commands.append(f"${name} << end")
        commands += [f"{x} {y:.4g}" for x, y in points(results, item, name, unit)]
        commands.append("end")
        lines.append(f"${name} with linespoints lw 2 pt 7 ps 0.5 lc '{COLORS[name]}' "
                     f'title "{LABELS[name]}"')
    return "\n".join(commands + ["plot " + ", ".join(lines)]) + "\n"


def draw(results, folder):
    """Draws those curves that were measured; returns the paths of the pictures."""
    pictures = []
    for item, title, axis in CURVES:
        if len(results.parameters(item)) < 3:
            continue
        picture = folder / f"{item}.svg"
        subprocess.run(["gnuplot"], input=script(results, item, title, axis, picture), text=True,
                       check=True)
        pictures.append(picture)
    return pictures
