"""A publisher of the status segment, written from the layout alone: offsets, sizes and the base of its pointers.

Layout errors of the program can't hide here, since nothing is shared with its own declarations.
"""

import ctypes
import os
import struct

BASE = 0x3F000000
PROJECT = 42
SIZE = 0x10000
READY_OFFSET, FIRST_PORT_OFFSET = 0x0AA, 0x1C0
PORT_SIZE, PDU_SIZE, ELEM_SIZE, OUTLET_SIZE = 0x17C, 0x8D4, 0xD8, 0xF0

# Of the words in a segment; that of the machine, where the programs were built for another one.
WORD = os.environ.get("ZT_TEST_BYTE_ORDER", "=") + "I"

libc = ctypes.CDLL(None, use_errno=True)
libc.shmat.restype = ctypes.c_void_p
libc.shmat.argtypes = (ctypes.c_int, ctypes.c_void_p, ctypes.c_int)
libc.shmdt.argtypes = (ctypes.c_void_p,)
libc.shmget.argtypes = (ctypes.c_int, ctypes.c_size_t, ctypes.c_int)
IPC_CREAT, IPC_EXCL, IPC_RMID = 0o1000, 0o2000, 0


def key_of(path):
    """The key that ftok gives for a file and the project number."""
    about = os.stat(path)
    key = (about.st_ino & 0xFFFF) | ((about.st_dev & 0xFF) << 16) | (PROJECT << 24)
    return ctypes.c_int(key).value


def text_at(image, offset, text, size):
    data = text.encode()
    assert len(data) < size, text
    image[offset:offset + len(data) + 1] = data + b"\0"


class Image:
    """Bytes of a segment under construction; `place` gives the absolute address of a new record."""

    def __init__(self, size=SIZE, ready=True):
        self.data = bytearray(size)
        self.used = 0x400
        if ready:
            self.data[READY_OFFSET] = 0x80

    def place(self, record):
        at = (self.used + 7) & ~7
        assert at + len(record) <= len(self.data)
        self.data[at:at + len(record)] = record
        self.used = at + len(record)
        return BASE + at

    def pointer(self, offset, address):
        struct.pack_into(WORD, self.data, offset, address)

    def pointer_at(self, address, offset, target):
        """Puts a pointer into a record that has been placed."""
        struct.pack_into(WORD, self.data, address - BASE + offset, target)


def outlet_record(number, name="", sys_name=""):
    record = bytearray(OUTLET_SIZE)
    record[0x00C] = number
    text_at(record, 0x00E, name, 0x21)
    text_at(record, 0x02F, sys_name, 9)
    return record


def pdu_record(number, unit_id="", model=128, model_text="", outlets=0, phases=0, circuits=0):
    record = bytearray(PDU_SIZE)
    record[0x004] = number
    text_at(record, 0x025, model_text, 16)
    record[0x035] = model
    text_at(record, 0x048, unit_id, 0x2F)
    record[0x077], record[0x300], record[0x818] = phases, circuits, outlets
    for table, count in ((0x078, phases), (0x308, circuits)):
        for index in range(count):
            record[table + index * ELEM_SIZE + 0x00C] = index + 1
    return record


def port_record(number, name):
    record = bytearray(PORT_SIZE)
    record[0x018] = number
    text_at(record, 0x01A, name, 0x32)
    return record


def chain_image(units, name="local", port=1, ready=True):
    """One port with these units (keywords of pdu_record without the number), numbered from 1."""
    image = Image(ready=ready)
    head = image.place(port_record(port, name))
    image.pointer(FIRST_PORT_OFFSET, head)
    link = (head, 0x04C)
    for number, unit in enumerate(units, start=1):
        record = pdu_record(number, **unit)
        if count := unit.get("outlets", 0):
            array = image.place(b"".join(outlet_record(k, sys_name=f"o{k}") for k in range(1, count + 1)))
            struct.pack_into(WORD, record, 0x81C, array)
        at = image.place(record)
        image.pointer_at(*link, at)
        link = (at, 0x8D0)
    return image


class Segment:
    """A published segment; `image` may be changed and written again."""

    def __init__(self, key_file, image, mode=0o666):
        self.image = image
        data = bytes(image.data)
        self.key = key_of(key_file)
        self.id = libc.shmget(self.key, len(data), IPC_CREAT | IPC_EXCL | mode)
        if self.id < 0:
            raise OSError(ctypes.get_errno(), f"no segment for {key_file}")
        self.size = len(data)
        self.address = libc.shmat(self.id, None, 0)
        self.write()

    def write(self):
        ctypes.memmove(self.address, bytes(self.image.data), self.size)

    def set_ready(self):
        self.image.data[READY_OFFSET] = 0x80
        self.write()

    def remove(self):
        libc.shmdt(self.address)
        libc.shmctl(self.id, IPC_RMID, None)
