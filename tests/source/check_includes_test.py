#!/usr/bin/python3
"""scripts/check-includes on small trees: check_includes_test.py PROGRAM"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop()


class Tree(unittest.TestCase):
    def check(self, files):
        """Puts lines of includes into files; returns the status and what was complained of."""
        with tempfile.TemporaryDirectory() as folder:
            for name, includes in files.items():
                path = pathlib.Path(folder, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text("".join(f'#include "{one}"\n' for one in includes), "utf-8")
            done = subprocess.run([PROGRAM, folder], stderr=subprocess.PIPE, text=True, check=False)
            return done.returncode, done.stderr

    def test_includes_that_point_down_are_allowed(self):
        self.assertEqual(
            self.check({
                "base/error.h": [],
                "keys/key_encoding.cpp": ["keys/key_encoding.h", "base/error.h"],
                "host/check/check_command.cpp": ["host/report/report.h", "run/run_driver.h"],
            }), (0, ""))

    def test_include_that_points_up_is_named(self):
        status, complaint = self.check({"keys/key_encoding.cpp": ["verify/leak_check.h"]})
        self.assertEqual(status, 1)
        self.assertEqual(complaint, "keys/key_encoding.cpp includes verify/leak_check.h: "
                         "keys must not know verify\n")

    def test_folders_beside_each_other_do_not_know_each_other(self):
        for source, target in (("verify/a.cpp", "dump/b.h"), ("host/diff/a.h", "host/explain/b.h"),
                               ("lab/a.cpp", "base/b.h"), ("host/check/a.cpp", "host/diff/b.h")):
            with self.subTest(source=source):
                self.assertEqual(self.check({source: [target]})[0], 1)

    def test_folder_that_nobody_knows_is_named(self):
        self.assertIn("which is in no folder of the table",
                      self.check({"base/a.cpp": ["tests/b.h"]})[1])

    def test_include_in_brackets_counts_too(self):
        files = {"keys/a.cpp": [], "verify/leak_check.h": []}
        with tempfile.TemporaryDirectory() as folder:
            for name in files:
                path = pathlib.Path(folder, name)
                path.parent.mkdir(parents=True)
                path.write_text("#include <vector>\n", "utf-8")
            source = pathlib.Path(folder, "keys/a.cpp")
            source.write_text("#include <verify/leak_check.h>\n", "utf-8")
            done = subprocess.run([PROGRAM, folder], stderr=subprocess.PIPE, text=True, check=False)
        complaint = "keys/a.cpp includes verify/leak_check.h: keys must not know verify\n"
        self.assertEqual((done.returncode, done.stderr), (1, complaint))

    def test_source_in_a_folder_without_a_row_is_named(self):
        for name in ("host/newroom/a.cpp", "newfolder/a.h"):
            with self.subTest(name=name):
                complaint = f"{name} is in no folder of the table\n"
                self.assertEqual(self.check({name: []}), (1, complaint))

    def test_circle_inside_a_folder_is_named(self):
        status, complaint = self.check({
            "json/a.h": [],
            "json/a.cpp": ["json/a.h", "json/b.h"],
            "json/b.h": ["json/a.h"],
        })
        self.assertEqual(status, 1)
        self.assertEqual(complaint, "a circle of includes: json/a -> json/b -> json/a\n")

    def test_empty_tree_is_no_success(self):
        self.assertEqual(self.check({})[0], 1)


if __name__ == "__main__":
    unittest.main()
