#!/usr/bin/python3
"""Makes a firmware image for the desk: make_image.py VERSION FILE [SIZE], with SIZE bytes (65536) behind the header.
appliance/model/firmware.h has the form."""

import sys
import zlib
from pathlib import Path


def image(version, size=65536):
    """The bytes behind the header are a pattern that depends on the version, so that two images differ all over."""
    seed = zlib.crc32(version.encode())
    payload = bytes((seed >> i % 24) + i * 7 & 0xFF for i in range(size))
    summed = version.encode("ascii").ljust(48, b"\0") + payload
    return b"ZTIMAGE1" + size.to_bytes(4, "big") + zlib.crc32(summed).to_bytes(4, "big") + summed


def main(words):
    if len(words) not in (2, 3) or not 0 < len(words[0]) < 32:
        sys.exit(__doc__)
    Path(words[1]).write_bytes(image(words[0], *map(int, words[2:])))


if __name__ == "__main__":
    main(sys.argv[1:])
