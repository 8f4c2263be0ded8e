"""The prompt on a terminal: editing, history, signals, the idle time-out, and the terminal's state afterwards."""

import os
import signal
import threading

import pytest

from desk import INVALID, Prompt, wait_until
from status_segment import chain_image


@pytest.fixture
def chain(desk):
    desk.chain({"id": "left"})
    return desk


def lines(desk):
    """What reached the loop from the prompt, as the tap kept it."""
    return [line[3:] for line in desk.tap().split(b"\n") if line.startswith(b"zt>")]


def wait_for_record(desk, text):
    wait_until(lambda: any(text in message for _, _, message in desk.records()), what=f"log record '{text}'")


def test_answers_stand_between_prompts(chain):
    session = chain.prompt()
    assert session.command("id") == b"IPDU #1 ID = left\n"
    assert session.command("foo") == INVALID
    assert session.command("") == b""
    assert session.command("  \t ") == b""
    assert chain.tap() == b"zt>id\nIPDU #1 ID = left\nzt>foo\n" + INVALID + b"zt>\nzt>  \t \n"


def test_prompt_is_followed_by_no_blank(chain):
    session = chain.prompt()
    session.type("x")
    assert session.expect("x") == b""


def test_blanks_around_a_line_are_cut(chain):
    session = chain.prompt()
    assert session.command("   id   ") == b"IPDU #1 ID = left\n"


def test_line_can_be_edited(chain):
    session = chain.prompt()
    assert session.command("xd\x01\x1b[C\x7fi") == b"IPDU #1 ID = left\n"  # home, right, rub out, insert
    assert lines(chain) == [b"id"]


def test_last_line_comes_back_without_the_blanks_around_it(chain):
    session = chain.prompt()
    session.command("  on 9  ")
    session.command("\x1b[A")
    assert lines(chain) == [b"  on 9  ", b"on 9"]


def test_history_keeps_the_last_20_lines_failed_and_repeated_ones_too(chain):
    session = chain.prompt()
    for number in range(1, 24):
        session.command(f"w{number}")
    session.command("w23")
    session.command("")
    session.command("\x1b[A" * 30)
    assert lines(chain)[-1] == b"w5"


def test_tab_completes_nothing(chain):
    """Neither a command nor the name of a file."""
    session = chain.prompt()
    session.command("ve\t")
    session.command("cat /et\t\t")
    assert [line.replace(b"\t", b"") for line in lines(chain)] == [b"ve", b"cat /et"]


def test_end_of_input_character_ends_with_status_1(chain):
    session = chain.prompt()
    session.type("\x04")
    assert session.status() == 1


def test_end_of_input_character_behind_text_is_no_end(chain):
    session = chain.prompt()
    session.type("id\x04")
    session.type("\r")
    session.expect("IPDU #1 ID = left\r\n")


def test_exit_ends_with_status_0(chain):
    session = chain.prompt()
    session.type("exit\r")
    assert session.status() == 0


def test_hang_up_of_the_terminal_ends_with_status_1(chain):
    session = chain.prompt()
    os.kill(session.process.pid, signal.SIGHUP)
    assert session.status() == 1


@pytest.mark.parametrize("number", [signal.SIGHUP, signal.SIGQUIT, signal.SIGTERM])
def test_ending_signal_at_the_prompt(chain, number):
    session = chain.prompt()
    session.type("partial")
    session.expect("partial")
    session.signal(number)
    assert session.status() == 1
    assert session.attributes() == session.before_start


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGALRM, signal.SIGPIPE, signal.SIGTSTP,
                                    signal.SIGCHLD])
def test_blocked_signal_changes_nothing(chain, number):
    session = chain.prompt()
    session.type("i")
    session.expect("i")
    session.signal(number)
    assert session.command("d") == b"IPDU #1 ID = left\n"


def test_interrupt_key_changes_nothing(chain):
    session = chain.prompt()
    session.type("\x03")
    session.type("id\r")
    session.expect("IPDU #1 ID = left\r\n")


def test_debug_signal_keeps_the_prompt_and_drops_what_was_typed(chain):
    session = chain.prompt()
    session.type("foo")
    session.expect("foo")
    session.signal(signal.SIGUSR2)
    wait_for_record(chain, "@ entered")  # the loop has come round
    session.type("id\r")
    shown = session.expect("IPDU #1 ID = left\r\n")
    assert b"zt>" not in shown
    session.expect("id: Command spent 0.")
    session.expect("zt>")
    assert lines(chain) == [b"id"]


def test_debug_signal_twice_turns_the_timing_line_off_again(chain):
    session = chain.prompt()
    session.signal(signal.SIGUSR2)
    wait_for_record(chain, "@ entered")
    session.signal(signal.SIGUSR2)
    wait_for_record(chain, "@ Signal caught 12.")
    answer = None
    while answer is None:  # what is typed before the signal has been treated is dropped, and nothing tells when it has
        session.type("id\r")
        answer = session.expect_or_none("IPDU #1 ID = left\r\n", 0.5)
    assert session.expect("zt>") == b""


def test_debug_signal_between_commands_is_logged(chain):
    session = chain.prompt("-d")
    session.signal(signal.SIGUSR2)
    wait_for_record(chain, "@ Signal caught 12.")


def test_signal_during_a_command_is_treated_after_it(desk):
    desk.serve(units=[{"id": "left"}])
    segment = desk.publish(chain_image([{}], ready=False))
    session = desk.prompt()
    session.type("id\r")
    session.expect("\r\n")
    session.signal(signal.SIGTERM)
    segment.set_ready()
    session.expect("IPDU #1 ID = left\r\n")
    assert session.status() == 1


def test_idle_session_is_ended(chain):
    session = chain.prompt(ZT_CI_TIMEOUT="1")
    assert session.status() >= 0
    assert session.attributes() == session.before_start


@pytest.mark.parametrize("end", ["\x04", "exit\r"])
def test_terminal_is_as_it_was(chain, end):
    session = chain.prompt()
    assert session.attributes() != session.before_start
    session.type(end)
    session.status()
    assert session.attributes() == session.before_start


def test_command_on_a_terminal_shows_no_prompt(chain):
    session = Prompt(["ztcli", "id"], chain.env)
    try:
        assert session.expect("IPDU #1 ID = left\r\n") == b""
        assert session.status() == 1
        assert session.attributes() == session.before_start
    finally:
        session.close()


def test_two_prompts_at_once(chain):
    first, second = chain.prompt(), chain.prompt()
    answers = {}

    def ask(name, session):
        answers[name] = [session.command("id") for _ in range(20)]

    asking = [threading.Thread(target=ask, args=pair) for pair in (("first", first), ("second", second))]
    for thread in asking:
        thread.start()
    for thread in asking:
        thread.join()
    assert answers == {"first": [b"IPDU #1 ID = left\n"] * 20, "second": [b"IPDU #1 ID = left\n"] * 20}
