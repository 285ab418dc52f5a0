"""What the documents say is so: their links lead somewhere, their ffmpeg commands work, and the
messages that they explain are the program's."""

import glob
import os
import pathlib
import re
import subprocess
import sys
import unittest

REPOSITORY = pathlib.Path(__file__).parent.parent.parent
sys.path.insert(0, str(REPOSITORY / "tests/e2e"))
from takebox import TakeboxTest, deck, deck_key, deck_settings, size_of, wait_until, \
    write_preferences, PAL_FRAME  # noqa: E402


def read(name):
    return (REPOSITORY / name).read_text(encoding="utf-8")


def documents():
    return [path for pattern in ("*.md", "docs/*.md", "bench/*.md", "fuzz/*.md", "tests/**/*.md")
            for path in sorted(REPOSITORY.glob(pattern))]


def anchor(heading):
    """What a heading is called in links."""
    return re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


class Links(unittest.TestCase):
    def test_lead_to_files_and_headings(self):
        dead = []
        for document in documents():
            text = re.sub(r"```.*?```", "", document.read_text(encoding="utf-8"), flags=re.S)
            for link in re.findall(r"\]\(([^)]+)\)", text):
                name, _, heading = link.partition("#")
                target = document.parent / name if name else document
                if link.startswith("http") or not target.exists():
                    dead += [] if link.startswith("http") else [f"{document.name}: {link}"]
                elif heading and heading not in map(anchor, re.findall(
                        r"^#+ (.*)$", target.read_text(encoding="utf-8"), re.M)):
                    dead.append(f"{document.name}: {link}")
        self.assertEqual(dead, [])


class Messages(unittest.TestCase):
    def texts_of_the_program(self):
        """All texts of the sources, each in one piece."""
        code = ""
        for path in glob.glob(str(REPOSITORY / "src/**/*.cpp"), recursive=True):
            code += pathlib.Path(path).read_text(encoding="utf-8") + "\n"
        code = re.sub(r'"\s*\n\s*"', "", code)
        code += "\n".join(p.read_text(encoding="utf-8")
                          for p in (REPOSITORY / "resources").glob("*.ui"))
        return code.replace('\\"', '"').replace("\\n", " ")

    def test_explained_ones_are_those_of_the_program(self):
        texts = self.texts_of_the_program()
        explained = re.findall(r'^\| "(.+?)" \|', read("docs/troubleshooting.md"), re.M)
        self.assertGreater(len(explained), 20)
        for message in explained:
            for part in re.split(r"\s*…\s*|\s*\bN\b\s*", message):
                self.assertTrue(part in texts, message)


class Commands(TakeboxTest):
    """The commands of docs/opening.md, run beside a recording called NAME."""

    def record(self):
        write_preferences(self.home, {deck_key(1): deck_settings(self.folder, Recording_Name="NAME",
                                                                 Reference_Movie_Duration=2.0)})
        program = self.start(deck("pal", 1, start="01:02:03:04"))
        wait_until(lambda: program.ask("TIMECODE 1") >= "01:02:03:04", "a time code from the tape")
        self.assertEqual(program.ask("RECORD 1"), "OK")
        raw = os.path.join(self.folder, "NAME", "NAME.dv")
        wait_until(lambda: size_of(raw) >= 20 * PAL_FRAME, "twenty frames")
        self.assertEqual(program.ask("STOP 1"), "OK")
        self.end_well(program)

    def test_of_ffmpeg_work_as_they_stand(self):
        self.record()
        environment = {**os.environ, "SDL_VIDEODRIVER": "dummy", "SDL_AUDIODRIVER": "dummy"}
        commands = [line for block in re.findall(r"```sh\n(.*?)```", read("docs/opening.md"), re.S)
                    for line in block.splitlines()]
        self.assertGreater(len(commands), 8)
        for command in commands:
            words = command.replace("ffplay ", "ffplay -autoexit ").split()
            before = set(os.listdir(self.folder))
            done = subprocess.run(words, cwd=self.folder, env=environment, capture_output=True,
                                  text=True, stdin=subprocess.DEVNULL, check=False)
            told = f"{command}: {done.stdout}{done.stderr}"
            self.assertEqual(done.returncode, 0, told)
            self.assertNotIn("Invalid", told)
            if words[0] == "ffmpeg":
                made = set(os.listdir(self.folder)) - before
                self.assertEqual(made, {words[-1]}, told)
                self.assertGreater(size_of(os.path.join(self.folder, words[-1])), 1000, told)
            if "timecode" in command:
                self.assertRegex(done.stdout, r"01:02:0\d:\d\d")
            if "cut.mov" in command:
                counted = subprocess.run(
                    ["ffprobe", "-v", "error", "-count_packets", "-show_entries",
                     "stream=codec_type,nb_read_packets", "-of", "csv=p=0", "cut.mov"],
                    cwd=self.folder, capture_output=True, text=True, check=True)
                self.assertRegex(counted.stdout, r"video,[67],?\n")
                self.assertRegex(counted.stdout, r"audio,[1-9]\d*,?\n")
                self.assertNotIn("data", counted.stdout)  # no time code of the whole


if __name__ == "__main__":
    unittest.main()
