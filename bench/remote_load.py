#!/usr/bin/env python3
"""Load on the remote control while four decks record, on the loopback interface.

    TAKEBOX=build/release/takebox bench/remote_load.py build/release/bench/remote_load [CLIENTS [SECONDS]]

Fails when a client is dropped, an answer is wrong, or a recording has lost a frame.
"""

import pathlib
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/e2e"))

from takebox import (NTSC_FRAME, PAL_FRAME, Takebox, deck, deck_key, deck_settings,  # noqa: E402
                     size_of, wait_until, write_preferences)

DECKS = (("pal", PAL_FRAME), ("ntsc", NTSC_FRAME), ("pal", PAL_FRAME), ("ntsc", NTSC_FRAME))


def main():
    with tempfile.TemporaryDirectory(prefix="takebox-load-") as folder:
        home = pathlib.Path(folder, "home")
        home.mkdir()
        write_preferences(str(home), {
            deck_key(number): deck_settings(folder, Recording_Name=f"Take {number}")
            for number in range(1, 5)})
        program = Takebox(folder, "--control-port", "0", home=str(home),
                          *(deck(kind, number) for number, (kind, _) in enumerate(DECKS, 1)))
        try:
            for number in range(1, 5):
                assert program.ask(f"record {number}") == "OK"
                assert program.ask(f"status {number}") == "REC"
            status = subprocess.run([sys.argv[1], str(program.port), *sys.argv[2:]],
                                    check=False).returncode
            lost = [line for line in program.log().splitlines()
                    if "ropp" in line or "lost" in line or "verrun" in line]
        finally:
            program.terminate()
        for number, (_, frame) in enumerate(DECKS, 1):
            path = f"{folder}/Take {number}/Take {number}.dv"
            wait_until(lambda p=path: size_of(p) > 0, path)
            print(f"deck {number}: {size_of(path) // frame} frames, "
                  f"{size_of(path) % frame} bytes over")
        print("\n".join(lost) or "no frame was lost")
        sys.exit(status or bool(lost))


if __name__ == "__main__":
    main()
