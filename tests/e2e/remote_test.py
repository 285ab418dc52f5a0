"""Remote control of the built program, over real sockets and a private service daemon."""

import contextlib
import os
import pathlib
import re
import resource
import select
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest

from takebox import (LONGEST_WAIT, PROGRAM, ControlClient, TakeboxTest, deck, ffprobe,
                     wait_until, write_preferences)

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/support"))

from private_mdns import PrivateMdns  # noqa: E402

DECKS = (deck("pal", 0x00a0b1c2d3e4f501, name="Studio A", start="10:00:00:00"),
         deck("ntsc", 2, name="Studio B"))
HOSTS = ("127.0.0.1", "::1")
DOCUMENT = ROOT / "docs/remote-control.md"
WORDS = ("HELP VERSION FRAME RECORD STOP STATUS ELAPSED DROPPEDFRAMES REMAIN TIMECODE AUDIO1 "
         "AUDIOLEFT AUDIO2 AUDIORIGHT AUDIO3 AUDIO4 COUNT DEVICENAME GUID SETRAWCAPTUREPATH "
         "RAWCAPTUREPATH SETREFMOVIEPATH REFMOVIEPATH SETDURATION DURATION SETRECNAME RECNAME "
         "SETMOVIECAPTUREPATH MOVIECAPTUREPATH SETAUTO AUTO SETCREATEREFMOVIE CREATEREFMOVIE "
         "SETCREATESELFMOVIE CREATESELFMOVIE").split()


class Client(ControlClient):
    """A connection that shows the bytes as they come."""

    def __init__(self, port, host="127.0.0.1"):
        super().__init__(port, host)
        self.unread = b""

    def send_bytes(self, data):
        self.socket.sendall(data)

    def answer(self):
        """The next answer with its end."""
        while self.END not in self.unread:
            self._receive_more()
        end = self.unread.index(self.END) + len(self.END)
        answer, self.unread = self.unread[:end], self.unread[end:]
        return answer

    def receive(self):
        return self.answer()[:-len(self.END)].decode()

    def picture(self, line):
        """Sends a line, again and again until there is a picture, and returns the JPEG."""
        def received():
            self.send(line)
            return select.select([self.socket], [], [], 0.2)[0]

        wait_until(received, "a picture")
        while not self.unread.endswith(b"\xff\xd9"):
            self._receive_more()
        picture, self.unread = self.unread, b""
        return picture

    def _receive_more(self):
        data = self.socket.recv(65536)
        if not data:
            raise ConnectionError("the program closed the connection")
        self.unread += data


def run_tool(*arguments, environment=None):
    """Runs the program as a client: exit status, standard output, standard error."""
    result = subprocess.run([PROGRAM, *arguments], capture_output=True, timeout=LONGEST_WAIT,
                            env=environment, check=False)
    return result.returncode, result.stdout.decode(), result.stderr.decode()


class RemoteTest(TakeboxTest):
    def client(self, program, host="127.0.0.1"):
        return contextlib.closing(Client(program.port, host))

    def clients(self, program):
        """A client over each address family in turn."""
        for host in HOSTS:
            with self.subTest(host=host), self.client(program, host) as client:
                yield client

    def send_recordings_here(self, program, number=1):
        """Lets a deck make a short reference movie in a folder of the test; returns the folder."""
        folder = self.make_folder("recordings")
        for word in ("setrawcapturepath", "setrefmoviepath", "setmoviecapturepath"):
            self.assertEqual(program.ask(f"{word} {number} {folder}"), "OK")
        self.assertEqual(program.ask(f"setduration {number} 2"), "OK")
        return folder


class TwoDecks(RemoteTest):
    def setUp(self):
        super().setUp()
        self.program = self.start(*DECKS)

    def test_answers_are_byte_exact(self):
        for client in self.clients(self.program):
            for line, answer in ((b"status 2\r\n", b"IDLE\x0a\x0d"), (b"version", b"100\x0a\x0d"),
                                 (b"Status 1\n", b"IDLE\x0a\x0d"), (b"count\r", b"2\x0a\x0d"),
                                 (b"status 9\r\n", b"IDLE\x0a\x0d"),
                                 (b"status 3\r\n", b"INCORRECT INDEX\x0a\x0d"),
                                 (b"\r\n", b"UNKNOWN COMMAND\x0a\x0d"),
                                 (b"\x00\x00\r\n", b"UNKNOWN COMMAND\x0a\x0d"),
                                 (b"\xff\xfe\x80\r\n", b"UNKNOWN COMMAND\x0a\x0d"),
                                 (b"elapsed 1", b"00:00:00:00\x0a\x0d"),
                                 (b"audio4 2\r\n", b"0.0\x0a\x0d"),
                                 (b"droppedframes 2\r\n", b"Dropped Frames: 0\x0a\x0d")):
                client.send_bytes(line)
                self.assertEqual(client.answer(), answer, line)
                self.assertEqual(client.unread, b"")

    def test_two_lines_in_one_packet_are_one_command(self):
        for client in self.clients(self.program):
            client.send_bytes(b"status 1\nstatus 2\n")
            self.assertEqual(client.answer(), b"IDLE\n\r")
            client.send_bytes(b"setrecname 1 a\nsetrecname 2 b\n")
            self.assertEqual(client.answer(), b"OK\n\r")
            self.assertEqual(client.ask("recname 1"), "a\nsetrecname 2 b")

    def test_a_long_line_is_read_in_pieces(self):
        for client in self.clients(self.program):
            client.send_bytes(b"x" * 2048)
            self.assertEqual(client.answer(), b"UNKNOWN COMMAND\n\r")
            client.send_bytes(b"y" * 100000)
            self.assertEqual(client.answer(), b"UNKNOWN COMMAND\n\r")
        with self.client(self.program) as client:
            self.assertEqual(client.ask("version"), "100")

    def test_thousands_of_commands_in_one_packet(self):
        for client in self.clients(self.program):
            client.send_bytes(b"status 1\n" * 5000)
            self.assertEqual(client.answer(), b"IDLE\n\r")
        with self.client(self.program) as client:
            self.assertEqual(client.ask("version"), "100")

    def test_arguments_keep_their_spaces_and_letters(self):
        for client in self.clients(self.program):
            self.assertEqual(client.ask("setrecname 2 My  Take"), "OK")
            self.assertEqual(client.ask("recname 2"), "My  Take")
            self.assertEqual(client.ask("setrecname Take 7"), "OK")
            self.assertEqual(client.ask("recname 1"), "Take 7")
            self.assertEqual(client.ask("setrecname 1 Bänder"), "OK")
            self.assertEqual(client.ask("recname"), "Bänder")

    def test_settings(self):
        for client in self.clients(self.program):
            self.assertEqual(client.ask("setduration 1 1"), "INCORRECT DURATION")
            self.assertEqual(client.ask("setduration 1 1.5"), "OK")
            self.assertEqual(client.ask("duration 1"), "1.500000")
            self.assertEqual(client.ask("setauto 1 1"), "OK")
            self.assertEqual(client.ask("setauto 1 256"), "OK")
            self.assertEqual(client.ask("auto 1"), "0")
            self.assertEqual(client.ask("setrawcapturepath 1 ~/Movies"), "INCORRECT PATH")
            self.assertEqual(client.ask("setrawcapturepath 1 /etc/passwd"), "INCORRECT PATH")
            self.assertEqual(client.ask(f"setrawcapturepath 1 {self.folder}"), "OK")
            self.assertEqual(client.ask("rawcapturepath 1"), self.folder)

    def test_recording(self):
        folder = self.send_recordings_here(self.program, 2)
        for client in self.clients(self.program):
            self.assertEqual(client.ask("record 2"), "OK")
            self.assertEqual(client.ask("status 2"), "REC")
            self.assertEqual(client.ask("status 1"), "IDLE")
            wait_until(lambda: client.ask("elapsed 2") > "00:00:00:03", "the time to run")
            self.assertEqual(client.ask("stop 2"), "OK")
            self.assertEqual(client.ask("status 2"), "IDLE")
        self.assertTrue(list(pathlib.Path(folder).glob("**/*.dv")))

    def test_a_record_without_a_destination_is_answered_at_once(self):
        for client in self.clients(self.program):
            self.assertEqual(client.ask("setcreaterefmovie 1 0"), "OK")
            self.assertEqual(client.ask("setcreateselfmovie 1 0"), "OK")
            self.assertEqual(client.ask("record 1"), "OK")
            self.assertEqual(client.ask("status 1"), "IDLE")
        self.assertIn("No Recording Destination!", self.program.log())

    def test_a_record_is_answered_below_an_alert_however_often(self):
        program = self.start(*DECKS, headless=False, home=self.make_folder("desktop"))
        with self.client(program) as client:
            self.assertEqual(client.ask("setcreaterefmovie 1 0"), "OK")
            self.assertEqual(client.ask("setcreateselfmovie 1 0"), "OK")
            for _ in range(50):
                self.assertEqual(client.ask("record 1"), "OK")
                self.assertEqual(client.ask("status 1"), "IDLE")
        self.assertEqual(program.log().count("No Recording Destination!"), 50)
        self.end_well(program)

    def test_a_picture_is_nothing_but_a_jpeg(self):
        for client in self.clients(self.program):
            picture = client.picture("frame 1")
            self.assertEqual(client.ask("version"), "100")
            path = os.path.join(self.folder, "still.jpg")
            pathlib.Path(path).write_bytes(picture)
            self.assertEqual(ffprobe(path, "stream=codec_name,height"), ["mjpeg", "135"])

    def test_a_silent_client_is_left_alone(self):
        with self.client(self.program) as silent:
            for client in self.clients(self.program):
                self.assertEqual(client.ask("version"), "100")
            self.assertEqual(silent.ask("version"), "100")

    def test_a_client_that_never_reads_is_dropped(self):
        with self.client(self.program) as greedy, self.client(self.program) as other:
            greedy.picture("frame 1")
            with self.assertRaises(ConnectionError):
                while True:
                    greedy.send("frame 1")
                    self.assertEqual(other.ask("version"), "100")  # by now it has been answered
            self.assertIn("Dropping a client that does not read", self.program.log())
            self.assertEqual(other.ask("version"), "100")

    def test_many_connections_leave_nothing_behind(self):
        descriptors = pathlib.Path(f"/proc/{self.program.process.pid}/fd")
        with self.client(self.program) as client:
            client.ask("version")
            # The start may still open and close some for itself: a handful, not hundreds.
            allowed = len(list(descriptors.iterdir())) + 10
            for number in range(1000):
                with self.client(self.program, HOSTS[number % 2]) as other:
                    self.assertEqual(other.ask("version"), "100")
            wait_until(lambda: len(list(descriptors.iterdir())) <= allowed, "closed connections")

    def test_a_port_in_use_is_told_by_domain_and_code(self):
        other = self.run_program("--control-port", str(self.program.port),
                                 home=self.make_folder("other"))
        other.wait_for_log("Error starting server: TCPServerErrorDomain error 1\n")
        other.wait_for_log(f"Remote control is off. The network port {self.program.port} cannot")
        self.end_well(other)

    def test_the_tool_asks_over_both_families(self):
        for host in (f"127.0.0.1:{self.program.port}", f"[::1]:{self.program.port}",
                     f"localhost:{self.program.port}"):
            self.assertEqual(run_tool("--remote", host, "devicename", "2"),
                             (0, "Studio B\n", ""))
        self.assertEqual(run_tool("--remote", host, "status", "3"), (1, "INCORRECT INDEX\n", ""))
        picture = pathlib.Path(self.folder, "still.jpg")
        wait_until(lambda: run_tool("--remote", host, "frame", "1", str(picture))[0] == 0,
                   "a picture")
        self.assertTrue(picture.read_bytes().startswith(b"\xff\xd8"))
        other = pathlib.Path(self.folder, "other.jpg")
        for arguments in ([f"frame 1 {other}"], ["frame 1", str(other)], ["Frame", "1", str(other)]):
            status, output, _ = run_tool("--remote", host, *arguments)
            self.assertEqual((status, output), (0, f"{other}: {other.stat().st_size} bytes\n"))
            other.unlink()

    def test_the_documented_transcripts_are_true(self):
        """Values that change are compared by their shape, the folder is the test's."""
        folder = self.make_folder("recordings")
        text = DOCUMENT.read_text().replace("/srv/dv", folder)
        blocks = [block for block in re.findall(r"```\n(.*?)```", text, re.DOTALL)
                  if block.startswith("> ")]
        changing = {"timecode", "audio1", "audio2", "audioleft", "audioright", "elapsed", "remain"}
        with self.client(self.program) as client:
            wait_until(lambda: client.ask("timecode 1") > "10:00:00:05", "the decks to play")
            for block in blocks:
                for part in re.split(r"(?m)^> ", block)[1:]:
                    command, expected = part.rstrip("\n").split("\n", 1)
                    answer = client.ask(command)
                    if command.split()[0] in changing:
                        answer, expected = (re.sub(r"\d+", "9", each) for each in (answer, expected))
                    self.assertEqual(answer, expected, command)


class NoDecks(RemoteTest):
    def test_every_command_is_refused(self):
        for client in self.clients(self.start()):
            for word in WORDS:
                self.assertEqual(client.ask(word), "INCORRECT INDEX")
                self.assertEqual(client.ask(word.lower() + " 1"), "INCORRECT INDEX")


class NoPicture(RemoteTest):
    def test_a_frame_without_a_picture_sends_nothing(self):
        program = self.start(deck("pal", 1, cue="yes"))
        for client in self.clients(program):
            self.assertEqual(client.ask("version"), "100")  # the connection is being read now
            client.send("frame 1")
            # Once the program has gone round after this, it has read the frame's line as well,
            # which is not to meet the next one in one packet.
            self.assertEqual([program.ask("version"), program.ask("version")], ["100", "100"])
            client.send("version")
            self.assertEqual(client.answer(), b"100\n\r")
        status, _, message = run_tool("--remote", f"127.0.0.1:{program.port}", "frame", "1")
        self.assertEqual((status, message), (1, "takebox: the deck has no picture.\n"))


class FewDescriptors(RemoteTest):
    def test_clients_beyond_the_limit_wait_their_turn(self):
        program = self.start(deck("pal", 1))
        self.assertEqual(program.ask("version"), "100")
        pid = program.process.pid
        limits = resource.prlimit(pid, resource.RLIMIT_NOFILE)
        used = max(map(int, os.listdir(f"/proc/{pid}/fd"))) + 1
        resource.prlimit(pid, resource.RLIMIT_NOFILE, (used, limits[1]))
        with contextlib.ExitStack() as stack:
            clients = []

            def is_short():
                # The first ones may get what the program has closed meanwhile.
                clients.append(stack.enter_context(self.client(program)))
                return "Cannot accept a client now" in program.log()

            wait_until(is_short, "the last descriptor")
            self.assertEqual(program.ask("version"), "100")
            resource.prlimit(pid, resource.RLIMIT_NOFILE, limits)
            self.assertEqual(clients[-1].ask("version"), "100")
        self.assertEqual(program.log().count("Cannot accept a client now"), 1)


class PlayoutSystem(threading.Thread):
    """Listens where playout systems do, on an address of its own, and keeps what it is sent."""

    def __init__(self, address):
        super().__init__(daemon=True)
        self.received = b""
        self.listening = socket.create_server((address, 1025))
        self.start()

    def run(self):
        connection, _ = self.listening.accept()
        with connection:
            self.received = connection.recv(2)
            connection.sendall(b"OK")
            while data := connection.recv(100):
                self.received += data
        self.listening.close()


class Playout(RemoteTest):
    """Castline systems: 127.0.0.7 answers, .8 refuses, .9 never answers."""

    def test_recording_switches_every_system_in_turn(self):
        write_preferences(self.home, {"Should Switch Castline": True, "Castline Addresses":
                                      ["127.0.0.8", "127.0.0.9", "127.0.0.7"]})
        with socket.socket() as silent, socket.socket() as filling:
            silent.bind(("127.0.0.9", 1025))
            silent.listen(0)
            filling.connect(("127.0.0.9", 1025))  # from here on nobody is answered
            system = PlayoutSystem("127.0.0.7")
            program = self.start(*DECKS)
            for number in (1, 2):
                self.send_recordings_here(program, number)
            self.assertEqual(program.ask("setcreateselfmovie 1 1"), "OK")
            start = time.monotonic()
            self.assertEqual(program.ask("record 1"), "OK")
            self.assertGreater(time.monotonic() - start, 1.9)
            self.assertLess(time.monotonic() - start, 20)
            self.assertEqual(program.ask("status 1"), "REC")
            system.join(LONGEST_WAIT)
        self.assertEqual(system.received, b"SL")
        for address in ("127.0.0.8", "127.0.0.9"):
            self.assertIn(f"Tapedeck: Could not switch Castline with address {address} because of "
                          "an error -1\n", program.log())
        self.assertNotIn("address 127.0.0.7", program.log())

    def test_the_presence_probe(self):
        system = PlayoutSystem("127.0.0.7")
        self.assertEqual(run_tool("--check-playout", "127.0.0.7"),
                         (0, "Received 2 bytes:\n OK\nA playout system answers at 127.0.0.7.\n", ""))
        system.join(LONGEST_WAIT)
        self.assertEqual(system.received, b"AT")
        self.assertEqual(run_tool("--check-playout", "127.0.0.8"),
                         (1, "No playout system answers at 127.0.0.8.\n", ""))

    def test_a_probe_that_waits_for_a_reply_can_be_interrupted(self):
        with socket.create_server(("127.0.0.9", 1025)) as silent:
            probe = subprocess.Popen([PROGRAM, "--check-playout", "127.0.0.9"])
            connection, _ = silent.accept()
            with connection:
                self.assertEqual(connection.recv(2), b"AT")
                probe.send_signal(signal.SIGINT)
                self.assertEqual(probe.wait(LONGEST_WAIT), -signal.SIGINT)


class FakeRecorder(threading.Thread):
    """A recorder that answers one client with these lines, one for each command, and hangs up."""

    def __init__(self, *answers):
        super().__init__(daemon=True)
        self.answers = answers
        self.listening = socket.create_server(("127.0.0.1", 0))
        self.port = self.listening.getsockname()[1]
        self.start()

    def run(self):
        connection, _ = self.listening.accept()
        with connection:
            for answer in self.answers:
                connection.recv(100)
                connection.sendall(answer.encode() + ControlClient.END)
        self.listening.close()


class Announcement(RemoteTest):
    def setUp(self):
        super().setUp()
        missing = PrivateMdns.missing()
        if missing:
            self.skipTest(f"no service daemon can be run here: {missing}")
        self.world = PrivateMdns()
        self.addCleanup(self.world.close)
        self.world.start_bus()
        self.world.start()

    def start_here(self, *decks, **options):
        # Nothing else of the environment: the home stays the test's own.
        bus = {"DBUS_SYSTEM_BUS_ADDRESS": self.world.address}
        return self.start(*decks, environment=bus, **options)

    def test_is_seen_by_an_independent_browser_until_the_program_quits(self):
        program = self.start_here(*DECKS)
        found = wait_until(self.world.browse, "the announcement")
        # =;interface;protocol;name;type;domain;host;address;port;text
        self.assertEqual({(line[3], line[4], line[8]) for line in found},
                         {("takebox-test", "_takebox._tcp", str(program.port))})
        self.end_well(program)
        wait_until(lambda: not self.world.browse(), "the announcement to go")

    def test_has_the_name_of_the_host_without_its_domain(self):
        renamed = os.path.join(self.folder, "renamed-host")
        pathlib.Path(renamed).write_text(
            "#!/bin/sh\nexec unshare --uts sh -c 'hostname studio.local && exec \"$@\"' sh "
            f"'{PROGRAM}' \"$@\"\n", encoding="utf-8")
        os.chmod(renamed, 0o755)
        if subprocess.run(["unshare", "--uts", "true"], capture_output=True, check=False).returncode:
            self.skipTest("no host can be renamed here")
        program = self.start_here(program=renamed)
        self.assertEqual({line[3] for line in wait_until(self.world.browse, "it")}, {"studio"})
        self.end_well(program)

    def test_discovery_lists_recorders_with_their_decks(self):
        program = self.start_here(*DECKS)
        without_decks = self.start_here(home=self.make_folder("other"))
        self.send_recordings_here(program, 2)
        program.ask("record 2")
        wait_until(lambda: len(self.world.browse()) >= 2, "both announcements")
        status, output, _ = run_tool("--discover", environment=self.world.environment())
        self.assertEqual(status, 0)
        self.assertIn(f"(takebox-test.local:{program.port})\n"
                      "  1  IDLE  Studio A\n  2  REC   Studio B\n", output)
        self.assertIn(f"(takebox-test.local:{without_decks.port})\n  no decks\n", output)

    def test_discovery_lists_the_decks_that_commands_reach(self):
        decks = [deck("pal", 0x100 + number, name=f"Deck {number}") for number in range(1, 11)]
        program = self.start_here(*decks)
        wait_until(self.world.browse, "the announcement")
        status, output, _ = run_tool("--discover", environment=self.world.environment())
        self.assertEqual(status, 0)
        listed = "".join(f"  {number}  IDLE  Deck {number}\n" for number in range(1, 9))
        self.assertIn(f"(takebox-test.local:{program.port})\n{listed}  and 2 more\n", output)

    def test_discovery_lists_what_recorders_that_do_not_answer_have_said(self):
        with socket.create_server(("127.0.0.1", 0)) as silent, socket.socket() as deaf:
            deaf.bind(("127.0.0.1", 0))
            recorders = {"A deaf": deaf.getsockname()[1], "B silent": silent.getsockname()[1],
                         "C gone": FakeRecorder("2", "Studio A", "REC", "Studio B").port}
            for name, port in recorders.items():
                self.world.announce(name, port)
            status, output, _ = run_tool("--discover", environment=self.world.environment())
        self.assertEqual(status, 0)
        reasons = {"A deaf": "  ADDRESS does not accept a connection on port N: Connection refused\n",
                   "B silent": "  the recorder did not answer in time\n",
                   "C gone": "  1  REC   Studio A\n  the recorder closed the connection\n"}
        # Whether the last address that was tried is IPv4 or IPv6 depends on the machine.
        output = re.sub(r"  (127\.0\.0\.1|::1) (.*) \d+:", r"  ADDRESS \2 N:", output)
        self.assertEqual(output, "".join(f"{name} (takebox-test.local:{port})\n{reasons[name]}"
                                         for name, port in recorders.items()))

    def test_discovery_says_that_nobody_is_there(self):
        self.assertEqual(run_tool("--discover", environment=self.world.environment()),
                         (1, "No recorders found.\n", ""))

    def test_a_recorder_without_a_daemon_serves_all_the_same(self):
        self.world.stop()
        program = self.start_here(*DECKS)
        program.wait_for_log("Not announced on the network")
        self.assertEqual(program.ask("count"), "2")
        self.world.start()
        wait_until(self.world.browse, "the announcement")
        self.end_well(program)

    def test_discovery_without_a_daemon_says_so(self):
        self.world.stop()
        self.assertEqual(run_tool("--discover", environment=self.world.environment()),
                         (2, "", "takebox: there is no service daemon (avahi-daemon) to ask.\n"))


if __name__ == "__main__":
    unittest.main()
