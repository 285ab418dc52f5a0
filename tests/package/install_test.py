"""What `cmake --install` puts where, judged by the tools that read it."""

import gzip
import os
import re
import shutil
import struct
import subprocess
import tempfile
import unittest

BUILD = os.environ["BUILD_FOLDER"]
ID = "com.marvanemedia.TakeboxDV"


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.stdout}{done.stderr}")
    return done.stdout


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.prefix = tempfile.mkdtemp(prefix="takebox-install-")
        cls.addClassCleanup(shutil.rmtree, cls.prefix)
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)

    def path(self, *names):
        path = os.path.join(self.prefix, *names)
        self.assertTrue(os.path.isfile(path), f"{path} is not installed")
        return path

    def read(self, *names):
        with open(self.path(*names), encoding="utf-8") as file:
            return file.read()

    def manual(self):
        with gzip.open(self.path("share/man/man1/takebox.1.gz"), "rt") as file:
            return file.read()

    def test_installed_program_starts(self):
        version = run(self.path("bin/takebox"), "--version").split()[-1]
        self.assertRegex(version, r"^\d+\.\d+\.\d+$")
        metainfo = self.read("share/metainfo", f"{ID}.metainfo.xml")
        self.assertIn(f'<release version="{version}"', metainfo)
        self.assertIn(f"Takebox DV {version}", self.manual())

    def test_desktop_entry_and_its_icon(self):
        entry = self.path("share/applications", f"{ID}.desktop")
        run("desktop-file-validate", entry)
        text = self.read("share/applications", f"{ID}.desktop")
        self.assertIn(f"Icon={ID}\n", text)
        for action in re.search(r"^Actions=(.*);$", text, re.M)[1].split(";"):
            self.assertRegex(text, rf"\[Desktop Action {action}\]\nName=.*\nName\[de\]=.*\n"
                                   r"Exec=takebox --remote localhost (record|stop) [12]\n")
        self.path("share/icons/hicolor/scalable/apps", f"{ID}.svg")

    def test_icons_have_the_size_of_their_folder(self):
        for size in 16, 22, 24, 32, 48, 64, 128, 256, 512:
            path = self.path(f"share/icons/hicolor/{size}x{size}/apps", f"{ID}.png")
            with open(path, "rb") as file:
                header = file.read(24)
            self.assertEqual(struct.unpack(">II", header[16:]), (size, size), path)

    def test_software_centres_accept_the_description(self):
        run("appstreamcli", "validate", "--no-net",
            self.path("share/metainfo", f"{ID}.metainfo.xml"))

    def test_links_of_the_guide_lead_somewhere(self):
        readme = self.path("share/doc/takebox/README.md")
        followed = 0
        for place, _, names in os.walk(os.path.dirname(readme)):
            for name in names:
                if not name.endswith(".md"):
                    continue
                with open(os.path.join(place, name), encoding="utf-8") as file:
                    links = re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", file.read())
                for link in links:
                    self.assertTrue(os.path.exists(os.path.join(place, link)), f"{name}: {link}")
                    followed += 1
        self.assertGreater(followed, 20)

    def test_manual_and_completions_know_every_option(self):
        options = set(re.findall(r"--[a-z-]{3,}", run(self.path("bin/takebox"), "--help")))
        self.assertIn("--virtual-deck", options)
        texts = {
            "manual": self.manual().replace("\\-", "-"),
            "bash": self.read("share/bash-completion/completions/takebox"),
            "zsh": self.read("share/zsh/vendor-completions/_takebox"),
            "fish": self.read("share/fish/vendor_completions.d/takebox.fish")
                        .replace("-l ", "--"),
        }
        for name, text in texts.items():
            self.assertEqual(options - set(re.findall(r"--[a-z-]{3,}", text)), set(), name)

    def complete(self, *words):
        """What bash offers for the last word."""
        script = (f'source /usr/share/bash-completion/bash_completion; source "$0"; '
                  f'COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; '
                  f'COMP_POINT=${{#COMP_LINE}}; _takebox; printf "%s\\n" "${{COMPREPLY[@]}}"')
        shell = ["bash", "-c", script, self.path("share/bash-completion/completions/takebox")]
        return run(*shell, "takebox", *words).split()

    def test_bash_completes_options_decks_and_remote_commands(self):
        self.assertEqual(self.complete("--virt"), ["--virtual-deck"])
        self.assertIn("pal", self.complete("--virtual-deck", "p"))
        self.assertEqual(self.complete("--remote", "studio", "setrec"), ["setrecname"])
        self.assertEqual(self.complete("--remote", "studio", "record", ""), [])
        self.assertEqual(self.complete("--remote", "=", "studio", "setrec"), ["setrecname"])

    def test_manual_has_no_mistakes(self):
        page = self.path("share/man/man1/takebox.1.gz")
        done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", page],
                              capture_output=True, text=True, check=True,
                              env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80"})
        self.assertEqual(done.stderr, "")
        self.assertIn("record DV video that arrives over FireWire", done.stdout)

    def test_recorder_without_windows_is_a_service_of_the_user(self):
        unit = self.read("lib/systemd/user/takebox.service")
        self.assertRegex(unit, r"\nExecStart=/\S+/bin/takebox --headless\n")

    def test_devices_are_opened_up_before_seats_are_settled(self):
        self.assertIn('TAG+="uaccess"', self.read("lib/udev/rules.d/60-takebox.rules"))

    def test_licence_and_notices_come_along(self):
        self.assertIn("GPL-3+", self.read("share/doc/takebox/copyright"))
        self.assertIn("libavcodec", self.read("share/doc/takebox/THIRD-PARTY.md"))
        self.read("share/doc/takebox/docs/files.md")


if __name__ == "__main__":
    unittest.main()
