"""The commands as they are told to people: what the program says of itself (the list of list_commands.cpp), joined with
what is written about it by hand (commands.toml). Whatever does not match ends in a Mismatch."""

import json
import re
import tomllib
from dataclasses import dataclass, field

CONVERSION = re.compile(r"%[-0-9.]*(?:\[[^\]]*\]|lf|[dsfc])")
FIELD = re.compile(r"\{[^{}]*\}")
OWN_KEYS = {"brief", "arguments", "forms", "rows", "text", "answers"}


class Mismatch(Exception):
    pass


@dataclass
class Word:
    """A word of a form: one that stands there as it is, or the name of what stands there."""
    text: str
    literal: bool


@dataclass
class Answer:
    words: str  # with {names} where values stand
    meaning: str


@dataclass
class Command:
    name: str
    brief: str
    text: str
    says: str  # what `NAME help` says of it, without the forms
    has_help: bool
    forms: list = field(default_factory=list)  # lists of Words, in the order of the table
    answers: list = field(default_factory=list)


@dataclass
class Manual:
    groups: list  # (title, [Command])
    values: dict  # by the name of an argument, what it can be where that is a short list
    commands: dict  # by name, in the order of the list


def shape(words):
    """A text with its values left out, by which a text written by hand is known to be one of the program's."""
    return FIELD.sub("{}", words)


def shape_of_format(text):
    return CONVERSION.sub("{}", text).replace("%%", "%")


def prose(usage, outlet_string):
    """The sentences of a usage text: what stands behind the forms, which begin at "Usage:" and go on indented."""
    lines = usage.replace(outlet_string, "").splitlines()
    while lines and (lines[0].startswith("Usage:") or lines[0].startswith(" ")):
        lines.pop(0)
    return " ".join(" ".join(lines).split())


def listed_names(listing):
    found = re.fullmatch(r"Available commands:\n\n(.*)\n\nNOTE: .*", listing, re.DOTALL)
    return found[1].split()


def words_of(pattern, names):
    words, names = [], list(names)
    for word in pattern.removesuffix("%n").split():
        if CONVERSION.fullmatch(word):
            words.append(Word(names.pop(0), False))
        else:
            words.append(Word(word, True))
    return words


def forms_of(name, rows, said, known):
    """The forms of a command's rows. `arguments` names the values in order, `rows` those of the rows that differ."""
    usual, other = said.get("arguments", "").split(), dict(said.get("rows", {}))
    used = 0
    for row in rows:
        own = other.pop(row["pattern"], None)
        names = own.split() if own is not None else usual[:row["count"]]
        if len(names) != row["count"]:
            raise Mismatch(f"{name}: '{row['pattern']}' has {row['count']} values, named are {len(names)}")
        if own is None:
            used = max(used, len(names))
        if unknown := [one for one in names if one not in known]:
            raise Mismatch(f"{name}: no argument is called '{unknown[0]}'")
        if not row["shows_usage"]:
            yield words_of(row["pattern"], names)
    if other:
        raise Mismatch(f"{name}: no row is '{next(iter(other))}'")
    if used < len(usual):
        raise Mismatch(f"{name}: no row has the value '{usual[used]}'")


def answers_of(name, rows, said, program):
    """The answers, each of which is a format of the rows or stands in the program; no format is left out."""
    formats = {shape_of_format(text.strip("\n")) for row in rows if not row["shows_usage"]
               for text in (row["format"], row["error_format"]) if text}
    seen = set()
    for words, meaning in said.get("answers", []):
        seen.add(shape(words))
        if shape(words) not in formats:
            for piece in FIELD.split(words):
                if piece.encode() not in program:
                    raise Mismatch(f"{name}: the program never says '{piece}'")
        yield Answer(words, meaning)
    if name != "help" and (missing := formats - seen - {"{}"}):
        raise Mismatch(f"{name}: nothing is said of the answer '{missing.pop()}'")


def read_manual(list_path, data_path, program=None):
    """`program` is the program's file, in which answers are looked up; None where they are not wanted."""
    with open(list_path) as file:
        listed = json.load(file)
    with open(data_path, "rb") as file:
        data = tomllib.load(file)

    values = {name: said.get("values", []) for name, said in data.pop("argument").items()}
    groups = data.pop("group")
    names = listed_names(listed["listing"])
    grouped = [name for group in groups for name in group["commands"]]
    if sorted(grouped) != sorted(names) or set(data) != set(names):
        raise Mismatch(f"'help' lists other commands: {sorted((set(names) ^ set(grouped)) | (set(names) ^ set(data)))}")

    rows_by_word = {}
    for row in listed["rows"]:
        rows_by_word.setdefault(row["pattern"].split()[0], []).append(row)
    usages = " ".join(row["format"] for row in listed["rows"] if row["shows_usage"])
    for name, own in values.items():
        for value in own:
            if not re.search(rf"[<|\['( ]{re.escape(value)}[>|\]') ]", usages):
                raise Mismatch(f"no usage text knows the value '{value}' of '{name}'")

    commands, used = {}, set()
    for name in names:
        said = data[name]
        if unknown := set(said) - OWN_KEYS:
            raise Mismatch(f"{name}: unknown key '{unknown.pop()}'")
        rows = [row for word in (name, *said.get("forms", [])) for row in rows_by_word.pop(word, [])]
        if not rows:
            raise Mismatch(f"{name}: no row of the table")
        usage = next((row["format"] for row in rows if row["pattern"] == f"{name} help"), "")
        command = Command(name, said["brief"], said.get("text", ""), prose(usage, listed["outlet_string"]), bool(usage))
        command.forms = list(forms_of(name, rows, said, values))
        used |= {word.text for form in command.forms for word in form if not word.literal}
        if program is not None:
            command.answers = list(answers_of(name, rows, said, program))
        commands[name] = command
    if rows_by_word:
        raise Mismatch(f"no command has the rows of '{next(iter(rows_by_word))}'")
    if left := set(values) - used:
        raise Mismatch(f"no form has the argument '{left.pop()}'")
    return Manual([(group["title"], [commands[name] for name in group["commands"]]) for group in groups], values,
                  commands)
