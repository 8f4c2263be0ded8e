"""Who the program is: the real user, from its first step to its last, but for the login and the write of an image; and
what a user's environment has to say in it, which is nothing."""

import os
import re
import resource
import signal
import socket
import struct
from pathlib import Path

import pytest

from desk import BANNER, USAGE, ZTCLI, Outcome, wait_until
from fake_morvd import FakeMorvd, chain_tree
from installed import MODULE, PROBE, USER, USER_NAME, environment, ids

PUT_ASIDE = [USER, USER, 0, USER]  # real, effective, saved and file system's user: root can be had back
AS_ROOT = [USER, 0, 0, 0]
FOR_GOOD = [str(USER)] * 4


class Watching(FakeMorvd):
    """The control daemon's place, taken to see who asks."""

    def __init__(self, path):
        super().__init__(path, chain_tree({}))
        self.seen = {}

    def start(self):
        super().start()
        os.chmod(self.path, 0o666)
        return self

    def _serve(self, connection):
        self.peer = struct.unpack("3i", connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))
        super()._serve(connection)

    def _answer(self, words):
        self.seen.setdefault(words[0], []).append(ids(self.peer[0]))
        return super()._answer(words)


@pytest.fixture(name="watching")
def daemon_that_watches(appliance):
    path = appliance.path("/run/morvd.sock")
    path.rename(path.with_suffix(".real"))
    watching = Watching(path)
    try:
        yield watching.start()
    finally:
        watching.stop()
        path.with_suffix(".real").rename(path)


@pytest.fixture(name="answer", scope="module")
def answer_to_id(namespace):
    namespace.restore()
    answer = namespace.run("id")
    assert re.fullmatch(rb"(IPDU #\d+ ID = .*\n)+", answer.stdout), answer
    return answer


def start_that_waits(appliance, *words, **options):
    """The program as far as to its first output, for which there is no room; and where that can be read."""
    reading, writing = os.pipe()
    os.set_blocking(writing, False)
    try:
        while os.write(writing, b"x" * 4096):
            pass
    except BlockingIOError:
        os.set_blocking(writing, True)
    process = appliance.start(*words, stdout=writing, **options)
    os.close(writing)

    def waits():
        about = Path(f"/proc/{process.pid}/status").read_text(encoding="latin-1")
        return "Name:\tztcli\n" in about and "State:\tS" in about
    wait_until(waits, what="the wait for the reader")
    return process, reading


# --- the user's variables ---

VARIABLES = {
    "ZT_ROOT": ["/record", "relative"],
    "ZT_CI_COMMAND": ["-V", ""],
    "ZT_CI_USER": ["root", ""],
    "ZT_CI_SID": ["7", "0", "none"],
    "ZT_CI_TIMEOUT": ["1"],
    "ZT_CI_DLA": ["/record/tap"],
    "ZT_DLOG": ["/record/log"],
}


def test_each_variable_that_the_program_knows_is_tried_here():
    assert set(re.findall(rb"ZT_[A-Z_]+", ZTCLI.read_bytes())) == {name.encode() for name in VARIABLES}


SETTINGS = [(name, value) for name, values in VARIABLES.items() for value in values]


@pytest.mark.parametrize("name, value", SETTINGS)
def test_variable_changes_nothing(appliance, answer, name, value):
    assert appliance.run("id", env=environment(f"{name}={value}")) == answer
    assert appliance.recorded() == []


@pytest.mark.parametrize("name, value", SETTINGS)
def test_login_names_the_real_user_and_the_real_session(appliance, watching, name, value):
    process = appliance.start("id", env=environment(f"{name}={value}"))
    assert process.wait(20) == 1
    assert watching.exchanges[0] == f"login {USER_NAME} {process.pid}"


def test_environment_sets_no_time_out(appliance):
    with appliance.prompt(env=environment("ZT_CI_TIMEOUT=1")) as prompt:
        prompt.expect("zt>")
        assert prompt.expect_or_none("never", timeout=2.5) is None
        assert prompt.process.poll() is None


# --- who it is ---

def test_login_alone_is_root(appliance, watching):
    appliance.program(MODULE, PROBE)
    watching.tree["info appliance.shell"] = "ci_module=access;ci_function=f;ci_args=a"
    watching.tree["commit"] = True
    with appliance.prompt() as prompt:
        prompt.expect("zt>")
        assert watching.seen == {"login": [AS_ROOT]}
        for line in ("ver", "shell", "network ipv4 down", "on 1", "upgrade 1 file", "nonsense"):
            prompt.command(line)
        prompt.type("passwd\r")
        prompt.expect("Password: ")
        assert ids(prompt.process.pid) == PUT_ASIDE
    seen = [who for verb, all_of_verb in watching.seen.items() if verb != "login" for who in all_of_verb]
    assert len(seen) > 5 and all(who == PUT_ASIDE for who in seen), watching.seen


def test_connection_that_is_lost_is_made_again_without_root(appliance, watching):
    with appliance.prompt() as prompt:
        prompt.expect("zt>")
        watching.stop()
        watching.start()
        prompt.command("network")  # finds that the connection is lost
        prompt.command("network")
    assert watching.seen["resume"] == [PUT_ASIDE]


def test_failed_login_ends_the_program(appliance, watching):
    watching.stop()
    assert appliance.run("id") == Outcome(b"", b"", 0)
    watching.start()


@pytest.mark.parametrize("option", ["-V", "-h"])
def test_options_are_read_as_the_user(appliance, option):
    process, reading = start_that_waits(appliance, option)
    assert ids(process.pid) == PUT_ASIDE
    with os.fdopen(reading, "rb") as stream:
        assert stream.read().strip(b"x") == BANNER
    assert process.stderr.read() == (USAGE if option == "-h" else b"")


@pytest.mark.parametrize("line", ["shell", "shell word", "scp file host:"])
def test_module_runs_as_the_user_for_good(appliance, line):
    appliance.program(MODULE, PROBE)
    appliance.run(line)
    seen = appliance.seen("access")
    assert seen["uid"] == FOR_GOOD and seen["gid"] == FOR_GOOD
    assert seen["ancestors"] == [["ztcli", [str(user) for user in PUT_ASIDE]]]


def test_receiver_and_check_run_as_the_user_for_good(appliance):
    appliance.program("/usr/bin/rz", PROBE)
    appliance.program("/usr/sbin/checkImage", PROBE)
    appliance.program("/usr/sbin/flashImage", PROBE)
    appliance.put("/tmp/ztfirmware", b"image", 0o666)
    appliance.upgrade(until=b"Done.\n")
    for name in ("rz", "checkImage"):
        seen = appliance.seen(name)
        assert seen["uid"] == FOR_GOOD and seen["gid"] == FOR_GOOD
    for name in ("rz", "checkImage", "flashImage"):
        for ancestor, user in appliance.seen(name)["ancestors"]:
            assert user == (FOR_GOOD if ancestor == "sh" else [str(user) for user in PUT_ASIDE]), name


def test_another_name_needs_the_group(appliance, answer):
    for name in ("other", "", "/usr/bin/"):
        assert appliance.run(argv=[name, "id"]) == Outcome(b"", b"", 0)
    assert appliance.run(argv=["-ztcli", "id"]) == answer


# --- what the user can get out of it ---

def test_editor_reads_the_users_own_keys(appliance, answer):
    appliance.put("/record/keys", b'"Z": "id"\n')
    with appliance.prompt(env=environment("INPUTRC=/record/keys")) as prompt:
        prompt.expect("zt>")
        assert prompt.command("Z") == answer.stdout


def test_editor_tells_nothing_of_a_file_that_the_user_cannot_read(appliance):
    appliance.put("/record/keys", b"secret-word of root\n", 0o600)
    with appliance.prompt(env=environment("INPUTRC=/record/keys")) as prompt:
        assert b"secret" not in prompt.expect("zt>")
        assert b"secret" not in prompt.command("help")


def test_user_cannot_look_into_the_program(appliance):
    with appliance.prompt() as prompt:
        prompt.expect("zt>")
        process = prompt.process.pid
        for name in ("mem", "environ", "maps", "fd"):
            assert Path(f"/proc/{process}/{name}").stat().st_uid == 0, name


def test_program_that_dies_leaves_no_core(appliance):
    process, reading = start_that_waits(appliance, "-V", folder="/record", limits=[(resource.RLIMIT_CORE, -1)])
    process.send_signal(signal.SIGABRT)
    assert process.wait(10) == -signal.SIGABRT
    os.close(reading)
    assert appliance.recorded() == []
