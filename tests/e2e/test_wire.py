"""The control daemon that comes late, breaks off, restarts, refuses, or answers what nobody can read."""

import pytest

from desk import INVALID, Outcome
from fake_morvd import Drop, Late, Raw, Refuse, chain_tree

U1 = "power.port.1.pdu.1"
SILENT = Outcome(b"", b"", 1)


@pytest.fixture
def chain(desk):
    desk.chain({"id": "left"})
    return desk


def test_late_answer_is_waited_for(chain):
    late = Late("left")
    chain.morvd.tree[f"info {U1}.id"] = late
    session = chain.prompt()
    session.type("id\r")
    assert late.reached.wait(10)
    late.release.set()
    session.expect("IPDU #1 ID = left\r\n")


def test_answer_in_pieces_is_put_together(chain):
    """A value longer than any one read."""
    chain.morvd.tree[f"info {U1}.id"] = "x" * 300_000
    assert chain.run("id").stdout == b"IPDU #1 ID = " + b"x" * 300_000 + b"\n"


def test_dropped_exchange_fails_and_the_next_one_resumes_the_session(chain):
    chain.morvd.script[f"info {U1}.id"] = [Drop(), "left"]
    session = chain.prompt()
    assert session.command("id") == b""
    assert session.command("id") == b"IPDU #1 ID = left\n"
    assert chain.morvd.exchanges == ["login alice 77", f"mlist {U1}", f"info {U1}.id", "resume token-1", f"mlist {U1}",
                                     f"info {U1}.id"]
    assert (4, "PSAPI", "Unable to send request to MORVD.") in chain.records()


def test_exchange_that_is_dropped_leaves_the_session_as_it_is(chain):
    """Of a failed send the trace has neither the refusal nor the end of the inner function."""
    chain.morvd.script[f"info {U1}.id"] = [Drop()]
    assert chain.run("id") == SILENT
    tail = chain.records("PSAPI", "TSAPI")[-3:]
    assert tail == [(7, "PSAPI", f'Request to MORVD will use path: "{U1}.id".'),
                    (4, "PSAPI", "Unable to send request to MORVD."),
                    (7, "TSAPI", "TSAPI function completed unsuccessfully.")]


def test_prompt_outlives_a_restart_of_the_daemon(chain):
    session = chain.prompt()
    assert session.command("id") == b"IPDU #1 ID = left\n"
    tokens = chain.morvd.tokens
    chain.morvd.stop()
    chain.serve(chain_tree({"id": "renamed"})).tokens = tokens
    answers = [session.command("id"), session.command("id")]
    assert answers[1] == b"IPDU #1 ID = renamed\n"
    assert answers[0] in (b"", answers[1])
    assert [words for words in chain.morvd.exchanges if words.split()[0] in ("login", "resume")] == ["resume token-1"]


def test_dead_daemon_fails_each_command_and_keeps_the_prompt(chain):
    session = chain.prompt()
    chain.morvd.stop()
    for _ in range(3):
        assert session.command("ver") == b""
        assert session.command("ver 1") == b"No such IPDU. Type help for details\n"
    assert session.command("id help").startswith(b"Usage: ")
    assert (4, "PSAPI", "Unable to make TSAPI session ready for use.") in chain.records()


def test_daemon_that_forgot_the_session_fails_each_command(chain):
    session = chain.prompt()
    chain.morvd.stop()
    chain.serve(chain_tree({"id": "left"}))
    for _ in range(3):
        assert session.command("id") == b""
    assert set(chain.morvd.exchanges) == {"resume token-1"}


def test_refusal_is_no_end_of_the_session(chain):
    chain.morvd.script[f"info {U1}.id"] = [Refuse(), "left"]
    session = chain.prompt()
    assert session.command("id") == b""
    assert session.command("id") == b"IPDU #1 ID = left\n"
    assert not any(words.startswith("resume") for words in chain.morvd.exchanges)


GARBAGE = [
    b"\r\n", b"nonsense\r\n", b"\0\0\0\0\r\n", bytes(range(256)) * 40, b"+" + b"x" * 100_000, b":x\r\n",
    b"$-2\r\n", b"$5\r\nab\r\n", b"$3\r\na\0b\r\n", b"$2147483647\r\nx", b"$99999999999999999999\r\n",
    b"*-7\r\n", b"*99999999\r\n", b"*1\r\n$-1\r\n", b"*2\r\n$1\r\na\r\n", b"*1\r\n*1\r\n*1\r\n$1\r\nx\r\n",
    b"*1000\r\n" + b"*1\r\n" * 1000, b"-\r\n", b"-ERR\r\n", b"-ERR x\r\n", b"-ERR 0 none\r\n",
]


@pytest.mark.parametrize("data", GARBAGE, ids=range(len(GARBAGE)))
@pytest.mark.parametrize("path", [f"mlist {U1}", f"info {U1}.id"])
def test_answer_that_nobody_can_read_is_a_failure_and_no_crash(chain, data, path):
    """The daemon hangs up behind it, so that an answer without its end is not waited for."""
    chain.morvd.script[path] = [Raw(data, hang_up=True)]
    outcome = chain.run("id")
    assert outcome.status == 1 and outcome.stderr == b""


@pytest.mark.parametrize("data", GARBAGE, ids=range(len(GARBAGE)))
def test_login_answered_with_garbage_ends_with_a_status(desk, data):
    desk.serve()
    desk.morvd.script["login"] = [Raw(data, hang_up=True)]
    assert desk.run("help").status in (0, 1)


def test_list_of_many_children_is_searched_to_its_end(chain):
    chain.morvd.tree[f"mlist {U1}"] = [f"leaf{number}" for number in range(20_000)] + ["id"]
    assert chain.run("id").stdout == b"IPDU #1 ID = left\n"


@pytest.mark.parametrize("children", [[], ["id-x"], ["i"], ["ID"], ["id "], [""], ["xid"]])
def test_child_counts_by_its_whole_name(chain, children):
    chain.morvd.tree[f"mlist {U1}"] = children
    assert chain.run("id") == SILENT
    assert chain.morvd.asked() == [f"mlist {U1}"]


def test_daemon_that_never_answers_is_given_up_after_half_a_minute(chain):
    never = Late("left")
    chain.morvd.tree[f"info {U1}.id"] = never
    try:
        assert chain.run("id", timeout=45) == SILENT
    finally:
        never.release.set()
    assert (4, "PSAPI", "Unable to send request to MORVD.") in chain.records()


def test_failure_text_follows_a_refused_write(chain):
    chain.morvd.tree[f"admin {U1}.id"] = Refuse(22, "too long")
    assert chain.run("id", "left", "x" * 40) == Outcome(INVALID, b"", 1)
