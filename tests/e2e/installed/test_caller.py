"""What a caller can hand to a set-user-ID start: descriptors, words, variables, limits, signals, a folder. Whatever it
is, the program ends as it always does, says nothing else, and asks the control daemon for nothing else."""

import os
import resource
import select
import signal
import socket
import struct
from itertools import combinations

import pytest

from desk import INVALID, Outcome, wait_until
from installed import MODULE, PROBE, PROGRAM, environment

STREAMS = [0, 1, 2]
SUBSETS = [chosen for size in (1, 2, 3) for chosen in combinations(STREAMS, size)]


@pytest.fixture(name="answer", scope="module")
def answer_to_id(namespace):
    namespace.restore()
    answer = namespace.run("id")
    assert answer.stdout.startswith(b"IPDU #1 ID = ") and answer.status == 1
    return answer


@pytest.fixture(name="tap")
def wire_tap(appliance):
    """The control daemon's socket, at which a test listens itself."""
    path = appliance.path("/run/morvd.sock")
    path.rename(path.with_suffix(".real"))
    listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    listener.bind(str(path))
    path.chmod(0o666)
    listener.listen(8)
    listener.settimeout(10)
    try:
        yield listener
    finally:
        listener.close()
        path.unlink()
        path.with_suffix(".real").rename(path)


# --- descriptors ---

def log_socket(appliance):
    """A syslog daemon's socket, so that the program has one of its own to it."""
    listener = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    listener.bind(str(appliance.path("/dev/log")))
    appliance.path("/dev/log").chmod(0o666)
    listener.setblocking(False)
    return listener


def logged(listener):
    records = b""
    try:
        while True:
            records += listener.recv(4096)
    except BlockingIOError:
        return records


@pytest.mark.parametrize("line", ["shell word", "scp file host:"])
def test_module_has_no_descriptor_of_the_programs(appliance, line):
    appliance.program(MODULE, PROBE)
    with log_socket(appliance) as log:
        appliance.run("-d", line)
        assert b"CI module OK" in logged(log)
    assert sorted(appliance.seen("access")["descriptors"]) == ["0", "1", "2"]


def test_programs_of_an_upgrade_have_no_descriptor_of_the_programs(appliance):
    for name in ("/usr/bin/rz", "/usr/sbin/checkImage", "/usr/sbin/flashImage"):
        appliance.program(name, PROBE)
    appliance.put("/tmp/ztfirmware", b"image", 0o666)
    with log_socket(appliance):
        appliance.upgrade(until=b"Done.\n")
    for name in ("rz", "checkImage", "flashImage"):
        assert sorted(appliance.seen(name)["descriptors"]) == ["0", "1", "2"], name
    line = "/dev/" + os.path.basename(os.ttyname(appliance.terminal[1]))
    assert [appliance.seen("rz")["descriptors"][number] for number in "01"] == [line, line]
    assert [appliance.seen("checkImage")["descriptors"][number] for number in "12"] == ["/dev/null", "/dev/null"]


def test_callers_own_descriptors_reach_the_callers_own_programs(appliance):
    appliance.program(MODULE, PROBE)
    appliance.put("/record/given", b"")
    with appliance.path("/record/given").open("rb") as given:
        appliance.run("shell word", keep=[given.fileno()])
        assert sorted(appliance.seen("access")["descriptors"]) == sorted(["0", "1", "2", str(given.fileno())])


@pytest.mark.parametrize("closed", SUBSETS)
def test_closed_streams_get_nothing_of_ours(appliance, closed):
    """The module writes to all three; what the program has opened meanwhile must not be there."""
    appliance.program(MODULE, "(echo stray) 2>/dev/null; echo stray >&2; exec /usr/libexec/ci/probe")
    appliance.program("/usr/libexec/ci/probe", PROBE)
    with log_socket(appliance) as log:
        outcome = appliance.run("shell word", closed=closed)
        records = logged(log)
    assert b"CI module OK" in records and b"stray" not in records and INVALID not in records
    assert outcome == Outcome(b"" if 1 in closed else b"stray\n" + INVALID, b"" if 2 in closed else b"stray\n", 1)
    found = appliance.seen("probe")["descriptors"]
    assert sorted(found) == ["0", "1", "2"]
    for number in closed:
        assert not found[str(number)].startswith("socket:"), found


@pytest.mark.parametrize("closed", SUBSETS)
def test_with_closed_streams_the_daemon_hears_a_login_and_nothing_else(appliance, tap, closed):
    process = appliance.start("-d", "help", closed=closed)
    with tap.accept()[0] as connection:
        connection.settimeout(10)
        login = connection.recv(4096)
        assert login.startswith(b"*3\r\n$5\r\nlogin\r\n") and login.count(b"\r\n") == 7
        connection.sendall(b"$5\r\ntoken\r\n")
        assert connection.recv(4096) == b""
    assert process.wait(10) == 1


@pytest.mark.parametrize("closed", [(), *SUBSETS])
def test_prompt_on_closed_streams_ends(appliance, closed):
    assert appliance.run(closed=closed).status == 1


@pytest.mark.parametrize("allowed", range(7))
@pytest.mark.parametrize("closed", [(), (0,), (1,), (2,), (0, 1, 2)])
def test_few_descriptors_end_a_start_without_a_stray_word(appliance, tap, allowed, closed):
    limits = [(resource.RLIMIT_NOFILE, allowed)]
    process = appliance.start("id", closed=closed, limits=limits)
    wait_until(lambda: process.poll() is not None or select.select([tap], [], [], 0.05)[0], what="a login or an end")
    if not select.select([tap], [], [], 0)[0]:
        assert process.returncode in (1, 127) or (closed and process.returncode == -signal.SIGSEGV)  # by the loader
        return
    with tap.accept()[0] as connection:
        assert connection.recv(4096).startswith(b"*3\r\n$5\r\nlogin\r\n")
        connection.sendall(b"-ERR 1 no\r\n")
        assert connection.recv(4096) == b""
    assert process.wait(10) == 0


# --- words ---

ODD_WORDS = {
    "no word at all": [],
    "an empty name": [b""],
    "an empty word": [PROGRAM, b""],
    "many empty words": [PROGRAM, *[b""] * 10_000],
    "a megabyte": [PROGRAM, *[b"x" * 100_000] * 10],
    "a megabyte behind the option": [PROGRAM, b"-c", b"id", *[b"y" * 100_000] * 10],
    "a name of 100 KB": [b"/" * 50_000 + b"z" * 50_000, b"id"],
    "many words": [PROGRAM, *[b"w"] * 20_000],
    "many options": [PROGRAM, *[b"-d"] * 20_000, b"id"],
    "bytes that are no text": [PROGRAM, bytes(range(128, 256)), bytes(range(1, 32))],
    "conversions": [PROGRAM, b"%n%s%n%s%n", b"%999999999d"],
    "an option's end": [PROGRAM, b"-"],
    "a name that is an option": [b"-", b"-c"],
}


@pytest.mark.parametrize("words", ODD_WORDS.values(), ids=ODD_WORDS.keys())
def test_odd_words_are_answered(appliance, words):
    outcome = appliance.run(argv=words)
    assert outcome.status in (0, 1)
    assert b"smash" not in outcome.stderr and len(outcome.stdout) < 2000


# --- variables ---

LONG = b"x" * 100_000
ODD_VARIABLES = {
    "none": [],
    "a megabyte": [b"V%d=" % number + LONG for number in range(10)],
    "no sign": [b"TERM", b"HOME", b"", b"=", b"==", b"=x", b"ZT_ROOT"],
    "a name twice": [b"TERM=dumb", b"TERM=xterm", b"ZT_ROOT=/a", b"ZT_ROOT=/b", b"HOME=/a", b"HOME="],
    "no text": [bytes(range(128, 256)) + b"=" + bytes(range(1, 32)), b"TERM=\xff\xfe"],
    "of the loader": [b"LD_PRELOAD=/record/own.so", b"LD_LIBRARY_PATH=/record", b"LD_AUDIT=/record/own.so",
                      b"LD_DEBUG=all", b"LD_DEBUG_OUTPUT=/record/debug",
                      b"LD_BIND_NOW=1", b"LD_SHOW_AUXV=1", b"GCONV_PATH=/record"],
    "of the allocator": [b"MALLOC_CHECK_=3", b"MALLOC_PERTURB_=255", b"MALLOC_ARENA_MAX=0", b"MALLOC_TRACE=/record/t",
                         b"MALLOC_TOP_PAD_=99999999999",
                         b"GLIBC_TUNABLES=glibc.malloc.check=3:glibc.malloc.mxfast=glibc.malloc.mxfast=1:" + LONG],
    "of the shell": [b"PATH=/record", b"IFS=/ie", b"ENV=/record/own", b"BASH_ENV=/record/own",
                     b"SHELLOPTS=xtrace:noexec", b"PS4=$(touch /record/touched)", b"CDPATH=/record",
                     b"BASH_FUNC_echo%%=() { touch /record/touched; }"],
    "of places": [b"HOME=/record/" + LONG, b"PWD=/nowhere", b"TMPDIR=/nowhere", b"TERMINFO=/proc/self/mem",
                  b"TERMINFO_DIRS=" + b":" * 1000, b"TERMCAP=/record", b"LOCPATH=/record", b"NLSPATH=/record/%N",
                  b"LANGUAGE=../../record", b"LC_ALL=../../../record", b"LANG=" + LONG, b"TZ=:/record/zone",
                  b"TZDIR=/record", b"HOSTALIASES=/record/x", b"RES_OPTIONS=" + LONG, b"INPUTRC=/proc/self/mem"],
    "a time zone": [b"TZ=" + b"A" * 50_000 + b"-99999999999"],
    "sizes": [b"COLUMNS=-1", b"LINES=99999999999"],
}
PROMPT_VARIABLES = {
    **ODD_VARIABLES,
    "a narrow screen": [b"TERM=xterm", b"COLUMNS=1", b"LINES=1"],
    "a wide screen": [b"TERM=xterm", b"COLUMNS=2147483647", b"LINES=2147483647"],
    "an odd terminal": [b"TERM=../../../record/x"],
    "a long terminal": [b"TERM=" + LONG],
    "a terminal of its own": [b"TERM=own", b"TERMCAP=own:co#0:li#-5:cl=\\E[%p1%s%n:ce=%n%n%n:nd=%s:up=%s%s:am:"],
    "keys": [b"TERM=dumb", b"INPUTRC=/record/keys"],
}
KEYS = b"\n".join([b"\\" * 100_000, b'"\\C-\\M-": "', *[b"$if mode=vi"] * 1000, b"set keymap " + LONG,
                   bytes(range(256)) * 40])


@pytest.mark.parametrize("name", ODD_VARIABLES)
def test_odd_variables_change_no_answer(appliance, answer, name):
    assert appliance.run("id", env=ODD_VARIABLES[name]) == answer
    assert appliance.recorded() == []


@pytest.mark.parametrize("name", PROMPT_VARIABLES)
def test_odd_variables_leave_the_prompt(appliance, name):
    appliance.put("/record/keys", KEYS)
    with appliance.prompt(env=PROMPT_VARIABLES[name]) as prompt:
        prompt.expect("zt>")
        prompt.type("exit\r")
        assert prompt.status() == 0


def description(*texts):
    """A terminal's description as a file of the system's: its name, and capabilities of texts that long."""
    name, table = b"own|a terminal\0", b"".join(text + b"\0" for text in texts)
    places = [-1] * 6  # el, the sixth text, and clear, the fifth, are looked at by the editor
    at = 0
    for capability, text in zip((5, 6), texts):
        places += [-1] * (capability + 1 - len(places))
        places[capability] = at
        at += len(text) + 1
    head = struct.pack("<6h", 0o432, len(name), 0, 1, len(places), len(table))
    return head + name + b"\0" * (len(name) % 2) + struct.pack(f"<{1 + len(places)}h", 80, *places) + table


@pytest.mark.parametrize("variable, folder", [
    (b"TERMINFO=/record/terminfo", "terminfo"), (b"TERMINFO_DIRS=/record/terminfo", "terminfo"),
    (b"HOME=/record", ".terminfo")])
def test_terminals_of_the_users_own_are_not_known(appliance, variable, folder):
    """The editor copies their texts into a buffer of about 2 KB, whatever their length."""
    place = appliance.path(f"/record/{folder}/o")
    place.mkdir(parents=True)
    (place / "own").write_bytes(description(b"MARK" * 400, b"TEXT" * 400))
    with appliance.prompt(env=[b"TERM=own", variable]) as prompt:
        assert b"MARK" not in prompt.expect("zt>")
        prompt.type("\x0c")  # clears the screen, by what is known of it
        prompt.type("exit\r")
        assert prompt.status() == 0
        assert b"MARK" not in prompt.expect("exit")


@pytest.mark.parametrize("name", ["of the shell", "of the loader", "no sign", "of places"])
def test_odd_variables_have_no_say_in_what_an_upgrade_runs(appliance, name):
    appliance.program("/record/rz", "/usr/bin/touch /record/touched")
    for other in ("own", "checkImage", "flashImage", "sh", "echo"):
        appliance.program(f"/record/{other}", "/usr/bin/touch /record/touched")
    for real in ("/usr/bin/rz", "/usr/sbin/checkImage", "/usr/sbin/flashImage"):
        appliance.program(real, PROBE.replace(b"/record/{name}", b"/tmp/seen-{name}"))
    appliance.put("/tmp/ztfirmware", b"image", 0o666)
    assert b"Done.\n" in appliance.upgrade(until=b"Done.\n", env=ODD_VARIABLES[name])
    assert "touched" not in appliance.recorded()
    for name in ("rz", "checkImage", "flashImage"):
        assert appliance.path(f"/tmp/seen-{name}").exists()


# --- limits ---

def refuses_soundly(outcome):
    """It ran and answered, or it did not come to be (the loader's 127, or no room for the start at all)."""
    return outcome.status in (0, 1, 127) or outcome.status in (-signal.SIGKILL, -signal.SIGSEGV) and not outcome.stdout


@pytest.mark.parametrize("megabytes", [1, 2, 3, 4, 5, 6, 7, 8, 10, 12, 16, 24])
def test_little_memory(appliance, megabytes):
    outcome = appliance.run("id", limits=[(resource.RLIMIT_AS, megabytes << 20)])
    assert refuses_soundly(outcome), outcome


@pytest.mark.parametrize("name, value", [
    (resource.RLIMIT_FSIZE, 0), (resource.RLIMIT_NPROC, 0), (resource.RLIMIT_NPROC, 1), (resource.RLIMIT_CORE, 0),
    (resource.RLIMIT_MEMLOCK, 0), (resource.RLIMIT_SIGPENDING, 0), (resource.RLIMIT_MSGQUEUE, 0),
    (resource.RLIMIT_NOFILE, 4), (resource.RLIMIT_STACK, 256 << 10)])
def test_limit_that_the_answer_does_not_need(appliance, answer, name, value):
    assert appliance.run("id", limits=[(name, value)]) == answer


@pytest.mark.parametrize("kilobytes", [0, 4, 16, 64, 128])
def test_little_stack(appliance, kilobytes):
    outcome = appliance.run("id", limits=[(resource.RLIMIT_STACK, kilobytes << 10)])
    assert refuses_soundly(outcome), outcome


def test_module_that_cannot_be_forked_is_answered(appliance):
    appliance.program(MODULE, "echo ran")
    outcome = appliance.run("shell word", limits=[(resource.RLIMIT_NPROC, 0)])
    assert outcome in (Outcome(b"", b"", 1), Outcome(b"ran\n" + INVALID, b"", 1))


# --- folder, mask, signals ---

def test_folder_that_is_gone(appliance, answer):
    appliance.path("/record/gone").mkdir()
    appliance.path("/record/gone").chmod(0o777)

    appliance.program(MODULE, PROBE)
    process = appliance.start("id", folder="/record/gone", stdin=None)
    appliance.path("/record/gone").rmdir()
    assert Outcome(*process.communicate(timeout=20), process.returncode) == answer


def test_folder_that_the_user_cannot_read(appliance, answer):
    appliance.path("/record/closed").mkdir(mode=0o700)
    assert appliance.run("id", folder="/record/closed") == answer


@pytest.mark.parametrize("umask", [0, 0o777])
def test_any_mask_for_files(appliance, answer, umask):
    assert appliance.run("id", umask=umask) == answer
    assert appliance.recorded() == []


CATCHABLE = sorted(set(signal.Signals) - {signal.SIGKILL, signal.SIGSTOP})


@pytest.mark.parametrize("state", ["ignored", "blocked"])
def test_signals_that_the_caller_has_put_aside(appliance, answer, state):
    appliance.program(MODULE, "echo ran")
    assert appliance.run("id", **{state: CATCHABLE}) == answer
    assert appliance.run("shell word", **{state: CATCHABLE}) == Outcome(b"ran\n" + INVALID, b"", 1)


@pytest.mark.parametrize("number", [signal.SIGALRM, signal.SIGPIPE, signal.SIGCHLD, signal.SIGINT, signal.SIGTERM,
                                    signal.SIGHUP, signal.SIGUSR1, signal.SIGWINCH])
def test_signal_that_pends_from_before_the_start(appliance, answer, number):
    assert appliance.run("id", pending=[number]) == answer


def test_reader_that_has_gone_is_no_death(appliance):
    reading, writing = os.pipe()
    os.close(reading)
    process = appliance.start("id", stdout=writing, stderr=writing)
    os.close(writing)
    assert process.wait(20) == 1


def test_module_gets_back_the_signals_that_the_program_holds(appliance):
    appliance.program(MODULE, PROBE)
    appliance.run("shell word", ignored=CATCHABLE, blocked=CATCHABLE)
    seen = appliance.seen("access")
    assert seen["blocked"] == 0 and seen["ignored"] & ~(1 << signal.SIGPIPE - 1 | 1 << signal.SIGXFSZ - 1) == 0
