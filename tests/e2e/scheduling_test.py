"""The running program keeps its schedule: events of the preferences make their files on time.

Judges: the property list module of Python, ffprobe, and the clock. Needs the path of the program in
TAKEBOX.
"""

import datetime
import json
import os
import pathlib
import plistlib
import re
import signal
import socket
import subprocess
import tempfile
import time
import unittest

PROGRAM = os.environ.get("TAKEBOX", "build/release/takebox")
PREFERENCES = "Library/Preferences/com.marvanemedia.TakeboxDV.plist"
GUIDS = [0x0800460102030405, 0xFEDCBA9876543210]
PAL_FRAME = 144000
PAL_RATE = 25
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


class Recorder:
    """The program without windows, with virtual decks."""

    def __init__(self, home, *options):
        environment = dict(os.environ, HOME=str(home))
        command = [PROGRAM, "--headless", "--control-port", "0"]
        for guid in GUIDS:
            command += ["--virtual-deck", f"pal,guid={guid:016x},name=Deck {GUIDS.index(guid)}"]
        self.log = open(home / "log", "a+", encoding="utf-8")
        begin = self.log.tell()
        self.process = subprocess.Popen(
            command + list(options), env=environment, stdout=self.log, stderr=self.log
        )
        self.port = int(self.wait_for_log(r"Starting server on port (\d+)", begin))

    def wait_for_log(self, pattern, begin=0):
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            self.log.flush()
            self.log.seek(begin)
            found = re.search(pattern, self.log.read())
            if found:
                return found.group(1)
            if self.process.poll() is not None:
                break
            time.sleep(0.01)
        raise AssertionError(f"{pattern} is not in the log")

    def ask(self, command):
        with socket.create_connection(("127.0.0.1", self.port), timeout=10) as connection:
            connection.sendall(command.encode() + b"\r\n")
            answer = b""
            while not answer.endswith(b"\n\r"):
                piece = connection.recv(4096)
                if not piece:
                    break
                answer += piece
        return answer.decode().strip()

    def wait_for_status(self, device, status, seconds=30):
        """Waits for the status over the control port. Returns the time of day."""
        deadline = time.monotonic() + seconds
        while self.ask(f"STATUS {device}") != status:
            if time.monotonic() > deadline:
                raise AssertionError(f"device {device} is not {status}")
            time.sleep(0.01)
        return seconds_of_day()

    def wait_for_frames(self, device, frames, seconds=30):
        deadline = time.monotonic() + seconds
        while self.frames(device) < frames:
            if time.monotonic() > deadline:
                raise AssertionError(f"device {device} has not recorded {frames} frames")
            time.sleep(0.01)

    def frames(self, device):
        hours, minutes, whole, frames = map(int, self.ask(f"ELAPSED {device}").split(":"))
        return ((hours * 60 + minutes) * 60 + whole) * PAL_RATE + frames

    def end(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(timeout=30)
        self.log.close()
        return status


class ScheduledRecordings(unittest.TestCase):
    def setUp(self):
        self.zone_before = os.environ.get("TZ")
        os.environ["TZ"] = zone_around_noon()
        time.tzset()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        for name in ("ref", "mov", "raw"):
            (self.home / name).mkdir()
        (self.home / PREFERENCES).parent.mkdir(parents=True)
        self.recorder = None

    def tearDown(self):
        if self.recorder:
            self.recorder.end()
        if self.zone_before is None:
            del os.environ["TZ"]
        else:
            os.environ["TZ"] = self.zone_before
        time.tzset()

    def event(self, name, guid, start, duration, **more):
        entry = {
            "UUID": f"00000000-0000-4000-8000-{start:012d}",
            "Start Time": float(start),
            "End Time": float(start + duration),
            "Duration": float(duration),
            "Device GUID": guid,
            "Device String": "Deck",
            "Recording Name": name,
            "Reference Movie Folder Path": str(self.home / "ref"),
            "Self-Contained Movie Folder Path": str(self.home / "mov"),
            "Raw Streams Folder Path": str(self.home / "raw"),
            "Create Reference Movie": True,
            "Create Self-Contained Movie": True,
            "Auto Name File": False,
        }
        entry.update(more)
        return {key: value for key, value in entry.items() if value is not None}

    @staticmethod
    def today():
        # A property list knows instants only; this one is today wherever the test runs.
        local_noon = time.mktime(time.localtime()[:3] + (12, 0, 0, 0, 0, -1))
        return datetime.datetime.utcfromtimestamp(local_noon)

    def write_events(self, events, binary=False):
        kind = plistlib.FMT_BINARY if binary else plistlib.FMT_XML
        with open(self.home / PREFERENCES, "wb") as file:
            plistlib.dump({"Scheduling Events": events}, file, fmt=kind)

    def stored_events(self):
        with open(self.home / PREFERENCES, "rb") as file:
            return plistlib.load(file)["Scheduling Events"]

    def assert_recorded(self, name, duration):
        """The files of a recording exist and are as long as its announced duration says."""
        expected = (duration + STOP_DELAY) * PAL_RATE
        video = self.home / "raw" / name / f"{name}.dv"
        size = video.stat().st_size
        self.assertEqual(size % PAL_FRAME, 0)
        self.assertAlmostEqual(size / PAL_FRAME, expected, delta=2)
        audio = self.home / "raw" / name / f"{name}.aud"
        self.assertEqual(audio.stat().st_size, size // PAL_FRAME * 7680)
        for movie in (self.home / "mov" / f"{name}.mov", self.home / "ref" / f"{name}.ref"):
            self.assertTrue(movie.exists(), movie)
        probe = subprocess.run(
            ["ffprobe", "-v", "error", "-count_packets", "-select_streams", "v:0", "-show_entries",
             "stream=nb_read_packets", "-of", "json", str(self.home / "mov" / f"{name}.mov")],
            capture_output=True, check=True,
        )
        packets = int(json.loads(probe.stdout)["streams"][0]["nb_read_packets"])
        self.assertAlmostEqual(packets, expected, delta=2)

    def test_makes_the_files_of_an_event_of_today_and_of_a_weekly_one(self):
        start = int(seconds_of_day()) + 4
        weekday = (time.localtime().tm_wday + 1) % 7
        self.write_events(
            [
                self.event("One", GUIDS[0], start, 3, Date=self.today()),
                "what another program left here",
                {"Recording Name": ["no text"], "Start Time": "soon", "Device GUID": 1.5},
                self.event("Week", GUIDS[1], start, 4, **{f"Should Record On Day {weekday}": 1}),
            ],
            binary=True,
        )
        self.recorder = Recorder(self.home)
        self.assertEqual(self.recorder.ask("STATUS 1"), "IDLE")
        started = self.recorder.wait_for_status(1, "REC")
        self.recorder.wait_for_status(2, "REC")
        # Sixty milliseconds early, a poll of the schedule and one of ours.
        self.assertGreater(started, start - 0.07)
        self.assertLess(started, start + 0.5)
        durations = [float(self.recorder.ask(f"DURATION {device}")) for device in (1, 2)]
        self.assertIn(durations[0], (3.0, 4.0))
        self.assertEqual(self.recorder.ask("RECNAME 1"), "One")
        self.assertEqual(self.recorder.ask("RECNAME 2"), "Week")
        self.recorder.wait_for_status(1, "IDLE")
        stopped = self.recorder.wait_for_status(2, "IDLE")
        self.assertAlmostEqual(stopped, start + 5 + STOP_DELAY, delta=1.2)
        self.assertEqual(self.recorder.end(), 0)
        self.recorder = None
        self.assert_recorded("One", durations[0])
        self.assert_recorded("Week", durations[1])

        stored = self.stored_events()
        self.assertEqual([e.get("Recording Name") for e in stored], ["One", None, "Week"])
        self.assertEqual([e["Device GUID"] for e in stored], [GUIDS[0], 0, GUIDS[1]])
        self.assertEqual(stored[0]["Date"].date(), self.today().date())
        self.assertNotIn("Date", stored[2])
        for entry in stored:
            for key in ("Start Time", "End Time", "Duration"):
                self.assertIsInstance(entry[key], float)
            for day in range(7):
                self.assertIsInstance(entry[f"Should Record On Day {day}"], bool)
        self.assertTrue(stored[2][f"Should Record On Day {weekday}"])

    def test_takes_an_event_up_again_after_a_restart_in_its_window(self):
        start = int(seconds_of_day()) + 2
        self.write_events([self.event("Long", GUIDS[0], start, 9, Date=self.today())])
        self.recorder = Recorder(self.home)
        self.recorder.wait_for_status(1, "REC")
        self.recorder.wait_for_frames(1, 25)
        self.assertEqual(self.recorder.end(), 0)
        self.recorder = Recorder(self.home)
        self.recorder.wait_for_status(1, "REC")
        duration = float(self.recorder.ask("DURATION 1"))
        self.assertLess(duration, 9.5)
        stopped = self.recorder.wait_for_status(1, "IDLE")
        self.assertAlmostEqual(stopped, start + 9 + STOP_DELAY, delta=1.2)
        self.recorder.end()
        self.recorder = None
        # What was recorded before the restart is complete on the disk beside the rest.
        whole = list((self.home / "raw").glob("Long*/*.dv"))
        self.assertEqual(len(whole), 2)
        for file in whole:
            self.assertEqual(file.stat().st_size % PAL_FRAME, 0)
            self.assertGreaterEqual(file.stat().st_size, 25 * PAL_FRAME)

    def test_waits_for_a_device_that_is_recording_by_hand(self):
        start = int(seconds_of_day()) + 3
        self.write_events([self.event("Late", GUIDS[0], start, 8, Date=self.today())])
        self.recorder = Recorder(self.home)
        for command in ("SETREFMOVIEPATH 1 %s/ref", "SETMOVIECAPTUREPATH 1 %s/mov",
                        "SETRAWCAPTUREPATH 1 %s/raw"):
            self.assertEqual(self.recorder.ask(command % self.home), "OK")
        self.recorder.ask("SETRECNAME 1 ByHand")
        self.recorder.ask("RECORD 1")
        self.assertEqual(self.recorder.ask("STATUS 1"), "REC")
        self.recorder.wait_for_log("(Could not start the event because the device is already recording)")
        self.assertEqual(self.recorder.ask("RECNAME 1"), "ByHand")
        self.recorder.ask("STOP 1")
        self.recorder.wait_for_status(1, "REC")
        self.assertEqual(self.recorder.ask("RECNAME 1"), "Late")
        duration = float(self.recorder.ask("DURATION 1"))
        self.recorder.wait_for_status(1, "IDLE")
        self.recorder.end()
        self.recorder = None
        self.assert_recorded("Late", duration)


if __name__ == "__main__":
    unittest.main()
