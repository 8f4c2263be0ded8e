"""An appliance with a real root of its own, and the program on it, set-user-ID, as a user who is not root starts it."""

import ctypes
import json
import os
import pwd
import resource
import select
import shutil
import signal
import subprocess
import tempfile
import tty
from pathlib import Path

import pexpect.fdpexpect

from desk import BIN, CHAINS, REPOSITORY, Outcome, Prompt, wait_until

HERE = Path(__file__).resolve().parent
USER = 65534  # has a name everywhere, and owns nothing
USER_NAME = pwd.getpwuid(USER).pw_name
PROGRAM = "/usr/bin/ztcli"
MODULE = "/usr/libexec/ci/access"
CLONE_NEWNS = 0x20000
CLOSE_RANGE_CLOEXEC = 4

libc = ctypes.CDLL(None, use_errno=True)
libc.close_range.argtypes = (ctypes.c_uint, ctypes.c_uint, ctypes.c_int)

# Stands in the place of any program that the product starts, and writes down how it finds itself.
PROBE = rb"""#!/usr/bin/python3 -IS
import json, os, re, signal, sys

def status(process, key):
    with open(f"/proc/{process}/status") as about:
        return re.search(rf"^{key}:\t(.*)$", about.read(), re.M)[1]

def descriptors():
    found = {}
    for number in os.listdir("/proc/self/fd"):
        try:
            found[number] = os.readlink(f"/proc/self/fd/{number}")
        except FileNotFoundError:
            pass  # the one that the listing itself took
    return found

def ancestors():
    process = os.getppid()
    while (name := status(process, "Name")) in ("ztcli", "sh"):
        yield name, status(process, "Uid").split()
        process = int(status(process, "PPid"))

umask = os.umask(0o077)
name = os.path.basename(sys.argv[0])
with open("/proc/self/environ", "rb") as environment:
    words = environment.read().decode("latin-1").split("\0")[:-1]
with open("/proc/self/limits") as limits:
    fsize = re.search(r"Max file size +(\S+)", limits.read())[1]
seen = {"uid": status("self", "Uid").split(), "gid": status("self", "Gid").split(), "argv": sys.argv[1:],
        "environment": words, "descriptors": descriptors(), "ancestors": list(ancestors()), "umask": umask,
        "blocked": int(status("self", "SigBlk"), 16), "ignored": int(status("self", "SigIgn"), 16), "fsize": fsize}
with open(f"/record/{name}", "w") as record:
    json.dump(seen, record)
"""


def environment(*words):
    """What a user who has logged in at a terminal has, and these words."""
    return [b"PATH=/usr/bin:/bin", b"TERM=dumb", *(os.fsencode(word) for word in words)]


def _vector(words):
    return (ctypes.c_char_p * (len(words) + 1))(*[os.fsencode(word) for word in words], None)


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
        self._started = []
        self._namespace = None
        self.is_up = (bool(select.select([self.keeper.stdout], [], [], 30)[0])
                      and self.keeper.stdout.readline() == b"ready\n")
        if self.is_up:
            self._namespace = os.open(f"/proc/{self.keeper.pid}/ns/mnt", os.O_RDONLY)

    # --- its files ---

    def path(self, absolute):
        """A file of the appliance as it can be reached from outside."""
        return Path(f"/proc/{self.keeper.pid}/root{self.root}{absolute}")

    def program(self, absolute, text):
        """Puts a program in the place of another; bytes are the whole of it, a text is the body of a shell's."""
        path = self.path(absolute)
        path.unlink(missing_ok=True)
        path.write_bytes(text if isinstance(text, bytes) else f"#!/bin/sh\n{text}\n".encode())
        path.chmod(0o755)

    def put(self, absolute, content, mode=0o644):
        self.path(absolute).write_bytes(content)
        self.path(absolute).chmod(mode)

    def read(self, absolute):
        return self.path(absolute).read_bytes()

    def recorded(self):
        """The names of what programs have left in the folder for it."""
        return sorted(entry.name for entry in self.path("/record").iterdir())

    def seen(self, name):
        """What the probe that runs as that program wrote down."""
        return json.loads(wait_until(lambda: self.path(f"/record/{name}").exists() and self.read(f"/record/{name}")))

    def restore(self):
        """Ends what a test has started, takes away what it left and gives the programs back that it replaced."""
        for process in self._started:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
            for stream in (process.stdin, process.stdout, process.stderr):
                if stream:
                    stream.close()
        self._started.clear()
        for folder in ("/record", "/tmp"):
            for entry in self.path(folder).iterdir():
                shutil.rmtree(entry) if entry.is_dir() and not entry.is_symlink() else entry.unlink()
        for left in ("/var/lib/ztfirmware", "/dev/log"):
            self.path(left).unlink(missing_ok=True)
        self.path("/usr/libexec/ci").mkdir(parents=True, exist_ok=True)
        self.program(MODULE, (REPOSITORY / "appliance/modules/access").read_bytes())
        for program in ("checkImage", "flashImage"):
            self.program(f"/usr/sbin/{program}", (BIN / program).read_bytes())

    # --- the program ---

    def start(self, *words, argv=None, env=None, closed=(), limits=(), umask=0o022, folder="/", ignored=(),
              blocked=(), pending=(), keep=(), **options):
        """Starts the program as the user, in a session of its own; `env` and `argv` are taken as they are, whole."""
        argument_vector = _vector([PROGRAM, *words] if argv is None else argv)
        environment_vector = _vector(environment() if env is None else env)
        program, root = PROGRAM.encode(), str(self.root)

        def become_user():  # and never return, where all goes well
            if libc.setns(self._namespace, CLONE_NEWNS):
                raise OSError(ctypes.get_errno(), "setns")
            os.chroot(root)
            os.chdir(folder)
            os.setgroups([])
            os.setresgid(USER, USER, USER)
            os.setresuid(USER, USER, USER)
            os.umask(umask)
            for number in ignored:
                signal.signal(number, signal.SIG_IGN)
            signal.pthread_sigmask(signal.SIG_BLOCK, [*blocked, *pending])
            for number in pending:
                os.kill(os.getpid(), number)
            libc.close_range(3, 0xFFFFFFFF, CLOSE_RANGE_CLOEXEC)
            for number in keep:
                os.set_inheritable(number, True)
            for number in closed:
                os.close(number)
            for name, *limit in limits:
                resource.setrlimit(name, (limit[0], limit[-1]))
            libc.execve(program, argument_vector, environment_vector)
            os._exit(126)

        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        process = subprocess.Popen(["ztcli"], preexec_fn=become_user, start_new_session=True, pass_fds=keep, **streams)
        self._started.append(process)
        return process

    def run(self, *words, stdin=None, timeout=30, **options):
        """The same, to the end of the program."""
        feed = {"stdin": subprocess.PIPE} if stdin is not None else {}
        process = self.start(*words, **feed, **options)
        stdout, stderr = process.communicate(stdin, timeout)
        return Outcome(stdout, stderr, process.returncode)

    def prompt(self, *words, **options):
        return InstalledPrompt(self, words, options)

    def upgrade(self, until, **options):
        """An upgrade of the appliance's own unit, as far as to where it has said the text `until`."""
        process = self.start("upgrade 1", stderr=subprocess.STDOUT, **options)
        said = b""
        while until not in said and select.select([process.stdout], [], [], 30)[0]:
            more = os.read(process.stdout.fileno(), 4096)
            if not more:
                break
            said += more
        return said

    def end(self):
        """What the keeper complained of."""
        if self.keeper.returncode is None:
            self.complaint = self.keeper.communicate()[1].decode()
        return self.complaint

    def close(self):
        if self.is_up:
            self.restore()
            os.close(self._namespace)
        self.end()
        for descriptor in self.terminal:
            os.close(descriptor)
        self.root.rmdir()


class InstalledPrompt(Prompt):
    """The installed program at a terminal of the user's own."""

    def __init__(self, appliance, words, options):  # pylint: disable=super-init-not-called
        self.master, self.slave = os.openpty()
        os.fchown(self.slave, USER, -1)
        self.process = appliance.start(*words, stdin=self.slave, stdout=self.slave, stderr=self.slave, **options)
        self.screen = pexpect.fdpexpect.fdspawn(self.master, timeout=10)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def ids(process, kind="Uid"):
    """Real, effective, saved and file system's user of a process."""
    about = Path(f"/proc/{process}/status").read_text(encoding="latin-1")
    line = next(line for line in about.splitlines() if line.startswith(f"{kind}:"))
    return [int(word) for word in line.split()[1:]]
