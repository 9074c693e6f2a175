#!/usr/bin/env python3
"""Does script/check-headers find headers that do not compile alone, or not without a warning?

usage: check_headers_test.py COMPILER
"""
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from tree import TOP, TreeTest

COMPILER = sys.argv[1]


class CheckHeaders(TreeTest):
    def setUp(self):
        super().setUp()
        (self.root / "script").mkdir()
        shutil.copy(TOP / "script" / "check-headers", self.root / "script")
        (self.root / "tests" / "support").mkdir(parents=True)
        shutil.copy(TOP / "tests" / "support" / "windows_macros.h", self.root / "tests" / "support")
        self.write("include/bix/good.h", "#include <string>\ninline int Two() { return 2; }\n")
        self.write("suite/include/qv/good.h", "struct Good {};\n")

    def result(self):
        done = subprocess.run([str(self.root / "script" / "check-headers"), COMPILER],
                              stderr=subprocess.PIPE, text=True)
        return done.returncode, done.stderr

    def expect_failure(self, header, options):
        status, errors = self.result()
        self.assertNotEqual(0, status)
        self.assertIn("check-headers: %s fails with: %s %s" % (header, COMPILER, options), errors)

    def test_headers_in_order_pass(self):
        self.assertEqual((0, ""), self.result())

    def test_finds_a_header_that_needs_another(self):
        self.write("include/bix/bad.h", "inline std::string Bad() { return std::string(); }\n")
        self.expect_failure("bix/bad.h", "-std=c++17")

    def test_finds_a_warning(self):
        self.write("suite/include/qv/bad.h", "inline char Bad(int byte) { return byte; }\n")
        self.expect_failure("qv/bad.h", "-std=c++17")

    def test_finds_what_is_newer_than_the_oldest_standard(self):
        self.write("include/bix/bad.h", "#include <concepts>\n"
                   "template <std::integral T> T Bad(T number) { return number; }\n")
        self.expect_failure("bix/bad.h", "-std=c++17")

    def test_finds_what_is_older_than_the_newest_standard(self):
        self.write("include/bix/bad.h", "struct Bad { int concept; };\n")
        self.expect_failure("bix/bad.h", "-std=c++20")

    def test_finds_what_a_macro_of_a_windows_header_breaks(self):
        self.write("include/bix/bad.h",
                   "inline void LoadStringA() {}\ninline void LoadString() {}\n")
        self.expect_failure("bix/bad.h", "-std=c++17 -include")

    def test_finds_a_declaration_that_a_macro_of_a_windows_header_renames(self):
        self.write("include/bix/bad.h", "int LoadString(int);\n")
        status, errors = self.result()
        self.assertNotEqual(0, status)
        self.assertIn("< int LoadString(int);", errors)
        self.assertIn("> int LoadStringA(int);", errors)
        self.assertIn("check-headers: declarations differ behind", errors)

    def test_takes_a_declaration_that_is_kept_from_a_macro(self):
        self.write("include/bix/careful.h", "#pragma push_macro(\"LoadString\")\n"
                   "#undef LoadString\nint LoadString(int);\n#pragma pop_macro(\"LoadString\")\n")
        self.assertEqual((0, ""), self.result())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
