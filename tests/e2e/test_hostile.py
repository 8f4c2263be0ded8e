"""Lines that no operator types. Whatever comes in, the program answers and ends as it always does."""

import random

import pytest

from desk import INVALID, Outcome


@pytest.fixture
def chain(desk):
    desk.chain({"id": "left"}, {"id": "right"})
    return desk


WORDS = [
    "%n%n%n%n%n", "%s" * 100, "on " + "9" * 500, "on 1-99999999999999999999", "on " + "1," * 60_000, "on 2147483648",
    "on 1.2.3.4-5-6", "on .", "on -", "on ,,,", "on 1.-1", "name 1 " + "x" * 100_000, "status " + "x" * 64,
    "status " + "x" * 65, "current threshold 1 " + ":" * 5000, "alarm 1 1e999999", "alarm 1 nan", "alarm 1 -inf",
    "sensors name 1 1 " + "%" * 64, "shell " + "x" * 255, "shell " + "x" * 256, "factory_defaults",
    "display 1 2147483648 x", "id " + "x" * 64 + " " + "y" * 64, "id " + "x" * 64 + " " + "y" * 65, "ver \x01\x02\x7f",
    "network ipv4 address " + "1" * 64 + " mask " + "2" * 64,
]


@pytest.mark.parametrize("line", WORDS, ids=range(len(WORDS)))
def test_odd_line_is_answered(chain, line):
    outcome = chain.run("-c", line)
    assert outcome.status == 1 and outcome.stderr == b""


@pytest.mark.parametrize("seed", range(20))
def test_line_of_any_bytes_is_answered(chain, seed):
    chance = random.Random(seed)
    word = bytes(chance.randrange(1, 256) for _ in range(chance.choice((1, 10, 300, 20_000))))
    head = chance.choice((b"", b"ver ", b"id 1 ", b"on ", b"name 1 ", b"current "))
    outcome = chain.run("-c", head + word)
    assert outcome.status == 1 and outcome.stderr == b""


@pytest.mark.parametrize("seed", range(5))
def test_any_bytes_typed_at_the_prompt(chain, seed):
    """The keys that end input or run the editor's macros are left out: they do what they say."""
    chance = random.Random(seed)
    keys = [byte for byte in range(1, 256) if byte not in (4, 24)]
    text = b"".join(bytes(chance.choice(keys) for _ in range(60)) + b"\r" for _ in range(60))
    outcome = chain.run(stdin=text, timeout=60)
    assert outcome.status in (0, 1)


def test_nul_bytes_at_the_prompt(chain):
    assert chain.run(stdin=b"i\0d\n\0\0\0\nid\n").status == 1


def test_line_of_a_megabyte(chain):
    outcome = chain.run(stdin=b"a" * 1_000_000 + b"\nid\n", timeout=120)
    assert outcome.status == 1
    assert chain.tap().endswith(b"aaa\n" + INVALID + b"zt>id\nIPDU #1 ID = left\nIPDU #2 ID = right\n")


def test_command_of_ten_thousand_words(chain):
    words = ["w"] * 10_000
    assert chain.run(*words) == Outcome(INVALID, b"", 1)
    assert chain.tap() == b"zt>" + " ".join(words).encode() + b"\n" + INVALID


def test_many_lines(chain):
    outcome = chain.run(stdin=b"foo\n" * 3000 + b"id\n", timeout=60)
    assert outcome.status == 1
    assert chain.tap().count(INVALID) == 3000
    assert chain.tap().endswith(b"IPDU #2 ID = right\n")
