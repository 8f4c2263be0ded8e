"""What README and docs show is what happens: each session in a ```console block is typed on a desk of its own, and each
script that is named there takes the options that are named with it.

In a block `$ ` is a shell's prompt at the top of the tree, and `zt>` the prompt that `$ script/run` opens, which stays
open beside what the shell is told then. What follows is the answer. Numbers with a unit waver with the loads, and are
held to a quarter; "[...]" stands for the rest of a line.
"""

import os
import re
import subprocess
from dataclasses import dataclass, field

import pytest

from desk import BIN, REPOSITORY, wait_until

PAGES = [REPOSITORY / "README.md", *sorted((REPOSITORY / "docs").glob("*.md"))]
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.M | re.S)
PROMPT = re.compile(r"(\$ |zt>)(.*)")
OPENING = re.compile(r"script/run( -\S+( \S+)?)*")  # without a command
READING = re.compile(r"(status|current|sensors|fuses|hwocp)\b")
MEASURED = re.compile(r"(\d+\.\d+)(?=A|V|W|kWh|%|\xb0|afu)")

pytestmark = pytest.mark.skipif(BIN != REPOSITORY / "build/bin", reason="script/run takes the programs in build/")


@dataclass
class Step:
    prompt: str
    line: str
    answer: list = field(default_factory=list)


def steps_of(text):
    steps = []
    for line in text.splitlines():
        if found := PROMPT.fullmatch(line):
            steps.append(Step(found[1].strip(), found[2]))
        else:
            steps[-1].answer.append(line)
    return steps


SESSIONS = [pytest.param(steps_of(text), id=f"{page.stem}-{number}") for page in PAGES
            for number, (kind, text) in enumerate(BLOCK.findall(page.read_text()), 1) if kind == "console"]


def same(shown, written):
    if written.endswith("[...]"):
        written = written.removesuffix("[...]")
        shown = shown[:len(written)]
    if MEASURED.sub("", shown) != MEASURED.sub("", written):
        return False
    pairs = zip(map(float, MEASURED.findall(shown)), map(float, MEASURED.findall(written)))
    return all(abs(one - other) <= max(1, other / 4) for one, other in pairs)


def is_answer(shown, step):
    lines = [line.rstrip() for line in shown.splitlines()]
    written = [line.rstrip() for line in step.answer]
    return len(lines) == len(written) and all(map(same, lines, written))


class Prompt:
    """The prompt of script/run on a pipe, which shows what is typed as a terminal would."""

    def __init__(self, command):
        self.process = subprocess.Popen(["bash", "-c", f"exec {command}"], cwd=REPOSITORY, env=environment(),
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        bufsize=0)
        self.read_to_prompt()

    def read_to_prompt(self):
        shown = b""
        while not (b"\n" + shown).endswith(b"\nzt>"):
            more = self.process.stdout.read(65536)
            if not more:
                break
            shown += more
        return shown.removesuffix(b"zt>").decode("latin-1")

    def type(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        return self.read_to_prompt().partition("\n")[2]

    def end(self):
        self.process.stdin.close()
        self.process.wait(30)


def environment():
    return {name: value for name, value in os.environ.items() if not name.startswith("ZT_")} | {"TERM": "dumb"}


def in_shell(line):
    done = subprocess.run(["bash", "-c", line], cwd=REPOSITORY, env=environment(), stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=120, check=False)
    return done.stdout.decode("latin-1")


def perform(step, prompt):
    """A person reads an answer before the next line; until then the monitor has polled what the last line changed."""
    ask = prompt.type if step.prompt == "zt>" else in_shell
    shown = ask(step.line)
    if READING.match(step.line):
        wait_until(lambda: is_answer(shown, step) or is_answer(ask(step.line), step), what=f"{step}, for '{shown}'")
    else:
        assert is_answer(shown, step), f"{step}: '{shown}'"


@pytest.mark.parametrize("steps", SESSIONS)
def test_session_in_the_documents_is_what_happens(steps):
    prompt = None
    try:
        for step in steps:
            if OPENING.fullmatch(step.line):
                prompt = Prompt(step.line)
            else:
                perform(step, prompt)
    finally:
        if prompt:
            prompt.end()


CALLED_BY_OTHERS = {"script/desk", "script/furnish", "script/tour.py", "script/tour.txt"}  # never typed


def named_scripts():
    """Each command line of one of the scripts, between backticks or in a block that is no session."""
    for page in PAGES:
        text = page.read_text()
        blocks = [block for kind, block in BLOCK.findall(text) if kind != "console"]
        spans = re.findall(r"`([^`\n]+)`", BLOCK.sub("", text))
        for line in [*spans, *(line for block in blocks for line in block.splitlines())]:
            found = re.match(r"(script/[\w.]+)((?: +(?!  )[^ ]+)*)", line)
            if found and found[1] not in CALLED_BY_OTHERS:
                yield page.name, found[1], tuple(word for word in found[2].split() if word.startswith("-"))


@pytest.mark.parametrize("page, script, options", sorted(set(named_scripts())))
def test_script_in_the_documents_takes_its_options(page, script, options):
    done = subprocess.run([REPOSITORY / script, "--help"], capture_output=True, text=True, timeout=60, check=False,
                          stdin=subprocess.DEVNULL)
    assert done.returncode == 0 and done.stdout.startswith("Usage: "), f"{page}: {script}: {done.stderr}"
    assert all(re.search(rf"(?<!\S){option}\b", done.stdout) for option in options), f"{page}: {script} {options}"


def test_pages_that_are_linked_exist():
    for page in PAGES:
        for link in re.findall(r"\]\((?!https?:)([^)#]+)\)", page.read_text()):
            assert (page.parent / link).exists(), f"{page.name}: {link}"
