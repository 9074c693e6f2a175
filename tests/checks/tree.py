"""What the tests of the checks share: a small source tree, and the check as a module."""
import importlib.machinery
import importlib.util
import pathlib
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]


def load(script):
    """The check script/<script> as a module."""
    loader = importlib.machinery.SourceFileLoader(
        script.replace("-", "_"), str(TOP / "script" / script))
    module = importlib.util.module_from_spec(
        importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


class TreeTest(unittest.TestCase):
    """Each test has a tree of its own, filled with files by write()."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
