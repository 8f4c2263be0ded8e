"""Typed sessions against the real daemons: each <command>/<behaviour>.in is typed at the prompt, and the .ok beside it
is what the session looks like, prompts, lines and answers.

In a .in a line that begins with "# " is for the runner, the others are typed:

  # chain: legacy.toml    the chain on the desk (desk.toml), told before the first line
  # user: alice           the user's name (admin), likewise
  # desk: WORDS           told to the control daemon through its verb `desk`, between the lines around it; its clock
                          moves only so: `clock advance SECONDS`
  # poll                  what the tree holds by now is in the status segment before the next line

ZT_UPDATE=1 writes the answers anew.
"""

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "e2e"))

from desk import CHAINS, ZTCLI, Desk  # noqa: E402

SESSIONS = sorted(HERE.glob("*/*.in"))
HEAD = re.compile(r"# (chain|user): (.*)")


def read_session(path):
    """What is said before the first line, by its word, and the lines."""
    said, lines = {"chain": "desk.toml", "user": "admin"}, []
    for line in path.read_text().splitlines():
        if (found := HEAD.fullmatch(line)) and not lines:
            said[found[1]] = found[2]
        else:
            lines.append(line)
    return said, lines


class Typist:
    """The program on a pipe, which shows what is typed as a terminal would."""

    def __init__(self, desk):
        self.process = subprocess.Popen(["ztcli"], executable=ZTCLI, env=desk.env, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, bufsize=0)
        self.shown = b""
        self.read_to_prompt()

    def read_to_prompt(self):
        """Until a prompt stands at the beginning of the last line, or the session has ended."""
        while not (b"\n" + self.shown).endswith(b"\nzt>"):
            more = self.process.stdout.read(65536)
            if not more:
                return
            self.shown += more

    def type(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.shown += self.process.stdout.read(1)  # the prompt stands there already: wait for what comes after it
        self.read_to_prompt()

    def end(self):
        """What was shown, with a line end behind the last prompt, since the file has one."""
        self.process.stdin.close()
        self.shown += self.process.stdout.read()
        self.process.wait(10)
        return self.shown.removesuffix(b"\n") + b"\n"


def play(path, desk):
    said, lines = read_session(path)
    desk.env["ZT_CI_USER"] = said["user"]
    _, monitor = desk.appliance(said["chain"], "--driven-clock")
    typist = Typist(desk)
    for line in lines:
        if line.startswith("# desk: "):
            desk.tell(*line[8:].split())
        elif line == "# poll":
            monitor.kill()  # the next one takes over its segment, and the prompt reads on
            monitor.wait()
            monitor = desk.monitor()
        elif line.startswith("# "):
            raise ValueError(f"{path.name}: no such word for the runner: {line}")
        else:
            typist.type(line)
    return typist.end()


@pytest.fixture(name="desk")
def own_desk():
    made = Desk()
    yield made
    made.close()


@pytest.mark.parametrize("path", SESSIONS, ids=lambda path: f"{path.parent.name}/{path.stem}")
def test_session_looks_as_written(path, desk):
    shown = play(path, desk)
    answers = path.with_suffix(".ok")
    if os.environ.get("ZT_UPDATE"):
        answers.write_bytes(shown)
    assert shown.decode("latin-1") == answers.read_bytes().decode("latin-1")


def test_every_shipped_chain_is_used():
    used = {read_session(path)[0]["chain"] for path in SESSIONS}
    assert used == {path.name for path in CHAINS.glob("*.toml")}


def test_every_answer_has_its_session():
    assert {path.with_suffix("") for path in HERE.glob("*/*.ok")} == {path.with_suffix("") for path in SESSIONS}
