"""Runs a program on a FireWire bus that is not there; see README.md."""

import os
import shutil
import socket
import subprocess
import tempfile
import time

# The bus would stand still while a busy disk takes its time with a device's files.
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


class FirewireBench:
    """A bus and the program on it. Use as a context manager.

    library: path of libfake_firewire.so; script: control commands before the program's main.
    """

    def __init__(self, library, script="card 0\n", sanitizer=""):
        self.folder = tempfile.mkdtemp(prefix="firewire-", dir=MEMORY)
        script_path = os.path.join(self.folder, "script")
        with open(script_path, "w", encoding="utf-8") as file:
            file.write(script)
        self.environment = {
            "FAKE_FIREWIRE_DIR": self.folder,
            "FAKE_FIREWIRE_SCRIPT": script_path,
            "UMOCKDEV_DIR": self.folder,
            "LD_PRELOAD": " ".join(filter(None, [sanitizer, os.path.abspath(library),
                                                 "libumockdev-preload.so.0"])),
        }
        self._socket = None
        self._lines = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self._socket is not None:
            self._lines.close()
            self._socket.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def start(self, arguments, **options):
        """Starts the program, as subprocess.Popen does."""
        environment = dict(options.pop("env", os.environ))
        environment.update(self.environment)
        return subprocess.Popen(arguments, env=environment, **options)

    def command(self, line, timeout=30):
        """Sends a control command; returns its answer without "ok"."""
        if self._socket is None:
            self._connect(timeout)
        self._socket.sendall(line.encode() + b"\n")
        answer = self._lines.readline().decode().strip()
        if not answer.startswith("ok"):
            raise RuntimeError(f"{line}: {answer}")
        return answer[2:].strip()

    def status(self, guid):
        """The values of "status GUID", as strings."""
        return dict(word.split("=", 1) for word in self.command(f"status {guid}").split())

    def _connect(self, timeout):
        end = time.monotonic() + timeout
        while True:
            try:
                self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
                self._socket.connect(os.path.join(self.folder, "control"))
                self._lines = self._socket.makefile("rb")
                return
            except OSError:
                self._socket.close()
                self._socket = None
                if time.monotonic() > end:
                    raise
                time.sleep(0.02)
