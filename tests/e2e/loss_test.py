"""What a recording lacks is told: in the log with its time code, and in numbers that agree."""

import os
import re
import unittest

from takebox import (PAL_FRAME, TakeboxTest, deck, deck_key, deck_settings, size_of, wait_until,
                     write_preferences)

GUID = 0x10551
ENDED = (r'Deck: recording "Take" ended, (\d+) frames received, (\d+) recorded, (\d+) lost, '
         r"(\d+) problem messages")


class Losses(TakeboxTest):
    def setUp(self):
        super().setUp()
        self.takes = self.make_folder("takes")
        write_preferences(self.home, {deck_key(GUID): deck_settings(self.takes)})

    def record(self, frames, *options, **keys):
        """Log and numbers of a recording of at least so many frames."""
        program = self.start(f"--virtual-deck=pal,guid={GUID:016x},speed=2,cue=yes"
                             + "".join("," + option for option in options), **keys)
        program.ask("RECORD 1")
        wait_until(lambda: size_of(os.path.join(self.takes, "Take", "Take.dv"))
                   >= frames * PAL_FRAME, "frames")
        program.ask("STOP 1")
        numbers = [int(number) for number in program.wait_for_log(ENDED).groups()]
        self.end_well(program)
        return program.log(), numbers

    def test_nothing_lost_is_said_in_one_line(self):
        log, (received, recorded, lost, problems) = self.record(30)
        self.assertEqual((lost, problems), (0, 0))
        self.assertEqual(received, recorded)
        self.assertEqual(size_of(os.path.join(self.takes, "Take", "Take.dv")),
                         recorded * PAL_FRAME)
        self.assertNotIn("lost at", log)

    def test_frames_that_do_not_arrive_are_told_with_their_time_code(self):
        log, numbers = self.record(80, "fault=short@40:5000", "fault=missing@50",
                                   "fault=missing@51", "fault=incomplete@60")
        self.assertEqual(numbers[2:], [4, 3])
        self.assertEqual(numbers[0] - numbers[1], 1)
        self.assertEqual(re.findall(r"Deck: lost at (\S+) (.*)", log), [
            ("00:00:01:14", "frames of a wrong size: 1"),
            ("00:00:01:24", "frames that did not arrive: 2"),
            ("00:00:02:09", "frames that did not arrive: 1")])


if __name__ == "__main__":
    unittest.main()
