#!/usr/bin/env python3
"""Does script/check-layers find includes that go up?"""
import sys
import unittest

sys.dont_write_bytecode = True
from tree import TreeTest, load

check_layers = load("check-layers")


class CheckLayers(TreeTest):
    def setUp(self):
        super().setUp()
        self.write("include/bix/text.h", '#include <string>\n#include "bix/export.h"\n')
        self.write("src/text/text.cpp", '#include "bix/text.h"\n#include "text/format.h"\n')
        self.write("src/library.cpp", '#include "options/save.h"\n')

    def errors(self):
        return check_layers.check(self.root)[0]

    def expect(self, *parts):
        errors = self.errors()
        self.assertEqual(1, len(errors), errors)
        for part in parts:
            self.assertIn(part, errors[0])

    def test_a_tree_in_order_has_no_error(self):
        self.assertEqual([], self.errors())

    def test_finds_an_include_of_a_public_header_above(self):
        self.write("src/text/format.h", '\n#  include "bix/messages.h"\n')
        self.expect("src/text/format.h:2", "(text) includes bix/messages.h (diag)")

    def test_finds_an_include_in_angle_brackets(self):
        self.write("src/text/format.h", "#include <bix/options.h>\n")
        self.expect("includes bix/options.h (options)")

    def test_finds_an_include_of_an_internal_header_above(self):
        self.write("include/bix/registry.h", '#include "resources/own_texts.h"\n')
        self.expect("include/bix/registry.h:1", "resources/own_texts.h (resources)")

    def test_a_file_may_stand_above_its_folder(self):
        self.write("src/paths/globfilter.cpp", '#include "resources/own_texts.h"\n')
        self.assertEqual([], self.errors())

    def test_finds_an_include_of_a_file_that_stands_above_its_folder(self):
        self.write("src/paths/pathname.cpp", '#include "paths/compiled_filter.h"\n')
        self.expect("(paths) includes paths/compiled_filter.h (files)")

    def test_finds_a_header_that_is_not_assigned(self):
        self.write("include/bix/novelty.h", "")
        self.expect("include/bix/novelty.h: belongs to no subsystem")

    def test_finds_a_stray_source(self):
        self.write("src/stray.cpp", "")
        self.expect("src/stray.cpp: belongs to no subsystem")

    def test_finds_nothing_in_an_empty_tree_but_that(self):
        for name in ("include/bix/text.h", "src/text/text.cpp", "src/library.cpp"):
            (self.root / name).unlink()
        self.expect("no include found")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
