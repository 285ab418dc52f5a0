"""Lets the program record for hours while commands come from all sides at once, checks every file
byte by byte against the tapes, and watches the memory.

    TAKEBOX=build/release/takebox dbus-run-session -- python3 tests/soak/soak.py --minutes 60

With a display (for example under xvfb-run) the program runs with its windows, and they get keys.
"""

import argparse
import collections
import contextlib
import datetime
import fcntl
import os
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from source import Tape, counts_of_tables, read_movie, read_raw  # noqa: E402
from takebox import (Takebox, deck, deck_key, deck_settings, scheduled_event,  # noqa: E402
                     wait_until, write_preferences)
from commands import ControlPort, SessionBus, Windows  # noqa: E402

FIRST_GUID = 0x50A0
SETTLED = 6.0  # seconds that nobody has written a file before it counts as finished
JUMPS_OF_A_LOOP = 4  # where rounds of different lengths meet


def resident(pid):
    """Kilobytes of memory in use."""
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        return int(re.search(r"VmRSS:\s+(\d+)", file.read())[1])


def born(path):
    """When a file was made."""
    done = subprocess.run(["stat", "-c", "%W", path], capture_output=True, check=False)
    return float(done.stdout or 0)  # 0 where the file system does not know


def is_being_recorded(path):
    with open(path, "rb") as file:
        try:
            fcntl.flock(file, fcntl.LOCK_SH | fcntl.LOCK_NB)
        except BlockingIOError:
            return True
    return False


class Soak:
    def __init__(self, options):
        self.options = options
        self.decks = options.decks
        self.is_over = threading.Event()
        self.sides = []
        self.folder = tempfile.mkdtemp(prefix="soak-", dir=options.folder)
        self.report = open(os.path.join(options.folder, "report.txt"), "w", encoding="utf-8",
                           buffering=1)
        self.lock = threading.Lock()  # guards the next two
        self.next_name = 0
        self.expected_jumps = collections.defaultdict(list)  # times, by deck
        self.checked = collections.Counter()
        self.failures = []
        self.tapes = {standard: Tape(os.path.join(self.folder, standard + ".dv"), standard, 20)
                      for standard in ("pal", "ntsc")}

    # What the sides ask

    def guid(self, index):
        return FIRST_GUID + index

    def guid_text(self, index):
        return f"{self.guid(index):016x}"

    @staticmethod
    def deck_name(index):
        return f"Soak {index + 1}"

    def tape(self, index):
        return self.tapes["pal" if index % 2 == 0 else "ntsc"]

    def takes(self, index):
        return os.path.join(self.folder, f"takes {index + 1}")

    def name_next(self, ask, number):
        with self.lock:
            self.next_name += 1
            name = f"Take {self.next_name}"
        ask(f"SETRECNAME {number} {name}")

    def expect_jump(self, index):
        with self.lock:
            self.expected_jumps[index].append(time.time())

    def note(self, text):
        line = f"{datetime.datetime.now():%H:%M:%S} {text}"
        print(line, flush=True)
        self.report.write(line + "\n")

    def fail(self, text):
        self.failures.append(text)
        self.note("FAILED: " + text)

    # The program

    def schedule(self):
        """One-off events of 20 s, one every 3 minutes and deck, for the time of the soak."""
        now = datetime.datetime.now().astimezone()
        midnight = now.replace(hour=0, minute=0, second=0, microsecond=0)
        events = []
        for index in range(self.decks):
            at = (now - midnight).total_seconds() + 30 + 40 * index
            while at < (now - midnight).total_seconds() + self.options.minutes * 60:
                day = (midnight + datetime.timedelta(seconds=at)).astimezone(datetime.timezone.utc)
                start = at % 86400
                events.append(scheduled_event(
                    len(events), self.guid(index), f"Event {len(events)}", int(start), 20,
                    self.takes(index),
                    **{"Date": day.replace(tzinfo=None), "Device String": self.deck_name(index)}))
                at += 180
        return events

    def start(self):
        home = os.path.join(self.folder, "home")
        preferences = {"Scheduling Events": self.schedule()}
        for index in range(self.decks):
            os.makedirs(self.takes(index))
            preferences[deck_key(self.guid(index))] = deck_settings(
                self.takes(index), Recording_Name="First", Device_Name=self.deck_name(index))
        os.makedirs(home)
        write_preferences(home, preferences)
        bus = {"DBUS_SESSION_BUS_ADDRESS": os.environ["DBUS_SESSION_BUS_ADDRESS"]}
        if Windows.is_possible():
            bus["QT_QPA_PLATFORM"] = "xcb"
        self.program = Takebox(
            self.folder, "--control-port", "0",
            *[deck(self.tape(index).path, self.guid(index), loop="yes")
              for index in range(self.decks)],
            home=home, headless=not Windows.is_possible(), environment=bus)
        self.note(f"control port {self.program.port}, {self.decks} decks, "
                  f"{'windows' if Windows.is_possible() else 'no windows'}, {self.folder}")

    # Checking

    def is_finished(self, path):
        try:
            return (time.time() - os.path.getmtime(path) > SETTLED and
                    not is_being_recorded(path))
        except FileNotFoundError:
            return False

    def allowed_jumps(self, index, path, since):
        """Pauses in the time of the recording explain jumps."""
        until = os.path.getmtime(path) + 1
        with self.lock:
            pauses = sum(since <= at <= until for at in self.expected_jumps[index])
        return pauses

    def ends(self, index, name):
        """Frames received, frames lost and problem messages of the recordings of a name, or of one
        with a number more, as the log tells them."""
        return [tuple(map(int, numbers)) for numbers in re.findall(
            rf'{self.deck_name(index)}: recording "{re.escape(name)}(?: \d+)?" ended, '
            r"(\d+) frames received, \d+ recorded, (\d+) lost, (\d+) problem",
            self.program.log())]

    def is_told(self, index, name):
        """Whether the log tells that the recording lost frames, or that the deck did not deliver
        some: on a machine that is held up that is no fault, but to keep it silent is."""
        return any(lost or problems for _, lost, problems in self.ends(index, name))

    def check_finished(self):
        for index in range(self.decks):
            for folder, _, names in os.walk(self.takes(index)):
                for name in sorted(names):
                    path = os.path.join(folder, name)
                    base, extension = os.path.splitext(path)
                    if extension == ".mov" and self.is_finished(path):
                        self.check_movie(index, path)
                        os.remove(path)
                    elif (extension == ".dv" and self.is_finished(path) and
                          self.is_finished(base + ".aud")):
                        self.check_raw(index, base)
                        os.remove(path)
                        os.remove(base + ".aud")
            self.remove_references(index)

    def remove_references(self, index):
        """Reference movies whose raw files have been checked."""
        folder = self.takes(index)
        for name in os.listdir(folder):
            path = os.path.join(folder, name)
            if name.endswith(".ref") and time.time() - os.path.getmtime(path) > 600:
                os.remove(path)

    def check_movie(self, index, path):
        tape = self.tape(index)
        recorded = read_movie(path, tape)
        if self.is_told(index, os.path.splitext(os.path.basename(path))[0]):
            self.checked["movies with losses that were told"] += 1
            return
        self.judge(index, path, recorded, recorded.jumps(tape))
        if recorded.sound != recorded.expected_sound(tape):
            self.fail(f"{path}: {len(recorded.sound)} bytes of sound are not those of its "
                      f"{len(recorded.numbers)} frames")
        counts = counts_of_tables(path)
        expected = (len(recorded.numbers), len(recorded.sound) // 4)
        if recorded.numbers and counts != expected:
            self.fail(f"{path}: its tables count {counts}, its data {expected}")
        self.checked["movies"] += 1

    def check_raw(self, index, base):
        tape = self.tape(index)
        recorded = read_raw(base, tape)
        # The folder has the recording's name; its files may have a number more.
        name = os.path.basename(os.path.dirname(base))
        if self.is_told(index, name):
            self.checked["raw pairs with losses that were told"] += 1
            return
        jumps = recorded.jumps(tape)
        expected = recorded.expected_sound(tape)
        # A loop has gone round when fewer frames are in the file than were received, or when
        # pictures and sound have gone round at different frames.
        is_whole = any(received == len(recorded.numbers)
                       for received, _, _ in self.ends(index, name))
        is_round = jumps != 0 and (not is_whole or recorded.sound != expected)
        self.judge(index, base + ".dv", recorded, max(0, jumps - JUMPS_OF_A_LOOP * is_round))
        if not is_round and recorded.sound != expected:
            self.fail(f"{base}.aud: {len(recorded.sound)} bytes of sound are not those of the "
                      f"{len(recorded.numbers)} frames")
        self.checked["rounds of loops" if is_round else "raw pairs"] += 1

    def judge(self, index, path, recorded, jumps):
        self.checked["frames"] += len(recorded.numbers)
        self.checked["jumps"] += jumps
        for fault in recorded.faults:
            self.fail(f"{path}: {fault}")
        allowed = self.allowed_jumps(index, path, born(path) - 1)
        if jumps > allowed:
            self.fail(f"{path}: {jumps} jumps in {len(recorded.numbers)} frames, {allowed} "
                      "explained")

    # Memory

    def memory_at_rest(self):
        """With nothing recording: what decks hold while they record is no growth."""
        with contextlib.ExitStack() as rest:
            for side in self.sides:
                rest.enter_context(side.turn)
            wait_until(self.is_at_rest, "the decks' rest")
            memory = resident(self.program.process.pid)
        self.note(f"memory at rest: {memory} kB")
        return memory

    def is_at_rest(self):
        for number in range(1, self.decks + 1):
            if self.program.ask(f"STATUS {number}") != "IDLE":
                self.program.ask(f"STOP {number}")
                return False
        return not any(is_being_recorded(os.path.join(folder, name))
                       for index in range(self.decks)
                       for folder, _, names in os.walk(self.takes(index)) for name in names)

    # The run

    def run(self):
        self.start()
        self.sides += [ControlPort(self, 1, 0.6), ControlPort(self, 2, 0.6),
                       SessionBus(self, 3, 3.0)]
        if Windows.is_possible():
            self.sides.append(Windows(self, 4, 3.0))
        for side in self.sides:
            side.start()
        begin = time.monotonic()
        at_rest = []
        next_rest = 60
        next_line = 0
        while time.monotonic() - begin < self.options.minutes * 60:
            time.sleep(1)
            if not self.program.is_running():
                self.fail(f"the program ended:\n{self.program.log()[-2000:]}")
                break
            elapsed = time.monotonic() - begin
            if int(elapsed) % 5 == 0:
                self.check_finished()
            if elapsed >= next_rest:
                next_rest += 300
                at_rest.append(self.memory_at_rest())
            if elapsed >= next_line:
                next_line += 60
                memory = resident(self.program.process.pid)
                self.note(f"{elapsed / 60:.0f} min: {memory} kB, {dict(self.checked)}")
        if self.program.is_running():
            at_rest.append(self.memory_at_rest())
        self.is_over.set()
        for side in self.sides:
            side.join(90)
            self.note(f"{side.name}: {side.given} commands, {side.failed} failed")
        return self.finish(at_rest)

    def finish(self, at_rest):
        if self.program.is_running():
            status = self.program.terminate()
            if status != 0:
                self.fail(f"the program ended with {status}")
        time.sleep(SETTLED + 1)
        self.check_finished()
        left = [name for index in range(self.decks) for _, _, names in os.walk(self.takes(index))
                for name in names if not name.endswith(".ref")]
        if left:
            self.fail(f"not checked: {left}")
        log = self.program.log()
        lines = collections.Counter(
            re.sub(r"\d+", "N", line.split("]", 1)[-1])[:80] for line in log.splitlines()
            if re.search(r"[Dd]rop|LOST|lost|complete up to|Cannot|failed", line))
        for line, count in lines.most_common(12):
            self.note(f"log, {count} times: {line}")
        self.note(f"memory at rest, kB, after the first minute, then every five: {at_rest}")
        self.note(f"checked: {dict(self.checked)}; {len(self.failures)} failures")
        if not self.failures:
            shutil.rmtree(self.folder, ignore_errors=True)
        return 1 if self.failures else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--minutes", type=float, default=60)
    parser.add_argument("--decks", type=int, default=4)
    parser.add_argument("--folder", default=tempfile.gettempdir(),
                        help="where tapes and recordings are made; they are removed as they are "
                             "checked")
    options = parser.parse_args()
    if "DBUS_SESSION_BUS_ADDRESS" not in os.environ:
        sys.exit("there is no session bus: run this with dbus-run-session")
    os.makedirs(options.folder, exist_ok=True)
    sys.exit(Soak(options).run())


if __name__ == "__main__":
    main()
