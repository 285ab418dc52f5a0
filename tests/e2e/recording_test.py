"""Recordings of virtual decks from start to stop, judged by ffmpeg and by the bytes of the tape."""

import contextlib
import os
import resource
import socket
import time
import unittest

from takebox import (FOLLOW_REFERENCES, NTSC_FRAME, PAL_FRAME, RecordingTest, SessionBus, deck,
                     deck_object, ffmpeg, ffprobe, size_of, video_packets, wait_until,
                     write_preferences)

PAL_DECK = 0x11
NTSC_DECK = 0x22


class Recording(RecordingTest):
    def test_a_playout_system_that_never_answers_costs_no_frame(self):
        tapes = {"Pal": self.make_tape("pal"), "Ntsc": self.make_tape("ntsc")}
        sizes = {"Pal": PAL_FRAME, "Ntsc": NTSC_FRAME}
        write_preferences(self.home, {
            **self.settings(PAL_DECK, Recording_Name="Pal"),
            **self.settings(NTSC_DECK, Recording_Name="Ntsc"),
            "Should Switch Castline": True, "Castline Addresses": ["127.0.0.12"]})
        with socket.socket() as silent, socket.socket() as filling:
            silent.bind(("127.0.0.12", 1025))
            silent.listen(0)
            filling.connect(("127.0.0.12", 1025))  # from here on nobody is answered
            program = self.start(deck(tapes["Pal"], PAL_DECK), deck(tapes["Ntsc"], NTSC_DECK))
            for index in (1, 2):
                start = time.monotonic()
                self.assertEqual(program.ask(f"RECORD {index}"), "OK")
                self.assertGreater(time.monotonic() - start, 1.9)
                self.assertLess(time.monotonic() - start, 15)
                self.assertEqual(program.log().count("Could not switch Castline"), index)
            for name, frame_size in sizes.items():
                self.wait_for_frames(self.take(name), 60, frame_size)
            self.end_well(program)
        for name, frame_size in sizes.items():
            files = self.take(name)
            frames = self.check_take(files, frame_size)
            self.check_source(files, frame_size, tapes[name], frames)
            numbers = self.numbers_on_tape(files["dv"], tapes[name], frame_size)
            self.assertTrue(all((b - a) % 40 == 1 for a, b in zip(numbers, numbers[1:])), numbers)

    def test_the_program_ends_while_a_playout_system_keeps_it_waiting(self):
        write_preferences(self.home, {
            **self.settings(PAL_DECK), "Should Switch Castline": True,
            "Castline Addresses": ["127.0.0.13"]})
        with socket.create_server(("127.0.0.13", 1025)) as silent:
            program = self.start(deck("pal", PAL_DECK))
            program.connect().send("RECORD 1")
            connection, _ = silent.accept()
            with connection:
                self.assertEqual(connection.recv(100), b"SL")
                self.wait_for_frames(self.take("Take"), 10, PAL_FRAME)
                self.end_well(program)
        self.check_take(self.take("Take"), PAL_FRAME)

    def test_clients_without_number_leave_a_recording_its_files(self):
        write_preferences(self.home, self.settings(PAL_DECK))
        program = self.start(deck("pal", PAL_DECK))
        self.assertEqual(program.ask("STATUS 1"), "IDLE")
        pid = program.process.pid
        limits = resource.prlimit(pid, resource.RLIMIT_NOFILE)
        resource.prlimit(pid, resource.RLIMIT_NOFILE, (300, limits[1]))
        with contextlib.ExitStack() as stack:
            for _ in range(300):
                stack.enter_context(contextlib.closing(program.connect()))
            program.wait_for_log("Cannot accept a client now")
            self.record(program, 1, 10, self.take("Take"), PAL_FRAME)
        self.end_well(program)
        self.check_take(self.take("Take"), PAL_FRAME)

    def test_two_decks_at_once(self):
        write_preferences(self.home, {
            **self.settings(PAL_DECK, Recording_Name="Pal"),
            **self.settings(NTSC_DECK, Recording_Name="Ntsc", Mono_Tracks=True),
        })
        program = self.start(deck("pal", PAL_DECK, speed=4), deck("ntsc", NTSC_DECK, speed=4))
        sizes = {"Pal": PAL_FRAME, "Ntsc": NTSC_FRAME}
        for index in (1, 2):
            self.assertEqual(program.ask(f"RECORD {index}"), "OK")
        for name, frame_size in sizes.items():
            self.wait_for_frames(self.take(name), 30, frame_size)
        self.assertEqual(program.ask("STATUS 1"), "REC")
        self.assertNotEqual(program.ask("ELAPSED 2"), "00:00:00:00")
        program.ask("STOP 1")
        self.assertEqual(program.ask("STATUS 1"), "IDLE")
        self.assertEqual(program.ask("STATUS 2"), "REC")
        program.ask("STOP 2")
        # Again, beside the first takes.
        for index, name in ((1, "Pal"), (2, "Ntsc")):
            self.record(program, index, 10, self.take(name, 1), sizes[name])
        self.end_well(program)
        for name, frame_size in sizes.items():
            for number in (0, 1):
                self.check_take(self.take(name, number), frame_size)
        self.assertEqual(sorted(os.listdir(self.takes)), sorted(
            ["Pal", "Ntsc"] + [f"{name}{number}.{kind}" for name in sizes
                               for number in ("", " 1") for kind in ("mov", "ref")]))

    def test_reference_movie_has_the_measures_of_its_standard(self):
        write_preferences(self.home, {
            **self.settings(PAL_DECK, Recording_Name="Pal"),
            **self.settings(NTSC_DECK, Recording_Name="Ntsc", Timecode_Source_Index=2,
                            Preset_Timecode=3723.5)})
        program = self.start(deck("pal", PAL_DECK, speed=4, start="10:20:30:05"),
                             deck("ntsc", NTSC_DECK, speed=4))
        for index, name, frame_size in ((1, "Pal", PAL_FRAME), (2, "Ntsc", NTSC_FRAME)):
            wait_until(lambda deck=index: program.ask(f"TIMECODE {deck}") != "00:00:00:00",
                       "a time code")
            self.record(program, index, 5, self.take(name), frame_size)
        self.end_well(program)
        for name, scale, rate in (("Pal", "1/2500", "25/1"), ("Ntsc", "1/2997", "2997/100")):
            for kind in ("ref", "mov"):
                found = ffprobe(self.take(name)[kind], "stream=time_base,r_frame_rate",
                                "-select_streams", "v")
                self.assertEqual(found, [rate, scale], (name, kind))
        for kind in ("ref", "mov"):
            self.assertEqual(self.time_code("Ntsc", kind), "01:02:03:14")
            self.assertRegex(self.time_code("Pal", kind), "^10:20:3[0-9]:[0-2][0-9]$")
        self.assertEqual(self.time_code("Pal", "ref"), self.time_code("Pal", "mov"))

    def time_code(self, name, kind):
        return ffprobe(self.take(name)[kind], "stream_tags=timecode", "-select_streams", "d")[0]

    def test_tapes_are_recorded_byte_for_byte(self):
        tapes = {"Pal": (PAL_FRAME, self.make_tape("pal")),
                 "Ntsc": (NTSC_FRAME, self.make_tape("ntsc"))}
        write_preferences(self.home, {
            **self.settings(PAL_DECK, Recording_Name="Pal"),
            **self.settings(NTSC_DECK, Recording_Name="Ntsc")})
        program = self.start(deck(tapes["Pal"][1], PAL_DECK, speed=2),
                             deck(tapes["Ntsc"][1], NTSC_DECK, speed=2))
        for index in (1, 2):
            program.ask(f"RECORD {index}")
        for name, (frame_size, tape) in tapes.items():
            # More than the tape holds: it begins again.
            self.wait_for_frames(self.take(name), 1 + size_of(tape) // frame_size, frame_size)
        self.end_well(program)
        for name, (frame_size, tape) in tapes.items():
            frames = self.check_take(self.take(name), frame_size)
            self.check_source(self.take(name), frame_size, tape, frames)

    def test_pauses_leave_out_what_is_played_meanwhile(self):
        length = 250  # of a tape: however late a pause ends, it is hardly after whole rounds
        tapes = {"Pal": (PAL_DECK, PAL_FRAME, self.make_tape("pal", length)),
                 "Ntsc": (NTSC_DECK, NTSC_FRAME, self.make_tape("ntsc", length))}
        bus = SessionBus()
        self.addCleanup(bus.close)
        write_preferences(self.home, {
            **self.settings(PAL_DECK, Recording_Name="Pal"),
            **self.settings(NTSC_DECK, Recording_Name="Ntsc")})
        program = self.start(*[deck(tape, guid) for guid, _, tape in tapes.values()],
                             environment=bus.environment)
        for index, (guid, _, _) in enumerate(tapes.values(), 1):
            self.assertEqual(program.ask(f"RECORD {index}"), "OK")
            self.wait_for_elapsed(program, index, 10)
            bus.call(deck_object(guid), "Device.PauseRecording")
            # A stretch of the tape passes by.
            recorded = self.frames_told(program, "ELAPSED", index)
            stood = self.frames_told(program, "TIMECODE", index)
            wait_until(lambda at=index, since=stood:
                       12 <= (self.frames_told(program, "TIMECODE", at) - since) % length
                       < length // 2,
                       "the tape to go on")
            self.assertLessEqual(self.frames_told(program, "ELAPSED", index), recorded + 1)
            bus.call(deck_object(guid), "Device.ResumeRecording")
            self.wait_for_elapsed(program, index, recorded + 10)
            self.assertEqual(program.ask(f"STOP {index}"), "OK")
            self.assertEqual(program.ask(f"RECORD {index}"), "OK")
            self.wait_for_elapsed(program, index, 5)
            self.assertEqual(program.ask(f"STOP {index}"), "OK")
        self.end_well(program)
        for name, (_, frame_size, tape) in tapes.items():
            frames = self.check_take(self.take(name), frame_size)
            numbers = self.numbers_on_tape(self.take(name)["dv"], tape, frame_size)
            steps = [(b - a) % length for a, b in zip(numbers, numbers[1:])]
            self.assertEqual(len([step for step in steps if step != 1]), 1, numbers)
            self.assertGreaterEqual(max(steps), 12, numbers)
            self.assertEqual(len(numbers), frames)
            again = self.take(name, 1)
            self.check_source(again, frame_size, tape, self.check_take(again, frame_size))

    def frames_told(self, program, word, index):
        """What ELAPSED or TIMECODE says, in frames."""
        hours, minutes, seconds, frames = map(int, program.ask(f"{word} {index}").split(":"))
        return ((hours * 60 + minutes) * 60 + seconds) * (25 if index == 1 else 30) + frames

    def wait_for_elapsed(self, program, index, frames):
        wait_until(lambda: self.frames_told(program, "ELAPSED", index) >= frames,
                   f"{frames} frames")

    def test_deck_that_vanishes_leaves_a_complete_take_and_records_again(self):
        write_preferences(self.home, self.settings(PAL_DECK, Recording_Name="Lost"))
        program = self.start(deck("pal", PAL_DECK, speed=4, fault="vanish@60:200"),
                             deck("ntsc", NTSC_DECK))
        self.assertEqual(program.ask("RECORD 1"), "OK")
        wait_until(lambda: program.ask("COUNT") == "1", "the deck to vanish")
        self.assertEqual(program.ask("GUID 1"), f"{NTSC_DECK:016x}")
        wait_until(lambda: program.ask("COUNT") == "2", "the deck to return")
        self.assertEqual(program.ask("GUID 1"), f"{PAL_DECK:016x}")
        self.assertEqual(program.ask("STATUS 1"), "IDLE")
        self.assertEqual(program.ask("RECNAME 1"), "Lost")
        self.record(program, 1, 20, self.take("Lost", 1), PAL_FRAME)
        self.end_well(program)
        self.assertLessEqual(self.check_take(self.take("Lost"), PAL_FRAME), 60)
        self.check_take(self.take("Lost", 1), PAL_FRAME)

    def test_deck_that_vanishes_for_a_moment_records_again(self):
        write_preferences(self.home, self.settings(PAL_DECK, Recording_Name="Moment"))
        program = self.start(deck("pal", PAL_DECK, fault="vanish@20:2"))
        self.assertEqual(program.ask("RECORD 1"), "OK")
        wait_until(lambda: program.ask("STATUS 1") == "IDLE", "the deck to vanish")
        # It gives a signal again before it is told to record.
        stood = program.ask("TIMECODE 1")
        wait_until(lambda: program.ask("TIMECODE 1") != stood, "the deck to play")
        self.record(program, 1, 10, self.take("Moment", 1), PAL_FRAME)
        self.end_well(program)
        self.check_take(self.take("Moment"), PAL_FRAME)
        self.check_take(self.take("Moment", 1), PAL_FRAME)

    def test_reference_movie_plays_what_is_there_while_its_files_grow(self):
        write_preferences(self.home, self.settings(PAL_DECK, **{"Recording_Name": "Growing"}))
        program = self.start(deck("pal", PAL_DECK))
        program.ask("RECORD 1")
        files = self.take("Growing")
        self.wait_for_frames(files, 20, PAL_FRAME)
        # The whole length is promised, and the frames that exist can be read.
        duration = float(ffprobe(files["ref"], "format=duration")[0])
        self.assertAlmostEqual(duration, 60.0, delta=0.1)
        before = size_of(files["dv"]) // PAL_FRAME
        playable = video_packets(files["ref"], *FOLLOW_REFERENCES, "-t", "0.8")
        self.assertEqual(program.ask("STATUS 1"), "REC")
        self.assertGreaterEqual(len(playable), min(before, 20))
        ffmpeg(*FOLLOW_REFERENCES, "-t", "0.6", "-i", files["ref"], "-f", "null", "-")
        self.end_well(program)
        self.assertEqual(playable, video_packets(files["dv"])[: len(playable)])

    def test_nothing_is_overwritten_unless_erasing_is_asked_for(self):
        for erase in (False, True):
            name = f"Erase{erase}"
            write_preferences(self.home, {"Erase Existing Files": erase,
                                          **self.settings(PAL_DECK, Recording_Name=name)})
            program = self.start(deck("pal", PAL_DECK, speed=8))
            self.record(program, 1, 150, self.take(name), PAL_FRAME)
            first = size_of(self.take(name)["dv"])
            second = self.take(name, 0 if erase else 1)
            program.ask("RECORD 1")
            wait_until(lambda: program.ask("ELAPSED 1") >= "00:00:00:03", "frames")
            self.end_well(program)
            self.assertLess(self.check_take(second, PAL_FRAME), first // PAL_FRAME)
            if not erase:
                # Stopping answers before the last frames are on the disk.
                self.assertGreaterEqual(size_of(self.take(name)["dv"]), first)
                self.check_take(self.take(name), PAL_FRAME)

    def test_loop_keeps_the_last_stretch(self):
        write_preferences(self.home, self.settings(
            PAL_DECK, Recording_Name="Loop", Loop_Recording=True, Reference_Movie_Duration=2.0,
            **{"Create Self-Contained Movie": False}))
        program = self.start(deck("pal", PAL_DECK, speed=4))
        program.ask("RECORD 1")
        wait_until(lambda: program.ask("ELAPSED 1") >= "00:00:05:00", "two rounds and more")
        self.end_well(program)
        frames, rest = divmod(size_of(self.take("Loop")["dv"]), PAL_FRAME)
        self.assertEqual(rest, 0)
        self.assertGreaterEqual(frames, 50)
        self.assertLessEqual(frames, 50 + 10 + 2 * 4)  # a buffer, and a frame or two of looseness

    def test_record_from_the_command_line(self):
        program = self.run_program("--record", "1", "--to", self.takes, deck("pal", PAL_DECK),
                                   headless=False)
        self.assertEqual(program.wait(), 0, program.log() + program.output())
        self.assertIn("nothing lost", program.output())
        names = [name[:-4] for name in os.listdir(self.takes) if name.endswith(".mov")]
        self.assertEqual(len(names), 1)
        self.assertGreaterEqual(self.check_take(self.take(names[0]), PAL_FRAME, covered=25), 25)
        # Nothing of it is left in the preferences.
        self.assertFalse(os.path.exists(os.path.join(self.home, "Library")))


if __name__ == "__main__":
    unittest.main()
