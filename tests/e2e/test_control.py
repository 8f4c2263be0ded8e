"""morvdctl at the real desk: what it changes shows at the prompt, and its words are those of its help, its completions
and its page."""

import re
import subprocess

import pytest

from desk import BIN, CHAINS, MORVD, REPOSITORY, Desk, wait_until

MORVDCTL = BIN / "morvdctl"
COMPLETION = REPOSITORY / "completion"
FORM = re.compile(r"^  ([a-z].*?)  ", re.MULTILINE)


def control(desk, *words, **env):
    return subprocess.run([MORVDCTL, *words], env={**desk.env, **env}, stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, timeout=30, check=False)


@pytest.fixture(name="real")
def real_desk(desk):
    desk.appliance("desk.toml", "--driven-clock")
    return desk


@pytest.fixture(name="told", scope="module")
def desk_without_a_monitor():
    """For what shows in the daemon alone; one for all, which leave it as it was."""
    made = Desk()
    made.daemon(MORVD, "--driven-clock", CHAINS / "desk.toml")
    yield made
    made.close()


def done(desk, *words):
    outcome = control(desk, *words)
    assert (outcome.returncode, outcome.stderr) == (0, ""), outcome
    return outcome.stdout


def shows(desk, line, text):
    """Whether the prompt comes to answer so, once the monitor has looked again."""
    wait_until(lambda: text in desk.run(*line.split()).stdout.decode("latin-1"), what=f"'{text}' for '{line}'")


# --- What it changes ---


def test_load_shows_at_the_prompt(real):
    done(real, "noise", "off")
    done(real, "load", "rack2", "backup", "10A")
    shows(real, "current summary 2 1", "2,1:10.0A,")


def test_fuse_that_blows_and_is_mended_shows_at_the_prompt(real):
    done(real, "fuse", "blow", "2", "A1")
    shows(real, "fuses 2", "segment A1 is BLOWN")
    done(real, "fuse", "mend", "2", "A1")
    shows(real, "fuses 2", "segment A1 is OK")


def test_unit_whose_link_breaks_is_gone_from_the_prompt_and_returns_with_its_settings(real):
    session = real.prompt()
    assert session.command("id 2 archive") == b"IPDU #2 ID is set to archive.\n"
    done(real, "link", "break", "archive")
    wait_until(lambda: b"#2" not in session.command("id"), what="the unit's leaving")
    assert session.command("id") == b"IPDU #1 ID = rack1\nIPDU #3 ID = rack3\n"
    done(real, "link", "mend", "2")
    wait_until(lambda: b"#2" in session.command("id"), what="the unit's return")
    assert session.command("id 2") == b"IPDU #2 ID = archive\n"


def test_chain_that_is_cut_has_its_first_unit_left(real):
    done(real, "link", "cut", "2")
    wait_until(lambda: real.run("id").stdout == b"IPDU #1 ID = rack1\n", what="the chain's end")


def test_tripped_protection_is_reset_at_the_prompt(real):
    done(real, "unit", "trip", "2")
    shows(real, "hwocp 2", "is tripped.")
    assert "unit 2  rack2  ZT-1PH-16  at 1.2  0.0 A  [tripped]\n" in done(real, "show")
    assert real.run("hwocp", "2", "reset").stdout == b"IPDU #2: HW overcurrent protection was reset.\n"


def test_show_has_the_clock_and_the_faults(told):
    done(told, "clock", "advance", "1.5h")
    done(told, "fault", "refuse", "info", "power.port.*.name", "7")
    shown = done(told, "show").splitlines()
    assert (shown[0], shown[-1]) == ("clock 2024-01-01 01:30:00 (driven)", "fault refuse info power.port.*.name 7 0 0")
    assert done(told, "fault", "list") == "refuse info power.port.*.name 7 0 0\n"
    done(told, "fault", "clear")
    assert done(told, "fault", "list") == ""


def test_one_unit_is_shown_alone(told):
    shown = done(told, "show", "rack3")
    assert shown.startswith("unit 3  rack3  ") and shown.count("unit ") == 1 and "  sensor  WATER1   floor" in shown


def test_request_on_the_tree_shows_its_answer(told):
    assert done(told, "ask", "info", "power.outlet.web2.outlet") == "2\n"
    assert done(told, "ask", "mlist", "power.port.1.pdu") == "1\n2\n3\n"
    assert done(told, "ask", "admin", "power.command.unlock", "1.1.1") == ""
    refused = control(told, "ask", "info", "power.nothing")
    assert (refused.returncode, refused.stdout) == (1, "")
    assert refused.stderr.startswith("morvdctl: 'ask' was refused: ")


def test_socket_can_be_named(told):
    assert control(told, "-s", told.root / "run/morvd.sock", "noise", "off", ZT_ROOT="/nowhere").returncode == 0


# --- What is wrong ---


@pytest.mark.parametrize("words, status, complaint", [
    (["lod"], 2, "unknown word 'lod', did you mean 'load'?; try 'morvdctl help'"),
    (["load", "1"], 2, "too few words: load UNIT OUTLET LOAD [POWER_FACTOR]; try 'morvdctl help'"),
    (["-x"], 2, "unknown option '-x'; try 'morvdctl help'"),
    (["-s"], 2, "option '-s' needs a value; try 'morvdctl help'"),
    (["help", "lod"], 2, "unknown word 'lod', did you mean 'load'?"),
    (["load", "9", "1", "5"], 1, "no unit '9'; there are 1 to 3, 'rack1', 'rack2' and 'rack3'"),
    (["fuse", "blow", "3", "A1"], 1, "circuit 'A1' has no fuse"),
    (["sensor", "set", "1", "TEMP1", "hot"], 1, "'sensor set' was refused: bad value; 'TEMP1' takes -40 to 125 oC"),
    (["link", "break", "1"], 1, "unit 'rack1' has no link: it is the appliance's own unit"),
], ids=lambda value: "-".join(value) if isinstance(value, list) else None)
def test_complaint_says_what_would_be_right(told, words, status, complaint):
    outcome = control(told, *words)
    assert (outcome.returncode, outcome.stdout, outcome.stderr) == (status, "", f"morvdctl: {complaint}\n")


def test_desk_that_is_not_there_is_named(desk):
    outcome = control(desk, "show")
    assert outcome.returncode == 1
    assert outcome.stderr == (f"morvdctl: no desk at '{desk.root}/run/morvd.sock': No such file or directory; "
                              "start one with script/run, or name its socket with -s\n")


# --- Its words ---


def forms():
    """The words of each form that the help shows, without its arguments."""
    text = subprocess.run([MORVDCTL, "help"], capture_output=True, text=True, check=True).stdout
    found = [tuple(word for word in form.split() if word.islower()) for form in FORM.findall(text)]
    assert len(found) == 28
    return found


def test_help_of_a_word_has_its_forms():
    text = subprocess.run([MORVDCTL, "help", "fuse"], capture_output=True, text=True, check=True).stdout
    assert [line.split("  ")[1] for line in text.splitlines()] == ["fuse blow UNIT CIRCUIT", "fuse mend UNIT CIRCUIT"]


def completed_by_bash(*words):
    script = (f'. "{COMPLETION}/morvdctl.bash"; COMP_WORDS=(morvdctl "$@"); COMP_CWORD=$#; _morvdctl; '
              'printf "%s\\n" "${COMPREPLY[@]}"')
    done_ = subprocess.run(["bash", "-c", script, "bash", *words], capture_output=True, text=True, check=True)
    assert done_.stderr == ""
    return set(done_.stdout.split())


def second_words():
    seconds = {}
    for words in forms():
        seconds.setdefault(words[0], set()).update(words[1:])
    return seconds


def test_bash_completes_the_words_of_the_table():
    seconds = second_words()
    assert completed_by_bash("") == {*seconds, "help"}
    assert completed_by_bash("s") == {"show", "sensor"}
    for word, behind in seconds.items():
        assert completed_by_bash(word, "") == behind, word
    assert completed_by_bash("help", "") == set(seconds)
    assert completed_by_bash("-") == {"-s", "--socket", "-h", "--help", "-V", "--version"}
    assert completed_by_bash("-s", "/tmp/x", "fuse", "") == {"blow", "mend"}


def test_zsh_completes_the_words_of_the_table():
    text = (COMPLETION / "_morvdctl").read_text(encoding="ascii")
    table = {word: set(behind.split()) for word, behind in re.findall(r"^        (\w+) '([^']*)'$", text, re.MULTILINE)}
    seconds = second_words()
    assert table == {**{word: behind for word, behind in seconds.items() if behind}, "help": set(seconds)}
    first = re.search(r"'1: :\(([^)]*)\)'", text)[1].split()
    assert set(first) == {*seconds, "help"}


def test_page_has_every_word():
    page = (REPOSITORY / "docs/man/morvdctl.8").read_text(encoding="ascii")
    heads = re.findall(r"^\.It Cm (.*)$", page, re.MULTILINE)
    told = {(words[0], second) for words in (head.replace(" | ", "|").split() for head in heads)
            for second in (words[1].split("|") if len(words) > 1 else [""])}
    for words in forms():
        second = words[1] if len(words) > 1 else None
        assert any(first == words[0] and second in (None, also) for first, also in told), words
