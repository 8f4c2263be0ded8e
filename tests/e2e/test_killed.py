"""Both daemons killed at any moment, again and again, under one prompt that goes on asking and setting.

ZT_SEED gives other commands and other moments; a failure says which it was.
"""

import os
import random
import re
import select
import signal
import time
from pathlib import Path

import pytest

from desk import CHAINS, INVALID, MORVD, NOT_RECOGNIZED, ZTD_NG
from status_segment import key_of, libc

COMMANDS = 10_000
MORVD_KILLS, ZTD_KILLS = 40, 20  # at any moment of any command
SAVES = 8                        # each takes the program a second; every other one is disturbed
SETTLE_EVERY = 400               # commands, with a kill of the monitor at each
OUTAGE = 15                      # commands at most that a daemon may take to come up before it is waited for
PATIENCE = 25                    # seconds for one answer; a daemon that is gone is found out at once

OUTLETS = range(1, 9)
LETTERS = "ABCDEFGH"  # names differ in one byte, so that one in the middle of an update is either the old or the new
NO_SUCH = b"No such IPDU. Type help for details\n"
STATUS_HEAD = b" Outlet Name                    Status          Interval (s)    Users\n"
STATUS_LINE = re.compile(rb" (\d+) +(\S*) +(Locked|Unlocked) (ON|OFF) +(\d+\.\d) +\n")


class Daemon:
    """One of the two, started over and over."""

    def __init__(self, desk, *command):
        self.desk, self.command = desk, command
        self.process = self.pipe = None
        self.pids, self.kills = [], 0

    def start(self):
        self.pipe, writing = os.pipe()
        program, *options = self.command
        self.process = self.desk.start([program, "--ready-fd", str(writing), *options], pass_fds=[writing])
        os.close(writing)
        self.pids.append(self.process.pid)

    def ready(self, within=0):
        """Whether it has said so in time."""
        if self.process is None:
            return False
        if self.pipe is not None and select.select([self.pipe], [], [], within)[0]:
            assert os.read(self.pipe, 16) == b"ready\n", f"{self.command[0].name} does not come up"
            self._close()
        return self.pipe is None

    def kill(self):
        self.process.kill()
        assert self.process.wait(10) == -signal.SIGKILL
        self.process = None
        self.kills += 1
        self._close()

    def _close(self):
        if self.pipe is not None:
            os.close(self.pipe)
        self.pipe = None


class Operator:
    """Types at the prompt and holds each answer against what the units may be like by now.

    `now` has for each setting the values that it may have: one, but for those that were in the air when the control
    daemon died. `saved` are the states that may be in the flash, and `shown` is what the monitor may show still.
    """

    def __init__(self, desk, seed):
        self.desk, self.chance = desk, random.Random(seed)
        self.morvd = Daemon(desk, MORVD, CHAINS / "legacy.toml")
        self.monitor = Daemon(desk, ZTD_NG, "--poll", "50")
        for daemon in (self.morvd, self.monitor):
            daemon.start()
            assert daemon.ready(30)
        self.session = desk.prompt()
        self.shaky = False  # the control daemon was away, and the program may not have found out yet
        self.restart_at = None
        self.answered = self.failed = 0
        self.now, self.shown, self.saved = {}, {}, []

    # --- one line ---

    def ask(self, line, disturb=None):
        """What is shown behind a line; `disturb` is called once it has been typed."""
        self.session.type(line + "\r")
        if disturb:
            disturb()
        shown = b""
        wanted = line.encode() + b"\r\n"
        while not (shown.startswith(wanted) and shown.endswith(b"\nzt>")):
            assert select.select([self.session.master], [], [], PATIENCE)[0], f"no answer to {line!r}: {shown!r}"
            shown += os.read(self.session.master, 65536)
        return shown[len(wanted):-len(b"zt>")].replace(b"\r\n", b"\n")

    # --- what is known ---

    def learn(self, key, values):
        self.now[key] = frozenset(values)
        self.shown[key] = self.shown.get(key, frozenset()) | self.now[key]

    def died(self):
        """What was not saved is gone."""
        for key in self.now:
            self.learn(key, frozenset().union(*(state[key] for state in self.saved)))

    def read_status(self, answer):
        """The settings that a status listing shows."""
        assert answer.startswith(STATUS_HEAD), answer
        lines = answer[len(STATUS_HEAD):]
        found = {}
        for match in STATUS_LINE.finditer(lines):
            number, name, locked, on, interval = match.groups()
            found.update({("name", int(number)): name, ("locked", int(number)): locked == b"Locked",
                          ("on", int(number)): on == b"ON", ("interval", int(number)): interval})
        assert b"".join(match.group() for match in STATUS_LINE.finditer(lines)) == lines, answer
        return found

    def settle(self):
        """With both daemons up, and the monitor a new one that shows what stands: everything is as it was told."""
        if self.morvd.process is None:
            self.morvd.start()
        assert self.morvd.ready(30)
        self.monitor.kill()
        self.monitor.start()
        assert self.monitor.ready(30)
        self.ask("coldstart 1")  # finds out about the new daemon
        self.shaky, self.restart_at = False, None
        found = self.read_status(self.ask("status all"))
        found["id"], = re.fullmatch(rb"IPDU #1 ID = (\S*)\n", self.ask("id 1")).groups()
        found["cold"], = re.fullmatch(rb"IPDU #1: Cold start delay set to (\d+)\.\n", self.ask("coldstart 1")).groups()
        found["buzzer"], = re.fullmatch(rb"Buzzer is (ON|OFF) on IPDU #1\n", self.ask("buzzer")).groups()
        assert len(found) == 4 * len(OUTLETS) + 3
        wrong = {key: (value, self.now[key]) for key, value in found.items()
                 if value not in self.now.get(key, (value,))}
        assert not wrong, wrong
        self.now = {key: frozenset((value,)) for key, value in found.items()}
        self.shown = dict(self.now)
        return found

    def settle_behind_a_kill(self):
        """What a new control daemon begins with is one of the states that may be in the flash, as a whole."""
        found = self.settle()
        self.saved = [state for state in self.saved if all(found[key] in state[key] for key in found)]
        assert self.saved, f"a state that was never saved: {found}"
        self.saved = [self.now.copy()]

    # --- commands ---

    def check(self, line, answer, good, failures, may_fail):
        if good(answer):
            self.answered += 1
            return True
        self.failed += 1
        assert may_fail and answer in failures, (line, answer, may_fail)
        return False

    def read(self, line, pattern, key, known, disturb):
        """Asks for one setting. `known` says where it comes from: `now` for the tree, `shown` for the segment."""
        before, may_fail = known()[key], self.shaky
        answer = self.ask(line, disturb)
        values = before | known()[key]
        self.check(line, answer, lambda text: any(text == pattern % value for value in values),
                   (b"", INVALID, NO_SUCH), may_fail or self.shaky)

    def read_outlet(self, number, disturb):
        before, may_fail = dict(self.shown), self.shaky
        line = f"status {number}"
        answer = self.ask(line, disturb)

        def good(text):
            found = self.read_status(text) if text.startswith(STATUS_HEAD) else {}
            return len(found) == 4 and all(key[1] == number and value in before[key] | self.shown[key]
                                           for key, value in found.items())
        # The head alone: the outlet was found, but then the daemon died before its number in the chain was known.
        self.check(line, answer, good, (b"Invalid outlet [%d].\n" % number, STATUS_HEAD), may_fail or self.shaky)

    def write(self, line, done, key, value, failures, disturb, refused=None):
        """Sets something. `refused` is what the unit says where it may not be set."""
        kills, may_fail = self.morvd.kills, self.shaky
        answer = self.ask(line, disturb)
        lost = self.morvd.kills > kills
        if refused is not None and answer == refused[0]:
            assert True in refused[1](), (line, answer, "which is not so")
            self.answered += 1
        elif self.check(line, answer, lambda text: text == done, failures, may_fail or self.shaky) and not lost:
            self.learn(key, (value,))
        elif not lost or self.morvd.process is not None:
            self.learn(key, self.now[key] | {value})

    def save(self, disturb):
        head = b"Saving configuration to flash on IPDU #1 ... "
        kills, may_fail, state = self.morvd.kills, self.shaky, self.now.copy()
        answer = self.ask("save", disturb)
        lost = self.morvd.kills > kills
        done = self.check("save", answer, lambda text: text == head + b"Done.\n",
                          (head + b"Failed.\n", head + b"Failed\n"), may_fail or lost)
        # A new daemon that is asked saves what the flash has given it.
        self.saved = [state] if done and not lost else [*self.saved, state]
        if done and lost and self.morvd.process is None:
            self.saved = [state]
        if lost:
            self.died()
            self.settle_behind_a_kill()

    def any_command(self, disturb):
        chance, number = self.chance, self.chance.choice(OUTLETS)
        letter = chance.choice(LETTERS).encode()
        no_outlet = (b"Invalid outlet [%d].\n" % number,)
        kind = chance.randrange(16)

        def may_be_locked():
            return self.before["locked", number] | self.shown["locked", number]

        if kind == 0:
            self.read("id 1", b"IPDU #1 ID = %s\n", "id", lambda: self.now, disturb)
        elif kind == 1:
            self.read("coldstart 1", b"IPDU #1: Cold start delay set to %s.\n", "cold", lambda: self.now, disturb)
        elif kind == 2:
            self.read("buzzer", b"Buzzer is %s on IPDU #1\n", "buzzer", lambda: self.now, disturb)
        elif kind == 3:
            self.read("ver 1", b"IPDU #1: Hw with 8 outlets 16.0 AMPs max Sw V 1.9.4 id %s model 17. 0 banks.\n", "id",
                      lambda: self.now, disturb)
        elif kind in (4, 5, 6):
            self.read_outlet(number, disturb)
        elif kind == 7:
            assert self.ask("nosuch", disturb) in (INVALID, NOT_RECOGNIZED)
        elif kind == 8:
            assert self.ask("id help", disturb).startswith(b"Usage: ")
        elif kind == 9:
            self.write(f"id 1 box{letter.decode()}", b"IPDU #1 ID is set to box%s.\n" % letter, "id", b"box" + letter,
                       (b"", INVALID, NO_SUCH), disturb)
        elif kind == 10:
            cold = b"%d" % chance.randrange(10)
            self.write(f"coldstart 1 {cold.decode()}", b"IPDU #1: Cold start delay set to %s.\n" % cold, "cold", cold,
                       (b"", INVALID, NO_SUCH), disturb)
        elif kind == 11:
            word = chance.choice((b"on", b"off"))
            self.write(f"buzzer {word.decode()}", b"Buzzer turned %s on IPDU #1\n" % word.upper(), "buzzer",
                       word.upper(), (b"", INVALID), disturb)
        elif kind == 12:
            name = b"plug%d" % number + letter
            self.write(f"name {number} {name.decode()}", b"%d: Outlet now named %s\n" % (number, name),
                       ("name", number), name,
                       (b"", b"Invalid outlet number.\n", b"%d: Invalid outlet name.\n" % number), disturb)
        elif kind == 13:
            interval = b"%d.5" % chance.randrange(10)
            refused, broken = (b"%d: Not possible, outlet %s.\n" % (number, why) for why in (b"locked", b"error"))
            self.write(f"interval {number} {interval.decode()}",
                       b"%d: Outlet power on interval set to %s sec.\n" % (number, interval), ("interval", number),
                       interval, (b"", INVALID, broken, *no_outlet), disturb, (refused, may_be_locked))
        elif kind == 14:
            word = chance.choice((b"on", b"off"))
            refused = b"%d: Cannot be turned %s, outlet locked.\n" % (number, word)
            self.write(f"{word.decode()} {number}", b"%d: Outlet turned %s.\n" % (number, word), ("on", number),
                       word == b"on", (b"%d: Outlet could not be turned %s.\n" % (number, word), *no_outlet), disturb,
                       (refused, may_be_locked))
        else:
            word = chance.choice((b"lock", b"unlock"))
            self.write(f"{word.decode()} {number}", b"%d: Outlet %sed.\n" % (number, word), ("locked", number),
                       word == b"lock", (b"%d: Outlet could not be %sed.\n" % (number, word), *no_outlet), disturb)

    # --- kills ---

    def wait_a_moment(self, most):
        until = time.perf_counter() + self.chance.random() * most
        while time.perf_counter() < until:
            pass

    def kill_morvd(self, number, most=0.004):
        """Some time after the line has been typed. The next daemon comes at once or a few commands later."""
        def disturb():
            self.wait_a_moment(most)
            self.morvd.kill()
            self.died()
            self.shaky = True
            self.restart_at = number + self.chance.randrange(8)
            if self.restart_at == number:
                self.morvd.start()
        return disturb if self.morvd.process else None

    def kill_monitor(self, most=0.004):
        def disturb():
            self.wait_a_moment(most)
            self.monitor.kill()
            self.monitor.start()
        return disturb

    def go_on(self, number):
        """Brings the control daemon back, and trusts in it as soon as the program must have found out."""
        if self.morvd.process is None and number >= self.restart_at:
            self.morvd.start()
        longest = self.shaky and number >= self.restart_at + OUTAGE
        return self.shaky and self.morvd.ready(30 if longest else 0)

    def run(self):
        chance = self.chance
        numbers = range(1, COMMANDS)
        saves = {COMMANDS * k // SAVES - 50: k for k in range(1, SAVES + 1)}
        morvd_kills = set(chance.sample(numbers, MORVD_KILLS))
        monitor_kills = set(chance.sample(numbers, ZTD_KILLS))
        self.settle()
        self.saved = [self.now.copy()]  # as the units left the factory
        for number in range(COMMANDS):
            self.before = self.now.copy()
            trusted = self.go_on(number)
            if number % SETTLE_EVERY == SETTLE_EVERY - 1:
                self.settle()
            elif number in saves:
                self.save(self.kill_morvd(number, chance.choice((0.01, 0.1, 1.0))) if saves[number] % 2 else None)
                trusted = False
            elif number in morvd_kills:
                self.any_command(self.kill_morvd(number))
                trusted = False
            else:
                self.any_command(self.kill_monitor() if number in monitor_kills else None)
            if trusted:
                self.ask("coldstart 1")  # at the latest with this one the program has found out
                self.shaky = False

    def end(self):
        """The last kill; then everything ends in peace."""
        if self.morvd.process is None:
            self.morvd.start()
        self.morvd.kill()
        self.died()
        self.settle_behind_a_kill()
        self.session.type("exit\r")
        assert self.session.status() == 0
        for daemon in (self.monitor, self.morvd):
            daemon.process.terminate()
            assert daemon.process.wait(10) == 0
        return self.monitor.pids + self.morvd.pids


def processes_of(root):
    """Those that were started with that root, by the kernel's account."""
    found = []
    for entry in Path("/proc").glob("[0-9]*"):
        try:
            if f"ZT_ROOT={root}\0".encode() in (entry / "environ").read_bytes():
                found.append(entry.name)
        except OSError:
            pass
    return found


def segments_of(pids):
    """The segments that one of those processes made, or was the last to touch."""
    heads, *lines = Path("/proc/sysvipc/shm").read_text().splitlines()
    segments = (dict(zip(heads.split(), map(int, line.split()))) for line in lines)
    return {one["shmid"] for one in segments if one["cpid"] in pids or one["lpid"] in pids}


@pytest.mark.parametrize("seed", [int(os.environ.get("ZT_SEED", "20110722"))])
def test_prompt_outlives_daemons_that_are_killed_again_and_again(desk, seed):
    desk.env.update(ZT_DLOG="/dev/null")
    del desk.env["ZT_CI_DLA"]
    operator = Operator(desk, seed)
    operator.run()
    pids = operator.end()
    # The test is worth something only if most was answered, and something failed on the way.
    assert operator.morvd.kills >= MORVD_KILLS // 2 and operator.monitor.kills >= ZTD_KILLS
    assert operator.answered > COMMANDS // 2 and operator.failed > 0
    assert not processes_of(desk.root)
    left = {path.name for path in (desk.root / "run").iterdir()} - {"morvd.flash", "morvd.key"}
    assert left <= {"morvd.flash-journal"}  # of a save that was cut off before it began to write
    assert libc.shmget(key_of(desk.key_file), 0, 0) == -1
    assert not segments_of(pids)
