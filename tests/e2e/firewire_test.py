"""The built program on a FireWire bus that is played by a stand-in for the kernel's interface: from
the packets on the bus to the files on the disk."""

import os
import sys
import unittest

from takebox import (NTSC_FRAME, PAL_FRAME, RecordingTest, ffprobe, frames_of_time_code, make_tape,
                     read_file, size_of, tape_time_code, wait_until, write_preferences)

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support", "firewire"))
from firewire_bench import FirewireBench  # noqa: E402

PAL_DECK = 0x0800460101000001
NTSC_DECK = 0x0800460102000002


class FireWire(RecordingTest):
    def setUp(self):
        super().setUp()
        self.pal_tape = self.make_tape("pal")
        self.ntsc_tape = self.make_tape("ntsc")

    def bench(self, script="card 0\n"):
        bench = FirewireBench(os.environ["FAKE_FIREWIRE_LIBRARY"], script,
                              os.environ.get("SANITIZER_LIBRARY", ""))
        self.addCleanup(bench.__exit__)
        return bench

    def start_on(self, bench, *arguments, **options):
        return self.start(*arguments, environment=bench.environment, **options)

    def start_with_decks(self, *keys, **preferences):
        """The program with a PAL and an NTSC deck on one card."""
        words = " ".join(keys)
        bench = self.bench(
            "card 0\n"
            f"deck {PAL_DECK:016x} model=PAL-Deck source={self.pal_tape} {words}\n"
            f"deck {NTSC_DECK:016x} model=NTSC-Deck source={self.ntsc_tape} {words}\n")
        write_preferences(self.home, {
            **self.settings(PAL_DECK, Recording_Name="Pal"),
            **self.settings(NTSC_DECK, Recording_Name="Ntsc"),
            **preferences})
        program = self.start_on(bench)
        wait_until(lambda: program.ask("COUNT") == "2", "both decks")
        # The order of devices that come up at once is the bus's.
        indexes = {int(program.ask(f"GUID {index}"), 16): index for index in (1, 2)}
        self.assertEqual(set(indexes), {PAL_DECK, NTSC_DECK})
        return bench, program, indexes[PAL_DECK], indexes[NTSC_DECK]

    def wait_for_signal(self, program, index):
        stood = program.ask(f"TIMECODE {index}")
        wait_until(lambda: program.ask(f"TIMECODE {index}") != stood, "a running deck")

    def check_both(self, frames):
        """What both decks recorded are the frames of the tapes, without one missing."""
        for name, frame_size, tape in (("Pal", PAL_FRAME, self.pal_tape),
                                       ("Ntsc", NTSC_FRAME, self.ntsc_tape)):
            files = self.take(name)
            found = self.check_take(files, frame_size)
            self.assertGreaterEqual(found, frames)
            self.check_source(files, frame_size, tape, found)

    def test_two_decks_on_a_card_are_recorded_byte_for_byte(self):
        _, program, pal, ntsc = self.start_with_decks()
        self.assertEqual(program.ask(f"DEVICENAME {pal}"), "Deck")
        for index in (pal, ntsc):
            self.wait_for_signal(program, index)
            self.assertEqual(program.ask(f"RECORD {index}"), "OK")
        self.wait_for_frames(self.take("Pal"), 60, PAL_FRAME)
        self.wait_for_frames(self.take("Ntsc"), 60, NTSC_FRAME)
        self.end_well(program)
        self.check_both(60)

    def test_four_times_as_fast(self):
        _, program, pal, ntsc = self.start_with_decks("speed=4", "patient=yes")
        for index in (pal, ntsc):
            self.wait_for_signal(program, index)
            self.assertEqual(program.ask(f"RECORD {index}"), "OK")
        self.wait_for_frames(self.take("Pal"), 300, PAL_FRAME)
        self.wait_for_frames(self.take("Ntsc"), 300, NTSC_FRAME)
        self.end_well(program)
        self.check_both(300)

    def test_recording_goes_on_through_a_bus_reset_with_other_node_numbers(self):
        bench, program, pal, _ = self.start_with_decks()
        self.wait_for_signal(program, pal)
        program.ask(f"RECORD {pal}")
        files = self.take("Pal")
        self.wait_for_frames(files, 20, PAL_FRAME)
        bench.command("reset 0 renumber")
        reached = size_of(files["dv"]) // PAL_FRAME
        self.wait_for_frames(files, reached + 40, PAL_FRAME)
        self.assertEqual(program.ask(f"STATUS {pal}"), "REC")
        self.end_well(program)
        self.check_take(files, PAL_FRAME)
        numbers = self.numbers_on_tape(files["dv"], self.pal_tape, PAL_FRAME)
        gaps = [(a, b) for a, b in zip(numbers, numbers[1:]) if (b - a) % 40 != 1]
        self.assertTrue(all((b - a) % 40 == 2 for a, b in gaps) and len(gaps) <= 1, numbers)

    def test_deck_pulled_out_leaves_a_complete_take_and_records_again(self):
        bench, program, pal, _ = self.start_with_decks()
        self.wait_for_signal(program, pal)
        program.ask(f"RECORD {pal}")
        self.wait_for_frames(self.take("Pal"), 20, PAL_FRAME)
        bench.command(f"unplug {PAL_DECK:016x}")
        wait_until(lambda: program.ask("COUNT") == "1", "the deck to go")
        self.assertEqual(int(program.ask("GUID 1"), 16), NTSC_DECK)
        program.wait_for_log("Recording cut off! Deck was disconnected, or does not send DV any "
                             "more, while it recorded “Pal”")
        bench.command(f"plug {PAL_DECK:016x}")
        wait_until(lambda: program.ask("COUNT") == "2", "the deck to return")
        again = next(index for index in (1, 2)
                     if int(program.ask(f"GUID {index}"), 16) == PAL_DECK)
        self.wait_for_signal(program, again)
        self.record(program, again, 20, self.take("Pal", 1), PAL_FRAME)
        self.end_well(program)
        for number in (0, 1):
            files = self.take("Pal", number)
            self.check_source(files, PAL_FRAME, self.pal_tape, self.check_take(files, PAL_FRAME))

    def test_a_deck_that_says_nothing_is_recorded_in_the_standard_that_it_sends(self):
        bench = self.bench(f"card 0\ndeck {NTSC_DECK:016x} source={self.ntsc_tape} answers=no "
                           "silent=yes\n")
        write_preferences(self.home, self.settings(NTSC_DECK, Recording_Name="Late"))
        program = self.start_on(bench, headless=False)
        wait_until(lambda: program.ask("COUNT") == "1", "the deck")
        bench.command(f"set {NTSC_DECK:016x} silent=no")
        program.wait_for_log("sends DV, 525/60")
        self.wait_for_signal(program, 1)
        self.record(program, 1, 30, self.take("Late"), NTSC_FRAME)
        self.end_well(program)
        files = self.take("Late")
        frames = self.check_take(files, NTSC_FRAME)
        self.check_source(files, NTSC_FRAME, self.ntsc_tape, frames)

    def test_a_deck_that_was_refused_records_once_there_is_permission(self):
        bench = self.bench(f"card 0\ndeck {PAL_DECK:016x} source={self.pal_tape} access=no\n")
        write_preferences(self.home, self.settings(PAL_DECK, Recording_Name="Open"))
        program = self.start_on(bench)
        program.wait_for_log("No permission to use")
        program.wait_for_log("Cannot open device")
        bench.command(f"set {PAL_DECK:016x} access=yes")
        self.wait_for_signal(program, 1)
        self.record(program, 1, 20, self.take("Open"), PAL_FRAME)
        self.end_well(program)
        self.check_take(self.take("Open"), PAL_FRAME)

    def test_the_windows_stay_when_the_only_deck_is_pulled_out(self):
        bench = self.bench(f"card 0\ndeck {PAL_DECK:016x} source={self.pal_tape}\n")
        program = self.start_on(bench, headless=False)
        for _ in range(2):
            wait_until(lambda: program.ask("COUNT") == "1", "the deck")
            self.wait_for_signal(program, 1)
            bench.command(f"unplug {PAL_DECK:016x}")
            wait_until(lambda: program.ask("COUNT") == "INCORRECT INDEX", "the deck to go")
            bench.command(f"plug {PAL_DECK:016x}")
        self.end_well(program)

    def test_only_the_frames_that_lost_packets_are_lost(self):
        bench = self.bench(
            f"card 0\ndeck {PAL_DECK:016x} source={self.pal_tape}\n"
            f"drop {PAL_DECK:016x} 30 0\ndrop {PAL_DECK:016x} 33 100 2\n")
        write_preferences(self.home, self.settings(PAL_DECK, Recording_Name="Hit"))
        program = self.start_on(bench)
        wait_until(lambda: program.ask("COUNT") == "1", "the deck")
        program.ask("RECORD 1")
        files = self.take("Hit")
        wait_until(lambda: int(bench.status(f"{PAL_DECK:016x}")["frames"]) >= 60, "the losses")
        self.end_well(program)
        self.check_take(files, PAL_FRAME)
        numbers = self.numbers_on_tape(files["dv"], self.pal_tape, PAL_FRAME)
        first = numbers[0]
        self.assertLess(first, 30)
        sent = [number % 40 for number in range(first, first + len(numbers) + 2)
                if number not in (30, 33)]
        self.assertEqual(numbers, sent[: len(numbers)])
        _, lost, problems = map(int, program.wait_for_log(
            r"(\d+) recorded, (\d+) lost, (\d+) problem messages").groups())
        self.assertEqual((lost, problems), (2, 2), "two frames were hit, by three packets")

    def test_record_rolls_the_tape(self):
        bench, program, pal, _ = self.start_with_decks(
            "roll=yes", **{"Start/Stop VTR When Recording": True})
        guid = f"{PAL_DECK:016x}"
        self.assertEqual(bench.status(guid)["transport"], "stop")
        program.ask(f"RECORD {pal}")
        wait_until(lambda: bench.status(guid)["transport"] == "play", "the tape to roll")
        self.wait_for_frames(self.take("Pal"), 20, PAL_FRAME)
        program.ask(f"STOP {pal}")
        wait_until(lambda: bench.status(guid)["transport"] == "stop", "the tape to stop")
        self.end_well(program)
        self.assertNotIn("Could not", program.log())
        self.check_take(self.take("Pal"), PAL_FRAME)

    def test_a_file_that_may_not_be_opened_is_told_with_what_to_do(self):
        bench = self.bench(f"card 0\ndeck {PAL_DECK:016x} model=Locked access=no\n")
        program = self.start_on(bench)
        program.wait_for_log(r"No permission to use Nordlicht Locked \(/dev/fw1\)\. Add yourself to "
                             r"the group video or install the udev rule")
        self.end_well(program)
        check = self.run_program("--diagnose", environment=self.bench(
            f"card 0\ndeck {PAL_DECK:016x} model=Locked access=no\n").environment, headless=False)
        self.assertNotEqual(check.wait(), 0)
        self.assertIn("60-takebox.rules", check.output())

    def test_record_from_the_command_line(self):
        bench = self.bench(f"card 0\ndeck {NTSC_DECK:016x} source={self.ntsc_tape}\n")
        program = self.run_program("--record", "2", "--to", self.takes, headless=False,
                                   environment=bench.environment)
        self.assertEqual(program.wait(), 0, program.log() + program.output())
        self.assertIn("nothing lost", program.output())
        name = next(name[:-4] for name in os.listdir(self.takes) if name.endswith(".mov"))
        files = self.take(name)
        frames = self.check_take(files, NTSC_FRAME, covered=60)
        self.assertGreaterEqual(frames, 60)
        self.check_source(files, NTSC_FRAME, self.ntsc_tape, frames)

    def test_a_recording_from_the_command_line_has_every_deck_and_its_time_code(self):
        # Long enough not to begin anew before the recording does.
        tapes = [make_tape(os.path.join(self.folder, f"{standard}-coded.dv"), standard, frames=150,
                           time_code="10:20:30:05") for standard in ("pal", "ntsc")]
        # The second one is slower to say what it is.
        bench = self.bench(f"card 0\ndeck {PAL_DECK:016x} model=Quick source={tapes[0]}\n"
                           f"deck {NTSC_DECK:016x} model=Slow source={tapes[1]} answers=no\n")
        program = self.run_program("--record", "1", "--to", self.takes, headless=False,
                                   environment=bench.environment)
        self.assertEqual(program.wait(), 0, program.log() + program.output())
        for model, frame_size, rate in (("Quick", PAL_FRAME, 25), ("Slow", NTSC_FRAME, 30)):
            name, = [name[:-4] for name in os.listdir(self.takes)
                     if model in name and name.endswith(".mov")]
            files = self.take(name)
            first = tape_time_code(read_file(files["dv"])[:frame_size], rate)
            for kind in ("mov", "ref"):
                start, = ffprobe(files[kind], "stream_tags=timecode", "-select_streams", "d")
                self.assertRegex(start, "^10:20:3")
                self.assertLessEqual(frames_of_time_code(start, rate), first)


if __name__ == "__main__":
    unittest.main()
