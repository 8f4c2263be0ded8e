"""The commands that work on the user's own terminal, `passwd` and `serial`, on a real one."""

import os
import signal
import termios

import pytest

from desk import INVALID, Prompt, wait_until
from fake_morvd import Refuse

LFLAG, ISPEED, OSPEED, CFLAG = 3, 4, 5, 2
FLOW = {"hw": termios.CRTSCTS, "no": 0}
SPEEDS = {9600: termios.B9600, 19200: termios.B19200, 115200: termios.B115200, 230400: termios.B230400}


@pytest.fixture
def chain(desk):
    desk.chain({"id": "left"})
    desk.morvd.tree.update({"get power.global.tarnel.username": "admin", "admin power.passwd": True})
    return desk


def echoes(session):
    return bool(session.attributes()[LFLAG] & termios.ECHO)


def enter(session, first, second):
    """Types `passwd` and both entries; what is shown behind them is the result."""
    session.type("passwd\r")
    session.expect("\r\nPassword: ")
    assert not echoes(session)
    session.type(first)
    session.expect("\r\nRe-enter password: ")
    session.type(second)
    session.expect("\r\n")
    return session.expect("zt>").replace(b"\r\n", b"\n")


def confirm(session):
    """Types the second entry of a program that ends behind it."""
    session.expect("Re-enter password: ")
    session.type("secret\r")
    session.expect("Username/password set for user admin.\r\n")
    assert session.status() == 1
    assert session.attributes() == session.before_start


def is_asked(desk, *password):
    return desk.morvd.asked()[-len(password) - 1:] == ["get power.global.tarnel.username",
                                                      *(f"admin power.passwd {word}" for word in password)]


# --- passwd ---


def test_password_is_asked_for_twice_and_sent(chain):
    session = chain.prompt()
    assert enter(session, "secret\r", "secret\n") == b"Username/password set for user admin.\n"
    assert is_asked(chain, "secret")
    assert session.command("id") == b"IPDU #1 ID = left\n"


def test_password_is_neither_echoed_nor_tapped_nor_logged(chain):
    session = chain.prompt("-d")
    session.type("passwd\r")
    shown = session.expect("Password: ")
    session.type("s3cr3t\r")
    shown += session.expect("Re-enter password: ")
    session.type("s3cr3t\r")
    shown += session.expect("zt>")
    for text in (shown, chain.tap(), chain.log_file.read_bytes()):
        assert b"s3cr" not in text
    assert chain.tap().startswith(b"zt>passwd\nPassword: Re-enter password: Username/password set for user admin.\n")


def memory_of(process):
    """All that the process can read, piece by piece."""
    with open(f"/proc/{process}/maps", encoding="latin-1") as maps, open(f"/proc/{process}/mem", "rb", 0) as memory:
        for line in maps:
            bounds, access, *_, name = (line.split(maxsplit=5) + [""])[:6]
            start, end = (int(bound, 16) for bound in bounds.split("-"))
            if "r" in access and not name.startswith("[v"):
                memory.seek(start)
                yield memory.read(end - start)


@pytest.mark.parametrize("second", ["Zq7xKw2p", "Other"])
def test_password_stands_in_no_memory_afterwards(chain, second):
    session = chain.prompt()
    enter(session, "Zq7xKw2p\r", second + "\r")
    pieces = list(memory_of(session.process.pid))
    assert any(b"IPDU #%d: Serial set to" in piece for piece in pieces)
    assert not any(b"Zq7xKw2p" in piece for piece in pieces)


def test_entries_that_differ_are_refused(chain):
    session = chain.prompt()
    assert enter(session, "secret\r", "other\r") == b"Passwords do not match!!!\n"
    assert chain.morvd.asked() == []


def test_entries_are_cut_to_8_characters(chain):
    session = chain.prompt()
    assert enter(session, "12345678" + "x" * 500 + "\r", "12345678y\r") == b"Username/password set for user admin.\n"
    assert is_asked(chain, "12345678")


def test_entries_may_be_empty(chain):
    session = chain.prompt()
    assert enter(session, "\r", "\r") == b"Username/password set for user admin.\n"
    assert is_asked(chain, "")


def test_end_of_input_character_ends_an_entry(chain):
    session = chain.prompt()
    assert enter(session, "secret\x04\x04", "secret\x04\x04") == b"Username/password set for user admin.\n"
    assert is_asked(chain, "secret")


@pytest.mark.parametrize("refused", ["get power.global.tarnel.username", "admin power.passwd"])
def test_refusal_of_the_daemon_has_no_words_of_its_own(chain, refused):
    chain.morvd.tree[refused] = Refuse()
    session = chain.prompt()
    assert enter(session, "secret\r", "secret\r") == INVALID
    words = {"get": "Failed to get the username", "admin": "Failed to set the password for the chain"}
    assert (7, "-", words[refused.split()[0]]) in chain.records("-")


def test_terminal_is_as_it_was_behind_every_end(chain):
    for first, second in (("a\r", "a\r"), ("a\r", "b\r")):
        session = chain.prompt()
        enter(session, first, second)
        session.type("exit\r")
        assert session.status() == 0
        assert session.attributes() == session.before_start


@pytest.mark.parametrize("number", [signal.SIGHUP, signal.SIGQUIT, signal.SIGTERM])
@pytest.mark.parametrize("entries", [False, True])
def test_ending_signal_waits_for_the_entries_and_leaves_the_terminal_as_it_was(chain, number, entries):
    session = chain.prompt("-d")
    session.type("passwd\r")
    session.expect("Password: ")
    if entries:
        session.type("secret\r")
        session.expect("\n")
    session.signal(number)
    wait_until(lambda: any(f"Signal caught {int(number)}." in words for _, _, words in chain.records()))
    assert session.process.poll() is None
    if not entries:
        session.type("secret\r")
    confirm(session)


def test_password_of_a_command_line(chain):
    session = Prompt(["ztcli", "passwd"], chain.env)
    try:
        session.expect("Password: ")
        assert not echoes(session)
        session.type("secret\r")
        confirm(session)
    finally:
        session.close()


@pytest.mark.parametrize("words", [["passwd"], []])
def test_input_that_is_no_terminal_is_not_asked(chain, words):
    outcome = chain.run(*words, stdin=b"passwd\nsecret\nsecret\n")
    assert b"Password" not in outcome.stdout
    assert INVALID in outcome.stdout
    assert chain.morvd.asked() == []


# --- serial ---


def line_of(session):
    attributes = session.attributes()
    assert attributes[ISPEED] == attributes[OSPEED]
    return attributes[OSPEED], attributes[CFLAG] & termios.CRTSCTS


def shown_of_line(desk, speed, flow):
    """What `serial` says of a line that is so when the program starts."""
    master, slave = os.openpty()
    try:
        attributes = termios.tcgetattr(slave)
        attributes[CFLAG] |= FLOW[flow]
        attributes[ISPEED] = attributes[OSPEED] = speed
        termios.tcsetattr(slave, termios.TCSANOW, attributes)
        return desk.run("serial", stdin=slave).stdout
    finally:
        os.close(master)
        os.close(slave)


@pytest.mark.parametrize("baud", SPEEDS)
@pytest.mark.parametrize("flow", FLOW)
def test_serial_shows_the_line(chain, baud, flow):
    assert shown_of_line(chain, SPEEDS[baud], flow) == f"IPDU #1: Serial set to {baud}, {flow} flow control.\n".encode()


def test_speed_that_can_not_be_set_shows_as_0(chain):
    assert shown_of_line(chain, termios.B38400, "no") == b"IPDU #1: Serial set to 0, no flow control.\n"


def test_serial_without_a_terminal(chain):
    assert chain.run("serial").stdout == b"IPDU #1: Serial set to 0, no flow control.\n"
    assert chain.run("serial", "9600", "hw").stdout == (b"IPDU #1: Serial set to 9600, hw flow control.\n" + INVALID)


def test_line_is_set_behind_its_confirmation_and_the_prompt_goes_on(chain):
    session = chain.prompt()
    start = line_of(session)
    session.type("serial 9600 hw\r")
    session.expect("IPDU #1: Serial set to 9600, hw flow control.\r\n")
    assert line_of(session) == start  # for two seconds more
    session.expect("zt>")
    assert line_of(session) == (termios.B9600, termios.CRTSCTS)
    assert session.command("serial") == b"IPDU #1: Serial set to 9600, hw flow control.\n"
    assert session.command("id") == b"IPDU #1 ID = left\n"
    assert line_of(session) == (termios.B9600, termios.CRTSCTS)
    session.type("exit\r")
    assert session.status() == 0
    assert session.attributes() == session.before_start  # with the speed of the start


def test_each_change_starts_from_the_line_of_the_start(chain):
    session = chain.prompt()
    start = line_of(session)
    session.command("serial 230400 hw")
    assert session.command("serial 115200 no") == b"IPDU #1: Serial set to 115200, no flow control.\n"
    assert line_of(session) == (termios.B115200, 0)
    session.signal(signal.SIGTERM)
    assert session.status() == 1
    assert line_of(session) == start


def test_ending_signal_in_the_pause_waits_for_the_change(chain):
    session = chain.prompt()
    session.type("serial 9600 hw\r")
    session.expect("flow control.\r\n")
    session.signal(signal.SIGTERM)
    assert session.status() == 1
    assert session.attributes() == session.before_start


@pytest.mark.parametrize("line", ["serial 38400 hw", "serial 9600 HW", "serial 9600 soft", "serial 115200"])
def test_other_speeds_and_words_change_nothing(chain, line):
    session = chain.prompt()
    before = line_of(session)
    assert session.command(line) == INVALID
    assert line_of(session) == before


def test_line_of_a_command_line_is_restored_with_the_rest(chain):
    session = Prompt(["ztcli", "serial", "9600", "hw"], chain.env)
    try:
        session.expect("IPDU #1: Serial set to 9600, hw flow control.\r\n")
        assert session.status() == 1
        assert session.attributes() == session.before_start
        os.set_blocking(session.master, False)
        with pytest.raises(BlockingIOError):
            os.read(session.master, 1)  # the editor has said nothing
    finally:
        session.close()
