"""The appliance on the desk: both daemons as processes, with the program between them."""

import ctypes
import os
import shutil
import signal
import subprocess
import sys
from pathlib import Path

import pytest

from desk import BIN, CHAINS, MORVD, REPOSITORY, ZTCLI, ZTD_NG, Outcome, wait_until
from fake_morvd import encode
from status_segment import BASE, READY_OFFSET, key_of, libc

sys.path.insert(0, str(REPOSITORY / "appliance/image"))

from make_image import image  # noqa: E402

CHAIN_FILES = sorted(path.name for path in CHAINS.glob("*.toml"))


@pytest.fixture(name="real")
def real_appliance(desk):
    desk.monitored, desk.monitor = desk.appliance()
    return desk


def exchange(connection, *words):
    """One request and what comes back for it, as far as one line of it goes."""
    connection.sendall(encode(list(words)))
    answer = b""
    while not answer.endswith(b"\r\n"):
        answer += connection.recv(1)
    return answer


def segment_of(desk):
    """The id of the segment that the key file leads to, or -1."""
    return libc.shmget(key_of(desk.key_file), 0, 0)


def ended(process, number=signal.SIGTERM):
    process.send_signal(number)
    return process.wait(10)


# --- options ---

@pytest.mark.parametrize("name", ["morvd", "ztd_ng"])
def test_help_option_shows_the_usage(desk, name):
    done = subprocess.run([BIN / name, "--help"], env=desk.env, capture_output=True, check=True, timeout=10)
    assert done.stdout.startswith(f"Usage: {name} ".encode()) and b"--ready-fd N" in done.stdout
    assert done.stderr == b""


@pytest.mark.parametrize("name", ["morvd", "ztd_ng"])
def test_version_option_shows_the_version(desk, name):
    done = subprocess.run([BIN / name, "--version"], env=desk.env, capture_output=True, check=True, timeout=10)
    assert (done.stdout, done.stderr) == (f"{name} 0.1\n".encode(), b"")


@pytest.mark.parametrize("command", [
    ["morvd"], ["morvd", "--nosuch"], ["morvd", "a.toml", "b.toml"], ["morvd", "--ready-fd"],
    ["morvd", "--state"], ["morvd", "--image"],
    ["morvd", "--ready-fd", "x", "a.toml"], ["morvd", "--ready-fd", "-1", "a.toml"],
    ["ztd_ng", "word"], ["ztd_ng", "--nosuch"], ["ztd_ng", "--poll"], ["ztd_ng", "--poll", "0"],
    ["ztd_ng", "--poll", "1s"], ["ztd_ng", "--ready-fd", ""]], ids=" ".join)
def test_usage_error_is_said_with_status_2(desk, command):
    done = subprocess.run([BIN / command[0], *command[1:]], env=desk.env, capture_output=True, check=False, timeout=10)
    assert (done.returncode, done.stdout) == (2, b"")
    assert done.stderr.startswith(f"{command[0]}: ".encode()) and done.stderr.count(b"\n") == 1
    assert list((desk.root / "run").iterdir()) == []


# --- chain files ---

@pytest.mark.parametrize("text, words", [
    ("[[port]]\noutlts = 3\n", "line 2: unknown key 'outlts'"),
    ("[[port]]\nname = 3\n", "line 2: "),
    ("[[port]\n", "line 1: "),
    ("nonsense", "line 1: "),
    ("[[port]]\nname = \"local\"\n[[port.unit]]\nid = \"a b\"\n", "line 4: "),
    ("[[port]]\nname = \"local\"\n[[port.unit]]\noutlets = 256\n", "line 4: "),
    ("[[port]]\nname = \"local\"\n[[port.unit]]\nid = \"x\"\n[[port.unit]]\nid = \"x\"\n", "line 6: "),
], ids=range(7))
def test_faulty_chain_file_is_named_with_its_line(desk, text, words):
    faulty = desk.root / "chain.toml"
    faulty.write_text(text)
    daemon = desk.daemon(MORVD, faulty, expect_ready=False)
    assert daemon.wait(10) == 1
    assert daemon.stderr.read().decode().startswith(f"morvd: cannot read '{faulty}': {words}")
    assert not (desk.root / "run/morvd.sock").exists()


@pytest.mark.parametrize("path", ["none.toml", "."])
def test_chain_file_that_cannot_be_read_is_named(desk, path):
    daemon = desk.daemon(MORVD, desk.root / path, expect_ready=False)
    assert daemon.wait(10) == 1
    assert daemon.stderr.read().decode().startswith(f"morvd: cannot read '{desk.root / path}': ")


@pytest.mark.parametrize("chain", CHAIN_FILES)
def test_shipped_chain_comes_up_and_answers(desk, chain):
    desk.appliance(chain)
    answer = desk.run("ver").stdout.decode()
    assert answer.startswith("IPDU #1: Hw with ")
    assert desk.run("id").stdout.count(b"\n") == answer.count("\n")


# --- one of each ---

def test_second_control_daemon_leaves_the_first_alone(real):
    second = real.daemon(MORVD, CHAINS / "legacy.toml", expect_ready=False)
    assert second.wait(10) == 1
    assert second.stderr.read().startswith(b"morvd: ")
    assert real.run("id").status == 1 and real.run("id").stdout


def test_second_monitor_leaves_the_first_alone(real):
    before = segment_of(real)
    second = real.daemon(ZTD_NG, expect_ready=False)
    assert second.wait(10) == 1
    assert second.stderr.read().startswith(b"ztd_ng: ")
    assert segment_of(real) == before
    assert real.run("id").stdout


def test_killed_daemons_are_followed_by_new_ones(real):
    for daemon in (real.monitored, real.monitor):
        assert ended(daemon, signal.SIGKILL) == -signal.SIGKILL
    assert (real.root / "run/morvd.sock").exists() and segment_of(real) >= 0
    real.daemon(MORVD, CHAINS / "desk.toml")
    real.daemon(ZTD_NG)
    assert real.run("id").stdout


def test_what_a_unit_saved_outlives_the_kill_of_the_control_daemon(desk):
    daemons = desk.appliance("legacy.toml")
    assert desk.run("id 1 kept").stdout == b"IPDU #1 ID is set to kept.\n"
    assert desk.run("save").stdout == b"Saving configuration to flash on IPDU #1 ... Done.\n"
    assert desk.run("id 1 lost").stdout == b"IPDU #1 ID is set to lost.\n"
    for daemon in daemons:
        assert ended(daemon, signal.SIGKILL) == -signal.SIGKILL
    desk.appliance("legacy.toml")
    assert desk.run("id 1").stdout == b"IPDU #1 ID = kept\n"


def test_what_a_unit_saved_is_kept_where_the_daemon_is_told(desk):
    kept = desk.root / "kept"
    kept.mkdir()
    desk.appliance("desk.toml", "--state", kept)
    assert desk.run("save").stdout.count(b"Done.\n") == 3
    assert (kept / "morvd.flash").exists()
    assert not (desk.root / "run/morvd.flash").exists()


def test_image_of_an_upgrade_is_read_where_the_daemon_is_told(desk):
    received = desk.root / "received"
    received.write_bytes(image("3.1.4"))
    desk.appliance("desk.toml", "--image", received)
    with desk.client() as connection:
        exchange(connection, "login", "root", "1")
        connection.recv(100)  # the token
        assert exchange(connection, "admin", "power.port.1.upgrade", "3") == b"+OK\r\n"
    assert b" Sw V 3.1.4 " in desk.run("ver 3").stdout


def test_flash_that_is_none_is_told(desk):
    (desk.root / "run/morvd.flash").write_bytes(b"x" * 4096)
    daemon = desk.daemon(MORVD, CHAINS / "desk.toml", expect_ready=False)
    assert daemon.wait(10) == 1
    words = f"morvd: cannot open '{desk.root}/run/morvd.flash': file is not a database\n"
    assert daemon.stderr.read() == words.encode()


@pytest.mark.parametrize("number", [signal.SIGHUP, signal.SIGINT, signal.SIGTERM])
def test_ending_signal_leaves_neither_socket_nor_segment(real, number):
    segment = segment_of(real)
    assert segment >= 0
    assert ended(real.monitor, number) == 0
    assert libc.shmat(segment, None, 0) == ctypes.c_void_p(-1).value
    assert ended(real.monitored, number) == 0
    assert not (real.root / "run/morvd.sock").exists()


def test_monitor_waits_for_a_control_daemon_that_is_late(desk):
    desk.key_file.unlink()
    reading, writing = os.pipe()
    desk.start([ZTD_NG, "--ready-fd", str(writing), "--poll", "20"], pass_fds=[writing], stderr=subprocess.DEVNULL)
    os.close(writing)
    desk.daemon(MORVD, CHAINS / "desk.toml")
    with os.fdopen(reading, "rb") as ready:
        assert ready.read() == b"ready\n"
    assert desk.run("id").stdout


# --- the two together with the program ---

def test_monitor_is_let_in_where_the_machine_knows_no_session(desk):
    contained = ["unshare", "--user", "--map-root-user", "--pid", "--fork", "--kill-child"]
    if subprocess.run([*contained, "true"], capture_output=True, check=False).returncode:
        pytest.skip("no process here may be alone in its container")
    del desk.env["ZT_CI_SID"]
    desk.key_file.unlink()
    desk.daemon(MORVD, CHAINS / "desk.toml")
    container = desk.daemon(ZTD_NG, before=contained)
    monitor = int(Path(f"/proc/{container.pid}/task/{container.pid}/children").read_text())
    os.kill(monitor, signal.SIGTERM)
    assert container.wait(10) == 0
    assert not desk.key_file.exists()


def test_segment_has_the_ready_byte_and_stands_at_its_address(real):
    """The program's own reading is in its answers; here it is the bytes."""
    address = libc.shmat(segment_of(real), None, 0o10000)
    try:
        assert ctypes.string_at(address + READY_OFFSET, 1)[0] & 0x80
        first_port = int.from_bytes(ctypes.string_at(address + 0x1C0, 4), "little")
        assert first_port > BASE
        assert ctypes.string_at(address + first_port - BASE + 0x01A) == b"local"
    finally:
        libc.shmdt(address)


def test_new_id_is_kept_and_reaches_the_segment(real):
    assert real.run("id", "1", "rack9").stdout == b"IPDU #1 ID is set to rack9.\n"
    assert real.run("id").stdout.startswith(b"IPDU #1 ID = rack9\n")
    real.log_file.unlink()
    wait_until(lambda: segment_says(real, "rack9"), what="the new ID in the segment")


def segment_says(desk, unit):
    """Whether the program finds that ID without asking the tree for it."""
    desk.log_file.unlink(missing_ok=True)
    assert desk.run("ver", unit).stdout.startswith(b"IPDU #1: ")
    return not any("power.pdu.*.pdu" in message for _, _, message in desk.records())


def test_id_that_is_too_long_is_refused(real):
    before = real.run("id").stdout
    assert real.run("id", "1", "abcdefghijklmnopq") == Outcome(b"Invalid argument. Try help for details\n", b"", 1)
    assert "Fail to set id for pdu 1@1, value abcdefghijklmnopq" in real.failures()
    assert real.run("id").stdout == before


def test_prompt_outlives_a_restart_of_the_control_daemon(real):
    session = real.prompt()
    first = session.command("id")
    assert first.startswith(b"IPDU #1 ID = ")
    assert ended(real.monitored) == 0
    real.daemon(MORVD, CHAINS / "desk.toml")
    session.command("id")
    assert session.command("id") == first


def test_two_programs_are_served_at_once(real):
    first, second = real.prompt(), real.prompt()
    assert first.command("id") == second.command("id") == first.command("id")


LOGGED_IN = encode(["login", "a", "1"])
HOSTILE = [
    b"\0" * 5000, b"\r\n" * 5000, bytes(range(256)) * 100, b"GET / HTTP/1.1\r\n\r\n",
    b"*1\r\n", b"*-1\r\n", b"*0\r\n" * 1000, b"*99999999999\r\n", b"*1000000\r\n" + b"$1\r\nx\r\n" * 1000,
    b"*1\r\n$99999999999\r\n", b"*1\r\n$-5\r\n", b"*1\r\n$1000000\r\nx",
    encode([""]), encode(["login"]), encode(["login", "", ""]), encode(["login"] * 1000),
    encode(["resume", "x" * 100_000]), encode(["info", "power.num-devices"]),
    LOGGED_IN + encode(["admin", "x" * 100_000]), LOGGED_IN + encode(["info", ".".join(["a"] * 10_000)]),
    LOGGED_IN + encode(["info", "power.port.%zz.pdu.%"]), LOGGED_IN * 2000,
]


def test_hostile_clients_disturb_nobody(real):
    """They stay connected, say half of something, do not read, or hang up, while the others are served."""
    session = real.prompt()
    expected = session.command("id")
    silent = [real.client() for _ in range(100)]
    for data in HOSTILE:
        rude = real.client()
        rude.setblocking(False)
        try:
            rude.send(data)
        except OSError:
            pass
        silent.append(rude)
        assert session.command("id") == expected
        assert real.run("id").stdout == expected
    for connection in silent:
        connection.close()
    assert session.command("id") == expected
    assert real.monitored.poll() is None and real.monitor.poll() is None


def test_nothing_is_answered_before_the_login(real):
    with real.client() as connection:
        assert exchange(connection, "info", "power.num-devices").startswith(b"-ERR ")
    with real.client() as connection:
        assert exchange(connection, "resume", "made-up").startswith(b"-ERR ")


def test_refusal_has_a_code_that_is_not_zero(real):
    with real.client() as connection:
        exchange(connection, "login", "root", "1")
        connection.recv(4096)
        answer = exchange(connection, "info", "no.such.path").split(b" ")
        assert answer[0] == b"-ERR" and int(answer[1]) != 0


@pytest.mark.skipif(os.geteuid() != 0, reason="needs root to act as another user")
def test_login_of_another_user_is_refused(real):
    program = real.root / "ztcli"
    shutil.copy(ZTCLI, program)
    for path in (real.log_file, real.tap_file):
        path.touch()
        path.chmod(0o666)
    done = subprocess.run(["ztcli", "ver"], executable=program, env=real.env, user=65534, group=65534, extra_groups=[],
                          stdin=subprocess.DEVNULL, capture_output=True, timeout=20, check=False)
    assert Outcome(done.stdout, done.stderr, done.returncode) == Outcome(b"", b"", 0)
    assert real.failures() == ["Fail to login to tsapi"]
