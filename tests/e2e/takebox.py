"""Drives the built program: starts it with a HOME of its own, talks to its control port, and lets
ffmpeg judge what it has recorded. The program is the one that the environment variable TAKEBOX
names."""

import contextlib
import os
import plistlib
import pty
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

PROGRAM = os.path.abspath(shutil.which(os.environ.get("TAKEBOX", "takebox")) or "takebox")
PREFERENCES = "Library/Preferences/com.marvanemedia.TakeboxDV.plist"
LONGEST_WAIT = 60  # seconds: a bound for a broken program, not a duration

PAL_FRAME = 144000  # bytes
NTSC_FRAME = 120000
PAL_RATE = 25  # frames in a second of time code
NTSC_RATE = 30


def wait_until(condition, what, limit=LONGEST_WAIT):
    """Returns what the condition gives as soon as it is true."""
    end = time.monotonic() + limit
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"waited {limit} s for: {what}")
        time.sleep(0.005)


def size_of(path):
    """Bytes of a file, 0 before it is there."""
    try:
        return os.path.getsize(path)
    except FileNotFoundError:
        return 0


def read_file(path):
    with open(path, "rb") as file:
        return file.read()


def open_terminal(test):
    """Both ends of a terminal, ours first. Where the system has none, the test is skipped."""
    try:
        return pty.openpty()
    except OSError as error:
        return test.skipTest(f"no terminal can be made here: {error}")


def read_terminal(descriptor):
    """What a program writes to the other end of it, until it closes it."""
    shown = b""
    with open(descriptor, "rb", buffering=0) as terminal:
        while True:
            try:
                shown += terminal.read(4096) or b""
            except OSError:  # the other end is closed
                return shown.decode()


# Preferences


def write_preferences(home, values, form=plistlib.FMT_XML, name=PREFERENCES):
    path = os.path.join(home, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        plistlib.dump(values, file, fmt=form)


def read_preferences(home):
    with open(os.path.join(home, PREFERENCES), "rb") as file:
        return plistlib.load(file)


def deck_settings(folder, **changes):
    """Settings of a device that records everything into one folder, by their keys."""
    settings = {
        "Auto Name Recordings": False,
        "Mono Tracks": False,
        "Loop Recording": False,
        "Reference Movie Duration": 60.0,
        "Raw Recording Folder Path": folder,
        "Self-Contained Recording Folder Path": folder,
        "Reference Movie Folder Path": folder,
        "Recording Name": "Take",
        "Device Name": "Deck",
        "Create Reference Movie": True,
        "Create Self-Contained Movie": True,
        "Timecode Source Index": 0,
        "Preset Timecode": 0.0,
    }
    settings.update({key.replace("_", " "): value for key, value in changes.items()})
    return settings


def deck_key(guid):
    return f"Device Settings {guid:016x}"


def scheduled_event(number, guid, name, start, duration, folder, **more):
    """An event of the schedule, by its keys; its times are seconds after midnight."""
    return {
        "UUID": f"00000000-0000-4000-8000-{number:012d}",
        "Start Time": float(start),
        "End Time": float(start + duration),
        "Duration": float(duration),
        "Device GUID": guid,
        "Device String": "Deck",
        "Recording Name": name,
        "Reference Movie Folder Path": folder,
        "Self-Contained Movie Folder Path": folder,
        "Raw Streams Folder Path": folder,
        "Create Reference Movie": True,
        "Create Self-Contained Movie": True,
        "Auto Name File": False,
        **more,
    }


def deck(source, guid, **keys):
    """The option for a virtual deck of this GUID."""
    words = [source, f"guid={guid:016x}"] + [f"{key}={value}" for key, value in keys.items()]
    return "--virtual-deck=" + ",".join(words)


# The program


class ControlClient:
    """One connection to the control port: a command is one chunk, an answer ends in LF CR."""

    END = b"\n\r"

    def __init__(self, port, host="127.0.0.1"):
        self.socket = socket.create_connection((host, port), timeout=LONGEST_WAIT)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def send(self, command):
        self.socket.sendall(command.encode() + b"\r\n")

    def receive(self):
        answer = b""
        while not answer.endswith(self.END):
            chunk = self.socket.recv(65536)
            if not chunk:
                raise ConnectionError(f"the program closed the connection after {answer!r}")
            answer += chunk
        return answer[: -len(self.END)].decode()

    def ask(self, command):
        self.send(command)
        return self.receive()

    def close(self):
        self.socket.close()


@contextlib.contextmanager
def small_disk(folder, size="120m"):
    """A disk of its own; None where nothing can be mounted."""
    disk = tempfile.mkdtemp(prefix="small-", dir=folder)
    is_mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", disk],
                                check=False, capture_output=True).returncode == 0
    try:
        yield disk if is_mounted else None
    finally:
        if is_mounted:
            subprocess.run(["umount", "-l", disk], check=False)
        shutil.rmtree(disk, ignore_errors=True)


class Takebox:
    """One run of the program. Its log and its standard output go to files beside its HOME."""

    def __init__(self, folder, *arguments, home=None, headless=True, **options):
        self.home = home or os.path.join(folder, "home")
        if home is None:
            os.makedirs(self.home, exist_ok=True)
        environment = {k: v for k, v in os.environ.items() if not k.startswith("XDG_")}
        environment.pop("DBUS_SESSION_BUS_ADDRESS", None)  # one program of many, for itself
        environment.update(HOME=self.home, LC_ALL="C.UTF-8", QT_QPA_PLATFORM="offscreen")
        environment.update(options.pop("environment", {}))
        descriptor, self.log_path = tempfile.mkstemp(suffix=".log", dir=folder)
        self.output_path = self.log_path[: -len(".log")] + ".out"
        program = options.pop("program", PROGRAM)
        command = [program] + (["--headless"] if headless else []) + list(arguments)
        with os.fdopen(descriptor, "wb") as log, open(self.output_path, "wb") as output:
            self.process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=output, stderr=log,
                env=environment, cwd=folder, **options)
        self._port = None
        self._client = None

    def log(self):
        return read_file(self.log_path).decode(errors="replace")

    def output(self):
        return read_file(self.output_path).decode(errors="replace")

    def is_running(self):
        return self.process.poll() is None

    def wait_for_log(self, pattern):
        """The match of the regular expression in the log, as soon as there is one."""

        def look():
            running = self.is_running()
            match = re.search(pattern, self.log())
            if not match and not running:
                raise AssertionError(f"ended without logging {pattern!r}:\n{self.log()}")
            return match

        return wait_until(look, f"{pattern!r} in the log")

    @property
    def port(self):
        if self._port is None:
            self._port = int(self.wait_for_log(r"Starting server on port (\d+)")[1])
        return self._port

    def connect(self):
        return ControlClient(self.port)

    def ask(self, command):
        """Sends a command over a connection that stays open, and returns the answer."""
        if self._client is None:
            self._client = self.connect()
        return self._client.ask(command)

    def wait(self):
        """Exit status; negative for a signal."""
        if self._client is not None:
            self._client.close()
            self._client = None
        return self.process.wait(LONGEST_WAIT)

    def terminate(self):
        self.process.send_signal(signal.SIGTERM)
        return self.wait()

    def kill(self):
        self.process.kill()
        return self.wait()


class TakeboxTest(unittest.TestCase):
    """A test with a folder of its own, and an end for every program that it has started."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="takebox-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.home = self.make_folder("home")

    def make_folder(self, *names):
        path = os.path.join(self.folder, *names)
        os.makedirs(path, exist_ok=True)
        return path

    def start(self, *arguments, **options):
        """Starts the program headless with a control port of its own."""
        return self.run_program("--control-port", "0", *arguments, **options)

    def run_program(self, *arguments, **options):
        options.setdefault("home", self.home)
        program = Takebox(self.folder, *arguments, **options)
        self.addCleanup(self.end, program)
        return program

    def end(self, program):
        if program.is_running():
            program.process.kill()
            program.wait()

    def end_well(self, program):
        """Ends the program as an operator does, and expects that it goes in peace."""
        self.assertEqual(program.terminate(), 0, program.log())


class SessionBus:
    """A session bus of the test's own."""

    NAME = "com.marvanemedia.TakeboxDV"

    def __init__(self):
        self.daemon = subprocess.Popen(
            ["dbus-daemon", "--session", "--nofork", "--print-address"],
            stdout=subprocess.PIPE, text=True)
        address = self.daemon.stdout.readline().strip()
        self.environment = {"DBUS_SESSION_BUS_ADDRESS": address}

    def call(self, path, method, *arguments):
        """Calls a method of the program, named with its interface; the answer as gdbus shows
        it."""
        done = subprocess.run(
            ["gdbus", "call", "--session", "--dest", self.NAME, "--object-path", path,
             "--method", f"{self.NAME}.{method}", *arguments],
            env={**os.environ, **self.environment}, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise AssertionError(f"{path} {method}: {done.stderr}")
        return done.stdout.strip()

    def close(self):
        self.daemon.kill()
        self.daemon.wait()
        self.daemon.stdout.close()


def deck_object(guid):
    """The object of a device on the session bus."""
    return f"/com/marvanemedia/TakeboxDV/devices/{guid:016x}"


class RecordingTest(TakeboxTest):
    """A test whose decks record into one folder, judged by ffmpeg and by the bytes of the tape."""

    def setUp(self):
        super().setUp()
        self.takes = self.make_folder("takes")

    def settings(self, guid, **changes):
        return {deck_key(guid): deck_settings(self.takes, **changes)}

    def take(self, name, number=0):
        """Paths of the files of a take."""
        suffix = f" {number}" if number else ""
        raw = os.path.join(self.takes, name, name + suffix)
        other = os.path.join(self.takes, name + suffix)
        return {"dv": raw + ".dv", "aud": raw + ".aud", "mov": other + ".mov",
                "ref": other + ".ref"}

    def record(self, program, index, frames, files, frame_size):
        """Records until so many frames are on the disk, and stops."""
        self.assertEqual(program.ask(f"RECORD {index}"), "OK")
        self.wait_for_frames(files, frames, frame_size)
        self.assertEqual(program.ask(f"STOP {index}"), "OK")
        self.assertEqual(program.ask(f"STATUS {index}"), "IDLE")

    def wait_for_frames(self, files, frames, frame_size):
        wait_until(lambda: size_of(files["dv"]) >= frames * frame_size, f"{frames} frames")

    def check_take(self, files, frame_size, covered=None):
        """The four files of a take hold the same frames and sound; the reference movie covers so
        many of them, or all. Returns how many frames."""
        frames, rest = divmod(size_of(files["dv"]), frame_size)
        self.assertEqual(rest, 0, files["dv"])
        self.assertGreater(frames, 0)
        packets = video_packets(files["dv"])
        self.assertEqual(len(packets), frames)
        self.assertEqual(video_packets(files["mov"]), packets)
        samples = read_file(files["aud"])
        self.assertEqual(samples, sound(files["dv"]))
        self.assertEqual(samples, sound(files["mov"]))
        covered = covered or frames
        reference = video_packets(files["ref"], *FOLLOW_REFERENCES)
        self.assertEqual(reference[:frames], packets[:covered])
        seen = sound(files["ref"], 0, *FOLLOW_REFERENCES)[: len(samples)]
        self.assertEqual(seen, samples[: len(seen)])
        few = 16  # bytes: not every frame has as many samples, of 4 bytes each
        self.assertGreaterEqual(len(seen), len(samples) * covered // frames - few)
        return frames

    def make_tape(self, standard, frames=40):
        return make_tape(os.path.join(self.folder, standard + ".dv"), standard, frames)

    def check_source(self, files, frame_size, tape, frames):
        """The frames of a take are those of the tape in their order; it begins again at its
        end."""
        recorded = read_file(files["dv"])
        source = read_file(tape)
        begin = source.find(recorded[:frame_size])
        self.assertEqual(begin % frame_size, 0, "the first frame is none of the tape's")
        rounds = source * (frames * frame_size // len(source) + 2)
        self.assertTrue(recorded == rounds[begin: begin + len(recorded)], files["dv"])

    def numbers_on_tape(self, recording, tape, frame_size):
        """Which frames of the tape a file holds."""
        source = read_file(tape)
        places = {source[at: at + frame_size]: at // frame_size
                  for at in range(0, len(source), frame_size)}
        recorded = read_file(recording)
        return [places[recorded[at: at + frame_size]]
                for at in range(0, len(recorded), frame_size)]


# Time code


def frames_of_time_code(text, rate=PAL_RATE):
    """Frames since midnight of a time code like 00:00:01:05, without dropped numbers."""
    hours, minutes, seconds, frames = map(int, text.split(":"))
    return ((hours * 60 + minutes) * 60 + seconds) * rate + frames


def tape_time_code(frame, rate=PAL_RATE):
    """Frames since midnight by the first time code pack in a DV frame."""
    frames, seconds, minutes, hours = (
        (byte >> 4 & mask) * 10 + (byte & 15)
        for byte, mask in zip(frame[111:115], (3, 7, 7, 3)))
    return ((hours * 60 + minutes) * 60 + seconds) * rate + frames


# ffmpeg and ffprobe

# ffmpeg opens the files that a movie points to only when told that they can be trusted.
FOLLOW_REFERENCES = ("-enable_drefs", "1")


def ffmpeg(*arguments):
    """What it writes to its standard output."""
    done = subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", *arguments], capture_output=True, check=False)
    if done.returncode != 0:
        raise AssertionError(f"ffmpeg {arguments}: {done.stderr.decode()}")
    return done.stdout


def make_tape(path, standard, frames=40, tone="sine=frequency=440:sample_rate=48000",
              time_code=None):
    """A file of DV frames with sound, "pal" or "ntsc"; every frame is different."""
    pal = standard == "pal"
    size, rate = ("720x576", "25") if pal else ("720x480", "30000/1001")
    seconds = frames / (25 if pal else 30000 / 1001)
    ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={size}:rate={rate}", "-f", "lavfi", "-i", tone,
           *(["-timecode", time_code] if time_code else []),
           "-ac", "2", "-t", str(seconds), "-target", f"{standard}-dv", path)
    return path


def ffprobe(path, entries, *arguments):
    """The values of the entries as one list of strings."""
    done = subprocess.run(
        ["ffprobe", "-v", "error", *arguments, "-show_entries", entries,
         "-of", "default=noprint_wrappers=1:nokey=1", path],
        capture_output=True, check=True)
    return done.stdout.decode().split()


def video_packets(path, *arguments):
    """Checksum of each frame's bytes as they lie in the file, in order."""
    lines = ffmpeg(*arguments, "-i", path, "-map", "0:v:0", "-c", "copy", "-f", "framemd5", "-")
    return [line.split(",")[-1].strip() for line in lines.decode().splitlines()
            if line and not line.startswith("#")]


def sound(path, stream=0, *arguments):
    """16-bit big-endian samples of a sound stream, channels interleaved."""
    return ffmpeg(*arguments, "-i", path, "-map", f"0:a:{stream}", "-c:a", "pcm_s16be",
                  "-f", "s16be", "-")
