"""Shows what a start and a long listing spend their time on:

    shares.py BIN RUNS REQUESTS BYTES LINES

BIN has ztcli, limit and measure; REQUESTS is what record.py has written of `ztcli status all` on the appliance below
ZT_ROOT, which prints that many bytes and lines. Times are taken apart by runs of something that does less;
instructions, which are those of the program without the system, by the functions that they are spent in or below."""

import os
import re
import subprocess
import sys
import tempfile
from collections import Counter
from pathlib import Path
from statistics import median

from table import show

VERSION, START, LISTING = ("-V",), ("exit",), ("status", "all")
ROUNDS = 5
STATUS = {VERSION: "1", START: "0", LISTING: "1"}

# None of a part's functions runs below another one that is named here.
PARTS = {
    "loading": r"_dl_start",
    "setting up the editor": r"cli_input_init\(\)",
    "connecting and logging in": r"vrn_tsapi_init_with_vrnaaa_session",
    "exchanges": r"tsapi_call\(.*|paramtype_(UTF8String|int)_list_free",
    "finding and reading the segment": r"\w+_shm\(.*|shm_\w+\(\)",
    "formatting and printing": r"(append_output|cli_output)\(.*",
}


class Bench:
    def __init__(self, folder, runs):
        self.folder, self.runs = Path(folder), int(runs)

    def ztcli(self, words):
        return [str(self.folder / "ztcli"), *words]

    def own(self, words):
        return [STATUS[words], *self.ztcli(words)]

    def share(self, part, whole):
        """What a program takes of the user and system time of another, each behind the status that it ends with; the
        median of some rounds, so that what else goes on at the machine in one of them does not count."""
        shares = []
        for _ in range(min(ROUNDS, self.runs)):
            done = subprocess.run([self.folder / "measure", str(max(1, self.runs // ROUNDS)), *part, "--", *whole],
                                  stdout=subprocess.PIPE, text=True, check=True)
            first, second = (int(line.split()[0]) for line in done.stdout.splitlines())
            shares.append(first / second)
        return median(shares)

    def calls(self, words):
        """The system calls by their names."""
        with tempfile.NamedTemporaryFile("r") as file:
            run(["strace", "-qq", "-o", file.name, *self.ztcli(words)])
            return Counter(re.findall(r"^(\w+)\(", file.read(), re.M))

    def instructions(self, words):
        """All of them, and those of each part."""
        with tempfile.NamedTemporaryFile() as file:
            run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={file.name}", *self.ztcli(words)])
            text = run(["callgrind_annotate", "--inclusive=yes", "--threshold=100", "--auto=no", file.name])
        total = int(re.search(r"^([\d,]+).*PROGRAM TOTALS", text, re.M)[1].replace(",", ""))
        functions = {}  # a function that has text of several files in it is listed once for each
        for count, name in re.findall(r"^ *([\d,]+) \(.*?\) +[^:\n]+:(.*?)(?: \[[^\]\n]*\])?$", text, re.M):
            functions[name] = max(functions.get(name, 0), int(count.replace(",", "")))
        return total, {part: sum(count for name, count in functions.items() if re.fullmatch(names, name))
                       for part, names in PARTS.items()}


def run(command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          text=True, check=False).stdout


def percent(share):
    return f"{100 * share:.0f} %"


def time_rows(bench, requests, size):
    """What the limit takes more with all of the exchanges than with the login alone is theirs, and so on."""
    limit = ["0", str(bench.folder / "limit"), f"{os.environ['ZT_ROOT']}/run/morvd.sock"]
    version, start, listing = map(bench.calls, (VERSION, START, LISTING))
    exchanges = listing["sendto"] + listing["recvfrom"] - start["sendto"] - start["recvfrom"]
    lines = listing["write"] - start["write"]
    rest = listing.total() - start.total() - exchanges - lines

    own = bench.own
    alone = bench.share(own(VERSION), own(START))
    starting = bench.share(own(START), own(LISTING))
    loading = alone * starting
    printing = [*limit, *size, *requests]
    all_printed = bench.share(printing, own(LISTING))
    all_asked = all_printed * bench.share([*limit, "0", "0", *requests], printing)
    asked = all_asked - bench.share([*limit, "0", "0", requests[0]], own(LISTING))
    printed = all_printed - all_asked
    return [
        ["being loaded, and ending", percent(alone), version.total(), percent(loading), version.total()],
        ["login, editor, segment", percent(1 - alone), start.total() - version.total(), percent(starting - loading),
         start.total() - version.total()],
        ["the other exchanges", "", "", percent(asked), exchanges],
        ["writing each line by itself", "", "", percent(printed), lines],
        ["finding, reading, formatting", "", "", percent(1 - starting - asked - printed), rest],
    ]


def instruction_rows(bench):
    (start, of_start), (listing, of_listing) = map(bench.instructions, (START, LISTING))
    rows = [[part, percent(of_start[part] / start), percent(of_listing[part] / listing)] for part in PARTS]
    rows.append(["all else", percent(1 - sum(of_start.values()) / start),
                 percent(1 - sum(of_listing.values()) / listing)])
    return [*rows, ["thousands in all", f"{start / 1000:.0f}", f"{listing / 1000:.0f}"]]


def main(folder, runs, file, *size):
    bench = Bench(folder, runs)
    requests = Path(file).read_bytes().decode().split("\0")[:-1]
    start, listing = (" ".join(("ztcli", *words)) for words in (START, LISTING))
    print(f"User and system time, medians of {runs} runs, and system calls, on 128 outlets.\n")
    show(["part", start, "calls", listing, "calls"],
         [list(map(str, row)) for row in time_rows(bench, requests, size)])
    print("User instructions.\n")
    show(["part", start, listing], instruction_rows(bench))


if __name__ == "__main__":
    main(*sys.argv[1:])
