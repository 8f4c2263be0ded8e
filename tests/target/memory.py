"""What the program holds in memory on the target: memory.py LIBRARIES PROGRAM, with the daemons in ZT_TEST_BIN. Prints
the most of a session's prompts, in kB. What is counted are the resident pages of the program's own address space,
which the emulator keeps in one stretch of its own; nothing of the emulator itself is in it."""

import re
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "e2e"))

from desk import Desk  # noqa: E402

GUEST = 0x2000000000  # where the emulator is told to keep the program's address space
GUEST_SIZE = 1 << 32

# Long answers, walks over the whole chain, both sources of measurements, and a list of names.
LINES = ("help", "ver", "status", "name", "current", "current pdu", "voltage", "power", "energy", "fuses", "sensors",
         "cycle 1", "interval", "network help", "all help")

MAPPING = re.compile(r"([0-9a-f]+)-([0-9a-f]+) \S+ [0-9a-f]+ \S+ \d+ *(.*)")


def resident(pid):
    """The resident kB of the program, by kind."""
    kinds = {"files": 0, "own": 0, "segment": 0}
    kind = None
    for line in Path(f"/proc/{pid}/smaps").read_text().splitlines():
        if found := MAPPING.fullmatch(line):
            inside = GUEST <= int(found[1], 16) < GUEST + GUEST_SIZE
            named = "segment" if found[3].startswith("/SYSV") else "files"
            kind = named if found[3] else "own"
            kind = kind if inside else None
        elif kind and line.startswith("Rss:"):
            kinds[kind] += int(line.split()[1])
    return kinds


def read_to_prompt(program):
    shown = b"\n"
    while not shown.endswith(b"\nzt>"):
        more = program.stdout.read(65536)
        if not more:
            sys.exit(f"memory.py: the session has ended: {shown.decode(errors='replace')}")
        shown += more


def measure(desk, libraries, binary):
    desk.appliance("desk.toml", "--driven-clock")
    program = desk.start(["qemu-ppc", "-B", hex(GUEST), "-0", "ztcli", "-L", libraries, binary],
                         stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)
    samples = []
    for line in (None, *LINES):
        if line:
            program.stdin.write(line.encode() + b"\n")
            program.stdout.read(1)  # the prompt stands there already
        read_to_prompt(program)
        samples.append((resident(program.pid), line or "the start"))
    return samples


def main(libraries, binary):
    desk = Desk()
    try:
        samples = measure(desk, libraries, binary)
    finally:
        desk.close()
    first, most = samples[0][0], max(samples, key=lambda sample: sum(sample[0].values()))
    for name, kinds in (("at the first prompt", first), (f"at most, after '{most[1]}'", most[0])):
        print(f"  memory {name}: {sum(kinds.values())} kB resident"
              f" (own {kinds['own']}, files {kinds['files']}, segment {kinds['segment']})")


if __name__ == "__main__":
    main(*sys.argv[1:])
