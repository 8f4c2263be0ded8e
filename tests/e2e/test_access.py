"""`shell`, `scp` and `passwd` on the appliance as it stands on the desk: both daemons and its own module."""

import os
import pwd
import shutil
import socket
import subprocess

import pexpect
import pytest

from desk import INVALID, ZTCLI, Outcome, Prompt
from fake_morvd import encode


@pytest.fixture
def appliance(desk):
    desk.appliance()
    desk.furnish()
    return desk


def kept(desk, path):
    """What the control daemon has under a path."""
    with desk.client() as connection, connection.makefile("rb") as answers:
        connection.sendall(encode(["login", "root", "1"]) + encode(["get", path]))
        for _ in range(2):
            text = answers.read(int(answers.readline()[1:]) + 2)
    return text.removesuffix(b"\r\n")


# --- shell ---


def test_words_are_run_by_a_shell(appliance):
    assert appliance.run("shell echo one;  echo $((1 + 1)) 'a;b' | tr a-z A-Z").stdout == b"one\n2 A;B\n" + INVALID
    assert appliance.failures() == ["CI module OK: 0"]


@pytest.mark.parametrize("words, shown", [
    (r"echo a\;b", b"a;b\n"), (r"echo 'a\;b'", b"a\\;b\n"), ("echo ';;'", b";;\n"), ('echo "; x"', b"; x\n")])
def test_semicolon_comes_through_as_it_was_typed(appliance, words, shown):
    assert appliance.run(f"shell {words}").stdout == shown + INVALID


def test_command_that_fails_ends_without_a_word(appliance):
    assert appliance.run("shell exit 3").stdout == b""
    assert appliance.failures() == ["CI module error: 3"]


def test_interactive_shell_and_the_prompt_behind_it(appliance):
    session = appliance.prompt()
    session.type("shell\r")
    session.expect("shell\r\n")
    session.type("echo $((6 * 7)) here\n")
    session.expect("42 here\r\n")
    session.type("exit 3\n")
    session.expect("zt>")
    assert session.command("id 1") == b"IPDU #1 ID = rack1\n"


def test_shell_gives_the_terminal_that_it_controls_back(appliance):
    """Its commands are jobs of their own: Control-C ends one of them and nothing else."""
    session = pexpect.spawn(str(ZTCLI), env=appliance.env, timeout=10)
    try:
        session.expect_exact("zt>")
        session.send("shell\r")
        session.sendline("echo $((5 * 5))ready; sleep 60")
        session.expect_exact("25ready\r\n")
        session.send("\x03")
        session.sendline("echo $((6 * 7))after")
        session.expect_exact("42after\r\n")
        session.send("\x04")
        session.expect_exact("zt>")
        session.send("id 1\r")
        session.expect_exact("IPDU #1 ID = rack1\r\n")
    finally:
        session.close(force=True)


def test_shell_is_the_users_own(appliance):
    assert appliance.run("shell id -u").stdout == f"{os.getuid()}\n".encode() + INVALID


# --- scp ---


@pytest.mark.skipif(not shutil.which("scp"), reason="scp is not installed")
def test_scp_copies(appliance, tmp_path):
    (tmp_path / "one").write_text("text\n")
    assert appliance.run(f"scp {tmp_path}/one {tmp_path}/two").stdout == INVALID
    assert (tmp_path / "two").read_text() == "text\n"
    assert appliance.failures() == ["CI module OK: 0"]


@pytest.mark.skipif(not shutil.which("scp"), reason="scp is not installed")
def test_words_of_scp_are_no_shells(appliance, tmp_path):
    (tmp_path / "a b").write_text("text\n")
    appliance.run(f"scp '{tmp_path}/a b' {tmp_path}/$HOME;c")
    assert (tmp_path / "$HOME;c").read_text() == "text\n"


@pytest.mark.skipif(not shutil.which("scp"), reason="scp is not installed")
def test_scp_of_a_file_that_is_not_there_says_so_itself(appliance, tmp_path):
    outcome = appliance.run(f"scp {tmp_path}/none {tmp_path}/two")
    assert outcome.stdout == b""
    assert b"none" in outcome.stderr
    assert appliance.failures()[0].startswith("CI module error: ")


def test_scp_that_is_not_installed(appliance, tmp_path):
    for name in ("sh", "sed"):
        (tmp_path / name).symlink_to(shutil.which(name))
    outcome = appliance.run("scp a b", PATH=str(tmp_path))
    assert (outcome.stdout, outcome.stderr) == (b"", b"access: scp is not installed\n")
    assert appliance.failures() == ["CI module error: 127"]


SSHD = "/usr/sbin/sshd"


@pytest.fixture(name="host")
def host_to_copy_to(appliance):
    """The appliance with a configuration of ssh's that knows this machine as the host "near", over the loopback."""
    if not shutil.which("scp") or not os.access(SSHD, os.X_OK):
        pytest.skip("no scp, or no sshd that could answer it")
    root = appliance.root
    if os.geteuid() == 0:
        os.makedirs("/run/sshd", mode=0o755, exist_ok=True)  # as the service makes it that root has started
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        port = free.getsockname()[1]
    for name in ("server", "user"):
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", root / name], check=True)
    (root / "sshd_config").write_text(
        f"Port {port}\nListenAddress 127.0.0.1\nHostKey {root}/server\nAuthorizedKeysFile {root}/user.pub\n"
        "PidFile none\nUsePAM no\nStrictModes no\nPermitRootLogin yes\nSubsystem sftp internal-sftp\n")
    (root / "known").write_text(f"[127.0.0.1]:{port} " + (root / "server.pub").read_text())
    (root / "near").write_text(
        f"Host near\nHostName 127.0.0.1\nPort {port}\nUser {pwd.getpwuid(os.getuid()).pw_name}\nBatchMode yes\n"
        f"IdentityFile {root}/user\nUserKnownHostsFile {root}/known\n")
    server = appliance.start([SSHD, "-D", "-e", "-f", root / "sshd_config"], stderr=subprocess.PIPE)
    said = server.stderr.readline()
    assert said.startswith(b"Server listening on 127.0.0.1 "), said + server.stderr.read()
    return appliance


@pytest.mark.parametrize("protocol", ["-s", "-O"])
def test_scp_copies_to_a_host_and_back(host, protocol):
    (host.root / "one").write_bytes(bytes(range(256)) * 1000)
    for line in (f"{protocol} -q -F {host.root}/near {host.root}/one near:{host.root}/two",
                 f"{protocol} -q -F {host.root}/near near:{host.root}/two {host.root}/three"):
        assert host.run(f"scp {line}") == Outcome(INVALID, b"", 1)
    assert (host.root / "three").read_bytes() == (host.root / "one").read_bytes()
    assert host.failures() == ["CI module OK: 0"] * 2


def test_scp_that_a_host_refuses_says_so_itself(host):
    (host.root / "user.pub").write_text("")
    outcome = host.run(f"scp -F {host.root}/near {host.root}/sshd_config near:{host.root}/two")
    assert outcome.stdout == b"" and b"Permission denied" in outcome.stderr
    assert not (host.root / "two").exists()
    assert host.failures()[0].startswith("CI module error: ")


# --- passwd ---


def test_password_of_the_chain_reaches_the_daemon(appliance):
    session = Prompt(["ztcli", "passwd"], appliance.env)
    try:
        for question in ("Password: ", "Re-enter password: "):
            session.expect(question)
            session.type("s3cr3t99 and more\r")
        session.expect("Username/password set for user admin.\r\n")
        session.status()
    finally:
        session.close()
    assert kept(appliance, "power.global.tarnel.password") == b"s3cr3t99"
