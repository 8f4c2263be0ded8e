"""Status segments of every kind: right ones with their numbering, and wrong ones that must not end the program."""

import contextlib
import ctypes
import multiprocessing
import os
import random
import re
import resource
import shutil
import struct
import subprocess

import pytest

from desk import INVALID, NOT_RECOGNIZED, ZTCLI, Outcome
from status_segment import (BASE, FIRST_PORT_OFFSET, OUTLET_SIZE, PORT_SIZE, READY_OFFSET, SIZE, WORD, Image,
                            chain_image, pdu_record, port_record)

OUTSIDE = [1, 0x1000, BASE - 4, BASE + SIZE - 4, BASE + SIZE, BASE + SIZE + 0x1000, 0x7FFFFFF0, 0xFFFFFFF0]
LINKS = ["first port", "next port", "first unit", "next unit", "outlets"]
LINES = b"ver\nver 1\nver left\nid\ncurrent\nstatus all\nstatus 1\non 1\nname a b\npower 1 o1\nfuses\n"


def two_ports():
    """The appliance's own unit on a port named "local", and two units chained behind it on the next."""
    image = Image()
    first, second = image.place(port_record(1, "local")), image.place(port_record(2, "ttyS1"))
    image.pointer(FIRST_PORT_OFFSET, first)
    image.pointer_at(first, 0x178, second)
    own, near, far = (image.place(pdu_record(number, unit_id=name, model=128))
                      for number, name in ((1, "own"), (1, "near"), (2, "far")))
    image.pointer_at(first, 0x04C, own)
    image.pointer_at(second, 0x04C, near)
    image.pointer_at(near, 0x8D0, far)
    return image


def spoilt(link, target):
    """A segment with two units of two outlets whose named pointer leads to `target`."""
    image = chain_image([{"unit_id": "left", "outlets": 2}, {"unit_id": "right", "outlets": 2}])
    port = struct.unpack_from(WORD, image.data, FIRST_PORT_OFFSET)[0]
    unit = struct.unpack_from(WORD, image.data, port - BASE + 0x04C)[0]
    at = {"first port": FIRST_PORT_OFFSET, "next port": port - BASE + 0x178, "first unit": port - BASE + 0x04C,
          "next unit": unit - BASE + 0x8D0, "outlets": unit - BASE + 0x81C}[link]
    image.pointer(at, {"port": port, "unit": unit, "root": BASE}.get(target, target))
    return image


def survives(desk, image, lines=LINES):
    """Runs a session over that segment within a gigabyte and 20 seconds; only a signal or a hang counts against it."""
    desk.publish(image)
    if desk.morvd is None:
        desk.serve(units=[{"id": "left"}, {"id": "right"}])
    limit = (lambda: resource.setrlimit(resource.RLIMIT_AS, (1 << 30, 1 << 30))) if "asan" not in ZTCLI.parts else None
    done = subprocess.run(["ztcli"], executable=ZTCLI, env=desk.env, input=lines, timeout=20, capture_output=True,
                          check=False, preexec_fn=limit)
    assert done.returncode == 1, done
    assert done.stderr == b""
    assert b"zt>" + lines.splitlines()[-1] + b"\n" in desk.tap()
    return done


# --- right ones ---

def test_units_behind_the_own_one_have_its_port_in_the_tree(desk):
    desk.publish(two_ports())
    desk.serve(units=[{"id": "own"}, {"id": "near"}, {"id": "far"}])
    assert desk.run("id").stdout == b"IPDU #1 ID = own\nIPDU #2 ID = near\nIPDU #3 ID = far\n"


@pytest.mark.parametrize("name, number", [("own", 1), ("near", 2), ("far", 3)])
def test_id_in_the_segment_gives_the_number_in_the_tree(desk, name, number):
    desk.publish(two_ports())
    desk.serve(units=[{"id": "own"}, {"id": "near"}, {"id": "far"}])
    assert desk.run("ver", name).stdout.startswith(b"IPDU #%d: " % number)
    assert not any(words.startswith("info power.pdu.") for words in desk.morvd.asked())


def test_model_comes_from_the_segment(desk):
    desk.publish(chain_image([{"model": 140}]))
    desk.serve(units=[{"model": 12}])
    assert b" model 140. " in desk.run("ver").stdout


@pytest.mark.parametrize("name", ["Local", "loca", "local1", ""])
def test_only_the_exact_port_name_is_the_own_port(desk, name):
    """Any other port of id 1 is tree port 0, and its units count from 2."""
    desk.publish(chain_image([{"unit_id": "left"}], name=name))
    desk.serve(units=[{"id": "left"}])
    assert desk.run("ver", "left").stdout == b"No such IPDU. Type help for details\n"
    assert desk.morvd.asked() == ["info power.num-devices", "info power.port.1.num-pdus"]


def test_ready_byte_counts_by_its_highest_bit(desk):
    image = chain_image([{}])
    image.data[READY_OFFSET] = 0xFF
    desk.publish(image)
    desk.serve(units=[{"id": "left"}])
    assert desk.run("id").stdout == b"IPDU #1 ID = left\n"


def test_segment_is_read_anew_by_each_command(desk):
    segment = desk.publish(chain_image([{}]))
    desk.serve(units=[{"id": "left"}, {"id": "right"}])
    session = desk.prompt()
    assert session.command("id") == b"IPDU #1 ID = left\n"
    segment.image.data[:] = chain_image([{}, {}]).data
    segment.write()
    assert session.command("id") == b"IPDU #1 ID = left\nIPDU #2 ID = right\n"


def test_program_writes_nothing_into_the_segment(desk):
    segment = desk.publish(chain_image([{"outlets": 8}]))
    desk.serve(units=[{"id": "left"}])
    desk.run(stdin=LINES)
    assert ctypes.string_at(segment.address, segment.size) == bytes(segment.image.data)


# --- wrong ones ---

@pytest.mark.parametrize("link", LINKS)
def test_null_pointer(desk, link):
    survives(desk, spoilt(link, 0))


@pytest.mark.parametrize("target", OUTSIDE, ids=hex)
@pytest.mark.parametrize("link", LINKS)
def test_pointer_outside_the_segment(desk, link, target):
    survives(desk, spoilt(link, target))


@pytest.mark.parametrize("link, target", [("next port", "port"), ("next unit", "unit"), ("first port", "root"),
                                          ("first unit", "port"), ("outlets", "root")])
def test_pointer_that_leads_back(desk, link, target):
    survives(desk, spoilt(link, target))


def test_texts_without_an_end(desk):
    image = chain_image([{"unit_id": "left", "outlets": 2}])
    port = struct.unpack_from(WORD, image.data, FIRST_PORT_OFFSET)[0] - BASE
    image.data[port + 0x01A:port + 0x04C] = b"l" * 0x32
    survives(desk, image)


def test_segment_full_of_ones(desk):
    image = Image()
    image.data[:] = b"\xff" * SIZE
    survives(desk, image)


@pytest.mark.parametrize("size", [1, 0xAB, 0x1C4, 0x400])
def test_segment_that_is_too_small(desk, size):
    image = Image(size=max(size, 0x1C4))
    image.pointer(FIRST_PORT_OFFSET, BASE + 0x1000 - PORT_SIZE + 8)
    image.data = image.data[:size]
    desk.publish(image)
    desk.serve(units=[{"id": "left"}])
    outcome = desk.run("id help", timeout=60 if size <= READY_OFFSET else 20)
    assert outcome.status == 1 and outcome.stderr == b""


@pytest.mark.parametrize("seed", range(10))
def test_segment_of_random_bytes(desk, seed):
    """Half of its words lead somewhere into the segment, so that walks get far."""
    chance = random.Random(seed)
    image = Image()
    for at in range(0, SIZE, 4):
        word = BASE + (chance.randrange(SIZE) & ~3) if chance.random() < 0.5 else chance.getrandbits(32)
        struct.pack_into(WORD, image.data, at, word)
    image.data[READY_OFFSET] |= 0x80
    survives(desk, image)


# --- while it changes ---

CURRENT_BITS = 0xF0  # the present value, its minimum, maximum and average
TENTHS = (17, 34)    # one byte of each cell differs, so that no copy can fall between two


def measured(tenths):
    """A unit of eight outlets whose currents are all that."""
    image = chain_image([{"unit_id": "left", "outlets": 8}])
    port = struct.unpack_from("=I", image.data, FIRST_PORT_OFFSET)[0] - BASE
    unit = struct.unpack_from("=I", image.data, port + 0x04C)[0] - BASE
    outlets = struct.unpack_from("=I", image.data, unit + 0x81C)[0] - BASE
    nodes = [(unit + 0x044, 0x00080000, unit + 0x820)]
    nodes += [(at + 0x008, 0x400, at + 0x058) for at in range(outlets, outlets + 8 * OUTLET_SIZE, OUTLET_SIZE)]
    for capabilities, valid, block in nodes:
        struct.pack_into("=I", image.data, capabilities, valid)
        struct.pack_into("=I", image.data, block + 0x08, CURRENT_BITS)
        struct.pack_into("=4i", image.data, block + 0x0C, *[tenths] * 4)
    return bytes(image.data)


@contextlib.contextmanager
def meanwhile(step):
    """Does that over and over in a process of its own, which has the segment mapped as this one has."""
    def for_ever():
        while True:
            step()
    writer = multiprocessing.get_context("fork").Process(target=for_ever)
    writer.start()
    try:
        yield
        assert writer.is_alive()
    finally:
        writer.kill()
        writer.join()


def whole_and_torn():
    """Both states whole, in halves, and with one of the pointers of the chain gone."""
    whole = [measured(tenths) for tenths in TENTHS]
    port = struct.unpack_from("=I", whole[0], FIRST_PORT_OFFSET)[0] - BASE
    unit = struct.unpack_from("=I", whole[0], port + 0x04C)[0] - BASE
    states = [*whole, whole[0][:SIZE // 2], whole[1][:unit + 0x850]]
    for link in (FIRST_PORT_OFFSET, port + 0x04C, unit + 0x81C):
        for target in (0, BASE + SIZE, BASE + 2):
            torn = bytearray(whole[0])
            struct.pack_into("=I", torn, link, target)
            states += [bytes(torn), whole[1]]
    return states


def test_segment_rewritten_at_full_speed_gives_values_that_it_has_had(desk):
    """Those of a line may come from two states, and a line may be missing, but each of its values is right."""
    image = Image()
    image.data[:] = measured(TENTHS[0])
    segment = desk.publish(image)
    desk.serve(units=[{"id": "left"}])
    session = desk.prompt()
    seen = set()
    states = whole_and_torn()

    def rewrite():
        for state in states:
            ctypes.memmove(segment.address, state, len(state))
    with meanwhile(rewrite):
        for line in ["current", "current summary", "current 1", "id", "ver"] * 60:
            answer = session.command(line)
            values = set(re.findall(rb"([-\d.]+)A\b", answer))
            assert values <= {b"%.1f" % (tenths / 10) for tenths in TENTHS}, (line, answer)
            seen |= values
    assert len(seen) == len(TENTHS)
    segment.image.data[:] = measured(TENTHS[1])
    segment.write()
    assert session.command("current 1").startswith(b"IPDU #1: True RMS current: 3.4A.")


@pytest.mark.parametrize("seed", range(3))
def test_noise_at_full_speed_ends_nothing(desk, seed):
    """Words of the chain turn into anything and back while the program reads it."""
    chance = random.Random(seed)
    segment = desk.publish(chain_image([{"unit_id": "left", "outlets": 8, "phases": 3}]))
    desk.serve(units=[{"id": "left"}])
    sound = bytes(segment.image.data)
    used = segment.image.used

    def spoil():
        for _ in range(20):
            at = chance.randrange(0x1C0, used - 4, 4)
            word = BASE + chance.randrange(SIZE) if chance.random() < 0.5 else chance.getrandbits(32)
            ctypes.memmove(segment.address + at, struct.pack("=I", word), 4)
        ctypes.memmove(segment.address, sound, used)
    session = desk.prompt()
    with meanwhile(spoil):
        for line in ["current", "status all", "voltage 1 o1", "power", "id", "ver left", "on lamp", "energy"] * 12:
            session.command(line)
    ctypes.memmove(segment.address, sound, used)
    assert session.command("id") == b"IPDU #1 ID = left\n"


def test_chain_that_never_ends_is_listed_all_the_same(desk):
    """A megabyte whose one unit is its own next, with a kind of voltage that there is none at each of its outlets."""
    image = Image(size=1 << 20)
    sound = measured(TENTHS[0])
    image.data[:len(sound)] = sound
    port = struct.unpack_from("=I", sound, FIRST_PORT_OFFSET)[0] - BASE
    unit = struct.unpack_from("=I", sound, port + 0x04C)[0] - BASE
    image.used = SIZE
    outlets = image.place(bytes(40 * OUTLET_SIZE))
    image.data[unit + 0x818] = 40
    image.pointer(unit + 0x81C, outlets)
    image.pointer(unit + 0x8D0, BASE + unit)
    for at in range(outlets - BASE, outlets - BASE + 40 * OUTLET_SIZE, OUTLET_SIZE):
        struct.pack_into("=I", image.data, at + 0x008, 0xFFFFFFFF)
        struct.pack_into("=I", image.data, at + 0x060, 0xFFFFFFFF)
        struct.pack_into("=i", image.data, at + 0x058 + 0x48, 77)
    desk.env["ZT_DLOG"] = "/dev/null"
    survives(desk, image, b"voltage\n")


# --- not to be had ---

@pytest.mark.skipif(os.geteuid() != 0, reason="needs root to act as two users")
def test_segment_of_another_user_is_not_used(desk):
    """As a user who may not read it the program gets no segment, and no handler runs."""
    program = desk.root / "ztcli"
    shutil.copy(ZTCLI, program)
    desk.serve(units=[{}])
    desk.publish(chain_image([{}]), mode=0o600)
    for path in (desk.root / "run/morvd.sock", desk.root):
        path.chmod(0o777)
    done = subprocess.run(["ztcli", "alarm", "help"], executable=program, env=desk.env, user=65534, group=65534,
                          extra_groups=[], stdin=subprocess.DEVNULL, capture_output=True, timeout=20, check=False)
    assert Outcome(done.stdout, done.stderr, done.returncode) == Outcome(NOT_RECOGNIZED, b"", 1)


OCCUPANT = """#include <sys/mman.h>
__attribute__((constructor)) static void occupy(void)
{
    mmap((void *)0x3f000000, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
}
"""


@pytest.mark.skipif("asan" in ZTCLI.parts, reason="a sanitized program takes no preloaded library")
def test_segment_whose_address_is_taken_is_not_used(desk):
    """Also not by a second command, which must not take the failed attach for a mapping."""
    source, library = desk.root / "occupant.c", desk.root / "occupant.so"
    source.write_text(OCCUPANT)
    subprocess.run(["cc", "-shared", "-fPIC", "-o", library, source], check=True)
    desk.chain({})
    outcome = desk.run(stdin=b"alarm help\nver\n", LD_PRELOAD=str(library))
    assert outcome.status == 1 and outcome.stderr == b""
    assert desk.tap() == b"zt>alarm help\n" + NOT_RECOGNIZED + b"zt>ver\n" + INVALID
