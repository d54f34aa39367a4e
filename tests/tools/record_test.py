#!/usr/bin/env python3
"""What benchmarks/report --record appends to the page of figures: record_test.py SOURCE."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = sys.argv.pop(1)
sys.path.insert(0, os.path.join(SOURCE, "benchmarks"))

import figures  # noqa: E402

MADE = "2.3.4", "abcdef0", "2 x Fast | Processor"
ROWS = {
    "facemesh_720p": {"value": 4.0, "reference": 3.12345, "ratio": 1.28934},
    "encode_ypr": {"value": 20.0, "reference": 55.0, "ratio": 0.36},
    "demo_peak_memory": {"value": 41.27, "reference": None, "ratio": None},
    "send_loopback": {"value": 1.0, "reference": None, "ratio": None},
}
EXPECTED = ("| 2026-01-31 | 2.3.4 | abcdef0 | 2 x Fast / Processor | 3.12 | 1.29 | 0.36 | - "
            + "| - " * 6 + "| 41.3 |\n")


class RecordTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.page = os.path.join(folder.name, "figures.md")
        shutil.copy(os.path.join(SOURCE, "docs", "figures.md"), self.page)

    def text(self):
        with open(self.page, encoding="utf-8") as file:
            return file.read()

    def rewrite(self, text):
        with open(self.page, "w", encoding="utf-8") as file:
            file.write(text)

    def test_each_record_is_one_line_at_the_end(self):
        before = self.text()
        figures.append(self.page, "2026-01-31", MADE, ROWS)
        self.assertEqual(self.text(), before + EXPECTED)
        figures.append(self.page, "2026-01-31", MADE, ROWS)
        self.assertEqual(self.text(), before + 2 * EXPECTED)

    def test_a_line_has_as_many_fields_as_the_heading(self):
        figures.append(self.page, "2026-01-31", MADE, {})
        lines = self.text().splitlines()
        heading = next(line for line in lines if line.startswith("| date "))
        self.assertEqual(lines[-1].count("|"), heading.count("|"))

    def test_a_page_with_other_columns_or_text_after_the_table_stays_as_it_is(self):
        good = self.text()
        for text in "", "# Figures\n", good.replace("| date |", "| day |"), good + "\nText.\n", \
                good + "\n| name |\n", good + "Text.\n", \
                good.removesuffix("\n"), good.replace("encode / oscpack", "encode / liblo"):
            with self.subTest(text[-40:]):
                self.assertNotEqual(text, good)
                self.rewrite(text)
                with self.assertRaises(ValueError):
                    figures.append(self.page, "2026-01-31", MADE, ROWS)
                self.assertEqual(self.text(), text)

    def test_every_column_is_a_row_of_the_report(self):
        with open(os.path.join(SOURCE, "benchmarks", "report"), encoding="utf-8") as file:
            report = file.read()
        for _, name, _ in figures.COLUMNS:
            # Some of the report's names end with what they are told apart by.
            stem = name.split(" ")[0].removesuffix("_60")
            self.assertRegex(report, rf'row\(f?"{stem}["_ ]', name)

    def test_the_commit_says_whether_the_work_tree_differs(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        for command in (["init", "-q"], ["commit", "-q", "--allow-empty", "-m", "first"]):
            subprocess.run(["git", "-C", folder.name, "-c", "user.name=T", "-c", "commit.gpgsign=false",
                            "-c", "user.email=t@example.org", *command], check=True)
        self.assertRegex(figures.commit(folder.name), "^[0-9a-f]{4,}$")
        with open(os.path.join(folder.name, "new"), "w", encoding="utf-8"):
            pass
        self.assertRegex(figures.commit(folder.name), r"^[0-9a-f]{4,}\+$")

    def test_the_version_is_the_projects(self):
        self.assertRegex(figures.version(SOURCE), r"^\d+\.\d+\.\d+$")

    def test_the_machine_is_named_with_its_cores(self):
        self.assertRegex(figures.machine(), rf"^{os.cpu_count()} x \S")


if __name__ == "__main__":
    unittest.main()
