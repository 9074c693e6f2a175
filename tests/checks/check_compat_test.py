#!/usr/bin/env python3
"""Does script/check-compat find each kind of difference, and none where there is none?"""
import sys
import unittest

sys.dont_write_bytecode = True
from tree import TreeTest, load

check_compat = load("check-compat")

LIST = """# Compatibility list

| mark | what happens | why | test |
|---|---|---|---|
| COMPAT(glob-bracket) | "]" is escaped \\| twice | hosts | GlobCompat.Twice |
| CHOICE(no-file) | nothing | left open | Files.AreOptional, Files.StayAway |
"""
SOURCE = """int a;  // counts
// COMPAT(glob-bracket): "]" is escaped twice.
// Required by existing hosts. Test: GlobCompat.Twice
int b;
// CHOICE(no-file): nothing happens, unlike with COMPAT(glob-bracket). Tests:
// Files.AreOptional, Files.StayAway
int c;
"""
TESTS = """TEST(GlobCompat, Twice) {}
TEST_F(Files, AreOptional) {}
TEST_P(Files, StayAway) {}
TEST(Files, Other) {}
"""


class CheckCompat(TreeTest):
    def setUp(self):
        super().setUp()
        self.write("docs/compatibility.md", LIST)
        self.write("src/paths/glob.cpp", SOURCE)
        self.write("tests/paths/glob_test.cpp", TESTS)
        self.write("tests/paths/CMakeLists.txt", "bix_add_tests(a SOURCES glob_test.cpp)\n")

    def errors(self):
        return check_compat.Check(self.root).run()

    def expect(self, *parts):
        errors = self.errors()
        self.assertEqual(1, len(errors), errors)
        for part in parts:
            self.assertIn(part, errors[0])

    def test_a_tree_in_order_has_no_error(self):
        self.assertEqual([], self.errors())

    def test_finds_a_mark_without_a_row(self):
        self.write("include/bix/a.h",
                   "// COMPAT(new-one): odd. Test: GlobCompat.Twice\n")
        self.expect("include/bix/a.h:1", "COMPAT(new-one) has no row")

    def test_finds_a_row_without_a_mark(self):
        self.write("docs/compatibility.md", LIST + "| CHOICE(gone) | a | b | Files.Other |\n")
        self.expect("docs/compatibility.md:7", "CHOICE(gone) is marked nowhere")

    def test_finds_a_mark_without_a_test(self):
        self.write("src/paths/glob.cpp", SOURCE.replace("Test: GlobCompat.Twice", ""))
        self.assertIn("COMPAT(glob-bracket) names no test", self.errors()[0])

    def test_finds_a_test_that_does_not_exist(self):
        self.write("tests/paths/glob_test.cpp", TESTS.replace("StayAway", "Stay"))
        self.expect("src/paths/glob.cpp:5", "names Files.StayAway, which does not exist")

    def test_finds_other_tests_in_the_row(self):
        self.write("docs/compatibility.md", LIST.replace(", Files.StayAway", ", Files.Other"))
        self.expect("the row names Files.AreOptional, Files.Other, "
                    "the source Files.AreOptional, Files.StayAway")

    def test_finds_a_row_with_an_empty_cell(self):
        self.write("docs/compatibility.md", LIST.replace("| left open |", "| |"))
        self.expect("four cells")

    def test_finds_a_second_row(self):
        self.write("docs/compatibility.md", LIST + LIST.splitlines()[-1] + "\n")
        self.expect("CHOICE(no-file): second row")

    def test_finds_a_compat_mark_outside_of_the_compat_suites(self):
        for name, text in (("src/paths/glob.cpp", SOURCE), ("tests/paths/glob_test.cpp", TESTS),
                           ("docs/compatibility.md", LIST)):
            self.write(name, text.replace("GlobCompat.", "Glob.").replace("GlobCompat,", "Glob,"))
        self.expect("COMPAT(glob-bracket): no test of it is in a suite that ends in Compat")

    def test_finds_a_compat_suite_that_pins_nothing(self):
        self.write("tests/paths/glob_test.cpp", TESTS + "TEST(MoreCompat, Case) {}\n")
        self.expect("no mark names a test of the suite MoreCompat")

    def test_finds_tests_that_are_not_built(self):
        self.write("tests/paths/CMakeLists.txt", "bix_add_tests(a SOURCES the_glob_test.cpp)\n")
        errors = self.errors()
        self.assertEqual("tests/paths/glob_test.cpp: belongs to no test program", errors[0])
        self.assertIn("names GlobCompat.Twice, which does not exist", errors[-1])
        self.write("tests/CMakeLists.txt", "bix_add_tests(a SOURCES ../tests/paths/glob_test.cpp)\n")
        self.assertEqual([], self.errors())

    def test_finds_a_reference_to_nowhere(self):
        self.write("src/a.cpp", "// See COMPAT(elsewhere) for the reason.\n")
        self.expect("src/a.cpp:1", "refers to COMPAT(elsewhere)")

    def test_finds_a_mark_that_is_no_line_comment(self):
        self.write("src/a.cpp", "/* COMPAT(glob-bracket): odd. Test: GlobCompat.Twice */\n")
        self.expect("outside of a // comment")

    def test_ends_with_a_failure_when_there_is_an_error(self):
        self.assertEqual(0, check_compat.main([str(self.root)]))
        self.write("docs/compatibility.md", "")
        self.assertEqual(1, check_compat.main([str(self.root)]))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
