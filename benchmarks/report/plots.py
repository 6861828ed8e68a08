"""Plots of the cost as the work grows, drawn by gnuplot."""

import re
import subprocess

# item, title, label of the x axis, and where the limit's cost counts as 1
CURVES = [
    ("readers-curve", "Readers of one buffer", "readers", "1"),
    ("buffer-size", "Filling and reading a buffer", "bytes", "1Mi"),
    ("growth-pause", "Longest pause of a reader while the buffer grows", "bytes", "1Gi"),
    ("memory-write", "Writing 64 MiB to a memory stream", "bytes a block", "64"),
    ("memory-read", "Reading 64 MiB from a memory stream", "bytes a block", "64"),
    ("unique-name-exact", "Finding a free name, exact", "names taken", "10"),
    ("unique-name-stem", "Finding a free name, any extension", "names taken", "10"),
    ("temp-dir", "Making a temporary folder", "names taken", "10"),
    ("find-files", "Finding half of the files in a tree", "files", "1000"),
    ("dir-size", "Adding up the files in a tree", "files", "1000"),
]

COLORS = {"limit": "#888888", "std": "#2a7f62", "qt": "#c06000", "quarn": "#1f4fbf"}
LABELS = {"limit": "limit", "std": "standard library or system", "qt": "Qt's way", "quarn": "Quarn"}
UNITS = {"": 1, "Ki": 2**10, "Mi": 2**20, "Gi": 2**30}


def value(parameter):
    digits, unit = re.fullmatch(r"(\d+)(\D*)", parameter).groups()
    return int(digits) * UNITS[unit]


def points(results, item, contender, unit):
    """Pairs of the parameter and the cost in multiples of a unit."""
    measured = ((p, results.median(item, p, contender)) for p in results.parameters(item))
    return sorted((value(p), time / unit) for p, time in measured if time)


def script(results, item, title, axis, unit_at, path):
    parameters = sorted(results.parameters(item), key=value)
    unit = results.median(item, unit_at, "limit")
    contenders = [name for name in LABELS if name in results.contenders(item)]
    ticks = ", ".join(f'"{p}" {value(p)}' for p in parameters)
    rising = item not in ("memory-write", "memory-read")
    commands = [
        "set terminal svg size 640,360 dynamic font 'sans-serif,12' background '#ffffff'",
        f"set output '{path}'",
        f'set title "{title}"',
        f"set xlabel '{axis}'",
        f"set ylabel 'cost (1: limit at {unit_at})'",
        "set logscale xy",
        f"set xtics ({ticks})",
        f"set xrange [{value(parameters[0]) / 1.3}:{value(parameters[-1]) * 1.3}]",
        "set grid lc '#dddddd'",
        "set key left top Left reverse samplen 2" if rising else "set key right top samplen 2",
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
    for item, title, axis, unit_at in CURVES:
        if len(results.parameters(item)) < 3:
            continue
        picture = folder / f"{item}.svg"
        subprocess.run(["gnuplot"], input=script(results, item, title, axis, unit_at, picture), text=True,
                       check=True)
        pictures.append(picture)
    return pictures
