"""What the report makes of measurements: ratios of medians, verdicts, and what it answers."""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

REPORT = Path(__file__).parent


def run(name, times, **more):
    return [{"run_name": f"{name}/real_time", "run_type": "iteration", "real_time": time, **more}
            for time in times]


class ReportTest(unittest.TestCase):
    def report(self, runs, *arguments):
        with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
            json.dump({"benchmarks": runs}, file)
            file.flush()
            return subprocess.run([sys.executable, REPORT, file.name, *arguments], text=True,
                                  capture_output=True, check=False)

    def key_loaded(self, *ours):
        """The goal is 3.3 times the limit, the median of which is 10."""
        return self.report(run("load-key/PEM/limit", [10, 9, 500])
                           + run("load-key/PEM/quarn", ours))

    def test_verdicts(self):
        for times, verdict, status in [((33, 33, 1), "yes", 0), ((36, 36, 1), "within a tenth", 0),
                                       ((37, 37, 1), "**no**", 1)]:
            with self.subTest(verdict):
                answer = self.key_loaded(*times)
                self.assertIn(f"| {times[0] / 10:.2f} | 3.3 | {verdict} |", answer.stdout)
                self.assertEqual(status, answer.returncode)

    def test_contender_that_failed(self):
        failed = run("load-key/PEM/quarn", [0], error_occurred=True, error_message="no key")
        answer = self.report(run("load-key/PEM/limit", [10]) + failed)
        self.assertEqual(1, answer.returncode)
        self.assertIn("load-key/PEM/quarn/real_time: no key", answer.stderr)

    def test_recording(self):
        runs = run("load-key/PEM/limit", [10]) + run("load-key/PEM/quarn", [20])
        with tempfile.TemporaryDirectory() as folder:
            page = Path(folder, "page.md")
            page.write_text("before\n<!-- times -->\nold\n<!-- end of times -->\nafter\n")
            self.assertEqual(0, self.report(runs, "--record", page).returncode)
            text = page.read_text()
            self.assertRegex(text, r"(?s)^before\n<!-- times -->\n\|.*\| 2\.00 \|.*\n<!-- end .*after")
            self.assertNotIn("old", text)
            page.write_text("no marks\n")
            self.assertNotEqual(0, self.report(runs, "--record", page).returncode)
            self.assertEqual("no marks\n", page.read_text())


if __name__ == "__main__":
    unittest.main()
