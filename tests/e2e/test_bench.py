"""script/bench: what it refuses, that its table stands on what the program really asks and prints, and how
bench/table.py calls the growth of what it is given. Nothing here is about how long anything takes."""

import os
import re
import shutil
import subprocess

import pytest

from desk import BIN, REPOSITORY

BENCH = REPOSITORY / "script/bench"
TOOLS = ("valgrind", "strace", "redis-cli")

pytestmark = pytest.mark.skipif(BIN != REPOSITORY / "build/bin", reason="script/bench takes the programs in build/")


def bench(*words):
    env = {name: value for name, value in os.environ.items() if not name.startswith("ZT_")}
    return subprocess.run([BENCH, *words], cwd="/", env=env, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          timeout=120, check=False)


def tables_in(text):
    """The rows of each table that is shown, as lists of cells, without their heads."""
    tables = re.findall(r"(?:^\|.*\n)+", text, re.M)
    return [[[cell.strip() for cell in line.strip("|").split("|")] for line in table.splitlines()[2:]]
            for table in tables]


def test_help_names_both_forms():
    done = bench("--help")
    assert done.returncode == 0
    assert done.stdout.startswith("Usage: script/bench [--repeat N] [case ...]\n"
                                  "       script/bench --table [--repeat N] [outlets ...]\n")


@pytest.mark.parametrize("words, complaint", [
    (["nothing"], "no case 'nothing'; there are: ver "),
    (["--nothing"], "unknown option '--nothing'\n"),
    (["--repeat", "0"], "option '--repeat' needs a number\n"),
    (["--shares", "ver"], "option '--shares' takes no 'ver'\n"),
    (["--table", "12"], "no chain of '12' outlets; there are multiples of 8 up to 128\n"),
    (["--table", "136"], "no chain of '136' outlets; "),
    (["--table", "0"], "no chain of '0' outlets; "),
    (["--table", "ver"], "no chain of 'ver' outlets; "),
])
def test_what_it_does_not_know_is_refused(words, complaint):
    done = bench(*words)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr.startswith(f"script/bench: {complaint}")


def test_table_shows_what_each_command_asks_and_prints_and_what_an_outlet_adds():
    done = bench("--table", "--repeat", "1", "16", "8")
    assert done.returncode == 0, done.stderr
    costs, growth = tables_in(done.stdout)
    assert [row[:3] for row in costs] == [
        ["exit", "8", "1"], ["exit", "16", "1"], ["status 1", "8", "7"], ["status 1", "16", "7"],
        ["status all", "8", "35"], ["status all", "16", "67"], ["current", "8", "1"], ["current", "16", "1"],
        ["sensors", "8", "30"], ["sensors", "16", "59"], ["on all", "8", "28"], ["on all", "16", "52"],
    ]
    printed = {tuple(row[:2]): int(row[3]) for row in costs}
    assert printed[("exit", "8")] == 0
    assert (printed[("on all", "8")], printed[("on all", "16")]) == (168, 343)  # 16 has seven numbers of two digits
    assert printed[("current", "16")] > printed[("current", "8")] > 8 * len("True RMS current")
    assert all(re.fullmatch(r"\d+ \(\d+\.\d\d\)", cell) for row in costs for cell in row[4:])
    assert [row[:2] for row in growth] == [["exit", "0.0"], ["status 1", "0.0"], ["status all", "4.0"],
                                           ["current", "0.0"], ["sensors", "3.6"], ["on all", "3.0"]]
    assert growth[-1][2] == "21.9"  # bytes


@pytest.mark.parametrize("costs, growth", [
    ((1000, 1000, 1249), "none"),
    ((1000, 1400, 2000), "linear"),  # 8, 16 and 32 outlets
    ((1000, 1000, 2000), "more than linear"),
    ((1000, 1700, 2000), "less than linear"),
    ((1000, 2000), "?"),  # two points are always on a line
])
def test_growth_is_told_by_the_chains_between(costs, growth):
    lines = "".join(f"on all\t{8 << i}\t1\t1\t{cost}\t1\t1\t1\t1\t1\n" for i, cost in enumerate(costs))
    done = subprocess.run(["/usr/bin/python3", REPOSITORY / "bench/table.py", "1", "1"], input=lines,
                          capture_output=True, text=True, timeout=20, check=True)
    assert tables_in(done.stdout)[1][0][-1] == growth


traced = pytest.mark.skipif(not all(map(shutil.which, TOOLS)), reason=f"it needs {', '.join(TOOLS)}")


@traced
def test_case_needs_the_exchanges_that_it_is_said_to_need():
    done = bench("--repeat", "1", "ver")
    assert done.returncode == 0, done.stderr
    assert done.stdout.startswith("ver: 'ztcli ver' on appliance/chains/legacy.toml, ")
    assert re.search(r"^  exchanges +10 +10 +1\.00  holds: no more than needed$", done.stdout, re.M)


@traced
def test_shares_are_of_a_whole():
    done = bench("--shares", "--repeat", "1")
    assert done.returncode == 0, done.stderr
    times, instructions = tables_in(done.stdout)
    calls = {row[0]: row[4] for row in times}
    assert calls["the other exchanges"] == str(2 * 4 * 128 + 4)  # a request and an answer: 514 behind the login
    assert calls["writing each line by itself"] == "129"
    for column in (1, 2):
        shares = [int(row[column].removesuffix(" %")) for row in instructions[:-1]]
        assert all(0 <= share <= 100 for share in shares)
        assert abs(sum(shares) - 100) <= len(shares) / 2  # each is rounded
