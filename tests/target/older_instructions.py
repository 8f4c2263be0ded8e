"""A C library that the emulator can run: older_instructions.py FILE ... rewrites each in place.

The library reads the floating point status with instructions that came late. They are `mffs` with bits set that it does
not use; a processor that knows no more than `mffs` ignores these bits, and the library counts on that. The emulator
stops the program instead. What is written here is what such a processor makes of them.
"""

import struct
import sys
from pathlib import Path

FAMILY_MASK, FAMILY = 0xFC0007FE, 0xFC00048E  # mffs and those that are made from it
UNUSED = 0x001FF800
EXECUTABLE = 0x4  # a section's flag
FILE_HEADER, SECTION = struct.Struct(">16sHHIIIIIHHHHHH"), struct.Struct(">10I")


def executable_sections(data):
    """Where each section with instructions begins, and its size."""
    header = FILE_HEADER.unpack_from(data)
    at, size, count = header[6], header[11], header[12]
    for index in range(count):
        section = SECTION.unpack_from(data, at + index * size)
        if section[2] & EXECUTABLE:
            yield section[4], section[5]


def rewrite(data):
    changed = 0
    for start, size in executable_sections(data):
        for at in range(start, start + size - 3, 4):
            word = struct.unpack_from(">I", data, at)[0]
            if word & FAMILY_MASK == FAMILY and word & UNUSED:
                struct.pack_into(">I", data, at, word & ~UNUSED)
                changed += 1
    return changed


if __name__ == "__main__":
    for name in sys.argv[1:]:
        path = Path(name)
        image = bytearray(path.read_bytes())
        if rewrite(image):
            path.write_bytes(image)
