"""Recordings that were cut off: what of them is on the disk, found without the program's help, and
whether what recovery made of it holds all of that."""

import hashlib
import os
import struct
import subprocess

from takebox import PAL_FRAME, PROGRAM, read_file, sound, video_packets

HEADER = 36  # bytes before the media data
RECORD = 16
BYTES_PER_SAMPLE = 4


def media_records(data):
    """The records in the media data of a self-contained movie, by docs/files.md: kind, where their
    bytes begin, how many they are, how many pieces, and the size of one."""
    at = HEADER
    while at + RECORD <= len(data):
        kind, size, count, each = struct.unpack(">4sIII", data[at: at + RECORD])
        if kind not in (b"vide", b"soun") or each == 0:
            break
        yield kind, at + RECORD, size, count, each
        at += RECORD + size


def media_data(path):
    """Frames and sound in the media data of a movie that was cut off."""
    data = read_file(path)
    frames, audio = [], b""
    for kind, at, size, _, each in media_records(data):
        there = min(size, len(data) - at)
        if kind == b"vide":
            frames += [data[at + i * each: at + (i + 1) * each] for i in range(there // each)]
        else:
            audio += data[at: at + there // each * each]
    return frames, audio


def raw_files(base, frame_size=PAL_FRAME):
    """Whole frames and sample frames of raw files; nothing where there are none."""
    if not os.path.exists(base + ".dv"):
        return [], b""
    video, audio = read_file(base + ".dv"), read_file(base + ".aud")
    frames = [video[at: at + frame_size]
              for at in range(0, len(video) - frame_size + 1, frame_size)]
    return frames, audio[: len(audio) // BYTES_PER_SAMPLE * BYTES_PER_SAMPLE]


def longest(one, other):
    return one if len(one) >= len(other) else other


def on_disk(movie, raw_base, frame_size=PAL_FRAME):
    """All frames and all sound of a recording that have reached the disk."""
    frames, audio = media_data(movie)
    raw_frames, raw_audio = raw_files(raw_base, frame_size)
    return longest(frames, raw_frames), longest(audio, raw_audio)


def recover(*paths, environment=None):
    """Exit status, standard output and error output of the program's recovery."""
    done = subprocess.run([PROGRAM, "--recover", *paths], capture_output=True, check=False,
                          stdin=subprocess.DEVNULL, env=environment)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def decode_errors(path):
    """What ffmpeg complains of while it decodes everything."""
    done = subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-enable_drefs", "1", "-i", path, "-f", "null", "-"],
        capture_output=True, check=False)
    return done.stderr.decode() + ("" if done.returncode == 0 else f"status {done.returncode}")


def checksums(frames):
    return [hashlib.md5(frame).hexdigest() for frame in frames]


def difference(movie, frames, audio):
    """How a movie differs from what it should hold, in words; empty when it does not."""
    errors = decode_errors(movie)
    if errors:
        return f"ffmpeg: {errors}"
    packets = video_packets(movie)
    if packets != checksums(frames):
        return f"{len(packets)} frames instead of {len(frames)}, or others"
    samples = sound(movie) if audio else b""
    if samples != audio:
        return f"{len(samples)} bytes of sound instead of {len(audio)}, or others"
    return ""
