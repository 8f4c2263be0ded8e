"""make_completion.py LIST DATA FRAMES FOLDER: writes the completion for bash and zsh into FOLDER, from the frames and
what docs/man/command_data.py knows of the commands."""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "docs/man"))

from command_data import Mismatch, read_manual  # noqa: E402

ANY = "*"  # stands in a state for a word that is not one of the fixed ones


def states(manual):
    """By the words before it, with ANY for values, what a word can be."""
    found = {(): list(manual.commands)}
    for command in manual.commands.values():
        found[(command.name,)] = ["help"] if command.has_help else []
        if command.has_help:
            found[(command.name, "help")] = []
        for form in command.forms:
            state = ()
            for word in form:
                offered = found.setdefault(state, [])
                if state:
                    offered += [one for one in ([word.text] if word.literal else manual.values[word.text])
                                if one not in offered]
                state += (word.text if word.literal else ANY,)
            found.setdefault(state, [])
    return found


def cases(manual):
    """The lines of the shells' choice among states; the two write it alike."""
    for state, offered in sorted(states(manual).items()):
        yield f"    '{' '.join(state)}') offered='{' '.join(sorted(offered))}' ;;"


def briefs(manual):
    for command in manual.commands.values():
        yield f"        '{command.name}:{command.brief}'"


def fill(frame, marks):
    lines = []
    for line in frame.read_text().splitlines():
        lines += marks.get(line.strip(), [line])
    return "".join(f"{line}\n" for line in lines)


def main(list_path, data_path, frames, folder):
    manual = read_manual(list_path, data_path)
    marks = {"@STATES@": list(cases(manual)), "@COMMANDS@": list(briefs(manual))}
    if any("'" in command.brief or ":" in command.brief for command in manual.commands.values()):
        raise Mismatch("no brief may hold a quote mark or a colon")
    for name in ("ztcli.bash", "_ztcli"):
        Path(folder, name).write_text(fill(Path(frames, f"{name}.in"), marks))


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except Mismatch as mismatch:
        sys.exit(f"make_completion.py: {mismatch}")
