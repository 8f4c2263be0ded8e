"""Plays a session at the prompt of a desk that stands below ZT_ROOT: tour.py SESSION BIN.

Each line of the session is shown; one that begins with "# " is a caption, one with "$ morvdctl " is done at the desk,
the others are typed at the prompt, whose answers are shown. On a terminal it goes at a pace to read by, a key goes on
at once and q ends it; without one there are no pauses. ZT_TOUR_PACE stretches the pauses by that factor."""

import os
import pty
import select
import signal
import subprocess
import sys
import termios
import time
import tty
from pathlib import Path

LONGEST_ANSWER = 30  # s
KEY_PAUSE, SHORT_PAUSE, READING_PAUSE = 0.04, 0.7, 0.06  # s; for a letter, behind a line, for a word that is read


class Ended(Exception):
    """The person at the terminal has seen enough."""


class Pace:
    """How fast it goes, as the person at the terminal wants it."""

    def __init__(self):
        self.slow = sys.stdin.isatty() and sys.stdout.isatty()
        self.stretch = float(os.environ.get("ZT_TOUR_PACE", "1"))
        self.before = termios.tcgetattr(sys.stdin) if self.slow else None
        if self.slow:
            tty.setcbreak(sys.stdin)

    def wait(self, seconds):
        """Until the time is over or a key is pressed; whether it was a key."""
        if not self.slow or not select.select([sys.stdin], [], [], seconds * self.stretch)[0]:
            return False
        if os.read(sys.stdin.fileno(), 1) in (b"q", b""):
            raise Ended
        return True

    def end(self):
        if self.slow:
            termios.tcsetattr(sys.stdin, termios.TCSADRAIN, self.before)


class Prompt:
    """The program at a terminal of its own."""

    def __init__(self, program):
        self.master, slave = pty.openpty()
        self.process = subprocess.Popen([program], stdin=slave, stdout=slave, stderr=slave, start_new_session=True,
                                        env={**os.environ, "TERM": "dumb"})
        os.close(slave)
        self.answer()

    def answer(self):
        """What comes before the next prompt, or the end."""
        text = b""
        deadline = time.monotonic() + LONGEST_ANSWER
        while not (b"\n" + text).endswith(b"\nzt>"):
            if not select.select([self.master], [], [], max(0, deadline - time.monotonic()))[0]:
                sys.exit("tour: the prompt does not answer")
            try:
                text += os.read(self.master, 65536)
            except OSError:  # the far end of a terminal is closed
                break
        return text.decode("latin-1").replace("\r", "").removesuffix("zt>")

    def type(self, line):
        os.write(self.master, line.encode() + b"\r")
        return self.answer().partition("\n")[2]  # behind what was typed

    def end(self):
        os.close(self.master)
        self.process.wait(LONGEST_ANSWER)


def control(program, *words):
    """Does something at the desk; what it says is the result."""
    done = subprocess.run([program, *words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode:
        sys.exit("tour: the desk did not do it")
    return done.stdout


def publish(program):
    """Waits until the status segment has what stands on the desk by now. A fault that does nothing to two polls is gone
    when the second has begun."""
    control(program, "fault", "delay", "mlist", "power.port", "0", "2")
    deadline = time.monotonic() + LONGEST_ANSWER
    while control(program, "fault", "list"):
        if time.monotonic() > deadline:
            sys.exit("tour: the monitor does not poll")
        time.sleep(0.02)


def show(text, end="\n"):
    print(text, end=end, flush=True)


def type_slowly(pace, text):
    fast = False
    for letter in text:
        show(letter, end="")
        fast = fast or pace.wait(KEY_PAUSE)
    show("")


def play(lines, folder, pace):
    prompt = Prompt(folder / "ztcli")
    desk = folder / "morvdctl"
    try:
        for line in lines:
            if line.startswith("# "):
                show("\n" + line)
                pace.wait(SHORT_PAUSE + READING_PAUSE * 4 * len(line.split()))
            elif line.startswith("$ morvdctl "):
                show("$ ", end="")
                type_slowly(pace, line[2:])
                show(control(desk, *line.split()[2:]), end="")
                publish(desk)
                pace.wait(SHORT_PAUSE)
            else:
                show("zt>", end="")
                type_slowly(pace, line)
                answer = prompt.type(line)
                show(answer, end="")
                publish(desk)
                pace.wait(SHORT_PAUSE + READING_PAUSE * len(answer.split()))
    finally:
        prompt.end()


def main():
    session, folder = Path(sys.argv[1]), Path(sys.argv[2])
    lines = [line for line in session.read_text(encoding="ascii").splitlines() if line]
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda received, _: sys.exit(128 + received))
    pace = Pace()
    try:
        play(lines, folder, pace)
    except (Ended, KeyboardInterrupt):
        show("")
    finally:
        pace.end()


main()
