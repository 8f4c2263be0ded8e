"""The manual: each example on its pages is typed, and what comes back is what the page says. Its form is checked by
script/lint.

An example is a line "$ " with a shell command, lines "> " that go on with it, or lines "zt>" that are typed at the
prompt which it opens, and between them what comes back. Blanks at line ends don't count, and a degree sign is the
program's one byte for it. ZT_UPDATE=1 writes the answers anew.
"""

import os
import re
import signal
import subprocess
from pathlib import Path

import pytest

from desk import BIN, CHAINS, MORVD, REPOSITORY, ZTD_NG

SOURCES = REPOSITORY / "docs/man"
LITERAL = re.compile(r"(?<=\n)(\.Bd -literal[^\n]*\n)(\$ .*?)(?=\.Ed\n)", re.DOTALL)
BLOCK_END = "\x01"
ROOT = "/tmp/appliance"  # as the pages name the folder
STARTING = {"morvd.8", "ztd_ng.8", "ztcli-chain.5.in"}  # pages whose examples start the appliance themselves
PAGES = [SOURCES / name for name in ("ztcli.1.in", *sorted(STARTING))]


class Example:
    """A shell command, what is typed at the prompt that it opens, and what comes back."""

    def __init__(self, line):
        self.command, self.typed, self.answer = [line], [], []

    def script(self):
        lines = list(self.command)
        if self.typed:
            lines[-1] += " <<'end of typing'"
            lines += [*self.typed, "end of typing"]
        return "\n".join(lines) + f"\nprintf '{BLOCK_END}'\n"

    def text(self, answer):
        lines = [f"$ {self.command[0]}", *(f"> {line}".rstrip() for line in self.command[1:]), *answer]
        return "".join(f"{line}\n" for line in lines).replace("\\", "\\e").replace("°", "\\(de")


def read_block(block):
    examples = []
    for line in block.splitlines():
        line = line.replace("\\e", "\\").replace("\\(de", "°")
        if line.startswith("$ "):
            examples.append(Example(line[2:]))
        elif line == ">" or line.startswith("> "):
            examples[-1].command.append(line[2:])
        else:
            if line.startswith("zt>"):
                examples[-1].typed.append(line[3:])
            examples[-1].answer.append(line)
    return examples


def run(examples, env, folder):
    """Types the examples of a page at one shell; what comes back for each, in lines."""
    shell = subprocess.Popen(["bash"], env=env, cwd=folder, start_new_session=True, stdin=subprocess.PIPE,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    try:
        typed = "".join(example.script() for example in examples).replace(ROOT, env["ZT_ROOT"])
        shown, _ = shell.communicate(typed.encode(), timeout=60)
    finally:
        try:
            os.killpg(shell.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    answers = shown.replace(b"\xf8", "°".encode()).decode().split(BLOCK_END)
    assert len(answers) == len(examples) + 1 and not answers[-1], shown
    return [[line.rstrip() for line in answer.splitlines()] for answer in answers[:-1]]


def update(path, examples, answers):
    """Writes the page with these answers."""
    texts = iter([example.text(answer) for example, answer in zip(examples, answers)])
    path.write_text(LITERAL.sub(
        lambda found: found[1] + "".join(next(texts) for _ in read_block(found[2])), path.read_text()))


@pytest.mark.parametrize("path", PAGES, ids=lambda path: path.name)
def test_examples_answer_as_the_page_says(path, desk, tmp_path):
    examples = [example for found in LITERAL.finditer(path.read_text()) for example in read_block(found[2])]
    assert examples
    env = {**desk.env, "PATH": f"{BIN}:{os.environ['PATH']}", "ZT_CI_USER": "admin"}
    (tmp_path / "desk.toml").symlink_to(CHAINS / "desk.toml")
    if path.name in STARTING:
        desk.key_file.unlink()
    else:
        desk.appliance("desk.toml", "--driven-clock")
    answers = run(examples, env, tmp_path)
    if os.environ.get("ZT_UPDATE"):
        update(path, examples, answers)
    for example, answer in zip(examples, answers):
        assert answer == example.answer, example.command


@pytest.mark.parametrize("program", [MORVD, ZTD_NG], ids=lambda path: path.name)
def test_options_are_those_that_the_daemon_shows(program):
    shown = subprocess.run([program, "--help"], capture_output=True, text=True, timeout=10, check=True).stdout
    page = (SOURCES / f"{program.name}.8").read_text()
    assert re.findall(r"^\.It Fl (-[-a-z]+)", page, re.MULTILINE) == re.findall(r"^  -(-[-a-z]+)", shown, re.MULTILINE)


def test_variables_are_those_that_are_read():
    sources = [path.read_text() for path in (REPOSITORY / "platform/standalone").glob("*.cpp")]
    read = {name for text in sources for name in re.findall(r'\("(ZT_[A-Z_]+)"', text)}
    page = (SOURCES / "ztcli.1.in").read_text()
    assert set(re.findall(r"^\.It Ev (ZT_[A-Z_]+)", page, re.MULTILINE)) == read
