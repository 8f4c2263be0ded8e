#!/usr/bin/env python3
"""Holds what the tests don't run against the list of reasons: coverage_gaps.py REPORT REASONS, in the tree's top.

Prints lines and branches of each room and all that is not run. Fails where a room or the whole is below the goal, where
something that is not run has no reason, or where a reason is given for something that is run.
"""
import collections
import json
import re
import sys
from pathlib import Path

GOAL = {"lines": 98.0, "branches": 95.0}  # in percent, of all rooms together
ROOMS = ("shell", "client", "core", "cmd")
MADE = "operations"  # the generated part of the client layer, which does not count for the goal
FUNCTION = re.compile(r"^(?!static_assert)[A-Za-z\[].*?(\w+)\(")

Gap = collections.namedtuple("Gap", "file function kind text")


def function_around(source, number):
    """The name of the function that the line (from 1) stands in."""
    for line in reversed(source[:number]):
        found = FUNCTION.match(line)
        if found and not line.endswith(";"):
            return found[1]
    return "-"


def room_of(file):
    return MADE if file.startswith("build/") else file.split("/")[0]


def read_report(path):
    """What is counted in each room, and the gaps with the numbers of their lines."""
    totals = collections.defaultdict(collections.Counter)
    gaps = collections.defaultdict(list)
    for entry in json.loads(Path(path).read_text(encoding="utf-8"))["files"]:
        file, total = entry["file"], totals[room_of(entry["file"])]
        source = Path(file).read_text(encoding="utf-8").splitlines()
        for line in entry["lines"]:
            if line["gcovr/noncode"] or line["gcovr/excluded"]:
                continue
            number, branches = line["line_number"], [branch["count"] > 0 for branch in line["branches"]]
            total["all lines"] += 1
            total["lines"] += line["count"] > 0
            total["all branches"] += len(branches)
            total["branches"] += sum(branches)
            if line["count"] == 0 or not all(branches):
                kind = "branch" if line["count"] else "line"
                gap = Gap(file, function_around(source, number), kind, source[number - 1].strip())
                gaps[gap].append(number)
    return totals, gaps


def read_reasons(path):
    """The gaps that the list names, each with its reason; see the head of the list for its form."""
    reasons, place, reason = {}, None, []
    for number, line in enumerate(Path(path).read_text(encoding="utf-8").splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        entry = re.fullmatch(r" {8}(line|branch) +(\S.*)", line)
        if entry and place and reason:
            reasons[Gap(*place, entry[1], entry[2])] = " ".join(reason)
        elif re.fullmatch(r"\S+: \S+", line):
            place, reason = line.split(": "), []
        elif re.match(r" {4}\S", line) and place:
            reason.append(line.strip())
        else:
            sys.exit(f"{path}:{number}: neither a place, a reason nor a gap")
    return reasons


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


def print_totals(totals):
    """The table; the names of what is below the goal."""
    goal = sum((totals[room] for room in ROOMS), collections.Counter())
    for room, total in [(room, totals[room]) for room in (*ROOMS, MADE)] + [("total", goal)]:
        columns = "".join(
            f"   {kind} {total[kind]:5} of {total['all ' + kind]:5} {percent(total[kind], total['all ' + kind]):6.2f} %"
            for kind in GOAL
        )
        print(f"{room:<12}{columns}{'   (generated, beside the total)' if room == MADE else ''}")
    return [kind for kind, least in GOAL.items() if percent(goal[kind], goal["all " + kind]) < least]


def shown(gap, numbers=()):
    where = ",".join(map(str, numbers)) or "-"
    return f"  {gap.file}:{where}: {gap.kind} in {gap.function}: {gap.text}"


def main():
    totals, gaps = read_report(sys.argv[1])
    reasons = read_reasons(sys.argv[2])
    low = print_totals(totals)
    print(f"\nnot run, with a reason: {sum(gap in reasons for gap in gaps)}")
    last = None
    for gap, reason in reasons.items():
        if gap in gaps:
            print(*([f"  {reason}"] if reason != last else []), "  " + shown(gap, gaps[gap]), sep="\n")
            last = reason
    bare = [shown(gap, numbers) for gap, numbers in gaps.items() if gap not in reasons]
    idle = [shown(gap) for gap in reasons if gap not in gaps]
    for title, lines in (("not run, without a reason", bare), ("given a reason, and run or gone", idle)):
        if lines:
            print(f"\n{title}: {len(lines)}")
            print("\n".join(lines))
    for kind in low:
        print(f"\nbelow the goal: {kind}, {GOAL[kind]} %")
    sys.exit(1 if bare or idle or low else 0)


if __name__ == "__main__":
    main()
