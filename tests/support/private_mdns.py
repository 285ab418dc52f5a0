#!/usr/bin/env python3
"""A service discovery world of its own: a private system bus and an Avahi daemon on a loopback
network that nobody else hears. Its clients speak to it through the bus alone.

Nothing of the machine's own bus, daemon or network is touched. Needs dbus-daemon, avahi-daemon and
unshare; works for root and, where the kernel lets users make name spaces, for everybody.

As a module: with PrivateMdns() as world: ... world.environment() is what programs need in theirs.
As a program: prints the bus address when it is up, then obeys a command a line on standard input
(start, stop, pause, resume), answering each with "done", and ends with its input.
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

BUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
  </policy>
</busconfig>
"""

AVAHI_CONFIGURATION = """[server]
host-name=takebox-test
allow-interfaces=lo
enable-dbus=yes
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
"""

# A new network is down.
LOOPBACK_UP = ("import fcntl, socket, struct; SIOCSIFFLAGS = 0x8914; IFF_UP = 1; "
               "fcntl.ioctl(socket.socket(), SIOCSIFFLAGS, struct.pack('16sh22x', b'lo', IFF_UP))")

# The daemon insists on one fixed run directory that belongs to the user "avahi", so it gets a /run
# and a list of users of its own.
AVAHI_START = """
{python} -c "{loopback_up}" &&
mount -t tmpfs tmpfs /run &&
mount --bind {folder}/passwd /etc/passwd &&
mount --bind {folder}/group /etc/group &&
mkdir /run/avahi-daemon &&
exec avahi-daemon --file {folder}/avahi.conf --no-drop-root --no-chroot --no-rlimits
"""

PATH = os.environ.get("PATH", "") + ":/usr/sbin:/sbin"
PATIENCE = 60  # seconds; only a broken machine needs so long


class PrivateMdns:
    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="takebox-mdns-"))
        self.address = f"unix:path={self.folder}/bus"
        self.bus = None
        self.daemon = None
        self.announcers = []

    @staticmethod
    def missing():
        """What this machine lacks for it, as a text; empty when all is there."""
        programs = ["dbus-daemon", "avahi-daemon", "avahi-browse", "avahi-publish",
                    "unshare"]
        absent = [name for name in programs if shutil.which(name, path=PATH) is None]
        if absent:
            return ", ".join(absent)
        probe = subprocess.run([*PrivateMdns._unshare(), "true"], capture_output=True, check=False)
        return "" if probe.returncode == 0 else "name spaces"

    @staticmethod
    def _unshare():
        if os.getuid() == 0:
            return ["unshare", "--mount", "--net"]
        return ["unshare", "--user", "--map-current-user", "--keep-caps", "--mount", "--net"]

    def environment(self):
        return {**os.environ, "PATH": PATH, "DBUS_SYSTEM_BUS_ADDRESS": self.address}

    def start_bus(self):
        uid, gid = os.getuid(), os.getgid()
        self._write("passwd", f"root:x:0:0::/:/bin/sh\navahi:x:{uid}:{gid}::/:/bin/false\n")
        self._write("group", f"root:x:0:\navahi:x:{gid}:\nnetdev:x:99:\n")
        self._write("avahi.conf", AVAHI_CONFIGURATION)
        self._write("bus.conf", BUS_CONFIGURATION.format(socket=self.folder / "bus"))
        self.bus = self._run(["dbus-daemon", f"--config-file={self.folder}/bus.conf", "--nofork",
                              "--nopidfile"], "bus.log")
        self._wait(lambda: (self.folder / "bus").exists(), "the bus")

    def start(self):
        self.daemon = self._run([*self._unshare(), "sh", "-c",
                                 AVAHI_START.format(folder=self.folder, python=sys.executable,
                                                    loopback_up=LOOPBACK_UP)], "avahi.log")
        self._wait(lambda: b"Server startup complete" in self._read("avahi.log"), "the daemon")

    def stop(self):
        self._end(self.daemon)
        self.daemon = None

    def pause(self):
        self.daemon.send_signal(signal.SIGSTOP)

    def resume(self):
        self.daemon.send_signal(signal.SIGCONT)

    def browse(self):
        """The lines of avahi-browse about recorders, each a list of its fields."""
        result = subprocess.run(["avahi-browse", "--resolve", "--parsable", "--terminate",
                                 "_takebox._tcp"], env=self.environment(), capture_output=True,
                                timeout=PATIENCE, check=False)
        return [line.split(";") for line in result.stdout.decode().splitlines()
                if line.startswith("=")]

    def announce(self, name, port):
        """Announces a recorder of this name as long as this world exists, who ever is there."""
        self.announcers.append(self._run(["avahi-publish", "--service", name, "_takebox._tcp",
                                          str(port)], f"announcer-{port}.log"))
        self._wait(lambda: b"Established" in self._read(f"announcer-{port}.log"), name)

    def close(self):
        for announcer in self.announcers:
            self._end(announcer)
        self._end(self.daemon)
        self._end(self.bus)
        shutil.rmtree(self.folder, ignore_errors=True)

    def __enter__(self):
        try:
            self.start_bus()
            self.start()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def _run(self, command, log):
        with open(self.folder / log, "wb") as output:
            return subprocess.Popen(command, env=self.environment(), stdin=subprocess.DEVNULL,
                                    stdout=output, stderr=output)

    @staticmethod
    def _end(process):
        if process is not None:
            process.send_signal(signal.SIGCONT)
            process.terminate()
            process.wait()

    def _write(self, name, text):
        (self.folder / name).write_text(text)

    def _read(self, name):
        return (self.folder / name).read_bytes()

    def _wait(self, condition, what):
        end = time.monotonic() + PATIENCE
        while not condition():
            process = self.daemon or self.bus
            if process.poll() is not None or time.monotonic() > end:
                logs = b"".join(self._read(path.name) for path in self.folder.glob("*.log"))
                raise RuntimeError(f"{what} did not start: {logs.decode(errors='replace')}")
            time.sleep(0.01)


def main():
    if PrivateMdns.missing():
        print("missing " + PrivateMdns.missing(), flush=True)
        return
    world = PrivateMdns()
    try:
        world.start_bus()
        print(world.address, flush=True)
        commands = {"start": world.start, "stop": world.stop, "pause": world.pause,
                    "resume": world.resume}
        for line in sys.stdin:
            commands[line.strip()]()
            print("done", flush=True)
    finally:
        world.close()


if __name__ == "__main__":
    main()
