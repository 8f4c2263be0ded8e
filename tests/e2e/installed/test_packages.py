"""The Debian packages: made, installed on a copy of this machine, used by somebody who is not root, installed over
themselves and removed."""

import os
import re
import shutil
import subprocess
import tempfile
from pathlib import Path

import pytest

from desk import BIN, REPOSITORY, wait_until

HERE = Path(__file__).resolve().parent
USER = 65534  # has a name everywhere, and owns nothing
UNITS = {"morvd": "/usr/sbin/morvd", "ztd_ng": "/usr/bin/ztd_ng"}
NAMES = ["ztcli", "ztcli-appliance"]

# What dpkg and its triggers keep for themselves.
DPKG_KEEPS = re.compile(r"/(var/(lib/dpkg|cache|log|backups)|etc/ld\.so\.cache)\b")
ENABLED = ("/etc/systemd/", "/var/lib/systemd/")  # what it does so of a service until that is purged

pytestmark = [
    pytest.mark.skipif(os.geteuid() != 0, reason="only root installs"),
    pytest.mark.skipif(BIN != REPOSITORY / "build/bin", reason="once is enough"),
    pytest.mark.skipif(not shutil.which("dh"), reason="no debhelper"),
]


class Machine:
    """A copy of this machine, which ends with it."""

    def __init__(self):
        self.place = Path(tempfile.mkdtemp(prefix="zt-", dir="/tmp"))
        self.keeper = subprocess.Popen(["unshare", "--mount", HERE / "machine.sh", self.place], stdin=subprocess.PIPE,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.is_up = self.keeper.stdout.readline() == b"ready\n"
        self.daemons = []

    def enter(self, *command):
        return ["nsenter", f"--target={self.keeper.pid}", "--mount", *command]

    def inside(self, *command, **options):
        return subprocess.run(self.enter("chroot", self.place / "copy", *command), capture_output=True, timeout=120,
                              check=False, text=True, **options)

    def done(self, *command, **options):
        """What a command that must succeed prints."""
        ran = self.inside(*command, **options)
        assert ran.returncode == 0, f"{command}: {ran.stdout}{ran.stderr}"
        return ran.stdout

    def ztcli(self, *words):
        return self.inside("/usr/bin/setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups",
                           "/usr/bin/env", "-i", "/usr/bin/ztcli", *words, start_new_session=True).stdout

    def dpkg(self, *words):
        return self.done("/usr/bin/env", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND=noninteractive",
                         "/usr/bin/dpkg", *words)

    def install(self, packages):
        for package in packages:
            self.done("/bin/sh", "-c", f"cat >/tmp/{package.name}", stdin=package.open("rb"))
        self.dpkg("--install", *(f"/tmp/{package.name}" for package in packages))

    def unit(self, name):
        """The lines of a unit as (key, value)."""
        text = self.done("/bin/cat", f"/lib/systemd/system/{name}.service")
        return dict(line.split("=", 1) for line in text.splitlines() if re.match(r"\w+=", line))

    def start(self):
        """Both daemons as their units say, by the hand of whom their manager would be."""
        for name in UNITS:
            unit = self.unit(name)
            for key, parent in (("StateDirectory", "/var/lib"), ("RuntimeDirectory", "/run")):
                if key in unit:
                    self.done("/bin/mkdir", "-p", f"{parent}/{unit[key]}")
            reading, writing = os.pipe()
            command = [*unit["ExecStart"].split()[:1], "--ready-fd", str(writing), *unit["ExecStart"].split()[1:]]
            self.daemons.append(subprocess.Popen(self.enter("chroot", self.place / "copy", *command),
                                                 pass_fds=[writing], start_new_session=True))
            os.close(writing)
            with os.fdopen(reading, "rb") as ready:
                assert ready.readline() == b"ready\n", name

    def stop(self):
        for daemon in reversed(self.daemons):
            daemon.terminate()
            assert daemon.wait(10) == 0
        self.daemons = []

    def changed(self):
        """What is there and not on this machine, or otherwise, but for what dpkg keeps; folders end with '/'."""
        listing = subprocess.run(self.enter("find", self.place / "changed", "-mindepth", "1", "-type", "d", "-printf",
                                            "/%P/\n", "-o", "-printf", "/%P\n"),
                                 capture_output=True, text=True, check=True).stdout.splitlines()
        return {path for path in listing
                if not DPKG_KEEPS.match(path) and not (path.endswith("/") and os.path.isdir(path))}

    def end(self):
        self.stop()  # by which the monitor takes its segment away
        complaint = self.keeper.communicate()[1]
        os.rmdir(self.place)
        return complaint.decode()


@pytest.fixture(name="packages", scope="module")
def made_packages():
    done = subprocess.run([REPOSITORY / "script/package"], capture_output=True, text=True, timeout=900, check=False)
    assert done.returncode == 0, done.stderr[-4000:]
    return [REPOSITORY / line for line in done.stdout.splitlines()
            if line.endswith(".deb") and "-dbgsym" not in line]


@pytest.fixture(name="machine")
def copied_machine():
    made = Machine()
    if not made.is_up:
        pytest.skip(f"no copy of this machine: {made.end()}")
    yield made
    made.end()


def test_packages_have_what_they_promise(machine, packages):
    machine.install(packages)
    assert machine.done("/usr/bin/stat", "-c", "%a %U", "/usr/bin/ztcli") == "4755 root\n"
    files = machine.dpkg("--listfiles", *NAMES)
    for path in [*UNITS.values(), "/usr/sbin/checkImage", "/usr/sbin/flashImage", "/usr/libexec/ci/access",
                 "/etc/ztcli-appliance/chain.toml", "/lib/systemd/system/morvd.service"]:
        assert f"{path}\n" in files
    assert machine.dpkg("--verify", *NAMES) == ""


def test_units_are_sound_and_hardened(machine, packages):
    if not shutil.which("systemd-analyze"):
        pytest.skip("no systemd-analyze")
    machine.install(packages)
    for name in UNITS:
        path = f"/lib/systemd/system/{name}.service"
        judged = machine.inside("/usr/bin/systemd-analyze", "verify", "--man=no", path)
        assert name not in judged.stderr, judged.stderr
        unit = machine.unit(name)
        assert (unit["NoNewPrivileges"], unit["PrivateTmp"], unit["ProtectSystem"], unit["ProtectHome"],
                unit["RestrictAddressFamilies"], unit["CapabilityBoundingSet"]) == (
                    "yes", "yes", "strict", "yes", "AF_UNIX", "")


def test_program_serves_a_user_who_is_not_root_and_what_was_saved_outlives_an_upgrade(machine, packages):
    machine.install(packages)
    machine.start()
    assert machine.ztcli("id", "1").startswith("IPDU #1 ID = rack1\n")
    assert machine.ztcli("id", "1", "mine") == "IPDU #1 ID is set to mine.\n"
    assert machine.ztcli("save").count("Done.\n") == 3
    machine.stop()
    machine.done("/bin/sh", "-c", "echo '# mine' >>/etc/ztcli-appliance/chain.toml")
    machine.install(packages)
    machine.start()
    wait_until(lambda: machine.ztcli("id", "1") == "IPDU #1 ID = mine\n")
    assert machine.done("/usr/bin/tail", "-1", "/etc/ztcli-appliance/chain.toml") == "# mine\n"


def test_removed_packages_leave_what_the_user_made_and_purged_ones_nothing(machine, packages):
    machine.install(packages)
    machine.start()
    assert machine.ztcli("save").count("Done.\n") == 3
    machine.stop()
    machine.dpkg("--remove", *NAMES)
    assert {path for path in machine.changed() if not path.startswith(ENABLED)} == {
        "/etc/ztcli-appliance/", "/etc/ztcli-appliance/chain.toml",
        "/var/lib/ztcli-appliance/", "/var/lib/ztcli-appliance/morvd.flash"}
    assert machine.done("/bin/ls", "/run") in ("", "ztcli-appliance\n")
    machine.dpkg("--purge", *NAMES)
    assert machine.changed() == set()
