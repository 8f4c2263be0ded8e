"""The control daemon that comes late, breaks off, restarts, refuses, or answers what nobody can read."""

import re
from pathlib import Path

import pytest

from desk import INVALID, ZTCLI, Outcome
from fake_morvd import Drop, Endless, Late, Raw, Refuse, chain_tree

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


ENDLESS = [
    Endless(b"$2147483647\r\n", b"x" * 65536), Endless(b"$2147483640\r\n", b"\0" * 65536),
    Endless(b"*2\r\n$2147483647\r\n", b"x" * 65536), Endless(b"*65536\r\n", (b"$90\r\n" + b"x" * 90 + b"\r\n") * 700),
    Endless(b"*65537\r\n", b"$0\r\n\r\n" * 1000), Endless(b"+", b"x" * 65536), Endless(b"-ERR ", b"1" * 65536),
    Endless(b"*1\r\n" * 8, b"*1\r\n" * 1000), Endless(b"", b"+OK\r\n" * 1000), Endless(b"", b"$-1\r\n" * 1000),
]


def highest_use(process):
    """The most memory that a living process has had, in megabytes."""
    text = Path(f"/proc/{process.pid}/status").read_text()
    return int(re.search(r"VmHWM:\s+(\d+) kB", text).group(1)) / 1024


@pytest.mark.parametrize("number", range(len(ENDLESS)))
@pytest.mark.parametrize("path", [f"mlist {U1}", f"info {U1}.id"])
def test_answer_without_an_end_is_given_up_before_it_takes_memory(chain, path, number):
    """However much was announced: the daemon is hung up on, and the prompt goes on with the next command."""
    answer = Endless(ENDLESS[number].head, ENDLESS[number].more)
    session = chain.prompt()
    assert session.command("id") == b"IPDU #1 ID = left\n"
    before = highest_use(session.process)
    chain.morvd.script[path] = [answer, chain.morvd.tree[path]]
    session.command("id")
    assert answer.given_up.wait(10)
    assert session.command("id") == b"IPDU #1 ID = left\n"
    if "asan" not in ZTCLI.parts:  # which holds on to what was freed
        assert highest_use(session.process) < before + 16


STRIKES = [
    Drop(), Raw(b"$", True), Raw(b"$4", True), Raw(b"$4\r\nle", True), Raw(b"$4\r\nleft", True),
    Raw(b"*2\r\n$2\r\nid", True), Raw(b"*2\r\n$2\r\nid\r\n", True), Raw(b"+O", True), Raw(b"\xff\xfe\0\r\n"),
    Raw(b"+OK\r\n+OK\r\n"), Raw(b":1\r\n"), Refuse(99, "%n%s"), None, "", "2147483647", "-1", "\xff" * 300,
]
STRUCK = ["id", "id 1", "id 1 box", "ver", "ver left", "on 1", "off left.2", "lock 1,2,3", "status 1", "status all",
          "name 1 lamp", "interval 1 0.5", "current", "alarm", "display 1 0", "sensors", "hwocp", "buzzer on", "save"]


@pytest.mark.parametrize("line", STRUCK)
def test_each_exchange_of_a_command_may_break_or_give_nonsense(chain, line):
    """The prompt answers with something, and the next command is answered rightly."""
    for number in (1, 2, 3):
        outlet = f"{U1}.outlet.{number}"
        chain.morvd.tree.update({f"info {outlet}.ctrl-status": "ON", f"mlist {outlet}": ["ctrl-status", "name"]})
    for verb in ("on", "off", "lock"):
        chain.morvd.tree[f"admin power.command.{verb}"] = True
    chain.morvd.tree[f"mlist {U1}.outlet"] = ["1", "2", "3"]
    session = chain.prompt()
    session.command(line)
    exchanges = min(len(chain.morvd.asked()), 8)
    assert exchanges > 0
    right = session.command("id")
    assert right == b"IPDU #1 ID = left\n"
    for number in range(1, exchanges + 1):
        for answer in STRIKES:
            chain.morvd.strike = (number, answer)
            session.command(line)
            chain.morvd.strike = None
            assert right in (session.command("id"), session.command("id")), (number, answer)
    assert not chain.morvd.faults


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
