#!/usr/bin/env python3
"""Does script/check-quotes find code that is not that of a source?

usage: check_quotes_test.py
"""
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from tree import TOP, TreeTest

SOURCE = "#include <cstdio>\n\nvoid Say() {\n  std::puts(\"text\");\n}\n"
QUOTE = "void Say() {\n  std::puts(\"text\");\n}\n"


class CheckQuotes(TreeTest):
    def check(self, page):
        (self.root / "script").mkdir()
        shutil.copy(TOP / "script" / "check-quotes", self.root / "script")
        self.write("examples/say/say.cpp", SOURCE)
        self.write("docs/page.md", page)
        return subprocess.run(
            [sys.executable, "-B", str(self.root / "script" / "check-quotes"), "docs/page.md"],
            stdout=subprocess.PIPE, text=True)

    def test_what_a_source_holds_passes(self):
        self.assertEqual(0, self.check("Text\n\n```cpp\n" + QUOTE + "```\n").returncode)

    def test_finds_another_line(self):
        result = self.check("Text\n\n```cpp\n" + QUOTE.replace("text", "texts") + "```\n")
        self.assertEqual(1, result.returncode)
        self.assertIn("docs/page.md:3: no source holds this code", result.stdout)

    def test_finds_that_nothing_is_quoted(self):
        self.assertEqual(1, self.check("Text\n").returncode)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
