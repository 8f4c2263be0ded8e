"""The defaults that ztcli-chain(5) tells: a file that gives one of them is the file that leaves it out, and with any
other value it is another chain."""

import functools
import itertools
import sys
import tomllib

import pytest

from desk import MORVD, REPOSITORY, Desk
from fake_morvd import encode

sys.path.insert(0, str(REPOSITORY / "client"))

from generate import read_catalogue  # noqa: E402

TABLES = tomllib.loads((REPOSITORY / "docs/man/chain_keys.toml").read_text())["table"]
DEFAULTS = {(place, key): said["default"] for place, table in TABLES.items()
            for key, said in table.get("key", {}).items() if "default" in said}

# A chain in which every key would show: the lines of its tables by place, to which lines are added.
CHAIN = {
    "file": [""],
    "port": ["[[port]]", 'name = "local"'],
    "port.unit": ["[[port.unit]]", 'id = "lab"', "model_nr = 130", "max_current = 16", "circuits = 2", "outlets = 2",
                  'metering = ["unit", "phase", "circuit", "outlet"]', "post_power_on = 1", "overcurrent = true"],
    "port.unit.phase": ["[[port.unit.phase]]"],
    "port.unit.circuit": ["[[port.unit.circuit]]"],
    "port.unit.outlet": ["[[port.unit.outlet]]", "load = 100"],
    "port.unit.sensor": ["[[port.unit.sensor]]", 'type = "humidity"'],
    "fault": ["[[fault]]", 'kind = "refuse"', 'path = "no.such.path"'],
}
# The same for keys that would not show there, or that stand there already.
OFF = {"port.unit.outlet": ["[[port.unit.outlet]]", 'state = "off"']}
ALONE = {
    ("port.unit", "load"): {"port.unit.outlet": ["[[port.unit.outlet]]"]},
    ("port.unit.phase", "overloaded"): OFF,
    ("port.unit.circuit", "overloaded"): OFF,
    ("fault", "path"): {"fault": ["[[fault]]", 'kind = "refuse"', 'verb = "commit"']},
}
OTHERS = {
    "pdu_type": "other", "voltage_type": "ESTIMATED", "power_type": "ESTIMATED", "power_factor_type": "ESTIMATED",
    "power_factor": 0.5, "name": "other", "state": "off", "verb": "commit", "path": "other",
}


def toml(value):
    return f'"{value}"' if isinstance(value, str) else str(value).lower()


def other_than(key, default):
    if key in OTHERS:
        return OTHERS[key]
    return not default if isinstance(default, bool) else default + 1


def requests():
    """All that can be read of a chain as small as this."""
    stars = {"int": ["1", "2"], "text": ["eth0", "lab", "admin", "other"]}
    for operation in read_catalogue(REPOSITORY / "client/catalogue.txt").operations:
        if operation.verb.name in ("get", "info", "list", "mlist"):
            for values in itertools.product(*(stars[kind] for kind in operation.kinds)):
                path = operation.path
                for value in values:
                    path = path.replace("*", value, 1)
                yield [operation.verb.name, path]


MANY = 200  # requests at once, whose answers the sockets can hold
# An outlet that is off shows by its coming on what holds it.
READING = [["admin", "power.command.on", "1.1.1"], *requests(), ["desk", "fault", "list"]]
END = b"-ERR 5 unknown verb\r\n"


def exchange(connection, sent):
    """What is answered to these requests."""
    connection.sendall(b"".join(map(encode, sent)) + encode(["end"]))
    shown = b""
    while not shown.endswith(END):
        more = connection.recv(1 << 20)
        assert more, shown[-200:]
        shown += more
    return shown


@functools.cache
def seen(text):
    """All that can be read of the chain of such a file."""
    desk = Desk()
    try:
        file = desk.root / "chain.toml"
        file.write_text(text)
        desk.daemon(MORVD, "--driven-clock", file)
        with desk.client() as connection:
            exchange(connection, [["login", "root", "1"]])
            return [exchange(connection, READING[start:start + MANY]) for start in range(0, len(READING), MANY)]
    finally:
        desk.close()


def chain_text(place, key, *values):
    """The file, with this value given to the key, or none."""
    tables = {**CHAIN, **ALONE.get((place, key), {})}
    tables[place] = [*tables[place], *(f"{key} = {toml(value)}" for value in values)]
    return "".join(f"{line}\n" for lines in tables.values() for line in lines)


@pytest.mark.parametrize("place, key", DEFAULTS, ids=lambda text: text)
def test_default_is_what_stands_where_the_key_is_left_out(place, key):
    default = DEFAULTS[place, key]
    bare = seen(chain_text(place, key))
    assert seen(chain_text(place, key, default)) == bare
    assert seen(chain_text(place, key, other_than(key, default))) != bare
