"""Runs the built program on disks, devices and clocks that fail, many tries of each fault, and
prints what was lost, the least that could have been lost, and what the operator was told.

    TAKEBOX=build/release/takebox FAULTY_DISK=build/release/tests/faults/libfaulty_disk.so \\
        python3 tests/faults/faults.py --tries 40 --jobs 4

A file that was complete before a fault and is not after it is a failure; so is a file that ffmpeg
does not decode, a frame that is none of the tape, or a program that does not end in peace.
"""

import argparse
import concurrent.futures
import os
import re
import shutil
import socket
import statistics
import sys
import tempfile
import threading
import time
import traceback

from trial import Trial
from source import Tape
from takebox import PAL_RATE, small_disk, wait_until

EIO, ENOSPC, EROFS = 5, 28, 30
RAW_BUFFER = 60  # frames that wait for a disk, by the sizes of the buffers
MOVIE_BUFFER = 30
RAW_CHUNK = 10
MOVIE_CHUNK = 5
SOUND_CHUNK = 20  # frames that may lack their sound alone
NOBODY = 65534
DISK_MESSAGES = ("[Dd]ropped", "The disk (was|is|refused)", "Cannot (write|flush|close|open)", "LOST", "written again")


class Result:
    """What one try gave: frames lost in the raw files and in the movie, and the least possible."""

    def __init__(self, trial, least_raw=0, least_movie=0):
        self.is_before_whole = trial.is_before_whole()
        received = trial.received
        in_raw = trial.frames_in_raw()
        in_movie = trial.frames_in_movie()
        self.raw = max(0, received - len(in_raw))
        self.movie = max(0, received - len(in_movie))
        self.least_raw = least_raw
        self.least_movie = least_movie
        self.messages = trial.messages
        self.error = ""
        if trial.told_lost is None:
            return
        if max(self.raw, self.movie) > trial.told_lost:
            self.error = (f"{self.raw} and {self.movie} frames are missing, the log tells of "
                          f"{trial.told_lost}")
        # A tape that has come round has its numbers more than once.
        is_round = len(in_raw) != len(set(in_raw)) or len(in_movie) != len(set(in_movie))
        in_both = len(set(in_raw) & set(in_movie))
        if not is_round and trial.told_recorded > in_both:
            self.error = (f"{in_both} frames are in all files, the log tells of "
                          f"{trial.told_recorded}")
        if trial.told_lost > self.raw + self.movie + SOUND_CHUNK:
            self.error = (f"{self.raw} and {self.movie} frames are missing, the log tells of "
                          f"{trial.told_lost}")


class Failure:
    """A try that did not come to its end."""

    raw = movie = least_raw = least_movie = 0
    is_before_whole = True
    messages = ()

    def __init__(self, error):
        self.error = error


def lost_by_rule(trial):
    """Frames behind an overflow: the movie ends there, so that picture and sound do not part."""
    ends = re.findall(r"complete up to frame (\d+)", trial.program.log())
    return trial.received - int(ends[-1]) if ends else 0


# The faults: each takes a tape, the number of the try and a folder


def stall(seconds):
    """The disk answers nothing for so long, and then goes on."""

    def run(tape, number, folder):
        with Trial(tape, number, speed=1, folder=folder) as trial:
            trial.begin(15 + trial.random.randrange(10))
            trial.order("write stall", "fsync stall")
            time.sleep(seconds)
            trial.order()
            trial.sleep_frames(25)
            trial.stop()
            trial.note_messages(*DISK_MESSAGES)
            trial.terminate()
            return Result(trial, max(0, int(seconds * PAL_RATE) - RAW_BUFFER), lost_by_rule(trial))

    return run


def refuse(operation, error, frames=60, error_loses=False):
    """The disk refuses an operation for a while (frames) at a random moment."""

    def run(tape, number, folder):
        with Trial(tape, number, folder=folder) as trial:
            trial.begin(20)
            trial.random_moment()
            trial.order(f"{operation} {error}")
            trial.sleep_frames(frames)
            if operation in ("close", "fsync"):
                trial.stop()
            trial.order()
            trial.sleep_frames(30)
            if operation not in ("close", "fsync"):
                trial.stop()
            trial.note_messages(*DISK_MESSAGES)
            trial.terminate()
            missed = max(0, frames - RAW_BUFFER) if error_loses else 0
            return Result(trial, missed, max(lost_by_rule(trial), missed))

    return run


def fill(tape, number, folder):
    """A small disk of its own runs full, and is freed again."""
    with small_disk(folder) as disk:
        if disk is None:
            return refuse("write", ENOSPC)(tape, number, folder)
        with Trial(tape, number, speed=4, folder=disk) as trial:
            trial.start()
            trial.record_before()
            ballast = os.path.join(disk, "ballast")
            with open(ballast, "wb") as file:
                file.write(bytes(60 << 20))
            trial.start_during()
            trial.program.wait_for_log("No space left on device")
            full = time.monotonic()
            trial.random_moment(0.3)
            os.remove(ballast)
            waited = (time.monotonic() - full) * PAL_RATE * trial.speed
            trial.sleep_frames(20)
            trial.stop()
            trial.note_messages(*DISK_MESSAGES)
            trial.terminate()
            return Result(trial, max(0, int(waited) - RAW_BUFFER), lost_by_rule(trial))


def remove_folder(tape, number, folder):
    """The folder of the recording is removed while it runs."""
    with Trial(tape, number, folder=folder) as trial:
        trial.begin(20)
        trial.random_moment()
        shutil.rmtree(trial.path("During"))
        os.remove(trial.path("During.mov"))
        trial.program.wait_for_log("has been removed")
        trial.stop()
        trial.note_messages("has been removed")
        trial.terminate()
        trial.told_lost = None  # told as the loss of the file
        return Result(trial, trial.received, trial.received)


def read_only_folder(tape, number, folder):
    """The folders may not be written any more, by one who is not the superuser."""
    os.chmod(folder, 0o755)
    with Trial(tape, number, folder=folder, user=NOBODY if os.getuid() == 0 else None) as trial:
        os.chmod(trial.folder, 0o755)
        trial.begin(20)
        trial.random_moment()
        for path in (trial.takes, trial.path("During")):
            os.chmod(path, 0o555)
        trial.sleep_frames(30)
        trial.stop()
        for path in (trial.takes, trial.path("During")):
            os.chmod(path, 0o755)
        trial.note_messages(*DISK_MESSAGES)
        trial.terminate()
        return Result(trial)


def vanish(tape, number, folder):
    """The deck leaves the bus."""
    with Trial(tape, number, speed=4, folder=folder, fault=f"vanish@{700 + number % 40}") as trial:
        trial.begin(1)
        wait_until(lambda: trial.program.log().count("\" ended, ") >= 2, "the end")
        trial.read_end()
        trial.note_messages("\" ended, ")
        trial.terminate()
        return Result(trial)


def jump_of_clock(tape, number, folder):
    """The time of day jumps, an hour ahead or back."""
    with Trial(tape, number, folder=folder) as trial:
        trial.begin(20)
        trial.random_moment()
        trial.order(f"clock {3600 if number % 2 else -3600}")
        trial.sleep_frames(40)
        trial.stop()
        trial.terminate()
        return Result(trial)


def terminate(tape, number, folder):
    """SIGTERM at a random moment."""
    with Trial(tape, number, folder=folder) as trial:
        trial.begin(1)
        trial.random_moment()
        trial.terminate()
        trial.read_end()
        return Result(trial)


def kill(tape, number, folder):
    """SIGKILL at a random moment, and recovery."""
    with Trial(tape, number, folder=folder) as trial:
        trial.begin(1)
        trial.random_moment()
        trial.kill()
        trial.recover()
        trial.start()  # what was left behind does no harm
        trial.program.wait_for_log("Starting server")
        trial.terminate()
        return Result(trial, waiting(trial.received, RAW_CHUNK),
                      waiting(trial.received, MOVIE_CHUNK))


def waiting(frames, chunk):
    """Frames that are still in the chunk being filled: it goes to the disk as one."""
    return frames - max(0, frames - 1) // chunk * chunk


def power_cut(tape, number, folder):
    """What had not been flushed is gone; then recovery. At the pace of a tape: the disk is
    flushed by the clock."""
    with Trial(tape, number, speed=1, folder=folder, durable=True) as trial:
        trial.begin(60 + trial.random.randrange(60))
        trial.cut_power()
        trial.recover()
        return Result(trial, waiting(trial.received, RAW_CHUNK),
                      waiting(trial.received, MOVIE_CHUNK))


def silent_playout(tape, number, folder):
    """A playout system takes the connection and answers only after 30 s: the main thread waits."""
    address = f"127.0.{1 + number // 200}.{1 + number % 200}"
    with socket.socket() as server:
        server.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        server.bind((address, 1025))
        server.listen()
        with Trial(tape, number, speed=1, folder=folder,
                   preferences={"Castline Addresses": [address],
                                "Should Switch Castline": False}) as trial:
            trial.start()
            trial.record_before()
            trial.terminate()
            trial.preferences["Should Switch Castline"] = True
            trial.start()
            trial.program.ask("SETRECNAME 1 During")
            answer = threading.Thread(target=trial.program.ask, args=("RECORD 1",))
            answer.start()
            connection, _ = server.accept()
            connection.recv(2)
            time.sleep(30)
            connection.sendall(b"OK")
            connection.close()
            answer.join(60)
            trial.program.ask("STOP 1")
            trial.program.wait_for_log("\" ended, ")
            trial.received = int(trial.program.wait_for_log(r"ended, (\d+) frames")[1])
            trial.terminate()
            if trial.received < 29 * PAL_RATE:
                raise AssertionError(f"only {trial.received} frames in 30 s")
            return Result(trial)


# Name, function, tries of a short run, tries of a long run as a part of --tries
FAULTS = (
    ("disk stalls for 1 s", stall(1.0), 1, 0.5),
    ("disk stalls for 1.9 s", stall(1.9), 1, 0.5),
    ("disk stalls for 5 s", stall(5.0), 0, 0.5),
    ("disk stalls for 30 s", stall(30.0), 0, 0.4),
    ("disk full, then freed", fill, 1, 1),
    ("disk full for a moment (ENOSPC)", refuse("write", ENOSPC, 25), 1, 1),
    ("EIO on write, for a moment", refuse("write", EIO, 20), 1, 1),
    ("EIO on write, for 15 s", refuse("write", EIO, 375, True), 0, 1),
    ("EROFS on write, for 15 s", refuse("write", EROFS, 375, True), 0, 1),
    ("EIO on fsync", refuse("fsync", EIO), 1, 1),
    ("EIO on close", refuse("close", EIO), 1, 1),
    ("folder removed", remove_folder, 1, 1),
    ("folder made read-only", read_only_folder, 1, 1),
    ("device vanishes", vanish, 1, 1),
    ("clock jumps by an hour", jump_of_clock, 1, 1),
    ("SIGTERM", terminate, 2, 2),
    ("SIGKILL", kill, 3, 2.5),
    ("power cut", power_cut, 2, 2.5),
    ("main thread waits 30 s for playout", silent_playout, 0, 0.4),
)


def attempt(function, tape, number, folder):
    try:
        return function(tape, number, folder)
    except Exception:  # pylint: disable=broad-except
        return Failure(traceback.format_exc())


def describe(values):
    return f"{statistics.median(values):.0f} ({max(values)})"


def row(name, results):
    good = [result for result in results if not result.error] or [Failure("")]
    seen = []
    for result in good:
        seen += [message for message in result.messages if message not in seen]
    return (f"| {name} | {len(results)} | {describe([r.raw for r in good])} | "
            f"{describe([r.least_raw for r in good])} | {describe([r.movie for r in good])} | "
            f"{describe([r.least_movie for r in good])} | "
            f"{sum(not r.is_before_whole for r in results)} | {'; '.join(seen[:3]) or '-'} |")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="a few tries of the short faults")
    parser.add_argument("--tries", type=int, default=40, help="tries of most faults")
    parser.add_argument("--jobs", type=int, default=3, help="tries at a time")
    parser.add_argument("--only", default="", help="only faults with this in their name")
    parser.add_argument("--folder", default=tempfile.gettempdir())
    options = parser.parse_args()
    failures = 0
    total = 0
    with tempfile.TemporaryDirectory(prefix="faults-", dir=options.folder) as folder:
        tape = Tape(os.path.join(folder, "pal.dv"), "pal", 8)
        os.chmod(folder, 0o755)
        print("| fault | tries | lost in raw files: median (most) | least possible | lost in movie | "
              "least possible | complete files harmed | message |\n"
              "| --- | --- | --- | --- | --- | --- | --- | --- |", flush=True)
        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
            for name, function, quick, share in FAULTS:
                tries = quick if options.quick else max(1, round(options.tries * share))
                if options.only not in name or tries == 0:
                    continue
                results = list(pool.map(lambda number, run=function: attempt(
                    run, tape, number, folder), range(tries)))
                print(row(name, results), flush=True)
                total += len(results)
                for result in results:
                    failures += bool(result.error) or not result.is_before_whole
                    if result.error:
                        print(result.error, file=sys.stderr, flush=True)
    print(f"\n{total} tries, {failures} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
