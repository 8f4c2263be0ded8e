"""What script/lint can see by reading: tree_rules.py TOP shows the longest functions and files, for a reader to judge,
and then each breach of a rule as file:line: words. The status is 1 where there is one."""

import re
import subprocess
import sys
from pathlib import Path

PRODUCT = ("shell", "client", "core", "cmd")
ROOMS = (*PRODUCT, "platform", "appliance", "bench", "tests")

# What a room may include besides itself and the platform's headers (platform/include, named without a folder). Anybody
# may include the chief header.
ARROWS = {
    "shell": {"cmd", "core", "client", "platform/root.h"},
    "cmd": {"core", "client", "platform/root.h", "shell/commands.h"},
    "core": {"client", "platform/root.h"},
    "client": set(),
    "platform": set(),
    "appliance": {"client", "core/shm_layout.h", "platform/root.h"},
    "bench": {"client", "core", "platform"},
    "tests": {*PRODUCT, "platform", "appliance"},
}
CHIEF = "shell/cli.h"
LIBRARY_OWNERS = {"readline": ("shell/input", "shell/output", "cmd/cmd_serial")}

# A conditional of the product is about the compiler at hand; the platform is chosen by what is linked.
CONDITIONS = ("__FILE_NAME__", "__SANITIZE_ADDRESS__")

# Each pattern is written so that it does not find itself.
WORDS = {
    r"\b[Ss]pecification": "a document beside the code",
    r"\bthe s[p]ec\b|\bper s[p]ec\b|\bas s[p]ecified\b|\bs[p]ec\.md": "a document beside the code",
    r"\bP[a]rt \d+\.\d+": "a document beside the code",
    r"(?<![\w/])/(wor[k]|roo[t]|hom[e])/": "the path of a build machine",
    r"\b(TO[D]O|FI[X]ME|X[X]X|HA[C]K)\b|\bnot impl[e]mented\b|\bfor n[o]w\b|\bpl[a]ceholder\b": "unfinished work",
    r"\bsub-?[a]gents?\b|\blanguage m[o]del\b|\bA[I] assistant\b": "what is no part of the project",
}
LONGEST_LINE = 120
TEXT_FILES = {".cpp", ".h", ".py", ".sh", ".md", ".toml", ""}
ANSWERS = {".ok", ".in"}  # the system's own words, as long as they are

INCLUDE = re.compile(r'\s*#\s*include\s*(["<])([^">]+)[">]')
CONDITIONAL = re.compile(r"\s*#\s*(?:el)?ifn?(?:def)?\b(.*)")


def files_of(top):
    """What is under version control, and what is about to be."""
    command = ["git", "-C", top, "ls-files", "-co", "--exclude-standard", "-z"]
    listed = subprocess.run(command, capture_output=True, check=True)
    names = listed.stdout.decode().split("\0")
    return sorted(Path(name) for name in names if name and (top / name).is_file())


def include_breach(name, bracket, target, platform_headers):
    """Why this file must not include that, or None."""
    room = name.parts[0]
    if bracket == "<":
        owners = next((owners for library, owners in LIBRARY_OWNERS.items() if target.startswith(library + "/")), None)
        if owners and room in PRODUCT and str(name.with_suffix("")) not in owners:
            return f"<{target}> belongs to {', '.join(owners)}"
        return None
    if "/" not in target:
        return None if target in platform_headers or room == "tests" else f"'{target}' is named without its room"
    to = target.split("/")[0]
    if to == room or target == CHIEF or to in ARROWS[room] or target in ARROWS[room]:
        return None
    return f"no arrow leads from {room}/ to '{target}'"


def arrow_breaches(name, lines, platform_headers):
    if name.parts[0] not in ROOMS or name.suffix not in (".cpp", ".h"):
        return
    for number, line in enumerate(lines, start=1):
        if found := INCLUDE.match(line):
            if words := include_breach(name, *found.groups(), platform_headers):
                yield number, words
        elif name.parts[0] in PRODUCT and (found := CONDITIONAL.match(line)):
            if not any(condition in found[1] for condition in CONDITIONS):
                yield number, "a conditional in the product"


def text_breaches(name, lines):
    for number, line in enumerate(lines, start=1):
        for pattern, what in WORDS.items():
            if found := re.search(pattern, line):
                yield number, f"'{found[0]}' names {what}"
        if name.suffix in TEXT_FILES or name.name == "CMakeLists.txt":
            if len(line) > LONGEST_LINE and not line.startswith("|"):  # a row of a table can't be wrapped
                yield number, f"{len(line)} columns"
            if line.rstrip() != line:
                yield number, "blanks at the end"


def functions_of(name, lines):
    """(length, where) of each function. The formatter puts a function's own braces at the left edge, alone."""
    start = None
    for number, line in enumerate(lines, start=1):
        if line == "{":
            start = number
            while start > 1 and lines[start - 2].strip() and not re.match(r"[}#/]|.*;$", lines[start - 2]):
                start -= 1
        elif line == "}" and start:
            yield number - start + 1, f"{name}:{start}: {lines[start - 1].strip()[:80]}"
            start = None


def show(title, rows, count=10):
    print(f"\n{title}")
    for length, where in sorted(rows, key=lambda row: -row[0])[:count]:
        print(f"{length:6}  {where}")


def main(top):
    platform_headers = {path.name for path in (top / "platform/include").glob("*.h")}
    breaches, functions, files = [], [], []
    for name in files_of(top):
        try:
            lines = (top / name).read_text().splitlines()
        except UnicodeDecodeError:
            continue
        found = [*text_breaches(name, lines)] if name.suffix not in ANSWERS else []
        found += arrow_breaches(name, lines, platform_headers)
        breaches += [f"{name}:{number}: {words}" for number, words in sorted(found)]
        if name.suffix == ".cpp" and name.parts[0] not in ("tests", "bench"):
            functions += functions_of(name, lines)
        if name.suffix in (".cpp", ".h") and name.parts[0] in ROOMS:
            files.append((len(lines), str(name)))
    lengths = sorted(length for length, _ in functions)
    if lengths:
        show("longest functions, lines:", functions)
        print(f"{len(lengths)} functions: median {lengths[len(lengths) // 2]}, nine in ten at most "
              f"{lengths[len(lengths) * 9 // 10]}")
    show("longest files, lines:", files)
    print("", *breaches, sep="\n")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1])))
