"""Tells what the tests reach, for scripts/coverage.sh.

Usage: coverage.py LCOV JSON [--gaps]

Both come from llvm-cov. Its own counts of branches take each instantiation of a template for itself,
so they are counted here: by their places.
"""

import collections
import json
import re
import sys

ROOT = '/src/Quarn/'


def lines_of(path):
    """Whether each line was reached: {file: {line: bool}}."""
    found = collections.defaultdict(dict)
    with open(path) as lcov:
        for record in lcov:
            kind, _, value = record.strip().partition(':')
            if kind == 'SF':
                lines = found[value.partition(ROOT)[2]]
            elif kind == 'DA':
                line, count = value.split(',')[:2]
                lines[int(line)] = int(count) > 0
    return found


def branches_of(path, files):
    """Whether each outcome of each condition in files occurred: {file: {(place, outcome): bool}}."""
    with open(path) as export:
        functions = json.load(export)['data'][0]['functions']
    found = collections.defaultdict(lambda: collections.defaultdict(bool))
    for function in functions:
        # Where a macro is expanded, by the number that its text goes by: it counts where it is used.
        uses = {region[6]: region for region in function['regions'] if region[7] == 1}
        for branch in function['branches']:
            use = branch
            place = tuple(branch[:4])
            file = branch[6]
            while file in uses:
                use, file = uses[file], uses[file][5]
                place = tuple(use[:2]) + place
            name = function['filenames'][file].partition(ROOT)[2]
            if name in files:
                for outcome, count in zip((True, False), branch[4:6]):
                    found[name][place, outcome] |= count > 0
    return found


def percent(reached, count):
    return 100 * reached / count if count else 100


def main(lcov, export, *options):
    lines = lines_of(lcov)
    branches = branches_of(export, lines)
    totals = collections.defaultdict(lambda: [0, 0, 0, 0])
    for kind, found in enumerate((lines, branches)):
        for file, reached in found.items():
            for family in (re.match('[^/]*', file)[0], 'all'):
                totals[family][2 * kind] += len(reached)
                totals[family][2 * kind + 1] += sum(reached.values())
    print('family         lines   reached  branches   reached')
    for family in sorted(totals, key=lambda name: (name == 'all', name)):
        line, lines_reached, branch, branches_reached = totals[family]
        print(f'{family:12} {line:7} {percent(lines_reached, line):7.1f} % {branch:9} '
              f'{percent(branches_reached, branch):7.1f} %')
    if '--gaps' in options:
        for file in sorted(lines):
            missed = [str(line) for line, reached in sorted(lines[file].items()) if not reached]
            missed += [f'{place[0]}:{place[1]} never {"true" if outcome else "false"}'
                       for (place, outcome), reached in sorted(branches[file].items())
                       if not reached and lines[file].get(place[0], True)]
            if missed:
                print(f'{file}: {", ".join(missed)}')
    total = totals['all']
    return percent(total[1], total[0]) < 95 or percent(total[3], total[2]) < 90


sys.exit(main(*sys.argv[1:]))
