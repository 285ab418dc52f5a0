"""Preferences that another tool has written, and ours as another tool reads them."""

import datetime
import os
import plistlib
import unittest

from takebox import (PAL_FRAME, PREFERENCES, TakeboxTest, deck, deck_key, deck_settings, ffprobe,
                     read_file, read_preferences, size_of, wait_until, write_preferences)

GUID = 0x0800460104B2C3D4

EVENT = {
    "UUID": "5C3A1B1E-8C4B-4C53-9F77-0A1B2C3D4E5F",
    "Date": datetime.datetime(2040, 2, 29, 12, 0, 0),
    **{f"Should Record On Day {day}": False for day in range(7)},
    "Start Time": 36000.0,
    "End Time": 39600.5,
    "Duration": 3600.5,
    "Device GUID": 0xFEDCBA9876543210,
    "Device String": "Studio »B«",
    "Recording Name": "News & <weather>",
    "Reference Movie Folder Path": "/ref",
    "Self-Contained Movie Folder Path": "/self",
    "Raw Streams Folder Path": "/raw",
    "Create Reference Movie": False,
    "Create Self-Contained Movie": True,
    "Auto Name File": True,
}
WEEKLY = {**EVENT, "UUID": "second", "Should Record On Day 1": True, "Auto Name File": False}
del WEEKLY["Date"]


class Preferences(TakeboxTest):
    def setUp(self):
        super().setUp()
        self.takes = self.make_folder("takes")

    def application_keys(self):
        return {
            "Castline Addresses": ["127.0.0.2", "no-such-host.invalid"],
            "Should Switch Castline": False,
            "Start/Stop VTR When Recording": False,
            "Erase Existing Files": True,
            "Launch Start Recording Script": False,
            "Start Recording Script Delay": 3,
            "Launch Stop Recording Script": True,
            "Stop Recording Script Delay": 4,
            "Recording Format": 1,
            "Scheduling Events": [EVENT, WEEKLY],
        }

    def device_keys(self):
        return deck_settings(
            self.takes, Auto_Name_Recordings=False, Mono_Tracks=True, Loop_Recording=True,
            Reference_Movie_Duration=2.5, Recording_Name="Früh & spät",
            Device_Name="Deck <1>", Timecode_Source_Index=2, Preset_Timecode=3723.5,
            Create_Reference_Movie=True, **{"Create Self-Contained Movie": False})

    def test_every_key_is_read_from_either_form_and_kept(self):
        for form in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            with self.subTest(form=form):
                written = {**self.application_keys(), deck_key(GUID): self.device_keys(),
                           "A key of somebody else": [1, 2.5, True, b"\0\1", {"a": "b"}]}
                write_preferences(self.home, written, form)
                program = self.start(deck("pal", GUID))
                answers = {
                    "RECNAME": "Früh & spät", "DEVICENAME": "Deck <1>", "AUTO": "0",
                    "DURATION": "2.500000", "CREATEREFMOVIE": "1", "CREATESELFMOVIE": "0",
                    "RAWCAPTUREPATH": self.takes, "REFMOVIEPATH": self.takes,
                    "MOVIECAPTUREPATH": self.takes, "TIMECODE": "01:02:03:12",
                }
                for command, answer in answers.items():
                    self.assertEqual(program.ask(f"{command} 1"), answer, command)
                # Each change is there for others to read while the program runs.
                program.ask("SETDURATION 1 7.25")
                wait_until(lambda: read_preferences(self.home)[deck_key(GUID)]
                           ["Reference Movie Duration"] == 7.25, "the change on the disk")
                self.end_well(program)
                expected = {**written,
                            deck_key(GUID): {**self.device_keys(),
                                             "Reference Movie Duration": 7.25}}
                self.assertEqual(self.with_types(read_preferences(self.home)),
                                 self.with_types(expected))

    def with_types(self, value):
        """The value with the type of each part, because True == 1 == 1.0."""
        if isinstance(value, dict):
            return {key: self.with_types(each) for key, each in value.items()}
        if isinstance(value, list):
            return [self.with_types(each) for each in value]
        return type(value).__name__, value

    def test_what_is_written_is_xml(self):
        program = self.start(deck("pal", GUID))
        program.ask("SETRECNAME 1 Plain")
        self.end_well(program)
        self.assertTrue(read_file(os.path.join(self.home, PREFERENCES)).startswith(b"<?xml"))

    def test_keys_of_the_recording_do_what_they_say(self):
        # The deck waits for a command to play, which it gets; there is no start script.
        write_preferences(self.home, {
            "Start/Stop VTR When Recording": True, "Should Switch Castline": 1,
            "Castline Addresses": ["no-such-host.invalid"],
            deck_key(GUID): self.device_keys()})
        program = self.start(deck("pal", GUID, cue="yes", speed=4))
        program.ask("RECORD 1")
        raw = os.path.join(self.takes, "Früh & spät", "Früh & spät")
        wait_until(lambda: program.ask("ELAPSED 1") >= "00:00:06:00", "the loop to come round")
        self.end_well(program)
        self.assertIn("Could not switch Castline with address no-such-host.invalid",
                      program.log())
        self.assertLess(size_of(raw + ".dv"), 100 * PAL_FRAME)  # 2.5 s in a loop
        reference = os.path.join(self.takes, "Früh & spät.ref")
        self.assertEqual(ffprobe(reference, "format=duration"), ["2.500000"])
        self.assertEqual(ffprobe(reference, "stream_tags=timecode", "-select_streams", "d"),
                         ["01:02:03:12"])

    def test_deck_that_is_not_to_be_driven_is_not(self):
        write_preferences(self.home, {"Start/Stop VTR When Recording": False,
                                      deck_key(GUID): self.device_keys()})
        program = self.start(deck("pal", GUID, cue="yes"), deck("pal", 1))
        stood = program.ask("TIMECODE 2")
        program.ask("RECORD 1")
        wait_until(lambda: program.ask("TIMECODE 2") > stood, "another deck to play on")
        self.assertEqual(program.ask("STATUS 1"), "REC")
        self.assertEqual(program.ask("ELAPSED 1"), "00:00:00:00")
        self.end_well(program)

    def test_values_of_a_neighbouring_type_are_understood(self):
        write_preferences(self.home, {
            "Erase Existing Files": 1,
            deck_key(GUID): {"Auto Name Recordings": 1, "Reference Movie Duration": "3600",
                             "Create Reference Movie": "YES", "Device Name": "Deck"}})
        program = self.start(deck("pal", GUID))
        self.assertEqual(program.ask("AUTO 1"), "1")
        self.assertEqual(program.ask("DURATION 1"), "3600.000000")
        self.assertEqual(program.ask("CREATEREFMOVIE 1"), "1")
        self.assertEqual(program.ask("RECNAME 1"), "Untitled")
        self.end_well(program)

    def test_device_never_seen_before_gets_an_entry_with_every_key(self):
        program = self.start(deck("pal", GUID, name="New deck"))
        self.assertEqual(program.ask("DEVICENAME 1"), "New deck")
        self.end_well(program)
        self.assertEqual(read_preferences(self.home)[deck_key(GUID)], deck_settings(
            "/", Reference_Movie_Duration=3600.0, Recording_Name="Untitled",
            Device_Name="New deck", Create_Reference_Movie=True,
            **{"Create Self-Contained Movie": False}))


if __name__ == "__main__":
    unittest.main()
