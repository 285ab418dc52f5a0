"""What is left when the program is told to end, or is ended, in the middle of things."""

import os
import plistlib
import random
import shutil
import signal
import time
import unittest

from takebox import (PAL_FRAME, NTSC_FRAME, PREFERENCES, RecordingTest, deck, deck_key,
                     deck_settings, frames_of_time_code, read_file, read_preferences, size_of,
                     sound, tape_time_code, video_packets, wait_until, write_preferences)

GUID = 0x5151
KILLS = 100
LONGEST_RUN = 0.25  # seconds from the start of the program's recording to its end
AUDIO_OF_PAL_FRAME = 7680  # bytes


class Crash(RecordingTest):
    def raw(self, name, extension):
        return os.path.join(self.takes, name, name + extension)

    def test_end_by_signal_keeps_every_frame_delivered(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            name = number.name
            write_preferences(self.home, {deck_key(GUID): deck_settings(self.takes,
                                                                       Recording_Name=name)})
            program = self.start(deck("pal", GUID, speed=2))
            self.assertEqual(program.ask("RECORD 1"), "OK")
            wait_until(lambda: program.ask("ELAPSED 1") >= "00:00:00:15", "frames")
            delivered = frames_of_time_code(program.ask("TIMECODE 1"))
            program.process.send_signal(number)
            self.assertEqual(program.wait(), 0, program.log())

            recorded = read_file(self.raw(name, ".dv"))
            self.assertEqual(len(recorded) % PAL_FRAME, 0)
            codes = [tape_time_code(recorded[at: at + PAL_FRAME])
                     for at in range(0, len(recorded), PAL_FRAME)]
            self.assertEqual(codes, list(range(codes[0], codes[0] + len(codes))))
            self.assertGreaterEqual(codes[-1], delivered)
            self.assertEqual(size_of(self.raw(name, ".aud")), len(codes) * AUDIO_OF_PAL_FRAME)
            movie = os.path.join(self.takes, name + ".mov")
            self.assertEqual(video_packets(movie), video_packets(self.raw(name, ".dv")))
            self.assertEqual(sound(movie), read_file(self.raw(name, ".aud")))

    def test_end_of_two_decks_closes_all_their_files(self):
        write_preferences(self.home, {
            deck_key(1): deck_settings(self.takes, Recording_Name="One"),
            deck_key(2): deck_settings(self.takes, Recording_Name="Two")})
        program = self.start(deck("pal", 1, speed=2), deck("ntsc", 2, speed=2))
        for index in (1, 2):
            program.ask(f"RECORD {index}")
        for name in ("One", "Two"):
            wait_until(lambda: size_of(self.raw(name, ".dv")), "frames")
        self.end_well(program)
        for name, frame_size in (("One", PAL_FRAME), ("Two", NTSC_FRAME)):
            frames, rest = divmod(size_of(self.raw(name, ".dv")), frame_size)
            self.assertEqual(rest, 0)
            packets = video_packets(os.path.join(self.takes, name + ".mov"))
            self.assertEqual(len(packets), frames)

    def test_kill_at_any_moment_leaves_whole_preferences_and_raw_files(self):
        tape = self.make_tape("pal", 20)
        pictures, sounds = read_file(tape), sound(tape)
        tape_frames = len(pictures) // PAL_FRAME
        self.assertEqual(len(sounds), tape_frames * AUDIO_OF_PAL_FRAME)
        settings = {deck_key(GUID): deck_settings(
            self.takes, **{"Create Self-Contained Movie": False})}
        write_preferences(self.home, settings)
        keys = set(settings[deck_key(GUID)])
        moments = random.Random(20)
        recorded = 0
        for run in range(KILLS):
            program = self.start(deck(tape, GUID, speed=8))
            client = program.connect()
            self.assertEqual(client.ask(f"SETRECNAME 1 Run {run}"), "OK")
            self.assertEqual(client.ask("RECORD 1"), "OK")
            end = time.monotonic() + moments.random() * LONGEST_RUN
            change = 0
            while time.monotonic() < end:
                change += 1
                client.ask(f"SETDURATION 1 {2 + change}")
            client.close()
            self.assertEqual(program.kill(), -signal.SIGKILL)

            try:
                preferences = read_preferences(self.home)
            except plistlib.InvalidFileException as error:
                self.fail(f"run {run}: {error}")
            self.assertEqual(set(preferences[deck_key(GUID)]), keys)
            recorded += self.check_raw(f"Run {run}", pictures, sounds)
            shutil.rmtree(os.path.join(self.takes, f"Run {run}"))
        self.assertGreater(recorded, KILLS)
        leftover = [name for name in os.listdir(
            os.path.dirname(os.path.join(self.home, PREFERENCES))) if "damaged" in name]
        self.assertEqual(leftover, [])
        # The last one still reads what the ones before have left.
        program = self.start(deck(tape, GUID))
        self.assertRegex(program.ask("RECNAME 1"), "^Run 9[89]$")
        self.end_well(program)

    def check_raw(self, name, pictures, sounds):
        """The raw files are the tape from some frame on, to wherever writing came. Returns the
        number of frames."""
        video = read_file(self.raw(name, ".dv"))
        audio = read_file(self.raw(name, ".aud"))
        rounds = 2 + len(video) // len(pictures)
        first = 0
        if video:
            begin = pictures.find(video[:PAL_FRAME])
            self.assertEqual(begin % PAL_FRAME, 0, name)
            self.assertEqual(video, (pictures * rounds)[begin: begin + len(video)], name)
            first = begin // PAL_FRAME
        if audio and video:
            begin = first * AUDIO_OF_PAL_FRAME
            rounds = 2 + len(audio) // len(sounds)
            self.assertEqual(audio, (sounds * rounds)[begin: begin + len(audio)], name)
        return len(video) // PAL_FRAME


if __name__ == "__main__":
    unittest.main()
