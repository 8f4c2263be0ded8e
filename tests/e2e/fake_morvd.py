"""A control daemon that answers from a table and remembers what it was asked.

It is written from the wire alone and shares nothing with the appliance's own daemon: RESP2 over a Unix stream socket,
each request an array of bulk strings, one answer each, in order.
"""

import os
import socket
import threading
from dataclasses import dataclass, field


@dataclass
class Refuse:
    """An error reply with the daemon's result code."""
    code: int = 7
    words: str = "no"


@dataclass
class Raw:
    """These bytes, whatever they are, and perhaps the end of the connection behind them."""
    data: bytes
    hang_up: bool = False


class Drop:
    """Hang up in place of an answer."""


@dataclass
class Endless:
    """These bytes, and then the same over and over for as long as the other side takes them."""
    head: bytes
    more: bytes
    given_up: threading.Event = field(default_factory=threading.Event)


@dataclass
class Late:
    """The answer, but not before `release` is set; `reached` is set once the request has been read."""
    answer: object
    release: threading.Event = field(default_factory=threading.Event)
    reached: threading.Event = field(default_factory=threading.Event)


def encode(answer):
    """One answer in RESP2: None the null bulk string, True `+OK`, a text, or a list of texts."""
    if answer is None:
        return b"$-1\r\n"
    if answer is True:
        return b"+OK\r\n"
    if isinstance(answer, Refuse):
        return f"-ERR {answer.code} {answer.words}\r\n".encode()
    if isinstance(answer, Raw):
        return answer.data
    if isinstance(answer, (list, tuple)):
        return b"*%d\r\n" % len(answer) + b"".join(encode(item) for item in answer)
    data = answer if isinstance(answer, bytes) else str(answer).encode()
    return b"$%d\r\n%s\r\n" % (len(data), data)


def read_request(stream):
    """The words of the next request, or None at its end. Anything that is no array of bulk strings is an error."""
    head = stream.readline()
    if not head:
        return None
    if head[:1] != b"*" or not head.endswith(b"\r\n"):
        raise ValueError(f"no array: {head!r}")
    words = []
    for _ in range(int(head[1:])):
        size = stream.readline()
        if size[:1] != b"$" or not size.endswith(b"\r\n"):
            raise ValueError(f"no bulk string: {size!r}")
        body = stream.read(int(size[1:]) + 2)
        if body[-2:] != b"\r\n":
            raise ValueError(f"bulk string without its end: {body!r}")
        words.append(body[:-2].decode("latin-1"))
    return words


class FakeMorvd:
    """Serves `tree`, whose keys are "verb path" and whose values are answers; a key without an answer is refused.

    `exchanges` holds every request as its words joined by blanks. `script` wins over the tree; its values are lists of
    answers, given one after the other, the last one for good. `strike` wins over both: the number of an exchange from
    now, counted from 1, and its answer.
    """

    def __init__(self, path, tree=None):
        self.path = str(path)
        self.tree = dict(tree or {})
        self.script = {}
        self.strike = None
        self.exchanges = []
        self.faults = []  # what was no request
        self.tokens = set()
        self._changed = threading.Condition()
        self._connections = set()
        self._listener = None
        self._threads = []

    def start(self):
        self._listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._listener.bind(self.path)
        self._listener.listen(16)
        accepting = threading.Thread(target=self._accept, args=(self._listener,), daemon=True)
        accepting.start()
        self._threads.append(accepting)
        return self

    def stop(self):
        """Hangs up on everybody and takes the socket away."""
        if self._listener is None:
            return
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        self._listener = None
        os.unlink(self.path)
        for connection in list(self._connections):
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
        for thread in self._threads:
            thread.join(5)
        self._threads.clear()

    def asked(self):
        """The exchanges without those that make and keep the session."""
        return [words for words in self.exchanges if words.split(" ")[0] not in ("login", "resume")]

    def wait_for(self, words, timeout=10):
        """Waits until that exchange has been seen."""
        with self._changed:
            assert self._changed.wait_for(lambda: words in self.exchanges, timeout), f"never asked: {words}"

    def _accept(self, listener):
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                return
            self._connections.add(connection)
            serving = threading.Thread(target=self._serve, args=(connection,), daemon=True)
            serving.start()
            self._threads.append(serving)

    def _serve(self, connection):
        try:
            with connection, connection.makefile("rb") as stream:
                while (words := read_request(stream)) is not None:
                    with self._changed:
                        self.exchanges.append(" ".join(words))
                        self._changed.notify_all()
                    answer = self._answer(words)
                    if isinstance(answer, Late):
                        answer.reached.set()
                        answer.release.wait(60)
                        answer = answer.answer
                    if isinstance(answer, Drop):
                        return
                    if isinstance(answer, Endless):
                        self._flood(connection, answer)
                        return
                    connection.sendall(encode(answer))
                    if isinstance(answer, Raw) and answer.hang_up:
                        return
        except ValueError as fault:
            self.faults.append(str(fault))
        except OSError:
            pass
        finally:
            self._connections.discard(connection)

    @staticmethod
    def _flood(connection, answer):
        try:
            connection.sendall(answer.head)
            while True:
                connection.sendall(answer.more)
        except OSError:
            answer.given_up.set()

    def _answer(self, words):
        key = " ".join(words[:2])
        if self.strike:
            number, answer = self.strike
            self.strike = (number - 1, answer) if number > 1 else None
            if number == 1:
                return answer
        scripted = self.script.get(key) or self.script.get(words[0])
        if scripted:
            return scripted.pop(0) if len(scripted) > 1 else scripted[0]
        if words[0] == "login":
            token = f"token-{len(self.tokens) + 1}"
            self.tokens.add(token)
            return token
        if words[0] == "resume":
            return True if words[1] in self.tokens else Refuse(13, "no such session")
        if key in self.tree:
            return self.tree[key]
        if words[0] == "commit":
            return True
        return Refuse(2, "no such path")


UNIT = {"outlets": 8, "max-current": "16.0", "version": "1.02", "id": "", "model": 128, "phases": 1, "banks": 0,
        "topology": None, "lacks": ()}


def unit_tree(port, pdu, **given):
    """What the tree holds of one unit, as far as `ver` and `id` look; None for a value leaves the leaf out."""
    unit = {**UNIT, **given}
    base = f"power.port.{port}.pdu.{pdu}"
    leaves = {"num-outlets": unit["outlets"], "max-current": unit["max-current"], "version": unit["version"],
              "id": unit["id"], "model_nr": unit["model"], "num-phases": unit["phases"],
              "num-circuits": unit["banks"], "topology": unit["topology"]}
    present = {leaf: value for leaf, value in leaves.items() if value is not None and leaf not in unit["lacks"]}
    tree = {f"info {base}.{leaf}": str(value) for leaf, value in present.items()}
    tree[f"mlist {base}"] = sorted(present)
    tree[f"admin {base}.id"] = True
    if unit["id"]:
        tree[f"info power.pdu.{unit['id']}.pdu"] = str(pdu)
        tree[f"info power.pdu.{unit['id']}.port"] = str(port)
    return tree


def chain_tree(*units):
    """A chain of units on port 1."""
    tree = {"info power.num-devices": "1", "info power.port.1.num-pdus": str(len(units)), "mlist power.port": ["1"],
            "mlist power.port.1.pdu": [str(number + 1) for number in range(len(units))],
            "list authorization.group.name.admin.member": ["root", "alice"]}
    for number, unit in enumerate(units, start=1):
        tree.update(unit_tree(1, number, **unit))
    return tree
