"""A clone of the repository on a system with nothing on it: `./run` installs what it needs, builds
and records, as the README says. A second time it takes seconds.

Needs a folder in ROOTS; `tools/test-package --clone` gives it."""

import os
import pathlib
import subprocess
import time
import unittest

from clean_root import CleanRoot

REPOSITORY = pathlib.Path(__file__).parent.parent.parent


class FreshClone(unittest.TestCase):
    def setUp(self):
        self.root = CleanRoot(os.environ["ROOTS"], "clone")
        self.addCleanup(self.root.remove)
        subprocess.run(["git", "clone", "-q", REPOSITORY, self.root.inside("/root/takebox")],
                       check=True)

    def timed_run(self, *arguments):
        begin = time.monotonic()
        told = self.root.run("/root/takebox/run", *arguments)
        return told, time.monotonic() - begin

    def test_run_needs_nothing_but_the_clone(self):
        told, seconds = self.timed_run()
        print(f"./run: {seconds:.0f} s")
        self.assertIn("nothing lost", told)
        self.assertTrue(list(pathlib.Path(self.root.inside("/root/takebox/build/recordings"))
                             .glob("*.mov")))
        told, seconds = self.timed_run("--version")
        print(f"./run again: {seconds:.1f} s")
        self.assertIn("Takebox DV", told)


if __name__ == "__main__":
    unittest.main()
