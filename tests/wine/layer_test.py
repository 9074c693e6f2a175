#!/usr/bin/env python3
"""Is the library a good guest inside programs of a Windows-compatibility layer?

The programs are those of this folder. They run with the layer's own loader, without a display, in a
configuration that is made for this run and removed with it. Whatever the layer has started is a
descendant of this process, and is gone when it ends.

usage: layer_test.py LOADER SERVER FOLDER_OF_PROGRAMS LIBRARY [TEST...]
"""
import ctypes
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import typing
import unittest

LOADER, SERVER, PROGRAMS, LIBRARY = sys.argv[1:5]

# Making the configuration takes seconds on an idle machine.
START_LIMIT = 300
RUN_LIMIT = 120

TEXT = "Grüße € 日本"


class Result(typing.NamedTuple):
    status: int
    output: str
    errors: str


def read(file):
    file.seek(0)
    return file.read().decode("utf-8")


class Layer:
    """A configuration of the layer of this run's own, and a home directory beside it."""

    def __init__(self):
        # The layer's services are no children of what is started here, and are to become ours when
        # they are left: PR_SET_CHILD_SUBREAPER.
        if ctypes.CDLL(None, use_errno=True).prctl(36, 1, 0, 0, 0) != 0:
            raise OSError(ctypes.get_errno(), "prctl")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="layer-", dir=PROGRAMS))
        self.home = self.folder / "home"
        self.home.mkdir()
        (self.folder / "prefix").mkdir()
        # Nothing else of ours: no display, and no settings of the layer or the library.
        self.environment = {
            "PATH": os.environ["PATH"],
            "HOME": str(self.home),
            "LC_ALL": "C.UTF-8",
            "WINEPREFIX": str(self.folder / "prefix"),
            "WINESERVER": SERVER,
            "WINEDEBUG": "-all",
            # Neither questions about what could be installed, nor entries in menus.
            "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d",
        }

    def start(self):
        """Makes the configuration. Its server stays from one program to the next."""
        subprocess.run([SERVER, "-p%d" % START_LIMIT], env=self.environment, timeout=RUN_LIMIT,
                       check=True)
        done = self.run("layer_loading_host.exe.so", limit=START_LIMIT)
        if done.status != 2:  # it lacks its argument
            raise RuntimeError("the layer does not start:\n" + done.errors)

    def run(self, program, *arguments, limit=RUN_LIMIT, environment=None):
        # Into files: the services of the layer that the program starts keep its output open.
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
            status = subprocess.run(
                [LOADER, os.path.join(PROGRAMS, program), *arguments],
                env={**self.environment, **(environment or {})}, cwd=self.folder,
                stdin=subprocess.DEVNULL, stdout=output, stderr=errors, timeout=limit,
                check=False).returncode
            return Result(status, *(read(file) for file in (output, errors)))

    def end(self):
        """Ends what runs in this configuration, and says which processes stayed all the same."""
        for option in ("-k", "-w"):
            subprocess.run([SERVER, option], env=self.environment, timeout=RUN_LIMIT, check=False)
        return self.wait_for_descendants()

    @staticmethod
    def wait_for_descendants():
        limit = time.monotonic() + 20
        while True:
            try:
                pid, _ = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                return []
            if pid != 0:
                continue
            if time.monotonic() > limit:
                break
            # The end of a child wakes this up; the time is for the one that ends just now.
            signal.sigtimedwait([signal.SIGCHLD], 0.1)
        left = []
        while found := children():
            for child in found:
                os.kill(child, signal.SIGKILL)
                os.waitpid(child, 0)
            left += found
        return left

    def remove(self):
        shutil.rmtree(self.folder, ignore_errors=True)


def children():
    """The processes whose parent this one is."""
    found = []
    for status in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            parent = status.read_text().rpartition(")")[2].split()[1]
        except (OSError, IndexError):
            continue
        if int(parent) == os.getpid():
            found.append(int(status.parent.name))
    return found


LAYER = None


def setUpModule():
    global LAYER
    signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGCHLD])
    LAYER = Layer()
    try:
        LAYER.start()
    except BaseException:
        tearDownModule()
        raise


def tearDownModule():
    left = LAYER.end()
    LAYER.remove()
    if left:
        raise RuntimeError("left running: %s" % left)


class HostTest(unittest.TestCase):
    maxDiff = None
    program = "layer_host.exe.so"

    def expect(self, arguments, output, errors="", status=0, **more):
        done = LAYER.run(self.program, *arguments, **more)
        self.assertEqual((status, output, errors), tuple(done))


class Options(HostTest):
    def setUp(self):
        self.root = tempfile.TemporaryDirectory(prefix="Straße-", dir=LAYER.folder)
        self.addCleanup(self.root.cleanup)
        self.file = pathlib.Path(self.root.name) / "tools" / "Shared" / "user.tot"
        self.file.parent.mkdir(parents=True)
        (self.file.parent / "init.tot").write_text(
            '\n[Initial/Predefined]\n\n"OptionFiles"="user.tot" \n', encoding="utf-8")

    def test_are_loaded_changed_and_saved_with_what_belongs_to_others(self):
        self.file.write_text(
            '\n[Editor/Display]\n\n"Font"="Schön 12" \n\n[Other/Größe]\n\n"Breite"="25" \n',
            encoding="utf-8")
        for title in ("none", TEXT):
            with self.subTest(title):
                self.expect(["options"],
                            "font Schön 12\ntitle %s\nset 1\nsaved 0\n" % title,
                            environment={"ZROOT": self.root.name})
        text = self.file.read_text(encoding="utf-8")
        self.assertIn('"Title"="%s"' % TEXT, text)
        self.assertIn('"Font"="Schön 12"', text)
        self.assertIn("[Other/Größe]", text)
        self.assertIn('"Breite"="25"', text)
        self.assertEqual({"init.tot", "user.tot"}, set(os.listdir(self.file.parent)))


class Messages(HostTest):
    def test_numbered_texts_of_the_program_go_through_the_channels(self):
        self.expect(["messages"],
                    "0 unchanged\n"
                    "1 %1 von %2 Straßen\n"
                    "3 von 7 Straßen\n"
                    "| " + TEXT + " von 8 Straßen\n"
                    "4 mal " + TEXT + "\n"
                    "abc-7\n"
                    "own 11\n"
                    "0\n",
                    "Internal error: " + TEXT + "\n")

    def test_what_was_not_flushed_is_shown_however_the_process_ends(self):
        self.expect(["return"], "left in the channel", status=7)
        self.expect(["exit"], "left in the channel", status=8)


class Children(HostTest):
    def test_give_output_status_and_time_out_and_inherit_nothing_of_the_layer(self):
        # Descriptor 3 is the directory that is being listed.
        self.expect(["children"],
                    "status 0x300: " + TEXT + "error\n"
                    "out of time: state 2\n"
                    "killed: status 9\n"
                    "descriptors: 0 1 2 3\n"
                    "caught signals: 0000000000000000\n")


class Text(HostTest):
    def test_is_the_same_in_the_library_and_the_layer(self):
        self.expect(["text", TEXT],
                    "locale C.UTF-8\n"
                    "to wide 1\n"
                    "bytes " + TEXT + "\n"
                    "through the layer " + TEXT + "\n"
                    "argument " + TEXT + "\n"
                    "argument of main the same: 0\n")


class Surroundings(HostTest):
    def test_are_those_of_the_system(self):
        self.expect(["surroundings"],
                    "variable of the layer: none\n"
                    "variable of the system: " + TEXT + "\n"
                    "handle: 1\n"
                    "directories: C:\\windows and " + str(LAYER.folder) + "\n")


class Threads(HostTest):
    def test_of_the_layer_use_the_library_while_its_exceptions_work(self):
        self.expect(["threads"],
                    "out of time: state 2\n"
                    "threads 4, exceptions 20\n"
                    "after threads: signals compared, some caught 1\n")


class AddIn(HostTest):
    def test_has_an_entry_of_its_own(self):
        self.expect(["add-in", "Z:" + os.path.join(PROGRAMS, "layer_addin.dll.so")],
                    "add-in: attached 1\n"
                    "add-in: My Projects\n"
                    "host: 42\n"
                    "add-in: detached\n"
                    "own 11\n")


class Loading(HostTest):
    program = "layer_loading_host.exe.so"

    def test_and_closing_leaves_the_signal_handlers_of_the_layer_alone(self):
        self.expect([LIBRARY],
                    "before: exceptions 1\n" +
                    "".join("%s: signals compared, some caught 1\n"
                            "%s: exceptions 1\n"
                            "%s: My Projects\n"
                            "%s: gone\n" % (round, round, round, round)
                            for round in ("first", "second")) +
                    "after: signals compared, some caught 1\n"
                    "after: exceptions 1\n")


class ShortWideCharacters(HostTest):
    """As the layer's compiler compiles by itself."""
    program = "layer_host_short.exe.so"

    def test_leave_the_other_texts_as_they_are(self):
        self.expect(["text", TEXT],
                    "locale C.UTF-8\n"
                    "no wide text\n"
                    "bytes " + TEXT + "\n"
                    "through the layer " + TEXT + "\n"
                    "argument " + TEXT + "\n"
                    "argument of main the same: 0\n")
        self.expect(["threads"],
                    "out of time: state 2\n"
                    "threads 4, exceptions 20\n"
                    "after threads: signals compared, some caught 1\n")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]])
