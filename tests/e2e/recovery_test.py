"""Recordings that were cut off become whole movies, and nothing else is touched."""

import os
import random
import re
import shutil
import signal
import subprocess
import termios
import time
import unittest

from cut_off import decode_errors, difference, media_data, on_disk, raw_files, recover
from takebox import (NTSC_FRAME, PAL_FRAME, PROGRAM, TakeboxTest, deck, deck_key, deck_settings, ffprobe,
                     open_terminal, read_file, read_terminal, size_of, small_disk, video_packets,
                     wait_until, write_preferences)

GUID = 0x5151
KILLS = 6
LONGEST_RUN = 0.6  # seconds of recording at eight times the pace of a tape


class Recovery(TakeboxTest):
    def setUp(self):
        super().setUp()
        self.takes = self.make_folder("takes")
        self.movie = os.path.join(self.takes, "Take.mov")
        self.reference = os.path.join(self.takes, "Take.ref")
        self.raw = os.path.join(self.takes, "Take", "Take")
        self.kept = os.path.join(self.takes, "Take (original).mov")

    def cut_off(self, source="pal", seconds=None, **settings):
        """Records and kills the program; returns when it is dead."""
        write_preferences(self.home, {deck_key(GUID): deck_settings(self.takes, **settings)})
        program = self.start(deck(source, GUID, speed=8))
        self.assertEqual(program.ask("RECORD 1"), "OK")
        if seconds is None:
            name = settings.get("Recording_Name", "Take")
            path = (os.path.join(self.takes, name + ".mov")
                    if settings.get("Create_Self-Contained_Movie", True)
                    else os.path.join(self.takes, name, name + ".dv"))
            wait_until(lambda: size_of(path) > 3000000 and self.notes(), "a recording")
        else:
            time.sleep(seconds)  # any moment will do: this one is random
        program.kill()

    def recover(self, *paths):
        environment = dict(os.environ, HOME=self.home)
        return recover(*paths, environment=environment)

    def test_kill_at_random_moments_loses_nothing_that_was_on_the_disk(self):
        moments = random.Random(7)
        recovered = 0
        for number in range(KILLS):
            name = f"Take {number}"
            self.cut_off(seconds=moments.random() * LONGEST_RUN, Recording_Name=name)
            movie = os.path.join(self.takes, name + ".mov")
            frames, audio = on_disk(movie, os.path.join(self.takes, name, name))
            original = read_file(movie)
            status, output, error = self.recover(movie)
            if not frames:
                self.assertEqual((status, read_file(movie)), (3, original), output)
                self.assertIn("not a single whole frame", error)
                continue
            recovered += 1
            self.assertEqual((status, error), (0, ""))
            self.assertIn(f"{len(frames)} frames", output)
            self.assertEqual(difference(movie, frames, audio), "")
            self.assertEqual(read_file(os.path.join(self.takes, name + " (original).mov")),
                             original)
        self.assertGreater(recovered, KILLS // 2)

    def recover_on_terminal(self, terminal, *paths):
        return subprocess.Popen([PROGRAM, "--recover", *paths], stdin=subprocess.DEVNULL,
                                stdout=terminal, stderr=subprocess.PIPE,
                                env=dict(os.environ, HOME=self.home))

    def test_a_terminal_shows_how_far_it_is(self):
        self.cut_off()
        ours, theirs = open_terminal(self)
        with self.recover_on_terminal(theirs, self.movie) as program:
            os.close(theirs)
            shown = read_terminal(ours)
            self.assertEqual(program.wait(), 0, shown)
        *bars, message = shown.split("\r\x1b[K")[1:]
        self.assertIn("Take.mov recovered: ", message)
        self.assertEqual(bars[-1], f"Take.mov [{'#' * 40}] 100 %")
        for bar in bars:
            filled, left, percent = re.fullmatch(r"Take\.mov \[(#*)( *)\] +(\d+) %", bar).groups()
            self.assertEqual(len(filled + left), 40)
            self.assertAlmostEqual(len(filled), int(percent) * 40 / 100, delta=1)

    def test_an_interrupt_stops_it_and_leaves_everything_as_it_was(self):
        self.cut_off()
        before = {path: read_file(path) for path in (self.movie, self.reference)}
        ours, theirs = open_terminal(self)
        termios.tcflow(theirs, termios.TCOOFF)  # the program cannot go on from its first bar
        with self.recover_on_terminal(theirs, self.movie, self.reference) as program:
            def catches_interrupts():
                with open(f"/proc/{program.pid}/status", encoding="ascii") as status:
                    caught = int(re.search(r"SigCgt:\s*(\w+)", status.read())[1], 16)
                return caught >> (signal.SIGINT - 1) & 1

            wait_until(catches_interrupts, "the program to catch interrupts")
            program.send_signal(signal.SIGINT)
            termios.tcflow(theirs, termios.TCOON)
            os.close(theirs)
            read_terminal(ours)
            self.assertEqual(program.stderr.read(),
                             b"takebox: cancelled; the original is as it was\n")
            self.assertEqual(program.wait(), 130)
        self.assertEqual(sorted(os.listdir(self.takes)), ["Take", "Take.mov", "Take.ref"])
        self.assertEqual({path: read_file(path) for path in before}, before)
        self.assertEqual(len(self.notes()), 1)

    def test_the_media_data_alone_is_enough(self):
        self.cut_off("ntsc", **{"Create_Reference_Movie": False})
        frames, audio = media_data(self.movie)
        self.assertEqual(len(frames[0]), NTSC_FRAME)
        self.assertEqual(self.recover(self.movie)[0], 0)
        self.assertEqual(difference(self.movie, frames, audio), "")
        self.assertEqual(sorted(os.listdir(self.takes)), ["Take (original).mov", "Take.mov"])

    def test_raw_files_give_what_the_movie_has_not(self):
        self.cut_off()
        frames, audio = raw_files(self.raw)
        with open(self.movie, "r+b") as file:
            file.truncate(36 + 16 + 2 * PAL_FRAME + 1000)
        self.assertEqual(len(media_data(self.movie)[0]), 2)
        self.assertEqual(self.recover(self.movie)[0], 0)
        self.assertEqual(difference(self.movie, frames, audio), "")

    def test_raw_files_of_another_recording_are_left_alone(self):
        self.cut_off()
        frames, audio = media_data(self.movie)
        for extension in (".dv", ".aud"):
            content = read_file(self.raw + extension)
            with open(self.raw + extension, "wb") as file:
                file.write(content[PAL_FRAME if extension == ".dv" else 7680:] * 2)
        self.assertEqual(self.recover(self.movie)[0], 0)
        self.assertEqual(difference(self.movie, frames, audio), "")

    def test_frames_that_are_holes_are_left_out(self):
        self.cut_off(**{"Create_Reference_Movie": False})
        frames, _ = media_data(self.movie)
        pieces = len(frames) // 5
        last = 36 + 16 + 4 * PAL_FRAME  # the last frame of the first piece
        with open(self.movie, "r+b") as file:
            file.truncate(last)
            file.truncate(last + PAL_FRAME)
        self.assertGreater(pieces, 0)
        self.assertEqual(self.recover(self.movie)[0], 0)
        self.assertEqual(len(video_packets(self.movie)), 4)

    def test_the_start_time_code_is_kept(self):
        self.cut_off(Timecode_Source_Index=2, Preset_Timecode=3723.5)
        self.assertEqual(self.recover(self.movie)[0], 0)
        self.assertEqual(ffprobe(self.movie, "stream_tags=timecode", "-select_streams", "v"),
                         ["01:02:03:12"])

    def test_a_reference_movie_is_fitted_to_shorter_and_longer_raw_files(self):
        for duration in (60.0, 0.2):
            self.cut_off(Reference_Movie_Duration=duration, Recording_Name=f"Take {duration > 1}",
                         **{"Create_Self-Contained_Movie": False})
            name = f"Take {duration > 1}"
            reference = os.path.join(self.takes, name + ".ref")
            frames, audio = raw_files(os.path.join(self.takes, name, name))
            original = read_file(reference)
            status, output, _ = self.recover(reference)
            self.assertEqual(status, 0)
            self.assertIn(f"{len(frames)} frames", output)
            self.assertEqual(
                video_packets(reference, "-enable_drefs", "1"),
                # The last frame of the raw file may have been cut off.
                video_packets(os.path.join(self.takes, name, name + ".dv"))[:len(frames)])
            self.assertEqual(decode_errors(reference), "")
            self.assertEqual(read_file(os.path.join(self.takes, name + " (original).ref")),
                             original)
            status, output, _ = self.recover(reference)
            self.assertEqual(status, 0)
            self.assertIn("nothing to do", output)

    def test_what_needs_no_recovery_or_cannot_have_it_stays_as_it_is(self):
        self.cut_off()
        self.assertEqual(self.recover(self.movie)[0], 0)
        whole = read_file(self.movie)
        text = os.path.join(self.folder, "text.mov")
        with open(text, "w", encoding="ascii") as file:
            file.write("This is no movie, and it is longer than the head of one.\n" * 3)
        missing = os.path.join(self.folder, "missing.mov")
        for path, expected, message in (
                (self.movie, 0, "nothing to do"), (text, 3, "no movie of this program"),
                (missing, 4, "No such file"), (self.folder, 4, "Is a directory")):
            status, output, error = self.recover(path)
            self.assertEqual(status, expected, path)
            self.assertIn(message, output + error)
        self.assertEqual(self.recover(text, self.movie, missing)[0], 4)
        self.assertEqual(read_file(self.movie), whole)

    def test_a_recording_that_runs_is_left_alone(self):
        write_preferences(self.home, {deck_key(GUID): deck_settings(self.takes)})
        program = self.start(deck("pal", GUID, speed=4))
        program.ask("RECORD 1")
        wait_until(lambda: size_of(self.movie) > 1000000 and size_of(self.raw + ".dv"), "frames")
        for path in (self.movie, self.reference):
            status, _, error = self.recover(path)
            self.assertEqual(status, 6)
            self.assertIn("is being recorded", error)
        program.ask("STOP 1")
        self.end_well(program)
        self.assertEqual(decode_errors(self.movie), "")
        self.assertIn("nothing to do", self.recover(self.movie)[1])

    def notes(self):
        folder = os.path.join(self.home, ".local/share/takebox/Open Recordings")
        names = os.listdir(folder) if os.path.isdir(folder) else []
        return [name for name in names if name.endswith(".recording")]

    def test_the_next_start_offers_what_was_cut_off_until_it_is_recovered(self):
        self.cut_off()
        self.assertEqual(len(self.notes()), 1)
        for _ in range(2):
            program = self.start(deck("pal", GUID))
            found = program.wait_for_log(r"takebox --recover '(.*)' '(.*)'")
            self.assertEqual(found.groups(), (self.movie, self.reference))
            self.end_well(program)
        self.assertEqual(self.recover(*found.groups())[0], 0)
        self.assertEqual(self.notes(), [])
        program = self.start(deck("pal", GUID))
        program.ask("COUNT")
        self.end_well(program)
        self.assertNotIn("--recover", program.log())

    def test_a_recording_that_ended_well_is_not_offered(self):
        write_preferences(self.home, {deck_key(GUID): deck_settings(self.takes)})
        program = self.start(deck("pal", GUID, speed=8))
        program.ask("RECORD 1")
        wait_until(self.notes, "a note of the recording")
        program.ask("STOP 1")
        wait_until(lambda: not self.notes(), "the end of the note")
        program.ask("RECORD 1")
        wait_until(self.notes, "a note of the recording")
        self.end_well(program)
        self.assertEqual(self.notes(), [])
        self.assertEqual(program.log().count(" ended, "), 2)

    def test_a_disk_without_room_is_told_before_anything_is_written(self):
        self.cut_off()
        with small_disk(self.folder, f"{size_of(self.movie) + 1000000}") as disk:
            if disk is None:
                self.skipTest("nothing can be mounted")
            movie = shutil.copy(self.movie, disk)
            before = read_file(movie)
            status, _, error = self.recover(movie)
            self.assertEqual(status, 5, error)
            self.assertIn("room", error)
            self.assertEqual((os.listdir(disk), read_file(movie)), (["Take.mov"], before))

    def test_a_disk_that_takes_no_more_leaves_the_original_alone(self):
        self.cut_off(**{"Create_Reference_Movie": False})
        original = read_file(self.movie)
        environment = dict(os.environ, HOME=self.home)
        with_limit = ["sh", "-c", f"trap '' XFSZ; ulimit -f 2000; exec '{PROGRAM}' --recover "
                      f"'{self.movie}'"]
        done = subprocess.run(with_limit, capture_output=True, env=environment, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"cannot be written", done.stderr)
        self.assertEqual(read_file(self.movie), original)
        self.assertEqual(os.listdir(self.takes), ["Take.mov"])


if __name__ == "__main__":
    unittest.main()
