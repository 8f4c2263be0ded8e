"""What concerns the appliance itself: its network, its firmware, and the modules that a user may run."""

import os
import stat

import pytest

from desk import INVALID
from fake_morvd import Refuse

ETH0 = "network.interface.eth0."
AS_ROOT = pytest.mark.skipif(os.geteuid() != 0, reason="the write program takes root")


@pytest.fixture
def chain(desk):
    desk.chain({"id": "left"}, {"id": "right"})
    return desk


def program(desk, path, text):
    """A program below the root, as a shell script."""
    file = desk.root / path
    file.parent.mkdir(parents=True, exist_ok=True)
    file.write_text(f"#!/bin/sh\n{text}\n", encoding="ascii")
    file.chmod(file.stat().st_mode | stat.S_IXUSR | stat.S_IXGRP | stat.S_IXOTH)


# --- network ---


@pytest.fixture
def network(chain):
    leaves = ("method", "method6", "address", "netmask", "address6", "netmask6", "active")
    chain.morvd.tree.update({f"set {ETH0}{leaf}": True for leaf in leaves})
    chain.morvd.tree[f"info {ETH0}ifconfig"] = "eth0 is up"
    return chain


NETWORK_FORMS = {
    "ipv4 down": [f"set {ETH0}method manual"],
    "ipv4 dhcp": [f"set {ETH0}method dhcp"],
    "ipv6 down": [f"set {ETH0}method6 manual"],
    "ipv6 dhcp": [f"set {ETH0}method6 dhcp"],
    "ipv6 stateless": [f"set {ETH0}method6 stateless"],
    "ipv4 address 10.0.0.2 mask 255.255.255.0": [
        f"set {ETH0}method static", f"set {ETH0}address 10.0.0.2", f"set {ETH0}netmask 255.255.255.0"],
    "ipv6 address FE80:0::1 prefix 999": [
        f"set {ETH0}method6 static", f"set {ETH0}address6 fe80::1", f"set {ETH0}netmask6 999"],
}


@pytest.mark.parametrize("form", NETWORK_FORMS)
def test_network_is_staged_activated_and_committed(network, form):
    assert network.run("network " + form).stdout == b"eth0 is up\n"
    assert network.morvd.asked() == [*NETWORK_FORMS[form], f"set {ETH0}active true", "commit", f"info {ETH0}ifconfig"]


@pytest.mark.parametrize("form", NETWORK_FORMS)
def test_refused_commit_of_the_network(network, form):
    network.morvd.script["commit"] = [Refuse()]
    assert network.run("network " + form).stdout == (b"Command failed.\n" if "address" in form else INVALID)
    assert network.morvd.asked()[-1] == "commit"


# --- shell and scp ---


def test_module_gets_function_and_arguments_as_words(chain):
    program(chain, "usr/libexec/ci/access", 'printf "[%s]" "$@"; exit 3')
    chain.morvd.tree["info appliance.shell"] = ' ci_module=access;ci_function=run it;ci_args="a;b" $HOME \\; *;x'
    assert chain.run("shell ls -l /tmp").stdout == b'[run it]["a;b" $HOME \\; *]'
    assert chain.morvd.asked() == ["info appliance.shell ls -l /tmp"]
    assert chain.failures() == ["CI module error: 3"]


@pytest.mark.parametrize("line", ["shell", "scp a b"])
def test_module_that_ends_well_is_answered_as_a_line_without_a_row(chain, line):
    program(chain, "usr/libexec/ci/access", "echo here")
    chain.morvd.tree.update({f"info appliance.{name}": "ci_module=access;ci_function=f;ci_args=" for name in
                             ("shell", "scp")})
    assert chain.run(line).stdout == b"here\n" + INVALID
    assert chain.failures() == ["CI module OK: 0"]


def test_short_argument_behind_a_long_one_drags_its_end_along(chain):
    chain.morvd.tree["info appliance.shell"] = ""
    session = chain.prompt()
    for line in ("shell abcdefghij", "shell wxyz", "shell abc"):
        assert session.command(line) == b""
    assert chain.morvd.asked() == [f"info appliance.shell {words}" for words in ("abcdefghij", "wxyzefghij", "abc")]


# --- upgrade ---


@pytest.fixture
def firmware(chain):
    """Programs that note how they were called."""
    (chain.root / "dev").mkdir()
    (chain.root / "dev/ttyS0").touch()
    program(chain, "usr/bin/rz", f'echo "$@" >{chain.root}/rz; printf image >{chain.root}/tmp/ztfirmware')
    program(chain, "sbin/checkImage", f'echo "$@" >{chain.root}/check; echo seen; grep -q image "$1"')
    program(chain, "sbin/flashImage", f'{{ tr "\\0" "|" </proc/$$/cmdline; echo; tr "\\0" "|" </proc/$$/environ; }} '
                                      f'>{chain.root}/flash')
    for number in (1, 2):
        chain.morvd.tree[f"mlist power.port.1.pdu.{number}"].append("upgrade")
    chain.morvd.tree["admin power.port.1.upgrade"] = True
    return chain


DOWNLOAD = b"Downloading image. Please send file in 10 seconds.\n"


@AS_ROOT
def test_own_unit_is_received_checked_and_written(firmware):
    assert firmware.run("upgrade 1").stdout == DOWNLOAD + b"IPDU #1: Upgrading firmware... Done.\n"
    assert (firmware.root / "rz").read_text() == "-q -b -r\n"
    image = f"{firmware.root}/tmp/ztfirmware"
    assert (firmware.root / "check").read_text() == image + "\n"
    # The kernel puts the shell and the path of a script in the place of its first word.
    written = (firmware.root / "flash").read_text().splitlines()
    assert written[0].split("|")[2:] == ["-U admin", image, ""]
    assert written[1] == "PATH=/bin:/sbin:/usr/bin:/usr/sbin|"
    assert not (firmware.root / "tmp/ztfirmware").exists()
    assert [words for words in firmware.morvd.asked() if words.startswith("admin")] == []


@pytest.mark.parametrize("end", ["exit 3", "kill -ALRM $$; sleep 60"])
def test_receiver_that_fails(firmware, end):
    program(firmware, "usr/bin/rz", end)
    assert firmware.run("upgrade 1").stdout == DOWNLOAD + b"Command failed.\n"
    assert not (firmware.root / "check").exists()


def test_other_units_are_upgraded_by_the_daemon(firmware):
    program(firmware, "usr/bin/rz", f"head -c 49152 /dev/zero >{firmware.root}/tmp/ztfirmware")
    assert firmware.run("upgrade 2", timeout=60).stdout == DOWNLOAD + b"IPDU #2: Upgrading firmware... Done.\n"
    assert firmware.morvd.asked()[-1] == "admin power.port.1.upgrade 2"
    assert not (firmware.root / "check").exists()
    assert (firmware.root / "tmp/ztfirmware").stat().st_size == 49152


def test_with_a_file_the_daemon_alone_is_asked(firmware):
    assert firmware.run("upgrade 1-2 somefile").stdout == (b"IPDU #1: Upgrading firmware... "
                                                           b"IPDU #2: Upgrading firmware... Done.\n")
    assert firmware.morvd.asked()[-1] == "admin power.port.1.upgrade 1-2"
    assert not (firmware.root / "rz").exists()
