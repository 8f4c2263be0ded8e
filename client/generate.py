#!/usr/bin/python3
"""Makes the client layer from catalogue.txt, whose head explains its grammar.

  generate.py --write FOLDER CATALOGUE           the sources of the layer, its header tree.h and the tests' tree_table.h
  generate.py --sample CATALOGUE                 prints one operation per verb, type and star shape, for reviewers
  generate.py --called CATALOGUE OBJECT ...      holds the marks of called operations against what the objects refer to

A fault of the catalogue ends it with status 1 and one line that names the place.
"""

import argparse
import collections
import pathlib
import re
import subprocess
import sys

Verb = collections.namedtuple("Verb", "name types result value")
Type = collections.namedtuple("Type", "name result value text_result")

# Which types a verb can have, and which parameters stand between handle and stars besides its result.
VERBS = {
    "g": Verb("get", "tnb46AcC", True, None),
    "s": Verb("set", "tnb46AcC", False, "value"),
    "i": Verb("info", "tnb46AcC", True, "args"),
    "a": Verb("admin", "", False, "args"),
    "l": Verb("list", "LN", True, None),
    "m": Verb("mlist", "LN", True, None),
    "+": Verb("add", "tn", False, "name"),
    "-": Verb("del", "tn", False, "name"),
    "v": Verb("move", "", False, "move"),
}

TEXT, TEXT_LIST = "const char *", "paramtype_UTF8String_list **"
TYPES = {
    "": Type("none", None, None, None),
    "t": Type("text", "char **", TEXT, "char **"),
    "n": Type("number", "int *", "int ", "char **"),
    "b": Type("boolean", "int *", "int ", "char **"),
    "4": Type("ipv4", "in_addr *", "const in_addr *", "char **"),
    "6": Type("ipv6", "in6_addr *", "const in6_addr *", "char **"),
    "A": Type("ip", "paramtype_ip_address *", "const paramtype_ip_address *", "char **"),
    "c": Type("method4", "int *", "int ", "char **"),
    "C": Type("method6", "int *", "int ", "char **"),
    "L": Type("texts", TEXT_LIST, None, TEXT_LIST),
    "N": Type("numbers", "paramtype_int_list **", None, TEXT_LIST),
}

STAR_KINDS = ("text", "int")
STARS_MAX = 3  # as many as the frame has room for

COMPONENT = r"(?:\*|[a-z0-9]+(?:[-_][a-z0-9]+)*)"

# The sources, by what they hold; None stands for the path builders.
FILES = {
    "tree_get.cpp": ("get",),
    "tree_set.cpp": ("set",),
    "tree_info.cpp": ("info",),
    "tree_admin.cpp": ("admin",),
    "tree_list.cpp": ("list", "mlist"),
    "tree_edit.cpp": ("add", "del", "move"),
    "tree_path.cpp": None,
}


class Fault(Exception):
    """What is wrong with the catalogue, in words."""


# --- Reading the catalogue --------------------------------------------------------------------------------------------


class Operation:
    """One verb on one path."""

    def __init__(self, verb, type_code, called, path):
        self.verb = VERBS[verb]
        self.type = TYPES[type_code]
        self.type_code = type_code
        self.called = called
        self.path = path
        self.kinds = []  # of the stars, in path order
        self.path_name = path_name(path)
        self.name = f"{self.verb.name}_{self.path_name}"


class Catalogue:
    def __init__(self):
        self.operations = []
        self.stars = {}  # path that ends in a star: its kind
        self.expected = {}  # what: (count, count called or None)

    def paths(self):
        """The first operation of each path: builders and counts need one for each."""
        first = {}
        for operation in self.operations:
            first.setdefault(operation.path, operation)
        return list(first.values())

    def builders(self):
        return [operation for operation in self.paths() if operation.kinds]


def path_name(path):
    """The part of a function's name that stands for the path."""
    components = []
    stars = 0
    for component in path.split("."):
        if component == "*":
            component = f"star{stars}"
            stars += 1
        components.append(re.sub(r"[-_](.)", lambda found: found[1].upper(), component))
    return "_".join(components)


def read_expect(catalogue, words):
    what, count, *rest = words[1:] if len(words) in (3, 5) else [None, None]
    if what is None or not count.isdigit() or rest and not (rest[0] == "called" and rest[1].isdigit()):
        raise Fault("expected 'expect WHAT COUNT [called COUNT]'")
    known = ["operations", "paths", "builders", "called"] + [verb.name for verb in VERBS.values()]
    if what not in known:
        raise Fault(f"nothing to count by the name '{what}'")
    if what in catalogue.expected:
        raise Fault(f"'{what}' is expected twice")
    catalogue.expected[what] = (int(count), int(rest[1]) if rest else None)


def read_star(catalogue, words):
    if len(words) != 3 or words[1] not in STAR_KINDS or not words[2].endswith(".*"):
        raise Fault("expected 'star text|int PATH' with a path that ends in a star")
    if words[2] in catalogue.stars:
        raise Fault(f"star '{words[2]}' has its kind already")
    catalogue.stars[words[2]] = words[1]


def read_code(text):
    """The verb code, type code and mark of 'i!:t'."""
    found = re.fullmatch(r"(.)(!?)(?::(.))?", text)
    if not found or found[1] not in VERBS:
        raise Fault(f"unknown verb in '{text}'")
    type_code = found[3] or ""
    if type_code not in TYPES:
        raise Fault(f"unknown type in '{text}'")
    verb = VERBS[found[1]]
    if (type_code not in verb.types) if verb.types else type_code:
        raise Fault(f"verb '{verb.name}' can't have the type of '{text}'")
    if verb.types and not type_code:
        raise Fault(f"verb '{verb.name}' needs a type in '{text}'")
    return found[1], type_code, bool(found[2])


def read_group(catalogue, parent, line):
    codes, bar, leaves = line.partition("|")
    if not bar or not codes.split() or not leaves.split():
        raise Fault("expected 'OPERATION ... | LEAF ...'")
    if not parent:
        raise Fault("a group before the first parent")
    for leaf in leaves.split():
        if not re.fullmatch(COMPONENT, leaf):
            raise Fault(f"'{leaf}' is no leaf")
        for code in codes.split():
            catalogue.operations.append(Operation(*read_code(code), f"{parent}.{leaf}"))


def read_line(catalogue, parent, line):
    """Takes one line in; answers the parent of the groups that follow."""
    words = line.split()
    heading = re.fullmatch(rf"\[({COMPONENT}(?:\.{COMPONENT})*)\]", line)
    if heading:
        return heading[1]
    if words[0] == "expect":
        read_expect(catalogue, words)
    elif words[0] == "star":
        read_star(catalogue, words)
    else:
        read_group(catalogue, parent, line)
    return parent


def give_kinds(catalogue):
    used = set()
    for operation in catalogue.operations:
        for end in re.finditer(r"\*", operation.path):
            position = operation.path[: end.end()]
            if position not in catalogue.stars:
                raise Fault(f"star '{position}' has no kind")
            used.add(position)
            operation.kinds.append(catalogue.stars[position])
        if len(operation.kinds) > STARS_MAX:
            raise Fault(f"path '{operation.path}' has more than {STARS_MAX} stars")
    for position in catalogue.stars:
        if position not in used:
            raise Fault(f"star '{position}' is on no path")


def check_names(catalogue):
    names = collections.Counter(operation.name for operation in catalogue.operations)
    names.update(f"path_{operation.path_name}" for operation in catalogue.builders())
    for name, count in names.items():
        if count > 1:
            raise Fault(f"name '{name}' is made {count} times")


def check_counts(catalogue):
    operations = catalogue.operations
    have = {
        "operations": (len(operations), None),
        "paths": (len(catalogue.paths()), None),
        "builders": (len(catalogue.builders()), None),
        "called": (sum(operation.called for operation in operations), None),
    }
    for verb in VERBS.values():
        mine = [operation for operation in operations if operation.verb is verb]
        have[verb.name] = (len(mine), sum(operation.called for operation in mine))
    for what, found in have.items():
        if what not in catalogue.expected:
            raise Fault(f"no count of '{what}' is expected")
        if catalogue.expected[what] != found:
            raise Fault(f"'{what}' counts {said(found)} where {said(catalogue.expected[what])} is expected")


def said(counts):
    return str(counts[0]) if counts[1] is None else f"{counts[0]} called {counts[1]}"


def read_catalogue(path):
    catalogue = Catalogue()
    parent = None
    try:
        lines = pathlib.Path(path).read_text(encoding="ascii").splitlines()
    except (OSError, UnicodeDecodeError) as cause:
        raise Fault(f"cannot read '{path}': {cause}") from cause
    for number, line in enumerate(lines, 1):
        line = line.partition("#")[0].strip()
        try:
            if line:
                parent = read_line(catalogue, parent, line)
        except Fault as fault:
            raise Fault(f"cannot read '{path}': line {number}: {fault}") from fault
    try:
        give_kinds(catalogue)
        check_names(catalogue)
        check_counts(catalogue)
    except Fault as fault:
        raise Fault(f"cannot read '{path}': {fault}") from fault
    return catalogue


# --- The functions ----------------------------------------------------------------------------------------------------


def between(operation, inner):
    """The parameters between the handle and the stars."""
    parameters = []
    if operation.verb.result:
        parameters.append((operation.type.text_result if inner else operation.type.result) + "result")
    if operation.verb.value == "args":
        parameters.append("const char *const *args")
    elif operation.verb.value == "move":
        parameters += [TEXT + "first", TEXT + "second"]
    elif operation.verb.value:
        parameters.append((TEXT if inner else operation.type.value) + operation.verb.value)
    return parameters


def star_parameters(operation, inner):
    return [
        (TEXT if inner or kind == "text" else "int ") + f"star{number}" for number, kind in enumerate(operation.kinds)
    ]


def signature(operation, inner):
    kind = "psapi" if inner else "tsapi"
    parameters = ["vrn_tsapi_handle *handle"] + between(operation, inner) + star_parameters(operation, inner)
    return wrapped(f"int vrn_{kind}_{operation.name}(", parameters, ")")


def builder_signature(operation):
    return wrapped(f"char *vrn_psapi_path_{operation.path_name}(", star_parameters(operation, True), ")")


def wrapped(head, parameters, tail):
    line = head + ", ".join(parameters) + tail
    if len(line) < 120:
        return line
    lines = [head, "   "]
    for parameter in parameters:
        if len(lines[-1]) + len(parameter) > 116:
            lines.append("   ")
        lines[-1] += f" {parameter},"
    return "\n".join(lines).removesuffix(",") + tail


def record(operation):
    """What the two functions of an operation share. Left to itself the compiler aligns each to 32 bytes."""
    int_stars = sum(1 << number for number, kind in enumerate(operation.kinds) if kind == "int")
    return (
        f"alignas(operation) static constexpr operation {operation.name} = {{\n"
        f"    tree_verb::{operation.verb.name}, tree_type::{operation.type.name},"
        f" {len(operation.kinds)}, {int_stars},\n"
        f'    "{operation.name}",\n'
        f'    "{operation.path}"}};\n'
    )


def star_array(operation, element):
    if not operation.kinds:
        return "", "nullptr"
    stars = ", ".join(f"star{number}" for number in range(len(operation.kinds)))
    return f"    const {element} stars[] = {{{stars}}};\n", "stars"


def input_array(operation, inner):
    """What goes out behind the path: its declaration, if any, and its name in the call."""
    if operation.verb.value is None:
        return "", "nullptr" if inner else "{}"
    if operation.verb.value == "args":
        return "", "args"
    if operation.verb.value == "move":
        return "    const char *const words[] = {first, second};\n", "words"
    if inner:
        return f"    const char *const words[] = {{{operation.verb.value}}};\n", "words"
    return "", operation.verb.value


def body(operation, inner):
    stars_made, stars = star_array(operation, "char *const" if inner else "tree_value")
    input_made, given = input_array(operation, inner)
    result = "result" if operation.verb.result else "{}"
    call = "psapi_call" if inner else "tsapi_call"
    return (
        f"{signature(operation, inner)}\n{{\n{stars_made}{input_made}"
        f"    return {call}({operation.name}, handle, {stars}, {given}, {result});\n}}\n"
    )


def definition(operation):
    return "\n".join([record(operation), body(operation, True), body(operation, False)])


def builder(operation):
    stars_made, stars = star_array(operation, "char *const")
    return (
        f"{builder_signature(operation)}\n{{\n{stars_made}"
        f'    return psapi_path("{operation.path}", {stars});\n}}\n'
    )


# --- The files --------------------------------------------------------------------------------------------------------

HEADER_HEAD = """\
// The operations of the control tree, made from client/catalogue.txt by client/generate.py.
//
// Each answers 0, or non-zero with `result` unwritten; client/frame.h tells the codes and what is logged. A text or a
// list that it gives belongs to the caller, and is null where the daemon's value is absent or its list empty. `args` is
// a null-terminated vector, or null for none.
#pragma once

#include "client/types.h"

struct vrn_tsapi_handle;
"""

SOURCE_HEAD = """\
// Made from client/catalogue.txt by client/generate.py.

#include "client/tree.h"

#include "client/frame.h"
"""


def header(catalogue):
    parts = [HEADER_HEAD, "// Typed values: what the program calls."]
    parts += [signature(operation, False) + ";" for operation in catalogue.operations]
    parts += ["", "// Texts only: the exchange itself."]
    parts += [signature(operation, True) + ";" for operation in catalogue.operations]
    parts += ["", "// The paths, as new heap text; null without memory."]
    parts += [builder_signature(operation) + ";" for operation in catalogue.builders()]
    return "\n".join(parts) + "\n"


def source(catalogue, verbs):
    if verbs is None:
        parts = [builder(operation) for operation in catalogue.builders()]
    else:
        parts = [definition(operation) for operation in catalogue.operations if operation.verb.name in verbs]
    return "\n".join([SOURCE_HEAD] + parts)


def sample(catalogue):
    """The first operation of each verb, type and star shape, and the first builder of each number of stars."""
    parts = []
    seen = set()
    for operation in catalogue.operations:
        shape = (operation.verb, operation.type_code, tuple(operation.kinds))
        if shape not in seen:
            seen.add(shape)
            parts.append(definition(operation))
    for operation in catalogue.builders():
        if len(operation.kinds) not in seen:
            seen.add(len(operation.kinds))
            parts.append(builder(operation))
    return "\n".join(parts)


# --- The table for the tests ------------------------------------------------------------------------------------------

TABLE_HEAD = """\
// Every operation as a row that a test can walk, made from client/catalogue.txt by client/generate.py. The file that
// includes it has included client/tree.h, and declares tree_case and the members that the calls name.

static const tree_case tree_cases[] = {
"""


def table_call(operation, inner):
    arguments = ["handle"]
    type_name = operation.type.name
    if operation.verb.result:
        arguments.append("&with.raw_" + ("texts" if operation.type.text_result == TEXT_LIST else "text") if inner
                         else f"&with.result_{type_name}")
    if operation.verb.value == "args":
        arguments.append("with.args")
    elif operation.verb.value == "move":
        arguments += ["with.first", "with.second"]
    elif operation.verb.value:
        arguments.append("with.value_text" if inner else f"with.value_{type_name}")
    for number, kind in enumerate(operation.kinds):
        arguments.append(f"with.{'text' if inner or kind == 'text' else 'int'}_star({number})")
    call = f"vrn_{'psapi' if inner else 'tsapi'}_{operation.name}({', '.join(arguments)})"
    return f"[](vrn_tsapi_handle *handle, tree_call &with) {{ return {call}; }}"


def table(catalogue):
    rows = []
    for operation in catalogue.operations:
        kinds = "".join(kind[0] for kind in operation.kinds)
        path = "[](tree_call &) -> char * { return nullptr; }"
        if kinds:
            stars = ", ".join(f"with.text_star({number})" for number in range(len(kinds)))
            path = f"[](tree_call &with) {{ return vrn_psapi_path_{operation.path_name}({stars}); }}"
        rows.append(
            f'    {{"{operation.verb.name}", "{operation.type.name}", "{operation.path}", "{operation.path_name}",'
            f' "{kinds}", {str(operation.called).lower()},\n     {table_call(operation, False)},\n'
            f"     {table_call(operation, True)},\n     {path}}},\n"
        )
    return TABLE_HEAD + "".join(rows) + "};\n"


# --- The marks --------------------------------------------------------------------------------------------------------


def referenced(objects):
    """The operations whose outer or inner function the objects refer to, as 'tsapi_info_power_numDevices'."""
    nm = subprocess.run(["nm", "-u", *objects], capture_output=True, text=True, check=False)
    if nm.returncode:
        raise Fault(f"cannot read the objects: {nm.stderr.strip()}")
    names = set()
    for length, rest in re.findall(r"\b_Z(\d+)(vrn_[tp]sapi_\w+)", nm.stdout):
        names.add(rest[: int(length)].removeprefix("vrn_"))
    return names


def check_called(catalogue, objects):
    names = referenced(objects)
    marked = {f"tsapi_{operation.name}" for operation in catalogue.operations if operation.called}
    faults = [f"'vrn_{name}' is called, but not marked as called" for name in sorted(names - marked)]
    faults += [f"'vrn_{name}' is marked as called, but not called" for name in sorted(marked - names)]
    for fault in faults:
        print(f"generate.py: {fault}", file=sys.stderr)
    print(f"{len(names & marked)} of {len(marked)} marked operations are called")
    return 1 if faults else 0


# --- The command ------------------------------------------------------------------------------------------------------


def write(catalogue, folder):
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "tree.h").write_text(header(catalogue), encoding="ascii")
    (folder / "tree_table.h").write_text(table(catalogue), encoding="ascii")
    for name, verbs in FILES.items():
        (folder / name).write_text(source(catalogue, verbs), encoding="ascii")


def main():
    parser = argparse.ArgumentParser(description="Makes the client layer from its catalogue.")
    parser.add_argument("catalogue", type=pathlib.Path)
    parser.add_argument("objects", nargs="*", help="objects and archives that --called looks into")
    parser.add_argument("--write", type=pathlib.Path, metavar="FOLDER")
    parser.add_argument("--sample", action="store_true")
    parser.add_argument("--called", action="store_true")
    options = parser.parse_args()
    try:
        catalogue = read_catalogue(options.catalogue)
        if options.write:
            write(catalogue, options.write)
        if options.sample:
            sys.stdout.write(sample(catalogue))
        return check_called(catalogue, options.objects) if options.called else 0
    except (Fault, OSError) as fault:
        print(f"generate.py: {fault}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
