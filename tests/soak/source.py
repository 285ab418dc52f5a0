"""The tapes of a soak, and the check of what was recorded from them byte by byte."""

import hashlib
import mmap
import os
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))

from cut_off import media_records  # noqa: E402
from takebox import (NTSC_FRAME, NTSC_RATE, PAL_FRAME, PAL_RATE, make_tape, read_file,  # noqa: E402
                     sound)

AUDIO_SOURCE = 4324  # byte of an NTSC frame whose lower six bits count its samples
FEWEST_NTSC_SAMPLES = 1580
PAL_SAMPLES = 1920
BYTES_PER_SAMPLE = 4


class Tape:
    """Frames that are all different, with noise for sound."""

    def __init__(self, path, standard, seconds):
        self.path = path
        self.frame_size = PAL_FRAME if standard == "pal" else NTSC_FRAME
        rate = PAL_RATE if standard == "pal" else NTSC_RATE
        make_tape(path, standard, seconds * rate, "anoisesrc=sample_rate=48000:seed=7")
        data = read_file(path)
        frames = [data[at: at + self.frame_size] for at in range(0, len(data), self.frame_size)]
        self.length = len(frames)
        self.numbers = {hashlib.md5(frame).digest(): n for n, frame in enumerate(frames)}
        if len(self.numbers) != self.length:
            raise AssertionError(f"{path} has equal frames")
        samples = sound(path)
        self.sound = []
        at = 0
        for frame in frames:
            count = BYTES_PER_SAMPLE * self.samples_of(frame)
            self.sound.append(samples[at: at + count])
            at += count
        if at > len(samples):
            raise AssertionError(f"{path} has {len(samples)} bytes of sound, not {at}")

    def samples_of(self, frame):
        if self.frame_size == PAL_FRAME:
            return PAL_SAMPLES
        return (frame[AUDIO_SOURCE] & 0x3F) + FEWEST_NTSC_SAMPLES


class Recorded:
    """The frames of a recording, by their numbers on the tape, and its sound."""

    def __init__(self):
        self.numbers = []
        self.sound = bytearray()
        self.faults = []

    def add_frame(self, tape, frame):
        number = tape.numbers.get(hashlib.md5(frame).digest())
        if number is None:
            self.faults.append(f"frame {len(self.numbers)} is none of the tape")
            number = -1
        self.numbers.append(number)

    def jumps(self, tape):
        """How often a frame is not the one that follows on the tape."""
        return sum(1 for before, after in zip(self.numbers, self.numbers[1:])
                   if after != (before + 1) % tape.length)

    def expected_sound(self, tape):
        return b"".join(tape.sound[number] for number in self.numbers if number >= 0)


def mapped(path):
    with open(path, "rb") as file:
        return mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)


def read_raw(base, tape):
    recorded = Recorded()
    size = os.path.getsize(base + ".dv")
    if size % tape.frame_size:
        recorded.faults.append(f"{size} bytes are no whole frames")
    if size:
        with mapped(base + ".dv") as data:
            for at in range(0, size - tape.frame_size + 1, tape.frame_size):
                recorded.add_frame(tape, data[at: at + tape.frame_size])
    recorded.sound += read_file(base + ".aud")
    return recorded


def read_movie(path, tape):
    """By the records in its media data."""
    recorded = Recorded()
    with mapped(path) as data:
        for kind, at, size, count, each in media_records(data):
            if count * each != size:
                break
            if kind == b"vide" and each == tape.frame_size:
                for i in range(count):
                    recorded.add_frame(tape, data[at + i * each: at + (i + 1) * each])
            elif kind == b"soun" and each == BYTES_PER_SAMPLE:
                recorded.sound += data[at: at + size]
            else:
                break
    return recorded


def number_of(text):
    return int(text) if text.isdigit() else 0


def counts_of_tables(path):
    """Frames and samples that the movie's own tables promise, by ffprobe."""
    done = subprocess.run(
        ["ffprobe", "-v", "error", "-show_entries", "stream=codec_type,nb_frames,duration_ts",
         "-of", "csv=p=0", path], capture_output=True, check=False)
    frames = samples = None
    for line in done.stdout.decode().splitlines():
        kind, *values = line.split(",")
        if kind == "video":
            frames = number_of(values[-1])
        elif kind == "audio":
            samples = number_of(values[0])
    return frames, samples
