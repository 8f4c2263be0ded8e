"""`ver`, `id`, `help`, `exit` and what is no command: words, exchanges, log and tap, held against a scripted tree."""

import pytest

from desk import INVALID, Outcome
from fake_morvd import Raw, Refuse
from status_segment import Image, chain_image

FAILURE = Outcome(INVALID, b"", 1)
SILENT = Outcome(b"", b"", 1)  # a walk over all units counts as dealt with, whatever its units said
NO_SUCH = Outcome(b"No such IPDU. Type help for details\n", b"", 1)
LOGIN = "login alice 77"
U1, U2 = "power.port.1.pdu.1", "power.port.1.pdu.2"


def answered(text):
    return Outcome(text.encode(), b"", 1)


def ver_exchanges(base, topology=False):
    probes = [f"mlist {base}"] * 3
    reads = [f"info {base}.{leaf}" for leaf in
             ("num-outlets", "max-current", "version", "id", "num-phases", "num-circuits")]
    return probes + reads + ([f"mlist {base}", f"info {base}.topology"] if topology else [])


def by_number(number, ports=1):
    return [f"info power.pdu.{number}.pdu", "info power.num-devices",
            *[f"info power.port.{port}.num-pdus" for port in range(1, ports + 1)]]


# --- ver ---

def test_ver_of_one_phase_unit(desk):
    desk.chain({"id": "left", "banks": 2})
    assert desk.run("ver") == answered(
        "IPDU #1: Hw with 8 outlets 16.0 AMPs max Sw V 1.02 id left model 128. 2 banks.\n")
    assert desk.morvd.exchanges == [LOGIN, *ver_exchanges(U1)]
    assert desk.morvd.faults == []


def test_ver_of_every_unit_has_a_line_each_and_phases_where_there_are_several(desk):
    desk.chain({"id": "left", "banks": 0}, {"id": "right", "outlets": 20, "phases": 3, "banks": 6, "topology": "wye"})
    assert desk.run("ver") == answered(
        "IPDU #1: Hw with 8 outlets 16.0 AMPs max Sw V 1.02 id left model 128. 0 banks.\n"
        "IPDU #2: Hw with 20 outlets 16.0 AMPs max Sw V 1.02 id right model 128 (3 phases - wye). 6 banks.\n")
    assert desk.morvd.asked() == ver_exchanges(U1) + ver_exchanges("power.port.1.pdu.2", topology=True)


@pytest.mark.parametrize("model, suffix, asks", [
    (127, " (3 phases)", False), (128, " (3 phases - delta)", True), (143, " (3 phases - delta)", True),
    (144, " (3 phases)", False)])
def test_ver_reads_the_topology_of_the_current_family_alone(desk, model, suffix, asks):
    desk.chain({"model": model, "phases": 3, "topology": "delta"})
    assert desk.run("ver") == answered(
        f"IPDU #1: Hw with 8 outlets 16.0 AMPs max Sw V 1.02 id  model {model}{suffix}. 0 banks.\n")
    assert (f"info {U1}.topology" in desk.morvd.asked()) == asks


def test_ver_without_a_topology_leaf_names_the_phases_alone(desk):
    desk.chain({"phases": 3})
    assert desk.run("ver").stdout.endswith(b"model 128 (3 phases). 0 banks.\n")
    assert desk.morvd.asked()[-1] == f"mlist {U1}"


def test_ver_with_an_empty_topology_still_prints_the_dash(desk):
    desk.chain({"phases": 3, "topology": ""})
    assert desk.run("ver").stdout.endswith(b"model 128 (3 phases - ). 0 banks.\n")


def test_ver_of_a_unit_whose_topology_is_refused_prints_no_line(desk):
    desk.chain({"phases": 3, "topology": "wye"})
    desk.morvd.tree[f"info {U1}.topology"] = Refuse()
    assert desk.run("ver") == SILENT
    assert desk.failures()[-2:] == ["Fail to get phase type for pdu 1@1", "Fail to execute for PDU 1"]


def test_ver_asks_the_tree_for_a_model_that_the_segment_does_not_know(desk):
    desk.publish(chain_image([{}], name="other", port=2))  # its unit is the tree's 2@1
    desk.serve(units=[{"model": 12}])
    desk.run("ver", "1")
    assert f"info {U1}.model_nr" in desk.morvd.asked()


@pytest.mark.parametrize("leaf", ["max-current", "version", "id"])
def test_ver_of_a_unit_that_lacks_a_leaf_leaves_it_out(desk, leaf):
    desk.chain({"lacks": (leaf,)}, {"id": "right"})
    assert desk.run("ver") == answered(
        "IPDU #2: Hw with 8 outlets 16.0 AMPs max Sw V 1.02 id right model 128. 0 banks.\n")
    assert [message for message in desk.failures() if not message.startswith("Found")] == [
        f"Node {leaf} unavailable for 1@1", "Fail to execute for PDU 1"]


@pytest.mark.parametrize("leaf, words", [
    ("num-outlets", "Fail to get number of outlets for pdu 1@1"),
    ("max-current", "Fail to get max current for pdu 1@1"),
    ("version", "Fail to get version for pdu 1@1"), ("id", "Fail to get id for pdu 1@1"),
    ("num-phases", "Fail to get number of phases for pdu 1@1"),
    ("num-circuits", "Fail to get number of banks for pdu 1@1")])
def test_ver_that_cannot_read_a_value_says_which_in_the_log(desk, leaf, words):
    desk.chain({})
    desk.morvd.tree[f"info {U1}.{leaf}"] = Refuse()
    assert desk.run("ver") == SILENT
    assert desk.failures()[-2:] == [words, "Fail to execute for PDU 1"]
    assert desk.morvd.asked()[-1] == f"info {U1}.{leaf}"


@pytest.mark.parametrize("text", ["", "8x", " 8", "99999999999", "0x8"])
def test_ver_takes_no_number_that_is_not_one(desk, text):
    desk.chain({})
    desk.morvd.tree[f"info {U1}.num-outlets"] = text
    assert desk.run("ver") == SILENT


def test_ver_with_absent_numbers_fails(desk):
    desk.chain({})
    desk.morvd.tree[f"info {U1}.num-phases"] = None
    assert desk.run("ver") == SILENT


def test_ver_by_number(desk):
    desk.chain({}, {"id": "right"})
    assert desk.run("ver", "2").stdout.startswith(b"IPDU #2: ")
    assert desk.morvd.asked() == by_number(2) + ver_exchanges("power.port.1.pdu.2")


def test_ver_by_id_is_found_in_the_segment(desk):
    desk.chain({"id": "left"}, {"id": "right"})
    assert desk.run("ver", "right").stdout.startswith(b"IPDU #2: ")
    assert desk.morvd.asked() == ["info power.num-devices", "info power.port.1.num-pdus",
                                  *ver_exchanges("power.port.1.pdu.2")]


def test_id_of_digits_wins_over_the_number(desk):
    desk.chain({"id": "2"}, {"id": "right"})
    assert desk.run("ver", "2").stdout.startswith(b"IPDU #1: ")


@pytest.mark.parametrize("unit", ["0", "3", "-1", "nosuch", "99999999", "x1"])
def test_unit_that_is_none(desk, unit):
    desk.chain({}, {})
    assert desk.run("-c", f"ver {unit}") == NO_SUCH
    assert desk.run("-c", f"id {unit}") == NO_SUCH
    assert desk.run("-c", f"id {unit} new") == NO_SUCH


def test_number_with_a_tail_counts_as_the_number(desk):
    desk.chain({})
    assert desk.run("ver", "1x").stdout.startswith(b"IPDU #1: ")
    assert desk.morvd.asked()[0] == "info power.pdu.1x.pdu"


def test_unit_word_is_encoded_as_one_component(desk):
    desk.chain({})
    assert desk.run("-c", "id a.b%c~_-/é") == NO_SUCH
    assert desk.morvd.asked()[0] == "info power.pdu.a%2Eb%25c~_-%2F%C3%A9.pdu"


def test_unit_is_counted_over_the_ports(desk):
    desk.chain({}, {})
    desk.morvd.tree.update({"info power.num-devices": "2", "info power.port.2.num-pdus": "1",
                            "mlist power.port.2.pdu.3": ["id"], "info power.port.2.pdu.3.id": "far"})
    assert desk.run("id", "3") == answered("IPDU #3 ID = far\n")
    assert desk.morvd.asked() == [*by_number(3, ports=2), "mlist power.port.2.pdu.3", "info power.port.2.pdu.3.id"]


# --- id ---

def test_id_of_every_unit(desk):
    desk.chain({"id": "left"}, {"id": ""})
    assert desk.run("id") == answered("IPDU #1 ID = left\nIPDU #2 ID = \n")
    assert desk.morvd.asked() == [f"mlist {U1}", f"info {U1}.id", f"mlist {U2}", f"info {U2}.id"]


def test_id_leaves_this_log(desk):
    desk.chain({"id": "left"})
    desk.run("id")

    def operation(verb, name, path, actual):
        return [(7, "TSAPI", f'Invoked TSAPI function "vrn_tsapi_{verb}_{name}" for MORVD path "{path}".'),
                (7, "TSAPI", "Passing request to the PSAPI."),
                (7, "PSAPI", f'Invoked PSAPI function "vrn_psapi_{verb}_{name}" for MORVD path "{path}".'),
                (7, "PSAPI", '   star0="1", star1="1"'),
                (7, "PSAPI", f'Request to MORVD will use path: "{actual}".'),
                (7, "PSAPI", "PSAPI function completed successfully."),
                (7, "TSAPI", "TSAPI function completed successfully.")]

    assert desk.records() == [
        *operation("mlist", "power_port_star0_pdu_star1", "power.port.*.pdu.*", U1),
        (4, "ZTCLI", "@ "), (4, "ZTCLI", "Found capability id in the list of nodes: 1@1"),
        *operation("info", "power_port_star0_pdu_star1_id", "power.port.*.pdu.*.id", f"{U1}.id")]


def test_refusal_leaves_this_log(desk):
    desk.chain({})
    desk.morvd.tree[f"mlist {U1}"] = Refuse(99, "not today")
    assert desk.run("id") == SILENT
    assert [record for record in desk.records() if record[0] != 7] == [
        (5, "PSAPI", "An error was encountered during the PSAPI request."),
        (4, "ZTCLI", "@ "), (4, "ZTCLI", "Fail to retrieve list of pdu capabilities in 1@1"),
        (4, "ZTCLI", "@ "), (4, "ZTCLI", "Node id unavailable for 1@1"),
        (4, "ZTCLI", "@ "), (4, "ZTCLI", "Fail to execute for PDU 1")]
    assert [message for level, tag, message in desk.records("PSAPI", "TSAPI") if "completed" in message] == [
        "PSAPI function completed unsuccessfully.", "TSAPI function completed unsuccessfully."]


def test_id_is_set(desk):
    desk.chain({"id": "left"})
    assert desk.run("id", "left", "rack1") == answered("IPDU #1 ID is set to rack1.\n")
    assert desk.morvd.asked() == ["info power.num-devices", "info power.port.1.num-pdus", f"mlist {U1}",
                                  f"admin {U1}.id rack1"]
    assert desk.tap() == b"zt>id left rack1\nIPDU #1 ID is set to rack1.\n"


@pytest.mark.parametrize("new, sign", [("a.b,c", "."), ("a,b.c", ","), (".", "."), ("rack1,", ",")])
def test_id_with_a_bad_character_is_not_written(desk, new, sign):
    desk.chain({})
    assert desk.run("id", "1", new) == answered(f"Invalid character found in ID [{sign}].\n")
    assert desk.morvd.asked() == [*by_number(1), f"mlist {U1}"]


def test_long_id_reaches_the_daemon_unchanged(desk):
    desk.chain({})
    desk.morvd.tree[f"admin {U1}.id"] = Refuse(22, "too long")
    assert desk.run("id", "1", "abcdefghijklmnopq") == FAILURE
    assert desk.morvd.asked()[-1] == f"admin {U1}.id abcdefghijklmnopq"
    assert desk.failures()[-1] == "Fail to set id for pdu 1@1, value abcdefghijklmnopq"


def test_id_of_any_bytes_is_written_unchanged(desk):
    desk.chain({})
    assert desk.run("-c", "id 1 a%s*$2\\r\\nü").stdout == "IPDU #1 ID is set to a%s*$2\\r\\nü.\n".encode()
    assert desk.morvd.asked()[-1].encode("latin-1").decode() == f"admin {U1}.id a%s*$2\\r\\nü"


def test_id_of_a_unit_without_one_is_not_written(desk):
    desk.chain({"lacks": ("id",)})
    assert desk.run("id", "1", "new") == FAILURE
    assert desk.failures() == ["Fail to get pdu from pdu name 1", "Node id unavailable for 1@1"]


def test_word_of_65_characters_is_split(desk):
    """The first 64 go to the first argument and the rest to the second."""
    desk.chain({})
    word = "1" + "x" * 63
    assert desk.run("-c", f"id {word}y") == answered("IPDU #1 ID is set to y.\n")


# --- help, exit, and what is no command ---

HELP_NAMES = """alarm buzzer coldstart current currentprotection cycle display energy exit factory_defaults fuses help
hwocp id interval intervaloff lock name network off on outcycledelay passwd power powerfactor reboot restore save scp
sensors serial shell status syslog temperature unlock upgrade ver voltage""".split()


def test_help_lists_the_names_in_three_columns(desk):
    desk.chain({})
    lines = ["".join(f"{name:<20}" for name in HELP_NAMES[at:at + 3]) for at in range(0, 39, 3)]
    assert desk.run("help") == answered(
        "Available commands:\n\n" + "\n".join(lines) + "\n \n\n"
        "NOTE: To get detailed help on the commands listed above type\n\t'<command> help'\n\n")
    assert desk.morvd.asked() == []


def test_usage_of_ver(desk):
    desk.chain({})
    assert desk.run("ver", "help") == answered("Usage: ver [<ipdu number or ID>]\nDisplays version information.\n")


def test_usage_of_id(desk):
    desk.chain({})
    assert desk.run("id", "help") == answered(
        "Usage: 'id  [<ipdu number or ID> [<ipdu ID>]]'\n\nSets the IPDU identification name. "
        "<ipdu ID> cannot have more than 16 characters; also, ' ', '.', and ',' are not allowed.\n")


def test_exit_ends_with_status_0(desk):
    desk.chain({})
    assert desk.run("exit") == Outcome(b"", b"", 0)
    assert desk.tap() == b"zt>exit\n"


@pytest.mark.parametrize("line", ["foo", "help me", "exit now", "ver 1 2", "id 1 2 3", "VER", "verx", "current 1 2 3",
                                  "on 1 2", "ver\t", "alarm help me", "%s%s%n", "sensors threshold 1 2:3"])
def test_line_that_is_no_command(desk, line):
    desk.chain({})
    assert desk.run("-c", line) == FAILURE
    assert desk.tap() == b"zt>" + line.encode() + b"\n" + INVALID


@pytest.mark.parametrize("line", ["ver  1", "ver   1", "id  1"])
def test_several_blanks_before_an_argument_count_as_one(desk, line):
    desk.chain({})
    assert desk.run("-c", line).stdout.startswith(b"IPDU #1")


def test_several_blanks_in_a_literal_make_an_argument_of_it(desk):
    desk.chain({})
    assert desk.run("-c", "ver  help") == NO_SUCH


@pytest.mark.parametrize("answer", [Raw(b"*1\r\n$2\r\nid\r\n"), True, None])
def test_answer_of_another_kind_is_an_absent_text(desk, answer):
    """A text value that is not there leaves nothing to print, whatever stands in its place."""
    desk.chain({})
    desk.morvd.tree[f"info {U1}.id"] = answer
    outcome = desk.run("id")
    assert outcome.status == 1 and outcome.stderr == b""


# --- the readiness gate ---

@pytest.mark.parametrize("line, answer", [("alarm help", b"Command not recognized\n"), ("ver", INVALID),
                                          ("help", INVALID), ("foo", INVALID), ("exit", INVALID)])
def test_without_a_segment_no_handler_runs(desk, line, answer):
    desk.serve(units=[{}])
    assert desk.run("-c", line) == Outcome(answer, b"", 1)
    assert desk.morvd.asked() == []


def test_without_the_key_file_no_handler_runs(desk):
    desk.chain({})
    desk.key_file.unlink()
    assert desk.run("alarm help") == Outcome(b"Command not recognized\n", b"", 1)


def test_segment_that_appears_later_is_found_by_the_next_command(desk):
    desk.serve(units=[{"id": "left"}])
    session = desk.prompt()
    assert session.command("id") == INVALID
    desk.publish(chain_image([{}]))
    assert session.command("id") == b"IPDU #1 ID = left\n"


def test_command_waits_until_the_segment_is_ready(desk):
    desk.serve(units=[{"id": "left"}])
    segment = desk.publish(chain_image([{}], ready=False))
    session = desk.prompt()
    session.type("id\r")
    session.expect("\r\n")
    assert desk.morvd.asked() == []
    segment.set_ready()
    assert session.expect("zt>") == b"IPDU #1 ID = left\r\n"


def test_segment_without_a_port_is_a_chain_without_units(desk):
    desk.publish(Image())
    desk.serve(units=[{}])
    assert desk.run("ver") == SILENT
    assert desk.morvd.asked() == []
