#!/usr/bin/env python3
"""Does tests/support/windows_macros.h have every macro of the layer's headers that is named like an
identifier of ours?

It stands for those headers where they are not installed, so what it lacks would go unnoticed there.

usage: layer_macros_test.py LAYERS_COMPILER OPTION...
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
COMPILER = sys.argv[1:]


def macros(source, *options):
    """The names of the macros that are defined behind a source."""
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "macros.cpp"
        path.write_text(source, encoding="utf-8")
        text = subprocess.run([*COMPILER, "-dM", "-E", *options, str(path)], check=True,
                              stdout=subprocess.PIPE, text=True).stdout
    return set(re.findall(r"^#define (\w+)", text, re.MULTILINE))


def headers():
    yield from sorted((TOP / "include" / "bix").glob("*.h"))
    yield from sorted((TOP / "suite" / "include").glob("*/*.h"))


def identifiers():
    """Every identifier of our headers, outside of comments, texts and directives."""
    found = set()
    for path in headers():
        text = path.read_text(encoding="utf-8")
        text = re.sub(r"//.*|/\*.*?\*/", "", text)
        text = re.sub(r'"(?:[^"\\\n]|\\.)*"', '""', text)
        text = re.sub(r"^[ \t]*#.*", "", text, flags=re.MULTILINE)
        found.update(re.findall(r"\b[A-Za-z_]\w*", text))
    return found


class LayerMacros(unittest.TestCase):
    def test_the_list_has_those_named_like_our_identifiers(self):
        ours = identifiers()
        self.assertIn("FormatMessageA", ours)
        # With the network's header in front, max and min stay macros.
        layer = macros("#include <winsock2.h>\n#include <windows.h>\n#include <winuser.h>\n"
                       "#include <commctrl.h>\n#include <shlobj.h>\n#include <wininet.h>\n")
        self.assertIn("CreateDirectory", layer)
        system = macros('#include "bix/bix.h"\n', "-I%s" % (TOP / "include"),
                        "-I%s" % (TOP / "suite" / "include"))
        listed = macros('#include "support/windows_macros.h"\n', "-I%s" % (TOP / "tests"))
        self.assertIn("FormatMessage", ours & (layer - system))
        self.assertEqual(set(), (ours & (layer - system)) - listed)

    def test_the_list_has_no_function_of_one_spelling(self):
        text = (TOP / "tests" / "support" / "windows_macros.h").read_text(encoding="utf-8")
        doubles = set(re.findall(r"^#define (\w+) \1A$", text, re.MULTILINE))
        self.assertIn("GetObject", doubles)
        self.assertEqual(set(), doubles - macros("#include <winsock2.h>\n#include <windows.h>\n"))

    def test_nothing_in_front_of_the_layers_headers_breaks_them(self):
        ours = "".join('#include "%s"\n' % path.relative_to(path.parents[1]) for path in headers()
                       if not path.name.startswith("hostmacros_"))
        # The network's header goes in front of every header of the system, or gets a prefix.
        for layer in ("#include <windows.h>\n",
                      "#define USE_WS_PREFIX\n#include <winsock2.h>\n#include <windows.h>\n"):
            with self.subTest(layer), tempfile.TemporaryDirectory() as folder:
                path = pathlib.Path(folder) / "order.cpp"
                path.write_text(ours + layer, encoding="utf-8")
                done = subprocess.run(
                    [*COMPILER, "-std=c++17", "-Wall", "-Wextra", "-Werror", "-c", "-o",
                     str(path) + ".o", "-I%s" % (TOP / "include"),
                     "-I%s" % (TOP / "suite" / "include"), str(path)],
                    stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
                self.assertEqual((0, ""), (done.returncode, done.stdout))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
