"""`upgrade` as it runs on the appliance: installed set-user-ID below a real root, by a user who is not root."""

import os
import subprocess
import sys
import tempfile
import tty
from pathlib import Path

import pytest

from desk import BIN, CHAINS, REPOSITORY

sys.path.insert(0, str(REPOSITORY / "appliance/image"))

from make_image import image  # noqa: E402

HERE = Path(__file__).resolve().parent
USER = 65534  # has a name everywhere, and owns nothing
DOWNLOAD = b"Downloading image. Please send file in 10 seconds.\n"

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="only root installs for another user")


class Installed:
    """An appliance in a mount namespace of its own, which ends with it."""

    def __init__(self):
        self.terminal = os.openpty()
        tty.setraw(self.terminal[1])
        os.chown(self.terminal[1], USER, -1)  # as a login does
        self.root = Path(tempfile.mkdtemp(prefix="zt-", dir="/tmp"))
        self.keeper = subprocess.Popen(
            ["unshare", "--mount", HERE / "appliance.sh", self.root, BIN, CHAINS / "desk.toml",
             os.ttyname(self.terminal[1])], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.is_up = self.keeper.stdout.readline() == b"ready\n"

    def inside(self, *command, **options):
        return subprocess.run(["nsenter", f"--target={self.keeper.pid}", "--mount", "chroot", self.root, *command],
                              capture_output=True, timeout=60, check=False, **options)

    def run(self, *words):
        """The program, by a user who would like to have a say in what runs as root."""
        wishes = ("PATH=/tmp:/usr/bin", "ZT_ROOT=/tmp", "ZT_CI_SID=7", "LD_PRELOAD=/tmp/own.so", "IFS=/")
        return self.inside("/usr/bin/setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups",
                           "/usr/bin/env", "-i", *wishes, "/usr/bin/ztcli", *words,
                           start_new_session=True).stdout  # as a login does: who has no session is not let in

    def program(self, path, text):
        self.inside("/bin/sh", "-c", f"rm -f {path}; cat >{path}; chmod 755 {path}",
                    input=f"#!/bin/sh\n{text}\n".encode())

    def put(self, path, content):
        self.inside("/bin/sh", "-c", f"cat >{path}", input=content)

    def read(self, path):
        return self.inside("/bin/cat", path).stdout

    def end(self):
        """What the keeper complained of."""
        if self.keeper.returncode is None:
            self.complaint = self.keeper.communicate()[1].decode()
        return self.complaint

    def close(self):
        self.end()
        for descriptor in self.terminal:
            os.close(descriptor)
        self.root.rmdir()


@pytest.fixture(name="appliance")
def installed():
    made = Installed()
    try:
        if not made.is_up:
            pytest.skip(f"no mount namespace with a root of its own: {made.end().strip()}")
        made.put("/record/image", image("3.1.4"))
        made.program("/usr/bin/rz", "{ id -ru; id -u; } >/record/rz; cat /record/image >/tmp/ztfirmware")
        yield made
    finally:
        made.close()


def test_write_program_alone_is_root_and_has_an_environment_of_its_own(appliance):
    appliance.program("/usr/sbin/checkImage", "{ id -ru; id -u; } >/record/check")
    appliance.program("/usr/sbin/flashImage", "{ id -ru; id -u; tr '\\0' '|' </proc/$$/environ; } >/record/flash")
    assert appliance.run("upgrade 1") == DOWNLOAD + b"IPDU #1: Upgrading firmware... Done.\n"
    for name in ("rz", "check"):
        assert appliance.read(f"/record/{name}").decode() == f"{USER}\n{USER}\n"
    assert appliance.read("/record/flash") == b"0\n0\nPATH=/bin:/sbin:/usr/bin:/usr/sbin|"


def test_image_is_written_where_the_user_could_not(appliance):
    assert appliance.run("upgrade 1") == DOWNLOAD + b"IPDU #1: Upgrading firmware... Done.\n"
    assert appliance.read("/var/lib/ztfirmware") == image("3.1.4")
    assert appliance.inside("/bin/stat", "-c", "%u", "/var/lib/ztfirmware").stdout == b"0\n"


def test_write_program_is_not_run_for_an_image_that_fails_its_check(appliance):
    appliance.put("/record/image", image("3.1.4")[:-1])
    appliance.program("/usr/sbin/flashImage", "touch /record/flash")
    assert appliance.run("upgrade 1") == DOWNLOAD + b"Command failed.\n"
    assert appliance.inside("/bin/ls", "/record").stdout == b"image\nrz\n"
