"""The segment between the target's programs, as this machine sees its bytes; with ZT_TEST_BYTE_ORDER=">"."""

import ctypes
import struct
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "e2e"))

from desk import Desk  # noqa: E402
from status_segment import BASE, FIRST_PORT_OFFSET, READY_OFFSET, chain_image, key_of, libc  # noqa: E402


@pytest.fixture(name="desk")
def own_desk():
    made = Desk()
    yield made
    made.close()


def published(desk):
    """The bytes that the monitor daemon has published."""
    found = libc.shmget(key_of(desk.key_file), 0, 0)
    address = libc.shmat(found, None, 0o10000)  # read only
    assert address not in (None, ctypes.c_void_p(-1).value), ctypes.get_errno()
    data = ctypes.string_at(address, 0x10000)
    libc.shmdt(address)
    return data


def followed(data, offset):
    return struct.unpack_from(">I", data, offset)[0] - BASE


def test_monitor_writes_pointers_with_the_highest_byte_first(desk):
    desk.appliance("desk.toml", "--driven-clock")
    data = published(desk)
    assert data[READY_OFFSET] & 0x80
    port = followed(data, FIRST_PORT_OFFSET)
    assert data[port + 0x018] == 1
    unit = followed(data, port + 0x04C)
    assert data[unit + 0x048:].startswith(b"rack1\0")
    assert data[unit + 0x818] == 24
    last_outlet = followed(data, unit + 0x81C) + 23 * 0xF0
    assert data[last_outlet + 0x00C] == 24


def test_segment_laid_out_by_hand_is_read(desk):
    desk.publish(chain_image([{"unit_id": "left", "model": 140, "outlets": 2}, {"unit_id": "right"}]))
    desk.serve(units=[{"id": "left"}, {"id": "right"}])
    assert desk.run("id").stdout == b"IPDU #1 ID = left\nIPDU #2 ID = right\n"
    assert b" model 140. " in desk.run("ver", "left").stdout
