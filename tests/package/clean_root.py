"""A Debian system with nothing on it, in a folder. Needs root and a mount namespace of its own:
`tools/test-package` sees to both."""

import os
import shutil
import subprocess

RELEASE = "bookworm"
MIRROR = os.environ.get("DEBIAN_MIRROR", "http://deb.debian.org/debian")
PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"


class CleanRoot:
    """Made anew from a pristine copy that is kept; /tmp is that of the machine."""

    def __init__(self, folder, name):
        pristine = os.path.join(folder, "pristine")
        if not os.path.isdir(pristine):
            half = pristine + ".part"
            shutil.rmtree(half, ignore_errors=True)
            os.makedirs(folder, exist_ok=True)
            subprocess.run(["debootstrap", "--variant=minbase", RELEASE, half, MIRROR],
                           stdout=subprocess.DEVNULL, check=True)
            os.rename(half, pristine)
        self.path = os.path.join(folder, name)
        shutil.rmtree(self.path, ignore_errors=True)
        subprocess.run(["cp", "-a", "--reflink=auto", pristine, self.path], check=True)
        shutil.copy("/etc/resolv.conf", self.inside("/etc/resolv.conf"))
        with open(self.inside("/etc/hosts"), "w", encoding="ascii") as file:
            file.write("127.0.0.1 localhost\n")
        # Services of packages are not started in here.
        with open(self.inside("/usr/sbin/policy-rc.d"), "w", encoding="ascii") as file:
            file.write("#!/bin/sh\nexit 101\n")
        os.chmod(file.name, 0o755)
        self.mounts = []
        self.mount("--bind", self.path, "/")  # or no program in there could have its own mounts
        self.mount("-t", "proc", "proc", "/proc")
        self.mount("-t", "devpts", "-o", "ptmxmode=0666", "devpts", "/dev/pts")
        self.mount("--bind", "/tmp", "/tmp")

    def mount(self, *arguments):
        point = self.inside(arguments[-1])
        subprocess.run(["mount", *arguments[:-1], point], check=True)
        self.mounts.append(point)

    def remove(self):
        for point in reversed(self.mounts):
            subprocess.run(["umount", "--lazy", point], check=True)
        shutil.rmtree(self.path)

    def inside(self, path):
        """Where a file of the system lies on the machine."""
        return self.path + path

    def command(self, *words, user="root", home="/root"):
        """The words as a command of this system, in a new environment."""
        return ["chroot", f"--userspec={user}", self.path, "/usr/bin/env", "-i", f"PATH={PATH}",
                f"HOME={home}", "LC_ALL=C.UTF-8", *words]

    def run(self, *words, **options):
        """What the command wrote; it must succeed."""
        done = subprocess.run(self.command(*words, **options), capture_output=True, text=True,
                              check=False)
        if done.returncode != 0:
            raise AssertionError(f"{words}: {done.stdout}{done.stderr}")
        return done.stdout

    def apt_get(self, *words):
        return self.run("env", "DEBIAN_FRONTEND=noninteractive", "apt-get", "-qq", "-y",
                        "--no-install-recommends", *words)
