#!/usr/bin/env python3
"""Do script/check-abi and script/check-layout find what breaks hosts?

usage: check_abi_test.py COMPILER
"""
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from tree import TOP, TreeTest

COMPILER = sys.argv[1]

HEADER = """#pragma once
namespace bix {
struct Pair { int first; int second; };
enum Colour { Red = 1, Green = 2 };
class Shape {
 public:
  enum { Small = 3 };
  static const int kMost = 7;
  virtual void Draw(int size);
  virtual int Count() const;
 private:
  char m_kind;
  void* m_owner;
};
}
"""


class CheckExports(TreeTest):
    def build(self, source):
        self.write("lib.cpp", source)
        self.library = str(self.root / "lib.so")
        subprocess.run([COMPILER, "-fPIC", "-shared", "-nostdlib", "-o", self.library,
                        str(self.root / "lib.cpp")], check=True)

    def check(self, *options):
        return subprocess.run([str(TOP / "script" / "check-abi"), *options, self.library,
                               str(self.root / "list")], stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, text=True)

    def setUp(self):
        super().setUp()
        self.build("int One() { return 1; } int g_two;")
        self.assertEqual(0, self.check("--update").returncode)

    def test_the_same_names_pass(self):
        self.assertEqual("_Z3Onev\tOne()\ng_two\tg_two\t0x4\n", (self.root / "list").read_text())
        self.assertEqual(0, self.check().returncode)

    def test_finds_a_name_that_is_gone(self):
        self.build("int One() { return 1; }")
        result = self.check()
        self.assertEqual(1, result.returncode)
        self.assertIn("-g_two\t", result.stdout)

    def test_finds_an_object_of_another_size(self):
        self.build("int One() { return 1; } int g_two[2];")
        result = self.check()
        self.assertEqual(1, result.returncode)
        self.assertIn("-g_two\tg_two\t0x4\n+g_two\tg_two\t0x8", result.stdout)

    def test_finds_a_new_name(self):
        self.build("int One(int) { return 1; } int One() { return 1; } int g_two;")
        result = self.check()
        self.assertEqual(1, result.returncode)
        self.assertIn("+_Z3Onei\tOne(int)", result.stdout)


class CheckLayout(TreeTest):
    def setUp(self):
        super().setUp()
        (self.root / "script").mkdir()
        (self.root / "suite" / "include").mkdir(parents=True)
        shutil.copy(TOP / "script" / "check-layout", self.root / "script")
        self.write("include/bix/bix.h", HEADER)
        self.write("abi/layout.cpp", '#include "bix/bix.h"\nbix::Colour colour;\nauto small = bix::Shape::Small;\n'
                                     "bix::Shape* shape;\nbix::Pair* pair;\n")
        self.assertEqual(0, self.check("--update").returncode)

    def check(self, *options):
        return subprocess.run(
            [sys.executable, "-B", str(self.root / "script" / "check-layout"), *options,
             str(self.root / "list"), COMPILER],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)

    def expect(self, old, new, *parts):
        self.write("include/bix/bix.h", HEADER.replace(old, new))
        result = self.check()
        self.assertEqual(1, result.returncode)
        for part in parts:
            self.assertIn(part, result.stdout)

    def test_the_same_layout_passes(self):
        self.assertIn("  at 4: second", (self.root / "list").read_text())
        self.assertIn("  slot 1: bix::Shape::Count() const", (self.root / "list").read_text())
        self.assertEqual(0, self.check().returncode)

    def test_finds_members_in_another_order(self):
        self.expect("int first; int second;", "int second; int first;", "-  at 4: second",
                    "+  at 4: first")

    def test_finds_a_member_of_another_size(self):
        self.expect("int first;", "long long first;", "-class bix::Pair, size 8",
                    "+  at 8: second")

    def test_finds_operations_in_another_order(self):
        self.expect("  virtual void Draw(int size);\n  virtual int Count() const;\n",
                    "  virtual int Count() const;\n  virtual void Draw(int size);\n",
                    "+  slot 1: bix::Shape::Draw(int)")

    def test_finds_another_parameter(self):
        self.expect("Draw(int size)", "Draw(long size)", "+  slot 0: bix::Shape::Draw(long)")

    def test_finds_another_result(self):
        self.expect("virtual void Draw", "virtual Pair* Draw",
                    "-  slot 0: bix::Shape::Draw(int) -> void",
                    "+  slot 0: bix::Shape::Draw(int) -> bix::Pair*")

    def test_finds_a_new_operation_in_front(self):
        self.expect(" public:\n", " public:\n  virtual ~Shape();\n",
                    "+  slot 0: bix::Shape::~Shape()", "+  slot 2: bix::Shape::Draw(int)")

    def test_finds_a_destructor_behind(self):
        self.expect(" private:\n", "  virtual ~Shape();\n private:\n",
                    "+  slot 2: bix::Shape::~Shape()")

    def test_finds_another_value_of_an_enumeration(self):
        self.expect("Green = 2", "Green = 3", "-  Green = 2", "+  Green = 3")
        self.expect("Small = 3", "Small = 4", "-  Small = 3", "+  Small = 4")

    def test_finds_an_enumeration_of_another_size(self):
        self.expect("enum Colour", "enum Colour : short", "+enumeration bix::Colour, size 2")

    def test_finds_another_constant(self):
        self.expect("kMost = 7", "kMost = 8", "-  constant kMost = 7", "+  constant kMost = 8")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
