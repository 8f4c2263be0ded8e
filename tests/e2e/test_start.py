"""How the program starts: options, words, the session's text, its own name, the group, and what stops it."""

import os
import re
import socket

import pytest

from desk import BANNER, INVALID, NOT_RECOGNIZED, USAGE, ZTCLI, Outcome
from fake_morvd import Refuse

LOGIN = "login alice 77"


@pytest.fixture
def chain(desk):
    desk.chain({"id": "left"})
    return desk


def commands(desk):
    """The lines that reached the loop, by what the tap kept of them."""
    return [line[3:] for line in desk.tap().split(b"\n") if line.startswith(b"zt>")]


# --- options ---

@pytest.mark.parametrize("letter", ["-h", "-?"])
def test_help_option_prints_banner_and_usage_and_logs_in_nowhere(chain, letter):
    assert chain.run(letter, "ver") == Outcome(BANNER, USAGE, 1)
    assert chain.morvd.exchanges == []
    assert chain.tap() == b""


def test_version_option_prints_the_banner(chain):
    assert chain.run("-V") == Outcome(BANNER, b"", 1)
    assert chain.morvd.exchanges == []


def test_unknown_option_is_named_and_answered_with_the_usage(chain):
    assert chain.run("-x") == Outcome(BANNER, b"ztcli: invalid option -- 'x'\n" + USAGE, 1)
    assert chain.morvd.exchanges == []


def test_command_option_without_a_value_is_answered_with_the_usage(chain):
    assert chain.run("-c") == Outcome(BANNER, b"ztcli: option requires an argument -- 'c'\n" + USAGE, 1)


@pytest.mark.parametrize("words, line", [
    (["ver"], b"ver"),
    (["-c", "ver"], b"ver"),
    (["on", "1"], b"on 1"),
    (["-c", "on 1", "2", "3"], b"on 1 2 3"),
    (["-c", "first", "-c", "second"], b"second"),
    (["-d", "on", "9"], b"on 9"),
    (["on", "-d"], b"on -d"),
    (["--", "ver"], b"ver"),
    (["on 1; off 2"], b"on 1; off 2"),
    (["  ver  "], b"  ver  "),
])
def test_options_and_words_make_one_command(chain, words, line):
    assert chain.run(*words).status == 1
    assert commands(chain) == [line]


def test_two_commands_in_one_text_are_one_unknown_command(chain):
    assert chain.run("on 1; off 2") == Outcome(INVALID, b"", 1)
    assert chain.morvd.asked() == []


def test_command_is_not_asked_for_at_a_prompt(chain):
    outcome = chain.run("id", stdin=b"ver\n")
    assert outcome == Outcome(b"IPDU #1 ID = left\n", b"", 1)
    assert chain.tap() == b"zt>id\nIPDU #1 ID = left\n"


def test_empty_command_runs_nothing(chain):
    assert chain.run("-c", "") == Outcome(b"", b"", 1)
    assert chain.run("") == Outcome(b"", b"", 1)


def test_debug_option_adds_the_timing_line_and_the_debug_records(chain):
    outcome = chain.run("-d", "id")
    answer, timing = outcome.stdout.split(b"\n", 1)
    assert answer == b"IPDU #1 ID = left"

    assert re.fullmatch(rb"id: Command spent \d+\.\d\d sec\. \(\d+\.\d\d sec in TSAPI\)\n\n", timing), timing
    assert (7, "ZTCLI", "@ Command line: id") in chain.records()
    assert (7, "CLITXRX", "@ RX [id]") in chain.records()
    assert (7, "CLITXRX", "@ TX [IPDU #1 ID = left\\n]") in chain.records()


def test_without_debug_no_debug_record_of_the_program_is_written(chain):
    chain.run("id")
    assert [record for record in chain.records("ZTCLI", "CLITXRX") if record[0] == 7] == []


# --- the session's text ---

@pytest.mark.parametrize("text, line", [
    ("on 1", b"on 1"),
    ("-c ver", b"ver"),
    ("   ver   ", b"ver"),
    ("-c 'on 1'", b"'on 1'"),
    ('-c "on 1"', b'"on 1"'),
    ("-c ver 1", b"ver 1"),
    ("it's fine", b"it's fine"),
    (" ".join(["w"] * 31), b" ".join([b"w"] * 31)),
])
def test_session_text_is_read_like_a_command_line(chain, text, line):
    outcome = chain.run("words", "of", "argv", ZT_CI_COMMAND=text)
    assert (outcome.stderr, outcome.status) == (b"", 1)
    assert commands(chain) == [line]


def test_quote_marks_of_a_session_text_stay_and_match_no_row(chain):
    assert chain.run(ZT_CI_COMMAND="-c 'on 1'") == Outcome(INVALID, b"", 1)


@pytest.mark.parametrize("text", ["'abc'", "'abc", 'ver "x', "-c 'on", " ".join(["w"] * 32), " ".join(["w"] * 400)])
def test_session_text_that_cannot_be_converted_ends_the_program(chain, text):
    assert chain.run(ZT_CI_COMMAND=text) == Outcome(b"", b"", 1)
    assert chain.failures() == [f"Unable to convert CI command {text}"]
    assert chain.morvd.exchanges == []


def test_options_in_a_session_text_count(chain):
    assert chain.run(ZT_CI_COMMAND="-V") == Outcome(BANNER, b"", 1)
    assert chain.failures() == ["Cannot parse environment variables"]


def test_refused_options_of_the_command_line_are_logged(chain):
    chain.run("-V")
    assert chain.failures() == ["Cannot parse arguments"]


# --- the name that it was started by ---

@pytest.mark.parametrize("name", ["ztcli", "-ztcli", "/usr/bin/ztcli", "./ztcli", "-/opt/x/ztcli"])
def test_own_name_runs_without_a_group_check(chain, name):
    assert chain.run("id", name=name) == Outcome(b"IPDU #1 ID = left\n", b"", 1)
    assert not any(words.startswith("list ") for words in chain.morvd.exchanges)


@pytest.mark.parametrize("name", ["ztcl", "ztcli2", "--ztcli", "xztcli", "ztcli/", ""])
def test_any_other_name_asks_for_the_group_and_runs_no_handler(chain, name):
    assert chain.run("id", name=name) == Outcome(INVALID, b"", 1)
    assert chain.morvd.exchanges == [LOGIN, "list authorization.group.name.admin.member"]


def test_symbolic_link_counts_by_its_own_name(chain):
    link = chain.root / "bin/ztcl"
    link.symlink_to(ZTCLI)
    assert chain.run("alarm help", name=str(link), binary=link) == Outcome(NOT_RECOGNIZED, b"", 1)


def test_other_name_exits_with_the_failure_text_too(chain):
    assert chain.run("exit", name="ztcl") == Outcome(INVALID, b"", 1)


@pytest.mark.parametrize("members, user", [
    (["bob", "alicea"], "alice"),  # the user's name begins a member's
    (["ali"], "alice"),
    ([], "alice"),
    (["Alice"], "alice"),
])
def test_user_outside_the_group_is_turned_away_silently(desk, members, user):
    desk.serve({"list authorization.group.name.admin.member": members})
    assert desk.run("ver", name="other", ZT_CI_USER=user) == Outcome(b"", b"", 0)
    assert desk.morvd.asked() == ["list authorization.group.name.admin.member"]
    assert desk.tap() == b""


def test_member_behind_others_is_let_in(desk):
    desk.serve({"list authorization.group.name.admin.member": ["bob", "alice"]})
    assert desk.run("ver", name="other") == Outcome(INVALID, b"", 1)


def test_failed_group_list_turns_away(desk):
    desk.serve({})
    assert desk.run("ver", name="other") == Outcome(b"", b"", 0)


def test_user_without_a_name_is_turned_away_without_a_question(desk):
    desk.serve({"list authorization.group.name.admin.member": [""]})
    assert desk.run("ver", name="other", ZT_CI_USER="") == Outcome(b"", b"", 0)
    assert desk.morvd.asked() == []


# --- what stops it ---

def test_no_session_id_ends_with_status_1(chain):
    assert chain.run("ver", ZT_CI_SID="0") == Outcome(b"", b"", 1)
    assert chain.failures() == ["Could not find the session id."]
    assert chain.morvd.exchanges == []


def test_no_control_daemon_ends_with_status_0(desk):
    assert desk.run("ver") == Outcome(b"", b"", 0)
    assert desk.failures() == ["Fail to login to tsapi"]


def test_socket_that_nobody_listens_on_ends_with_status_0(desk):
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as deaf:
        deaf.bind(str(desk.root / "run/morvd.sock"))
        assert desk.run("ver") == Outcome(b"", b"", 0)
    assert desk.failures() == ["Fail to login to tsapi"]


def test_refused_login_ends_with_status_0(desk):
    desk.serve()
    desk.morvd.script["login"] = [Refuse(1, "who are you")]
    assert desk.run("ver") == Outcome(b"", b"", 0)
    assert desk.failures() == ["Fail to login to tsapi"]
    assert desk.morvd.exchanges == [LOGIN]


def test_tap_that_cannot_be_written_does_not_show(chain):
    assert chain.run("id", ZT_CI_DLA=str(chain.root / "none/tap")) == Outcome(b"IPDU #1 ID = left\n", b"", 1)


def test_tap_that_cannot_be_written_shows_in_the_debug_log(chain):
    chain.run("-d", "id", ZT_CI_DLA=str(chain.root / "none/tap"))
    complaints = [message for _, _, message in chain.records("ZTCLI") if "DLA" in message]
    assert complaints[:4] == ["@ DLA (input) error: zt>", "@ DLA (input) error: id", "@ DLA (input) error: \\n",
                              "@ DLA (output) error: IPDU #1 ID = left\\n"]
    assert len(complaints) == 5 and complaints[4].startswith("@ DLA (output) error: id: Command spent ")


# --- input that ends ---

def test_end_of_input_on_a_pipe_ends_at_once(chain):
    outcome = chain.run(timeout=5)
    assert outcome.status == 1
    assert chain.morvd.exchanges == [LOGIN]


def test_null_device_as_input_ends_at_once(chain):
    with open(os.devnull, "rb") as nothing:
        assert chain.run(stdin=nothing, timeout=5).status == 1


def test_closed_input_ends_at_once(chain):
    process = chain.start(["/bin/sh", "-c", f'exec "{ZTCLI}" <&-'])
    assert process.wait(5) == 1


def test_lines_of_a_pipe_are_run_in_turn(chain):
    outcome = chain.run(stdin=b"id\n\n \t \n\tid 1\nfoo\n")
    assert outcome.status == 1
    assert chain.tap().split(b"\n") == [b"zt>id", b"IPDU #1 ID = left", b"zt>", b"zt> \t ", b"zt>\tid 1",
                                        b"IPDU #1 ID = left", b"zt>foo", INVALID[:-1], b""]


def test_last_line_without_an_end_is_run(chain):
    chain.run(stdin=b"id")
    assert commands(chain) == [b"id"]


def test_exit_in_a_pipe_ends_with_status_0(chain):
    assert chain.run(stdin=b"exit\nid\n").status == 0
    assert commands(chain) == [b"exit"]
