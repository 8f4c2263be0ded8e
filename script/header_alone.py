"""Compiles each header by itself: header_alone.py COMPILE_COMMANDS HEADER ... The options are those of a source of the
same folder, where there is one, else of the shell."""

import json
import shlex
import subprocess
import sys
from pathlib import Path


def options_by_folder(database, top):
    """Compiler and options of one source for each folder, without what names that source."""
    found = {}
    for entry in json.loads(database.read_text()):
        source = Path(entry["file"])
        words = shlex.split(entry["command"])
        if "-o" in words:
            at = words.index("-o")
            del words[at:at + 2]
        words = [word for word in words if word not in ("-c", entry["file"])]
        if words and words[0].endswith("ccache"):
            del words[0]
        folder = source.parent.relative_to(top) if source.is_relative_to(top) else source.parent
        found.setdefault(folder, words)
    return found


def main(database, headers):
    top = Path.cwd()
    options = options_by_folder(database, top)
    status = 0
    for header in map(Path, headers):
        words = options.get(header.parent) or options[Path("shell")]
        alone = ["-fsyntax-only", "-x", "c++", "-include", str(top / header), "/dev/null"]
        done = subprocess.run([*words, *alone], cwd=database.parent, check=False)
        if done.returncode:
            print(f"{header}: does not compile alone")
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]), sys.argv[2:]))
