"""script/run --tour: it plays to its end as written, at a terminal in its own time, and can be left at any moment."""

import subprocess
from pathlib import Path

import pexpect
import pytest

from test_run_script import environment, nothing_is_left, pytestmark, RUN  # noqa: F401

HERE = Path(__file__).resolve().parent


@pytest.fixture(name="tour")
def running_tour():
    """At a pace at which nothing but keys has it go on."""
    child = pexpect.spawn(str(RUN), ["--tour"], cwd="/", env=environment(ZT_TOUR_PACE="1000"), timeout=60)
    child.expect_exact("What is there?\r\n")
    yield child
    child.close(force=True)


def test_tour_plays_as_written():
    done = subprocess.run([RUN, "--tour"], cwd="/", env=environment(), stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=120, check=False)
    assert (done.returncode, done.stderr) == (0, b"")
    assert done.stdout.decode("latin-1") == (HERE / "tour.ok").read_bytes().decode("latin-1")


def test_key_goes_on_at_once(tour):
    tour.send(" ")
    tour.expect_exact("zt>v")
    tour.send(" ")
    tour.expect_exact("er\r\nIPDU #1: Hw with 24 outlets")


@pytest.mark.parametrize("key", ["q", "\x03"], ids=["q", "interrupt"])
def test_tour_can_be_left(tour, key):
    tour.send(key)
    tour.expect(pexpect.EOF)
    tour.wait()
    assert tour.exitstatus == 0


def test_tour_stands_alone():
    done = subprocess.run([RUN, "--tour", "ver"], env=environment(), stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=60, check=False)
    assert (done.returncode, done.stderr) == (1, b"script/run: option '--tour' stands alone\n")
