"""Real and damaged DV, played by a virtual deck from its first frame to its last, is recorded byte
for byte. The samples lie where TAKEBOX_SAMPLES says or beside the checkout; without them there is
nothing to do here."""

import glob
import hashlib
import os
import subprocess
import tempfile
import unittest

from takebox import NTSC_FRAME, PAL_FRAME, PROGRAM, read_file, sound

BESIDE = os.path.join(os.path.dirname(__file__), *[".."] * 3, "shared", "samples")
SAMPLES = os.environ.get("TAKEBOX_SAMPLES", os.path.normpath(BESIDE))
# What a PAL device keeps of a tape whose second half is NTSC: nothing of it.
KEPT_FRAMES = {"real_mixed_pal9_ntsc10_damaged_19f.dv": 9}
SOUND_48K = ("48k_16b_2ch", "SYNTHETIC")  # in the names of samples whose sound ffmpeg can judge


def frames_of(data):
    size = PAL_FRAME if data[3] & 0x80 else NTSC_FRAME
    return size, len(data) // size


def record(path, seconds, folder):
    """Records the whole tape once; the deck waits for the recorder, so the first frame is the
    tape's."""
    environment = dict(os.environ, HOME=folder)
    return subprocess.run(
        [PROGRAM, "--virtual-deck", f"{path},loop=no,cue=yes,speed=2", "--record", str(seconds),
         "--to", folder],
        env=environment, capture_output=True, text=True, timeout=120)


class Samples(unittest.TestCase):
    def setUp(self):
        self.paths = sorted(glob.glob(os.path.join(SAMPLES, "*.dv")))
        if not self.paths:
            print(f"no samples in {SAMPLES}: only generated tapes are tested")

    def check(self, path):
        data = read_file(path)
        name = os.path.basename(path)
        size, count = frames_of(data)
        kept = KEPT_FRAMES.get(name, count)
        with tempfile.TemporaryDirectory() as folder:
            rate = 25 if size == PAL_FRAME else 30
            result = record(path, kept / rate, folder)
            self.assertIn(f"{kept} frames", result.stdout, result.stdout + result.stderr)
            recorded = glob.glob(os.path.join(folder, "*", "*.dv"))
            self.assertEqual(len(recorded), 1)
            self.assertEqual(read_file(recorded[0]), data[: kept * size])
            if any(word in name for word in SOUND_48K):
                samples = read_file(recorded[0][:-2] + "aud")
                self.assertEqual(hashlib.sha256(samples).hexdigest(),
                                 hashlib.sha256(sound(path, 0, "-f", "dv")).hexdigest())

    def test_every_tape_is_recorded_byte_for_byte(self):
        for path in self.paths:
            if os.path.getsize(path) < NTSC_FRAME:
                continue
            with self.subTest(os.path.basename(path)):
                self.check(path)

    def test_what_is_not_a_whole_frame_is_refused_in_words(self):
        for path in self.paths:
            if os.path.getsize(path) >= NTSC_FRAME:
                continue
            with self.subTest(os.path.basename(path)), tempfile.TemporaryDirectory() as folder:
                result = record(path, 1, folder)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(os.path.basename(path), result.stderr)


if __name__ == "__main__":
    unittest.main()
