"""Drives the built program: starts it with a HOME of its own, talks to its control port, and lets
ffmpeg judge what it has recorded. The program is the one that the environment variable TAKEBOX
names."""

import os
import plistlib
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

PROGRAM = os.environ.get("TAKEBOX", "takebox")
PREFERENCES = "Library/Preferences/com.marvanemedia.TakeboxDV.plist"
LONGEST_WAIT = 60  # seconds: a bound for a broken program, not a duration

PAL_FRAME = 144000  # bytes
NTSC_FRAME = 120000


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
        command = [PROGRAM] + (["--headless"] if headless else []) + list(arguments)
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


# ffmpeg and ffprobe


def ffmpeg(*arguments):
    """What it writes to its standard output."""
    done = subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", *arguments], capture_output=True, check=False)
    if done.returncode != 0:
        raise AssertionError(f"ffmpeg {arguments}: {done.stderr.decode()}")
    return done.stdout


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
