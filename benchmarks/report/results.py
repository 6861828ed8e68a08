"""What the benchmarks measured: medians of their repetitions, by item, parameter and contender."""

import json
import statistics
from collections import defaultdict


class Results:
    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            runs = json.load(file)["benchmarks"]
        times = defaultdict(list)
        self.faults = []
        for run in runs:
            if run["run_type"] != "iteration":
                continue
            if run.get("error_occurred"):
                self.faults.append(f'{run["run_name"]}: {run["error_message"]}')
                continue
            times[tuple(run["run_name"].split("/")[:3])].append(run["real_time"])
        self._medians = {name: statistics.median(values) for name, values in times.items()}

    def parameters(self, item):
        """Those of an item, in the order in which they were measured first."""
        return list(dict.fromkeys(name[1] for name in self._medians if name[0] == item))

    def contenders(self, item):
        return list(dict.fromkeys(name[2] for name in self._medians if name[0] == item))

    def median(self, item, parameter, contender):
        """None for what was not measured."""
        return self._medians.get((item, parameter, contender))

    def ratio(self, item, parameter, contender):
        """To the limit in the same run; None for what was not measured."""
        own = self.median(item, parameter, contender)
        limit = self.median(item, parameter, "limit")
        return own / limit if own and limit else None
