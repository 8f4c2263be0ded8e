"""What is written by hand about commands and keys against what the program and the reader of chain files say: pages and
completion are not made where the two differ."""

import json
import subprocess
import sys
import tomllib

import pytest

from desk import BIN, REPOSITORY, ZTCLI

SOURCES = REPOSITORY / "docs/man"
LISTS = BIN.parent / "generated/man"
sys.path.insert(0, str(SOURCES))

import command_data  # noqa: E402
import make_page  # noqa: E402

COMMANDS = (SOURCES / "commands.toml").read_text()
KEYS = (SOURCES / "chain_keys.toml").read_text()


def changed(text, old, new):
    assert text.count(old) == 1, old
    return text.replace(old, new)


def refusal(tmp_path, data=COMMANDS, rows=None):
    """Why these commands can't be told, in words."""
    listed = json.loads((LISTS / "commands.json").read_text())
    if rows:
        rows(listed["rows"])
    (tmp_path / "list").write_text(json.dumps(listed))
    (tmp_path / "data").write_text(data)
    with pytest.raises(command_data.Mismatch) as refused:
        command_data.read_manual(tmp_path / "list", tmp_path / "data", ZTCLI.read_bytes())
    return str(refused.value)


@pytest.mark.parametrize("old, new, words", [
    ('"lock", "unlock",', '"lock",', "'help' lists other commands: ['unlock']"),
    ("[exit]\n", "[quit]\n", "'help' lists other commands: ['exit', 'quit']"),
    ('forms = ["ion"]\n', "", "no command has the rows of 'ion'"),
    ('arguments = "unit file"', 'arguments = "unit"', "upgrade: 'upgrade %64s %64s%n' has 2 values, named are 1"),
    ('arguments = "unit file"', 'arguments = "unit file name"', "upgrade: no row has the value 'name'"),
    ('arguments = "unit file"', 'arguments = "unit folder"', "upgrade: no argument is called 'folder'"),
    ('"alarm %64s%n" = "unit"', '"alarm %64d%n" = "unit"', "alarm: no row is 'alarm %64d%n'"),
    ("[argument.file]\n", "[argument.file]\n[argument.folder]\n", "no form has the argument 'folder'"),
    ('values = ["hw", "no"]', 'values = ["hw", "maybe"]', "no usage text knows the value 'maybe' of 'flow'"),
    ('    ["{4}: Outlet locked.", ""],\n', "", "lock: nothing is said of the answer '{}: Outlet locked.'"),
    ('"{4}: Outlet locked."', '"{4}: Outlet shut."', "lock: the program never says ': Outlet shut.'"),
    ('brief = "unlock outlets"', 'short = "unlock outlets"', "unlock: unknown key 'short'"),
])
def test_commands_that_are_told_otherwise_are_refused(old, new, words, tmp_path):
    assert refusal(tmp_path, changed(COMMANDS, old, new)) == words


def test_row_of_which_nothing_is_told_is_refused(tmp_path):
    row = {"pattern": "ver %64s %64s%n", "count": 2, "shows_usage": False, "format": "", "error_format": ""}
    assert refusal(tmp_path, rows=lambda rows: rows.append(row)) == "ver: 'ver %64s %64s%n' has 2 values, named are 1"


@pytest.mark.parametrize("old, new, words", [
    ("inlets =", "outlts =", "port.unit: the reader and chain_keys.toml differ in ['inlets', 'outlts']"),
    ("[table.authorization]", "[table.groups]",
     "the reader and chain_keys.toml differ in the tables ['authorization', 'groups']"),
    ("voltage = { default = 230", "voltage = { default = 23", "voltage: can't hold its default 23"),
    ("inlets = { default = 1", 'inlets = { default = "1"', "inlets: can't hold its default '1'"),
    ("inlets = { default = 1,", "inlets = {", "inlets: either a default or what stands otherwise"),
])
def test_keys_that_are_told_otherwise_are_refused(old, new, words, tmp_path):
    (tmp_path / "data").write_text(changed(KEYS, old, new))
    with pytest.raises(make_page.Mismatch) as refused:
        make_page.chain_page(LISTS / "chain_keys.json", tmp_path / "data", SOURCES / "ztcli-chain.5.in",
                             tmp_path / "page")
    assert str(refused.value) == words


def test_lists_are_those_of_the_programs():
    for program, name in [("list_commands", "commands.json"), ("list_chain_keys", "chain_keys.json")]:
        shown = subprocess.run([LISTS / program], capture_output=True, text=True, timeout=20, check=True).stdout
        assert shown == (LISTS / name).read_text()
        assert json.loads(shown)


def test_page_has_every_key_that_the_reader_takes_and_no_other():
    page = (BIN.parent / "man/ztcli-chain.5").read_text()
    keys = [key["name"] for table in json.loads((LISTS / "chain_keys.json").read_text()) for key in table["keys"]
            if key["name"] and key["kind"] not in ("table", "tables")]
    assert [line[7:] for line in page.splitlines() if line.startswith(".It Va ")] == keys
    assert len(tomllib.loads(KEYS)["table"]) == page.count("\n.Ss ")
