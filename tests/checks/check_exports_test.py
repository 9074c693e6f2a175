#!/usr/bin/env python3
"""Does script/check-exports find what is exported by mistake, and what is not exported?

usage: check_exports_test.py COMPILER
"""
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from tree import TOP, TreeTest

COMPILER = sys.argv[1]

HIDDEN = '__attribute__((visibility("hidden"))) '
HEADER = """#pragma once
#define BIX_EXPORT __attribute__((visibility("default")))
namespace bix {
class BIX_EXPORT Shape {
 public:
  virtual ~Shape();
  void Draw() { Begin(); }
  int Count() const;
 private:
  void Begin();
  __attribute__((visibility("hidden"))) void End();
};
BIX_EXPORT int Free(int number);
}
"""

SOURCE = """#include "bix/bix.h"
namespace bix {
Shape::~Shape() { End(); }
int Shape::Count() const { return 0; }
void Shape::Begin() {}
void Shape::End() {}
int Free(int number) { return number; }
}
"""


class CheckExports(TreeTest):
    def setUp(self):
        super().setUp()
        (self.root / "script").mkdir()
        (self.root / "suite" / "include").mkdir(parents=True)
        for script in ("check-exports", "check-layout"):
            shutil.copy(TOP / "script" / script, self.root / "script")
        self.write("abi/layout.cpp", '#include "bix/bix.h"\nbix::Shape* shape;\n')

    def check(self, source=SOURCE, header=HEADER):
        self.write("include/bix/bix.h", header)
        self.write("lib.cpp", source)
        library = str(self.root / "lib.so")
        subprocess.run([COMPILER, "-fPIC", "-shared", "-I", str(self.root / "include"), "-o",
                        library, str(self.root / "lib.cpp")], check=True)
        result = subprocess.run(
            [sys.executable, "-B", str(self.root / "script" / "check-exports"), library, "g++"],
            stdout=subprocess.PIPE, text=True)
        return result.returncode, result.stdout.splitlines()[:-1]

    def test_what_is_declared_passes(self):
        # Begin() is private, but an inline function calls it.
        self.assertEqual((0, []), self.check())

    def test_finds_a_private_operation(self):
        self.assertEqual((1, ["exported, but not declared for hosts: bix::Shape::End()"]),
                         self.check(header=HEADER.replace(HIDDEN, "")))

    def test_finds_what_no_header_declares(self):
        self.assertEqual((1, ["exported, but not declared for hosts: bix::Forgotten()"]),
                         self.check(SOURCE + "namespace bix { void Forgotten() {} }"))

    def test_finds_a_class_of_no_header(self):
        status, lines = self.check(SOURCE + "struct Own { virtual ~Own(); }; Own::~Own() {}")
        self.assertEqual(1, status)
        self.assertIn("exported, but not declared for hosts: vtable for Own", lines)

    def test_finds_an_operation_that_is_not_exported(self):
        self.assertEqual((1, ["declared, but not exported: bix::Shape::Count() const"]),
                         self.check(header=HEADER.replace("int Count", HIDDEN + "int Count")))

    def test_finds_a_function_that_is_not_exported(self):
        self.assertEqual((1, ["marked BIX_EXPORT, but not exported: Free"]),
                         self.check(SOURCE.replace("int Free(int number) { return number; }", "")))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
