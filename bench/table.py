"""Makes the table of script/bench: table.py RUNS ROUNDS reads a line for each round, command and chain,

    command, outlets, exchanges, bytes, user + system time, that of the limit, wall time, limit, peak memory, limit

divided by tabs, and prints what each takes, beside the limit, in its quietest round, and what each outlet adds."""

import sys
from dataclasses import dataclass

LEVEL = 1.25  # times the cost on the shortest chain that the longest may have, to be no growth
BESIDE_LINE = 0.2  # share of its cost that a chain may lie beside the line; growing with the square is twice that


@dataclass
class Row:
    command: str
    outlets: int
    exchanges: int
    bytes: int
    cpu: int
    limit_cpu: int
    wall: int
    limit_wall: int
    peak: int
    limit_peak: int

    def beside_limit(self, what):
        ours, limit = getattr(self, what), getattr(self, f"limit_{what}")
        return f"{ours} ({ours / limit:.2f})" if limit else f"{ours} (-)"


def read_rows(lines):
    for line in lines:
        command, *numbers = line.rstrip("\n").split("\t")
        yield Row(command, *map(int, numbers))


def quietest(rows):
    """The row of the round in which the least time was measured, for each command and chain."""
    best = {}
    for row in rows:
        key = row.command, row.outlets
        if key not in best or row.cpu < best[key].cpu:
            best[key] = row
    return list(best.values())


def show(heads, rows):
    """A table in Markdown whose columns stand under each other; numbers, which are all but the first, to the right."""
    widths = [max(map(len, column)) for column in zip(heads, *rows)]

    def line(cells):
        return "| " + " | ".join([cells[0].ljust(widths[0]), *map(str.rjust, cells[1:], widths[1:])]) + " |"

    print(line(heads))
    print("|" + "|".join(["-" * (widths[0] + 2), *("-" * (width + 1) + ":" for width in widths[1:])]) + "|")
    for row in rows:
        print(line(row))
    print()


def added(first, last, what):
    """What each outlet adds from one chain to another."""
    return (getattr(last, what) - getattr(first, what)) / (last.outlets - first.outlets)


def growth(chains):
    """How the user and system time grows: whether the chains between stand on a line from the first to the last."""
    first, *between, last = chains
    if last.cpu <= LEVEL * first.cpu:
        return "none"
    if not between:
        return "?"
    slope = added(first, last, "cpu")
    beside_line = [row.cpu / (first.cpu + slope * (row.outlets - first.outlets)) - 1 for row in between]
    furthest = max(beside_line, key=abs)
    return "linear" if abs(furthest) <= BESIDE_LINE else "more than linear" if furthest < 0 else "less than linear"


def growth_row(command, rows):
    chains = sorted((row for row in rows if row.command == command), key=lambda row: row.outlets)
    first, last = chains[0], chains[-1]
    each = [f"{added(first, last, what):.1f}" for what in ("exchanges", "bytes", "cpu", "limit_cpu", "wall", "peak")]
    return [command, *each, f"{last.cpu / first.cpu:.1f}", growth(chains)]


def main(runs, rounds):
    rows = quietest(read_rows(sys.stdin))
    commands = list(dict.fromkeys(row.command for row in rows))
    chains = sorted({row.outlets for row in rows})
    rows.sort(key=lambda row: (commands.index(row.command), row.outlets))

    print(f"Medians of {runs} runs, in the quietest of {rounds} rounds; in brackets times the limit's.\n")
    show(["command", "outlets", "exchanges", "bytes", "user + system us", "wall us", "peak KiB"],
         [[row.command, str(row.outlets), str(row.exchanges), str(row.bytes),
           *map(row.beside_limit, ("cpu", "wall", "peak"))] for row in rows])
    if len(chains) < 2:
        return
    print(f"What each outlet adds from {chains[0]} to {chains[-1]}, and what that makes of the user and system time "
          f"with {chains[-1] / chains[0]:.1f} times the outlets.\n")
    show(["command", "exchanges", "bytes", "user + system us", "limit's", "wall us", "peak KiB", "times", "growth"],
         [growth_row(command, rows) for command in commands])


if __name__ == "__main__":
    main(*sys.argv[1:])
