"""Start-up, what can go wrong with it, and the way out."""

import os
import socket
import subprocess
import unittest

from takebox import (PREFERENCES, SessionBus, TakeboxTest, deck, deck_key, deck_settings, read_file,
                     read_preferences, wait_until, write_preferences)

OLD_PREFERENCES = "Library/Preferences/com.Oxa.TakeboxDV.plist"


class Lifecycle(TakeboxTest):
    def test_answers_on_the_port_that_the_system_has_chosen(self):
        program = self.start(deck("pal", 1), deck("ntsc", 2))
        self.assertEqual(program.ask("COUNT"), "2")
        self.assertEqual(program.ask("STATUS 2"), "IDLE")
        self.end_well(program)

    def test_port_in_use_is_logged_and_the_program_runs_on(self):
        with socket.socket() as other:
            other.bind(("0.0.0.0", 0))
            other.listen()
            port = other.getsockname()[1]
            program = self.run_program("--control-port", str(port), deck("pal", 7))
            program.wait_for_log("Error starting server: .+")
            self.assertTrue(program.is_running())
            self.assertNotIn("Starting server", program.log())
            self.end_well(program)

    def test_old_preferences_are_taken_over_and_the_program_ends(self):
        old = {deck_key(7): deck_settings(self.folder), "Erase Existing Files": True}
        write_preferences(self.home, old, name=OLD_PREFERENCES)
        program = self.start(deck("pal", 7))
        self.assertEqual(program.wait(), 0)
        self.assertIn("The application preferences have been updated ! "
                      "This application will need to be restarted.", program.log())
        self.assertNotIn("Starting server", program.log())
        self.assertNotIn("CaptureDevice", program.log())
        old_path = os.path.join(self.home, OLD_PREFERENCES)
        self.assertEqual(read_file(os.path.join(self.home, PREFERENCES)), read_file(old_path))

        again = self.start(deck("pal", 7))
        self.assertEqual(again.ask("RECNAME 1"), "Take")
        self.end_well(again)

    def test_old_preferences_are_ignored_beside_new_ones(self):
        write_preferences(self.home, {deck_key(7): deck_settings("/old")}, name=OLD_PREFERENCES)
        write_preferences(self.home, {deck_key(7): deck_settings("/new")})
        program = self.start(deck("pal", 7))
        self.assertEqual(program.ask("RAWCAPTUREPATH 1"), "/new")
        self.end_well(program)

    def test_home_that_cannot_be_written_is_told_and_the_program_runs_on(self):
        folder = self.make_folder("recordings")
        if os.geteuid() == 0:
            # Nothing is read-only to root; below a file nobody can make a folder.
            home = os.path.join(self.folder, "file")
            open(home, "wb").close()
        else:
            home = self.make_folder("read-only")
            os.chmod(home, 0o555)
        program = self.start(deck("pal", 7, speed=8), home=home)
        self.assertEqual(program.ask(f"SETRAWCAPTUREPATH 1 {folder}"), "OK")
        self.assertEqual(program.ask(f"SETREFMOVIEPATH 1 {folder}"), "OK")
        self.assertEqual(program.ask("SETRECNAME 1 Kept"), "OK")
        program.wait_for_log(r"could not be saved to .*com\.marvanemedia\.TakeboxDV\.plist")
        self.assertEqual(program.ask("RECNAME 1"), "Kept")
        self.assertEqual(program.ask("RECORD 1"), "OK")
        wait_until(lambda: program.ask("ELAPSED 1") != "00:00:00:00", "frames")
        self.end_well(program)
        self.assertGreater(os.path.getsize(os.path.join(folder, "Kept", "Kept.dv")), 0)

    def put_action(self, text):
        folder = self.make_folder("home", ".local", "share", "takebox", "Actions")
        with open(os.path.join(folder, "Start Recording.lua"), "w", encoding="utf-8") as file:
            file.write(text)
        write_preferences(self.home, {
            deck_key(7): deck_settings(self.folder), "Launch Start Recording Script": True,
            "Start Recording Script Delay": 0})

    def test_program_is_ended_while_a_script_runs(self):
        self.put_action("takebox.log('begun') while true do end")
        program = self.start(deck("pal", 7))
        program.ask("RECORD 1")
        program.wait_for_log("begun")
        self.end_well(program)
        self.assertIn('The script "Start Recording" was ended: the program is to end',
                      program.log())
        self.assertGreater(os.path.getsize(os.path.join(self.folder, "Take", "Take.dv")), 0)

    def test_numbers_of_scripts_do_not_depend_on_the_desktop(self):
        locales = self.make_folder("locales")
        made = subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8",
                               os.path.join(locales, "de_DE.UTF-8")],
                              capture_output=True, check=False)
        if made.returncode not in (0, 1):  # 1: with warnings
            self.skipTest(f"no German locale can be made here: {made.stderr.decode()}")
        self.put_action("takebox.log('half is ' .. tostring(0.5) .. ', ' .. tonumber('2.5') * 2)")
        for headless in (True, False):
            program = self.start(deck("pal", 7), headless=headless, environment={
                "LOCPATH": locales, "LC_ALL": "de_DE.UTF-8"})
            program.ask("RECORD 1")
            program.wait_for_log(r"half is 0\.5, 5\.0")
            self.end_well(program)

    def test_windows_without_a_display_are_refused_with_what_to_do(self):
        program = self.run_program(deck("pal", 7), headless=False, environment={
            "DISPLAY": "", "WAYLAND_DISPLAY": "", "QT_QPA_PLATFORM": ""})
        self.assertEqual(program.wait(), 1)
        self.assertEqual(program.log(), "takebox: there is no display; run it with --headless, or "
                                        "record once with --record SECONDS --to DIR.\n")

    def test_a_check_of_the_machine_tells_what_to_do(self):
        bus = SessionBus()
        self.addCleanup(bus.close)
        good = self.run_program("--diagnose", "--to", self.folder, headless=False,
                                environment=bus.environment)
        self.assertIn(good.wait(), (0, 1))
        self.assertRegex(good.output(), r"Disk at .*: writes \d+ MB a second, enough for \d+ decks")
        self.assertIn("Session bus: connected", good.output())
        bad = self.run_program("--diagnose", "--to", os.path.join(self.folder, "missing"),
                               headless=False)
        self.assertEqual(bad.wait(), 1)
        self.assertRegex(bad.output(), r"Disk at .*: cannot be written: .*\n +There is no such folder: create it")
        self.assertIn("Session bus: none", bad.output())

    def test_damaged_preferences_are_kept_aside(self):
        path = os.path.join(self.home, PREFERENCES)
        os.makedirs(os.path.dirname(path))
        damaged = b"<plist><dict><key>Erase Exis"
        with open(path, "wb") as file:
            file.write(damaged)
        program = self.start(deck("pal", 7))
        self.assertEqual(program.ask("SETRECNAME 1 After"), "OK")
        self.end_well(program)
        aside = [name for name in os.listdir(os.path.dirname(path)) if "damaged" in name]
        self.assertEqual(len(aside), 1)
        self.assertEqual(read_file(os.path.join(os.path.dirname(path), aside[0])), damaged)
        self.assertEqual(read_preferences(self.home)[deck_key(7)]["Recording Name"], "After")


if __name__ == "__main__":
    unittest.main()
