"""The life of the Debian package on a system with nothing on it: it is installed and records, is
replaced while it records, passes the tests of the whole program, and goes without a trace.

Needs the packages in OLD_PACKAGE (of OLD_VERSION) and NEW_PACKAGE and a folder in ROOTS;
`tools/test-package` gives them."""

import os
import pathlib
import plistlib
import re
import shutil
import signal
import subprocess
import sys
import unittest

from clean_root import CleanRoot

END_TO_END = pathlib.Path(__file__).parent.parent / "e2e"
sys.path.insert(0, str(END_TO_END))
from takebox import (NTSC_FRAME, PAL_FRAME, deck, deck_key, deck_settings,  # noqa: E402
                     size_of, video_packets, wait_until, write_preferences)

HOME = "/home/camera"
START_SECOND_DECK = """
local deck = takebox.decks[2]
if not deck.recording then deck:start() end
"""


class Package(unittest.TestCase):
    def setUp(self):
        self.root = CleanRoot(os.environ["ROOTS"], "package")
        self.addCleanup(self.root.remove)
        self.root.apt_get("update")
        self.root.run("useradd", "--create-home", "--home-dir", HOME, "camera")

    def as_camera(self, *words):
        return self.root.run(*words, user="camera", home=HOME)

    def install(self, package):
        copy = self.root.inside("/root/" + os.path.basename(package))
        shutil.copy(package, copy)
        self.root.apt_get("install", "/root/" + os.path.basename(package))
        return self.root.run("dpkg-query", "-W", "-f", "${Version}", "takebox")

    def test_life(self):
        before = self.files()
        self.assertEqual(self.install(os.environ["OLD_PACKAGE"]), os.environ["OLD_VERSION"])
        self.record_once()
        recorder = self.start_recorder()
        self.record_while_the_package_is_upgraded(recorder)
        self.root.run("dpkg", "--verify", "takebox")
        self.pass_the_tests_of_the_whole_program()
        self.remove(before)

    def record_once(self):
        told = self.as_camera("takebox", "--virtual-deck", "ntsc,name=A", "--virtual-deck",
                                "pal,name=B", "--record", "2", "--to", HOME + "/once")
        self.assertEqual(told.count("nothing lost"), 2, told)
        movies = list(pathlib.Path(self.root.inside(HOME + "/once")).glob("*.mov"))
        self.assertEqual(len(movies), 2)
        for movie in movies:
            self.assertGreaterEqual(len(video_packets(movie)), 50, movie)

    def start_recorder(self):
        """A recorder of the user's; when its first deck records, its script starts the second.
        """
        takes = HOME + "/takes"
        home = self.root.inside(HOME)
        values = {deck_key(number): deck_settings(takes, Recording_Name=name)
                  for number, name in ((1, "One"), (2, "Two"))}
        values["Launch Start Recording Script"] = True
        write_preferences(home, values)
        script = pathlib.Path(home, ".local/share/takebox/Actions/Start Recording.lua")
        script.parent.mkdir(parents=True)
        script.write_text(START_SECOND_DECK, encoding="ascii")
        os.mkdir(self.root.inside(takes))
        self.root.run("chown", "-R", "camera:camera", HOME)
        log = self.root.inside(HOME + "/log")
        with open(log, "wb") as output:
            recorder = subprocess.Popen(
                self.root.command("takebox", "--headless", "--control-port", "0", deck("pal", 1),
                                  deck("ntsc", 2), user="camera", home=HOME),
                stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        self.addCleanup(recorder.kill)

        def port():
            self.assertIsNone(recorder.poll(), pathlib.Path(log).read_text(encoding="utf-8"))
            return re.search(r"Starting server on port (\d+)",
                             pathlib.Path(log).read_text(encoding="utf-8"))

        self.address = "localhost:" + wait_until(port, "the control port")[1]
        return recorder

    def ask(self, *words):
        return self.as_camera("takebox", "--remote", self.address, *words).strip()

    def take(self, name):
        return self.root.inside(f"{HOME}/takes/{name}/{name}.dv")

    def record_while_the_package_is_upgraded(self, recorder):
        self.assertEqual(self.ask("record", "1"), "OK")
        wait_until(lambda: size_of(self.take("Two")) > NTSC_FRAME, "the script to start deck 2")
        self.assertGreater(self.install(os.environ["NEW_PACKAGE"]), os.environ["OLD_VERSION"])
        upgraded = {name: size_of(self.take(name)) for name in ("One", "Two")}
        for name, size in upgraded.items():
            wait_until(lambda: size_of(self.take(name)) > size, f"{name} to go on")
        self.assertEqual(self.ask("stop", "1"), "OK")
        recorder.send_signal(signal.SIGTERM)
        self.assertEqual(recorder.wait(60), 0)
        for name, frame in (("One", PAL_FRAME), ("Two", NTSC_FRAME)):
            frames = video_packets(self.take(name))
            self.assertEqual(size_of(self.take(name)), len(frames) * frame)
            movie = self.root.inside(f"{HOME}/takes/{name}.mov")
            self.assertEqual(video_packets(movie), frames)
        with open(self.root.inside(HOME + "/Library/Preferences/"
                                   "com.marvanemedia.TakeboxDV.plist"), "rb") as file:
            self.assertEqual(plistlib.load(file)[deck_key(1)]["Recording Name"], "One")

    def pass_the_tests_of_the_whole_program(self):
        """The end-to-end tests, of which the program lies in the clean system."""
        program = os.path.join(os.environ["ROOTS"], "takebox")
        with open(program, "w", encoding="utf-8") as file:
            file.write(f'#!/bin/sh\nexec chroot "{self.root.path}" takebox "$@"\n')
        os.chmod(program, 0o755)
        for name in ("lifecycle_test", "recording_test", "remote_test", "scheduling_test"):
            done = subprocess.run([sys.executable, "-B", "-m", "unittest", name], cwd=END_TO_END,
                                  env={**os.environ, "TAKEBOX": program}, capture_output=True,
                                  text=True, check=False)
            print(f"{name}: {done.stderr.strip().splitlines()[-1]}")
            self.assertEqual(done.returncode, 0, done.stderr)

    def remove(self, before):
        mine = self.files(HOME)
        self.root.apt_get("purge", "takebox")
        left = {path for path in self.files() - before
                if "takebox" in path[len(self.root.path):].lower()}
        # apt keeps what it was given; the rest is the user's.
        self.assertEqual(left, set())
        self.assertEqual(self.files(HOME), mine)
        self.root.apt_get("autoremove", "--purge")

    def files(self, below="/", without=("home", "root", "tmp", "proc")):
        """Files of the system or of a folder."""
        found = set()
        for folder, folders, names in os.walk(self.root.inside(below)):
            if folder == self.root.inside("/"):
                folders[:] = [name for name in folders if name not in without]
            found.update(os.path.join(folder, name) for name in names)
        return found


if __name__ == "__main__":
    unittest.main()
