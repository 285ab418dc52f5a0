"""The running program keeps its schedule: events of the preferences make their files on time.

Judges: the property list module of Python, ffmpeg, and the clock.
"""

import datetime
import os
import pathlib
import plistlib
import time
import unittest

from takebox import (PAL_FRAME, PAL_RATE, TakeboxTest, deck, frames_of_time_code, read_preferences,
                     scheduled_event, video_packets, wait_until, write_preferences)

GUIDS = [0x0800460102030405, 0xFEDCBA9876543210]
STOP_DELAY = 0.18


def zone_around_noon():
    """A time zone in which it is between 11 and 13 now: no event crosses midnight."""
    ahead = (12 - time.gmtime().tm_hour) % 24
    if ahead > 12:
        ahead -= 24
    return f"TST{-ahead:+d}"  # the sign of these names counts to the west


def seconds_of_day():
    now = time.time()
    local = time.localtime(now)
    return local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec + now % 1


def today():
    # A property list knows instants only; this one is today wherever the test runs.
    local_noon = time.mktime(time.localtime()[:3] + (12, 0, 0, 0, 0, -1))
    return datetime.datetime.utcfromtimestamp(local_noon)


class ScheduledRecordings(TakeboxTest):
    def setUp(self):
        super().setUp()
        self.addCleanup(self.set_zone, os.environ.get("TZ"))
        self.set_zone(zone_around_noon())
        self.folders = {kind: pathlib.Path(self.make_folder(kind)) for kind in ("ref", "mov", "raw")}

    @staticmethod
    def set_zone(zone):
        if zone is None:
            del os.environ["TZ"]
        else:
            os.environ["TZ"] = zone
        time.tzset()

    def event(self, name, guid, start, duration, **more):
        return scheduled_event(start, guid, name, start, duration, str(self.folders["raw"]), **{
            "Reference Movie Folder Path": str(self.folders["ref"]),
            "Self-Contained Movie Folder Path": str(self.folders["mov"]), **more})

    def write_events(self, *events, form=plistlib.FMT_XML):
        write_preferences(self.home, {"Scheduling Events": list(events)}, form)

    def start_decks(self):
        return self.start(*(deck("pal", guid) for guid in GUIDS))

    def wait_for_status(self, program, number, status):
        """Returns the time of day when the deck has come to it."""
        wait_until(lambda: program.ask(f"STATUS {number}") == status, f"deck {number}: {status}")
        return seconds_of_day()

    def assert_recorded(self, name, duration):
        """The files of a recording exist and are as long as its announced duration says, but for
        half a second that a busy machine may take to start or stop it."""
        expected = (duration + STOP_DELAY) * PAL_RATE
        size = (self.folders["raw"] / name / f"{name}.dv").stat().st_size
        self.assertEqual(size % PAL_FRAME, 0)
        self.assertAlmostEqual(size / PAL_FRAME, expected, delta=PAL_RATE / 2)
        audio = self.folders["raw"] / name / f"{name}.aud"
        self.assertEqual(audio.stat().st_size, size // PAL_FRAME * 7680)
        self.assertTrue((self.folders["ref"] / f"{name}.ref").exists(), name)
        packets = video_packets(str(self.folders["mov"] / f"{name}.mov"))
        self.assertAlmostEqual(len(packets), expected, delta=PAL_RATE / 2)

    def test_makes_the_files_of_an_event_of_today_and_of_a_weekly_one(self):
        start = int(seconds_of_day()) + 4
        weekday = (time.localtime().tm_wday + 1) % 7
        self.write_events(
            self.event("One", GUIDS[0], start, 3, Date=today()),
            "what another program left here",
            {"Recording Name": ["no text"], "Start Time": "soon", "Device GUID": 1.5},
            self.event("Week", GUIDS[1], start, 4, **{f"Should Record On Day {weekday}": 1}),
            form=plistlib.FMT_BINARY)
        program = self.start_decks()
        self.assertEqual(program.ask("STATUS 1"), "IDLE")
        started = self.wait_for_status(program, 1, "REC")
        self.wait_for_status(program, 2, "REC")
        # Sixty milliseconds early, a poll of the schedule and one of ours.
        self.assertGreater(started, start - 0.07)
        self.assertLess(started, start + 0.5)
        durations = [float(program.ask(f"DURATION {device}")) for device in (1, 2)]
        self.assertIn(durations[0], (3.0, 4.0))
        self.assertEqual(program.ask("RECNAME 1"), "One")
        self.assertEqual(program.ask("RECNAME 2"), "Week")
        self.wait_for_status(program, 1, "IDLE")
        stopped = self.wait_for_status(program, 2, "IDLE")
        self.assertAlmostEqual(stopped, start + 5 + STOP_DELAY, delta=1.2)
        self.end_well(program)
        self.assert_recorded("One", durations[0])
        self.assert_recorded("Week", durations[1])

        stored = read_preferences(self.home)["Scheduling Events"]
        self.assertEqual([e.get("Recording Name") for e in stored], ["One", None, "Week"])
        self.assertEqual([e["Device GUID"] for e in stored], [GUIDS[0], 0, GUIDS[1]])
        self.assertEqual(stored[0]["Date"].date(), today().date())
        self.assertNotIn("Date", stored[2])
        for entry in stored:
            for key in ("Start Time", "End Time", "Duration"):
                self.assertIsInstance(entry[key], float)
            for day in range(7):
                self.assertIsInstance(entry[f"Should Record On Day {day}"], bool)
        self.assertTrue(stored[2][f"Should Record On Day {weekday}"])

    def test_takes_an_event_up_again_after_a_restart_in_its_window(self):
        start = int(seconds_of_day()) + 2
        self.write_events(self.event("Long", GUIDS[0], start, 9, Date=today()))
        program = self.start_decks()
        self.wait_for_status(program, 1, "REC")
        wait_until(lambda: frames_of_time_code(program.ask("ELAPSED 1")) >= 25, "a second")
        self.end_well(program)
        program = self.start_decks()
        self.wait_for_status(program, 1, "REC")
        duration = float(program.ask("DURATION 1"))
        self.assertLess(duration, 9.5)
        stopped = self.wait_for_status(program, 1, "IDLE")
        self.assertAlmostEqual(stopped, start + 9 + STOP_DELAY, delta=1.2)
        self.end_well(program)
        # What was recorded before the restart is complete on the disk beside the rest.
        whole = list(self.folders["raw"].glob("Long*/*.dv"))
        self.assertEqual(len(whole), 2)
        for file in whole:
            self.assertEqual(file.stat().st_size % PAL_FRAME, 0)
            self.assertGreaterEqual(file.stat().st_size, 25 * PAL_FRAME)

    def test_waits_for_a_device_that_is_recording_by_hand(self):
        start = int(seconds_of_day()) + 3
        self.write_events(self.event("Late", GUIDS[0], start, 8, Date=today()))
        program = self.start_decks()
        for command, kind in (("SETREFMOVIEPATH", "ref"), ("SETMOVIECAPTUREPATH", "mov"),
                              ("SETRAWCAPTUREPATH", "raw")):
            self.assertEqual(program.ask(f"{command} 1 {self.folders[kind]}"), "OK")
        program.ask("SETRECNAME 1 ByHand")
        program.ask("RECORD 1")
        self.assertEqual(program.ask("STATUS 1"), "REC")
        program.wait_for_log("Could not start the event because the device is already recording")
        self.assertEqual(program.ask("RECNAME 1"), "ByHand")
        program.ask("STOP 1")
        self.wait_for_status(program, 1, "REC")
        self.assertEqual(program.ask("RECNAME 1"), "Late")
        duration = float(program.ask("DURATION 1"))
        self.wait_for_status(program, 1, "IDLE")
        self.end_well(program)
        self.assert_recorded("Late", duration)


if __name__ == "__main__":
    unittest.main()
