"""Random commands to a running recorder from all sides at once, each side in a thread."""

import os
import random
import subprocess
import threading
import time

from takebox import ControlClient

BUS_NAME = "com.marvanemedia.TakeboxDV"
BUS_PATH = "/com/marvanemedia/TakeboxDV/devices/"
BUS_INTERFACE = BUS_NAME + ".Device"


class Side(threading.Thread):
    """One who gives commands until it is told to stop."""

    def __init__(self, name, soak, seed, pause):
        super().__init__(name=name, daemon=True)
        self.soak = soak
        self.random = random.Random(seed)
        self.pause = pause
        self.turn = threading.Lock()  # held while a command is given; who takes it brings rest
        self.given = 0
        self.failed = 0

    def run(self):
        while not self.soak.is_over.wait(self.random.uniform(0.0, 2.0) * self.pause):
            try:
                with self.turn:
                    self.give(self.random.randrange(self.soak.decks))
                self.given += 1
            except (OSError, subprocess.SubprocessError) as error:
                self.failed += 1
                if not self.soak.is_over.is_set():
                    self.soak.note(f"{self.name}: {error}")

    def give(self, deck):
        raise NotImplementedError


class ControlPort(Side):
    """Commands over TCP, sometimes several at once, sometimes from one that leaves at once."""

    QUESTIONS = ("STATUS", "ELAPSED", "TIMECODE", "REMAIN", "DROPPEDFRAMES", "FRAME", "AUDIO1",
                 "RECNAME", "DURATION", "GUID")

    def __init__(self, *arguments):
        super().__init__("control port", *arguments)
        self.client = None

    def give(self, deck):
        if self.client is None or self.random.random() < 0.05:
            if self.client is not None:
                self.client.close()
            self.client = ControlClient(self.soak.program.port)
        number = deck + 1
        draw = self.random.random()
        if draw < 0.12:
            self.soak.name_next(self.client.ask, number)
            self.client.ask(f"RECORD {number}")
        elif draw < 0.18:
            self.client.ask(f"STOP {number}")
        elif draw < 0.22:
            # One kind of movie at least stays on: that of the other command.
            kind = self.random.choice(("SELF", "REF"))
            other = "REF" if kind == "SELF" else "SELF"
            self.client.ask(f"SETCREATE{other}MOVIE {number} 1")
            self.client.ask(f"SETCREATE{kind}MOVIE {number} {self.random.randrange(2)}")
        elif draw < 0.26:
            self.client.ask(f"SETDURATION {number} {self.random.randrange(2, 90)}")
        elif draw < 0.30:
            self.client.ask("NONSENSE " + "x" * self.random.randrange(500))
        elif draw < 0.33:
            impatient = ControlClient(self.soak.program.port)
            impatient.send(f"FRAME {number}")
            impatient.close()
        else:
            self.ask(self.random.choice(self.QUESTIONS), number)

    def ask(self, question, number):
        if question != "FRAME":
            self.client.ask(f"{question} {number}")
            return
        client = ControlClient(self.soak.program.port)  # a picture has no end
        client.send(f"FRAME {number}")
        client.socket.settimeout(0.5)
        try:
            client.socket.recv(65536)
        except TimeoutError:
            pass
        client.close()


class SessionBus(Side):
    """Commands and properties over D-Bus; it alone holds recordings and makes loops."""

    def __init__(self, *arguments):
        super().__init__("session bus", *arguments)

    def call(self, deck, method, *arguments):
        subprocess.run(
            ["gdbus", "call", "--session", "--dest", BUS_NAME, "--object-path",
             BUS_PATH + self.soak.guid_text(deck), "--method", method, *arguments],
            check=True, capture_output=True, timeout=60)

    def set(self, deck, name, value):
        self.call(deck, "org.freedesktop.DBus.Properties.Set", BUS_INTERFACE, name, f"<{value}>")

    def give(self, deck):
        draw = self.random.random()
        if draw < 0.25:
            self.call(deck, BUS_INTERFACE + ".StartRecording")
        elif draw < 0.35:
            self.call(deck, BUS_INTERFACE + ".StopRecording")
        elif draw < 0.55:
            self.soak.expect_jump(deck)
            self.call(deck, BUS_INTERFACE + ".PauseRecording")
            time.sleep(self.random.random())
            self.call(deck, BUS_INTERFACE + ".ResumeRecording")
            self.soak.expect_jump(deck)
        elif draw < 0.65:
            loop = self.random.random() < 0.3
            self.set(deck, "referenceMovieDuration", f"{self.random.uniform(3, 30):.2f}")
            self.set(deck, "loopRecording", str(loop).lower())
        else:
            self.call(deck, "org.freedesktop.DBus.Properties.GetAll", BUS_INTERFACE)


class Windows(Side):
    """Keys to the windows of the decks, where there is a display."""

    KEYS = ("ctrl+r", "ctrl+r", "ctrl+period", "ctrl+i", "Escape", "ctrl+p", "Tab")

    def __init__(self, *arguments):
        super().__init__("windows", *arguments)

    @staticmethod
    def is_possible():
        return "DISPLAY" in os.environ

    def give(self, deck):
        found = subprocess.run(
            ["xdotool", "search", "--name", f"^{self.soak.deck_name(deck)}$"],
            capture_output=True, check=False, timeout=60).stdout.split()
        if not found:
            return
        key = self.random.choice(self.KEYS)
        if key == "ctrl+p":
            self.soak.expect_jump(deck)
        window = found[-1].decode()
        subprocess.run(["xdotool", "windowfocus", window, "key", key], capture_output=True,
                       check=False, timeout=60)
        if key == "ctrl+p":
            self.soak.expect_jump(deck)
