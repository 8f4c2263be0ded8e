"""script/run: what it shows, its status, and that it leaves nothing, however it ends."""

import os
import re
import shutil
import signal
import subprocess
import tempfile
from pathlib import Path

import pexpect
import pytest

from desk import BANNER, BIN, CHAINS, INVALID, REPOSITORY, wait_until

RUN = REPOSITORY / "script/run"
BUILD = REPOSITORY / "build"

pytestmark = pytest.mark.skipif(BIN != BUILD / "bin", reason="script/run takes the programs in build/")


def traces():
    """Processes, segments and folders that a run can leave, by what tells them apart from those of other runs."""
    listing = subprocess.run(["ps", "-eo", "pid,args"], capture_output=True, text=True, check=True).stdout
    ours = re.compile(r"build/bin/(ztcli|morvd|ztd_ng)|script/(desk|tour)")
    processes = {line for line in listing.splitlines() if ours.search(line)}
    segments = {line.split()[1] for line in Path("/proc/sysvipc/shm").read_text().splitlines()[1:]}
    roots = {str(path) for place in (BUILD, Path(tempfile.gettempdir())) for path in place.glob("root.*")}
    return processes | segments | roots


@pytest.fixture(autouse=True)
def nothing_is_left():
    before = traces()
    yield
    wait_until(lambda: not traces() - before, what=f"the end of {traces() - before}")


def environment(**more):
    kept = {name: value for name, value in os.environ.items() if not name.startswith("ZT_")}
    return {**kept, "TERM": "dumb", **more}


def run(*words, **more):
    return subprocess.run([RUN, *words], cwd="/", env=environment(**more), stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=60, check=False)


@pytest.fixture(name="session")
def running_session():
    child = pexpect.spawn(str(RUN), cwd="/", env=environment(), timeout=60)
    child.expect_exact("zt>")
    yield child
    child.close(force=True)


def test_one_command_shows_its_answer_alone():
    done = run("ver")
    assert done.returncode == 0, done
    assert done.stdout.startswith(b"IPDU #1: Hw with 24 outlets 32.0 AMPs max Sw V ")
    assert done.stdout.count(b"\n") == 3
    assert done.stderr == b""


def test_shell_is_the_users_own_and_stands_where_the_user_does(tmp_path):
    done = subprocess.run([RUN, "shell pwd"], cwd=tmp_path, env=environment(), stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=60, check=False)
    assert done.stdout == f"{tmp_path}\n".encode() + INVALID


def test_options_pass_through():
    assert run("-V").stdout == BANNER
    assert b"id: Command spent " in run("-d", "id").stdout


@pytest.mark.parametrize("name", ["legacy.toml", str(CHAINS / "legacy.toml")], ids=["relative", "absolute"])
def test_other_chain_is_taken_from_where_the_user_stands(name):
    done = subprocess.run([RUN, "--chain", name, "ver", "1"], cwd=CHAINS, env=environment(), stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=60, check=False)
    assert (done.returncode, done.stderr) == (0, b"")
    assert b" id old1 " in done.stdout


def test_chain_file_that_is_none_is_named():
    done = run("--chain", "/nowhere.toml", "ver")
    assert done.returncode != 0
    assert done.stderr == b"script/run: cannot read chain file '/nowhere.toml'\n"


def test_words_of_a_daemon_that_does_not_start_are_shown(tmp_path):
    faulty = tmp_path / "chain.toml"
    faulty.write_text("[[port]]\noutlts = 3\n")
    done = run("--chain", str(faulty), "ver")
    assert (done.returncode, done.stdout) == (1, b"")
    assert done.stderr.decode() == (f"morvd: cannot read '{faulty}': line 2: unknown key 'outlts'; known here: "
                                    "'name', 'device', 'pdu_type', 'polling_rate' and 'unit'\n"
                                    "script/desk: morvd did not start\n")


def test_log_stays_where_the_user_wants_it(tmp_path):
    run("ver", ZT_DLOG=str(tmp_path / "log"))
    assert "Found capability id" in (tmp_path / "log").read_text()


def test_two_runs_at_once_have_an_appliance_each():
    first, second = (subprocess.Popen([RUN, "id", "1", name], env=environment(), stdin=subprocess.DEVNULL,
                                      stdout=subprocess.PIPE) for name in ("one", "two"))
    assert first.communicate(timeout=60)[0] == b"IPDU #1 ID is set to one.\n"
    assert second.communicate(timeout=60)[0] == b"IPDU #1 ID is set to two.\n"


def test_lines_of_a_pipe_are_typed():
    done = subprocess.run([RUN], env=environment(), input=b"id 1\nexit\n", capture_output=True, timeout=60, check=False)
    assert done.returncode == 0
    assert done.stdout == b"zt>id 1\nIPDU #1 ID = rack1\nzt>exit\n"


@pytest.mark.parametrize("last", ["exit\r", "\x04"])
def test_session_ends_with_status_0(session, last):
    session.send("id 1\r")
    session.expect_exact("IPDU #1 ID = ")
    session.send(last)
    session.expect(pexpect.EOF)
    session.wait()
    assert session.exitstatus == 0


def test_interrupt_key_belongs_to_the_prompt(session):
    session.send("\x03")
    session.send("id 1\r")
    session.expect_exact("IPDU #1 ID = ")
    session.send("exit\r")
    session.expect(pexpect.EOF)
    session.wait()
    assert session.exitstatus == 0


def test_services_of_the_appliance_at_one_prompt(session):
    """The network staged and committed, the line, a shell of the user's, the password of the chain."""
    def answer(line):
        session.send(line + "\r")
        session.expect_exact(line + "\r\n")
        session.expect_exact("zt>")
        return session.before.decode().replace("\r\n", "\n")

    address = "          inet addr:10.0.0.2  Bcast:10.0.0.255  Mask:255.255.255.0\n"
    assert address not in answer("network")
    assert address in answer("network ipv4 address 10.0.0.2 mask 255.255.255.0")
    assert address in answer("network")
    assert answer("serial 9600 hw") == "IPDU #1: Serial set to 9600, hw flow control.\n"
    assert answer("serial") == "IPDU #1: Serial set to 9600, hw flow control.\n"
    session.send("shell\r")
    session.sendline("echo $((6 * 7))here; exit 1")
    session.expect_exact("42here\r\n")
    session.expect_exact("zt>")
    session.send("passwd\r")
    for question in ("Password: ", "Re-enter password: "):
        session.expect_exact(question)
        session.send("secret\r")
    session.expect_exact("Username/password set for user admin.\r\n")
    session.expect_exact("zt>")
    assert answer("id 1") == "IPDU #1 ID = rack1\n"


def test_control_from_another_terminal_reaches_the_desk_that_was_put_up_last(session):
    # It went to the terminal before the prompt, and nowhere else.
    assert b"script/run: script/control, in another terminal, changes what stands on the desk" in session.before
    for word in ("link break 2", "link mend 2"):
        done = subprocess.run([REPOSITORY / "script/control", *word.split()], cwd="/", env=environment(),
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=60, check=False)
        assert (done.returncode, done.stdout, done.stderr) == (0, b"", b"")
        wait_until(lambda found=word.startswith("link mend"): (b"#2" in ids_at(session)) == found, what=word)


def ids_at(session):
    session.send("id\r")
    session.expect_exact("id\r\n")
    session.expect_exact("zt>")
    return session.before


def test_control_without_a_desk_says_how_to_get_one():
    done = subprocess.run([REPOSITORY / "script/control", "show"], env=environment(ZT_ROOT="/nowhere"),
                          stdin=subprocess.DEVNULL, capture_output=True, timeout=60, check=False)
    assert done.returncode == 1
    assert done.stderr.startswith(b"morvdctl: no desk at '/nowhere/run/morvd.sock'")
    assert b"; start one with script/run" in done.stderr


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP])
def test_ending_signal_ends_it(session, number):
    session.kill(number)
    session.expect(pexpect.EOF)
    session.wait()
    assert session.signalstatus == number


def test_killed_script_leaves_nothing(session):
    session.kill(signal.SIGKILL)
    session.expect(pexpect.EOF)


def test_lost_terminal_leaves_nothing(session):
    with open(os.devnull, "r+b") as nothing:
        os.dup2(nothing.fileno(), session.child_fd)  # closes the terminal's only other end
    session.wait()


def test_killed_keeper_of_the_desk_leaves_nothing(session):
    """Both daemons end with it, and the session finds neither."""
    listing = subprocess.run(["ps", "-eo", "pid,args"], capture_output=True, text=True, check=True).stdout
    keepers = [line.split() for line in listing.splitlines() if re.search(r"bash \S*script/desk ", line)]
    assert len(keepers) == 1, keepers
    root = Path(keepers[0][3])
    os.kill(int(keepers[0][0]), signal.SIGKILL)
    wait_until(lambda: not (root / "run/morvd.sock").exists(), what="the end of the control daemon")
    session.send("help\r")
    session.expect_exact("Invalid argument.")
    session.send("\x04")
    session.expect(pexpect.EOF)


@pytest.mark.parametrize("moment", ["up", "configured"])
def test_interrupt_while_it_starts_leaves_nothing(moment):
    process = subprocess.Popen([RUN, "ver"], env=environment(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, start_new_session=True)
    if moment == "up":
        before = set(BUILD.glob("root.*"))
        wait_until(lambda: set(BUILD.glob("root.*")) - before or process.poll() is not None)
    os.killpg(process.pid, signal.SIGINT)
    process.communicate(timeout=60)


def test_tree_with_a_blank_and_a_deep_path(tmp_path):
    """A socket's path is short, wherever the tree lies. Only the scripts move, the programs are those of this tree."""
    tree = tmp_path / ("a blank " + "deep" * 20)
    tree.mkdir()
    for name in REPOSITORY.iterdir():
        if name.name not in ("build", "script", ".git"):
            (tree / name.name).symlink_to(name)
    shutil.copytree(REPOSITORY / "script", tree / "script")
    (tree / "build").mkdir()
    (tree / "build/bin").symlink_to(BIN)
    bare = tmp_path / "tools"
    bare.mkdir()
    for tool in ("ninja", "cmake"):  # nothing is to be built
        (bare / tool).write_text("#!/bin/sh\necho 'no work to do'\n")
        (bare / tool).chmod(0o755)
    done = subprocess.run([tree / "script/run", "id", "1"], env=environment(PATH=f"{bare}:{os.environ['PATH']}"),
                          stdin=subprocess.DEVNULL, capture_output=True, timeout=60, check=False)
    assert (done.returncode, done.stdout) == (0, b"IPDU #1 ID = rack1\n"), done.stderr
