#!/usr/bin/env python3
"""Does script/check-process-state see every writable object of a library and compare both ways?

usage: check_process_state_test.py COMPILER
"""
import contextlib
import io
import shlex
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from tree import TreeTest, load

check = load("check-process-state")
COMPILER = shlex.split(sys.argv[1])

SOURCE = """
#include <string>
namespace lib {
namespace { int s_hidden; thread_local int s_thread = 3; }
int visible = 4;
extern const int kFixed = 5;
extern const char* const kNames[] = {"a", "b"};
struct Base { virtual ~Base() {} };
Base* New() { return new Base; }
int Count(int step) { static int s_count = 1; s_hidden += step; return s_count += s_thread += step; }
const std::string& Text() { static std::string& s_text = *new std::string; return s_text; }
}
"""
LIST = """# Process-wide state
| name | what |
|---|---|
| `s_hidden` | a |
| `lib::s_thread` | b |
| `visible` | c |
| `Count::s_count` | d |
| `lib::Text()::s_text` | e |
"""


class CheckProcessState(TreeTest):
    def setUp(self):
        super().setUp()
        self.write("lib.cpp", SOURCE)
        self.library = str(self.root / "lib.so")
        subprocess.run(COMPILER + ["-O1", "-fPIC", "-shared", "-fno-gnu-unique", "-o",
                                   self.library, str(self.root / "lib.cpp")], check=True)

    def result(self, text):
        self.write("list.md", text)
        errors = io.StringIO()
        with contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(errors):
            status = check.main([self.library, str(self.root / "list.md")])
        return status, errors.getvalue()

    def test_the_right_list_has_no_error(self):
        self.assertEqual((0, ""), self.result(LIST))

    def test_finds_each_object_that_is_not_listed(self):
        for row in LIST.splitlines()[3:]:
            with self.subTest(row):
                status, errors = self.result(LIST.replace(row + "\n", ""))
                self.assertEqual(1, status)
                self.assertIn("no row for lib::", errors)
                self.assertEqual(1, errors.count("\n"))

    def test_finds_a_row_without_an_object(self):
        status, errors = self.result(LIST + "| `s_gone` | f |\n")
        self.assertEqual(1, status)
        self.assertIn("list.md:9: the library has no writable object s_gone", errors)

    def test_finds_a_second_row(self):
        status, errors = self.result(LIST + "| `visible` | again |\n")
        self.assertEqual(1, status)
        self.assertIn("second row for visible", errors)

    def test_does_not_take_a_stripped_library(self):
        subprocess.run(["strip", self.library], check=True)
        self.assertEqual(1, self.result("")[0])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
