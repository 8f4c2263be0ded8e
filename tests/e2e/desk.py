"""One test's own root folder: the program, started there in every way, and what it leaves behind."""

import os
import re
import select
import shutil
import signal
import socket
import subprocess
import tempfile
import termios
import time
from dataclasses import dataclass
from pathlib import Path

import pexpect
import pexpect.fdpexpect

from fake_morvd import FakeMorvd, chain_tree, encode
from status_segment import Segment, chain_image

REPOSITORY = Path(__file__).resolve().parents[2]
BIN = Path(os.environ.get("ZT_TEST_BIN", REPOSITORY / "build/bin")).resolve()
ZTCLI, MORVD, ZTD_NG = BIN / "ztcli", BIN / "morvd", BIN / "ztd_ng"

CHAINS = REPOSITORY / "appliance/chains"

INVALID = b"Invalid argument. Try help for details\n"
NOT_RECOGNIZED = b"Command not recognized\n"
BANNER = b"ZTCLI 0.1 (2011-07-22T13:17-0700)\n"
USAGE = (b"Usage: ztcli [command]\nOptions:\n-h\t\tHelp (this message).\n-d\t\tDebug mode.\n"
         b"-V\t\tShow CLI version.\n")

POSITION = re.compile(r"^\(\w+\.cpp:\d+\) ")


@dataclass
class Outcome:
    stdout: bytes
    stderr: bytes
    status: int


def wait_until(test, timeout=10, what="the event"):
    """Polls `test` until it answers something true, which is the result."""
    deadline = time.monotonic() + timeout
    while not (result := test()):
        assert time.monotonic() < deadline, f"{what} did not happen within {timeout} s"
        time.sleep(0.01)
    return result


class Desk:
    def __init__(self):
        self.root = Path(tempfile.mkdtemp(prefix="zt-", dir="/tmp"))
        self.root.chmod(0o755)
        for folder in ("bin", "run", "tmp"):
            (self.root / folder).mkdir()
        self.key_file = self.root / "bin/ztd_ng"
        self.key_file.touch()
        self.log_file, self.tap_file = self.root / "log", self.root / "tap"
        self.env = {"PATH": os.environ["PATH"], "TERM": "dumb", "TZ": "UTC", "ZT_ROOT": str(self.root),
                    "ZT_DLOG": str(self.log_file), "ZT_CI_DLA": str(self.tap_file), "ZT_CI_USER": "alice",
                    "ZT_CI_SID": "77"}
        self.morvd = self.segment = None
        self._running, self._descriptors = [], []

    # --- the two daemons ---

    def serve(self, tree=None, units=None):
        """Starts the fake control daemon on a tree, or on that of a chain of units."""
        self.morvd = FakeMorvd(self.root / "run/morvd.sock", chain_tree(*(units or [])) if tree is None else tree)
        return self.morvd.start()

    def publish(self, image, mode=0o666):
        """Publishes a segment. Keys hold 16 bits of the file number, so that one in use is answered by a new file."""
        for attempt in range(50):
            try:
                self.segment = Segment(self.key_file, image, mode)
                return self.segment
            except FileExistsError:
                other = self.key_file.with_name(f"other{attempt}")
                other.touch()
                other.rename(self.key_file)
        raise AssertionError("no free key for the segment")

    def chain(self, *units):
        """Both for the same chain; units take the words of unit_tree."""
        self.publish(chain_image([{"unit_id": unit.get("id", ""), "model": unit.get("model", 128) & 0xFF,
                                   "outlets": unit.get("outlets", 8)} for unit in units]))
        return self.serve(units=units)

    def daemon(self, *command, before=(), expect_ready=True):
        """Starts one of the real daemons, through the command `before`, and waits until it says that it is ready."""
        reading, writing = os.pipe()
        daemon = self.start([*before, command[0], "--ready-fd", str(writing), *command[1:]], pass_fds=[writing],
                            stderr=subprocess.PIPE, stdout=subprocess.PIPE)
        os.close(writing)
        with os.fdopen(reading, "rb") as ready:
            in_time = select.select([ready], [], [], 30)[0]
            said = ready.readline() if in_time else None
        if expect_ready and said != b"ready\n":
            daemon.kill()
            raise AssertionError(f"{command[0].name} said {said} for 'ready': {daemon.stderr.read()}")
        assert expect_ready or said == b""
        return daemon

    def appliance(self, chain="desk.toml", *options):
        """Starts both real daemons on a shipped chain; the monitor polls so often that a change shows at once."""
        self.key_file.unlink(missing_ok=True)
        return self.daemon(MORVD, *options, CHAINS / chain), self.monitor()

    def furnish(self):
        """Puts the appliance's own programs below the root."""
        subprocess.run([REPOSITORY / "script/furnish", self.root, BIN], check=True)

    def monitor(self):
        """Starts the monitor daemon; what stands in the tree by now is published when this returns."""
        return self.daemon(ZTD_NG, "--poll", "20")

    def client(self):
        """A connection to whichever control daemon runs."""
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        connection.settimeout(10)
        connection.connect(str(self.root / "run/morvd.sock"))
        return connection

    def tell(self, *words):
        """Says something to the real control daemon that only a desk can be told."""
        with self.client() as connection:
            connection.sendall(encode(["login", "root", "1"]) + encode(["desk", *words]))
            with connection.makefile("rb") as answers:
                login = answers.readline()
                answers.read(int(login[1:]) + 2)
                answer = answers.readline()
                assert answer == b"+OK\r\n", (words, answer)

    # --- the program ---

    def run(self, *words, name="ztcli", stdin=b"", timeout=20, binary=None, **env):
        """Runs the program to its end with that argv[0]; `stdin` is bytes for a pipe or a descriptor."""
        feed = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin}
        done = subprocess.run([name, *words], executable=binary or ZTCLI, env={**self.env, **env}, timeout=timeout,
                              capture_output=True, check=False, **feed)
        return Outcome(done.stdout, done.stderr, done.returncode)

    def prompt(self, *words, name="ztcli", **env):
        """Starts the program on a terminal of its own and waits for the first prompt."""
        session = Prompt([name, *words], {**self.env, **env})
        self._running.append(session)
        session.expect("zt>")
        return session

    def start(self, command, **options):
        """Starts any process that the test leaves to this desk to end."""
        process = subprocess.Popen([str(word) for word in command],
                                   **{"env": self.env, "stdin": subprocess.DEVNULL, **options})
        self._running.append(process)
        return process

    # --- what it left behind ---

    def tap(self):
        return self.tap_file.read_bytes() if self.tap_file.exists() else b""

    def records(self, *tags):
        """The log as (level, tag, message), with "(file:line) " written "@ "; the platform's own tags left out."""
        if not self.log_file.exists():
            return []
        wanted = tags or ("ZTCLI", "CLITXRX", "PSAPI", "TSAPI")
        found = []
        for line in self.log_file.read_text(encoding="latin-1").splitlines():
            level, tag, message = line.split("\t", 2)
            if tag in wanted:
                found.append((int(level), tag, POSITION.sub("@ ", message)))
        return found

    def failures(self):
        """The messages of level 4 under the program's own tag, each of which must have its position before it."""
        records = [message for level, _, message in self.records("ZTCLI") if level == 4]
        assert records[0::2] == ["@ "] * (len(records) // 2), records
        return records[1::2]

    def close(self):
        for process in reversed(self._running):
            process.close() if isinstance(process, Prompt) else end(process)
        if self.morvd:
            self.morvd.stop()
        if self.segment:
            self.segment.remove()
        shutil.rmtree(self.root)


def end(process):
    """Asks first, since a daemon that is killed leaves its segment."""
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(10)
        except subprocess.TimeoutExpired:
            process.kill()
    process.wait()
    for stream in (process.stdin, process.stdout, process.stderr):
        if stream:
            stream.close()


class Prompt:
    """The program at a terminal whose both ends stay open, so that it can be looked at afterwards."""

    def __init__(self, argv, env):
        self.master, self.slave = os.openpty()
        termios.tcsetwinsize(self.slave, (24, 200)) if hasattr(termios, "tcsetwinsize") else None
        self.before_start = termios.tcgetattr(self.slave)
        self.process = subprocess.Popen(argv, executable=ZTCLI, env=env, stdin=self.slave, stdout=self.slave,
                                        stderr=self.slave, start_new_session=True)
        self.screen = pexpect.fdpexpect.fdspawn(self.master, timeout=10)

    def expect(self, text):
        """Waits for that text, exactly; what came before it is the result."""
        self.screen.expect_exact(text)
        return self.screen.before

    def shows(self, text, within):
        """Whether that text comes up in time, in seconds."""
        return self.screen.expect_exact([text, pexpect.TIMEOUT], timeout=within) == 0

    def expect_or_none(self, text, timeout):
        """As expect, but None where it does not come in time."""
        try:
            self.screen.expect_exact(text, timeout=timeout)
        except pexpect.TIMEOUT:
            return None
        return self.screen.before

    def type(self, text):
        os.write(self.master, text if isinstance(text, bytes) else text.encode())

    def command(self, line):
        """Types a line; what stands between it and the next prompt is the result."""
        self.type(line + "\r")
        self.expect("\r\n")
        answer = self.expect("zt>")
        return answer.replace(b"\r\n", b"\n")

    def signal(self, number):
        os.kill(self.process.pid, number)

    def status(self, timeout=10):
        return self.process.wait(timeout)

    def attributes(self):
        return termios.tcgetattr(self.slave)

    def close(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
        self.process.wait()
        os.close(self.master)
        os.close(self.slave)
