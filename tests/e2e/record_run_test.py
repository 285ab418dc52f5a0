"""The program as a command: --record, what it prints, and what its exit status tells."""

import glob
import os
import pathlib
import re
import signal
import subprocess
import unittest

from takebox import (PAL_FRAME, PROGRAM, RecordingTest, deck, ffprobe, open_terminal, read_terminal,
                     size_of, wait_until)

PAL_DECK = 0x11
NTSC_DECK = 0x22


class RecordRun(RecordingTest):
    def record(self, seconds, *decks, to=None):
        """Runs the command to its end."""
        program = self.run_program("--record", str(seconds), "--to", to or self.takes, *decks,
                                   headless=False)
        program.status = program.wait()
        return program

    def raw_files(self):
        return [os.path.join(folder, name) for folder, _, names in os.walk(self.takes)
                for name in names if name.endswith(".dv")]

    def test_a_deck_that_goes_away_is_a_loss(self):
        program = self.record(3, deck("pal", PAL_DECK, fault="vanish@20"))
        self.assertEqual(program.status, 1, program.output())
        self.assertRegex(program.output(), r"LOST: .*only 0\.[0-9]+ of 3 s were received")

    def test_a_slow_deck_is_a_loss(self):
        program = self.record(1, deck("pal", PAL_DECK, speed=0.2))
        self.assertEqual(program.status, 1, program.output())
        self.assertRegex(program.output(), r"LOST: only 0\.[0-9]+ of 1 s were received")

    def test_on_a_terminal_progress_stays_on_one_line(self):
        ours, theirs = open_terminal(self)
        program = subprocess.Popen(
            [PROGRAM, "--record", "1", "--to", self.takes, deck("pal", PAL_DECK)],
            env={**os.environ, "HOME": self.home, "QT_QPA_PLATFORM": "offscreen"},
            stdin=subprocess.DEVNULL, stdout=theirs, stderr=subprocess.DEVNULL)
        os.close(theirs)
        shown = read_terminal(ours)
        self.assertEqual(program.wait(), 0, shown)
        lines = [line for line in shown.split("\r\n") if "recorded 00:" in line]
        self.assertEqual(len(lines), 1, shown)
        self.assertGreaterEqual(lines[0].count("\r\x1b[K"), 3, shown)
        self.assertRegex(lines[0], r"recorded 00:00:01:0\d, time code 00:00:0\d:\d\d$")

    def test_a_fast_deck_is_not_recorded_for_much_longer(self):
        program = self.record(6, deck("pal", PAL_DECK, speed=10))
        self.assertEqual(program.status, 0, program.output())
        frames = size_of(self.raw_files()[0]) // PAL_FRAME
        self.assertGreaterEqual(frames, 150)
        self.assertLess(frames, 1000, "in six seconds it would send 1500")

    def test_frames_lost_on_the_way_are_a_loss(self):
        program = self.record(1, deck("pal", PAL_DECK, fault="incomplete@12"))
        self.assertEqual(program.status, 1, program.output())
        self.assertIn("LOST: 1 frames on the way from the device", program.output())

    def test_a_folder_that_cannot_be_made_is_told(self):
        in_the_way = os.path.join(self.folder, "file")
        with open(in_the_way, "wb"):
            pass
        program = self.record(1, deck("pal", PAL_DECK), to=os.path.join(in_the_way, "takes"))
        self.assertEqual(program.status, 1)
        self.assertIn(f"cannot create the folder {in_the_way}/takes: ", program.log())

    def test_without_a_device_it_says_what_to_try(self):
        program = self.record(1)
        self.assertEqual(program.status, 1)
        self.assertIn("no DV device found", program.log())
        self.assertIn("--virtual-deck", program.log())

    def test_sources_that_are_no_dv_are_refused(self):
        other = os.path.join(self.folder, "other.dv")
        with open(other, "wb") as file:
            file.write(b"no DV at all" * PAL_FRAME)
        for source in (other, os.path.join(self.folder, "absent.dv")):
            program = self.record(1, deck(source, PAL_DECK))
            self.assertEqual(program.status, 2)
            self.assertIn(os.path.basename(source), program.log())

    def test_a_full_disk_is_told_with_its_reason_and_leaves_whole_frames(self):
        def limit_files():
            import resource
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (20 * PAL_FRAME + 5000,) * 2)

        program = self.run_program("--record", "3", "--to", self.takes, deck("pal", PAL_DECK),
                                   headless=False, preexec_fn=limit_files)
        self.assertEqual(program.wait(), 1, program.output())
        self.assertRegex(program.output(), r"LOST: .*File too large")
        self.assertNotIn("the disk was too slow", program.output())
        raw, = self.raw_files()
        self.assertEqual(size_of(raw), 20 * PAL_FRAME)

    def test_interrupting_it_keeps_what_was_recorded(self):
        program = self.run_program("--record", "60", "--to", self.takes, deck("pal", PAL_DECK),
                                   headless=False)
        wait_until(lambda: [path for path in self.raw_files() if size_of(path) > 10 * PAL_FRAME],
                   "frames on the disk")
        program.process.send_signal(signal.SIGINT)
        self.assertEqual(program.wait(), 130, program.output())
        self.assertIn("nothing lost", program.output())
        name = next(name[:-4] for name in os.listdir(self.takes) if name.endswith(".mov"))
        self.check_take(self.take(name), PAL_FRAME, covered=size_of(self.raw_files()[0]) // PAL_FRAME)

    def test_interrupted_before_it_begins_it_makes_no_file(self):
        # A deck that stands is waited for.
        program = self.run_program("--record", "60", "--to", self.takes,
                                   deck("pal", PAL_DECK, cue="yes"), headless=False)
        status = pathlib.Path(f"/proc/{program.process.pid}/status")
        bit = 1 << (signal.SIGINT - 1)
        wait_until(lambda: int(re.search("SigBlk:\t(.*)", status.read_text(encoding="ascii"))[1],
                               16) & bit, "the signal to be the program's own")
        program.process.send_signal(signal.SIGINT)
        self.assertEqual(program.wait(), 130, program.output())
        self.assertEqual(os.listdir(self.takes), [])

    def test_two_decks_and_a_name_with_a_full_stop(self):
        program = self.record(1, deck("pal", PAL_DECK, name="Deck v1.2"),
                              deck("ntsc", NTSC_DECK))
        self.assertEqual(program.status, 0, program.output())
        self.assertEqual(program.output().count("nothing lost"), 2)
        names = sorted(name for name in os.listdir(self.takes) if name.endswith(".mov"))
        self.assertEqual(len(names), 2)
        self.assertRegex(names[0], r"^Deck v1-2 [0-9]{4}-[0-9]{2}-[0-9]{2} .*s\.mov$")

    def test_the_reference_movie_covers_the_frames_that_were_asked_for(self):
        program = self.record(2, deck("pal", PAL_DECK, name="Pal"),
                              deck("ntsc", NTSC_DECK, name="Ntsc"))
        self.assertEqual(program.status, 0, program.output())
        # NTSC is counted at 30 frames in a second and played at 29.97.
        for name, frames in (("Pal", 50), ("Ntsc", 60)):
            movie, = glob.glob(os.path.join(self.takes, f"{name} *.ref"))
            self.assertEqual(ffprobe(movie, "stream=nb_frames", "-select_streams", "v"),
                             [str(frames)])


if __name__ == "__main__":
    unittest.main()
