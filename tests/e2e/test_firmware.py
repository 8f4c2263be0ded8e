"""`upgrade` with everything real: the image comes over a serial line by Zmodem, the appliance's programs check and
write it, and the control daemon gives it to the units of the chain."""

import contextlib
import os
import select
import shutil
import subprocess
import sys
import threading
import tty

import pytest

from desk import REPOSITORY, wait_until

sys.path.insert(0, str(REPOSITORY / "appliance/image"))

from make_image import image  # noqa: E402

AS_ROOT = pytest.mark.skipif(os.geteuid() != 0, reason="the write program takes root")
ZMODEM = pytest.mark.skipif(not (os.access("/usr/bin/rz", os.X_OK) and shutil.which("sz")), reason="no lrzsz")

DOWNLOAD = b"Downloading image. Please send file in 10 seconds.\n"
NEW = "3.1.4"


class Line:
    """A serial line as a pseudo terminal: the appliance's end below the root, and a user who sends files."""

    def __init__(self, desk):
        self.near, self.far = os.openpty()
        tty.setraw(self.far)
        (desk.root / "dev/ttyS0").unlink()
        (desk.root / "dev/ttyS0").symlink_to(os.ttyname(self.far))
        self.out = desk.root / "out"
        self.out.mkdir()
        self.user, self.status = None, None

    def send(self, content):
        """Sends a file as soon as the receiver says that it is there: what comes earlier it throws away."""
        (self.out / "ztfirmware").write_bytes(content)
        self.user = threading.Thread(target=self._send)
        self.user.start()

    def _send(self):
        """The sender has a pipe in between: it would set the line itself, and throw away what stands on it."""
        if not select.select([self.near], [], [], 30)[0]:
            return
        with subprocess.Popen(["sz", "-q", "-b", self.out / "ztfirmware"], stdin=subprocess.PIPE, stdout=self.near,
                              bufsize=0) as sender:
            while sender.poll() is None:
                if select.select([self.near], [], [], 0.1)[0]:
                    with contextlib.suppress(BrokenPipeError):  # it may have ended with what it needed
                        sender.stdin.write(os.read(self.near, 4096))
        self.status = sender.returncode

    def is_sent(self):
        self.user.join()
        return self.status == 0

    def close(self):
        if self.user:
            self.user.join()
        os.close(self.near)
        os.close(self.far)


@pytest.fixture
def appliance(desk):
    desk.appliance()
    desk.furnish()
    return desk


@pytest.fixture
def line(appliance):
    made = Line(appliance)
    yield made
    made.close()


def versions(desk):
    """What `ver` says of each unit."""
    shown = desk.run("ver").stdout.decode().splitlines()
    return [words.split(" Sw V ")[1].split()[0] for words in shown]


def own_image(desk):
    return desk.root / "var/lib/ztfirmware"


def received(desk):
    return desk.root / "tmp/ztfirmware"


def damaged(content, how):
    return content[:-100] if how == "truncated" else content[:5000] + bytes([content[5000] ^ 1]) + content[5001:]


DAMAGE = pytest.mark.parametrize("how", ["truncated", "altered"])


# --- over the line ---


@AS_ROOT
@ZMODEM
def test_own_unit_runs_the_image_that_came_over_the_line_from_its_next_start(appliance, line):
    line.send(image(NEW))
    assert appliance.run("upgrade 1", timeout=60).stdout == DOWNLOAD + b"IPDU #1: Upgrading firmware... Done.\n"
    assert line.is_sent()
    assert own_image(appliance).read_bytes() == image(NEW)
    assert not received(appliance).exists()
    assert versions(appliance) == ["2.3.1", "2.3.1", "2.2.0"]
    appliance.run("reboot 1")
    wait_until(lambda: versions(appliance) == [NEW, "2.3.1", "2.2.0"], what="the new version")


@AS_ROOT
@ZMODEM
def test_image_that_is_damaged_when_it_comes_is_refused_and_the_old_one_stays(appliance, line):
    own_image(appliance).write_bytes(image("2.9"))
    line.send(damaged(image(NEW), "altered"))
    assert appliance.run("upgrade 1", timeout=60).stdout == DOWNLOAD + b"Command failed.\n"
    assert own_image(appliance).read_bytes() == image("2.9")


@AS_ROOT
@ZMODEM
def test_own_unit_and_one_of_the_chain(appliance, line):
    line.send(image(NEW))
    session = appliance.prompt()
    session.screen.timeout = 60
    shown = session.command("upgrade 1,3")
    assert shown.startswith(DOWNLOAD)
    assert shown.count(b"Done.\n") == 2
    assert received(appliance).read_bytes() == image(NEW)
    assert own_image(appliance).read_bytes() == image(NEW)
    assert versions(appliance) == ["2.3.1", "2.3.1", NEW]


@ZMODEM
def test_second_image_takes_the_place_of_one_that_units_have_had(appliance, line):
    received(appliance).write_bytes(image("2.9"))
    line.send(image(NEW))
    assert appliance.run("upgrade rack2", timeout=60).stdout == DOWNLOAD + b"IPDU #2: Upgrading firmware... Done.\n"
    assert received(appliance).read_bytes() == image(NEW)
    assert versions(appliance) == ["2.3.1", NEW, "2.2.0"]


# --- from the file ---


def test_daemon_gives_the_image_to_all_units_of_a_list(appliance):
    received(appliance).write_bytes(image(NEW))
    assert appliance.run("upgrade 2-3 ztfirmware").stdout == (b"IPDU #2: Upgrading firmware... "
                                                              b"IPDU #3: Upgrading firmware... Done.\n")
    assert versions(appliance) == ["2.3.1", NEW, NEW]


@DAMAGE
def test_daemon_refuses_a_damaged_image_and_the_units_keep_theirs(appliance, how):
    received(appliance).write_bytes(damaged(image(NEW), how))
    assert appliance.run("upgrade 2 ztfirmware").stdout == b"IPDU #2: Upgrading firmware... Failed.\n"
    assert versions(appliance) == ["2.3.1", "2.3.1", "2.2.0"]


def test_unit_that_takes_no_firmware_is_named(desk):
    desk.appliance("legacy.toml")
    assert desk.run("upgrade 1 ztfirmware").stdout == b"IPDU 1: Unsupported command.\n"


# --- the two programs ---


def tool(desk, name, *words):
    return subprocess.run([desk.root / "sbin" / name, *words], capture_output=True, check=False)


def test_check_says_what_is_wrong(appliance):
    file = received(appliance)
    for content, fault in ((b"text", "it has no header of an image"),
                           (damaged(image(NEW), "truncated"), "it is not as long as its header says"),
                           (damaged(image(NEW), "altered"), "its checksum is another")):
        file.write_bytes(content)
        for program, words in (("checkImage", [file]), ("flashImage", ["-U admin", file])):
            done = tool(appliance, program, *words)
            assert (done.returncode, done.stderr.decode()) == (1, f"{program}: cannot take '{file}': {fault}\n")
    assert not own_image(appliance).exists()
    file.write_bytes(image(NEW))
    assert tool(appliance, "checkImage", file).stdout == f"{NEW}\n".encode()


@pytest.mark.parametrize("words", [[], ["-U", "admin"], ["-U root", "file"], ["-U admin", "file", "more"]])
def test_write_program_takes_the_call_of_the_command_alone(appliance, words):
    assert tool(appliance, "flashImage", *words).returncode == 2
