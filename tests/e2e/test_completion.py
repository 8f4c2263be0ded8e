"""The completion of ztcli's words at a shell: what bash is offered, and both shells at a terminal."""

import shutil
import subprocess

import pexpect
import pytest

from desk import BIN

COMPLETION = BIN.parent / "completion"
BASH, ZSH = COMPLETION / "ztcli.bash", COMPLETION / "_ztcli"
ELEMENTS = "A B C X XN XY XZ Y YN YZ Z ZN"
PROMPT = "ready> "

OFFER = r"""
. "$0"
while IFS= read -r line; do
    IFS=' ' read -r -a COMP_WORDS <<<"$line"
    [[ $line != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _ztcli
    echo "${COMPREPLY[*]}"
done
"""


def offered(*lines):
    """What bash offers for the word at the end of each line, a blank at the end being an empty one."""
    typed = "".join(f"ztcli {line}\n" for line in lines)
    done = subprocess.run(["bash", "--norc", "-u", "-c", OFFER, BASH], input=typed, capture_output=True, text=True,
                          timeout=20, check=True)
    assert done.stderr == ""
    return done.stdout.splitlines()



def test_offers_the_names_that_help_lists(desk):
    desk.chain({"id": "left"})
    listing = desk.run("help").stdout.decode()
    names = listing.removeprefix("Available commands:\n\n").split(" \n\nNOTE")[0].split()
    assert len(names) == 39
    assert offered("", "-d ", "-c ") == [" ".join(sorted(names))] * 3


def test_offers_the_options_that_the_program_shows(desk):
    shown = [line.split()[0] for line in desk.run("-h").stderr.decode().splitlines() if line.startswith("-")]
    assert set(offered("-")[0].split()) == {"-c", *shown}


@pytest.mark.parametrize("line, words", {
    "cur": "current currentprotection",
    "current ": "help reset summary threshold",
    "current re": "reset",
    "current rack1 ": ELEMENTS,
    "current summary 1 X": "X XN XY XZ",
    "current summary ": "",
    "current help ": "",
    "sensors ": "help name reset summary threshold",
    "sensors threshold 1 TEMP1 ": "",
    "sensors threshold 1 TEMP1 4 : 3 : 2 : 1 ": "% C F afu",
    "sensors threshold 1 TEMP1 4 : ": "",
    "display rack1 ": "0 180",
    "display rack1 0 ": "I V",
    "hwocp rack1 ": "reset",
    "network ": "help ipv4 ipv6",
    "network ipv4 ": "address dhcp down",
    "network ipv4 address 10.0.0.2 ": "mask",
    "network ipv6 address fe80 : : 1 ": "prefix",
    "serial 9600 ": "hw no",
    "on ": "all help",
    "ion ": "all",
    "shell ": "help",
    "shell current ": "",
    "exit ": "",
    "nosuch ": "",
    "-d sta": "status",
    "-c sta": "status",
    "-c current su": "summary",
    "-c on -c current su": "summary",
    "on -": "",
}.items())
def test_bash_offers_what_can_stand_there(line, words):
    assert offered(line) == [words]


def at_prompt(command, *setup):
    """A shell at a terminal, with a prompt of its own."""
    shell = pexpect.spawn(command[0], list(command[1:]), encoding="utf-8", timeout=20, dimensions=(24, 200),
                          env={"PATH": f"{BIN}:/usr/bin:/bin", "TERM": "dumb", "HOME": "/nowhere", "LC_ALL": "C"})
    for line in [*setup, f"PS1='{PROMPT}' PS2=''"]:
        shell.sendline(line)
    shell.sendline("echo set''tled")
    shell.expect_exact("settled")
    shell.expect_exact(PROMPT)
    return shell


def expect_line(shell, typed, line):
    """What is typed must become that line by its TABs, and does so within the time of the shell."""
    shell.send(typed)
    shell.sendline("end")
    shell.expect_exact(f"<{line}end>")
    shell.expect_exact(PROMPT)


# Shows the line that it was called with; defined over the program, of which nothing is run here.
SHOW = "ztcli() { echo \"<$*>\"; }"


def test_bash_completes_at_a_terminal():
    shell = at_prompt(["bash", "--norc", "--noprofile", "-i"], "type _init_completion", SHOW, f". '{BASH}'")
    try:
        expect_line(shell, "ztcli volt\tsum\track1 ", "voltage summary rack1 ")
        expect_line(shell, "ztcli -d currentp\tst\t", "-d currentprotection status ")
        expect_line(shell, "ztcli sensors threshold 1 TEMP1 4:3:2:1 a\t", "sensors threshold 1 TEMP1 4:3:2:1 afu ")
    finally:
        shell.close(force=True)


@pytest.mark.skipif(not shutil.which("zsh"), reason="no zsh")
def test_zsh_completes_at_a_terminal():
    shell = at_prompt(["zsh", "-f", "-i"], "unsetopt zle_bracketed_paste; unset zle_bracketed_paste", SHOW,
                      f"fpath=('{ZSH.parent}' $fpath)", "autoload -U compinit && compinit -D -u")
    try:
        expect_line(shell, "ztcli volt\tsum\track1 ", "voltage summary rack1 ")
        expect_line(shell, "ztcli -d currentp\tst\t", "-d currentprotection status ")
        expect_line(shell, "ztcli -c netw\tipv4 ad\t10.0.0.2 \t", "-c network ipv4 address 10.0.0.2 mask ")
        expect_line(shell, "ztcli sensors threshold 1 TEMP1 4:3:2:1 a\t", "sensors threshold 1 TEMP1 4:3:2:1 afu ")
        shell.send("ztcli unl\x04")  # the list of what there is
        shell.expect_exact("unlock outlets")
    finally:
        shell.close(force=True)
