"""One try of a fault: a recording that is complete before it, a recording that it hits, and what
both are afterwards."""

import hashlib
import os
import random
import re
import shutil
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "soak"))

from source import read_movie, read_raw  # noqa: E402
from takebox import (PAL_FRAME, PAL_RATE, PROGRAM, Takebox, deck, deck_key, deck_settings,  # noqa: E402
                     frames_of_time_code, size_of, wait_until, write_preferences)
from cut_off import decode_errors, recover  # noqa: E402

GUID = 0xFA17
FAULTY_DISK = os.environ.get("FAULTY_DISK", "")
ENDED = r"recording \".*\" ended, (\d+) frames received, (\d+) recorded, (\d+) lost, (\d+) problem"


def checksums(folder):
    """Checksum of each file below a folder, by its path."""
    sums = {}
    for place, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(place, name)
            with open(path, "rb") as file:
                sums[path] = hashlib.md5(file.read()).hexdigest()
    return sums


class Trial:
    """One run of the program with one deck. The harness gives each a number of its own."""

    def __init__(self, tape, number, speed=8, folder=None, **options):
        self.random = random.Random(number)
        self.number = number
        self.tape = tape
        self.speed = speed
        self.folder = tempfile.mkdtemp(prefix="fault-", dir=folder)
        self.home = os.path.join(self.folder, "home")
        self.takes = os.path.join(self.folder, "takes")
        self.control = os.path.join(self.folder, "control")
        self.durable = os.path.join(self.folder, "durable")
        self.preferences = options.pop("preferences", {})
        self.fault = options.pop("fault", "")
        self.keep_durable = options.pop("durable", False)
        self.user = options.pop("user", None)
        for path in (self.home, self.takes, self.durable):
            os.makedirs(path)
        self.program = None
        self.received = 0
        self.told_lost = None  # by the log, where the recording came to its end
        self.told_recorded = 0
        self.messages = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.program is not None and self.program.is_running():
            self.program.kill()
        shutil.rmtree(self.folder, ignore_errors=True)

    # The program

    def begin(self, frames):
        """A recording that is complete, and so many frames of the one that the fault will hit."""
        self.start()
        self.record_before()
        self.start_during()
        self.wait_for_frames(frames)

    def start(self):
        settings = deck_settings(self.takes, Recording_Name="Before",
                                 Reference_Movie_Duration=20.0)
        write_preferences(self.home, {deck_key(GUID): settings, **self.preferences})
        environment = {"LD_PRELOAD": self.within_reach(FAULTY_DISK), "TAKEBOX_FAULTS_FOLDER": self.takes,
                       "TAKEBOX_FAULTS_CONTROL": self.control}
        if self.keep_durable:
            environment["TAKEBOX_FAULTS_DURABLE"] = self.durable
        more = {"fault": self.fault} if self.fault else {}
        options = {"program": self.within_reach(PROGRAM)}
        if self.user is not None:
            options["user"] = self.user
            for place, folders, names in os.walk(self.folder):
                for path in [place] + [os.path.join(place, name) for name in folders + names]:
                    os.chown(path, self.user, self.user)
        self.program = Takebox(self.folder, "--control-port", "0",
                               deck(self.tape.path, GUID, speed=self.speed, **more),
                               home=self.home, environment=environment, **options)

    def within_reach(self, path):
        """The file, or its copy where the program's user cannot look into our folders."""
        return shutil.copy(path, self.folder) if self.user is not None else path

    def record_before(self):
        """A recording that is complete on the disk."""
        self.program.ask("RECORD 1")
        self.wait_for_frames(8)
        self.program.ask("STOP 1")
        self.program.wait_for_log(ENDED)
        self.before = checksums(self.takes)
        self.program.ask("SETRECNAME 1 During")

    def start_during(self):
        self.program.ask("RECORD 1")

    def wait_for_frames(self, count):
        wait_until(lambda: self.elapsed_frames() >= count, "frames")

    def elapsed_frames(self):
        return frames_of_time_code(self.program.ask("ELAPSED 1"))

    def order(self, *lines):
        """Tells the disk what to do; written whole, because it is read at any moment."""
        temporary = self.control + ".new"
        with open(temporary, "w", encoding="ascii") as file:
            file.write("".join(line + "\n" for line in lines))
        os.replace(temporary, self.control)

    def sleep_frames(self, count):
        """Lets so many frames pass."""
        time.sleep(count / PAL_RATE / self.speed)

    def random_moment(self, seconds=0.5):
        time.sleep(self.random.random() * seconds)

    def stop(self):
        """Stops the recording and waits until the log says what became of it."""
        self.program.ask("STOP 1")
        wait_until(lambda: len(re.findall(ENDED, self.program.log())) >= 2, "the end", 90)
        self.read_end()

    def read_end(self):
        ends = re.findall(ENDED, self.program.log())
        if len(ends) >= 2:
            self.received = int(ends[-1][0])
            self.told_recorded = int(ends[-1][1])
            self.told_lost = int(ends[-1][2])

    def terminate(self):
        status = self.program.terminate()
        if status != 0:
            raise AssertionError(f"ended with {status}:\n{self.program.log()}")

    def kill(self):
        self.received = self.elapsed_frames()
        self.program.kill()

    def cut_power(self):
        """Kills the program and leaves of its files what had been flushed."""
        self.kill()
        known = {}
        with open(os.path.join(self.durable, "names"), encoding="utf-8") as file:
            for line in file:
                number, size, path = line.rstrip("\n").split(" ", 2)
                known[number] = (int(size), path)
        shutil.rmtree(self.takes)
        os.makedirs(self.takes)
        for number, (size, path) in known.items():
            os.makedirs(os.path.dirname(path), exist_ok=True)
            copy = os.path.join(self.durable, number)
            if os.path.exists(copy):
                shutil.copyfile(copy, path)
            with open(path, "ab") as file:
                file.truncate(size)

    # Afterwards

    def path(self, *names):
        return os.path.join(self.takes, *names)

    def recover(self):
        """Recovers what was cut off. A recording without a frame on the disk has nothing."""
        movie = self.path("During.mov")
        if not os.path.exists(movie):
            return
        status, _, error = recover(movie, environment=dict(os.environ, HOME=self.home))
        if status not in (0, 3):
            raise AssertionError(f"recovery: {status} {error}")

    def is_before_whole(self):
        now = checksums(self.takes)
        return all(now.get(path) == value for path, value in self.before.items())

    def frames_in_raw(self):
        """The numbers of the frames in the raw file."""
        base = self.path("During", "During")
        if not os.path.exists(base + ".dv"):
            return []
        whole = size_of(base + ".dv") // PAL_FRAME * PAL_FRAME
        os.truncate(base + ".dv", whole)
        recorded = read_raw(base, self.tape)
        # A power failure may leave a length without bytes.
        while recorded.numbers and recorded.numbers[-1] == -1:
            recorded.numbers.pop()
        if -1 in recorded.numbers:
            raise AssertionError("raw file: frames that are none of the tape")
        return recorded.numbers

    def frames_in_movie(self):
        """The numbers of the frames in the movie."""
        movie = self.path("During.mov")
        if not os.path.exists(movie) or size_of(movie) < 1000:
            return []
        recorded = read_movie(movie, self.tape)
        if recorded.faults:
            raise AssertionError(f"movie: {recorded.faults}")
        if recorded.numbers:
            errors = decode_errors(movie)
            if errors:
                raise AssertionError(f"movie: {errors}")
        return recorded.numbers

    def note_messages(self, *patterns):
        """The operator's messages of this fault, with numbers and paths taken out."""
        for line in self.program.log().splitlines():
            text = re.sub(r"^\S+ \S+ ", "", line)
            if any(re.search(pattern, text) for pattern in patterns):
                text = text.replace(self.takes, "FOLDER")
                text = re.sub(r"\d+", "N", text)
                if text not in self.messages:
                    self.messages.append(text)
