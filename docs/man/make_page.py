"""Makes the pages of the manual that tell what stands in the code:

make_page.py commands LIST PROGRAM DATA FRAME PAGE   the commands of the program, with what commands.toml says of them
make_page.py chain LIST DATA FRAME PAGE              the keys of a chain file, with what chain_keys.toml says of them

FRAME is the page with a line `.\\" COMMANDS` or `.\\" KEYS` where the list goes."""

import json
import re
import sys
import textwrap
import tomllib
from pathlib import Path

from command_data import FIELD, Mismatch, read_manual

WIDTH = 78  # of a text line

# --- mdoc -----------------------------------------------------------------------------------------------------------


def escape(text):
    return text.replace("\\", "\\e").replace("°", "\\(de")


def sentences(text):
    """Running text as mdoc wants it, each sentence on a line of its own."""
    for line in re.sub(r"([.;:!?]) (?=\S)", "\\1\n", escape(text)).splitlines():
        yield "\\&" + line if line.startswith((".", "'")) else line


def quoted(text):
    """One word of a macro's line, whatever it holds."""
    return '"' + text.replace('"', '""') + '"'


def answer_head(words):
    """The words of an answer, with its sample values told apart from them."""
    shown = FIELD.sub(lambda found: f"\\fI{found[0][1:-1]}\\fR", escape(words))
    return quoted(f"\\&{shown}")


def wrapped(line):
    """A line of running text in lines that are short enough; what begins with a macro stays."""
    if line.startswith((".", "'")) or len(line) <= WIDTH:
        return [line]
    return [("\\&" if one.startswith((".", "'")) else "") + one
            for one in textwrap.wrap(line, WIDTH, break_long_words=False, break_on_hyphens=False)]


def insert(frame, mark, lines):
    """The frame with the lines in the place of the mark."""
    text = Path(frame).read_text()
    line = f'.\\" {mark}\n'
    if text.count(line) != 1:
        raise Mismatch(f"{frame}: not one line '{line.strip()}'")
    return text.replace(line, "".join(f"{short}\n" for one in lines for short in wrapped(one)))


# --- Forms ----------------------------------------------------------------------------------------------------------


def split_form(form):
    """The fixed words that a form begins with, and all behind them."""
    count = next((index for index, word in enumerate(form) if not word.literal), len(form))
    return tuple(word.text for word in form[:count]), form[count:]


def chains(forms):
    """Forms that go on from one another, [unit], [unit element], as one: lists of word lists, each the next's head."""
    made = []
    for form in sorted(forms, key=len):
        found = next((chain for chain in made if form[:len(chain[-1])] == chain[-1] and len(form) > len(chain[-1])),
                     None)
        if found:
            found.append(form)
        else:
            made.append([form])
    return made


def macros(words):
    return [part for word in words for part in (("Cm" if word.literal else "Ar"), word.text)]


def chain_macros(chain):
    parts, before = macros(chain[0]), len(chain[0])
    for longer in chain[1:]:
        parts += ["Oo", *macros(longer[before:])]
        before = len(longer)
    return parts + ["Oc"] * (len(chain) - 1)


def form_heads(forms):
    """Lines for a list's heads: forms with the same fixed words as one, optional words bracketed; fixed words that
    differ in the last alone side by side."""
    by_words = {}
    for form in forms:
        words, rest = split_form(form)
        by_words.setdefault(words, []).append(rest)
    alike = {}
    for words, rests in by_words.items():
        for chain in chains(rests):
            base, last = (words[:-1], words[-1]) if len(words) > 1 else (words, "")
            alike.setdefault((base, tuple(chain_macros(chain))), []).append(last)
    for (base, parts), last in alike.items():
        choice = ["Cm", *" | ".join(word for word in last if word).split()] if any(last) else []
        if choice and "" in last:
            choice = ["Oo", *choice, "Oc"]
        yield " ".join([".It Ic", *base, *choice, *parts])


# --- Commands -------------------------------------------------------------------------------------------------------


def command_lines(command):
    yield from form_heads(command.forms)
    if command.says:
        yield ".Do"
        yield from sentences(command.says)
        yield ".Dc"
        if command.text:
            yield ".Pp"
    yield from command.text.strip().splitlines()
    if command.answers:
        yield ".Pp"
        yield ".Bl -tag -width Ds -compact"
        for answer in command.answers:
            yield f".It {answer_head(answer.words)}"
            yield from sentences(answer.meaning)
        yield ".El"


def commands_page(list_path, program_path, data_path, frame, page):
    manual = read_manual(list_path, data_path, Path(program_path).read_bytes())
    lines = []
    for title, commands in manual.groups:
        lines += [f".Ss {title}", ".Bl -tag -width Ds"]
        for command in commands:
            lines += command_lines(command)
        lines.append(".El")
    Path(page).write_text(insert(frame, "COMMANDS", lines))


# --- Chain file -----------------------------------------------------------------------------------------------------

KINDS = {"text": "text", "whole": "whole number", "real": "number", "truth": "true or false", "texts": "list of texts",
         "wholes": "list of whole numbers", "reals": "list of numbers"}
TYPES = {"text": (str,), "whole": (int,), "real": (int, float), "truth": (bool,)}
KEY_WORDS = {"default", "otherwise", "text"}


def number(value):
    return f"{value:,.10g}".replace(",", "")


def bounds(rule):
    """What a key may hold, in words."""
    if rule["words"]:
        return " or ".join(filter(None, [", ".join(rule["words"][:-1]), rule["words"][-1]]))
    unit = rule["unit"]
    low, high = number(rule["low"]), number(rule["high"])
    if rule["kind"] in ("text", "texts"):
        return f"{low} to {high} bytes" + (" each" if rule["kind"] == "texts" else "")
    if high == number(2**31 - 1):
        return f"{low} or more" + (f" {unit}" if unit else "")
    return f"{low} to {high}" + (f" {unit}" if unit else "")


def default_words(rule, said):
    """What is taken where the key is left out; a default that is a value must be one that the key may hold."""
    if ("default" in said) == ("otherwise" in said):
        raise Mismatch(f"{rule['name']}: either a default or what stands otherwise")
    if "otherwise" in said:
        words = said["otherwise"]
        return words if words.startswith(("required", "capability")) else f"default: {words}"
    value = said["default"]
    size = len(value) if isinstance(value, str) else value
    if rule["words"] and value not in rule["words"]:
        raise Mismatch(f"{rule['name']}: its default {value!r} is none of its words")
    if type(value) not in TYPES[rule["kind"]] or value is not True and not rule["low"] <= size <= max(rule["high"], 0):
        raise Mismatch(f"{rule['name']}: can't hold its default {value!r}")
    if isinstance(value, bool):
        return f"default: {str(value).lower()}"
    return "default: " + (str(value) or "none")


def key_lines(rule, said):
    if unknown := set(said) - KEY_WORDS:
        raise Mismatch(f"{rule['name']}: unknown word '{unknown.pop()}'")
    facts = [KINDS[rule["kind"]]]
    if rule["kind"] != "truth":
        facts.append(bounds(rule))
    facts.append(default_words(rule, said))
    yield f".It Va {rule['name']}"
    yield f".Pq {'; '.join(escape(fact) for fact in facts)}"
    yield from said["text"].strip().splitlines()


def table_lines(table, said):
    heads = {"": "The file", "authorization": "[authorization]\\&"}
    yield ".Ss " + heads.get(table["place"], f"[[{table['place']}]]\\&")
    yield from said["text"].strip().splitlines()
    if table["most"] > 1:
        yield f"There can be {table['most']} at most."
    keys = [rule for rule in table["keys"] if rule["name"] and rule["kind"] in KINDS]
    written = said.get("key", {})
    if {rule["name"] for rule in keys} != set(written):
        differing = {rule["name"] for rule in keys} ^ set(written)
        raise Mismatch(f"{table['place']}: the reader and chain_keys.toml differ in {sorted(differing)}")
    if keys:
        yield ".Bl -tag -width Ds"
        for rule in keys:
            yield from key_lines(rule, written[rule["name"]])
        yield ".El"


def chain_page(list_path, data_path, frame, page):
    tables = json.loads(Path(list_path).read_text())
    said = tomllib.loads(Path(data_path).read_text())["table"]
    names = [table["place"] or "file" for table in tables]
    if sorted(names) != sorted(said):
        raise Mismatch(f"the reader and chain_keys.toml differ in the tables {sorted(set(names) ^ set(said))}")
    lines = [line for table, name in zip(tables, names) for line in table_lines(table, said[name])]
    Path(page).write_text(insert(frame, "KEYS", lines))


MAKERS = {"commands": commands_page, "chain": chain_page}

if __name__ == "__main__":
    try:
        MAKERS[sys.argv[1]](*sys.argv[2:])
    except Mismatch as mismatch:
        sys.exit(f"make_page.py: {mismatch}")
