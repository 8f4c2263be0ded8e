"""Tells what a program asks of the control daemon: record.py FILE PROGRAM [ARGUMENT ...] runs it on the appliance below
ZT_ROOT and writes the bytes of each of its requests to FILE, with a zero byte behind each.

The program gets a root of its own for that, whose socket is answered here and whose segment is the appliance's: the key
of a segment is made of the number of the key file, of which the root has a link.
"""

import os
import re
import select
import socket
import subprocess
import sys
import tempfile
from pathlib import Path

KEY_FILE, SOCKET = "bin/ztd_ng", "run/morvd.sock"


def relay(listener, daemon_path, program):
    """Passes everything on until the program and its connections have ended; what it sent is the result."""
    peers, clients, sent = {}, set(), b""
    while program.poll() is None or peers:
        for end in select.select([listener, *peers], [], [], 0.02)[0]:
            if end is listener:
                client, _ = listener.accept()
                daemon = socket.socket(socket.AF_UNIX)
                daemon.connect(daemon_path)
                peers |= {client: daemon, daemon: client}
                clients.add(client)
            elif end not in peers:
                continue  # the other end of one that has just closed
            elif data := end.recv(65536):
                sent += data if end in clients else b""
                peers[end].sendall(data)
            else:
                for closed in (end, peers[end]):
                    del peers[closed]
                    closed.close()
    return sent


def requests_in(sent):
    """Each is an array of bulk strings: "*2", and for each string "$5" and the string, all with line ends."""
    while sent:
        at = sent.index(b"\r\n") + 2
        for _ in range(int(sent[1:at])):
            size = re.compile(rb"\$(\d+)\r\n").match(sent, at)
            at = size.end() + int(size[1]) + 2
        yield sent[:at]
        sent = sent[at:]


def main(file, *command):
    root = Path(os.environ["ZT_ROOT"])
    with tempfile.TemporaryDirectory(dir=root) as other, socket.socket(socket.AF_UNIX) as listener:
        for place in (KEY_FILE, SOCKET):
            (Path(other) / place).parent.mkdir()
        os.link(root / KEY_FILE, Path(other) / KEY_FILE)
        listener.bind(f"{other}/{SOCKET}")
        listener.listen()
        with subprocess.Popen(command, env={**os.environ, "ZT_ROOT": other}) as program:
            sent = relay(listener, str(root / SOCKET), program)
    Path(file).write_bytes(b"".join(request + b"\0" for request in requests_in(sent)))


if __name__ == "__main__":
    main(*sys.argv[1:])
