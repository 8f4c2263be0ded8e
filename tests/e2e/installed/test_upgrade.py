"""`upgrade` as it runs on the appliance: installed set-user-ID below a real root, by a user who is not root."""

import re
import resource
import signal
import sys
from pathlib import Path

import pytest

from desk import REPOSITORY, wait_until
from installed import PROBE, USER, environment

sys.path.insert(0, str(REPOSITORY / "appliance/image"))

from make_image import image  # noqa: E402

DOWNLOAD = b"Downloading image. Please send file in 10 seconds.\n"
DONE = DOWNLOAD + b"IPDU #1: Upgrading firmware... Done.\n"
WISHES = environment("ZT_ROOT=/tmp", "ZT_CI_SID=7", "LD_PRELOAD=/tmp/own.so", "IFS=/", "ENV=/tmp/own",
                     "BASH_ENV=/tmp/own", "SHELLOPTS=xtrace", "PATH=/tmp")
AS_USER = [str(USER)] * 4
CAP_SYS_RESOURCE = 24


def has_capability(number):
    held = re.search(r"^CapBnd:\s*(\w+)$", Path("/proc/self/status").read_text(encoding="ascii"), re.M)
    return int(held[1], 16) >> number & 1


@pytest.fixture(autouse=True)
def receiver(appliance):
    appliance.put("/record/image", image("3.1.4"))
    appliance.program("/usr/bin/rz", "/bin/cat /record/image >/tmp/ztfirmware")


def test_write_program_alone_is_root_and_has_an_environment_of_its_own(appliance):
    for name in ("/usr/bin/rz", "/usr/sbin/checkImage", "/usr/sbin/flashImage"):
        appliance.program(name, PROBE)
    appliance.put("/tmp/ztfirmware", image("3.1.4"), 0o666)
    assert appliance.upgrade(until=b"Done.\n", env=WISHES) == DONE
    for name in ("rz", "checkImage"):
        assert appliance.seen(name)["uid"] == AS_USER
    writer = appliance.seen("flashImage")
    assert writer["uid"] == ["0"] * 4
    assert writer["environment"] == ["PATH=/bin:/sbin:/usr/bin:/usr/sbin"]
    assert writer["argv"] == ["-U admin", "/tmp/ztfirmware"]


def test_image_is_written_where_the_user_could_not(appliance):
    assert appliance.upgrade(until=b"Done.\n", env=WISHES) == DONE
    assert appliance.read("/var/lib/ztfirmware") == image("3.1.4")
    assert appliance.path("/var/lib/ztfirmware").stat().st_uid == 0
    wait_until(lambda: not appliance.path("/tmp/ztfirmware").exists(), what="the end of the received image")


def test_write_program_is_not_run_for_an_image_that_fails_its_check(appliance):
    appliance.put("/record/image", image("3.1.4")[:-1])
    appliance.program("/usr/bin/rz", "/bin/cat /record/image >/tmp/ztfirmware; >/record/received")
    appliance.program("/usr/sbin/flashImage", ">/record/flash")
    appliance.start("upgrade 1")
    wait_until(lambda: "received" in appliance.recorded() and not appliance.path("/tmp/ztfirmware").exists(),
               what="the end of the received image")
    assert appliance.recorded() == ["image", "received"]
    assert not appliance.path("/var/lib/ztfirmware").exists()


# --- what the caller leaves to the program that writes as root ---

@pytest.mark.parametrize("umask", [0, 0o077])
def test_users_mask_has_no_say_in_what_root_writes(appliance, umask):
    appliance.program("/usr/sbin/flashImage", PROBE)
    assert appliance.upgrade(until=b"Done.\n", umask=umask) == DONE
    assert appliance.seen("flashImage")["umask"] == 0o022


@pytest.mark.parametrize("hard", [resource.RLIM_INFINITY, 1000], ids=["soft", "hard"])
def test_users_limits_do_not_cut_short_what_root_writes(appliance, hard):
    if hard != resource.RLIM_INFINITY and not has_capability(CAP_SYS_RESOURCE):
        pytest.skip("not even root raises a hard limit here")
    appliance.put("/tmp/ztfirmware", image("3.1.4"))
    appliance.program("/usr/bin/rz", "exit 0")
    appliance.program("/usr/sbin/checkImage", "exit 0")
    assert appliance.upgrade(until=b"Done.\n", limits=[(resource.RLIMIT_FSIZE, 1000, hard)]) == DONE
    assert appliance.read("/var/lib/ztfirmware") == image("3.1.4")


def test_users_descriptors_are_not_handed_to_what_runs_as_root(appliance):
    appliance.program("/usr/sbin/flashImage", PROBE)
    with appliance.path("/record/image").open("rb") as given:
        assert appliance.upgrade(until=b"Done.\n", keep=[given.fileno()]) == DONE
    assert sorted(appliance.seen("flashImage")["descriptors"]) == ["0", "1", "2"]


def test_nothing_typed_at_the_terminal_breaks_off_what_root_writes(appliance):
    appliance.program("/usr/sbin/flashImage", PROBE)
    assert appliance.upgrade(until=b"Done.\n") == DONE
    held = appliance.seen("flashImage")["blocked"]
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGTSTP):
        assert held >> (number - 1) & 1, number


def test_caller_that_ignores_the_end_of_its_children_gets_the_same_answer(appliance):
    assert appliance.run("upgrade 1", ignored=[signal.SIGCHLD]).stdout == DONE
