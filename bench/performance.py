#!/usr/bin/env python3
"""What decks cost: one command for each figure of docs/performance.md.

    TAKEBOX=build/release/takebox bench/performance.py FIGURE [ARGUMENT]

FIGURE is one of:
    recording [SECONDS]  processor time of a recording deck, beside ffmpeg and cp; three
                         rounds
    capacity [SECONDS]   the most decks with windows that record with nothing lost (into TMPDIR)
    memory [SECONDS]     resident memory of each recording deck
    start                from the start of the program to the first frame
    wakeups [SECONDS]    wake-ups of the program without a device
    reference            the reference movie of a day
"""

import os
import pathlib
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/e2e"))

from takebox import (NTSC_FRAME, NTSC_RATE, PROGRAM, SessionBus, Takebox, deck,  # noqa: E402
                     deck_key, deck_object, deck_settings, make_tape, size_of, tape_time_code,
                     wait_until, write_preferences)

NTSC_PACE = 30000 / 1001  # frames in a second
FFMPEG = ["ffmpeg", "-v", "quiet", "-y", "-nostdin"]


def processor_seconds():
    """Of all children that have ended."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def run(command, **options):
    """Runs a command to its end; its processor time in seconds."""
    before = processor_seconds()
    subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL, **options)
    return processor_seconds() - before


def start_decks(folder, count, home, **options):
    """The program with so many NTSC decks that record into the folder."""
    os.makedirs(home, exist_ok=True)
    write_preferences(home, {
        deck_key(number): deck_settings(folder, Recording_Name=f"Take {number}")
        for number in range(1, count + 1)})
    return Takebox(folder, "--control-port", "0", home=home,
                   *(deck("ntsc", number) for number in range(1, count + 1)), **options)


def proc(process, name):
    return pathlib.Path(f"/proc/{process.pid}/{name}").read_text()


def seconds_of(process):
    """Processor time of a program that runs."""
    words = proc(process, "stat").rsplit(")", 1)[1].split()
    return (int(words[11]) + int(words[12])) / os.sysconf("SC_CLK_TCK")


# Processor time of recording


def recording(seconds=60, rounds=3):
    """The three in turn, several times: what else the machine does changes from minute to minute."""
    used = {}
    added = []
    for _ in range(rounds):
        for name, cost in recording_round(seconds).items():
            used.setdefault(name, []).append(cost * 60 / seconds)
        added.append(added_by_recording(seconds) * 60 / seconds)
    ours = used["takebox"]
    print(f"processor seconds per minute of {rounds} rounds of {seconds} s, median (least to most); "
          "ratio of the medians, of the rounds:")
    for name, costs in used.items():
        ratios = sorted(mine / other for mine, other in zip(ours, costs))
        print(f"  {name:32} {statistics.median(costs):5.2f} ({min(costs):.2f} to {max(costs):.2f})"
              f"   ratio {statistics.median(ours) / statistics.median(costs):5.2f}"
              f" ({ratios[0]:.2f} to {ratios[-1]:.2f})")
    ratio = statistics.median(added) / statistics.median(used["cp of the same bytes"])
    print(f"what recording adds to a deck that plays: {statistics.median(added):.2f} "
          f"({min(added):.2f} to {max(added):.2f}), {ratio:.2f} of cp")


def recording_round(seconds):
    """Processor seconds of each program."""
    with tempfile.TemporaryDirectory(prefix="takebox-bench-") as folder:
        tape = make_tape(os.path.join(folder, "tape.dv"), "ntsc", 300)
        takes = os.path.join(folder, "takes")
        home = os.path.join(folder, "home")
        os.makedirs(home)
        environment = {**os.environ, "HOME": home, "QT_QPA_PLATFORM": "offscreen"}
        environment.pop("DBUS_SESSION_BUS_ADDRESS", None)
        ours = run([PROGRAM, "--record", str(seconds), "--to", takes, "--control-port", "0",
                    f"--virtual-deck={tape},loop=yes"], env=environment)
        ffmpeg = run(FFMPEG + ["-re", "-stream_loop", "-1", "-f", "dv", "-i", tape,
                               "-t", str(seconds), "-c:v", "copy", "-c:a", "copy",
                               os.path.join(folder, "copy.mov")])
        copy = run(["cp", "-r", takes, os.path.join(folder, "again")])
        return {"takebox": ours, "ffmpeg -c copy, half the bytes": ffmpeg,
                "cp of the same bytes": copy}


def added_by_recording(seconds):
    """Processor seconds of a deck that records less those of one that plays."""
    with tempfile.TemporaryDirectory(prefix="takebox-bench-") as folder:
        program = start_decks(folder, 1, os.path.join(folder, "home"))
        try:
            assert program.port
            used = []
            for command in "STATUS 1", "RECORD 1":
                program.ask(command)
                before = seconds_of(program.process)
                time.sleep(seconds)
                used.append(seconds_of(program.process) - before)
            program.ask("STOP 1")
        finally:
            program.terminate()
        return used[1] - used[0]


# Capacity


class Display:
    """A virtual display."""

    def __init__(self):
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", "1", "-screen", "0", "2560x1600x24"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.name = f":{self.process.stdout.readline().strip()}"

    def close(self):
        self.process.terminate()
        self.process.wait()


def gaps_in_tape(path):
    """How often the time code of a raw file does not go on by one frame, and its frames."""
    gaps = 0
    last = None
    frames = size_of(path) // NTSC_FRAME
    with open(path, "rb") as file:
        for number in range(frames):
            file.seek(number * NTSC_FRAME)
            code = tape_time_code(file.read(120), NTSC_RATE)
            gaps += last is not None and code != last + 1
            last = code
    return gaps, frames


def frames_of_movie(path):
    done = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "stream=nb_frames",
         "-of", "csv=p=0", path], capture_output=True, text=True, check=False)
    return int(done.stdout.strip().strip(",") or 0)


def record_with_windows(count, seconds, display):
    """Whether so many decks record with nothing lost; prints what was lost and used."""
    bus = SessionBus()  # the remote control reaches eight decks only
    with tempfile.TemporaryDirectory(prefix="takebox-bench-") as folder:
        program = start_decks(folder, count, os.path.join(folder, "home"), headless=False,
                              environment={"DISPLAY": display.name, "QT_QPA_PLATFORM": "xcb",
                                           **bus.environment})
        try:
            assert program.port
            for number in range(1, count + 1):
                bus.call(deck_object(number), "Device.StartRecording")
            begin = time.monotonic()
            before = seconds_of(program.process)
            time.sleep(seconds)
            used = (seconds_of(program.process) - before) / (time.monotonic() - begin)
            for number in range(1, count + 1):
                bus.call(deck_object(number), "Device.StopRecording")
        finally:
            program.terminate()
            bus.close()
        gaps = short = 0
        for number in range(1, count + 1):
            raw = f"{folder}/Take {number}/Take {number}.dv"
            missing, frames = gaps_in_tape(raw)
            gaps += missing
            short += frames - frames_of_movie(f"{folder}/Take {number}.mov")
            short += max(0, int((seconds - 1) * NTSC_PACE) - frames)
        reported = sum("ropped" in line or "nderrun" in line or "too slow" in line
                       for line in program.log().splitlines())
        is_whole = not (gaps or short or reported)
        print(f"{count:3} decks: {used:4.2f} processors, "
              + ("nothing lost" if is_whole
                 else f"{gaps} gaps, {short} frames short, {reported} reports"), flush=True)
        return is_whole


def capacity(seconds=60):
    display = Display()
    try:
        good, bad = 0, 4
        while record_with_windows(bad, seconds, display):
            good, bad = bad, bad * 2
        while bad - good > 1:
            middle = (good + bad) // 2
            if record_with_windows(middle, seconds, display):
                good = middle
            else:
                bad = middle
        print(f"capacity: {good} decks")
    finally:
        display.close()


# Memory


def resident(process):
    """Megabytes."""
    for line in proc(process, "status").splitlines():
        if line.startswith("VmRSS:"):
            return int(line.split()[1]) / 1024
    return 0


def memory(seconds=10):
    sizes = {}
    for count in (0, 1, 2, 4, 8):
        with tempfile.TemporaryDirectory(prefix="takebox-bench-") as folder:
            program = start_decks(folder, count, os.path.join(folder, "home"))
            try:
                for number in range(1, count + 1):
                    assert program.ask(f"RECORD {number}") == "OK"
                assert program.port
                time.sleep(seconds)
                sizes[count] = resident(program.process)
            finally:
                program.terminate()
        print(f"{count} recording decks: {sizes[count]:.1f} MB", flush=True)
    print(f"each further deck: {(sizes[8] - sizes[1]) / 7:.1f} MB (goal: below 20), "
          f"base {sizes[0]:.1f} MB (goal: below 80)")


# Start


def time_to_first_frame(folder, home):
    """Seconds; the time code of the deck's window tells that a frame has come."""
    begin = time.monotonic()
    program = Takebox(folder, "--control-port", "0", home=home,
                      *["--virtual-deck=ntsc,guid=0000000000000001,start=05:00:00:00"])
    try:
        wait_until(lambda: program.ask("TIMECODE 1").startswith("05:"), "the first frame")
        return time.monotonic() - begin
    finally:
        program.terminate()


def start():
    with tempfile.TemporaryDirectory(prefix="takebox-bench-") as folder:
        home = os.path.join(folder, "home")
        os.makedirs(home)
        times = sorted(time_to_first_frame(folder, home) for _ in range(15))
    peer = []
    for _ in range(15):
        begin = time.monotonic()
        run(["ffmpeg", "-version"])
        peer.append(time.monotonic() - begin)
    print(f"start to first frame: median {1000 * statistics.median(times):.0f} ms, "
          f"longest {1000 * times[-1]:.0f} ms (goal: below 300)")
    print(f"ffmpeg -version beside it: median {1000 * statistics.median(peer):.0f} ms")


# Wake-ups


def switches(process):
    """Voluntary context switches by the name of the thread."""
    counts = {}
    for task in pathlib.Path(f"/proc/{process.pid}/task").iterdir():
        try:
            status = dict(line.split(":\t", 1)
                          for line in (task / "status").read_text().splitlines() if ":\t" in line)
        except FileNotFoundError:
            continue
        name = status["Name"]
        counts[name] = counts.get(name, 0) + int(status["voluntary_ctxt_switches"])
    return counts


def wakeups(seconds=20):
    with tempfile.TemporaryDirectory(prefix="takebox-bench-") as folder:
        program = Takebox(folder, "--control-port", "0")
        try:
            assert program.port
            time.sleep(2)
            before = switches(program.process)
            time.sleep(seconds)
            after = switches(program.process)
        finally:
            program.terminate()
    for name, count in sorted(after.items()):
        print(f"{name:20} {(count - before.get(name, 0)) / seconds:7.1f} wake-ups per second")


# The reference movie of a day


def reference():
    with tempfile.TemporaryDirectory(prefix="takebox-bench-") as folder:
        home = os.path.join(folder, "home")
        os.makedirs(home)
        took = {}
        for name, seconds in (("minute", 60.0), ("day", 86400.0)):
            write_preferences(home, {deck_key(1): deck_settings(
                folder, Recording_Name=name, Reference_Movie_Duration=seconds,
                Create_Self_Contained_Movie=False)})
            program = Takebox(folder, "--control-port", "0", deck("ntsc", 1), home=home)
            try:
                wait_until(lambda p=program: p.ask("STATUS 1") == "IDLE", "the deck")
                begin = time.monotonic()
                assert program.ask("RECORD 1") == "OK"
                took[name] = time.monotonic() - begin
                time.sleep(1)
            finally:
                program.terminate()
            path = f"{folder}/{name}.ref"
            begin = time.monotonic()
            used = run(["ffprobe", "-v", "error", "-enable_drefs", "1", "-use_absolute_path",
                        "1", "-show_entries", "format=duration", path])
            opened = time.monotonic() - begin
            print(f"{name}: RECORD answered after {took[name]:.3f} s, "
                  f"{size_of(path) / 1e6:.2f} MB, opened by ffprobe in {opened:.2f} s "
                  f"({used:.2f} s of processor)")
        print(f"writing the day's movie: {took['day'] - took['minute']:.3f} s more than a minute's "
              "(goal: below 1 s, 12 MB, 2 s)")


FIGURES = {function.__name__: function
           for function in (recording, capacity, memory, start, wakeups, reference)}


def main():
    if len(sys.argv) < 2 or sys.argv[1] not in FIGURES or not shutil.which(PROGRAM):
        sys.exit(__doc__)
    FIGURES[sys.argv[1]](*(int(argument) for argument in sys.argv[2:3]))


if __name__ == "__main__":
    main()
